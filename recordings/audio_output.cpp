#include "recordings/audio_output.hpp"

#include <sndfile.h>

#include <utility>

#include "recordings/recording.hpp"

namespace kxrecordings {

struct AudioOutput::Handle {
  explicit Handle(SNDFILE* opened) : file(opened) {}
  ~Handle() { sf_close(file); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  /// Returns what libsndfile says of it, 0 if all went well.
  int close() { return sf_close(std::exchange(file, nullptr)); }

  SNDFILE* file;
};

AudioOutput::AudioOutput(const std::string& file, size_t channels, int rate, std::optional<uint64_t> expected)
    : file_(file), channels_(channels) {
  file_.requireRoom(expected.value_or(0) * channels * sizeof(float));
  SF_INFO info{};
  // Plain WAV ends at 4 GiB. This is its successor for longer files, and turns back into it when the file stays
  // shorter.
  info.format = SF_FORMAT_RF64 | SF_FORMAT_FLOAT;
  info.channels = static_cast<int>(channels);
  info.samplerate = rate;
  SNDFILE* const opened = sf_open(file_.draft().c_str(), SFM_WRITE, &info);
  if (opened == nullptr) {
    throw FileError(file_.name(), std::string("cannot be written: ") + sf_strerror(nullptr));
  }
  handle_ = std::make_unique<Handle>(opened);
  sf_command(opened, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
}

AudioOutput::~AudioOutput() = default;

void AudioOutput::write(std::span<const float> samples) {
  const auto frames = static_cast<sf_count_t>(samples.size() / channels_);
  if (sf_writef_float(handle_->file, samples.data(), frames) != frames) {
    throw FileError(file_.name(), std::string("cannot be written: ") + sf_strerror(handle_->file));
  }
  frames_ += static_cast<uint64_t>(frames);
}

void AudioOutput::finish() {
  if (const int error = handle_->close(); error != SF_ERR_NO_ERROR) {
    throw FileError(file_.name(), std::string("cannot be written: ") + sf_error_number(error));
  }
  file_.place();
}

}  // namespace kxrecordings
