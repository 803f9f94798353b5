// Folds a cycle into the average of all cycles so far, in place, and finds the peak of the new average: the smallest
// normal single, or what is larger.
//
// Two forms, which round differently: whole blocks of four are averaged in double and rounded to single at the end, the
// up to three elements after them in single throughout, with n + 1 formed as an integer of 64 bits that wraps.
#include <limits>

#include "frame/blocks.hpp"
#include "frame/wide_integers.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

struct Block {
  f64x2 cycles, divisor;

  KXCALC_INLINE f32x4 average(f32x4 added, f32x4 before) const {
    const f64x2 low = (widenLow(added) + widenLow(before) * cycles) / divisor;
    const f64x2 high = (widenHigh(added) + widenHigh(before) * cycles) / divisor;
    return toSingles(low, high);
  }
};

KXCALC_INLINE float foldCycle(const float* newCycle, float* average, size_t count, uint64_t cycles) {
  const auto n = toDouble(cycles);
  const Block rule{f64x2{} + n, f64x2{} + (n + 1.0)};
  f32x4 peaks = f32x4{} + std::numeric_limits<float>::min();
  const auto fold = [&](size_t i) {
    const f32x4 folded = rule.average(load(newCycle + i), load(average + i));
    store(average + i, folded);
    peaks = greater(peaks, folded);
  };
  size_t i = 0;
  for (; count - i >= 16; i += 16) {
    prefetchAhead(newCycle + i);
    prefetchAhead(average + i);
    unrolled<4>([&](size_t k) { fold(i + 4 * k); });
  }
  for (; count - i >= 4; i += 4) {
    fold(i);
  }
  float peak = reduceByHalves<float>(peaks, greater);
  const auto before = toSingle(cycles);
  const auto after = toSingle(cycles + 1);
  for (; i < count; ++i) {
    average[i] = (average[i] * before + newCycle[i]) / after;
    peak = average[i] > peak ? average[i] : peak;
  }
  return peak;
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxCalcCAOverallPressure(const float* newCycle, float* average, uint32_t start, uint32_t end,
                                        uint64_t cycles, float* peak) {
  *peak = kxcalc::foldCycle(newCycle, average, end - start, cycles);
}
