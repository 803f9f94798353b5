#include "analysis/combustion/pressure_cycles.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "analysis/number_text.hpp"

namespace kxanalysis {
namespace {

constexpr double cycleDegrees = 720, cycleBegin = -360;

/// Share of a step by which a printed angle may be beside its place.
constexpr double angleTolerance = 0.1;

/// Coarser samples say nothing about combustion.
constexpr double longestStep = 10;

constexpr int digits = 6;

/// @param row  from 0.
Problem problemAt(size_t row, const std::string& what) {
  return {"data row " + std::to_string(row + 1) + ": " + what};
}

double stepOf(const std::vector<double>& angles) {
  return (angles.back() - angles.front()) / static_cast<double>(angles.size() - 1);
}

/// Angles that begin anew with each cycle run on.
void unwrap(std::vector<double>& angles) {
  double turns = 0;
  for (size_t i = 1; i < angles.size(); ++i) {
    angles[i] += turns;
    const double here = angles[i] - angles[i - 1];
    if (here > -cycleDegrees && here <= longestStep - cycleDegrees) {
      turns += cycleDegrees;
      angles[i] += cycleDegrees;
    }
  }
}

/// The step that as many are below as above: one bad row does not change it. NaN if there is none.
double usualStep(const std::vector<double>& angles) {
  std::vector<double> steps;
  for (size_t i = 1; i < angles.size(); ++i) {
    if (std::isfinite(angles[i] - angles[i - 1])) {
      steps.push_back(angles[i] - angles[i - 1]);
    }
  }
  if (steps.empty()) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  const auto middle = steps.begin() + static_cast<std::ptrdiff_t>((steps.size() - 1) / 2);
  std::nth_element(steps.begin(), middle, steps.end());
  return *middle;
}

/// The kernels weigh samples, not degrees.
std::optional<Problem> unevenSteps(const std::vector<double>& angles) {
  if (angles.size() < 2) {
    return Problem{"holds " + std::to_string(angles.size()) + " rows of numbers: that is no cycle"};
  }
  const double step = usualStep(angles);
  if (step > longestStep) {
    return Problem{"has a sample every " + numberText(step, digits) + " degrees: at most " +
                   numberText(longestStep, digits) + " are of use"};
  }
  for (size_t i = 1; i < angles.size(); ++i) {
    const double here = angles[i] - angles[i - 1];
    if (!(here > 0)) {
      return problemAt(i, "the crank angle does not rise");
    }
    if (std::abs(here - step) > angleTolerance * step) {
      return problemAt(i, "the crank angle steps by " + numberText(here, digits) + " degrees, most others by " +
                              numberText(step, digits));
    }
  }
  return std::nullopt;
}

/// Where the rows of a cycle stand from -360 degrees on.
struct Turned {
  std::vector<double> angles;
  size_t first = 0;  // row that comes first
};

/// Angles of one cycle that may lie anywhere, at most one row more than it has.
Result<Turned> turned(const std::vector<double>& angles) {
  const double step = stepOf(angles), room = angleTolerance * step;
  Turned turned;
  for (const double angle : angles) {
    turned.angles.push_back(angle - cycleDegrees * std::floor((angle - cycleBegin + room) / cycleDegrees));
  }
  const auto fall = std::is_sorted_until(turned.angles.begin(), turned.angles.end());
  turned.first = fall == turned.angles.end() ? 0 : static_cast<size_t>(fall - turned.angles.begin());
  if (turned.first > 0 && std::abs(static_cast<double>(angles.size()) * step - cycleDegrees) > room) {
    return Problem{"the crank angle runs from " + numberText(angles.front(), digits) + " to " +
                   numberText(angles.back(), digits) +
                   " degrees: that is neither a whole cycle nor one within -360 to 360 degrees"};
  }
  std::rotate(turned.angles.begin(), fall, turned.angles.end());
  return turned;
}

/// A column a cycle: rows become columns.
Result<CutCycles> cyclesBeside(std::vector<double> angles, const std::vector<float>& pressures, size_t columns) {
  const double step = stepOf(angles), room = angleTolerance * step;
  if (angles.back() - angles.front() > cycleDegrees + room) {
    return Problem{"the crank angle runs over " + numberText(angles.back() - angles.front(), digits) +
                   " degrees: columns of pressures are one cycle each, of 720"};
  }
  Turned rows{angles, 0};
  const bool isOutside = angles.front() < cycleBegin - room || angles.back() > cycleBegin + cycleDegrees + room;
  const bool hasTwice = isOutside && angles.back() - angles.front() > cycleDegrees - room;
  if (hasTwice) {
    angles.pop_back();
  }
  if (isOutside) {
    auto cycle = turned(angles);
    if (!cycle) {
      return Problem{cycle.problem()};
    }
    rows = std::move(*cycle);
  }
  PressureCycles cycles{std::move(rows.angles), {}};
  const size_t length = cycles.angles.size();
  cycles.samples.resize(length * columns);
  for (size_t i = 0; i < length; ++i) {
    const size_t row = (rows.first + i) % length;
    for (size_t cycle = 0; cycle < columns; ++cycle) {
      cycles.samples[cycle * length + i] = pressures[row * columns + cycle];
    }
  }
  return CutCycles{std::move(cycles), hasTwice ? columns : 0};
}

/// One pressure over many turns: the complete cycles.
Result<CutCycles> cyclesInARow(const std::vector<double>& angles, const std::vector<float>& pressures) {
  const double step = stepOf(angles);
  const double length = std::round(cycleDegrees / step);
  if (std::abs(length * step - cycleDegrees) > angleTolerance * step) {
    return Problem{"720 degrees are not a whole number of steps of " + numberText(step, digits) +
                   ": the cycles' samples do not meet"};
  }
  const double firstCycle = std::ceil((angles.front() - cycleBegin) / cycleDegrees - angleTolerance / length);
  const double begin = cycleBegin + firstCycle * cycleDegrees;
  const auto samples = static_cast<size_t>(length);
  const auto first = static_cast<size_t>(std::max(0.0, std::round((begin - angles.front()) / step)));
  const size_t count = first < angles.size() ? (angles.size() - first) / samples : 0;
  if (count == 0) {
    return Problem{"holds no complete cycle from -360 to 360 degrees"};
  }
  PressureCycles cycles;
  for (size_t i = 0; i < samples; ++i) {
    cycles.angles.push_back(angles[first + i] - firstCycle * cycleDegrees);
  }
  const auto from = pressures.begin() + static_cast<std::ptrdiff_t>(first);
  cycles.samples.assign(from, from + static_cast<std::ptrdiff_t>(count * samples));
  return CutCycles{std::move(cycles), angles.size() - count * samples};
}

}  // namespace

Result<CutCycles> cyclesOf(std::vector<double> angles, const std::vector<float>& pressures, size_t columns,
                           double tdc) {
  if (columns < 1 || pressures.size() != angles.size() * columns) {
    return unsuitable("columns", static_cast<double>(columns),
                      std::to_string(angles.size()) + " rows hold " + std::to_string(pressures.size()) + " pressures");
  }
  if (!(std::abs(tdc) <= cycleDegrees)) {
    return unsuitable("top dead centre", tdc, "it lies from -720 to 720 degrees");
  }
  unwrap(angles);
  if (auto problem = unevenSteps(angles)) {
    return std::move(*problem);
  }
  for (double& angle : angles) {
    angle -= tdc;
  }
  const double span = angles.back() - angles.front();
  const bool isOneCycle = columns > 1 || span < cycleDegrees + angleTolerance * stepOf(angles);
  return isOneCycle ? cyclesBeside(std::move(angles), pressures, columns) : cyclesInARow(angles, pressures);
}

Result<> checkedAngles(std::vector<double> angles) {
  unwrap(angles);
  if (auto problem = angles.size() < 2 ? std::nullopt : unevenSteps(angles)) {
    return std::move(*problem);
  }
  return Done{};
}

}  // namespace kxanalysis
