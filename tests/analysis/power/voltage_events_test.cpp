// Dips, swells and interruptions of voltages that are known.
#include "analysis/power/voltage_events.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/power/mains_voltage.hpp"
#include "analysis/power/power_stream.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

TEST(SquareIntegral, OverWholeCyclesTheRmsIsTheSines) {
  for (const double samplesACycle : {20.0, 25.6, 256.0, 213.3}) {
    const MainsVoltage voltage{.rate = samplesACycle, .cycles = steady(1)};
    SquareIntegral squares;
    for (const auto& part : {voltage.samples(3), std::vector<double>{}}) {
      squares.feed(part);
    }
    for (const double begin : {0.0, 0.3, 7.0, 11.9}) {
      const bool isWhole = samplesACycle == std::round(samplesACycle);
      expectClose(squares.rms(begin, begin + samplesACycle), 325 / std::sqrt(2), isWhole ? 1e-9 : 1e-3);
    }
    const double later = squares.rms(samplesACycle, 2 * samplesACycle);
    squares.forget(samplesACycle);
    EXPECT_EQ(squares.rms(samplesACycle, 2 * samplesACycle), later);
  }
  SquareIntegral steps;
  steps.feed(std::array{0.0, 1.0, 2.0});  // squares 0, 1, 4
  expectClose(steps.rms(0, 2), std::sqrt((0.5 + 2.5) / 2));
  expectClose(steps.rms(0.5, 1.5), std::sqrt(0.375 + 0.875));
}

struct Given {
  VoltageEventKind kind;
  double begin, duration, extreme;
  size_t phase;
};

void expectEvents(std::span<const VoltageEvent> found, const std::vector<Given>& expected) {
  ASSERT_EQ(found.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(found[i].kind, expected[i].kind) << i;
    EXPECT_NEAR(found[i].begin, expected[i].begin, 1e-9) << i;
    EXPECT_NEAR(found[i].duration, expected[i].duration, 1e-9) << i;
    EXPECT_NEAR(found[i].extreme, expected[i].extreme, 1e-9) << i;
    EXPECT_EQ(found[i].phase, expected[i].phase) << i;
  }
}

/// Threshold and hysteresis, of any phase or of all.
TEST(VoltageEvents, TheyBeginAndEndAtTheirThresholds) {
  VoltageEvents events;
  EXPECT_TRUE(events.feed(0, std::array{0.0, 0.0}).empty());
  EXPECT_FALSE(events.isIn(VoltageEventKind::dip));
  events.setReference({100, 200});
  std::vector<VoltageEvent> found;
  double time = 0;
  for (const auto& volts : std::vector<std::array<double, 2>>{{90, 220},
                                                              {89, 200},
                                                              {91.9, 200},
                                                              {93, 183},
                                                              {92, 184},
                                                              {100, 221},
                                                              {100, 217},
                                                              {109, 216},
                                                              {108, 216},
                                                              {4, 9},
                                                              {4.9, 9.9},
                                                              {6, 13.9},
                                                              {7, 5},
                                                              {100, 200}}) {
    time += 1;
    const auto some = events.feed(time, volts);
    found.insert(found.end(), some.begin(), some.end());
  }
  using enum VoltageEventKind;
  expectEvents(found, {{dip, 2, 3, 89, 0}, {swell, 6, 3, 221, 1}, {interruption, 10, 3, 4, 0}, {dip, 10, 4, 5, 1}});
  EXPECT_TRUE(found[0].isOver);
  expectClose(found[1].ratio, 1.105);
  EXPECT_TRUE(events.finish(20).empty());
  events.feed(21, std::array{130.0, 200.0});
  EXPECT_TRUE(events.isIn(swell));
  const auto open = events.finish(25);
  expectEvents(open, {{swell, 21, 4, 130, 0}});
  EXPECT_FALSE(open[0].isOver);
}

TEST(VoltageEvents, OnePhaseThatFailsIsNoInterruption) {
  VoltageEvents events;
  events.setReference({100, 200});
  EXPECT_TRUE(events.feed(0, std::array{1.0, 200.0}).empty());
  EXPECT_TRUE(events.isIn(VoltageEventKind::dip));
  EXPECT_FALSE(events.isIn(VoltageEventKind::interruption));
  expectEvents(events.finish(1), {{VoltageEventKind::dip, 0, 1, 1, 0}});
}

struct Stream {
  std::vector<PowerWindow> windows;
  std::vector<VoltageEvent> events;
};

Stream streamOf(const std::vector<std::vector<double>>& voltages, const PowerStreamSettings& settings,
                size_t block = 4096) {
  auto stream = PowerStream::create(linkedFunctions, settings, voltages.size());
  EXPECT_TRUE(stream) << problemOf(stream);
  Stream result;
  const auto take = [&](std::span<const PowerWindow> some) {
    result.windows.insert(result.windows.end(), some.begin(), some.end());
    result.events.insert(result.events.end(), stream->events().begin(), stream->events().end());
  };
  feedInParts(voltages, block, [&](auto part) { take(stream->feed(part, part)); });
  take(stream->finish());
  return result;
}

/// What is left for some whole half cycles is found with that rms value, and for half a cycle longer: the rms is that of a
/// cycle.
TEST(VoltageEvents, ADipInAStream) {
  for (const size_t block : {size_t{64}, size_t{100000}}) {
    for (const double frequency : {50.0, 60.0, 51.3}) {
      const double cycle = 1 / frequency, begin = 55 * cycle, end = 62.5 * cycle;
      const auto level = [=](double time) { return time >= begin - 1e-9 && time < end - 1e-9 ? 0.4 : 1.0; };
      const MainsVoltage dipping{.cycles = steady(frequency), .level = level}, healthy{.cycles = steady(frequency)};
      const Stream found =
          streamOf({healthy.samples(2), dipping.samples(2, -120)}, {.windows = {.rate = 12800}}, block);
      ASSERT_EQ(found.events.size(), 1U);
      const VoltageEvent& dip = found.events[0];
      EXPECT_EQ(dip.kind, VoltageEventKind::dip);
      EXPECT_EQ(dip.phase, 1U);
      EXPECT_TRUE(dip.isOver);
      EXPECT_NEAR(dip.begin, begin - cycle / 2, cycle / 2);
      EXPECT_NEAR(dip.duration, 8 * cycle, cycle / 2 + 1e-3);
      EXPECT_NEAR(dip.extreme, 0.4 * 325 / std::sqrt(2), 0.002 * 230);
      EXPECT_NEAR(dip.ratio, 0.4, 0.002);
      for (const PowerWindow& window : found.windows) {
        const double from = window.place.begin, to = from + window.place.length;
        if (from > end + cycle || to < begin - cycle) {
          EXPECT_FALSE(window.place.flags.any()) << from;
        } else if (from < end && to > begin) {
          EXPECT_TRUE(window.place.flags.dip) << from;
        }
        EXPECT_FALSE(window.place.flags.swell || window.place.flags.interruption);
        EXPECT_NEAR(window.place.frequency, frequency, 0.01);
      }
    }
  }
}

/// So short and shallow, and half in one window, half in the next, that the cycle across both alone shows it.
TEST(VoltageEvents, ADipBetweenTwoWindows) {
  const auto level = [](double time) { return std::abs(time - 1) < 0.005 ? 0.7 : 1; };
  const MainsVoltage voltage{.cycles = steady(50), .level = level};
  const Stream found = streamOf({voltage.samples(2)}, {.windows = {.rate = 12800}});
  ASSERT_EQ(found.events.size(), 1U);
  EXPECT_NEAR(found.events[0].begin, 0.99, 1e-6);
  EXPECT_NEAR(found.events[0].duration, 0.01, 1e-6);
  EXPECT_NEAR(found.events[0].ratio, std::sqrt((1 + 0.7 * 0.7) / 2), 0.002);
  for (size_t i = 0; i < found.windows.size(); ++i) {
    EXPECT_EQ(found.windows[i].place.flags.dip, i == 4 || i == 5) << i;
  }
}

TEST(VoltageEvents, ADeclaredVoltageIsWhatTheyAreToldBy) {
  const MainsVoltage voltage{.cycles = steady(50)};
  const double rms = 325 / std::sqrt(2);
  const auto events = [&](double declared) {
    return streamOf({voltage.samples(1)}, {.windows = {.rate = 12800}, .declaredVoltage = declared}).events;
  };
  EXPECT_TRUE(events(rms / 1.09).empty());
  ASSERT_EQ(events(rms / 1.11).size(), 1U);
  EXPECT_EQ(events(rms / 1.11)[0].kind, VoltageEventKind::swell);
  EXPECT_FALSE(events(rms / 1.11)[0].isOver);
  ASSERT_EQ(events(rms / 0.89).size(), 1U);
  EXPECT_EQ(events(rms / 0.89)[0].kind, VoltageEventKind::dip);
  EXPECT_NEAR(events(rms / 0.89)[0].ratio, 0.89, 1e-6);
  EXPECT_TRUE(events(rms / 0.91).empty());
}

/// The reference follows a voltage that sinks slowly, and not one that does so at once.
TEST(VoltageEvents, TheReferenceSlides) {
  const auto slowly = [](double time) { return 1 - 0.2 * std::min(1.0, time / 200); };
  const auto atOnce = [](double time) { return time < 5 ? 1 : 0.8; };
  const MainsVoltage sinking{.rate = 1000, .cycles = steady(50), .level = slowly};
  EXPECT_TRUE(streamOf({sinking.samples(220)}, {.windows = {.rate = 1000}}).events.empty());
  const MainsVoltage stepping{.rate = 1000, .cycles = steady(50), .level = atOnce};
  const auto events = streamOf({stepping.samples(100)}, {.windows = {.rate = 1000}}).events;
  ASSERT_EQ(events.size(), 1U);
  EXPECT_FALSE(events[0].isOver);
  EXPECT_NEAR(events[0].duration, 95, 0.03);
}

TEST(VoltageEvents, AnInterruptionIsADipAsWell) {
  const auto level = [](double time) { return time >= 1 && time < 1.7 ? 0.01 : 1; };
  const MainsVoltage voltage{.cycles = steady(50), .level = level};
  const Stream found = streamOf({voltage.samples(3)}, {.windows = {.rate = 12800}});
  ASSERT_EQ(found.events.size(), 2U);
  EXPECT_EQ(found.events[0].kind, VoltageEventKind::interruption);
  EXPECT_EQ(found.events[1].kind, VoltageEventKind::dip);
  EXPECT_NEAR(found.events[0].duration, 0.69, 0.011);
  EXPECT_NEAR(found.events[1].duration, 0.71, 0.011);
  EXPECT_NEAR(found.events[0].ratio, 0.01, 1e-4);
  EXPECT_TRUE(found.windows[6].place.flags.interruption);
  EXPECT_FALSE(found.windows[2].place.flags.any());
}

}  // namespace
}  // namespace kxanalysis_test
