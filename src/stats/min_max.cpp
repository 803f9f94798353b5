// Smallest and largest of a block of one vector of samples or more; a shorter block is gone through one sample at a
// time, from the first on.
#include "kxcalc.h"
#include "stats/extremes.hpp"

namespace kxcalc {
namespace {

/// Every sample is folded at least once, into four independent accumulators; NaNs are noted, two vectors at a time.
template <size_t bytes, class T>
KXCALC_INLINE Extremes<T> blockExtremes(const T* data, size_t count) {
  using V = Lanes<T, bytes>;
  constexpr size_t width = laneCount<T, bytes>;
  const V first = load<bytes>(data);
  const V last = load<bytes>(data + count - width);
  LaneExtremes<T, bytes> a(first), b(first), c(last), d(last);
  NaNWatch<V> watch;
  const auto note = [&](auto... vectors) KXCALC_INLINE_LAMBDA {
    if constexpr (std::is_floating_point_v<T>) {
      watch.note(vectors...);
    }
  };
  note(first, last);
  const auto line = [&](const T* at) KXCALC_INLINE_LAMBDA {
    const V v0 = loadOnce<bytes>(at), v1 = loadOnce<bytes>(at + width);
    const V v2 = loadOnce<bytes>(at + 2 * width), v3 = loadOnce<bytes>(at + 3 * width);
    a.fold(v0);
    b.fold(v1);
    c.fold(v2);
    d.fold(v3);
    note(v0, v1, v2, v3);
  };
  const auto block = [&](const T* at) KXCALC_INLINE_LAMBDA {
    const V v = load<bytes>(at);
    a.fold(v);
    note(v, v);
  };
  walkBody<bytes>(data, headLength<bytes>(data), count, line, block);
  a.fold(b);
  c.fold(d);
  a.fold(c);
  return settleExtremes(a.reduce(), watch.sawNaN(), data, count);
}

template <class T>
KXCALC_INLINE void getMinMax(const T* data, size_t count, T* minimum, T* maximum) {
  if (count >= laneCount<T>) {
    const Extremes<T> extremes =
        count < laneCount<T, widestBytes> ? blockExtremes<16>(data, count) : blockExtremes<widestBytes>(data, count);
    *minimum = extremes.minimum;
    *maximum = extremes.maximum;
    return;
  }
  *maximum = data[0];
  *minimum = data[0];
  for (size_t i = 1; i < count; ++i) {
    mergeSample(data[i], minimum, maximum);
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcGetMinMax_int32_t(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum) {
  kxcalc::getMinMax(data, count, minimum, maximum);
}

extern "C" void kxcalcGetMinMax_int16_t(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum) {
  kxcalc::getMinMax(data, count, minimum, maximum);
}

extern "C" void kxcalcGetMinMax_float(const float* data, uint32_t count, float* minimum, float* maximum) {
  kxcalc::getMinMax(data, count, minimum, maximum);
}

extern "C" void kxcalcGetMinMax_double(const double* data, uint32_t count, double* minimum, double* maximum) {
  kxcalc::getMinMax(data, count, minimum, maximum);
}
