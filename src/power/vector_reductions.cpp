// Vector reductions of the power analysis: a filter of 16 taps over a ring, scaling to single with a sum of magnitudes,
// and the sum of squares of scaled values.
#include <cmath>
#include <cstddef>

#include "frame/blocks.hpp"
#include "kxcalc.h"

static_assert(offsetof(PowerFirArgs, position) == 2 * sizeof(void*));
static_assert(offsetof(PowerScaleArgs, sum) == 2 * sizeof(void*) && offsetof(PowerScaleArgs, count) % 8 == 4);
static_assert(sizeof(PowerScaleArgs) == 24 + 2 * sizeof(void*));

namespace kxcalc {
namespace {

constexpr uint32_t tapCount = 16;

/// Sixteen samples in a row: four lane sums, each of two inner sums.
KXCALC_INLINE float contiguousSum(const float* samples, const float* taps) {
  const auto products = [=](size_t k) { return load(taps + k) * load(samples + k); };
  const f32x4 lanes = (products(8) + products(12)) + (products(0) + products(4));
  return (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
}

/// Sixteen samples over the end of the ring: one serial sum. It rounds otherwise than the other.
KXCALC_INLINE float wrappedSum(const float* ring, uint32_t length, uint32_t start, const float* taps) {
  float sum = 0;
  uint32_t at = start;
  for (uint32_t tap = 0; tap < tapCount; ++tap) {
    at = at == length ? 0 : at;
    sum += taps[tap] * ring[at];
    ++at;
  }
  return sum;
}

KXCALC_INLINE float toSingle(double value) {
  return static_cast<float>(value);
}
KXCALC_INLINE f32x4 toSingle(Pack<4>::Twin<double> values) {
  return toSingles(values.low, values.high);
}
KXCALC_INLINE double times(double value, double scale) {
  return scale * value;
}
KXCALC_INLINE Pack<4>::Twin<double> times(Pack<4>::Twin<double> values, double scale) {
  return {scale * values.low, scale * values.high};
}

KXCALC_INLINE void scaleAll(const double* input, float* output, size_t count, double scale) {
  walkElements<4>(headLength(input), count, [=](auto at) { at.store(output, toSingle(times(at.load(input), scale))); });
}

/// The same, with the sum of the magnitudes of the singles, in ascending order.
KXCALC_INLINE double scaleAndSum(const double* input, float* output, size_t count, double scale) {
  double sum = 0;
  for (size_t i = 0; i < count; ++i) {
    output[i] = static_cast<float>(scale * input[i]);
    sum += static_cast<double>(std::abs(output[i]));
  }
  return sum;
}

}  // namespace
}  // namespace kxcalc

extern "C" float kxcalcPowerCalcFIR_float(const PowerFirArgs* args) {
  using namespace kxcalc;
  const uint32_t position = args->position;
  const uint32_t start = position >= tapCount ? position - tapCount : position + args->length - tapCount;
  const float* const taps = args->coefficients + size_t{args->row} * tapCount;
  return args->length - start >= tapCount ? contiguousSum(args->ring + start, taps)
                                          : wrappedSum(args->ring, args->length, start, taps);
}

extern "C" void kxcalcPowerSumVectorMultipliedWithScalar_double(PowerScaleArgs* args) {
  using namespace kxcalc;
  const size_t count = args->count < 1 ? 0 : static_cast<size_t>(args->count);
  const auto scale = static_cast<double>(args->scale);
  if (args->accumulate == 0) {
    scaleAll(args->input, args->output, count, scale);
  } else {
    args->sum = scaleAndSum(args->input, args->output, count, scale) + args->sum;
  }
}

extern "C" double kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(const float* values, int32_t count,
                                                                         float scale) {
  double sum = 0;
  for (size_t i = 0; i < static_cast<uint32_t>(count); ++i) {
    const auto scaled = static_cast<double>(values[i] * scale);
    sum += scaled * scaled;
  }
  return sum;
}
