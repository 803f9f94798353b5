// Figures of pressure curves over the crank angle.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "analysis/combustion/engine.hpp"

namespace kxanalysis {

/// From one crank angle to another, in degrees.
struct AngleWindow {
  double from;
  double to;
};

/// The samples whose angles lie in a window, with a hair's breadth of tolerance; `count` may be 0.
struct SampleRange {
  size_t first;
  size_t count;
};
SampleRange samplesIn(const std::vector<double>& angles, AngleWindow window);

/// y = intercept + slope * x.
struct Line {
  double intercept;
  double slope;
};

/// The line of least squares; none through fewer than two different x.
std::optional<Line> fitLine(std::span<const double> x, std::span<const double> y);

/// The compression and the expansion stroke.
constexpr AngleWindow closedCycle{-180, 180};

/// Gross indicated mean effective pressure in the pressures' unit: the work, the integral of p dV from -180 to 180
/// degrees, over the displacement.
/// @param angles  from -180 or less to 180 or more.
double grossMeanEffectivePressure(const Engine& engine, const std::vector<double>& angles,
                                  std::span<const float> pressures);

/// Net indicated mean effective pressure: the same over all four strokes. None if the angles are not those of a whole cycle of 720
/// degrees, with the last one there or left to the next cycle.
std::optional<double> netMeanEffectivePressure(const Engine& engine, const std::vector<double>& angles,
                                               std::span<const float> pressures);

struct PressureRise {
  double steepness;  ///< pressure per degree
  double angle;      ///< in degrees
};

/// The steepest rise in a window, the first of equal ones, of differences over two steps.
PressureRise steepestRise(const std::vector<double>& angles, std::span<const float> pressures, AngleWindow window);

/// p V^exponent = constant, fitted over a window.
struct Polytrope {
  AngleWindow window;
  double exponent;
  double logConstant;  ///< natural logarithm of the constant, of bar and cubic centimetres

  /// In bar, of a volume in cubic centimetres.
  double pressure(double volume) const;
};

/// By least squares of log p over log V. None if fewer than two pressures are above 0.
std::optional<Polytrope> fitPolytrope(const Engine& engine, const std::vector<double>& angles,
                                      std::span<const float> pressures, AngleWindow window);

/// How a figure scatters over the cycles, in the unit of the figure.
struct Spread {
  size_t count = 0;  ///< of cycles; without any the rest means nothing
  double mean = 0;
  double minimum = 0;
  double maximum = 0;
  std::optional<double> deviation;  ///< standard deviation of the population that the cycles are a sample of

  /// Coefficient of variation in percent.
  std::optional<double> variation() const;
};

Spread spreadOf(const std::vector<double>& figures);

}  // namespace kxanalysis
