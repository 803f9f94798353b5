// Recordings: audio containers, text files and raw interleaved samples, read in blocks of interleaved frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "recordings/time_stamp.hpp"

namespace kxrecordings {

/// A file as it is called in what is said of it: "-" is standard input.
std::string shownName(const std::string& file);

/// What is wrong with a file.
class FileError : public std::runtime_error {
public:
  FileError(const std::string& file, const std::string& what) : std::runtime_error(shownName(file) + ": " + what) {}

  /// @param sentence  begins with the file's name.
  explicit FileError(const std::string& sentence) : std::runtime_error(sentence) {}
};

/// Frames (one sample of every channel) that are read at a time: few enough for a block to stay in the processor's
/// caches.
constexpr size_t blockFrames = 4096;

/// The type that samples have in memory: the one of the four kernel families that holds the file's samples exactly.
enum class SampleType { int16, int32, float32, float64 };

/// Where a channel measures, as far as the file tells.
struct ChannelPlace {
  std::string phase;    ///< "A", "L1", "AB", "N", ...
  std::string circuit;  ///< "Feeder 3", ...
};

struct Format {
  std::string container;              ///< "wav", "flac", "csv", "raw", ...
  std::string samples;                ///< as stored: "int16", "int24", "vorbis", ...
  std::string unit;                   ///< of the values, empty if not known
  SampleType type;                    ///< as read
  double fullScale = 1;               ///< the magnitude that stands for 1 in other sample formats
  std::vector<std::string> channels;  ///< names; numbers from 1 where the file names none
  std::optional<double> rate;         ///< frames a second

  std::vector<ChannelPlace> places;     ///< of the channels; empty in files that tell none
  size_t statusChannels = 0;            ///< of the channels, the last ones: 0 and 1 instead of measured values
  std::optional<double> lineFrequency;  ///< in Hz, the nominal one of the mains
  std::optional<TimeStamp> start;       ///< when the first frame was taken
  std::optional<TimeStamp> trigger;     ///< when what the recorder waited for happened
};

/// How to take the input files, from the command line.
struct InputOptions {
  std::optional<std::string> raw;     ///< sample type of raw files: "int16", "int32", "float" or "double"
  int channels = 0;                   ///< of raw files
  std::optional<double> rate;         ///< instead of the file's own
  std::vector<std::string> columns;   ///< of text files, by name; without these and the next all numeric ones
  std::vector<size_t> columnNumbers;  ///< of text files, from 1, behind the named ones
  std::optional<char> decimalMark;    ///< of text files: '.' or ',' where the file is not to tell
  bool timesAreValues = false;        ///< a column of times of text files is one as the others are
  std::optional<int> segment;         ///< of COMTRADE recordings, numbered from 1; the longest unless all have one rate
  bool status = false;                ///< take the status channels of COMTRADE recordings, too
  bool strict = false;                ///< refuse what is odd and yet could be read: truncated audio files, NaNs
  bool requiresFinite = false;        ///< refuse values that are not finite numbers, which else are noted,
  std::optional<int> finiteChannel;   ///< in this channel, numbered from 1, or in all
};

class Recording {
public:
  virtual ~Recording() = default;

  const Format& format() const { return format_; }

  /// What the user should know about how the file was taken, a line each.
  const std::vector<std::string>& notes() const { return notes_; }

  /// Reads the next interleaved frames, as many as `samples` has room for; returns how many, fewer only at the end.
  /// T is the type that format().type names.
  template <class T>
  size_t read(std::span<T> samples) {
    return readFrames(samples.data(), samples.size() / format_.channels.size());
  }

  /// Back to the first frame.
  virtual void rewind() = 0;

  /// Share of the file that has been read, 0 to 1.
  virtual double position() const = 0;

  /// How many there are, where the file tells.
  virtual std::optional<uint64_t> frames() const { return std::nullopt; }

  /// In text files, the line of a frame, counted from 1. The frame is one of those that were read last.
  virtual std::optional<uint64_t> lineOf(size_t /*frame*/) const { return std::nullopt; }

protected:
  virtual size_t readFrames(void* samples, size_t frames) = 0;

  Format format_;
  std::vector<std::string> notes_;
};

/// Opens a file as what its name and the options say, or standard input ("-"). Throws FileError.
std::unique_ptr<Recording> openRecording(const std::string& file, const InputOptions& options);

/// A heading for pictures: the file's name without folders, and its format.
std::string titleOf(const std::string& file, const Format& format);

/// What a time axis shows: seconds, or samples of recordings without a rate.
std::string timeAxisTitle(const Format& format);

/// Calls visitor.operator()<T>() with the C++ type of a sample type.
template <class Visitor>
auto visitSampleType(SampleType type, Visitor visitor) {
  switch (type) {
    case SampleType::int16:
      return visitor.template operator()<int16_t>();
    case SampleType::int32:
      return visitor.template operator()<int32_t>();
    case SampleType::float32:
      return visitor.template operator()<float>();
    case SampleType::float64:
      return visitor.template operator()<double>();
  }
  throw std::logic_error("unknown sample type");
}

}  // namespace kxrecordings
