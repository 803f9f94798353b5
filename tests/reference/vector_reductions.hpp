// Ring-buffer filter of 16 taps, scaled vector with its sum of magnitudes, sum of squares of a scaled vector.
#ifndef KXCALC_TESTS_REFERENCE_VECTOR_REDUCTIONS_HPP
#define KXCALC_TESTS_REFERENCE_VECTOR_REDUCTIONS_HPP

#include <kxcalc.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace reference {

/// Sixteen neighbouring samples: four lanes, each of two pairs of products.
inline float sumOfFourLanes(const float* c, const float* h) {
  float lanes[4];
  for (int k = 0; k < 4; ++k) {
    lanes[k] = (c[8 + k] * h[8 + k] + c[12 + k] * h[12 + k]) + (c[k] * h[k] + c[4 + k] * h[4 + k]);
  }
  return (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
}

/// Sixteen samples across the end of the ring: one sum, from the oldest on.
inline float sumAcrossTheEnd(const float* c, const float* ring, uint32_t start, uint32_t length) {
  float sum = 0;
  uint32_t p = start;
  for (int j = 0; j < 16; ++j) {
    if (p == length) {
      p = 0;
    }
    sum = sum + c[j] * ring[p];
    ++p;
  }
  return sum;
}

inline float kxcalcPowerCalcFIR_float(const PowerFirArgs* args) {
  const uint32_t start = args->position > 15 ? args->position - 16 : args->position + args->length - 16;
  const float* const c = args->coefficients + std::size_t{args->row} * 16;
  return args->length - start > 15 ? sumOfFourLanes(c, args->ring + start)
                                   : sumAcrossTheEnd(c, args->ring, start, args->length);
}

inline void kxcalcPowerSumVectorMultipliedWithScalar_double(PowerScaleArgs* args) {
  double sum = 0;
  for (int32_t i = 0; i < args->count; ++i) {
    args->output[i] = static_cast<float>(static_cast<double>(args->scale) * args->input[i]);
    sum = sum + static_cast<double>(std::fabs(args->output[i]));
  }
  if (args->accumulate != 0) {
    args->sum = sum + args->sum;
  }
}

/// A negative count is a large one.
inline double kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(const float* values, int32_t count, float scale) {
  double sum = 0;
  for (uint32_t i = 0; i < static_cast<uint32_t>(count); ++i) {
    const float v = values[i] * scale;
    sum = sum + static_cast<double>(v) * static_cast<double>(v);
  }
  return sum;
}

}  // namespace reference

#endif
