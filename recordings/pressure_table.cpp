#include "recordings/pressure_table.hpp"

#include <fmt/format.h>

#include <cmath>
#include <fstream>

namespace kxrecordings {
namespace {

/// Larger angles are none.
constexpr double greatestAngle = 1e9;

/// In bar, far above any engine's: enough for the sums of many cycles to stay finite.
constexpr double greatestPressure = 1e9;

void addRow(const std::string& file, PressureTable& table, std::span<const double> row,
            const std::vector<std::string>& names) {
  const auto refuse = [&](size_t column, const char* what) {
    throw FileError(file, fmt::format("data row {}: column {}: {:.6g} is no {}", table.angles.size() + 1, names[column],
                                      row[column], what));
  };
  if (!(std::abs(row[0]) <= greatestAngle)) {
    refuse(0, "crank angle");
  }
  for (size_t i = 1; i < row.size(); ++i) {
    if (!(std::abs(row[i]) <= greatestPressure)) {
      refuse(i, "pressure");
    }
  }
  for (const double pressure : row.subspan(1)) {
    table.pressures.push_back(static_cast<float>(pressure));
  }
  table.angles.push_back(row[0]);
}

}  // namespace

PressureTable readPressureTable(const std::string& file, InputOptions input, size_t most) {
  input.timesAreValues = true;
  input.requiresFinite = true;
  const auto recording = openRecording(file, input);
  const std::vector<std::string>& names = recording->format().channels;
  if (names.size() < 2) {
    throw FileError(file, "has one column: a crank angle and at least one pressure are needed");
  }
  PressureTable table{{}, {}, names.size() - 1, recording->notes(), ""};
  std::vector<double> row(names.size());  // one at a time: those before a bad one count
  try {
    while (recording->read(std::span(row)) == 1) {
      addRow(file, table, row, names);
      if (table.pressures.size() > most) {
        throw FileError(file, fmt::format("holds more than {} samples", most));
      }
    }
  } catch (const FileError& error) {
    table.problem = error.what();
  }
  return table;
}

void writePressureTable(const OutputFile& file, std::span<const double> angles, std::span<const float> samples) {
  const size_t length = angles.size(), cycles = samples.size() / length;
  std::ofstream out(file.draft(), std::ios::binary);
  out << "angle";
  for (size_t cycle = 0; cycle < cycles; ++cycle) {
    out << ",cycle " << cycle + 1;
  }
  out << '\n';
  for (size_t i = 0; i < length; ++i) {
    out << fmt::format("{}", angles[i]);
    for (size_t cycle = 0; cycle < cycles; ++cycle) {
      out << fmt::format(",{:.9g}", samples[cycle * length + i]);  // every single is read again as it was
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
