#include "vmath/transcendentals.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <numbers>
#include <span>
#include <vector>

#include "support/fenced_buffer.hpp"
#include "support/random.hpp"
#include "vmath/members.hpp"

namespace {

using kxcalc::f32x4;
using vmath::CosineOfPackedSinCos;
using vmath::equalsModel;
using vmath::equalsModelAround;
using vmath::PackedATan;
using vmath::PackedCos;
using vmath::PackedExp;
using vmath::PackedLog;
using vmath::PackedSin;
using vmath::Patterns;
using vmath::SineOfPackedSinCos;
using vmath::valueOf;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float halfPi = 1.57079637F;
constexpr float pi = 3.14159274F;

template <typename Member>
class PackedMember : public testing::Test {};

using Members =
    testing::Types<PackedSin, PackedCos, SineOfPackedSinCos, CosineOfPackedSinCos, PackedATan, PackedLog, PackedExp>;
TYPED_TEST_SUITE(PackedMember, Members, vmath::Names);

TYPED_TEST(PackedMember, EqualsTheModelAtEvery4099thPattern) {
  EXPECT_TRUE(vmath::equalsModelOverAllExponents<TypeParam>());
}

TYPED_TEST(PackedMember, EqualsTheModelAtEdgeSignificandsOfEveryExponent) {
  EXPECT_TRUE(vmath::equalsModelAtEdgeSignificands<TypeParam>());
}

TYPED_TEST(PackedMember, LanesDoNotDependOnEachOther) {
  support::TestRandom random;
  for (int i = 0; i < 20000; ++i) {
    Patterns patterns;
    for (uint32_t& pattern : patterns) {
      pattern = static_cast<uint32_t>(random.bits());
    }
    const f32x4 x = vmath::lanesOf(patterns);
    const f32x4 together = TypeParam::packed(x);
    for (std::size_t lane = 0; lane < 4; ++lane) {
      const float alone = TypeParam::packed(f32x4{x[lane], x[lane], x[lane], x[lane]})[3 - lane];
      ASSERT_TRUE(support::sameResult(float{together[lane]}, alone)) << "lane " << lane;
    }
  }
}

TYPED_TEST(PackedMember, WiderVectorsGiveTheSameBits) {
  vmath::checkWiderVectors<TypeParam>();
}

template <typename Member>
testing::AssertionResult delivers(float x, float expected) {
  return support::sameResult(valueOf<Member>(x), expected) << "; " << Member::name << " of " << support::describe(x);
}

TEST(PackedSin, HandWorkedValues) {
  EXPECT_TRUE(support::sameBits(valueOf<PackedSin>(0.0F), 0.0F));
  EXPECT_TRUE(support::sameBits(valueOf<PackedSin>(-0.0F), -0.0F));
  EXPECT_NEAR(valueOf<PackedSin>(halfPi), 1, std::numeric_limits<float>::epsilon());
  EXPECT_NEAR(valueOf<PackedSin>(-halfPi), -1, std::numeric_limits<float>::epsilon());
  EXPECT_NEAR(valueOf<PackedSin>(100), std::sin(100.0), 1e-7);
  EXPECT_TRUE(delivers<PackedSin>(1e-40F, 1e-40F));
  EXPECT_TRUE(delivers<PackedSin>(infinity, nan));
  EXPECT_TRUE(delivers<PackedSin>(-infinity, nan));
  EXPECT_TRUE(delivers<PackedSin>(nan, nan));
}

TEST(PackedCos, HandWorkedValues) {
  EXPECT_TRUE(delivers<PackedCos>(0.0F, 1));
  EXPECT_TRUE(delivers<PackedCos>(-0.0F, 1));
  EXPECT_NEAR(valueOf<PackedCos>(pi), -1, std::numeric_limits<float>::epsilon());
  EXPECT_NEAR(valueOf<PackedCos>(-pi), -1, std::numeric_limits<float>::epsilon());
  EXPECT_NEAR(valueOf<PackedCos>(100), std::cos(100.0), 1e-7);
  EXPECT_TRUE(delivers<PackedCos>(infinity, nan));
  EXPECT_TRUE(delivers<PackedCos>(-infinity, nan));
  EXPECT_TRUE(delivers<PackedCos>(nan, nan));
}

TEST(PackedSinCos, LanesOfMixedSignsAndOctants) {
  f32x4 sine, cosine;
  kxcalc::packedSinCos(f32x4{-0.785398185F, 2.5F, 0, -4}, &sine, &cosine);
  const std::array<double, 4> angles{-0.785398185, 2.5, 0, -4};
  for (std::size_t lane = 0; lane < 4; ++lane) {
    EXPECT_NEAR(sine[lane], std::sin(angles[lane]), 1.2e-7) << lane;
    EXPECT_NEAR(cosine[lane], std::cos(angles[lane]), 1.2e-7) << lane;
  }
}

TEST(PackedSinCos, WritesTheSinesFirstAndNothingElse) {
  std::array<f32x4, 5> memory;
  memory.fill(f32x4{-7, -7, -7, -7});
  kxcalc::packedSinCos(f32x4{0, 0, 0, 0}, &memory[3], &memory[1]);
  for (const std::size_t untouched : {0U, 2U, 4U}) {
    EXPECT_TRUE(
        support::sameBits(std::bit_cast<std::array<float, 4>>(memory[untouched]), std::array{-7.F, -7.F, -7.F, -7.F}));
  }
  EXPECT_TRUE(support::sameBits(std::bit_cast<std::array<float, 4>>(memory[3]), std::array{0.F, 0.F, 0.F, 0.F}));
  EXPECT_TRUE(support::sameBits(std::bit_cast<std::array<float, 4>>(memory[1]), std::array{1.F, 1.F, 1.F, 1.F}));
}

template <typename Member>
class PackedAngleMember : public testing::Test {};

using AngleMembers = testing::Types<PackedSin, PackedCos, SineOfPackedSinCos, CosineOfPackedSinCos>;
TYPED_TEST_SUITE(PackedAngleMember, AngleMembers, vmath::Names);

// Where the octant changes, and where the sign or the polynomial changes with it.
TYPED_TEST(PackedAngleMember, EqualsTheModelAroundMultiplesOfAnEighthTurn) {
  for (int32_t multiple = 0; multiple < 12000; ++multiple) {
    const auto angle = static_cast<float>(multiple * std::numbers::pi / 4);
    ASSERT_TRUE(equalsModelAround<TypeParam>(angle, 4)) << multiple;
  }
}

TYPED_TEST(PackedAngleMember, EqualsTheModelWhereTheOctantLeavesTheIntegers) {
  for (const float angle : {8192.0F, 16777216.0F, 33554432.0F, 8.43314e8F, 1.6e9F, 1686629713.0F, 2147483648.0F, 1e30F,
                            std::numeric_limits<float>::max()}) {
    ASSERT_TRUE(equalsModelAround<TypeParam>(angle, 2000)) << angle;
  }
}

TEST(PackedATan, HandWorkedValues) {
  EXPECT_TRUE(support::sameBits(valueOf<PackedATan>(0.0F), 0.0F));
  EXPECT_TRUE(support::sameBits(valueOf<PackedATan>(-0.0F), -0.0F));
  EXPECT_TRUE(delivers<PackedATan>(infinity, halfPi));
  EXPECT_TRUE(delivers<PackedATan>(-infinity, -halfPi));
  EXPECT_TRUE(delivers<PackedATan>(1, 0.785398185F));
  EXPECT_TRUE(delivers<PackedATan>(-1, -0.785398185F));
  EXPECT_TRUE(delivers<PackedATan>(1e-40F, 1e-40F));
  EXPECT_TRUE(delivers<PackedATan>(-1e-40F, -1e-40F));
  EXPECT_TRUE(delivers<PackedATan>(nan, nan));
}

TEST(PackedATan, EqualsTheModelAroundBothThresholds) {
  EXPECT_TRUE(equalsModelAround<PackedATan>(0.66F, 20000));
  EXPECT_TRUE(equalsModelAround<PackedATan>(2.41421366F, 20000));
}

TEST(PackedLog, HandWorkedValues) {
  EXPECT_TRUE(support::sameBits(valueOf<PackedLog>(1), 0.0F));
  EXPECT_NEAR(valueOf<PackedLog>(std::numbers::e_v<float>), 1, 1.2e-7);
  EXPECT_NEAR(valueOf<PackedLog>(0.5F), -std::numbers::ln2, 6e-8);
  EXPECT_NEAR(valueOf<PackedLog>(std::numeric_limits<float>::min()), -87.3365448, 8e-6);
  for (const float denormal : {1.4e-45F, 1e-40F, 1.17549421e-38F}) {
    EXPECT_TRUE(delivers<PackedLog>(denormal, valueOf<PackedLog>(std::numeric_limits<float>::min())));
  }
  EXPECT_TRUE(delivers<PackedLog>(nan, valueOf<PackedLog>(std::numeric_limits<float>::min())));
  EXPECT_TRUE(delivers<PackedLog>(-nan, valueOf<PackedLog>(std::numeric_limits<float>::min())));
  EXPECT_NEAR(valueOf<PackedLog>(infinity), 128 * std::numbers::ln2, 8e-6);
}

TEST(PackedLog, EveryBitIsSetInTheNanOfANonPositiveValue) {
  float allBits;
  support::setBits(allBits, 0xFFFFFFFFU);
  for (const float x : {0.0F, -0.0F, -1.4e-45F, -1.0F, -std::numeric_limits<float>::max(), -infinity}) {
    const auto lanes = std::bit_cast<std::array<float, 4>>(kxcalc::packedLog(f32x4{1, x, 1, x}));
    EXPECT_TRUE(support::sameBits(lanes, std::array{0.0F, allBits, 0.0F, allBits})) << x;
  }
}

TEST(PackedExp, HandWorkedValues) {
  EXPECT_TRUE(delivers<PackedExp>(0.0F, 1));
  EXPECT_TRUE(delivers<PackedExp>(-0.0F, 1));
  EXPECT_TRUE(delivers<PackedExp>(1e-40F, 1));
  EXPECT_NEAR(valueOf<PackedExp>(1), std::numbers::e, 2.4e-7);
  EXPECT_NEAR(valueOf<PackedExp>(-1), 1 / std::numbers::e, 3e-8);
  const float largest = valueOf<PackedExp>(88.3762589F);
  EXPECT_NEAR(static_cast<double>(largest), 2.406e38, 1e35);
  for (const float x : {88.3762665F, 100.0F, std::numeric_limits<float>::max(), infinity, nan, -nan}) {
    EXPECT_TRUE(delivers<PackedExp>(x, largest));
  }
  for (const float x : {-88.3762589F, -88.3762665F, -100.0F, -std::numeric_limits<float>::max(), -infinity}) {
    EXPECT_TRUE(support::sameBits(valueOf<PackedExp>(x), 0.0F)) << x;
  }
}

TEST(PackedExp, EqualsTheModelAroundTheClampsAndWhereTheScaleChanges) {
  EXPECT_TRUE(equalsModelAround<PackedExp>(88.3762589F, 20000));
  for (int32_t power = -127; power <= 127; ++power) {
    ASSERT_TRUE(equalsModelAround<PackedExp>(static_cast<float>((power - 0.5) * std::numbers::ln2), 50)) << power;
  }
}

testing::AssertionResult arctangentEqualsModel(const f32x4& y, const f32x4& x) {
  const f32x4 actual = kxcalc::packedATan2(y, x);
  testing::AssertionResult result = testing::AssertionSuccess();
  for (std::size_t lane = 0; lane < 4 && result; ++lane) {
    result = support::sameResult(float{actual[lane]}, reference::packedATan2(y[lane], x[lane]));
    if (!result) {
      result << "; lane " << lane << ", y " << support::describe(float{y[lane]}) << ", x "
             << support::describe(float{x[lane]});
    }
  }
  return result;
}

TEST(PackedATan2, HandWorkedValues) {
  const struct {
    float y;
    float x;
    float expected;
  } cases[] = {
      {0, -1, pi},
      {-0.0F, -1, pi},
      {0, 1, 0},
      {1, 0, halfPi},
      {-1, 0, -halfPi},
      {1, -0.0F, halfPi},
      {-1, -0.0F, -halfPi},
      {infinity, 0, halfPi},
      {-infinity, 0, -halfPi},
      {0, 0, nan},
      {-0.0F, 0, nan},
      {0, -0.0F, nan},
      {nan, 0, halfPi},
      {nan, 1, nan},
      {1, nan, nan},
      {0, nan, nan},
      {infinity, infinity, nan},
      {1, infinity, 0},
      {1, -infinity, pi},
      {0, -infinity, pi},
      {1e-40F, 0, halfPi},
  };
  for (const auto& [y, x, expected] : cases) {
    const f32x4 result = kxcalc::packedATan2(f32x4{1, y, 1, 1}, f32x4{1, x, 1, 1});
    EXPECT_TRUE(support::sameResult(float{result[1]}, expected)) << "y " << y << ", x " << x;
  }
}

TEST(PackedATan2, FourQuadrantsInOneVector) {
  const f32x4 result = kxcalc::packedATan2(f32x4{1, 1, -1, -1}, f32x4{2, -2, -2, 2});
  const std::array<double, 4> expected{std::atan2(1.0, 2.0), std::atan2(1.0, -2.0), std::atan2(-1.0, -2.0),
                                       std::atan2(-1.0, 2.0)};
  for (std::size_t lane = 0; lane < 4; ++lane) {
    EXPECT_NEAR(result[lane], expected[lane], 2.4e-7) << lane;
  }
}

TEST(PackedATan2, EqualsTheModelForEveryPairOfSpecials) {
  std::vector<float> specials;
  for (const float magnitude : {0.0F, 1.4e-45F, 1e-40F, 1.17549435e-38F, 1e-20F, 0.5F, 0.66F, 1.0F, 2.41421366F, 3.0F,
                                1e20F, std::numeric_limits<float>::max(), infinity, nan}) {
    specials.push_back(magnitude);
    specials.push_back(-magnitude);
  }
  for (const float y : specials) {
    for (const float x : specials) {
      ASSERT_TRUE(arctangentEqualsModel(f32x4{y, x, -y, 1}, f32x4{x, y, 1, -x}));
    }
  }
}

TEST(PackedATan2, EqualsTheModelForRandomPairs) {
  support::TestRandom random;
  for (int i = 0; i < 500000; ++i) {
    const auto anyLanes = [&] {
      const uint64_t low = random.bits();
      const uint64_t high = random.bits();
      return vmath::lanesOf({static_cast<uint32_t>(low), static_cast<uint32_t>(low >> 32), static_cast<uint32_t>(high),
                             static_cast<uint32_t>(high >> 32)});
    };
    const f32x4 y = anyLanes();
    const auto ordinary = [&] { return static_cast<float>(random.sign() * random.unit()); };
    const f32x4 x = random.oneIn(2) ? anyLanes() : f32x4{ordinary(), ordinary(), ordinary(), ordinary()} * y;
    ASSERT_TRUE(arctangentEqualsModel(y, x));
  }
}

struct Evaluator {
  const char* name;
  f32x4 (*packed)(f32x4, const float*, int32_t);
  float (*lane)(float, const float*, int32_t);
  int32_t coefficientsAbove;  // of a degree, and at least one
};

std::array<Evaluator, 2> evaluators() {
  return {
      {{"packedPolyEval", [](f32x4 x, const float* c, int32_t n) { return kxcalc::packedPolyEval(x, c, n); },
        &reference::packedPolyEval, 1},
       {"packedPolyEvalMonic", [](f32x4 x, const float* c, int32_t n) { return kxcalc::packedPolyEvalMonic(x, c, n); },
        &reference::packedPolyEvalMonic, 0}}};
}

TEST(PackedPolyEval, HandWorkedValues) {
  const float coefficients[] = {2, -3, 5};
  const f32x4 x{0, 1, -2, infinity};
  const f32x4 constant = kxcalc::packedPolyEval(f32x4{nan, infinity, 0, 1}, coefficients, 0);
  const f32x4 negativeDegree = kxcalc::packedPolyEval(x, coefficients, -7);
  for (std::size_t lane = 0; lane < 4; ++lane) {
    EXPECT_EQ(constant[lane], 2) << lane;
    EXPECT_EQ(negativeDegree[lane], 2) << lane;
  }
  const f32x4 quadratic = kxcalc::packedPolyEval(x, coefficients, 2);
  EXPECT_EQ(quadratic[0], 5);
  EXPECT_EQ(quadratic[1], 4);
  EXPECT_EQ(quadratic[2], 19);
  EXPECT_EQ(quadratic[3], infinity);
}

TEST(PackedPolyEvalMonic, HandWorkedValues) {
  const float coefficients[] = {2, -3, 5};
  const f32x4 x{0, 1, -2, 10};
  for (const int32_t degree : {1, 0, -1, -100}) {
    const f32x4 linear = kxcalc::packedPolyEvalMonic(x, coefficients, degree);
    EXPECT_EQ(linear[0], 2) << degree;
    EXPECT_EQ(linear[1], 3) << degree;
    EXPECT_EQ(linear[2], 0) << degree;
    EXPECT_EQ(linear[3], 12) << degree;
  }
  const f32x4 cubic = kxcalc::packedPolyEvalMonic(x, coefficients, 3);
  EXPECT_EQ(cubic[0], 5);
  EXPECT_EQ(cubic[1], 5);
  EXPECT_EQ(cubic[2], 11);
  EXPECT_EQ(cubic[3], 1175);
}

TEST(PackedPolyEval, BothEvaluatorsEqualTheirModelsAtEveryDegreeAndReadNoOtherCoefficient) {
  support::TestRandom random;
  support::FencedBuffer<float> memory(64);
  for (const Evaluator& evaluator : evaluators()) {
    for (int32_t degree = -3; degree <= 40; ++degree) {
      for (const support::Placement& placement : support::allPlacements<float>()) {
        const auto size = static_cast<std::size_t>(std::max(1, degree + evaluator.coefficientsAbove));
        const std::span<float> coefficients = memory.place(size, placement);
        for (int round = 0; round < 20; ++round) {
          for (float& coefficient : coefficients) {
            coefficient = static_cast<float>(random.sign() * random.unit());
          }
          const auto any = [&] { return static_cast<float>(random.sign() * 2 * random.unit()); };
          const f32x4 x{any(), any(), random.oneIn(4) ? infinity : any(), random.oneIn(4) ? nan : any()};
          const f32x4 actual = evaluator.packed(x, coefficients.data(), degree);
          for (std::size_t lane = 0; lane < 4; ++lane) {
            ASSERT_TRUE(support::sameResult(float{actual[lane]}, evaluator.lane(x[lane], coefficients.data(), degree)))
                << evaluator.name << ", degree " << degree << ", lane " << lane;
          }
        }
      }
    }
  }
}

}  // namespace
