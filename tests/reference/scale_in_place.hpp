// Scaling in place.
#ifndef KXCALC_TESTS_REFERENCE_SCALE_IN_PLACE_HPP
#define KXCALC_TESTS_REFERENCE_SCALE_IN_PLACE_HPP

#include <cstdint>

namespace reference {

template <typename Sample>
void multiplyVectorByScalar(Sample* data, uint32_t count, Sample factor) {
  for (uint32_t i = 0; i < count; ++i) {
    data[i] = data[i] * factor;
  }
}

inline void kxcalcMultiplyVectorByScalar_float(float* data, uint32_t count, float factor) {
  multiplyVectorByScalar(data, count, factor);
}

inline void kxcalcMultiplyVectorByScalar_double(double* data, uint32_t count, double factor) {
  multiplyVectorByScalar(data, count, factor);
}

}  // namespace reference

#endif
