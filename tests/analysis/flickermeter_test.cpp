#include "analysis/flicker/flickermeter.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>

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
    kxanalysis::Flickermeter meter(linkedFunctions, setting_, rate);
    std::vector<float> all;
    for (size_t i = 0; i < voltage.size(); i += length) {
      const auto part = meter.feed(std::span(voltage).subspan(i, std::min(length, voltage.size() - i)));
      all.insert(all.end(), part.begin(), part.end());
    }
    const auto rest = meter.finish();
    all.insert(all.end(), rest.begin(), rest.end());
    return all;
  };
  const std::vector<float> whole = sensation(voltage.size());
  EXPECT_EQ(whole.size(), voltage.size());
  for (const size_t length : std::to_array<size_t>({1, 7, 44, 45, 4096})) {
    EXPECT_EQ(sensation(length), whole) << length;
  }
}

TEST_F(FlickermeterTest, TheAdaptorFollowsAStepAsSlowlyAsTheStandardAsks) {
  kxanalysis::VoltageAdaptor adaptor(linkedFunctions, setting_);
  std::vector<float> halfCycle(40, 1), scaled(40);
  const auto run = [&](double seconds) {
    for (int i = 0; i < static_cast<int>(seconds * 100); ++i) {
      adaptor.scale(halfCycle, scaled);
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
  kxanalysis::VoltageAdaptor adaptor(linkedFunctions, setting_);
  std::vector<float> scaled(40);
  adaptor.scale(std::vector<float>(40, 300), scaled);
  EXPECT_NEAR(adaptor.reference(), 300, 1e-9);
  adaptor.scale(std::vector<float>(40, 200), scaled);
  EXPECT_NEAR(adaptor.reference(), 250, 1e-9);
  adaptor.scale(std::vector<float>(40, 100), scaled);
  EXPECT_NEAR(adaptor.reference(), 200, 1e-9);
  EXPECT_NEAR(scaled.front(), 0.5, 1e-6);
}

TEST_F(FlickermeterTest, WhatIsNoFiniteNumberIsRefused) {
  for (const float wrong : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    kxanalysis::Flickermeter meter(linkedFunctions, setting_, rate);
    std::vector<float> voltage = noisyVoltage(100);
    voltage[99] = wrong;
    EXPECT_NO_THROW(meter.feed(voltage));  // this half cycle is not complete yet
    EXPECT_THROW(meter.finish(), std::range_error);
  }
}

TEST_F(FlickermeterTest, ObservationPeriodsAreCutToTheSample) {
  kxanalysis::FlickerObservation observation(linkedFunctions, 3, 4);
  const std::vector<float> sensation{9, 9, 9, 1, 2, 0, 5e-5F, 100, 1, 1, 1, 7};
  observation.add(std::span(sensation).first(2));
  observation.add(std::span(sensation).subspan(2, 3));
  observation.add(std::span(sensation).subspan(5));
  ASSERT_EQ(observation.periods().size(), 2);
  const kxanalysis::FlickerPeriod& first = observation.periods()[0];
  EXPECT_EQ(first.sensation.maximum(), 2);
  EXPECT_EQ(first.classes[0], 2);  // what is less than the classes hold, too
  EXPECT_EQ(first.classes[400], 1);
  EXPECT_EQ(first.classes[430], 1);
  EXPECT_EQ(observation.periods()[1].sensation.maximum(), 100);
  EXPECT_EQ(observation.periods()[1].classes[400], 3);
}

}  // namespace
