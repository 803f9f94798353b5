// Sum of squares and dot product: one double, in ascending order.
#ifndef KXCALC_TESTS_REFERENCE_SERIAL_SUMS_HPP
#define KXCALC_TESTS_REFERENCE_SERIAL_SUMS_HPP

#include <cstdint>

namespace reference {

inline double kxcalcMultiplyVectorsAndCalcSum_float(const float* first, const float* second, uint32_t count) {
  double sum = 0;
  for (uint32_t i = 0; i < count; ++i) {
    sum = sum + static_cast<double>(first[i]) * static_cast<double>(second[i]);
  }
  return sum;
}

inline double kxcalcSumSquaredValues_float(const float* data, uint32_t count) {
  double sum = 0;
  for (uint32_t i = 0; i < count; ++i) {
    sum = sum + static_cast<double>(data[i]) * static_cast<double>(data[i]);
  }
  return sum;
}

}  // namespace reference

#endif
