#include "recordings/text_fields.hpp"

#include <algorithm>

#include "recordings/decimal_numbers.hpp"

namespace kxrecordings {

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r");
  return first == std::string_view::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::optional<double> numberIn(std::string_view field, char decimalMark) {
  const char* const end = field.data() + field.size();
  const NumberAt number = numberAt(field.data(), end, decimalMark);
  return !field.empty() && number.end == end ? std::optional(number.value) : std::nullopt;
}

std::vector<std::string_view> fieldsOf(std::string_view line, char separator) {
  std::vector<std::string_view> fields;
  splitFields(line, separator, fields);
  return fields;
}

void splitFields(std::string_view line, char separator, std::vector<std::string_view>& fields) {
  fields.clear();
  for (size_t begin = 0, end = 0; end != std::string_view::npos; begin = end + 1) {
    end = line.find(separator, begin);
    fields.push_back(trimmed(line.substr(begin, end - begin)));
  }
}

namespace {

/// The quote that closes one; the line's length where none does. Two of them are one in the text.
size_t closingQuote(std::string_view line, size_t open) {
  size_t at = line.find('"', open + 1);
  while (at != std::string_view::npos && at + 1 < line.size() && line[at + 1] == '"') {
    at = line.find('"', at + 2);
  }
  return std::min(at, line.size());
}

/// What stands between two quotes, written in place of the first.
std::string_view unquoted(std::string& line, size_t open, size_t close) {
  size_t to = open;
  for (size_t from = open + 1; from < close; ++from) {
    line[to++] = line[from];
    from += line[from] == '"' ? 1U : 0U;
  }
  return std::string_view(line).substr(open, to - open);
}

/// Where the field at a place ends.
size_t endOfField(std::string_view line, size_t begin, char separator) {
  const size_t end = separator == ' ' ? line.find_first_of(" \t", begin) : line.find(separator, begin);
  return std::min(end, line.size());
}

}  // namespace

bool splitQuotedFields(std::string& line, char separator, std::vector<std::string_view>& fields) {
  constexpr std::string_view blanks = " \t";
  const std::string_view around = separator == '\t' ? blanks.substr(0, 1) : blanks;
  fields.clear();
  for (size_t begin = 0;;) {
    const size_t text = std::min(line.find_first_not_of(around, begin), line.size());
    if (separator == ' ' && text == line.size()) {
      return true;
    }
    size_t end = endOfField(line, text, separator);
    std::string_view field = trimmed(std::string_view(line).substr(text, end - text));
    if (text < line.size() && line[text] == '"') {
      const size_t close = closingQuote(line, text);
      if (close == line.size()) {
        return false;
      }
      end = endOfField(line, close + 1, separator);
      const bool isAlone = trimmed(std::string_view(line).substr(close + 1, end - close - 1)).empty();
      field = isAlone ? unquoted(line, text, close) : trimmed(std::string_view(line).substr(text, end - text));
    }
    fields.push_back(field);
    if (end == line.size()) {
      return true;
    }
    begin = end + 1;
  }
}

std::string quoteOf(std::string_view text) {
  constexpr size_t longest = 40;
  std::string quote(text.substr(0, longest));
  std::replace_if(
      quote.begin(), quote.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; }, '?');
  return quote + (text.size() > longest ? "..." : "");
}

std::string upperCase(std::string_view text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return upper;
}

}  // namespace kxrecordings
