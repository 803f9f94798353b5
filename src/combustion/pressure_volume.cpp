// Coordinates of one axis of a pressure-volume diagram: value * scale + offset, linear or of the base-10 logarithm of
// value / reference, rounded to an integer and limited to [lower, upper]. A coordinate that is a NaN or that 32 bits do
// not hold becomes -2147483648 before the limits, a huge positive one too.
//
// Two forms, which differ in
//                     up to three values             four and more
// halfway cases       away from zero                 to the even integer
// limits              lower first, upper wins        upper first, lower wins
// floor of the ratio  compared in double, NaN stays  compared in single, NaN becomes the floor
// logarithm           one-element form               packed form
#include "frame/blocks.hpp"
#include "kxcalc.h"
#include "vmath/fast_log.hpp"

namespace kxcalc {
namespace {

/// Below this ratio of value and reference the logarithm is that of the floor: -9.
constexpr float ratioFloor = 1e-9F;

struct Axis {
  int32_t lower, upper;
  float scale, offset;

  KXCALC_INLINE int32_t place(float value) const {
    const auto v = static_cast<double>(value * scale + offset);
    const double shifted = v < 0 ? v - 0.5 : v + 0.5;
    const bool holds = shifted > -2147483649.0 && shifted < 2147483648.0;
    const int32_t rounded = holds ? static_cast<int32_t>(shifted) : INT32_MIN;
    return std::min(std::max(rounded, lower), upper);
  }
  template <class V>
  KXCALC_INLINE SameSize<int32_t, V> place(V values) const {
    using I = SameSize<int32_t, V>;
    return greater(lesser(roundToNearest(values * scale + offset), splat<I>(upper)), splat<I>(lower));
  }
};

struct Linear {
  template <class V>
  KXCALC_INLINE V operator()(V values) const {
    return values;
  }
};

struct Logarithmic {
  float reference;

  KXCALC_INLINE float operator()(float value) const {
    const float ratio = value / reference;
    return fastLog10(static_cast<double>(ratio) < 1e-9 ? ratioFloor : ratio);
  }
  template <class V>
  KXCALC_INLINE V operator()(V values) const {
    return fastLog10Packed(greater(values / reference, splat<V>(ratioFloor)));
  }
};

/// Whole vectors from the first element on; the last four elements, where some are left, lie partly on those before and are
/// computed again.
template <class Transform>
KXCALC_INLINE void placeAll(const float* input, size_t count, int32_t* output, Axis axis, Transform transform) {
  if (count < 4) {
    for (size_t i = 0; i < count; ++i) {
      output[i] = axis.place(transform(input[i]));
    }
    return;
  }
  const auto placePack = [=](auto at) KXCALC_INLINE_LAMBDA { at.store(output, axis.place(transform(at.load(input)))); };
  walkBlocks<4>(count, placePack, input, output);
  placePack(Pack<4>{count - 4});
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcCAPV_lin(const float* input, uint32_t count, int32_t* output, int32_t lower, int32_t upper,
                               float scale, float offset) {
  kxcalc::placeAll(input, count, output, {lower, upper, scale, offset}, kxcalc::Linear());
}

extern "C" void kxcalcCAPV_log(const float* input, uint32_t count, int32_t* output, int32_t lower, int32_t upper,
                               float scale, float offset, float reference) {
  kxcalc::placeAll(input, count, output, {lower, upper, scale, offset}, kxcalc::Logarithmic{reference});
}
