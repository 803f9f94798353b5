#include "reference/scale_in_place.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

}  // namespace

// The types of the typed tests, by the names of their exports.
namespace exports {

struct MultiplyVectorByScalar_float {
  using Sample = float;
  static constexpr auto kernel = &kxcalcMultiplyVectorByScalar_float;
  static constexpr auto model = &reference::kxcalcMultiplyVectorByScalar_float;
};

struct MultiplyVectorByScalar_double {
  using Sample = double;
  static constexpr auto kernel = &kxcalcMultiplyVectorByScalar_double;
  static constexpr auto model = &reference::kxcalcMultiplyVectorByScalar_double;
};

}  // namespace exports

namespace {

template <typename Export>
class ScaleInPlace : public testing::Test {};

using Exports = testing::Types<exports::MultiplyVectorByScalar_float, exports::MultiplyVectorByScalar_double>;
TYPED_TEST_SUITE(ScaleInPlace, Exports);

TYPED_TEST(ScaleInPlace, HandWorkedProductsAtEachPositionOfEveryPath) {
  using Sample = typename TypeParam::Sample;
  using Limits = std::numeric_limits<Sample>;
  constexpr Sample smallest = Limits::denorm_min();
  constexpr Sample last = Limits::epsilon();
  const struct {
    Sample sample;
    Sample factor;
    Sample product;
  } cases[] = {
      {3, 0.5, 1.5},
      {-3, 7, -21},
      // Rounded to nearest, ties to even: (1 + e)(1 + e) = 1 + 2e + e^2; (1 + e) 1.5 = 1.5 + 1.5 e; (1 + 3e) 1.5 = 1.5
      // + 4.5 e.
      {1 + last, 1 + last, 1 + 2 * last},
      {1 + last, 1.5, Sample{1.5} + 2 * last},
      {1 + 3 * last, 1.5, Sample{1.5} + 4 * last},
      {1, -0.0, -0.0},
      {-1, -0.0, 0},
      {-0.0, 5, -0.0},
      {Limits::max(), 2, Limits::infinity()},
      {Limits::max(), -2, -Limits::infinity()},
      // Denormals are neither flushed nor taken for zero.
      {Limits::min(), 0.5, Limits::min() / 2},
      {smallest, 1, smallest},
      {smallest, 0.5, 0},
      {3 * smallest, 0.5, 2 * smallest},
      {smallest, Limits::max(), smallest * Limits::max()},
      {Limits::infinity(), 0, Limits::quiet_NaN()},
      {Limits::infinity(), -1, -Limits::infinity()},
      {Limits::quiet_NaN(), 1, Limits::quiet_NaN()},
      {1, Limits::quiet_NaN(), Limits::quiet_NaN()},
  };
  support::FencedBuffer<Sample> memory(20);
  for (const auto& [sample, factor, product] : cases) {
    for (uint32_t count = 1; count <= 20; ++count) {
      for (const Placement& placement : support::allPlacements<Sample>()) {
        const std::span<Sample> data = memory.place(count, placement);
        std::ranges::fill(data, sample);
        TypeParam::kernel(data.data(), count, factor);
        ASSERT_TRUE(support::sameResult(data, std::vector<Sample>(count, product)))
            << support::describe(sample) << " times " << support::describe(factor) << ", " << placement;
      }
    }
  }
}

TYPED_TEST(ScaleInPlace, EqualsTheModelAtEveryCountAndPlacement) {
  using Sample = typename TypeParam::Sample;
  using Limits = std::numeric_limits<Sample>;
  support::TestRandom random;
  support::FencedBuffer<Sample> memory(support::largestCount);
  const std::vector<Sample> factors{0,
                                    -0.0,
                                    1,
                                    -1,
                                    2,
                                    static_cast<Sample>(0.1),
                                    static_cast<Sample>(-1e-30),
                                    static_cast<Sample>(1e30),
                                    Limits::min(),
                                    Limits::denorm_min(),
                                    Limits::max(),
                                    Limits::infinity(),
                                    Limits::quiet_NaN()};
  std::vector<uint32_t> counts = support::smallCounts(0);
  const std::vector<uint32_t> largeCounts = support::largeCounts();
  counts.insert(counts.end(), largeCounts.begin(), largeCounts.end());
  for (const support::SampleClass sampleClass : support::sampleClasses<Sample>()) {
    for (const uint32_t count : counts) {
      std::vector<Sample> samples(count);
      support::fill(std::span(samples), sampleClass, random);
      for (const Placement& placement : support::allPlacements<Sample>()) {
        const Sample factor = random.oneOf(factors);
        std::vector<Sample> expected = samples;
        TypeParam::model(expected.data(), count, factor);
        const std::span<Sample> data = memory.place(count, placement);
        std::ranges::copy(samples, data.begin());
        TypeParam::kernel(data.data(), count, factor);
        ASSERT_TRUE(support::sameResult(data, expected)) << sampleClass << ", factor " << factor << ", " << placement;
        ASSERT_TRUE(memory.surroundingsIntact()) << count << " samples, " << placement;
      }
    }
  }
}

TYPED_TEST(ScaleInPlace, CountZeroTouchesNothing) {
  support::FencedBuffer<typename TypeParam::Sample> memory(1);
  TypeParam::kernel(memory.place(0, support::endsAtFence).data(), 0, 3);
  EXPECT_TRUE(memory.surroundingsIntact());
}

}  // namespace
