#include "analysis/combustion/pressure_cycles.hpp"

#include <algorithm>
#include <cmath>
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

/// The kernels weigh samples, not degrees.
std::optional<Problem> unevenSteps(const std::vector<double>& angles) {
  if (angles.size() < 2) {
    return Problem{"holds " + std::to_string(angles.size()) + " rows of numbers: that is no cycle"};
  }
  const double step = angles[1] - angles[0];
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
      return problemAt(i, "the crank angle steps by " + numberText(here, digits) + " degrees, the rows before by " +
                              numberText(step, digits));
    }
  }
  return std::nullopt;
}

/// A column a cycle: rows become columns.
Result<CutCycles> cyclesBeside(std::vector<double> angles, const std::vector<float>& pressures, size_t columns) {
  if (const double room = angleTolerance * stepOf(angles);
      angles.front() < cycleBegin - room || angles.back() > cycleBegin + cycleDegrees + room) {
    return problemAt(angles.front() < cycleBegin - room ? 0 : angles.size() - 1,
                     "the crank angle lies outside of -360 to 360 degrees");
  }
  PressureCycles cycles{std::move(angles), std::vector<float>(pressures.size())};
  const size_t length = cycles.angles.size();
  for (size_t i = 0; i < length; ++i) {
    for (size_t cycle = 0; cycle < columns; ++cycle) {
      cycles.samples[cycle * length + i] = pressures[i * columns + cycle];
    }
  }
  return CutCycles{std::move(cycles)};
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

Result<CutCycles> cyclesOf(std::vector<double> angles, const std::vector<float>& pressures, size_t columns) {
  if (columns < 1 || pressures.size() != angles.size() * columns) {
    return unsuitable("columns", static_cast<double>(columns),
                      std::to_string(angles.size()) + " rows hold " + std::to_string(pressures.size()) + " pressures");
  }
  if (auto problem = unevenSteps(angles)) {
    return std::move(*problem);
  }
  const double span = angles.back() - angles.front();
  const bool isOneCycle = columns > 1 || span < cycleDegrees + angleTolerance * stepOf(angles);
  return isOneCycle ? cyclesBeside(std::move(angles), pressures, columns) : cyclesInARow(angles, pressures);
}

}  // namespace kxanalysis
