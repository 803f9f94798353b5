#include "host/audio_file.hpp"

namespace kxhost_test {

std::vector<float> AudioFile::channel(size_t index) const {
  std::vector<float> values;
  for (size_t i = index; i < samples.size(); i += channels) {
    values.push_back(samples[i]);
  }
  return values;
}

AudioFile readAudioFile(const std::string& file) {
  SF_INFO info{};
  SNDFILE* const handle = sf_open(file.c_str(), SFM_READ, &info);
  if (handle == nullptr) {
    ADD_FAILURE() << file << ": " << sf_strerror(nullptr);
    return {0, 1, {}};
  }
  EXPECT_EQ(info.format & SF_FORMAT_SUBMASK, SF_FORMAT_FLOAT);
  AudioFile audio{info.samplerate, static_cast<size_t>(info.channels), {}};
  audio.samples.resize(static_cast<size_t>(info.frames) * audio.channels);
  EXPECT_EQ(sf_readf_float(handle, audio.samples.data(), info.frames), info.frames);
  sf_close(handle);
  return audio;
}

}  // namespace kxhost_test
