// One-sided complex spectra in single, real and imaginary part of a bin side by side: correction, conjugation, the
// strongest bin, the energy.
#include "frame/serial_sums.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

/// The sign bit of a bin's imaginary part, the real part in the lower half.
constexpr uint64_t signOfImaginaryPart = uint64_t{0x80000000U} << 32;

template <class V>
KXCALC_INLINE V conjugates(V bins) {
  return bitsAs<V>(bitsAs<SameSize<uint64_t, V>>(bins) ^ signOfImaginaryPart);
}

/// Bins times as many others: a c - b d and a d + b c, each product and sum rounded.
template <class V>
KXCALC_INLINE V complexProduct(V bins, V factors) {
  return subtractedAndAdded(bins * evenLanesTwice(factors), swappedPairs(bins) * oddLanesTwice(factors));
}

/// In a vector as well: of scalars that are multiplied, added and subtracted side by side GCC makes fused operations,
/// whatever it is told.
KXCALC_INLINE void correctOne(float* bin, const float* factor) {
  const f32x4 product = complexProduct(f32x4{bin[0], bin[1]}, f32x4{factor[0], factor[1]});
  bin[0] = product[0];
  bin[1] = product[1];
}

/// Where the spectrum begins less than a vector ahead of the correction, a bin is a factor of a later one: the plain loop
/// then, whose results count.
KXCALC_INLINE void correct(float* spectrum, const float* correction, size_t elements) {
  size_t i = 0;
  if (!feedsOwnVector(spectrum, correction)) {
    const auto correctBlock = [=](auto at) KXCALC_INLINE_LAMBDA {
      at.store(spectrum, complexProduct(at.loadOnce(spectrum), at.load(correction)));
    };
    i = walkBlocks<4>(elements, correctBlock, spectrum, correction);
  }
  for (; i < elements; i += 2) {
    correctOne(spectrum + i, correction + i);
  }
}

/// The sign bit, of zeros and NaNs too: as integers.
KXCALC_INLINE void conjugate(float* spectrum, size_t elements) {
  const auto flipBlock = [=](auto at) KXCALC_INLINE_LAMBDA { at.store(spectrum, conjugates(at.load(spectrum))); };
  size_t i = walkBlocks<4>(elements, flipBlock, spectrum);
  for (++i; i < elements; i += 2) {
    uint32_t bits;
    std::memcpy(&bits, spectrum + i, sizeof bits);
    bits ^= 0x80000000U;
    std::memcpy(spectrum + i, &bits, sizeof bits);
  }
}

KXCALC_INLINE float squaredMagnitude(const float* bin) {
  return bin[0] * bin[0] + bin[1] * bin[1];
}

/// Of as many bins as a vector has lanes, in some order; of four bins in theirs.
template <size_t bytes = 16>
KXCALC_INLINE auto squaredMagnitudes(const float* bins) {
  const auto low = load<bytes>(bins), high = load<bytes>(bins + laneCount<float, bytes>);
  const auto reals = evenLanes(low, high), imags = oddLanes(low, high);
  return reals * reals + imags * imags;
}

constexpr size_t chunk = 64;

/// The largest of a chunk, or 0, in any order. As first operand a NaN is none.
KXCALC_INLINE auto largestOfChunk(const float* bins) {
  constexpr size_t width = laneCount<float, widestBytes>;
  Lanes<float, widestBytes> even{}, odd{};
  const auto line = [&](const float* at) KXCALC_INLINE_LAMBDA {
    even = greater(squaredMagnitudes<widestBytes>(at), even);
    odd = greater(squaredMagnitudes<widestBytes>(at + 2 * width), odd);
  };
  static_assert(2 * chunk % (4 * width) == 0, "a chunk is whole lines");
  walkBody<widestBytes>(bins, 0, 2 * chunk, line, [](const float*) {});
  return greater(even, odd);
}

/// The first bin from `begin` on with a magnitude that there is.
KXCALC_INLINE size_t firstOf(float magnitude, const float* spectrum, size_t begin, size_t bins) {
  size_t k = begin;
  while (bins - k >= 4 && !anyBitSet(squaredMagnitudes(spectrum + 2 * k) == magnitude)) {
    k += 4;
  }
  while (squaredMagnitude(spectrum + 2 * k) != magnitude) {
    ++k;
  }
  return k;
}

/// More than a chunk of bins: the first of the largest lies in the last chunk that holds something larger than all before
/// it. What the last chunk has in common with the one before is not larger.
KXCALC_INLINE size_t strongestOfMany(const float* spectrum, size_t bins) {
  float best = 0;
  size_t begin = 0;
  const auto look = [&](size_t k) KXCALC_INLINE_LAMBDA {
    const auto largest = largestOfChunk(spectrum + 2 * k);
    if (anyBitSet(largest > best)) {
      best = reduceByHalves<float>(largest, greater);
      begin = k;
    }
  };
  for (size_t k = 1; k < bins - chunk; k += chunk) {
    look(k);
  }
  look(bins - chunk);
  return best > 0 ? firstOf(best, spectrum, begin, bins) : 0;
}

/// Up to a chunk: four by four, the last four wherever they lie.
KXCALC_INLINE size_t strongestOfSome(const float* spectrum, size_t bins) {
  f32x4 largest{};
  for (size_t k = 1; k < bins - 4; k += 4) {
    largest = greater(squaredMagnitudes(spectrum + 2 * k), largest);
  }
  const auto best = reduceByHalves<float>(greater(squaredMagnitudes(spectrum + 2 * (bins - 4)), largest), greater);
  return best > 0 ? firstOf(best, spectrum, 1, bins) : 0;
}

KXCALC_INLINE size_t strongestOfFew(const float* spectrum, size_t bins) {
  float best = 0;
  size_t strongest = 0;
  for (size_t k = 1; k < bins; ++k) {
    const float magnitude = squaredMagnitude(spectrum + 2 * k);
    if (magnitude > best) {
      best = magnitude;
      strongest = k;
    }
  }
  return strongest;
}

/// The first of the largest above 0.
KXCALC_INLINE size_t strongestBin(const float* spectrum, size_t bins) {
  constexpr size_t few = 8;
  return bins > chunk ? strongestOfMany(spectrum, bins)
         : bins > few ? strongestOfSome(spectrum, bins)
                      : strongestOfFew(spectrum, bins);
}

/// The energy of a bin: squares of singles are exact in double, their sum is rounded.
struct Energies {
  static constexpr size_t length = 8;
  const float* spectrum;

  KXCALC_INLINE double one(size_t k) const {
    const f64x2 bin = loadAsDoubles(spectrum + 2 * k);
    const f64x2 squares = bin * bin;
    return squares[0] + squares[1];
  }

  template <class Add>
  KXCALC_INLINE void rows(size_t k, Add add) const {
    for (size_t bin = k; bin < k + length; bin += 2) {
      takeFourColumns(spectrum + 2 * bin, 2 * length,
                      [&](auto real, auto imag, auto nextReal, auto nextImag) KXCALC_INLINE_LAMBDA {
                        add(squared(toDoubles(real)) + squared(toDoubles(imag)));
                        add(squared(toDoubles(nextReal)) + squared(toDoubles(nextImag)));
                      });
    }
  }

  KXCALC_INLINE void prefetch(size_t k) const {
    prefetchAhead(spectrum + 2 * k);
    prefetchAhead(spectrum + 2 * k + 16);
  }

private:
  template <class V>
  KXCALC_INLINE static V squared(V v) {
    return v * v;
  }
};

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcPowerCorrectFFT_U(float* spectrum, const float* correction, int32_t binCount) {
  if (binCount > 0) {
    kxcalc::correct(spectrum, correction, 2 * static_cast<size_t>(binCount));
  }
}

extern "C" void kxcalcPowerNegateImag_float(float* spectrum, uint32_t elementCount) {
  kxcalc::conjugate(spectrum, elementCount);
}

extern "C" uint32_t kxcalcPowerFindIndexOfMaxAmplitude(const float* spectrum, uint32_t binCount) {
  return static_cast<uint32_t>(kxcalc::strongestBin(spectrum, binCount));
}

extern "C" double kxcalcPowerHarmonicZero(const float* spectrum, uint32_t binCount) {
  using namespace kxcalc;
  return serialSumIfWide<Doubles>(Energies{spectrum}, binCount);
}
