#include "recordings/pressure_cycles.hpp"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <utility>

#include "analysis/number_text.hpp"
#include "recordings/recording.hpp"

namespace kxrecordings {
using namespace kxanalysis;
namespace {

constexpr double cycleDegrees = 720, cycleBegin = -360;

/// Share of a step by which a printed angle may be beside its place.
constexpr double angleTolerance = 0.1;

/// Coarser samples say nothing about combustion, larger angles are none.
constexpr double longestStep = 10, greatestAngle = 1e9;

/// In bar, far above any engine's: enough for the sums of many cycles to stay finite.
constexpr double greatestPressure = 1e9;

/// The angle's column, and all others, frame after frame.
struct AngleRows {
  std::string file;
  std::vector<double> angles;
  std::vector<float> pressures;
  size_t columns = 0;  // of pressures

  [[noreturn]] void refuse(size_t row, const std::string& what) const {
    throw FileError(file, "data row " + std::to_string(row + 1) + ": " + what);
  }

  double step() const { return (angles.back() - angles.front()) / static_cast<double>(angles.size() - 1); }
};

void addRow(AngleRows& rows, std::span<const double> row, const std::vector<std::string>& names) {
  const auto refuse = [&](size_t column, const std::string& what) {
    rows.refuse(rows.angles.size(), "column " + names[column] + ": " + numberText(row[column], 6) + " is no " + what);
  };
  if (!(std::abs(row[0]) <= greatestAngle)) {
    refuse(0, "crank angle");
  }
  for (size_t i = 1; i < row.size(); ++i) {
    if (!(std::abs(row[i]) <= greatestPressure)) {
      refuse(i, "pressure");
    }
    rows.pressures.push_back(static_cast<float>(row[i]));
  }
  rows.angles.push_back(row[0]);
  if (rows.pressures.size() > mostSamples) {
    throw FileError(rows.file, "holds more than " + std::to_string(mostSamples) + " samples");
  }
}

AngleRows readRows(const std::string& file, const std::vector<std::string>& columns) {
  InputOptions options;
  options.columns = columns;
  const auto recording = openRecording(file, options);
  const std::vector<std::string>& names = recording->format().channels;
  if (!recording->notes().empty()) {
    throw FileError(file, "data row 1: " + recording->notes().front() + ", which only --column can allow");
  }
  if (names.size() < 2) {
    throw FileError(file, "has one column: a crank angle and at least one pressure are needed");
  }
  AngleRows rows{file, {}, {}, names.size() - 1};
  std::vector<double> block(blockFrames * names.size());
  while (const size_t frames = recording->read(std::span(block))) {
    for (size_t frame = 0; frame < frames; ++frame) {
      addRow(rows, std::span(block).subspan(frame * names.size(), names.size()), names);
    }
  }
  return rows;
}

/// The kernels weigh samples, not degrees.
void requireEvenSteps(const AngleRows& rows) {
  if (rows.angles.size() < 2) {
    throw FileError(rows.file, "holds " + std::to_string(rows.angles.size()) + " rows of numbers: that is no cycle");
  }
  const double step = rows.angles[1] - rows.angles[0];
  if (step > longestStep) {
    throw FileError(rows.file, "has a sample every " + numberText(step, 6) + " degrees: at most " +
                                   numberText(longestStep, 6) + " are of use");
  }
  for (size_t i = 1; i < rows.angles.size(); ++i) {
    const double here = rows.angles[i] - rows.angles[i - 1];
    if (!(here > 0)) {
      rows.refuse(i, "the crank angle does not rise");
    }
    if (std::abs(here - step) > angleTolerance * step) {
      rows.refuse(
          i, "the crank angle steps by " + numberText(here, 6) + " degrees, the rows before by " + numberText(step, 6));
    }
  }
}

/// A column a cycle: rows become columns.
PressureCycles cyclesBeside(AngleRows rows) {
  if (const double last = rows.angles.back(), room = angleTolerance * rows.step();
      rows.angles.front() < cycleBegin - room || last > cycleBegin + cycleDegrees + room) {
    rows.refuse(rows.angles.front() < cycleBegin - room ? 0 : rows.angles.size() - 1,
                "the crank angle lies outside of -360 to 360 degrees");
  }
  PressureCycles cycles{std::move(rows.angles), std::vector<float>(rows.pressures.size())};
  const size_t length = cycles.angles.size();
  for (size_t i = 0; i < length; ++i) {
    for (size_t cycle = 0; cycle < rows.columns; ++cycle) {
      cycles.samples[cycle * length + i] = rows.pressures[i * rows.columns + cycle];
    }
  }
  return cycles;
}

/// One pressure over many turns: the complete cycles.
PressureCycles cyclesInARow(const AngleRows& rows, std::vector<std::string>& notes) {
  const double step = rows.step();
  const double length = std::round(cycleDegrees / step);
  if (std::abs(length * step - cycleDegrees) > angleTolerance * step) {
    throw FileError(rows.file, "720 degrees are not a whole number of steps of " + numberText(step, 6) +
                                   ": the cycles' samples do not meet");
  }
  const double firstCycle = std::ceil((rows.angles.front() - cycleBegin) / cycleDegrees - angleTolerance / length);
  const double begin = cycleBegin + firstCycle * cycleDegrees;
  const auto samples = static_cast<size_t>(length);
  const auto first = static_cast<size_t>(std::max(0.0, std::round((begin - rows.angles.front()) / step)));
  const size_t count = first < rows.angles.size() ? (rows.angles.size() - first) / samples : 0;
  if (count == 0) {
    throw FileError(rows.file, "holds no complete cycle from -360 to 360 degrees");
  }
  PressureCycles cycles;
  for (size_t i = 0; i < samples; ++i) {
    cycles.angles.push_back(rows.angles[first + i] - firstCycle * cycleDegrees);
  }
  const auto from = rows.pressures.begin() + static_cast<std::ptrdiff_t>(first);
  cycles.samples.assign(from, from + static_cast<std::ptrdiff_t>(count * samples));
  if (const size_t left = rows.angles.size() - count * samples; left > 0) {
    notes.push_back(std::to_string(left) + " samples outside of the " + std::to_string(count) +
                    " complete cycles are left out");
  }
  return cycles;
}

}  // namespace

PressureCycles readCycles(const std::string& file, const std::vector<std::string>& columns,
                          std::vector<std::string>& notes) {
  AngleRows rows = readRows(file, columns);
  requireEvenSteps(rows);
  const double span = rows.angles.back() - rows.angles.front();
  const bool isOneCycle = rows.columns > 1 || span < cycleDegrees + angleTolerance * rows.step();
  return isOneCycle ? cyclesBeside(std::move(rows)) : cyclesInARow(rows, notes);
}

void writeCycles(const OutputFile& file, const PressureCycles& cycles) {
  constexpr int singleDigits = 9;  // with which every single is read again as it was
  std::ofstream out(file.draft(), std::ios::binary);
  out << "angle";
  for (size_t cycle = 0; cycle < cycles.count(); ++cycle) {
    out << ",cycle " << cycle + 1;
  }
  out << '\n';
  for (size_t i = 0; i < cycles.angles.size(); ++i) {
    out << numberText(cycles.angles[i], allDigits);
    for (size_t cycle = 0; cycle < cycles.count(); ++cycle) {
      out << ',' << numberText(static_cast<double>(cycles.cycle(cycle)[i]), singleDigits);
    }
    out << '\n';
  }
  out.close();
  if (!out) {
    throw FileError(file.name(), "cannot be written: no room for it");
  }
  file.place();
}

}  // namespace kxrecordings
