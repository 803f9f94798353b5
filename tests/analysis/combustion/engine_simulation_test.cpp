#include "analysis/combustion/engine_simulation.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

constexpr Engine engine{80, 90, 140, 12};

/// Without scatter, noise or a zero level.
Simulation quiet() {
  Simulation simulation;
  simulation.cycles = 1;
  simulation.step = 1;
  simulation.burnStartScatter = simulation.burnDurationScatter = simulation.heatScatter = 0;
  simulation.noise = simulation.zeroLevel = simulation.zeroDrift = 0;
  return simulation;
}

std::vector<double> pressuresOf(const Simulation& simulation) {
  const auto cycles = simulate(engine, simulation);
  EXPECT_TRUE(cycles) << cycles.problem();
  return {cycles->samples.begin(), cycles->samples.end()};
}

size_t at(int angle) {
  return static_cast<size_t>(angle + 360);
}

TEST(EngineSimulation, WithoutHeatTheClosedCycleIsAPolytrope) {
  Simulation simulation = quiet();
  simulation.heat = 0;
  simulation.expansionExponent = simulation.compressionExponent;
  const std::vector<double> p = pressuresOf(simulation);
  ASSERT_EQ(p.size(), 720U);
  for (int angle = -140; angle <= 130; ++angle) {
    expectClose(p[at(angle)], std::pow(engine.volume(-140) / engine.volume(angle), 1.32), 1e-6);
  }
  for (int angle = -360; angle < -140; ++angle) {
    expectClose(p[at(angle)], 1 + 0.1 * std::exp((-360 - angle) / 8.0), 1e-6);
  }
  const double opening = std::pow(engine.volume(-140) / engine.volume(130), 1.32);
  for (int angle = 131; angle < 360; ++angle) {
    expectClose(p[at(angle)], 1.1 + (opening - 1.1) * std::exp((130 - angle) / 15.0), 1e-6);
  }
}

/// With one exponent n, p V^n grows by (n - 1) V^(n - 1) dQ: an integral over the angle. The steps of a tenth of a degree
/// differ from it by little, and by the same as steps of a tenth that are summed here.
TEST(EngineSimulation, HeatRaisesThePressureByTheFirstLaw) {
  Simulation simulation = quiet();
  simulation.compressionExponent = 1.32;
  simulation.expansionExponent = 1.27;
  const std::vector<double> p = pressuresOf(simulation);
  const auto burnt = [](double angle) {
    const double share = (angle + 15) / 50;
    return share <= 0 ? 0 : 1 - std::exp(-5 * share * share * share);
  };
  double pressure = 1, before = -140;
  for (int tenth = -1399; tenth <= 1300; ++tenth) {
    const double angle = tenth / 10.0, heat = 1000 * (burnt(angle) - burnt(before));
    const double exponent = 1.32 - 0.05 * (burnt(angle) + burnt(before)) / 2;
    pressure = pressure * std::pow(engine.volume(before) / engine.volume(angle), exponent) +
               (exponent - 1) * heat / (engine.volume(angle) * 1e-6) / 1e5;
    before = angle;
    if (tenth % 10 == 0) {
      expectClose(p[at(tenth / 10)], pressure, 1e-6);
    }
  }
}

TEST(EngineSimulation, CyclesScatterDriftAndAreNoisyAsTheyAreTold) {
  Simulation simulation = quiet();
  simulation.cycles = 2000;
  simulation.step = 10;
  simulation.noise = 0.5;
  simulation.zeroLevel = 3;
  simulation.zeroDrift = 0.01;
  Simulation still = simulation;
  still.cycles = 1;
  still.noise = still.zeroLevel = still.zeroDrift = 0;
  const auto noisy = simulate(engine, simulation), clean = simulate(engine, still);
  ASSERT_TRUE(noisy && clean);
  EXPECT_EQ(noisy->count(), 2000U);
  EXPECT_EQ(noisy->angles.front(), -360);
  EXPECT_EQ(noisy->angles.back(), 350);
  double sum = 0, squares = 0;
  for (size_t cycle = 0; cycle < 2000; ++cycle) {
    for (size_t i = 0; i < 72; ++i) {
      const double noise = static_cast<double>(noisy->cycle(cycle)[i]) - static_cast<double>(clean->samples[i]) - 3 -
                           0.01 * static_cast<double>(cycle);
      sum += noise;
      squares += noise * noise;
    }
  }
  EXPECT_NEAR(sum / 144000, 0, 0.005);
  EXPECT_NEAR(std::sqrt(squares / 144000), 0.5, 0.005);
}

/// The seed's uniform numbers, by Box and Muller, in the order in which a cycle draws them.
TEST(EngineSimulation, TheDrawsOfACycle) {
  Simulation simulation = quiet();
  simulation.seed = 17;
  simulation.burnStartScatter = 2;
  simulation.burnDurationScatter = 7;
  simulation.heatScatter = 4;
  simulation.noise = 0.25;
  std::mt19937_64 random(17);
  const auto uniform = [&] { return std::ldexp(static_cast<double>(random() >> 11), -53); };
  const auto normal = [&] {
    const double radius = std::sqrt(-2 * std::log(1 - uniform()));
    return radius * std::cos(2 * std::numbers::pi * uniform());
  };
  Simulation drawn = quiet();
  drawn.burnStart += 2 * std::clamp(normal(), -3.0, 3.0);
  drawn.burnDuration *= 1 + 0.07 * std::clamp(normal(), -3.0, 3.0);
  drawn.heat *= 1 + 0.04 * std::clamp(normal(), -3.0, 3.0);
  const std::vector<double> found = pressuresOf(simulation), expected = pressuresOf(drawn);
  for (size_t i = 0; i < found.size(); ++i) {
    ASSERT_NEAR(found[i], expected[i] + 0.25 * normal(), 1e-5 + 3e-7 * expected[i]);
  }
  simulation.seed = 18;
  EXPECT_NE(pressuresOf(simulation), found);
}

TEST(EngineSimulation, TheUsualEngineIsSmallAndAtFullLoad) {
  const Simulation s;
  EXPECT_EQ(s.cycles, 100);
  EXPECT_EQ(s.step, 0.5);
  EXPECT_EQ(s.seed, 1U);
  const std::array figures{s.intakePressure,
                           s.exhaustPressure,
                           s.inletClosing,
                           s.exhaustOpening,
                           s.compressionExponent,
                           s.expansionExponent,
                           s.burnStart,
                           s.burnDuration,
                           s.wiebeEfficiency,
                           s.wiebeForm,
                           s.heat,
                           s.burnStartScatter,
                           s.burnDurationScatter,
                           s.heatScatter,
                           s.noise,
                           s.zeroLevel,
                           s.zeroDrift};
  EXPECT_EQ(figures,
            (std::array<double, 17>{1, 1.1, -140, 130, 1.32, 1.27, -15, 50, 5, 2, 1000, 1.5, 6, 2, 0.1, 2, 0.01}));
}

TEST(EngineSimulation, SettingsThatCannotBeAreNamed) {
  const auto problem = [](int cycles, double step, Engine measures = engine) {
    Simulation simulation = quiet();
    simulation.cycles = cycles;
    simulation.step = step;
    return problemOf(simulate(measures, simulation));
  };
  EXPECT_EQ(problem(1, 1, {0, 1, 1, 2}), "bore is 0: it is above 0 mm");
  EXPECT_EQ(problem(0, 1), "cycles is 0: at least 1 is simulated");
  const std::string steps = ": 720 degrees are not a whole number of steps";
  EXPECT_EQ(problem(1, 7), "step is 7" + steps);
  EXPECT_EQ(problem(1, 0), "step is 0" + steps);
  EXPECT_EQ(problem(1, 720), "step is 720" + steps);
  EXPECT_EQ(problem(1, NAN), "step is nan" + steps);
  EXPECT_EQ(problem(1, 360), "");
  EXPECT_EQ(problem(372828, 1), "cycles is 372828: that is more than 268435456 samples");
}

}  // namespace
}  // namespace kxanalysis_test
