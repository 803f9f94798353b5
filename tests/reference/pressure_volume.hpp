// Plot coordinates of a pressure-volume diagram.
#ifndef KXCALC_TESTS_REFERENCE_PRESSURE_VOLUME_HPP
#define KXCALC_TESTS_REFERENCE_PRESSURE_VOLUME_HPP

#include <cmath>
#include <cstdint>

#include "reference/transcendentals.hpp"
#include "reference/truncation.hpp"

namespace reference {

/// Up to 3 elements: halves away from zero, in double; raised to the lower bound, then cut to the upper one.
inline int32_t shortFormCoordinate(float v, int32_t lower, int32_t upper) {
  const auto wide = static_cast<double>(v);
  const int32_t rounded = truncateToInt32(wide < 0 ? wide - 0.5 : wide + 0.5);
  const int32_t raised = rounded < lower ? lower : rounded;
  return raised > upper ? upper : raised;
}

/// From 4 elements on: halves to even; cut to the upper bound, then raised to the lower one.
inline int32_t fourWideCoordinate(float v, int32_t lower, int32_t upper) {
  const int32_t rounded = truncateToInt32(std::nearbyint(v));
  const int32_t cut = rounded > upper ? upper : rounded;
  return cut < lower ? lower : cut;
}

/// A NaN stays.
inline float shortFormLogarithm(float q) {
  return fastLog10(static_cast<double>(q) < 1e-9 ? 1e-9F : q);
}

/// A NaN becomes the floor.
inline float fourWideLogarithm(float q) {
  return fastLog10PackedLane(q > 1e-9F ? q : 1e-9F);
}

inline void kxcalcCAPV_lin(const float* input, uint32_t count, int32_t* output, int32_t lower, int32_t upper,
                           float scale, float offset) {
  const auto coordinate = count <= 3 ? shortFormCoordinate : fourWideCoordinate;
  for (uint32_t i = 0; i < count; ++i) {
    output[i] = coordinate(input[i] * scale + offset, lower, upper);
  }
}

inline void kxcalcCAPV_log(const float* input, uint32_t count, int32_t* output, int32_t lower, int32_t upper,
                           float scale, float offset, float reference) {
  const auto coordinate = count <= 3 ? shortFormCoordinate : fourWideCoordinate;
  const auto logarithm = count <= 3 ? shortFormLogarithm : fourWideLogarithm;
  for (uint32_t i = 0; i < count; ++i) {
    output[i] = coordinate(logarithm(input[i] / reference) * scale + offset, lower, upper);
  }
}

}  // namespace reference

#endif
