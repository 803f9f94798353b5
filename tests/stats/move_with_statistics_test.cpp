#include "reference/move_with_statistics.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "stats/statistics_line.hpp"
#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using stats::FencedLine;
using support::Placement;
using support::SampleClass;
using Line = stats::StatisticsLine<int16_t>;

constexpr double twoTo48 = 281474976710656.0;
constexpr double squareOf24BitsAndOne = 281475010265089.0;  // (2^24 + 1)^2
constexpr double twoTo53 = 9007199254740992.0;
constexpr int32_t lowestStride = std::numeric_limits<int32_t>::min();
constexpr int32_t highestStride = std::numeric_limits<int32_t>::max();

bool isContiguous(uint32_t count, int32_t stride) {
  return count >= 8 && stride <= 1;
}

/// The stretch of samples from the first to the last one read, and where in it the source pointer points.
struct SourceShape {
  SourceShape(uint32_t count, int32_t stride) {
    if (count > 0) {
      const auto steps = static_cast<std::size_t>(count - 1);
      size = 1 + steps * (isContiguous(count, stride) ? 1 : static_cast<std::size_t>(std::abs(stride)));
      start = !isContiguous(count, stride) && stride < 0 ? size - 1 : 0;
    }
  }

  std::size_t size = 0;
  std::size_t start = 0;
};

struct Placements {
  Placement destination;
  Placement source;
};

class Subject {
public:
  /// The destination after the call; the line's numbers are left in line().
  std::span<const int16_t> run(std::span<const int16_t> stretch, uint32_t count, int32_t stride,
                               const Placements& placements, const Line& before, float rmsOffset) {
    source_ = sourceMemory_.place(stretch.size(), placements.source);
    std::ranges::copy(stretch, source_.begin());
    const std::span<int16_t> destination = destinationMemory_.place(count, placements.destination);
    std::ranges::fill(destination, int16_t{-21846});
    line_.set(before);
    kxcalcMoveAndGetMinMaxAveRMS_int16_t(destination.data(), source_.data() + SourceShape(count, stride).start, count,
                                         &line_.minimum, &line_.maximum, &line_.sum, &line_.sumOfSquares, rmsOffset,
                                         stride);
    return destination;
  }

  Line line() const { return line_.get(); }

  testing::AssertionResult equalsModel(std::span<const int16_t> stretch, uint32_t count, int32_t stride,
                                       const Placements& placements, const Line& before, float rmsOffset) {
    const std::span<const int16_t> actual = run(stretch, count, stride, placements, before, rmsOffset);
    const std::span<int16_t> expected = expectedMemory_.place(count, placements.destination);
    Line expectedLine = before;
    reference::kxcalcMoveAndGetMinMaxAveRMS_int16_t(expected.data(), source_.data() + SourceShape(count, stride).start,
                                                    count, &expectedLine.minimum, &expectedLine.maximum,
                                                    &expectedLine.sum, &expectedLine.sumOfSquares, rmsOffset, stride);
    testing::AssertionResult result = support::sameBits(actual, expected);
    if (result) {
      result = stats::sameLine(line(), expectedLine);
    }
    if (result && !(destinationMemory_.surroundingsIntact() && line_.surroundingsIntact())) {
      result = testing::AssertionFailure() << "written next to a result";
    }
    if (result) {
      result = support::sameBits(source_, stretch) << ", input changed";
    }
    if (!result) {
      result << "; " << count << " samples, stride " << stride << ", destination " << placements.destination
             << ", source " << placements.source << ", offset " << support::describe(rmsOffset)
             << ", before: " << before;
    }
    return result;
  }

private:
  support::FencedBuffer<int16_t> sourceMemory_{5 * support::largestCount};
  support::FencedBuffer<int16_t> destinationMemory_{support::largestCount};
  support::FencedBuffer<int16_t> expectedMemory_{support::largestCount};
  FencedLine<int16_t> line_{support::endsAtFence};
  std::span<int16_t> source_;
};

std::vector<int16_t> samplesOf(SampleClass sampleClass, std::size_t size, support::Random& random) {
  std::vector<int16_t> samples(size);
  support::fill(std::span(samples), sampleClass, random);
  return samples;
}

const std::vector<int16_t> oneTo16{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

TEST(MoveAndGetMinMaxAveRMS_int16_t, HandWorkedCases) {
  const struct {
    std::vector<int16_t> stretch;
    uint32_t count;
    int32_t stride;
    Line before;
    float rmsOffset;
    std::vector<int16_t> destination;
    Line after;
  } cases[] = {
      // Up to 7 samples every stride is honoured and the extremes are merged.
      {{4}, 3, 0, {0, 0, 10, 20}, 1, {4, 4, 4}, {0, 4, 22, 95}},
      {{4}, 7, 0, {5, 3, 0, 0}, 0, {4, 4, 4, 4, 4, 4, 4}, {4, 4, 28, 112}},
      {{1, 2, 3, 4, 5}, 3, -2, {0, 0, 0, 0}, 0, {5, 3, 1}, {0, 5, 9, 35}},
      {{1, 2, 3, 4, 5}, 3, 2, {0, 0, 0, 0}, 0, {1, 3, 5}, {0, 5, 9, 35}},
      {{1, 2, 3, 4, 5, 6, 7}, 7, 1, {-100, 100, 0, 0}, 0, {1, 2, 3, 4, 5, 6, 7}, {-100, 100, 28, 140}},
      {{1, 2, 3, 4, 5, 6, 7}, 7, -1, {2, 5, 0, 0}, 0, {7, 6, 5, 4, 3, 2, 1}, {1, 7, 28, 140}},
      {{9}, 1, lowestStride, {0, 0, 0, 0}, 0, {9}, {0, 9, 9, 81}},
      // From 8 on a stride above 1 is honoured and the extremes are merged.
      {oneTo16, 8, 2, {-100, 100, 0, 0}, 0, {1, 3, 5, 7, 9, 11, 13, 15}, {-100, 100, 64, 680}},
      {oneTo16, 8, 2, {3, 3, 0, 0}, 0, {1, 3, 5, 7, 9, 11, 13, 15}, {1, 15, 64, 680}},
      // From 8 on a stride of 1 or less reads contiguously forwards, and the extremes are overwritten.
      {{1, 2, 3, 4, 5, 6, 7, 8}, 8, 1, {-100, 100, 0, 0}, 0, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 8, 36, 204}},
      {{1, 2, 3, 4, 5, 6, 7, 8}, 8, 0, {-100, 100, 0, 0}, 1, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 8, 36, 284}},
      {{1, 2, 3, 4, 5, 6, 7, 8}, 8, -1, {-100, 100, 0, 0}, 0, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 8, 36, 204}},
      {{1, 2, 3, 4, 5, 6, 7, 8, 9}, 9, -7, {50, 50, 0, 0}, 0, {1, 2, 3, 4, 5, 6, 7, 8, 9}, {1, 9, 45, 285}},
      {{1, 2, 3, 4, 5, 6, 7, 8}, 8, lowestStride, {9, 9, 1, 1}, 0, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 8, 37, 205}},
      {{-32768, 0, 0, 0, 0, 0, 0, 32767},
       8,
       1,
       {0, 0, 0, 0},
       0,
       {-32768, 0, 0, 0, 0, 0, 0, 32767},
       {-32768, 32767, -1, 2147418113}},
  };
  Subject subject;
  for (const auto& [stretch, count, stride, before, rmsOffset, destination, after] : cases) {
    const std::vector<int16_t> read(stretch.begin(),
                                    stretch.begin() + static_cast<ptrdiff_t>(SourceShape(count, stride).size));
    for (const Placement& placement : support::allPlacements<int16_t>()) {
      for (const Placement& sourcePlacement : support::allPlacements<int16_t>()) {
        const auto actual = subject.run(read, count, stride, {placement, sourcePlacement}, before, rmsOffset);
        ASSERT_TRUE(support::sameBits(actual, destination)) << count << " samples, stride " << stride;
        ASSERT_TRUE(stats::sameLine(subject.line(), after)) << count << " samples, stride " << stride;
      }
    }
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, HeadIsThatOfTheDestinationIfGatheredAndOfTheSourceIfContiguous) {
  // A head sample adds its offset in single, where 2^24 + 1 rounds to 2^24; a body sample in double.
  Subject subject;
  for (std::size_t destination = 0; destination < 8; ++destination) {
    for (std::size_t source = 0; source < 8; ++source) {
      const Placements placements{support::pastBoundary(destination), support::pastBoundary(source)};
      subject.run(std::vector<int16_t>(15, 1), 8, 2, placements, {1, 1, 0, 0}, 16777216);
      EXPECT_EQ(subject.line().sumOfSquares, 8 * (destination == 0 ? squareOf24BitsAndOne : twoTo48))
          << "gathered, destination " << destination << ", source " << source;
      subject.run(std::vector<int16_t>(8, 1), 8, 1, placements, {1, 1, 0, 0}, 16777216);
      EXPECT_EQ(subject.line().sumOfSquares, 8 * (source == 0 ? squareOf24BitsAndOne : twoTo48))
          << "contiguous, destination " << destination << ", source " << source;
      subject.run(std::vector<int16_t>(13, 1), 7, 2, placements, {1, 1, 0, 0}, 16777216);
      EXPECT_EQ(subject.line().sumOfSquares, 7 * twoTo48) << "short";
      subject.run(std::vector<int16_t>(31, 1), 16, 2, placements, {1, 1, twoTo53, 0}, 16777216);
      EXPECT_EQ(subject.line().sum, destination == 0 ? twoTo53 + 16 : twoTo53 + 8)
          << "the body is added at once, head and tail sample by sample; destination " << destination;
      subject.run(std::vector<int16_t>(16, 1), 16, 0, placements, {1, 1, twoTo53, 0}, 16777216);
      EXPECT_EQ(subject.line().sum, source == 0 ? twoTo53 + 16 : twoTo53 + 8) << "source " << source;
    }
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, EqualsTheModelAtEveryPairOfPlacements) {
  support::TestRandom random;
  Subject subject;
  const std::vector<Line> lines = stats::incomingLines<int16_t>();
  const std::vector<float> rmsOffsets = stats::rmsOffsets<float>();
  constexpr int32_t strides[] = {1, 2, 3, 1, 2, 5, 0, -1, -3, 8, 17};
  for (uint32_t count = 0; count <= 67; ++count) {
    for (const Placement& destination : support::allPlacements<int16_t>()) {
      for (const Placement& source : support::allPlacements<int16_t>()) {
        for (const SampleClass sampleClass : {SampleClass::wholeRange, SampleClass::signal, SampleClass::extremes}) {
          const int32_t stride = random.oneOf(strides);
          const auto stretch = samplesOf(sampleClass, SourceShape(count, stride).size, random);
          ASSERT_TRUE(subject.equalsModel(stretch, count, stride, {destination, source}, random.oneOf(lines),
                                          random.oneOf(rmsOffsets)))
              << sampleClass;
        }
      }
    }
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, EqualsTheModelAtEveryStrideCountOffsetAndLine) {
  support::TestRandom random;
  Subject subject;
  const std::vector<Line> lines = stats::incomingLines<int16_t>();
  const std::vector<float> rmsOffsets = stats::rmsOffsets<float>();
  const std::vector<Placement> placements = support::allPlacements<int16_t>();
  for (const uint32_t count : support::smallCounts(0)) {
    for (const int32_t stride : std::initializer_list<int32_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 32, 100, 0, -1, -2, -9}) {
      for (const SampleClass sampleClass : support::sampleClasses<int16_t>()) {
        const auto stretch = samplesOf(sampleClass, SourceShape(count, stride).size, random);
        for (int repetition = 0; repetition < 4; ++repetition) {
          const Placements both{random.oneOf(placements), random.oneOf(placements)};
          ASSERT_TRUE(subject.equalsModel(stretch, count, stride, both, random.oneOf(lines), random.oneOf(rmsOffsets)))
              << sampleClass;
        }
      }
    }
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, EqualsTheModelForLargeBlocks) {
  support::TestRandom random;
  Subject subject;
  const std::vector<Line> lines = stats::incomingLines<int16_t>();
  const std::vector<float> rmsOffsets = stats::rmsOffsets<float>();
  const std::vector<Placement> placements = support::allPlacements<int16_t>();
  for (const uint32_t count : support::largeCounts()) {
    for (const int32_t stride : std::initializer_list<int32_t>{-4, 0, 1, 2, 3, 4, 5}) {
      for (const SampleClass sampleClass : support::sampleClasses<int16_t>()) {
        const auto stretch = samplesOf(sampleClass, SourceShape(count, stride).size, random);
        const Placements both{random.oneOf(placements), random.oneOf(placements)};
        ASSERT_TRUE(subject.equalsModel(stretch, count, stride, both, random.oneOf(lines), random.oneOf(rmsOffsets)))
            << sampleClass;
      }
    }
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, EqualsTheModelWhereSumsAndOffsetsStopBeingExact) {
  support::TestRandom random;
  Subject subject;
  const std::vector<Line> lines = stats::incomingLines<int16_t>();
  const std::vector<Placement> placements = support::allPlacements<int16_t>();
  for (const uint32_t count : std::initializer_list<uint32_t>{7, 8, 33, 257, 1031, 4101}) {
    for (const int32_t stride : {1, 2}) {
      for (const SampleClass sampleClass : {SampleClass::wholeRange, SampleClass::extremes, SampleClass::constant}) {
        const auto stretch = samplesOf(sampleClass, SourceShape(count, stride).size, random);
        for (const float rmsOffset : stats::rmsOffsetsNearPowersOfTwo<float>()) {
          const Placements both{random.oneOf(placements), random.oneOf(placements)};
          ASSERT_TRUE(subject.equalsModel(stretch, count, stride, both, random.oneOf(lines), rmsOffset)) << sampleClass;
        }
      }
    }
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, FindsTheOnlyExtremesAtEachPosition) {
  Subject subject;
  for (const int32_t stride : {1, 3}) {
    for (const uint32_t count : std::initializer_list<uint32_t>{1, 5, 7, 8, 15, 16, 23, 40, 77}) {
      for (std::size_t alignment = 0; alignment < 8; ++alignment) {
        std::vector<int16_t> stretch(SourceShape(count, stride).size, 5);
        for (std::size_t position = 0; position < count; ++position) {
          const std::size_t low = position * static_cast<std::size_t>(stride);
          const std::size_t high = (count - 1 - position) * static_cast<std::size_t>(stride);
          stretch[low] = -32768;
          stretch[high] = 32767;
          const Placements both{support::pastBoundary(alignment), support::pastBoundary(alignment)};
          subject.run(stretch, count, stride, both, {5, 5, 0, 0}, 0);
          ASSERT_EQ(subject.line().minimum, low == high ? 5 : -32768) << count << " samples, position " << position;
          ASSERT_EQ(subject.line().maximum, 32767) << count << " samples, position " << position;
          stretch[low] = 5;
          stretch[high] = 5;
        }
      }
    }
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, ResultsBeginningAtAFenceAreAllThatIsWritten) {
  FencedLine<int16_t> line(support::beginsAtFence);
  const std::vector<int16_t> source(100, 3);
  std::vector<int16_t> destination(50);
  for (const int32_t stride : {1, 2}) {
    for (uint32_t count = 0; count <= 50; ++count) {
      line.set({3, 3, 0, 0});
      kxcalcMoveAndGetMinMaxAveRMS_int16_t(destination.data(), source.data(), count, &line.minimum, &line.maximum,
                                           &line.sum, &line.sumOfSquares, 0, stride);
      ASSERT_TRUE(line.surroundingsIntact()) << count;
      ASSERT_TRUE(stats::sameLine(line.get(), {3, 3, 3.0 * count, 9.0 * count})) << count;
    }
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, CountZeroTouchesNothing) {
  support::FencedBuffer<int16_t> samples(1);
  support::FencedBuffer<double> sums(1);
  int16_t* const noSample = samples.place(0, support::endsAtFence).data();
  double* const noSum = sums.place(0, support::endsAtFence).data();
  for (const int32_t stride : {lowestStride, -1, 0, 1, 2, highestStride}) {
    kxcalcMoveAndGetMinMaxAveRMS_int16_t(noSample, noSample, 0, noSample, noSample, noSum, noSum, 1, stride);
    EXPECT_TRUE(samples.surroundingsIntact());
    EXPECT_TRUE(sums.surroundingsIntact());
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, ReadsNothingBetweenTheSamplesThatItGathers) {
  // Every sample is the first, then the last, of a page of its own, and the pages between are inaccessible.
  const std::size_t page = support::PageMapping::pageSize();
  const auto stride = static_cast<int32_t>(2 * page / sizeof(int16_t));
  for (const uint32_t count : std::initializer_list<uint32_t>{1, 4, 7, 8, 9, 15, 16, 17, 31, 40}) {
    for (const std::size_t offsetInPage : {std::size_t{0}, page - sizeof(int16_t)}) {
      support::PageMapping mapping(2 * page * (count + 1));
      std::vector<int16_t> expected;
      for (std::size_t i = 0; i < count; ++i) {
        mapping.open(2 * page * i + page, page);
        expected.push_back(static_cast<int16_t>(3 * i - 7));
        *reinterpret_cast<int16_t*>(mapping.data() + 2 * page * i + page + offsetInPage) = expected.back();
      }
      std::vector<int16_t> destination(count);
      Line line{0, 0, 0, 0};
      kxcalcMoveAndGetMinMaxAveRMS_int16_t(
          destination.data(), reinterpret_cast<const int16_t*>(mapping.data() + page + offsetInPage), count,
          &line.minimum, &line.maximum, &line.sum, &line.sumOfSquares, 0, stride);
      EXPECT_TRUE(support::sameBits(destination, expected));
    }
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, PositionsInTheSourceMayPassThe32BitRange) {
  const std::size_t page = support::PageMapping::pageSize();
  for (const auto& [count, stride] : std::initializer_list<std::pair<uint32_t, int32_t>>{
           {3, highestStride}, {3, lowestStride}, {4, -1500000000}, {9, 600000001}}) {
    const uint64_t reach = (count - 1) * static_cast<uint64_t>(std::abs(static_cast<int64_t>(stride)));
    const uint64_t bytes = (reach + 1) * sizeof(int16_t) + page;
    if (bytes > std::numeric_limits<std::size_t>::max() / 4) {
      GTEST_SKIP() << "the address space is too small";
    }
    support::PageMapping mapping(static_cast<std::size_t>(bytes));
    auto* const source = reinterpret_cast<int16_t*>(mapping.data()) + (stride < 0 ? static_cast<ptrdiff_t>(reach) : 0);
    std::vector<int16_t> expected;
    for (uint32_t i = 0; i < count; ++i) {
      int16_t* const sample = source + static_cast<ptrdiff_t>(i) * stride;
      mapping.open(static_cast<std::size_t>(reinterpret_cast<std::byte*>(sample) - mapping.data()), sizeof(int16_t));
      *sample = static_cast<int16_t>(i + 1);
      expected.push_back(*sample);
    }
    std::vector<int16_t> destination(count);
    Line line{0, 0, 0, 0};
    kxcalcMoveAndGetMinMaxAveRMS_int16_t(destination.data(), source, count, &line.minimum, &line.maximum, &line.sum,
                                         &line.sumOfSquares, 0, stride);
    EXPECT_TRUE(support::sameBits(destination, expected)) << "stride " << stride;
  }
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, SquaresThatPassTwoTo53InOneBlockRoundAtEachStep) {
  constexpr uint32_t count = 1000003;
  constexpr float rmsOffset = 131072;
  constexpr double q = 32767 + static_cast<double>(rmsOffset);
  ASSERT_GT(count / 2 * q * q, twoTo53);
  for (const int32_t stride : {1, 2}) {
    const std::vector<int16_t> source(SourceShape(count, stride).size, 32767);
    std::vector<int16_t> destination(count);
    Line actual{0, 0, 0.5, 0.5};
    Line expected = actual;
    kxcalcMoveAndGetMinMaxAveRMS_int16_t(destination.data(), source.data(), count, &actual.minimum, &actual.maximum,
                                         &actual.sum, &actual.sumOfSquares, rmsOffset, stride);
    EXPECT_TRUE(support::sameBits(destination, std::vector<int16_t>(count, 32767)));
    reference::kxcalcMoveAndGetMinMaxAveRMS_int16_t(destination.data(), source.data(), count, &expected.minimum,
                                                    &expected.maximum, &expected.sum, &expected.sumOfSquares, rmsOffset,
                                                    stride);
    EXPECT_TRUE(stats::sameLine(actual, expected)) << "stride " << stride;
  }
}

// The squares of every second sample alone pass 2^53: those of all are rounded more often than once.
TEST(MoveAndGetMinMaxAveRMS_int16_t, SquaresOfEverySecondSampleThatPassTwoTo53RoundAtEachStep) {
  constexpr uint32_t count = 19000001;
  std::vector<int16_t> source(count, 2);
  for (uint32_t i = 0; i < count; i += 2) {
    source[i] = -32767;
  }
  std::vector<int16_t> destination(count);
  Line actual{0, 0, 0.5, 0.5};
  Line expected = actual;
  kxcalcMoveAndGetMinMaxAveRMS_int16_t(destination.data(), source.data(), count, &actual.minimum, &actual.maximum,
                                       &actual.sum, &actual.sumOfSquares, 0, 1);
  reference::kxcalcMoveAndGetMinMaxAveRMS_int16_t(destination.data(), source.data(), count, &expected.minimum,
                                                  &expected.maximum, &expected.sum, &expected.sumOfSquares, 0, 1);
  EXPECT_TRUE(stats::sameLine(actual, expected));
  EXPECT_GT(expected.sumOfSquares, twoTo53);
}

TEST(MoveAndGetMinMaxAveRMS_int16_t, SumsOfALongConstantBlockAreExact) {
  constexpr uint32_t count = 600001;
  for (const int32_t stride : {1, 2}) {
    const std::vector<int16_t> source(SourceShape(count, stride).size, -32768);
    std::vector<int16_t> destination(count);
    Line line{0, 0, 0, 0};
    kxcalcMoveAndGetMinMaxAveRMS_int16_t(destination.data(), source.data(), count, &line.minimum, &line.maximum,
                                         &line.sum, &line.sumOfSquares, 0, stride);
    EXPECT_EQ(line.sum, count * -32768.0);
    EXPECT_EQ(line.sumOfSquares, count * 32768.0 * 32768.0);
  }
}

}  // namespace
