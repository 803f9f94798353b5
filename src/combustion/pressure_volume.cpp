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
  KXCALC_INLINE i32x4 place(f32x4 values) const {
    const i32x4 rounded = roundToNearest(values * scale + offset);
    return greater(lesser(rounded, i32x4{} + upper), i32x4{} + lower);
  }
};

struct Linear {
  KXCALC_INLINE float operator()(float value) const { return value; }
  KXCALC_INLINE f32x4 operator()(f32x4 values) const { return values; }
};

struct Logarithmic {
  float reference;

  KXCALC_INLINE float operator()(float value) const {
    const float ratio = value / reference;
    return fastLog10(static_cast<double>(ratio) < 1e-9 ? ratioFloor : ratio);
  }
  KXCALC_INLINE f32x4 operator()(f32x4 values) const {
    return fastLog10Packed(greater(values / reference, f32x4{} + ratioFloor));
  }
};

/// Groups of four from the first element on; the last group, where elements are left, lies partly on the one before and
/// computes the same again.
template <class Transform>
KXCALC_INLINE void placeAll(const float* input, size_t count, int32_t* output, Axis axis, Transform transform) {
  if (count < 4) {
    for (size_t i = 0; i < count; ++i) {
      output[i] = axis.place(transform(input[i]));
    }
    return;
  }
  const auto placeFour = [=](size_t i) { store(output + i, axis.place(transform(load(input + i)))); };
  size_t i = 0;
  for (; count - i >= 16; i += 16) {
    prefetchAhead(input + i);
    prefetchAhead(output + i);
    unrolled<4>([&](size_t k) { placeFour(i + 4 * k); });
  }
  for (; count - i >= 4; i += 4) {
    placeFour(i);
  }
  placeFour(count - 4);
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
