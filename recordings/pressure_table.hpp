// Text files of cylinder pressure over the crank angle.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "recordings/output_file.hpp"
#include "recordings/recording.hpp"

namespace kxrecordings {

/// A crank angle and pressures, row after row.
struct PressureTable {
  std::vector<double> angles;    ///< in degrees, one a row
  std::vector<float> pressures;  ///< in bar
  size_t columns = 0;            ///< of pressures
  std::vector<std::string> notes;
  std::string
      problem;  ///< of the row behind the last one that is here; empty if there is none. It begins with the file's name.
};

/// Reads a text file. Its first column is the crank angle, the others are pressures. Reading ends before a row in which they are not
/// finite or far beyond what they can be. Throws FileError where no row can be read.
/// @param input  the columns of the angle and of the pressures, and how numbers are written.
/// @param most   pressures that there may be.
PressureTable readPressureTable(const std::string& file, InputOptions input, size_t most);

/// Writes a file that readPressureTable() reads the same angles and pressures from, and puts it in place.
/// @param samples  cycle after cycle, each as long as the angles; each becomes a column.
void writePressureTable(const OutputFile& file, std::span<const double> angles, std::span<const float> samples);

}  // namespace kxrecordings
