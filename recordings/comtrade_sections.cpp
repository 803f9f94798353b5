#include "recordings/comtrade_sections.hpp"

#include <cmath>
#include <string_view>
#include <vector>

#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

/// What a separator names, in upper case: CFG, INF, HDR or DAT, behind which stand the type and the number of bytes. Nothing if
/// the line is no separator.
std::vector<std::string> separatorWords(std::string_view line) {
  const std::string upper = upperCase(trimmed(line));
  constexpr std::string_view dashes = "---", title = "FILE TYPE";
  std::string_view text = upper;
  if (!text.starts_with(dashes) || !text.ends_with(dashes)) {
    return {};
  }
  const size_t first = text.find_first_not_of("- ");
  if (first == std::string_view::npos || !text.substr(first).starts_with(title)) {
    return {};
  }
  text = text.substr(first + title.size(), text.find_last_not_of("- ") + 1 - first - title.size());
  std::vector<std::string> words;
  constexpr std::string_view between = ": \t";
  for (size_t begin = text.find_first_not_of(between); begin != std::string_view::npos;) {
    const size_t end = text.find_first_of(between, begin);
    words.emplace_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(between, end);
  }
  return words;
}

/// Where data end that say how many bytes they have.
uint64_t dataEnd(uint64_t begin, uint64_t size, const std::vector<std::string>& words) {
  const auto bytes = words.size() > 2 ? numberIn(words[2]) : std::nullopt;
  const bool isPart =
      bytes && *bytes >= 0 && *bytes < static_cast<double>(size - begin) && *bytes == std::floor(*bytes);
  return isPart ? begin + static_cast<uint64_t>(*bytes) : size;
}

}  // namespace

Result<ComtradeSections> findComtradeSections(ByteSource& source) {
  constexpr size_t longestSeparator = 200;
  const uint64_t size = source.size();
  LineReader lines(source, {0, size}, longestSeparator, LineReader::EndMark::isText);
  std::optional<ComtradeSections::Section> configuration;
  bool isInConfiguration = false;
  for (uint64_t begin = 0;; begin = lines.offset()) {
    const auto line = lines.next();
    if (!line) {
      return Problem{line.problem()};
    }
    if (!*line) {
      return source.problem(configuration ? "has no section of data" : "has no section of the configuration");
    }
    const auto words = separatorWords(lines.line());
    if (words.empty()) {
      continue;
    }
    if (isInConfiguration) {
      configuration->range.end = begin;
      isInConfiguration = false;
    }
    if (words[0] == "CFG" && !configuration) {
      configuration = {{lines.offset(), size}, lines.number()};
      isInConfiguration = true;
    } else if (words[0] == "DAT") {
      if (!configuration) {
        return source.problem("has no section of the configuration before the data");
      }
      const std::optional<ComtradeType> type = words.size() > 1 ? comtradeTypeIn(words[1]) : std::nullopt;
      if (words.size() > 1 && !type) {
        return source.problem("line " + std::to_string(lines.number()) + ": data of type " + quoteOf(words[1]) +
                              " are not read, only ASCII, BINARY, BINARY32 and FLOAT32");
      }
      return ComtradeSections{
          *configuration, {{lines.offset(), dataEnd(lines.offset(), size, words)}, lines.number()}, type};
    }
  }
}

}  // namespace kxrecordings
