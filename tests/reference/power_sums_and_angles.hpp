// Active and reactive power of two spectra, and the phase angles of the harmonic orders of one.
#ifndef KXCALC_TESTS_REFERENCE_POWER_SUMS_AND_ANGLES_HPP
#define KXCALC_TESTS_REFERENCE_POWER_SUMS_AND_ANGLES_HPP

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "reference/correctly_rounded.hpp"
#include "reference/truncation.hpp"

namespace reference {

struct PowerOfBin {
  double active;
  double reactive;
};

inline PowerOfBin powerOfBin(const float* voltage, const float* current, std::size_t bin) {
  const auto ur = static_cast<double>(voltage[2 * bin]);
  const auto ui = static_cast<double>(voltage[2 * bin + 1]);
  const auto ir = static_cast<double>(current[2 * bin]);
  const auto ii = static_cast<double>(current[2 * bin + 1]);
  return {ur * ir + ui * ii, ur * ii - ui * ir};
}

/// Bins 0 and 1 are read whatever the number of bins is.
inline void kxcalcPowerPandQsum(const float* voltage, const float* current, int32_t binCount, double* activePower,
                                double* reactivePower) {
  const std::size_t last = binCount > 2 ? static_cast<std::size_t>(binCount) - 1 : 1;
  PowerOfBin term = powerOfBin(voltage, current, 0);
  double active = term.active * 0.5;
  double reactive = term.reactive * 0.5;
  for (std::size_t bin = 1; bin < last; ++bin) {
    term = powerOfBin(voltage, current, bin);
    active = active + term.active;
    reactive = reactive + term.reactive;
  }
  term = powerOfBin(voltage, current, last);
  *activePower = active + term.active * 0.5;
  *reactivePower = reactive + term.reactive * 0.5;
}

/// The first element of a bin is the ordinate. Platforms' arctangents are within 4 units of their last place, which seldom
/// makes another single: then the slow one decides.
inline float signedDegreesOfBin(const float* bin) {
  constexpr double degreesPerRadian = 57.2957763671875;
  const double radians = std::atan2(static_cast<double>(bin[0]), static_cast<double>(bin[1]));
  const auto smallest = static_cast<float>(radians * (1 - 0x1p-49) * degreesPerRadian);
  const auto largest = static_cast<float>(radians * (1 + 0x1p-49) * degreesPerRadian);
  return smallest == largest ? smallest : static_cast<float>(correctArctangent2(bin[0], bin[1]) * degreesPerRadian);
}

/// From 0 on.
inline float degreesOfBin(const float* bin) {
  const float degrees = signedDegreesOfBin(bin);
  return 0 > degrees ? degrees + 360.0F : degrees;
}

/// As std::modf: with the sign of its argument, that of zero too (which the modf of some C libraries loses).
inline float fractionOf(float number) {
  const float fraction = std::isinf(number) ? 0 : number - std::trunc(number);
  return std::copysign(fraction, number);
}

/// The negated phase, wrapped. Above 360 without its whole turns, and not negated.
inline float wrappedAngle(float phase) {
  float x = -phase;
  if (phase > 360.0F) {
    x = -fractionOf(x / 360.0F) * 360.0F;
  }
  if (-180.0F > x) {
    x = x + 360.0F;
  }
  if (x > 360.0F) {
    x = fractionOf(x / 360.0F) * 360.0F;
  }
  if (x > 180.0F) {
    x = x - 360.0F;
  }
  return x;
}

inline void kxcalcPowerAngles(const float* spectrum, float* angles, int32_t orderCount, float phasePerOrder,
                              float binsPerOrder) {
  for (int32_t order = 1; order <= orderCount; ++order) {
    const auto hf = static_cast<float>(order);
    const float position = hf * binsPerOrder;
    const int32_t bin = truncateToInt32(position);
    const float* const lower = spectrum + 2 * static_cast<std::ptrdiff_t>(bin);
    const float a1 = degreesOfBin(lower);
    const float a2 = degreesOfBin(lower + 2);
    float difference = a2 - a1;
    if (!(a2 > a1)) {
      difference = difference + 360.0F;
    }
    const float interpolated = (position - static_cast<float>(bin)) * difference;
    const float referred = a1 - hf * phasePerOrder;
    angles[order] = wrappedAngle(interpolated + referred);
  }
}

}  // namespace reference

#endif
