// Cylinder pressure of an engine that does not exist, as a sensor would show it.
#pragma once

#include <cstdint>

#include "analysis/combustion/engine.hpp"
#include "analysis/combustion/pressure_cycles.hpp"
#include "analysis/problem.hpp"

namespace kxanalysis {

/// Pressures are in bar, crank angles in degrees. The defaults are those of a small spark-ignition engine at full load,
/// within the ranges that Heywood, Internal Combustion Engine Fundamentals (1988), gives in chapter 9.
struct Simulation {
  int cycles = 100;
  double step = 0.5;  ///< degrees between samples
  uint64_t seed = 1;  ///< of scatter and noise

  double intakePressure = 1;
  double exhaustPressure = 1.1;
  double inletClosing = -140;
  double exhaustOpening = 130;
  double compressionExponent = 1.32;
  double expansionExponent = 1.27;

  double burnStart = -15;
  double burnDuration = 50;
  double wiebeEfficiency = 5;  ///< a of the Wiebe function
  double wiebeForm = 2;        ///< m of the Wiebe function
  double heat = 1000;          ///< released in a cycle, in joules, less what the walls take

  double burnStartScatter = 1.5;   ///< standard deviations from cycle to cycle: in degrees,
  double burnDurationScatter = 6;  ///< in percent,
  double heatScatter = 2;          ///< in percent

  double noise = 0.1;       ///< of the sensor, standard deviation
  double zeroLevel = 2;     ///< what the sensor shows at no pressure in the first cycle
  double zeroDrift = 0.01;  ///< by which that rises with every cycle
};

/// Whole cycles of 720 degrees from -360 on. The same seed gives the same samples.
/// @param simulation  at least one cycle; 720 degrees are a whole number of steps, and all cycles hold mostPressures
///                    samples at most.
Result<PressureCycles> simulate(const Engine& engine, const Simulation& simulation);

}  // namespace kxanalysis
