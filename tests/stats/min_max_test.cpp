#include "reference/min_max.hpp"

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
#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::FencedBuffer;
using support::Placement;
using support::sameBits;

}  // namespace

// The types of the typed tests, by the names of their exports.
namespace exports {

struct GetMinMax_int32_t {
  using Sample = int32_t;
  static constexpr auto kernel = &kxcalcGetMinMax_int32_t;
  static constexpr auto model = &reference::kxcalcGetMinMax_int32_t;
};

struct GetMinMax_int16_t {
  using Sample = int16_t;
  static constexpr auto kernel = &kxcalcGetMinMax_int16_t;
  static constexpr auto model = &reference::kxcalcGetMinMax_int16_t;
};

struct GetMinMax_float {
  using Sample = float;
  static constexpr auto kernel = &kxcalcGetMinMax_float;
  static constexpr auto model = &reference::kxcalcGetMinMax_float;
};

struct GetMinMax_double {
  using Sample = double;
  static constexpr auto kernel = &kxcalcGetMinMax_double;
  static constexpr auto model = &reference::kxcalcGetMinMax_double;
};

}  // namespace exports

namespace {

/// An export with fenced memory for its samples and results.
template <typename Export>
class Subject {
public:
  using Sample = typename Export::Sample;

  std::span<Sample> place(std::span<const Sample> samples, const Placement& placement) {
    const std::span<Sample> placed = data_.place(samples.size(), placement);
    std::ranges::copy(samples, placed.begin());
    return placed;
  }

  /// The kernel's results on samples that lie in place, with results that end at a fence. What these hold before is not
  /// read: it is beyond every sample, or a NaN.
  void run(std::span<const Sample> samples) {
    minimum = std::numeric_limits<Sample>::has_quiet_NaN ? std::numeric_limits<Sample>::quiet_NaN()
                                                         : std::numeric_limits<Sample>::lowest();
    maximum = std::numeric_limits<Sample>::has_quiet_NaN ? minimum : std::numeric_limits<Sample>::max();
    Export::kernel(samples.data(), static_cast<uint32_t>(samples.size()), &minimum, &maximum);
  }

  testing::AssertionResult equalsModel(std::span<const Sample> samples) {
    Sample expectedMinimum;
    Sample expectedMaximum;
    Export::model(samples.data(), static_cast<uint32_t>(samples.size()), &expectedMinimum, &expectedMaximum);
    run(samples);
    if (const auto result = sameBits(minimum, expectedMinimum); !result) {
      return testing::AssertionFailure() << "minimum of " << samples.size() << " samples: " << result.message();
    }
    if (const auto result = sameBits(maximum, expectedMaximum); !result) {
      return testing::AssertionFailure() << "maximum of " << samples.size() << " samples: " << result.message();
    }
    if (!minimumMemory_.surroundingsIntact() || !maximumMemory_.surroundingsIntact()) {
      return testing::AssertionFailure() << "written next to a result, " << samples.size() << " samples";
    }
    return testing::AssertionSuccess();
  }

private:
  FencedBuffer<Sample> data_{support::largestCount};
  FencedBuffer<Sample> minimumMemory_{1};
  FencedBuffer<Sample> maximumMemory_{1};

public:
  Sample& minimum = minimumMemory_.place(1, support::endsAtFence)[0];
  Sample& maximum = maximumMemory_.place(1, support::endsAtFence)[0];
};

using Exports = testing::Types<exports::GetMinMax_int32_t, exports::GetMinMax_int16_t, exports::GetMinMax_float,
                               exports::GetMinMax_double>;
template <typename Export>
class MinMax : public testing::Test {};
TYPED_TEST_SUITE(MinMax, Exports);

TYPED_TEST(MinMax, EqualsTheModelAtEveryCountAndPlacement) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  support::TestRandom random;
  std::vector<uint32_t> counts = support::smallCounts(1);
  const std::vector<uint32_t> largeCounts = support::largeCounts();
  counts.insert(counts.end(), largeCounts.begin(), largeCounts.end());
  for (const support::SampleClass sampleClass : support::sampleClasses<Sample>()) {
    for (const uint32_t count : counts) {
      for (const Placement& placement : support::allPlacements<Sample>()) {
        std::vector<Sample> samples(count);
        support::fill(std::span(samples), sampleClass, random);
        const std::span<const Sample> placed = subject.place(samples, placement);
        ASSERT_TRUE(subject.equalsModel(placed)) << sampleClass << ", " << placement;
        ASSERT_TRUE(sameBits(placed, std::span<const Sample>(samples))) << "input changed";
      }
    }
  }
}

TYPED_TEST(MinMax, OneSampleIsBoth) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  for (const Sample sample : {std::numeric_limits<Sample>::lowest(), std::numeric_limits<Sample>::max(), Sample{-7}}) {
    subject.run(subject.place(std::vector<Sample>{sample}, support::endsAtFence));
    EXPECT_EQ(subject.minimum, sample);
    EXPECT_EQ(subject.maximum, sample);
  }
}

TYPED_TEST(MinMax, FindsTheOnlyExtremesAtEveryPairOfPositionsAndAlignment) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  constexpr Sample lowest = std::numeric_limits<Sample>::lowest();
  constexpr Sample highest = std::numeric_limits<Sample>::max();
  for (const uint32_t count : std::initializer_list<uint32_t>{2, 3, 4, 7, 8, 9, 15, 16, 31, 47, 70, 131}) {
    for (const Placement& placement : support::allPlacements<Sample>()) {
      const std::span<Sample> placed = subject.place(std::vector<Sample>(count, 5), placement);
      for (uint32_t low = 0; low < count; ++low) {
        for (uint32_t high = 0; high < count; ++high) {
          placed[low] = lowest;
          placed[high] = highest;
          subject.run(placed);
          ASSERT_EQ(subject.minimum, low != high ? lowest
                                     : count > 1 ? Sample{5}
                                                 : highest)
              << count << " samples, lowest at " << low << ", highest at " << high << ", " << placement;
          ASSERT_EQ(subject.maximum, highest) << count << " samples, highest at " << high << ", " << placement;
          placed[low] = 5;
          placed[high] = 5;
        }
      }
    }
  }
}

TYPED_TEST(MinMax, DoesNotDependOnAlignmentWithoutNansAndZeros) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  support::TestRandom random;
  for (const uint32_t count : support::smallCounts(1)) {
    std::vector<Sample> samples(count);
    support::fill(std::span(samples), support::SampleClass::wholeRange, random);
    std::ranges::replace(samples, Sample{0}, Sample{1});
    const auto [least, most] = std::ranges::minmax(samples);
    for (const Placement& placement : support::allPlacements<Sample>()) {
      subject.run(subject.place(samples, placement));
      ASSERT_TRUE(sameBits(subject.minimum, least)) << count << " samples, " << placement;
      ASSERT_TRUE(sameBits(subject.maximum, most)) << count << " samples, " << placement;
    }
  }
}

template <typename Export>
class MinMaxOfReals : public testing::Test {};

using RealExports = testing::Types<exports::GetMinMax_float, exports::GetMinMax_double>;
TYPED_TEST_SUITE(MinMaxOfReals, RealExports);

TYPED_TEST(MinMaxOfReals, HandWorkedNansAndZeros) {
  Subject<TypeParam> subject;
  for (const auto& [samples, offset, minimum, maximum] : stats::handWorkedExtremes<typename TypeParam::Sample>()) {
    subject.run(subject.place(samples, support::pastBoundary(offset)));
    EXPECT_TRUE(sameBits(subject.minimum, minimum))
        << "minimum of " << testing::PrintToString(samples) << " at " << offset;
    EXPECT_TRUE(sameBits(subject.maximum, maximum))
        << "maximum of " << testing::PrintToString(samples) << " at " << offset;
  }
}

TYPED_TEST(MinMaxOfReals, OrderDecidesAboutNansAtEachPosition) {
  Subject<TypeParam> subject;
  support::TestRandom random;
  stats::forNansAtEachPosition<typename TypeParam::Sample>(random, [&](auto samples, const Placement& placement) {
    return subject.equalsModel(subject.place(samples, placement));
  });
}

TYPED_TEST(MinMaxOfReals, OrderDecidesAboutZerosOfBothSignsAtEachPairOfPositions) {
  Subject<TypeParam> subject;
  stats::forZerosAtEachPair<typename TypeParam::Sample>(
      [&](auto samples, const Placement& placement) { return subject.equalsModel(subject.place(samples, placement)); });
}

TYPED_TEST(MinMaxOfReals, OrderDecidesAboutSpecialsInLargeBlocks) {
  Subject<TypeParam> subject;
  support::TestRandom random;
  stats::forSpecialsInLargeBlocks<typename TypeParam::Sample>(random, [&](auto samples, const Placement& placement) {
    return subject.equalsModel(subject.place(samples, placement));
  });
}

TYPED_TEST(MinMaxOfReals, ANanKeepsItsSignAndPayload) {
  using Sample = typename TypeParam::Sample;
  Subject<TypeParam> subject;
  support::TestRandom random;
  for (int repetition = 0; repetition < 200; ++repetition) {
    Sample nan;
    support::setToNan(nan, random);
    for (const uint32_t count : std::initializer_list<uint32_t>{1, 2, 3, 4, 40}) {
      std::vector<Sample> samples(count, Sample{3});
      samples.front() = nan;
      samples.back() = nan;
      subject.run(subject.place(samples, support::pastBoundary(0)));
      ASSERT_TRUE(sameBits(subject.minimum, nan)) << count;
      ASSERT_TRUE(sameBits(subject.maximum, nan)) << count;
    }
  }
}

}  // namespace
