#include "reference/graph_lookup.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/random.hpp"
#include "support/samples.hpp"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
static_assert(KXCALC_X_INDEX == 0 && KXCALC_X_VALUES == 1 && KXCALC_X_SCALED_INDEX == 2 && KXCALC_X_MINIMUM == 3);
static_assert(KXCALC_AXIS_LINEAR == 0 && KXCALC_AXIS_LOGARITHMIC == 1);
static_assert(KXCALC_AXIS_NORMALISED == 2 && KXCALC_AXIS_DECIBEL == 2);

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct Pixel {
  int32_t x;
  int32_t y;

  friend bool operator==(const Pixel&, const Pixel&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const Pixel& pixel) {
    return stream << '(' << pixel.x << ", " << pixel.y << ')';
  }
};

/// A graph of 200 by 100 pixels, linear from 0 to 10 and from 0 to 1, and a point at its origin.
class Graph {
public:
  Graph() {
    std::memset(&params, 0xA5, sizeof params);  // what is not read may hold anything
    params.xSource = KXCALC_X_SCALED_INDEX;
    params.yType = KXCALC_DOUBLE;
    params.xAxisMode = KXCALC_AXIS_LINEAR;
    params.xIndex = 1;
    params.yAxisMode = KXCALC_AXIS_LINEAR;
    params.left = 100;
    params.top = 50;
    params.right = 300;
    params.bottom = 150;
    params.xScale = 0;
    params.xOffset = 0;
    params.yScale = 1;
    params.yOffset = 0;
    params.xMax = 10;
    params.xMin = 0;
    params.xLogMax = 4;
    params.xLogMin = 0;
    params.yMax = 1;
    params.yMin = 0;
    params.yLogMax = 2;
    params.yLogMin = -2;
    params.dbReference = 1;
    params.xValues = nullptr;
  }

  Graph& x(double value) {
    params.xOffset = value;
    return *this;
  }
  Graph& y(double value) {
    sample_ = value;
    return *this;
  }

  /// The record, the sample and each result lie at a fence.
  Pixel pixel() {
    const auto record = record_.place(1, support::endsAtFence);
    const std::array results{std::pair(&pixelX_, &params.pixelX), std::pair(&pixelY_, &params.pixelY),
                             std::pair(&valid_, &params.valid)};
    for (const auto& [memory, field] : results) {
      *field = memory->place(1, support::endsAtFence).data();
      **field = -1234567;
    }
    if (params.yType == KXCALC_SINGLE) {
      float* const single = singles_.place(1, support::endsAtFence).data();
      *single = static_cast<float>(sample_);
      params.yValue = single;
    } else {
      double* const sample = doubles_.place(1, support::endsAtFence).data();
      *sample = sample_;
      params.yValue = sample;
    }
    std::memcpy(record.data(), &params, sizeof params);
    kxcalcGetXYValGraph2D(record.data());
    EXPECT_EQ(std::memcmp(record.data(), &params, sizeof params), 0) << "record changed";
    EXPECT_EQ(*params.valid, 1);
    for (const auto& [memory, field] : results) {
      EXPECT_TRUE(memory->surroundingsIntact());
    }
    return {*params.pixelX, *params.pixelY};
  }

  Pixel pixelOfModel() const {
    Pixel result;
    int32_t valid = 0;
    XYValGraph2DParams copy = params;
    copy.pixelX = &result.x;
    copy.pixelY = &result.y;
    copy.valid = &valid;
    reference::kxcalcGetXYValGraph2D(&copy);
    return result;
  }

  XYValGraph2DParams params;

private:
  double sample_ = 0;
  support::FencedBuffer<XYValGraph2DParams> record_{1};
  support::FencedBuffer<float> singles_{1};
  support::FencedBuffer<double> doubles_{1};
  support::FencedBuffer<int32_t> pixelX_{1};
  support::FencedBuffer<int32_t> pixelY_{1};
  support::FencedBuffer<int32_t> valid_{1};
};

int32_t linearX(double value) {
  return Graph().x(value).pixel().x;
}

int32_t linearY(double value) {
  return Graph().y(value).pixel().y;
}

TEST(GetXYValGraph2D, LinearXAxis) {
  EXPECT_EQ(linearX(0), 100);
  EXPECT_EQ(linearX(5), 200);
  EXPECT_EQ(linearX(10), 300);
  EXPECT_EQ(linearX(10.0025), 300);
  EXPECT_EQ(linearX(20), 500);
  EXPECT_EQ(linearX(-5), 0 + 1);  // -100 + 0.5 is cut to -99
}

TEST(GetXYValGraph2D, LinearYAxisGrowsDownwards) {
  EXPECT_EQ(linearY(0), 150);
  EXPECT_EQ(linearY(0.5), 100);
  EXPECT_EQ(linearY(1), 50);
  EXPECT_EQ(linearY(2), -50);
  EXPECT_EQ(linearY(-1), 249);
}

TEST(GetXYValGraph2D, HalvesAreRoundedUpAboveZeroAndCutTowardsZeroBelow) {
  // 20 pixels for each unit of x, 100 for y.
  EXPECT_EQ(linearX(0.0249), 100);
  EXPECT_EQ(linearX(0.025), 101);
  EXPECT_EQ(linearX(0.0749), 101);
  EXPECT_EQ(linearX(-0.035), 100);  // a product of -0.7
  EXPECT_EQ(linearX(-0.0749), 100);
  EXPECT_EQ(linearX(-0.0751), 99);
  EXPECT_EQ(linearY(0.005), 149);
  EXPECT_EQ(linearY(0.0049), 150);
  EXPECT_EQ(linearY(-0.0149), 150);
  EXPECT_EQ(linearY(-0.0151), 151);
}

TEST(GetXYValGraph2D, SourcesOfX) {
  Graph graph;
  graph.params.xMax = 8;
  graph.params.xScale = 0.5;
  graph.params.xOffset = 1;
  graph.params.xIndex = 6;
  EXPECT_EQ(graph.pixel().x, 200);
  graph.params.xSource = KXCALC_X_INDEX;
  EXPECT_EQ(graph.pixel().x, 250);
  const std::array<double, 7> table{9, 9, 9, 9, 9, 9, 2};
  graph.params.xValues = table.data();
  graph.params.xSource = KXCALC_X_VALUES;
  EXPECT_EQ(graph.pixel().x, 150);
  graph.params.xValues = nullptr;
  for (const uint8_t source : std::initializer_list<uint8_t>{3, 4, 128, 255}) {
    graph.params.xSource = source;
    EXPECT_EQ(graph.pixel().x, 100) << int{source};
  }
}

TEST(GetXYValGraph2D, IndicesAreUnsigned) {
  Graph graph;
  graph.params.xMin = 0;
  graph.params.xMax = 4294967295.0;
  graph.params.xIndex = 0xFFFFFFFF;
  graph.params.xSource = KXCALC_X_INDEX;
  EXPECT_EQ(graph.pixel().x, 300);
  graph.params.xIndex = 0x80000000;
  EXPECT_EQ(graph.pixel().x, 200);
  graph.params.xScale = 0.5;
  graph.params.xSource = KXCALC_X_SCALED_INDEX;
  EXPECT_EQ(graph.pixel().x, 150);
}

TEST(GetXYValGraph2D, OfTheTableOfXOneElementIsRead) {
  Graph graph;
  graph.params.xSource = KXCALC_X_VALUES;
  for (const uint32_t index : {0U, 1U, 1000U, 0x10000000U, 0x80000000U, 0xFFFFFFFFU}) {
    const uint64_t bytes = (uint64_t{index} + 1) * sizeof(double) + support::PageMapping::pageSize();
    if (bytes > std::numeric_limits<std::size_t>::max() / 8) {
      continue;
    }
    support::PageMapping mapping(static_cast<std::size_t>(bytes));
    auto* const table = reinterpret_cast<double*>(mapping.data());
    mapping.open(index * sizeof(double), sizeof(double));
    table[index] = 5;
    graph.params.xIndex = index;
    graph.params.xValues = table;
    EXPECT_EQ(graph.pixel().x, 200) << index;
  }
}

TEST(GetXYValGraph2D, AxesWithoutRangeTakeTheirMinimumForTheNormalisedValue) {
  Graph graph;
  graph.params.left = 0;
  graph.params.right = 100;
  graph.params.top = 50;
  graph.params.bottom = 100;
  graph.params.xMin = graph.params.xMax = 3;
  graph.params.yMin = graph.params.yMax = 2;
  EXPECT_EQ(graph.x(1234).y(-1234).pixel(), (Pixel{300, 0}));
  graph.params.xAxisMode = graph.params.yAxisMode = KXCALC_AXIS_LOGARITHMIC;
  graph.params.xLogMin = graph.params.xLogMax = 2;
  graph.params.yLogMin = graph.params.yLogMax = -0.5;
  EXPECT_EQ(graph.x(1234).y(1234).pixel(), (Pixel{200, 100 + 24}));
  graph.params.yAxisMode = KXCALC_AXIS_DECIBEL;
  EXPECT_EQ(graph.pixel().y, 100);
  graph.params.xMin = graph.params.xMax = 1e9;
  graph.params.xAxisMode = KXCALC_AXIS_LINEAR;
  EXPECT_EQ(graph.pixel().x, 32767);
}

TEST(GetXYValGraph2D, ARangeThatIsNotANumberIsNotNone) {
  Graph graph;
  graph.params.xMin = graph.params.xMax = infinity;
  EXPECT_EQ(graph.pixel().x, -32768);
  graph.params.xMin = nan;
  EXPECT_EQ(graph.pixel().x, -32768);
}

TEST(GetXYValGraph2D, LogarithmicAxes) {
  Graph graph;
  graph.params.xAxisMode = KXCALC_AXIS_LOGARITHMIC;
  graph.params.yAxisMode = KXCALC_AXIS_LOGARITHMIC;
  EXPECT_EQ(graph.x(100).y(1).pixel(), (Pixel{200, 100}));
  EXPECT_EQ(graph.x(10000).y(100).pixel(), (Pixel{300, 50}));
  for (const double nothing : {0.0, -0.0, -5.0, -infinity, nan}) {
    EXPECT_EQ(graph.x(nothing).y(nothing).pixel(), (Pixel{100, 150})) << nothing;
  }
  // Beyond the range of singles: 128 and -127 octaves.
  graph.params.xLogMin = -40;
  graph.params.xLogMax = 40;
  EXPECT_EQ(graph.x(1e300).pixel().x, 100 + 196);
  EXPECT_EQ(graph.x(infinity).pixel().x, 100 + 196);
  EXPECT_EQ(graph.x(1e-300).pixel().x, 100 + 4);
}

TEST(GetXYValGraph2D, OtherModesOfTheXAxisTakeXForTheNormalisedValue) {
  Graph graph;
  for (const uint8_t mode : std::initializer_list<uint8_t>{2, 3, 255}) {
    graph.params.xAxisMode = mode;
    EXPECT_EQ(graph.x(0.25).pixel().x, 150) << int{mode};
    EXPECT_EQ(graph.x(-0.25).pixel().x, 51) << int{mode};
  }
}

TEST(GetXYValGraph2D, DecibelAxis) {
  Graph graph;
  graph.params.yMin = -400;
  graph.params.yMax = 100;
  graph.params.dbReference = 2;
  graph.params.top = 0;
  graph.params.bottom = 500;
  for (const uint8_t mode : std::initializer_list<uint8_t>{2, 3, 255}) {
    graph.params.yAxisMode = mode;
    EXPECT_EQ(graph.y(2).pixel().y, 100) << int{mode};
    EXPECT_EQ(graph.y(200).pixel().y, 60) << int{mode};
    EXPECT_EQ(graph.y(0.002).pixel().y, 160) << int{mode};
  }
  for (const double nothing : {0.0, -0.0, -5.0, -infinity}) {
    EXPECT_EQ(graph.y(nothing).pixel().y, 500) << nothing;
  }
  // The finite logarithm of an infinity, 38.5318.
  graph.params.yMax = 10 * 20 * 38.5318413;
  graph.params.yMin = 0;
  EXPECT_EQ(graph.y(infinity).pixel().y, 450);
  graph.params.dbReference = 0;
  EXPECT_EQ(graph.y(1).pixel().y, 450);
  // A negative reference: the sign plays no part.
  graph.params.dbReference = -1;
  graph.params.yMax = 100;
  EXPECT_EQ(graph.y(10).pixel().y, 400);
}

TEST(GetXYValGraph2D, ANanOnADecibelAxisHasALogarithmUnlikeOnTheOthers) {
  Graph graph;
  graph.params.yAxisMode = KXCALC_AXIS_DECIBEL;
  graph.params.yMin = 0;
  graph.params.yMax = 20 * 77.2;
  const int32_t pixel = graph.y(nan).pixel().y;  // 38.53 to 38.83
  EXPECT_GE(pixel, 99);
  EXPECT_LE(pixel, 101);
}

TEST(GetXYValGraph2D, FarPointsAreLimitedTwice) {
  EXPECT_EQ(linearX(1e6), 32767);
  EXPECT_EQ(linearX(-1e6), -32768);
  EXPECT_EQ(linearX(1e12), 32767);
  EXPECT_EQ(linearX(infinity), 32767);
  EXPECT_EQ(linearX(-infinity), -32768);
  EXPECT_EQ(linearY(1e12), -32768);
  EXPECT_EQ(linearY(-1e12), 32767);
  // Without the first limit an infinity times no width at all would be a NaN.
  Graph graph;
  graph.params.left = graph.params.right = 7;
  EXPECT_EQ(graph.x(infinity).pixel().x, 7);
}

TEST(GetXYValGraph2D, CoordinatesOneBeyond16BitsAreLimited) {
  Graph graph;
  graph.params.xAxisMode = KXCALC_AXIS_NORMALISED;
  graph.params.xSource = KXCALC_X_MINIMUM;
  graph.params.left = 32766;
  graph.params.right = 32767;
  graph.params.xMin = 2;  // 2 + 0.5 past 32766
  EXPECT_EQ(graph.pixel().x, 32767);
  graph.params.left = -32768;
  graph.params.right = -32767;
  graph.params.xMin = -1.6;  // -1.1 past -32768
  EXPECT_EQ(graph.pixel().x, -32768);
}

TEST(GetXYValGraph2D, ProductsBeyond32BitsAndNansGoThroughTheLowestNumber) {
  Graph graph;
  graph.params.left = 0;
  graph.params.right = 4000;
  EXPECT_EQ(graph.x(1e12).pixel().x, -32768);
  EXPECT_EQ(graph.x(-1e12).pixel().x, -32768);
  EXPECT_EQ(graph.x(nan).pixel().x, -32768);
  graph.params.right = 2147;
  EXPECT_EQ(graph.x(1e12).pixel().x, 32767);
  graph.params.right = 2148;
  EXPECT_EQ(graph.x(1e12).pixel().x, -32768);
  graph.params.right = -2147;
  EXPECT_EQ(graph.x(-1e12).pixel().x, 32767);
  // -2147480101 and the left border are just within 32 bits: nothing wraps.
  graph.params.left = -300;
  graph.params.right = 32767;
  EXPECT_EQ(graph.x(-649433).pixel().x, -32768);
}

TEST(GetXYValGraph2D, RectanglesOfTheWholeRangeOf16Bits) {
  Graph graph;
  graph.params.left = graph.params.top = -32768;
  graph.params.right = graph.params.bottom = 32767;
  EXPECT_EQ(graph.x(0).y(0).pixel(), (Pixel{-32768, 32767}));
  EXPECT_EQ(graph.x(10).y(1).pixel(), (Pixel{32767, -32768}));
  EXPECT_EQ(graph.x(5).y(0.5).pixel(), (Pixel{0, -1}));
  graph.params.left = graph.params.top = 32767;
  graph.params.right = graph.params.bottom = -32768;
  EXPECT_EQ(graph.x(0).y(0).pixel(), (Pixel{32767, -32768}));
  EXPECT_EQ(graph.x(10).y(1).pixel(), (Pixel{-32767, 32766}));
  EXPECT_EQ(graph.x(-10).y(-1).pixel(), (Pixel{32767, -32768}));
}

TEST(GetXYValGraph2D, SinglesAreReadForTypeFiveAndDoublesForEveryOther) {
  for (int type = 0; type < 256; ++type) {
    Graph graph;
    graph.params.yType = static_cast<uint8_t>(type);
    EXPECT_EQ(graph.y(0.5).pixel().y, 100) << type;
  }
}

TEST(GetXYValGraph2D, YIsScaledAndShiftedInDouble) {
  Graph graph;
  graph.params.yScale = 1e-3;
  graph.params.yOffset = 0.25;
  EXPECT_EQ(graph.y(500).pixel().y, 75);
  // A single is widened before it is scaled: 16777217 * 1 - 16777216.5 is exact in double alone.
  graph.params.yType = KXCALC_SINGLE;
  graph.params.yScale = 16777217;
  graph.params.yOffset = -16777216.5;
  EXPECT_EQ(graph.y(1).pixel().y, 100);
}

TEST(GetXYValGraph2D, ResultsAreWrittenInTheirOrder) {
  Graph graph;
  graph.params.yType = KXCALC_DOUBLE;
  const double sample = 0.5;
  graph.params.yValue = &sample;
  int32_t results[2] = {};
  const auto& [first, second] = results;
  const auto run = [&](int32_t& x, int32_t& y, int32_t& valid) {
    graph.params.pixelX = &x;
    graph.params.pixelY = &y;
    graph.params.valid = &valid;
    kxcalcGetXYValGraph2D(&graph.params);
  };
  run(results[0], results[0], results[1]);
  EXPECT_EQ(first, 100);
  EXPECT_EQ(second, 1);
  run(results[0], results[1], results[1]);
  EXPECT_EQ(second, 1);
  run(results[1], results[0], results[1]);
  EXPECT_EQ(second, 1);
}

/// Ordinary numbers mostly, and what they should not be.
double anyNumber(support::Random& random) {
  constexpr double specials[] = {0,     -0.0, 1,    -1,       1e6,       -1e6,   1e9, -1e9,
                                 1e300, nan,  -nan, infinity, -infinity, 1e-310, 0.5, 1e39};
  switch (random.below(6)) {
    case 0:
      return random.oneOf(specials);
    case 1:
      return random.sign() * std::ldexp(1 + random.unit(), random.between(-1000, 1000));
    case 2:
      return random.between(-10, 10);
    default:
      return random.sign() * random.unit() * std::exp2(random.between(-4, 12));
  }
}

int16_t anyCoordinate(support::Random& random) {
  return static_cast<int16_t>(random.oneIn(3) ? random.between(-32768, 32767) : random.between(0, 4000));
}

TEST(GetXYValGraph2D, EqualsTheModelForAnyRecord) {
  support::TestRandom random;
  Graph graph;
  std::array<double, 16> table;
  for (int i = 0; i < 400000; ++i) {
    XYValGraph2DParams& params = graph.params;
    std::ranges::generate(table, [&] { return anyNumber(random); });
    params.xValues = table.data();
    params.xSource = static_cast<uint8_t>(random.below(5));
    params.xIndex = static_cast<uint32_t>(params.xSource == 1 || random.oneIn(2) ? random.below(16) : random.bits());
    params.yType = static_cast<uint8_t>(random.oneIn(2) ? 5 : random.below(9));
    params.xAxisMode = static_cast<uint8_t>(random.below(3));
    params.yAxisMode = static_cast<uint8_t>(random.below(3));
    for (int16_t* coordinate : {&params.left, &params.top, &params.right, &params.bottom}) {
      *coordinate = anyCoordinate(random);
    }
    for (auto* number :
         {&params.xScale, &params.xOffset, &params.yScale, &params.yOffset, &params.xMax, &params.xMin, &params.xLogMax,
          &params.xLogMin, &params.yMax, &params.yMin, &params.yLogMax, &params.yLogMin, &params.dbReference}) {
      *number = anyNumber(random);
    }
    if (random.oneIn(8)) {
      params.xMax = params.xMin;
      params.xLogMax = params.xLogMin;
    }
    if (random.oneIn(8)) {
      params.yMax = params.yMin;
      params.yLogMax = params.yLogMin;
    }
    const Pixel actual = graph.y(anyNumber(random)).pixel();
    ASSERT_EQ(actual, graph.pixelOfModel())
        << "record " << i << ", source " << int{params.xSource} << ", modes " << int{params.xAxisMode} << ' '
        << int{params.yAxisMode} << ", rectangle " << params.left << ' ' << params.top << ' ' << params.right << ' '
        << params.bottom;
  }
}

TEST(GetXYValGraph2D, EqualsTheModelWherePixelsChange) {
  support::TestRandom random;
  Graph graph;
  for (int i = 0; i < 100000; ++i) {
    XYValGraph2DParams& params = graph.params;
    params.xMin = random.between(-100, 100);
    params.xMax = params.xMin + random.between(1, 50);
    params.right = static_cast<int16_t>(params.left + random.between(-2000, 2000));
    const double pixels = random.between(-5000, 5000) / 2.0;
    const double x = params.xMin + pixels * (params.xMax - params.xMin) / (params.right - params.left);
    graph.x(std::nextafter(x, random.oneIn(2) ? infinity : -infinity));
    params.yAxisMode = static_cast<uint8_t>(random.below(3));
    params.yMin = -80;
    params.yMax = 20;
    const double y = std::pow(10, 8 * random.unit() - 6);
    const Pixel actual = graph.y(y).pixel();
    ASSERT_EQ(actual, graph.pixelOfModel()) << "x " << x << ", y " << y;
  }
}

TEST(XYValGraph2DParams, FieldsLieAtTheirNaturalAlignment) {
  using Params = XYValGraph2DParams;
  constexpr std::size_t pointer = sizeof(void*);
  EXPECT_EQ(offsetof(Params, xSource), 5U);
  EXPECT_EQ(offsetof(Params, yType), 6U);
  EXPECT_EQ(offsetof(Params, xAxisMode), 7U);
  EXPECT_EQ(offsetof(Params, xIndex), 8U);
  EXPECT_EQ(offsetof(Params, yAxisMode), 12U);
  EXPECT_EQ(offsetof(Params, left), 16U);
  EXPECT_EQ(offsetof(Params, top), 18U);
  EXPECT_EQ(offsetof(Params, right), 20U);
  EXPECT_EQ(offsetof(Params, bottom), 22U);
  const std::size_t doubles[] = {offsetof(Params, xScale),     offsetof(Params, xOffset), offsetof(Params, yScale),
                                 offsetof(Params, yOffset),    offsetof(Params, xMax),    offsetof(Params, xMin),
                                 offsetof(Params, xLogMax),    offsetof(Params, xLogMin), offsetof(Params, yMax),
                                 offsetof(Params, yMin),       offsetof(Params, yLogMax), offsetof(Params, yLogMin),
                                 offsetof(Params, dbReference)};
  for (std::size_t i = 0; i < std::size(doubles); ++i) {
    EXPECT_EQ(doubles[i], 24 + 8 * i) << i;
  }
  const std::size_t pointers[] = {offsetof(Params, yValue), offsetof(Params, xValues), offsetof(Params, pixelX),
                                  offsetof(Params, pixelY), offsetof(Params, valid)};
  for (std::size_t i = 0; i < std::size(pointers); ++i) {
    EXPECT_EQ(pointers[i], 128 + pointer * i) << i;
  }
}

}  // namespace
