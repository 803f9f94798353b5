// The library's own functions in double, and the models', beside MPFR: densely, and where rounding is hard.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "power/flicker_classes.hpp"
#include "reference/correctly_rounded.hpp"
#include "reference/flicker.hpp"
#include "support/bits.hpp"
#include "support/random.hpp"
#include "vmath/arctangent2.hpp"
#include "vmath/mpfr.hpp"
#include "vmath/sine_cosine.hpp"

namespace {

double trueSine(float x) {
  return vmath::correct(mpfr_sin, static_cast<double>(x));
}
double trueCosine(float x) {
  return vmath::correct(mpfr_cos, static_cast<double>(x));
}

testing::AssertionResult sinesAreCorrect(float first, float second) {
  const kxcalc::SinesCosines own = kxcalc::sinesAndCosines(first, second);
  for (int lane = 0; lane < 2; ++lane) {
    const float x = lane == 0 ? first : second;
    const double sine = trueSine(x);
    const double cosine = trueCosine(x);
    const auto series = [x](uint32_t quarterTurns) {
      return kxcalc::detail::sineBySeries(std::abs(static_cast<double>(x)), quarterTurns);
    };
    const bool isCorrect =
        support::isSame(own.sines[lane], sine, support::NanRule::anyNan) &&
        support::isSame(own.cosines[lane], cosine, support::NanRule::anyNan) &&
        support::isSame(kxcalc::sineInSingle(x), static_cast<float>(sine), support::NanRule::anyNan) &&
        support::isSame(std::copysign(1.0, static_cast<double>(x)) * series(0), sine, support::NanRule::anyNan) &&
        support::isSame(series(1), cosine, support::NanRule::anyNan) &&
        support::isSame(reference::correctSine(x), sine, support::NanRule::anyNan) &&
        support::isSame(reference::correctCosine(x), cosine, support::NanRule::anyNan);
    if (!isCorrect) {
      return testing::AssertionFailure() << support::describe(x) << ", lane " << lane;
    }
  }
  return testing::AssertionSuccess();
}

/// A prime distance reaches every exponent. The two lanes hold numbers of different sizes.
TEST(CorrectRounding, SinesAndCosinesOverAllExponents) {
  for (uint64_t pattern = 0; pattern <= 0xFFFFFFFF; pattern += 65537) {
    const auto bits = static_cast<uint32_t>(pattern);
    ASSERT_TRUE(sinesAreCorrect(std::bit_cast<float>(bits), std::bit_cast<float>(bits * 0x9E3779B1U)));
  }
}

TEST(CorrectRounding, SinesAndCosinesOfOrdinaryAngles) {
  support::TestRandom random;
  for (int i = 0; i < 50000; ++i) {
    const double width = std::exp2(random.between(-30, 18));
    ASSERT_TRUE(sinesAreCorrect(static_cast<float>(random.sign() * width * random.unit()),
                                static_cast<float>(random.sign() * 7 * random.unit())));
  }
}

TEST(CorrectRounding, SinesAndCosinesAroundMultiplesOfASixteenthOfATurn) {
  for (int power = 0; power < 128; ++power) {
    for (const double odd : {1.0, 3.0, 5.0, 7.0, 25.0}) {
      const auto multiple = static_cast<float>(std::ldexp(odd * 0.39269908169872414, power));
      for (const float x : {multiple, std::nextafter(multiple, 0.0F), std::nextafter(multiple, 1e38F)}) {
        ASSERT_TRUE(sinesAreCorrect(x, -x));
      }
    }
  }
}

TEST(CorrectRounding, SinesAndCosinesWhereTheReductionChanges) {
  for (const float border : {0.012271846F, 0.785398163F, 131072.0F, 8388608.0F, 3.4028234e38F}) {
    float below = border;
    float above = border;
    for (int i = 0; i < 100; ++i) {
      ASSERT_TRUE(sinesAreCorrect(below, above));
      below = std::nextafter(below, 0.0F);
      above = std::nextafter(above, std::numeric_limits<float>::max());
    }
  }
}

testing::AssertionResult arctangentIsCorrect(float y, float x) {
  const double truth = vmath::correctArctangent2(static_cast<double>(y), static_cast<double>(x));
  if (!support::isSame(kxcalc::arctangent2(y, x), truth, support::NanRule::anyNan) ||
      !support::isSame(reference::correctArctangent2(y, x), truth, support::NanRule::anyNan)) {
    return testing::AssertionFailure() << support::describe(y) << ", " << support::describe(x);
  }
  // The quick one is within its bound, or a NaN.
  const double quick = kxcalc::quickArctangent2(static_cast<double>(y), static_cast<double>(x));
  const kxcalc::f64x2 lanes =
      kxcalc::quickArctangent2(kxcalc::f64x2{1, static_cast<double>(y)}, kxcalc::f64x2{1, static_cast<double>(x)});
  if (std::abs(quick - truth) > std::abs(truth) * 0x1p-48) {
    return testing::AssertionFailure() << "quick: " << support::describe(y) << ", " << support::describe(x);
  }
  if (!support::isSame(lanes[1], quick, support::NanRule::anyNan)) {
    return testing::AssertionFailure() << "lanes: " << support::describe(y) << ", " << support::describe(x);
  }
  return testing::AssertionSuccess();
}

TEST(CorrectRounding, ArctangentsOfAnySingles) {
  support::TestRandom random;
  for (int i = 0; i < 100000; ++i) {
    const uint64_t bits = random.bits();
    ASSERT_TRUE(arctangentIsCorrect(std::bit_cast<float>(static_cast<uint32_t>(bits)),
                                    std::bit_cast<float>(static_cast<uint32_t>(bits >> 32))));
  }
}

TEST(CorrectRounding, ArctangentsOfOrdinaryPoints) {
  support::TestRandom random;
  for (int i = 0; i < 100000; ++i) {
    const double size = std::exp2(random.between(-40, 40));
    ASSERT_TRUE(arctangentIsCorrect(static_cast<float>(random.sign() * random.unit() * size),
                                    static_cast<float>(random.sign() * random.unit())));
  }
}

TEST(CorrectRounding, ArctangentsOfSmallWholeNumbersAndSpecials) {
  std::vector<float> numbers{0.0F,
                             std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN(),
                             std::numeric_limits<float>::denorm_min(),
                             std::numeric_limits<float>::min(),
                             std::numeric_limits<float>::max()};
  for (int i = 1; i <= 40; ++i) {
    numbers.push_back(static_cast<float>(i));
  }
  for (const float y : numbers) {
    for (const float x : numbers) {
      for (const float ySign : {1.0F, -1.0F}) {
        for (const float xSign : {1.0F, -1.0F}) {
          ASSERT_TRUE(arctangentIsCorrect(ySign * y, xSign * x));
        }
      }
    }
  }
}

/// By the rule, with the logarithm of MPFR.
std::size_t trueClass(float value) {
  const double position = (vmath::correct(mpfr_log10, static_cast<double>(value)) + 4.0) * 100.0;
  return position > -1 && position < 999 ? static_cast<std::size_t>(position) : 999;
}

TEST(CorrectRounding, FlickerClassesAtEveryBorder) {
  for (int number = -2; number <= 1001; ++number) {
    auto first = static_cast<float>(std::pow(10.0, number / 100.0 - 4));
    first = std::nextafter(std::nextafter(first, 0.0F), 0.0F);
    for (int i = 0; i < 5; ++i) {
      ASSERT_EQ(kxcalc::flickerClasses.of(first), trueClass(first)) << first;
      ASSERT_EQ(reference::classOf(first), trueClass(first)) << first;
      first = std::nextafter(first, 1e38F);
    }
  }
}

TEST(CorrectRounding, FlickerClassesAndLogarithmsOverAllExponents) {
  for (uint32_t pattern = 1; pattern <= 0x7F800000; pattern += 65537) {
    const auto value = std::bit_cast<float>(pattern);
    ASSERT_EQ(kxcalc::flickerClasses.of(value), trueClass(value)) << value;
    ASSERT_EQ(reference::correctDecimalLogarithm(value), vmath::correct(mpfr_log10, static_cast<double>(value)))
        << value;
  }
}

}  // namespace
