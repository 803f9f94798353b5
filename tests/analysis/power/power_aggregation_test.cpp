// Intervals of windows whose figures are known.
#include "analysis/power/power_aggregation.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/statistics/value_range.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

constexpr double length = 0.2;

/// The window with a number, with its number as the voltage's rms value.
PowerWindow windowOf(size_t number, bool isFlagged = false) {
  const auto value = static_cast<double>(number);
  PowerWindow window;
  window.phases = {{{value, {static_cast<float>(value)}, {0}}, {1, {1}, {0}}, {2 * value, 0, value}}};
  window.place = {value * length, length, 50, {}};
  window.place.flags.dip = isFlagged;
  return window;
}

std::vector<PowerAggregate> aggregatesOf(size_t windows, const AggregationSettings& settings, size_t block = 7,
                                         std::vector<size_t> flagged = {}) {
  PowerAggregation aggregation(settings);
  std::vector<PowerAggregate> all;
  const auto take = [&](std::span<const PowerAggregate> some) { all.insert(all.end(), some.begin(), some.end()); };
  std::vector<PowerWindow> part;
  for (size_t i = 0; i < windows; ++i) {
    part.push_back(windowOf(i, std::ranges::find(flagged, i) != flagged.end()));
    if (part.size() == block || i + 1 == windows) {
      take(aggregation.feed(part));
      part.clear();
    }
  }
  EXPECT_TRUE(aggregation.feed({}).empty());
  take(aggregation.finish());
  return all;
}

/// The root mean square of the numbers from the first to the one before the last.
double rmsOf(size_t first, size_t last) {
  double sum = 0;
  for (size_t i = first; i < last; ++i) {
    sum += static_cast<double>(i * i);
  }
  return std::sqrt(sum / static_cast<double>(last - first));
}

void expectAggregate(const PowerAggregate& found, size_t first, size_t last, bool isComplete) {
  EXPECT_NEAR(found.begin, static_cast<double>(first) * length, 1e-9);
  EXPECT_NEAR(found.end, static_cast<double>(last) * length, 1e-9);
  EXPECT_EQ(found.windows, last - first);
  EXPECT_EQ(found.flagged, 0U);
  EXPECT_EQ(found.isComplete, isComplete);
  ASSERT_TRUE(found.mean);
  expectClose(found.mean->phases[0].voltage.rms, rmsOf(first, last));
  expectClose(found.mean->phases[0].power.active, static_cast<double>(first + last - 1));
}

TEST(PowerAggregation, FifteenWindowsGoTogether) {
  for (const size_t block : {size_t{1}, size_t{7}, size_t{1000}}) {
    const auto all = aggregatesOf(40, {AggregationInterval::windows15}, block);
    ASSERT_EQ(all.size(), 3U);
    expectAggregate(all[0], 0, 15, true);
    expectAggregate(all[1], 15, 30, true);
    expectAggregate(all[2], 30, 40, false);
  }
}

/// A stream that begins 1 s before ten minutes are full: these fall into window 5, and with window 6 fifteen begin anew.
TEST(PowerAggregation, FifteenWindowsBeginAnewWithTenMinutes) {
  const auto all = aggregatesOf(32, {AggregationInterval::windows15, 599.0 - 0.1});
  ASSERT_EQ(all.size(), 3U);
  expectAggregate(all[0], 0, 15, true);
  expectAggregate(all[1], 6, 21, true);
  expectAggregate(all[2], 21, 32, false);
}

TEST(PowerAggregation, TenMinutesAreThoseOfTheClock) {
  // From the stream's begin on.
  const auto own = aggregatesOf(6500, {AggregationInterval::minutes10}, 999);
  ASSERT_EQ(own.size(), 3U);
  expectAggregate(own[0], 0, 3000, true);
  expectAggregate(own[1], 3000, 6000, true);
  expectAggregate(own[2], 6000, 6500, false);
  // 10:03:20.1: the first ten minutes hold 399.9 s; the window across their end is theirs.
  const auto clock = aggregatesOf(7000, {AggregationInterval::minutes10, 36200.1}, 999);
  ASSERT_EQ(clock.size(), 3U);
  expectAggregate(clock[0], 0, 2000, false);
  expectAggregate(clock[1], 2000, 5000, true);
  expectAggregate(clock[2], 5000, 7000, false);
  // 10:00:00.1, which is less than a window late, to the very end.
  const auto whole = aggregatesOf(3000, {AggregationInterval::minutes10, 36000.1}, 999);
  ASSERT_EQ(whole.size(), 1U);
  expectAggregate(whole[0], 0, 3000, true);
  EXPECT_FALSE(aggregatesOf(2999, {AggregationInterval::minutes10, 36000}, 999).at(0).isComplete);
  EXPECT_FALSE(aggregatesOf(3000, {AggregationInterval::minutes10, 36000.3}, 999).at(0).isComplete);
}

/// Where windows are interpolated their ends are sums with rounding.
TEST(PowerAggregation, AWindowAtABoundaryBelongsBehindIt) {
  for (const double rounding : {-1e-9, 0.0, 1e-9}) {
    PowerAggregation aggregation({AggregationInterval::minutes10});
    size_t complete = 0;
    for (size_t i = 0; i < 3005; ++i) {
      PowerWindow window = windowOf(i);
      window.place.begin += i > 0 ? rounding : 0;
      for (const PowerAggregate& each : aggregation.feed(std::array{window})) {
        EXPECT_TRUE(each.isComplete);
        EXPECT_EQ(each.windows, 3000U);
        ++complete;
      }
    }
    EXPECT_EQ(complete, 1U);
    EXPECT_EQ(aggregation.finish()[0].windows, 5U);
  }
}

TEST(PowerAggregation, TwoHoursAreThoseOfTheClock) {
  const auto all = aggregatesOf(40000, {AggregationInterval::hours2, 7200 * 3 + 7000}, 4999);
  ASSERT_EQ(all.size(), 3U);
  expectAggregate(all[0], 0, 1000, false);
  expectAggregate(all[1], 1000, 37000, true);
  expectAggregate(all[2], 37000, 40000, false);
}

TEST(PowerAggregation, FlaggedWindowsAreLeftOutAndCounted) {
  std::vector<size_t> flagged{3, 14};
  for (size_t i = 15; i < 30; ++i) {
    flagged.push_back(i);
  }
  const auto all = aggregatesOf(30, {AggregationInterval::windows15}, 7, flagged);
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].windows, 15U);
  EXPECT_EQ(all[0].flagged, 2U);
  const double squares = 15 * std::pow(rmsOf(0, 15), 2) - 9 - 196;
  expectClose(all[0].mean->phases[0].voltage.rms, std::sqrt(squares / 13));
  EXPECT_FALSE(all[0].mean->place.flags.any());
  EXPECT_EQ(all[1].flagged, 15U);
  EXPECT_TRUE(all[1].isComplete);
  EXPECT_FALSE(all[1].mean);
  const auto with = aggregatesOf(30, {AggregationInterval::windows15, 0, true}, 7, flagged);
  expectClose(with.at(0).mean->phases[0].voltage.rms, rmsOf(0, 15));
  expectClose(with.at(1).mean->phases[0].voltage.rms, rmsOf(15, 30));
  EXPECT_EQ(with.at(1).flagged, 15U);
}

TEST(PowerAggregation, NothingComesOfNothing) {
  EXPECT_TRUE(aggregatesOf(0, {AggregationInterval::minutes10}).empty());
}

TEST(ValueRange, NinetyFivePercentOfTheValuesKeepToIt) {
  std::vector<double> values(144);
  std::iota(values.begin(), values.end(), 1.0);
  std::ranges::reverse(values);
  for (size_t count = 1; count <= 144; ++count) {
    const auto range = rangeOf({values.end() - static_cast<std::ptrdiff_t>(count), values.end()});
    ASSERT_TRUE(range);
    EXPECT_EQ(range->count, count);
    EXPECT_EQ(range->minimum, 1);
    EXPECT_EQ(range->maximum, static_cast<double>(count));
    // The values are 1 to count: so many are not more than a value of that many.
    const double enough = std::ceil(0.95 * static_cast<double>(count) - 1e-9);
    EXPECT_EQ(range->percent95, enough) << count;
    EXPECT_EQ(range->percent5, static_cast<double>(count) + 1 - enough) << count;
  }
}

TEST(ValueRange, WhatIsNoNumberDoesNotCount) {
  EXPECT_FALSE(rangeOf({}));
  EXPECT_FALSE(rangeOf({NAN, NAN}));
  const auto range = rangeOf({NAN, 3, NAN, -1});
  ASSERT_TRUE(range);
  EXPECT_EQ(range->count, 2U);
  EXPECT_EQ(range->minimum, -1);
  EXPECT_EQ(range->maximum, 3);
}

}  // namespace
}  // namespace kxanalysis_test
