#include "recordings/csv_recording.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

class CsvRecording final : public Recording {
public:
  CsvRecording(const std::string& path, const InputOptions& options)
      : path_(path), bytes_(std::filesystem::file_size(path)), file_(path, std::ios::binary) {
    if (!nextLine()) {
      throw FileError(path, "is empty: a header row with the columns' names is needed");
    }
    separator_ = separatorOf(line_);
    splitLine();
    if (std::all_of(fields_.begin(), fields_.end(), [](std::string_view f) { return numberIn(f).has_value(); })) {
      throw FileError(path, "has no header row: the first row holds numbers");
    }
    header_.assign(fields_.begin(), fields_.end());
    format_.container = "csv";
    format_.samples = "decimal";
    format_.type = SampleType::float64;
    format_.rate = options.rate;
    const bool hasRows = nextRow();
    if (options.columns.empty()) {
      takeNumericColumns(hasRows);
    } else {
      takeNamedColumns(options.columns);
    }
    rewind();
  }

  void rewind() override {
    file_.clear();
    file_.seekg(0);
    lineNumber_ = 0;
    bytesRead_ = 0;
    nextLine();
  }

  std::optional<uint64_t> lineOf(size_t frame) const override { return lines_.at(frame); }

  double position() const override { return static_cast<double>(bytesRead_) / static_cast<double>(bytes_); }

protected:
  size_t readFrames(void* samples, size_t frames) override {
    auto* sample = static_cast<double*>(samples);
    lines_.clear();
    for (size_t frame = 0; frame < frames; ++frame) {
      if (!nextRow()) {
        return frame;
      }
      lines_.push_back(lineNumber_);
      for (const size_t column : columns_) {
        const auto number = numberIn(fields_[column]);
        if (!number) {
          throw FileError(path_,
                          where() + ", column " + header_[column] + ": " +
                              (fields_[column].empty() ? "empty" : "not a number: " + std::string(fields_[column])));
        }
        *sample++ = *number;
      }
    }
    return frames;
  }

private:
  static char separatorOf(const std::string& header) {
    constexpr std::string_view candidates = ",;\t";
    return *std::max_element(candidates.begin(), candidates.end(), [&](char a, char b) {
      return std::count(header.begin(), header.end(), a) < std::count(header.begin(), header.end(), b);
    });
  }

  std::string where() const { return "line " + std::to_string(lineNumber_); }

  /// The next line that is not blank, without the mark that some programs put before the first one.
  bool nextLine() {
    while (std::getline(file_, line_)) {
      bytesRead_ += line_.size() + 1;
      if (++lineNumber_ == 1 && line_.starts_with("\xEF\xBB\xBF")) {
        line_.erase(0, 3);
      }
      if (!trimmed(line_).empty()) {
        return true;
      }
    }
    if (file_.bad()) {
      throw FileError(path_, "reading failed after " + where());
    }
    return false;
  }

  bool nextRow() {
    if (!nextLine()) {
      return false;
    }
    splitLine();
    if (fields_.size() != header_.size()) {
      throw FileError(path_, where() + " has " + std::to_string(fields_.size()) + " fields, the header row has " +
                                 std::to_string(header_.size()));
    }
    return true;
  }

  /// Splits the line into fields. Those in quotes are written again in place without them: they only get shorter.
  void splitLine() {
    fields_.clear();
    for (size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
      const size_t text = line_.find_first_not_of(' ', begin);
      if (text == std::string::npos || line_[text] != '"') {
        end = line_.find(separator_, begin);
        fields_.push_back(trimmed(std::string_view(line_).substr(begin, end - begin)));
        continue;
      }
      size_t from = text + 1, to = text;
      while (line_[from] != '"' || line_[from + 1] == '"') {
        from += line_[from] == '"' ? 1U : 0U;
        if (from >= line_.size()) {
          throw FileError(path_, where() + ": a quote is not closed");
        }
        line_[to++] = line_[from++];
      }
      fields_.push_back(std::string_view(line_).substr(text, to - text));
      end = line_.find(separator_, from);
    }
  }

  void take(size_t column) {
    columns_.push_back(column);
    format_.channels.push_back(header_[column].empty() ? std::to_string(column + 1) : header_[column]);
  }

  void takeNumericColumns(bool hasRows) {
    for (size_t column = 0; column < header_.size(); ++column) {
      if (hasRows && !numberIn(fields_[column])) {
        notes_.push_back("column " + header_[column] + " holds text and is left out");
      } else {
        take(column);
      }
    }
    if (columns_.empty()) {
      throw FileError(path_, "no column holds numbers");
    }
  }

  void takeNamedColumns(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      const auto found = std::find(header_.begin(), header_.end(), name);
      if (found == header_.end()) {
        throw FileError(path_, "has no column " + name);
      }
      take(static_cast<size_t>(found - header_.begin()));
    }
  }

  std::string path_;
  uint64_t bytes_;
  std::ifstream file_;
  char separator_ = ',';
  std::vector<std::string> header_;
  std::vector<size_t> columns_;  // the ones taken
  std::string line_;
  std::vector<std::string_view> fields_;  // of the line
  uint64_t lineNumber_ = 0;
  std::vector<uint64_t> lines_;  // of the frames that were read last
  uint64_t bytesRead_ = 0;
};

}  // namespace

std::unique_ptr<Recording> openCsv(const std::string& file, const InputOptions& options) {
  return std::make_unique<CsvRecording>(file, options);
}

}  // namespace kxrecordings
