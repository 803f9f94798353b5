#include "reference/running_value.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr uint64_t one = 1;
constexpr uint32_t longestWindow = std::numeric_limits<uint32_t>::max();

struct Curves {
  std::vector<float> newCycle;
  std::vector<float> leavingCycle;
  std::vector<float> sum;
};

struct Placements {
  Placement newCycle = support::endsAtFence;
  Placement leavingCycle = support::endsAtFence;
  Placement sum = support::endsAtFence;
  Placement average = support::endsAtFence;
};

struct Results {
  std::vector<float> sum;
  std::vector<float> average;
};

bool isSliding(uint64_t cycles, uint32_t window) {
  return cycles != 0 && cycles >= window;
}

/// The four arrays at fences. Unless the window slides the leaving cycle is inaccessible.
class Subject {
public:
  Subject() : inaccessible_(support::PageMapping::pageSize()) {}

  Results run(const Curves& curves, uint64_t cycles, uint32_t window, const Placements& placements = {},
              uint32_t first = 0) {
    const std::size_t count = curves.newCycle.size();
    const std::span<float> newCycle = newMemory_.place(count, placements.newCycle);
    const std::span<float> leavingCycle = leavingMemory_.place(count, placements.leavingCycle);
    const std::span<float> sum = sumMemory_.place(count, placements.sum);
    const std::span<float> average = averageMemory_.place(count, placements.average);
    std::ranges::copy(curves.newCycle, newCycle.begin());
    std::ranges::copy(curves.leavingCycle, leavingCycle.begin());
    std::ranges::copy(curves.sum, sum.begin());
    std::ranges::fill(average, -12345.0F);
    const float* const leaving =
        isSliding(cycles, window) ? leavingCycle.data() : reinterpret_cast<const float*>(inaccessible_.data());
    kxCalcCARunningVal(newCycle.data(), leaving, sum.data(), average.data(), first,
                       first + static_cast<uint32_t>(count) - 1, cycles, window);
    EXPECT_TRUE(support::sameBits(newCycle, curves.newCycle)) << "new cycle changed";
    EXPECT_TRUE(support::sameBits(leavingCycle, curves.leavingCycle)) << "leaving cycle changed";
    EXPECT_TRUE(sumMemory_.surroundingsIntact() && averageMemory_.surroundingsIntact());
    return {{sum.begin(), sum.end()}, {average.begin(), average.end()}};
  }

  testing::AssertionResult equalsModel(const Curves& curves, uint64_t cycles, uint32_t window,
                                       const Placements& placements) {
    const auto count = static_cast<uint32_t>(curves.newCycle.size());
    Results expected{curves.sum, std::vector<float>(count)};
    reference::kxCalcCARunningVal(curves.newCycle.data(), curves.leavingCycle.data(), expected.sum.data(),
                                  expected.average.data(), 0, count - 1, cycles, window);
    const Results actual = run(curves, cycles, window, placements);
    // The first cycle is copied, so every bit is known.
    const auto rule = cycles == 0 ? support::NanRule::sameBits : support::NanRule::anyNan;
    testing::AssertionResult result = support::same(actual.sum, expected.sum, rule);
    if (result) {
      result = support::same(actual.average, expected.average, rule) << " of the average";
    }
    if (!result) {
      result << "; " << count << " elements, " << cycles << " cycles, window " << window << ", new "
             << placements.newCycle << ", leaving " << placements.leavingCycle << ", sum " << placements.sum
             << ", average " << placements.average;
    }
    return result;
  }

private:
  support::FencedBuffer<float> newMemory_{support::largestCount};
  support::FencedBuffer<float> leavingMemory_{support::largestCount};
  support::FencedBuffer<float> sumMemory_{support::largestCount};
  support::FencedBuffer<float> averageMemory_{support::largestCount};
  support::PageMapping inaccessible_;
};

struct Pair {
  float sum;
  float average;
};

/// An element alone: in groups of four, from the first element on, it gives one pair of results, behind the last whole
/// group another.
struct Element {
  float newValue;
  float leavingValue;
  float sum;
  uint64_t cycles;
  uint32_t window;
  Pair inBody;
  Pair inTail;
};

void expectAtEachCountAndPosition(const Element& element) {
  Subject subject;
  for (std::size_t count = 1; count <= 20; ++count) {
    Results expected{std::vector<float>(count, element.inBody.sum), std::vector<float>(count, element.inBody.average)};
    for (std::size_t i = count - count % 4; i < count; ++i) {
      expected.sum[i] = element.inTail.sum;
      expected.average[i] = element.inTail.average;
    }
    const Curves curves{std::vector<float>(count, element.newValue), std::vector<float>(count, element.leavingValue),
                        std::vector<float>(count, element.sum)};
    for (const Placement& placement : support::allPlacements<float>()) {
      const Results actual =
          subject.run(curves, element.cycles, element.window, {placement, placement, placement, placement});
      ASSERT_TRUE(support::sameResult(actual.sum, expected.sum))
          << element.cycles << " cycles, window " << element.window << ", " << placement;
      ASSERT_TRUE(support::sameResult(actual.average, expected.average))
          << "average; " << element.cycles << " cycles, window " << element.window << ", " << placement;
    }
  }
}

void expectAtEachCountAndPosition(float newValue, float leavingValue, float sum, uint64_t cycles, uint32_t window,
                                  const Pair& everywhere) {
  expectAtEachCountAndPosition({newValue, leavingValue, sum, cycles, window, everywhere, everywhere});
}

TEST(CARunningVal, TheFirstCycleIsCopiedToSumAndAverage) {
  const std::vector<float> newCycle{1, -2, 3.5F, 0x1p-149F, -0.0F, infinity, 16777215};
  for (const uint32_t window : {0U, 1U, 10U, longestWindow}) {
    for (std::size_t count = 0; count <= newCycle.size(); ++count) {
      const std::vector<float> part(newCycle.begin(), newCycle.begin() + static_cast<ptrdiff_t>(count));
      const Results results =
          Subject().run({part, std::vector<float>(count, nan), std::vector<float>(count, nan)}, 0, window);
      EXPECT_TRUE(support::sameBits(results.sum, part));
      EXPECT_TRUE(support::sameBits(results.average, part));
    }
  }
}

TEST(CARunningVal, NansOfTheFirstCycleKeepTheirBits) {
  std::vector<float> newCycle(11);
  for (std::size_t i = 0; i < newCycle.size(); ++i) {
    support::setBits(newCycle[i], (i % 2 == 0 ? 0xFF800001U : 0x7FC00100U) + static_cast<uint32_t>(i));
  }
  const Results results = Subject().run({newCycle, std::vector<float>(11), std::vector<float>(11)}, 0, 4);
  EXPECT_TRUE(support::sameBits(results.sum, newCycle));
  EXPECT_TRUE(support::sameBits(results.average, newCycle));
}

TEST(CARunningVal, AFillingWindowIsDividedByTheCyclesBeforeInTheBodyAndWithThisOneInTheTail) {
  Subject subject;
  const Results results = subject.run({{1, 1, 1, 1, 1, 1}, std::vector<float>(6), {2, 2, 2, 2, 2, 2}}, 2, 10);
  EXPECT_TRUE(support::sameBits(results.sum, std::vector<float>(6, 3)));
  EXPECT_TRUE(support::sameBits(results.average, std::vector<float>{1.5F, 1.5F, 1.5F, 1.5F, 1, 1}));
  expectAtEachCountAndPosition({5, 99, 7, 3, 4, {12, 4}, {12, 3}});
  expectAtEachCountAndPosition({5, 99, 7, 1, 2, {12, 12}, {12, 6}});
  expectAtEachCountAndPosition({-1, 99, 0, 2, longestWindow, {-1, -0.5F}, {-1, -0x1.555556p-2F}});
}

TEST(CARunningVal, ADivisorIsNoReciprocal) {
  // 41, 47, 55 and 61 times their reciprocals in single are not 1.
  for (const uint32_t divisor : {41U, 47U, 55U, 61U}) {
    const auto sum = static_cast<float>(divisor - 1);
    expectAtEachCountAndPosition(1, 1, sum + 1, divisor, divisor, {sum + 1, 1});
    Subject subject;
    EXPECT_EQ(subject.run({{1, 1, 1, 1}, {0, 0, 0, 0}, {sum, sum, sum, sum}}, divisor, 1000).average[3], 1);
    EXPECT_EQ(subject.run({{1}, {0}, {sum}}, divisor - 1, 1000).average[0], 1);
  }
}

TEST(CARunningVal, AllIsSingle) {
  // 2^24 + 1 is a tie and becomes even, of sums as of cycles and windows; one added to 2^24 is lost, and to 2^24 + 2 it
  // is a tie that becomes 2^24 + 4.
  expectAtEachCountAndPosition({1, 0, 0x1p24F, 1, 2, {0x1p24F, 0x1p24F}, {0x1p24F, 0x1p23F}});
  expectAtEachCountAndPosition({0x1.000002p24F,
                                0,
                                0,
                                16777217,
                                longestWindow,
                                {0x1.000002p24F, 0x1.000002p0F},
                                {0x1.000002p24F, 0x1.000002p0F}});
  expectAtEachCountAndPosition(
      {0x1.000004p24F, 0, 0, 16777218, longestWindow, {0x1.000004p24F, 0x1.000002p0F}, {0x1.000004p24F, 1}});
  expectAtEachCountAndPosition(0x1p24F, 0, 0, 16777217, 16777217, {0x1p24F, 1});
  expectAtEachCountAndPosition(3e38F, 0, 3e38F, 3, 4, {infinity, infinity});
}

TEST(CARunningVal, ASlidingWindowAddsTheSumFirstInTheBodyAndLastInTheTail) {
  expectAtEachCountAndPosition(5, 3, 10, 4, 4, {12, 3});
  expectAtEachCountAndPosition(5, 3, 10, 5, 4, {12, 3});
  // (sum + new) - leaving against (new - leaving) + sum; neither is (sum - leaving) + new.
  expectAtEachCountAndPosition({1, 1, 0x1p24F, 8, 8, {0x1.fffffep23F, 0x1.fffffep20F}, {0x1p24F, 0x1p21F}});
  expectAtEachCountAndPosition({1, -0x1p24F, -0x1p24F, 8, 8, {1, 0.125F}, {0, 0}});
  expectAtEachCountAndPosition({0x1p24F, 1, 1, 8, 8, {0x1.fffffep23F, 0x1.fffffep20F}, {0x1p24F, 0x1p21F}});
  expectAtEachCountAndPosition({3e38F, 3e38F, 3e38F, 3, 3, {infinity, infinity}, {3e38F, 1e38F}});
}

TEST(CARunningVal, TheWindowSlidesFromAsManyCyclesOnAsItIsLong) {
  // Filling would leave the leaving value in the sum.
  expectAtEachCountAndPosition({3, 2, 4, 3, 4, {7, 7.0F / 3}, {7, 1.75F}});
  expectAtEachCountAndPosition(3, 2, 4, 4, 4, {5, 1.25F});
  expectAtEachCountAndPosition(3, 2, 4, 1, 1, {5, 5});
  expectAtEachCountAndPosition(3, 2, 4, 1000000, 2, {5, 2.5F});
  // The longest window is 2^32 in single, and unsigned.
  expectAtEachCountAndPosition(0x1p32F, 0, 0x1p32F, longestWindow - 1, longestWindow, {0x1p33F, 2});
  expectAtEachCountAndPosition(0x1p32F, 0x1p32F, 0x1p32F, longestWindow, longestWindow, {0x1p32F, 1});
  expectAtEachCountAndPosition(0, 0x1p30F, 0x1p31F, 0x80000000, 0x80000000, {0x1p30F, 0.5F});
  expectAtEachCountAndPosition(0x1p31F, 5, 0x1p31F, 0x80000000, 0x80000001, {0x1p32F, 2});
}

TEST(CARunningVal, CyclesBeyond32BitsSlideWhateverTheWindow) {
  for (const uint64_t cycles : {one << 32, (one << 32) + 1, one << 33, one << 63, (one << 63) + 1, ~(one << 63),
                                std::numeric_limits<uint64_t>::max(), (one << 63) + (one << 32)}) {
    expectAtEachCountAndPosition(3, 2, 4, cycles, 10, {5, 0.5F});
    expectAtEachCountAndPosition(0x1p32F, 0, 0, cycles, longestWindow, {0x1p32F, 1});
  }
}

TEST(CARunningVal, AWindowOfNoCyclesSlidesAndDividesByZero) {
  for (const uint64_t cycles : {one, 5 * one, one << 40}) {
    expectAtEachCountAndPosition(3, 2, 4, cycles, 0, {5, infinity});
    expectAtEachCountAndPosition(2, 3, -4, cycles, 0, {-5, -infinity});
    expectAtEachCountAndPosition(2, 2, 0, cycles, 0, {0, nan});
  }
}

TEST(CARunningVal, SpecialsPass) {
  expectAtEachCountAndPosition(infinity, 1, 2, 5, 5, {infinity, infinity});
  expectAtEachCountAndPosition(1, infinity, 2, 5, 5, {-infinity, -infinity});
  expectAtEachCountAndPosition(infinity, infinity, 2, 5, 5, {nan, nan});
  expectAtEachCountAndPosition(nan, 1, 2, 3, 5, {nan, nan});
  expectAtEachCountAndPosition({1, nan, 2, 3, 5, {3, 1}, {3, 0.75F}});  // not read while the window fills
}

TEST(CARunningVal, TheLastIndexIsIncludedAndOnlyTheDifferenceMatters) {
  Subject subject;
  for (const uint32_t first : {0U, 1U, 100U, 0x80000000U, 0xFFFFFFF0U}) {
    for (std::size_t count = 0; count <= 9; ++count) {
      const std::vector<float> newCycle(count, 3);
      const Results results =
          subject.run({newCycle, std::vector<float>(count, 1), std::vector<float>(count, 2)}, 1, 1, {}, first);
      EXPECT_TRUE(support::sameBits(results.sum, std::vector<float>(count, 4)));
      EXPECT_TRUE(support::sameBits(results.average, std::vector<float>(count, 4)));
    }
  }
}

TEST(CARunningVal, NoElementsTouchNothing) {
  support::PageMapping inaccessible(support::PageMapping::pageSize());
  auto* const none = reinterpret_cast<float*>(inaccessible.data());
  for (const uint64_t cycles : {uint64_t{0}, one, 5 * one, one << 32}) {
    kxCalcCARunningVal(none, none, none, none, 0, 0xFFFFFFFF, cycles, 3);
    kxCalcCARunningVal(none, none, none, none, 5, 4, cycles, 3);
  }
}

struct Window {
  uint64_t cycles;
  uint32_t length;
};

Window randomWindow(support::Random& random) {
  constexpr uint64_t specialCycles[] = {0,         1,         16777217,        longestWindow - one,
                                        one << 31, one << 32, (one << 32) + 1, one << 63};
  constexpr uint32_t specialLengths[] = {0, 1, 2, 16777217, 0x80000000, longestWindow};
  const auto length =
      random.oneIn(4) ? random.oneOf(specialLengths) : static_cast<uint32_t>(random.below(random.oneIn(2) ? 8 : 100));
  switch (random.below(6)) {
    case 0:
      return {0, length};
    case 1:
      return {random.oneOf(specialCycles), length};
    case 2:
      return {length, length};
    case 3:
      return {uint64_t{length} + 1 + random.below(50), length};
    case 4:
      return {random.bits() >> random.below(64), length};
    default:
      return {random.bits() % (uint64_t{length} + 1), length};
  }
}

Curves randomCurves(support::SampleClass sampleClass, std::size_t count, support::Random& random) {
  Curves curves{std::vector<float>(count), std::vector<float>(count), std::vector<float>(count)};
  for (std::vector<float>* const curve : {&curves.newCycle, &curves.leavingCycle, &curves.sum}) {
    support::fill(std::span(*curve), sampleClass, random);
  }
  return curves;
}

TEST(CARunningVal, EqualsTheModelAtEveryCountAndAlignmentOfEachArray) {
  support::TestRandom random;
  Subject subject;
  for (std::size_t count = 0; count <= 40; ++count) {
    const Curves curves = randomCurves(support::SampleClass::signal, count, random);
    for (std::size_t alignments = 0; alignments < 256; ++alignments) {
      const Window window = randomWindow(random);
      const Placements placements{support::pastBoundary(alignments & 3), support::pastBoundary(alignments >> 2 & 3),
                                  support::pastBoundary(alignments >> 4 & 3),
                                  support::pastBoundary(alignments >> 6 & 3)};
      ASSERT_TRUE(subject.equalsModel(curves, window.cycles, window.length, placements));
    }
  }
}

TEST(CARunningVal, EqualsTheModelForEveryKindOfSamplesAndState) {
  support::TestRandom random;
  Subject subject;
  const std::vector<Placement> placements = support::allPlacements<float>();
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      const Curves curves = randomCurves(sampleClass, count, random);
      for (int repetition = 0; repetition < 24; ++repetition) {
        const Window window = randomWindow(random);
        ASSERT_TRUE(subject.equalsModel(
            curves, window.cycles, window.length,
            {random.oneOf(placements), random.oneOf(placements), random.oneOf(placements), random.oneOf(placements)}))
            << sampleClass;
      }
    }
  }
}

TEST(CARunningVal, EqualsTheModelForLargeBlocks) {
  support::TestRandom random;
  Subject subject;
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::largeCounts()) {
      const Curves curves = randomCurves(sampleClass, count, random);
      for (const Window& window : {Window{0, 5}, Window{3, 5}, Window{5, 5}}) {
        ASSERT_TRUE(subject.equalsModel(curves, window.cycles, window.length, {})) << sampleClass;
      }
    }
  }
}

}  // namespace
