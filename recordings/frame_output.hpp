// Recordings in the making.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kxrecordings {

/// A recording of singles in the making.
class FrameOutput {
public:
  virtual ~FrameOutput() = default;

  /// Appends interleaved frames. Throws FileError if they cannot be written.
  virtual void write(std::span<const float> samples) = 0;

  virtual uint64_t frames() const = 0;

  /// Completes the file and puts it in place.
  virtual void finish() = 0;

protected:
  FrameOutput() = default;
  FrameOutput(const FrameOutput&) = default;
  FrameOutput& operator=(const FrameOutput&) = default;
};

enum class FrameFormat { wav, csv };

/// What a recording is to hold.
struct FrameContents {
  std::vector<std::string> channels;  ///< their names, which CSV alone has room for; a number goes by "channel 1"
  double rate;                        ///< in Hz, a whole number in WAV; CSV does not hold it
  std::optional<uint64_t> frames;     ///< how many there will be, where that is known: their room is looked for first
};

/// Begins a recording. Throws FileError if nothing can be written there.
std::unique_ptr<FrameOutput> createFrames(const std::string& file, FrameFormat format, const FrameContents& contents);

}  // namespace kxrecordings
