// Vector reductions of the power analysis: a filter of 16 taps over a ring, scaling to single with a sum of magnitudes,
// and the sum of squares of scaled values.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "frame/serial_sums.hpp"
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

KXCALC_INLINE void scaleAll(const double* input, float* output, size_t count, double scale) {
  walkElements<4>(input, count, [=](auto at) { at.store(output, toSingles(scale * at.load(input))); });
}

/// The same, with the magnitudes of the singles as the terms of a sum.
struct ScaledMagnitudes {
  static constexpr size_t length = 8;
  const double* input;
  float* output;
  double scale;

  KXCALC_INLINE double one(size_t i) const {
    output[i] = static_cast<float>(scale * input[i]);
    return static_cast<double>(std::abs(output[i]));
  }

  template <class Add>
  KXCALC_INLINE void rows(size_t i, Add add) const {
    constexpr size_t block = runsSideBySide * length, width = 8;
    unrolled<block / width>([&](size_t k) KXCALC_INLINE_LAMBDA {
      const Pack<width> at{i + k * width};
      at.store(output, toSingles(scale * at.load(input)));
    });
    unrolled<length / 4>([&](size_t k) KXCALC_INLINE_LAMBDA {
      takeFourColumns(output + i + 4 * k, length,
                      [&](auto... columns) KXCALC_INLINE_LAMBDA { (add(toDoubles(magnitudes(columns))), ...); });
    });
  }

  KXCALC_INLINE void prefetch(size_t i) const {
    prefetchAhead(input + i);
    prefetchAhead(input + i + 8);
    prefetchAhead(output + i);
  }

  /// A pack of terms.
  template <size_t width>
  KXCALC_INLINE auto magnitudesAt(Pack<width> at) const {
    const auto singles = toSingles(scale * at.load(input));
    at.store(output, singles);
    return magnitudes(singles);
  }

private:
  template <class V>
  KXCALC_INLINE static V magnitudes(V singles) {
    const auto withoutSign = [](auto v) KXCALC_INLINE_LAMBDA {
      return bitsAs<decltype(v)>(bitsAs<SameSize<int32_t, decltype(v)>>(v) & INT32_MAX);
    };
    return eachVector(withoutSign, singles);
  }
};

struct PartialSum {
  double sum;
  size_t count;
};

/// The sum of the first terms, in any order: of as many chunks of whole vectors as it takes without a rounding.
///
/// Magnitudes of singles are whole numbers of the last place of the smallest of them, and as long as the sum is less than
/// 2^53 of those, no addition rounds. (A sum that is rounded on its way does not come out below; one that is infinite or a
/// NaN is not less than anything.)
KXCALC_INLINE PartialSum sumWithoutRounding(const ScaledMagnitudes& terms, size_t count) {
  constexpr size_t chunk = 64, fewest = 24, width = laneCount<float, widestBytes>;
  PartialSum exact{0, 0};
  PackOf<double, width> sums{};
  auto smallest = splat<Lanes<uint32_t, widestBytes>>(UINT32_MAX);  // less 1, so that zeros are the largest
  while (count >= fewest && count - exact.count >= width) {
    const size_t end = exact.count + std::min(chunk, (count - exact.count) / width * width);
    for (size_t i = exact.count; i < end; i += termsOfPrefetch) {
      terms.prefetch(i);
    }
    for (size_t i = exact.count; i < end; i += width) {
      const auto magnitudes = terms.magnitudesAt(Pack<width>{i});
      sums = sums + toDoubles(magnitudes);
      smallest = lesser(bitsAs<decltype(smallest)>(magnitudes) - 1, smallest);
    }
    const uint64_t exponent = std::max((reduceByHalves<uint32_t>(smallest, lesser) + 1) >> 23, 1U);
    const auto limit = bitsAs<double>((exponent + (1023 - 127) + 53 - 23) << 52);
    const auto sum =
        reduceByHalves<double>(sums.low + sums.high, [](auto a, auto b) KXCALC_INLINE_LAMBDA { return a + b; });
    if (!(sum < limit)) {
      break;
    }
    exact = {sum, end};
  }
  return exact;
}

/// The squares of scaled values: scaled in single, squared in double.
struct ScaledSquares {
  static constexpr size_t length = 8;
  const float* values;
  float scale;

  KXCALC_INLINE double one(size_t i) const {
    const auto scaled = static_cast<double>(values[i] * scale);
    return scaled * scaled;
  }

  template <class Add>
  KXCALC_INLINE void rows(size_t i, Add add) const {
    const auto addSquares = [&](auto column) KXCALC_INLINE_LAMBDA {
      const auto scaled = toDoubles(column * scale);
      add(scaled * scaled);
    };
    unrolled<length / 4>([&](size_t k) KXCALC_INLINE_LAMBDA {
      takeFourColumns(values + i + 4 * k, length,
                      [&](auto... columns) KXCALC_INLINE_LAMBDA { (addSquares(columns), ...); });
    });
  }

  KXCALC_INLINE void prefetch(size_t i) const { prefetchAhead(values + i); }
};

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
    const ScaledMagnitudes terms{args->input, args->output, scale};
    const auto [sum, summed] = sumWithoutRounding(terms, count);
    args->sum = serialSum<Doubles>(terms, count, summed, sum) + args->sum;
  }
}

extern "C" double kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(const float* values, int32_t count,
                                                                         float scale) {
  using namespace kxcalc;
  return serialSum<Doubles>(ScaledSquares{values, scale}, static_cast<uint32_t>(count));
}
