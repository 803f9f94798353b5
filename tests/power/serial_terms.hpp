// Values whose squares, added in ascending order to one double, round differently in every other order.
#ifndef KXCALC_TESTS_POWER_SERIAL_TERMS_HPP
#define KXCALC_TESTS_POWER_SERIAL_TERMS_HPP

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <vector>

#include "support/random.hpp"

namespace power {

/// Squares of any size beside the last bit of the running sum and of few significant bits, so that additions end in
/// exact ties, cross binades and are swallowed.
inline std::vector<float> valuesAgainstTheSum(std::size_t count, int lowestStep, int highestStep,
                                              support::Random& random) {
  std::vector<float> values(count);
  double sum = 0;
  const int start = random.between(-40, 40);
  for (float& value : values) {
    const int lastBit = sum == 0 ? start : std::ilogb(sum) - 52;
    const int exponent = std::clamp(lastBit + random.between(lowestStep, highestStep), -120, 120);
    value = std::ldexp(static_cast<float>(random.sign() * random.between(1, 7)), exponent / 2);
    sum += static_cast<double>(value) * static_cast<double>(value);
  }
  return values;
}

/// A steady sum between 2^21 and 2^22, of squares of 48 significant bits around 1/2, whose last bit is 2^-31.
inline std::vector<float> steadyValues(std::size_t count, support::Random& random) {
  std::vector<float> values(count);
  for (float& value : values) {
    value = static_cast<float>(random.sign() * (0.5 + 0.5 * random.unit()));
  }
  values.front() = 1500;
  return values;
}

/// Against a steady sum: squares that are exact ties, just more and just less than a tie, a binade and many up, what is
/// swallowed and what swallows, zeros, specials.
inline constexpr float misbehavingValues[] = {0x1p-16F,
                                              0x1.8p-16F,
                                              0x1.000002p-16F,
                                              0x1.fffffep-17F,
                                              0x1p-15F,
                                              0x1.6a09e6p-17F,
                                              1500,
                                              -2048,
                                              0x1p40F,
                                              -0x1p60F,
                                              std::numeric_limits<float>::max(),
                                              std::numeric_limits<float>::denorm_min(),
                                              -0x1p-126F,
                                              0,
                                              -0.0F,
                                              std::numeric_limits<float>::infinity(),
                                              -std::numeric_limits<float>::infinity(),
                                              std::numeric_limits<float>::quiet_NaN()};

/// Sums of ones, whose last bit is 2^-51, then halves of it and nine halves of it in various patterns.
inline std::vector<std::vector<float>> valuesOfOneTieAfterTheOther() {
  std::vector<std::vector<float>> all;
  for (const unsigned pattern : {0U, 1U, 2U, 5U, 9U, 0xAAAAU, 0x1234U, 0xFFFFU}) {
    for (const std::size_t count : std::initializer_list<std::size_t>{2, 3, 5, 8, 9, 17, 33, 64, 200, 1000}) {
      std::vector<float> values{1, 1};
      for (std::size_t i = 2; i < count; ++i) {
        values.push_back((pattern >> i % 16 & 1) != 0 ? 0x1.8p-25F : 0x1p-26F);
      }
      all.push_back(values);
    }
  }
  return all;
}

/// A sum of 2^-258, then squares of 2^254, eight terms apart: each moves the sum by 512 of the 4096 binades that bit
/// patterns tell apart, eight of them by all of them, back to where it was.
inline std::vector<float> valuesThatMoveTheSumFar() {
  std::vector<float> values(1000);
  values[0] = 0x1p-129F;
  for (std::size_t i = 128; i < 192; i += 8) {
    values[i] = 0x1p127F;
  }
  return values;
}

}  // namespace power

#endif
