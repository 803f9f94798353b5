// Folds a cycle into the average of all cycles so far, in place, and finds the peak of the new average: the smallest
// normal single, or what is larger.
//
// Two forms, which round differently: whole blocks of four are averaged in double and rounded to single at the end, the
// up to three elements after them in single throughout, with n + 1 formed as an integer of 64 bits that wraps.
#include <limits>

#include "frame/blocks.hpp"
#include "frame/wide_integers.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

constexpr float smallestNormal = std::numeric_limits<float>::min(), noPeak = smallestNormal;

/// Quotients of doubles, each rounded to double and then to single. Dividing wider vectors takes as much longer.
struct Divided {
  static constexpr size_t widest = 4;
  double divisor;

  template <class X>
  KXCALC_INLINE auto operator()(X sums) const {
    return toSingles(sums / divisor);
  }
};

/// The same for a power of two, whose reciprocal is exact.
struct MultipliedExactly {
  static constexpr size_t widest = 4 * widening;
  double reciprocal;

  template <class X>
  KXCALC_INLINE auto operator()(X sums) const {
    return toSingles(sums * reciprocal);
  }
};

/// The same, most of the time without the division, which takes longer than all the rest.
///
/// The reciprocal and the product are each off by 2^-53 of themselves at most, together by little more than two units of
/// the product's last place, and the quotient by half a unit: the two doubles lie less than 8 units apart. They are
/// rounded to different singles only if a midpoint between two singles lies between them, or is one of them. Then the 29
/// bits that the product loses are within 8 of a half. (Below the normal singles it loses more bits, and is not asked.)
struct MultipliedAndChecked {
  static constexpr size_t widest = 4 * widening;
  double divisor, reciprocal;

  template <class X>
  KXCALC_INLINE auto operator()(X sums) const {
    const auto products = sums * reciprocal;
    const auto singles = toSingles(products);
    if (anyBitSet(undecided(lowWordsOf(products), singles))) [[unlikely]] {
      return Divided{divisor}(sums);
    }
    return singles;
  }

private:
  template <class X>
  KXCALC_INLINE static auto lowWordsOf(X doubles) {
    const auto low = lowPart(doubles), high = highPart(doubles);
    using Words = SameSize<uint32_t, decltype(low)>;
    return evenLanes(bitsAs<Words>(low), bitsAs<Words>(high));
  }
  template <class Words, class V>
  KXCALC_INLINE static auto undecided(Words lowWordsOfProducts, V singles) {
    constexpr uint32_t half = 1U << 28, lost = (1U << 29) - 1;
    const auto magnitudes = bitsAs<V>(bitsAs<SameSize<int32_t, V>>(singles) & INT32_MAX);
    return (((lowWordsOfProducts + (half + 8)) & (lost - 15)) == 0) | (magnitudes <= smallestNormal);
  }
};

/// The largest average of each of four lanes. One that is a NaN takes its lane over, and the next one replaces it.
struct LanePeaks {
  f32x4 largest = splat<f32x4>(noPeak);

  KXCALC_INLINE void fold(f32x4 averages) { largest = greater(largest, averages); }
  KXCALC_INLINE float reduce(const float*, size_t) const { return reduceByHalves<float>(largest, greater); }
};

/// The largest of all, in any order. The sum is a NaN if one of them is: then they are gone over again by lanes.
struct WidePeaks {
  using Widest = Lanes<float, widestBytes>;
  Widest largest = splat<Widest>(noPeak), sum{};

  template <class V>
  KXCALC_INLINE void fold(V averages) {
    const Widest wide = repeatedTo<widestBytes>(averages);
    largest = greater(wide, largest);
    sum += wide;
  }
  KXCALC_INLINE float reduce(const float* averages, size_t count) const {
    if (anyBitSet(unordered(sum, sum))) [[unlikely]] {
      LanePeaks lanes;
      walkBody(averages, 0, count, [&](const float* at) { lanes.fold(load(at)); });
      return lanes.reduce(averages, count);
    }
    return reduceByHalves<float>(largest, greater);
  }
};

template <class Quotients>
KXCALC_INLINE float foldCycle(const float* newCycle, float* average, size_t count, uint64_t cycles,
                              Quotients quotients) {
  const auto n = toDouble(cycles);
  std::conditional_t<(Quotients::widest > 4), WidePeaks, LanePeaks> peaks;
  const auto fold = [&](auto at) KXCALC_INLINE_LAMBDA {
    const auto folded = quotients(at.loadAsDoubles(newCycle) + at.loadAsDoubles(average) * n);
    at.store(average, folded);
    peaks.fold(folded);
  };
  size_t i = walkBlocks<4, Quotients::widest>(count, fold, newCycle, average);
  float peak = peaks.reduce(average, i);
  const auto before = toSingle(cycles);
  const auto after = toSingle(cycles + 1);
  for (; i < count; ++i) {
    average[i] = (average[i] * before + newCycle[i]) / after;
    peak = average[i] > peak ? average[i] : peak;
  }
  return peak;
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxCalcCAOverallPressure(const float* newCycle, float* average, uint32_t start, uint32_t end,
                                        uint64_t cycles, float* peak) {
  using namespace kxcalc;
  const uint32_t count = end - start;
  const double divisor = toDouble(cycles) + 1.0;
  const bool isPowerOfTwo = bitsAs<uint64_t>(divisor) << 12 == 0;
  // A new value in the binade of its average differs from it by whole units: of `divisor` such values one gives a quotient
  // halfway between two singles. Of few cycles that is too often, and vectors of 16 bytes are divided as quickly.
  const bool checksPay = widestBytes > 16 && cycles >= 128 && count >= 64;
  if (isPowerOfTwo) {
    *peak = foldCycle(newCycle, average, count, cycles, MultipliedExactly{1 / divisor});
  } else if (checksPay) {
    *peak = foldCycle(newCycle, average, count, cycles, MultipliedAndChecked{divisor, 1 / divisor});
  } else {
    *peak = foldCycle(newCycle, average, count, cycles, Divided{divisor});
  }
}
