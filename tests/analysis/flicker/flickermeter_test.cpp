#include "analysis/flicker/flickermeter.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <utility>
#include <vector>

#include "analysis/flicker/flicker_observation.hpp"
#include "functions/linked.hpp"

namespace {

using kxcalc::linkedFunctions;

constexpr double rate = 4410;  // half cycles of 50 Hz last 44.1 samples

class FlickermeterTest : public testing::Test {
protected:
  kxanalysis::FlickerSetting setting_ = kxanalysis::nominalSetting(kxanalysis::Lamp::volts230);
};

std::vector<float> noisyVoltage(size_t count) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> noise(-0.01, 0.01);
  std::vector<float> samples;
  samples.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    const double cycles = 50 * static_cast<double>(i) / rate;
    samples.push_back(static_cast<float>(230 * (std::sin(2 * std::numbers::pi * cycles) + noise(random))));
  }
  return samples;
}

TEST_F(FlickermeterTest, TheLengthOfBlocksDoesNotMatter) {
  const std::vector<float> voltage = noisyVoltage(10007);
  const auto sensation = [&](size_t length) {
    auto meter = kxanalysis::Flickermeter::create(linkedFunctions, setting_, rate);
    std::vector<float> all;
    for (size_t i = 0; i < voltage.size(); i += length) {
      const auto part = meter->feed(std::span(voltage).subspan(i, std::min(length, voltage.size() - i)));
      all.insert(all.end(), part->begin(), part->end());
    }
    const auto rest = meter->finish();
    all.insert(all.end(), rest->begin(), rest->end());
    return all;
  };
  const std::vector<float> whole = sensation(voltage.size());
  EXPECT_EQ(whole.size(), voltage.size());
  for (const size_t length : std::to_array<size_t>({1, 7, 44, 45, 4096})) {
    EXPECT_EQ(sensation(length), whole) << length;
  }
}

TEST_F(FlickermeterTest, HalfCyclesEndAtTheNearestSample) {
  const auto setting = kxanalysis::nominalSetting(kxanalysis::Lamp::volts120);
  auto meter = kxanalysis::Flickermeter::create(linkedFunctions, setting, 4000);  // 33 1/3 samples each
  ASSERT_TRUE(meter);
  std::vector<size_t> ends;
  for (size_t samples = 1; samples <= 200; ++samples) {
    if (!meter->feed(std::array{1.0F})->empty()) {
      ends.push_back(samples);
    }
  }
  EXPECT_EQ(ends, (std::vector<size_t>{33, 67, 100, 133, 167, 200}));
}

TEST_F(FlickermeterTest, TheAdaptorFollowsAStepAsSlowlyAsTheStandardAsks) {
  auto made = kxanalysis::VoltageAdaptor::create(linkedFunctions, setting_);
  ASSERT_TRUE(made);
  kxanalysis::VoltageAdaptor& adaptor = *made;
  std::vector<float> halfCycle(40, 1), scaled(40);
  const auto run = [&](double seconds) {
    for (int i = 0; i < static_cast<int>(seconds * 100); ++i) {
      EXPECT_TRUE(adaptor.scale(halfCycle, scaled));
    }
    return adaptor.reference();
  };
  EXPECT_EQ(adaptor.reference(), 0);
  EXPECT_NEAR(run(100), 1, 1e-9);
  EXPECT_EQ(scaled.front(), 1);
  halfCycle.assign(40, 2);
  const double timeConstant = 60 / std::log(9);
  EXPECT_NEAR(run(timeConstant * std::log(10 / 9.0)), 1.1, 5e-4);
  EXPECT_NEAR(run(60), 1.9, 5e-4);
  EXPECT_NEAR(scaled.front(), 2 / adaptor.reference(), 1e-6);
}

TEST_F(FlickermeterTest, TheAdaptorStartsWithThePlainMean) {
  auto made = kxanalysis::VoltageAdaptor::create(linkedFunctions, setting_);
  ASSERT_TRUE(made);
  kxanalysis::VoltageAdaptor& adaptor = *made;
  std::vector<float> scaled(40);
  EXPECT_TRUE(adaptor.scale(std::vector<float>(40, 300), scaled));
  EXPECT_NEAR(adaptor.reference(), 300, 1e-9);
  EXPECT_TRUE(adaptor.scale(std::vector<float>(40, 200), scaled));
  EXPECT_NEAR(adaptor.reference(), 250, 1e-9);
  EXPECT_TRUE(adaptor.scale(std::vector<float>(40, 100), scaled));
  EXPECT_NEAR(adaptor.reference(), 200, 1e-9);
  EXPECT_NEAR(scaled.front(), 0.5, 1e-6);
}

TEST_F(FlickermeterTest, WhatIsNoFiniteNumberIsRefused) {
  for (const float wrong : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    auto meter = kxanalysis::Flickermeter::create(linkedFunctions, setting_, rate);
    std::vector<float> voltage = noisyVoltage(100);
    voltage[99] = wrong;
    EXPECT_TRUE(meter->feed(voltage));  // this half cycle is not complete yet
    const auto last = meter->finish();
    ASSERT_FALSE(last);
    EXPECT_EQ(last.problem(), "holds a sample that is not a finite number");
  }
}

TEST_F(FlickermeterTest, SettingsThatCannotBeAreNamed) {
  const auto problem = [](const auto& made) { return made ? "" : made.problem(); };
  using kxanalysis::Flickermeter;
  EXPECT_EQ(problem(Flickermeter::create(linkedFunctions, setting_, 3999)),
            "rate is 3999: flicker needs at least 4000 Hz");
  EXPECT_EQ(problem(Flickermeter::create(linkedFunctions, setting_, std::nan(""))),
            "rate is nan: flicker needs at least 4000 Hz");
  EXPECT_EQ(problem(Flickermeter::create(linkedFunctions, {kxanalysis::Lamp::volts120, 55}, rate)),
            "mains is 55: the standard knows 50 and 60 Hz");
  EXPECT_EQ(problem(Flickermeter::create(linkedFunctions, {kxanalysis::Lamp::volts120, 50}, 4000)), "");
  EXPECT_EQ(problem(kxanalysis::FlickerObservation::create(linkedFunctions, 0, 0)),
            "length is 0: a period has 1 to 4294967295 samples");
  EXPECT_EQ(problem(kxanalysis::FlickerObservation::create(linkedFunctions, 0, uint64_t{1} << 32)),
            "length is 4294967296: a period has 1 to 4294967295 samples");
}

TEST_F(FlickermeterTest, AMeterMayMoveInTheMiddleOfAStream) {
  const std::vector<float> voltage = noisyVoltage(1000);
  auto staying = kxanalysis::Flickermeter::create(linkedFunctions, setting_, rate);
  auto leaving = kxanalysis::Flickermeter::create(linkedFunctions, setting_, rate);
  EXPECT_TRUE(staying->feed(std::span(voltage).first(500)));
  EXPECT_TRUE(leaving->feed(std::span(voltage).first(500)));
  kxanalysis::Flickermeter moved = std::move(*leaving);
  *leaving = std::move(*kxanalysis::Flickermeter::create(linkedFunctions, setting_, 2 * rate));
  const auto expected = staying->feed(std::span(voltage).subspan(500)),
             found = moved.feed(std::span(voltage).subspan(500));
  EXPECT_EQ(std::vector<float>(found->begin(), found->end()), std::vector<float>(expected->begin(), expected->end()));
}

TEST_F(FlickermeterTest, TheLargestOfAPeriodIsOneOfItsValues) {
  auto observation = kxanalysis::FlickerObservation::create(linkedFunctions, 0, 2);
  const auto periods = observation->feed(std::vector<float>{-2, -1, 3, 4});
  ASSERT_EQ(periods.size(), 2);
  EXPECT_EQ(periods[0].largest, -1);
  EXPECT_EQ(periods[1].largest, 4);
}

TEST_F(FlickermeterTest, ObservationPeriodsAreCutToTheSample) {
  const std::vector<float> sensation{9, 9, 9, 1, 2, 0, 5e-5F, 100, 1, 1, 1, 7};
  for (const size_t length : std::to_array<size_t>({1, 2, 3, 5, 12})) {
    auto observation = kxanalysis::FlickerObservation::create(linkedFunctions, 3, 4);
    ASSERT_TRUE(observation);
    std::vector<kxanalysis::FlickerPeriod> periods;
    for (size_t i = 0; i < sensation.size(); i += length) {
      const auto part = observation->feed(std::span(sensation).subspan(i, std::min(length, sensation.size() - i)));
      periods.insert(periods.end(), part.begin(), part.end());
    }
    ASSERT_EQ(periods.size(), 2) << length;
    EXPECT_EQ(periods[0].largest, 2);
    EXPECT_EQ(periods[0].classes[0], 2);  // what is less than the classes hold, too
    EXPECT_EQ(periods[0].classes[400], 1);
    EXPECT_EQ(periods[0].classes[430], 1);
    EXPECT_EQ(periods[1].largest, 100);
    EXPECT_EQ(periods[1].classes[400], 3);
  }
}

}  // namespace
