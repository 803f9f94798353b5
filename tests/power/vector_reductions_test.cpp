#include "reference/vector_reductions.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>
#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "power/serial_terms.hpp"
#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float highest = std::numeric_limits<float>::max();
constexpr float smallest = std::numeric_limits<float>::denorm_min();
constexpr double twoTo53 = 9007199254740992.0;
constexpr int32_t lowestCount = std::numeric_limits<int32_t>::min();

// The layout of the records, for pointers of 4 and of 8 bytes.
constexpr std::size_t pointer = sizeof(void*);
static_assert(offsetof(PowerFirArgs, ring) == 0);
static_assert(offsetof(PowerFirArgs, coefficients) == pointer);
static_assert(offsetof(PowerFirArgs, position) == 2 * pointer);
static_assert(offsetof(PowerFirArgs, row) == 2 * pointer + 4);
static_assert(offsetof(PowerFirArgs, length) == 2 * pointer + 8);
static_assert(sizeof(PowerFirArgs) == (pointer == 4 ? 20 : 32));
static_assert(offsetof(PowerScaleArgs, input) == 0);
static_assert(offsetof(PowerScaleArgs, output) == pointer);
static_assert(offsetof(PowerScaleArgs, sum) == 2 * pointer);
static_assert(offsetof(PowerScaleArgs, scale) == 2 * pointer + 8);
static_assert(offsetof(PowerScaleArgs, count) == 2 * pointer + 12);
static_assert(offsetof(PowerScaleArgs, accumulate) == 2 * pointer + 16);
static_assert(sizeof(PowerScaleArgs) == (pointer == 4 ? 32 : 40));

/// Ring, coefficient row and record at fences.
class Filter {
public:
  float output(std::span<const float> ring, std::span<const float> row, uint32_t position,
               const Placement& ringPlacement = support::endsAtFence) {
    const std::span<float> samples = ringMemory_.place(ring.size(), ringPlacement);
    const std::span<float> coefficients = rowMemory_.place(row.size(), support::endsAtFence);
    std::ranges::copy(ring, samples.begin());
    std::ranges::copy(row, coefficients.begin());
    const PowerFirArgs args{samples.data(), coefficients.data(), position, static_cast<uint32_t>(row.size() / 16 - 1),
                            static_cast<uint32_t>(ring.size())};
    PowerFirArgs& record = recordMemory_.place(1, support::endsAtFence)[0];
    std::memcpy(&record, &args, sizeof args);
    const float result = kxcalcPowerCalcFIR_float(&record);
    // Without what pads the fields.
    EXPECT_EQ(std::memcmp(&record, &args, offsetof(PowerFirArgs, length) + sizeof args.length), 0) << "record changed";
    EXPECT_TRUE(support::sameBits(samples, ring) && support::sameBits(coefficients, row)) << "input changed";
    return result;
  }

private:
  support::FencedBuffer<float> ringMemory_{300};
  support::FencedBuffer<float> rowMemory_{128};
  support::FencedBuffer<PowerFirArgs> recordMemory_{1};
};

/// Sixteen samples in a ring of 24, beside one another where they lie first or last, and across its end, five samples
/// before it, else.
struct Rings {
  explicit Rings(const std::array<float, 16>& samples) : first(24, nan), last(24, nan), across(24, nan) {
    std::ranges::copy(samples, first.begin());
    std::ranges::copy(samples, last.begin() + 8);
    std::copy(samples.begin(), samples.begin() + 5, across.begin() + 19);
    std::copy(samples.begin() + 5, samples.end(), across.begin());
  }

  std::vector<float> first;
  std::vector<float> last;
  std::vector<float> across;
};

struct Output {
  float beside;
  float across;
};

void expectOutput(const std::array<float, 16>& samples, const std::array<float, 16>& row, const Output& expected) {
  Filter filter;
  const Rings rings(samples);
  for (const Placement& placement : support::allPlacements<float>()) {
    EXPECT_TRUE(support::sameResult(filter.output(rings.first, row, 16, placement), expected.beside))
        << testing::PrintToString(samples) << ' ' << placement;
    EXPECT_TRUE(support::sameResult(filter.output(rings.last, row, 24, placement), expected.beside))
        << testing::PrintToString(samples) << ' ' << placement;
    EXPECT_TRUE(support::sameResult(filter.output(rings.last, row, 0, placement), expected.beside))
        << testing::PrintToString(samples) << ' ' << placement;
    EXPECT_TRUE(support::sameResult(filter.output(rings.across, row, 11, placement), expected.across))
        << testing::PrintToString(samples) << ' ' << placement;
  }
}

alignas(16) constexpr std::array<float, 16> ones{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};

/// Samples of which some are 1, one is 2^24, which swallows a 1 but not a 2, and all others 0.
std::array<float, 16> bigAndOnes(std::size_t big, std::initializer_list<std::size_t> positionsOfOnes) {
  std::array<float, 16> samples{};
  samples[big] = 0x1p24F;
  for (const std::size_t position : positionsOfOnes) {
    samples[position] = 1;
  }
  return samples;
}

TEST(PowerCalcFIR_float, SixteenEqualCoefficientsGiveTheMean) {
  expectOutput({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16},
               {0x1p-4F, 0x1p-4F, 0x1p-4F, 0x1p-4F, 0x1p-4F, 0x1p-4F, 0x1p-4F, 0x1p-4F, 0x1p-4F, 0x1p-4F, 0x1p-4F,
                0x1p-4F, 0x1p-4F, 0x1p-4F, 0x1p-4F, 0x1p-4F},
               {8.5F, 8.5F});
}

TEST(PowerCalcFIR_float, TheFirstCoefficientMeetsTheOldestOfSixteenSamplesAtEachPositionAndLength) {
  Filter filter;
  for (uint32_t length = 16; length <= 70; ++length) {
    for (uint32_t position = 0; position <= length; ++position) {
      std::vector<float> ring(length, nan);  // what is older than 16 samples is not used
      for (uint32_t j = 0; j < 16; ++j) {
        ring[(position + length - 16 + j) % length] = static_cast<float>(j + 1);
      }
      for (std::size_t j = 0; j < 16; ++j) {
        std::array<float, 16> row{};
        row[j] = -3;
        ASSERT_EQ(filter.output(ring, row, position), -3 * static_cast<float>(j + 1))
            << "position " << position << " of " << length << ", coefficient " << j;
      }
    }
  }
}

TEST(PowerCalcFIR_float, SamplesBesideOneAnotherAreSummedInFourLanesAndThoseAcrossTheEndInOrder) {
  constexpr float swallowed = 0x1p24F;
  constexpr float kept = 0x1p24F + 2;
  const struct {
    std::array<float, 16> samples;
    Output expected;
  } cases[] = {
      // Within lane 0: (8 + 12) + (0 + 4).
      {bigAndOnes(8, {0, 4}), {kept, kept}},
      {bigAndOnes(0, {8, 12}), {kept, swallowed}},
      {bigAndOnes(0, {4, 8}), {swallowed, swallowed}},
      {bigAndOnes(0, {4, 12}), {swallowed, swallowed}},
      {bigAndOnes(12, {0, 4}), {kept, kept}},
      {bigAndOnes(12, {8, 4}), {swallowed, kept}},
      {bigAndOnes(4, {0, 8}), {swallowed, swallowed}},
      {bigAndOnes(4, {8, 12}), {kept, swallowed}},
      {bigAndOnes(8, {12, 0}), {swallowed, swallowed}},
      // Lanes 1, 2, 3.
      {bigAndOnes(1, {9, 13}), {kept, swallowed}},
      {bigAndOnes(9, {1, 13}), {swallowed, swallowed}},
      {bigAndOnes(14, {2, 6}), {kept, kept}},
      {bigAndOnes(14, {2, 10}), {swallowed, kept}},
      {bigAndOnes(7, {11, 15}), {kept, swallowed}},
      {bigAndOnes(7, {3, 15}), {swallowed, swallowed}},
      // Of the lanes: (0 + 1) + (2 + 3).
      {bigAndOnes(0, {2, 3}), {kept, swallowed}},
      {bigAndOnes(0, {1, 2}), {swallowed, swallowed}},
      {bigAndOnes(0, {1, 3}), {swallowed, swallowed}},
      {bigAndOnes(1, {2, 3}), {kept, swallowed}},
      {bigAndOnes(1, {0, 3}), {swallowed, swallowed}},
      {bigAndOnes(2, {0, 1}), {kept, kept}},
      {bigAndOnes(2, {1, 3}), {swallowed, swallowed}},
      {bigAndOnes(15, {0, 1}), {kept, kept}},
      {bigAndOnes(15, {10, 1}), {swallowed, kept}},
      // A sum across the end goes on from one end to the other.
      {bigAndOnes(4, {0, 5}), {swallowed, swallowed}},
      {bigAndOnes(5, {3, 4}), {swallowed, kept}},
  };
  for (const auto& [samples, expected] : cases) {
    expectOutput(samples, ones, expected);
  }
}

TEST(PowerCalcFIR_float, EachProductIsRoundedToSingle) {
  // 4097 * 4097 is 2^24 + 2^13 + 1, a tie that becomes even.
  std::array<float, 16> samples{};
  std::array<float, 16> row{};
  for (std::size_t j = 0; j < 16; ++j) {
    samples.fill(0);
    row.fill(0);
    samples[j] = row[j] = 4097;
    samples[(j + 4) % 16] = -16785408.0F;
    row[(j + 4) % 16] = 1;
    expectOutput(samples, row, {0, 0});
  }
  expectOutput({3e38F, -3e38F}, {2, 2}, {nan, nan});
  expectOutput({3e38F, 1}, {2, 1}, {infinity, infinity});
  expectOutput({smallest, smallest, smallest, smallest}, {0.5F, 0.5F, 0.5F, 0.5F}, {0, 0});
}

TEST(PowerCalcFIR_float, NegativeZerosStayOnlyWhereTheSumDoesNotStartAtZero) {
  std::array<float, 16> samples{};
  samples.fill(-0.0F);
  expectOutput(samples, ones, {-0.0F, 0});
}

TEST(PowerCalcFIR_float, SpecialsPass) {
  for (std::size_t j = 0; j < 16; ++j) {
    std::array<float, 16> samples = ones;
    samples[j] = nan;
    expectOutput(samples, ones, {nan, nan});
    samples[j] = -infinity;
    expectOutput(samples, ones, {-infinity, -infinity});
    samples[(j + 7) % 16] = infinity;
    expectOutput(samples, ones, {nan, nan});
  }
}

TEST(PowerCalcFIR_float, OfTheCoefficientsOneRowIsRead) {
  support::FencedBuffer<float> memory(128);
  std::vector<float> ring(32);
  for (std::size_t i = 0; i < ring.size(); ++i) {
    ring[i] = static_cast<float>(i);
  }
  for (uint32_t row = 0; row < 8; ++row) {
    const std::span<float> bank = memory.place(std::size_t{16} * (row + 1), support::endsAtFence);
    std::ranges::fill(bank, nan);
    std::ranges::fill(bank.last(16), 2.0F);
    for (const auto& [position, sum] : {std::pair(16U, 120.0F), std::pair(32U, 376.0F), std::pair(3U, 328.0F)}) {
      const PowerFirArgs args{ring.data(), bank.data(), position, row, 32};
      EXPECT_EQ(kxcalcPowerCalcFIR_float(&args), 2 * sum) << "row " << row << ", position " << position;
    }
  }
  const std::span<float> onlyRow = memory.place(16, support::beginsAtFence);
  std::ranges::fill(onlyRow, 2.0F);
  const PowerFirArgs args{ring.data(), onlyRow.data(), 3, 0, 32};
  EXPECT_EQ(kxcalcPowerCalcFIR_float(&args), 656);
}

TEST(PowerCalcFIR_float, RowsMayLieAnywhereInALargeBank) {
  const std::vector<float> ring{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  for (const uint32_t row : {1U, 1000U, 0x04000001U, 0x10000001U}) {
    const uint64_t bytes = (uint64_t{row} + 1) * 64;
    if (bytes > std::numeric_limits<std::size_t>::max() / 8) {
      continue;
    }
    support::PageMapping mapping(static_cast<std::size_t>(bytes));
    mapping.open(std::size_t{row} * 64, 64);
    auto* const coefficients = reinterpret_cast<float*>(mapping.data());
    std::fill_n(coefficients + std::size_t{row} * 16, 16, 2.0F);
    const PowerFirArgs args{ring.data(), coefficients, 16, row, 16};
    EXPECT_EQ(kxcalcPowerCalcFIR_float(&args), 272) << row;
  }
}

TEST(PowerCalcFIR_float, OfTheRingSixteenSamplesAreRead) {
  // A ring of three pages, of which the samples used end or begin at inaccessible ones.
  const std::size_t page = support::PageMapping::pageSize();
  const auto inPage = static_cast<uint32_t>(page / sizeof(float));
  for (uint32_t position = 0; position <= 16; ++position) {
    support::PageMapping mapping(3 * page);
    auto* const ring = reinterpret_cast<float*>(mapping.data());
    for (uint32_t j = 0; j < 16; ++j) {
      const std::size_t index = (position + 3 * inPage - 16 + j) % (3 * inPage);
      mapping.open(index * sizeof(float), sizeof(float));
      ring[index] = static_cast<float>(j);
    }
    const PowerFirArgs args{ring, ones.data(), position, 0, 3 * inPage};
    EXPECT_EQ(kxcalcPowerCalcFIR_float(&args), 120) << position;
  }
  support::PageMapping mapping(3 * page);
  mapping.open(page, page);
  auto* const ring = reinterpret_cast<float*>(mapping.data());
  for (const uint32_t position : {inPage + 16, 2 * inPage}) {
    std::fill_n(ring + position - 16, 16, 3.0F);
    const PowerFirArgs args{ring, ones.data(), position, 0, 3 * inPage};
    EXPECT_EQ(kxcalcPowerCalcFIR_float(&args), 48) << position;
  }
}

TEST(PowerCalcFIR_float, PositionsAndLengthsAreUnsigned) {
  constexpr uint32_t longest = std::numeric_limits<uint32_t>::max();
  if (sizeof(std::size_t) == 4) {
    GTEST_SKIP() << "the address space is too small";
  }
  // Two ones after 2^24, which the four lanes keep and the sum across the end swallows.
  const std::array<float, 16> samples = bigAndOnes(0, {8, 12});
  for (const uint32_t length : {0x80000000U, 0x80000005U, longest - 1, longest}) {
    for (const uint32_t position : {0U, 1U, 15U, 16U, 0x7FFFFFFFU, 0x80000000U, length}) {
      support::PageMapping mapping(std::size_t{length} * sizeof(float) + support::PageMapping::pageSize());
      auto* const ring = reinterpret_cast<float*>(mapping.data());
      for (uint32_t j = 0; j < 16; ++j) {
        const std::size_t index = (std::size_t{position} + length - 16 + j) % length;
        mapping.open(index * sizeof(float), sizeof(float));
        ring[index] = samples[j];
      }
      const PowerFirArgs args{ring, ones.data(), position, 0, length};
      const bool isAcross = position > 0 && position < 16;
      EXPECT_EQ(kxcalcPowerCalcFIR_float(&args), isAcross ? 0x1p24F : 0x1p24F + 2)
          << "position " << position << " of " << length;
    }
  }
}

TEST(PowerCalcFIR_float, EqualsTheModelAtEveryPositionLengthAndPlacement) {
  support::TestRandom random;
  Filter filter;
  std::vector<float> row(16);
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (uint32_t length = 16; length <= 70; ++length) {
      std::vector<float> ring(length);
      support::fill(std::span(ring), sampleClass, random);
      for (uint32_t position = 0; position <= length; ++position) {
        support::fill(std::span(row), random.oneIn(2) ? sampleClass : support::SampleClass::signal, random);
        const PowerFirArgs args{ring.data(), row.data(), position, 0, length};
        const float expected = reference::kxcalcPowerCalcFIR_float(&args);
        for (const Placement& placement : support::allPlacements<float>()) {
          ASSERT_TRUE(support::sameResult(filter.output(ring, row, position, placement), expected))
              << sampleClass << ", position " << position << " of " << length << ", " << placement;
        }
      }
    }
  }
}

/// What the record holds besides the arrays.
struct Scaling {
  float scale;
  uint32_t accumulate;
  double sum;
};

struct Scaled {
  std::vector<float> output;
  double sum;
};

constexpr uint32_t accumulateValues[] = {0, 1, 2, 0x100, 0x10000, 0x80000000, 0xFFFFFFFF};

/// Input, output and record at fences.
class Scaler {
public:
  Scaled run(std::span<const double> values, int32_t count, const Scaling& scaling,
             const Placement& inputPlacement = support::endsAtFence,
             const Placement& outputPlacement = support::endsAtFence) {
    const std::span<double> input = inputMemory_.place(values.size(), inputPlacement);
    const std::span<float> output = outputMemory_.place(values.size(), outputPlacement);
    std::ranges::copy(values, input.begin());
    std::ranges::fill(output, -12345.0F);
    PowerScaleArgs args;
    std::memset(&args, 0xA5, sizeof args);
    args.input = input.data();
    args.output = output.data();
    std::memcpy(&args.sum, &scaling.sum, sizeof args.sum);
    args.scale = scaling.scale;
    args.count = count;
    args.accumulate = scaling.accumulate;
    PowerScaleArgs& record = recordMemory_.place(1, support::endsAtFence)[0];
    std::memcpy(&record, &args, sizeof args);
    kxcalcPowerSumVectorMultipliedWithScalar_double(&record);
    Scaled scaled{{output.begin(), output.end()}, 0};
    std::memcpy(&scaled.sum, &record.sum, sizeof scaled.sum);
    std::memcpy(&record.sum, &scaling.sum, sizeof record.sum);
    EXPECT_EQ(std::memcmp(&record, &args, sizeof args), 0) << "more than the sum of the record changed";
    EXPECT_TRUE(support::sameBits(input, values)) << "input changed";
    EXPECT_TRUE(outputMemory_.surroundingsIntact());
    return scaled;
  }

  testing::AssertionResult equalsModel(std::span<const double> values, const Scaling& scaling,
                                       const Placement& inputPlacement, const Placement& outputPlacement) {
    std::vector<float> output(values.size());
    PowerScaleArgs args{
        values.data(),     output.data(), scaling.sum, scaling.scale, static_cast<int32_t>(values.size()),
        scaling.accumulate};
    reference::kxcalcPowerSumVectorMultipliedWithScalar_double(&args);
    const Scaled actual = run(values, static_cast<int32_t>(values.size()), scaling, inputPlacement, outputPlacement);
    testing::AssertionResult result = support::sameResult(actual.output, output);
    if (result) {
      result = (scaling.accumulate == 0 ? support::sameBits(actual.sum, scaling.sum)
                                        : support::sameResult(actual.sum, double{args.sum}))
               << " of the sum";
    }
    if (!result) {
      result << "; " << values.size() << " elements, input " << inputPlacement << ", output " << outputPlacement
             << ", scale " << support::describe(scaling.scale) << ", accumulate " << scaling.accumulate << ", sum "
             << support::describe(scaling.sum);
    }
    return result;
  }

private:
  support::FencedBuffer<double> inputMemory_{support::largestCount};
  support::FencedBuffer<float> outputMemory_{support::largestCount};
  support::FencedBuffer<PowerScaleArgs> recordMemory_{1};
};

/// The sum after the call, of outputs that are the inputs.
double sumAfter(std::span<const double> values, double sum) {
  return Scaler().run(values, static_cast<int32_t>(values.size()), {1, 1, sum}).sum;
}

TEST(PowerSumVectorMultipliedWithScalar_double, ScalesAndAddsMagnitudes) {
  Scaler scaler;
  const std::vector<double> input{-1, 2};
  const Scaled scaled = scaler.run(input, 2, {0.5F, 1, 10});
  EXPECT_TRUE(support::sameBits(scaled.output, std::vector<float>{-0.5F, 1}));
  EXPECT_EQ(scaled.sum, 11.5);
}

TEST(PowerSumVectorMultipliedWithScalar_double, EveryNumberButZeroAccumulates) {
  Scaler scaler;
  for (const uint32_t accumulate : accumulateValues) {
    for (const int32_t count : {1, 6, 7, 8, 9, 20}) {
      const std::vector<double> input(static_cast<std::size_t>(count), -3);
      const Scaled scaled = scaler.run(input, count, {2, accumulate, 100});
      EXPECT_TRUE(support::sameBits(scaled.output, std::vector<float>(input.size(), -6)));
      EXPECT_EQ(scaled.sum, accumulate == 0 ? 100 : 100 + 6 * count) << accumulate;
    }
  }
}

TEST(PowerSumVectorMultipliedWithScalar_double, WithoutAccumulationTheSumKeepsItsBits) {
  Scaler scaler;
  for (const uint64_t bits : {0x7FF0000000000001ULL, 0xFFF8000000001234ULL, 0x8000000000000000ULL, 1ULL}) {
    double sum;
    support::setBits(sum, bits);
    for (const int32_t count : {lowestCount, -1, 0, 1, 7, 8, 30}) {
      const std::vector<double> input(static_cast<std::size_t>(std::max(count, 0)), 3);
      EXPECT_TRUE(support::sameBits(scaler.run(input, count, {1, 0, sum}).sum, sum)) << count;
    }
  }
}

TEST(PowerSumVectorMultipliedWithScalar_double, ProductsAreFormedInDoubleAndThenRoundedToSingle) {
  const struct {
    double input;
    float scale;
    float output;
  } cases[] = {
      {1 + 0x1p-24, 3, 0x1.800002p+1F},  // 3 if the input were rounded first
      {1, 0.1F, 0.1F},
      {10, 0.1F, 1},  // 1 + 2^-26, also in double, where 10 times the double 0.1 is 1
      {0x1p-24, 0.1F, 0x1.99999ap-28F},
      {1e300, 1e-30F, infinity},
      {1e60, 1e-38F, 1e22F},
      {-1e39, 0.5F, -infinity},
      {-6e38, 0.5F, -3e38F},
      {1e-44, 1, 0x1.cp-147F},
      {0x1p-150, 1, 0},
      {-0x1p-150, 1, -0.0F},
      {0x1.8p-150, 1, 0x1p-149F},
      {1e-300, 1e38F, 0},
      {0, -1, -0.0F},
      {-0.0, -1, 0},
      {std::numeric_limits<double>::infinity(), 0, nan},
      {1, nan, nan},
      {1, -infinity, -infinity},
      // 3 times this is 1 + 2^-24 and a little, which double does not hold, so that a tie is left, which becomes even.
      {0x1.555556aaaaaabp-2, 3, 1},
  };
  Scaler scaler;
  for (const auto& [input, scale, output] : cases) {
    for (const uint32_t accumulate : {0U, 1U}) {
      for (int32_t count = 1; count <= 19; ++count) {
        for (const Placement& placement : support::allPlacements<double>()) {
          const auto size = static_cast<std::size_t>(count);
          ASSERT_TRUE(support::sameResult(
              scaler.run(std::vector<double>(size, input), count, {scale, accumulate, 0}, placement).output,
              std::vector<float>(size, output)))
              << support::describe(input) << " times " << support::describe(scale);
        }
      }
    }
  }
}

TEST(PowerSumVectorMultipliedWithScalar_double, MagnitudesAreAddedInOrderToASumOfTheirOwnWhichIsThenAdded) {
  EXPECT_EQ(sumAfter(std::vector<double>{1, 1}, twoTo53), twoTo53 + 2);
  EXPECT_EQ(sumAfter(std::vector<double>{1, -1}, -twoTo53), -twoTo53 + 2);
  EXPECT_EQ(sumAfter(std::vector<double>{twoTo53, 1, 1}, 0), twoTo53);
  EXPECT_EQ(sumAfter(std::vector<double>{-twoTo53, -1, -1}, 0), twoTo53);
  EXPECT_EQ(sumAfter(std::vector<double>{1, 1, twoTo53}, 0), twoTo53 + 2);
  EXPECT_EQ(sumAfter(std::vector<double>{1, twoTo53, 1}, 0), twoTo53);
  for (std::size_t count = 3; count <= 40; ++count) {
    std::vector<double> values(count, 0);
    values.front() = twoTo53;
    values[count - 2] = values[count - 1] = 1;
    EXPECT_EQ(sumAfter(values, 0), twoTo53) << count;
    std::ranges::reverse(values);
    EXPECT_EQ(sumAfter(values, 0), twoTo53 + 2) << count;
    EXPECT_EQ(sumAfter(std::vector<double>(2 * count, 1), twoTo53), twoTo53 + 2 * static_cast<double>(count)) << count;
  }
}

TEST(PowerSumVectorMultipliedWithScalar_double, TheSumIsThatOfTheOutputsRoundedToSingle) {
  // 1 + 2^-24 is a tie that becomes 1.
  EXPECT_EQ(sumAfter(std::vector<double>(10, 1 + 0x1p-24), 0), 10);
  EXPECT_EQ(sumAfter(std::vector<double>{1e39}, 0), static_cast<double>(infinity));
  EXPECT_EQ(sumAfter(std::vector<double>{1e38, 1e38, 1e38, 1e38}, 0), 4 * static_cast<double>(1e38F));
  EXPECT_EQ(sumAfter(std::vector<double>{0x1p-150, 0x1p-149}, 0), 0x1p-149);
}

TEST(PowerSumVectorMultipliedWithScalar_double, CountsBelowOneWriteNothingButAddZeroToTheSumIfAccumulating) {
  Scaler scaler;
  for (const int32_t count : {0, -1, -8, -1000, lowestCount}) {
    for (const uint32_t accumulate : accumulateValues) {
      EXPECT_TRUE(support::sameBits(scaler.run({}, count, {2, accumulate, 5.5}).sum, 5.5));
      EXPECT_TRUE(support::sameBits(scaler.run({}, count, {2, accumulate, -0.0}).sum, accumulate == 0 ? -0.0 : 0.0));
    }
  }
}

TEST(PowerSumVectorMultipliedWithScalar_double, SpecialsPassIntoTheSum) {
  constexpr double wideInfinity = std::numeric_limits<double>::infinity();
  constexpr double wideNan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(sumAfter(std::vector<double>{1, -wideInfinity, 2}, 3), wideInfinity);
  EXPECT_TRUE(support::sameResult(sumAfter(std::vector<double>{1, wideInfinity}, -wideInfinity), wideNan));
  EXPECT_TRUE(support::sameResult(sumAfter(std::vector<double>{1, -wideNan, 2}, 3), wideNan));
  EXPECT_TRUE(support::sameResult(sumAfter(std::vector<double>{1, 2}, wideNan), wideNan));
  EXPECT_TRUE(support::sameBits(sumAfter(std::vector<double>{-0.0, -0.0}, -0.0), 0.0));
}

Scaling randomScaling(support::Random& random) {
  constexpr float scales[] = {1,     -1,    0.5F,    3,       0.1F,     -1e-3F, 1e6F,      1e-30F,
                              1e30F, 1e38F, highest, 1e-38F,  smallest, 0,      -0.0F,     infinity,
                              nan,   2,     41,      0x1p-9F, 1e-20F,   1e20F,  1.000001F, -7};
  constexpr double sums[] = {0, -0.0, 1, -1, 1e300, -1e300, twoTo53, -twoTo53, 1234.5678, -1e-300, 5e-324};
  return {random.oneOf(scales), random.oneOf(accumulateValues), random.oneOf(sums)};
}

TEST(PowerSumVectorMultipliedWithScalar_double, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  Scaler scaler;
  for (const support::SampleClass sampleClass : support::sampleClasses<double>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      std::vector<double> values(count);
      support::fill(std::span(values), sampleClass, random);
      for (const Placement& input : support::allPlacements<double>()) {
        for (const Placement& output : support::allPlacements<float>()) {
          for (int repetition = 0; repetition < 3; ++repetition) {
            ASSERT_TRUE(scaler.equalsModel(values, randomScaling(random), input, output)) << sampleClass;
          }
        }
      }
    }
  }
}

TEST(PowerSumVectorMultipliedWithScalar_double, EqualsTheModelForLargeVectors) {
  support::TestRandom random;
  Scaler scaler;
  for (const support::SampleClass sampleClass : support::sampleClasses<double>()) {
    for (const uint32_t count : support::largeCounts()) {
      std::vector<double> values(count);
      support::fill(std::span(values), sampleClass, random);
      for (const uint32_t accumulate : {0U, 1U}) {
        ASSERT_TRUE(scaler.equalsModel(values, {1.25F, accumulate, 0.3}, support::pastBoundary(random.below(2)),
                                       support::pastBoundary(random.below(4))))
            << sampleClass;
      }
    }
  }
}

TEST(PowerSumVectorMultipliedWithScalar_double, SumsOfEverySizeOfTermRoundInAscendingOrder) {
  support::TestRandom random;
  Scaler scaler;
  for (int repetition = 0; repetition < 1500; ++repetition) {
    const auto count = static_cast<std::size_t>(random.between(1, 1500));
    const int highestStep = random.oneIn(2) ? 2 : random.between(30, 54);
    std::vector<double> values(count);
    double sum = 0;
    for (double& value : values) {
      const int lastBit = sum == 0 ? random.between(-40, 40) : std::ilogb(sum) - 52;
      const int exponent = std::clamp(lastBit + random.between(-4, highestStep), -120, 120);
      value = std::ldexp(random.sign() * random.between(1, 7), exponent);
      sum += std::fabs(value);
    }
    ASSERT_TRUE(scaler.equalsModel(values, {1, 1, random.unit()}, support::endsAtFence, support::endsAtFence));
  }
}

TEST(PowerSumVectorMultipliedWithScalar_double, SumsWithinAndBeyond53BitsAboveTheSmallestTermsLastBit) {
  support::TestRandom random;
  Scaler scaler;
  for (int repetition = 0; repetition < 4000; ++repetition) {
    const auto count = static_cast<std::size_t>(random.between(1, 700));
    // Terms of 24 bits: from a spread of 20 binades on few of them, from 29 on one of them makes roundings of the others.
    const int lowest = random.oneIn(8) ? -149 : random.between(-140, 60), spread = random.between(0, 34);
    std::vector<double> values(count);
    for (double& value : values) {
      const int exponent = random.oneIn(20) ? lowest : lowest + spread;
      value = random.oneIn(10) ? 0 : std::ldexp(random.sign() * (1 + random.unit()), exponent);
    }
    if (random.oneIn(10)) {
      values[random.below(count)] = random.oneIn(2) ? static_cast<double>(infinity) : static_cast<double>(nan);
    }
    ASSERT_TRUE(scaler.equalsModel(values, {1, 1, 0}, support::endsAtFence, support::endsAtFence)) << spread;
  }
}

TEST(PowerSumVectorMultipliedWithScalar_double, OneTermAtEachPositionThatAllOthersRound) {
  Scaler scaler;
  for (const std::size_t count : {std::size_t{70}, std::size_t{300}}) {
    for (std::size_t i = 0; i < count; ++i) {
      std::vector<double> values(count, 0x1.fffffep-1);
      // The last bits of sums from 64, 128 and 256 on are 2^-46, 2^-45 and 2^-44.
      for (const double term : {0x1p-47, 0x1.8p-46, 0x1p-45, 0x1.8p-45, 0x1p-60, 0x1p29}) {
        values[i] = term;
        ASSERT_TRUE(scaler.equalsModel(values, {1, 1, 0}, support::endsAtFence, support::endsAtFence)) << term;
      }
    }
  }
}

/// The values at a fence.
class SquareSum {
public:
  double operator()(std::span<const float> values, float scale, const Placement& placement = support::endsAtFence) {
    const std::span<float> input = memory_.place(values.size(), placement);
    std::ranges::copy(values, input.begin());
    const double sum =
        kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(input.data(), static_cast<int32_t>(input.size()), scale);
    EXPECT_TRUE(support::sameBits(input, values)) << "input changed";
    return sum;
  }

  testing::AssertionResult equalsModel(std::span<const float> values, float scale,
                                       const Placement& placement = support::endsAtFence) {
    testing::AssertionResult result = support::sameResult(
        (*this)(values, scale, placement), reference::kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(
                                               values.data(), static_cast<int32_t>(values.size()), scale));
    if (!result) {
      result << "; " << values.size() << " elements, scale " << support::describe(scale) << ", " << placement;
    }
    return result;
  }

private:
  support::FencedBuffer<float> memory_{support::largestCount};
};

TEST(PowerMultiplyAndSquareElementsAndSumVector_float, HandWorkedCases) {
  const struct {
    std::vector<float> values;
    float scale;
    double sum;
  } cases[] = {
      {{}, 1, 0},
      {{}, nan, 0},
      {{3, 4}, 1, 25},
      {{3, -4}, -2, 100},
      {{-0.0F}, 1, 0},
      // Scaled in single: 4097 * 4097 is 2^24 + 2^13 + 1, a tie that becomes even; squared in double.
      {{4097}, 4097, 16785408.0 * 16785408.0},
      {{16777215}, 1, 281474943156225.0},
      {{3e38F}, 2, static_cast<double>(infinity)},
      {{3e38F}, 1, static_cast<double>(3e38F) * static_cast<double>(3e38F)},
      {{smallest}, 0.5F, 0},
      {{smallest}, 1, 0x1p-298},
      {{1e-30F}, 1e-30F, 0},
      // 2^53 + 1 is a tie and stays even: in ascending order alone.
      {{0x1p26F, 0x1p26F, 1, 1}, 1, twoTo53},
      {{1, 1, 0x1p26F, 0x1p26F}, 1, twoTo53 + 2},
      {{1, 0x1p26F, 0x1p26F, 1}, 1, twoTo53},
      {{0x1p26F, 0x1p26F, 1, 2, 1}, 1, twoTo53 + 4},
      {{0x1p25F, 0x1p25F, 0.5F, 0.5F}, 2, twoTo53},
      {{infinity, 1}, 1, static_cast<double>(infinity)},
      {{1, -infinity}, -1, static_cast<double>(infinity)},
      {{infinity}, 0, static_cast<double>(nan)},
      {{1, nan, 1}, 1, static_cast<double>(nan)},
      {{1}, nan, static_cast<double>(nan)},
  };
  SquareSum squareSum;
  for (const auto& [values, scale, sum] : cases) {
    EXPECT_TRUE(support::sameResult(squareSum(values, scale), sum))
        << testing::PrintToString(values) << " times " << scale;
  }
}

TEST(PowerMultiplyAndSquareElementsAndSumVector_float, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  SquareSum squareSum;
  constexpr float scales[] = {1, -1, 0.1F, 3, 1e-3F, 1e6F, 1e-30F, 1e30F, 0, -0.0F, infinity, nan, highest, smallest};
  std::vector<uint32_t> counts = support::smallCounts(0);
  const std::vector<uint32_t> largeCounts = support::largeCounts();
  counts.insert(counts.end(), largeCounts.begin(), largeCounts.end());
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : counts) {
      std::vector<float> values(count);
      support::fill(std::span(values), sampleClass, random);
      for (const Placement& placement : support::allPlacements<float>()) {
        ASSERT_TRUE(squareSum.equalsModel(values, random.oneOf(scales), placement)) << sampleClass;
      }
    }
  }
}

TEST(PowerMultiplyAndSquareElementsAndSumVector_float, TiesAndCrossedBinadesRoundInAscendingOrder) {
  support::TestRandom random;
  SquareSum squareSum;
  for (int repetition = 0; repetition < 3000; ++repetition) {
    const auto count = static_cast<std::size_t>(random.between(1, 1500));
    const int highestStep = random.oneIn(2) ? 2 : random.between(30, 54);
    ASSERT_TRUE(squareSum.equalsModel(power::valuesAgainstTheSum(count, -6, highestStep, random),
                                      random.oneIn(2) ? 1 : 0x1p-20F))
        << repetition;
  }
  for (int repetition = 0; repetition < 20; ++repetition) {
    ASSERT_TRUE(squareSum.equalsModel(power::valuesAgainstTheSum(20011, -6, random.between(0, 53), random), 1))
        << repetition;
  }
  for (const std::vector<float>& values : power::valuesOfOneTieAfterTheOther()) {
    ASSERT_TRUE(squareSum.equalsModel(values, 1));
  }
  ASSERT_TRUE(squareSum.equalsModel(power::valuesThatMoveTheSumFar(), 1));
}

TEST(PowerMultiplyAndSquareElementsAndSumVector_float, OneMisbehavingTermAtEachPositionOfASteadySum) {
  support::TestRandom random;
  SquareSum squareSum;
  for (const std::size_t count : {std::size_t{70}, std::size_t{700}}) {
    std::vector<float> values = power::steadyValues(count, random);
    for (float& value : values) {
      for (const float misbehaving : power::misbehavingValues) {
        const float kept = std::exchange(value, misbehaving);
        ASSERT_TRUE(squareSum.equalsModel(values, 1)) << misbehaving;
        value = kept;
      }
    }
  }
}

TEST(PowerMultiplyAndSquareElementsAndSumVector_float, OneMisbehavingTermAnywhereInALongSteadySum) {
  support::TestRandom random;
  SquareSum squareSum;
  std::vector<float> values = power::steadyValues(20011, random);
  for (int repetition = 0; repetition < 300; ++repetition) {
    float& value = values[random.below(values.size())];
    const float kept = std::exchange(value, random.oneOf(power::misbehavingValues));
    ASSERT_TRUE(squareSum.equalsModel(values, 1)) << value;
    value = kept;
  }
}

TEST(PowerMultiplyAndSquareElementsAndSumVector_float, CountZeroIsPlusZeroAndReadsNothing) {
  support::PageMapping inaccessible(support::PageMapping::pageSize());
  const auto* const none = reinterpret_cast<const float*>(inaccessible.data());
  EXPECT_TRUE(support::sameBits(kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(none, 0, 1), 0.0));
}

TEST(PowerMultiplyAndSquareElementsAndSumVector_floatDeathTest, NegativeCountsAreLargeOnes) {
  const std::size_t page = support::PageMapping::pageSize();
  support::PageMapping mapping(2 * page);
  mapping.open(0, page);
  const auto* const values = reinterpret_cast<const float*>(mapping.data());
  const auto sumOf = [&](int32_t count) {
#if !defined(_WIN32)
    const rlimit noCoreDump{};
    setrlimit(RLIMIT_CORE, &noCoreDump);
#endif
    return kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(values, count, 1);
  };
  EXPECT_DEATH(sumOf(-1), "");
  EXPECT_DEATH(sumOf(lowestCount), "");
}

}  // namespace
