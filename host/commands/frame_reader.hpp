// Reading a recording several times, block by block.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "analysis/channel_values/channel_values.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/progress.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// Frames begin to end - 1.
struct FrameRange {
  uint64_t begin = 0;
  uint64_t end = std::numeric_limits<uint64_t>::max();

  uint64_t count() const { return end - begin; }
};

/// Goes through a recording several times, with only blocks of it in memory: its length must be known before columns
/// can be laid out, averages before what lies about them is measured.
template <class T>
class FrameReader {
public:
  /// @param passes  how often the recording will be gone through.
  FrameReader(Recording& recording, const std::string& file, int passes)
      : recording_(recording),
        file_(file),
        progress_(file),
        passes_(passes),
        block_(blockFrames * recording.format().channels.size()) {}

  /// The number of frames.
  uint64_t count() {
    return readAll([](std::span<const T>, size_t) {});
  }

  /// Calls use(samples, frames) for the frames of the whole recording, a part after the other, interleaved. Returns
  /// their number.
  template <class Use>
  uint64_t readAll(Use use) {
    return pass(FrameRange(), use);
  }

  /// The same for the frames of a range that the recording has.
  template <class Use>
  void read(const FrameRange& range, Use use) {
    if (pass(range, use) < range.end) {
      throw FileError(file_, "changed while it was read");
    }
  }

  /// Calls use(i, values) for the values of the i-th of these channels in a part of the range, part after part.
  template <class Use>
  void readValues(const Functions& functions, const FrameRange& range, std::span<const size_t> channels,
                  Scaling scaling, Use use) {
    const size_t frameSize = recording_.format().channels.size();
    values_.resize(blockFrames);
    read(range, [&](std::span<const T> samples, size_t frames) {
      const auto part = std::span(values_).first(frames);
      for (size_t i = 0; i < channels.size(); ++i) {
        channelValues(functions, samples.data() + channels[i], frameSize, scaling, part);
        use(i, std::span<const double>(part));
      }
    });
  }

private:
  /// Returns how many frames it has come to.
  template <class Use>
  uint64_t pass(const FrameRange& range, Use use) {
    const size_t channels = recording_.format().channels.size();
    recording_.rewind();
    uint64_t position = 0;
    while (position < range.end) {
      const size_t frames = recording_.read(std::span(block_));
      if (frames == 0) {
        break;
      }
      const uint64_t begin = std::max(position, range.begin), end = std::min(position + frames, range.end);
      if (begin < end) {
        const size_t first = static_cast<size_t>(begin - position), count = static_cast<size_t>(end - begin);
        use(std::span<const T>(block_).subspan(first * channels, count * channels), count);
      }
      position += frames;
      progress_.update((pass_ + recording_.position()) / passes_);
    }
    ++pass_;
    return position;
  }

  Recording& recording_;
  const std::string& file_;
  Progress progress_;
  int passes_;
  int pass_ = 0;
  std::vector<T> block_;
  std::vector<double> values_;
};

}  // namespace kxhost
