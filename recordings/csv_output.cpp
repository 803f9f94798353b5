#include "recordings/csv_output.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "recordings/recording.hpp"

namespace kxrecordings {
namespace {

/// A name as CSV has it: in quotes where it would be taken for something else, and always on one line.
std::string fieldOf(std::string name) {
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c >= 0 && c < ' '; }, ' ');
  const bool isPlain =
      name.find_first_of("\",;") == std::string::npos && !name.starts_with(' ') && !name.ends_with(' ');
  if (isPlain) {
    return name;
  }
  std::string quoted = "\"";
  for (const char c : name) {
    quoted += c == '"' ? "\"\"" : std::string(1, c);
  }
  return quoted + '"';
}

}  // namespace

CsvOutput::CsvOutput(const std::string& file, const std::vector<std::string>& columns, std::optional<uint64_t> expected)
    : file_(file), out_(file_.draft(), std::ios::binary), columns_(columns.size()) {
  constexpr uint64_t shortest = 8;  // bytes of a number, as they mostly are or more
  file_.requireRoom(expected.value_or(0) * columns_ * shortest);
  for (size_t i = 0; i < columns_; ++i) {
    out_ << fieldOf(columns[i]) << (i + 1 < columns_ ? ',' : '\n');
  }
}

void CsvOutput::write(std::span<const float> samples) {
  std::string rows;
  for (const float sample : samples) {
    fmt::format_to(std::back_inserter(rows), "{:.9g}", sample);  // 9 digits tell any two singles apart
    rows += ++samples_ % columns_ != 0 ? ',' : '\n';
  }
  if (!(out_ << rows)) {
    throw FileError(file_.name(), "cannot be written: writing failed");
  }
}

void CsvOutput::finish() {
  out_.close();
  if (!out_) {
    throw FileError(file_.name(), "cannot be written: writing failed");
  }
  file_.place();
}

}  // namespace kxrecordings
