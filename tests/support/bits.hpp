// Comparison of results bit by bit. A difference is told by its index, both values and both bit patterns.
#ifndef KXCALC_TESTS_SUPPORT_BITS_HPP
#define KXCALC_TESTS_SUPPORT_BITS_HPP

#include <gtest/gtest.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <span>
#include <sstream>
#include <string>
#include <type_traits>

namespace support {

template <typename T>
concept Number = std::integral<T> || std::floating_point<T>;

template <Number T>
using BitsOf = std::conditional_t<sizeof(T) == 2, uint16_t, std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>>;

/// By reference and through memory: a signalling NaN keeps its bits, which it loses in an x87 register.
template <Number T>
BitsOf<T> bitsOf(const T& value) {
  static_assert(sizeof(BitsOf<T>) == sizeof(T));
  BitsOf<T> bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

template <Number T>
void setBits(T& value, BitsOf<T> bits) {
  std::memcpy(&value, &bits, sizeof value);
}

template <Number T>
bool isNan(const T& value) {
  return value != value;
}

enum class NanRule {
  sameBits,  // the contract names the operand that a selection returns
  anyNan     // the result of arithmetic: which NaN comes out is not promised
};

template <Number T>
bool isSame(const T& actual, const T& expected, NanRule rule) {
  return bitsOf(actual) == bitsOf(expected) || (rule == NanRule::anyNan && isNan(actual) && isNan(expected));
}

template <Number T>
std::string describe(const T& value) {
  std::ostringstream text;
  text << std::setprecision(std::numeric_limits<T>::max_digits10) << value << " (0x" << std::hex << std::setfill('0')
       << std::setw(2 * sizeof(T)) << bitsOf(value) << ')';
  return text.str();
}

template <Number T>
testing::AssertionResult same(const T& actual, const T& expected, NanRule rule) {
  if (isSame(actual, expected, rule)) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "actual " << describe(actual) << ", expected " << describe(expected);
}

/// Vectors, arrays, spans.
template <typename A, typename E>
testing::AssertionResult same(const A& actualElements, const E& expectedElements, NanRule rule) {
  const std::span actual(actualElements);
  const std::span expected(expectedElements);
  if (actual.size() != expected.size()) {
    return testing::AssertionFailure() << "actual " << actual.size() << " elements, expected " << expected.size();
  }
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (!isSame(actual[i], expected[i], rule)) {
      return testing::AssertionFailure() << "first difference at index " << i << " of " << actual.size() << ": actual "
                                         << describe(actual[i]) << ", expected " << describe(expected[i]);
    }
  }
  return testing::AssertionSuccess();
}

/// Equal to the last bit, NaN payloads and signs included.
template <typename A, typename E>
testing::AssertionResult sameBits(const A& actual, const E& expected) {
  return same(actual, expected, NanRule::sameBits);
}

/// Equal to the last bit, all NaNs being one.
template <typename A, typename E>
testing::AssertionResult sameResult(const A& actual, const E& expected) {
  return same(actual, expected, NanRule::anyNan);
}

}  // namespace support

#endif
