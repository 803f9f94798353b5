#include "reference/overall_pressure.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float noPeak = 1.17549435e-38F;  // the smallest normal single
constexpr uint64_t one = 1;
constexpr uint64_t highestCycles = std::numeric_limits<uint64_t>::max();

struct Curve {
  std::vector<float> average;
  float peak;
};

testing::AssertionResult sameCurve(const Curve& actual, const Curve& expected) {
  testing::AssertionResult result = support::sameResult(actual.average, expected.average);
  if (!result) {
    return result << " of the average";
  }
  return support::sameResult(actual.peak, expected.peak) << " of the peak";
}

/// Both arrays and the peak at fences. The start index is not the caller's matter.
class Subject {
public:
  Curve run(std::span<const float> newCycle, std::span<const float> average, uint64_t cycles,
            const Placement& newPlacement, const Placement& averagePlacement, uint32_t start = 0) {
    const std::span<float> input = newMemory_.place(newCycle.size(), newPlacement);
    const std::span<float> curve = averageMemory_.place(average.size(), averagePlacement);
    float& peak = peakMemory_.place(1, support::endsAtFence)[0];
    std::ranges::copy(newCycle, input.begin());
    std::ranges::copy(average, curve.begin());
    peak = infinity;
    kxCalcCAOverallPressure(input.data(), curve.data(), start, start + static_cast<uint32_t>(input.size()), cycles,
                            &peak);
    EXPECT_TRUE(support::sameBits(input, newCycle)) << "new cycle changed";
    EXPECT_TRUE(averageMemory_.surroundingsIntact() && peakMemory_.surroundingsIntact());
    return {{curve.begin(), curve.end()}, peak};
  }

  testing::AssertionResult equalsModel(std::span<const float> newCycle, std::span<const float> average, uint64_t cycles,
                                       const Placement& newPlacement, const Placement& averagePlacement) {
    Curve expected{{average.begin(), average.end()}, -1};
    reference::kxCalcCAOverallPressure(newCycle.data(), expected.average.data(), 0,
                                       static_cast<uint32_t>(newCycle.size()), cycles, &expected.peak);
    testing::AssertionResult result =
        sameCurve(run(newCycle, average, cycles, newPlacement, averagePlacement), expected);
    if (!result) {
      result << "; " << newCycle.size() << " elements, " << cycles << " cycles, new " << newPlacement << ", average "
             << averagePlacement;
    }
    return result;
  }

private:
  support::FencedBuffer<float> newMemory_{support::largestCount};
  support::FencedBuffer<float> averageMemory_{support::largestCount};
  support::FencedBuffer<float> peakMemory_{1};
};

/// An element alone: in groups of four it gives one average, behind the last whole group another.
struct Element {
  float newValue;
  float average;
  uint64_t cycles;
  float inBody;
  float inTail;
};

void expectAtEachCountAndPosition(const Element& element) {
  Subject subject;
  for (std::size_t count = 1; count <= 20; ++count) {
    std::vector<float> expected(count, element.inBody);
    std::fill(expected.end() - static_cast<ptrdiff_t>(count % 4), expected.end(), element.inTail);
    for (const Placement& placement : support::allPlacements<float>()) {
      const Curve curve = subject.run(std::vector<float>(count, element.newValue),
                                      std::vector<float>(count, element.average), element.cycles, placement, placement);
      ASSERT_TRUE(support::sameResult(curve.average, expected))
          << count << " elements " << placement << ": " << support::describe(element.newValue) << " into "
          << support::describe(element.average) << " of " << element.cycles << " cycles";
    }
  }
}

float peakOf(std::span<const float> newCycle) {
  Subject subject;
  return subject.run(newCycle, std::vector<float>(newCycle.size(), 0), 0, support::endsAtFence, support::endsAtFence)
      .peak;
}

TEST(CAOverallPressure, FoldsACycleIntoTheAverage) {
  Subject subject;
  const Curve curve = subject.run(std::vector<float>{4, 8, -4, 0, 12, 3, 1}, std::vector<float>{1, 1, 1, 1, 1, 2, -2},
                                  2, support::endsAtFence, support::beginsAtFence);
  EXPECT_TRUE(sameCurve(
      curve,
      {{2, 0x1.aaaaaap+1F, -0x1.555556p-1F, 0x1.555556p-1F, 0x1.2aaaaap+2F, 0x1.2aaaaap+1F, -1}, 0x1.2aaaaap+2F}));
}

TEST(CAOverallPressure, NoElementsGiveThePeakThatIsNoneAndChangeNothing) {
  Subject subject;
  for (const uint64_t cycles : {uint64_t{0}, uint64_t{5}, highestCycles}) {
    for (const uint32_t start : {0U, 17U, 0xFFFFFFFFU}) {
      const Curve curve = subject.run({}, {}, cycles, support::endsAtFence, support::endsAtFence, start);
      EXPECT_TRUE(support::sameBits(curve.peak, noPeak));
    }
  }
}

TEST(CAOverallPressure, OnlyTheDifferenceOfTheIndicesMatters) {
  Subject subject;
  const std::vector<float> newCycle{1, 2, 3, 4, 5, 6, 7, 8, 9};
  for (const uint32_t start : {0U, 1U, 3U, 1000000U, 0x7FFFFFFCU, 0x80000000U, 0xFFFFFFF6U}) {
    EXPECT_TRUE(sameCurve(
        subject.run(newCycle, std::vector<float>(9, 100), 0, support::endsAtFence, support::endsAtFence, start),
        {newCycle, 9}));
  }
}

TEST(CAOverallPressure, TheFirstCycleBecomesTheAverage) {
  expectAtEachCountAndPosition({3.25F, 17, 0, 3.25F, 3.25F});
  expectAtEachCountAndPosition({-0x1.fffffep-1F, -1e30F, 0, -0x1.fffffep-1F, -0x1.fffffep-1F});
  expectAtEachCountAndPosition({0x1p-149F, 5, 0, 0x1p-149F, 0x1p-149F});
  // The old average counts 0 times, which an infinity or a NaN does not survive.
  expectAtEachCountAndPosition({1, infinity, 0, nan, nan});
  expectAtEachCountAndPosition({1, nan, 0, nan, nan});
  expectAtEachCountAndPosition({infinity, 1, 0, infinity, infinity});
  expectAtEachCountAndPosition({-0.0F, 1, 0, 0, 0});
}

TEST(CAOverallPressure, GroupsOfFourAreAveragedInDoubleAndTheRestInSingle) {
  // 3 * 16777215 + 1 = 50331646: in single the product is a multiple of 4.
  expectAtEachCountAndPosition({1, 16777215, 3, 12582912, 12582911});
  // A product out of the range of singles.
  expectAtEachCountAndPosition({0, 3e38F, 3, 2.25e38F, infinity});
  expectAtEachCountAndPosition({-3e38F, 3e38F, 3, 1.5e38F, infinity});
  // What single swallows.
  expectAtEachCountAndPosition({1, -0x1p24F, 1, -8388607.5F, -8388607.5F});
  expectAtEachCountAndPosition({1, 0x1p24F, 1, 8388608, 8388608});
  expectAtEachCountAndPosition({1, 0x1.000002p24F, 3, 0x1.800004p23F, 0x1.800004p23F});
  // Sums of denormals.
  expectAtEachCountAndPosition({0x1p-149F, 0x1p-149F, 1, 0x1p-149F, 0x1p-149F});
  expectAtEachCountAndPosition({0, 0x1.8p-148F, 1, 0x1p-148F, 0x1p-148F});
}

TEST(CAOverallPressure, CyclesBeyond24BitsAreRoundedInTheTail) {
  // 2^24 + 1 cycles count as 2^24 in single, but the number after them, 2^24 + 2, is formed as an integer.
  constexpr uint64_t cycles = (one << 24) + 1;
  expectAtEachCountAndPosition({-0x1p24F, 1, cycles, 0x1.fffffcp-25F, 0});
  expectAtEachCountAndPosition({0x1.000002p24F, 0, cycles, 1, 1});
  expectAtEachCountAndPosition({-1, 1, cycles - 1, 0x1.fffffcp-1F, 0x1.fffffep-1F});
}

TEST(CAOverallPressure, CyclesBeyond32BitsCountInFull) {
  expectAtEachCountAndPosition({5, 2, one << 32, 2, 2});
  expectAtEachCountAndPosition({-0x1p32F, 1, (one << 32) + 1, 0x1p-32F, 0});
  expectAtEachCountAndPosition({-0x1p40F, 1, (one << 40) + (one << 20), 0x1.ffffep-21F, 0x1.ffffep-21F});
}

TEST(CAOverallPressure, CyclesBeyond53BitsAreRoundedInTheBodyToo) {
  expectAtEachCountAndPosition({-0x1p53F, 1, (one << 53) + 1, 0, 0});
  expectAtEachCountAndPosition({-0x1p53F, 1, (one << 53) + 3, 0x1p-51F, 0});
  expectAtEachCountAndPosition({0x1p53F, 1, (one << 53) + 1, 2, 2});
  // Rounded to single once, not by way of double.
  expectAtEachCountAndPosition({-0x1p60F, 1, (one << 60) + (one << 36) + 1, 0x1.fffffep-25F, 0x1.fffffcp-24F});
}

TEST(CAOverallPressure, CyclesAreUnsigned) {
  expectAtEachCountAndPosition({0x1p63F, 1, one << 63, 2, 2});
  expectAtEachCountAndPosition({0, 3, (one << 63) + 12345, 3, 3});
  expectAtEachCountAndPosition({-0x1p63F, 1, (one << 63) + (one << 40), 0x1.fffffcp-24F, 0x1.fffffcp-24F});
  // Rounded to the nearest double, once.
  expectAtEachCountAndPosition({-0x1p63F, 1, (one << 63) + (one << 10) + 1, 0x1p-52F, 0});
}

TEST(CAOverallPressure, TheNumberAfterTheHighestIsZeroInTheTail) {
  expectAtEachCountAndPosition({0x1p64F, 1, highestCycles, 2, infinity});
  expectAtEachCountAndPosition({1, 0, highestCycles, 0x1p-64F, infinity});
  expectAtEachCountAndPosition({-1, 0, highestCycles, -0x1p-64F, -infinity});
  expectAtEachCountAndPosition({0, 0, highestCycles, 0, nan});
  expectAtEachCountAndPosition({0, 5, highestCycles - 1, 5, 5});
}

TEST(CAOverallPressure, SpecialsPass) {
  expectAtEachCountAndPosition({infinity, 1, 4, infinity, infinity});
  expectAtEachCountAndPosition({1, -infinity, 4, -infinity, -infinity});
  expectAtEachCountAndPosition({infinity, -infinity, 4, nan, nan});
  expectAtEachCountAndPosition({nan, 1, 4, nan, nan});
  expectAtEachCountAndPosition({-0.0F, -0.0F, 4, -0.0F, -0.0F});
}

TEST(CAOverallPressure, ThePeakIsTheLargestUpdatedAverageAtEachPosition) {
  Subject subject;
  for (std::size_t count = 1; count <= 67; ++count) {
    for (std::size_t position = 0; position < count; ++position) {
      std::vector<float> newCycle(count, 10);
      newCycle[position] = 14;
      // The average there is not the largest before, and the largest new value is elsewhere.
      std::vector<float> average(count, 2);
      average[position] = 4;
      newCycle[(position + 1) % count] = count == 1 ? 14 : 15;
      average[(position + 1) % count] = count == 1 ? 4 : 0;
      const Curve curve =
          subject.run(newCycle, average, 1, support::pastBoundary(position % 4), support::pastBoundary(count % 4));
      ASSERT_EQ(curve.peak, 9) << count << " elements, position " << position;
    }
  }
}

TEST(CAOverallPressure, ThePeakIsNeverBelowTheSmallestNormalSingle) {
  for (const std::size_t count : std::initializer_list<std::size_t>{1, 3, 4, 5, 8, 11, 16}) {
    for (const float value : {-1.0F, -1e30F, -infinity, 0.0F, -0.0F, 0x1p-149F, 0x1.fffffcp-127F, noPeak}) {
      EXPECT_TRUE(support::sameBits(peakOf(std::vector<float>(count, value)), noPeak)) << value;
    }
    EXPECT_EQ(peakOf(std::vector<float>(count, 0x1.000002p-126F)), 0x1.000002p-126F);
    EXPECT_EQ(peakOf(std::vector<float>(count, infinity)), infinity);
  }
}

TEST(CAOverallPressure, ATieInTheTailKeepsThePeak) {
  EXPECT_EQ(peakOf(std::vector<float>{1, 7, 2, 3, 7}), 7);
  EXPECT_EQ(peakOf(std::vector<float>{1, 7, 2, 3, 8}), 8);
  EXPECT_EQ(peakOf(std::vector<float>{1, 7, 2, 3, 6, 7, 5}), 7);
}

// Each lane takes greater(lane, average), so that a NaN takes a lane over and the next average replaces it. The result
// is greater(greater(lane 0, lane 2), greater(lane 1, lane 3)).
TEST(CAOverallPressure, ANanInTheBodyIsThePeakAsTheLastOfLane3Alone) {
  for (const std::size_t count : std::initializer_list<std::size_t>{4, 8, 12, 40}) {
    std::vector<float> newCycle(count, 3);
    for (std::size_t position = 0; position < count; ++position) {
      newCycle[position] = nan;
      EXPECT_TRUE(support::sameResult(peakOf(newCycle), position == count - 1 ? nan : 3.0F))
          << count << " elements, position " << position;
      newCycle[position] = 3;
    }
  }
}

TEST(CAOverallPressure, ANanInTheBodyTakesWhatItsLaneHeldBeforeAlong) {
  EXPECT_EQ(peakOf(std::vector<float>{9, 1, 1, 1, nan, 1, 1, 1, 2, 1, 1, 1}), 2);
  EXPECT_EQ(peakOf(std::vector<float>{1, 1, 1, 9, 1, 1, 1, nan, 1, 1, 1, 2}), 2);
  EXPECT_EQ(peakOf(std::vector<float>{9, 1, 1, 1, nan, 1, 1, 1}), 1);
  // The smallest normal single too.
  EXPECT_EQ(peakOf(std::vector<float>{nan, nan, nan, nan, -3, -4, -5, -6}), -3);
  for (std::size_t lane = 0; lane < 4; ++lane) {
    std::vector<float> newCycle{nan, nan, nan, nan, -3, -4, -5, -6};
    newCycle[lane] = -2;
    EXPECT_EQ(peakOf(newCycle), noPeak) << lane;
  }
  // A NaN in lane 0 or 1 as the first operand gives way to lane 2 or 3; in lane 2 it takes lane 0 along.
  EXPECT_EQ(peakOf(std::vector<float>{nan, 1, 5, 2}), 5);
  EXPECT_EQ(peakOf(std::vector<float>{1, nan, 2, 5}), 5);
  EXPECT_EQ(peakOf(std::vector<float>{9, 1, nan, 2}), 2);
  EXPECT_TRUE(support::sameResult(peakOf(std::vector<float>{9, 8, 7, nan}), nan));
}

TEST(CAOverallPressure, ANanInTheTailIsNoPeakAndANanOfTheBodyStaysOne) {
  EXPECT_EQ(peakOf(std::vector<float>{1, 2, 3, 4, nan, 5, nan}), 5);
  EXPECT_EQ(peakOf(std::vector<float>{nan, 2, nan}), 2);
  EXPECT_EQ(peakOf(std::vector<float>{nan, nan, nan}), noPeak);
  EXPECT_TRUE(support::sameResult(peakOf(std::vector<float>{1, 2, 3, nan, 99, 100, 101}), nan));
}

/// Few cycles mostly; numbers at and between the ends of singles, doubles and 64 bits.
uint64_t randomCycles(support::Random& random) {
  constexpr uint64_t special[] = {0,
                                  1,
                                  2,
                                  (one << 24) + 1,
                                  (one << 32) - 1,
                                  one << 32,
                                  (one << 53) + 1,
                                  (one << 63) - 1,
                                  one << 63,
                                  (one << 63) + (one << 10) + 1,
                                  (one << 63) + (one << 39) + 1,
                                  highestCycles - 1,
                                  highestCycles};
  switch (random.below(4)) {
    case 0:
      return random.oneOf(special);
    case 1:
      return random.bits() >> random.below(64);
    default:
      return random.below(100);
  }
}

TEST(CAOverallPressure, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  Subject subject;
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      std::vector<float> newCycle(count);
      std::vector<float> average(count);
      support::fill(std::span(newCycle), sampleClass, random);
      support::fill(std::span(average), sampleClass, random);
      for (const Placement& newPlacement : support::allPlacements<float>()) {
        for (const Placement& averagePlacement : support::allPlacements<float>()) {
          ASSERT_TRUE(subject.equalsModel(newCycle, average, randomCycles(random), newPlacement, averagePlacement))
              << sampleClass;
        }
      }
    }
  }
}

TEST(CAOverallPressure, EqualsTheModelForLargeBlocks) {
  support::TestRandom random;
  Subject subject;
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::largeCounts()) {
      std::vector<float> newCycle(count);
      std::vector<float> average(count);
      support::fill(std::span(newCycle), sampleClass, random);
      support::fill(std::span(average), random.oneOf(support::sampleClasses<float>()), random);
      ASSERT_TRUE(subject.equalsModel(newCycle, average, randomCycles(random), support::pastBoundary(random.below(4)),
                                      support::pastBoundary(random.below(4))))
          << sampleClass;
    }
  }
}

TEST(CAOverallPressure, NewCyclesThatCancelTheOldOnesEqualTheModel) {
  // What is left shows the last bits of the products and of the numbers of cycles.
  support::TestRandom random;
  Subject subject;
  for (int repetition = 0; repetition < 4000; ++repetition) {
    const uint64_t cycles = randomCycles(random);
    const auto count = static_cast<std::size_t>(random.between(1, 23));
    std::vector<float> newCycle(count);
    std::vector<float> average(count);
    for (std::size_t i = 0; i < count; ++i) {
      average[i] = static_cast<float>(1 + random.unit());
      newCycle[i] = -average[i] * static_cast<float>(cycles);
      if (random.oneIn(2)) {
        newCycle[i] = std::nextafter(newCycle[i], infinity);
      }
    }
    ASSERT_TRUE(subject.equalsModel(newCycle, average, cycles, support::endsAtFence, support::beginsAtFence));
  }
}

/// Numbers of cycles that go into sums over many elements: divisors next to powers of two and far from them.
constexpr uint64_t cyclesOfManyElements[] = {1,
                                             2,
                                             3,
                                             7,
                                             98,
                                             99,
                                             126,
                                             127,
                                             128,
                                             129,
                                             130,
                                             199,
                                             255,
                                             256,
                                             719,
                                             999,
                                             1000,
                                             4095,
                                             4096,
                                             4097,
                                             999999,
                                             1 << 22,
                                             (1 << 24) + 1,
                                             (one << 32) - 1,
                                             (one << 40) + 6,
                                             (one << 53) + 2};

/// A single is so many units of its last place above another one.
float above(float value, double units) {
  return static_cast<float>(static_cast<double>(value) +
                            units * static_cast<double>(std::nextafter(value, infinity) - value));
}

TEST(CAOverallPressure, QuotientsHalfwayBetweenTwoSinglesAndNextToThemAreRoundedAsTheyAreDivided) {
  support::TestRandom random;
  Subject subject;
  for (const uint64_t cycles : cyclesOfManyElements) {
    const double halfOfTheDivisor = 0.5 * (static_cast<double>(cycles) + 1);
    for (const std::size_t count : std::initializer_list<std::size_t>{63, 64, 203}) {
      for (int repetition = 0; repetition < 40; ++repetition) {
        std::vector<float> average(count);
        std::vector<float> newCycle(count);
        for (std::size_t i = 0; i < count; ++i) {
          average[i] = static_cast<float>((random.oneIn(2) ? 1 : -1) * (1 + random.unit()));
          const double units = halfOfTheDivisor + (random.oneIn(2) ? 0 : random.between(-3, 3));
          newCycle[i] = above(average[i], random.oneIn(8) ? 0 : units);
        }
        ASSERT_TRUE(subject.equalsModel(newCycle, average, cycles, support::pastBoundary(random.below(4)),
                                        support::endsAtFence));
      }
    }
  }
}

TEST(CAOverallPressure, QuotientsNextToAMidpointWhoseSumsAreRoundedAreRoundedAsTheyAreDivided) {
  support::TestRandom random;
  Subject subject;
  for (int repetition = 0; repetition < 3000; ++repetition) {
    // From 29 bits on the products of averages lose their last bits, and the sums lie a few of them off the midpoint.
    const uint64_t cycles = (one << random.between(24, 60)) + (random.bits() >> random.between(4, 40)) % (one << 24);
    const double halfOfTheDivisor = 0.5 * (static_cast<double>(cycles) + 1);
    std::vector<float> average(96);
    std::vector<float> newCycle(96);
    for (std::size_t i = 0; i < average.size(); ++i) {
      average[i] = static_cast<float>(1 + random.unit());
      newCycle[i] = above(average[i], halfOfTheDivisor);
    }
    ASSERT_TRUE(subject.equalsModel(newCycle, average, cycles, support::endsAtFence, support::beginsAtFence));
  }
}

TEST(CAOverallPressure, AveragesBelowTheNormalSinglesAndZerosOfManyElements) {
  support::TestRandom random;
  Subject subject;
  for (const uint64_t cycles : cyclesOfManyElements) {
    for (const int highest : {1, 3, 300, 1 << 23, 1 << 24}) {
      std::vector<float> average(256);
      std::vector<float> newCycle(256);
      for (std::size_t i = 0; i < average.size(); ++i) {
        average[i] = static_cast<float>(random.between(-highest, highest)) * 0x1p-149F;
        newCycle[i] = random.oneIn(2) ? static_cast<float>(random.between(-highest, highest)) * 0x1p-149F
                                      : -average[i] * static_cast<float>(cycles % 1000);
        if (random.oneIn(4)) {
          average[i] = random.oneIn(2) ? -0.0F : 0.0F;
          newCycle[i] = random.oneIn(2) ? average[i] : -average[i];
        }
      }
      ASSERT_TRUE(subject.equalsModel(newCycle, average, cycles, support::endsAtFence, support::endsAtFence));
    }
  }
}

TEST(CAOverallPressure, QuotientsHalfwayBetweenTwoSinglesBelowTheNormalOnes) {
  support::TestRandom random;
  Subject subject;
  for (int repetition = 0; repetition < 2000; ++repetition) {
    const int divisor = 2 * random.between(1, 3000);
    std::vector<float> average(96);
    std::vector<float> newCycle(96);
    for (std::size_t i = 0; i < average.size(); ++i) {
      const int units = random.between(0, 1 << random.between(1, 22));
      average[i] = static_cast<float>(units) * 0x1p-149F;
      newCycle[i] = static_cast<float>(units + divisor / 2 + (random.oneIn(4) ? random.between(-1, 1) : 0)) * 0x1p-149F;
    }
    ASSERT_TRUE(subject.equalsModel(newCycle, average, static_cast<uint64_t>(divisor) - 1, support::endsAtFence,
                                    support::beginsAtFence));
  }
}

TEST(CAOverallPressure, NaNsAndInfinitiesOfManyElementsAndThePeakThatTheyLeave) {
  support::TestRandom random;
  Subject subject;
  for (const uint64_t cycles : cyclesOfManyElements) {
    for (int repetition = 0; repetition < 60; ++repetition) {
      const auto count = static_cast<std::size_t>(random.between(60, 150));
      std::vector<float> average(count);
      std::vector<float> newCycle(count);
      for (std::size_t i = 0; i < count; ++i) {
        average[i] = static_cast<float>(random.unit());
        newCycle[i] = static_cast<float>(random.unit() - 0.5);
      }
      for (int special = random.between(1, 6); special > 0; --special) {
        constexpr float specials[] = {nan, nan, infinity, -infinity, std::numeric_limits<float>::max()};
        (random.oneIn(2) ? average : newCycle)[random.below(count)] = random.oneOf(specials);
      }
      ASSERT_TRUE(subject.equalsModel(newCycle, average, cycles, support::endsAtFence, support::endsAtFence));
    }
  }
}

TEST(CAOverallPressure, APeakBeginningAtAFenceIsAllThatIsWritten) {
  support::FencedBuffer<float> memory(1);
  float& peak = memory.place(1, support::beginsAtFence)[0];
  for (uint32_t count = 0; count <= 20; ++count) {
    const std::vector<float> newCycle(count, 2);
    std::vector<float> average(count, 4);
    kxCalcCAOverallPressure(newCycle.data(), average.data(), 0, count, 1, &peak);
    EXPECT_EQ(peak, count == 0 ? noPeak : 3);
    EXPECT_TRUE(memory.surroundingsIntact());
  }
}

}  // namespace
