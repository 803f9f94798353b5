#include "reference/pink_filter.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstring>
#include <limits>
#include <numbers>
#include <span>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

static_assert(offsetof(PinkFilterState, b0) == 0);
static_assert(offsetof(PinkFilterState, b1) == 8);
static_assert(offsetof(PinkFilterState, b2) == 16);
static_assert(offsetof(PinkFilterState, b3) == 24);
static_assert(offsetof(PinkFilterState, b4) == 32);
static_assert(offsetof(PinkFilterState, b5) == 40);
static_assert(offsetof(PinkFilterState, b6) == 48);
static_assert(offsetof(PinkFilterState, b7) == 56);
static_assert(sizeof(PinkFilterState) == 64);

using Values = std::array<double, 8>;

Values valuesOf(const PinkFilterState& state) {
  Values values;
  std::memcpy(values.data(), &state, sizeof state);
  return values;
}

PinkFilterState stateOf(const Values& values) {
  PinkFilterState state;
  std::memcpy(&state, values.data(), sizeof state);
  return state;
}

/// One call: its result, and the record after it.
testing::AssertionResult delivers(const Values& before, double sample, double expected, const Values& after) {
  PinkFilterState state = stateOf(before);
  testing::AssertionResult result = support::sameResult(kxcalcPinkFilter_double(&state, sample), expected);
  if (result) {
    result = support::sameResult(valuesOf(state), after) << ", in the record";
  }
  return result;
}

TEST(PinkFilter_double, TheFirstCallWithInput1) {
  PinkFilterState state = {};
  EXPECT_NEAR(kxcalcPinkFilter_double(&state, 1), 0.35262232, 5e-9);
  EXPECT_NEAR(state.b0, 0.01110358, 1e-16);
}

TEST(PinkFilter_double, EachSectionHasItsGain) {
  // 0.2 * 5 is exactly 1.
  const Values gains{0.0555179, 0.0750759, 0.153852, 0.3104856, 0.5329522, -0.016898, 0.115926, 0.5362};
  PinkFilterState state = {};
  kxcalcPinkFilter_double(&state, 5);
  EXPECT_TRUE(support::sameBits(valuesOf(state), gains));
}

TEST(PinkFilter_double, EachSectionHasItsPole) {
  const std::array<double, 6> poles{0.99886, 0.99332, 0.969, 0.8665, 0.55, -0.7616};
  for (std::size_t section = 0; section < poles.size(); ++section) {
    Values before{};
    Values after{0, 0, 0, 0, 0, -0.0, 0, 0};  // +0 by a negative pole, and by a negative gain
    before[section] = 1;
    after[section] = poles[section];
    EXPECT_TRUE(delivers(before, 0, poles[section], after)) << section;
  }
}

TEST(PinkFilter_double, TheLastDirectTermsAreWrittenButNotRead) {
  EXPECT_TRUE(delivers({1, 0, 0, 0, 0, 0, nan, infinity}, 0, 0.99886, {0.99886, 0, 0, 0, 0, -0.0, 0, 0}));
}

TEST(PinkFilter_double, DirectTermsKeepTheSignOfAZero) {
  EXPECT_TRUE(delivers({}, 0, 0, {0, 0, 0, 0, 0, -0.0, 0, 0}));
  EXPECT_TRUE(delivers({}, -0.0, 0, {0, 0, 0, 0, 0, 0, -0.0, -0.0}));
}

TEST(PinkFilter_double, BothDirectTermsEnterTheSameSampleAndNotTheNext) {
  // What the sections hold is taken out after the first call.
  PinkFilterState state = {};
  const double sections = 0.0555179 + 0.0750759 + 0.153852 + 0.3104856 + 0.5329522 - 0.016898;
  EXPECT_NEAR(kxcalcPinkFilter_double(&state, 5) - sections, 0.115926 + 0.5362, 1e-15);
  state = stateOf({0, 0, 0, 0, 0, 0, state.b6, state.b7});
  EXPECT_EQ(kxcalcPinkFilter_double(&state, 0), 0);
}

TEST(PinkFilter_double, OutputOfAShortSequenceToTheLastBit) {
  PinkFilterState state = {};
  const struct {
    double sample;
    double output;
  } steps[] = {
      {1, 0x1.6915d350f565fp-2},     {0, 0x1.5ddb21dee1372p-3},   {0, 0x1.0db50909a75a1p-3},
      {-0.7, -0x1.11441003e1e3ep-3}, {0.3, 0x1.527369cfe0484p-4}, {0.001, 0x1.87ce3f09cceb8p-5},
  };
  for (const auto& [sample, output] : steps) {
    EXPECT_TRUE(support::sameBits(kxcalcPinkFilter_double(&state, sample), output)) << sample;
  }
  EXPECT_TRUE(support::sameBits(
      valuesOf(state),
      Values{0x1.b21c9966ef690p-8, 0x1.1b164f7c72ea5p-7, 0x1.eccaff961de94p-7, 0x1.c77d55a3b5a69p-7,
             0x1.ffb93ec20a78ap-12, 0x1.8a20ab2dabb6dp-9, 0x1.84fbacfe082acp-16, 0x1.c1cc12bd9cd92p-14}));
}

TEST(PinkFilter_double, TheOutputIsTheSumOfTwoInterleavedSums) {
  // ((b0 + b2) + b4) + b6 and ((b1 + b3) + b5) + b7: what overflows early stays infinite, whatever follows it.
  constexpr double large = 1.7e308;
  const auto output = [](const Values& before) {
    PinkFilterState state = stateOf(before);
    return kxcalcPinkFilter_double(&state, 0);
  };
  EXPECT_EQ(output({large, 0, large, 0, -large, 0, 0, 0}), infinity);
  EXPECT_EQ(output({large, -large, large, 0, 0, 0, 0, 0}), infinity);
  EXPECT_EQ(output({large, 0, large, -large, 0, 0, 0, 0}), infinity);
  EXPECT_EQ(output({0, large, 0, large, -large, 0, 0, 0}), infinity);
  EXPECT_EQ(output({-large, large, 0, large, 0, 0, 0, 0}), infinity);
  EXPECT_EQ(output({0, large, 0, 0.9 * large, 0, large, 0, 0}), infinity);
  EXPECT_TRUE(std::isfinite(output({large, 0, -large, 0, large, 0, 0, 0})));
  EXPECT_TRUE(std::isfinite(output({large, large, -large, -large, 0, 0, 0, 0})));
  EXPECT_TRUE(std::isfinite(output({0, large, 0, -large, 0, -large, 0, 0})));
  EXPECT_TRUE(std::isnan(output({large, -large, large, -large, 0, 0, 0, 0})));
}

TEST(PinkFilter_double, SilenceLetsTheStatesDecayByTheirPoles) {
  PinkFilterState state = stateOf({1, 1, 1, 1, 1, 1, 1, 1});
  Values expected{1, 1, 1, 1, 1, 1, 0, 0};
  const std::array<double, 6> poles{0.99886, 0.99332, 0.969, 0.8665, 0.55, -0.7616};
  for (int call = 1; call <= 3000; ++call) {
    kxcalcPinkFilter_double(&state, 0);
    for (std::size_t section = 0; section < poles.size(); ++section) {
      expected[section] = expected[section] * poles[section];
    }
    ASSERT_EQ(state.b0, expected[0]);
    ASSERT_EQ(state.b1, expected[1]);
    ASSERT_EQ(state.b2, expected[2]);
    ASSERT_EQ(state.b3, expected[3]);
    ASSERT_EQ(state.b4, expected[4]);
    ASSERT_EQ(state.b5, expected[5]);
    ASSERT_TRUE(call > 1000 || (state.b5 < 0) == (call % 2 == 1)) << "changes its sign each call";
    ASSERT_EQ(state.b6, 0);
    ASSERT_EQ(state.b7, 0);
  }
}

TEST(PinkFilter_double, NansAndInfinitiesStayInTheSections) {
  PinkFilterState state = {};
  EXPECT_TRUE(std::isnan(kxcalcPinkFilter_double(&state, infinity)));  // b5 is -infinity
  EXPECT_TRUE(support::sameResult(
      valuesOf(state), Values{infinity, infinity, infinity, infinity, infinity, -infinity, infinity, infinity}));
  kxcalcPinkFilter_double(&state, 0);
  EXPECT_TRUE(
      support::sameResult(valuesOf(state), Values{infinity, infinity, infinity, infinity, infinity, infinity, 0, 0}));
  kxcalcPinkFilter_double(&state, nan);
  EXPECT_TRUE(std::isnan(kxcalcPinkFilter_double(&state, 0)));
  EXPECT_TRUE(support::sameResult(valuesOf(state), Values{nan, nan, nan, nan, nan, nan, 0, 0}));
}

TEST(PinkFilter_double, EqualsTheModelForRecordsAndSamplesOfEveryClass) {
  support::TestRandom random;
  support::FencedBuffer<double> memory(8);
  for (const support::SampleClass states : support::sampleClasses<double>()) {
    for (const support::SampleClass inputs : support::sampleClasses<double>()) {
      for (const support::Placement& placement : support::allPlacements<double>()) {
        for (int repetition = 0; repetition < 10; ++repetition) {
          const std::span<double> values = memory.place(8, placement);
          support::fill(values, states, random);
          auto* const state = reinterpret_cast<PinkFilterState*>(values.data());
          PinkFilterState expectedState = *state;
          std::vector<double> samples(4);
          support::fill(std::span(samples), inputs, random);
          for (const double& sample : samples) {
            const double expected = reference::kxcalcPinkFilter_double(&expectedState, sample);
            ASSERT_TRUE(support::sameResult(kxcalcPinkFilter_double(state, sample), expected))
                << states << ", " << inputs << ", " << placement;
            ASSERT_TRUE(support::sameResult(values, valuesOf(expectedState))) << states << ", " << inputs;
            ASSERT_TRUE(memory.surroundingsIntact()) << placement;
          }
        }
      }
    }
  }
}

TEST(PinkFilter_double, EqualsTheModelOverAMillionSamples) {
  support::TestRandom random;
  PinkFilterState ofKernel = {};
  PinkFilterState ofModel = {};
  std::size_t different = 0;
  for (int i = 0; i < 1000000; ++i) {
    const double sample = 2 * random.unit() - 1;
    different += static_cast<std::size_t>(kxcalcPinkFilter_double(&ofKernel, sample) !=
                                          reference::kxcalcPinkFilter_double(&ofModel, sample));
  }
  EXPECT_EQ(different, 0U);
  EXPECT_TRUE(support::sameBits(valuesOf(ofKernel), valuesOf(ofModel)));
}

TEST(PinkFilter_double, GainFallsByThreeDecibelsAnOctave) {
  PinkFilterState state = {};
  std::vector<double> response(40000);
  for (std::size_t i = 0; i < response.size(); ++i) {
    response[i] = kxcalcPinkFilter_double(&state, i == 0 ? 1 : 0);
  }
  // At 44100 samples a second.
  const struct {
    double frequency;
    double decibel;
  } points[] = {{9.2, 19.776584},  {20, 16.421634},   {100, 9.424585},     {1000, -0.539042},
                {2000, -3.626412}, {5000, -7.628431}, {10000, -10.331471}, {20000, -11.870898}};
  for (const auto& [frequency, decibel] : points) {
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < response.size(); ++i) {
      sum += std::polar(response[i], -2 * std::numbers::pi * frequency / 44100 * static_cast<double>(i));
    }
    EXPECT_NEAR(20 * std::log10(std::abs(sum)), decibel, 1e-6) << frequency;
  }
}

}  // namespace
