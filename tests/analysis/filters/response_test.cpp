#include "analysis/filters/response.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <optional>
#include <vector>

#include "analysis/closeness.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

TEST(Response, AMeasuredOneIsTheDesignedOne) {
  for (const FilterDesign& design :
       {FilterDesign(*butterworth({0.05, 0.3}, 2)), FilterDesign(*butterworth({0, 0.2}, 3))}) {
    for (const size_t period : std::to_array<size_t>({2, 3, 1000, 1024})) {
      auto filter = FilteredStream::create(linkedFunctions, design);
      const auto curve = measuredResponse(*filter, period, 48000);
      ASSERT_TRUE(curve) << curve.problem();
      ASSERT_EQ(curve->size(), period / 2);
      for (size_t i = 0; period > 500 && i + 1 < curve->size(); ++i) {
        const double frequency = static_cast<double>(i + 1) / static_cast<double>(period);
        expectClose((*curve)[i].frequency, 48000 * frequency);
        const double expected = std::abs(responseOf(design, frequency));
        EXPECT_NEAR(std::pow(10, (*curve)[i].decibels / 20), expected, 1e-9 * expected + 1e-15);
      }
    }
  }
}

TEST(Response, ALongFiniteOneIsMeasuredInEitherWayAndLeftAtRest) {
  const FilterDesign design = *windowedSinc({0.1, 0.2}, 301, Window::hamming);
  for (const FilterWay way : {FilterWay::quickest, FilterWay::kernels}) {
    auto filter = FilteredStream::create(linkedFunctions, design, way);
    const double rounding = way == FilterWay::quickest ? 1e-12 : 1e-6;
    for (int repetition = 0; repetition < 2; ++repetition) {
      const auto curve = measuredResponse(*filter, 4096, 48000);
      ASSERT_EQ(curve->size(), 2048U);
      for (size_t i = 0; i + 1 < curve->size(); ++i) {
        const double expected = std::abs(responseOf(design, static_cast<double>(i + 1) / 4096));
        ASSERT_NEAR(std::pow(10, (*curve)[i].decibels / 20), expected, rounding);
      }
    }
  }
}

TEST(Response, SettingsThatCannotBeAreNamed) {
  auto filter = FilteredStream::create(linkedFunctions, std::vector<float>{1});
  EXPECT_EQ(problemOf(measuredResponse(*filter, 1, 1)), "period is 1: at least 2 samples are needed");
  EXPECT_EQ(problemOf(measuredResponse(*filter, 2, 0)), "rate is 0: it is above 0 Hz");
  EXPECT_EQ(problemOf(measuredResponse(*filter, 2, INFINITY)), "rate is inf: it is above 0 Hz");
  EXPECT_EQ(problemOf(measuredResponse(*filter, size_t{1} << 30, 1)),
            "length is 1073741824: a transform has 1 to 67108864 samples");
}

TEST(Response, PeriodsResolveTheBand) {
  const FilterDesign recursive = std::vector<Section>(1);
  EXPECT_EQ(periodFor(std::vector<float>(3), {0, 0.1}), 16384);
  EXPECT_EQ(periodFor(std::vector<float>(2048), {0, 0.1}), 16384);
  EXPECT_EQ(periodFor(std::vector<float>(2049), {0, 0.1}), 32768);
  EXPECT_EQ(periodFor(std::vector<float>(16383), {0, 0.1}), 131072);
  EXPECT_EQ(periodFor(std::vector<float>(131071), {0, 0.1}), 1048576);
  EXPECT_EQ(periodFor(recursive, {0, 0.1}), 16384);
  EXPECT_EQ(periodFor(recursive, {0, 0x1p-7}), 16384);
  EXPECT_EQ(periodFor(recursive, {0, 0x1p-8}), 32768);
  EXPECT_EQ(periodFor(recursive, {0x1p-9, 0.5}), 65536);
  EXPECT_EQ(periodFor(recursive, {0.25, 0.25 + 0x1p-10}), 131072);
  EXPECT_EQ(periodFor(recursive, {0, 0x1p-14}), 1048576);
  EXPECT_EQ(periodFor(recursive, {0, 0x1p-16}), 1048576);
  EXPECT_EQ(periodFor(recursive, {0, 0x1.fp-17}), std::nullopt);
}

TEST(Response, CrossingsLieOnStraightLinesOverLogFrequency) {
  const std::vector<LevelPoint> curve{{1, 0}, {10, -10}, {1000, 10}, {10000, 5}, {20000, 5}};
  const std::vector<double> found = crossings(curve, -5);
  ASSERT_EQ(found.size(), 2U);
  expectClose(found[0], std::sqrt(10));
  expectClose(found[1], std::pow(10, 1.5));
  ASSERT_EQ(crossings(curve, 5).size(), 1U);  // reaching a level from above does not cross it
  expectClose(crossings(curve, 5)[0], std::pow(10, 2.5));
  EXPECT_TRUE(crossings(curve, 11).empty());
}

TEST(Response, CrossingsOfAKnownGainAreRefined) {
  const std::vector<LevelPoint> curve{{1, 0}, {10, -10}, {1000, 10}};
  const auto gain = [](double frequency) { return frequency < 10 ? 1 - frequency : -9 + (frequency - 10) / 40; };
  const std::vector<double> found = crossings(curve, -2.5, gain);
  ASSERT_EQ(found.size(), 2U);
  expectClose(found[0], 3.5);
  expectClose(found[1], 270);
  expectClose(halfPower, 10 * std::log10(0.5), 1e-15);
}

}  // namespace
}  // namespace kxanalysis_test
