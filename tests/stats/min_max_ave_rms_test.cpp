#include "reference/min_max_ave_rms.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "stats/order_dependent_extremes.hpp"
#include "stats/statistics_line.hpp"
#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using stats::FencedLine;
using stats::StatisticsLine;
using support::Placement;
using support::SampleClass;

constexpr float floatNan = std::numeric_limits<float>::quiet_NaN();
constexpr float floatMax = std::numeric_limits<float>::max();
constexpr double widenedFloatMax = static_cast<double>(floatMax);
constexpr double aNan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double doubleMax = std::numeric_limits<double>::max();

constexpr double twoTo24 = 16777216.0;
constexpr double twoTo48 = twoTo24 * twoTo24;
constexpr double twoTo53 = 9007199254740992.0;
constexpr double twoTo106 = twoTo53 * twoTo53;
constexpr double squareOf24BitsAndOne = 281475010265089.0;  // (2^24 + 1)^2

template <typename Sample, typename Offset>
struct HandWorkedCase {
  std::vector<Sample> samples;
  std::vector<std::size_t> alignments;  // elements past a 16-byte boundary
  StatisticsLine<Sample> before;
  Offset rmsOffset;
  StatisticsLine<Sample> after;
};

}  // namespace

// The types of the typed tests, by the names of their exports.
namespace exports {

struct GetMinMaxAveRMS_float {
  using Sample = float;
  using Offset = float;
  static constexpr auto kernel = &kxcalcGetMinMaxAveRMS_float;
  static constexpr auto model = &reference::kxcalcGetMinMaxAveRMS_float;

  static std::vector<HandWorkedCase<float, float>> handWorkedCases() {
    constexpr float big = 9007199254740992.0F;  // 2^53
    return {
        // Merged up to 3 samples, overwritten from 4 on.
        {{3, -1}, {0, 1, 2, 3}, {0, 10, 0, 0}, 1, {-1, 10, 2, 16}},
        {{3, -1, 2, 2}, {0, 1, 2, 3}, {0, 10, 0, 0}, 1, {-1, 3, 6, 34}},
        {{3, 11, -2}, {0}, {0, 10, 100, 1000}, 0, {-2, 11, 112, 1134}},
        // Strict comparisons: a NaN sample replaces nothing, a NaN passed in stays, an equal zero replaces nothing.
        {{floatNan}, {0}, {0, 10, 0, 0}, 0, {0, 10, aNan, aNan}},
        {{2, floatNan, -2}, {0}, {0, 1, 0, 0}, 0, {-2, 2, aNan, aNan}},
        {{5, -5, 7}, {0}, {floatNan, 6, 0, 0}, 0, {floatNan, 7, 7, 99}},
        {{5, -5, 7}, {0}, {-4, floatNan, 0, 0}, 0, {-5, floatNan, 7, 99}},
        {{-0.0F}, {0}, {0, 0, 0, 0}, 0, {0, 0, 0, 0}},
        {{0}, {0}, {-0.0F, -0.0F, 0, 0}, 0, {-0.0F, -0.0F, 0, 0}},
        // A NaN passed in is overwritten.
        {{5, -5, 7, 1}, {0, 1, 2, 3}, {floatNan, floatNan, 0, 0}, 0, {-5, 7, 8, 100}},
        // The offset is added in single below a block and in head and tail, in double in the body.
        {{1, 1, 1}, {0, 1, 2, 3}, {1, 1, 0, 0}, 16777216, {1, 1, 3, 3 * twoTo48}},
        {{1, 1, 1, 1}, {0}, {1, 1, 0, 0}, 16777216, {1, 1, 4, 4 * squareOf24BitsAndOne}},
        {{1, 1, 1, 1}, {1, 2, 3}, {1, 1, 0, 0}, 16777216, {1, 1, 4, 4 * twoTo48}},
        {{1, 1, 1, 1, 1, 1, 1, 1},
         {1, 2, 3},
         {1, 1, 0, 0},
         16777216,
         {1, 1, 8, 4 * twoTo48 + 4 * squareOf24BitsAndOne}},
        {{floatMax, floatMax, floatMax}, {0}, {0, 0, 0, 0}, floatMax, {0, floatMax, 3 * widenedFloatMax, infinity}},
        {{floatMax, floatMax, floatMax, floatMax},
         {0},
         {0, 0, 0, 0},
         floatMax,
         {floatMax, floatMax, 4 * widenedFloatMax, 16 * widenedFloatMax * widenedFloatMax}},
        // The body is summed at even and at odd distance, the head and the tail one at a time.
        {{big, 1, -big, 1}, {0}, {0, 0, 0, 0}, 0, {-big, big, 2, 2 * twoTo106}},
        {{big, 1, -big, 1}, {1, 2, 3}, {0, 0, 0, 0}, 0, {-big, big, 1, 2 * twoTo106}},
        // The sum of the body is added to the total at once.
        {{1, 0, 1, 0}, {0}, {0, 0, twoTo53, twoTo53}, 0, {0, 1, twoTo53 + 2, twoTo53 + 2}},
        {{1, 0, 1, 0}, {1, 2, 3}, {0, 0, twoTo53, twoTo53}, 0, {0, 1, twoTo53, twoTo53}},
        // A total of -0 stays -0 below a block, and becomes +0 from a block on.
        {{-0.0F, -0.0F, -0.0F}, {0}, {1, -1, -0.0, -0.0}, 0, {-0.0F, -0.0F, -0.0, 0.0}},
        {{-0.0F, -0.0F, -0.0F, -0.0F}, {0, 1, 2, 3}, {1, -1, -0.0, -0.0}, 0, {-0.0F, -0.0F, 0.0, 0.0}},
        // A NaN reaches both sums on every path.
        {{1, 2, 3, floatNan, 4, 5}, {0, 1, 2, 3}, {0, 0, 0, 0}, 0, {1, 5, aNan, aNan}},
    };
  }
};

struct GetMinMaxAveRMS_double {
  using Sample = double;
  using Offset = double;
  static constexpr auto kernel = &kxcalcGetMinMaxAveRMS_double;
  static constexpr auto model = &reference::kxcalcGetMinMaxAveRMS_double;

  static std::vector<HandWorkedCase<double, double>> handWorkedCases() {
    return {
        // Merged for one sample, overwritten from two on.
        {{7}, {0, 1}, {0, 10, 0, 0}, 1, {0, 10, 7, 64}},
        {{-7}, {0, 1}, {0, 10, 1, 2}, 1, {-7, 10, -6, 38}},
        {{4, 5}, {0, 1}, {0, 10, 0, 0}, 0, {4, 5, 9, 41}},
        {{5, 4, 6}, {0, 1}, {aNan, aNan, 0, 0}, -1, {4, 6, 15, 50}},
        {{aNan}, {0}, {0, 10, 0, 0}, 0, {0, 10, aNan, aNan}},
        {{7}, {0}, {aNan, aNan, 0, 0}, 0, {aNan, aNan, 7, 49}},
        {{-0.0}, {0}, {0, 0, 0, 0}, 0, {0, 0, 0, 0}},
        // The body is summed at even and at odd distance, the head and the tail one at a time.
        {{twoTo53, 1, 1, -twoTo53}, {0}, {0, 0, 0, 0}, 0, {-twoTo53, twoTo53, 1, 2 * twoTo106}},
        {{twoTo53, 1, 1, -twoTo53}, {1}, {0, 0, 0, 0}, 0, {-twoTo53, twoTo53, 2, 2 * twoTo106}},
        {{1, 1}, {0}, {0, 0, twoTo53, twoTo53}, 0, {1, 1, twoTo53 + 2, twoTo53 + 2}},
        {{1, 1}, {1}, {0, 0, twoTo53, twoTo53}, 0, {1, 1, twoTo53, twoTo53}},
        {{doubleMax, doubleMax}, {0}, {0, 0, -doubleMax, 0}, 0, {doubleMax, doubleMax, infinity, infinity}},
        {{doubleMax, doubleMax}, {1}, {0, 0, -doubleMax, 0}, 0, {doubleMax, doubleMax, doubleMax, infinity}},
        // A total of -0 stays -0 for one sample, and becomes +0 from two on.
        {{-0.0}, {0, 1}, {1, -1, -0.0, -0.0}, -0.0, {-0.0, -0.0, -0.0, 0.0}},
        {{-0.0, -0.0}, {0, 1}, {1, -1, -0.0, -0.0}, -0.0, {-0.0, -0.0, 0.0, 0.0}},
        {{1, aNan, 2}, {0, 1}, {0, 0, 0, 0}, 0, {2, 2, aNan, aNan}},
    };
  }
};

struct GetMinMaxAveRMS_int16_t {
  using Sample = int16_t;
  using Offset = float;
  static constexpr auto kernel = &kxcalcGetMinMaxAveRMS_int16_t;
  static constexpr auto model = &reference::kxcalcGetMinMaxAveRMS_int16_t;

  static std::vector<HandWorkedCase<int16_t, float>> handWorkedCases() {
    const std::vector<std::size_t> all{0, 1, 2, 3, 4, 5, 6, 7};
    const std::vector<std::size_t> unaligned{1, 2, 3, 4, 5, 6, 7};
    return {
        // Merged up to 7 samples, overwritten from 8 on.
        {{3, -1, 2, 2, 0, 0, 0}, all, {0, 10, 0, 0}, 1, {-1, 10, 6, 37}},
        {{3, -1, 2, 2, 0, 0, 0, 0}, all, {0, 10, 0, 0}, 1, {-1, 3, 6, 38}},
        {{-32768, 32767}, all, {0, 0, 0, 0}, 0, {-32768, 32767, -1, 1073741824.0 + 1073676289.0}},
        {{-32768, 32767, 0, 0, 0, 0, 0, 0},
         all,
         {5, 5, 0, 0},
         -32768,
         {-32768, 32767, -1, 4294967296.0 + 1 + 6442450944.0}},
        // The offset is added in single below a block and in head and tail, in double in the body.
        {{1, 1, 1, 1, 1, 1, 1}, all, {1, 1, 0, 0}, 16777216, {1, 1, 7, 7 * twoTo48}},
        {std::vector<int16_t>(8, 1), {0}, {1, 1, 0, 0}, 16777216, {1, 1, 8, 8 * squareOf24BitsAndOne}},
        {std::vector<int16_t>(8, 1), unaligned, {1, 1, 0, 0}, 16777216, {1, 1, 8, 8 * twoTo48}},
        {std::vector<int16_t>(16, 1),
         unaligned,
         {1, 1, 0, 0},
         16777216,
         {1, 1, 16, 8 * twoTo48 + 8 * squareOf24BitsAndOne}},
        // The sum of the body is added to the total at once.
        {{1, 0, 0, 0, 0, 0, 1, 0}, {0}, {0, 0, twoTo53, twoTo53}, 0, {0, 1, twoTo53 + 2, twoTo53 + 2}},
        {{1, 0, 0, 0, 0, 0, 1, 0}, unaligned, {0, 0, twoTo53, twoTo53}, 0, {0, 1, twoTo53, twoTo53}},
        {std::vector<int16_t>(7, 0), all, {0, 0, -0.0, -0.0}, 0, {0, 0, 0.0, 0.0}},
    };
  }
};

struct GetMinMaxAveRMS_int32_t {
  using Sample = int32_t;
  using Offset = double;
  static constexpr auto kernel = &kxcalcGetMinMaxAveRMS_int32_t;
  static constexpr auto model = &reference::kxcalcGetMinMaxAveRMS_int32_t;

  static std::vector<HandWorkedCase<int32_t, double>> handWorkedCases() {
    constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
    constexpr int32_t highest = std::numeric_limits<int32_t>::max();
    return {
        // Merged up to 3 samples, overwritten from 4 on.
        {{3, -1, 2}, {0, 1, 2, 3}, {0, 10, 0, 0}, 1, {-1, 10, 4, 25}},
        {{3, -1, 2, 2}, {0, 1, 2, 3}, {0, 10, 0, 0}, 1, {-1, 3, 6, 34}},
        // (2^31 - 1)^2 rounds to 2^62 - 2^32.
        {{highest, lowest, 0}, {0, 1, 2, 3}, {1, 1, 0, 0}, 0, {lowest, highest, -1, 9223372032559808512.0}},
        {{highest, lowest, 0, 0}, {0, 1, 2, 3}, {1, 1, 0, 0}, 0, {lowest, highest, -1, 9223372032559808512.0}},
        {{highest, highest}, {0}, {0, 0, 0, 0}, 1, {0, highest, 4294967294.0, 9223372036854775808.0}},
        {{1, 1, 1}, {0}, {1, 1, 0, 0}, twoTo53, {1, 1, 3, 3 * twoTo106}},
        {{1, 1, 1, 1}, {0, 1, 2, 3}, {1, 1, 0, 0}, twoTo53, {1, 1, 4, 4 * twoTo106}},
        {{1, 1, 1, 1}, {0, 1, 2, 3}, {1, 1, 0, 0}, 0.5, {1, 1, 4, 9}},
        // The sum of the body is added to the total at once.
        {{1, 0, 1, 0}, {0}, {0, 0, twoTo53, twoTo53}, 0, {0, 1, twoTo53 + 2, twoTo53 + 2}},
        {{1, 0, 1, 0}, {1, 2, 3}, {0, 0, twoTo53, twoTo53}, 0, {0, 1, twoTo53, twoTo53}},
    };
  }
};

}  // namespace exports

namespace {

/// An export with fenced memory for its samples and results.
template <typename Export>
class Subject {
public:
  using Sample = typename Export::Sample;
  using Offset = typename Export::Offset;
  using Line = StatisticsLine<Sample>;

  std::span<Sample> place(std::span<const Sample> samples, const Placement& placement) {
    const std::span<Sample> placed = data_.place(samples.size(), placement);
    std::ranges::copy(samples, placed.begin());
    return placed;
  }

  Line run(std::span<const Sample> samples, const Line& before, Offset rmsOffset) {
    line_.set(before);
    Export::kernel(samples.data(), static_cast<uint32_t>(samples.size()), &line_.minimum, &line_.maximum, &line_.sum,
                   &line_.sumOfSquares, rmsOffset);
    return line_.get();
  }

  testing::AssertionResult equalsModel(std::span<const Sample> samples, const Line& before, Offset rmsOffset) {
    Line expected = before;
    Export::model(samples.data(), static_cast<uint32_t>(samples.size()), &expected.minimum, &expected.maximum,
                  &expected.sum, &expected.sumOfSquares, rmsOffset);
    if (const auto result = stats::sameLine(run(samples, before, rmsOffset), expected); !result) {
      return testing::AssertionFailure() << result.message() << "  before   " << before << "\n  " << samples.size()
                                         << " samples, offset " << support::describe(rmsOffset);
    }
    if (!line_.surroundingsIntact()) {
      return testing::AssertionFailure() << "written next to a result, " << samples.size() << " samples";
    }
    return testing::AssertionSuccess();
  }

private:
  support::FencedBuffer<Sample> data_{support::largestCount};
  FencedLine<Sample> line_{support::endsAtFence};
};

template <typename Export>
class MinMaxAveRms : public testing::Test {};

using Exports = testing::Types<exports::GetMinMaxAveRMS_float, exports::GetMinMaxAveRMS_double,
                               exports::GetMinMaxAveRMS_int16_t, exports::GetMinMaxAveRMS_int32_t>;
TYPED_TEST_SUITE(MinMaxAveRms, Exports);

TYPED_TEST(MinMaxAveRms, HandWorkedCases) {
  Subject<TypeParam> subject;
  for (const auto& [samples, alignments, before, rmsOffset, after] : TypeParam::handWorkedCases()) {
    for (const std::size_t alignment : alignments) {
      const auto placed = subject.place(samples, support::pastBoundary(alignment));
      EXPECT_TRUE(stats::sameLine(subject.run(placed, before, rmsOffset), after))
          << testing::PrintToString(samples) << ' ' << alignment << " past a boundary, offset " << rmsOffset
          << ", before: " << before;
    }
  }
}

TYPED_TEST(MinMaxAveRms, EqualsTheModelAtEveryCountPlacementOffsetAndLine) {
  using Sample = typename TypeParam::Sample;
  using Offset = typename TypeParam::Offset;
  Subject<TypeParam> subject;
  support::TestRandom random;
  const std::vector<StatisticsLine<Sample>> lines = stats::incomingLines<Sample>();
  const std::vector<Offset> rmsOffsets = stats::rmsOffsets<Offset>();
  for (const SampleClass sampleClass : support::sampleClasses<Sample>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      for (const Placement& placement : support::allPlacements<Sample>()) {
        std::vector<Sample> samples(count);
        support::fill(std::span(samples), sampleClass, random);
        const std::span<const Sample> placed = subject.place(samples, placement);
        for (const Offset rmsOffset : rmsOffsets) {
          ASSERT_TRUE(subject.equalsModel(placed, random.oneOf(lines), rmsOffset)) << sampleClass << ", " << placement;
        }
        for (const StatisticsLine<Sample>& line : lines) {
          ASSERT_TRUE(subject.equalsModel(placed, line, random.oneOf(rmsOffsets))) << sampleClass << ", " << placement;
        }
        ASSERT_TRUE(support::sameBits(placed, samples)) << "input changed";
      }
    }
  }
}

TYPED_TEST(MinMaxAveRms, EqualsTheModelForLargeBlocks) {
  using Sample = typename TypeParam::Sample;
  using Offset = typename TypeParam::Offset;
  Subject<TypeParam> subject;
  support::TestRandom random;
  const std::vector<StatisticsLine<Sample>> lines = stats::incomingLines<Sample>();
  const std::vector<Offset> rmsOffsets = stats::rmsOffsets<Offset>();
  for (const SampleClass sampleClass : support::sampleClasses<Sample>()) {
    for (const uint32_t count : support::largeCounts()) {
      for (const Placement& placement : support::allPlacements<Sample>()) {
        std::vector<Sample> samples(count);
        support::fill(std::span(samples), sampleClass, random);
        const std::span<const Sample> placed = subject.place(samples, placement);
        for (const Offset rmsOffset : {Offset{0}, Offset{-1000}, random.oneOf(rmsOffsets)}) {
          ASSERT_TRUE(subject.equalsModel(placed, random.oneOf(lines), rmsOffset)) << sampleClass << ", " << placement;
        }
        ASSERT_TRUE(support::sameBits(placed, samples)) << "input changed";
      }
    }
  }
}

TYPED_TEST(MinMaxAveRms, EqualsTheModelWhereSumsAndOffsetsStopBeingExact) {
  using Sample = typename TypeParam::Sample;
  using Offset = typename TypeParam::Offset;
  Subject<TypeParam> subject;
  support::TestRandom random;
  const std::vector<StatisticsLine<Sample>> lines = stats::incomingLines<Sample>();
  for (const uint32_t count : std::initializer_list<uint32_t>{3, 8, 17, 64, 257, 1031, 4101}) {
    for (const SampleClass sampleClass :
         {SampleClass::wholeRange, SampleClass::twentyFourBits, SampleClass::extremes, SampleClass::constant}) {
      for (const Offset rmsOffset : stats::rmsOffsetsNearPowersOfTwo<Offset>()) {
        std::vector<Sample> samples(count);
        support::fill(std::span(samples), sampleClass, random);
        const Placement placement = support::pastBoundary(random.below(16 / sizeof(Sample)));
        ASSERT_TRUE(subject.equalsModel(subject.place(samples, placement), random.oneOf(lines), rmsOffset))
            << sampleClass << ", " << placement;
      }
    }
  }
}

TYPED_TEST(MinMaxAveRms, ExtremesAreMergedBelowABlockAndOverwrittenFromItOn) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  constexpr uint32_t width = 16 / sizeof(Sample);
  for (uint32_t count = 1; count <= 3 * width; ++count) {
    for (const Placement& placement : support::allPlacements<Sample>()) {
      std::vector<Sample> samples(count, 2);
      samples[count / 2] = 1;
      const auto after = subject.run(subject.place(samples, placement), {-100, 100, 0, 0}, 0);
      EXPECT_EQ(after.minimum, count < width ? -100 : 1) << count << " samples, " << placement;
      EXPECT_EQ(after.maximum, count < width ? 100 : count > 1 ? 2 : 1) << count << " samples, " << placement;
    }
  }
}

TYPED_TEST(MinMaxAveRms, ResultsBeginningAtAFenceAreAllThatIsWritten) {
  using Sample = typename TypeParam::Sample;
  FencedLine<Sample> line(support::beginsAtFence);
  for (uint32_t count = 0; count <= 40; ++count) {
    const std::vector<Sample> samples(count, 3);
    line.set({3, 3, 0, 0});
    TypeParam::kernel(samples.data(), count, &line.minimum, &line.maximum, &line.sum, &line.sumOfSquares, 0);
    ASSERT_TRUE(line.surroundingsIntact()) << count;
    ASSERT_TRUE(stats::sameLine(line.get(), {3, 3, 3.0 * count, 9.0 * count})) << count;
  }
}

TYPED_TEST(MinMaxAveRms, TheMaximumIsWrittenLast) {
  using Sample = typename TypeParam::Sample;
  for (uint32_t count = 16 / sizeof(Sample); count <= 40; ++count) {
    std::vector<Sample> samples(count, 2);
    samples[count / 2] = 1;
    Sample both = 0;
    double sum = 0, sumOfSquares = 0;
    TypeParam::kernel(samples.data(), count, &both, &both, &sum, &sumOfSquares, 0);
    EXPECT_EQ(both, 2) << count;
  }
}

TYPED_TEST(MinMaxAveRms, CountZeroTouchesNothing) {
  using Sample = typename TypeParam::Sample;
  support::FencedBuffer<Sample> samples(1);
  support::FencedBuffer<double> sums(1);
  Sample* const noSample = samples.place(0, support::endsAtFence).data();
  double* const noSum = sums.place(0, support::endsAtFence).data();
  TypeParam::kernel(noSample, 0, noSample, noSample, noSum, noSum, 1);
  EXPECT_TRUE(samples.surroundingsIntact());
  EXPECT_TRUE(sums.surroundingsIntact());
}

TYPED_TEST(MinMaxAveRms, SumsSpanBlocksWhileExtremesAreThoseOfTheLast) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  std::vector<Sample> samples(200);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = static_cast<Sample>(i);
  }
  const auto whole = subject.run(subject.place(samples, support::pastBoundary(1)), {0, 0, 0, 0}, -100);
  EXPECT_TRUE(stats::sameLine(whole, {0, 199, 19900, 666700}));
  const auto firstHalf =
      subject.run(subject.place(std::span(samples).first(90), support::pastBoundary(0)), {0, 0, 0, 0}, -100);
  const auto secondHalf =
      subject.run(subject.place(std::span(samples).subspan(90), support::pastBoundary(1)), firstHalf, -100);
  EXPECT_TRUE(stats::sameLine(secondHalf, {90, 199, whole.sum, whole.sumOfSquares}));
}

template <typename Export>
class MinMaxAveRmsOfReals : public testing::Test {};

using RealExports = testing::Types<exports::GetMinMaxAveRMS_float, exports::GetMinMaxAveRMS_double>;
TYPED_TEST_SUITE(MinMaxAveRmsOfReals, RealExports);

TYPED_TEST(MinMaxAveRmsOfReals, ExtremesFromABlockOnAreHandWorkedNansAndZeros) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  for (const auto& [samples, alignment, minimum, maximum] : stats::handWorkedExtremes<Sample>()) {
    if (samples.size() >= 16 / sizeof(Sample)) {
      const auto placed = subject.place(samples, support::pastBoundary(alignment));
      const auto after = subject.run(placed, {-100, 100, 0, 0}, 0);
      EXPECT_TRUE(support::sameBits(after.minimum, minimum)) << testing::PrintToString(samples) << " at " << alignment;
      EXPECT_TRUE(support::sameBits(after.maximum, maximum)) << testing::PrintToString(samples) << " at " << alignment;
    }
  }
}

TYPED_TEST(MinMaxAveRmsOfReals, OrderDecidesAboutNansAtEachPosition) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  support::TestRandom random;
  stats::forNansAtEachPosition<Sample>(random, [&](std::span<const Sample> samples, const Placement& placement) {
    return subject.equalsModel(subject.place(samples, placement), {0, 0, 0, 0}, 1);
  });
}

TYPED_TEST(MinMaxAveRmsOfReals, OrderDecidesAboutZerosOfBothSignsAtEachPairOfPositions) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  stats::forZerosAtEachPair<Sample>([&](std::span<const Sample> samples, const Placement& placement) {
    return subject.equalsModel(subject.place(samples, placement), {0, -Sample{0}, -0.0, 0}, -Sample{0});
  });
}

TYPED_TEST(MinMaxAveRmsOfReals, OrderDecidesAboutSpecialsInLargeBlocks) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  support::TestRandom random;
  stats::forSpecialsInLargeBlocks<Sample>(random, [&](std::span<const Sample> samples, const Placement& placement) {
    return subject.equalsModel(subject.place(samples, placement), {0, 0, 0, 0}, 1);
  });
}

/// Blocks whose sums leave the whole numbers that a double holds exactly, half way through: at samples of even distance
/// from the first, of odd distance, and at all.
template <typename Export>
void checkLongBlocks(uint32_t count, typename Export::Sample odd, typename Export::Offset rmsOffset) {
  using Sample = typename Export::Sample;
  std::vector<Sample> samples(count);
  for (const uint32_t pattern : {1U, 2U, 3U}) {
    for (uint32_t i = 0; i < count; ++i) {
      samples[i] = (pattern >> i % 2 & 1) != 0 ? odd : Sample{2};
    }
    for (const double before : {0.0, 0.5, -1e15}) {
      StatisticsLine<Sample> actual{0, 0, before, before};
      StatisticsLine<Sample> expected = actual;
      Export::kernel(samples.data(), count, &actual.minimum, &actual.maximum, &actual.sum, &actual.sumOfSquares,
                     rmsOffset);
      Export::model(samples.data(), count, &expected.minimum, &expected.maximum, &expected.sum, &expected.sumOfSquares,
                    rmsOffset);
      ASSERT_TRUE(stats::sameLine(actual, expected)) << "pattern " << pattern << ", before " << before;
      const double exact = before + (pattern == 3 ? count : (count + 1.0) / 2) *
                                        (static_cast<double>(odd) + static_cast<double>(rmsOffset)) *
                                        (static_cast<double>(odd) + static_cast<double>(rmsOffset));
      ASSERT_GT(exact, twoTo53) << "the sum of squares is meant to pass 2^53";
    }
  }
}

// Results that share a place show their order, where both are doubles.
TEST(GetMinMaxAveRMS_double, SumsAreWrittenBeforeTheExtremes) {
  const std::vector<double> samples{3, 1, 2, 7};
  for (uint32_t count = 2; count <= 4; ++count) {
    double minimumAndSum = 100, maximum = 0, sumOfSquares = 0;
    kxcalcGetMinMaxAveRMS_double(samples.data(), count, &minimumAndSum, &maximum, &minimumAndSum, &sumOfSquares, 0);
    EXPECT_EQ(minimumAndSum, 1) << count;
    double minimum = 0, sum = 0, maximumAndSquares = 100;
    kxcalcGetMinMaxAveRMS_double(samples.data(), count, &minimum, &maximumAndSquares, &sum, &maximumAndSquares, 0);
    EXPECT_EQ(maximumAndSquares, count == 4 ? 7 : 3) << count;
  }
}

TEST(GetMinMaxAveRMS_double, OneSampleIsMergedBeforeItIsSummed) {
  const double sample = 3;
  double minimumAndSum = 5, maximum = 0, sumOfSquares = 0;
  kxcalcGetMinMaxAveRMS_double(&sample, 1, &minimumAndSum, &maximum, &minimumAndSum, &sumOfSquares, 0);
  EXPECT_EQ(minimumAndSum, 6);
}

TEST(GetMinMaxAveRMS_int16_t, SquaresThatPassTwoTo53InOneBlockRoundAtEachStep) {
  checkLongBlocks<exports::GetMinMaxAveRMS_int16_t>(19000001, -32767, 0);
}

TEST(GetMinMaxAveRMS_int16_t, OffsetSquaresThatPassTwoTo53InOneBlockRoundAtEachStep) {
  checkLongBlocks<exports::GetMinMaxAveRMS_int16_t>(1000003, 32767, 131072);
}

TEST(GetMinMaxAveRMS_int32_t, SquaresThatPassTwoTo53InOneBlockRoundAtEachStep) {
  checkLongBlocks<exports::GetMinMaxAveRMS_int32_t>(40013, 1048577, 0);
  checkLongBlocks<exports::GetMinMaxAveRMS_int32_t>(1013, -67108863, 0);
  checkLongBlocks<exports::GetMinMaxAveRMS_int32_t>(1013, 67108865, 0);
}

TEST(GetMinMaxAveRMS_int32_t, SumsThatPassTwoTo53InOneBlockRoundAtEachStep) {
  constexpr uint32_t count = 8800003;
  ASSERT_GT(count / 2 * 2147483645.0, twoTo53);
  checkLongBlocks<exports::GetMinMaxAveRMS_int32_t>(count, 2147483645, 0);
  checkLongBlocks<exports::GetMinMaxAveRMS_int32_t>(count, -2147483645, 1);
}

// Small samples, then large ones of even distance from the first: what the small ones add up to at even distance decides
// how the sum rounds from 2^53 on.
TEST(GetMinMaxAveRMS_int32_t, SmallSamplesCountInTheHalfOfTheBodyInWhichTheyLie) {
  constexpr uint32_t count = 8800003;
  for (uint32_t position = 0; position < 8; ++position) {
    std::vector<int32_t> samples(count, 0);
    samples[position] = 1;
    for (uint32_t i = 1024; i < count; i += 2) {
      samples[i] = 2147483645;
    }
    StatisticsLine<int32_t> actual{0, 0, 0, 0};
    StatisticsLine<int32_t> expected = actual;
    kxcalcGetMinMaxAveRMS_int32_t(samples.data(), count, &actual.minimum, &actual.maximum, &actual.sum,
                                  &actual.sumOfSquares, 0);
    reference::kxcalcGetMinMaxAveRMS_int32_t(samples.data(), count, &expected.minimum, &expected.maximum, &expected.sum,
                                             &expected.sumOfSquares, 0);
    ASSERT_TRUE(stats::sameLine(actual, expected)) << "position " << position;
    ASSERT_GT(expected.sum, twoTo53);
  }
}

/// Squares of odd numbers, whose partial sums pass 2^53 by none to six of them: a sum formed exactly and rounded once
/// differs.
template <typename Export>
void checkPartialSumsAround2To53(int largestSample) {
  using Sample = typename Export::Sample;
  using Offset = typename Export::Offset;
  Subject<Export> subject;
  support::TestRandom random;
  for (int repetition = 0; repetition < 400; ++repetition) {
    const int sample = random.between(-largestSample, largestSample);
    const int offset = 2 * random.between(1 << 20, (1 << 23) - 1) + 1 - sample % 2;
    const int sign = random.oneIn(2) ? -1 : 1;
    const double square = (sample + static_cast<double>(offset)) * (sample + static_cast<double>(offset));
    for (uint32_t excess = 0; excess <= 6; ++excess) {
      const uint32_t count = 2 * (static_cast<uint32_t>(twoTo53 / square) + excess);
      const std::vector<Sample> samples(count + random.below(16 / sizeof(Sample)), static_cast<Sample>(sign * sample));
      const auto placed = subject.place(samples, support::pastBoundary(random.below(16 / sizeof(Sample))));
      ASSERT_TRUE(subject.equalsModel(placed, {0, 0, 0, 0}, static_cast<Offset>(sign * offset)));
    }
  }
}

TEST(GetMinMaxAveRMS_int16_t, PartialSumsAroundTwoTo53RoundAtEachStep) {
  checkPartialSumsAround2To53<exports::GetMinMaxAveRMS_int16_t>(32767);
}

TEST(GetMinMaxAveRMS_int32_t, PartialSumsAroundTwoTo53RoundAtEachStep) {
  checkPartialSumsAround2To53<exports::GetMinMaxAveRMS_int32_t>(1 << 20);
}

TEST(GetMinMaxAveRMS_int32_t, ExtremesRoundTheirSquaresAtEvenAndOddPositions) {
  Subject<exports::GetMinMaxAveRMS_int32_t> subject;
  for (const int32_t value : std::initializer_list<int32_t>{2147483647, -2147483647, 2147483646, -2147483647 - 1}) {
    for (const uint32_t count : std::initializer_list<uint32_t>{4, 5, 8, 11, 16, 33, 100, 1001}) {
      for (uint32_t position = 0; position < std::min(count, 40U); ++position) {
        for (const double rmsOffset : {0.0, 1.0, -1.0, 2147483648.0, 4194305.0, 0.5}) {
          std::vector<int32_t> samples(count, 1);
          samples[position] = value;
          samples[count - 1 - position / 2] = value;
          const auto placed = subject.place(samples, support::pastBoundary(position % 4));
          ASSERT_TRUE(subject.equalsModel(placed, {0, 0, 0, 0}, rmsOffset)) << value << " at " << position;
        }
      }
    }
  }
}

// Four squares of -2^31 in one half of the body add up to 2^64, which integers of 64 bits take for 0.
TEST(GetMinMaxAveRMS_int32_t, SquaresThatAddUpToTwoTo64AreNotLost) {
  Subject<exports::GetMinMaxAveRMS_int32_t> subject;
  for (uint32_t first = 0; first < 8; ++first) {
    for (const uint32_t distance : {4U, 8U, 64U, 100U}) {
      std::vector<int32_t> samples(1200, 0);
      for (uint32_t k = 0; k < 4; ++k) {
        samples[8 + first + k * distance] = std::numeric_limits<int32_t>::min();
      }
      ASSERT_TRUE(subject.equalsModel(subject.place(samples, support::pastBoundary(0)), {0, 0, 0, 0}, 0));
    }
  }
}

// The offset takes nearly all of a large constant away: small squares, large sums.
TEST(GetMinMaxAveRMS_int32_t, SumsOfALargeConstantThatTheOffsetTakesAwayAreExact) {
  Subject<exports::GetMinMaxAveRMS_int32_t> subject;
  for (const int32_t constant : {1 << 20, 1 << 21, (1 << 21) + 1, 1 << 22, 1 << 24, 1 << 26, 1 << 30}) {
    for (const int32_t sign : {1, -1}) {
      const std::vector<int32_t> samples(5003, sign * constant);
      const auto placed = subject.place(samples, support::pastBoundary(1));
      ASSERT_TRUE(subject.equalsModel(placed, {0, 0, 0, 0}, -sign * constant)) << sign * constant;
      ASSERT_TRUE(subject.equalsModel(placed, {0, 0, 0, 0}, -sign * constant + 3)) << sign * constant;
    }
  }
}

TEST(GetMinMaxAveRMS_int16_t, SumsOfALongConstantBlockAreExact) {
  for (const int16_t constant : std::initializer_list<int16_t>{-32768, 32767}) {
    const std::vector<int16_t> samples(600001, constant);
    StatisticsLine<int16_t> line{0, 0, 0, 0};
    kxcalcGetMinMaxAveRMS_int16_t(samples.data(), 600001, &line.minimum, &line.maximum, &line.sum, &line.sumOfSquares,
                                  0);
    EXPECT_EQ(line.sum, 600001.0 * constant);
    EXPECT_EQ(line.sumOfSquares, 600001.0 * constant * constant);
  }
}

}  // namespace
