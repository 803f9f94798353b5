#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "recordings/output_file.hpp"

namespace kxrecordings {

/// A WAV file of 32-bit floats in the making.
class AudioOutput {
public:
  /// Throws FileError if nothing can be written there.
  AudioOutput(const std::string& file, size_t channels, int rate);
  ~AudioOutput();
  AudioOutput(const AudioOutput&) = delete;
  AudioOutput& operator=(const AudioOutput&) = delete;

  /// Appends interleaved frames.
  void write(std::span<const float> samples);

  uint64_t frames() const { return frames_; }

  /// Completes the file and puts it in place.
  void finish();

private:
  struct Handle;

  OutputFile file_;
  std::unique_ptr<Handle> handle_;
  size_t channels_;
  uint64_t frames_ = 0;
};

}  // namespace kxrecordings
