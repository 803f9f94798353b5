// CSV files of cylinder pressure over the crank angle.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "recordings/output_file.hpp"

namespace kxrecordings {

/// A crank angle and pressures, row after row.
struct PressureTable {
  std::vector<double> angles;    ///< in degrees, one a row
  std::vector<float> pressures;  ///< in bar
  size_t columns = 0;            ///< of pressures
};

/// Reads a CSV file with a header row. Its first column is the crank angle, the others are pressures. Throws FileError,
/// with the row and the column, if they are not finite or far beyond what they can be.
/// @param columns  the angle's and the pressures' names; all numeric columns if empty.
/// @param most     pressures that there may be.
PressureTable readPressureTable(const std::string& file, const std::vector<std::string>& columns, size_t most);

/// Writes a file that readPressureTable() reads the same angles and pressures from, and puts it in place.
/// @param samples  cycle after cycle, each as long as the angles; each becomes a column.
void writePressureTable(const OutputFile& file, std::span<const double> angles, std::span<const float> samples);

}  // namespace kxrecordings
