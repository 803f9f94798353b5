#include "reference/flicker.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr double wideNan = std::numeric_limits<double>::quiet_NaN();
constexpr double startMarker = -9999999.0;

static_assert(offsetof(FlickerState, lowPassInput) == 0);
static_assert(offsetof(FlickerState, lowPassInput1) == 1 * sizeof(void*));
static_assert(offsetof(FlickerState, lowPassInput2) == 2 * sizeof(void*));
static_assert(offsetof(FlickerState, lowPassOutput) == 3 * sizeof(void*));
static_assert(offsetof(FlickerState, lowPassOutput1) == 4 * sizeof(void*));
static_assert(offsetof(FlickerState, lowPassOutput2) == 5 * sizeof(void*));
static_assert(offsetof(FlickerState, lowPassGain) == 6 * sizeof(void*));
static_assert(offsetof(FlickerState, lowPassA1) == 7 * sizeof(void*));
static_assert(offsetof(FlickerState, lowPassA2) == 8 * sizeof(void*));
static_assert(offsetof(FlickerState, weightCoefficients) == 9 * sizeof(void*));
static_assert(offsetof(FlickerState, highPassCoefficients) == 10 * sizeof(void*));
static_assert(offsetof(FlickerState, weight1Output) == 11 * sizeof(void*));
static_assert(offsetof(FlickerState, weight1Input) == 12 * sizeof(void*));
static_assert(offsetof(FlickerState, weight2Input) == 13 * sizeof(void*));
static_assert(offsetof(FlickerState, weight2Output) == 14 * sizeof(void*));
static_assert(offsetof(FlickerState, squareHistory) == 15 * sizeof(void*));
static_assert(offsetof(FlickerState, smoothHistory) == 16 * sizeof(void*));
static_assert(offsetof(FlickerState, highPassInput) == 17 * sizeof(void*));
static_assert(offsetof(FlickerState, highPassOutput) == 18 * sizeof(void*));
static_assert(sizeof(FlickerState) == 19 * sizeof(void*));

/// What the fields of the record point to.
struct Meter {
  std::array<double, 3> lowPassInput{};
  std::array<double, 3> lowPassInput1{};
  std::array<double, 3> lowPassInput2{};
  std::array<double, 3> lowPassOutput{};
  std::array<double, 3> lowPassOutput1{};
  std::array<double, 3> lowPassOutput2{};
  std::array<double, 3> lowPassGain{};
  std::array<double, 3> lowPassA1{};
  std::array<double, 3> lowPassA2{};
  std::array<double, 12> weightCoefficients{};
  std::array<double, 3> highPassCoefficients{};
  std::array<double, 3> weight1Output{};
  std::array<double, 3> weight1Input{};
  std::array<double, 3> weight2Input{};
  std::array<double, 3> weight2Output{};
  std::array<double, 2> squareHistory{};
  std::array<double, 2> smoothHistory{};
  std::array<double, 2> highPassInput{};
  std::array<double, 2> highPassOutput{};
};

constexpr const char* fieldNames[] = {
    "lowPassInput",         "lowPassInput1", "lowPassInput2", "lowPassOutput",      "lowPassOutput1", "lowPassOutput2",
    "lowPassGain",          "lowPassA1",     "lowPassA2",     "weightCoefficients", "weight1Output",  "weight1Input",
    "weight2Input",         "weight2Output", "squareHistory", "smoothHistory",      "highPassInput",  "highPassOutput",
    "highPassCoefficients",
};
constexpr std::size_t fieldCount = std::size(fieldNames);

/// In the order of the names.
template <typename AnyMeter>
auto fieldsOf(AnyMeter& m) {
  return std::array{std::span(m.lowPassInput.data(), 3),        std::span(m.lowPassInput1.data(), 3),
                    std::span(m.lowPassInput2.data(), 3),       std::span(m.lowPassOutput.data(), 3),
                    std::span(m.lowPassOutput1.data(), 3),      std::span(m.lowPassOutput2.data(), 3),
                    std::span(m.lowPassGain.data(), 3),         std::span(m.lowPassA1.data(), 3),
                    std::span(m.lowPassA2.data(), 3),           std::span(m.weightCoefficients.data(), 12),
                    std::span(m.weight1Output.data(), 3),       std::span(m.weight1Input.data(), 3),
                    std::span(m.weight2Input.data(), 3),        std::span(m.weight2Output.data(), 3),
                    std::span(m.squareHistory.data(), 2),       std::span(m.smoothHistory.data(), 2),
                    std::span(m.highPassInput.data(), 2),       std::span(m.highPassOutput.data(), 2),
                    std::span(m.highPassCoefficients.data(), 3)};
}

/// From where each field's array begins, in the order of the names.
FlickerState stateOf(const std::array<double*, fieldCount>& arrays) {
  FlickerState state{};
  state.lowPassInput = arrays[0];
  state.lowPassInput1 = arrays[1];
  state.lowPassInput2 = arrays[2];
  state.lowPassOutput = arrays[3];
  state.lowPassOutput1 = arrays[4];
  state.lowPassOutput2 = arrays[5];
  state.lowPassGain = arrays[6];
  state.lowPassA1 = arrays[7];
  state.lowPassA2 = arrays[8];
  state.weightCoefficients = arrays[9];
  state.weight1Output = arrays[10];
  state.weight1Input = arrays[11];
  state.weight2Input = arrays[12];
  state.weight2Output = arrays[13];
  state.squareHistory = arrays[14];
  state.smoothHistory = arrays[15];
  state.highPassInput = arrays[16];
  state.highPassOutput = arrays[17];
  state.highPassCoefficients = arrays[18];
  return state;
}

FlickerState stateOf(Meter& meter) {
  std::array<double*, fieldCount> arrays{};
  const auto fields = fieldsOf(meter);
  std::ranges::transform(fields, arrays.begin(), [](std::span<double> field) { return field.data(); });
  return stateOf(arrays);
}

testing::AssertionResult sameMeter(const Meter& actual, const Meter& expected) {
  const auto actualFields = fieldsOf(actual);
  const auto expectedFields = fieldsOf(expected);
  for (std::size_t i = 0; i < fieldCount; ++i) {
    testing::AssertionResult result = support::sameResult(actualFields[i], expectedFields[i]);
    if (!result) {
      return result << ", " << fieldNames[i];
    }
  }
  return testing::AssertionSuccess();
}

/// What no call writes: coefficients, and the current inputs of the weighting sections.
testing::AssertionResult sameUnwritten(const Meter& actual, const Meter& before) {
  const auto actualFields = fieldsOf(actual);
  const auto fieldsBefore = fieldsOf(before);
  for (const std::size_t i : std::initializer_list<std::size_t>{6, 7, 8, 9, 18}) {
    testing::AssertionResult result = support::sameBits(actualFields[i], fieldsBefore[i]);
    if (!result) {
      return result << ", " << fieldNames[i] << " written";
    }
  }
  for (const std::size_t i : std::initializer_list<std::size_t>{11, 12}) {
    testing::AssertionResult result = support::sameBits(actualFields[i][0], fieldsBefore[i][0]);
    if (!result) {
      return result << ", current slot of " << fieldNames[i] << " written";
    }
  }
  return testing::AssertionSuccess();
}

struct Placements {
  std::array<Placement, fieldCount> fields;
  Placement samples;
  Placement sensation;
};

Placements allAt(const Placement& placement) {
  Placements placements{{}, placement, placement};
  placements.fields.fill(placement);
  return placements;
}

/// Calls on record, state, samples and results at fences.
class FencedMeter {
public:
  explicit FencedMeter(std::size_t capacity) : samplesMemory_(capacity), sensationMemory_(capacity) {
    for (auto& memory : fieldMemory_) {
      memory = std::make_unique<support::FencedBuffer<double>>(12);
    }
  }

  std::vector<float> run(Meter& meter, const std::vector<float>& samples,
                         const Placements& placements = allAt(support::endsAtFence)) {
    const Meter before = meter;
    const auto fields = fieldsOf(meter);
    std::array<double*, fieldCount> arrays{};
    for (std::size_t i = 0; i < fieldCount; ++i) {
      arrays[i] = fieldMemory_[i]->place(fields[i].size(), placements.fields[i]).data();
      std::memcpy(arrays[i], fields[i].data(), fields[i].size_bytes());
    }
    const FlickerState state = stateOf(arrays);
    const std::span<FlickerState> record = recordMemory_.place(1, support::endsAtFence);
    std::memcpy(record.data(), &state, sizeof state);
    const std::span<float> input = samplesMemory_.place(samples.size(), placements.samples);
    std::copy_n(samples.data(), samples.size(), input.data());
    const std::span<float> sensation = sensationMemory_.place(samples.size(), placements.sensation);
    std::ranges::fill(sensation, -12345.75F);

    kxcalcPowerFlicker(record.data(), input.data(), sensation.data(), static_cast<int32_t>(samples.size()));

    EXPECT_TRUE(std::ranges::equal(std::as_bytes(record), std::as_bytes(std::span(&state, 1)))) << "record changed";
    EXPECT_TRUE(support::sameBits(input, samples)) << "samples changed";
    EXPECT_TRUE(sensationMemory_.surroundingsIntact());
    for (std::size_t i = 0; i < fieldCount; ++i) {
      std::memcpy(fields[i].data(), arrays[i], fields[i].size_bytes());
      EXPECT_TRUE(fieldMemory_[i]->surroundingsIntact()) << fieldNames[i];
    }
    EXPECT_TRUE(sameUnwritten(meter, before));
    return {sensation.begin(), sensation.end()};
  }

  /// One sample's sensation.
  float run(Meter& meter, float sample) { return run(meter, std::vector<float>{sample})[0]; }

  /// The meter is left as the kernel leaves it.
  testing::AssertionResult equalsModel(Meter& meter, const std::vector<float>& samples,
                                       const Placements& placements = allAt(support::endsAtFence)) {
    Meter expectedMeter = meter;
    const FlickerState state = stateOf(expectedMeter);
    std::vector<float> expected(samples.size());
    reference::kxcalcPowerFlicker(&state, samples.data(), expected.data(), static_cast<int32_t>(samples.size()));
    const std::vector<float> actual = run(meter, samples, placements);
    testing::AssertionResult result = support::sameResult(actual, expected);
    if (result) {
      result = sameMeter(meter, expectedMeter);
    }
    if (!result) {
      result << "; " << samples.size() << " samples at " << placements.samples << ", sensation "
             << placements.sensation;
    }
    return result;
  }

private:
  std::array<std::unique_ptr<support::FencedBuffer<double>>, fieldCount> fieldMemory_;
  support::FencedBuffer<float> samplesMemory_;
  support::FencedBuffer<float> sensationMemory_;
  support::FencedBuffer<FlickerState> recordMemory_{1};
};

/// Every filter passes its input on, but for the sums of the low-pass sections; at the start of a measurement.
Meter passThrough() {
  Meter meter;
  meter.lowPassGain = {1, 1, 1};
  meter.highPassCoefficients[0] = 1;
  meter.weightCoefficients[0] = 1;
  meter.weightCoefficients[4] = 1;
  meter.weightCoefficients[9] = 1;
  meter.highPassInput[0] = startMarker;
  return meter;
}

TEST(PowerFlicker, FirstSampleOfAMeasurement) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.weight1Input[0] = 7;
  meter.weight2Input[0] = 8;
  Meter expected = meter;
  EXPECT_EQ(fenced.run(meter, 2), 4 * 1238400);
  expected.lowPassInput = expected.lowPassInput1 = {2, 2, 2};
  expected.lowPassOutput = expected.lowPassOutput1 = {2, 2, 2};
  expected.highPassInput = expected.highPassOutput = {2, 2};
  expected.weight1Input = {7, 2, 0};
  expected.weight1Output = {2, 2, 0};
  expected.weight2Input = {8, 2, 0};
  expected.weight2Output = {2, 2, 0};
  expected.squareHistory = expected.smoothHistory = {4, 4};
  EXPECT_TRUE(sameMeter(meter, expected));
}

TEST(PowerFlicker, HistoriesShiftAtEachSample) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  Meter expected = meter;
  fenced.run(meter, 2);
  EXPECT_EQ(fenced.run(meter, 4), 400 * 1238400);
  // The low-pass sections add twice the input one back: 8 + 2 * 2, 12 + 2 * 2, 16 + 2 * 2.
  expected.lowPassInput = expected.lowPassInput1 = {8, 12, 16};
  expected.lowPassInput2 = {2, 2, 2};
  expected.lowPassOutput = expected.lowPassOutput1 = {12, 16, 20};
  expected.lowPassOutput2 = {2, 2, 2};
  expected.highPassInput = expected.highPassOutput = {20, 20};
  expected.weight1Input = {0, 20, 2};
  expected.weight1Output = {20, 20, 2};
  expected.weight2Input = {0, 20, 2};
  expected.weight2Output = {20, 20, 2};
  expected.squareHistory = expected.smoothHistory = {400, 400};
  EXPECT_TRUE(sameMeter(meter, expected));
  // The input two back once: 8 + 2 * 8 + 2, 26 + 2 * 12 + 2, 52 + 2 * 16 + 2.
  fenced.run(meter, 4);
  expected.lowPassInput = expected.lowPassInput1 = {8, 26, 52};
  expected.lowPassInput2 = {8, 12, 16};
  expected.lowPassOutput = expected.lowPassOutput1 = {26, 52, 86};
  expected.lowPassOutput2 = {12, 16, 20};
  expected.highPassInput = expected.highPassOutput = {86, 86};
  expected.weight1Input = {0, 86, 20};
  expected.weight1Output = {86, 86, 20};
  expected.weight2Input = {0, 86, 20};
  expected.weight2Output = {86, 86, 20};
  expected.squareHistory = expected.smoothHistory = {7396, 7396};
  EXPECT_TRUE(sameMeter(meter, expected));
}

/// Different whole numbers in every coefficient and every history.
Meter distinct() {
  Meter meter;
  meter.lowPassInput = {901, 902, 903};
  meter.lowPassInput1 = {1, 2, 3};
  meter.lowPassInput2 = {4, 5, 6};
  meter.lowPassOutput = {904, 905, 906};
  meter.lowPassOutput1 = {7, 8, 9};
  meter.lowPassOutput2 = {10, 11, 12};
  meter.lowPassGain = {2, 3, 5};
  meter.lowPassA1 = {1, 2, 3};
  meter.lowPassA2 = {-1, 4, -5};
  meter.weightCoefficients = {1, 2, 3, 4, 2, 3, 5, 7, 11, 1, 3, 2};
  meter.highPassCoefficients = {2, 3, 4};
  meter.weight1Output = {907, 1, 2};
  meter.weight1Input = {908, 5, 6};
  meter.weight2Input = {909, 8, 9};
  meter.weight2Output = {910, 11, 12};
  meter.squareHistory = {911, 13};
  meter.smoothHistory = {912, 15};
  meter.highPassInput = {913, 17};
  meter.highPassOutput = {914, 19};
  return meter;
}

TEST(PowerFlicker, EveryCoefficientMeetsItsHistory) {
  FencedMeter fenced(1);
  Meter meter = distinct();
  Meter expected = meter;
  const float sensation = fenced.run(meter, -4);
  expected.lowPassInput2 = {1, 2, 3};
  const double section0 = (8.0 + 2 + 4) * 2 - 7 * 1 + 10 * 1;             // 31
  const double section1 = (section0 + 4 + 5) * 3 - 8 * 2 - 11 * 4;        // 60
  const double section2 = (section1 + 6 + 6) * 5 - 9 * 3 + 12 * 5;        // 393
  const double highPass = section2 * 2 + 17 * 3 + 19 * 4;                 // 913
  const double weight1 = highPass * 1 + 2 * 6 + 3 * 1 + 4 * 2;            // 936
  const double weight2 = weight1 * 2 + 3 * 8 + 5 * 9 + 7 * 11 + 11 * 12;  // 2150
  const double square = weight2 * weight2;                                // 4622500
  const double smooth = square * 1 + 3 * 13 + 2 * 15;                     // 4622569
  expected.lowPassInput = expected.lowPassInput1 = {8, section0, section1};
  expected.lowPassOutput = expected.lowPassOutput1 = {section0, section1, section2};
  expected.lowPassOutput2 = {7, 8, 9};
  expected.highPassInput = {section2, section2};
  expected.highPassOutput = {highPass, highPass};
  expected.weight1Input = {908, highPass, 5};
  expected.weight1Output = {weight1, weight1, 1};
  expected.weight2Input = {909, weight1, 8};
  expected.weight2Output = {weight2, weight2, 11};
  expected.squareHistory = {square, square};
  expected.smoothHistory = {smooth, smooth};
  EXPECT_EQ(smooth, 4622569);
  EXPECT_EQ(sensation, static_cast<float>(4622569 * 1238400.0));
  EXPECT_TRUE(sameMeter(meter, expected));
}

TEST(PowerFlicker, AfterACallTheCurrentSlotsEqualThePreviousOnesExceptTheInputsOfTheWeightingSections) {
  support::TestRandom random;
  FencedMeter fenced(67);
  for (std::size_t count = 1; count <= 67; ++count) {
    Meter meter = distinct();
    std::vector<float> samples(count);
    support::fill(std::span(samples), support::SampleClass::signal, random);
    meter.lowPassA1 = meter.lowPassA2 = {0.1, 0.2, 0.3};
    fenced.run(meter, samples);
    EXPECT_EQ(meter.lowPassInput, meter.lowPassInput1);
    EXPECT_EQ(meter.lowPassOutput, meter.lowPassOutput1);
    EXPECT_EQ(meter.highPassInput[0], meter.highPassInput[1]);
    EXPECT_EQ(meter.highPassOutput[0], meter.highPassOutput[1]);
    EXPECT_EQ(meter.weight1Output[0], meter.weight1Output[1]);
    EXPECT_EQ(meter.weight2Output[0], meter.weight2Output[1]);
    EXPECT_EQ(meter.squareHistory[0], meter.squareHistory[1]);
    EXPECT_EQ(meter.smoothHistory[0], meter.smoothHistory[1]);
    EXPECT_EQ(meter.weight1Input[0], 908);
    EXPECT_EQ(meter.weight2Input[0], 909);
  }
}

TEST(PowerFlicker, TheDemodulatorSquaresAndHalvesInSingle) {
  const struct {
    float sample;
    double demodulated;
  } cases[] = {
      {0, 0},
      {-0.0F, 0},
      {3, 4.5},
      {-3, 4.5},
      {0x1.000002p0F, 0.5 + 0x1p-23},
      {0x1p63F, 0x1p125},
      // The square overflows before it is halved.
      {1.9e19F, static_cast<double>(infinity)},
      {0x1p64F, static_cast<double>(infinity)},
      {-infinity, static_cast<double>(infinity)},
      {1e-30F, 0},
      // The smallest denormal is halved to even, 3 of it to 2.
      {0x1p-74F, 0x1p-149},
      {0x1.6ap-75F, 0},
      {0x1p-75F, 0},
      {nan, wideNan},
  };
  FencedMeter fenced(1);
  for (const auto& [sample, demodulated] : cases) {
    Meter meter = passThrough();
    fenced.run(meter, sample);
    EXPECT_TRUE(support::sameResult(meter.lowPassInput[0], demodulated)) << support::describe(sample);
  }
}

TEST(PowerFlicker, AConstantInputIsHalfItsSquareAtEverySample) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.lowPassGain = {0.25, 0.25, 0.25};
  for (int i = 0; i < 10; ++i) {
    fenced.run(meter, 6);
    EXPECT_EQ(meter.lowPassInput[0], 18) << i;
    if (i >= 6) {
      EXPECT_EQ(meter.lowPassOutput[2], 18) << "settled";
    }
  }
}

// In each of the following, any other order of the sum ends elsewhere.
TEST(PowerFlicker, TheLowPassAddsInItsOrder) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  // Twice the input one back is formed first: 2^53 + 2 + 0.5. One after the other, 2^53 + 4.
  meter.lowPassInput1[0] = 0x1p52 + 1;
  fenced.run(meter, 1);
  EXPECT_EQ(meter.lowPassOutput[0], 0x1p53 + 2);
  // The input two back comes last: 2^52 + 0.5 + 0.5, two ties. Both halves first would be 1.
  meter = passThrough();
  meter.lowPassInput1[0] = 0x1p51;
  meter.lowPassInput2[0] = 0.5;
  fenced.run(meter, 1);
  EXPECT_EQ(meter.lowPassOutput[0], 0x1p52);
  // Both outputs are subtracted one after the other.
  meter = passThrough();
  meter.lowPassInput2[0] = 0x1p53;
  meter.lowPassOutput1[0] = meter.lowPassOutput2[0] = 1;
  meter.lowPassA1[0] = meter.lowPassA2[0] = -1;
  fenced.run(meter, 0);
  EXPECT_EQ(meter.lowPassOutput[0], 0x1p53);
  // The output one back first: 1 + 2^53 - 2^53.
  meter = passThrough();
  meter.lowPassOutput1[0] = meter.lowPassOutput2[0] = 0x1p53;
  meter.lowPassA1[0] = -1;
  meter.lowPassA2[0] = 1;
  meter.lowPassInput2[0] = 1;
  fenced.run(meter, 0);
  EXPECT_EQ(meter.lowPassOutput[0], 0);
  // The gain multiplies the sum: 3 * 0.1, not 0.1 + 0.1 + 0.1.
  meter = passThrough();
  meter.lowPassInput1[0] = 1;
  meter.lowPassInput2[0] = 1;
  meter.lowPassGain[0] = 0.1;
  fenced.run(meter, 0);
  EXPECT_EQ(meter.lowPassOutput[0], 3 * 0.1);
}

TEST(PowerFlicker, TheHighPassAddsInItsOrder) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.highPassCoefficients = {1, 1, 1};
  meter.highPassInput = {0, 0.5};
  meter.highPassOutput = {0, 0x1p53};
  fenced.run(meter, 1);
  EXPECT_EQ(meter.highPassOutput[0], 0x1p53);  // 0.5 + 0.5 is a tie
  meter.highPassInput = {0, 1.5};
  meter.highPassOutput = {0, 0x1p53};
  meter.lowPassInput1 = meter.lowPassInput2 = {0, 0, 0};
  fenced.run(meter, 1);
  EXPECT_EQ(meter.highPassOutput[0], 0x1p53 + 2);  // 0.5 + 1.5
}

TEST(PowerFlicker, TheWeightingSectionsAddInTheirOrder) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.weightCoefficients = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0};
  meter.lowPassGain[2] = 2;
  meter.weight1Input = {0, 100, 1};
  meter.weight1Output = {0, 0x1p53, 1};
  // 1 + 1 + 2^53, and 1 more is a tie that becomes even.
  fenced.run(meter, 1);
  EXPECT_EQ(meter.weight1Output[0], 0x1p53 + 4);
  meter = passThrough();
  meter.weightCoefficients = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0};
  meter.lowPassGain[2] = 2;
  meter.weight2Input = {0, 1, 0x1p53};
  meter.weight2Output = {0, 1, 1};
  // 1 + 1 + 2^53, 1 more becomes even, and so does 1 more.
  fenced.run(meter, 1);
  EXPECT_EQ(meter.weight2Output[0], 0x1p53 + 4);
}

TEST(PowerFlicker, TheInputOneBackPlaysNoPartInTheFirstWeightingSection) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.weightCoefficients = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  meter.weight1Input = {0, 1e300, 0};
  fenced.run(meter, 2);
  EXPECT_EQ(meter.weight1Output[0], 2);
  EXPECT_EQ(meter.weight1Input[2], 1e300);
}

TEST(PowerFlicker, TheSmoothingAddsInItsOrder) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.weightCoefficients[10] = meter.weightCoefficients[11] = 1;
  meter.squareHistory = {0, 1};
  meter.smoothHistory = {0, 0x1p53};
  meter.lowPassGain[0] = 2;
  fenced.run(meter, 1);
  EXPECT_EQ(meter.smoothHistory[0], 0x1p53 + 2);
}

TEST(PowerFlicker, TheOutputOfTheLowPassIsRoundedToSingleForTheHighPass) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.lowPassGain[2] = 2 + 0x1p-29;
  fenced.run(meter, 1);
  EXPECT_EQ(meter.lowPassOutput[2], 1 + 0x1p-30);
  EXPECT_EQ(meter.highPassInput[0], 1);
  EXPECT_EQ(meter.highPassOutput[0], 1);
  meter = passThrough();
  meter.lowPassGain[2] = 0x1p130;
  fenced.run(meter, 1);
  EXPECT_EQ(meter.lowPassOutput[2], 0x1p129);
  EXPECT_EQ(meter.highPassInput[0], static_cast<double>(infinity));
}

TEST(PowerFlicker, SectionsOfTheLowPassAreNotRoundedBetween) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.lowPassGain = {2 + 0x1p-29, 1, 1};
  fenced.run(meter, 1);
  EXPECT_EQ(meter.lowPassInput[1], 1 + 0x1p-30);
  EXPECT_EQ(meter.lowPassInput[2], 1 + 0x1p-30);
}

TEST(PowerFlicker, TheOutputOfTheHighPassIsRoundedToSingleForTheWeighting) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.highPassCoefficients[0] = 2 + 0x1p-29;
  fenced.run(meter, 1);
  EXPECT_EQ(meter.highPassOutput[0], 1 + 0x1p-30);
  EXPECT_EQ(meter.weight1Input[1], 1);
  EXPECT_EQ(meter.weight1Output[0], 1);
}

TEST(PowerFlicker, TheWeightingSectionsAreNotRoundedBetweenAndTheSquareIsOneInSingle) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.weightCoefficients[0] = 2 + 0x1p-29;
  fenced.run(meter, 1);
  EXPECT_EQ(meter.weight1Output[0], 1 + 0x1p-30);
  EXPECT_EQ(meter.weight2Input[1], 1 + 0x1p-30);
  EXPECT_EQ(meter.weight2Output[0], 1 + 0x1p-30);
  EXPECT_EQ(meter.squareHistory[0], 1);
  // (1 + 2^-23)^2 is 1 + 2^-22 in single.
  meter = passThrough();
  meter.weightCoefficients[0] = 2 + 0x1p-22;
  fenced.run(meter, 1);
  EXPECT_EQ(meter.weight2Output[0], 1 + 0x1p-23);
  EXPECT_EQ(meter.squareHistory[0], 1 + 0x1p-22);
  meter = passThrough();
  meter.weightCoefficients[0] = 0x1p65;
  fenced.run(meter, 1);
  EXPECT_EQ(meter.weight2Output[0], 0x1p64);
  EXPECT_EQ(meter.squareHistory[0], static_cast<double>(infinity)) << "overflows in single";
}

TEST(PowerFlicker, TheSensationIsScaledInDoubleAndRoundedToSingle) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.weightCoefficients[9] = 4 * (1 + 0x1p-26);
  EXPECT_EQ(fenced.run(meter, 1), 1238400.0F);
  EXPECT_EQ(meter.smoothHistory[0], 1 + 0x1p-26);
  meter = passThrough();
  meter.weightCoefficients[9] = 4 * 16777217.0;  // 2^24 + 1: no single
  EXPECT_EQ(fenced.run(meter, 1), static_cast<float>(16777217.0 * 1238400.0));
  EXPECT_NE(static_cast<float>(16777217.0 * 1238400.0), 16777216.0F * 1238400.0F);
  meter = passThrough();
  meter.weightCoefficients[9] = 4 * 3e32;
  EXPECT_EQ(fenced.run(meter, 1), infinity);
  EXPECT_EQ(meter.smoothHistory[0], 3e32);
}

TEST(PowerFlicker, AtTheStartMarkerTheFirstSampleSeesItselfOneBack) {
  FencedMeter fenced(1);
  Meter meter = passThrough();
  meter.highPassCoefficients = {3, 5, 7};
  meter.highPassInput = {startMarker, 1000};
  fenced.run(meter, 2);
  EXPECT_EQ(meter.highPassOutput[0], 2 * (3 + 5));
  EXPECT_EQ(meter.highPassInput[0], 2);
  EXPECT_EQ(meter.highPassInput[1], 2);
  // The second sample sees the first: 20 * 3 + 2 * 5 + 16 * 7.
  fenced.run(meter, 4);
  EXPECT_EQ(meter.highPassOutput[0], 60 + 10 + 112);
  // The previous output is used as it is.
  meter = passThrough();
  meter.highPassCoefficients = {3, 5, 7};
  meter.highPassOutput = {0, 10};
  fenced.run(meter, 2);
  EXPECT_EQ(meter.highPassOutput[0], 2 * (3 + 5) + 70);
}

TEST(PowerFlicker, OnlyTheStartMarkerItselfInTheCurrentSlotStarts) {
  FencedMeter fenced(1);
  const double others[] = {std::nextafter(startMarker, 0.0),
                           std::nextafter(startMarker, -1e9),
                           -9999998.0,
                           -10000000.0,
                           9999999.0,
                           0,
                           wideNan,
                           static_cast<double>(-infinity)};
  for (const double current : others) {
    Meter meter = passThrough();
    meter.highPassCoefficients = {3, 5, 7};
    meter.highPassInput = {current, 1000};
    fenced.run(meter, 2);
    EXPECT_EQ(meter.highPassOutput[0], 2 * 3 + 1000 * 5) << current;
  }
  // In the previous slot it is a number.
  Meter meter = passThrough();
  meter.highPassCoefficients = {3, 5, 7};
  meter.highPassInput = {0, startMarker};
  fenced.run(meter, 2);
  EXPECT_EQ(meter.highPassOutput[0], 6 + startMarker * 5);
}

TEST(PowerFlicker, ASampleThatBecomesTheStartMarkerStartsTheNextOne) {
  FencedMeter fenced(2);
  for (const bool isOneCall : {true, false}) {
    Meter meter = passThrough();
    meter.lowPassGain[0] = 2 * startMarker;
    meter.highPassCoefficients = {1, 1, 0};
    if (isOneCall) {
      fenced.run(meter, std::vector<float>{1, 0});
    } else {
      fenced.run(meter, 1);
      EXPECT_EQ(meter.highPassInput[0], startMarker);
      fenced.run(meter, 0);
    }
    // The second input is 6 times the first, a tie of singles, and not the marker; 7 times would be -69999991.
    EXPECT_EQ(meter.highPassInput[0], -59999992);
    EXPECT_EQ(meter.highPassOutput[0], -119999984);
  }
}

TEST(PowerFlicker, CountZeroDoesNothing) {
  FencedMeter fenced(1);
  for (Meter meter : {passThrough(), distinct()}) {
    const Meter before = meter;
    fenced.run(meter, std::vector<float>{});
    const auto fields = fieldsOf(meter);
    const auto fieldsBefore = fieldsOf(before);
    for (std::size_t i = 0; i < fieldCount; ++i) {
      EXPECT_TRUE(support::sameBits(fields[i], fieldsBefore[i])) << fieldNames[i];
    }
  }
}

TEST(PowerFlicker, ANanSampleStaysInTheState) {
  FencedMeter fenced(20);
  Meter meter = passThrough();
  meter.lowPassA1 = {0.5, 0.5, 0.5};
  std::vector<float> samples(20, 1);
  samples[2] = nan;
  const std::vector<float> sensation = fenced.run(meter, samples);
  EXPECT_TRUE(std::isfinite(sensation[0]) && std::isfinite(sensation[1]));
  for (std::size_t i = 2; i < sensation.size(); ++i) {
    EXPECT_TRUE(std::isnan(sensation[i])) << i;
  }
  EXPECT_EQ(meter.lowPassInput[0], 0.5) << "the input itself is sound again";
  EXPECT_TRUE(std::isnan(meter.lowPassOutput[0]));
  EXPECT_TRUE(std::isnan(meter.smoothHistory[1]));
}

TEST(PowerFlicker, AnInfiniteSampleIsInfiniteAndThenANan) {
  FencedMeter fenced(3);
  Meter meter = passThrough();
  meter.highPassInput[0] = 0;
  EXPECT_TRUE(support::sameResult(fenced.run(meter, std::vector<float>{-infinity, 0, 0}),
                                  std::vector<float>{infinity, nan, nan}));
  // At the start of a measurement it is one back, too, where it meets a coefficient of 0.
  meter = passThrough();
  EXPECT_TRUE(std::isnan(fenced.run(meter, infinity)));
}

double spread(support::Random& random) {
  return random.sign() * (1 + random.unit());
}

/// Random poles within the unit circle, or as far out as the radius tells; all histories 0.
Meter randomFilters(double radius, support::Random& random) {
  Meter meter;
  const auto anglesCosine = [&random] { return std::cos(std::numbers::pi * random.unit()); };
  for (std::size_t section = 0; section < 3; ++section) {
    const double r = radius * random.unit();
    meter.lowPassA1[section] = -2 * r * anglesCosine();
    meter.lowPassA2[section] = r * r;
    meter.lowPassGain[section] = (1 + meter.lowPassA1[section] + meter.lowPassA2[section]) / 4;
  }
  meter.highPassCoefficients[0] = random.unit();
  meter.highPassCoefficients[1] = -meter.highPassCoefficients[0];
  meter.highPassCoefficients[2] = radius * random.unit();
  auto& w = meter.weightCoefficients;
  w = {spread(random), spread(random), 0, 0, spread(random), spread(random), spread(random), 0, 0, 0, 0, 0};
  for (const std::size_t feedback : std::initializer_list<std::size_t>{2, 7}) {
    const double r = radius * random.unit();
    w[feedback] = 2 * r * anglesCosine();
    w[feedback + 1] = -r * r;
  }
  w[9] = w[10] = 0.1 * random.unit();
  w[11] = radius * random.unit();
  meter.highPassInput[0] = startMarker;
  return meter;
}

Placements randomPlacements(support::Random& random) {
  Placements placements;
  for (Placement& field : placements.fields) {
    field = random.oneOf(support::allPlacements<double>());
  }
  placements.samples = random.oneOf(support::allPlacements<float>());
  placements.sensation = random.oneOf(support::allPlacements<float>());
  return placements;
}

std::vector<float> samplesOf(support::SampleClass sampleClass, std::size_t count, support::Random& random) {
  std::vector<float> samples(count);
  support::fill(std::span(samples), sampleClass, random);
  return samples;
}

TEST(PowerFlicker, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  FencedMeter fenced(257);
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      Meter meter = randomFilters(random.oneIn(4) ? 1.3 : 1, random);
      for (int block = 0; block < 2; ++block) {
        ASSERT_TRUE(fenced.equalsModel(meter, samplesOf(sampleClass, count, random), randomPlacements(random)))
            << sampleClass << ", block " << block;
      }
    }
  }
}

TEST(PowerFlicker, EqualsTheModelAtEveryAlignmentOfSamplesAndSensation) {
  support::TestRandom random;
  FencedMeter fenced(67);
  for (const Placement& samples : support::allPlacements<float>()) {
    for (const Placement& sensation : support::allPlacements<float>()) {
      for (std::size_t count = 0; count <= 67; ++count) {
        Placements placements = randomPlacements(random);
        placements.samples = samples;
        placements.sensation = sensation;
        Meter meter = randomFilters(1, random);
        ASSERT_TRUE(fenced.equalsModel(meter, samplesOf(support::SampleClass::signal, count, random), placements));
      }
    }
  }
}

TEST(PowerFlicker, AnyStateAndAnyCoefficientsEqualTheModel) {
  support::TestRandom random;
  FencedMeter fenced(12);
  for (const support::SampleClass sampleClass : support::sampleClasses<double>()) {
    for (int repetition = 0; repetition < 600; ++repetition) {
      Meter meter = randomFilters(1, random);
      const bool areCoefficientsRandom = random.oneIn(2);
      const auto fields = fieldsOf(meter);
      for (std::size_t i = 0; i < fieldCount; ++i) {
        const bool isCoefficient = (i >= 6 && i <= 9) || i == 18;
        if (!isCoefficient || areCoefficientsRandom) {
          support::fill(fields[i], sampleClass, random);
        }
      }
      if (random.oneIn(4)) {
        meter.highPassInput[0] = startMarker;
      }
      const auto count = static_cast<std::size_t>(random.between(1, 12));
      const support::SampleClass samples = random.oneOf(support::sampleClasses<float>());
      ASSERT_TRUE(fenced.equalsModel(meter, samplesOf(samples, count, random))) << sampleClass << ", " << samples;
    }
  }
}

TEST(PowerFlicker, BlocksOfAnySizeGiveTheResultsOfOneCall) {
  support::TestRandom random;
  FencedMeter fenced(3000);
  for (int repetition = 0; repetition < 100; ++repetition) {
    const Meter start = randomFilters(random.oneIn(4) ? 1.1 : 1, random);
    const auto samples = samplesOf(support::SampleClass::signal, random.below(3000), random);
    Meter whole = start;
    const std::vector<float> expected = fenced.run(whole, samples);
    Meter split = start;
    std::vector<float> actual(samples.size());
    const FlickerState state = stateOf(split);
    for (std::size_t done = 0; done < samples.size();) {
      const std::size_t longest = random.oneIn(2) ? 4 : 200;
      const std::size_t size = std::min<std::size_t>(random.below(longest), samples.size() - done);
      kxcalcPowerFlicker(&state, samples.data() + done, actual.data() + done, static_cast<int32_t>(size));
      done += size;
    }
    ASSERT_TRUE(support::sameResult(actual, expected));
    ASSERT_TRUE(sameMeter(split, whole));
  }
}

TEST(PowerFlicker, LongRunsOfStableFiltersEqualTheModel) {
  support::TestRandom random;
  FencedMeter fenced(1000000);
  Meter meter = randomFilters(1, random);
  ASSERT_TRUE(fenced.equalsModel(meter, samplesOf(support::SampleClass::signal, 1000000, random)));
  ASSERT_TRUE(std::isfinite(meter.smoothHistory[0]));
  for (int repetition = 0; repetition < 20; ++repetition) {
    meter = randomFilters(0.999, random);
    const support::SampleClass sampleClass = random.oneOf(support::sampleClasses<float>());
    ASSERT_TRUE(fenced.equalsModel(meter, samplesOf(sampleClass, 10000, random))) << sampleClass;
  }
}

TEST(PowerFlicker, LongRunsOfUnstableFiltersEqualTheModel) {
  support::TestRandom random;
  FencedMeter fenced(100000);
  for (int repetition = 0; repetition < 10; ++repetition) {
    Meter meter = randomFilters(1.05, random);
    ASSERT_TRUE(fenced.equalsModel(meter, samplesOf(support::SampleClass::signal, 100000, random)));
  }
}

TEST(PowerFlicker, FiltersThatFadeIntoDenormalsEqualTheModel) {
  support::TestRandom random;
  FencedMeter fenced(20000);
  for (int repetition = 0; repetition < 4; ++repetition) {
    Meter meter = randomFilters(0.9, random);
    std::vector<float> samples(20000, 0);
    std::fill_n(samples.begin(), 10, 1.0F);
    ASSERT_TRUE(fenced.equalsModel(meter, samples));
  }
}

/// Calls on values and 1000 counters at fences.
class Classifier {
public:
  explicit Classifier(std::size_t capacity) : valuesMemory_(capacity) {}

  /// The counters, which begin as given.
  std::vector<uint32_t> run(std::span<const float> values, std::vector<uint32_t> counters,
                            const Placement& valuesPlacement = support::endsAtFence,
                            const Placement& countersPlacement = support::endsAtFence) {
    const std::span<float> placed = valuesMemory_.place(values.size(), valuesPlacement);
    std::copy_n(values.data(), values.size(), placed.data());
    const std::span<uint32_t> classes = classesMemory_.place(1000, countersPlacement);
    std::ranges::copy(counters, classes.begin());
    kxcalcPowerFlickerAddToClass(placed.data(), static_cast<int32_t>(values.size()), classes.data());
    EXPECT_TRUE(support::sameBits(placed, values)) << "values changed";
    EXPECT_TRUE(classesMemory_.surroundingsIntact());
    std::ranges::copy(classes, counters.begin());
    return counters;
  }

  testing::AssertionResult equalsModel(std::span<const float> values, const std::vector<uint32_t>& counters,
                                       const Placement& valuesPlacement = support::endsAtFence,
                                       const Placement& countersPlacement = support::endsAtFence) {
    std::vector<uint32_t> expected = counters;
    reference::kxcalcPowerFlickerAddToClass(values.data(), static_cast<int32_t>(values.size()), expected.data());
    testing::AssertionResult result =
        support::sameBits(run(values, counters, valuesPlacement, countersPlacement), expected);
    if (!result) {
      result << "; " << values.size() << " values at " << valuesPlacement << ", classes at " << countersPlacement;
    }
    return result;
  }

  /// The one counter that a value adds 1 to.
  std::size_t classOf(float value) {
    const std::vector<uint32_t> counters = run({&value, 1}, std::vector<uint32_t>(1000, 0));
    const auto counted = std::ranges::find_if(counters, [](uint32_t counter) { return counter != 0; });
    EXPECT_EQ(std::ranges::count(counters, 0U), 999);
    EXPECT_EQ(std::ranges::count(counters, 1U), 1);
    return static_cast<std::size_t>(counted - counters.begin());
  }

private:
  support::FencedBuffer<float> valuesMemory_;
  support::FencedBuffer<uint32_t> classesMemory_{1000};
};

TEST(PowerFlickerAddToClass, HandWorkedCases) {
  Classifier classifier(1);
  const struct {
    float value;
    std::size_t number;
  } cases[] = {
      {1, 400},
      {10, 500},
      {100, 600},
      {1000, 700},
      {10000, 800},
      {100000, 900},
      // The singles nearest to 0.001 and 0.1 are above them, those to 0.01 and 0.0001 below.
      {0.001F, 100},
      {0.01F, 199},
      {0.1F, 300},
      {0.0001F, 0},
      {0.000101F, 0},
      {0.000103F, 1},
      {2, 430},
      {0.5F, 369},
      {977237, 998},
      {977238, 999},
  };
  for (const auto& [value, number] : cases) {
    EXPECT_EQ(classifier.classOf(value), number) << value;
  }
}

TEST(PowerFlickerAddToClass, ValuesAboveTheTopClassCountInIt) {
  Classifier classifier(1);
  for (const float value : {999999.9F, 1e6F, 1000000.06F, 1023293.0F, 1e7F, 1e10F, 1e20F, 3e38F,
                            std::numeric_limits<float>::max(), infinity}) {
    EXPECT_EQ(classifier.classOf(value), 999U) << value;
  }
}

TEST(PowerFlickerAddToClass, WhatIsNotAboveZeroCountsInTheFirstClass) {
  Classifier classifier(1);
  for (const float value : {0.0F, -0.0F, -1.0F, -1e-45F, -1e30F, -infinity, nan, -nan}) {
    EXPECT_EQ(classifier.classOf(value), 0U) << value;
  }
}

TEST(PowerFlickerAddToClass, ValuesFarBelowTheLowestClassCountInTheTopClass) {
  Classifier classifier(1);
  for (const float value : {1e-5F, 9.7e-5F, 9.77e-5F, 1e-10F, 1e-30F, std::numeric_limits<float>::min(), 1e-40F,
                            std::numeric_limits<float>::denorm_min()}) {
    EXPECT_EQ(classifier.classOf(value), 999U) << value;
  }
}

TEST(PowerFlickerAddToClass, ValuesJustBelowTheFirstClassCountInIt) {
  Classifier classifier(1);
  for (const float value : {9.773e-5F, 9.8e-5F, 9.9e-5F, 9.999e-5F}) {
    EXPECT_EQ(classifier.classOf(value), 0U) << value;
  }
  // From a hundredth of a decade below on: 10^-4.01 is 9.7723722e-5, between two singles.
  auto above = static_cast<float>(std::pow(10.0, -4.01));
  if (static_cast<double>(above) < std::pow(10.0, -4.01)) {
    above = std::nextafter(above, 1.0F);
  }
  EXPECT_EQ(classifier.classOf(above), 0U);
  EXPECT_EQ(classifier.classOf(std::nextafter(above, 1.0F)), 0U);
  EXPECT_EQ(classifier.classOf(std::nextafter(above, 0.0F)), 999U);
}

TEST(PowerFlickerAddToClass, EveryClassBeginsAtItsBorder) {
  Classifier classifier(1);
  for (std::size_t number = 1; number <= 999; ++number) {
    const double border = std::pow(10.0, static_cast<double>(number) / 100 - 4);
    auto first = static_cast<float>(border);
    if (static_cast<double>(first) < border) {
      first = std::nextafter(first, infinity);
    }
    EXPECT_EQ(classifier.classOf(std::nextafter(first, 0.0F)), number - 1) << "below the border of " << number;
    EXPECT_EQ(classifier.classOf(first), number) << "at the border of " << number;
    EXPECT_EQ(classifier.classOf(std::nextafter(first, infinity)), number) << "above the border of " << number;
  }
}

TEST(PowerFlickerAddToClass, CountZeroDoesNothing) {
  Classifier classifier(1);
  const std::vector<uint32_t> counters(1000, 42);
  EXPECT_EQ(classifier.run({}, counters), counters);
}

TEST(PowerFlickerAddToClass, CountersGrowByTheNumberOfTheirValues) {
  Classifier classifier(7);
  std::vector<uint32_t> counters(1000);
  for (std::size_t i = 0; i < counters.size(); ++i) {
    counters[i] = static_cast<uint32_t>(3 * i);
  }
  std::vector<uint32_t> expected = counters;
  expected[400] += 3;
  expected[500] += 1;
  expected[0] += 1;
  expected[999] += 2;
  EXPECT_EQ(classifier.run(std::array{1.0F, -5.0F, 1.0F, 10.0F, 1e9F, 1.0F, 1e-9F}, counters), expected);
}

TEST(PowerFlickerAddToClass, CountersWrapAt32Bits) {
  Classifier classifier(3);
  std::vector<uint32_t> counters(1000, 0xFFFFFFFF);
  std::vector<uint32_t> expected = counters;
  expected[400] = 1;
  expected[0] = 0;
  EXPECT_EQ(classifier.run(std::array{1.0F, 0.0F, 1.0F}, counters), expected);
}

TEST(PowerFlickerAddToClass, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  Classifier classifier(257);
  std::vector<uint32_t> counters(1000);
  for (uint32_t& counter : counters) {
    counter = static_cast<uint32_t>(random.bits());
  }
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      const std::vector<float> values = samplesOf(sampleClass, count, random);
      for (const Placement& placement : support::allPlacements<float>()) {
        ASSERT_TRUE(
            classifier.equalsModel(values, counters, placement, random.oneOf(support::allPlacements<uint32_t>())))
            << sampleClass;
      }
    }
  }
}

TEST(PowerFlickerAddToClass, RandomValuesOfAllClassesEqualTheModel) {
  support::TestRandom random;
  Classifier classifier(support::largestCount);
  for (const uint32_t count : support::largeCounts()) {
    std::vector<float> values(count);
    for (float& value : values) {
      value = static_cast<float>(std::pow(10.0, 11 * random.unit() - 4.5));
    }
    ASSERT_TRUE(classifier.equalsModel(values, std::vector<uint32_t>(1000, 0)));
    ASSERT_TRUE(classifier.equalsModel(samplesOf(support::SampleClass::wholeRange, count, random),
                                       std::vector<uint32_t>(1000, 0)));
  }
}

}  // namespace
