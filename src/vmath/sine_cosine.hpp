// Sine and cosine of a single as doubles, correctly rounded: the same bits on every processor, which platforms' functions
// do not promise.
//
// The quick way takes the nearest of 256 steps of a turn from a table (P. T. P. Tang, "Table-lookup algorithms for
// elementary functions and their error analysis", 1991) and short polynomials beyond it, and knows its error. Where that
// leaves two doubles to choose from, about once in 2,900 values, a series of 100 bits decides (A. Ziv, "Fast evaluation
// of elementary mathematical functions with correctly rounded last bit", ACM TOMS 17, 1991). That 100 bits are enough holds
// by trial: of all singles, the sine or cosine that is hardest to round lies 2^-84.7 of itself from where the rounding
// changes.
#pragma once

#include <cmath>
#include <limits>

#include "vmath/angle_reduction.hpp"
#include "vmath/sine_series.hpp"

namespace kxcalc {

/// Of two angles.
struct SinesCosines {
  f64x2 sines, cosines;
};

namespace detail {

/// Of the angles that the quick way's first step can take.
inline constexpr double moderateAngle = 0x1p17;

/// Sines of all steps, the upper 26 bits and the rest: products of the upper part with 26 more bits are exact.
struct StepSines {
  static constexpr uint32_t count = 256;
  DoubleDouble of[count];

  constexpr StepSines() : of{} {
    constexpr size_t quarter = count / 4;
    for (size_t i = 0; i <= quarter; ++i) {
      const size_t fromAxis = i <= quarter / 2 ? i : quarter - i;
      const DoubleDouble angle = quarterTurn * DoubleDouble{static_cast<double>(fromAxis) / quarter, 0};
      const DoubleDouble value = i <= quarter / 2 ? sineSeries(angle) : cosineSeries(angle);
      const double upper = upperHalf(value.high);
      const DoubleDouble sine{upper, (value.high - upper) + value.low};
      of[i] = of[2 * quarter - i] = sine;
      of[(2 * quarter + i) % count] = of[(4 * quarter - i) % count] = -sine;
    }
    of[0] = of[2 * quarter] = {0, 0};
  }
};
inline constexpr StepSines stepSines;

/// Sine, or with a quarter turn more cosine, of an angle from 0 on. NaN of infinities and NaNs.
[[gnu::noinline, gnu::cold]] inline double sineBySeries(double angle, uint32_t quarterTurns) {
  if (!(angle < std::numeric_limits<double>::infinity())) {
    return angle - angle;
  }
  DoubleDouble rest{angle, 0};
  if (angle > quarterTurn.high / 2) {
    const Steps<double> quarters = inStepsOfAny<2>(angle);
    quarterTurns += quarters.counted();
    rest = quarters.rest;
  }
  const double value = ((quarterTurns & 1) != 0 ? cosineSeries(rest) : sineSeries(rest)).high;
  return (quarterTurns & 2) != 0 ? -value : value;
}

/// Steps of an angle of any size. No steps and a NaN of infinities and NaNs.
KXCALC_INLINE Steps<double> stepsOf(double angle) {
  if (angle < moderateAngle) [[likely]] {
    return inSteps(angle);
  }
  return angle < std::numeric_limits<double>::infinity() ? inStepsOfAny<8>(angle)
                                                         : Steps<double>{0, {angle - angle, angle - angle}};
}
KXCALC_INLINE Steps<f64x2> stepsOf(f64x2 angles) {
  if (!anyBitSet(~(angles < moderateAngle))) [[likely]] {
    return inSteps(angles);
  }
  const Steps<double> first = stepsOf(angles[0]), second = stepsOf(angles[1]);
  return {f64x2{first.count, second.count},
          {f64x2{first.rest.high, second.rest.high}, f64x2{first.rest.low, second.rest.low}}};
}

/// Sines and cosines of two steps, from the table.
struct StepValues {
  Unevaluated<f64x2> sines, cosines;

  KXCALC_INLINE explicit StepValues(i64x2 steps)
      : sines(lookUp(steps)), cosines(lookUp(steps + StepSines::count / 4)) {}

  KXCALC_INLINE static Unevaluated<f64x2> lookUp(i64x2 steps) {
    const i64x2 indexes = steps & (StepSines::count - 1);
    const f64x2 first = load(&stepSines.of[indexes[0]].high), second = load(&stepSines.of[indexes[1]].high);
    return {__builtin_shufflevector(first, second, 0, 2), __builtin_shufflevector(first, second, 1, 3)};
  }
};

/// sin t - t and cos t - 1, of t below 2^-6.3: the first omitted terms are below 2^-84 and 2^-85.
template <class V>
KXCALC_INLINE V sineTail(V t, V z) {
  return t * z * ((z * (1.0 / 120) - 1.0 / 6) + (z * (1.0 / 362880) - 1.0 / 5040) * (z * z));
}
template <class V>
KXCALC_INLINE V cosineTail(V z) {
  return z * ((z * (1.0 / 24) - 1.0 / 2) + (z * (1.0 / 40320) - 1.0 / 720) * (z * z));
}

/// What lies between these two, if they differ; else their value.
struct Bounds {
  f64x2 smallest, largest;
};

/// sin(a + t) = sin a + cos a (t + (sin t - t)) + sin a (cos t - 1), a being a step: sine and cosine those of a.
///
/// sin a + cos a t is exact up to parts that end at 2^-79 of it. What is left is `small`, below 2^-13 of the result: z's,
/// the tails' and the sums' roundings are within 8 units of 2^-53 of it, and the bound takes twice as many. At step 0 the
/// sine is t + t^3..., and relative errors are the same.
struct Beyond {
  f64x2 t, upper, lower, sineTails, cosineTails;

  KXCALC_INLINE explicit Beyond(Unevaluated<f64x2> rest) : t(rest.high), upper(upperHalf(t)), lower(t - upper) {
    const f64x2 z = t * t;
    sineTails = sineTail(t, z) + rest.low;
    cosineTails = cosineTail(z);
  }

  KXCALC_INLINE Bounds sines(Unevaluated<f64x2> sine, Unevaluated<f64x2> cosine) const {
    const Unevaluated<f64x2> leading = orderedSum(sine.high, cosine.high * upper);
    const f64x2 small = (sine.high + sine.low) * cosineTails + (cosine.high + cosine.low) * sineTails;
    const f64x2 low = leading.low + (cosine.high * lower + (sine.low + cosine.low * t) + small);
    const f64x2 error = magnitude(small) * 0x1p-49 + magnitude(leading.high) * 0x1p-76;
    return {leading.high + (low - error), leading.high + (low + error)};
  }
};

/// Where the bounds differ, from the series.
KXCALC_INLINE f64x2 settled(Bounds bounds, f64x2 angles, uint32_t quarterTurns) {
  f64x2 values = bounds.smallest;
  if (anyBitSet(bounds.smallest != bounds.largest)) [[unlikely]] {
    for (int lane = 0; lane < 2; ++lane) {
      if (!(bounds.smallest[lane] == bounds.largest[lane])) {
        values[lane] = sineBySeries(angles[lane], quarterTurns);
      }
    }
  }
  return values;
}

}  // namespace detail

/// Of two angles in radians, side by side. The sine of -0 is -0; of infinities and NaNs both are NaN.
KXCALC_INLINE SinesCosines sinesAndCosines(float first, float second) {
  const f64x2 radians{static_cast<double>(first), static_cast<double>(second)}, angles = detail::magnitude(radians);
  const Steps<f64x2> steps = detail::stepsOf(angles);
  const detail::StepValues values(bitsAs<i64x2>(steps.count));
  const detail::Beyond beyond(steps.rest);
  const f64x2 sines = detail::settled(beyond.sines(values.sines, values.cosines), angles, 0);
  const f64x2 cosines =
      detail::settled(beyond.sines(values.cosines, {-values.sines.high, -values.sines.low}), angles, 1);
  const i64x2 signs = bitsAs<i64x2>(radians) & INT64_MIN;
  return {bitsAs<f64x2>(bitsAs<i64x2>(sines) ^ signs), cosines};
}

/// The correctly rounded sine, rounded to single. Quicker, for it is enough to know it to the 2^-50 that the double closest
/// to a sine cannot be off by: only if singles change in between are its bits asked for.
KXCALC_INLINE float sineInSingle(float radians) {
  using detail::stepSines, detail::StepSines;
  const Steps<double> steps = detail::stepsOf(std::abs(static_cast<double>(radians)));
  const double t = steps.rest.high, z = t * t;
  const DoubleDouble& a = stepSines.of[steps.counted() % StepSines::count];
  const DoubleDouble& b = stepSines.of[(steps.counted() + StepSines::count / 4) % StepSines::count];
  const double sine = a.high + a.low, cosine = b.high + b.low;
  const double value = sine + (sine * detail::cosineTail(z) + cosine * (detail::sineTail(t, z) + t));
  const auto smallest = static_cast<float>(value * (1 - 0x1p-50)), largest = static_cast<float>(value * (1 + 0x1p-50));
  if (!(smallest == largest)) [[unlikely]] {
    return static_cast<float>(sinesAndCosines(radians, radians).sines[0]);
  }
  return std::copysign(1.0F, radians) * smallest;
}

}  // namespace kxcalc
