// Weighted sum of the newest samples, and moving average.
#ifndef KXCALC_TESTS_REFERENCE_SAMPLE_FILTERS_HPP
#define KXCALC_TESTS_REFERENCE_SAMPLE_FILTERS_HPP

#include <cstddef>
#include <cstdint>

#include "reference/block_walk.hpp"

namespace reference {

/// Newest sample first.
template <typename Sample>
float weightedSumOneByOne(const Sample* newest, uint32_t count, const float* weights, uint32_t stride) {
  float sum = 0;
  for (uint32_t k = 0; k < count; ++k) {
    const float product = static_cast<float>(*(newest - static_cast<ptrdiff_t>(k))) * weights[std::size_t{k} * stride];
    sum = sum + product;
  }
  return sum;
}

/// A whole block onto the lanes, from its first element on; what is not taken enters as its product with 0.
template <typename Sample>
void addMaskedBlock(const Sample* oldest, uint32_t count, const float* weights, uint32_t stride, uint32_t blockStart,
                    uint32_t firstTaken, uint32_t endTaken, float* lanes) {
  for (uint32_t position = 0; position < blockWidth<Sample>; ++position) {
    const uint32_t j = blockStart + position;
    const float mask = j >= firstTaken && j < endTaken ? 1.0F : 0.0F;
    const float masked = static_cast<float>(oldest[j]) * mask;
    const float product = masked * weights[std::size_t{count - 1 - j} * stride];
    lanes[position % 4] = lanes[position % 4] + product;
  }
}

/// Oldest sample first: a head up to a 16-byte boundary (a whole block where the oldest sample lies on one), aligned
/// blocks, and the last block of the window for what is left.
template <typename Sample>
float weightedSumInLanes(const Sample* newest, uint32_t count, const float* weights, uint32_t stride) {
  constexpr uint32_t width = blockWidth<Sample>;
  const Sample* const oldest = newest - static_cast<ptrdiff_t>(count - 1);
  const uint32_t toBoundary = headLength(oldest);
  const uint32_t head = toBoundary == 0 ? width : toBoundary;
  const uint32_t bodyEnd = count - (count - head) % width;
  float lanes[4] = {0, 0, 0, 0};
  addMaskedBlock(oldest, count, weights, stride, 0, 0, head, lanes);
  for (uint32_t j = head; j < bodyEnd; j += width) {
    addMaskedBlock(oldest, count, weights, stride, j, j, j + width, lanes);
  }
  if (bodyEnd < count) {
    addMaskedBlock(oldest, count, weights, stride, count - width, bodyEnd, count, lanes);
  }
  return (lanes[0] + lanes[2]) + (lanes[1] + lanes[3]);
}

template <typename Sample>
float weightedSum(const Sample* newest, uint32_t count, const float* weights, uint32_t stride) {
  return count < blockWidth<Sample> ? weightedSumOneByOne(newest, count, weights, stride)
                                    : weightedSumInLanes(newest, count, weights, stride);
}

inline float kxcalcCACalcFilter_int16_t(const int16_t* newest, uint32_t count, const float* weights, uint32_t stride) {
  return weightedSum(newest, count, weights, stride);
}

inline float kxcalcCACalcFilter_float(const float* newest, uint32_t count, const float* weights, uint32_t stride) {
  return weightedSum(newest, count, weights, stride);
}

inline float kxcalcCACalcFilter_int32_t(const int32_t* newest, uint32_t count, const float* weights, uint32_t stride) {
  return weightedSum(newest, count, weights, stride);
}

inline void kxcalcCACalcAveFilter_double(const double* input, double* output, uint16_t width, uint32_t count) {
  const uint32_t window = width % 2 == 0 ? width + 1U : width;
  const uint32_t half = (window - 1) / 2;
  double mean = input[0];
  for (uint32_t i = 1; i < window; ++i) {
    mean = (mean * static_cast<double>(i) + input[i]) / static_cast<double>(i + 1);
  }
  for (uint32_t j = 0; j <= half; ++j) {
    output[j] = mean;
  }
  const uint32_t last = count - 1 - half;
  if (last > half) {
    for (uint32_t j = half + 1; j <= last; ++j) {
      mean =
          ((mean * static_cast<double>(window) + input[j + half]) - input[j - half - 1]) / static_cast<double>(window);
      output[j] = mean;
    }
  }
  for (uint32_t j = last; j < count; ++j) {
    output[j] = mean;
  }
}

}  // namespace reference

#endif
