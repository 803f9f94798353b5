#include "recordings/pressure_table.hpp"

#include <fmt/format.h>

#include <cmath>
#include <fstream>

#include "recordings/recording.hpp"

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
    table.pressures.push_back(static_cast<float>(row[i]));
  }
  table.angles.push_back(row[0]);
}

}  // namespace

PressureTable readPressureTable(const std::string& file, const std::vector<std::string>& columns, size_t most) {
  InputOptions options;
  options.columns = columns;
  options.requiresFinite = true;
  const auto recording = openRecording(file, options);
  const std::vector<std::string>& names = recording->format().channels;
  if (!recording->notes().empty()) {
    throw FileError(file, "data row 1: " + recording->notes().front() + ", which only --column can allow");
  }
  if (names.size() < 2) {
    throw FileError(file, "has one column: a crank angle and at least one pressure are needed");
  }
  PressureTable table{{}, {}, names.size() - 1};
  std::vector<double> block(blockFrames * names.size());
  while (const size_t frames = recording->read(std::span(block))) {
    for (size_t frame = 0; frame < frames; ++frame) {
      addRow(file, table, std::span(block).subspan(frame * names.size(), names.size()), names);
      if (table.pressures.size() > most) {
        throw FileError(file, fmt::format("holds more than {} samples", most));
      }
    }
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
