// Active and reactive power of a voltage and a current spectrum, and the angles of harmonics.
#include <cmath>

#include "frame/lanes.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

/// Active and reactive term of one bin: ur ir + ui ii, and ur ii - ui ir, each product and sum rounded in double.
KXCALC_INLINE f64x2 terms(const float* voltage, const float* current) {
  const f64x2 u = loadAsDoubles(voltage), i = loadAsDoubles(current);
  const f64x2 straight = u * i;
  const f64x2 crossed = u * __builtin_shufflevector(i, i, 1, 0);
  return f64x2{straight[0] + straight[1], crossed[0] - crossed[1]};
}

/// Adds the terms of two bins, one after the other. Their real and their imaginary parts lie in lanes of their own, which
/// gives the terms of both bins at once.
KXCALC_INLINE void addTwo(f64x2& sums, const float* voltage, const float* current) {
  const auto reals = [](f32x4 bins) { return widenLow(__builtin_shufflevector(bins, bins, 0, 2, 0, 2)); };
  const auto imags = [](f32x4 bins) { return widenLow(__builtin_shufflevector(bins, bins, 1, 3, 1, 3)); };
  const f32x4 u = load(voltage), i = load(current);
  const f64x2 active = reals(u) * reals(i) + imags(u) * imags(i);
  const f64x2 reactive = reals(u) * imags(i) - imags(u) * reals(i);
  sums += __builtin_shufflevector(active, reactive, 0, 2);
  sums += __builtin_shufflevector(active, reactive, 1, 3);
}

constexpr double degreesPerRadian = 57.2957763671875;  // 180/pi as a single, although it multiplies doubles

/// Angle of a bin in degrees, 0 to 360: its first element is the ordinate.
KXCALC_INLINE float angleOf(const float* bin) {
  const double radians = std::atan2(static_cast<double>(bin[0]), static_cast<double>(bin[1]));
  const auto degrees = static_cast<float>(radians * degreesPerRadian);
  return 0 > degrees ? degrees + 360 : degrees;
}

/// What is left of a number without its whole part, with the number's sign: 0 of a whole or infinite one, too. Not the
/// platform's split, for not all keep the sign of a zero.
KXCALC_INLINE float fractionOf(float x) {
  constexpr float allWhole = 8388608.0F;  // 2^23: from here on there is no fraction
  if (std::abs(x) < allWhole) {
    return std::copysign(x - static_cast<float>(static_cast<int32_t>(x)), x);
  }
  return x != x ? x : std::copysign(0.0F, x);
}

/// What is left of an angle without its whole turns, with the angle's sign.
KXCALC_INLINE float withoutTurns(float angle) {
  return fractionOf(angle / 360) * 360;
}

/// The negated phase, brought near the range -180 to 180 by these tests in this order. A phase above 360 loses its whole
/// turns and is not negated: 10 gives -10, 370 gives 10.
KXCALC_INLINE float wrapped(float phase) {
  float x = -phase;
  if (phase > 360) {
    x = -withoutTurns(x);
  }
  if (-180 > x) {
    x = x + 360;
  }
  if (x > 360) {
    x = withoutTurns(x);
  }
  return x > 180 ? x - 360 : x;
}

/// Between the two bins around the order's position, referred to a phase that grows with the order. From one bin to the
/// next the angle grows, by up to 360 degrees; equal angles count as 360.
KXCALC_INLINE float angleOfOrder(const float* spectrum, float order, float phasePerOrder, float binsPerOrder) {
  const float position = order * binsPerOrder;
  const auto bin = static_cast<int32_t>(position);
  const float* const below = spectrum + 2 * static_cast<ptrdiff_t>(bin);
  const float lower = angleOf(below);
  const float upper = angleOf(below + 2);
  const float step = upper > lower ? upper - lower : (upper - lower) + 360;
  return wrapped((position - static_cast<float>(bin)) * step + (lower - order * phasePerOrder));
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcPowerPandQsum(const float* voltage, const float* current, int32_t binCount, double* activePower,
                                    double* reactivePower) {
  using namespace kxcalc;
  // First and last bin count half, those between in full. With two bins or less the last is bin 1, whatever the count.
  const size_t last = binCount > 2 ? static_cast<size_t>(binCount) - 1 : 1;
  f64x2 sums = terms(voltage, current) * 0.5;
  size_t bin = 1;
  for (; last - bin >= 2; bin += 2) {
    addTwo(sums, voltage + 2 * bin, current + 2 * bin);
  }
  if (bin < last) {
    sums += terms(voltage + 2 * bin, current + 2 * bin);
  }
  sums += terms(voltage + 2 * last, current + 2 * last) * 0.5;
  *activePower = sums[0];
  *reactivePower = sums[1];
}

extern "C" void kxcalcPowerAngles(const float* spectrum, float* angles, int32_t orderCount, float phasePerOrder,
                                  float binsPerOrder) {
  for (int32_t order = 1; order <= orderCount; ++order) {
    angles[order] = kxcalc::angleOfOrder(spectrum, static_cast<float>(order), phasePerOrder, binsPerOrder);
  }
}
