#include "analysis/combustion/cycle_figures.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace kxanalysis {
namespace {

/// A point of a curve between two samples.
struct Point {
  double angle;
  double pressure;
};

Point pointAt(double angle, Point before, Point after) {
  return {angle, std::lerp(before.pressure, after.pressure, (angle - before.angle) / (after.angle - before.angle))};
}

}  // namespace

SampleRange samplesIn(const std::vector<double>& angles, AngleWindow window) {
  constexpr double tolerance = 1e-6;
  const auto first = std::lower_bound(angles.begin(), angles.end(), window.from - tolerance);
  const auto last = std::upper_bound(first, angles.end(), window.to + tolerance);
  return {static_cast<size_t>(first - angles.begin()), static_cast<size_t>(last - first)};
}

std::optional<Line> fitLine(std::span<const double> x, std::span<const double> y) {
  const auto count = static_cast<double>(x.size());
  const double xMean = std::accumulate(x.begin(), x.end(), 0.0) / count;
  const double yMean = std::accumulate(y.begin(), y.end(), 0.0) / count;
  double products = 0, squares = 0;
  for (size_t i = 0; i < x.size(); ++i) {
    products += (x[i] - xMean) * (y[i] - yMean);
    squares += (x[i] - xMean) * (x[i] - xMean);
  }
  if (!(squares > 0)) {
    return std::nullopt;
  }
  const double slope = products / squares;
  return Line{yMean - slope * xMean, slope};
}

/// Trapezoids: Heywood, Internal Combustion Engine Fundamentals (1988), sections 2.4 (gross indicated work) and 2.7.
/// Where -180 or 180 degrees lie between two samples, so does the end of the curve.
double grossMeanEffectivePressure(const Engine& engine, const std::vector<double>& angles,
                                  std::span<const float> pressures) {
  double work = 0;
  for (size_t i = 1; i < angles.size(); ++i) {
    const Point before{angles[i - 1], static_cast<double>(pressures[i - 1])};
    const Point after{angles[i], static_cast<double>(pressures[i])};
    const double begin = std::max(before.angle, closedCycle.from), end = std::min(after.angle, closedCycle.to);
    if (begin < end) {
      const double pressure = (pointAt(begin, before, after).pressure + pointAt(end, before, after).pressure) / 2;
      work += pressure * (engine.volume(end) - engine.volume(begin));
    }
  }
  return work / engine.displacement();
}

/// Heywood (1988), section 2.4. A last angle that is left to the next cycle is closed with the cycle's own first sample.
std::optional<double> netMeanEffectivePressure(const Engine& engine, const std::vector<double>& angles,
                                               std::span<const float> pressures) {
  constexpr double cycleDegrees = 720, tolerance = 0.1;
  const double span = angles.back() - angles.front(), step = span / static_cast<double>(angles.size() - 1);
  const bool isOpen = std::abs(span + step - cycleDegrees) <= tolerance * step;
  if (!isOpen && std::abs(span - cycleDegrees) > tolerance * step) {
    return std::nullopt;
  }
  double work = 0;
  for (size_t i = 1; i < angles.size() + (isOpen ? 1 : 0); ++i) {
    const size_t end = i % angles.size();
    const double sum = static_cast<double>(pressures[i - 1]) + static_cast<double>(pressures[end]);
    work += sum / 2 * (engine.volume(angles[end]) - engine.volume(angles[i - 1]));
  }
  return work / engine.displacement();
}

PressureRise steepestRise(const std::vector<double>& angles, std::span<const float> pressures, AngleWindow window) {
  const SampleRange range = samplesIn(angles, window);
  PressureRise steepest{-std::numeric_limits<double>::infinity(), 0};
  for (size_t i = range.first + 1; i + 1 < range.first + range.count; ++i) {
    const double difference = static_cast<double>(pressures[i + 1]) - static_cast<double>(pressures[i - 1]);
    const double steepness = difference / (angles[i + 1] - angles[i - 1]);
    if (steepness > steepest.steepness) {
      steepest = {steepness, angles[i]};
    }
  }
  return steepest;
}

double Polytrope::pressure(double volume) const {
  return std::exp(logConstant - exponent * std::log(volume));
}

/// The straight parts of the double-logarithmic diagram: Heywood (1988), section 9.2.
std::optional<Polytrope> fitPolytrope(const Engine& engine, const std::vector<double>& angles,
                                      std::span<const float> pressures, AngleWindow window) {
  const SampleRange range = samplesIn(angles, window);
  std::vector<double> logVolumes, logPressures;
  for (size_t i = range.first; i < range.first + range.count; ++i) {
    if (pressures[i] > 0) {
      logVolumes.push_back(std::log(engine.volume(angles[i])));
      logPressures.push_back(std::log(static_cast<double>(pressures[i])));
    }
  }
  const auto line = fitLine(logVolumes, logPressures);
  return line ? std::optional(Polytrope{window, -line->slope, line->intercept}) : std::nullopt;
}

/// Cycle-by-cycle variation: Heywood (1988), section 9.4.
std::optional<double> Spread::variation() const {
  return deviation && mean != 0 ? std::optional(*deviation / std::abs(mean) * 100) : std::nullopt;
}

Spread spreadOf(const std::vector<double>& figures) {
  Spread spread;
  if (figures.empty()) {
    return spread;
  }
  const auto [minimum, maximum] = std::minmax_element(figures.begin(), figures.end());
  const auto count = static_cast<double>(figures.size());
  spread.count = figures.size();
  spread.mean = std::accumulate(figures.begin(), figures.end(), 0.0) / count;
  spread.minimum = *minimum;
  spread.maximum = *maximum;
  if (figures.size() > 1) {
    double squares = 0;
    for (const double figure : figures) {
      squares += (figure - spread.mean) * (figure - spread.mean);
    }
    spread.deviation = std::sqrt(squares / (count - 1));
  }
  return spread;
}

}  // namespace kxanalysis
