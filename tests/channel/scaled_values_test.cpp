#include "reference/scaled_values.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr int32_t lowestStride = std::numeric_limits<int32_t>::min();
constexpr int32_t highestStride = std::numeric_limits<int32_t>::max();

struct ChannelGetScaledValuesAtPos_float {
  using Params = ChannelScaledValuesParams_float;
  using Output = float;
  static constexpr const char* name = "ChannelGetScaledValuesAtPos_float";
  static constexpr auto kernel = &kxcalcChannelGetScaledValuesAtPos_float;
  static constexpr auto model = &reference::kxcalcChannelGetScaledValuesAtPos_float;
  static constexpr bool isAligned = false;
};

struct ChannelGetScaledValuesAtPos_float_aligned_output {
  using Params = ChannelScaledValuesParams_float;
  using Output = float;
  static constexpr const char* name = "ChannelGetScaledValuesAtPos_float_aligned_output";
  static constexpr auto kernel = &kxcalcChannelGetScaledValuesAtPos_float_aligned_output;
  static constexpr auto model = &reference::kxcalcChannelGetScaledValuesAtPos_float_aligned_output;
  static constexpr bool isAligned = true;
};

struct ChannelGetScaledValuesAtPos_double {
  using Params = ChannelScaledValuesParams_double;
  using Output = double;
  static constexpr const char* name = "ChannelGetScaledValuesAtPos_double";
  static constexpr auto kernel = &kxcalcChannelGetScaledValuesAtPos_double;
  static constexpr auto model = &reference::kxcalcChannelGetScaledValuesAtPos_double;
  static constexpr bool isAligned = false;
};

struct ChannelGetScaledValuesAtPos_double_aligned_output {
  using Params = ChannelScaledValuesParams_double;
  using Output = double;
  static constexpr const char* name = "ChannelGetScaledValuesAtPos_double_aligned_output";
  static constexpr auto kernel = &kxcalcChannelGetScaledValuesAtPos_double_aligned_output;
  static constexpr auto model = &reference::kxcalcChannelGetScaledValuesAtPos_double_aligned_output;
  static constexpr bool isAligned = true;
};

struct Names {
  template <typename Export>
  static std::string GetName(int) {
    return Export::name;
  }
};

template <typename Raw>
constexpr uint32_t typeCodeOf() {
  if constexpr (std::is_same_v<Raw, uint8_t>) {
    return KXCALC_UINT8;
  } else if constexpr (std::is_same_v<Raw, int8_t>) {
    return KXCALC_INT8;
  } else if constexpr (std::is_same_v<Raw, int16_t>) {
    return KXCALC_INT16;
  } else if constexpr (std::is_same_v<Raw, uint16_t>) {
    return KXCALC_UINT16;
  } else if constexpr (std::is_same_v<Raw, int32_t>) {
    return KXCALC_INT32;
  } else if constexpr (std::is_same_v<Raw, float>) {
    return KXCALC_SINGLE;
  } else if constexpr (std::is_same_v<Raw, int64_t>) {
    return KXCALC_INT64;
  } else if constexpr (std::is_same_v<Raw, double>) {
    return KXCALC_DOUBLE;
  } else {
    static_assert(std::is_same_v<Raw, uint32_t>);
    return KXCALC_UINT32;
  }
}

/// action.operator()<Raw>() for each raw sample type.
template <typename Action>
void forEachRawType(Action action) {
  action.template operator()<uint8_t>();
  action.template operator()<int8_t>();
  action.template operator()<int16_t>();
  action.template operator()<uint16_t>();
  action.template operator()<int32_t>();
  action.template operator()<float>();
  action.template operator()<int64_t>();
  action.template operator()<double>();
  action.template operator()<uint32_t>();
}

std::size_t stretchSize(int32_t count, int32_t stride) {
  return count < 1 ? 0 : 1 + static_cast<std::size_t>(count - 1) * static_cast<std::size_t>(std::abs(stride));
}

template <typename Export>
typename Export::Params paramsOf(uint32_t typeCode, const void* source, typename Export::Output* output, int32_t count,
                                 int32_t stride, double scale, double offset) {
  using Output = typename Export::Output;
  typename Export::Params params{};
  params.source = source;
  params.output = output;
  params.scale = static_cast<Output>(scale);
  params.offset = static_cast<Output>(offset);
  params.count = count;
  params.typeCode = typeCode;
  params.stride = stride;
  return params;
}

/// Where the output of an export may lie.
template <typename Export>
std::vector<Placement> outputPlacements(int32_t count) {
  using Output = typename Export::Output;
  if (!Export::isAligned) {
    return support::allPlacements<Output>();
  }
  std::vector<Placement> placements{support::beginsAtFence, support::pastBoundary(0)};
  if (count % static_cast<int32_t>(16 / sizeof(Output)) == 0) {
    placements.push_back(support::endsAtFence);
  }
  return placements;
}

struct Scaling {
  double scale;
  double offset;
};

/// An export on one raw sample type.
template <typename Export, typename Raw>
class Subject {
public:
  using Output = typename Export::Output;

  explicit Subject(std::size_t largestStretch = 2000)
      : sourceMemory_(largestStretch), outputMemory_(largestStretch), expected_(largestStretch) {}

  std::span<const Output> run(std::span<const Raw> stretch, int32_t count, int32_t stride, const Scaling& scaling,
                              const Placement& sourcePlacement, const Placement& outputPlacement) {
    place(stretch, count, stride, scaling, sourcePlacement, outputPlacement);
    Export::kernel(&params_);
    return output_;
  }

  testing::AssertionResult equalsModel(std::span<const Raw> stretch, int32_t count, int32_t stride,
                                       const Scaling& scaling, const Placement& sourcePlacement,
                                       const Placement& outputPlacement) {
    place(stretch, count, stride, scaling, sourcePlacement, outputPlacement);
    typename Export::Params expectedParams = params_;
    expectedParams.output = expected_.data();
    Export::model(&expectedParams);
    expectedParams.output = output_.data();
    Export::kernel(&params_);
    testing::AssertionResult result = support::sameResult(output_, std::span(expected_).first(output_.size()));
    if (result && !outputMemory_.surroundingsIntact()) {
      result = testing::AssertionFailure() << "written next to the output";
    }
    if (result && !std::ranges::equal(std::as_bytes(source_), std::as_bytes(stretch))) {
      result = testing::AssertionFailure() << "input changed";
    }
    if (result && std::memcmp(&params_, &expectedParams, sizeof params_) != 0) {
      result = testing::AssertionFailure() << "record changed";
    }
    if (!result) {
      result << "; type code " << params_.typeCode << ", " << count << " samples, stride " << stride << ", source "
             << sourcePlacement << ", output " << outputPlacement << ", scale "
             << support::describe(Output{params_.scale}) << ", offset " << support::describe(Output{params_.offset});
    }
    return result;
  }

private:
  void place(std::span<const Raw> stretch, int32_t count, int32_t stride, const Scaling& scaling,
             const Placement& sourcePlacement, const Placement& outputPlacement) {
    source_ = sourceMemory_.place(stretch.size(), sourcePlacement);
    std::ranges::copy(stretch, source_.begin());
    output_ = outputMemory_.place(static_cast<std::size_t>(std::max(count, 0)), outputPlacement);
    std::ranges::fill(output_, Output{-21846});
    const Raw* const first = source_.data() + (stride < 0 && count > 0 ? stretch.size() - 1 : 0);
    params_ = paramsOf<Export>(typeCodeOf<Raw>(), first, output_.data(), count, stride, scaling.scale, scaling.offset);
  }

  support::FencedBuffer<Raw> sourceMemory_;
  support::FencedBuffer<Output> outputMemory_;
  std::vector<Output> expected_;
  std::span<Raw> source_;
  std::span<Output> output_;
  typename Export::Params params_{};
};

/// A number next to a power of two, or next to the middle between two singles, where conversions round.
template <std::integral Raw>
Raw roundingEdge(support::Random& random) {
  constexpr int digits = std::numeric_limits<std::make_unsigned_t<Raw>>::digits;
  const int power = random.between(0, digits - 1);
  uint64_t value = uint64_t{1} << power;
  for (const int precision : {24, 53}) {
    if (power >= precision && random.oneIn(2)) {
      value += (uint64_t{1} << (power - precision)) * random.below(4);
    }
  }
  value += static_cast<uint64_t>(random.between(-2, 2));
  return static_cast<Raw>(random.oneIn(2) ? value : -value);
}

template <typename Raw>
std::vector<Raw> stretchOf(std::size_t size, support::Random& random) {
  std::vector<Raw> stretch(size);
  if constexpr (std::floating_point<Raw>) {
    support::fill(std::span(stretch), random.oneOf(support::sampleClasses<Raw>()), random);
  } else {
    const uint64_t style = random.below(3);
    for (Raw& raw : stretch) {
      raw = style == 0 || (style == 1 && random.oneIn(3)) ? roundingEdge<Raw>(random) : static_cast<Raw>(random.bits());
    }
  }
  return stretch;
}

/// The factors of ordinary channels, and what they should not be.
template <typename Output>
Scaling anyScaling(support::Random& random) {
  using Limits = std::numeric_limits<Output>;
  constexpr Output specials[] = {1,
                                 0,
                                 Output{-0.0},
                                 -1,
                                 Limits::infinity(),
                                 -Limits::infinity(),
                                 Limits::quiet_NaN(),
                                 Limits::max(),
                                 Limits::min(),
                                 Limits::denorm_min()};
  const auto any = [&] {
    switch (random.below(4)) {
      case 0:
        return static_cast<double>(random.oneOf(specials));
      case 1:
        return random.sign() * std::ldexp(1 + random.unit(), random.between(-140, 120));
      default:
        return random.sign() * random.unit();
    }
  };
  return {any(), any()};
}

/// An offset that takes the rounded product of a sample away: what is left shows whether the product was rounded.
template <typename Output, typename Raw>
Scaling cancelling(Raw raw, support::Random& random) {
  const auto scale = static_cast<Output>(random.sign() * (1 + random.unit()));
  return {static_cast<double>(scale), static_cast<double>(-(static_cast<Output>(raw) * scale))};
}

template <typename Export>
class ScaledValues : public testing::Test {};

using Exports = testing::Types<ChannelGetScaledValuesAtPos_float, ChannelGetScaledValuesAtPos_float_aligned_output,
                               ChannelGetScaledValuesAtPos_double, ChannelGetScaledValuesAtPos_double_aligned_output>;
TYPED_TEST_SUITE(ScaledValues, Exports, Names);

/// Raw values, and what comes out, whatever the count.
template <typename Export, typename Raw>
void expectValues(const std::vector<Raw>& raws, const Scaling& scaling,
                  const std::vector<typename Export::Output>& values) {
  Subject<Export, Raw> subject;
  for (int32_t count = 1; count <= 40; ++count) {
    for (std::size_t shift = 0; shift < raws.size(); ++shift) {
      std::vector<Raw> stretch;
      std::vector<typename Export::Output> expected;
      for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        stretch.push_back(raws[(i + shift) % raws.size()]);
        expected.push_back(values[(i + shift) % raws.size()]);
      }
      for (const Placement& placement : outputPlacements<Export>(count)) {
        ASSERT_TRUE(
            support::sameResult(subject.run(stretch, count, 1, scaling, support::endsAtFence, placement), expected))
            << "type code " << typeCodeOf<Raw>() << ", " << count << " samples, output " << placement;
      }
    }
  }
}

TYPED_TEST(ScaledValues, HandWorkedValuesOfSmallSamples) {
  expectValues<TypeParam, uint8_t>({0, 1, 127, 128, 255}, {0.5, -1}, {-1, -0.5, 62.5, 63, 126.5});
  expectValues<TypeParam, int8_t>({0, 1, 127, -128, -1}, {0.5, -1}, {-1, -0.5, 62.5, -65, -1.5});
  expectValues<TypeParam, int16_t>({0, 1, 32767, -32768, -1}, {2, 3}, {3, 5, 65537, -65533, 1});
  expectValues<TypeParam, uint16_t>({0, 1, 32767, 32768, 65535}, {2, 3}, {3, 5, 65537, 65539, 131073});
  expectValues<TypeParam, int32_t>({0, -1, 16777216, -16777216, 8388607}, {1, 0},
                                   {0, -1, 16777216, -16777216, 8388607});
  expectValues<TypeParam, float>({0.25F, -3, 1e30F, std::numeric_limits<float>::infinity()}, {4, 1},
                                 {2, -11, static_cast<typename TypeParam::Output>(1e30F) * 4,
                                  std::numeric_limits<typename TypeParam::Output>::infinity()});
}

TYPED_TEST(ScaledValues, IntegersAreRoundedOnceAndUnsignedOnesStayUnsigned) {
  constexpr int64_t one = 1;
  // Just above the middle between two singles, but in double that middle itself.
  constexpr int64_t aboveMiddle = (one << 60) + (one << 36) + 1;
  if constexpr (std::is_same_v<typename TypeParam::Output, float>) {
    expectValues<TypeParam, uint32_t>(
        {4294967295, 2147483648, 2147483776, 2147483777, 16777217, 0, 4294967167}, {1, 0},
        {4294967296.F, 2147483648.F, 2147483648.F, 2147483904.F, 16777216.F, 0, 4294967040.F});
    expectValues<TypeParam, int32_t>({16777217, 16777219, -16777217, 2147483647, -2147483647 - 1}, {1, 0},
                                     {16777216, 16777220, -16777216, 2147483648.F, -2147483648.F});
    expectValues<TypeParam, int64_t>(
        {aboveMiddle, -aboveMiddle, 16777217, std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()},
        {1, 0}, {0x1.000002p60F, -0x1.000002p60F, 16777216, 0x1p63F, -0x1p63F});
    // Raw doubles are scaled in double, by the single factor.
    expectValues<TypeParam, double>(
        {0.1, 1e300, 16777217}, {static_cast<double>(3.1F), 0},
        {static_cast<float>(0.1 * static_cast<double>(3.1F)), std::numeric_limits<float>::infinity(),
         static_cast<float>(16777217 * static_cast<double>(3.1F))});
    expectValues<TypeParam, double>({16777217}, {1, -16777216}, {1});
    expectValues<TypeParam, float>({16777216}, {1, 1}, {16777216});
  } else {
    expectValues<TypeParam, uint32_t>({4294967295, 2147483648, 2147483647, 0}, {1, 0},
                                      {4294967295., 2147483648., 2147483647., 0});
    expectValues<TypeParam, int32_t>({16777217, 2147483647, -2147483647 - 1}, {1, 0},
                                     {16777217, 2147483647, -2147483648.});
    expectValues<TypeParam, int64_t>({aboveMiddle, (one << 53) + 1, (one << 53) + 3, -(one << 53) - 1,
                                      std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()},
                                     {1, 0}, {0x1.000001p60, 0x1p53, 0x1p53 + 4, -0x1p53, 0x1p63, -0x1p63});
    expectValues<TypeParam, double>({0.1, 1e300}, {3, 0}, {0.1 * 3, 3e300});
    expectValues<TypeParam, float>({16777216}, {1, 1}, {16777217});
  }
}

TYPED_TEST(ScaledValues, ProductAndSumAreRoundedOneAfterTheOther) {
  // (1 + e)^2 = 1 + 2e + e^2: the square of the last bit is gone before 1 + 2e is taken away.
  using Output = typename TypeParam::Output;
  const double last = static_cast<double>(std::numeric_limits<Output>::epsilon());
  const Scaling scaling{1 + last, -1 - 2 * last};
  if constexpr (std::is_same_v<Output, float>) {
    expectValues<TypeParam, float>({1 + std::numeric_limits<float>::epsilon()}, scaling, {0});
  } else {
    expectValues<TypeParam, double>({1 + last}, scaling, {0});
  }
}

TYPED_TEST(ScaledValues, EqualsTheModelForEveryTypeStrideCountAndPlacement) {
  using Output = typename TypeParam::Output;
  support::TestRandom random;
  forEachRawType([&]<typename Raw>() {
    Subject<TypeParam, Raw> subject;
    for (int32_t count = 0; count <= 67; ++count) {
      for (const int32_t stride : {1, 3, 0, -1, 2, -3, 17}) {
        for (const Placement& placement : outputPlacements<TypeParam>(count)) {
          const auto stretch = stretchOf<Raw>(stretchSize(count, stride), random);
          const bool cancels = count > 0 && random.oneIn(4);
          const Scaling scaling =
              cancels ? cancelling<Output>(random.oneOf(stretch), random) : anyScaling<Output>(random);
          ASSERT_TRUE(subject.equalsModel(stretch, count, stride, scaling, random.oneOf(support::allPlacements<Raw>()),
                                          placement));
        }
      }
    }
  });
}

TYPED_TEST(ScaledValues, EqualsTheModelForLargeCounts) {
  using Output = typename TypeParam::Output;
  support::TestRandom random;
  forEachRawType([&]<typename Raw>() {
    Subject<TypeParam, Raw> subject(3 * support::largestCount);
    for (const uint32_t largeCount : support::largeCounts()) {
      const auto count = static_cast<int32_t>(largeCount);
      for (const int32_t stride : {1, 2, -1, 3}) {
        const auto stretch = stretchOf<Raw>(stretchSize(count, stride), random);
        ASSERT_TRUE(subject.equalsModel(stretch, count, stride, anyScaling<Output>(random),
                                        random.oneOf(support::allPlacements<Raw>()),
                                        random.oneOf(outputPlacements<TypeParam>(count))));
      }
    }
  });
}

TYPED_TEST(ScaledValues, EqualsTheModelForEverySmallSample) {
  using Output = typename TypeParam::Output;
  support::TestRandom random;
  forEachRawType([&]<typename Raw>() {
    if constexpr (sizeof(Raw) <= 2) {
      std::vector<Raw> stretch;
      for (uint32_t pattern = 0; pattern < 65536; ++pattern) {
        stretch.push_back(static_cast<Raw>(pattern));
      }
      Subject<TypeParam, Raw> subject(stretch.size());
      for (const Scaling& scaling : {Scaling{1, 0}, cancelling<Output>(stretch[77], random), {3.7e-5, -11.3}}) {
        ASSERT_TRUE(
            subject.equalsModel(stretch, 65536, 1, scaling, support::pastBoundary(1), support::pastBoundary(0)));
      }
    }
  });
}

TYPED_TEST(ScaledValues, UnknownTypeCodesAndCountsBelowOneTouchNothing) {
  using Output = typename TypeParam::Output;
  support::FencedBuffer<double> source(1);
  support::FencedBuffer<Output> output(64);
  const auto expectNothing = [&](uint32_t typeCode, int32_t count, int32_t stride) {
    double* const noSource = source.place(0, support::endsAtFence).data();
    const std::span<Output> untouched = output.place(64, support::pastBoundary(0));
    std::ranges::fill(untouched, Output{-21846});
    const auto params = paramsOf<TypeParam>(typeCode, noSource, untouched.data(), count, stride, 2, 3);
    TypeParam::kernel(&params);
    EXPECT_TRUE(support::sameBits(untouched, std::vector<Output>(64, Output{-21846})))
        << "type code " << typeCode << ", " << count << " samples";
    EXPECT_TRUE(output.surroundingsIntact());
  };
  for (const int32_t stride : {1, 0, -1, highestStride, lowestStride}) {
    for (const uint32_t typeCode :
         {9U, 10U, 16U, 255U, 256U, 260U, 0x10000U, 0x7FFFFFFFU, 0x80000000U, 0x80000002U, 0xFFFFFFF8U, 0xFFFFFFFFU}) {
      for (const int32_t count : {1, 4, 16, 64}) {
        expectNothing(typeCode, count, stride);
      }
    }
    for (uint32_t typeCode = 0; typeCode <= 9; ++typeCode) {
      for (const int32_t count : {0, -1, -4, -64, std::numeric_limits<int32_t>::min()}) {
        expectNothing(typeCode, count, stride);
      }
    }
  }
}

TYPED_TEST(ScaledValues, ReadsNothingBetweenTheSamplesThatItGathers) {
  // Every sample is the first, then the last, of a page of its own, and the pages between are inaccessible.
  const std::size_t page = support::PageMapping::pageSize();
  forEachRawType([&]<typename Raw>() {
    const auto distance = static_cast<int32_t>(2 * page / sizeof(Raw));
    for (const int32_t count : {1, 3, 4, 5, 8, 9, 10, 16, 19}) {
      for (const std::size_t offsetInPage : {std::size_t{0}, page - sizeof(Raw)}) {
        for (const int32_t stride : {distance, -distance}) {
          const auto size = static_cast<std::size_t>(count);
          support::PageMapping mapping(2 * page * (size + 1));
          alignas(16) std::array<typename TypeParam::Output, 20> output;
          std::vector<typename TypeParam::Output> expected;
          const auto sampleAt = [&](std::size_t i) {
            const std::size_t position = stride > 0 ? i : size - 1 - i;
            return reinterpret_cast<Raw*>(mapping.data() + 2 * page * position + page + offsetInPage);
          };
          for (std::size_t i = 0; i < size; ++i) {
            mapping.open(2 * page * i + page, page);
            expected.push_back(static_cast<typename TypeParam::Output>(6 * i + 2) - 7);
          }
          for (std::size_t i = 0; i < size; ++i) {
            *sampleAt(i) = static_cast<Raw>(3 * i + 1);
          }
          const auto params = paramsOf<TypeParam>(typeCodeOf<Raw>(), sampleAt(0), output.data(), count, stride, 2, -7);
          TypeParam::kernel(&params);
          ASSERT_TRUE(support::sameBits(std::span(output).first(size), expected))
              << "type code " << typeCodeOf<Raw>() << ", stride " << stride;
        }
      }
    }
  });
}

TYPED_TEST(ScaledValues, PositionsInTheSourceMayPassThe32BitRange) {
  const std::initializer_list<std::pair<int32_t, int32_t>> countsAndStrides{
      {3, highestStride}, {3, lowestStride}, {5, -1500000000}, {12, 600000001}};
  const auto reachOf = [](int32_t count, int32_t stride) {
    return static_cast<uint64_t>(count - 1) * static_cast<uint64_t>(std::abs(static_cast<int64_t>(stride)));
  };
  uint64_t longest = 0;
  for (const auto& [count, stride] : countsAndStrides) {
    longest = std::max(longest, reachOf(count, stride));
  }
  const uint64_t bytes = (longest + 1) * sizeof(double) + support::PageMapping::pageSize();
  if (bytes > std::numeric_limits<std::size_t>::max() / 4) {
    GTEST_SKIP() << "the address space is too small";
  }
  support::PageMapping mapping(static_cast<std::size_t>(bytes));  // one for all: emulators keep a record for each page
  int value = 0;
  forEachRawType([&]<typename Raw>() {
    for (const auto& [count, stride] : countsAndStrides) {
      auto* const source =
          reinterpret_cast<Raw*>(mapping.data()) + (stride < 0 ? static_cast<ptrdiff_t>(reachOf(count, stride)) : 0);
      alignas(16) std::array<typename TypeParam::Output, 12> output;
      std::vector<typename TypeParam::Output> expected;
      for (int32_t i = 0; i < count; ++i) {
        value = value % 127 + 1;
        Raw* const sample = source + static_cast<ptrdiff_t>(i) * stride;
        mapping.open(static_cast<std::size_t>(reinterpret_cast<std::byte*>(sample) - mapping.data()), sizeof(Raw));
        *sample = static_cast<Raw>(value);
        expected.push_back(static_cast<typename TypeParam::Output>(value));
      }
      const auto params = paramsOf<TypeParam>(typeCodeOf<Raw>(), source, output.data(), count, stride, 1, 0);
      TypeParam::kernel(&params);
      ASSERT_TRUE(support::sameBits(std::span(output).first(static_cast<std::size_t>(count)), expected))
          << "type code " << typeCodeOf<Raw>() << ", stride " << stride;
    }
  });
}

TEST(ScaledValuesParams, FieldsLieAtTheirNaturalAlignment) {
  constexpr std::size_t pointer = sizeof(void*);
  using Single = ChannelScaledValuesParams_float;
  EXPECT_EQ(offsetof(Single, source), 0U);
  EXPECT_EQ(offsetof(Single, output), pointer);
  EXPECT_EQ(offsetof(Single, scale), 2 * pointer);
  EXPECT_EQ(offsetof(Single, offset), 2 * pointer + 4);
  EXPECT_EQ(offsetof(Single, count), 2 * pointer + 8);
  EXPECT_EQ(offsetof(Single, typeCode), 2 * pointer + 12);
  EXPECT_EQ(offsetof(Single, stride), 2 * pointer + 16);
  using Double = ChannelScaledValuesParams_double;
  EXPECT_EQ(offsetof(Double, source), 0U);
  EXPECT_EQ(offsetof(Double, output), pointer);
  EXPECT_EQ(offsetof(Double, scale), 2 * pointer);
  EXPECT_EQ(offsetof(Double, offset), 2 * pointer + 8);
  EXPECT_EQ(offsetof(Double, count), 2 * pointer + 16);
  EXPECT_EQ(offsetof(Double, typeCode), 2 * pointer + 20);
  EXPECT_EQ(offsetof(Double, stride), 2 * pointer + 24);
}

}  // namespace
