// Groups after IEC 61000-4-7 hold what is in their bins, whether a tone stands still between two harmonics or fluctuates.
#include "analysis/power/harmonic_groups.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/power/mains_voltage.hpp"
#include "analysis/power/power_mean.hpp"
#include "analysis/power/power_stream.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

constexpr double nothing = 1e-9;

/// Sums by the standard's formulas, a bin at a time.
double rootOf(const std::vector<double>& squares, int first, int last, double endsWeight = 1) {
  double sum = 0;
  for (int bin = first; bin <= last; ++bin) {
    sum += squares[static_cast<size_t>(bin)] * (bin == first || bin == last ? endsWeight : 1);
  }
  return std::sqrt(sum);
}

/// Every bin has a value of its own, so that one too many or too few shows.
TEST(HarmonicGroups, TheyAreSumsOfTheirBins) {
  for (const int cycles : {4, 5, 10, 11, 12}) {
    SCOPED_TRACE(cycles);
    std::vector<double> squares;
    for (int bin = 0; bin < 4 * cycles; ++bin) {
      squares.push_back(1 + std::sqrt(bin + 0.3));
    }
    const HarmonicGroups groups = groupsOf(squares, static_cast<size_t>(cycles), 50);
    ASSERT_EQ(groups.harmonic.size(), 3U);
    ASSERT_EQ(groups.harmonicSubgroups.size(), 3U);
    ASSERT_EQ(groups.interharmonic.size(), 4U);
    ASSERT_EQ(groups.interharmonicSubgroups.size(), 4U);
    for (int order = 0; order <= 3; ++order) {
      const int bin = order * cycles, half = cycles / 2;
      const auto index = static_cast<size_t>(order);
      expectClose(groups.interharmonic[index], rootOf(squares, bin + 1, bin + cycles - 1));
      expectClose(groups.interharmonicSubgroups[index], rootOf(squares, bin + 2, bin + cycles - 2));
      if (order > 0) {
        expectClose(groups.harmonic[index - 1], rootOf(squares, bin - half, bin + half, cycles % 2 == 0 ? 0.5 : 1));
        expectClose(groups.harmonicSubgroups[index - 1], rootOf(squares, bin - 1, bin + 1));
      }
    }
  }
}

TEST(HarmonicGroups, OrdersWithoutAllTheirBinsAreLeftOut) {
  const auto counts = [](size_t bins, size_t cycles, size_t orders) {
    const HarmonicGroups groups = groupsOf(std::vector<double>(bins, 1), cycles, orders);
    EXPECT_EQ(groups.harmonicSubgroups.size(), groups.harmonic.size());
    EXPECT_EQ(groups.interharmonicSubgroups.size(), groups.interharmonic.size());
    return std::pair(groups.harmonic.size(), groups.interharmonic.size());
  };
  EXPECT_EQ(counts(30, 10, 50), std::pair(size_t{2}, size_t{3}));
  EXPECT_EQ(counts(29, 10, 50), std::pair(size_t{2}, size_t{2}));
  EXPECT_EQ(counts(26, 10, 50), std::pair(size_t{2}, size_t{2}));
  EXPECT_EQ(counts(25, 10, 50), std::pair(size_t{1}, size_t{2}));
  EXPECT_EQ(counts(1000, 10, 2), std::pair(size_t{2}, size_t{3}));
  EXPECT_EQ(counts(5, 10, 2), std::pair(size_t{0}, size_t{0}));
  EXPECT_EQ(counts(1000, 3, 50), std::pair(size_t{0}, size_t{0}));
}

/// The figures of the first phase's voltage, window by window.
std::vector<SignalFigures> figuresOf(const std::vector<double>& samples, const PowerStreamSettings& settings) {
  auto stream = PowerStream::create(linkedFunctions, settings, 1);
  EXPECT_TRUE(stream) << problemOf(stream);
  std::vector<SignalFigures> figures;
  const auto take = [&](std::span<const PowerWindow> windows) {
    for (const PowerWindow& window : windows) {
      figures.push_back(window.phases[0].voltage);
    }
  };
  const std::array channel{samples};
  take(stream->feed(channel, channel));
  take(stream->finish());
  return figures;
}

/// Tones on bins of 5 Hz, by their frequencies and rms values.
std::vector<double> tones(const std::vector<std::pair<double, double>>& parts, double rate = 12800) {
  std::vector<double> samples(static_cast<size_t>(rate));
  for (size_t i = 0; i < samples.size(); ++i) {
    for (const auto& [frequency, rms] : parts) {
      const double turns = std::fmod(frequency * static_cast<double>(i) / rate, 1);
      samples[i] += rms * std::sqrt(2) * std::sin(2 * std::numbers::pi * turns + frequency);
    }
  }
  return samples;
}

/// Of the first window of ten cycles, whatever the frequency is measured to be beside the tones.
SignalFigures firstWindowOf(std::vector<double> samples) {
  auto analyzer = PowerAnalyzer::create(linkedFunctions, {12800, 50, 10, {}});
  EXPECT_TRUE(analyzer) << problemOf(analyzer);
  samples.resize(2560);
  return analyzer->analyze(std::array{samples}, std::array{samples}).phases[0].voltage;
}

/// The closed form: squares of the tones that lie in a group, half of those halfway.
TEST(HarmonicGroups, TonesOnBinsAreFoundWhereTheyAre) {
  const std::vector<double> samples =
      tones({{50, 230}, {25, 1}, {55, 2}, {75, 3}, {80, 4}, {145, 5}, {150, 6}, {175, 7}});
  const SignalFigures figures = firstWindowOf(samples);
  const HarmonicGroups& groups = figures.groups;
  ASSERT_EQ(groups.harmonic.size(), 50U);
  ASSERT_EQ(groups.interharmonic.size(), 51U);
  const double first = std::sqrt(0.5 * 1 + 230 * 230 + 4 + 0.5 * 9), second = std::sqrt(0.5 * 9 + 16);
  const double third = std::sqrt(25 + 36 + 0.5 * 49), fourth = std::sqrt(0.5 * 49);
  expectClose(groups.harmonic[0], first);
  expectClose(groups.harmonic[1], second);
  expectClose(groups.harmonic[2], third);
  expectClose(groups.harmonic[3], fourth);
  EXPECT_NEAR(groups.harmonic[4], 0, nothing);
  expectClose(groups.harmonicSubgroups[0], std::hypot(230, 2));
  EXPECT_NEAR(groups.harmonicSubgroups[1], 0, nothing);
  expectClose(groups.harmonicSubgroups[2], std::hypot(5, 6));
  expectClose(groups.interharmonic[0], 1);
  expectClose(groups.interharmonic[1], std::sqrt(4 + 9 + 16));
  expectClose(groups.interharmonic[2], 5);
  expectClose(groups.interharmonic[3], 7);
  expectClose(groups.interharmonicSubgroups[1], 5);
  EXPECT_NEAR(groups.interharmonicSubgroups[2], 0, nothing);
  expectClose(*figures.groupDistortion(), std::sqrt(second * second + third * third + fourth * fourth) / first);
  expectClose(*figures.subgroupDistortion(), std::hypot(5, 6) / std::hypot(230, 2));
  EXPECT_NEAR(*figures.distortion(), 6.0 / 230, 1e-7);  // by its bin alone
}

/// A harmonic of rms X whose amplitude changes by a share m of it has side bins of rms m X / 2 on either side.
TEST(HarmonicGroups, AModulatedHarmonicIsFoundAsAWhole) {
  constexpr double share = 0.4, rms = 10;
  const auto modulated = [&](double frequency) {
    return firstWindowOf(
        tones({{50, 230}, {250, rms}, {250 - frequency, rms * share / 2}, {250 + frequency, rms * share / 2}}));
  };
  const double all = rms * std::sqrt(1 + share * share / 2);
  const SignalFigures slow = modulated(5), quick = modulated(10);
  expectClose(slow.groups.harmonic[4], all);
  expectClose(slow.groups.harmonicSubgroups[4], all);
  expectClose(*slow.subgroupDistortion(), all / 230);
  EXPECT_NEAR(*slow.distortion(), rms / 230, 1e-7);
  expectClose(quick.groups.harmonic[4], all);
  expectClose(quick.groups.harmonicSubgroups[4], rms);
  expectClose(*quick.groupDistortion(), all / 230);
}

/// At any frequency of the mains a group has its 9 or 11 bins; the interharmonic keeps its distance in bins.
TEST(HarmonicGroups, TheyMoveWithTheMains) {
  for (const auto& [frequency, cycles] : {std::pair(50.37, 10), {60.0, 12}, {59.3, 12}}) {
    const double bin = frequency / cycles;
    const MainsVoltage voltage{.parts = {{1, 325, 0}, {2 + 4.0 / cycles, 8, 40}, {5 + 1.0 / cycles, 3, 0}},
                               .cycles = steady(frequency)};
    for (const SignalFigures& each : figuresOf(voltage.samples(1), {.windows = {.rate = 12800}})) {
      EXPECT_NEAR(each.groups.interharmonic[2], 8 / std::sqrt(2), 1e-3) << bin;
      EXPECT_NEAR(each.groups.interharmonicSubgroups[2], 8 / std::sqrt(2), 1e-3);
      EXPECT_NEAR(each.groups.harmonicSubgroups[4], 3 / std::sqrt(2), 1e-3);
      EXPECT_NEAR(each.groups.interharmonicSubgroups[5], 0, 1e-3);
    }
  }
}

/// Between two bins a tone leaks into all others, by sinc^2 of the distance: its group has the most of it.
TEST(HarmonicGroups, AnInterharmonicBetweenBinsStaysInItsGroup) {
  const SignalFigures figures = firstWindowOf(tones({{50, 230}, {177.5, 10}}));
  const auto share = [](int first, int last) {
    double sum = 0;
    for (int bin = first; bin <= last; ++bin) {
      const double angle = std::numbers::pi * (bin - 35.5);
      sum += std::pow(std::sin(angle) / angle, 2);
    }
    return std::sqrt(sum);
  };
  EXPECT_NEAR(figures.groups.interharmonic[3], 10 * share(31, 39), 0.01);
  EXPECT_NEAR(figures.groups.interharmonicSubgroups[3], 10 * share(32, 38), 0.01);
}

TEST(HarmonicGroups, AVoltagesCorrectionCountsInThem) {
  const auto curve = CorrectionCurve::create({{100, 1, 0}, {200, 3, 90}});
  ASSERT_TRUE(curve);
  const auto figures =
      figuresOf(tones({{50, 230}, {150, 6}, {175, 8}}), {.windows = {.rate = 12800}, .correction = *curve});
  expectClose(figures.at(0).groups.harmonicSubgroups[2], 12, 1e-6);
  expectClose(figures.at(0).groups.interharmonic[3], 20, 1e-6);
}

TEST(HarmonicGroups, WhatInterpolationDampsIsNotTold) {
  const auto sizes = [](double orders) {
    HarmonicGroups groups = groupsOf(std::vector<double>(520, 1), 10, 50);
    groups.keepBelow(orders);
    EXPECT_EQ(groups.harmonicSubgroups.size(), groups.harmonic.size());
    EXPECT_EQ(groups.interharmonicSubgroups.size(), groups.interharmonic.size());
    return std::pair(groups.harmonic.size(), groups.interharmonic.size());
  };
  EXPECT_EQ(sizes(100), std::pair(size_t{50}, size_t{51}));
  EXPECT_EQ(sizes(9.6), std::pair(size_t{9}, size_t{9}));
  EXPECT_EQ(sizes(9.4), std::pair(size_t{8}, size_t{9}));
  EXPECT_EQ(sizes(0.2), std::pair(size_t{0}, size_t{0}));
  // At 1000 Hz nothing above 457 Hz is kept.
  const MainsVoltage voltage{.rate = 1000, .cycles = steady(50.4)};
  const HarmonicGroups groups = figuresOf(voltage.samples(1), {.windows = {.rate = 1000}}).at(1).groups;
  EXPECT_EQ(groups.harmonic.size(), 8U);
  EXPECT_EQ(groups.interharmonic.size(), 9U);
  // A rate at which all 50 groups are kept.
  const MainsVoltage full{.rate = 5200, .cycles = steady(50.4)};
  EXPECT_EQ(figuresOf(full.samples(1), {.windows = {.rate = 5200}}).at(1).groups.harmonic.size(), 50U);
}

TEST(HarmonicGroups, WindowsTakenTogetherHaveRootMeanSquares) {
  std::vector<PowerWindow> windows(2);
  for (size_t i = 0; i < 2; ++i) {
    const double value = i == 0 ? 1 : 7;
    SignalFigures figures{1, {1}, {0}, {{value, 1, 1}, {2 * value}, {3 * value}, {4 * value}}};
    figures.groups.harmonic.resize(3 - i);
    windows[i].phases = {{figures, figures, {}}};
  }
  const HarmonicGroups mean = meanOf(windows).phases[0].current.groups;
  ASSERT_EQ(mean.harmonic.size(), 2U);
  expectClose(mean.harmonic[0], 5);
  expectClose(mean.harmonicSubgroups.at(0), 10);
  expectClose(mean.interharmonic.at(0), 15);
  expectClose(mean.interharmonicSubgroups.at(0), 20);
}

}  // namespace
}  // namespace kxanalysis_test
