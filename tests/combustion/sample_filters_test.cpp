#include "reference/sample_filters.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float halfLastBit = 0x1p-24F;  // of 1: added to 1 it is a tie, which stays 1
constexpr float lastBit = 0x1p-23F;

}  // namespace

// The types of the typed tests, by the names of their exports.
namespace exports {

struct CACalcFilter_int16_t {
  using Sample = int16_t;
  static constexpr std::size_t shortest = 8;  // window that is summed in lanes
  static constexpr auto kernel = &kxcalcCACalcFilter_int16_t;
  static constexpr auto model = &reference::kxcalcCACalcFilter_int16_t;
};

struct CACalcFilter_float {
  using Sample = float;
  static constexpr std::size_t shortest = 4;
  static constexpr auto kernel = &kxcalcCACalcFilter_float;
  static constexpr auto model = &reference::kxcalcCACalcFilter_float;
};

struct CACalcFilter_int32_t {
  using Sample = int32_t;
  static constexpr std::size_t shortest = 4;
  static constexpr auto kernel = &kxcalcCACalcFilter_int32_t;
  static constexpr auto model = &reference::kxcalcCACalcFilter_int32_t;
};

}  // namespace exports

namespace {

// --- Weighted sum

constexpr std::size_t largestTable = 400000;

/// A window and the weights that belong to it, newest first, at a stride in a table of NaNs.
template <typename Export>
class Subject {
public:
  using Sample = typename Export::Sample;

  void load(std::span<const Sample> window, std::span<const float> weights, std::size_t stride,
            const Placement& windowPlacement, const Placement& weightsPlacement = support::endsAtFence) {
    window_ = windowMemory_.place(window.size(), windowPlacement);
    std::ranges::copy(window, window_.begin());
    table_.assign(weights.empty() ? 0 : (weights.size() - 1) * stride + 1, nan);
    for (std::size_t k = 0; k < weights.size(); ++k) {
      table_[k * stride] = weights[k];
    }
    placedTable_ = tableMemory_.place(table_.size(), weightsPlacement);
    std::ranges::copy(table_, placedTable_.begin());
    windowBefore_.assign(window.begin(), window.end());
    stride_ = static_cast<uint32_t>(stride);
  }

  float filter() const { return Export::kernel(newest(), count(), placedTable_.data(), stride_); }

  testing::AssertionResult delivers(float expected) const {
    testing::AssertionResult result = support::sameResult(filter(), expected);
    if (result && !(support::sameBits(window_, windowBefore_) && support::sameBits(placedTable_, table_))) {
      result = testing::AssertionFailure() << "input changed";
    }
    if (result && !(windowMemory_.surroundingsIntact() && tableMemory_.surroundingsIntact())) {
      result = testing::AssertionFailure() << "written next to an input";
    }
    if (!result) {
      result << "; " << window_.size() << " samples, stride " << stride_;
    }
    return result;
  }

  testing::AssertionResult equalsModel() const {
    return delivers(Export::model(newest(), count(), placedTable_.data(), stride_));
  }

private:
  uint32_t count() const { return static_cast<uint32_t>(window_.size()); }
  const Sample* newest() const { return window_.empty() ? window_.data() : &window_.back(); }

  support::FencedBuffer<Sample> windowMemory_{support::largestCount};
  support::FencedBuffer<float> tableMemory_{largestTable};
  std::span<Sample> window_;
  std::span<float> placedTable_;
  std::vector<Sample> windowBefore_;
  std::vector<float> table_;
  uint32_t stride_ = 0;
};

/// The sum of products, given oldest first, of a window that lies head elements before a 16-byte boundary.
template <typename Export>
float sumOf(std::vector<float> products, std::size_t head) {
  using Sample = typename Export::Sample;
  constexpr std::size_t width = 16 / sizeof(Sample);
  std::ranges::reverse(products);
  Subject<Export> subject;
  subject.load(std::vector<Sample>(products.size(), 1), products, 1, support::pastBoundary((width - head) % width));
  return subject.filter();
}

/// Which lane each sample goes to, oldest first.
struct Lanes {
  std::size_t head;
  const char* lanes;
};

constexpr Lanes lanesOfFour[] = {
    // clang-format off
    {0, "0123"},
    {1, "0" "123"},
    {2, "01" "23"},
    {3, "012" "3"},
    {0, "0123" "3"},
    {1, "0" "0123"},
    {2, "01" "123"},
    {3, "012" "23"},
    {0, "0123" "23"},
    {1, "0" "0123" "3"},
    {2, "01" "0123"},
    {3, "012" "123"},
    {0, "0123" "123"},
    {1, "0" "0123" "23"},
    {2, "01" "0123" "3"},
    {3, "012" "0123"},
    {0, "0123" "0123"},
    {1, "0" "0123" "123"},
    {2, "01" "0123" "23"},
    {3, "012" "0123" "3"},
    {0, "0123" "0123" "0123" "3"},
    {1, "0" "0123" "0123" "0123"},
    {3, "012" "0123" "0123" "23"},
    // clang-format on
};

constexpr Lanes lanesOfEight[] = {
    // clang-format off
    {0, "01230123"},
    {1, "0" "1230123"},
    {2, "01" "230123"},
    {3, "012" "30123"},
    {4, "0123" "0123"},
    {5, "01230" "123"},
    {6, "012301" "23"},
    {7, "0123012" "3"},
    {0, "01230123" "3"},
    {1, "0" "01230123"},
    {2, "01" "1230123"},
    {3, "012" "230123"},
    {4, "0123" "30123"},
    {5, "01230" "0123"},
    {6, "012301" "123"},
    {7, "0123012" "23"},
    {3, "012" "1230123"},
    {6, "012301" "0123"},
    {0, "01230123" "1230123"},
    {7, "0123012" "01230123"},
    {0, "01230123" "01230123"},
    {1, "0" "01230123" "1230123"},
    {5, "01230" "01230123" "01230123" "30123"},
    // clang-format on
};

template <typename Export>
std::span<const Lanes> lanesOf() {
  return sizeof(typename Export::Sample) == 2 ? std::span<const Lanes>(lanesOfEight) : std::span(lanesOfFour);
}

template <typename Export>
class CACalcFilter : public testing::Test {};

using Exports =
    testing::Types<exports::CACalcFilter_int16_t, exports::CACalcFilter_float, exports::CACalcFilter_int32_t>;
TYPED_TEST_SUITE(CACalcFilter, Exports);

TYPED_TEST(CACalcFilter, NoSamplesGivePlusZeroAndNothingIsRead) {
  support::FencedBuffer<typename TypeParam::Sample> window(1);
  support::FencedBuffer<float> weights(1);
  for (const Placement& placement : {support::endsAtFence, support::beginsAtFence}) {
    const auto* const newest = window.place(0, placement).data();
    for (const uint32_t stride : {0U, 1U, 1000U}) {
      EXPECT_TRUE(support::sameBits(TypeParam::kernel(newest, 0, weights.place(0, placement).data(), stride), 0.0F));
    }
  }
}

TYPED_TEST(CACalcFilter, OneSampleIsItsProductAndZero) {
  const typename TypeParam::Sample sample = -3;
  const typename TypeParam::Sample zero = 0;
  const float weight = 2.5F;
  const float negative = -1;
  EXPECT_EQ(TypeParam::kernel(&sample, 1, &weight, 7), -7.5F);
  EXPECT_TRUE(support::sameBits(TypeParam::kernel(&zero, 1, &negative, 7), 0.0F));
}

TYPED_TEST(CACalcFilter, WeightZeroBelongsToTheNewestSample) {
  const typename TypeParam::Sample window[] = {1, 10, 100, 1000, 10000, 2, 20, 200, 2000, 20000};
  const float weights[] = {1,   nan, nan, 2,   nan, nan, 3,   nan, nan, 4,   nan, nan, 5,   nan,
                           nan, 6,   nan, nan, 7,   nan, nan, 8,   nan, nan, 9,   nan, nan, 10};
  const float sums[] = {0, 20000, 24000, 24600, 24680, 24690, 84690, 91690, 92490, 92580, 92590};
  for (uint32_t count = 0; count <= 10; ++count) {
    EXPECT_EQ(TypeParam::kernel(&window[9], count, weights, 3), sums[count]) << count;
  }
}

TYPED_TEST(CACalcFilter, StrideZeroTakesOneWeightForAll) {
  std::vector<typename TypeParam::Sample> window;
  float sum = 0;
  const float weight = 0.5F;
  for (uint32_t count = 1; count <= 40; ++count) {
    window.push_back(static_cast<typename TypeParam::Sample>(2 * count));
    sum += static_cast<float>(count);
    EXPECT_EQ(TypeParam::kernel(&window.back(), count, &weight, 0), sum);
  }
}

TYPED_TEST(CACalcFilter, ShortWindowsAreSummedOneByOneNewestFirst) {
  // Products oldest first.
  for (std::size_t head = 0; head < 4; ++head) {
    EXPECT_EQ(sumOf<TypeParam>({halfLastBit, halfLastBit, 1}, head), 1);
    EXPECT_EQ(sumOf<TypeParam>({halfLastBit, 1, halfLastBit}, head), 1);
    EXPECT_EQ(sumOf<TypeParam>({1, halfLastBit, halfLastBit}, head), 1 + lastBit);
  }
}

TYPED_TEST(CACalcFilter, TheShortFormEndsAt7SamplesOf16BitsAndAt3OfOthers) {
  // One by one, newest first, the ones before the 1 are tied away; in lanes the last two of them meet.
  for (std::size_t head = 0; head < 4; ++head) {
    std::vector<float> products(TypeParam::shortest - 1, 0);
    products[0] = halfLastBit;
    products[1] = halfLastBit;
    products.back() = 1;
    EXPECT_EQ(sumOf<TypeParam>(products, head), 1);
  }
  std::vector<float> products(TypeParam::shortest, 0);
  products[0] = halfLastBit;
  products[2] = halfLastBit;
  products.back() = 1;
  EXPECT_EQ(sumOf<TypeParam>(products, 0), 1 + lastBit);
}

TYPED_TEST(CACalcFilter, LanesAreCombinedCrosswise) {
  // (lane0 + lane2) + (lane1 + lane3).
  const auto ofLanes = [](float lane0, float lane1, float lane2, float lane3) {
    std::vector<float> products{lane0, lane1, lane2, lane3};
    products.resize(TypeParam::shortest, 0);
    return sumOf<TypeParam>(products, 0);
  };
  EXPECT_EQ(ofLanes(1, halfLastBit, 0, halfLastBit), 1 + lastBit);
  EXPECT_EQ(ofLanes(halfLastBit, 1, halfLastBit, 0), 1 + lastBit);
  EXPECT_EQ(ofLanes(1, 0, halfLastBit, halfLastBit), 1);
  EXPECT_EQ(ofLanes(1, halfLastBit, halfLastBit, 0), 1);
  EXPECT_EQ(ofLanes(halfLastBit, 0, halfLastBit, 1), 1 + lastBit);
}

TYPED_TEST(CACalcFilter, EachSampleGoesToItsLane) {
  support::TestRandom random;
  for (const auto& [head, lanes] : lanesOf<TypeParam>()) {
    const std::string laneNames(lanes);
    for (int repetition = 0; repetition < 50; ++repetition) {
      std::vector<float> products(laneNames.size());
      support::fill(std::span(products), support::SampleClass::signal, random);
      std::array<float, 4> sums{};
      for (std::size_t j = 0; j < products.size(); ++j) {
        float& sum = sums.at(static_cast<std::size_t>(laneNames[j] - '0'));
        sum = sum + products[j];
      }
      const float expected = (sums[0] + sums[2]) + (sums[1] + sums[3]);
      ASSERT_TRUE(support::sameBits(sumOf<TypeParam>(products, head), expected))
          << lanes << ", " << head << " before a boundary";
    }
  }
}

TYPED_TEST(CACalcFilter, TheLastBitDependsOnTheAlignmentOfTheSamples) {
  const std::size_t width = 16 / sizeof(typename TypeParam::Sample);
  std::vector<float> products(width + 1, 0);
  products[0] = 1;
  products[1] = halfLastBit;
  products[width] = halfLastBit;
  // Lanes 0, 1 and 3; then lanes 0, 0 and 3.
  EXPECT_EQ(sumOf<TypeParam>(products, 0), 1 + lastBit);
  EXPECT_EQ(sumOf<TypeParam>(products, 1), 1);
}

TYPED_TEST(CACalcFilter, ProductsAreRoundedToSingleOnTheirOwn) {
  // 4097^2 = 16785409 is a tie and becomes 16785408; that times -1 goes to the same lane or sum.
  for (const std::size_t count : {std::size_t{2}, 2 * TypeParam::shortest}) {
    for (std::size_t j = 0; j + count / 2 < count; ++j) {
      const std::size_t other = j + count / 2;
      for (const bool isSwapped : {false, true}) {
        std::vector<typename TypeParam::Sample> window(count, 0);
        std::vector<float> weights(count, 1);
        const std::size_t first = isSwapped ? other : j;
        const std::size_t second = isSwapped ? j : other;
        window[first] = 4097;
        weights[count - 1 - first] = 4097;
        window[second] = -1;
        weights[count - 1 - second] = 16785408;
        Subject<TypeParam> subject;
        subject.load(window, weights, 1, support::pastBoundary(0));
        ASSERT_TRUE(subject.delivers(0)) << count << ", " << j;
      }
    }
  }
}

TYPED_TEST(CACalcFilter, NothingButMinusZerosGivePlusZero) {
  for (std::size_t count = 1; count <= 40; ++count) {
    Subject<TypeParam> subject;
    subject.load(std::vector<typename TypeParam::Sample>(count, 0), std::vector<float>(count, -1), 2,
                 support::endsAtFence);
    EXPECT_TRUE(support::sameBits(subject.filter(), 0.0F)) << count;
  }
}

/// Which samples of a window some block takes with a mask of 0, as an x.
constexpr Lanes maskedOfFour[] = {
    {0, "...."},      {1, "xxxx"},      {2, "xxxx"},      {3, "xxxx"},         {0, ".xxx."},
    {1, ".xxx."},     {2, ".xxx."},     {3, ".xxx."},     {0, "..xx.."},       {1, ".xxxx."},
    {2, "..xx.."},    {3, "..xx.."},    {0, "...x..."},   {1, ".xxxx.."},      {2, "..xxxx."},
    {3, "...x..."},   {0, "........"},  {1, ".xxxx..."},  {2, "..xxxx.."},     {3, "...xxxx."},
    {1, ".xxx....."}, {2, "..xx.x..."}, {3, "...x.xx.."}, {0, "............"}, {1, ".xxx..xxx."},
};

constexpr Lanes maskedOfEight[] = {
    {0, "........"},          {1, "xxxxxxxx"},          {4, "xxxxxxxx"},           {7, "xxxxxxxx"},
    {0, ".xxxxxxx."},         {1, ".xxxxxxx."},         {2, ".xxxxxxx."},          {5, ".xxxxxxx."},
    {3, "..xxxxxx.."},        {4, "....xxxx...."},      {0, "................"},   {7, ".......x......."},
    {6, "......xx.xxxxx..."}, {1, ".xxxxxxx........."}, {1, ".xxxxxxx..xxxxxxx."},
};

TYPED_TEST(CACalcFilter, AnInfiniteWeightOfASampleThatABlockMasksGivesANan) {
  const auto masked = sizeof(typename TypeParam::Sample) == 2 ? std::span<const Lanes>(maskedOfEight)
                                                              : std::span<const Lanes>(maskedOfFour);
  for (const auto& [head, marks] : masked) {
    const std::string markOf(marks);
    for (std::size_t j = 0; j < markOf.size(); ++j) {
      std::vector<float> products(markOf.size(), 1);
      products[j] = -infinity;
      EXPECT_TRUE(support::sameResult(sumOf<TypeParam>(products, head), markOf[j] == 'x' ? nan : -infinity))
          << marks << ", " << head << " before a boundary, at " << j;
    }
  }
}

TEST(CACalcFilter_float, AnInfiniteSampleThatABlockMasksGivesANan) {
  Subject<exports::CACalcFilter_float> subject;
  for (const auto& [head, marks] : maskedOfFour) {
    const std::string markOf(marks);
    for (std::size_t j = 0; j < markOf.size(); ++j) {
      std::vector<float> window(markOf.size(), 1);
      window[j] = infinity;
      subject.load(window, std::vector<float>(markOf.size(), 2), 1, support::pastBoundary((4 - head) % 4));
      EXPECT_TRUE(subject.delivers(markOf[j] == 'x' ? nan : infinity))
          << marks << ", " << head << " before a boundary, at " << j;
    }
  }
}

TEST(CACalcFilter_float, ShortWindowsMaskNothing) {
  const float window[] = {infinity, 1, 1};
  const float weights[] = {1, 1, 2};
  EXPECT_EQ(kxcalcCACalcFilter_float(&window[2], 3, weights, 1), infinity);
}

TEST(CACalcFilter_int32_t, SamplesAreRoundedToSingle) {
  const struct {
    int32_t sample;
    float single;
  } cases[] = {{16777217, 16777216},     {16777219, 16777220},
               {-16777217, -16777216},   {2147483647, 2147483648.0F},
               {2147483583, 2147483520}, {std::numeric_limits<int32_t>::min(), -2147483648.0F},
               {33554434, 33554432},     {33554435, 33554436}};
  for (const auto& [sample, single] : cases) {
    for (std::size_t count = 1; count <= 20; ++count) {
      for (std::size_t j = 0; j < count; ++j) {
        std::vector<int32_t> window(count, 0);
        window[j] = sample;
        Subject<exports::CACalcFilter_int32_t> subject;
        subject.load(window, std::vector<float>(count, 1), 1, support::pastBoundary(count % 4));
        ASSERT_TRUE(subject.delivers(single)) << sample << " at " << j;
      }
    }
  }
}

TYPED_TEST(CACalcFilter, PositionsOfWeightsMayPassThe32BitRange) {
  using Sample = typename TypeParam::Sample;
  for (const uint32_t count : {3U, 9U}) {
    const uint32_t stride = 4000000001U / (count - 1) * 2;
    const uint64_t bytes = (uint64_t{count - 1} * stride + 1) * sizeof(float);
    if (bytes > std::numeric_limits<std::size_t>::max() / 4) {
      GTEST_SKIP() << "the address space is too small";
    }
    support::PageMapping mapping(static_cast<std::size_t>(bytes));
    auto* const weights = reinterpret_cast<float*>(mapping.data());
    std::vector<Sample> window(count, 1);
    for (std::size_t k = 0; k < count; ++k) {
      mapping.open(k * stride * sizeof(float), sizeof(float));
      weights[k * stride] = static_cast<float>(k + 1);
    }
    EXPECT_EQ(TypeParam::kernel(&window.back(), count, weights, stride), static_cast<float>(count * (count + 1) / 2));
  }
}

TYPED_TEST(CACalcFilter, EqualsTheModelAtEveryCountAndPairOfPlacements) {
  using Sample = typename TypeParam::Sample;
  support::TestRandom random;
  Subject<TypeParam> subject;
  const std::vector<std::size_t> strides{0, 1, 2, 3, 4, 5, 7, 8, 16, 64};
  for (const uint32_t count : support::smallCounts(0)) {
    for (const Placement& windowPlacement : support::allPlacements<Sample>()) {
      for (const Placement& weightsPlacement : support::allPlacements<float>()) {
        const support::SampleClass sampleClass = random.oneOf(support::sampleClasses<Sample>());
        const support::SampleClass weightClass =
            random.oneIn(2) ? support::SampleClass::signal : random.oneOf(support::sampleClasses<float>());
        std::vector<Sample> window(count);
        std::vector<float> weights(count);
        support::fill(std::span(window), sampleClass, random);
        support::fill(std::span(weights), weightClass, random);
        subject.load(window, weights, random.oneOf(strides), windowPlacement, weightsPlacement);
        ASSERT_TRUE(subject.equalsModel())
            << sampleClass << ", " << weightClass << ", " << windowPlacement << ", weights " << weightsPlacement;
      }
    }
  }
}

TYPED_TEST(CACalcFilter, EqualsTheModelForSumsThatRound) {
  using Sample = typename TypeParam::Sample;
  support::TestRandom random;
  Subject<TypeParam> subject;
  for (uint32_t count = 1; count <= 40; ++count) {
    for (const Placement& placement : support::allPlacements<Sample>()) {
      for (int repetition = 0; repetition < 10; ++repetition) {
        std::vector<float> products(count);
        for (float& product : products) {
          product = static_cast<float>(random.sign()) *
                    (random.oneIn(4) ? 1 : static_cast<float>(random.between(0, 5)) * halfLastBit);
        }
        subject.load(std::vector<Sample>(count, 1), products, 1, placement);
        ASSERT_TRUE(subject.equalsModel()) << placement;
      }
    }
  }
}

TYPED_TEST(CACalcFilter, EqualsTheModelForLargeWindowsAndStrides) {
  using Sample = typename TypeParam::Sample;
  support::TestRandom random;
  Subject<TypeParam> subject;
  for (const auto& [count, stride] : std::initializer_list<std::pair<std::size_t, std::size_t>>{{1000, 1},
                                                                                                {4101, 3},
                                                                                                {16397, 2},
                                                                                                {70001, 5},
                                                                                                {2, 399999},
                                                                                                {3, 190000},
                                                                                                {8, 57142},
                                                                                                {40, 10000},
                                                                                                {67, 6000}}) {
    for (const Placement& placement : support::allPlacements<Sample>()) {
      std::vector<Sample> window(count);
      std::vector<float> weights(count);
      support::fill(std::span(window), support::SampleClass::signal, random);
      support::fill(std::span(weights), support::SampleClass::signal, random);
      subject.load(window, weights, stride, placement);
      ASSERT_TRUE(subject.equalsModel()) << placement;
    }
  }
}

// --- Moving average

class Average {
public:
  /// The input holds a window, or count elements if that is more.
  std::span<const double> run(std::span<const double> input, uint16_t width, uint32_t count,
                              const Placement& inputPlacement = support::endsAtFence,
                              const Placement& outputPlacement = support::endsAtFence) {
    input_ = inputMemory_.place(input.size(), inputPlacement);
    std::ranges::copy(input, input_.begin());
    const std::span<double> output = outputMemory_.place(count, outputPlacement);
    std::ranges::fill(output, -1234.5);
    kxcalcCACalcAveFilter_double(input_.data(), output.data(), width, count);
    EXPECT_TRUE(support::sameBits(input_, input)) << "input changed";
    EXPECT_TRUE(inputMemory_.surroundingsIntact() && outputMemory_.surroundingsIntact()) << width << ", " << count;
    return output;
  }

  testing::AssertionResult equalsModel(std::span<const double> input, uint16_t width, uint32_t count,
                                       const Placement& inputPlacement, const Placement& outputPlacement) {
    std::vector<double> expected(count);
    reference::kxcalcCACalcAveFilter_double(input.data(), expected.data(), width, count);
    testing::AssertionResult result =
        support::sameResult(run(input, width, count, inputPlacement, outputPlacement), expected);
    if (!result) {
      result << "; width " << width << ", input " << inputPlacement << ", output " << outputPlacement;
    }
    return result;
  }

private:
  support::FencedBuffer<double> inputMemory_{200000};
  support::FencedBuffer<double> outputMemory_{200000};
  std::span<double> input_;
};

std::vector<double> averaged(const std::vector<double>& input, uint16_t width, uint32_t count) {
  Average average;
  const std::span<const double> output = average.run(input, width, count);
  return {output.begin(), output.end()};
}

std::vector<double> averaged(const std::vector<double>& input, uint16_t width) {
  return averaged(input, width, static_cast<uint32_t>(input.size()));
}

using Doubles = std::vector<double>;

TEST(CACalcAveFilter_double, TheEndsRepeatTheFirstAndTheLastMean) {
  EXPECT_EQ(averaged({3, 6, 9, 12, 15, 18, 21}, 3), (Doubles{6, 6, 9, 12, 15, 18, 18}));
  EXPECT_EQ(averaged({5, 0, 0, 0, 0, 5, 10, 15}, 5), (Doubles{1, 1, 1, 1, 3, 6, 6, 6}));
}

TEST(CACalcAveFilter_double, AnEvenWidthIsOneMore) {
  const Doubles input{5, 0, 0, 0, 0, 5, 10, 15};
  EXPECT_EQ(averaged(input, 4), averaged(input, 5));
  EXPECT_EQ(averaged(input, 4), (Doubles{1, 1, 1, 1, 3, 6, 6, 6}));
  EXPECT_EQ(averaged({3, 6, 9, 12}, 2), (Doubles{6, 6, 9, 9}));
  EXPECT_EQ(averaged({3, 6, 9, 12}, 0), (Doubles{3, 6, 9, 12}));
}

TEST(CACalcAveFilter_double, Width1IsARunningUpdateToo) {
  EXPECT_EQ(averaged({7, -2, 5}, 1), (Doubles{7, -2, 5}));
  EXPECT_EQ(averaged({7}, 1), (Doubles{7}));
  // (previous + new) - old: what rounding loses stays lost.
  EXPECT_EQ(averaged({1e16, 1, 1, 4}, 1), (Doubles{1e16, 0, 0, 3}));
  EXPECT_EQ(averaged({1e16, 1, 1, 4}, 0), (Doubles{1e16, 0, 0, 3}));
}

TEST(CACalcAveFilter_double, AsManyElementsAsTheWindowAllHoldItsMean) {
  EXPECT_EQ(averaged({3, 6, 9}, 3), (Doubles{6, 6, 6}));
  EXPECT_EQ(averaged({1, 2, 3, 4, 5}, 5), (Doubles{3, 3, 3, 3, 3}));
}

TEST(CACalcAveFilter_double, FewerElementsThanTheWindowHoldItsMean) {
  // The whole window is read all the same.
  EXPECT_EQ(averaged({1, 2, 3, 4, 5}, 5, 3), (Doubles{3, 3, 3}));
  EXPECT_EQ(averaged({1, 2, 3, 4, 5}, 5, 4), (Doubles{3, 3, 3, 3}));
  EXPECT_EQ(averaged({1, 2, 3, 4, 5, 6, 7, 8, 9}, 9, 5), (Doubles{5, 5, 5, 5, 5}));
  EXPECT_EQ(averaged({3, 6, 9}, 3, 2), (Doubles{6, 6}));
}

TEST(CACalcAveFilter_double, TheFirstMeanIsDividedAtEveryStep) {
  const double mean = averaged({0.1, 0.2, 0.6, 0.1, 0.1}, 5)[0];
  EXPECT_TRUE(support::sameBits(mean, 0x1.c28f5c28f5c28p-3));  // a fifth of the sum would end in a
  // Each step multiplies by the number of elements before it, which may overflow.
  EXPECT_EQ(averaged({1e308, 1e308, 1e308}, 3)[0], std::numeric_limits<double>::infinity());
}

TEST(CACalcAveFilter_double, LaterMeansAreRunningUpdates) {
  // ((mean * 3 + new) - old) / 3, each step rounded: fresh means, other orders and reciprocals end in 6 or less.
  const Doubles means = averaged({0.1, 0.1, 0.1, 0.3}, 3);
  EXPECT_TRUE(support::sameBits(
      means, Doubles{0x1.999999999999bp-4, 0x1.999999999999bp-4, 0x1.5555555555557p-3, 0x1.5555555555557p-3}));
  EXPECT_TRUE(support::sameBits(averaged({0.1, 0.1, 0.3, 0.3}, 3)[2], 0x1.ddddddddddddfp-3));
}

TEST(CACalcAveFilter_double, RoundingErrorsCarryAlong) {
  // Beside 9e16 the new sample is lost, and later the old ones are taken away from what is left.
  EXPECT_EQ(averaged({9e16, 5, 5, 1, 1, 1, 1}, 3), (Doubles{3e16, 3e16, 0, -4 / 3.0, -8 / 3.0, -8 / 3.0, -8 / 3.0}));
}

TEST(CACalcAveFilter_double, NansAndInfinitiesStayInTheMean) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(support::sameResult(averaged({1, inf, 1, 1, 1, 1, 1}, 3),
                                  Doubles{inf, inf, inf, notANumber, notANumber, notANumber, notANumber}));
  EXPECT_TRUE(
      support::sameResult(averaged({1, 1, 1, notANumber, 1, 1, 1, 1}, 3),
                          Doubles{1, 1, notANumber, notANumber, notANumber, notANumber, notANumber, notANumber}));
}

TEST(CACalcAveFilter_double, EqualsTheModelAtEveryWidthAndCount) {
  support::TestRandom random;
  Average average;
  for (uint16_t width = 0; width <= 40; ++width) {
    const uint32_t half = width / 2U;
    for (uint32_t count = half + 1; count <= 100; count += count < 2 * half + 10U ? 1 : 7) {
      for (const Placement& inputPlacement : support::allPlacements<double>()) {
        for (const Placement& outputPlacement : support::allPlacements<double>()) {
          const support::SampleClass sampleClass =
              random.oneIn(2) ? support::SampleClass::signal : random.oneOf(support::sampleClasses<double>());
          std::vector<double> input(std::max(2 * half + 1, count));
          support::fill(std::span(input), sampleClass, random);
          ASSERT_TRUE(average.equalsModel(input, width, count, inputPlacement, outputPlacement)) << sampleClass;
        }
      }
    }
  }
}

TEST(CACalcAveFilter_double, EqualsTheModelForLargeWidths) {
  support::TestRandom random;
  Average average;
  for (const uint16_t width : {uint16_t{1000}, uint16_t{32767}, uint16_t{65533}, uint16_t{65534}, uint16_t{65535}}) {
    const uint32_t half = width / 2U;
    for (const uint32_t count : {half + 1, half + 2, 2 * half, 2 * half + 1, 2 * half + 2, 2 * half + 3, 150001U}) {
      for (const support::SampleClass sampleClass :
           {support::SampleClass::signal, support::SampleClass::offsetSignal}) {
        std::vector<double> input(std::max(2 * half + 1, count));
        support::fill(std::span(input), sampleClass, random);
        ASSERT_TRUE(average.equalsModel(input, width, count, support::pastBoundary(random.below(2)),
                                        support::pastBoundary(random.below(2))))
            << sampleClass;
      }
    }
  }
}

TEST(CACalcAveFilter_double, EqualsAFreshMeanUpToRounding) {
  support::TestRandom random;
  std::vector<double> input(5000);
  support::fill(std::span(input), support::SampleClass::signal, random);
  for (const uint16_t width : {uint16_t{1}, uint16_t{3}, uint16_t{51}, uint16_t{999}}) {
    const std::size_t half = width / 2U;
    const std::vector<double> output = averaged(input, width);
    for (std::size_t j = 0; j < output.size(); ++j) {
      const std::size_t middle = std::clamp(j, half, input.size() - 1 - half);
      double sum = 0;
      for (std::size_t i = middle - half; i <= middle + half; ++i) {
        sum += input[i];
      }
      ASSERT_NEAR(output[j], sum / width, 1e-12) << width << ", at " << j;
    }
  }
}

}  // namespace
