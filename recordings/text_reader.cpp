#include "recordings/text_reader.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

constexpr size_t longestLine = size_t{1} << 22;

/// Lines and characters that tell how the file writes its table.
constexpr size_t mostFirstLines = 200, mostFirstCharacters = size_t{1} << 20;

/// A number as short as it is exact, for sentences.
std::string numberText(double number) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.10g", number);
  return buffer;
}

std::string samplesAreMissing(const MissingSamples& missing, const std::string& channel) {
  const bool isOne = missing.count == 1;
  return std::to_string(missing.count) + (isOne ? " sample of channel " : " samples of channel ") + quoteOf(channel) +
         (isOne ? " is missing and taken as NaN, in line " : " are missing and taken as NaN, the first one in line ") +
         std::to_string(missing.firstLine);
}

std::string textsAreLeftOut(const std::vector<std::string>& columns) {
  if (columns.size() == 1) {
    return "column " + columns[0] + " holds text and is left out";
  }
  constexpr size_t most = 30;
  std::string all = "columns " + columns[0];
  for (size_t i = 1; i < std::min(columns.size(), most); ++i) {
    all += ", " + columns[i];
  }
  const size_t more = columns.size() - std::min(columns.size(), most);
  return all + (more > 0 ? " and " + std::to_string(more) + " more" : "") + " hold text and are left out";
}

/// Text in two bytes a character, of which one is 0 in most of the world's measurements.
bool isUtf16(std::string_view bytes) {
  size_t zeros[2] = {0, 0};
  for (size_t i = 0; i < bytes.size(); ++i) {
    zeros[i % 2] += bytes[i] == 0 ? 1U : 0U;
  }
  constexpr double nearlyAll = 0.9;
  const bool isMarked = bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
  const auto more = static_cast<double>(std::max(zeros[0], zeros[1]));
  const bool isAlternating =
      std::min(zeros[0], zeros[1]) == 0 && 2 * more >= nearlyAll * static_cast<double>(bytes.size());
  return isMarked || isAlternating;
}

}  // namespace

Result<TextReader> TextReader::open(std::unique_ptr<ByteSource> source, const InputOptions& options) {
  TextReader reader(std::move(source));
  if (const auto text = reader.requireText(); !text) {
    return Problem{text.problem()};
  }
  if (const auto lines = reader.readFirstLines(); !lines) {
    return Problem{lines.problem()};
  }
  auto table = tableOf(reader.firstLines_, options.decimalMark);
  if (!table) {
    return reader.source_->problem(table.problem());
  }
  reader.notes_ = table->notes;
  reader.table_ = std::make_unique<TextTable>(std::move(*table));
  reader.rows_.emplace(*reader.table_, std::vector<size_t>());
  reader.format_.container = "csv";
  reader.format_.samples = "decimal";
  reader.format_.type = SampleType::float64;
  if (const auto chosen = reader.chooseColumns(options); !chosen) {
    return Problem{chosen.problem()};
  }
  return reader;
}

Result<> TextReader::requireText() {
  constexpr uint64_t pieceBytes = 65536;
  std::string piece(static_cast<size_t>(std::min(pieceBytes, source_->size())), '\0');
  if (const auto read = source_->read(0, piece); !read) {
    return Problem{read.problem()};
  }
  constexpr std::string_view mark = "\xEF\xBB\xBF";  // of UTF-8
  begin_ = piece.starts_with(mark) ? mark.size() : 0;
  const size_t zero = piece.find('\0');
  if (piece.size() > 1 && isUtf16(piece)) {
    return source_->problem("is text in UTF-16, which is not read: save it as UTF-8");
  }
  if (zero != std::string::npos) {
    return source_->problem("is no text, its byte " + std::to_string(zero + 1) +
                            " is 0: raw samples are read with --raw and --channels");
  }
  const bool hasLineFeeds = piece.find('\n') != std::string::npos;
  lineEnd_ = !hasLineFeeds && piece.find('\r') != std::string::npos ? '\r' : '\n';
  return Done{};
}

LineReader TextReader::linesFrom(uint64_t offset, uint64_t linesBefore) {
  return {*source_, {offset, source_->size()}, longestLine, LineReader::EndMark::isText, linesBefore, lineEnd_};
}

Result<> TextReader::readFirstLines() {
  lines_ = std::make_unique<LineReader>(linesFrom(begin_, 0));
  size_t characters = 0;
  while (firstLines_.size() < mostFirstLines && characters < mostFirstCharacters) {
    const uint64_t offset = lines_->offset();
    const auto next = lines_->next();
    if (!next) {
      return Problem{next.problem()};
    }
    if (!*next) {
      break;
    }
    if (!lines_->isWhole()) {
      return problemHere(" is longer than " + std::to_string(longestLine) + " characters");
    }
    characters += lines_->line().size();
    firstLines_.push_back({std::string(lines_->line()), lines_->number(), offset});
  }
  return Done{};
}

Problem TextReader::problemHere(const std::string& what) const {
  return source_->problem("line " + std::to_string(lines_->number()) + what);
}

Result<> TextReader::chooseColumns(const InputOptions& options) {
  const auto time = options.timesAreValues ? std::nullopt : findTimeColumn();
  const bool areNamed = !options.columns.empty() || !options.columnNumbers.empty();
  if (areNamed) {
    if (const auto chosen = chooseNamedColumns(options); !chosen) {
      return Problem{chosen.problem()};
    }
  }
  std::vector<std::string> texts;
  for (size_t i = 0; i < table_->columns.size() && !areNamed; ++i) {
    const TextColumn& column = table_->columns[i];
    if (time && time->index == i) {
      continue;
    }
    if (column.isText) {
      texts.push_back(quoteOf(column.title(i)));
    } else if (!column.isEmpty) {
      columns_.push_back(i);
    }
  }
  if (!texts.empty()) {
    notes_.push_back(textsAreLeftOut(texts));
  }
  if (columns_.empty()) {
    return source_->problem("no column holds numbers" + std::string(time ? " besides the times" : ""));
  }
  for (const size_t column : columns_) {
    format_.channels.push_back(table_->columns[column].title(column));
  }
  missing_.resize(columns_.size());
  rows_.emplace(*table_, columns_);
  format_.rate = options.rate;
  if (time) {
    if (const auto found = findRate(*time, options.rate.has_value()); !found) {
      return Problem{found.problem()};
    }
  }
  rewind();
  return Done{};
}

Result<> TextReader::chooseNamedColumns(const InputOptions& options) {
  const auto& all = table_->columns;
  for (const std::string& name : options.columns) {
    const auto isNamed = [&](size_t i) {
      return all[i].title(i) == name || (!all[i].name.empty() && all[i].name == name);
    };
    std::vector<size_t> found;
    for (size_t i = 0; i < all.size(); ++i) {
      if (isNamed(i)) {
        found.push_back(i);
      }
    }
    if (found.size() != 1) {
      return source_->problem(found.empty() ? "has no column " + name
                                            : "has " + std::to_string(found.size()) + " columns " + name +
                                                  ": --columns takes them by their numbers");
    }
    columns_.push_back(found[0]);
  }
  for (const size_t number : options.columnNumbers) {
    if (number < 1 || number > all.size()) {
      return source_->problem("has no column " + std::to_string(number) + ", they are numbered 1 to " +
                              std::to_string(all.size()));
    }
    columns_.push_back(number - 1);
  }
  return Done{};
}

/// Whether the first lines have times in a column, which do not fall.
bool TextReader::areTimes(const TimeColumn& column) {
  std::optional<TextStamp> before;
  for (size_t i = table_->firstRow; i < firstLines_.size(); ++i) {
    if (isBesideTable(firstLines_[i].text, table_->separator)) {
      continue;
    }
    const auto stamp = stampIn(firstLines_[i].text, column);
    const auto field = stamp ? std::nullopt : rows_->field(firstLines_[i].text, column.index);
    if (field && isMissing(*field)) {
      continue;
    }
    if (!stamp) {
      return false;
    }
    const bool falls = before && (stamp->seconds < before->seconds ||
                                  (stamp->seconds == before->seconds && stamp->fraction < before->fraction));
    if (falls && !stamp->isTimeOfDay) {
      return false;
    }
    before = stamp;
  }
  return before.has_value();
}

std::optional<TextReader::TimeColumn> TextReader::findTimeColumn() {
  for (size_t i = 0; i < table_->columns.size(); ++i) {
    const TextColumn& column = table_->columns[i];
    const auto unit = column.isText ? std::nullopt : timeUnitOf(column, i == 0);
    const TimeColumn found{i, unit};
    if ((column.isText || unit) && areTimes(found)) {
      return found;
    }
  }
  const TextColumn& first = table_->columns[0];
  const TimeColumn seconds{0, 1.0};
  if (table_->columns.size() < 2 || first.isText || !(first.name.empty() || upperCase(first.name) == "X") ||
      !areTimes(seconds)) {
    return std::nullopt;
  }
  constexpr size_t fewest = 3;
  TextStampRate rate;
  size_t rows = 0;
  for (size_t i = table_->firstRow; i < firstLines_.size(); ++i) {
    if (!isBesideTable(firstLines_[i].text, table_->separator)) {
      rate.add(stampIn(firstLines_[i].text, seconds));
      ++rows;
    }
  }
  const auto found = rate.rate();
  return rows >= fewest && rate.areClose() && found && *found != 1 ? std::optional(seconds)
                                                                   : std::nullopt;  // steps of 1 may number the rows
}

std::optional<TextStamp> TextReader::stampIn(std::string_view line, const TimeColumn& column) {
  const auto field = rows_->field(line, column.index);
  return !field        ? std::nullopt
         : column.unit ? stampOfNumber(*field, table_->decimalMark, *column.unit)
                       : stampOfText(*field);
}

Result<> TextReader::findRate(const TimeColumn& column, bool isGiven) {
  const std::string name = "column " + quoteOf(table_->columns[column.index].title(column.index));
  if (const auto first = stampIn(firstLines_[table_->firstRow].text, column)) {
    format_.start = first->moment;
  }
  if (isGiven) {
    if (std::ranges::find(columns_, column.index) == columns_.end()) {
      notes_.push_back(name + " holds the times and is left out");
    }
    return Done{};
  }
  TextStampRate rate;
  rewind();
  while (rate.areEven()) {
    const auto next = nextRow();
    if (!next) {
      return Problem{next.problem()};
    }
    if (!*next) {
      break;
    }
    rate.add(stampIn(lines_->line(), column));
  }
  format_.rate = rate.rate();
  if (format_.rate) {
    notes_.push_back("the sample rate, " + numberText(*format_.rate) + " Hz, comes from " + name);
  } else if (!rate.areEven()) {
    notes_.push_back("the times in " + name + " are not even, first in line " + std::to_string(lines_->number()) +
                     ", and tell no sample rate");
  } else {
    notes_.push_back("the times in " + name + " tell no sample rate");
  }
  return Done{};
}

Result<bool> TextReader::nextRow() {
  while (true) {
    auto next = lines_->next();
    if (!next || !*next) {
      return next;
    }
    if (!lines_->isWhole()) {
      return problemHere(" is longer than " + std::to_string(longestLine) + " characters");
    }
    if (!isBesideTable(lines_->line(), table_->separator)) {
      return true;
    }
  }
}

Result<size_t> TextReader::read(std::span<double> samples) {
  const size_t channels = columns_.size(), wanted = samples.size() / channels;
  linesRead_.clear();
  for (size_t frame = 0; frame < wanted; ++frame) {
    const auto next = nextRow();
    if (!next) {
      return Problem{next.problem()};
    }
    if (!*next) {
      return frame;
    }
    const auto values = samples.subspan(frame * channels, channels);
    if (const auto row = rows_->read(lines_->line(), values); !row) {
      const std::string& what = row.problem();
      return problemHere(what.starts_with("has ")      ? " " + what
                         : what.starts_with("column ") ? ", " + what
                                                       : ": " + what);
    }
    linesRead_.push_back(lines_->number());
    countMissing(values);
  }
  return wanted;
}

void TextReader::countMissing(std::span<const double> values) {
  const uint64_t line = lines_->number();
  if (line <= countedTo_) {
    return;
  }
  countedTo_ = line;
  for (size_t i = 0; i < values.size(); ++i) {
    if (std::isnan(values[i])) {
      if (missing_[i].count++ == 0) {
        missing_[i].firstLine = line;
      }
    }
  }
}

std::vector<std::string> TextReader::notes() const {
  constexpr size_t most = 5;
  std::vector<std::string> all = notes_;
  size_t channels = 0;
  for (size_t i = 0; i < missing_.size(); ++i) {
    if (missing_[i].count > 0 && ++channels <= most) {
      all.push_back(samplesAreMissing(missing_[i], format_.channels[i]));
    }
  }
  if (channels > most) {
    all.push_back("samples of " + std::to_string(channels - most) + " more channels are missing and taken as NaN");
  }
  return all;
}

void TextReader::rewind() {
  const TextLine& first = firstLines_[table_->firstRow];
  lines_ = std::make_unique<LineReader>(linesFrom(first.offset, first.number - 1));
}

double TextReader::position() const {
  return static_cast<double>(lines_->offset()) / static_cast<double>(source_->size());
}

}  // namespace kxrecordings
