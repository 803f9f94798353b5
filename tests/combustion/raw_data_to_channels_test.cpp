#include "reference/raw_data_to_channels.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
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
constexpr float threshold = 1.17549435e-38F;
constexpr uint32_t noPeak = 0xFFFFFFFF;

struct Result {
  std::vector<float> channel;
  float peakValue;
  uint32_t peakIndex;
};

/// The raw pointer is where sample 0 would lie, whether or not there is one.
const float* rawPointer(const float* first, uint32_t start) {
  return reinterpret_cast<const float*>(reinterpret_cast<uintptr_t>(first) - std::size_t{start} * sizeof(float));
}

bool hasAddresses(uint32_t start) {
  return sizeof(void*) == 8 || start <= (uint32_t{1} << 25);
}

class Subject {
public:
  Result run(std::span<const float> samples, uint32_t start, float offset,
             const Placement& rawPlacement = support::endsAtFence,
             const Placement& channelPlacement = support::endsAtFence) {
    raw_ = rawMemory_.place(samples.size(), rawPlacement);
    std::ranges::copy(samples, raw_.begin());
    const std::span<float> channel = channelMemory_.place(samples.size(), channelPlacement);
    std::ranges::fill(channel, -77.0F);
    // Whatever the results held before is overwritten.
    float* const peakValue = peakValueMemory_.place(1, support::endsAtFence).data();
    uint32_t* const peakIndex = peakIndexMemory_.place(1, support::endsAtFence).data();
    *peakValue = std::numeric_limits<float>::max();
    *peakIndex = 123456;
    kxCalcCACopyRawDataToChannels(rawPointer(raw_.data(), start), channel.data(), start,
                                  start + static_cast<uint32_t>(samples.size()), offset, peakValue, peakIndex);
    return {{channel.begin(), channel.end()}, *peakValue, *peakIndex};
  }

  testing::AssertionResult equalsModel(std::span<const float> samples, uint32_t start, float offset,
                                       const Placement& rawPlacement, const Placement& channelPlacement) {
    const Result actual = run(samples, start, offset, rawPlacement, channelPlacement);
    Result expected{std::vector<float>(samples.size()), 0, 0};
    reference::kxCalcCACopyRawDataToChannels(rawPointer(raw_.data(), start), expected.channel.data(), start,
                                             start + static_cast<uint32_t>(samples.size()), offset, &expected.peakValue,
                                             &expected.peakIndex);
    testing::AssertionResult result = support::sameResult(actual.channel, expected.channel);
    if (result) {
      result = support::sameBits(actual.peakValue, expected.peakValue) << ", peak value";
    }
    if (result) {
      result = support::sameBits(actual.peakIndex, expected.peakIndex) << ", peak index";
    }
    if (result && !support::sameBits(raw_, samples)) {
      result = testing::AssertionFailure() << "input changed";
    }
    if (result && !(rawMemory_.surroundingsIntact() && channelMemory_.surroundingsIntact() &&
                    peakValueMemory_.surroundingsIntact() && peakIndexMemory_.surroundingsIntact())) {
      result = testing::AssertionFailure() << "written next to a buffer";
    }
    if (!result) {
      result << "; " << samples.size() << " samples from " << start << " on, offset " << offset << ", raw "
             << rawPlacement << ", channel " << channelPlacement;
    }
    return result;
  }

private:
  support::FencedBuffer<float> rawMemory_{support::largestCount};
  support::FencedBuffer<float> channelMemory_{support::largestCount};
  support::FencedBuffer<float> peakValueMemory_{1};
  support::FencedBuffer<uint32_t> peakIndexMemory_{1};
  std::span<float> raw_;
};

uint32_t peakIndexOf(const std::vector<float>& samples, uint32_t start = 0) {
  return Subject().run(samples, start, 0).peakIndex;
}

/// Ones, but for greater samples at some positions.
std::vector<float> onesWith(std::size_t count, std::initializer_list<std::size_t> positions, float peak = 2) {
  std::vector<float> samples(count, 1);
  for (const std::size_t position : positions) {
    samples[position] = peak;
  }
  return samples;
}

TEST(CACopyRawDataToChannels, AnEmptyStretchWritesTheTwoInitialPeakValuesOnly) {
  for (const uint32_t start : {0U, 5U, 16777217U}) {
    const Result result = Subject().run({}, start, 1);
    EXPECT_TRUE(support::sameBits(result.peakValue, threshold));
    EXPECT_EQ(result.peakIndex, noPeak);
  }
}

TEST(CACopyRawDataToChannels, SubtractsTheOffsetAndReportsTheAbsoluteIndex) {
  const float raw[] = {9, 9, 5, 6, 12, 7, 8, 9, 99};
  float channel[] = {-1, -1, -1, -1, -1, -1, -1};
  float peakValue = 1000;
  uint32_t peakIndex = 1000;
  kxCalcCACopyRawDataToChannels(raw, channel, 2, 8, 2.5F, &peakValue, &peakIndex);
  EXPECT_TRUE(support::sameBits(channel, std::vector<float>{2.5F, 3.5F, 9.5F, 4.5F, 5.5F, 6.5F, -1}));
  EXPECT_EQ(peakValue, 9.5F);
  EXPECT_EQ(peakIndex, 4U);
  kxCalcCACopyRawDataToChannels(raw, channel, 1, 4, -1, &peakValue, &peakIndex);
  EXPECT_TRUE(support::sameBits(channel, std::vector<float>{10, 6, 7, 4.5F, 5.5F, 6.5F, -1}));
  EXPECT_EQ(peakValue, 10);
  EXPECT_EQ(peakIndex, 1U);
}

TEST(CACopyRawDataToChannels, TheDifferenceIsRoundedToSingleAndThenCompared) {
  for (std::size_t count = 1; count <= 9; ++count) {
    // 2^24 + 2 + 1 is a tie, to even; 2^24 + 1 and 2^24 become equal, and the first one stays.
    std::vector<float> samples(count, 0);
    samples[0] = 16777218;
    const Result result = Subject().run(samples, 0, -1);
    EXPECT_EQ(result.channel[0], 16777220);
    EXPECT_EQ(result.peakValue, 16777220);
    EXPECT_EQ(result.peakIndex, 0U);
  }
  const Result tied = Subject().run(std::vector<float>{1, 2, 0}, 0, -0x1p25F);
  EXPECT_EQ(tied.peakValue, 0x1p25F);
  EXPECT_EQ(tied.peakIndex, 0U);
}

TEST(CACopyRawDataToChannels, EachPositionMayHoldThePeak) {
  for (const uint32_t start : {0U, 3U, 1000U}) {
    for (std::size_t count = 1; count <= 40; ++count) {
      for (std::size_t position = 0; position < count; ++position) {
        EXPECT_EQ(peakIndexOf(onesWith(count, {position}), start), start + position) << count;
      }
    }
  }
}

TEST(CACopyRawDataToChannels, UpTo3SamplesTheFirstOfEqualMaximaIsReported) {
  EXPECT_EQ(peakIndexOf({2, 2}), 0U);
  EXPECT_EQ(peakIndexOf({2, 2, 2}), 0U);
  EXPECT_EQ(peakIndexOf({1, 2, 2}), 1U);
  EXPECT_EQ(peakIndexOf({1, 2, 2}, 10), 11U);
}

TEST(CACopyRawDataToChannels, From4SamplesOnOfEqualMaximaTheOneInTheLowestLaneIsReported) {
  // Indexes 5 and 8 lie in lanes 1 and 0.
  EXPECT_EQ(peakIndexOf(onesWith(12, {5, 8})), 8U);
  EXPECT_EQ(peakIndexOf(onesWith(9, {5, 8})), 5U);  // 8 is in the tail
  EXPECT_EQ(peakIndexOf(onesWith(12, {3, 6})), 6U);
  EXPECT_EQ(peakIndexOf(onesWith(12, {1, 2, 3, 7})), 1U);
  EXPECT_EQ(peakIndexOf(onesWith(16, {3, 7, 10, 13})), 13U);
  EXPECT_EQ(peakIndexOf(onesWith(16, {7, 14})), 14U);
  // Lanes are counted from the start, wherever it lies.
  EXPECT_EQ(peakIndexOf(onesWith(12, {5, 8}), 3), 11U);
  EXPECT_EQ(peakIndexOf(onesWith(12, {5, 8}), 1), 9U);
}

TEST(CACopyRawDataToChannels, WithinALaneTheFirstOfEqualMaximaIsReported) {
  EXPECT_EQ(peakIndexOf(onesWith(16, {4, 8, 12})), 4U);
  EXPECT_EQ(peakIndexOf(onesWith(16, {2, 6})), 2U);
  EXPECT_EQ(peakIndexOf(onesWith(32, {7, 31})), 7U);
}

TEST(CACopyRawDataToChannels, TheTailMustExceedTheBlocks) {
  EXPECT_EQ(peakIndexOf(onesWith(7, {3, 4})), 3U);
  EXPECT_EQ(peakIndexOf(onesWith(7, {4, 5, 6})), 4U);
  EXPECT_EQ(peakIndexOf({1, 1, 1, 2, 2, 3, 3}), 5U);
  EXPECT_EQ(peakIndexOf({1, 1, 1, 2, 3, 4, 5}), 6U);
}

TEST(CACopyRawDataToChannels, NoPeakUnlessAValueExceedsTheSmallestNormalNumber) {
  for (std::size_t count = 1; count <= 12; ++count) {
    for (const float value : {0.0F, -0.0F, -1.0F, -infinity, nan, threshold, threshold / 2, 0x1p-149F}) {
      const Result result = Subject().run(std::vector<float>(count, value), 7, 0);
      EXPECT_TRUE(support::sameResult(result.channel, std::vector<float>(count, value)));
      EXPECT_TRUE(support::sameBits(result.peakValue, threshold)) << count << " times " << value;
      EXPECT_EQ(result.peakIndex, noPeak) << count << " times " << value;
    }
    const Result equalToTheOffset = Subject().run(std::vector<float>(count, 3.7F), 7, 3.7F);
    EXPECT_TRUE(support::sameBits(equalToTheOffset.channel, std::vector<float>(count, 0)));
    EXPECT_EQ(equalToTheOffset.peakIndex, noPeak);
    // The next number is a peak, at each position.
    for (std::size_t position = 0; position < count; ++position) {
      std::vector<float> samples(count, threshold);
      samples[position] = 0x1.000002p-126F;
      const Result result = Subject().run(samples, 7, 0);
      EXPECT_TRUE(support::sameBits(result.peakValue, 0x1.000002p-126F));
      EXPECT_EQ(result.peakIndex, 7 + position);
    }
  }
}

TEST(CACopyRawDataToChannels, ANanIsCopiedAndIsNeverThePeak) {
  EXPECT_EQ(peakIndexOf({nan, 1, 2}), 2U);
  EXPECT_EQ(peakIndexOf({1, nan, nan}), 0U);
  EXPECT_EQ(peakIndexOf({nan, 1, 3, 2}), 2U);
  EXPECT_EQ(peakIndexOf({1, 5, 1, 1, 1, nan, 1, 1}), 1U);
  EXPECT_EQ(peakIndexOf({1, 1, 1, 1, nan, 2, nan}), 5U);
}

TEST(CACopyRawDataToChannels, ANanInTheFirstBlockHidesWhatFollowsInItsLane) {
  EXPECT_EQ(peakIndexOf({1, nan, 1, 1, 1, 9, 1, 1}), 0U);
  EXPECT_EQ(peakIndexOf({1, nan, 1, 1, 1, 9, 2, 1}), 6U);
  EXPECT_EQ(peakIndexOf({nan, nan, nan, nan, 9, 9, 9, 9}), noPeak);
  EXPECT_EQ(peakIndexOf({nan, nan, nan, nan, 9, 9, 9, 9, 3}), 8U);
}

TEST(CACopyRawDataToChannels, AnInfinityMayBeThePeak) {
  EXPECT_EQ(peakIndexOf({1, 2, infinity}), 2U);
  EXPECT_EQ(peakIndexOf({1, 2, 3, 4, infinity, 1, 1, infinity}), 4U);
  const Result result = Subject().run(std::vector<float>{1, 2, 3, 4, 5}, 0, -infinity);
  EXPECT_EQ(result.peakValue, infinity);
  EXPECT_EQ(result.peakIndex, 0U);
}

TEST(CACopyRawDataToChannels, LaneIndexesAreExactOnlyUpTo16777216) {
  constexpr uint32_t exactEnd = 16777216;
  const struct {
    uint32_t start;
    std::size_t count;
    std::size_t position;
    uint32_t index;
  } cases[] = {
      {exactEnd - 4, 4, 3, exactEnd - 1},
      {exactEnd - 3, 4, 3, exactEnd},
      {exactEnd - 4, 5, 4, exactEnd},
      {exactEnd - 4, 6, 5, exactEnd + 1},
      // Start plus lane is rounded to nearest, ties to even.
      {exactEnd, 4, 0, exactEnd},
      {exactEnd, 4, 1, exactEnd},
      {exactEnd, 4, 2, exactEnd + 2},
      {exactEnd, 4, 3, exactEnd + 4},
      {exactEnd, 8, 5, exactEnd + 4},
      {exactEnd, 8, 7, exactEnd + 8},
      // Start itself is rounded before the lane is added: 2^24 + 1 is 2^24, 2^24 + 3 is 2^24 + 4.
      {exactEnd + 1, 4, 0, exactEnd},
      {exactEnd + 1, 4, 1, exactEnd},
      {exactEnd + 1, 4, 2, exactEnd + 2},
      {exactEnd + 3, 4, 0, exactEnd + 4},
      {exactEnd + 3, 4, 1, exactEnd + 4},
      {exactEnd + 3, 4, 3, exactEnd + 8},
      // The tail counts from the rounded start of its block, in whole numbers.
      {exactEnd, 7, 4, exactEnd + 4},
      {exactEnd, 7, 5, exactEnd + 5},
      {exactEnd, 7, 6, exactEnd + 6},
      {exactEnd + 1, 7, 4, exactEnd + 4},
      {exactEnd + 1, 7, 6, exactEnd + 6},
      // Up to 3 samples have no lanes.
      {exactEnd + 1, 3, 0, exactEnd + 1},
      {exactEnd + 1, 3, 1, exactEnd + 2},
      {exactEnd + 1, 3, 2, exactEnd + 3},
  };
  for (const auto& [start, count, position, index] : cases) {
    EXPECT_EQ(peakIndexOf(onesWith(count, {position}), start), index) << start << " + " << position << " of " << count;
  }
}

TEST(CACopyRawDataToChannels, LaneIndexesBeyond67108864StandStill) {
  // 4 more is half of their last bit, a tie.
  constexpr uint32_t start = 67108864;
  if (!hasAddresses(start)) {
    GTEST_SKIP() << "the address space is too small";
  }
  EXPECT_EQ(peakIndexOf(onesWith(16, {12}), start), start);
  EXPECT_EQ(peakIndexOf(onesWith(16, {15}), start), start);
  EXPECT_EQ(peakIndexOf(onesWith(19, {16}), start), start);
  EXPECT_EQ(peakIndexOf(onesWith(19, {18}), start), start + 2);
  EXPECT_EQ(peakIndexOf(onesWith(3, {2}), start), start + 2);
}

TEST(CACopyRawDataToChannels, EqualsTheModelAtEveryCountAndPairOfPlacements) {
  support::TestRandom random;
  Subject subject;
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      std::vector<float> samples(count);
      support::fill(std::span(samples), sampleClass, random);
      for (const Placement& rawPlacement : support::allPlacements<float>()) {
        for (const Placement& channelPlacement : support::allPlacements<float>()) {
          const float offset = random.oneIn(2) || count == 0 ? 0.25F : random.oneOf(samples);
          const auto start = static_cast<uint32_t>(random.below(40));
          ASSERT_TRUE(subject.equalsModel(samples, start, offset, rawPlacement, channelPlacement)) << sampleClass;
        }
      }
    }
  }
}

TEST(CACopyRawDataToChannels, EqualsTheModelForMaximaThatOccurOften) {
  support::TestRandom random;
  Subject subject;
  for (int repetition = 0; repetition < 5000; ++repetition) {
    std::vector<float> samples(random.below(40));
    const int highest = random.between(0, 6);
    for (float& sample : samples) {
      sample = random.oneIn(12) ? nan : static_cast<float>(random.between(-1, highest));
    }
    ASSERT_TRUE(subject.equalsModel(samples, static_cast<uint32_t>(random.below(40)), 0,
                                    support::pastBoundary(random.below(4)), support::pastBoundary(random.below(4))));
  }
}

TEST(CACopyRawDataToChannels, TheLowestLaneWinsWithItsFirstSampleHoweverFarApartEqualMaximaLie) {
  constexpr std::size_t count = 523;
  for (const std::size_t first : std::initializer_list<std::size_t>{3, 7, 63, 66, 123, 127, 130, 259, 514}) {
    for (std::size_t second = first; second < 520; second += 13) {
      const bool secondIsLower = second % 4 < first % 4;
      EXPECT_EQ(peakIndexOf(onesWith(count, {first, second})), secondIsLower ? second : first)
          << first << ", " << second;
    }
    EXPECT_EQ(peakIndexOf(onesWith(count, {first, 522})), first);
    EXPECT_EQ(peakIndexOf(onesWith(count, {first, first + 4, first + 8})), first);
  }
  EXPECT_EQ(peakIndexOf(onesWith(count, {522})), 522U);
  EXPECT_EQ(peakIndexOf(std::vector<float>(count, 1)), 0U);
}

TEST(CACopyRawDataToChannels, EqualsTheModelForMaximaThatOccurOftenInLongStretches) {
  support::TestRandom random;
  Subject subject;
  for (int repetition = 0; repetition < 3000; ++repetition) {
    std::vector<float> samples(random.below(600));
    const int highest = random.between(-1, 300);
    for (float& sample : samples) {
      sample = random.oneIn(50) ? nan : static_cast<float>(random.between(-1, highest));
    }
    // A lane that begins with a NaN has no peak.
    for (std::size_t lane = 0; lane < std::min<std::size_t>(4, samples.size()); ++lane) {
      samples[lane] = random.oneIn(3) ? nan : samples[lane];
    }
    const uint32_t start = random.oneIn(2) ? 0 : 16777216 - static_cast<uint32_t>(random.below(700));
    ASSERT_TRUE(subject.equalsModel(samples, start, random.oneIn(2) ? 0 : 0.5F, support::pastBoundary(random.below(4)),
                                    support::pastBoundary(random.below(4))));
  }
}

TEST(CACopyRawDataToChannels, EqualsTheModelAtAnyStart) {
  support::TestRandom random;
  Subject subject;
  for (int repetition = 0; repetition < 3000; ++repetition) {
    std::vector<float> samples(random.below(70));
    support::fill(std::span(samples), support::SampleClass::signal, random);
    // Up to 2^31, which signed numbers of 32 bits hold.
    const uint32_t start = (uint32_t{1} << random.between(22, 30)) + static_cast<uint32_t>(random.below(4000000));
    if (hasAddresses(start)) {
      ASSERT_TRUE(subject.equalsModel(samples, start, 0, support::endsAtFence, support::beginsAtFence));
    }
  }
}

TEST(CACopyRawDataToChannels, EqualsTheModelForLongStretches) {
  support::TestRandom random;
  Subject subject;
  for (const uint32_t count : support::largeCounts()) {
    for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
      std::vector<float> samples(count);
      support::fill(std::span(samples), sampleClass, random);
      for (const uint32_t start : {0U, 5U, 16777216U - 500, 16777216U + 7}) {
        ASSERT_TRUE(subject.equalsModel(samples, start, 0.5F, support::pastBoundary(random.below(4)),
                                        support::pastBoundary(random.below(4))))
            << sampleClass;
      }
    }
  }
}

}  // namespace
