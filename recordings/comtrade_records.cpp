#include "recordings/comtrade_records.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();

std::string samples(uint64_t count) {
  return std::to_string(count) + (count == 1 ? " sample" : " samples");
}

std::string oneFewer(uint64_t announced) {
  return "holds one sample fewer than the " + std::to_string(announced) + " announced";
}

std::string oneMore(uint64_t announced) {
  return "holds one sample more than the " + std::to_string(announced) + " announced, which is read, too";
}

/// Text: number, time stamp, values and states, with commas between.
class AsciiRecords final : public ComtradeRecords {
public:
  AsciiRecords(ByteSource& source, ByteRange range, uint64_t linesBefore, const ComtradeConfiguration& configuration)
      : source_(source),
        range_(range),
        linesBefore_(linesBefore),
        configuration_(configuration),
        fieldCount_(2 + configuration.analog.size() + configuration.status.size()),
        lines_(linesFromStart()) {}

  Result<> goTo(uint64_t record) override {
    if (record < record_ || isAstray_) {
      isAstray_ = false;
      lines_ = linesFromStart();
      record_ = 0;
    }
    for (; record_ < record; ++record_) {
      if (const auto line = nextLine(); !line || !*line) {
        return line ? endsEarly() : Problem{line.problem()};
      }
    }
    return Done{};
  }

  Result<bool> next(std::span<double> values) override {
    const uint64_t announced = configuration_.segments.back().end;
    if (record_ > announced) {
      return false;
    }
    isAstray_ = true;
    const auto line = nextLine();
    if (!line) {
      return Problem{line.problem()};
    }
    if (!*line) {
      if (record_ == announced) {
        return false;
      }
      if (record_ + 1 == announced) {
        noteOnce(oneFewer(announced));
        return false;
      }
      return endsEarly();
    }
    if (record_ == announced) {
      return nextBeyond(values, announced);
    }
    return take(values);
  }

  std::string where() const override { return "line " + std::to_string(lineNumber_); }

private:
  LineReader linesFromStart() const {
    constexpr size_t charactersOfField = 32;
    return {source_, range_, charactersOfField * (fieldCount_ + 1), LineReader::EndMark::endsText, linesBefore_};
  }

  Problem endsEarly() const {
    return source_.problem("is truncated: reading stopped after " + std::to_string(record_) + " of " +
                           samples(configuration_.segments.back().end));
  }

  /// Goes to the next line that is not blank.
  Result<bool> nextLine() {
    while (true) {
      auto next = lines_.next();
      if (!next || !*next) {
        return next;
      }
      lineNumber_ = lines_.number();
      if (!trimmed(lines_.line()).empty()) {
        return true;
      }
    }
  }

  /// There is more than was announced. If that is one record, it belongs to the others.
  Result<bool> nextBeyond(std::span<double> values, uint64_t announced) {
    const std::string last(lines_.line());
    const bool isWhole = lines_.isWhole();
    const uint64_t number = lineNumber_;
    const auto another = nextLine();
    if (!another) {
      return Problem{another.problem()};
    }
    splitFields(last, ',', fields_);
    if (*another || !isWhole || fields_.size() != fieldCount_ || !numberIn(fields_[0])) {
      noteOnce("holds more than the " + samples(announced) + " announced; what follows is left out");
      record_ = announced + 1;
      return false;
    }
    lineNumber_ = number;
    noteOnce(oneMore(announced));
    return takeFields(values);
  }

  Result<bool> take(std::span<double> values) {
    if (!lines_.isWhole()) {
      return source_.problem(where() + " is longer than " + std::to_string(fieldCount_) + " numbers are");
    }
    splitFields(lines_.line(), ',', fields_);
    if (fields_.size() == fieldCount_ + 1 && fields_.back().empty()) {
      fields_.pop_back();  // a comma behind each field
    }
    if (fields_.size() != fieldCount_) {
      return source_.problem(where() + " has " + std::to_string(fields_.size()) + " fields, " +
                             std::to_string(fieldCount_) + " are announced");
    }
    return takeFields(values);
  }

  Result<bool> takeFields(std::span<double> values) {
    mark_ = {numberIn(fields_[0]), numberIn(fields_[1])};
    const size_t analogCount = configuration_.analog.size();
    for (size_t i = 0; i < analogCount; ++i) {
      const auto& channel = configuration_.analog[i];
      const std::string_view field = fields_[2 + i];
      const auto sample = numberIn(field);
      if (!field.empty() && !(sample && std::isfinite(*sample))) {
        return source_.problem(where() + ", channel " + quoteOf(channel.title()) + ": not a number: " + quoteOf(field));
      }
      values[i] = sample && !isMissing(channel, *sample) ? channel.factor * *sample + channel.offset : missing;
    }
    for (size_t i = analogCount; i < values.size(); ++i) {
      const std::string_view field = fields_[2 + i];
      const auto state = numberIn(field);
      if (!field.empty() && state != 0.0 && state != 1.0) {
        return source_.problem(where() + ", status channel " + quoteOf(configuration_.status[i - analogCount].name) +
                               ": not 0 or 1: " + quoteOf(field));
      }
      values[i] = state.value_or(missing);
    }
    ++record_;
    isAstray_ = false;
    return true;
  }

  /// 99999 stands for a missing value (999999 did at first), unless the channel's samples may be larger.
  static bool isMissing(const ComtradeConfiguration::Analog& channel, double sample) {
    constexpr double mark = 99999, olderMark = 999999;
    return (sample == mark || sample == olderMark) && !(channel.maximum && *channel.maximum > sample);
  }

  ByteSource& source_;
  ByteRange range_;
  uint64_t linesBefore_;
  const ComtradeConfiguration& configuration_;
  size_t fieldCount_;
  LineReader lines_;
  uint64_t lineNumber_ = 0;
  uint64_t record_ = 0;    // the next one
  bool isAstray_ = false;  // whether the lines have gone beyond it
  std::vector<std::string_view> fields_;
};

uint32_t wordAt(const char* bytes, size_t count) {
  uint32_t word = 0;
  for (size_t i = 0; i < count; ++i) {
    word |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  }
  return word;
}

/// Little-endian: number and time stamp of 4 bytes, a value of 2 or 4 bytes for each analog channel and a word of 2 for each
/// 16 status channels.
class BinaryRecords final : public ComtradeRecords {
public:
  BinaryRecords(ByteSource& source, ByteRange range, const ComtradeConfiguration& configuration)
      : source_(source),
        range_(range),
        configuration_(configuration),
        valueBytes_(configuration.type == ComtradeType::binary ? 2 : 4),
        recordBytes_(8 + valueBytes_ * configuration.analog.size() + 2 * ((configuration.status.size() + 15) / 16)) {}

  /// Holds the number of bytes against that of the samples.
  Result<> check() {
    const uint64_t announced = configuration_.segments.back().end, bytes = range_.size();
    records_ = bytes / recordBytes_;
    const uint64_t left = bytes % recordBytes_;
    const bool isFitting = records_ == announced || records_ + 1 == announced || records_ == announced + 1;
    if (isFitting && left == 1) {
      char last = 0;
      if (const auto read = source_.read(range_.end - 1, std::span(&last, 1)); !read) {
        return Problem{read.problem()};
      }
      constexpr char endMark = '\x1A';
      if (last != endMark) {
        return isOfAnotherShape();
      }
      noteOnce("ends in a byte 0x1A, as texts do, which belongs to no sample");
    } else if (!isFitting || left != 0) {
      return isOfAnotherShape();
    }
    if (records_ != announced) {
      noteOnce(records_ < announced ? oneFewer(announced) : oneMore(announced));
    }
    return Done{};
  }

  Result<> goTo(uint64_t record) override {
    record_ = std::min(record, records_);
    return Done{};
  }

  Result<bool> next(std::span<double> values) override {
    if (record_ == records_) {
      return false;
    }
    if (record_ < firstInPiece_ || record_ >= firstInPiece_ + piece_.size() / recordBytes_) {
      if (const auto read = readPiece(); !read) {
        return Problem{read.problem()};
      }
    }
    takeBytes(piece_.data() + static_cast<size_t>(record_ - firstInPiece_) * recordBytes_, values);
    ++record_;
    return true;
  }

  std::string where() const override { return "record " + std::to_string(record_); }

private:
  Problem isOfAnotherShape() const {
    return source_.problem("is truncated or of another shape: " + samples(configuration_.segments.back().end) + " of " +
                           std::to_string(recordBytes_) + " bytes are announced, there are " +
                           std::to_string(range_.size()) + " bytes");
  }

  Result<> readPiece() {
    constexpr uint64_t pieceBytes = 65536;
    const uint64_t count = std::min(std::max<uint64_t>(pieceBytes / recordBytes_, 1), records_ - record_);
    piece_.resize(static_cast<size_t>(count * recordBytes_));
    firstInPiece_ = record_;
    auto read = source_.read(range_.begin + record_ * recordBytes_, piece_);
    if (!read) {
      piece_.clear();
    }
    return read;
  }

  void takeBytes(const char* bytes, std::span<double> values) {
    constexpr uint32_t noStamp = UINT32_MAX;
    const uint32_t stamp = wordAt(bytes + 4, 4);
    mark_ = {wordAt(bytes, 4), stamp == noStamp ? std::nullopt : std::optional<double>(stamp)};
    const size_t analogCount = configuration_.analog.size();
    for (size_t i = 0; i < analogCount; ++i) {
      const auto& channel = configuration_.analog[i];
      values[i] = channel.factor * sampleAt(bytes + 8 + valueBytes_ * i) + channel.offset;
    }
    const char* states = bytes + 8 + valueBytes_ * analogCount;
    for (size_t i = analogCount; i < values.size(); ++i) {
      const size_t status = i - analogCount;
      values[i] = wordAt(states + 2 * (status / 16), 2) >> (status % 16) & 1;
    }
  }

  double sampleAt(const char* bytes) const {
    const uint32_t word = wordAt(bytes, valueBytes_);
    switch (configuration_.type) {
      case ComtradeType::binary:
        return word == 0x8000 ? missing : static_cast<double>(static_cast<int16_t>(static_cast<uint16_t>(word)));
      case ComtradeType::binary32:
        return word == 0x8000'0000 ? missing : static_cast<double>(static_cast<int32_t>(word));
      case ComtradeType::float32:
      case ComtradeType::ascii:
        break;
    }
    const auto sample = std::bit_cast<float>(word);
    return sample == std::numeric_limits<float>::lowest() ? missing : static_cast<double>(sample);
  }

  ByteSource& source_;
  ByteRange range_;
  const ComtradeConfiguration& configuration_;
  size_t valueBytes_, recordBytes_;
  uint64_t records_ = 0;
  uint64_t record_ = 0;  // the next one
  std::string piece_;    // of whole records
  uint64_t firstInPiece_ = 0;
};

}  // namespace

void ComtradeRecords::noteOnce(const std::string& note) {
  if (std::find(notes_.begin(), notes_.end(), note) == notes_.end()) {
    notes_.push_back(note);
  }
}

Result<std::unique_ptr<ComtradeRecords>> openComtradeRecords(ByteSource& source, ByteRange range, uint64_t linesBefore,
                                                             const ComtradeConfiguration& configuration) {
  std::unique_ptr<ComtradeRecords> records;
  if (configuration.type == ComtradeType::ascii) {
    records = std::make_unique<AsciiRecords>(source, range, linesBefore, configuration);
    return records;
  }
  auto binary = std::make_unique<BinaryRecords>(source, range, configuration);
  if (const auto checked = binary->check(); !checked) {
    return Problem{checked.problem()};
  }
  records = std::move(binary);
  return records;
}

}  // namespace kxrecordings
