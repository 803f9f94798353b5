// Numbers of about 106 significant bits, as the unevaluated sum of two doubles, in plain operations: nothing is fused.
//
// The sums and products are those of O. Møller and D. Knuth, T. J. Dekker and G. W. Veltkamp; bounds of their errors, with
// u = 2^-53, are those of M. Joldes, J.-M. Muller and V. Popescu, "Tight and rigorous error bounds for basic building
// blocks of double-word arithmetic", ACM TOMS 44, 2017. Everything can run at compile time, where tables are made.
#pragma once

#include <cmath>

#include "frame/lanes.hpp"

namespace kxcalc {

namespace detail {

KXCALC_INLINE double magnitude(double v) {
  return std::abs(v);
}
template <class V>
KXCALC_INLINE V magnitude(V v) {
  return bitsAs<V>(bitsAs<SameSize<int64_t, V>>(v) & INT64_MAX);
}
/// A magnitude with the sign of v. (Without optimisation the copysign of <cmath> is a call of the mathematical library.)
KXCALC_INLINE double withSignOf(double magnitude, double v) {
  return __builtin_copysign(magnitude, v);
}
template <class V>
KXCALC_INLINE V withSignOf(V magnitude, V v) {
  using I = SameSize<int64_t, V>;
  return bitsAs<V>(bitsAs<I>(magnitude) | (bitsAs<I>(v) & INT64_MIN));
}

/// Whether the sign bit is set, of -0 too.
KXCALC_INLINE bool isNegative(double v) {
  return std::signbit(v);
}
template <class V>
KXCALC_INLINE SameSize<int64_t, V> isNegative(V v) {
  return bitsAs<SameSize<int64_t, V>>(oddLanesTwice(bitsAs<SameSize<int32_t, V>>(v) >> 31));
}

}  // namespace detail

/// high is the sum rounded to double: of one number, or of each lane.
template <class V>
struct Unevaluated {
  V high, low;
};
using DoubleDouble = Unevaluated<double>;

/// a + b without error.
template <class V>
KXCALC_INLINE constexpr Unevaluated<V> exactSum(V a, V b) {
  const V sum = a + b, part = sum - a;
  return {sum, (a - (sum - part)) + (b - part)};
}
/// a + b without error, where a is 0 or the exponent of b is not above that of a.
template <class V>
KXCALC_INLINE constexpr Unevaluated<V> orderedSum(V a, V b) {
  const V sum = a + b;
  return {sum, b - (sum - a)};
}

/// The upper 26 bits of a number below 2^996, rounded: what is left of it has no more.
template <class V>
KXCALC_INLINE constexpr V upperHalf(V a) {
  const V scaled = a * 134217729.0;  // 2^27 + 1
  return scaled - (scaled - a);
}
/// a * b without error, unless parts of it lie below the smallest normal.
KXCALC_INLINE constexpr DoubleDouble exactProduct(double a, double b) {
  const double product = a * b;
  const double a1 = upperHalf(a), a2 = a - a1, b1 = upperHalf(b), b2 = b - b1;
  return {product, ((a1 * b1 - product) + a1 * b2 + a2 * b1) + a2 * b2};
}

/// Within 3 u^2 / (1 - 4 u) of the sum, also where numbers of opposite signs cancel.
KXCALC_INLINE constexpr DoubleDouble operator+(DoubleDouble a, DoubleDouble b) {
  const DoubleDouble high = exactSum(a.high, b.high), low = exactSum(a.low, b.low);
  const DoubleDouble sum = orderedSum(high.high, high.low + low.high);
  return orderedSum(sum.high, low.low + sum.low);
}
KXCALC_INLINE constexpr DoubleDouble operator-(DoubleDouble a) {
  return {-a.high, -a.low};
}

/// Within 7 u^2 of the product.
KXCALC_INLINE constexpr DoubleDouble operator*(DoubleDouble a, DoubleDouble b) {
  const DoubleDouble product = exactProduct(a.high, b.high);
  return orderedSum(product.high, product.low + (a.high * b.low + a.low * b.high));
}

/// Within 10 u^2 of the quotient.
KXCALC_INLINE constexpr DoubleDouble operator/(DoubleDouble a, DoubleDouble b) {
  const double quotient = a.high / b.high;
  const DoubleDouble rest = a + -(b * DoubleDouble{quotient, 0});
  return orderedSum(quotient, rest.high / b.high);
}

}  // namespace kxcalc
