#include "recordings/audio_recording.hpp"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

#include "recordings/promised_size.hpp"

namespace kxrecordings {
namespace {

struct CloseFile {
  void operator()(SNDFILE* file) const { sf_close(file); }
};

/// A file that libsndfile has opened, and what it says of it.
struct AudioFile {
  SF_INFO info;
  std::unique_ptr<SNDFILE, CloseFile> handle;

  int container() const { return info.format & SF_FORMAT_TYPEMASK; }
  int encoding() const { return info.format & SF_FORMAT_SUBMASK; }
  bool lengthIsKnown() const { return info.frames != SF_COUNT_MAX; }
};

/// @param info  of raw files, else empty.
AudioFile openFile(const std::string& path, SF_INFO info) {
  AudioFile file{info, nullptr};
  file.handle.reset(sf_open(path.c_str(), SFM_READ, &file.info));
  if (!file.handle) {
    std::string reason = sf_strerror(nullptr);
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    throw FileError(path, "is not a recording that can be read: " + reason);
  }
  return file;
}

/// How samples stored in one of libsndfile's encodings are read.
struct Encoding {
  std::string name;
  SampleType type;
  int shift = 0;  // libsndfile left-justifies narrow integers; this many bits bring them back to the file's own steps
};

Encoding encodingOf(const AudioFile& file) {
  switch (file.encoding()) {
    case SF_FORMAT_PCM_U8:
      return {"uint8", SampleType::int16, 8};  // taken about its middle, as -128 to 127
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_DPCM_8:
      return {"int8", SampleType::int16, 8};
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_DPCM_16:
    case SF_FORMAT_ALAC_16:
      return {"int16", SampleType::int16};
    case SF_FORMAT_DWVW_12:
      return {"int12", SampleType::int16, 4};
    case SF_FORMAT_DWVW_16:
      return {"int16", SampleType::int16};
    case SF_FORMAT_ALAC_20:
      return {"int20", SampleType::int32, 12};
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_DWVW_24:
    case SF_FORMAT_ALAC_24:
      return {"int24", SampleType::int32, 8};
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
      return {"int32", SampleType::int32};
    case SF_FORMAT_FLOAT:
      return {"float", SampleType::float32};
    case SF_FORMAT_DOUBLE:
      return {"double", SampleType::float64};
    case SF_FORMAT_VORBIS:
      return {"vorbis", SampleType::float32};
    case SF_FORMAT_OPUS:
      return {"opus", SampleType::float32};
    case SF_FORMAT_MPEG_LAYER_I:
    case SF_FORMAT_MPEG_LAYER_II:
    case SF_FORMAT_MPEG_LAYER_III:
      return {"mpeg", SampleType::float32};
    case SF_FORMAT_ULAW:
      return {"mu-law", SampleType::int16};
    case SF_FORMAT_ALAW:
      return {"a-law", SampleType::int16};
    default:
      return {"compressed", SampleType::int16};  // the ADPCM and GSM codecs, all of which decode to 16 bits
  }
}

std::string containerOf(const AudioFile& file) {
  if (file.container() == SF_FORMAT_MPEG) {
    return "mp3";  // whichever the layer; libsndfile names the rarest
  }
  SF_FORMAT_INFO info{};
  info.format = file.container();
  sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info);
  return info.extension != nullptr ? info.extension : "audio";
}

class AudioRecording final : public Recording {
public:
  /// @param requested  what the file was opened as.
  AudioRecording(std::string path, const SF_INFO& requested, AudioFile file, std::string container,
                 const InputOptions& options)
      : path_(std::move(path)), requested_(requested), file_(std::move(file)), strict_(options.strict) {
    Encoding encoding = encodingOf(file_);
    shift_ = encoding.shift;
    format_.container = std::move(container);
    format_.samples = std::move(encoding.name);
    format_.type = encoding.type;
    const bool isFloat = encoding.type == SampleType::float32 || encoding.type == SampleType::float64;
    const int bits = encoding.type == SampleType::int16 ? 16 : 32;
    format_.fullScale = isFloat ? 1 : std::ldexp(1.0, bits - 1 - shift_);
    format_.unit = isFloat ? "full scale = 1" : "steps";
    for (int i = 1; i <= file_.info.channels; ++i) {
      format_.channels.push_back(std::to_string(i));
    }
    format_.rate = options.rate;
    if (!options.rate && format_.container != "raw") {
      format_.rate = file_.info.samplerate;
    }
  }

  /// That the file ends early: a note, or strictly, an error. Told once.
  void tellEnd(const std::string& how) {
    if (strict_) {
      throw FileError(path_, how);
    }
    if (notes_.empty()) {
      notes_.push_back(how);
    }
  }

  void rewind() override {
    if (framesRead_ == 0) {
      return;
    }
    AudioFile again = openFile(path_, requested_);  // not a seek: some codecs cannot
    if (again.info.format != file_.info.format || again.info.channels != file_.info.channels) {
      throw FileError(path_, "changed while it was read");
    }
    file_ = std::move(again);
    framesRead_ = 0;
  }

  std::optional<uint64_t> frames() const override {
    return file_.lengthIsKnown() ? std::optional(static_cast<uint64_t>(file_.info.frames)) : std::nullopt;
  }

  double position() const override {
    return file_.info.frames > 0 ? static_cast<double>(framesRead_) / static_cast<double>(file_.info.frames) : 1;
  }

protected:
  size_t readFrames(void* samples, size_t frames) override {
    const auto wanted = static_cast<sf_count_t>(frames);
    sf_count_t got = 0;
    switch (format_.type) {
      case SampleType::int16:
        got = sf_readf_short(file_.handle.get(), static_cast<int16_t*>(samples), wanted);
        removeShift(static_cast<int16_t*>(samples), got);
        break;
      case SampleType::int32:
        got = sf_readf_int(file_.handle.get(), static_cast<int32_t*>(samples), wanted);
        removeShift(static_cast<int32_t*>(samples), got);
        break;
      case SampleType::float32:
        got = sf_readf_float(file_.handle.get(), static_cast<float*>(samples), wanted);
        break;
      case SampleType::float64:
        got = sf_readf_double(file_.handle.get(), static_cast<double*>(samples), wanted);
        break;
    }
    framesRead_ += got;
    const bool endsEarly = got < wanted && file_.lengthIsKnown() && framesRead_ < file_.info.frames;
    if (endsEarly || sf_error(file_.handle.get()) != SF_ERR_NO_ERROR) {
      tellEnd("is truncated or damaged: reading stopped after " + std::to_string(framesRead_) +
              (file_.lengthIsKnown() ? " of " + std::to_string(file_.info.frames) : "") + " frames");
    }
    return static_cast<size_t>(got);
  }

private:
  template <class T>
  void removeShift(T* samples, sf_count_t frames) const {
    if (shift_ != 0) {
      std::for_each(samples, samples + frames * file_.info.channels,
                    [this](T& sample) { sample = static_cast<T>(sample >> shift_); });
    }
  }

  std::string path_;
  SF_INFO requested_;
  AudioFile file_;
  bool strict_;
  int shift_ = 0;
  sf_count_t framesRead_ = 0;
};

}  // namespace

std::unique_ptr<Recording> openAudio(const std::string& path, const InputOptions& options) {
  AudioFile file = openFile(path, {});
  if (file.info.samplerate < 1) {
    throw FileError(path, "has a sample rate of " + std::to_string(file.info.samplerate));
  }
  std::string container = containerOf(file);
  const bool hasOpenEnd = !file.lengthIsKnown() && file.container() == SF_FORMAT_OGG;
  auto recording = std::make_unique<AudioRecording>(path, SF_INFO{}, std::move(file), std::move(container), options);
  std::ifstream header(path, std::ios::binary);
  const uint64_t size = std::filesystem::file_size(path);
  if (const auto promised = promisedSize(header); promised && size < *promised) {
    recording->tellEnd("is truncated: its header announces " + std::to_string(*promised) + " bytes, there are " +
                       std::to_string(size));
  }
  if (hasOpenEnd) {
    recording->tellEnd("is truncated: its last page is not complete");  // that page would tell the length
  }
  return recording;
}

std::unique_ptr<Recording> openRaw(const std::string& path, const InputOptions& options) {
  constexpr int maximumChannels = 1024;  // of libsndfile
  if (options.channels < 1 || options.channels > maximumChannels) {
    throw FileError(path, "the number of channels must be 1 to " + std::to_string(maximumChannels));
  }
  struct RawType {
    std::string_view name;
    int encoding;
    uint64_t bytes;
  };
  constexpr std::array<RawType, 4> types{{{"int16", SF_FORMAT_PCM_16, 2},
                                          {"int32", SF_FORMAT_PCM_32, 4},
                                          {"float", SF_FORMAT_FLOAT, 4},
                                          {"double", SF_FORMAT_DOUBLE, 8}}};
  const auto type = std::find_if(types.begin(), types.end(), [&](const RawType& t) { return t.name == options.raw; });
  const uint64_t frameBytes = type->bytes * static_cast<uint64_t>(options.channels);
  const uint64_t size = std::filesystem::file_size(path);
  if (size == 0) {
    throw FileError(path, "is empty: it holds no samples");
  }
  SF_INFO info{};
  info.format = SF_FORMAT_RAW | type->encoding | SF_ENDIAN_LITTLE;
  info.channels = options.channels;
  info.samplerate = 1;  // one is wanted, but whole; the true rate, if any, is kept beside it
  auto recording = std::make_unique<AudioRecording>(path, info, openFile(path, info), "raw", options);
  if (size % frameBytes != 0) {
    recording->tellEnd("is truncated or of another shape: " + std::to_string(size) +
                       " bytes are not a multiple of the frame's " + std::to_string(frameBytes));
  }
  return recording;
}

}  // namespace kxrecordings
