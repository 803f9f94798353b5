// Cylinder pressure over the crank angle, cycle by cycle, and its CSV files.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "recordings/output_file.hpp"

namespace kxrecordings {

/// Samples of a run that memory and the kernels' 32-bit counts have room for.
constexpr size_t mostSamples = size_t{1} << 28;

/// Cycles that are sampled at the same crank angles.
struct PressureCycles {
  std::vector<double> angles;  ///< of a cycle's samples, in even steps
  std::vector<float> samples;  ///< in bar, cycle after cycle

  size_t count() const { return samples.size() / angles.size(); }

  std::span<const float> cycle(size_t index) const {
    return std::span(samples).subspan(index * angles.size(), angles.size());
  }

  /// Degrees between samples.
  double step() const { return (angles.back() - angles.front()) / static_cast<double>(angles.size() - 1); }
};

/// Reads a CSV file with a header row. Its first column is the crank angle, which rises in even steps. The others are
/// either a cycle each, or it is a single one with a pressure that runs on over many cycles of 720 degrees, of which
/// the complete ones are taken. Throws FileError, with the row.
/// @param columns  the angle's and the pressures' names; all numeric columns if empty.
/// @param notes    what the user should know about how the file was taken is added here.
PressureCycles readCycles(const std::string& file, const std::vector<std::string>& columns,
                          std::vector<std::string>& notes);

/// Writes a file that readCycles() reads the same cycles from, a column a cycle, and puts it in place.
void writeCycles(const OutputFile& file, const PressureCycles& cycles);

}  // namespace kxrecordings
