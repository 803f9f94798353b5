// Smoothing of crank-angle samples: weighted sums of the latest samples, and a centred moving average.
//
// Weighted sums, in single. Two forms that add in different orders, both part of the contract:
// - short windows one by one, the newest sample first;
// - longer ones in four lanes, the oldest sample first: a masked head up to the sample array's 16-byte boundary, or a
//   whole block where it begins on one, then whole blocks, then a masked tail. The masks of 1 and 0 are multiplied in
//   before the weights, so an infinite sample in a masked lane makes the result NaN.
#include "frame/blocks.hpp"
#include "frame/wide_integers.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

/// Weights of four samples in ascending memory order, from the oldest's weight down; stride 1 is one load.
struct WeightTable {
  const float* weights;
  size_t stride;

  KXCALC_INLINE f32x4 fourDownFrom(size_t k) const {
    if (stride == 1) {
      return __builtin_shufflevector(load(weights + k - 3), f32x4{}, 3, 2, 1, 0);
    }
    const float* const at = weights + (k - 3) * stride;
    return f32x4{at[3 * stride], at[2 * stride], at[stride], at[0]};
  }
};

KXCALC_INLINE f32x4 fourSingles(const float* from) {
  return load(from);
}
KXCALC_INLINE f32x4 fourSingles(const int32_t* from) {
  return __builtin_convertvector(load(from), f32x4);
}
KXCALC_INLINE f32x4 fourSingles(const int16_t* from) {
  return __builtin_convertvector(loadAsInt32(from), f32x4);
}

/// Masks of a block's groups of four: 1 for the first `head` positions of a block, or for the last `tail` ones, else 0.
constexpr float masks[] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0};
constexpr size_t firstOne = 8, firstZero = 16;

template <class Sample>
KXCALC_INLINE float longSum(const Sample* newest, size_t count, WeightTable table) {
  constexpr size_t width = laneCount<Sample>;
  const Sample* const oldest = newest - (count - 1);
  f32x4 lanes{};
  const auto addGroup = [&](size_t j, f32x4 samples) { lanes += samples * table.fourDownFrom(count - 1 - j); };
  const auto addMasked = [&](size_t block, const float* mask) {
    unrolled<width / 4>([&](size_t group) {
      addGroup(block + 4 * group, fourSingles(oldest + block + 4 * group) * load(mask + 4 * group));
    });
  };
  const size_t toBoundary = headLength(oldest);
  const size_t head = toBoundary == 0 ? width : toBoundary;
  addMasked(0, masks + firstZero - head);
  size_t j = head;
  for (; count - j >= width; j += width) {
    unrolled<width / 4>([&](size_t group) { addGroup(j + 4 * group, fourSingles(oldest + j + 4 * group)); });
  }
  if (const size_t tail = count - j; tail > 0) {
    addMasked(count - width, masks + firstOne - width + tail);
  }
  return reduceByHalves<float>(lanes, [](float a, float b) { return a + b; });
}

template <class Sample>
KXCALC_INLINE float weightedSum(const Sample* newest, size_t count, const float* weights, size_t stride) {
  if (count >= laneCount<Sample>) {
    return longSum(newest, count, {weights, stride});
  }
  float sum = 0;
  for (size_t k = 0; k < count; ++k) {
    sum += static_cast<float>(*(newest - k)) * weights[k * stride];
  }
  return sum;
}

/// The mean moves on by what enters and what leaves the window, divided anew: rounding errors carry along.
/// The chain is a multiplication, two additions and a division an element. The last index is of unsigned 32 bits.
KXCALC_INLINE void movingAverage(const double* input, double* output, uint32_t width, uint32_t count) {
  const uint32_t half = (width - 1) / 2;
  double mean = input[0];
  for (uint32_t i = 1; i < width; ++i) {
    mean = (mean * toDouble(uint64_t{i}) + input[i]) / toDouble(uint64_t{i} + 1);
  }
  for (size_t j = 0; j <= half; ++j) {
    output[j] = mean;
  }
  const uint32_t last = count - 1 - half;
  const auto divisor = toDouble(uint64_t{width});
  for (size_t j = size_t{half} + 1; j <= last; ++j) {
    mean = ((mean * divisor + input[j + half]) - input[j - half - 1]) / divisor;
    output[j] = mean;
  }
  for (size_t j = last; j < count; ++j) {
    output[j] = mean;
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" float kxcalcCACalcFilter_int16_t(const int16_t* newest, uint32_t count, const float* weights,
                                            uint32_t stride) {
  return kxcalc::weightedSum(newest, count, weights, stride);
}

extern "C" float kxcalcCACalcFilter_float(const float* newest, uint32_t count, const float* weights, uint32_t stride) {
  return kxcalc::weightedSum(newest, count, weights, stride);
}

extern "C" float kxcalcCACalcFilter_int32_t(const int32_t* newest, uint32_t count, const float* weights,
                                            uint32_t stride) {
  return kxcalc::weightedSum(newest, count, weights, stride);
}

extern "C" void kxcalcCACalcAveFilter_double(const double* input, double* output, uint16_t width, uint32_t count) {
  kxcalc::movingAverage(input, output, width | 1U, count);  // an even width gets 1 added
}
