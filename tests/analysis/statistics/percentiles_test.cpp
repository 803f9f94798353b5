#include "analysis/statistics/percentiles.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

template <class T>
std::vector<double> percentilesOf(const std::vector<T>& samples, const std::vector<double>& percents,
                                  size_t block = 1000) {
  auto percentiles = Percentiles<T>::create(percents);
  for (int pass = 0; pass < Percentiles<T>::passes; ++pass) {
    inBlocks(std::span(samples), block, [&](std::span<const T> part) { percentiles->feed(part); });
    percentiles->finishPass();
  }
  return percentiles->values();
}

/// By sorting.
template <class T>
double sorted(std::vector<T> samples, double percent) {
  std::erase_if(samples, [](T sample) { return std::isnan(static_cast<double>(sample)); });
  std::ranges::sort(samples);
  const double position = static_cast<double>(samples.size() - 1) * (percent / 100), whole = std::floor(position);
  const auto below = static_cast<size_t>(whole);
  const double low = static_cast<double>(samples[below]);
  const double high = static_cast<double>(samples[std::min(below + 1, samples.size() - 1)]);
  return position == whole || low == high ? low : low + (high - low) * (position - whole);
}

const std::vector<double> usual{0, 0.1, 5, 25, 50, 62.5, 95, 99.99, 100};

template <class T>
std::vector<T> wide(size_t count) {
  std::mt19937_64 random(count);
  std::vector<T> samples;
  for (size_t i = 0; i < count; ++i) {
    if constexpr (std::is_floating_point_v<T>) {
      const double magnitude = std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 60) - 80);
      samples.push_back(static_cast<T>(random() % 2 == 0 ? magnitude : -magnitude));
    } else {
      samples.push_back(static_cast<T>(random()));
    }
  }
  return samples;
}

template <class T>
class PercentilesOf : public testing::Test {};
using SampleTypes = testing::Types<int16_t, int32_t, float, double>;
TYPED_TEST_SUITE(PercentilesOf, SampleTypes);

TYPED_TEST(PercentilesOf, TheyAreThoseOfTheSortedSamples) {
  for (const size_t count : std::to_array<size_t>({1, 2, 3, 10, 101, 1000, 40001})) {
    const auto samples = wide<TypeParam>(count);
    const std::vector<double> found = percentilesOf(samples, usual);
    for (size_t i = 0; i < usual.size(); ++i) {
      EXPECT_EQ(found[i], sorted(samples, usual[i])) << count << " samples, " << usual[i];
    }
  }
}

TYPED_TEST(PercentilesOf, SamplesThatDifferInTheirLastBitsAloneAreToldApart) {
  std::vector<TypeParam> samples;
  TypeParam sample = 1000;
  for (int i = 0; i < 999; ++i) {
    samples.insert(samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2), sample);
    if constexpr (std::is_floating_point_v<TypeParam>) {
      sample = std::nextafter(sample, TypeParam{2000});
    } else {
      sample = static_cast<TypeParam>(sample + 1);
    }
  }
  const std::vector<double> found = percentilesOf(samples, usual);
  for (size_t i = 0; i < usual.size(); ++i) {
    EXPECT_EQ(found[i], sorted(samples, usual[i])) << usual[i];
  }
}

TYPED_TEST(PercentilesOf, TheLengthOfBlocksAndTheOrderOfPercentsDoNotMatter) {
  const auto samples = wide<TypeParam>(5000);
  const std::vector<double> found = percentilesOf(samples, {95, 5, 50, 5});
  EXPECT_EQ(found, percentilesOf(samples, {95, 5, 50, 5}, 7));
  EXPECT_EQ(found, percentilesOf(samples, {95, 5, 50, 5}, 5000));
  EXPECT_EQ(found[0], sorted(samples, 95));
  EXPECT_EQ(found[1], found[3]);
}

TYPED_TEST(PercentilesOf, TheEndsOfTheTypeHaveTheirPlace) {
  using Limits = std::numeric_limits<TypeParam>;
  const std::vector<TypeParam> samples{Limits::max(), 0, Limits::lowest(), -1, 1};
  EXPECT_EQ(percentilesOf(samples, {0, 25, 50, 75, 100}),
            (std::vector<double>{static_cast<double>(Limits::lowest()), -1, 0, 1, static_cast<double>(Limits::max())}));
}

TYPED_TEST(PercentilesOf, WithoutSamplesThereAreNone) {
  for (const double value : percentilesOf(std::vector<TypeParam>{}, {5, 50})) {
    EXPECT_TRUE(std::isnan(value));
  }
  EXPECT_TRUE(percentilesOf(wide<TypeParam>(10), {}).empty());
}

TEST(Percentiles, NansDoNotCountAndInfinitiesDo) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(percentilesOf(std::vector<double>{nan, 3, nan, 1, -nan, 2}, {0, 50, 75}), (std::vector<double>{1, 2, 2.5}));
  EXPECT_EQ(percentilesOf(std::vector<double>{infinity, 3, -infinity, infinity}, {0, 100, 50}),
            (std::vector<double>{-infinity, infinity, infinity}));
  EXPECT_EQ(percentilesOf(std::vector<double>{1, 2, infinity}, {50}), std::vector<double>{2});
  EXPECT_TRUE(std::isnan(percentilesOf(std::vector<double>{nan, nan}, {50})[0]));
  const double zero = percentilesOf(std::vector<float>{-0.0F, -0.0F}, {50})[0];
  EXPECT_FALSE(std::signbit(zero));
}

TEST(Percentiles, WhatIsNoPercentageIsNamed) {
  EXPECT_EQ(problemOf(Percentiles<float>::create({50, 100.5})), "percentile is 100.5: it lies from 0 to 100");
  EXPECT_EQ(problemOf(Percentiles<float>::create({-1})), "percentile is -1: it lies from 0 to 100");
  EXPECT_EQ(problemOf(Percentiles<float>::create({std::nan("")})), "percentile is nan: it lies from 0 to 100");
  EXPECT_EQ(problemOf(Percentiles<float>::create(std::vector<double>(21, 5))),
            "number of percentiles is 21: there are 20 at most");
}

}  // namespace
}  // namespace kxanalysis_test
