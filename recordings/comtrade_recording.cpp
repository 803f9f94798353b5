#include "recordings/comtrade_recording.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <span>
#include <string_view>
#include <utility>

#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

struct AnalogChannel {
  std::string name;
  double factor;  // "a" and "b" of the standard: value = factor * sample + offset
  double offset;
};

/// What a .cfg file says, as far as it is needed.
struct Configuration {
  std::vector<AnalogChannel> analog;
  size_t statusCount = 0;
  std::optional<double> rate;  // none where only the time stamps tell
  uint64_t frames = 0;
  bool isBinary = false;
};

/// Reads a .cfg file, a line after the other. Its fields are named as in the standard's chapter on it.
class ConfigurationReader {
public:
  explicit ConfigurationReader(const std::string& path) : path_(path), file_(path, std::ios::binary) {}

  Configuration read() {
    Configuration configuration;
    nextLine(2, "station name and device");
    readChannels(configuration);
    nextLine(1, "line frequency");
    readRate(configuration);
    nextLine(1, "time of the first sample");
    nextLine(1, "time of the trigger");
    nextLine(1, "data file type");
    std::string type(fields_[0]);
    std::transform(type.begin(), type.end(), type.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (type != "ASCII" && type != "BINARY") {
      fail("data files of type " + type + " are not read, only ASCII and BINARY");
    }
    configuration.isBinary = type == "BINARY";
    return configuration;
  }

private:
  [[noreturn]] void fail(const std::string& what) const {
    throw FileError(path_, "line " + std::to_string(lineNumber_) + ": " + what);
  }

  void nextLine(size_t leastFields, const std::string& subject) {
    if (!std::getline(file_, line_)) {
      throw FileError(path_, "ends after line " + std::to_string(lineNumber_) + ": " + subject + " is missing");
    }
    ++lineNumber_;
    fields_ = fieldsOf(line_, ',');
    if (fields_.size() < leastFields) {
      fail(subject + ": " + std::to_string(leastFields) + " fields are needed, there are " +
           std::to_string(fields_.size()));
    }
  }

  double number(std::string_view field, const std::string& subject) const {
    const auto value = numberIn(field);
    if (!value || !std::isfinite(*value)) {
      fail(subject + " is not a number: " + std::string(field));
    }
    return *value;
  }

  uint64_t wholeNumber(std::string_view field, const std::string& subject, double most) const {
    const double value = number(field, subject);
    if (value != std::floor(value) || value < 0 || value > most) {
      fail(subject + " is not a whole number up to " + std::to_string(static_cast<uint64_t>(most)) + ": " +
           std::string(field));
    }
    return static_cast<uint64_t>(value);
  }

  /// A number of channels, with the letter of their kind behind it.
  size_t channelCount(std::string_view field, char kind) const {
    const std::string subject = std::string("number of channels of kind ") + kind;
    if (field.empty() || std::toupper(static_cast<unsigned char>(field.back())) != kind) {
      fail(subject + " is missing: " + std::string(field));
    }
    return wholeNumber(field.substr(0, field.size() - 1), subject, mostChannels);
  }

  void expectChannel(size_t number, const std::string& kind) const {
    if (numberIn(fields_[0]) != static_cast<double>(number)) {
      fail(kind + " channel " + std::to_string(number) + " is expected, not " + std::string(fields_[0]));
    }
  }

  void readChannels(Configuration& configuration) {
    nextLine(3, "numbers of channels");
    const uint64_t total = wholeNumber(fields_[0], "number of channels", 2 * mostChannels);
    const size_t analogCount = channelCount(fields_[1], 'A');
    configuration.statusCount = channelCount(fields_[2], 'D');
    if (total != analogCount + configuration.statusCount) {
      fail(std::to_string(total) + " channels are not " + std::string(fields_[1]) + " and " + std::string(fields_[2]));
    }
    if (analogCount == 0) {
      fail("there is no analog channel");
    }
    for (size_t i = 1; i <= analogCount; ++i) {
      nextLine(10, "analog channel " + std::to_string(i));
      expectChannel(i, "analog");
      const std::string id = fields_[1].empty() ? std::to_string(i) : std::string(fields_[1]);
      const std::string unit = fields_[4].empty() ? "" : " [" + std::string(fields_[4]) + ']';
      configuration.analog.push_back(
          {id + unit, number(fields_[5], "channel factor a"), number(fields_[6], "channel offset b")});
    }
    for (size_t i = 1; i <= configuration.statusCount; ++i) {
      nextLine(3, "status channel " + std::to_string(i));
      expectChannel(i, "status");
    }
  }

  void readRate(Configuration& configuration) {
    nextLine(1, "number of sample rates");
    const uint64_t rates = wholeNumber(fields_[0], "number of sample rates", 999);
    if (rates > 1) {
      fail("there are " + std::to_string(rates) + " sample rates, and only recordings of one are read");
    }
    nextLine(2, "sample rate and last sample");
    constexpr double mostFrames = 9'999'999'999;  // ten digits, says the standard
    configuration.frames = wholeNumber(fields_[1], "number of the last sample", mostFrames);
    if (rates == 1) {
      configuration.rate = number(fields_[0], "sample rate");
      if (!(*configuration.rate > 0)) {
        fail("the sample rate must be above 0");
      }
    }
  }

  static constexpr double mostChannels = 999'999;

  std::string path_;
  std::ifstream file_;
  std::string line_;
  std::vector<std::string_view> fields_;  // of the line
  uint64_t lineNumber_ = 0;
};

/// The data file beside a .cfg file, in the same letter case.
std::string dataFileOf(const std::string& path) {
  const std::filesystem::path configuration = path;
  const bool isUpperCase = configuration.extension() == ".CFG";
  std::filesystem::path data = configuration;
  data.replace_extension(isUpperCase ? ".DAT" : ".dat");
  if (!std::filesystem::is_regular_file(data)) {
    throw FileError(path, "its data file " + data.filename().string() + " is missing");
  }
  return data.string();
}

class ComtradeRecording final : public Recording {
public:
  ComtradeRecording(const std::string& path, const InputOptions& options)
      : configuration_(ConfigurationReader(path).read()), path_(dataFileOf(path)), file_(path_, std::ios::binary) {
    format_.container = "comtrade";
    format_.samples = configuration_.isBinary ? "int16" : "decimal";
    format_.type = SampleType::float64;
    format_.rate = options.rate ? options.rate : configuration_.rate;
    for (const AnalogChannel& channel : configuration_.analog) {
      format_.channels.push_back(channel.name);
    }
    if (configuration_.isBinary) {
      checkSize();
    }
  }

  void rewind() override {
    file_.clear();
    file_.seekg(0);
    framesRead_ = 0;
  }

  double position() const override {
    const uint64_t frames = configuration_.frames;
    return frames > 0 ? static_cast<double>(framesRead_) / static_cast<double>(frames) : 1;
  }

protected:
  size_t readFrames(void* samples, size_t frames) override {
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(frames, configuration_.frames - framesRead_));
    const size_t channels = configuration_.analog.size();
    for (size_t i = 0; i < wanted; ++i) {
      const std::span<double> frame(static_cast<double*>(samples) + i * channels, channels);
      if (configuration_.isBinary) {
        readBinaryFrame(frame);
      } else {
        readAsciiFrame(frame);
      }
      ++framesRead_;
    }
    return wanted;
  }

private:
  /// Number and time of the sample, 4 bytes each, then 2 for each analog and for every 16 status channels.
  size_t frameBytes() const {
    return 8 + 2 * configuration_.analog.size() + 2 * ((configuration_.statusCount + 15) / 16);
  }

  void checkSize() const {
    const uint64_t bytes = std::filesystem::file_size(path_), frames = configuration_.frames;
    if (bytes != frames * frameBytes()) {
      throw FileError(path_, "is truncated or of another shape: its .cfg file announces " + std::to_string(frames) +
                                 " samples of " + std::to_string(frameBytes()) + " bytes, there are " +
                                 std::to_string(bytes) + " bytes");
    }
  }

  std::string where(size_t channel) const {
    return "sample " + std::to_string(framesRead_ + 1) + ", channel " + configuration_.analog[channel].name;
  }

  double valueOf(size_t channel, double sample) const {
    return configuration_.analog[channel].factor * sample + configuration_.analog[channel].offset;
  }

  [[noreturn]] void failCut() const {
    throw FileError(path_, "is truncated: reading stopped after " + std::to_string(framesRead_) + " of " +
                               std::to_string(configuration_.frames) + " samples");
  }

  /// What stands for a sample that the recorder marked as missing.
  double missingValue() {
    if (notes_.empty()) {
      notes_.emplace_back("samples that are marked as missing are taken as NaN");
    }
    return std::numeric_limits<double>::quiet_NaN();
  }

  void readBinaryFrame(std::span<double> frame) {
    line_.resize(frameBytes());
    if (!file_.read(line_.data(), static_cast<std::streamsize>(line_.size()))) {
      failCut();
    }
    for (size_t i = 0; i < frame.size(); ++i) {
      constexpr int16_t missing = INT16_MIN;
      const auto low = static_cast<unsigned char>(line_[8 + 2 * i]),
                 high = static_cast<unsigned char>(line_[9 + 2 * i]);
      const auto sample = static_cast<int16_t>(static_cast<uint16_t>(low | high << 8));
      frame[i] = sample == missing ? missingValue() : valueOf(i, sample);
    }
  }

  void readAsciiFrame(std::span<double> frame) {
    constexpr char endMark = '\x1A';  // ends files of older systems
    if (!std::getline(file_, line_) || line_.starts_with(endMark) || trimmed(line_).empty()) {
      failCut();
    }
    const std::vector<std::string_view> fields = fieldsOf(line_, ',');
    const size_t expected = 2 + frame.size() + configuration_.statusCount;
    if (fields.size() != expected) {
      throw FileError(path_, "line " + std::to_string(framesRead_ + 1) + " has " + std::to_string(fields.size()) +
                                 " fields, the .cfg file announces " + std::to_string(expected));
    }
    for (size_t i = 0; i < frame.size(); ++i) {
      constexpr double missing = 99999;
      const std::string_view field = fields[2 + i];
      const auto sample = numberIn(field);
      const bool isMissing = field.empty() || sample == missing;
      if (!isMissing && !(sample && std::isfinite(*sample))) {
        throw FileError(path_, where(i) + ": not a number: " + std::string(field));
      }
      frame[i] = isMissing ? missingValue() : valueOf(i, *sample);
    }
  }

  Configuration configuration_;
  std::string path_;  // of the data file
  std::ifstream file_;
  std::string line_;  // of text, or the bytes of a frame
  uint64_t framesRead_ = 0;
};

}  // namespace

std::unique_ptr<Recording> openComtrade(const std::string& file, const InputOptions& options) {
  return std::make_unique<ComtradeRecording>(file, options);
}

}  // namespace kxrecordings
