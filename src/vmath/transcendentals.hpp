// The packed transcendental kit: single-precision functions of four lanes at a time, without branches on lane values.
// Every operation is single and rounded on its own, in the order written; special cases are masks that select between
// two values.
//
// The approximations are those of S. L. Moshier, "Methods and Programs for Mathematical Functions" (Cephes), 1989: the
// single-precision logarithm, exponential, sine and cosine, and the double-precision arctangent's rational function
// evaluated in single. Constants are given by their bits, which is what the results depend on.
#pragma once

#include <bit>
#include <numbers>

#include "frame/conversions.hpp"

namespace kxcalc {
namespace detail {

inline constexpr uint32_t signBit = 0x80000000;
inline constexpr uint32_t magnitudeBits = 0x7FFFFFFF;
inline constexpr float ln2High =
    std::bit_cast<float>(0x3F318000U);  // 0.693359375: its products with exponents are exact
inline constexpr float ln2Low = std::bit_cast<float>(0xB95E8083U);  // -2.12194442e-4

KXCALC_INLINE f32x4 splat(float value) {
  return f32x4{value, value, value, value};
}
KXCALC_INLINE f32x4 splat(uint32_t bits) {
  return splat(std::bit_cast<float>(bits));
}
KXCALC_INLINE f32x4 toSingle(i32x4 integers) {
  return __builtin_convertvector(integers, f32x4);
}

/// `value` where the mask is set, 0 elsewhere.
KXCALC_INLINE f32x4 where(i32x4 mask, f32x4 value) {
  return bitsAs<f32x4>(mask & bitsAs<i32x4>(value));
}

/// Horner's rule, highest power first.
template <class... Bits>
KXCALC_INLINE f32x4 polynomial(f32x4 x, uint32_t highest, Bits... lower) {
  f32x4 value = splat(highest);
  ((value = value * x + splat(static_cast<uint32_t>(lower))), ...);
  return value;
}

/// An angle's magnitude cut into octants: j is the octant rounded up to even, and the polynomials are those of the
/// angle beyond j octants. The subtraction takes j * pi/4 in three parts. It keeps nearly full accuracy while j is
/// small; from 2^31 octants on the conversion to an integer overflows and results mean nothing.
struct Octants {
  u32x4 j;
  f32x4 cosine, sine;

  KXCALC_INLINE explicit Octants(f32x4 magnitude) {
    const f32x4 octant = magnitude * splat(0x3FA2F983U);  // 4 / pi
    j = (bitsAs<u32x4>(truncate(octant)) + 1) & ~uint32_t{1};
    const f32x4 y = toSingle(bitsAs<i32x4>(j));
    f32x4 r = magnitude + y * splat(0xBF490000U);  // -0.78515625
    r = r + y * splat(0xB97DA000U);                // -2.41875648e-4
    r = r + y * splat(0xB3222169U);                // -3.77489506e-8
    const f32x4 z = r * r;
    cosine = polynomial(z, 0x37CCF5CE, 0xBAB6061A, 0x3D2AAAA5) * z * z - splat(0.5F) * z + splat(1.0F);
    sine = polynomial(z, 0xB94CA1F9, 0x3C08839E, 0xBE2AAAA3) * z * r + r;
  }

  /// The sine's and the cosine's sign bits of a positive angle.
  KXCALC_INLINE u32x4 sineSign() const { return (j & 4) << 29; }
  KXCALC_INLINE u32x4 cosineSign() const { return (~(j - 2) & 4) << 29; }

  /// Whether the sine of the angle is the sine polynomial (else the cosine's); the cosine is the other one.
  KXCALC_INLINE i32x4 straight() const { return (j & 2) == 0; }
};

KXCALC_INLINE f32x4 flipSign(f32x4 value, u32x4 sign) {
  return bitsAs<f32x4>(bitsAs<u32x4>(value) ^ sign);
}
KXCALC_INLINE f32x4 magnitudeOf(f32x4 x) {
  return bitsAs<f32x4>(bitsAs<u32x4>(x) & magnitudeBits);
}
KXCALC_INLINE u32x4 signOf(f32x4 x) {
  return bitsAs<u32x4>(x) & signBit;
}

}  // namespace detail

/// Sine and cosine of angles in radians.
KXCALC_INLINE void packedSinCos(f32x4 x, f32x4* sine, f32x4* cosine) {
  const detail::Octants octants(detail::magnitudeOf(x));
  const i32x4 straight = octants.straight();
  *sine = detail::flipSign(straight ? octants.sine : octants.cosine, detail::signOf(x) ^ octants.sineSign());
  *cosine = detail::flipSign(straight ? octants.cosine : octants.sine, octants.cosineSign());
}

/// Sine of angles in radians; of +-0, +-0. NaN of a NaN or an infinity.
KXCALC_INLINE f32x4 packedSin(f32x4 x) {
  const detail::Octants octants(detail::magnitudeOf(x));
  return detail::flipSign(octants.straight() ? octants.sine : octants.cosine, detail::signOf(x) ^ octants.sineSign());
}

/// Cosine of angles in radians. NaN of a NaN or an infinity.
KXCALC_INLINE f32x4 packedCos(f32x4 x) {
  const detail::Octants octants(detail::magnitudeOf(x));
  return detail::flipSign(octants.straight() ? octants.cosine : octants.sine, octants.cosineSign());
}

/// Natural logarithm. Numbers below the smallest normal count as that; of 0 and of negative numbers NaN (with the sign
/// bit set, not minus infinity). A NaN counts as the smallest normal, about -87.34: the maximum takes its second
/// operand.
KXCALC_INLINE f32x4 packedLog(f32x4 x) {
  using detail::splat;
  const i32x4 invalid = x <= 0.0F;
  const u32x4 bits = bitsAs<u32x4>(greater(x, splat(0x00800000U)));
  const f32x4 m = bitsAs<f32x4>((bits & 0x807FFFFFU) | std::bit_cast<uint32_t>(0.5F));
  const f32x4 above = detail::toSingle(bitsAs<i32x4>((bits >> 23) - 127)) + splat(1.0F);
  const i32x4 small = m < splat(0x3F3504F3U);  // square root of 1/2
  const f32x4 e = above - detail::where(small, splat(1.0F));
  const f32x4 f = m - splat(1.0F) + detail::where(small, m);
  const f32x4 z = f * f;
  f32x4 p = detail::polynomial(f, 0x3D9021BB, 0xBDEBD1B8, 0x3DEF251A, 0xBDFE5D4F, 0x3E11E9BF, 0xBE2AAE50, 0x3E4CCEAC,
                               0xBE7FFFFC, 0x3EAAAAAA);
  p = p * f * z;
  p = p + e * splat(detail::ln2Low);
  p = p - splat(0.5F) * z;
  const f32x4 result = p + f + e * splat(detail::ln2High);
  return bitsAs<f32x4>(bitsAs<i32x4>(result) | invalid);
}

/// e to the power of x, limited to +-88.3762589: above, about 2.4e38; below, exactly 0. A NaN counts as the upper
/// limit: the minimum takes its second operand.
KXCALC_INLINE f32x4 packedExp(f32x4 x) {
  using detail::splat;
  x = lesser(x, splat(0x42B0C0A5U));
  x = greater(x, splat(0xC2B0C0A5U));
  const f32x4 f = x * splat(0x3FB8AA3BU) + splat(0.5F);  // log2 e
  const f32x4 cut = detail::toSingle(truncate(f));
  const f32x4 t = cut - detail::where(f < cut, splat(1.0F));
  x = x - t * splat(detail::ln2High);
  x = x - t * splat(detail::ln2Low);
  const f32x4 z = x * x;
  const f32x4 p = detail::polynomial(x, 0x39506967, 0x3AB743CE, 0x3C088908, 0x3D2AA9C1, 0x3E2AAAAA, 0x3F000000);
  const f32x4 power = bitsAs<f32x4>((bitsAs<u32x4>(truncate(t)) + 127) << 23);
  return (p * z + x + splat(1.0F)) * power;
}

/// Arctangent, in [-pi/2, pi/2]. Above the tangents of 3 pi/8 and of 0.58 (0.66) the argument is folded; the offsets,
/// larger in single than the angles that they stand for, are made up for by small negative terms.
KXCALC_INLINE f32x4 packedATan(f32x4 x) {
  using detail::splat;
  const f32x4 a = detail::magnitudeOf(x);
  const i32x4 big = a > splat(0x401A827AU);
  const i32x4 mid = (a > splat(0x3F28F5C3U)) & ~big;
  const f32x4 one = splat(1.0F);
  const f32x4 t = big ? -one / a : (mid ? (a - one) / (a + one) : a);
  const f32x4 offset = detail::where(big, splat(static_cast<float>(std::numbers::pi / 2))) +
                       detail::where(mid, splat(static_cast<float>(std::numbers::pi / 4)));
  const f32x4 z = t * t;
  const auto bits = [](float value) { return std::bit_cast<uint32_t>(value); };
  const f32x4 p = detail::polynomial(z, bits(-0.875060856F), bits(-16.1575375F), bits(-75.0085602F), bits(-122.886665F),
                                     bits(-64.8502197F)) *
                  z;
  const f32x4 q = detail::polynomial(z, bits(1.0F), bits(24.8584652F), bits(165.027008F), bits(432.881073F),
                                     bits(485.390411F), bits(194.550659F));
  const f32x4 correction = detail::where(big, splat(0xB32BCC77U)) + detail::where(mid, splat(0xB2ABCC77U));
  const f32x4 r = t + t * (p / q) + correction;
  return bitsAs<f32x4>(bitsAs<u32x4>(offset + r) | detail::signOf(x));
}

/// Arctangent of y / x in all four quadrants. Where y = 0 and x <= 0, the bits of pi are ORed in: pi for a negative x,
/// still the NaN of 0 / 0 for x = 0.
KXCALC_INLINE f32x4 packedATan2(f32x4 y, f32x4 x) {
  using detail::splat;
  const f32x4 pi = splat(static_cast<float>(std::numbers::pi));
  const i32x4 yNegative = y < 0.0F, yZero = y == 0.0F, xZero = x == 0.0F;
  const u32x4 yNegativeSign = bitsAs<u32x4>(yNegative) & detail::signBit;
  const f32x4 offset = detail::where(x < 0.0F, detail::flipSign(pi, yNegativeSign));
  const f32x4 angle = packedATan(y / x) + offset;
  const f32x4 onAxis = bitsAs<f32x4>(bitsAs<i32x4>(angle) | bitsAs<i32x4>(detail::where(yZero & (x <= 0.0F), pi)));
  const f32x4 upright = detail::flipSign(splat(static_cast<float>(std::numbers::pi / 2)), yNegativeSign);
  return (xZero & ~yZero) ? upright : onAxis;
}

/// The polynomial with coefficients[0] x^degree + ... + coefficients[degree]. A degree of 0 or below gives
/// coefficients[0].
KXCALC_INLINE f32x4 packedPolyEval(f32x4 x, const float* coefficients, int32_t degree) {
  f32x4 value = detail::splat(coefficients[0]);
  for (int32_t i = 1; i <= degree; ++i) {
    value = value * x + detail::splat(coefficients[i]);
  }
  return value;
}

/// The polynomial x^degree + coefficients[0] x^(degree - 1) + ... A degree of 1 or below gives x + coefficients[0].
KXCALC_INLINE f32x4 packedPolyEvalMonic(f32x4 x, const float* coefficients, int32_t degree) {
  f32x4 value = x + detail::splat(coefficients[0]);
  for (int32_t i = 1; i < degree; ++i) {
    value = value * x + detail::splat(coefficients[i]);
  }
  return value;
}

}  // namespace kxcalc
