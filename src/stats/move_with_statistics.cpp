// Copies one channel out of interleaved 16-bit samples and gathers its statistics line on the way.
//
// Three cases, whose differences are part of the contract: fewer than 8 samples honour any stride and merge the
// extremes with the caller's; a stride above 1 gathers, splits the sums where destination is aligned, and merges; any
// other stride counts as 1, splits the sums where source is aligned, and overwrites.
#include "kxcalc.h"
#include "stats/exact_sums.hpp"

namespace kxcalc {
namespace {

/// Every second sample of 16, every fourth of 32.
KXCALC_INLINE i16x8 everySecond(const int16_t* from) {
  return narrow(bitsAs<i32x4>(load(from)), bitsAs<i32x4>(load(from + 8)));
}
KXCALC_INLINE i16x8 everyFourth(const int16_t* from) {
  const auto evenLanes = [](i16x8 low, i16x8 high) {
    return __builtin_shufflevector(bitsAs<i32x4>(low), bitsAs<i32x4>(high), 0, 2, 4, 6);
  };
  return narrow(evenLanes(load(from), load(from + 8)), evenLanes(load(from + 16), load(from + 24)));
}

/// Copies samples `begin` to `end` of the destination. Two and four channels are taken in whole vectors, but for the
/// last block, whose vectors would go past the last sample.
KXCALC_INLINE void gather(int16_t* destination, const int16_t* source, size_t begin, size_t end, ptrdiff_t stride) {
  const int16_t* from = source + static_cast<ptrdiff_t>(begin) * stride;
  size_t i = begin;
  if (stride == 2 || stride == 4) {
    for (; end - i > 8; i += 8) {
      store(destination + i, stride == 2 ? everySecond(from) : everyFourth(from));
      from += 8 * stride;
    }
  }
  for (; i < end; ++i) {
    destination[i] = *from;
    from += stride;
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcMoveAndGetMinMaxAveRMS_int16_t(int16_t* destination, const int16_t* source, uint32_t count,
                                                     int16_t* minimum, int16_t* maximum, double* sum,
                                                     double* sumOfSquares, float rmsOffset, int32_t stride) {
  using namespace kxcalc;
  if (count == 0) {
    return;
  }
  Sums totals{*sum, *sumOfSquares};
  if (count < 8) {
    gather(destination, source, 0, count, stride);
    for (size_t i = 0; i < count; ++i) {
      mergeSample(destination[i], minimum, maximum);
      addSample(destination[i], rmsOffset, totals);
    }
    *sum = totals.sum;
    *sumOfSquares = totals.sumOfSquares;
  } else if (stride > 1) {
    const auto fetch = [=](size_t begin, size_t end) { gather(destination, source, begin, end, stride); };
    const auto block = addStatisticsOf16Bit(destination, headLength(destination), count, rmsOffset, totals, fetch);
    *sum = totals.sum;
    *sumOfSquares = totals.sumOfSquares;
    mergeSample(block.minimum, minimum, maximum);
    mergeSample(block.maximum, minimum, maximum);
  } else {
    const auto fetch = [=](size_t begin, size_t end) {
      std::memcpy(destination + begin, source + begin, (end - begin) * sizeof *source);
    };
    const auto block = addStatisticsOf16Bit(source, headLength(source), count, rmsOffset, totals, fetch);
    *sum = totals.sum;
    *sumOfSquares = totals.sumOfSquares;
    *minimum = block.minimum;
    *maximum = block.maximum;
  }
}
