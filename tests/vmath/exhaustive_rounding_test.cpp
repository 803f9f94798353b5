// Every single there is, through the library's own functions in double, held against MPFR. Minutes, not seconds.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

#include "power/flicker_classes.hpp"
#include "reference/correctly_rounded.hpp"
#include "support/bits.hpp"
#include "vmath/mpfr.hpp"
#include "vmath/sine_cosine.hpp"

namespace {

using reference::Precise;

constexpr uint32_t threadCount = 2;
constexpr uint32_t blockSize = 4096;  // singles of one exponent
constexpr uint32_t infinity = 0x7F800000;

/// Sine and cosine of an angle to about 106 bits.
struct Rotation {
  Precise sine = 0;
  Precise cosine = 0;

  Rotation() = default;
  explicit Rotation(double angle) {
    thread_local vmath::Multiple argument(53);
    thread_local vmath::Multiple value(160);
    argument = angle;
    mpfr_sin(value.get(), argument.get(), MPFR_RNDN);
    sine = precise(value);
    mpfr_cos(value.get(), argument.get(), MPFR_RNDN);
    cosine = precise(value);
  }

private:
  static Precise precise(vmath::Multiple& value) {
    const double high = value.toDouble();
    mpfr_sub_d(value.get(), value.get(), high, MPFR_RNDN);
    return Precise(high, value.toDouble());
  }
};

/// The sum of two products, rounded: of each the error is below 2^-100. If that is not enough, a NaN.
double roundedSum(const Precise& first, const Precise& second) {
  const Precise sum = first + second;
  const double error = (std::abs(first.high) + std::abs(second.high)) * 0x1p-98;
  const double low = sum.high + (sum.low - error);
  const double high = sum.high + (sum.low + error);
  return low == high ? low : std::numeric_limits<double>::quiet_NaN();
}

/// The singles of a block, each that of its start turned on by a multiple of their distance.
bool blockIsCorrect(uint32_t start, const std::vector<Rotation>& multiples) {
  const Rotation base(static_cast<double>(std::bit_cast<float>(start)));
  for (uint32_t i = 0; i < blockSize; i += 2) {
    const auto first = std::bit_cast<float>(start + i);
    const auto second = std::bit_cast<float>(start + i + 1);
    const kxcalc::SinesCosines own = kxcalc::sinesAndCosines(first, second);
    for (uint32_t lane = 0; lane < 2; ++lane) {
      const float x = lane == 0 ? first : second;
      const Rotation& turn = multiples[i + lane];
      double sine = roundedSum(base.sine * turn.cosine, base.cosine * turn.sine);
      double cosine = roundedSum(base.cosine * turn.cosine, -(base.sine * turn.sine));
      if (std::isnan(sine)) {
        sine = vmath::correct(mpfr_sin, static_cast<double>(x));
      }
      if (std::isnan(cosine)) {
        cosine = vmath::correct(mpfr_cos, static_cast<double>(x));
      }
      if (own.sines[lane] != sine || own.cosines[lane] != cosine ||
          kxcalc::sineInSingle(x) != static_cast<float>(sine)) {
        return false;
      }
    }
  }
  return true;
}

TEST(EverySingleCorrectlyRounded, SineAndCosine) {
  constexpr uint32_t exponents = infinity >> 23;
  std::atomic<uint32_t> next = 0;
  std::atomic<uint32_t> wrong = infinity;
  const auto run = [&] {
    for (uint32_t exponent = next++; exponent < exponents && wrong == infinity; exponent = next++) {
      const uint32_t start = exponent << 23;
      std::vector<Rotation> multiples(blockSize);
      const double distance = static_cast<double>(std::bit_cast<float>(start + 1)) -
                              static_cast<double>(std::bit_cast<float>(start));
      for (uint32_t i = 0; i < blockSize; ++i) {
        multiples[i] = Rotation(distance * i);
      }
      for (uint32_t block = start; block < start + (1U << 23); block += blockSize) {
        if (!blockIsCorrect(block, multiples)) {
          wrong = block;
          return;
        }
      }
    }
  };
  std::thread other(run);
  run();
  other.join();
  EXPECT_EQ(wrong, infinity) << "in the block of " << std::bit_cast<float>(wrong.load());
}

/// By the rule, with the logarithm of MPFR.
std::size_t trueClass(uint32_t pattern) {
  const double logarithm = vmath::correct(mpfr_log10, static_cast<double>(std::bit_cast<float>(pattern)));
  const double position = (logarithm + 4.0) * 100.0;
  return position > -1 && position < 999 ? static_cast<std::size_t>(position) : 999;
}

/// The rule's steps, each rounded, keep the order of values: between two neighbours of one class none has another, but for
/// the top class, which holds both ends. So borders are found by halving.
TEST(EverySingleCorrectlyRounded, FlickerClass) {
  uint32_t start = 1;
  while (start <= infinity) {
    const std::size_t number = trueClass(start);
    uint32_t last = start;
    for (uint32_t step = 1U << 30; step > 0; step /= 2) {
      const bool isSmall = std::bit_cast<float>(start) < 1e-3F;  // not up to the class's other end
      const uint32_t limit = isSmall ? std::bit_cast<uint32_t>(1e5F) : infinity;
      if (last + step <= limit && trueClass(last + step) == number) {
        last += step;
      }
    }
    for (uint32_t pattern = start; pattern <= last; ++pattern) {
      ASSERT_EQ(kxcalc::flickerClasses.of(std::bit_cast<float>(pattern)), number) << std::bit_cast<float>(pattern);
    }
    start = last + 1;
  }
  for (uint64_t pattern = 0x7F800001; pattern <= 0x100000000; ++pattern) {  // NaNs, what is below 0, and 0
    ASSERT_EQ(kxcalc::flickerClasses.of(std::bit_cast<float>(static_cast<uint32_t>(pattern))), 0U) << pattern;
  }
}

}  // namespace
