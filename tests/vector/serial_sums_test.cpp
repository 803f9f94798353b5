#include "reference/serial_sums.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float highest = std::numeric_limits<float>::max();
constexpr float smallest = std::numeric_limits<float>::denorm_min();

constexpr double widened(float value) {
  return static_cast<double>(value);
}

/// Two vectors; the sum of squares is that of the first.
struct Vectors {
  Vectors() = default;
  explicit Vectors(std::size_t count) : first(count), second(count) {}
  void push(float a, float b) {
    first.push_back(a);
    second.push_back(b);
  }

  std::vector<float> first;
  std::vector<float> second;
};

}  // namespace

// The types of the typed tests, by the names of their exports.
namespace exports {

struct SumSquaredValues_float {
  static double kernel(const float* first, const float*, uint32_t count) {
    return kxcalcSumSquaredValues_float(first, count);
  }
  static double model(const float* first, const float*, uint32_t count) {
    return reference::kxcalcSumSquaredValues_float(first, count);
  }
};

struct MultiplyVectorsAndCalcSum_float {
  static constexpr auto kernel = &kxcalcMultiplyVectorsAndCalcSum_float;
  static constexpr auto model = &reference::kxcalcMultiplyVectorsAndCalcSum_float;
};

}  // namespace exports

namespace {

template <typename Export>
testing::AssertionResult equalsModel(std::span<const float> first, std::span<const float> second) {
  const auto count = static_cast<uint32_t>(first.size());
  testing::AssertionResult result = support::sameResult(Export::kernel(first.data(), second.data(), count),
                                                        Export::model(first.data(), second.data(), count));
  if (!result) {
    result << "; " << count << " elements";
  }
  return result;
}

template <typename Export>
testing::AssertionResult equalsModel(const Vectors& vectors) {
  return equalsModel<Export>(vectors.first, vectors.second);
}

Vectors vectorsOf(support::SampleClass sampleClass, std::size_t count, support::Random& random) {
  Vectors vectors(count);
  support::fill(std::span(vectors.first), sampleClass, random);
  support::fill(std::span(vectors.second), sampleClass, random);
  return vectors;
}

TEST(SumSquaredValues_float, HandWorkedCases) {
  const struct {
    std::vector<float> data;
    double sum;
  } cases[] = {
      {{}, 0},
      {{3}, 9},
      {{-0.0F}, 0},
      {{1, -2, 3, -4}, 30},
      // Squares neither overflow nor underflow: they are formed in double.
      {{1e20F, 1e20F}, 2 * widened(1e20F) * widened(1e20F)},
      {{smallest}, 0x1p-298},
      {{highest}, widened(highest) * widened(highest)},
      {{16777215}, 281474943156225.0},
      // 2^53 + 1 is a tie and stays even; 2^53 + 2 + 1 is a tie and becomes even: in ascending order alone.
      {{0x1p26F, 0x1p26F, 1, 1}, 9007199254740992.0},
      {{1, 1, 0x1p26F, 0x1p26F}, 9007199254740994.0},
      {{1, 0x1p26F, 0x1p26F, 1}, 9007199254740992.0},
      {{0x1p26F, 0x1p26F, 1, 2, 1}, 9007199254740996.0},
      {{infinity, 1}, widened(infinity)},
      {{1, -infinity}, widened(infinity)},
      {{1, nan, 1}, widened(nan)},
  };
  for (const auto& [data, sum] : cases) {
    EXPECT_TRUE(support::sameResult(kxcalcSumSquaredValues_float(data.data(), static_cast<uint32_t>(data.size())), sum))
        << testing::PrintToString(data);
  }
}

TEST(MultiplyVectorsAndCalcSum_float, HandWorkedCases) {
  constexpr float big = 9007199254740992.0F;  // 2^53
  const struct {
    std::vector<float> first;
    std::vector<float> second;
    double sum;
  } cases[] = {
      {{}, {}, 0},
      {{3}, {-5}, -15},
      {{1, 2, 3}, {4, 5, 6}, 32},
      // The sum starts at +0, so that it is never -0.
      {{-0.0F}, {1}, 0},
      {{-0.0F, 0, -1}, {1, -1, 0}, 0},
      {{1, -1}, {1, 1}, 0},
      {{highest}, {-highest}, -widened(highest) * widened(highest)},
      {{smallest}, {-smallest}, -0x1p-298},
      // In ascending order: ties stay or become even, and what is swallowed early does not come back.
      {{big, 1, 1, -big}, {1, 1, 1, 1}, 0},
      {{1, 1, big, -big}, {1, 1, 1, 1}, 2},
      {{1, big, -big, 1}, {1, 1, 1, 1}, 1},
      {{big, 2, 1}, {1, 1, 1}, 9007199254740996.0},
      {{-big, -1, -2, -1}, {1, 1, 1, 1}, -9007199254740996.0},
      // 2^53 - 1 lies in the binade below, where 1 is the last bit.
      {{big, -1, 1, 1}, {1, 1, 1, 1}, 9007199254740992.0},
      {{infinity, -infinity}, {1, 1}, widened(nan)},
      {{infinity, 1}, {-1, 1}, -widened(infinity)},
      {{infinity}, {0}, widened(nan)},
      {{1, nan}, {1, 0}, widened(nan)},
  };
  for (const auto& [first, second, sum] : cases) {
    const auto count = static_cast<uint32_t>(first.size());
    EXPECT_TRUE(support::sameResult(kxcalcMultiplyVectorsAndCalcSum_float(first.data(), second.data(), count), sum))
        << testing::PrintToString(first) << " times " << testing::PrintToString(second);
  }
}

TEST(MultiplyVectorsAndCalcSum_float, InputsMayBeOneOrOverlap) {
  support::TestRandom random;
  const std::vector<float> data = vectorsOf(support::SampleClass::wholeRange, 500, random).first;
  for (uint32_t count = 0; count <= 300; ++count) {
    EXPECT_EQ(kxcalcMultiplyVectorsAndCalcSum_float(data.data(), data.data(), count),
              kxcalcSumSquaredValues_float(data.data(), count));
    for (const std::size_t distance : std::initializer_list<std::size_t>{1, 3, 4, 100}) {
      ASSERT_TRUE(equalsModel<exports::MultiplyVectorsAndCalcSum_float>(std::span(data).first(count),
                                                                        std::span(data).subspan(distance, count)));
    }
  }
}

template <typename Export>
class SerialSums : public testing::Test {};

using Exports = testing::Types<exports::SumSquaredValues_float, exports::MultiplyVectorsAndCalcSum_float>;
TYPED_TEST_SUITE(SerialSums, Exports);

TYPED_TEST(SerialSums, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  support::FencedBuffer<float> firstMemory(257);
  support::FencedBuffer<float> secondMemory(257);
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      const Vectors vectors = vectorsOf(sampleClass, count, random);
      for (const Placement& firstPlacement : support::allPlacements<float>()) {
        for (const Placement& secondPlacement : support::allPlacements<float>()) {
          const std::span<float> first = firstMemory.place(count, firstPlacement);
          const std::span<float> second = secondMemory.place(count, secondPlacement);
          std::ranges::copy(vectors.first, first.begin());
          std::ranges::copy(vectors.second, second.begin());
          ASSERT_TRUE(equalsModel<TypeParam>(first, second))
              << sampleClass << ", " << firstPlacement << ", " << secondPlacement;
          ASSERT_TRUE(support::sameBits(first, vectors.first) && support::sameBits(second, vectors.second));
        }
      }
    }
  }
}

TYPED_TEST(SerialSums, EqualsTheModelForLargeVectors) {
  support::TestRandom random;
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::largeCounts()) {
      ASSERT_TRUE(equalsModel<TypeParam>(vectorsOf(sampleClass, count, random))) << sampleClass;
    }
  }
}

TYPED_TEST(SerialSums, CountZeroIsPlusZeroAndReadsNothing) {
  support::FencedBuffer<float> memory(1);
  const float* const none = memory.place(0, support::endsAtFence).data();
  EXPECT_TRUE(support::sameBits(TypeParam::kernel(none, none, 0), 0.0));
}

/// Terms chosen against the running sum: of any size beside its last bit and of few significant bits, so that additions
/// end in exact ties, cross binades, cancel and are swallowed. As squares where the second vector is not used.
template <typename Export>
Vectors termsAgainstTheSum(std::size_t count, int lowestStep, int highestStep, support::Random& random) {
  Vectors vectors;
  double sum = 0;
  const int start = random.between(-40, 40);
  const bool isSigned = random.oneIn(2);
  for (std::size_t i = 0; i < count; ++i) {
    const int lastBit = sum == 0 ? start : std::ilogb(sum) - 52;
    const int exponent = std::clamp(lastBit + random.between(lowestStep, highestStep), -200, 200);
    const auto significand = static_cast<float>((isSigned ? random.sign() : 1) * random.between(1, 7));
    const int half = exponent / 2;
    vectors.push(std::ldexp(significand, half), std::ldexp(1.0F, exponent - half));
    sum = Export::model(vectors.first.data() + i, vectors.second.data() + i, 1) + sum;
  }
  return vectors;
}

TYPED_TEST(SerialSums, TiesAndTheirNeighboursRoundInAscendingOrder) {
  support::TestRandom random;
  for (int repetition = 0; repetition < 4000; ++repetition) {
    const auto count = static_cast<std::size_t>(random.between(1, 1500));
    ASSERT_TRUE(equalsModel<TypeParam>(termsAgainstTheSum<TypeParam>(count, -4, 2, random))) << repetition;
  }
}

TYPED_TEST(SerialSums, SumsThatCrossBinadesAndCancelRoundInAscendingOrder) {
  support::TestRandom random;
  for (int repetition = 0; repetition < 4000; ++repetition) {
    const auto count = static_cast<std::size_t>(random.between(1, 1500));
    ASSERT_TRUE(equalsModel<TypeParam>(termsAgainstTheSum<TypeParam>(count, -8, random.between(40, 54), random)))
        << repetition;
  }
}

TYPED_TEST(SerialSums, LongSumsOfTermsAgainstTheSumRoundInAscendingOrder) {
  support::TestRandom random;
  for (int repetition = 0; repetition < 40; ++repetition) {
    ASSERT_TRUE(equalsModel<TypeParam>(termsAgainstTheSum<TypeParam>(20011, -6, random.between(0, 53), random)))
        << repetition;
  }
}

/// A steady sum between 2^21 and 2^22, of terms around 1/2 of 48 significant bits, in which one term misbehaves.
class SteadySum {
public:
  SteadySum(std::size_t count, support::Random& random) {
    for (std::size_t i = 0; i < count; ++i) {
      const auto second = static_cast<float>(0.5 + 0.5 * random.unit());
      const auto first = static_cast<float>(0.5 + 0.5 * random.unit());
      vectors.push(i == 0 ? 1500.0F : first, i == 0 ? 1500.0F : second);
    }
  }

  template <typename Export>
  testing::AssertionResult equalsModelWith(std::size_t position, float first, float second) {
    const float keptFirst = std::exchange(vectors.first[position], first);
    const float keptSecond = std::exchange(vectors.second[position], second);
    testing::AssertionResult result = equalsModel<Export>(vectors);
    if (!result) {
      result << ", " << first << " times " << second << " at " << position;
    }
    vectors.first[position] = keptFirst;
    vectors.second[position] = keptSecond;
    return result;
  }

  Vectors vectors;
};

struct Factors {
  float first;
  float second;
};

/// The last bit of the steady sum is 2^-31: exact ties of a half and more of it, just more and just less than a half; a
/// binade up, one and many down, through zero; what is swallowed and what swallows; zeros; specials.
constexpr Factors misbehavingFactors[] = {
    {0x1p-16F, 0x1p-16F},
    {-0x1p-16F, 0x1p-16F},
    {0x1.8p-15F, 0x1.8p-15F},
    {-0x1.8p-15F, 0x1p-16F},
    {0x1.000002p-16F, 0x1.000002p-16F},
    {0x1.fffffep-17F, 0x1.fffffep-17F},
    {0x1p-15F, 0x1p-16F},
    {2048, 1024},
    {1024, -512},
    {1500, -1500},
    {-2048, 1500},
    {1024, 4194304},
    {0x1p60F, 0x1p60F},
    {-0x1p60F, 0x1p60F},
    {highest, highest},
    {smallest, smallest},
    {-smallest, 1},
    {0, 1},
    {-0.0F, 1},
    {infinity, 1},
    {-infinity, 1},
    {infinity, 0},
    {nan, 1},
    {1, nan},
};

TYPED_TEST(SerialSums, OneMisbehavingTermAtEachPositionOfASteadySum) {
  support::TestRandom random;
  for (const std::size_t count : {std::size_t{70}, std::size_t{700}}) {
    SteadySum sum(count, random);
    for (std::size_t position = 0; position < count; ++position) {
      for (const auto& [first, second] : misbehavingFactors) {
        ASSERT_TRUE(sum.equalsModelWith<TypeParam>(position, first, second));
      }
    }
  }
}

TYPED_TEST(SerialSums, OneMisbehavingTermAnywhereInALongSteadySum) {
  support::TestRandom random;
  SteadySum sum(20011, random);
  for (int repetition = 0; repetition < 300; ++repetition) {
    const auto& [first, second] = random.oneOf(misbehavingFactors);
    ASSERT_TRUE(sum.equalsModelWith<TypeParam>(random.below(20011), first, second));
  }
}

TYPED_TEST(SerialSums, OneTieAtEachPositionOfALongSteadySum) {
  support::TestRandom random;
  constexpr std::size_t count = 4200;
  SteadySum sum(count, random);
  for (std::size_t position = 0; position < count; ++position) {
    ASSERT_TRUE(sum.equalsModelWith<TypeParam>(position, 0x1p-16F, 0x1p-16F));
    ASSERT_TRUE(sum.equalsModelWith<TypeParam>(position, -0x1.8p-15F, 0x1.8p-15F));
  }
}

TEST(MultiplyVectorsAndCalcSum_float, SumsThatLeaveTheirBinadeAndReturnRoundInAscendingOrder) {
  support::TestRandom random;
  SteadySum sum(6000, random);
  for (const float excursion : {0x1p21F, -0x1p19F, -0x1.8p20F, -0x1p22F, -0x1.8p22F, 0x1p40F, -0x1p40F, 0x1p100F}) {
    for (const std::size_t length : std::initializer_list<std::size_t>{1, 2, 3, 4, 7, 12, 20, 50, 200, 700, 3000}) {
      for (int repetition = 0; repetition < 12; ++repetition) {
        const std::size_t position = 1 + random.below(5999 - length);
        Vectors vectors = sum.vectors;
        vectors.first[position] = excursion;
        vectors.second[position] = 1;
        vectors.first[position + length] = -excursion;
        vectors.second[position + length] = 1;
        ASSERT_TRUE(equalsModel<exports::MultiplyVectorsAndCalcSum_float>(vectors))
            << excursion << " at " << position << " and back after " << length;
      }
    }
  }
}

TEST(MultiplyVectorsAndCalcSum_float, SumsThatWalkToAndFroAcrossABinadeBoundaryRoundInAscendingOrder) {
  support::TestRandom random;
  for (int repetition = 0; repetition < 200; ++repetition) {
    Vectors vectors;
    vectors.push(static_cast<float>(random.sign() * 2048), 1024);
    const double pull = 0.02 * random.unit();  // back towards the boundary
    const double size = std::exp2(random.between(-20, 10));
    double walked = 0;
    for (int i = 0; i < 5000; ++i) {
      const auto step = static_cast<float>(size * (2 * random.unit() - 1) - pull * walked);
      const auto factor = static_cast<float>(1 + random.unit());
      vectors.push(step, factor);
      walked += widened(step) * widened(factor);
    }
    ASSERT_TRUE(equalsModel<exports::MultiplyVectorsAndCalcSum_float>(vectors)) << repetition;
  }
}

constexpr uint32_t tiePatterns[] = {0, 1, 2, 5, 9, 0xAAAA, 0x1234, 0xFFFF};
constexpr std::size_t tieCounts[] = {2, 3, 5, 8, 9, 17, 33, 64, 200, 1000};

TEST(MultiplyVectorsAndCalcSum_float, OneTieAfterTheOtherStaysOrBecomesEven) {
  // The last bit of a sum from 1 to below 2 is 2^-52: steps of a half and of three quarters of it, and whole ones
  // between.
  for (const float sign : {1.0F, -1.0F}) {
    for (const uint32_t pattern : tiePatterns) {
      for (const std::size_t count : tieCounts) {
        Vectors vectors;
        vectors.push(sign, 1);
        for (std::size_t i = 1; i < count; ++i) {
          const bool isWhole = (pattern >> i % 16 & 1) != 0;
          vectors.push(sign * 0x1p-26F, isWhole ? 0x1p-26F : (i % 3 == 0 ? 0x1.8p-27F : 0x1p-27F));
        }
        ASSERT_TRUE(equalsModel<exports::MultiplyVectorsAndCalcSum_float>(vectors)) << pattern;
      }
    }
  }
}

TEST(SumSquaredValues_float, OneTieAfterTheOtherStaysOrBecomesEven) {
  // The last bit of a sum from 2 to below 4 is 2^-51: steps of a half and of nine halves of it.
  for (const uint32_t pattern : tiePatterns) {
    for (const std::size_t count : tieCounts) {
      std::vector<float> data{1, 1};
      for (std::size_t i = 2; i < count; ++i) {
        data.push_back((pattern >> i % 16 & 1) != 0 ? 0x1.8p-25F : 0x1p-26F);
      }
      ASSERT_TRUE(equalsModel<exports::SumSquaredValues_float>(data, data)) << pattern;
    }
  }
}

TYPED_TEST(SerialSums, RandomWalksAndDecaysRoundInAscendingOrder) {
  support::TestRandom random;
  for (int repetition = 0; repetition < 200; ++repetition) {
    const double growth = std::exp2(random.between(-40, 40) / 200.0);
    const double spread = random.between(0, 3);
    Vectors vectors;
    double size = std::exp2(random.between(-20, 20));
    for (int i = 0; i < 2000; ++i) {
      size = std::clamp(size * growth, 1e-18, 1e18);
      vectors.push(static_cast<float>(random.sign() * size * std::exp2(spread * random.unit())),
                   static_cast<float>(random.sign() * (1 + random.unit())));
    }
    ASSERT_TRUE(equalsModel<TypeParam>(vectors)) << repetition;
  }
}

TEST(MultiplyVectorsAndCalcSum_float, SumsThatReturnToZeroAndGoOnRoundInAscendingOrder) {
  support::TestRandom random;
  for (uint32_t position = 1; position < 200; ++position) {
    Vectors vectors;
    for (uint32_t i = 0; i < position; ++i) {
      vectors.push(static_cast<float>(random.between(-1000, 1000)), static_cast<float>(random.between(-40, 40)));
    }
    const double sum = kxcalcMultiplyVectorsAndCalcSum_float(vectors.first.data(), vectors.second.data(), position);
    vectors.push(static_cast<float>(-sum), 1);
    EXPECT_TRUE(support::sameBits(
        kxcalcMultiplyVectorsAndCalcSum_float(vectors.first.data(), vectors.second.data(), position + 1), 0.0));
    for (int i = 0; i < 60; ++i) {
      vectors.push(static_cast<float>(random.sign() * random.unit()), static_cast<float>(random.unit()));
      ASSERT_TRUE(equalsModel<exports::MultiplyVectorsAndCalcSum_float>(vectors)) << position;
    }
  }
}

TEST(MultiplyVectorsAndCalcSum_float, ProductsThatAreNegativeZeroLeaveTheSumAtPlusZero) {
  for (uint32_t count = 1; count <= 300; ++count) {
    const std::vector<float> first(count, -0.0F);
    const std::vector<float> second(count, 1.0F);
    ASSERT_TRUE(support::sameBits(kxcalcMultiplyVectorsAndCalcSum_float(first.data(), second.data(), count), 0.0));
  }
}

// Factors have signs, their products none but one: the sum rises side by side up to there, and again behind it.
TEST(MultiplyVectorsAndCalcSum_float, OneProductWithASignAnywhereAmongMany) {
  support::TestRandom random;
  for (const bool haveSigns : {false, true}) {
    Vectors vectors;
    for (int i = 0; i < 1400; ++i) {
      const double sign = haveSigns ? random.sign() : 1;
      vectors.push(static_cast<float>(sign * std::exp2(random.between(-3, 3)) * (1 + random.unit())),
                   static_cast<float>(sign * (1 + random.unit())));
    }
    for (std::size_t position = 480; position < 1400; ++position) {
      const float regular = vectors.second[position];
      for (const float factor : {-regular, -0.0F, -1000 * regular, -1e-30F * regular, infinity, -infinity, nan}) {
        vectors.second[position] = factor;
        ASSERT_TRUE(equalsModel<exports::MultiplyVectorsAndCalcSum_float>(vectors)) << factor << " at " << position;
      }
      vectors.second[position] = regular;
    }
  }
}

// Stretches without a sign, with nothing but signs, and with both: each way of going on meets each other one.
TEST(MultiplyVectorsAndCalcSum_float, StretchesThatRiseFallAndDoBoth) {
  support::TestRandom random;
  for (int repetition = 0; repetition < 100; ++repetition) {
    Vectors vectors;
    while (vectors.first.size() < 6000) {
      const double falling = random.between(0, 2) / 2.0, size = std::exp2(random.between(-30, 10));
      for (int i = random.between(1, 1500); i > 0; --i) {
        const double sign = random.unit() < falling ? -1 : 1, other = random.sign();
        vectors.push(static_cast<float>(other * size * random.unit()),
                     static_cast<float>(other * sign * (1 + random.unit())));
      }
    }
    ASSERT_TRUE(equalsModel<exports::MultiplyVectorsAndCalcSum_float>(vectors)) << repetition;
  }
}

// A sum of 2^-258, then squares of 2^254: each moves the sum by 512 of the 4096 binades that bit patterns tell apart, eight
// of them by all of them, back to where it was.
TEST(SumSquaredValues_float, SquaresThatMoveTheSumByAllBitPatternsAreNotLost) {
  for (std::size_t begin = 64; begin < 256; ++begin) {
    std::vector<float> values(1000);
    values[0] = 0x1p-129F;
    for (std::size_t run = 0; run < 8; ++run) {
      values[begin + 8 * run] = 0x1p127F;
    }
    EXPECT_TRUE(equalsModel<exports::SumSquaredValues_float>(values, values)) << begin;
  }
}

}  // namespace
