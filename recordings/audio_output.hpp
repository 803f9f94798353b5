#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "recordings/frame_output.hpp"
#include "recordings/output_file.hpp"

namespace kxrecordings {

/// A WAV file of 32-bit floats in the making.
class AudioOutput final : public FrameOutput {
public:
  /// Throws FileError if nothing can be written there.
  /// @param expected  frames, for which there must be room.
  AudioOutput(const std::string& file, size_t channels, int rate, std::optional<uint64_t> expected = std::nullopt);
  ~AudioOutput() override;
  AudioOutput(const AudioOutput&) = delete;
  AudioOutput& operator=(const AudioOutput&) = delete;

  void write(std::span<const float> samples) override;
  uint64_t frames() const override { return frames_; }
  void finish() override;

private:
  struct Handle;

  OutputFile file_;
  std::unique_ptr<Handle> handle_;
  size_t channels_;
  uint64_t frames_ = 0;
};

}  // namespace kxrecordings
