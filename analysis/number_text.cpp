#include "analysis/number_text.hpp"

#include <array>
#include <charconv>
#include <cmath>

namespace kxanalysis {

std::string numberText(double number, int digits) {
  if (std::isnan(number)) {
    return "nan";
  }
  std::array<char, 32> buffer{};
  char *const begin = buffer.data(), *const last = begin + buffer.size();
  const auto [end, error] = digits == allDigits
                                ? std::to_chars(begin, last, number)
                                : std::to_chars(begin, last, number, std::chars_format::general, digits);
  return {begin, end};
}

}  // namespace kxanalysis
