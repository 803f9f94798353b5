// Files that kxhost has written, read back.
#pragma once

#include "host/kxhost_test.hpp"

namespace kxhost_test {

struct AudioFile {
  int rate;
  size_t channels;
  std::vector<float> samples;  // interleaved

  size_t frames() const { return samples.size() / channels; }
  std::vector<float> channel(size_t index) const;
};

/// Reads a WAV file of 32-bit floats; anything else is a failure of the test.
AudioFile readAudioFile(const std::string& file);

}  // namespace kxhost_test
