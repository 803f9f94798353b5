#include "analysis/combustion/cycle_figures.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

constexpr Engine engine{80, 90, 140, 12};

std::vector<double> anglesFrom(double first, double last, double step) {
  std::vector<double> angles;
  for (int i = 0; first + i * step <= last + 1e-9; ++i) {
    angles.push_back(first + i * step);
  }
  return angles;
}

/// Samples of a pressure over the angle.
template <class Pressure>
std::vector<float> samplesOf(const std::vector<double>& angles, Pressure pressure) {
  std::vector<float> samples;
  for (const double angle : angles) {
    samples.push_back(static_cast<float>(pressure(angle)));
  }
  return samples;
}

TEST(SamplesIn, BothEndsBelongToTheWindow) {
  const std::vector<double> angles{-10, -5, 0, 5, 10};
  const auto expect = [&](AngleWindow window, size_t first, size_t count) {
    const SampleRange range = samplesIn(angles, window);
    EXPECT_EQ(range.first, first);
    EXPECT_EQ(range.count, count);
  };
  expect({-5, 5}, 1, 3);
  expect({-5 + 5e-7, 5 - 5e-7}, 1, 3);
  expect({-5 + 2e-6, 5 - 2e-6}, 2, 1);
  expect({-20, 20}, 0, 5);
  expect({1, 4}, 3, 0);
  expect({20, 30}, 5, 0);
}

TEST(FitLine, ItIsTheLineOfLeastSquares) {
  const auto exact = fitLine(std::array{1.0, 2.0, 5.0}, std::array{5.0, 3.0, -3.0});
  ASSERT_TRUE(exact);
  expectClose(exact->slope, -2);
  expectClose(exact->intercept, 7);
  const auto fitted = fitLine(std::array{0.0, 1.0, 2.0, 3.0}, std::array{1.0, 0.0, 3.0, 2.0});
  expectClose(fitted->slope, 0.6);
  expectClose(fitted->intercept, 0.6);
  EXPECT_FALSE(fitLine(std::array{2.0, 2.0}, std::array{1.0, 3.0}));
  EXPECT_FALSE(fitLine(std::array{2.0}, std::array{1.0}));
}

/// A pressure that is a line over volume has a known integral, which trapezoids meet: over the whole loop it vanishes, so
/// the expansion is taken to be another line than the compression.
TEST(MeanEffectivePressure, LinesOverVolumeAreExact) {
  const double clearance = engine.clearance(), displacement = engine.displacement();
  for (const double step : {1.0, 0.5, 7.5}) {
    const auto angles = anglesFrom(-180, 180, step);
    // Pressures of a multiple of 1/8 at each volume would be needed for exact singles: 2 + x and 5 + 3 x of the stroke.
    const auto stroke = [&](double angle) { return (engine.volume(angle) - clearance) / displacement; };
    const auto pressures =
        samplesOf(angles, [&](double angle) { return angle < 0 ? 2 + stroke(angle) : 5 + 3 * stroke(angle); });
    double jump = 0;  // of the trapezoid in which the pressure jumps from one line to the other
    const double before = stroke(-step);
    jump = (5 - 2) * before / 2;
    expectClose(grossMeanEffectivePressure(engine, angles, pressures), 5 + 1.5 - 2.5 - jump, 1e-7);
  }
}

TEST(MeanEffectivePressure, AConstantPressureDoesNoWork) {
  const auto angles = anglesFrom(-360, 360, 1);
  EXPECT_NEAR(grossMeanEffectivePressure(engine, angles, std::vector<float>(angles.size(), 5)), 0, 1e-12);
}

TEST(MeanEffectivePressure, BeyondTheClosedCycleNothingCountsAndItsEndsAreCutToTheDegree) {
  const auto pressure = [](double angle) { return angle < 0 ? 1.0 : 3.0; };
  // From -183 in steps of 4: -180 lies between -183 and -179, 180 between 177 and 181.
  const auto angles = anglesFrom(-183, 189, 4);
  auto samples = samplesOf(angles, pressure);
  const double jump = -(engine.volume(1) + engine.volume(-3)) + 2 * engine.volume(0);
  const double expected = (engine.volume(-3) - engine.volume(-180)) * 1 + (engine.volume(180) - engine.volume(1)) * 3 +
                          2 * (engine.volume(1) - engine.volume(-3));
  expectClose(grossMeanEffectivePressure(engine, angles, samples), expected / engine.displacement());
  EXPECT_LT(jump, 0);
  samples.front() = 9;  // at -183, of which a quarter is left at -180: 3
  const double more = (3 - 1) / 2.0 * (engine.volume(-179) - engine.volume(-180));
  expectClose(grossMeanEffectivePressure(engine, angles, samples), (expected + more) / engine.displacement());
  samples.back() = 1000;
  expectClose(grossMeanEffectivePressure(engine, angles, samples), (expected + more) / engine.displacement());
}

/// The area within the closed curve, by its corners' coordinates (Gauss), in place of the sum of trapezoids.
TEST(NetMeanEffectivePressure, ItIsTheAreaOfTheDiagram) {
  for (const double step : {0.2, 1.0, 3.0}) {
    const auto open = anglesFrom(-360, 360 - step, step), closed = anglesFrom(-360, 360, step);
    const auto pressure = [](double angle) {
      return 3 + std::cos(angle * 0.0087) * 2 + angle / 500 + (angle > 0 ? 4 : 0);
    };
    const auto samples = samplesOf(open, pressure);
    long double area = 0;
    for (size_t i = 0; i < open.size(); ++i) {
      const size_t next = (i + 1) % open.size();
      area += engine.volume(open[next]) * static_cast<long double>(samples[i]) -
              engine.volume(open[i]) * static_cast<long double>(samples[next]);
    }
    const double expected = static_cast<double>(area / 2) / engine.displacement();
    ASSERT_TRUE(netMeanEffectivePressure(engine, open, samples));
    expectClose(*netMeanEffectivePressure(engine, open, samples), expected);
    auto both = samples;
    both.push_back(samples.front());
    expectClose(*netMeanEffectivePressure(engine, closed, both), expected);
  }
}

TEST(NetMeanEffectivePressure, AllFourStrokesAreNeeded) {
  const auto flat = [](double first, double last) {
    const auto angles = anglesFrom(first, last, 1);
    return netMeanEffectivePressure(engine, angles, std::vector<float>(angles.size(), 5));
  };
  EXPECT_NEAR(*flat(-360, 359), 0, 1e-12);
  EXPECT_NEAR(*flat(-360, 360), 0, 1e-12);
  EXPECT_NEAR(*flat(-359.5, 359.5), 0, 1e-12);
  EXPECT_FALSE(flat(-360, 358) || flat(-180, 180));
}

TEST(SteepestRise, DifferencesAreTakenOverTwoSteps) {
  const std::vector<double> angles{-182, -180, -100, -98, -96, 0, 178, 180, 182};
  const std::vector<float> pressures{0, 100, 101, 103, 111, 112, 0, 2, 900};
  const PressureRise rise = steepestRise(angles, pressures, closedCycle);
  EXPECT_EQ(rise.angle, -98);
  expectClose(rise.steepness, 2.5);
  const auto even = anglesFrom(-180, 180, 1);
  const PressureRise cubic =
      steepestRise(even, samplesOf(even, [](double angle) { return -angle * angle; }), closedCycle);
  EXPECT_EQ(cubic.angle, -179);
  expectClose(cubic.steepness, 358);
  // What is steeper outside, or from inside to outside, does not count.
  const PressureRise outside = steepestRise({-182, -180, -178, -176, 176, 178, 180, 182},
                                            std::vector<float>{0, 90, 91, 91, 91, 92, 93, 300}, closedCycle);
  EXPECT_EQ(outside.angle, 178);
  const PressureRise window =
      steepestRise(even, samplesOf(even, [](double angle) { return -angle * angle; }), {-60, 60});
  EXPECT_EQ(window.angle, -59);
  EXPECT_EQ(steepestRise({-2, -1, 0, 1, 2}, std::vector<float>{0, 1, 2, 3, 4}, {-2, 2}).angle,
            -1);  // the first of equal ones
  expectClose(outside.steepness, 0.5);
}

TEST(Polytrope, AnExactOneIsFound) {
  const auto angles = anglesFrom(-180, 180, 0.5);
  auto pressures = samplesOf(angles, [](double angle) { return 700 * std::pow(engine.volume(angle), -1.37); });
  const auto found = fitPolytrope(engine, angles, pressures, {-100, -40});
  ASSERT_TRUE(found);
  EXPECT_NEAR(found->exponent, 1.37, 1e-7);
  EXPECT_NEAR(found->logConstant, std::log(700), 1e-6);
  EXPECT_EQ(found->window.from, -100);
  EXPECT_EQ(found->window.to, -40);
  expectClose(found->pressure(engine.volume(-70)), 700 * std::pow(engine.volume(-70), -1.37), 1e-6);
  // Pressures that have no logarithm are left out.
  const SampleRange range = samplesIn(angles, {-100, -40});
  for (size_t i = range.first + 2; i < range.first + range.count; ++i) {
    pressures[i] = i % 2 == 0 ? 0.0F : -1.0F;
  }
  ASSERT_TRUE(fitPolytrope(engine, angles, pressures, {-100, -40}));
  EXPECT_NEAR(fitPolytrope(engine, angles, pressures, {-100, -40})->exponent, 1.37, 1e-4);
  pressures[range.first] = 0;
  EXPECT_FALSE(fitPolytrope(engine, angles, pressures, {-100, -40}));
}

TEST(Spread, ItIsThatOfASample) {
  const Spread spread = spreadOf({2, 4, 4, 4, 5, 5, 7, 9});
  EXPECT_EQ(spread.count, 8U);
  EXPECT_EQ(spread.mean, 5);
  EXPECT_EQ(spread.minimum, 2);
  EXPECT_EQ(spread.maximum, 9);
  expectClose(*spread.deviation, std::sqrt(32 / 7.0));
  expectClose(*spread.variation(), 20 * std::sqrt(32 / 7.0));
  expectClose(*spreadOf({-2, -4}).variation(), std::sqrt(2) / 3 * 100);
  EXPECT_FALSE(spreadOf({3}).deviation);
  EXPECT_FALSE(spreadOf({3}).variation());
  EXPECT_FALSE(spreadOf({3, -3}).variation());
  EXPECT_EQ(spreadOf({}).count, 0U);
}

}  // namespace
}  // namespace kxanalysis_test
