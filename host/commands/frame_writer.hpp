// Where the outputs of a recording's channels, each made for itself, meet as frames again.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "host/reports/floors.hpp"
#include "recordings/frame_output.hpp"

namespace kxhost {

/// All channels are fed the same numbers of samples, so that they deliver the same numbers of outputs.
class FrameWriter {
public:
  FrameWriter(FrameOutput& output, size_t channels) : output_(output), channels_(channels) {}

  /// Of the channels in turn; with the last one the frames are written.
  template <class Value>
  void add(size_t channel, std::span<const Value> values) {
    frames_.resize(values.size() * channels_);
    for (size_t i = 0; i < values.size(); ++i) {
      frames_[i * channels_ + channel] = static_cast<float>(values[i]);
    }
    if (channel + 1 == channels_) {
      output_.write(frames_);
    }
  }

private:
  FrameOutput& output_;
  size_t channels_;
  std::vector<float> frames_;
};

}  // namespace kxhost
