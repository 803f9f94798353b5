#include "reference/pressure_volume.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <limits>
#include <ostream>
#include <span>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float smallest = std::numeric_limits<float>::denorm_min();
constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
constexpr int32_t highest = std::numeric_limits<int32_t>::max();

struct Axis {
  int32_t lower = lowest;
  int32_t upper = highest;
  float scale = 1;
  float offset = 0;
  float reference = 1;

  friend std::ostream& operator<<(std::ostream& stream, const Axis& axis) {
    return stream << "bounds " << axis.lower << " and " << axis.upper << ", scale " << support::describe(axis.scale)
                  << ", offset " << support::describe(axis.offset) << ", reference "
                  << support::describe(axis.reference);
  }
};

}  // namespace

// The types of the typed tests, by the names of their exports.
namespace exports {

struct CAPV_lin {
  static void kernel(const float* input, uint32_t count, int32_t* output, const Axis& axis) {
    kxcalcCAPV_lin(input, count, output, axis.lower, axis.upper, axis.scale, axis.offset);
  }
  static void model(const float* input, uint32_t count, int32_t* output, const Axis& axis) {
    reference::kxcalcCAPV_lin(input, count, output, axis.lower, axis.upper, axis.scale, axis.offset);
  }
};

struct CAPV_log {
  static void kernel(const float* input, uint32_t count, int32_t* output, const Axis& axis) {
    kxcalcCAPV_log(input, count, output, axis.lower, axis.upper, axis.scale, axis.offset, axis.reference);
  }
  static void model(const float* input, uint32_t count, int32_t* output, const Axis& axis) {
    reference::kxcalcCAPV_log(input, count, output, axis.lower, axis.upper, axis.scale, axis.offset, axis.reference);
  }
};

}  // namespace exports

namespace {

/// Values and coordinates at fences.
template <typename Export>
class Diagram {
public:
  std::span<const int32_t> coordinatesOf(std::span<const float> values, const Axis& axis,
                                         const Placement& inputPlacement, const Placement& outputPlacement) {
    const auto count = static_cast<uint32_t>(values.size());
    const std::span<float> input = inputMemory_.place(count, inputPlacement);
    std::ranges::copy(values, input.begin());
    const std::span<int32_t> output = outputMemory_.place(count, outputPlacement);
    std::ranges::fill(output, -87654321);
    Export::kernel(input.data(), count, output.data(), axis);
    EXPECT_TRUE(support::sameBits(input, values)) << "input changed";
    EXPECT_TRUE(outputMemory_.surroundingsIntact());
    return output;
  }

  testing::AssertionResult equalsModel(std::span<const float> values, const Axis& axis, const Placement& inputPlacement,
                                       const Placement& outputPlacement) {
    std::vector<int32_t> expected(values.size());
    Export::model(values.data(), static_cast<uint32_t>(values.size()), expected.data(), axis);
    testing::AssertionResult result =
        support::sameBits(coordinatesOf(values, axis, inputPlacement, outputPlacement), expected);
    if (!result) {
      const auto differing = static_cast<std::size_t>(
          std::ranges::mismatch(coordinatesOf(values, axis, inputPlacement, outputPlacement), expected).in2 -
          expected.begin());
      result << " for " << support::describe(values[differing]) << "; input " << inputPlacement << ", output "
             << outputPlacement << ", " << axis;
    }
    return result;
  }

private:
  support::FencedBuffer<float> inputMemory_{support::largestCount};
  support::FencedBuffer<int32_t> outputMemory_{support::largestCount};
};

/// A value alone and among its like: 1 to 3 of them give one coordinate, 4 and more another, at every position.
struct Case {
  float value;
  Axis axis;
  int32_t shortForm;
  int32_t fourWide;
};

template <typename Export>
void expectAtEachCountAndPosition(const Case& expected) {
  Diagram<Export> diagram;
  for (uint32_t count = 1; count <= 13; ++count) {
    for (const Placement& placement : support::allPlacements<float>()) {
      const std::vector<float> values(count, expected.value);
      const std::vector<int32_t> coordinates(count, count <= 3 ? expected.shortForm : expected.fourWide);
      ASSERT_TRUE(support::sameBits(diagram.coordinatesOf(values, expected.axis, placement, placement), coordinates))
          << support::describe(expected.value) << ", " << placement << ", " << expected.axis;
    }
  }
}

TEST(CAPV_lin, HalvesAreRoundedAwayFromZeroUpToThreeElementsAndToEvenFromFourOn) {
  for (const Case& expected : {
           Case{0.5F, {}, 1, 0},
           Case{1.5F, {}, 2, 2},
           Case{2.5F, {}, 3, 2},
           Case{3.5F, {}, 4, 4},
           Case{-0.5F, {}, -1, 0},
           Case{-1.5F, {}, -2, -2},
           Case{-2.5F, {}, -3, -2},
           Case{-3.5F, {}, -4, -4},
           Case{4194304.5F, {}, 4194305, 4194304},
           Case{-4194304.5F, {}, -4194305, -4194304},
           Case{4194303.5F, {}, 4194304, 4194304},
       }) {
    expectAtEachCountAndPosition<exports::CAPV_lin>(expected);
  }
}

TEST(CAPV_lin, OtherValuesAreRoundedToTheNearestInBothForms) {
  for (const Case& expected : {
           Case{0, {}, 0, 0},
           Case{-0.0F, {}, 0, 0},
           Case{smallest, {}, 0, 0},
           Case{-smallest, {}, 0, 0},
           Case{2.4F, {}, 2, 2},
           Case{2.6F, {}, 3, 3},
           Case{-2.4F, {}, -2, -2},
           Case{-2.6F, {}, -3, -3},
           // Added in single, a half would carry these over.
           Case{0x1.fffffep-2F, {}, 0, 0},
           Case{-0x1.fffffep-2F, {}, 0, 0},
           Case{8388609, {}, 8388609, 8388609},
           Case{-8388609, {}, -8388609, -8388609},
           Case{16777215, {}, 16777215, 16777215},
       }) {
    expectAtEachCountAndPosition<exports::CAPV_lin>(expected);
  }
}

TEST(CAPV_lin, ScalesAndShiftsEachStepRoundedToSingle) {
  for (const Case& expected : {
           Case{3, {lowest, highest, 2, 1, 1}, 7, 7},
           Case{-3, {lowest, highest, 2, 1, 1}, -5, -5},
           Case{3, {lowest, highest, -2, 0.25F, 1}, -6, -6},
           // 4097 * 4097 is 2^24 + 2^13 + 1, a tie that becomes even.
           Case{4097, {lowest, highest, 4097, -16785408.0F, 1}, 0, 0},
           Case{16777216, {lowest, highest, 1, 1, 1}, 16777216, 16777216},
           Case{16777216, {lowest, highest, 1, 3, 1}, 16777220, 16777220},
           // The product overflows before the offset can bring it back.
           Case{3e38F, {-7, 7, 2, -3e38F, 1}, -7, -7},
           Case{-3e38F, {-7, 7, 2, 3e38F, 1}, -7, -7},
           Case{0x1p-140F, {lowest, highest, 0x1p-10F, 5, 1}, 5, 5},
           Case{0x1p-149F, {lowest, highest, 0x1p127F, 0, 1}, 0, 0},
           Case{0x1p-120F, {lowest, highest, 0x1p127F, 0, 1}, 128, 128},
       }) {
    expectAtEachCountAndPosition<exports::CAPV_lin>(expected);
  }
}

TEST(CAPV_lin, CoordinatesAreLimitedToTheBoundsAsIntegers) {
  for (const Case& expected : {
           Case{10, {-10, 10, 1, 0, 1}, 10, 10},
           Case{11, {-10, 10, 1, 0, 1}, 10, 10},
           Case{10.6F, {-10, 10, 1, 0, 1}, 10, 10},
           Case{9, {-10, 10, 1, 0, 1}, 9, 9},
           Case{-10, {-10, 10, 1, 0, 1}, -10, -10},
           Case{-11, {-10, 10, 1, 0, 1}, -10, -10},
           Case{-9, {-10, 10, 1, 0, 1}, -9, -9},
           Case{100, {3, 3, 1, 0, 1}, 3, 3},
           Case{-100, {3, 3, 1, 0, 1}, 3, 3},
           // Bounds that are no singles.
           Case{16777220.0F, {0, 16777217, 1, 0, 1}, 16777217, 16777217},
           Case{16777216, {16777217, 16777300, 1, 0, 1}, 16777217, 16777217},
           Case{-16777220.0F, {-16777219, 0, 1, 0, 1}, -16777219, -16777219},
       }) {
    expectAtEachCountAndPosition<exports::CAPV_lin>(expected);
  }
}

TEST(CAPV_lin, WithBoundsTheWrongWayRoundTheUpperOneWinsUpToThreeElementsAndTheLowerOneFromFourOn) {
  for (const float value : {-1000.0F, 1.0F, 5.0F, 7.0F, 10.0F, 1000.0F, -infinity, infinity, nan, 3e9F}) {
    expectAtEachCountAndPosition<exports::CAPV_lin>({value, {10, 5, 1, 0, 1}, 5, 10});
    expectAtEachCountAndPosition<exports::CAPV_lin>({value, {highest, lowest, 1, 0, 1}, lowest, highest});
  }
}

TEST(CAPV_lin, ValuesOutOfRangeLandOnTheLowerBoundEvenHugePositiveOnes) {
  for (const float value : {3e9F, -3e9F, 2147483648.0F, -2147483904.0F, 4294967296.0F, 4294967808.0F, 1e30F, -1e30F,
                            infinity, -infinity, nan, -nan}) {
    expectAtEachCountAndPosition<exports::CAPV_lin>({value, {-10, 10, 1, 0, 1}, -10, -10});
    expectAtEachCountAndPosition<exports::CAPV_lin>({value, {}, lowest, lowest});
  }
  expectAtEachCountAndPosition<exports::CAPV_lin>({1, {-10, 10, nan, 0, 1}, -10, -10});
  expectAtEachCountAndPosition<exports::CAPV_lin>({1, {-10, 10, 1, nan, 1}, -10, -10});
  expectAtEachCountAndPosition<exports::CAPV_lin>({0, {-10, 10, infinity, 0, 1}, -10, -10});
  expectAtEachCountAndPosition<exports::CAPV_lin>({1, {-10, 10, 3e9F, 0, 1}, -10, -10});
}

TEST(CAPV_lin, ValuesJustWithinTheRangeKeepTheirPlace) {
  for (const Case& expected : {
           Case{2147483520.0F, {}, 2147483520, 2147483520},
           Case{2147483520.0F, {-10, 10, 1, 0, 1}, 10, 10},
           Case{-2147483520.0F, {}, -2147483520, -2147483520},
           Case{-2147483648.0F, {}, lowest, lowest},
           Case{-2147483648.0F, {-10, 10, 1, 0, 1}, -10, -10},
       }) {
    expectAtEachCountAndPosition<exports::CAPV_lin>(expected);
  }
}

TEST(CAPV_lin, ThreeElementsAndFourOfDifferentValues) {
  Diagram<exports::CAPV_lin> diagram;
  const Axis axis{-4, 6, 1, 0, 1};
  const float values[] = {2.5F, -0.5F, 100, -2.5F, 4.5F, 3e9F, 0.5F, -100, 5.25F};
  for (const Placement& input : support::allPlacements<float>()) {
    for (const Placement& output : support::allPlacements<int32_t>()) {
      EXPECT_TRUE(support::sameBits(diagram.coordinatesOf(std::span(values).first(3), axis, input, output),
                                    std::vector<int32_t>{3, -1, 6}));
      EXPECT_TRUE(support::sameBits(diagram.coordinatesOf(std::span(values).first(4), axis, input, output),
                                    std::vector<int32_t>{2, 0, 6, -2}));
      EXPECT_TRUE(support::sameBits(diagram.coordinatesOf(values, axis, input, output),
                                    std::vector<int32_t>{2, 0, 6, -2, 4, -4, 0, -4, 5}));
    }
  }
}

/// Six decimals of the logarithm.
constexpr Axis millionths{lowest, highest, 1000000, 0, 1};

TEST(CAPV_log, LogarithmsOfValuesOverTheReference) {
  for (const Case& expected : {
           Case{1, millionths, 0, 0},
           Case{2, millionths, 301030, 301030},
           Case{10, millionths, 1000016, 1000016},
           Case{0.001F, millionths, -3000001, -3000001},
           Case{std::numeric_limits<float>::max(), millionths, 38531720, 38531720},
           Case{infinity, millionths, 38531840, 38531840},
           Case{6, {lowest, highest, 1000000, 0, 3}, 301030, 301030},
           Case{-6, {lowest, highest, 1000000, 0, -3}, 301030, 301030},
           Case{0x1p-140F, {lowest, highest, 1000000, 0, 0x1p-141F}, 301030, 301030},
           Case{2, {lowest, highest, -1000000, 5000, 1}, -296030, -296030},
           Case{2, {-300000, 300000, 1000000, 0, 1}, 300000, 300000},
           Case{2, {-300000, 300000, -1000000, 0, 1}, -300000, -300000},
           // Divided, not multiplied by a reciprocal: just below 1 the logarithm is off by 0.00012.
           Case{41, {lowest, highest, 1000000, 0, 41}, 0, 0},
           Case{47, {lowest, highest, 1000000, 0, 47}, 0, 0},
           Case{0x1.fffffep-1F, millionths, -118, -118},
       }) {
    expectAtEachCountAndPosition<exports::CAPV_log>(expected);
  }
}

TEST(CAPV_log, LogarithmsAreDividedInDoubleUpToThreeElementsAndInSingleFromFourOn) {
  for (const Case& expected : {
           Case{3, {lowest, highest, 0x1p26F, 0, 1}, 0x1E88070, 0x1E88072},
           Case{7, {lowest, highest, 0x1p24F, 0, 1}, 0xD85BEB, 0xD85BEC},
           Case{7, {lowest, highest, 0x1p25F, 0, 2}, 18257726, 18257726},
           Case{500, {lowest, highest, 0x1p23F, 0, 1}, 0x159785A, 0x159785C},
       }) {
    expectAtEachCountAndPosition<exports::CAPV_log>(expected);
  }
}

TEST(CAPV_log, RoundingAndBoundsDifferBetweenTheFormsAsForLinearAxes) {
  for (const Case& expected : {
           Case{1, {lowest, highest, 1, 2.5F, 1}, 3, 2},
           Case{1, {lowest, highest, 1, -2.5F, 1}, -3, -2},
           Case{1, {lowest, highest, 1, 0.5F, 1}, 1, 0},
           Case{1, {lowest, highest, 1, -0.5F, 1}, -1, 0},
           Case{1, {lowest, highest, 1, 0x1.fffffep-2F, 1}, 0, 0},
           Case{10, {10, 5, 1, 0, 1}, 5, 10},
           Case{1, {10, 5, 1, nan, 1}, 5, 10},
           Case{2, {-7, 7, 1e10F, 0, 1}, -7, -7},
           Case{2, {-7, 7, -1e10F, 0, 1}, -7, -7},
           Case{2, {-7, 7, infinity, 0, 1}, -7, -7},
           Case{2, {-7, 7, nan, 0, 1}, -7, -7},
           Case{1, {-7, 7, infinity, 0, 1}, -7, -7},
           // The logarithm, 10100891 times 2^-25, times 3 is a tie that becomes even.
           Case{2, {lowest, highest, 0x1.8p26F, -30302672.0F, 1}, 0, 0},
           // The sum is rounded to single, whose steps from 2^25 on are 4.
           Case{2, {lowest, highest, 0x1p25F, 0, 1}, 10100891, 10100891},
           Case{2, {lowest, highest, 0x1p25F, 0x1p25F, 1}, 43655324, 43655324},
       }) {
    expectAtEachCountAndPosition<exports::CAPV_log>(expected);
  }
}

TEST(CAPV_log, QuotientsBelowTheFloorAreRaisedToIt) {
  constexpr int32_t floor = -8999992;
  for (const float value : {0.0F, -0.0F, smallest, -smallest, -1.0F, -infinity, 1e-20F, 0.999e-9F, -1e-9F}) {
    expectAtEachCountAndPosition<exports::CAPV_log>({value, millionths, floor, floor});
  }
  // The floor itself is 9.99999972e-10, the next single is above 1e-9 in double too; their logarithms are the same.
  for (const float value : {0x1.12e0bcp-30F, 0x1.12e0bep-30F, 0x1.12e0cp-30F}) {
    expectAtEachCountAndPosition<exports::CAPV_log>({value, millionths, floor, floor});
  }
  expectAtEachCountAndPosition<exports::CAPV_log>({1.001e-9F, millionths, -8999557, -8999557});
  // It is the quotient that is raised, not the value.
  expectAtEachCountAndPosition<exports::CAPV_log>({1e-12F, {lowest, highest, 1000000, 0, 1e-12F}, 0, 0});
  expectAtEachCountAndPosition<exports::CAPV_log>({1, {lowest, highest, 1000000, 0, 1e12F}, floor, floor});
  expectAtEachCountAndPosition<exports::CAPV_log>({1, {lowest, highest, 1000000, 0, -1}, floor, floor});
  expectAtEachCountAndPosition<exports::CAPV_log>({1, {lowest, highest, 1000000, 0, infinity}, floor, floor});
}

TEST(CAPV_log, AReferenceOfZeroGivesInfiniteQuotientsThatTheFloorDoesNotCatch) {
  const Axis axis{lowest, highest, 1000000, 0, 0};
  expectAtEachCountAndPosition<exports::CAPV_log>({1, axis, 38531840, 38531840});
  expectAtEachCountAndPosition<exports::CAPV_log>({-1, axis, -8999992, -8999992});
  expectAtEachCountAndPosition<exports::CAPV_log>({0, axis, 38707864, -8999992});
  expectAtEachCountAndPosition<exports::CAPV_log>({1, {lowest, highest, 1000000, 0, -0.0F}, -8999992, -8999992});
}

TEST(CAPV_log, NansPassUpToThreeElementsAndBecomeTheFloorFromFourOn) {
  for (const Case& expected : {
           Case{nan, millionths, 38707864, -8999992},
           Case{-nan, millionths, 38707864, -8999992},
           Case{std::bit_cast<float>(0x7FE00000U), millionths, 38774932, -8999992},
           Case{1, {lowest, highest, 1000000, 0, nan}, 38707864, -8999992},
           Case{infinity, {lowest, highest, 1000000, 0, infinity}, 38707864, -8999992},
           Case{nan, {-9, 9, 1, 0, 1}, 9, -9},
       }) {
    expectAtEachCountAndPosition<exports::CAPV_log>(expected);
  }
}

TEST(CAPV_log, LanesDoNotDisturbEachOther) {
  Diagram<exports::CAPV_log> diagram;
  const float values[] = {0, 2, nan, 10, infinity, -3, 1, 0.001F, nan, 7};
  for (const Placement& placement : support::allPlacements<float>()) {
    EXPECT_TRUE(support::sameBits(
        diagram.coordinatesOf(values, millionths, placement, support::endsAtFence),
        std::vector<int32_t>{-8999992, 301030, -8999992, 1000016, 38531840, -8999992, 0, -3000001, -8999992, 845153}));
  }
}

template <typename Export>
class PressureVolume : public testing::Test {};

using Exports = testing::Types<exports::CAPV_lin, exports::CAPV_log>;
TYPED_TEST_SUITE(PressureVolume, Exports);

/// Scales that leave halves, ordinary ones, and what they should not be. With a NaN on both sides of a division the
/// bits of the quotient, and with them its logarithm in the short form, are nobody's promise.
Axis randomAxis(uint32_t count, support::Random& random) {
  constexpr int32_t bounds[] = {lowest, -16777219, -32768, -5, 0, 1, 7, 480, 32767, 16777217, highest};
  constexpr float scales[] = {1,      0.5F,    -0.5F,    0.25F,   100,      -3, 1e6F,      0x1p20F,
                              1e-3F,  2.5e-6F, 1e9F,     0x1p31F, 0x1p-24F, 0,  -0.0F,     1e30F,
                              1e-30F, nan,     infinity, 123.25F, 0x1p-1F,  10, -infinity, 4097};
  constexpr float offsets[] = {0,    -0.0F, 0.5F,           -0.5F, 0.25F, 100.5F, -1e6F,    16777216,
                               3e9F, -3e9F, -2147483648.0F, nan,   1e38F, 2.5F,   infinity, 0x1.fffffep-2F};
  constexpr float references[] = {1, 2, 3, 41, 0.1F, 1e-3F, 1e6F, -1, 0, -0.0F, infinity, -infinity, 1e-40F, nan};
  Axis axis{random.oneOf(bounds), random.oneOf(bounds), random.oneOf(scales), random.oneOf(offsets),
            random.oneOf(references)};
  if (!random.oneIn(4) && axis.lower > axis.upper) {
    std::swap(axis.lower, axis.upper);
  }
  if (random.oneIn(3)) {
    axis = {lowest, highest, random.oneOf(scales), 0, random.oneOf(references)};
  }
  if (count <= 3 && support::isNan(axis.reference)) {
    axis.reference = 1;
  }
  return axis;
}

TYPED_TEST(PressureVolume, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  Diagram<TypeParam> diagram;
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      std::vector<float> values(count);
      support::fill(std::span(values), sampleClass, random);
      for (const Placement& input : support::allPlacements<float>()) {
        for (const Placement& output : support::allPlacements<int32_t>()) {
          for (int repetition = 0; repetition < 4; ++repetition) {
            ASSERT_TRUE(diagram.equalsModel(values, randomAxis(count, random), input, output)) << sampleClass;
          }
        }
      }
    }
  }
}

TYPED_TEST(PressureVolume, EqualsTheModelForLargeBlocks) {
  support::TestRandom random;
  Diagram<TypeParam> diagram;
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::largeCounts()) {
      std::vector<float> values(count);
      support::fill(std::span(values), sampleClass, random);
      ASSERT_TRUE(diagram.equalsModel(values, {lowest, highest, 0x1p20F, 0.5F, 0.75F}, support::endsAtFence,
                                      support::pastBoundary(1)))
          << sampleClass;
      ASSERT_TRUE(diagram.equalsModel(values, randomAxis(count, random), support::pastBoundary(random.below(4)),
                                      support::pastBoundary(random.below(4))))
          << sampleClass;
    }
  }
}

TYPED_TEST(PressureVolume, FewElementsOfEveryKindEqualTheModel) {
  support::TestRandom random;
  Diagram<TypeParam> diagram;
  for (int repetition = 0; repetition < 20000; ++repetition) {
    const auto count = static_cast<uint32_t>(random.between(1, 5));
    std::vector<float> values(count);
    support::fill(std::span(values), random.oneOf(support::sampleClasses<float>()), random);
    ASSERT_TRUE(diagram.equalsModel(values, randomAxis(count, random), support::endsAtFence, support::beginsAtFence));
  }
}

TYPED_TEST(PressureVolume, NeighboursOfHalvesAndOfTheRangeOf32BitsEqualTheModel) {
  Diagram<TypeParam> diagram;
  for (int exponent = 0; exponent <= 33; ++exponent) {
    const float power = std::ldexp(1.0F, exponent);
    for (const float center : {power, power - 0.5F, power + 0.5F, power + 1.5F}) {
      for (const float sign : {1.0F, -1.0F}) {
        const std::vector<float> offsets{sign * center, sign * std::nextafter(center, 0.0F),
                                         sign * std::nextafter(center, infinity)};
        for (const float offset : offsets) {
          for (const std::size_t count : {std::size_t{1}, std::size_t{4}}) {
            // A value of 1 and a scale of 0: the offset alone.
            const std::vector<float> ones(count, 1);
            ASSERT_TRUE(diagram.equalsModel(ones, {lowest, highest, 0, offset, 1}, support::pastBoundary(1),
                                            support::pastBoundary(2)));
          }
        }
      }
    }
  }
}

TYPED_TEST(PressureVolume, CountZeroTouchesNothing) {
  support::FencedBuffer<float> input(1);
  support::FencedBuffer<int32_t> output(1);
  TypeParam::kernel(input.place(0, support::endsAtFence).data(), 0, output.place(0, support::endsAtFence).data(), {});
  EXPECT_TRUE(input.surroundingsIntact());
  EXPECT_TRUE(output.surroundingsIntact());
}

}  // namespace
