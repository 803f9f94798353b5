#include "analysis/flicker/flicker_standard_points.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "analysis/closeness.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;
using std::numbers::pi;

/// Sums over a table, which no single number can leave, nor two that change places.
struct Sums {
  FlickerSeries series;
  Lamp lamp;
  size_t count;
  double modulations, changes, products;
};

TEST(FlickerStandardPoints, TheTablesAreThoseOfTheStandard) {
  for (const auto& [series, lamp, count, modulations, changes, products] : std::to_array<Sums>({
           {FlickerSeries::sinusoidal, Lamp::volts230, 37, 421.633333333, 23.433, 295.21733333333},
           {FlickerSeries::sinusoidal, Lamp::volts120, 38, 461.633333333, 33.354, 564.84096666667},
           {FlickerSeries::rectangular, Lamp::volts230, 41, 527.133333333, 18.1, 307.8313},
           {FlickerSeries::rectangular, Lamp::volts120, 43, 604.133333333, 28.784, 608.41476666667},
           {FlickerSeries::severity, Lamp::volts230, 7, 5779, 10.722, 10162.873},
           {FlickerSeries::severity, Lamp::volts120, 7, 6579, 14.708, 24258.927},
       })) {
    const auto points = flickerStandardPoints(series, lamp);
    EXPECT_EQ(points.size(), count);
    double modulation = 0, change = 0, product = 0;
    for (const FlickerStandardPoint& point : points) {
      EXPECT_EQ(point.series, series);
      EXPECT_EQ(point.lamp, lamp);
      EXPECT_EQ(point.tolerance(), series == FlickerSeries::severity ? 5 : 8);
      EXPECT_EQ(point.frequency(), point.modulation / (series == FlickerSeries::severity ? 120 : 1));
      modulation += point.modulation;
      change += point.change;
      product += point.modulation * point.change;
    }
    expectClose(modulation, modulations);
    expectClose(change, changes);
    expectClose(product, products);
  }
}

TEST(FlickerStandardPoints, TheVoltageIsACarrierThatChanges) {
  constexpr double rate = 4096;  // times of its samples are exact
  for (const FlickerStandardPoint& point : {FlickerStandardPoint{FlickerSeries::sinusoidal, Lamp::volts230, 8.8, 40},
                                            FlickerStandardPoint{FlickerSeries::rectangular, Lamp::volts120, 25.5, 40},
                                            FlickerStandardPoint{FlickerSeries::severity, Lamp::volts120, 1620, 40}}) {
    const bool is230 = point.lamp == Lamp::volts230;
    std::vector<float> voltage(9001);
    StandardVoltage source(point, rate);
    inBlocks(std::span(voltage), 1000, [&](std::span<float> block) { source.next(block); });
    for (size_t i = 0; i < voltage.size(); ++i) {
      const double time = static_cast<double>(i) / rate;
      const double cycles = point.frequency() * time, rest = cycles - std::floor(cycles);
      const double modulation = point.series == FlickerSeries::sinusoidal ? std::sin(2 * pi * rest)
                                : rest < 0.5                              ? 1
                                                                          : -1;
      const double carrier = (is230 ? 230 : 120) * std::sqrt(2) * std::sin(2 * pi * (is230 ? 50 : 60) * time);
      ASSERT_NEAR(static_cast<double>(voltage[i]), carrier * (1 + 0.2 * modulation), 3e-5) << i;
    }
  }
}

TEST(FlickerStandardPoints, AMeterFindsThePointsToBeOne) {
  for (const Lamp lamp : {Lamp::volts230, Lamp::volts120}) {
    for (const FlickerSeries series :
         {FlickerSeries::sinusoidal, FlickerSeries::rectangular, FlickerSeries::severity}) {
      const auto points = flickerStandardPoints(series, lamp);
      const FlickerStandardPoint& point = points[series == FlickerSeries::severity ? 4 : 16];
      const auto found = measureStandardPoint(linkedFunctions, point, 4000);
      ASSERT_TRUE(found) << found.problem();
      EXPECT_NEAR(*found, 1, point.tolerance() / 100);
    }
  }
}

/// A lamp at the other mains, for which there are no tables: what its low-pass leaves alone is felt as at the lamp's own.
TEST(FlickerStandardPoints, ALampAtTheOtherMainsFindsThemToo) {
  constexpr double rate = 4000, settling = 20;
  for (const auto& [lamp, mains] : {std::pair(Lamp::volts230, 60.0), {Lamp::volts120, 50.0}}) {
    for (const FlickerStandardPoint& point : flickerStandardPoints(FlickerSeries::sinusoidal, lamp)) {
      if (point.modulation != 1 && point.modulation != 8.8 && point.modulation != 20) {
        continue;
      }
      auto meter = Flickermeter::create(linkedFunctions, {lamp, mains}, rate);
      ASSERT_TRUE(meter);
      std::vector<float> voltage;
      for (double time = 0; time < settling + 5; time += 1 / rate) {
        const double level = 1 + point.change / 200 * std::sin(2 * pi * std::fmod(point.modulation * time, 1));
        voltage.push_back(static_cast<float>(level * std::sin(2 * pi * std::fmod(mains * time, 1))));
      }
      const auto sensation = meter->feed(voltage);
      ASSERT_TRUE(sensation);
      const float largest = *std::max_element(sensation->begin() + static_cast<int>(settling * rate), sensation->end());
      EXPECT_NEAR(largest, 1, 0.02) << settingText({lamp, mains}) << ' ' << point.modulation;
    }
  }
}

TEST(FlickerStandardPoints, ARateThatCannotBeIsNamed) {
  const FlickerStandardPoint point = flickerStandardPoints(FlickerSeries::severity, Lamp::volts230)[0];
  EXPECT_EQ(problemOf(measureStandardPoint(linkedFunctions, point, 100)),
            "rate is 100: flicker needs at least 4000 Hz");
  EXPECT_EQ(problemOf(measureStandardPoint(linkedFunctions, point, 1e7)),
            "length is 6000000000: a period has 1 to 4294967295 samples");
}

}  // namespace
}  // namespace kxanalysis_test
