// Heat that is put in is found again.
#include "analysis/combustion/heat_release.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/combustion/engine_simulation.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

constexpr Engine engine{80, 90, 140, 12};
constexpr AngleWindow window{-60, 100};

std::vector<double> anglesBy(double step) {
  std::vector<double> angles;
  for (int i = 0; - 180 + i * step <= 180 + 1e-9; ++i) {
    angles.push_back(-180 + i * step);
  }
  return angles;
}

template <class Pressure>
std::vector<float> samplesOf(const std::vector<double>& angles, Pressure pressure) {
  std::vector<float> samples;
  for (const double angle : angles) {
    samples.push_back(static_cast<float>(pressure(angle)));
  }
  return samples;
}

/// Without scatter, noise or a zero level.
Simulation quiet() {
  Simulation simulation;
  simulation.cycles = 1;
  simulation.step = 0.1;
  simulation.burnStartScatter = simulation.burnDurationScatter = simulation.heatScatter = 0;
  simulation.noise = simulation.zeroLevel = simulation.zeroDrift = 0;
  return simulation;
}

/// Where the Wiebe function reaches a share.
double wiebeAngle(const Simulation& s, double share) {
  return s.burnStart + s.burnDuration * std::pow(-std::log(1 - share) / s.wiebeEfficiency, 1 / (s.wiebeForm + 1));
}

TEST(HeatRelease, AWiebeFunctionIsFoundAgain) {
  for (const double form : {1.0, 2.0, 3.5}) {
    for (const double start : {-25.0, -15.0, 0.0}) {
      for (const auto& [compression, expansion] : {std::pair(1.32, 1.27), {1.35, 1.35}, {1.3, 1.36}}) {
        Simulation simulation = quiet();
        simulation.wiebeForm = form;
        simulation.burnStart = start;
        simulation.compressionExponent = compression;
        simulation.expansionExponent = expansion;
        const auto cycles = simulate(engine, simulation);
        const auto found = heatRelease(engine, cycles->angles, cycles->cycle(0), window, {compression, expansion});
        ASSERT_TRUE(found);
        EXPECT_NEAR(found->heat, 1000, 0.5);  // the simulation lets it come at the end of each step
        EXPECT_NEAR(found->angle10, wiebeAngle(simulation, 0.1), 0.02);
        EXPECT_NEAR(found->angle50, wiebeAngle(simulation, 0.5), 0.02);
        EXPECT_NEAR(found->angle90, wiebeAngle(simulation, 0.9), 0.02);
        EXPECT_EQ(found->duration(), found->angle90 - found->angle10);
      }
    }
  }
}

TEST(HeatRelease, APolytropeReleasesNothingHoweverLongTheSteps) {
  for (const double step : {0.5, 4.0, 10.0}) {
    const auto angles = anglesBy(step);
    const auto pressures = samplesOf(angles, [](double angle) { return 900 * std::pow(engine.volume(angle), -1.33); });
    for (const double heat : heatCurve(engine, angles, pressures, window, {1.33, 1.33})) {
      EXPECT_NEAR(heat, 0, 1e-3);  // singles hold a part in 10^7 of some hundred joules
    }
    EXPECT_FALSE(heatRelease(engine, angles, pressures, window, {1.33, 1.33}));
  }
}

/// The first law in its integral form, with one exponent: what the gas holds, p V / (n - 1), and the work of polytropes between the
/// samples, which are brought to the middle volume of each step.
TEST(HeatRelease, WithOneExponentItIsTheSumOfTheFirstLaw) {
  const auto angles = anglesBy(0.5);
  const auto pressures = samplesOf(
      angles, [](double angle) { return 2 + 40 * std::exp(-(angle - 12) * (angle - 12) / 600) + angle / 200; });
  constexpr long double n = 1.31L;
  const auto curve = heatCurve(engine, angles, pressures, window, {1.31, 1.31});
  const SampleRange range = samplesIn(angles, window);
  ASSERT_EQ(curve.size(), 321U);
  EXPECT_EQ(curve[0], 0);
  long double heat = 0;
  for (size_t i = 1; i < curve.size(); ++i) {
    const long double before = engine.volume(angles[range.first + i - 1]),
                      after = engine.volume(angles[range.first + i]);
    const long double middle = (before + after) / 2;
    const long double p1 = pressures[range.first + i - 1] * std::pow(before / middle, n);
    const long double p2 = pressures[range.first + i] * std::pow(after / middle, n);
    heat += (p2 - p1) * middle / (n - 1) / 10;
    expectClose(curve[i], static_cast<double>(heat), 1e-9);
  }
}

TEST(HeatRelease, SharesAreReachedBetweenSamples) {
  // Heat at top dead centre alone, from one sample to the next: all shares lie between the two.
  const auto angles = anglesBy(2);
  const auto pressures =
      samplesOf(angles, [](double angle) { return (angle < -1 ? 400 : 1600) * std::pow(engine.volume(angle), -1.3); });
  const auto found = heatRelease(engine, angles, pressures, window, {1.3, 1.3});
  ASSERT_TRUE(found);
  EXPECT_NEAR(found->angle10, -1.8, 1e-4);
  EXPECT_NEAR(found->angle50, -1, 1e-4);
  EXPECT_NEAR(found->angle90, -0.2, 1e-4);
  const double middle = (engine.volume(-2) + engine.volume(0)) / 2;
  expectClose(found->heat, 1200 * std::pow(middle, -0.3) / 0.3 / 10, 1e-5);
}

TEST(HeatRelease, WhereNothingBurnsThereIsNone) {
  Simulation simulation = quiet();
  simulation.heat = 0;
  simulation.expansionExponent = simulation.compressionExponent;
  simulation.noise = 0.001;
  auto cycles = simulate(engine, simulation);
  EXPECT_FALSE(heatRelease(engine, cycles->angles, cycles->cycle(0), window, {1.32, 1.32}));
  simulation.heat = 20;
  cycles = simulate(engine, simulation);
  EXPECT_TRUE(heatRelease(engine, cycles->angles, cycles->cycle(0), window, {1.32, 1.32}));
  EXPECT_FALSE(heatRelease(engine, cycles->angles, cycles->cycle(0), window, {1, 1.3}));
  EXPECT_FALSE(heatRelease(engine, cycles->angles, cycles->cycle(0), window, {1.3, 2.1}));
  EXPECT_FALSE(heatRelease(engine, cycles->angles, cycles->cycle(0), window, {NAN, 1.3}));
  EXPECT_FALSE(heatRelease(engine, cycles->angles, cycles->cycle(0), {0.01, 0.15}, {1.3, 1.3}));
  EXPECT_FALSE(heatRelease(engine, cycles->angles, std::vector<float>(7200, 0), window, {1.3, 1.3}));
  EXPECT_TRUE(heatCurve(engine, cycles->angles, cycles->cycle(0), {0.01, 0.02}, {1.3, 1.3}).empty());
}

}  // namespace
}  // namespace kxanalysis_test
