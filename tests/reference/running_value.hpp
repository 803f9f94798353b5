// Sum and average over a window of cycles.
#ifndef KXCALC_TESTS_REFERENCE_RUNNING_VALUE_HPP
#define KXCALC_TESTS_REFERENCE_RUNNING_VALUE_HPP

#include <cstdint>

namespace reference {

/// The elements behind the last whole group of four have another divisor and another order of additions.
inline void kxCalcCARunningVal(const float* newCycle, const float* leavingCycle, float* sum, float* average,
                               uint32_t first, uint32_t last, uint64_t cycles, uint32_t window) {
  const uint32_t count = last - first + 1;
  const auto n = static_cast<float>(cycles);
  const auto w = static_cast<float>(window);
  for (uint32_t i = 0; i < count; ++i) {
    const bool isInTail = i >= count - count % 4;
    if (cycles == 0) {
      sum[i] = newCycle[i];
      average[i] = newCycle[i];
    } else if (cycles < window) {
      sum[i] = newCycle[i] + sum[i];
      average[i] = sum[i] / (isInTail ? n + 1.0F : n);
    } else {
      sum[i] = isInTail ? (newCycle[i] - leavingCycle[i]) + sum[i] : (sum[i] + newCycle[i]) - leavingCycle[i];
      average[i] = sum[i] / w;
    }
  }
}

}  // namespace reference

#endif
