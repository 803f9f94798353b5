#include "recordings/shown_text.hpp"

#include <algorithm>
#include <array>
#include <cstdint>

namespace kxrecordings {
namespace {

bool continues(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// Bytes of the character that a text begins with; 0 if it is none of UTF-8: cut short, too long a form, a surrogate or
/// beyond the last.
size_t characterLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const size_t length = first < 0x80   ? 1
                        : first < 0xC2 ? 0
                        : first < 0xE0 ? 2
                        : first < 0xF0 ? 3
                        : first < 0xF5 ? 4
                                       : 0;
  if (length < 2) {
    return length;
  }
  if (text.size() < length ||
      !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), continues)) {
    return 0;
  }
  constexpr std::array<uint32_t, 5> firstBits{0, 0, 0x1F, 0x0F, 0x07}, least{0, 0, 0x80, 0x800, 0x10000};
  constexpr uint32_t firstSurrogate = 0xD800, lastSurrogate = 0xDFFF, last = 0x10FFFF;
  uint32_t code = first & firstBits.at(length);
  for (size_t i = 1; i < length; ++i) {
    code = code << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU);
  }
  const bool isCharacter =
      code >= least.at(length) && code <= last && !(code >= firstSurrogate && code <= lastSurrogate);
  return isCharacter ? length : 0;
}

/// Those of ASCII, and in two bytes those up to U+009F.
bool isControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  return character.size() == 1 ? first < ' ' || first == 0x7F
                               : first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
}

}  // namespace

std::string shownText(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const size_t length = characterLength(text);
    const std::string_view character = text.substr(0, std::max<size_t>(length, 1));
    shown += length == 0 || isControl(character) ? "?" : character;
    text.remove_prefix(character.size());
  }
  return shown;
}

std::string shortened(const std::string& text, size_t most) {
  const auto characters =
      static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return !continues(c); }));
  if (characters <= most) {
    return text;
  }
  const size_t kept = most - 1, atEnd = kept / 2;
  std::string result;
  size_t index = 0;  // of the character, from 1 on
  for (const char c : text) {
    index += continues(c) ? 0U : 1U;
    if (index == kept - atEnd + 1 && !continues(c)) {
      result += "\u2026";
    }
    if (index <= kept - atEnd || index > characters - atEnd) {
      result += c;
    }
  }
  return result;
}

}  // namespace kxrecordings
