#include "vmath/fast_log.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "vmath/members.hpp"

namespace {

using kxcalc::f32x4;
using vmath::FastLog10;
using vmath::FastLog10Packed;
using vmath::valueOf;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr double largestError = 1.2e-4;

template <typename Member>
class FastLogarithm : public testing::Test {};

using Members = testing::Types<FastLog10, FastLog10Packed>;
TYPED_TEST_SUITE(FastLogarithm, Members, vmath::Names);

TYPED_TEST(FastLogarithm, EqualsTheModelAtEvery4099thPattern) {
  EXPECT_TRUE(vmath::equalsModelOverAllExponents<TypeParam>());
}

TYPED_TEST(FastLogarithm, EqualsTheModelAtEdgeSignificandsOfEveryExponent) {
  EXPECT_TRUE(vmath::equalsModelAtEdgeSignificands<TypeParam>());
}

TYPED_TEST(FastLogarithm, EqualsTheModelForEverySignificandBitAndSign) {
  for (uint32_t bit = 0; bit < 32; ++bit) {
    for (const uint32_t base : {0U, 0x3F800000U, 0x42C80000U, 0x7FFFFFFFU}) {
      ASSERT_TRUE(vmath::equalsModel<TypeParam>({base ^ 1U << bit, base, ~(base ^ 1U << bit), 0}));
    }
  }
}

TYPED_TEST(FastLogarithm, PowersOfTwoAreExactButForTheDivision) {
  EXPECT_TRUE(support::sameBits(valueOf<TypeParam>(1), 0.0F));
  EXPECT_TRUE(support::sameBits(valueOf<TypeParam>(-1), 0.0F));
  for (int power = -126; power <= 127; ++power) {
    EXPECT_NEAR(valueOf<TypeParam>(std::ldexp(1.0F, power)), power / 3.3219281, 4e-6) << power;
  }
}

TYPED_TEST(FastLogarithm, StaysCloseToTheLogarithmAndStepsBelowPowersOfTwo) {
  EXPECT_NEAR(valueOf<TypeParam>(10), 1, largestError);
  EXPECT_NEAR(valueOf<TypeParam>(100), 2, largestError);
  EXPECT_NEAR(valueOf<TypeParam>(1e-20F), -20, largestError);
  const float belowTwo = valueOf<TypeParam>(1.99999988F);
  EXPECT_NEAR(std::log10(2.0) - static_cast<double>(belowTwo), 1.2e-4, 0.05e-4);
}

TYPED_TEST(FastLogarithm, TheSignPlaysNoPart) {
  for (const float x : {0.0F, 1e-40F, 1e-10F, 1.0F, 10.0F, 12345.678F, infinity, nan}) {
    EXPECT_TRUE(support::sameBits(valueOf<TypeParam>(-x), valueOf<TypeParam>(x))) << x;
  }
}

TYPED_TEST(FastLogarithm, NothingIsRejected) {
  EXPECT_NEAR(valueOf<TypeParam>(0), -127 / 3.3219281, 4e-6);
  EXPECT_NEAR(valueOf<TypeParam>(infinity), 128 / 3.3219281, 4e-6);
  for (const float denormal : {1.4e-45F, 1e-40F, 1.17549421e-38F}) {
    EXPECT_GE(valueOf<TypeParam>(denormal), -38.2309F);
    EXPECT_LE(valueOf<TypeParam>(denormal), -37.9297F);
  }
  for (const uint32_t pattern : {0x7F800001U, 0x7FC00000U, 0x7FFFFFFFU, 0xFFC12345U}) {
    const float logarithm = TypeParam::packed(vmath::lanesOf({pattern, pattern, pattern, pattern}))[0];
    EXPECT_GE(logarithm, 38.53F);
    EXPECT_LE(logarithm, 38.84F);
  }
}

TEST(FastLog10Packed, ZeroDoesNotDisturbTheOtherLanes) {
  const f32x4 together = kxcalc::fastLog10Packed(f32x4{10, 0, -3, infinity});
  EXPECT_TRUE(support::sameBits(float{together[0]}, valueOf<FastLog10Packed>(10)));
  EXPECT_TRUE(support::sameBits(float{together[1]}, valueOf<FastLog10Packed>(0)));
  EXPECT_TRUE(support::sameBits(float{together[2]}, valueOf<FastLog10Packed>(-3)));
  EXPECT_TRUE(support::sameBits(float{together[3]}, valueOf<FastLog10Packed>(infinity)));
}

TEST(FastLog10Packed, WiderVectorsGiveTheSameBits) {
  vmath::checkWiderVectors<FastLog10Packed>();
}

// The one divides in double, the other in single: their last bits differ.
TEST(FastLogarithms, TheTwoFormsDifferInLastBits) {
  uint32_t differences = 0;
  for (uint32_t pattern = 0x3F800001; pattern < 0x42000000; pattern += 4099) {
    float x;
    support::setBits(x, pattern);
    const float scalar = kxcalc::fastLog10(x);
    const float packed = valueOf<FastLog10Packed>(x);
    EXPECT_NEAR(scalar, packed, 1e-6);
    differences += scalar != packed ? 1 : 0;
  }
  EXPECT_GT(differences, 100U);
}

}  // namespace
