#include "analysis/combustion/pressure_cycles.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

std::vector<double> anglesOf(double first, double step, size_t count) {
  std::vector<double> angles;
  for (size_t i = 0; i < count; ++i) {
    angles.push_back(first + static_cast<double>(i) * step);
  }
  return angles;
}

std::vector<float> numbered(size_t count) {
  std::vector<float> pressures;
  for (size_t i = 0; i < count; ++i) {
    pressures.push_back(static_cast<float>(i));
  }
  return pressures;
}

TEST(PressureCycles, ColumnsAreCycles) {
  const auto angles = anglesOf(-360, 10, 73);
  const auto cut = cyclesOf(angles, numbered(3 * 73), 3);
  ASSERT_TRUE(cut) << cut.problem();
  EXPECT_EQ(cut->cycles.count(), 3U);
  EXPECT_EQ(cut->leftOut, 0U);
  EXPECT_EQ(cut->cycles.angles, angles);
  EXPECT_EQ(cut->cycles.step(), 10);
  for (size_t cycle = 0; cycle < 3; ++cycle) {
    ASSERT_EQ(cut->cycles.cycle(cycle).size(), 73U);
    for (size_t i = 0; i < 73; ++i) {
      EXPECT_EQ(cut->cycles.cycle(cycle)[i], static_cast<float>(3 * i + cycle));
    }
  }
}

/// One column of 720 degrees or less is one cycle; of more, the complete cycles from -360 on are cut out.
TEST(PressureCycles, ALongRunIsCutIntoCompleteCycles) {
  const auto cut = [](double first, double step, size_t count) {
    return cyclesOf(anglesOf(first, step, count), numbered(count), 1);
  };
  const auto expect = [&](double first, double step, size_t count, size_t cycles, float firstSample, size_t leftOut) {
    SCOPED_TRACE(testing::Message() << first << " by " << step << ", " << count);
    const auto found = cut(first, step, count);
    ASSERT_TRUE(found) << found.problem();
    EXPECT_EQ(found->cycles.count(), cycles);
    EXPECT_EQ(found->cycles.samples.front(), firstSample);
    EXPECT_EQ(found->leftOut, leftOut);
    EXPECT_LE(found->cycles.angles.front(), -360 + step);
    EXPECT_NEAR(found->cycles.step(), step, 1e-9);
  };
  expect(-360, 10, 72, 1, 0, 0);
  expect(-360, 10, 73, 1, 0, 0);  // the last one stands for the first of the next
  expect(-360, 10, 74, 1, 0, 2);
  expect(-360, 10, 144, 2, 0, 0);
  expect(-360, 10, 200, 2, 0, 56);
  expect(-370, 10, 146, 2, 1, 2);
  expect(-355, 10, 150, 1, 72, 78);
  expect(-180, 5, 600, 3, 108, 168);
  expect(360, 10, 145, 2, 0, 1);
  expect(350, 10, 145, 2, 1, 1);
  expect(3600, 10, 220, 2, 36, 76);
  expect(-360.5, 10, 145, 2, 0, 1);    // within a tenth of a step
  expect(-358.9, 10, 230, 2, 72, 86);  // beyond it
  const auto far = cut(3600, 10, 220);
  EXPECT_EQ(far->cycles.angles.front(), -360);
  EXPECT_EQ(far->cycles.angles.back(), 350);
  EXPECT_EQ(far->cycles.cycle(1).front(), 36 + 72);
}

/// A pressure that is its angle's number of steps from -360 degrees, wherever the angles begin.
std::vector<float> places(const std::vector<double>& angles, double step, double tdc = 0) {
  std::vector<float> pressures;
  for (const double angle : angles) {
    const double turn = std::fmod(angle - tdc + 360 + 7200 + 1e-6, 720);
    pressures.push_back(static_cast<float>(std::floor(turn / step + 1e-3)));
  }
  return pressures;
}

TEST(PressureCycles, AWholeCycleMayLieAnywhere) {
  for (const double step : {0.2, 0.5, 1.0, 2.0}) {
    const auto length = static_cast<size_t>(std::lround(720 / step));
    for (const double first : {-180.0, 0.0, -360.0, -720.0, 360.0, 540.0, -356.0, 90.0}) {
      SCOPED_TRACE(testing::Message() << first << " by " << step);
      const auto angles = anglesOf(first, step, length);
      const auto cut = cyclesOf(angles, places(angles, step), 1);
      ASSERT_TRUE(cut) << cut.problem();
      EXPECT_EQ(cut->leftOut, 0U);
      ASSERT_EQ(cut->cycles.samples, numbered(length));
      for (size_t i = 0; i < length; ++i) {
        EXPECT_NEAR(cut->cycles.angles[i], -360 + static_cast<double>(i) * step, 1e-9);
      }
    }
  }
  // An angle that is there at both ends counts once; the rows of several cycles turn together.
  const auto angles = anglesOf(-180, 10, 73);
  std::vector<float> pressures;
  for (const float place : places(angles, 10)) {
    pressures.insert(pressures.end(), {place, 100 + place});
  }
  const auto cut = cyclesOf(angles, pressures, 2);
  ASSERT_TRUE(cut) << cut.problem();
  EXPECT_EQ(cut->leftOut, 2U);
  EXPECT_EQ(cut->cycles.count(), 2U);
  EXPECT_EQ(cut->cycles.cycle(1)[0], 100);
  EXPECT_EQ(cut->cycles.cycle(0)[71], 71);
  EXPECT_EQ(cut->cycles.angles.size(), 72U);
}

TEST(PressureCycles, TheTopDeadCentreMayLieElsewhere) {
  for (const double tdc : {360.0, -0.7, 0.35, 12.0, -720.0}) {
    SCOPED_TRACE(tdc);
    const auto angles = anglesOf(0, 0.5, 1440);
    const auto cut = cyclesOf(angles, places(angles, 0.5, tdc), 1, tdc);
    ASSERT_TRUE(cut) << cut.problem();
    EXPECT_EQ(cut->cycles.samples, numbered(1440));
    EXPECT_NEAR(cut->cycles.angles[720], 0, 0.36);
    EXPECT_NEAR(std::remainder(cut->cycles.angles[720] + tdc, 0.5), 0, 1e-9);
  }
  const auto closed = cyclesOf(anglesOf(180, 1, 361), numbered(361), 1, 360);
  ASSERT_TRUE(closed) << closed.problem();
  EXPECT_EQ(closed->cycles.angles, anglesOf(-180, 1, 361));
  EXPECT_EQ(closed->cycles.samples, numbered(361));
}

TEST(PressureCycles, AnglesThatBeginAnewRunOn) {
  std::vector<double> angles;
  for (int i = 0; i < 3 * 144; ++i) {
    angles.push_back(-180 + (i % 144) * 5);
  }
  const auto cut = cyclesOf(angles, numbered(angles.size()), 1);
  ASSERT_TRUE(cut) << cut.problem();
  EXPECT_EQ(cut->cycles.count(), 2U);
  EXPECT_EQ(cut->cycles.samples.front(), 108);
  EXPECT_EQ(cut->leftOut, 144U);
  EXPECT_EQ(cut->cycles.angles, anglesOf(-360, 5, 144));
}

TEST(PressureCycles, TheFirstRowsAreCheckedWhileMoreMayCome) {
  EXPECT_EQ(problemOf(checkedAngles({})), "");
  EXPECT_EQ(problemOf(checkedAngles({5})), "");
  EXPECT_EQ(problemOf(checkedAngles({358, 359, -360, -359})), "");
  EXPECT_EQ(problemOf(checkedAngles({0, 1, 1, 2})), "data row 3: the crank angle does not rise");
}

TEST(PressureCycles, RowsThatCannotBeAreNamed) {
  const auto problem = [](const std::vector<double>& angles, size_t columns = 1) {
    return problemOf(cyclesOf(angles, std::vector<float>(angles.size() * columns), columns));
  };
  EXPECT_EQ(problemOf(cyclesOf({1, 2}, std::vector<float>(3), 2)), "columns is 2: 2 rows hold 3 pressures");
  EXPECT_EQ(problemOf(cyclesOf({1, 2}, {}, 0)), "columns is 0: 2 rows hold 0 pressures");
  EXPECT_EQ(problem({}), "holds 0 rows of numbers: that is no cycle");
  EXPECT_EQ(problem({1}), "holds 1 rows of numbers: that is no cycle");
  EXPECT_EQ(problem({0, 10}), "");
  EXPECT_EQ(problem({0, 10.5, 21}), "has a sample every 10.5 degrees: at most 10 are of use");
  EXPECT_EQ(problem({0, 1, 1, 2}), "data row 3: the crank angle does not rise");
  EXPECT_EQ(problem({0, 1, NAN, 2}), "data row 3: the crank angle does not rise");
  EXPECT_EQ(problem({0, -1}), "data row 2: the crank angle does not rise");
  EXPECT_EQ(problem({0, 1, 2.2}), "data row 3: the crank angle steps by 1.2 degrees, most others by 1");
  EXPECT_EQ(problem({0, 3, 4, 5, 6}), "data row 2: the crank angle steps by 3 degrees, most others by 1");
  EXPECT_EQ(problem({NAN, NAN, 1}), "data row 2: the crank angle does not rise");
  EXPECT_EQ(problem({0, 1, 2, 3, -355, -354}), "data row 5: the crank angle does not rise");
  EXPECT_EQ(problem({0, 1, 2.05, 2.97}), "");
  constexpr const char* neither = " degrees: that is neither a whole cycle nor one within -360 to 360 degrees";
  EXPECT_EQ(problem(anglesOf(-361, 1, 100)), "the crank angle runs from -361 to -262" + std::string(neither));
  EXPECT_EQ(problem(anglesOf(-360.09, 1, 100)), "");
  EXPECT_EQ(problem(anglesOf(300, 1, 62)), "the crank angle runs from 300 to 361" + std::string(neither));
  EXPECT_EQ(problem(anglesOf(300.09, 1, 61)), "");
  EXPECT_EQ(problem(anglesOf(180, 1, 361)), "the crank angle runs from 180 to 540" + std::string(neither));
  EXPECT_EQ(problem(anglesOf(-360, 10, 80), 2),
            "the crank angle runs over 790 degrees: columns of pressures are one cycle each, of 720");
  EXPECT_EQ(problemOf(cyclesOf({0, 1}, std::vector<float>(2), 1, 721)),
            "top dead centre is 721: it lies from -720 to 720 degrees");
  EXPECT_EQ(problemOf(cyclesOf({0, 1}, std::vector<float>(2), 1, NAN)),
            "top dead centre is nan: it lies from -720 to 720 degrees");
  EXPECT_EQ(problem(anglesOf(-360, 7, 200)),
            "720 degrees are not a whole number of steps of 7: the cycles' samples do not meet");
  EXPECT_EQ(problem(anglesOf(-180, 10, 80)), "holds no complete cycle from -360 to 360 degrees");
  EXPECT_EQ(problem(anglesOf(-350, 10, 74)), "holds no complete cycle from -360 to 360 degrees");
}

}  // namespace
}  // namespace kxanalysis_test
