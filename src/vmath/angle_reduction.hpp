// Angles without their whole parts of a turn.
//
// Moderate angles: W. J. Cody and W. Waite, "Software Manual for the Elementary Functions", 1980: multiples of pi in parts
// whose products are exact. All others: M. H. Payne and R. N. Hanek, "Radian Reduction for Trigonometric Functions",
// SIGNUM Newsletter 18, 1983: of the product with 2 / pi only those bits that are not whole turns, in integers.
#pragma once

#include "frame/wide_integers.hpp"
#include "vmath/double_double.hpp"

namespace kxcalc {

inline constexpr DoubleDouble quarterTurn{0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};  // pi / 2

/// An angle as a number of steps, the nearest one, and what it lies beyond: half a step at most, in radians.
template <class V>
struct Steps {
  V count;  // in the lowest 8 bits or more; a turn more or less makes no difference
  Unevaluated<V> rest;

  KXCALC_INLINE uint32_t counted() const { return static_cast<uint32_t>(bitsAs<uint64_t>(count)); }
};

/// Steps of 1 / 256 of a turn of angles from 0 to below 2^17 that are singles. The rest is within 2^-95.
template <class V>
KXCALC_INLINE Steps<V> inSteps(V angle) {
  constexpr double stepsPerRadian = 0x1.45f306dc9c883p+5;
  // pi / 128 in parts of 30, 30 and 53 bits.
  constexpr double step1 = 0x1.921fb54p-6, step2 = 0x1.10b46118p-36, step3 = 0x1.313198a2e037p-67;
  constexpr double roundingUnit = 0x1.8p52;  // beyond it doubles are integers, in their lowest bits
  const V shifted = angle * stepsPerRadian + roundingUnit;
  const V count = shifted - roundingUnit;  // below 2^23
  // Exact: the products have 53 bits, and the difference is a multiple of both operands' last place and small.
  const V beyond = angle - count * step1;
  const Unevaluated<V> rest = exactSum(beyond, -(count * step2));
  return {shifted, orderedSum(rest.high, rest.low - count * step3)};
}

/// 32 zeros, and the bits of 2 / pi.
inline constexpr uint32_t turnBits[] = {0x00000000, 0xA2F9836E, 0x4E441529, 0xFC2757D1, 0xF534DDC0, 0xDB629599,
                                        0x3C439041, 0xFE5163AB, 0xDEBBC561, 0xB7246E3A, 0x424DD2E0};

/// Steps of 2^-stepBits of a turn of an angle from 1/2 on that is a single: the rest to 100 significant bits.
///
/// angle = m 2^e, m of 24 bits. With the bits of 2 / pi from place e - 1 behind the point on, those before making whole
/// turns, the product is the angle in quarter turns without whole turns, to 2^-161: 192 bits, of which the first two are
/// quarter turns. No single comes closer to a multiple of a step than 2^-30 of a quarter turn.
template <int stepBits>
KXCALC_INLINE Steps<double> inStepsOfAny(double angle) {
  constexpr size_t limbs = 6;
  const auto bits = bitsAs<uint32_t>(static_cast<float>(angle));
  const uint64_t m = (bits & 0x007FFFFFU) | 0x00800000U;
  const uint32_t start = (bits >> 23) - 150 - 2 + 32;  // of the bits in the table
  const uint32_t* const words = turnBits + start / 32;
  const uint32_t shift = start % 32;

  uint32_t product[limbs];
  uint64_t carry = 0;
  for (size_t i = limbs; i-- > 0;) {
    const auto pair = static_cast<uint64_t>(words[i]) << 32 | words[i + 1];
    carry += m * static_cast<uint32_t>(pair << shift >> 32);
    product[i] = static_cast<uint32_t>(carry);
    carry >>= 32;
  }
  const uint32_t count = product[0] >> (32 - stepBits);
  const uint32_t above = product[0] << stepBits >> 31;  // half a step or more: the next one is nearer
  // The fraction of a step, in three doubles of 53 bits that do not overlap.
  uint64_t words64[limbs / 2 + 1]{};
  for (size_t i = 0; i < limbs / 2; ++i) {
    words64[i] =
        (static_cast<uint64_t>(product[2 * i]) << 32 | product[2 * i + 1]) ^ (0 - static_cast<uint64_t>(above));
  }
  double parts[3];
  double weight = 0x1p-53;
  for (int i = 0; i < 3; ++i) {
    const int from = stepBits + 53 * i, shift64 = from % 64;  // never 0
    const uint64_t* const pair = words64 + from / 64;
    parts[i] = toDouble(static_cast<int64_t>((pair[0] << shift64 | pair[1] >> (64 - shift64)) >> 11)) * weight;
    weight *= 0x1p-53;
  }
  const DoubleDouble leading = orderedSum(parts[0], parts[1]);
  const DoubleDouble fraction = orderedSum(leading.high, leading.low + parts[2]);
  constexpr double stepsPerQuarter = 1U << (stepBits - 2);
  const DoubleDouble rest =
      fraction * DoubleDouble{quarterTurn.high / stepsPerQuarter, quarterTurn.low / stepsPerQuarter};
  return {bitsAs<double>(uint64_t{count + above}), above != 0 ? -rest : rest};
}

}  // namespace kxcalc
