// Statistics line of a block: extremes, sum, and sum of squares about an offset.
//
// Below one vector of samples the extremes are merged with the caller's; from one vector on they are those of this
// block alone and overwrite the caller's. The difference is part of the contract; so is the order of the results: the
// sums, the minimum, the maximum.
#include "kxcalc.h"
#include "stats/exact_sums.hpp"
#include "stats/split_sums.hpp"

namespace kxcalc {
namespace {

/// The sums in the contract's order, the extremes beside them in two independent accumulators: in one, their chain
/// would be longer than that of the sums. Every NaN of the body shows in its sum of squares.
template <bool withOffset, class T, class Offset>
KXCALC_INLINE Extremes<T> addStatistics(const T* data, size_t count, Offset rmsOffset, Sums& totals) {
  constexpr size_t width = laneCount<T>;
  const Lanes<T> first = load(data);
  const Lanes<T> last = load(data + count - width);
  LaneExtremes<T> even(first), odd(last);

  size_t i = 0;
  for (const size_t head = headLength(data); i < head; ++i) {
    addSample(data[i], rmsOffset, totals);
  }
  SplitSums<withOffset> sums(static_cast<double>(rmsOffset));
  if constexpr (std::is_same_v<T, int32_t>) {
    i = addExactChunks(data, i, count, sums, even);
  }
  const auto block = [&](const T* at, LaneExtremes<T>& extremes) {
    extremes.fold(load(at));
    sums.fold(at);
  };
  i = walkBody(
      data, i, count,
      [&](const T* at) { unrolled<4>([&](size_t k) { block(at + k * width, k % 2 == 0 ? even : odd); }); },
      [&](const T* at) { block(at, even); });
  sums.addTo(totals);
  for (; i < count; ++i) {
    addSample(data[i], rmsOffset, totals);
  }

  bool sawNaN = false;
  if constexpr (std::is_floating_point_v<T>) {
    sawNaN = anyBitSet(unordered(first, last)) || anyBitSet(unordered(sums.sumOfSquares, sums.sumOfSquares));
  }
  even.fold(odd);
  return settleExtremes(even.reduce(), sawNaN, data, count);
}

template <class T, class Offset>
KXCALC_INLINE void getStatistics(const T* data, size_t count, T* minimum, T* maximum, double* sum, double* sumOfSquares,
                                 Offset rmsOffset) {
  if (count < laneCount<T>) {
    for (size_t i = 0; i < count; ++i) {
      mergeSample(data[i], minimum, maximum);
      Sums totals{*sum, *sumOfSquares};
      addSample(data[i], rmsOffset, totals);
      *sum = totals.sum;
      *sumOfSquares = totals.sumOfSquares;
    }
  } else {
    Sums totals{*sum, *sumOfSquares};
    Extremes<T> extremes;
    if constexpr (std::is_same_v<T, int16_t>) {
      extremes = addStatisticsOf16Bit(data, headLength(data), count, rmsOffset, totals, [](size_t, size_t) {});
    } else if (rmsOffset == 0) {
      extremes = addStatistics<false>(data, count, rmsOffset, totals);
    } else {
      extremes = addStatistics<true>(data, count, rmsOffset, totals);
    }
    *sum = totals.sum;
    *sumOfSquares = totals.sumOfSquares;
    *minimum = extremes.minimum;
    *maximum = extremes.maximum;
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcGetMinMaxAveRMS_float(const float* data, uint32_t count, float* minimum, float* maximum,
                                            double* sum, double* sumOfSquares, float rmsOffset) {
  kxcalc::getStatistics(data, count, minimum, maximum, sum, sumOfSquares, rmsOffset);
}

extern "C" void kxcalcGetMinMaxAveRMS_double(const double* data, uint32_t count, double* minimum, double* maximum,
                                             double* sum, double* sumOfSquares, double rmsOffset) {
  kxcalc::getStatistics(data, count, minimum, maximum, sum, sumOfSquares, rmsOffset);
}

extern "C" void kxcalcGetMinMaxAveRMS_int16_t(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum,
                                              double* sum, double* sumOfSquares, float rmsOffset) {
  kxcalc::getStatistics(data, count, minimum, maximum, sum, sumOfSquares, rmsOffset);
}

extern "C" void kxcalcGetMinMaxAveRMS_int32_t(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum,
                                              double* sum, double* sumOfSquares, double rmsOffset) {
  kxcalc::getStatistics(data, count, minimum, maximum, sum, sumOfSquares, rmsOffset);
}
