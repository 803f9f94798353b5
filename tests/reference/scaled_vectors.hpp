// Scaled difference and scaled sum of two vectors, in ascending order whatever overlaps.
#ifndef KXCALC_TESTS_REFERENCE_SCALED_VECTORS_HPP
#define KXCALC_TESTS_REFERENCE_SCALED_VECTORS_HPP

#include <cstdint>

namespace reference {

inline void kxcalcSubtractVectorsAndMultiplyByScalar_float(float* output, const float* first, const float* second,
                                                           uint32_t count, float factor) {
  for (uint32_t i = 0; i < count; ++i) {
    output[i] = (first[i] - second[i]) * factor;
  }
}

inline void kxcalcAddVectorsAndMultiplyByScalar_float(float* output, const float* first, const float* second,
                                                      uint32_t count, float secondFactor, float sumFactor) {
  for (uint32_t i = 0; i < count; ++i) {
    output[i] = (second[i] * secondFactor + first[i]) * sumFactor;
  }
}

}  // namespace reference

#endif
