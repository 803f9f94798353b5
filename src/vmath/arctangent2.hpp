// Arctangent of y / x in all four quadrants: a quick one whose error is known, of one point or of lanes, and the correctly
// rounded one of two singles, the same on every processor, for where the quick one leaves a choice.
#pragma once

#include <cmath>
#include <limits>

#include "vmath/sine_series.hpp"

namespace kxcalc {
namespace detail {

inline constexpr double quarterOfPi = 0x1.921fb54442d18p-1, halfOfPi = 0x1.921fb54442d18p+0,
                        wholePi = 0x1.921fb54442d18p+1;

/// -v where the mask is set, v elsewhere: a sign put on costs less than a choice.
KXCALC_INLINE double negatedWhere(bool mask, double v) {
  return mask ? -v : v;
}
template <class V>
KXCALC_INLINE V negatedWhere(SameSize<int64_t, V> mask, V v) {
  return bitsAs<V>(bitsAs<SameSize<int64_t, V>>(v) ^ (mask & INT64_MIN));
}

/// Of lower / upper, from 0 on and lower not above upper. 0 of two zeros.
///
/// From the tangent of pi / 8 on the angle is pi / 4 less that of (upper - lower) / (upper + lower). The polynomial, of the
/// square, is within 2^-49.8 of arctangent(w) / w: near-minimax on Chebyshev points (J. C. Mason and D. C. Handscomb,
/// "Chebyshev Polynomials", 2002).
template <class V>
KXCALC_INLINE V quickArctangent(V lower, V upper) {
  const auto folded = lower > upper * 0x1.a827999fcef32p-2;
  const V nothing{}, notZero = nothing + 0x1p-200;  // and below every single
  const V w = (lower - (folded ? upper : nothing)) / greater(notZero, upper + (folded ? lower : nothing));
  const V z = w * w, z2 = z * z, z4 = z2 * z2;
  const V p01 = z * -0x1.555555555061bp-2 + 0x1.ffffffffffff7p-1;
  const V p23 = z * -0x1.249246f3f182ep-3 + 0x1.9999999222af5p-3;
  const V p45 = z * -0x1.744e9541d62c9p-4 + 0x1.c71bc9ff145b9p-4;
  const V p67 = z * -0x1.0a7928ce975e5p-4 + 0x1.3a4e5bd5b20c8p-4;
  const V p89 = z * -0x1.9e92a5357851cp-6 + 0x1.9b8d073d500e7p-5;
  const V angle = w * ((p01 + z2 * p23) + z4 * ((p45 + z2 * p67) + z4 * p89));
  return angle + (folded ? nothing + quarterOfPi : nothing);
}

}  // namespace detail

/// Within 2^-48 of the arctangent's magnitude: 2^-49.8 of the polynomial, and 11 roundings. NaN of a NaN and of two
/// infinities.
template <class V>
KXCALC_INLINE V quickArctangent2(V y, V x) {
  const V height = detail::magnitude(y), width = detail::magnitude(x);
  const auto steep = height > width;
  const auto negative = detail::isNegative(x);
  const V nothing{}, angle = detail::quickArctangent(lesser(width, height), greater(height, width));
  const V upright = detail::negatedWhere(steep, angle) + (steep ? nothing + detail::halfOfPi : nothing);
  const V aroundOrigin = detail::negatedWhere(negative, upright) + (negative ? nothing + detail::wholePi : nothing);
  return detail::withSignOf(aroundOrigin, y);
}

/// Correctly rounded, of singles. Of zeros and infinities as IEEE 754 has it: pi of 0 and -0, pi / 4 of two infinities.
///
/// One step of Newton's method from the quick one, in about 100 bits: with its sine and cosine, s and c, the point lies
/// (y c - x s) / (x c + y s) beyond it, of which the cube is below 2^-138. Correctly rounded by trial: for every point whose
/// angle is up to 60 degrees and so close to a border of degrees in single that these bits decide.
[[gnu::noinline, gnu::cold]] inline double arctangent2(float y, float x) {
  if (x != x || y != y) {
    return static_cast<double>(x + y);
  }
  constexpr DoubleDouble half{0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54}, whole{2 * half.high, 2 * half.low};
  const double height = std::abs(static_cast<double>(y)), width = std::abs(static_cast<double>(x));
  const bool steep = height > width;
  const double lower = steep ? width : height, upper = steep ? height : width;
  DoubleDouble angle{0, 0};
  if (lower == std::numeric_limits<double>::infinity()) {
    angle = {half.high / 2, half.low / 2};
  } else if (lower > 0 && upper < std::numeric_limits<double>::infinity()) {
    const DoubleDouble quick{detail::quickArctangent(lower, upper), 0}, a{lower, 0}, b{upper, 0};
    const DoubleDouble sine = sineSeries(quick), cosine = cosineSeries(quick);
    angle = quick + (a * cosine + -(b * sine)) / (b * cosine + a * sine);
  }
  angle = steep ? half + -angle : angle;
  angle = std::signbit(x) ? whole + -angle : angle;
  return detail::withSignOf(angle.high, static_cast<double>(y));
}

}  // namespace kxcalc
