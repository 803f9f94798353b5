#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/display/axis.hpp"
#include "analysis/display/curve.hpp"
#include "analysis/display/raster.hpp"
#include "analysis/number_text.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

void expectAxis(const Axis& axis, AxisScale scale, double minimum, double maximum) {
  EXPECT_EQ(axis.scale, scale);
  expectClose(axis.minimum, minimum, 1e-12);
  expectClose(axis.maximum, maximum, 1e-12);
}

TEST(Axis, ALinearOneLeavesSixPercentOfAir) {
  const auto axis = [](double low, double high) { return axisAround(AxisScale::linear, low, high, high); };
  expectAxis(axis(-1, 3), AxisScale::linear, -1.24, 3.24);
  expectAxis(axis(5, 5), AxisScale::linear, 0, 10);
  expectAxis(axis(-5, -5), AxisScale::linear, -10, 0);
  expectAxis(axis(0.5, 0.5), AxisScale::linear, -0.5, 1.5);
  expectAxis(axis(-1e308, 1e308), AxisScale::linear, -1.12e300, 1.12e300);
}

TEST(Axis, ALogarithmicOneIsWholeDecadesSixOfThemAtMost) {
  const auto axis = [](double high, double low) { return axisAround(AxisScale::logarithmic, 0, high, low); };
  expectAxis(axis(500, 3), AxisScale::logarithmic, 1, 1000);
  expectAxis(axis(1000, 1), AxisScale::logarithmic, 1, 1000);
  expectAxis(axis(1001, 0.999), AxisScale::logarithmic, 1, 1000);  // a hair beyond an end is not seen
  expectAxis(axis(1003, 0.997), AxisScale::logarithmic, 0.1, 10000);
  expectAxis(axis(5, 5), AxisScale::logarithmic, 1, 10);
  expectAxis(axis(10, 10), AxisScale::logarithmic, 1, 10);
  expectAxis(axis(1000, 1e-9), AxisScale::logarithmic, 1e-3, 1000);
  expectAxis(axis(0, 0), AxisScale::logarithmic, 1e-38, 1e-37);
  expectAxis(axis(1e300, 1), AxisScale::logarithmic, 1e32, 1e38);
}

TEST(Axis, ADecibelOneIsStepsOfTenDecibels) {
  const auto axis = [](double high, double low) { return axisAround(AxisScale::decibel, 0, high, low); };
  expectAxis(axis(1, 0.01), AxisScale::decibel, -40, 0);
  expectAxis(axis(5, 0.3), AxisScale::decibel, -20, 20);
  expectAxis(axis(3, 0.2), AxisScale::decibel, -20, 10);
  expectAxis(axis(1, 1), AxisScale::decibel, -20, 0);
  expectAxis(axis(1, 0.5), AxisScale::decibel, -20, 0);
  expectAxis(axis(1, 1e-9), AxisScale::decibel, -120, 0);
  expectAxis(axis(1.001, 0.0999), AxisScale::decibel, -20, 0);
  expectAxis(axis(1.003, 0.0997), AxisScale::decibel, -30, 10);
}

/// Ticks as "value" or "value:label".
std::string textOf(const std::vector<Tick>& ticks) {
  std::string text;
  for (const Tick& tick : ticks) {
    text.append(text.empty() ? "" : " ").append(numberText(tick.value, 6));
    text.append(tick.label.empty() ? "" : ":").append(tick.label);
  }
  return text;
}

TEST(Ticks, LinearOnesAreRound) {
  const auto ticks = [](double low, double high, int room) {
    return textOf(ticksOf({AxisScale::linear, low, high}, room));
  };
  EXPECT_EQ(ticks(0, 10, 5), "0:0 2:2 4:4 6:6 8:8 10:10");
  EXPECT_EQ(ticks(0, 10, 4), "0:0 5:5 10:10");
  EXPECT_EQ(ticks(0, 10, 10), "0:0 1:1 2:2 3:3 4:4 5:5 6:6 7:7 8:8 9:9 10:10");
  EXPECT_EQ(ticks(-0.25, 0.3, 5), "-0.2:-0.2 0:0 0.2:0.2");
  EXPECT_EQ(ticks(-1, 0, 2), "-1:-1 -0.5:-0.5 0:0");
  EXPECT_EQ(ticks(0, 60, 10), "0:0 10:10 20:20 30:30 40:40 50:50 60:60");
  EXPECT_EQ(ticks(1234.45, 1234.84, 4), "1234.5:1234.5 1234.6:1234.6 1234.7:1234.7 1234.8:1234.8");
  const auto long_ = ticksOf({AxisScale::linear, 1e9, 1e9 + 1.2e-2}, 6);
  EXPECT_EQ(long_[1].label, "1000000000");  // twelve digits
  EXPECT_EQ(ticksOf({AxisScale::linear, 123456789, 123456789.05}, 5)[1].label, "123456789.01");
}

TEST(Ticks, DecibelOnesStandAtTheirMagnitudes) {
  const auto ticks = ticksOf({AxisScale::decibel, -40, 0}, 3);
  ASSERT_EQ(ticks.size(), 3U);
  expectClose(ticks[0].value, 0.01);
  expectClose(ticks[1].value, 0.1);
  expectClose(ticks[2].value, 1);
  EXPECT_EQ(ticks[0].label, "-40");
  EXPECT_EQ(ticks[2].label, "0");
}

TEST(Ticks, LogarithmicOnesHaveDecadesAndWhatThereIsRoomFor) {
  const auto ticks = [](double low, double high, int room) {
    return textOf(ticksOf({AxisScale::logarithmic, low, high}, room));
  };
  EXPECT_EQ(ticks(1, 100, 9), "1:1 2:2 3 4 5:5 6 7 8 9 10:10 20:20 30 40 50:50 60 70 80 90 100:100");
  EXPECT_EQ(ticks(1, 100, 8), "1:1 2 3 4 5 6 7 8 9 10:10 20 30 40 50 60 70 80 90 100:100");
  EXPECT_EQ(ticks(30, 300, 8), "30 40 50:50 60 70 80 90 100:100 200:200 300");
  EXPECT_EQ(ticks(30, 299, 8), "50:50 100:100 150:150 200:200 250:250");
  EXPECT_EQ(ticks(1, 10000, 2).substr(0, 30), "1:1 2 3 4 5 6 7 8 9 10 20 30 4");
  const auto labels = [](double low, double high, int room) {
    std::string text;
    for (const Tick& tick : ticksOf({AxisScale::logarithmic, low, high}, room)) {
      text.append(tick.label).append(tick.label.empty() ? "" : " ");
    }
    return text;
  };
  EXPECT_EQ(labels(1, 1e4, 5), "1 10 100 1000 10000 ");
  EXPECT_EQ(labels(1, 1e4, 4), "1 100 10000 ");
  EXPECT_EQ(labels(1e-3, 1e3, 2), "1 ");
  EXPECT_EQ(labels(1e-3, 1e3, 3), "0.001 1 1000 ");
}

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Curve, ColumnsHoldWhatFallsIntoThem) {
  const std::vector<double> values{3, 1, 2, 9, nan, -4, 5, nan, nan, 6, 7, 8, 100, 100};
  for (const size_t length : std::to_array<size_t>({1, 2, 3, 4, 5, 14})) {
    auto curve = Curve::create(linkedFunctions, {10, 13, 13, 16, 17, 18, 19, 22});
    ASSERT_TRUE(curve);
    inBlocks(std::span(values), length, [&](std::span<const double> block) { curve->feed(block); });
    const auto& columns = curve->columns();
    ASSERT_EQ(columns.size(), 7U);
    const auto expect = [](const CurveColumn& column, bool isJoined, double first, double last, double least,
                           double most) {
      EXPECT_FALSE(column.isEmpty);
      EXPECT_EQ(column.isJoined, isJoined);
      EXPECT_EQ(column.first, first);
      EXPECT_EQ(column.last, last);
      EXPECT_EQ(column.minimum, least);
      EXPECT_EQ(column.maximum, most);
    };
    expect(columns[0], false, 3, 2, 1, 3);
    EXPECT_TRUE(columns[1].isEmpty);
    expect(columns[2], true, 9, -4, -4, 9);
    expect(columns[3], true, 5, 5, 5, 5);
    EXPECT_TRUE(columns[4].isEmpty);
    EXPECT_TRUE(columns[5].isEmpty);
    expect(columns[6], false, 6, 8, 6, 8);
  }
}

TEST(Curve, BordersThatCannotBeAreNamed) {
  const auto problem = [](std::vector<uint64_t> borders) { return problemOf(Curve::create(linkedFunctions, borders)); };
  EXPECT_EQ(problem({1}), "number of borders is 1: a column has two");
  EXPECT_EQ(problem({1, 3, 2}), "borders descend: each column begins where the one before ends");
  EXPECT_EQ(problem({1, 1}), "");
}

/// Rows of a raster, a letter a pixel.
std::string drawing(Raster& raster) {
  std::string text;
  for (int y = 0; y < raster.height(); ++y) {
    for (int x = 0; x < raster.width(); ++x) {
      text += static_cast<char>(raster.data()[y * raster.width() + x]);
      EXPECT_EQ(raster.at({x, y}), raster.data() + y * raster.width() + x);
    }
    text += '\n';
  }
  return text;
}

TEST(Raster, RectanglesAreFilledAndCut) {
  auto raster = Raster::create(6, 4, '.');
  raster->fill({1, 1, 3, 2}, 'a');
  EXPECT_EQ(drawing(*raster), "......\n.aaa..\n.aaa..\n......\n");
  raster->fill({4, -5, 99, 1}, 'b');
  raster->fill({-3, 3, 0, 99}, 'c');
  EXPECT_EQ(drawing(*raster), "....bb\n.aaabb\n.aaa..\nc.....\n");
  raster->fill({3, 0, 2, 3}, 'x');
  raster->fill({6, 0, 9, 3}, 'x');
  raster->fill({0, 4, 5, 9}, 'x');
  raster->fill({-9, 0, -1, 3}, 'x');
  EXPECT_EQ(drawing(*raster), "....bb\n.aaabb\n.aaa..\nc.....\n");
  EXPECT_EQ((Rectangle{1, 2, 3, 7}.width()), 3);
  EXPECT_EQ((Rectangle{1, 2, 3, 7}.height()), 6);
}

TEST(Raster, LinesHaveOnePixelAColumnOrARow) {
  const auto line = [](Pixel from, Pixel to) {
    auto raster = Raster::create(7, 4, '.');
    raster->line(from, to, 'o');
    return drawing(*raster);
  };
  EXPECT_EQ(line({0, 0}, {6, 3}), "o......\n.oo....\n...oo..\n.....oo\n");
  EXPECT_EQ(line({6, 3}, {0, 0}), "oo.....\n..oo...\n....oo.\n......o\n");
  EXPECT_EQ(line({1, 3}, {2, 0}), "..o....\n..o....\n.o.....\n.o.....\n");
  EXPECT_EQ(line({5, 1}, {1, 1}), ".......\n.ooooo.\n.......\n.......\n");
  EXPECT_EQ(line({3, 2}, {3, 2}), ".......\n.......\n...o...\n.......\n");
}

TEST(Raster, SizesThatCannotBeAreNamed) {
  EXPECT_EQ(problemOf(Raster::create(0, 1, 0)), "width is 0: a raster is 1 to 32767 pixels wide");
  EXPECT_EQ(problemOf(Raster::create(32768, 1, 0)), "width is 32768: a raster is 1 to 32767 pixels wide");
  EXPECT_EQ(problemOf(Raster::create(1, 0, 0)), "height is 0: a raster is 1 to 32767 pixels high");
  EXPECT_EQ(problemOf(Raster::create(1, 32768, 0)), "height is 32768: a raster is 1 to 32767 pixels high");
  auto raster = Raster::create(1, 32767, 5);
  ASSERT_TRUE(raster);
  EXPECT_EQ(*raster->at({0, 32766}), 5U);
  EXPECT_TRUE(Raster::create(32767, 1, 0));
}

TEST(NumberText, NumbersAreWrittenInDecimal) {
  EXPECT_EQ(numberText(0.1, allDigits), "0.1");
  EXPECT_EQ(numberText(1.0 / 3, 6), "0.333333");
  EXPECT_EQ(numberText(-nan, 6), "nan");
  EXPECT_EQ(numberText(-5e-324, allDigits), "-5e-324");
  EXPECT_EQ(numberText(-1.7976931348623157e308, allDigits), "-1.7976931348623157e+308");
}

}  // namespace
}  // namespace kxanalysis_test
