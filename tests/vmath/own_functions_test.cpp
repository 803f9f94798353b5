// The library's own functions in double where rounding is hardest: doubles worked out with more than a thousand bits.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "reference/correctly_rounded.hpp"
#include "support/bits.hpp"
#include "vmath/arctangent2.hpp"
#include "vmath/sine_cosine.hpp"

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

struct SineCase {
  float x;
  double sine;
  double cosine;
};

// Tiny ones, those closest to a change of rounding (0x1.5p-20 is the hardest of all sines, 0x1.41d418p-1 of all cosines), next
// to multiples of a quarter turn (0x1.f37c8ap+95 is the nearest of all), the borders of the reductions, and the largest.
constexpr SineCase sineCases[] = {
    {0x1p-149F, 0x1p-149, 0x1p+0},
    {0x1p-27F, 0x1p-27, 0x1p+0},
    {0x1p-26F, 0x1p-26, 0x1.fffffffffffffp-1},
    {0x1.5p-20F, 0x1.4fffffffff9f9p-20, 0x1.fffffffffe47p-1},
    {0x1.8826p-9F, 0x1.8825d9a8c7862p-9, 0x1.ffff69d2edee6p-1},
    {0x1.93aap-3F, 0x1.910e3395e93p-3, 0x1.f61638a637819p-1},
    {0x1p-1F, 0x1.eaee8744b05fp-2, 0x1.c1528065b7d5p-1},
    {0x1.41d418p-1F, 0x1.2d0cfc965fd81p-1, 0x1.9e2400180659ep-1},
    {0x1.921fb6p+0F, 0x1.ffffffffffff7p-1, -0x1.777a5cf72ceccp-25},
    {0x1.921fb6p+1F, -0x1.777a5cf72cec6p-24, -0x1.fffffffffffdep-1},
    {0x1.2d97c8p+2F, -0x1.fffffffffffffp-1, 0x1.99bc5b961b1adp-27},
    {0x1.4p+3F, -0x1.1689ef5f34f52p-1, -0x1.ad9ac890c6b1fp-1},
    {0x1.fffffep+16F, -0x1.ffb2f258c3084p-1, 0x1.18dad46cd446bp-5},
    {0x1p+17F, -0x1.ff8bd7b10d6bp-1, 0x1.58ced65ec8b5p-5},
    {0x1.e848p+19F, -0x1.6664b2568d867p-2, 0x1.df9df9906d32cp-1},
    {0x1.f37a0ap+95F, -0x1.1bd8e3e9bd3fep-2, 0x1.ebefc9a4314fcp-1},
    {0x1.f37c8ap+95F, 0x1p+0, -0x1.bbdd52a58eafbp-30},
    {0x1.760cp+117F, -0x1.c61527b9f8b4ep-1, 0x1.d91669ecc852p-2},
    {0x1.fffffep+127F, -0x1.0b33665089575p-1, 0x1.b4bf2c79bdfcep-1},
};

struct ArctangentCase {
  float y;
  float x;
  double angle;
};

// The first ones' degrees in single are others where the last bit of the angle is.
constexpr ArctangentCase arctangentCases[] = {
    {0x1.ab523p+20F, -0x1.be98p+21F, 0x1.590168ef21c69p+1},
    {0x1.29f33cp+22F, 0x1.6d6p+21F, 0x1.0550dfef3a35ep+0},
    {-0x1.0640cp+19F, -0x1.24d98p+19F, -0x1.34a417fba6572p+1},
    {-0x1.557a5p+21F, 0x1.2a5d5p+22F, -0x1.0a1e9715560b1p-1},
    {-0x1.dab47cp+22F, -0x1.aa1528p+22F, -0x1.26b0c1d3da5d4p+1},
    {0x1.583778p+21F, -0x1.11fcp+22F, 0x1.4a54f8f27ddfcp+1},
    {0x1.e6ea54p+22F, 0x1.b54p+18F, 0x1.83c55ad10b262p+0},
    {0x1.91ecp+18F, 0x1.7fb3e8p+22F, 0x1.0bc5fb1b8d39ap-4},
    {0x1p+0F, 0x1p+0F, 0x1.921fb54442d18p-1},
    {0x1.8p+1F, -0x1p+2F, 0x1.3fc176b7a856p+1},
    {0x1p+0F, 0x1.fffffep+23F, 0x1.000001000000bp-24},
    {0x1.fffffep+23F, -0x1p+0F, 0x1.921fb64442d28p+0},
    {0x1p+0F, 0x1p+40F, 0x1p-40},
    {0x1p-149F, -0x1.8p+1F, 0x1.921fb54442d18p+1},
    {0x1p-149F, 0x1p+127F, 0x1p-276},
};

TEST(OwnFunctions, SinesAndCosinesAreCorrectlyRounded) {
  for (const auto& [x, sine, cosine] : sineCases) {
    const kxcalc::SinesCosines first = kxcalc::sinesAndCosines(x, 1);
    const kxcalc::SinesCosines second = kxcalc::sinesAndCosines(1e30F, -x);
    EXPECT_TRUE(support::sameBits(first.sines[0], sine)) << x;
    EXPECT_TRUE(support::sameBits(first.cosines[0], cosine)) << x;
    EXPECT_TRUE(support::sameBits(second.sines[1], -sine)) << x;
    EXPECT_TRUE(support::sameBits(second.cosines[1], cosine)) << x;
    EXPECT_TRUE(support::sameBits(kxcalc::sineInSingle(x), static_cast<float>(sine))) << x;
    EXPECT_TRUE(support::sameBits(kxcalc::sineInSingle(-x), static_cast<float>(-sine))) << x;
  }
}

TEST(OwnFunctions, TheSeriesIsCorrectlyRounded) {
  for (const auto& [x, sine, cosine] : sineCases) {
    EXPECT_TRUE(support::sameBits(kxcalc::detail::sineBySeries(static_cast<double>(x), 0), sine)) << x;
    EXPECT_TRUE(support::sameBits(kxcalc::detail::sineBySeries(static_cast<double>(x), 1), cosine)) << x;
  }
}

TEST(OwnFunctions, TheModelsAreCorrectlyRounded) {
  for (const auto& [x, sine, cosine] : sineCases) {
    EXPECT_TRUE(support::sameBits(reference::correctSine(x), sine)) << x;
    EXPECT_TRUE(support::sameBits(reference::correctCosine(x), cosine)) << x;
  }
  for (const auto& [y, x, angle] : arctangentCases) {
    EXPECT_TRUE(support::sameBits(reference::correctArctangent2(y, x), angle)) << y << ", " << x;
  }
  for (int power = -4; power <= 10; ++power) {
    const auto x = static_cast<float>(std::pow(10.0, power));
    EXPECT_TRUE(power < 0 || support::sameBits(reference::correctDecimalLogarithm(x), static_cast<double>(power))) << x;
  }
}

TEST(OwnFunctions, SinesAndCosinesOfSpecials) {
  for (const float special : {infinity, -infinity, nan}) {
    const kxcalc::SinesCosines lanes = kxcalc::sinesAndCosines(special, 0);
    EXPECT_TRUE(std::isnan(lanes.sines[0]) && std::isnan(lanes.cosines[0]) &&
                std::isnan(kxcalc::sineInSingle(special)));
    EXPECT_TRUE(support::sameBits(lanes.sines[1], 0.0) && support::sameBits(lanes.cosines[1], 1.0));
  }
  const kxcalc::SinesCosines zeros = kxcalc::sinesAndCosines(-0.0F, 0);
  EXPECT_TRUE(support::sameBits(zeros.sines[0], -0.0) && support::sameBits(zeros.sines[1], 0.0));
  EXPECT_TRUE(support::sameBits(kxcalc::sineInSingle(-0.0F), -0.0F));
}

TEST(OwnFunctions, ArctangentsAreCorrectlyRounded) {
  for (const auto& [y, x, angle] : arctangentCases) {
    EXPECT_TRUE(support::sameBits(kxcalc::arctangent2(y, x), angle)) << y << ", " << x;
    EXPECT_TRUE(support::sameBits(kxcalc::arctangent2(-y, x), -angle)) << y << ", " << x;
  }
}

TEST(OwnFunctions, ArctangentsOfSpecials) {
  constexpr double pi = 0x1.921fb54442d18p+1;
  const struct {
    float y, x;
    double angle;
  } cases[] = {{0, 0, 0},
               {0, -0.0F, pi},
               {0, -1, pi},
               {infinity, 1, pi / 2},
               {infinity, -infinity, 0x1.2d97c7f3321d2p+1},
               {infinity, infinity, pi / 4},
               {1, infinity, 0},
               {1, -infinity, pi},
               {1, 0, pi / 2},
               {1, -0.0F, pi / 2}};
  for (const auto& [y, x, angle] : cases) {
    EXPECT_TRUE(support::sameBits(kxcalc::arctangent2(y, x), angle)) << y << ", " << x;
    EXPECT_TRUE(support::sameBits(kxcalc::arctangent2(-y, x), -angle)) << y << ", " << x;
  }
  EXPECT_TRUE(std::isnan(kxcalc::arctangent2(nan, 1)) && std::isnan(kxcalc::arctangent2(1, nan)));
}

}  // namespace
