#include "recordings/comtrade_configuration.hpp"

#include <array>
#include <cmath>
#include <string_view>
#include <utility>

#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

/// Reads a line after the other. Each step is true if it went well; what has not is the problem.
class ConfigurationReader {
public:
  ConfigurationReader(const ByteSource& source, LineReader& lines, std::vector<std::string>& notes)
      : source_(source), lines_(lines), notes_(notes) {}

  Result<ComtradeConfiguration> read() {
    const bool isRead = readStation() && readChannelCounts() && readAnalogChannels() && readStatusChannels() &&
                        readLineFrequency() && readSegments() && readTimes() && readType() && readTimeFactor() &&
                        readTimeZone();
    if (!isRead) {
      return problem_;
    }
    return std::move(configuration_);
  }

private:
  std::string where() const { return "line " + std::to_string(lines_.number()) + ": "; }

  bool fail(const std::string& what) {
    problem_ = source_.problem(where() + what);
    return false;
  }

  void note(const std::string& what) { notes_.push_back(where() + what); }

  enum class Line { there, missing, unusable };

  Line nextLine() {
    const auto next = lines_.next();
    if (!next) {
      problem_ = {next.problem()};
      return Line::unusable;
    }
    if (!*next) {
      return Line::missing;
    }
    if (!lines_.isWhole()) {
      fail("is longer than " + std::to_string(longestConfigurationLine) + " characters");
      return Line::unusable;
    }
    std::string_view line = lines_.line();
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (line.starts_with(byteOrderMark)) {
      line.remove_prefix(byteOrderMark.size());
    }
    splitFields(line, ',', fields_);
    return Line::there;
  }

  bool requireLine(size_t leastFields, const std::string& subject) {
    switch (nextLine()) {
      case Line::unusable:
        return false;
      case Line::missing:
        problem_ =
            source_.problem("ends after line " + std::to_string(lines_.number()) + ": " + subject + " is missing");
        return false;
      case Line::there:
        break;
    }
    if (fields_.size() < leastFields) {
      return fail(subject + ": " + std::to_string(leastFields) + " fields are needed, there are " +
                  std::to_string(fields_.size()));
    }
    return true;
  }

  /// A line that older editions do not have.
  bool takeLine(bool& isThere) {
    const Line line = nextLine();
    isThere = line == Line::there;
    return line != Line::unusable;
  }

  std::string_view field(size_t index) const { return index < fields_.size() ? fields_[index] : ""; }

  bool number(std::string_view text, const std::string& subject, double& number) {
    const auto value = numberIn(text);
    if (!value || !std::isfinite(*value)) {
      return fail(subject + " is not a number: " + quoteOf(text));
    }
    number = *value;
    return true;
  }

  bool wholeNumber(std::string_view text, const std::string& subject, uint64_t most, uint64_t& whole) {
    double value = 0;
    if (!number(text, subject, value)) {
      return false;
    }
    if (value != std::floor(value) || value < 0 || value > static_cast<double>(most)) {
      return fail(subject + " is not a whole number up to " + std::to_string(most) + ": " + quoteOf(text));
    }
    whole = static_cast<uint64_t>(value);
    return true;
  }

  bool readStation() {
    if (!requireLine(2, "station name and device")) {
      return false;
    }
    const auto edition = numberIn(field(2));
    constexpr double first = 1991, last = 9999;
    if (edition && *edition >= first && *edition <= last) {
      configuration_.edition = static_cast<int>(*edition);
    }
    return true;
  }

  /// A number of channels, with the letter of their kind behind it.
  bool channelCount(std::string_view text, char kind, uint64_t& count) {
    const std::string subject = std::string("number of channels of kind ") + kind;
    if (!upperCase(text).ends_with(kind)) {
      return fail(subject + " is missing: " + quoteOf(text));
    }
    return wholeNumber(trimmed(text.substr(0, text.size() - 1)), subject, mostComtradeChannels, count);
  }

  bool readChannelCounts() {
    uint64_t total = 0;
    const bool areRead = requireLine(3, "numbers of channels") &&
                         wholeNumber(fields_[0], "number of channels", mostComtradeChannels, total) &&
                         channelCount(fields_[1], 'A', analogCount_) && channelCount(fields_[2], 'D', statusCount_);
    if (!areRead) {
      return false;
    }
    if (total != analogCount_ + statusCount_) {
      return fail(std::to_string(total) + " channels are not " + quoteOf(fields_[1]) + " and " + quoteOf(fields_[2]));
    }
    return analogCount_ > 0 || fail("there is no analog channel");
  }

  /// What the channel is called, by its number where the file does not tell.
  static std::string nameOf(std::string_view id, uint64_t number) {
    return id.empty() ? std::to_string(number) : std::string(id);
  }

  bool readAnalogChannels() {
    for (uint64_t i = 1; i <= analogCount_; ++i) {
      if (!requireLine(10, "analog channel " + std::to_string(i))) {
        return false;
      }
      if (numberIn(fields_[0]) != static_cast<double>(i)) {
        return fail("analog channel " + std::to_string(i) + " is expected, not " + quoteOf(fields_[0]));
      }
      ComtradeConfiguration::Analog channel{
          nameOf(fields_[1], i), std::string(fields_[2]), std::string(fields_[3]), std::string(fields_[4]), 1, 0,
          numberIn(fields_[9])};
      if (!number(fields_[5], "channel factor a", channel.factor) ||
          !number(fields_[6], "channel offset b", channel.offset)) {
        return false;
      }
      configuration_.analog.push_back(std::move(channel));
    }
    return true;
  }

  /// They are numbered from 1, or on from the analog ones.
  bool readStatusChannels() {
    uint64_t before = 0;
    for (uint64_t i = 1; i <= statusCount_; ++i) {
      if (!requireLine(3, "status channel " + std::to_string(i))) {
        return false;
      }
      const auto index = numberIn(fields_[0]);
      if (i == 1 && index == static_cast<double>(analogCount_ + 1)) {
        before = analogCount_;
        note("status channels are numbered on from the analog ones, from " + std::to_string(before + 1));
      }
      if (index != static_cast<double>(before + i)) {
        return fail("status channel " + std::to_string(before + i) + " is expected, not " + quoteOf(fields_[0]));
      }
      const bool hasPlace = fields_.size() > 3;  // since 1999
      configuration_.status.push_back(
          {nameOf(fields_[1], i), hasPlace ? std::string(fields_[2]) : "", hasPlace ? std::string(fields_[3]) : ""});
    }
    return true;
  }

  bool readLineFrequency() {
    if (!requireLine(1, "line frequency")) {
      return false;
    }
    const auto frequency = numberIn(fields_[0]);
    if (frequency && *frequency > 0 && std::isfinite(*frequency)) {
      configuration_.lineFrequency = *frequency;
    }
    return true;
  }

  bool readSegments() {
    constexpr uint64_t mostRates = 999, mostSamples = 9'999'999'999;  // ten digits, says the standard
    uint64_t rates = 0;
    if (!requireLine(1, "number of sample rates") ||
        !wholeNumber(fields_[0], "number of sample rates", mostRates, rates)) {
      return false;
    }
    for (uint64_t i = 0; i < std::max<uint64_t>(rates, 1); ++i) {
      ComtradeConfiguration::Segment segment{};
      if (!requireLine(2, "sample rate and last sample") ||
          !wholeNumber(fields_[1], "number of the last sample", mostSamples, segment.end) ||
          (rates > 0 && !number(fields_[0], "sample rate", segment.rate))) {
        return false;
      }
      if (segment.rate < 0 || (segment.rate == 0 && rates > 1)) {
        return fail("the sample rate must be above 0");
      }
      if (i > 0 && segment.end <= configuration_.segments.back().end) {
        return fail("the last sample of segment " + std::to_string(i + 1) + ", " + std::to_string(segment.end) +
                    ", does not lie behind that of the segment before it, " +
                    std::to_string(configuration_.segments.back().end));
      }
      configuration_.segments.push_back(segment);
    }
    return true;
  }

  /// Times are not needed for the samples: what cannot be read is left open.
  bool readTime(const std::string& subject, std::optional<TimeStamp>& time) {
    if (!requireLine(1, subject)) {
      return false;
    }
    const bool isMonthFirst = configuration_.edition == 1991;
    time = timeStampIn(field(0), field(1), isMonthFirst ? DateOrder::monthFirst : DateOrder::dayFirst);
    if (!time) {
      time = timeStampIn(field(0), field(1), isMonthFirst ? DateOrder::dayFirst : DateOrder::monthFirst);
      if (time) {
        note("the date " + quoteOf(field(0)) + " has its " + (isMonthFirst ? "day" : "month") +
             " first, unlike edition " + std::to_string(configuration_.edition) + " of the standard");
      } else if (!field(0).empty() || !field(1).empty()) {
        note(subject + " is no date and time: " + quoteOf(lines_.line()));
      }
    }
    return true;
  }

  bool readTimes() {
    return readTime("time of the first sample", configuration_.start) &&
           readTime("time of the trigger", configuration_.trigger);
  }

  bool readType() {
    if (!requireLine(1, "data file type")) {
      return false;
    }
    const auto type = comtradeTypeIn(upperCase(fields_[0]));
    if (!type) {
      return fail("data files of type " + quoteOf(fields_[0]) +
                  " are not read, only ASCII, BINARY, BINARY32 and FLOAT32");
    }
    configuration_.type = *type;
    return true;
  }

  /// Time stamps count microseconds, or nanoseconds where the time of the first sample has them, times this factor. It
  /// matters where only they tell the rate.
  bool readTimeFactor() {
    bool isThere = false;
    if (!takeLine(isThere)) {
      return false;
    }
    const std::string_view text = isThere ? field(0) : "";
    const double factor = text.empty() ? 1 : numberIn(text).value_or(0);
    const bool isFactor = factor > 0 && std::isfinite(factor);
    if (!isFactor && configuration_.segments[0].rate == 0) {
      return fail("factor of the time stamps is not a number above 0: " + quoteOf(text));
    }
    constexpr int decimalsOfMicroseconds = 6;
    const bool isNanoseconds = configuration_.start && configuration_.start->decimals > decimalsOfMicroseconds;
    configuration_.stampSeconds = (isFactor ? factor : 1) * (isNanoseconds ? 1e-9 : 1e-6);
    return true;
  }

  /// Since 2013, the time zone of the times, and that of the place, which is not needed.
  bool readTimeZone() {
    bool isThere = false;
    if (!takeLine(isThere)) {
      return false;
    }
    if (const auto offset = offsetMinutesIn(field(0)); isThere && offset) {
      for (auto* time : {&configuration_.start, &configuration_.trigger}) {
        if (*time) {
          (*time)->utcMinutes = offset;
        }
      }
    }
    return true;
  }

  const ByteSource& source_;
  LineReader& lines_;
  std::vector<std::string>& notes_;
  ComtradeConfiguration configuration_;
  uint64_t analogCount_ = 0, statusCount_ = 0;
  std::vector<std::string_view> fields_;  // of the line
  Problem problem_;
};

}  // namespace

std::optional<ComtradeType> comtradeTypeIn(std::string_view name) {
  constexpr std::array<std::pair<std::string_view, ComtradeType>, 4> types{{{"ASCII", ComtradeType::ascii},
                                                                            {"BINARY", ComtradeType::binary},
                                                                            {"BINARY32", ComtradeType::binary32},
                                                                            {"FLOAT32", ComtradeType::float32}}};
  for (const auto& [word, type] : types) {
    if (word == name) {
      return type;
    }
  }
  return std::nullopt;
}

Result<ComtradeConfiguration> readComtradeConfiguration(const ByteSource& source, LineReader& lines,
                                                        std::vector<std::string>& notes) {
  return ConfigurationReader(source, lines, notes).read();
}

}  // namespace kxrecordings
