// The packed transcendental kit: single-precision functions of a vector at a time, without branches on lane values.
// Every operation is single and rounded on its own, in the order written; special cases are masks that select between
// two values. A lane gets the same bits in vectors of every width.
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

/// A constant by its bits.
KXCALC_INLINE constexpr float single(uint32_t bits) {
  return std::bit_cast<float>(bits);
}

template <class V>
using Ints = SameSize<int32_t, V>;
template <class V>
using Words = SameSize<uint32_t, V>;

/// `value` where the mask is set, 0 elsewhere.
template <class V>
KXCALC_INLINE V where(Ints<V> mask, V value) {
  return bitsAs<V>(mask & bitsAs<Ints<V>>(value));
}

/// Horner's rule, highest power first.
template <class V, class... Bits>
KXCALC_INLINE V polynomial(V x, uint32_t highest, Bits... lower) {
  V value = splat<V>(single(highest));
  ((value = value * x + single(static_cast<uint32_t>(lower))), ...);
  return value;
}

/// An angle's magnitude cut into octants: j is the octant rounded up to even, and the polynomials are those of the
/// angle beyond j octants. The subtraction takes j * pi/4 in three parts. It keeps nearly full accuracy while j is
/// small; from 2^31 octants on the conversion to an integer overflows and results mean nothing.
template <class V>
struct Octants {
  Words<V> j;
  V cosine, sine;

  KXCALC_INLINE explicit Octants(V magnitude) {
    const V octant = magnitude * single(0x3FA2F983U);  // 4 / pi
    j = (bitsAs<Words<V>>(truncate(octant)) + 1) & ~uint32_t{1};
    const V y = toSingles(bitsAs<Ints<V>>(j));
    V r = magnitude + y * single(0xBF490000U);  // -0.78515625
    r = r + y * single(0xB97DA000U);            // -2.41875648e-4
    r = r + y * single(0xB3222169U);            // -3.77489506e-8
    const V z = r * r;
    cosine = polynomial(z, 0x37CCF5CE, 0xBAB6061A, 0x3D2AAAA5) * z * z - 0.5F * z + 1.0F;
    sine = polynomial(z, 0xB94CA1F9, 0x3C08839E, 0xBE2AAAA3) * z * r + r;
  }

  /// The sine's and the cosine's sign bits of a positive angle.
  KXCALC_INLINE Words<V> sineSign() const { return (j & 4) << 29; }
  KXCALC_INLINE Words<V> cosineSign() const { return (~(j - 2) & 4) << 29; }

  /// Whether the sine of the angle is the sine polynomial (else the cosine's); the cosine is the other one.
  KXCALC_INLINE Ints<V> straight() const { return (j & 2) == 0; }
};

template <class V>
KXCALC_INLINE V flipSign(V value, Words<V> sign) {
  return bitsAs<V>(bitsAs<Words<V>>(value) ^ sign);
}
template <class V>
KXCALC_INLINE V magnitudeOf(V x) {
  return bitsAs<V>(bitsAs<Words<V>>(x) & magnitudeBits);
}
template <class V>
KXCALC_INLINE Words<V> signOf(V x) {
  return bitsAs<Words<V>>(x) & signBit;
}

/// -1 / a where big, (a - 1) / (a + 1) where mid, a elsewhere. Two divisions run side by side; of the widest vectors each
/// occupies the divider so long that one, by 1 elsewhere, is faster.
template <class V>
KXCALC_INLINE V foldedTangent(V a, Ints<V> big, Ints<V> mid) {
  const V one = splat<V>(1.0F);
  if constexpr (sizeof(V) == 64) {
    return (big ? -one : (mid ? a - one : a)) / (big ? a : (mid ? a + one : one));
  } else {
    return big ? -one / a : (mid ? (a - one) / (a + one) : a);
  }
}

}  // namespace detail

/// Sine and cosine of angles in radians.
template <class V>
KXCALC_INLINE void packedSinCos(V x, V* sine, V* cosine) {
  const detail::Octants<V> octants(detail::magnitudeOf(x));
  const detail::Ints<V> straight = octants.straight();
  *sine = detail::flipSign(straight ? octants.sine : octants.cosine, detail::signOf(x) ^ octants.sineSign());
  *cosine = detail::flipSign(straight ? octants.cosine : octants.sine, octants.cosineSign());
}

/// Sine of angles in radians; of +-0, +-0. NaN of a NaN or an infinity.
template <class V>
KXCALC_INLINE V packedSin(V x) {
  const detail::Octants<V> octants(detail::magnitudeOf(x));
  return detail::flipSign(octants.straight() ? octants.sine : octants.cosine, detail::signOf(x) ^ octants.sineSign());
}

/// Cosine of angles in radians. NaN of a NaN or an infinity.
template <class V>
KXCALC_INLINE V packedCos(V x) {
  const detail::Octants<V> octants(detail::magnitudeOf(x));
  return detail::flipSign(octants.straight() ? octants.cosine : octants.sine, octants.cosineSign());
}

/// Natural logarithm. Numbers below the smallest normal count as that; of 0 and of negative numbers NaN (with the sign
/// bit set, not minus infinity). A NaN counts as the smallest normal, about -87.34: the maximum takes its second
/// operand.
template <class V>
KXCALC_INLINE V packedLog(V x) {
  const detail::Ints<V> invalid = x <= 0.0F;
  const detail::Words<V> bits = bitsAs<detail::Words<V>>(greater(x, splat<V>(detail::single(0x00800000U))));
  const V m = bitsAs<V>((bits & 0x807FFFFFU) | std::bit_cast<uint32_t>(0.5F));
  const V above = toSingles(bitsAs<detail::Ints<V>>((bits >> 23) - 127)) + 1.0F;
  const detail::Ints<V> small = m < detail::single(0x3F3504F3U);  // square root of 1/2
  const V e = above - detail::where(small, splat<V>(1.0F));
  const V f = m - 1.0F + detail::where(small, m);
  const V z = f * f;
  V p = detail::polynomial(f, 0x3D9021BB, 0xBDEBD1B8, 0x3DEF251A, 0xBDFE5D4F, 0x3E11E9BF, 0xBE2AAE50, 0x3E4CCEAC,
                           0xBE7FFFFC, 0x3EAAAAAA);
  p = p * f * z;
  p = p + e * detail::ln2Low;
  p = p - 0.5F * z;
  const V result = p + f + e * detail::ln2High;
  return bitsAs<V>(bitsAs<detail::Ints<V>>(result) | invalid);
}

/// e to the power of x, limited to +-88.3762589: above, about 2.4e38; below, exactly 0. A NaN counts as the upper
/// limit: the minimum takes its second operand.
template <class V>
KXCALC_INLINE V packedExp(V x) {
  x = lesser(x, splat<V>(detail::single(0x42B0C0A5U)));
  x = greater(x, splat<V>(detail::single(0xC2B0C0A5U)));
  const V f = x * detail::single(0x3FB8AA3BU) + 0.5F;  // log2 e
  const V cut = toSingles(truncate(f));
  const V t = cut - detail::where(f < cut, splat<V>(1.0F));
  x = x - t * detail::ln2High;
  x = x - t * detail::ln2Low;
  const V z = x * x;
  const V p = detail::polynomial(x, 0x39506967, 0x3AB743CE, 0x3C088908, 0x3D2AA9C1, 0x3E2AAAAA, 0x3F000000);
  const V power = bitsAs<V>((bitsAs<detail::Words<V>>(truncate(t)) + 127) << 23);
  return (p * z + x + 1.0F) * power;
}

/// Arctangent, in [-pi/2, pi/2]. Above the tangents of 3 pi/8 and of 0.58 (0.66) the argument is folded; the offsets,
/// larger in single than the angles that they stand for, are made up for by small negative terms.
template <class V>
KXCALC_INLINE V packedATan(V x) {
  const V a = detail::magnitudeOf(x);
  const detail::Ints<V> big = a > detail::single(0x401A827AU);
  const detail::Ints<V> mid = (a > detail::single(0x3F28F5C3U)) & ~big;
  const V t = detail::foldedTangent(a, big, mid);
  const V offset = detail::where(big, splat<V>(static_cast<float>(std::numbers::pi / 2))) +
                   detail::where(mid, splat<V>(static_cast<float>(std::numbers::pi / 4)));
  const V z = t * t;
  const auto bits = [](float value) { return std::bit_cast<uint32_t>(value); };
  const V p = detail::polynomial(z, bits(-0.875060856F), bits(-16.1575375F), bits(-75.0085602F), bits(-122.886665F),
                                 bits(-64.8502197F)) *
              z;
  const V q = detail::polynomial(z, bits(1.0F), bits(24.8584652F), bits(165.027008F), bits(432.881073F),
                                 bits(485.390411F), bits(194.550659F));
  const V correction = detail::where(big, splat<V>(detail::single(0xB32BCC77U))) +
                       detail::where(mid, splat<V>(detail::single(0xB2ABCC77U)));
  const V r = t + t * (p / q) + correction;
  return bitsAs<V>(bitsAs<detail::Words<V>>(offset + r) | detail::signOf(x));
}

/// Arctangent of y / x in all four quadrants. Where y = 0 and x <= 0, the bits of pi are ORed in: pi for a negative x,
/// still the NaN of 0 / 0 for x = 0.
template <class V>
KXCALC_INLINE V packedATan2(V y, V x) {
  const V pi = splat<V>(static_cast<float>(std::numbers::pi));
  const detail::Ints<V> yNegative = y < 0.0F, yZero = y == 0.0F, xZero = x == 0.0F;
  const detail::Words<V> yNegativeSign = bitsAs<detail::Words<V>>(yNegative) & detail::signBit;
  const V offset = detail::where(x < 0.0F, detail::flipSign(pi, yNegativeSign));
  const V angle = packedATan(y / x) + offset;
  const V onAxis =
      bitsAs<V>(bitsAs<detail::Ints<V>>(angle) | bitsAs<detail::Ints<V>>(detail::where(yZero & (x <= 0.0F), pi)));
  const V upright = detail::flipSign(splat<V>(static_cast<float>(std::numbers::pi / 2)), yNegativeSign);
  return (xZero & ~yZero) ? upright : onAxis;
}

/// The polynomial with coefficients[0] x^degree + ... + coefficients[degree]. A degree of 0 or below gives
/// coefficients[0].
template <class V>
KXCALC_INLINE V packedPolyEval(V x, const float* coefficients, int32_t degree) {
  V value = splat<V>(coefficients[0]);
  for (int32_t i = 1; i <= degree; ++i) {
    value = value * x + coefficients[i];
  }
  return value;
}

/// The polynomial x^degree + coefficients[0] x^(degree - 1) + ... A degree of 1 or below gives x + coefficients[0].
template <class V>
KXCALC_INLINE V packedPolyEvalMonic(V x, const float* coefficients, int32_t degree) {
  V value = x + coefficients[0];
  for (int32_t i = 1; i < degree; ++i) {
    value = value * x + coefficients[i];
  }
  return value;
}

}  // namespace kxcalc
