// Sine, cosine, arctangent and decimal logarithm as the doubles next to their true values, on every platform: its own
// functions may be off by one in the last place, each in another. By their plain series in about 100 bits, two doubles a
// number; angles lose their turns in exact integers.
#ifndef KXCALC_TESTS_REFERENCE_CORRECTLY_ROUNDED_HPP
#define KXCALC_TESTS_REFERENCE_CORRECTLY_ROUNDED_HPP

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace reference {

/// A sum of two doubles, the first of them what it is rounded to.
struct Precise {
  double high = 0;
  double low = 0;

  Precise(double number) : high(number) {}
  /// Of two numbers of any size (D. Knuth).
  Precise(double a, double b) : high(a + b) {
    const double partOfA = high - b;
    const double partOfB = high - partOfA;
    low = (a - partOfA) + (b - partOfB);
  }

  Precise operator-() const { return Precise(-high, -low); }
  Precise operator+(const Precise& other) const {
    const Precise sum(high, other.high);
    const Precise rest(low, other.low);
    const Precise upper(sum.high, sum.low + rest.high);
    return Precise(upper.high, upper.low + rest.low);
  }
  Precise operator-(const Precise& other) const { return *this + -other; }
  Precise operator*(const Precise& other) const {
    const Precise product = exactProduct(high, other.high);
    return Precise(product.high, product.low + (high * other.low + low * other.high));
  }
  /// Twice the quotient of doubles: of the number, and of what the first one leaves.
  Precise operator/(const Precise& other) const {
    const double quotient = high / other.high;
    const Precise rest = *this - other * quotient;
    return Precise(quotient, rest.high / other.high);
  }

private:
  /// Of 26 bits and the rest (G. W. Veltkamp, T. J. Dekker).
  static Precise halves(double number) {
    const double scaled = number * 134217729.0;
    const double upper = scaled - (scaled - number);
    Precise parts = upper;
    parts.low = number - upper;
    return parts;
  }
  static Precise exactProduct(double a, double b) {
    const Precise x = halves(a);
    const Precise y = halves(b);
    Precise product = a * b;
    product.low = x.low * y.low - (((product.high - x.high * y.high) - x.low * y.high) - x.high * y.low);
    return product;
  }
};

/// The root of a double, and once more by Newton's method.
inline Precise squareRoot(const Precise& number) {
  const double root = std::sqrt(number.high);
  return Precise(root, (number - Precise(root) * root).high / (2 * root));
}

/// A number from 0 to below 2^32 with 320 places behind the point.
class FixedPoint {
public:
  static constexpr std::size_t wordCount = 11;
  std::array<uint32_t, wordCount> words{};  // from the highest on

  void doubleIt() {
    for (std::size_t i = 0; i < wordCount; ++i) {
      words[i] = words[i] << 1 | (i + 1 < wordCount ? words[i + 1] >> 31 : 0);
    }
  }
  bool operator>=(const FixedPoint& other) const { return words >= other.words; }
  FixedPoint operator-(const FixedPoint& other) const {
    FixedPoint difference;
    uint64_t borrow = 0;
    for (std::size_t i = wordCount; i-- > 0;) {
      const uint64_t word = uint64_t{words[i]} - other.words[i] - borrow;
      difference.words[i] = static_cast<uint32_t>(word);
      borrow = word >> 63;
    }
    return difference;
  }
  Precise value() const {
    Precise sum = 0;
    for (std::size_t i = 0; i < wordCount; ++i) {
      sum = sum + std::ldexp(static_cast<double>(words[i]), -32 * static_cast<int>(i));
    }
    return sum;
  }
};

inline constexpr FixedPoint quarterTurn{{0x00000001, 0x921FB544, 0x42D18469, 0x898CC517, 0x01B839A2, 0x52049C11,
                                         0x14CF98E8, 0x04177D4C, 0x76273644, 0xA29410F3, 0x1C6809BB}};

/// Quarter turns, and what is left: 1 at most, if need be below 0.
struct AngleInQuarters {
  uint32_t quarters = 0;
  Precise rest = 0;
};

/// By long division in binary, of a finite single from 0 on.
inline AngleInQuarters angleInQuarters(float angle) {
  int exponent = 0;
  const float fraction = std::frexp(angle, &exponent);
  if (exponent <= 0) {
    return {0, static_cast<double>(angle)};
  }
  FixedPoint rest;
  rest.words[1] = static_cast<uint32_t>(std::ldexp(fraction, 24)) << 8;
  AngleInQuarters reduced;
  for (int i = 0; i < exponent; ++i) {
    rest.doubleIt();
    reduced.quarters *= 2;
    if (rest >= quarterTurn) {
      rest = rest - quarterTurn;
      reduced.quarters += 1;
    }
  }
  FixedPoint twice = rest;
  twice.doubleIt();
  if (twice >= quarterTurn) {
    reduced.quarters += 1;
    reduced.rest = -(quarterTurn - rest).value();
  } else {
    reduced.rest = rest.value();
  }
  return reduced;
}

/// The sum of a term and those after it, each -x^2 / ((n + 1) (n + 2)) of the one before.
inline Precise alternatingSeries(const Precise& x, Precise term, int n) {
  const Precise square = x * x;
  Precise sum = term;
  for (int last = n + 30; n < last; n += 2) {
    term = -(term * square / static_cast<double>((n + 1) * (n + 2)));
    sum = sum + term;
  }
  return sum;
}

inline double sineOfQuarters(const AngleInQuarters& angle, uint32_t quarters) {
  const Precise value =
      quarters % 2 == 0 ? alternatingSeries(angle.rest, angle.rest, 1) : alternatingSeries(angle.rest, 1, 0);
  return quarters % 4 < 2 ? value.high : -value.high;
}

inline double correctSine(float x) {
  if (!std::isfinite(x) || x == 0) {
    return static_cast<double>(x == 0 ? x : x - x);
  }
  const AngleInQuarters angle = angleInQuarters(std::abs(x));
  const double sine = sineOfQuarters(angle, angle.quarters);
  return x < 0 ? -sine : sine;
}

inline double correctCosine(float x) {
  if (!std::isfinite(x)) {
    return static_cast<double>(x - x);
  }
  const AngleInQuarters angle = angleInQuarters(std::abs(x));
  return sineOfQuarters(angle, angle.quarters + 1);
}

/// From 0 to 1: three times halved, then by its series.
inline Precise arctangent(Precise tangent) {
  for (int i = 0; i < 3; ++i) {
    tangent = tangent / (squareRoot(tangent * tangent + 1.0) + 1.0);
  }
  const Precise square = tangent * tangent;
  Precise sum = 0;
  for (int n = 41; n > 0; n -= 2) {
    sum = Precise(1) / static_cast<double>(n) - square * sum;
  }
  return sum * tangent * 8.0;
}

/// The angle of the point (x, y). As the standard has it of zeros and infinities: pi of 0 and -0, pi / 4 of two infinities.
inline double correctArctangent2(float y, float x) {
  if (std::isnan(y) || std::isnan(x)) {
    return static_cast<double>(x + y);
  }
  const Precise pi(0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53);
  const double height = std::abs(static_cast<double>(y));
  const double width = std::abs(static_cast<double>(x));
  Precise angle = 0;
  if (height == width) {
    angle = height == 0 ? Precise(0) : pi * 0.25;
  } else if (height < width) {
    angle = std::isinf(width) ? Precise(0) : arctangent(Precise(height) / width);
  } else {
    angle = pi * 0.5 - (std::isinf(height) ? Precise(0) : arctangent(Precise(width) / height));
  }
  if (std::signbit(x)) {
    angle = pi - angle;
  }
  return std::copysign(angle.high, static_cast<double>(y));
}

/// Of a number above 0.
inline double correctDecimalLogarithm(float x) {
  if (std::isinf(x)) {
    return std::numeric_limits<double>::infinity();
  }
  int exponent = 0;
  double fraction = static_cast<double>(std::frexp(x, &exponent));
  if (fraction < 0.70710678) {
    fraction *= 2;
    exponent -= 1;
  }
  const Precise quotient = (Precise(fraction) - 1.0) / (Precise(fraction) + 1.0);
  const Precise square = quotient * quotient;
  Precise sum = 0;
  for (int n = 45; n > 0; n -= 2) {
    sum = Precise(1) / static_cast<double>(n) + square * sum;
  }
  const Precise ln2(0x1.62e42fefa39efp-1, 0x1.abc9e3b39803fp-56);
  const Precise ln10(0x1.26bb1bbb55516p+1, -0x1.f48ad494ea3e9p-53);
  return ((sum * quotient * 2.0 + ln2 * static_cast<double>(exponent)) / ln10).high;
}

}  // namespace reference

#endif
