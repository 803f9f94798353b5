// Numbers in decimal, at any locale, with a point or a comma: the one place that knows what reads them. fast_float is there for every
// standard library; libc++ has no std::from_chars of doubles before version 20.
#pragma once

#include <fast_float/fast_float.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <system_error>

namespace kxrecordings {

/// The number that a text begins with, and where it ends there; at the text's begin where it begins with none.
struct NumberAt {
  double value;
  const char* end;
};

/// The usual number: digits with a decimal mark among them or not, no more than 15. As a whole number they are a double exactly, and so is
/// the power of ten that they are divided by, so the quotient is rounded once, to the nearest double.
inline NumberAt shortNumberAt(const char* begin, const char* end, char decimalMark) {
  constexpr double powers[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  constexpr std::ptrdiff_t mostDigits = 15;
  uint64_t digits = 0;
  const auto takeDigits = [&](const char* at) {
    for (; at != end && *at >= '0' && *at <= '9'; ++at) {
      digits = digits * 10 + static_cast<uint64_t>(*at - '0');
    }
    return at;
  };
  const bool isNegative = begin != end && *begin == '-';
  const char* const first = begin + (isNegative ? 1 : 0);
  const char* at = takeDigits(first);
  std::ptrdiff_t count = at - first, decimals = 0;
  if (at != end && *at == decimalMark) {
    const char* const mark = at;
    at = takeDigits(at + 1);
    decimals = at - mark - 1;
    count += decimals;
  }
  if (count < 1 || count > mostDigits || (at != end && (*at == 'e' || *at == 'E'))) {
    return {0, begin};
  }
  const double value = static_cast<double>(digits) / powers[decimals];
  return {isNegative ? -value : value, at};
}

/// A sign, digits with a decimal mark among them or not, an exponent or none; "nan" and "inf" in any case. What is too large for a
/// double is no number.
inline NumberAt numberAt(const char* begin, const char* end, char decimalMark) {
  if (const NumberAt number = shortNumberAt(begin, end, decimalMark); number.end != begin) {
    return number;
  }
  const char* const digits = begin != end && *begin == '+' ? begin + 1 : begin;
  if (digits != begin && digits != end && *digits == '-') {
    return {0, begin};
  }
  double value = 0;
  const fast_float::parse_options options(fast_float::chars_format::general, decimalMark);
  const auto [after, error] = fast_float::from_chars_advanced(digits, end, value, options);
  const bool isTooSmall = error == std::errc::result_out_of_range && value == 0;
  const bool isTooLarge = std::isinf(value) && after[-1] >= '0' && after[-1] <= '9';
  return (error == std::errc() || isTooSmall) && !isTooLarge ? NumberAt{value, after} : NumberAt{0, begin};
}

}  // namespace kxrecordings
