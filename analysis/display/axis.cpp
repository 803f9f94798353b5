#include "analysis/display/axis.hpp"

#include <algorithm>
#include <cmath>

#include "analysis/number_text.hpp"

namespace kxanalysis {
namespace {

/// What the kernel's logarithms of single precision tell apart from 0 and infinity.
constexpr double leastMagnitude = 1e-37, greatestMagnitude = 1e38;

constexpr double mostDecades = 6, mostDecibels = 120, leastDecibels = 20;

/// Decades by which a value may lie beyond the end of an axis: less than is seen, and more than the rounding of 0.01
/// to single, which is not to cost an empty decade.
constexpr double overhang = 0.001;

Axis linearAxis(double low, double high) {
  constexpr double greatest = 1e300;  // whose differences do not overflow
  low = std::clamp(low, -greatest, greatest);
  high = std::clamp(high, -greatest, greatest);
  const double air = high > low ? 0.06 * (high - low) : std::max(std::abs(high), 1.0);
  return {AxisScale::linear, low - air, high + air};
}

Axis logarithmicAxis(double low, double high) {
  const double top = std::ceil(std::log10(high) - overhang);
  const double bottom = std::clamp(std::floor(std::log10(low) + overhang), top - mostDecades, top - 1);
  return {AxisScale::logarithmic, std::pow(10.0, bottom), std::pow(10.0, top)};
}

Axis decibelAxis(double low, double high) {
  const double top = 10 * std::ceil(2 * (std::log10(high) - overhang));
  const double bottom =
      std::clamp(10 * std::floor(2 * (std::log10(low) + overhang)), top - mostDecibels, top - leastDecibels);
  return {AxisScale::decibel, bottom, top};
}

/// The least of 1, 2, 5, 10, 20, 50, ... and their tenths that is not below `least`.
double roundStep(double least) {
  const double power = std::pow(10.0, std::floor(std::log10(least)));
  for (const double step : {1.0, 2.0, 5.0}) {
    if (step * power >= least) {
      return step * power;
    }
  }
  return 10 * power;
}

std::vector<Tick> linearTicks(const Axis& axis, int room) {
  constexpr int digits = 12;  // enough for any step on a time axis, too few for the error of first + i * step
  const double step = roundStep((axis.maximum - axis.minimum) / room);
  const double first = std::ceil(axis.minimum / step), last = std::floor(axis.maximum / step);
  std::vector<Tick> ticks;
  for (int i = 0; i <= static_cast<int>(last - first); ++i) {
    const double position = (first + i) * step + 0.0;  // + 0 takes the sign off a zero
    const bool isDecibel = axis.scale == AxisScale::decibel;
    ticks.push_back({isDecibel ? std::pow(10.0, position / 20) : position, numberText(position, digits)});
  }
  return ticks;
}

/// Decades with labels, as far as there is room, and between them the other multiples, of which few decades leave room
/// for the labels of 2 and 5. An axis of less than a decade may have none of them: linear ticks, then.
std::vector<Tick> logarithmicTicks(const Axis& axis, int room) {
  constexpr int digits = 6;
  const int first = static_cast<int>(std::floor(std::log10(axis.minimum)));
  const int last = static_cast<int>(std::floor(std::log10(axis.maximum) + 1e-9));
  if (axis.maximum < 10 * axis.minimum) {
    return linearTicks(axis, room);
  }
  const int every = (last - first) / room + 1;
  const bool hasRoom = 3 * (last - first + 1) <= room;
  std::vector<Tick> ticks;
  for (int decade = first; decade <= last; ++decade) {
    for (int multiple = 1; multiple <= 9; ++multiple) {
      const double value = multiple * std::pow(10.0, decade);
      if (value >= axis.minimum && value <= axis.maximum) {
        const bool hasLabel = multiple == 1 ? decade % every == 0 : hasRoom && (multiple == 2 || multiple == 5);
        ticks.push_back({value, hasLabel ? numberText(value, digits) : ""});
      }
    }
  }
  return ticks;
}

}  // namespace

Axis axisAround(AxisScale scale, double low, double high, double lowestPositive) {
  if (scale == AxisScale::linear) {
    return linearAxis(low, high);
  }
  const double top = std::clamp(high, leastMagnitude, greatestMagnitude);
  const double bottom = std::clamp(lowestPositive, leastMagnitude, top);
  return scale == AxisScale::logarithmic ? logarithmicAxis(bottom, top) : decibelAxis(bottom, top);
}

std::vector<Tick> ticksOf(const Axis& axis, int room) {
  return axis.scale == AxisScale::logarithmic ? logarithmicTicks(axis, room) : linearTicks(axis, room);
}

}  // namespace kxanalysis
