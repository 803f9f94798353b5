#include "recordings/text_fields.hpp"

#include <algorithm>
#include <charconv>

namespace kxrecordings {

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r");
  return first == std::string_view::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::optional<double> numberIn(std::string_view field) {
  if (field.starts_with('+')) {
    field.remove_prefix(1);
  }
  double number = 0;
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
  return error == std::errc() && end == field.data() + field.size() ? std::optional(number) : std::nullopt;
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
