#pragma once

#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recordings/frame_output.hpp"
#include "recordings/output_file.hpp"

namespace kxrecordings {

/// A CSV file in the making, of singles: a header row, then a row a frame.
class CsvOutput final : public FrameOutput {
public:
  /// Throws FileError if nothing can be written there.
  /// @param expected  frames, for which there must be room.
  CsvOutput(const std::string& file, const std::vector<std::string>& columns,
            std::optional<uint64_t> expected = std::nullopt);

  void write(std::span<const float> samples) override;
  uint64_t frames() const override { return samples_ / columns_; }
  void finish() override;

private:
  OutputFile file_;
  std::ofstream out_;
  size_t columns_;
  uint64_t samples_ = 0;
};

}  // namespace kxrecordings
