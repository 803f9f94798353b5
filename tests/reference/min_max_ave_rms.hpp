// Statistics line of a block: extremes, sum, and sum of squares about an offset.
#ifndef KXCALC_TESTS_REFERENCE_MIN_MAX_AVE_RMS_HPP
#define KXCALC_TESTS_REFERENCE_MIN_MAX_AVE_RMS_HPP

#include <cstdint>

#include "reference/block_walk.hpp"
#include "reference/min_max.hpp"

namespace reference {

/// Strict comparisons: a NaN sample replaces nothing, a NaN extreme stays.
template <typename Sample>
void mergeExtremes(const Sample& sample, Sample* minimum, Sample* maximum) {
  if (*minimum > sample) {
    *minimum = sample;
  }
  if (sample > *maximum) {
    *maximum = sample;
  }
}

/// Below a block the extremes are merged with those passed in; from a block on they are overwritten.
template <typename Sample, typename Offset>
void getMinMaxAveRms(const Sample* data, uint32_t count, Sample* minimum, Sample* maximum, double* sum,
                     double* sumOfSquares, Offset rmsOffset) {
  if (count == 0) {
    return;
  }
  if (count >= blockWidth<Sample>) {
    addToSumsInTwoLanes(data, count, headLength(data), rmsOffset, sum, sumOfSquares);
    getMinMaxOfLanes(data, count, minimum, maximum);
    return;
  }
  for (uint32_t i = 0; i < count; ++i) {
    mergeExtremes(data[i], minimum, maximum);
    addToSums(data[i], rmsOffset, sum, sumOfSquares);
  }
}

inline void kxcalcGetMinMaxAveRMS_float(const float* data, uint32_t count, float* minimum, float* maximum, double* sum,
                                        double* sumOfSquares, float rmsOffset) {
  getMinMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, rmsOffset);
}

inline void kxcalcGetMinMaxAveRMS_double(const double* data, uint32_t count, double* minimum, double* maximum,
                                         double* sum, double* sumOfSquares, double rmsOffset) {
  getMinMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, rmsOffset);
}

inline void kxcalcGetMinMaxAveRMS_int16_t(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum,
                                          double* sum, double* sumOfSquares, float rmsOffset) {
  getMinMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, rmsOffset);
}

inline void kxcalcGetMinMaxAveRMS_int32_t(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum,
                                          double* sum, double* sumOfSquares, double rmsOffset) {
  getMinMaxAveRms(data, count, minimum, maximum, sum, sumOfSquares, rmsOffset);
}

}  // namespace reference

#endif
