#pragma once

#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "recordings/output_file.hpp"

namespace kxrecordings {

/// A CSV file in the making, of singles: a header row, then a row a frame.
class CsvOutput {
public:
  /// Throws FileError if nothing can be written there.
  CsvOutput(const std::string& file, const std::vector<std::string>& columns);

  /// Appends interleaved frames.
  void write(std::span<const float> samples);

  /// Completes the file and puts it in place.
  void finish();

private:
  OutputFile file_;
  std::ofstream out_;
  size_t columns_;
};

}  // namespace kxrecordings
