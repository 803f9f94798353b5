// Cycles with flags of voltages whose failures are known.
#include "analysis/power/voltage_watch.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/power/mains_voltage.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

std::vector<WindowPlace> flaggedOf(const std::vector<double>& samples, double rate, double nominal = 50,
                                   size_t block = 1000) {
  auto watch = VoltageWatch::create(rate, nominal);
  EXPECT_TRUE(watch) << problemOf(watch);
  std::vector<WindowPlace> flagged;
  const auto take = [&](std::span<const WindowPlace> some) { flagged.insert(flagged.end(), some.begin(), some.end()); };
  inBlocks(std::span(samples), block, [&](std::span<const double> part) { take(watch->feed(part)); });
  take(watch->finish());
  return flagged;
}

std::function<double(double)> between(double begin, double end, double level) {
  return [=](double time) { return time >= begin && time < end ? level : 1; };
}

TEST(VoltageWatch, HealthyVoltagesHaveNoFlags) {
  for (const double frequency : {50.0, 49.3, 52.7}) {
    const MainsVoltage voltage{.rate = 4000, .parts = distorted(0.1, 25), .cycles = steady(frequency), .noise = 0.001};
    EXPECT_TRUE(flaggedOf(voltage.samples(3), voltage.rate).empty());
  }
}

/// The cycles that a dip is in: those half of which, or more, are touched.
TEST(VoltageWatch, CyclesOfADipAreFlagged) {
  for (const size_t block : {size_t{1}, size_t{333}, size_t{100000}}) {
    const MainsVoltage voltage{.rate = 4000, .cycles = steady(50), .level = between(2, 2.3, 0.5)};
    const auto flagged = flaggedOf(voltage.samples(4), voltage.rate, 50, block);
    ASSERT_EQ(flagged.size(), 31U);
    EXPECT_NEAR(flagged.front().begin, 1.99, 1e-4);
    EXPECT_NEAR(flagged.back().begin, 2.29, 1e-4);
    for (const WindowPlace& place : flagged) {
      EXPECT_TRUE(place.flags.dip);
      EXPECT_FALSE(place.flags.swell || place.flags.interruption || place.flags.frequencyUnknown);
      EXPECT_NEAR(place.length, 0.02, 1e-6);
    }
  }
}

TEST(VoltageWatch, SwellsAndInterruptionsAreTold) {
  const MainsVoltage swelling{.rate = 4000, .cycles = steady(50), .level = between(2, 2.3, 1.3)};
  const auto swell = flaggedOf(swelling.samples(4), 4000);
  ASSERT_FALSE(swell.empty());
  for (const WindowPlace& place : swell) {
    EXPECT_TRUE(place.flags.swell && !place.flags.dip);
  }
  const MainsVoltage failing{.rate = 4000, .cycles = steady(50), .level = between(2, 2.5, 0)};
  size_t interrupted = 0, unknown = 0;
  for (const WindowPlace& place : flaggedOf(failing.samples(4), 4000)) {
    interrupted += place.flags.interruption ? 1U : 0U;
    unknown += place.flags.frequencyUnknown ? 1U : 0U;
  }
  EXPECT_NEAR(static_cast<double>(interrupted), 49, 2);
  EXPECT_GT(unknown, 20U);
}

/// Nor is it told by what was before: the reference begins with the mains, and slides.
TEST(VoltageWatch, TheReferenceBeginsWithTheMainsAndFollowsIt) {
  const auto late = [](double time) { return time < 2 ? 0.0 : 1.0; };
  const MainsVoltage coming{.rate = 4000, .cycles = steady(50), .level = late};
  for (const WindowPlace& place : flaggedOf(coming.samples(4), 4000)) {
    EXPECT_TRUE(place.flags.frequencyUnknown && !place.flags.swell && !place.flags.dip);
    EXPECT_LT(place.begin, 2.1);
  }
  const auto slowly = [](double time) { return 1 - 0.2 * std::min(1.0, time / 200); };
  const MainsVoltage sinking{.rate = 1000, .cycles = steady(50), .level = slowly};
  EXPECT_TRUE(flaggedOf(sinking.samples(220), 1000).empty());
}

TEST(VoltageWatch, OtherMainsAreNotSeen) {
  const MainsVoltage voltage{.rate = 4000, .cycles = steady(50)};
  const auto flagged = flaggedOf(voltage.samples(1), voltage.rate, 60);
  EXPECT_GT(flagged.size(), 100U);
  EXPECT_TRUE(flagged.front().flags.frequencyUnknown);
  EXPECT_EQ(problemOf(VoltageWatch::create(100, 50)), "rate is 100: 2.5 times the highest frequency is needed");
}

}  // namespace
}  // namespace kxanalysis_test
