// Tables of numbers in text, CSV and its relatives, out of any source of bytes. Nothing is thrown.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recordings/byte_source.hpp"
#include "recordings/line_reader.hpp"
#include "recordings/recording.hpp"
#include "recordings/text_dialect.hpp"
#include "recordings/text_rows.hpp"
#include "recordings/text_stamps.hpp"

namespace kxrecordings {

/// Samples of a channel that the file does not have.
struct MissingSamples {
  uint64_t count = 0;
  uint64_t firstLine = 0;
};

/// Each column of numbers is a channel, but for one of times, which gives the rate: the first whose name or unit tells so, whose texts
/// are dates and times of day, or which, without a name, is the first one and rises in even steps other than 1. How lines are cut, see
/// text_dialect.hpp. Columns that are no channels are named in the notes.
class TextReader {
public:
  static Result<TextReader> open(std::unique_ptr<ByteSource> source, const InputOptions& options);

  const Format& format() const { return format_; }

  /// About the file as far as it has been read, a sentence each.
  std::vector<std::string> notes() const;

  /// Reads the next interleaved frames, as many as there is room for; returns how many, fewer only at the end. Missing samples are NaNs.
  /// After a problem, the frames before it are lost.
  Result<size_t> read(std::span<double> samples);

  /// Back to the first frame.
  void rewind();

  /// Share that has been read, 0 to 1.
  double position() const;

  /// Of each channel, as far as the file has been read.
  const std::vector<MissingSamples>& missing() const { return missing_; }

  /// Of the row that was read last, counted from 1.
  uint64_t line() const { return lines_->number(); }

  /// Of the frames that were read last.
  const std::vector<uint64_t>& linesRead() const { return linesRead_; }

private:
  struct TimeColumn {
    size_t index;
    std::optional<double> unit;  // of numbers in seconds; none of texts
  };

  explicit TextReader(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}

  Result<> requireText();
  Result<> readFirstLines();
  LineReader linesFrom(uint64_t offset, uint64_t linesBefore);
  Result<> chooseColumns(const InputOptions& options);
  Result<> chooseNamedColumns(const InputOptions& options);
  std::optional<TimeColumn> findTimeColumn();
  std::optional<TextStamp> stampIn(std::string_view line, const TimeColumn& column);
  bool areTimes(const TimeColumn& column);
  Result<> findRate(const TimeColumn& column, bool isGiven);
  Problem problemHere(const std::string& what) const;
  /// Goes to the next row; false at the end.
  Result<bool> nextRow();
  void countMissing(std::span<const double> values);

  std::unique_ptr<ByteSource> source_;
  uint64_t begin_ = 0;  // of the text
  char lineEnd_ = '\n';
  std::vector<TextLine> firstLines_;
  std::unique_ptr<TextTable> table_;  // stays where it is: the rows look into it
  std::optional<TextRows> rows_;
  std::unique_ptr<LineReader> lines_;
  std::vector<size_t> columns_;
  Format format_;
  std::vector<std::string> notes_;
  std::vector<MissingSamples> missing_;
  std::vector<uint64_t> linesRead_;
  uint64_t countedTo_ = 0;  // the last line of which missing samples are counted
};

}  // namespace kxrecordings
