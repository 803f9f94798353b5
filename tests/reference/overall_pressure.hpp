// Average curve over all cycles so far, and its peak.
#ifndef KXCALC_TESTS_REFERENCE_OVERALL_PRESSURE_HPP
#define KXCALC_TESTS_REFERENCE_OVERALL_PRESSURE_HPP

#include <cstdint>

#include "reference/min_max.hpp"

namespace reference {

inline void kxCalcCAOverallPressure(const float* newCycle, float* average, uint32_t start, uint32_t end,
                                    uint64_t cycles, float* peak) {
  const uint32_t count = end - start;
  const uint32_t bodyEnd = count - count % 4;
  const auto n = static_cast<double>(cycles);
  const double n1 = n + 1.0;
  float lanes[4] = {1.17549435e-38F, 1.17549435e-38F, 1.17549435e-38F, 1.17549435e-38F};
  for (uint32_t i = 0; i < bodyEnd; ++i) {
    average[i] = static_cast<float>((static_cast<double>(newCycle[i]) + static_cast<double>(average[i]) * n) / n1);
    lanes[i % 4] = greater(lanes[i % 4], average[i]);
  }
  *peak = greater(greater(lanes[0], lanes[2]), greater(lanes[1], lanes[3]));
  const auto nf = static_cast<float>(cycles);
  const auto n1f = static_cast<float>(cycles + 1);  // after the highest number comes 0
  for (uint32_t i = bodyEnd; i < count; ++i) {
    average[i] = (average[i] * nf + newCycle[i]) / n1f;
    if (average[i] > *peak) {
      *peak = average[i];
    }
  }
}

}  // namespace reference

#endif
