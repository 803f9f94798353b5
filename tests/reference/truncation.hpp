// Conversion of floating-point numbers to integers, defined for every number.
#ifndef KXCALC_TESTS_REFERENCE_TRUNCATION_HPP
#define KXCALC_TESTS_REFERENCE_TRUNCATION_HPP

#include <cmath>
#include <cstdint>
#include <limits>

namespace reference {

/// Cut towards zero. Out of range, and for a NaN, the lowest number.
template <typename Integer, typename Number>
Integer truncateTo(Number number) {
  constexpr auto lowest = static_cast<Number>(std::numeric_limits<Integer>::min());
  const Number whole = std::trunc(number);
  const bool isInRange = whole >= lowest && whole < -lowest;
  return isInRange ? static_cast<Integer>(whole) : std::numeric_limits<Integer>::min();
}

inline int32_t truncateToInt32(float number) {
  return truncateTo<int32_t>(number);
}

inline int32_t truncateToInt32(double number) {
  return truncateTo<int32_t>(number);
}

}  // namespace reference

#endif
