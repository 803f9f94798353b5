// Symmetrical components of a three-phase system: blocks of four entries in single, what is left in double.
#ifndef KXCALC_TESTS_REFERENCE_UNBALANCE_HPP
#define KXCALC_TESTS_REFERENCE_UNBALANCE_HPP

#include <kxcalc.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "reference/correctly_rounded.hpp"
#include "reference/transcendentals.hpp"

namespace reference {

struct Rotations {
  float second;
  float third;
};

inline constexpr Rotations zeroRotations{0, 0};
inline constexpr Rotations positiveRotations{-120, -240};
inline constexpr Rotations negativeRotations{-240, -120};

/// In single in every path.
inline float toRadians(float degrees) {
  return degrees * 0.0174532924F;
}

/// Entry of a block: all in single.
inline float blockMagnitude(const PowerUnbalanceArgs& args, std::size_t entry, Rotations rotations) {
  float s1;
  float c1;
  packedSinCos(toRadians(args.angleL1[entry]), &s1, &c1);
  float s2;
  float c2;
  packedSinCos(toRadians(args.angleL2[entry] + rotations.second), &s2, &c2);
  float s3;
  float c3;
  packedSinCos(toRadians(args.angleL3[entry] + rotations.third), &s3, &c3);
  const float a1 = args.magnitudeL1[entry];
  const float a2 = args.magnitudeL2[entry];
  const float a3 = args.magnitudeL3[entry];
  const float c = a1 * c1 + a2 * c2 + a3 * c3;
  const float s = a1 * s1 + a2 * s2 + a3 * s3;
  return std::sqrt(c * c + s * s) / 3.0F;
}

/// Three times the magnitude of one entry, in double but for its angles.
inline double threefoldMagnitude(const PowerUnbalanceArgs& args, std::size_t entry, Rotations rotations) {
  const float p1 = toRadians(args.angleL1[entry]);
  const float p2 = toRadians(args.angleL2[entry] + rotations.second);
  const float p3 = toRadians(args.angleL3[entry] + rotations.third);
  const auto a1 = static_cast<double>(args.magnitudeL1[entry]);
  const auto a2 = static_cast<double>(args.magnitudeL2[entry]);
  const auto a3 = static_cast<double>(args.magnitudeL3[entry]);
  const double c = a1 * correctCosine(p1) + a2 * correctCosine(p2) + a3 * correctCosine(p3);
  const double s = a1 * correctSine(p1) + a2 * correctSine(p2) + a3 * correctSine(p3);
  return std::sqrt(c * c + s * s);
}

inline constexpr double thirdOfSingle = 0.3333333432674408;

inline float sumOfMagnitudes(const PowerUnbalanceArgs& args, Rotations rotations) {
  const std::size_t bodyEnd = args.count / 4 * std::size_t{4};
  float lanes[4] = {0, 0, 0, 0};
  for (std::size_t entry = 0; entry < bodyEnd; ++entry) {
    lanes[entry % 4] = lanes[entry % 4] + blockMagnitude(args, entry, rotations);
  }
  float sum = (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
  for (std::size_t entry = bodyEnd; entry < args.count; ++entry) {
    const double magnitude = threefoldMagnitude(args, entry, rotations) * thirdOfSingle;
    sum = static_cast<float>(static_cast<double>(sum) + magnitude);
  }
  return sum;
}

inline void writePercentages(float zero, float positive, float negative, float* negativeRatio, float* zeroRatio) {
  if (positive > 0) {
    *negativeRatio = negative / positive * 100.0F;
    *zeroRatio = zero / positive * 100.0F;
  }
}

inline void kxcalcPowerUnbalance(const PowerUnbalanceArgs* args) {
  *args->zeroSequence = sumOfMagnitudes(*args, zeroRotations);
  *args->positiveSequence = sumOfMagnitudes(*args, positiveRotations);
  *args->negativeSequence = sumOfMagnitudes(*args, negativeRotations);

  // Entry 0 is read even if there are no entries.
  const auto zeroFirst = static_cast<float>(threefoldMagnitude(*args, 0, zeroRotations) * thirdOfSingle);
  const auto positiveFirst = static_cast<float>(threefoldMagnitude(*args, 0, positiveRotations) * thirdOfSingle);
  const auto negativeFirst = static_cast<float>(threefoldMagnitude(*args, 0, negativeRotations) * thirdOfSingle);
  writePercentages(zeroFirst, positiveFirst, negativeFirst, args->negativeRatioFirst, args->zeroRatioFirst);
  writePercentages(*args->zeroSequence, *args->positiveSequence, *args->negativeSequence, args->negativeRatio,
                   args->zeroRatio);
}

}  // namespace reference

#endif
