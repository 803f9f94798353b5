// One-sided complex spectra in single, real and imaginary part of a bin side by side: correction, conjugation, the
// strongest bin, the energy.
#include "frame/serial_sums.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

/// The sign bits of a bin, the real part in the lower half.
constexpr uint64_t signsOfRealParts = 0x80000000U, signsOfImaginaryParts = uint64_t{0x80000000U} << 32;

template <class V>
KXCALC_INLINE V flipSigns(V bins, uint64_t signs) {
  return bitsAs<V>(bitsAs<SameSize<uint64_t, V>>(bins) ^ signs);
}

/// Bins times as many others: a c - b d and a d + b c, each product and sum rounded. (x - y is x + -y, to the bit.)
template <class V>
KXCALC_INLINE V complexProduct(V bins, V factors) {
  return bins * evenLanesTwice(factors) + flipSigns(swappedPairs(bins) * oddLanesTwice(factors), signsOfRealParts);
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
      at.store(spectrum, complexProduct(at.load(spectrum), at.load(correction)));
    };
    i = walkBlocks<4>(elements, correctBlock, spectrum, correction);
  }
  for (; i < elements; i += 2) {
    correctOne(spectrum + i, correction + i);
  }
}

/// The sign bit, of zeros and NaNs too: as integers.
KXCALC_INLINE void conjugate(float* spectrum, size_t elements) {
  const auto flipBlock = [=](auto at) KXCALC_INLINE_LAMBDA {
    at.store(spectrum, flipSigns(at.load(spectrum), signsOfImaginaryParts));
  };
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

KXCALC_INLINE f32x4 squaredMagnitudesOfFour(const float* bins) {
  const f32x4 low = load(bins), high = load(bins + 4);
  const f32x4 reals = __builtin_shufflevector(low, high, 0, 2, 4, 6);
  const f32x4 imags = __builtin_shufflevector(low, high, 1, 3, 5, 7);
  return reals * reals + imags * imags;
}

/// The first of the largest above 0. Sixteen bins that hold nothing larger than the best so far are passed over; others
/// are looked at one by one, in ascending order.
KXCALC_INLINE size_t strongestBin(const float* spectrum, size_t bins) {
  float best = 0;
  size_t index = 0;
  const auto look = [&](size_t begin, size_t end) {
    for (size_t k = begin; k < end; ++k) {
      const float magnitude = squaredMagnitude(spectrum + 2 * k);
      if (magnitude > best) {
        best = magnitude;
        index = k;
      }
    }
  };
  size_t k = 1;
  for (; bins - k >= 16; k += 16) {
    const float* const at = spectrum + 2 * k;
    prefetchAhead(at);
    prefetchAhead(at + 16);
    i32x4 larger{};
    unrolled<4>([&](size_t four) { larger |= squaredMagnitudesOfFour(at + 8 * four) > best; });
    if (anyBitSet(larger)) {
      look(k, k + 16);
    }
  }
  look(k, bins);
  return index;
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
  return binCount < 2 ? 0 : static_cast<uint32_t>(kxcalc::strongestBin(spectrum, binCount));
}

extern "C" double kxcalcPowerHarmonicZero(const float* spectrum, uint32_t binCount) {
  using namespace kxcalc;
  return serialSum<Doubles>(Energies{spectrum}, binCount);
}
