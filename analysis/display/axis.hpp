// Axes of a graph: their ends, and where their ticks stand.
#pragma once

#include <string>
#include <vector>

namespace kxanalysis {

enum class AxisScale { linear, logarithmic, decibel };

struct Axis {
  AxisScale scale = AxisScale::linear;
  double minimum = 0;  ///< ends; of a decibel axis in dB re 1
  double maximum = 1;
};

/// Decades that a logarithmic axis spans at least. The kernel's logarithms are quick, with an error of up to 0.00012:
/// on shorter axes it would be seen.
constexpr double leastDecades = 0.1;

/// A Y axis of that scale for a curve.
/// @param low, high       lowest and highest value to show, finite; for logarithmic and decibel axes magnitudes.
/// @param lowestPositive  the least of the values that are above 0; without one, high.
Axis axisAround(AxisScale scale, double low, double high, double lowestPositive);

struct Tick {
  double value;  ///< also on a decibel axis the value itself
  std::string label;
};

/// Ticks at round values. Some have no label.
/// @param room  number of labels that there is room for.
std::vector<Tick> ticksOf(const Axis& axis, int room);

}  // namespace kxanalysis
