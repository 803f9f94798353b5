// Sine and cosine of up to an eighth of a turn by their series: slow, for tables and for what a quick way leaves undecided.
#pragma once

#include "vmath/double_double.hpp"

namespace kxcalc {
namespace detail {

inline constexpr int seriesLength = 15;  // the first term left out is below 2^-107 of the sum

/// 1 / n!, for n from 0 on.
struct InverseFactorials {
  DoubleDouble of[2 * seriesLength];

  constexpr InverseFactorials() : of{} {
    of[0] = {1, 0};
    for (int n = 1; n < 2 * seriesLength; ++n) {
      of[n] = of[n - 1] / DoubleDouble{static_cast<double>(n), 0};
    }
  }
};
inline constexpr InverseFactorials inverseFactorials;

/// The sum of (-x^2)^k / (2 k + first)! by Horner's rule.
constexpr DoubleDouble alternatingSeries(DoubleDouble x, int first) {
  const DoubleDouble z = -(x * x);
  DoubleDouble sum = inverseFactorials.of[2 * (seriesLength - 1) + first];
  for (int k = seriesLength - 2; k >= 0; --k) {
    sum = sum * z + inverseFactorials.of[2 * k + first];
  }
  return sum;
}

}  // namespace detail

/// Within 2^-100 of the sine, in radians up to pi / 4.
constexpr DoubleDouble sineSeries(DoubleDouble x) {
  return x * detail::alternatingSeries(x, 1);
}
/// Within 2^-100 of the cosine, in radians up to pi / 4.
constexpr DoubleDouble cosineSeries(DoubleDouble x) {
  return detail::alternatingSeries(x, 0);
}

}  // namespace kxcalc
