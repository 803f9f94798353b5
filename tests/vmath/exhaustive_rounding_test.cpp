// Every single there is, through the library's own functions in double, held against MPFR. Minutes, not seconds.
#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include "power/flicker_classes.hpp"
#include "reference/correctly_rounded.hpp"
#include "support/bits.hpp"
#include "vmath/arctangent2.hpp"
#include "vmath/mpfr.hpp"
#include "vmath/sine_cosine.hpp"

namespace {

using reference::Precise;

constexpr uint32_t blockSize = 4096;  // singles of one exponent
constexpr uint32_t infinity = 0x7F800000;

/// Sine and cosine of an angle, or of a quotient of doubles, to about 106 bits.
struct Rotation {
  Precise sine = 0;
  Precise cosine = 0;

  Rotation() = default;
  explicit Rotation(double angle, double divisor = 1) {
    thread_local vmath::Multiple argument(300);
    thread_local vmath::Multiple value(160);
    argument = angle;
    mpfr_div_d(argument.get(), argument.get(), divisor, MPFR_RNDN);
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
      const double distance =
          static_cast<double>(std::bit_cast<float>(start + 1)) - static_cast<double>(std::bit_cast<float>(start));
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

constexpr double degreesPerRadian = 57.2957763671875;  // of harmonic angles

/// A point whose angle in degrees may round either way: p and q below 2^24, and p / q of a tangent.
struct Point {
  float y;
  float x;
};

/// Whether there is one within 2^-49 of a tangent, turned to between 1 and 2. By A. M. Legendre, p / q is then a convergent of
/// its continued fraction, and the last one with such a denominator: |t - p / q| < 2^-49 < 1 / (2 q^2).
bool pointAt(Precise tangent, Point* point) {
  const int exponent = std::ilogb(tangent.high);
  const double high = std::ldexp(tangent.high, 62 - exponent);
  const auto whole = static_cast<int64_t>(high);
  const int64_t numerator = whole + static_cast<int64_t>(std::ldexp(tangent.low, 62 - exponent));
  uint64_t a = static_cast<uint64_t>(numerator);
  uint64_t b = uint64_t{1} << 62;
  uint64_t p = 1;
  uint64_t q = 0;
  uint64_t pBefore = 0;
  uint64_t qBefore = 1;
  while (b != 0) {
    const uint64_t digit = a / b;
    if (digit >= 1 << 24 || digit * q + qBefore >= 1 << 24) {
      break;
    }
    pBefore = std::exchange(p, digit * p + pBefore);
    qBefore = std::exchange(q, digit * q + qBefore);
    a = std::exchange(b, a - digit * b);
  }
  // Of the quotient's significant bits 24 at most are the numerator's.
  const double distance = (static_cast<double>(p) - static_cast<double>(q)) * 0x1p62 -
                          static_cast<double>(q) * static_cast<double>(numerator - (int64_t{1} << 62));
  const auto single = static_cast<float>(p);
  const bool isNear = std::abs(distance) < static_cast<double>(q) * 0x1p13;
  *point = {single, static_cast<float>(std::ldexp(static_cast<double>(q), -exponent))};
  return isNear && static_cast<uint64_t>(single) == p;
}

/// Angles up to 60 degrees: at each border between two singles, the points that lie so close to it that the arctangent's last
/// bits decide. No other point feels them: the roundings of the arctangent and of its product, 2^-52 of the angle, are up to
/// 4.9 times as much of its tangent.
TEST(EverySingleCorrectlyRounded, ArctangentOfEveryPointNextToABorder) {
  constexpr uint32_t first = 0x31800000;  // 2^-28: below, the angle is the tangent but for less than its last bit
  constexpr uint32_t end = 0x42700000;
  std::atomic<uint32_t> next = first;
  std::atomic<uint64_t> points = 0;
  std::atomic<uint64_t> wrong = 0;
  const auto run = [&] {
    uint32_t tableOf = 0;
    std::vector<Rotation> multiples(blockSize);
    for (uint32_t start = next.fetch_add(blockSize); start < end; start = next.fetch_add(blockSize)) {
      const auto single = static_cast<double>(std::bit_cast<float>(start));
      const double distance = static_cast<double>(std::bit_cast<float>(start + 1)) - single;
      for (uint32_t i = 0; i < blockSize && tableOf != start >> 23; ++i) {
        multiples[i] = Rotation(distance * i, degreesPerRadian);
      }
      tableOf = start >> 23;
      const Rotation base(single + distance / 2, degreesPerRadian);
      for (const Rotation& turn : multiples) {
        Point point{};
        if (pointAt((base.sine * turn.cosine + base.cosine * turn.sine) /
                        (base.cosine * turn.cosine - base.sine * turn.sine),
                    &point)) {
          ++points;
          wrong += kxcalc::arctangent2(point.y, point.x) !=
                   vmath::correctArctangent2(static_cast<double>(point.y), static_cast<double>(point.x));
        }
      }
    }
  };
  std::thread other(run);
  run();
  other.join();
  EXPECT_EQ(wrong, 0U);
  EXPECT_GT(points, 1000000U);
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
