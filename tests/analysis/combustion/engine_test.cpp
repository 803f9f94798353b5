#include "analysis/combustion/engine.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using std::numbers::pi;

constexpr Engine engine{80, 90, 140, 12};

TEST(Engine, VolumesAreThoseOfTheSliderCrank) {
  const double displacement = pi * 4 * 4 * 9;  // in centimetres
  expectClose(engine.displacement(), displacement);
  expectClose(engine.clearance(), displacement / 11);
  expectClose(engine.volume(0), displacement / 11);
  expectClose(engine.volume(180), displacement * 12 / 11);
  expectClose(engine.volume(-180), displacement * 12 / 11);
  expectClose(engine.volume(360), displacement / 11);
  for (double angle = -360; angle <= 360; angle += 7) {
    // The cosine rule: rod^2 = crank^2 + x^2 - 2 crank x cos(angle), with x from the crankshaft to the pin.
    const double crank = 4.5, rod = 14, cosine = std::cos(angle * pi / 180);
    const double fromShaft = crank + rod - (engine.volume(angle) - engine.clearance()) / (pi * 16);
    expectClose(crank * crank + fromShaft * fromShaft - 2 * crank * fromShaft * cosine, rod * rod);
  }
}

TEST(Engine, MeasuresThatCannotBeAreNamed) {
  const auto problem = [](const Engine& measures) { return problemOf(checked(measures)); };
  EXPECT_EQ(problem({0, 90, 140, 12}), "bore is 0: it is above 0 mm");
  EXPECT_EQ(problem({INFINITY, 90, 140, 12}), "bore is inf: it is above 0 mm");
  EXPECT_EQ(problem({80, -1, 140, 12}), "stroke is -1: it is above 0 mm");
  EXPECT_EQ(problem({80, 90, NAN, 12}), "rod is nan: it is above 0 mm");
  EXPECT_EQ(problem({80, 90, 45, 12}), "rod is 45: it must be longer than half of the stroke");
  EXPECT_EQ(problem({80, 90, 46, 12}), "");
  EXPECT_EQ(problem({80, 90, 140, 1}), "compression ratio is 1: it is above 1");
  EXPECT_EQ(problem({80, 90, 140, INFINITY}), "compression ratio is inf: it is above 1");
  EXPECT_EQ(problem({80, 90, 140, 1.5}), "");
  EXPECT_EQ(problem(Engine()), "");
}

}  // namespace
}  // namespace kxanalysis_test
