// The frequency is found to 10 mHz, over 10 s and within windows, whatever else is in the voltage (IEC 61000-4-30, 5.1).
#include "analysis/power/mains_frequency.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/power/frequency_intervals.hpp"
#include "analysis/power/mains_voltage.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

constexpr double accuracy = 0.01;  // in Hz

std::vector<FrequencyStretch> stretchesOf(std::span<const std::vector<double>> voltages, double rate,
                                          FrequencyRange range = mainsRange, size_t block = 1000) {
  auto mains = MainsFrequency::create(rate, range, 50);
  EXPECT_TRUE(mains) << problemOf(mains);
  std::vector<FrequencyStretch> stretches;
  const auto take = [&](std::span<const FrequencyStretch> some) {
    stretches.insert(stretches.end(), some.begin(), some.end());
  };
  feedInParts(voltages, block, [&](auto part) { take(mains->feed(part)); });
  take(mains->finish());
  return stretches;
}

std::vector<FrequencyStretch> stretchesOf(const MainsVoltage& voltage, double seconds) {
  return stretchesOf(std::array{voltage.samples(seconds)}, voltage.rate);
}

double frequencyOver10s(const std::vector<FrequencyStretch>& stretches, double rate) {
  FrequencyIntervals intervals(rate);
  const auto complete = intervals.feed(stretches);
  EXPECT_EQ(complete.size(), 1U);
  return complete.empty() ? NAN : complete[0].frequency;
}

constexpr std::array frequencies{42.5, 43.37, 45.0, 47.5, 49.9, 49.99, 50.0, 50.01, 50.5,
                                 51.0, 55.0,  57.5, 59.3, 60.0, 60.02, 64.1, 69.0};

TEST(MainsFrequency, ASineIsMeasuredToRounding) {
  for (const double rate : {12800.0, 5000.0, 44100.0}) {
    for (const double frequency : frequencies) {
      SCOPED_TRACE(frequency);
      const auto stretches = stretchesOf({.rate = rate, .cycles = steady(frequency)}, 0.6);
      ASSERT_GT(stretches.size(), 3U);
      EXPECT_EQ(stretches.front().begin, 0);
      EXPECT_EQ(stretches.back().end, std::round(0.6 * rate));
      for (size_t i = 0; i < stretches.size(); ++i) {
        EXPECT_TRUE(stretches[i].isMeasured);
        expectClose(stretches[i].frequency, frequency, 1e-7);
        EXPECT_EQ(stretches[i].begin, i == 0 ? 0 : stretches[i - 1].end);
      }
    }
  }
}

/// Where five cycles are whole numbers of samples, harmonics and constants lie on the window's zeros.
TEST(MainsFrequency, HarmonicsAreNoneOfItsBusiness) {
  for (const double frequency : {50.0, 60.0}) {
    MainsVoltage voltage{.rate = 12000, .parts = distorted(0.3), .cycles = steady(frequency), .constant = 0.1};
    for (const FrequencyStretch& stretch : stretchesOf(voltage, 0.6)) {
      expectClose(stretch.frequency, frequency, 1e-9);
    }
  }
}

/// Nor where segments do not fit the cycles, so that a constant would leak into the fundamental.
TEST(MainsFrequency, AConstantThatOutweighsTheMainsIsLeftOut) {
  for (const double frequency : {43.37, 47.3, 59.3}) {
    const MainsVoltage voltage{.rate = 500, .parts = {{1, 1, 0}}, .cycles = steady(frequency), .constant = 100};
    const auto stretches = stretchesOf(voltage, 1);
    ASSERT_GT(stretches.size(), 3U);
    for (const FrequencyStretch& stretch : stretches) {
      EXPECT_TRUE(stretch.isMeasured);
      EXPECT_NEAR(stretch.frequency, frequency, accuracy / 100);
    }
  }
}

TEST(MainsFrequency, HarmonicsNoiseAndADipLeaveItWithinTheStandardsAccuracy) {
  const auto dip = [](double time) { return time >= 3.003 && time < 3.4 ? 0.3 : 1.0; };
  for (const double rate : {12800.0, 2500.0}) {
    for (const double frequency : frequencies) {
      SCOPED_TRACE(frequency);
      const double highest = std::floor(rate / 2 / frequency - 0.01);
      const MainsVoltage voltage{.rate = rate,
                                 .parts = distorted(0.1, highest),
                                 .cycles = steady(frequency),
                                 .level = dip,
                                 .constant = 0.02,
                                 .noise = 0.002};
      const auto stretches = stretchesOf(voltage, 10);
      EXPECT_NEAR(frequencyOver10s(stretches, rate), frequency, accuracy / 20);
      size_t unmeasured = 0;
      for (const FrequencyStretch& stretch : stretches) {
        EXPECT_NEAR(stretch.frequency, frequency, 4 * accuracy) << stretch.begin / rate;  // of two and a half cycles
        EXPECT_TRUE(stretch.isSeen);
        unmeasured += stretch.isMeasured ? 0 : 1;
      }
      EXPECT_GE(unmeasured, 2U);
      EXPECT_LE(unmeasured, 8U);
    }
  }
}

TEST(MainsFrequency, ItFollowsTheMains) {
  // From 50 Hz on it rises by 0.3 Hz a second.
  const MainsVoltage voltage{.cycles = [](double time) { return 50 * time + 0.15 * time * time; }};
  const auto stretches = stretchesOf(voltage, 10);
  for (size_t i = 1; i + 2 < stretches.size(); ++i) {
    const double middle = (stretches[i].begin + stretches[i].end) / 2 / voltage.rate;
    EXPECT_TRUE(stretches[i].isMeasured);
    EXPECT_NEAR(stretches[i].frequency, 50 + 0.3 * middle, 0.001) << i;
  }
}

/// Whatever is left behind the last whole step: the end is measured over segments that end with the last sample.
TEST(MainsFrequency, TheLastSamplesCount) {
  // From 50 Hz on it rises by 2 Hz a second.
  const MainsVoltage voltage{.cycles = [](double time) { return 50 * time + time * time; }};
  for (const double seconds : {1.0, 1.01, 1.02, 1.03, 1.04, 1.05, 1.06}) {
    constexpr double behindTheEnd = 0.082;  // the middle of seven and a half cycles or of nine
    EXPECT_NEAR(stretchesOf(voltage, seconds).back().frequency, 50 + 2 * (seconds - behindTheEnd), 2 * accuracy);
  }
}

TEST(MainsFrequency, InAnInterruptionTheLastOneGoesOn) {
  const auto level = [](double time) { return time >= 1 && time < 2 ? 0.0 : 1.0; };
  // It comes back at another frequency.
  const auto cycles = [](double time) { return (time < 1.5 ? 50.3 : 47.1) * time; };
  for (const double noise : {0.0, 0.01}) {
    const MainsVoltage voltage{.parts = {{1, 1, 0}}, .cycles = cycles, .level = level, .noise = noise};
    for (const FrequencyStretch& stretch : stretchesOf(voltage, 3)) {
      const double begin = stretch.begin / voltage.rate, end = stretch.end / voltage.rate;
      if (begin > 1.05 && end < 1.95) {
        EXPECT_FALSE(stretch.isMeasured || stretch.isSeen) << begin;
        EXPECT_NEAR(stretch.frequency, 50.3, accuracy);
      } else if (end < 0.9 || begin > 2.1) {
        EXPECT_TRUE(stretch.isMeasured) << begin;
        EXPECT_NEAR(stretch.frequency, begin < 1.5 ? 50.3 : 47.1, accuracy);
      }
    }
  }
}

TEST(MainsFrequency, AVoltageThatFailsDoesNoHarm) {
  const MainsVoltage voltage{.cycles = steady(50.2)};
  std::vector<std::vector<double>> voltages{voltage.samples(2), voltage.samples(2, -120), voltage.samples(2, 120)};
  std::fill(voltages[0].begin() + 6000, voltages[0].end(), 0.0);
  std::fill(voltages[1].begin() + 15000, voltages[1].begin() + 15010, NAN);
  size_t measured = 0;
  for (const FrequencyStretch& stretch : stretchesOf(voltages, voltage.rate)) {
    EXPECT_NEAR(stretch.frequency, 50.2, accuracy);
    EXPECT_TRUE(stretch.isSeen) << stretch.begin;
    measured += stretch.isMeasured ? 1 : 0;
  }
  EXPECT_GT(measured, 20U);
}

TEST(MainsFrequency, WhatIsNoMainsIsNotMeasured) {
  const MainsVoltage silence{.parts = {}, .cycles = steady(50)};
  const MainsVoltage constant{.parts = {}, .cycles = steady(50), .constant = 5};
  const MainsVoltage noise{.parts = {}, .cycles = steady(50), .noise = 1};
  const MainsVoltage elsewhere{.cycles = steady(80)};
  const MainsVoltage above{.cycles = steady(72)}, below{.cycles = steady(41)};  // near enough to lean on the range
  const MainsVoltage weak{.parts = {{1, 1, 0}, {5, 2, 0}}, .cycles = steady(50)};
  for (const MainsVoltage& voltage : {silence, constant, noise, elsewhere, above, below, weak}) {
    for (const FrequencyStretch& stretch : stretchesOf(voltage, 1)) {
      EXPECT_FALSE(stretch.isMeasured || stretch.isSeen);
      EXPECT_EQ(stretch.frequency, 50);  // the fallback
    }
  }
  const MainsVoltage strong{.parts = {{1, 1, 0}, {5, 1.6, 0}}, .cycles = steady(50)};
  EXPECT_TRUE(stretchesOf(strong, 1).front().isMeasured);
}

TEST(MainsFrequency, BlocksDoNotMatter) {
  const MainsVoltage voltage{.parts = distorted(0.1), .cycles = steady(50.7), .noise = 0.01};
  const std::array voltages{voltage.samples(1.01)};
  const auto whole = stretchesOf(voltages, voltage.rate, mainsRange, voltages[0].size());
  for (const size_t block : {size_t{1}, size_t{777}}) {
    const auto parts = stretchesOf(voltages, voltage.rate, mainsRange, block);
    ASSERT_EQ(parts.size(), whole.size());
    for (size_t i = 0; i < whole.size(); ++i) {
      EXPECT_EQ(parts[i].end, whole[i].end);
      EXPECT_EQ(parts[i].frequency, whole[i].frequency);
    }
  }
}

TEST(MainsFrequency, OtherMainsHaveTheirRanges) {
  for (const double nominal : {16.7, 400.0}) {
    const MainsVoltage voltage{.rate = 10000, .cycles = steady(1.1 * nominal)};
    const auto stretches = stretchesOf(std::array{voltage.samples(1)}, voltage.rate, rangeAround(nominal));
    expectClose(stretches.front().frequency, 1.1 * nominal, 1e-6);
  }
}

TEST(MainsFrequency, SettingsThatCannotBeAreNamed) {
  const auto problem = [](double rate, FrequencyRange range, double fallback) {
    return problemOf(MainsFrequency::create(rate, range, fallback));
  };
  EXPECT_EQ(problem(172, mainsRange, 50), "rate is 172: 2.5 times the highest frequency is needed");
  EXPECT_EQ(problem(INFINITY, mainsRange, 50), "rate is inf: 2.5 times the highest frequency is needed");
  EXPECT_EQ(problem(173, mainsRange, 50), "");
  EXPECT_EQ(problem(173, {0, 50}, 50), "lowest is 0: it is above 0 Hz and below the highest frequency");
  EXPECT_EQ(problem(173, {50, 50}, 50), "lowest is 50: it is above 0 Hz and below the highest frequency");
  EXPECT_EQ(problem(173, mainsRange, 0), "fallback is 0: it is above 0 Hz");
}

TEST(FrequencyIntervals, EachHoldsTheCyclesThatWereMeasuredInIt) {
  FrequencyIntervals intervals(100, 10);  // of 1000 samples
  const std::array<FrequencyStretch, 2> first{{{0, 400, 50, true, true}, {400, 1500, 51, true, true}}};
  const auto one = intervals.feed(first);
  ASSERT_EQ(one.size(), 1U);
  EXPECT_EQ(one[0].begin, 0);
  EXPECT_EQ(one[0].length, 10);
  expectClose(one[0].frequency, 50.6);
  EXPECT_TRUE(one[0].isMeasured);
  const std::array<FrequencyStretch, 2> second{{{1500, 1750, 45, true, false}, {1750, 4100, 52, true, true}}};
  const auto more = intervals.feed(second);
  ASSERT_EQ(more.size(), 3U);
  expectClose(more[0].frequency, (5 * 51 + 2.5 * 52) / 7.5);
  EXPECT_FALSE(more[0].isMeasured);
  EXPECT_EQ(more[1].begin, 20);
  expectClose(more[1].frequency, 52);
  EXPECT_TRUE(more[1].isMeasured);
  EXPECT_EQ(more[2].begin, 30);
  EXPECT_EQ(intervals.rest().begin, 40);
  EXPECT_EQ(intervals.rest().length, 1);
  expectClose(intervals.rest().frequency, 52);
  const std::array<FrequencyStretch, 1> nothing{{{4100, 6000, 45, true, false}}};
  EXPECT_FALSE(intervals.feed(nothing)[0].isMeasured);
  EXPECT_TRUE(std::isnan(intervals.rest().frequency));
}

}  // namespace
}  // namespace kxanalysis_test
