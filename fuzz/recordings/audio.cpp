// The readers of audio files and of raw samples on any bytes, in a file that lies in memory.
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <optional>
#include <utility>

#include "exercise.hpp"
#include "recordings/audio_recording.hpp"

namespace {

using namespace kxrecordings;

/// A file of these bytes, under a name as long as it lives.
class FileInMemory {
public:
  FileInMemory(const uint8_t* bytes, size_t size) : file_(memfd_create("fuzzed", 0)) {
    require(file_ >= 0 && write(file_, bytes, size) == static_cast<ssize_t>(size), "no file in memory");
  }
  ~FileInMemory() { close(file_); }
  FileInMemory(const FileInMemory&) = delete;
  FileInMemory& operator=(const FileInMemory&) = delete;

  std::string name() const { return "/proc/self/fd/" + std::to_string(file_); }

private:
  int file_;
};

/// What action() gives, or what it says is wrong with the file.
template <class Action>
auto resultOf(Action action) -> Result<decltype(action())> {
  try {
    return action();
  } catch (const FileError& error) {
    return Problem{error.what()};
  }
}

/// A recording as the readers that throw nothing are.
class AudioReader {
public:
  explicit AudioReader(std::unique_ptr<Recording> recording) : recording_(std::move(recording)) {}

  const Format& format() const { return recording_->format(); }
  const std::vector<std::string>& notes() const { return recording_->notes(); }
  double position() const { return recording_->position(); }
  void rewind() { recording_->rewind(); }

  Result<size_t> read(std::span<double> values) {
    return resultOf([&] {
      return visitSampleType(format().type, [&]<class T>() {
        std::vector<T> samples(values.size());
        const size_t frames = recording_->read(std::span(samples));
        std::copy(samples.begin(), samples.end(), values.begin());
        return frames;
      });
    });
  }

private:
  std::unique_ptr<Recording> recording_;
};

}  // namespace

/// The first byte holds the options.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) {
    return 0;
  }
  const FileInMemory file(data + 1, size - 1);
  InputOptions options;
  options.strict = (data[0] & 1) != 0;
  const bool isRaw = (data[0] & 2) != 0;
  if (isRaw) {
    options.raw = std::array{"int16", "int32", "float", "double"}[data[0] >> 2 & 3U];
    options.channels = data[0] >> 4;
  }
  exercise(
      resultOf([&] { return AudioReader(isRaw ? openRaw(file.name(), options) : openAudio(file.name(), options)); }));
  return 0;
}
