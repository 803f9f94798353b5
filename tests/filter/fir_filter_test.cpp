#include "reference/fir_filter.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float highest = std::numeric_limits<float>::max();
constexpr float halfLastBit = 0x1p-24F;  // of 1: added to 1 it is a tie, which stays 1
constexpr float lastBit = 0x1p-23F;

/// Ring and coefficients at fences, as far as the alignment of the coefficients allows it.
class Subject {
public:
  void load(std::span<const float> ring, std::span<const float> coefficients,
            const Placement& ringPlacement = support::endsAtFence,
            const Placement& coefficientsPlacement = support::endsAtFence) {
    const bool canEndAtFence = coefficients.size() % 4 == 0;
    const bool endsAtFence = coefficientsPlacement.kind == Placement::Kind::endsAtFence;
    ring_ = ringMemory_.place(ring.size(), ringPlacement);
    coefficients_ = coefficientsMemory_.place(
        coefficients.size(), endsAtFence && !canEndAtFence ? support::pastBoundary(0) : coefficientsPlacement);
    std::ranges::copy(ring, ring_.begin());
    std::ranges::copy(coefficients, coefficients_.begin());
    ringBefore_.assign(ring.begin(), ring.end());
    coefficientsBefore_.assign(coefficients.begin(), coefficients.end());
  }

  float filter(std::size_t position) const {
    return kxcalcFIRFilter_float(ring_.data(), coefficients_.data(), static_cast<uint32_t>(ring_.size()),
                                 static_cast<uint32_t>(position));
  }

  testing::AssertionResult delivers(float expected, std::size_t position) const {
    testing::AssertionResult result = support::sameResult(filter(position), expected);
    if (result && !(support::sameBits(ring_, ringBefore_) && support::sameBits(coefficients_, coefficientsBefore_))) {
      result = testing::AssertionFailure() << "input changed";
    }
    if (result && !(ringMemory_.surroundingsIntact() && coefficientsMemory_.surroundingsIntact())) {
      result = testing::AssertionFailure() << "written next to an input";
    }
    if (!result) {
      result << "; length " << ring_.size() << ", position " << position;
    }
    return result;
  }

  testing::AssertionResult equalsModel(std::size_t position) const {
    return delivers(
        reference::kxcalcFIRFilter_float(ring_.data(), coefficients_.data(), static_cast<uint32_t>(ring_.size()),
                                         static_cast<uint32_t>(position)),
        position);
  }

private:
  support::FencedBuffer<float> ringMemory_{support::largestCount};
  support::FencedBuffer<float> coefficientsMemory_{support::largestCount};
  std::span<float> ring_;
  std::span<float> coefficients_;
  std::vector<float> ringBefore_;
  std::vector<float> coefficientsBefore_;
};

/// The sum of products given by their coefficients' index.
float sumOf(const std::vector<float>& products, std::size_t position) {
  std::vector<float> ring(products.size());
  for (std::size_t k = 0; k < products.size(); ++k) {
    ring[(position + k) % ring.size()] = products[k];
  }
  Subject subject;
  subject.load(ring, std::vector<float>(products.size(), 1));
  return subject.filter(position);
}

TEST(FIRFilter_float, LengthZeroIsPlusZeroAndReadsNothing) {
  Subject subject;
  subject.load({}, {});
  EXPECT_TRUE(support::sameBits(subject.filter(0), 0.0F));
}

TEST(FIRFilter_float, PairsCoefficientsWithTheRingFromThePositionOn) {
  Subject subject;
  subject.load(std::vector<float>{2, 3, 5, 7, 11, 13, 17}, std::vector<float>{1, 2, 4, 8, 16, 32, 64});
  const float sums[] = {2 + 6 + 20 + 56 + 176 + 416 + 1088, 3 + 10 + 28 + 88 + 208 + 544 + 128,
                        5 + 14 + 44 + 104 + 272 + 64 + 192, 7 + 22 + 52 + 136 + 32 + 96 + 320,
                        11 + 26 + 68 + 16 + 48 + 160 + 448, 13 + 34 + 8 + 24 + 80 + 224 + 704,
                        17 + 4 + 12 + 40 + 112 + 352 + 832,
                        // The position may be the length: that is position 0.
                        2 + 6 + 20 + 56 + 176 + 416 + 1088};
  for (std::size_t position = 0; position <= 7; ++position) {
    EXPECT_TRUE(subject.delivers(sums[position], position));
  }
}

/// Where each product goes, by the index of its coefficient: to a lane, or to the sum of the rest.
constexpr struct {
  std::size_t length;
  std::size_t position;
  const char* goesTo;
} destinations[] = {
    {1, 0, "S"},
    {1, 1, "S"},
    {3, 0, "SSS"},
    {3, 1, "SSS"},
    {3, 3, "SSS"},
    {4, 0, "0123"},
    {4, 1, "SSSS"},
    {4, 2, "SSSS"},
    {4, 3, "SSSS"},
    {4, 4, "0123"},
    {5, 0, "0123S"},
    {5, 1, "0123S"},
    {5, 4, "SSSSS"},
    {5, 5, "0123S"},
    {6, 5, "SSSSSS"},
    {6, 6, "0123SS"},
    {7, 3, "0123SSS"},
    {7, 4,
     "SSS"
     "S"
     "SSS"},
    {7, 7, "0123SSS"},
    {8, 3,
     "0123S"
     "SSS"},
    {8, 4,
     "0123"
     "0123"},
    {8, 5,
     "SSS"
     "S"
     "0123"},
    {8, 7,
     "S"
     "SSS"
     "0123"},
    {9, 3,
     "0123SS"
     "SSS"},
    {9, 4,
     "0123S"
     "SSS"
     "S"},
    {9, 7,
     "SS"
     "SS"
     "0123"
     "S"},
    {10, 4,
     "0123SS"
     "SS"
     "SS"},
    {11, 4,
     "0123SSS"
     "S"
     "SSS"},
    {12, 4,
     "01230123"
     "0123"},
    {12, 9,
     "SSS"
     "S"
     "01230123"},
    {13, 6,
     "0123SSS"
     "S"
     "0123"
     "S"},
    {16, 16, "0123012301230123"},
    {17, 8,
     "01230123S"
     "SSS"
     "0123"
     "S"},
    {21, 11,
     "01230123SS"
     "SS"
     "01230123"
     "S"},
};

TEST(FIRFilter_float, EachProductGoesToItsLaneOrToTheRest) {
  support::TestRandom random;
  for (const auto& [length, position, goesTo] : destinations) {
    const std::string sumNames(goesTo);
    ASSERT_EQ(sumNames.size(), length);
    for (int repetition = 0; repetition < 50; ++repetition) {
      std::vector<float> products(length);
      support::fill(std::span(products), support::SampleClass::signal, random);
      float lanes[4] = {0, 0, 0, 0};
      float rest = 0;
      for (std::size_t k = 0; k < length; ++k) {
        float& sum = sumNames[k] == 'S' ? rest : lanes[sumNames[k] - '0'];
        sum = sum + products[k];
      }
      const float expected = ((lanes[0] + lanes[1]) + (lanes[2] + lanes[3])) + rest;
      ASSERT_TRUE(support::sameBits(sumOf(products, position), expected)) << length << ", position " << position;
    }
  }
}

TEST(FIRFilter_float, LanesAreCombinedInPairsOfNeighboursAndTheRestIsAddedLast) {
  EXPECT_EQ(sumOf({1, 0, halfLastBit, halfLastBit}, 0), 1 + lastBit);
  EXPECT_EQ(sumOf({halfLastBit, halfLastBit, 1, 0}, 0), 1 + lastBit);
  EXPECT_EQ(sumOf({1, halfLastBit, 0, halfLastBit}, 0), 1);
  EXPECT_EQ(sumOf({1, halfLastBit, halfLastBit, 0}, 0), 1);
  EXPECT_EQ(sumOf({1, 0, 0, 0, halfLastBit, halfLastBit}, 0), 1 + lastBit);
  EXPECT_EQ(sumOf({0, 0, 0, halfLastBit, 1, halfLastBit}, 0), 1);
  EXPECT_EQ(sumOf({halfLastBit, 0, halfLastBit, 0, 1}, 0), 1 + lastBit);
}

TEST(FIRFilter_float, BlocksGatherInTheirLanes) {
  EXPECT_EQ(sumOf({1, 0, 0, 0, 0, halfLastBit, 0, 0, 0, halfLastBit, 0, 0}, 0), 1 + lastBit);
  EXPECT_EQ(sumOf({1, 0, 0, 0, halfLastBit, 0, 0, 0, halfLastBit, 0, 0, 0}, 0), 1);
  // Through both segments.
  EXPECT_EQ(sumOf({1, 0, 0, 0, 0, halfLastBit, 0, 0, 0, halfLastBit, 0, 0}, 4), 1 + lastBit);
  EXPECT_EQ(sumOf({1, 0, 0, 0, 0, halfLastBit, 0, 0, 0, halfLastBit, 0, 0}, 8), 1 + lastBit);
  EXPECT_EQ(sumOf({1, 0, 0, 0, halfLastBit, 0, 0, 0, halfLastBit, 0, 0, 0}, 8), 1);
}

TEST(FIRFilter_float, TheRestIsSummedInIndexOrder) {
  for (const std::size_t position : {0U, 1U, 2U, 3U}) {
    EXPECT_EQ(sumOf({1, halfLastBit, halfLastBit}, position), 1) << position;
    EXPECT_EQ(sumOf({halfLastBit, 1, halfLastBit}, position), 1) << position;
    EXPECT_EQ(sumOf({halfLastBit, halfLastBit, 1}, position), 1 + lastBit) << position;
  }
  // Left over by the first segment, then the head and what is left over by the second.
  EXPECT_EQ(sumOf({0, 0, 0, 0, 1, halfLastBit, 0, 0, halfLastBit, 0}, 4), 1);
  EXPECT_EQ(sumOf({0, 0, 0, 0, halfLastBit, halfLastBit, 1, 0, 0, 0}, 4), 1 + lastBit);
  EXPECT_EQ(sumOf({0, 0, 0, 0, 0, 0, halfLastBit, halfLastBit, 0, 1}, 4), 1 + lastBit);
}

TEST(FIRFilter_float, ProductsAreRoundedToSingleOnTheirOwn) {
  // The square of 1 + 2^-12 is a tie and becomes 1 + 2^-11.
  constexpr float factor = 1 + 0x1p-12F;
  constexpr float square = 1 + 0x1p-11F;
  Subject subject;
  for (const std::size_t length : {2U, 3U, 8U, 9U, 12U, 17U}) {
    for (std::size_t position = 0; position <= length; ++position) {
      for (std::size_t k = 0; k < length; ++k) {
        for (std::size_t other = 0; other < length; ++other) {
          if (k != other) {
            std::vector<float> ring(length, 0);
            std::vector<float> coefficients(length, 1);
            ring[(position + k) % length] = factor;
            coefficients[k] = factor;
            ring[(position + other) % length] = -square;
            subject.load(ring, coefficients);
            ASSERT_TRUE(subject.delivers(0, position)) << k << ", " << other;
          }
        }
      }
    }
  }
}

TEST(FIRFilter_float, TheResultIsNeverMinusZero) {
  for (std::size_t length = 1; length <= 20; ++length) {
    for (std::size_t position = 0; position <= length; ++position) {
      EXPECT_TRUE(support::sameBits(sumOf(std::vector<float>(length, -0.0F), position), 0.0F)) << length;
    }
  }
}

TEST(FIRFilter_float, SpecialsPassThroughAtEachPosition) {
  const struct {
    float sample;
    float coefficient;
    float sum;
  } cases[] = {{infinity, 1, infinity},
               {infinity, -1, -infinity},
               {infinity, 0, nan},
               {nan, 0, nan},
               {1, nan, nan},
               {0, infinity, nan},
               {highest, 2, infinity},
               {highest, -2, -infinity},
               {0x1p-149F, 0.5F, 0},
               {0x1p-149F, 1.5F, 0x1p-148F},
               {0x1p-100F, 0x1p-40F, 0x1p-140F}};
  Subject subject;
  for (const auto& [sample, coefficient, sum] : cases) {
    for (std::size_t length = 1; length <= 14; ++length) {
      for (std::size_t position = 0; position <= length; ++position) {
        for (std::size_t k = 0; k < length; ++k) {
          std::vector<float> ring(length, 0);
          std::vector<float> coefficients(length, 1);
          ring[(position + k) % length] = sample;
          coefficients[k] = coefficient;
          subject.load(ring, coefficients);
          ASSERT_TRUE(subject.delivers(sum, position)) << sample << " times " << coefficient << " at " << k;
        }
      }
    }
  }
}

TEST(FIRFilter_float, EqualsTheModelAtEveryLengthAndPosition) {
  support::TestRandom random;
  Subject subject;
  const std::vector<Placement> coefficientsPlacements{support::endsAtFence, support::beginsAtFence};
  for (std::size_t length = 0; length <= 72; ++length) {
    for (std::size_t position = 0; position <= length; ++position) {
      for (const Placement& placement : support::allPlacements<float>()) {
        const support::SampleClass sampleClass =
            random.oneIn(2) ? support::SampleClass::signal : random.oneOf(support::sampleClasses<float>());
        std::vector<float> ring(length);
        std::vector<float> coefficients(length);
        support::fill(std::span(ring), sampleClass, random);
        support::fill(std::span(coefficients), random.oneIn(2) ? support::SampleClass::signal : sampleClass, random);
        subject.load(ring, coefficients, placement, random.oneOf(coefficientsPlacements));
        ASSERT_TRUE(subject.equalsModel(position)) << sampleClass << ", ring " << placement;
      }
    }
  }
}

TEST(FIRFilter_float, EqualsTheModelForSumsFullOfTies) {
  support::TestRandom random;
  Subject subject;
  for (std::size_t length = 1; length <= 40; ++length) {
    for (std::size_t position = 0; position <= length; ++position) {
      for (int repetition = 0; repetition < 4; ++repetition) {
        std::vector<float> ring(length);
        for (float& sample : ring) {
          sample = static_cast<float>(random.sign()) *
                   (random.oneIn(4) ? 1 : static_cast<float>(random.between(0, 5)) * halfLastBit);
        }
        subject.load(ring, std::vector<float>(length, 1), support::pastBoundary(random.below(4)));
        ASSERT_TRUE(subject.equalsModel(position));
      }
    }
  }
}

TEST(FIRFilter_float, EqualsTheModelForLongRings) {
  support::TestRandom random;
  Subject subject;
  for (const uint32_t length : support::largeCounts()) {
    for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
      std::vector<float> ring(length);
      std::vector<float> coefficients(length);
      support::fill(std::span(ring), sampleClass, random);
      support::fill(std::span(coefficients), support::SampleClass::signal, random);
      subject.load(ring, coefficients, support::pastBoundary(random.below(4)));
      for (const std::size_t position : std::initializer_list<std::size_t>{
               0, 1, 3, 4, 5, 6, 7, random.below(length), random.below(length), length - 4, length - 1, length}) {
        ASSERT_TRUE(subject.equalsModel(position)) << sampleClass;
      }
    }
  }
}

}  // namespace
