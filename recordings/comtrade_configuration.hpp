// What the configuration of a COMTRADE recording says, its .cfg file or that section of a .cff file (IEEE C37.111-1991,
// -1999 and -2013, which is IEC 60255-24).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "recordings/line_reader.hpp"
#include "recordings/time_stamp.hpp"

namespace kxrecordings {

/// How the samples are stored: as text, or as integers of 16 or 32 bits or single-precision numbers.
enum class ComtradeType { ascii, binary, binary32, float32 };

/// What the file calls it, in upper case.
std::optional<ComtradeType> comtradeTypeIn(std::string_view name);

struct ComtradeConfiguration {
  struct Analog {
    std::string name, phase, circuit, unit;
    double factor, offset;          ///< "a" and "b" of the standard: value = factor * sample + offset
    std::optional<double> maximum;  ///< of samples

    /// The name with the unit behind it, as "UA [kV]".
    std::string title() const { return name + (unit.empty() ? "" : " [" + unit + ']'); }
  };

  struct Status {
    std::string name, phase, circuit;
  };

  struct Segment {
    double rate;   ///< 0 where only the time stamps tell
    uint64_t end;  ///< number of samples from the file's first to the segment's last one
  };

  int edition = 1991;
  std::vector<Analog> analog;
  std::vector<Status> status;
  std::optional<double> lineFrequency;
  std::vector<Segment> segments;  ///< at least one
  std::optional<TimeStamp> start, trigger;
  ComtradeType type = ComtradeType::ascii;
  double stampSeconds = 1e-6;  ///< that one step of the time stamps stands for
};

/// Characters of a line of a configuration, at most.
constexpr size_t longestConfigurationLine = 4096;

/// Channels, analog and status ones together, at most: more than recorders have, and few enough for blocks of all of them.
constexpr size_t mostComtradeChannels = 10'000;

/// Reads the lines from the first one on. What is odd and yet clear gets a note.
/// @param name  of the source, which a problem begins with.
Result<ComtradeConfiguration> readComtradeConfiguration(const ByteSource& source, LineReader& lines,
                                                        std::vector<std::string>& notes);

}  // namespace kxrecordings
