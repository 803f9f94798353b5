#include "reference/spectrum.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <numbers>
#include <span>
#include <utility>
#include <vector>

#include "power/serial_terms.hpp"
#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float highest = std::numeric_limits<float>::max();
constexpr float smallest = std::numeric_limits<float>::denorm_min();
constexpr double twoTo53 = 9007199254740992.0;

struct Bin {
  float re;
  float im;
};

std::vector<float> elementsOf(std::span<const Bin> bins) {
  std::vector<float> elements;
  for (const Bin& bin : bins) {
    elements.push_back(bin.re);
    elements.push_back(bin.im);
  }
  return elements;
}

int32_t binsIn(std::span<const float> elements) {
  return static_cast<int32_t>(elements.size() / 2);
}

std::vector<float> randomElements(support::SampleClass sampleClass, std::size_t count, support::Random& random) {
  std::vector<float> elements(count);
  support::fill(std::span(elements), sampleClass, random);
  return elements;
}

/// Spectrum and correction at fences.
class Corrector {
public:
  std::span<const float> run(std::span<const float> spectrum, std::span<const float> correction, int32_t binCount,
                             const Placement& spectrumPlacement = support::endsAtFence,
                             const Placement& correctionPlacement = support::endsAtFence) {
    const std::span<float> bins = spectrumMemory_.place(spectrum.size(), spectrumPlacement);
    const std::span<float> factors = correctionMemory_.place(correction.size(), correctionPlacement);
    std::ranges::copy(spectrum, bins.begin());
    std::ranges::copy(correction, factors.begin());
    kxcalcPowerCorrectFFT_U(bins.data(), factors.data(), binCount);
    EXPECT_TRUE(support::sameBits(factors, correction)) << "correction changed";
    EXPECT_TRUE(spectrumMemory_.surroundingsIntact());
    return bins;
  }

  testing::AssertionResult equalsModel(const std::vector<float>& spectrum, const std::vector<float>& correction,
                                       const Placement& spectrumPlacement, const Placement& correctionPlacement) {
    std::vector<float> expected = spectrum;
    reference::kxcalcPowerCorrectFFT_U(expected.data(), correction.data(), binsIn(spectrum));
    testing::AssertionResult result = support::sameResult(
        run(spectrum, correction, binsIn(spectrum), spectrumPlacement, correctionPlacement), expected);
    if (!result) {
      result << "; " << binsIn(spectrum) << " bins, spectrum " << spectrumPlacement << ", correction "
             << correctionPlacement;
    }
    return result;
  }

private:
  support::FencedBuffer<float> spectrumMemory_{support::largestCount};
  support::FencedBuffer<float> correctionMemory_{support::largestCount};
};

TEST(PowerCorrectFFT_U, MultipliesEachBinByItsCorrection) {
  const struct {
    Bin bin;
    Bin correction;
    Bin product;
  } cases[] = {
      {{3, 4}, {1, 0}, {3, 4}},
      {{3, 4}, {0, 1}, {-4, 3}},
      {{3, 4}, {5, 7}, {-13, 41}},
      {{3, 4}, {3, 4}, {-7, 24}},
      {{3, 4}, {3, -4}, {25, 0}},
      {{-3, 4}, {5, -7}, {13, 41}},
      // Products are rounded to single before they are added: 4097 * 4097 is 2^24 + 2^13 + 1, a tie that becomes even.
      {{4097, 1}, {4097, 16785408.0F}, {0, 68769824768.0F}},
      {{4097, -16785408.0F}, {4097, -1}, {0, -68769824768.0F}},
      {{1, 4097}, {-16785408.0F, 4097}, {-0x1.002p25F, -68769808384.0F}},
      {{4097, 1}, {-16785408.0F, 4097}, {-68769824768.0F, 0}},
      // Zeros: the real part is a difference, the imaginary part a sum.
      {{0, 0}, {1, 1}, {0, 0}},
      {{-0.0F, 0}, {1, 1}, {-0.0F, 0}},
      {{0, -0.0F}, {1, 1}, {0, 0}},
      {{-0.0F, -0.0F}, {1, 1}, {0, -0.0F}},
      {{3e38F, 1}, {2, 1}, {infinity, 3e38F}},
      {{3e38F, 3e38F}, {2, 2}, {nan, infinity}},
      {{smallest, 0}, {0.5F, 1.5F}, {0, 2 * smallest}},
      {{infinity, 1}, {1, 1}, {infinity, infinity}},
      {{infinity, 1}, {1, 0}, {infinity, nan}},
      {{1, nan}, {1, 0}, {nan, nan}},
      {{1, 1}, {nan, 1}, {nan, nan}},
  };
  Corrector corrector;
  for (const auto& [bin, correction, product] : cases) {
    for (std::size_t count = 1; count <= 20; ++count) {
      const auto spectrum = elementsOf(std::vector<Bin>(count, bin));
      const auto corrections = elementsOf(std::vector<Bin>(count, correction));
      const auto expected = elementsOf(std::vector<Bin>(count, product));
      for (const Placement& placement : support::allPlacements<float>()) {
        ASSERT_TRUE(support::sameResult(
            corrector.run(spectrum, corrections, static_cast<int32_t>(count), placement, placement), expected))
            << count << " bins (" << bin.re << ", " << bin.im << ") times (" << correction.re << ", " << correction.im
            << "), " << placement;
      }
    }
  }
}

TEST(PowerCorrectFFT_U, CountsBelowOneTouchNothing) {
  support::PageMapping inaccessible(support::PageMapping::pageSize());
  auto* const none = reinterpret_cast<float*>(inaccessible.data());
  for (const int32_t binCount : {0, -1, -2, -8, -1000, std::numeric_limits<int32_t>::min()}) {
    kxcalcPowerCorrectFFT_U(none, none, binCount);
  }
}

TEST(PowerCorrectFFT_U, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  Corrector corrector;
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t binCount : support::smallCounts(0)) {
      for (const Placement& spectrumPlacement : support::allPlacements<float>()) {
        const std::vector<float> spectrum = randomElements(sampleClass, std::size_t{2} * binCount, random);
        const std::vector<float> correction = randomElements(
            random.oneIn(2) ? sampleClass : support::SampleClass::signal, std::size_t{2} * binCount, random);
        for (const Placement& correctionPlacement : support::allPlacements<float>()) {
          ASSERT_TRUE(corrector.equalsModel(spectrum, correction, spectrumPlacement, correctionPlacement))
              << sampleClass;
        }
      }
    }
  }
}

TEST(PowerCorrectFFT_U, EqualsTheModelForLargeSpectra) {
  support::TestRandom random;
  Corrector corrector;
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::largeCounts()) {
      const std::size_t elementCount = count - count % 2;
      ASSERT_TRUE(corrector.equalsModel(randomElements(sampleClass, elementCount, random),
                                        randomElements(support::SampleClass::signal, elementCount, random),
                                        support::pastBoundary(random.below(4)), support::pastBoundary(random.below(4))))
          << sampleClass;
    }
  }
}

TEST(PowerCorrectFFT_U, ASpectrumThatIsItsOwnCorrectionIsSquared) {
  for (std::size_t binCount = 1; binCount <= 40; ++binCount) {
    std::vector<float> spectrum = elementsOf(std::vector<Bin>(binCount, {3, 4}));
    kxcalcPowerCorrectFFT_U(spectrum.data(), spectrum.data(), static_cast<int32_t>(binCount));
    EXPECT_TRUE(support::sameBits(spectrum, elementsOf(std::vector<Bin>(binCount, {-7, 24}))));
  }
}

TEST(PowerCorrectFFT_U, ACorrectionOneBinBehindIsTheProductBefore) {
  // Bin k becomes the product of all bins up to it: powers of the imaginary unit.
  std::vector<float> elements = elementsOf(std::vector<Bin>(21, {0, 1}));
  kxcalcPowerCorrectFFT_U(elements.data() + 2, elements.data(), 20);
  for (std::size_t k = 0; k < 21; ++k) {
    constexpr Bin powers[] = {{0, 1}, {-1, 0}, {0, -1}, {1, 0}};
    EXPECT_EQ(elements[2 * k], powers[k % 4].re) << k;
    EXPECT_EQ(elements[2 * k + 1], powers[k % 4].im) << k;
  }
}

TEST(PowerCorrectFFT_U, ACorrectionThatOverlapsTheSpectrumIsReadInAscendingOrderOfBins) {
  support::TestRandom random;
  constexpr std::size_t margin = 100;
  for (std::size_t binCount = 0; binCount <= 40; ++binCount) {
    for (std::size_t start = 0; start <= 2 * margin; ++start) {
      // Of magnitude 1, so that products of products do not vanish.
      std::vector<float> elements(2 * margin + 88);
      for (std::size_t i = 0; i < elements.size(); i += 2) {
        const double angle = 2 * std::numbers::pi * random.unit();
        elements[i] = static_cast<float>(std::cos(angle));
        elements[i + 1] = static_cast<float>(std::sin(angle));
      }
      for (std::size_t alignment = 0; alignment < 4; ++alignment) {
        std::vector<float> expected = elements;
        std::vector<float> actual = elements;
        reference::kxcalcPowerCorrectFFT_U(expected.data() + margin + alignment, expected.data() + start + alignment,
                                           static_cast<int32_t>(binCount));
        kxcalcPowerCorrectFFT_U(actual.data() + margin + alignment, actual.data() + start + alignment,
                                static_cast<int32_t>(binCount));
        ASSERT_TRUE(support::sameResult(actual, expected))
            << binCount << " bins, correction " << static_cast<int>(start) - static_cast<int>(margin)
            << " elements behind the start of the spectrum, alignment " << alignment;
      }
    }
  }
}

uint32_t signsFlipped(uint32_t bits) {
  return bits ^ 0x80000000;
}

TEST(PowerNegateImag_float, FlipsTheSignBitOfEachSecondElement) {
  support::FencedBuffer<float> memory(70);
  const std::vector<uint32_t> values{0x3F800000, 0x00000000, 0x80000000, 0x7F800000, 0xFF800000, 0x7FC00000, 0xFFC12345,
                                     0x7F800001, 0xFFA54321, 0x00000001, 0x80000001, 0x7F7FFFFF, 0x12345678};
  for (uint32_t count = 0; count <= 70; ++count) {
    for (const Placement& placement : support::allPlacements<float>()) {
      const std::span<float> spectrum = memory.place(count, placement);
      for (std::size_t i = 0; i < count; ++i) {
        support::setBits(spectrum[i], values[i % values.size()]);
      }
      kxcalcPowerNegateImag_float(spectrum.data(), count);
      for (std::size_t i = 0; i < count; ++i) {
        const uint32_t bits = values[i % values.size()];
        ASSERT_EQ(support::bitsOf(spectrum[i]), i % 2 == 0 ? bits : signsFlipped(bits))
            << "element " << i << " of " << count << ", " << placement;
      }
      ASSERT_TRUE(memory.surroundingsIntact()) << count << ' ' << placement;
    }
  }
}

TEST(PowerNegateImag_float, AnOddCountLeavesTheLastElementAlone) {
  std::vector<float> spectrum{1, 2, -3, -4, 5, 6, 7};
  kxcalcPowerNegateImag_float(spectrum.data(), 5);
  EXPECT_TRUE(support::sameBits(spectrum, std::vector<float>{1, -2, -3, 4, 5, 6, 7}));
}

TEST(PowerNegateImag_float, CountsUpToOneTouchNothing) {
  support::PageMapping inaccessible(support::PageMapping::pageSize());
  auto* const none = reinterpret_cast<float*>(inaccessible.data());
  kxcalcPowerNegateImag_float(none, 0);
  kxcalcPowerNegateImag_float(none, 1);
}

TEST(PowerNegateImag_float, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  support::FencedBuffer<float> memory(support::largestCount);
  std::vector<uint32_t> counts = support::smallCounts(0);
  const std::vector<uint32_t> largeCounts = support::largeCounts();
  counts.insert(counts.end(), largeCounts.begin(), largeCounts.end());
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : counts) {
      const std::vector<float> elements = randomElements(sampleClass, count, random);
      std::vector<float> expected = elements;
      reference::kxcalcPowerNegateImag_float(expected.data(), count);
      for (const Placement& placement : support::allPlacements<float>()) {
        const std::span<float> spectrum = memory.place(count, placement);
        std::ranges::copy(elements, spectrum.begin());
        kxcalcPowerNegateImag_float(spectrum.data(), count);
        ASSERT_TRUE(support::sameBits(spectrum, expected)) << sampleClass << ", " << placement;
        ASSERT_TRUE(memory.surroundingsIntact()) << count << ' ' << placement;
      }
    }
  }
}

/// The spectrum at a fence.
class Search {
public:
  uint32_t operator()(std::span<const float> elements, const Placement& placement = support::endsAtFence) {
    const std::span<float> spectrum = memory_.place(elements.size(), placement);
    std::ranges::copy(elements, spectrum.begin());
    const uint32_t index =
        kxcalcPowerFindIndexOfMaxAmplitude(spectrum.data(), static_cast<uint32_t>(elements.size() / 2));
    EXPECT_TRUE(support::sameBits(spectrum, elements)) << "spectrum changed";
    return index;
  }

private:
  support::FencedBuffer<float> memory_{2 * support::largestCount};
};

TEST(PowerFindIndexOfMaxAmplitude, HandWorkedCases) {
  const struct {
    std::vector<Bin> bins;
    uint32_t index;
  } cases[] = {
      {{{3, 0}, {1, 0}, {2, 0}, {0, -2}}, 2},
      {{{5, 5}}, 0},
      {{{5, 5}, {0, 0}}, 0},
      {{{0, 0}, {0, smallest}}, 0},
      {{{0, 0}, {0, -1}}, 1},
      {{{0, 0}, {3, 3}, {0, 4}, {-4, -2}}, 3},
      {{{0, 0}, {0, 0}, {-0.0F, 0}, {0, -0.0F}}, 0},
      // A NaN in either part keeps a bin from winning and the others from nothing.
      {{{nan, nan}, {nan, 9}, {1, 0}, {9, nan}, {0.5F, 0}}, 2},
      {{{1, 1}, {nan, 9}, {9, nan}}, 0},
      {{{0, 0}, {infinity, nan}, {1, 1}}, 2},
      // The first infinity wins, of overflowing squares too.
      {{{0, 0}, {1, 0}, {0, -infinity}, {infinity, infinity}}, 2},
      {{{0, 0}, {1e20F, 0}, {2e20F, 0}, {infinity, 0}}, 1},
      {{{0, 0}, {1e19F, 0}, {1.5e19F, 1.5e19F}, {infinity, 0}}, 2},
      // A square that underflows to zero does not win; the smallest denormal does.
      {{{0, 0}, {1e-30F, 1e-30F}}, 0},
      {{{0, 0}, {0x1p-75F, 0x1p-75F}}, 0},
      {{{0, 0}, {1e-30F, 0}, {0x1.000002p-75F, 0}, {0x1.6p-75F, 0}}, 2},
      {{{0, 0}, {0x1p-74F, 0}, {0x1p-73F, 0}, {0, 0x1.8p-74F}}, 2},
      // Squares and their sum are rounded to single, so that these are ties: 4097 * 4097 is 2^24 + 2^13 + 1.
      {{{0, 0}, {4097, 0}, {4097, 1}}, 1},
      {{{0, 0}, {0, 4097}, {1, 4097}}, 1},
      {{{0, 0}, {4097, 0}, {4097, 2}}, 2},
      {{{0, 0}, {4096, 0}, {4096, 1}, {4096, 1.25F}, {4096, 1.5F}}, 3},
  };
  Search search;
  for (const auto& [bins, index] : cases) {
    for (const Placement& placement : support::allPlacements<float>()) {
      EXPECT_EQ(search(elementsOf(bins), placement), index)
          << testing::PrintToString(elementsOf(bins)) << ' ' << placement;
    }
  }
}

TEST(PowerFindIndexOfMaxAmplitude, TheFirstOfEqualBinsWinsAtEachPair) {
  Search search;
  for (const std::size_t binCount : std::initializer_list<std::size_t>{2, 3, 5, 8, 9, 17, 40}) {
    std::vector<Bin> bins(binCount, {1, 1});
    EXPECT_EQ(search(elementsOf(bins)), 1U) << binCount;
    for (std::size_t first = 1; first < binCount; ++first) {
      for (std::size_t second = first; second < binCount; ++second) {
        bins[first] = {3, 4};
        bins[second] = {-5, 0};
        for (std::size_t alignment = 0; alignment < 4; ++alignment) {
          ASSERT_EQ(search(elementsOf(bins), support::pastBoundary(alignment)), first)
              << second << " of " << binCount << " bins";
        }
        bins[first] = bins[second] = {1, 1};
      }
    }
  }
}

TEST(PowerFindIndexOfMaxAmplitude, TheFirstOfEqualBinsWinsHoweverFarApartTheyLie) {
  Search search;
  for (const std::size_t binCount : std::initializer_list<std::size_t>{64, 65, 66, 67, 128, 129, 130, 193, 200, 300}) {
    std::vector<Bin> bins(binCount, {1, 1});
    EXPECT_EQ(search(elementsOf(bins)), 1U) << binCount;
    for (std::size_t first = 1; first < binCount; ++first) {
      bins[first] = {3, 4};
      ASSERT_EQ(search(elementsOf(bins)), first) << "of " << binCount << " bins";
      for (std::size_t second = first; second < binCount; second += 1 + second % 7) {
        bins[second] = {-5, 0};
        ASSERT_EQ(search(elementsOf(bins)), first) << second << " of " << binCount << " bins";
        bins[second] = {nan, 7};
        ASSERT_EQ(search(elementsOf(bins)), second != first ? first : (first == 1 ? 2U : 1U))
            << second << " of " << binCount << " bins";
        bins[second] = {1, 1};
        bins[first] = {3, 4};
      }
      bins[first] = {1, 1};
    }
  }
}

TEST(PowerFindIndexOfMaxAmplitude, RisingAndFallingSpectra) {
  Search search;
  for (std::size_t binCount = 2; binCount <= 280; ++binCount) {
    std::vector<Bin> bins(binCount);
    for (std::size_t k = 0; k < binCount; ++k) {
      bins[k] = {static_cast<float>(k), 1};
    }
    EXPECT_EQ(search(elementsOf(bins)), binCount - 1);
    std::ranges::reverse(bins);
    EXPECT_EQ(search(elementsOf(bins)), 1U);
  }
}

TEST(PowerFindIndexOfMaxAmplitude, BinZeroNeverWins) {
  Search search;
  for (const Bin& direct : {Bin{1000, 0}, Bin{infinity, infinity}, Bin{nan, nan}}) {
    for (std::size_t binCount = 1; binCount <= 140; ++binCount) {
      std::vector<Bin> bins(binCount, {0, 0});
      bins.front() = direct;
      EXPECT_EQ(search(elementsOf(bins)), 0U);
      bins.back() = binCount == 1 ? direct : Bin{smallest, 0x1p-70F};
      EXPECT_EQ(search(elementsOf(bins)), binCount - 1);
    }
  }
}

TEST(PowerFindIndexOfMaxAmplitude, CountsBelowTwoReadNothing) {
  support::PageMapping inaccessible(support::PageMapping::pageSize());
  const auto* const none = reinterpret_cast<const float*>(inaccessible.data());
  EXPECT_EQ(kxcalcPowerFindIndexOfMaxAmplitude(none, 0), 0U);
  EXPECT_EQ(kxcalcPowerFindIndexOfMaxAmplitude(none, 1), 0U);
}

TEST(PowerFindIndexOfMaxAmplitude, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  Search search;
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t binCount : support::smallCounts(0)) {
      for (int repetition = 0; repetition < 6; ++repetition) {
        std::vector<float> elements = randomElements(sampleClass, std::size_t{2} * binCount, random);
        if (repetition % 2 == 1) {
          // Squares among denormals and around the end of the range.
          const float factor = repetition == 3 ? 0x1p-74F : 0x1p-75F;
          for (float& element : elements) {
            element *= random.oneIn(8) ? 0x1p64F : factor;
          }
        }
        const uint32_t expected = reference::kxcalcPowerFindIndexOfMaxAmplitude(elements.data(), binCount);
        for (const Placement& placement : support::allPlacements<float>()) {
          ASSERT_EQ(search(elements, placement), expected) << sampleClass << ", " << binCount << " bins, " << placement;
        }
      }
    }
  }
}

TEST(PowerFindIndexOfMaxAmplitude, FewLevelsGiveManyTies) {
  support::TestRandom random;
  Search search;
  constexpr Bin levels[] = {{0, 0}, {1, 0}, {0, -1}, {2, 1}, {1, -2}, {nan, 1}, {0, -0.0F}, {3, 4}, {-5, 0}, {4, 3}};
  for (int repetition = 0; repetition < 5000; ++repetition) {
    std::vector<Bin> bins(random.below(random.oneIn(2) ? 100 : 300));
    const std::size_t levelCount = 1 + random.below(std::size(levels));
    for (Bin& bin : bins) {
      bin = levels[random.below(levelCount)];
    }
    const std::vector<float> elements = elementsOf(bins);
    ASSERT_EQ(search(elements),
              reference::kxcalcPowerFindIndexOfMaxAmplitude(elements.data(), static_cast<uint32_t>(bins.size())))
        << testing::PrintToString(elements);
  }
}

TEST(PowerFindIndexOfMaxAmplitude, LargeSpectra) {
  support::TestRandom random;
  Search search;
  for (const uint32_t binCount : support::largeCounts()) {
    for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
      const std::vector<float> elements = randomElements(sampleClass, std::size_t{2} * binCount, random);
      ASSERT_EQ(search(elements), reference::kxcalcPowerFindIndexOfMaxAmplitude(elements.data(), binCount))
          << sampleClass;
    }
    std::vector<Bin> bins(binCount, {1, 1});
    const std::size_t first = 1 + random.below(binCount - 1);
    bins[first] = bins.back() = {infinity, 0};
    EXPECT_EQ(search(elementsOf(bins)), first);
    bins[first] = {1, 1};
    EXPECT_EQ(search(elementsOf(bins)), binCount - 1);
  }
}

/// The spectrum at a fence.
class Sum {
public:
  double operator()(std::span<const float> elements, const Placement& placement = support::endsAtFence) {
    const std::span<float> spectrum = memory_.place(elements.size(), placement);
    std::ranges::copy(elements, spectrum.begin());
    const double sum = kxcalcPowerHarmonicZero(spectrum.data(), static_cast<uint32_t>(elements.size() / 2));
    EXPECT_TRUE(support::sameBits(spectrum, elements)) << "spectrum changed";
    return sum;
  }

  testing::AssertionResult equalsModel(std::span<const float> elements,
                                       const Placement& placement = support::endsAtFence) {
    const auto binCount = static_cast<uint32_t>(elements.size() / 2);
    testing::AssertionResult result = support::sameResult(
        (*this)(elements, placement), reference::kxcalcPowerHarmonicZero(elements.data(), binCount));
    if (!result) {
      result << "; " << binCount << " bins, " << placement;
    }
    return result;
  }

private:
  support::FencedBuffer<float> memory_{2 * support::largestCount};
};

TEST(PowerHarmonicZero, HandWorkedCases) {
  const struct {
    std::vector<Bin> bins;
    double sum;
  } cases[] = {
      {{}, 0},
      {{{3, 4}}, 25},
      {{{3, -4}, {-1, 2}}, 30},
      {{{-0.0F, -0.0F}}, 0},
      // Widened before they are squared: nothing rounds, overflows or underflows.
      {{{4097, 0}}, 16785409},
      {{{0, 1e20F}}, static_cast<double>(1e20F) * static_cast<double>(1e20F)},
      {{{smallest, smallest}}, 0x1p-297},
      {{{highest, 0}}, static_cast<double>(highest) * static_cast<double>(highest)},
      // The two squares of a bin are added first: 2^53 swallows a 1 but not a 2.
      {{{0x1p26F, 0x1p26F}, {1, 1}}, twoTo53 + 2},
      {{{0x1p26F, 0x1p26F}, {1, 0}, {0, 1}}, twoTo53},
      {{{0x1p26F, 0x1p26F}, {0, 1}, {1, 0}, {1, 1}}, twoTo53 + 2},
      {{{1, 0}, {0x1p26F, 0x1p26F}, {1, 0}}, twoTo53},
      {{{1, 0}, {0, 1}, {0x1p26F, 0x1p26F}}, twoTo53 + 2},
      {{{1, 0}, {1, 0}, {1, 0}, {0x1p26F, 0x1p26F}}, twoTo53 + 4},
      {{{0x1p26F, 0x1p26F}, {1, 0}, {1, 1}, {1, 0}}, twoTo53 + 4},
      // 2^-51 is the last bit: one square is half of it, which alone is lost, the other makes it more than half.
      {{{1, 1}, {0x1p-26F, 0x1p-27F}}, 2 + 0x1p-51},
      {{{infinity, 1}, {1, 1}}, static_cast<double>(infinity)},
      {{{1, -infinity}, {infinity, 1}}, static_cast<double>(infinity)},
      {{{1, 1}, {1, nan}, {1, 1}}, static_cast<double>(nan)},
      {{{infinity, nan}}, static_cast<double>(nan)},
  };
  Sum sum;
  for (const auto& [bins, expected] : cases) {
    for (const Placement& placement : support::allPlacements<float>()) {
      EXPECT_TRUE(support::sameResult(sum(elementsOf(bins), placement), expected))
          << testing::PrintToString(elementsOf(bins)) << ' ' << placement;
    }
  }
}

TEST(PowerHarmonicZero, EachBinCountsOnce) {
  Sum sum;
  for (std::size_t binCount = 0; binCount <= 70; ++binCount) {
    std::vector<Bin> bins(binCount, {1, 2});
    EXPECT_EQ(sum(elementsOf(bins)), 5 * static_cast<double>(binCount));
    for (Bin& bin : bins) {
      bin = {7, 1};
      EXPECT_EQ(sum(elementsOf(bins)), 5 * static_cast<double>(binCount) + 45);
      bin = {1, 2};
    }
  }
}

TEST(PowerHarmonicZero, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  Sum sum;
  std::vector<uint32_t> counts = support::smallCounts(0);
  const std::vector<uint32_t> largeCounts = support::largeCounts();
  counts.insert(counts.end(), largeCounts.begin(), largeCounts.end());
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t binCount : counts) {
      const std::vector<float> elements = randomElements(sampleClass, std::size_t{2} * binCount, random);
      for (const Placement& placement : support::allPlacements<float>()) {
        ASSERT_TRUE(sum.equalsModel(elements, placement)) << sampleClass;
      }
    }
  }
}

/// One square a bin, now in the real, now in the imaginary part.
std::vector<float> binsOfOneSquare(std::span<const float> values, support::Random& random) {
  std::vector<float> elements;
  for (const float value : values) {
    const bool isReal = random.oneIn(2);
    elements.push_back(isReal ? value : 0);
    elements.push_back(isReal ? 0 : value);
  }
  return elements;
}

TEST(PowerHarmonicZero, TiesAndCrossedBinadesRoundInAscendingOrder) {
  support::TestRandom random;
  Sum sum;
  for (int repetition = 0; repetition < 2000; ++repetition) {
    const auto count = 2 * static_cast<std::size_t>(random.between(1, 1500));
    const int highestStep = random.oneIn(2) ? 2 : random.between(30, 54);
    const std::vector<float> values = power::valuesAgainstTheSum(count, -6, highestStep, random);
    ASSERT_TRUE(sum.equalsModel(values)) << repetition;
    ASSERT_TRUE(sum.equalsModel(binsOfOneSquare(values, random))) << repetition;
  }
  for (int repetition = 0; repetition < 20; ++repetition) {
    ASSERT_TRUE(
        sum.equalsModel(binsOfOneSquare(power::valuesAgainstTheSum(20011, -6, random.between(0, 53), random), random)))
        << repetition;
  }
  for (const std::vector<float>& values : power::valuesOfOneTieAfterTheOther()) {
    ASSERT_TRUE(sum.equalsModel(binsOfOneSquare(values, random)));
  }
  ASSERT_TRUE(sum.equalsModel(binsOfOneSquare(power::valuesThatMoveTheSumFar(), random)));
}

TEST(PowerHarmonicZero, OneMisbehavingTermAtEachPositionOfASteadySum) {
  support::TestRandom random;
  Sum sum;
  for (const std::size_t count : {std::size_t{70}, std::size_t{700}}) {
    std::vector<float> elements = power::steadyValues(2 * count, random);
    for (std::size_t i = 0; i < elements.size(); i += 2) {
      for (const float misbehaving : power::misbehavingValues) {
        const Bin kept{elements[i], elements[i + 1]};
        elements[i] = misbehaving;
        elements[i + 1] = random.oneIn(2) ? 0 : smallest;
        if (random.oneIn(2)) {
          std::swap(elements[i], elements[i + 1]);
        }
        ASSERT_TRUE(sum.equalsModel(elements)) << misbehaving;
        elements[i] = kept.re;
        elements[i + 1] = kept.im;
      }
    }
  }
}

TEST(PowerHarmonicZero, OneMisbehavingTermAnywhereInALongSteadySum) {
  support::TestRandom random;
  Sum sum;
  std::vector<float> elements = power::steadyValues(40022, random);
  for (int repetition = 0; repetition < 300; ++repetition) {
    float& element = elements[random.below(elements.size())];
    const float kept = std::exchange(element, random.oneOf(power::misbehavingValues));
    ASSERT_TRUE(sum.equalsModel(elements)) << element;
    element = kept;
  }
}

TEST(PowerHarmonicZero, CountZeroIsPlusZeroAndReadsNothing) {
  support::PageMapping inaccessible(support::PageMapping::pageSize());
  const auto* const none = reinterpret_cast<const float*>(inaccessible.data());
  EXPECT_TRUE(support::sameBits(kxcalcPowerHarmonicZero(none, 0), 0.0));
}

}  // namespace
