// The distortion of mains of any frequency is what it is, to 0.05 %.
#include "analysis/power/power_stream.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/power/mains_voltage.hpp"
#include "analysis/power/power_mean.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

using Channels = std::vector<std::vector<double>>;

std::vector<PowerWindow> windowsOf(const Channels& voltages, const Channels& currents,
                                   const PowerStreamSettings& settings, size_t block = 4096) {
  auto stream = PowerStream::create(linkedFunctions, settings, voltages.size());
  EXPECT_TRUE(stream) << problemOf(stream);
  Channels all(voltages);
  all.insert(all.end(), currents.begin(), currents.end());
  std::vector<PowerWindow> windows;
  const auto take = [&](std::span<const PowerWindow> some) { windows.insert(windows.end(), some.begin(), some.end()); };
  feedInParts(all, block,
              [&](auto part) { take(stream->feed(part.first(voltages.size()), part.subspan(voltages.size()))); });
  take(stream->finish());
  return windows;
}

/// THD within 0.05 % at any frequency, at any usual rate, of orders up to 50 where the rate does not forbid them.
TEST(PowerStream, DistortionDoesNotDependOnTheFrequency) {
  constexpr double allowed = 0.0005;
  for (const double rate : {12800.0, 10000.0, 6400.0, 2000.0}) {
    for (const double frequency :
         {42.5, 44.44, 47.0, 49.5, 49.95, 50.0, 50.05, 50.5, 51.0, 53.3, 57.5, 58.8, 60.0, 60.1, 66.0, 69.0}) {
      SCOPED_TRACE(testing::Message() << frequency << " Hz at " << rate);
      const double highest = std::min(50.0, std::floor(0.49 * rate / frequency));
      const MainsVoltage u{.rate = rate, .parts = distorted(0.05, highest), .cycles = steady(frequency)};
      const MainsVoltage i{.rate = rate, .parts = distorted(0.10, highest), .cycles = steady(frequency)};
      const auto windows = windowsOf({u.samples(0.75)}, {i.samples(0.75, -40)}, {.windows = {.rate = rate}});
      ASSERT_GE(windows.size(), 3U);
      for (const PowerWindow& window : windows) {
        EXPECT_FALSE(window.place.flags.any());
        EXPECT_NEAR(window.place.frequency, frequency, 1e-4);
        const PhaseFigures& phase = window.phases[0];
        EXPECT_GE(phase.voltage.harmonics.size(), static_cast<size_t>(highest));
        EXPECT_NEAR(*phase.voltage.distortion(), 0.05, allowed);
        EXPECT_NEAR(*phase.current.distortion(), 0.10, allowed);
        EXPECT_NEAR(phase.voltage.rms, std::sqrt(0.5 * (1 + 0.05 * 0.05)), 1e-5);
        EXPECT_NEAR(std::remainder(phase.current.angles[0] + 40, 360), 0, 0.02);
      }
    }
  }
}

TEST(PowerStream, AnglesOfHarmonicsStayThoseOfTheSignal) {
  const MainsVoltage voltage{.parts = distorted(0.3, 25), .cycles = steady(51.3)};
  for (const PowerWindow& window :
       windowsOf({voltage.samples(1)}, {voltage.samples(1)}, {.windows = {.rate = 12800}})) {
    for (const MainsPart& part : voltage.parts) {
      const auto index = static_cast<size_t>(part.order) - 1;
      EXPECT_NEAR(window.phases[0].voltage.harmonics[index], part.amplitude / std::sqrt(2), 2e-5);
      EXPECT_NEAR(std::remainder(window.phases[0].voltage.angles[index] - part.degrees, 360), 0, 0.05) << part.order;
    }
  }
}

/// An order so near to half of the rate that interpolation damps it is left out; one that it keeps is what it is.
TEST(PowerStream, OrdersThatWereDampedAreNotTold) {
  const auto harmonics = [](double frequency) {
    const MainsVoltage voltage{
        .rate = 1000, .parts = {{1, 1, 0}, {9, 0.2, 0}, {10, 0.1, 30}}, .cycles = steady(frequency)};
    const Channels channels{voltage.samples(2)};
    return windowsOf(channels, channels, {.windows = {.rate = 1000}}).at(4).phases[0].voltage.harmonics;
  };
  const auto kept = harmonics(49.70), damped = harmonics(49.74);  // the tenth at 497.0 Hz and at 497.4 Hz
  ASSERT_EQ(kept.size(), 10U);
  EXPECT_NEAR(kept[9], 0.1 / std::sqrt(2), 1e-4);
  ASSERT_EQ(damped.size(), 9U);
  EXPECT_NEAR(damped[8], 0.2 / std::sqrt(2), 3e-4);  // what is left of the tenth leaks
}

TEST(PowerStream, AtNominalFrequencyTheFiguresAreThoseOfTheSamples) {
  const MainsVoltage voltage{.parts = distorted(0.2), .cycles = steady(50)};
  const Channels u{voltage.samples(0.4)}, i{voltage.samples(0.4, -30)};
  const auto windows = windowsOf(u, i, {.windows = {.rate = 12800}});
  auto analyzer = PowerAnalyzer::create(linkedFunctions, {12800, 50, 10, {}});
  ASSERT_TRUE(analyzer);
  ASSERT_EQ(windows.size(), 2U);
  const auto half = [](const Channels& channels) {
    return std::array{std::vector<double>(channels[0].begin(), channels[0].begin() + 2560)};
  };
  const PowerWindow expected = analyzer->analyze(half(u), half(i));
  EXPECT_EQ(windows[0].phases[0].voltage.harmonics, expected.phases[0].voltage.harmonics);
  EXPECT_EQ(windows[0].phases[0].current.angles, expected.phases[0].current.angles);
  EXPECT_EQ(windows[0].phases[0].power.active, expected.phases[0].power.active);
  EXPECT_EQ(windows[1].place.begin, 0.2);
  EXPECT_EQ(windows[1].place.length, 0.2);
}

TEST(PowerStream, WhatIsDoubtfulIsFlagged) {
  const auto level = [](double time) { return time >= 1.1 && time < 1.5 ? 0.0 : 1.0; };
  const MainsVoltage voltage{.cycles = steady(50), .level = level};
  const Channels u{voltage.samples(3)};
  const auto windows = windowsOf(u, u, {.windows = {.rate = 12800}});
  ASSERT_EQ(windows.size(), 15U);
  for (size_t i = 0; i < windows.size(); ++i) {
    EXPECT_EQ(windows[i].place.flags.frequencyUnknown, i >= 5 && i <= 7) << i;
  }
  EXPECT_EQ(flaggedCount(windows), 3U);
  expectSingle(static_cast<float>(meanOfUnflagged(windows).phases[0].voltage.rms), 325 / std::sqrt(2));
  EXPECT_LT(meanOf(windows).phases[0].voltage.rms, 220);
  EXPECT_TRUE(meanOf(windows).place.flags.frequencyUnknown);
  EXPECT_FALSE(meanOfUnflagged(windows).place.flags.any());
  const std::span doubtful = std::span(windows).subspan(5, 3);
  expectClose(meanOfUnflagged(doubtful).phases[0].voltage.rms, meanOf(doubtful).phases[0].voltage.rms);
}

TEST(PowerStream, SettingsThatCannotBeAreNamed) {
  const auto problem = [](const CycleSettings& windows) {
    return problemOf(PowerStream::create(linkedFunctions, {windows, {}}, 1));
  };
  EXPECT_EQ(problem({.rate = 0}), "rate is 0: it is above 0 Hz");
  EXPECT_EQ(problem({.rate = 1e9}), "cycles is 10: a window would have more than 16777216 samples");
  EXPECT_EQ(problem({.rate = 72e6}), "cycles is 10: a window would have more than 16777216 samples");  // of 42.5 Hz
  EXPECT_EQ(problem({.rate = 5000, .nominal = 2500}),
            "rate is 5000: too low to see 2500 Hz, more than twice that is needed");
}

TEST(PowerMean, OrdersCountThatAllWindowsHave) {
  SignalFigures three{1, {3, 2, 1}, {0, 0, 0}}, two{1, {4, 2}, {0, 0}};
  std::vector<PowerWindow> windows(3);
  for (size_t i = 0; i < 3; ++i) {
    windows[i].phases = {{i == 1 ? two : three, three, {}}};
    windows[i].place = {static_cast<double>(i), 1, 50 + static_cast<double>(i), {}};
  }
  windows[2].place.flags.swell = true;
  const PowerWindow mean = meanOf(windows);
  EXPECT_EQ(mean.phases[0].voltage.harmonics.size(), 2U);
  EXPECT_EQ(mean.phases[0].voltage.angles.size(), 2U);
  EXPECT_EQ(mean.phases[0].current.harmonics.size(), 3U);
  EXPECT_EQ(mean.place.begin, 0);
  EXPECT_EQ(mean.place.length, 3);
  EXPECT_EQ(mean.place.frequency, 51);
  EXPECT_TRUE(mean.place.flags.swell);
  EXPECT_FALSE(mean.place.flags.dip);
}

}  // namespace
}  // namespace kxanalysis_test
