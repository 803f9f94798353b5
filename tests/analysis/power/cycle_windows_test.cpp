// Windows hold whole cycles of the mains, and what is in them is what was in the stream.
#include "analysis/power/cycle_windows.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/power/mains_voltage.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

struct Cut {
  std::vector<CycleWindow> windows;
  double nominal, leftOver;
  int cycles;
};

Cut cut(std::span<const std::vector<double>> channels, const CycleSettings& settings, size_t block = 1000) {
  auto cutter = CycleWindows::create(settings, 1);
  EXPECT_TRUE(cutter) << problemOf(cutter);
  Cut result;
  const auto take = [&](std::span<const CycleWindow> some) {
    result.windows.insert(result.windows.end(), some.begin(), some.end());
  };
  feedInParts(channels, block, [&](auto part) { take(cutter->feed(part)); });
  take(cutter->finish());
  result.nominal = cutter->nominal();
  result.cycles = cutter->cycles();
  result.leftOver = cutter->leftOver();
  return result;
}

TEST(BetweenSamples, SinesAreWhatTheyAreBetweenTheirSamples) {
  for (const size_t reach : {size_t{32}, size_t{33}, size_t{128}}) {
    BetweenSamples between(reach);
    EXPECT_EQ(between.reach(), reach);
    const double highest = BetweenSamples::highestFrequency(static_cast<double>(reach));
    expectClose(BetweenSamples::reachFor(highest), static_cast<double>(reach));
    for (const double place : {0.0, 1e-10, 1e-7, 0.25, 0.5, 0.999999}) {
      const auto weights = between.weightsAt(place);
      for (const double frequency : {0.001, 0.01, 0.1, 0.3, 0.4, highest}) {
        double value = 0;
        for (size_t i = 0; i < weights.size(); ++i) {
          const double sample = static_cast<double>(i + 1) - static_cast<double>(reach);
          value += weights[i] * std::cos(2 * std::numbers::pi * frequency * sample + 0.3);
        }
        EXPECT_NEAR(value, std::cos(2 * std::numbers::pi * frequency * place + 0.3), frequency > 0.4 ? 2e-4 : 1e-5);
      }
    }
  }
}

TEST(CycleWindows, WindowsThatFitTheSamplesConsistOfThem) {
  for (const double frequency : {50.0, 60.0, 51.2}) {
    const MainsVoltage voltage{.parts = distorted(0.2), .cycles = steady(frequency), .constant = 0.01};
    const std::array channels{voltage.samples(1.1), voltage.samples(1.1, 77)};
    const Cut found = cut(channels, {.rate = voltage.rate});
    EXPECT_EQ(found.nominal, frequency == 60 ? 60 : 50);
    EXPECT_EQ(found.cycles, frequency == 60 ? 12 : 10);
    const double length = std::round(found.cycles * voltage.rate / frequency);
    ASSERT_EQ(found.windows.size(), 5U);
    for (size_t i = 0; i < found.windows.size(); ++i) {
      const CycleWindow& window = found.windows[i];
      EXPECT_EQ(window.begin, static_cast<double>(i) * length);
      EXPECT_EQ(window.length, length);
      expectClose(window.frequency, frequency);
      EXPECT_TRUE(window.isSeen);
      EXPECT_FALSE(window.hasMoved);
      EXPECT_EQ(window.highestFrequency, 6400);
      for (size_t channel = 0; channel < 2; ++channel) {
        ASSERT_EQ(window.samples[channel].size(), static_cast<size_t>(length));
        for (size_t n = 0; n < window.samples[channel].size(); ++n) {
          ASSERT_EQ(window.samples[channel][n], channels[channel][i * static_cast<size_t>(length) + n]);
        }
      }
    }
    EXPECT_EQ(found.leftOver, static_cast<double>(channels[0].size()) - 5 * length);
  }
}

TEST(CycleWindows, OthersAreInterpolated) {
  const MainsVoltage voltage{.parts = distorted(0.1, 25), .cycles = steady(50.37)};
  const Cut found = cut(std::array{voltage.samples(2)}, {.rate = voltage.rate});
  ASSERT_EQ(found.windows.size(), 10U);
  const double length = 10 * voltage.rate / 50.37;
  for (size_t i = 0; i < found.windows.size(); ++i) {
    const CycleWindow& window = found.windows[i];
    EXPECT_NEAR(window.begin, static_cast<double>(i) * length, 1e-3);
    EXPECT_NEAR(window.length, length, 1e-3);
    ASSERT_EQ(window.samples[0].size(), 2560U);  // of 2541.3 in the stream
    for (size_t n = 0; n < window.samples[0].size(); ++n) {
      const double turns = 10.0 * static_cast<double>(n) / 2560;
      double expected = 0;
      for (const MainsPart& part : voltage.parts) {
        expected += part.amplitude * std::sin(2 * std::numbers::pi * (part.order * turns + part.degrees / 360));
      }
      ASSERT_NEAR(window.samples[0][n], expected, 1e-4) << i << ' ' << n;
    }
  }
}

/// Interpolated windows have even numbers of samples without large prime factors, none fewer than the stream has.
TEST(CycleWindows, InterpolatedOnesAreTransformedQuickly) {
  for (const double rate : {1000.0, 10007.0, 44100.0}) {
    for (const double frequency : {43.21, 50.013, 57.77, 61.9}) {
      const MainsVoltage voltage{.rate = rate, .cycles = steady(frequency)};
      const CycleWindow window = cut(std::array{voltage.samples(0.5)}, {.rate = rate}).windows.at(0);
      size_t count = window.samples[0].size();
      EXPECT_GE(static_cast<double>(count), window.length - 1);
      EXPECT_LE(static_cast<double>(count), window.length * 1.1);
      EXPECT_EQ(count % 2, 0U);
      for (const size_t factor : {2U, 3U, 5U}) {
        while (count % factor == 0) {
          count /= factor;
        }
      }
      EXPECT_EQ(count, 1U) << window.samples[0].size();
    }
  }
}

/// To 10 mHz (IEC 61000-4-30, 5.1), with harmonics and noise, and a dip that leaves the windows beside it alone.
TEST(CycleWindows, EachTellsItsFrequency) {
  const auto dip = [](double time) { return time >= 3.003 && time < 3.4 ? 0.3 : 1.0; };
  for (const double rate : {12800.0, 2500.0}) {
    for (const double frequency : {42.5, 47.3, 49.9, 50.0, 50.02, 51.0, 57.5, 59.7, 60.0, 63.0, 69.0}) {
      SCOPED_TRACE(frequency);
      const MainsVoltage voltage{.rate = rate,
                                 .parts = distorted(0.1, std::floor(0.49 * rate / frequency)),
                                 .cycles = steady(frequency),
                                 .level = dip,
                                 .constant = 0.02,
                                 .noise = 0.002};
      for (const CycleWindow& window : cut(std::array{voltage.samples(6)}, {.rate = rate}).windows) {
        EXPECT_NEAR(window.frequency, frequency, 0.01) << window.begin / rate;
      }
    }
  }
}

TEST(CycleWindows, BlocksDoNotMatter) {
  const MainsVoltage voltage{.parts = distorted(0.1), .cycles = [](double time) { return 50 * time + time * time; }};
  const std::array channels{voltage.samples(1.3)};
  const Cut whole = cut(channels, {.rate = voltage.rate}, channels[0].size());
  ASSERT_EQ(whole.windows.size(), 6U);
  for (const size_t block : {size_t{1}, size_t{640}}) {
    const Cut parts = cut(channels, {.rate = voltage.rate}, block);
    ASSERT_EQ(parts.windows.size(), whole.windows.size());
    EXPECT_EQ(parts.leftOver, whole.leftOver);
    for (size_t i = 0; i < parts.windows.size(); ++i) {
      EXPECT_EQ(parts.windows[i].begin, whole.windows[i].begin);
      EXPECT_EQ(parts.windows[i].samples, whole.windows[i].samples);
    }
  }
}

/// At a low rate the samples that a window is interpolated from reach further than those that its frequency is told by.
TEST(CycleWindows, TheyAreFilledOnceTheirNeighboursHaveCome) {
  const MainsVoltage voltage{.rate = 1000, .parts = distorted(0.2, 9), .cycles = steady(49.7), .noise = 0.01};
  const std::array channels{voltage.samples(4)};
  const Cut whole = cut(channels, {.rate = voltage.rate}, channels[0].size());
  const Cut parts = cut(channels, {.rate = voltage.rate}, 1);
  ASSERT_EQ(whole.windows.size(), 19U);
  ASSERT_EQ(parts.windows.size(), whole.windows.size());
  for (size_t i = 0; i < whole.windows.size(); ++i) {
    EXPECT_EQ(parts.windows[i].samples, whole.windows[i].samples) << i;
  }
}

TEST(CycleWindows, WhereTheFrequencyMovesIsTold) {
  // At 1.1 s, in the middle of a window, it rises by half a hertz.
  const MainsVoltage voltage{.cycles = [](double time) { return 50 * time + 0.5 * std::max(0.0, time - 1.1); }};
  const Cut found = cut(std::array{voltage.samples(2)}, {.rate = voltage.rate});
  ASSERT_EQ(found.windows.size(), 10U);
  for (size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(found.windows[i].hasMoved, i == 5) << i;
    EXPECT_TRUE(found.windows[i].isSeen);
  }
}

TEST(CycleWindows, WithoutMainsTheyAreNominalInWholeSamples) {
  const MainsVoltage noise{.rate = 1000, .parts = {}, .cycles = steady(50), .noise = 1};
  const std::array channels{noise.samples(1)};
  for (const auto& [nominal, length] : {std::pair(50.0, 200), {54.9, 182}, {60.0, 200}, {450.0, 27}}) {
    const Cut found = cut(channels, {noise.rate, nominal, {}});
    ASSERT_EQ(found.windows.size(), static_cast<size_t>(1000.0 / length + 1e-9));
    for (size_t i = 0; i < found.windows.size(); ++i) {
      EXPECT_EQ(found.windows[i].begin, static_cast<double>(i) * length);
      EXPECT_EQ(found.windows[i].length, length);
      EXPECT_FALSE(found.windows[i].isSeen);
      EXPECT_EQ(found.windows[i].samples[0][3], channels[0][i * static_cast<size_t>(length) + 3]);
    }
  }
}

TEST(CycleWindows, OrdersBelowHalfTheRateAreKept) {
  const auto highest = [](double rate, double frequency) {
    const MainsVoltage voltage{.rate = rate, .cycles = steady(frequency)};
    return cut(std::array{voltage.samples(0.5)}, {.rate = rate}).windows.at(0).highestFrequency / frequency;
  };
  EXPECT_GE(highest(12800, 50.1), 50);
  EXPECT_GE(highest(5200, 50.1), 50);
  EXPECT_GE(highest(5000, 50.1), 49);
  EXPECT_LT(highest(5000, 50.1), 50);
  EXPECT_GE(highest(1000, 49.9), 9);
  EXPECT_LT(highest(1000, 49.9), 10);  // 499 Hz is too near to half of the rate
}

TEST(CycleWindows, SettingsThatCannotBeAreNamed) {
  const auto problem = [](const CycleSettings& settings) { return problemOf(CycleWindows::create(settings, 1)); };
  EXPECT_EQ(problem({.rate = 0}), "rate is 0: it is above 0 Hz");
  EXPECT_EQ(problem({.rate = INFINITY}), "rate is inf: it is above 0 Hz");
  EXPECT_EQ(problem({.rate = 1000, .nominal = 0}), "frequency is 0: it is above 0 Hz");
  EXPECT_EQ(problem({.rate = 1000, .cycles = 0}), "cycles is 0: a window has at least 1");
  EXPECT_EQ(problem({.rate = 100, .nominal = 50}), "");
}

}  // namespace
}  // namespace kxanalysis_test
