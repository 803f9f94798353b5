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
  const auto [end, error] =
      digits == allDigits ? std::to_chars(buffer.begin(), buffer.end(), number)
                          : std::to_chars(buffer.begin(), buffer.end(), number, std::chars_format::general, digits);
  return std::string(buffer.begin(), end);
}

}  // namespace kxanalysis
