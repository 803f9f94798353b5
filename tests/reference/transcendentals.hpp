// The transcendental kit and the fast logarithm, one lane of them.
#ifndef KXCALC_TESTS_REFERENCE_TRANSCENDENTALS_HPP
#define KXCALC_TESTS_REFERENCE_TRANSCENDENTALS_HPP

#include <bit>
#include <cstdint>
#include <initializer_list>

#include "reference/truncation.hpp"

namespace reference {

inline constexpr uint32_t signMask = 0x80000000;

inline uint32_t patternOf(float value) {
  return std::bit_cast<uint32_t>(value);
}

inline float ofPattern(uint32_t pattern) {
  return std::bit_cast<float>(pattern);
}

/// A magnitude reduced by the nearest even multiple of pi/4, and both polynomials of what is left.
struct ReducedAngle {
  uint32_t octant;
  float sinePolynomial;
  float cosinePolynomial;
};

inline ReducedAngle reduceAngle(float magnitude) {
  const uint32_t octant = (static_cast<uint32_t>(truncateToInt32(magnitude * 1.27323949F)) + 1) & ~1U;
  const auto y = static_cast<float>(static_cast<int32_t>(octant));
  float r = magnitude + y * -0.78515625F;
  r = r + y * -2.41875648e-4F;
  r = r + y * -3.77489506e-8F;
  const float z = r * r;
  float c = 2.44331568e-5F * z + -1.38873165e-3F;
  c = c * z + 4.16666456e-2F;
  c = c * z;
  c = c * z;
  c = c - 0.5F * z;
  c = c + 1.0F;
  float s = -1.95152956e-4F * z + 8.33216123e-3F;
  s = s * z + -0.166666552F;
  s = s * z;
  s = s * r;
  s = s + r;
  return {octant, s, c};
}

inline float packedSin(float x) {
  const ReducedAngle angle = reduceAngle(ofPattern(patternOf(x) & ~signMask));
  const uint32_t sign = (patternOf(x) & signMask) ^ (angle.octant & 4) << 29;
  const float magnitude = (angle.octant & 2) == 0 ? angle.sinePolynomial : angle.cosinePolynomial;
  return ofPattern(patternOf(magnitude) ^ sign);
}

inline float packedCos(float x) {
  const ReducedAngle angle = reduceAngle(ofPattern(patternOf(x) & ~signMask));
  const uint32_t turned = angle.octant - 2;
  const uint32_t sign = (~turned & 4) << 29;
  const float magnitude = (turned & 2) == 0 ? angle.sinePolynomial : angle.cosinePolynomial;
  return ofPattern(patternOf(magnitude) ^ sign);
}

inline void packedSinCos(float x, float* sine, float* cosine) {
  const ReducedAngle angle = reduceAngle(ofPattern(patternOf(x) & ~signMask));
  const uint32_t sineSign = (patternOf(x) & signMask) ^ (angle.octant & 4) << 29;
  const uint32_t cosineSign = (~(angle.octant - 2) & 4) << 29;
  const bool isSine = (angle.octant & 2) == 0;
  *sine = ofPattern(patternOf(isSine ? angle.sinePolynomial : angle.cosinePolynomial) ^ sineSign);
  *cosine = ofPattern(patternOf(isSine ? angle.cosinePolynomial : angle.sinePolynomial) ^ cosineSign);
}

inline float packedLog(float x) {
  const bool isInvalid = x <= 0;
  x = x > 1.17549435e-38F ? x : 1.17549435e-38F;  // a NaN becomes the constant too
  const int32_t exponent = static_cast<int32_t>(patternOf(x) >> 23) - 127;
  const float m = ofPattern((patternOf(x) & 0x807FFFFF) | patternOf(0.5F));
  float e = static_cast<float>(exponent) + 1.0F;
  float t = m - 1.0F;
  if (m < 0.707106769F) {
    e = e - 1.0F;
    t = t + m;
  }
  const float z = t * t;
  float p = 7.03768358e-2F;
  for (const float coefficient : {-0.115146101F, 0.116769984F, -0.12420141F, 0.142493233F, -0.166680574F, 0.200007141F,
                                  -0.24999994F, 0.333333313F}) {
    p = p * t + coefficient;
  }
  p = p * t;
  p = p * z;
  p = p + e * -2.12194442e-4F;
  p = p - 0.5F * z;
  float result = p + t;
  result = result + e * 0.693359375F;
  return isInvalid ? ofPattern(0xFFFFFFFF) : result;
}

inline float packedExp(float x) {
  x = x < 88.3762589F ? x : 88.3762589F;  // a NaN becomes the constant
  x = x > -88.3762589F ? x : -88.3762589F;
  const float f = x * 1.44269502F + 0.5F;
  auto t = static_cast<float>(truncateToInt32(f));
  if (f < t) {
    t = t - 1.0F;
  }
  x = x - t * 0.693359375F;
  x = x - t * -2.12194442e-4F;
  const float z = x * x;
  float p = 1.98756912e-4F;
  for (const float coefficient : {1.39819994e-3F, 8.33345205e-3F, 4.16657962e-2F, 0.166666657F, 0.5F}) {
    p = p * x + coefficient;
  }
  float result = p * z;
  result = result + x;
  result = result + 1.0F;
  return result * ofPattern(static_cast<uint32_t>(truncateToInt32(t) + 127) << 23);
}

inline float packedATan(float x) {
  const float a = ofPattern(patternOf(x) & ~signMask);
  float t = a;
  float offset = 0;
  float correction = 0;
  if (2.41421366F < a) {
    t = -1.0F / a;
    offset = 1.57079637F;
    correction = -3.99999998e-8F;
  } else if (0.66F < a) {
    t = (a - 1.0F) / (a + 1.0F);
    offset = 0.785398185F;
    correction = -1.99999999e-8F;
  }
  const float z = t * t;
  float p = -0.875060856F;
  for (const float coefficient : {-16.1575375F, -75.0085602F, -122.886665F, -64.8502197F}) {
    p = p * z + coefficient;
  }
  p = p * z;
  float q = z + 24.8584652F;
  for (const float coefficient : {165.027008F, 432.881073F, 485.390411F, 194.550659F}) {
    q = q * z + coefficient;
  }
  float r = p / q;
  r = t * r;
  r = t + r;
  r = r + correction;
  return ofPattern(patternOf(offset + r) | (patternOf(x) & signMask));
}

inline float packedATan2(float y, float x) {
  if (x == 0 && y != 0) {
    return y < 0 ? -1.57079637F : 1.57079637F;  // for a NaN too
  }
  float offset = 0;
  if (x < 0) {
    offset = y < 0 ? -3.14159274F : 3.14159274F;
  }
  const float result = packedATan(y / x) + offset;
  return y == 0 && x <= 0 ? ofPattern(patternOf(result) | patternOf(3.14159274F)) : result;
}

inline float packedPolyEval(float x, const float* coefficients, int32_t degree) {
  float result = coefficients[0];
  for (int32_t i = 1; i <= degree; ++i) {
    result = result * x + coefficients[i];
  }
  return result;
}

inline float packedPolyEvalMonic(float x, const float* coefficients, int32_t degree) {
  float result = x + coefficients[0];
  for (int32_t i = 1; i < degree; ++i) {
    result = result * x + coefficients[i];
  }
  return result;
}

/// The significand in [1, 2).
inline float significandOf(float x) {
  return ofPattern((patternOf(x) & 0x007FFFFF) | 0x3F800000);
}

/// The scalar form: one division in double.
inline float fastLog10(float x) {
  const float m = significandOf(x);
  const int32_t e = static_cast<int32_t>((patternOf(x) >> 23) & 255) - 127;
  float p = m * -0.107254423F + 0.688243866F;
  p = p * m - 1.75647175F;
  p = p * m + 2.61761045F;
  const float l = static_cast<float>(e) + p * (m - 1.0F);
  return static_cast<float>(static_cast<double>(l) / 3.3219281);
}

/// One lane of the packed form: all in single.
inline float fastLog10PackedLane(float x) {
  const auto e = static_cast<float>(static_cast<int32_t>((patternOf(x) & 0x7F800000) >> 23) + -127);
  const float m = significandOf(x);
  float p = m * -0.107254423F + 0.688243866F;
  p = p * m + -1.75647175F;
  p = p * m + 2.61761045F;
  return (e + p * (m + -1.0F)) / 3.32192802F;
}

}  // namespace reference

#endif
