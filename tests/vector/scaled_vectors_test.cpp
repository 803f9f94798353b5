#include "reference/scaled_vectors.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float highest = std::numeric_limits<float>::max();
constexpr float smallest = std::numeric_limits<float>::denorm_min();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float aNan = std::numeric_limits<float>::quiet_NaN();
constexpr float twoToMinus11 = 0x1p-11F;
constexpr float twoToMinus12 = 0x1p-12F;

struct Factors {
  float second;  // of the scaled sum alone
  float result;
};

struct HandWorkedCase {
  float first;
  float second;
  Factors factors;
  float output;
};

}  // namespace

// The types of the typed tests, by the names of their exports.
namespace exports {

struct SubtractVectorsAndMultiplyByScalar_float {
  static void kernel(float* output, const float* first, const float* second, uint32_t count, const Factors& factors) {
    kxcalcSubtractVectorsAndMultiplyByScalar_float(output, first, second, count, factors.result);
  }
  static void model(float* output, const float* first, const float* second, uint32_t count, const Factors& factors) {
    reference::kxcalcSubtractVectorsAndMultiplyByScalar_float(output, first, second, count, factors.result);
  }
  static std::vector<HandWorkedCase> handWorkedCases() {
    return {
        {5, 3, {0, 0.5F}, 1},
        {3, 5, {0, 0.5F}, -1},
        // Both steps are rounded to single: 2^24 + 1 is not a single, and neither is twice the highest one.
        {16777216, -1, {0, 2}, 33554432},
        {16777216, 1, {0, 2}, 33554430},
        {highest, -highest, {0, 0.25F}, infinity},
        {1 + twoToMinus12, 0, {0, 1 + twoToMinus12}, 1 + twoToMinus11},
        {-0.0F, 0, {0, 1}, -0.0F},
        {0, 0, {0, 1}, 0},
        {0, 0, {0, -1}, -0.0F},
        {-0.0F, -0.0F, {0, 1}, 0},
        {7, 7, {0, 5}, 0},
        {4 * smallest, smallest, {0, 0.5F}, 2 * smallest},
        {infinity, infinity, {0, 1}, aNan},
        {infinity, 1, {0, 0}, aNan},
        {aNan, 1, {0, 1}, aNan},
        {1, aNan, {0, 1}, aNan},
    };
  }
};

struct AddVectorsAndMultiplyByScalar_float {
  static void kernel(float* output, const float* first, const float* second, uint32_t count, const Factors& factors) {
    kxcalcAddVectorsAndMultiplyByScalar_float(output, first, second, count, factors.second, factors.result);
  }
  static void model(float* output, const float* first, const float* second, uint32_t count, const Factors& factors) {
    reference::kxcalcAddVectorsAndMultiplyByScalar_float(output, first, second, count, factors.second, factors.result);
  }
  static std::vector<HandWorkedCase> handWorkedCases() {
    return {
        {1, 2, {3, 0.5F}, 3.5F},
        {2, 1, {3, 0.5F}, 2.5F},
        // Each step is rounded to single: a fused product would leave 2^-24 of the square of 1 + 2^-12.
        {-(1 + twoToMinus11), 1 + twoToMinus12, {1 + twoToMinus12, 1}, 0},
        {-highest, highest, {2, 1}, infinity},
        {highest, highest, {1, 0.25F}, infinity},
        {1, 16777216, {1, 2}, 33554432},
        {0, -0.0F, {1, 1}, 0},
        {-0.0F, -0.0F, {1, 1}, -0.0F},
        {-0.0F, 0, {-1, -1}, 0},
        {smallest, smallest, {2, 0.5F}, 2 * smallest},
        {infinity, -infinity, {1, 1}, aNan},
        {1, infinity, {0, 1}, aNan},
        {aNan, 1, {1, 1}, aNan},
        {1, aNan, {1, 1}, aNan},
    };
  }
};

}  // namespace exports

namespace {

/// An export with fenced memory for its three buffers.
template <typename Export>
class Subject {
public:
  testing::AssertionResult equalsModel(std::span<const float> first, std::span<const float> second,
                                       const Factors& factors, const Placement& outputPlacement,
                                       const Placement& firstPlacement, const Placement& secondPlacement) {
    const auto count = static_cast<uint32_t>(first.size());
    std::vector<float> expected(count);
    Export::model(expected.data(), first.data(), second.data(), count, factors);
    const std::span<float> placedFirst = firstMemory_.place(count, firstPlacement);
    const std::span<float> placedSecond = secondMemory_.place(count, secondPlacement);
    const std::span<float> output = outputMemory_.place(count, outputPlacement);
    std::ranges::copy(first, placedFirst.begin());
    std::ranges::copy(second, placedSecond.begin());
    std::ranges::fill(output, 12345.0F);
    Export::kernel(output.data(), placedFirst.data(), placedSecond.data(), count, factors);
    testing::AssertionResult result = support::sameResult(output, expected);
    if (result && !outputMemory_.surroundingsIntact()) {
      result = testing::AssertionFailure() << "written next to the output";
    }
    if (result && !(support::sameBits(placedFirst, first) && support::sameBits(placedSecond, second))) {
      result = testing::AssertionFailure() << "input changed";
    }
    if (!result) {
      result << "; " << count << " elements, factors " << factors.second << " and " << factors.result << ", output "
             << outputPlacement << ", first " << firstPlacement << ", second " << secondPlacement;
    }
    return result;
  }

private:
  support::FencedBuffer<float> outputMemory_{support::largestCount};
  support::FencedBuffer<float> firstMemory_{support::largestCount};
  support::FencedBuffer<float> secondMemory_{support::largestCount};
};

Factors randomFactors(support::Random& random) {
  static constexpr float values[] = {0,      -0.0F,   1,        -1,       0.1F,      -3.7F, 0.5F, 1e20F,
                                     1e-20F, highest, smallest, infinity, -infinity, aNan,  2,    1.0000001F};
  return {random.oneOf(values), random.oneOf(values)};
}

std::vector<float> samplesOf(support::SampleClass sampleClass, std::size_t size, support::Random& random) {
  std::vector<float> samples(size);
  support::fill(std::span(samples), sampleClass, random);
  return samples;
}

template <typename Export>
class ScaledVectors : public testing::Test {};

using Exports =
    testing::Types<exports::SubtractVectorsAndMultiplyByScalar_float, exports::AddVectorsAndMultiplyByScalar_float>;
TYPED_TEST_SUITE(ScaledVectors, Exports);

TYPED_TEST(ScaledVectors, HandWorkedResultsAtEachPositionOfEveryPath) {
  for (const auto& [first, second, factors, output] : TypeParam::handWorkedCases()) {
    for (uint32_t count = 1; count <= 40; ++count) {
      const std::vector<float> firsts(count, first);
      const std::vector<float> seconds(count, second);
      std::vector<float> outputs(count, 12345.0F);
      TypeParam::kernel(outputs.data(), firsts.data(), seconds.data(), count, factors);
      ASSERT_TRUE(support::sameResult(outputs, std::vector<float>(count, output)))
          << "first " << support::describe(first) << ", second " << support::describe(second);
    }
  }
}

TYPED_TEST(ScaledVectors, EqualsTheModelAtEveryCombinationOfPlacements) {
  support::TestRandom random;
  Subject<TypeParam> subject;
  const std::span<const support::SampleClass> sampleClasses = support::sampleClasses<float>();
  for (uint32_t count = 0; count <= 67; ++count) {
    for (const Placement& output : support::allPlacements<float>()) {
      for (const Placement& first : support::allPlacements<float>()) {
        for (const Placement& second : support::allPlacements<float>()) {
          const support::SampleClass sampleClass = random.oneOf(sampleClasses);
          ASSERT_TRUE(subject.equalsModel(samplesOf(sampleClass, count, random), samplesOf(sampleClass, count, random),
                                          randomFactors(random), output, first, second))
              << sampleClass;
        }
      }
    }
  }
}

TYPED_TEST(ScaledVectors, EqualsTheModelForLargeVectorsOfEveryClass) {
  support::TestRandom random;
  Subject<TypeParam> subject;
  const std::vector<Placement> placements = support::allPlacements<float>();
  std::vector<uint32_t> counts = support::largeCounts();
  counts.insert(counts.end(), {127, 128, 129, 130, 255, 256, 257});
  for (const uint32_t count : counts) {
    for (const support::SampleClass firstClass : support::sampleClasses<float>()) {
      const std::vector<float> first = samplesOf(firstClass, count, random);
      const std::vector<float> second = samplesOf(random.oneOf(support::sampleClasses<float>()), count, random);
      for (const Placement& output : placements) {
        ASSERT_TRUE(subject.equalsModel(first, second, randomFactors(random), output, random.oneOf(placements),
                                        random.oneOf(placements)))
            << firstClass;
      }
    }
  }
}

TYPED_TEST(ScaledVectors, BothInputsMayBeOne) {
  for (uint32_t count = 0; count <= 67; ++count) {
    std::vector<float> input(count);
    for (uint32_t i = 0; i < count; ++i) {
      input[i] = static_cast<float>(i) * 1.7F - 20;
    }
    std::vector<float> actual(count);
    std::vector<float> expected(count);
    TypeParam::kernel(actual.data(), input.data(), input.data(), count, {0.3F, 0.7F});
    TypeParam::model(expected.data(), input.data(), input.data(), count, {0.3F, 0.7F});
    ASSERT_TRUE(support::sameResult(actual, expected));
  }
}

TYPED_TEST(ScaledVectors, OutputInPlaceOfAnInputEqualsSeparateOutput) {
  support::TestRandom random;
  const Factors factors{0.3F, -1.7F};
  for (const uint32_t count : support::smallCounts(0)) {
    for (std::size_t alignment = 0; alignment < 4; ++alignment) {
      const std::vector<float> first = samplesOf(support::SampleClass::signal, alignment + count, random);
      const std::vector<float> second = samplesOf(support::SampleClass::signal, alignment + count, random);
      std::vector<float> separate(count);
      TypeParam::kernel(separate.data(), first.data() + alignment, second.data() + alignment, count, factors);
      std::vector<float> overFirst = first;
      TypeParam::kernel(overFirst.data() + alignment, overFirst.data() + alignment, second.data() + alignment, count,
                        factors);
      ASSERT_TRUE(support::sameResult(std::span(overFirst).subspan(alignment), separate));
      std::vector<float> overSecond = second;
      TypeParam::kernel(overSecond.data() + alignment, first.data() + alignment, overSecond.data() + alignment, count,
                        factors);
      ASSERT_TRUE(support::sameResult(std::span(overSecond).subspan(alignment), separate));
    }
  }
}

/// Positions of the three vectors in one piece of memory.
struct Layout {
  ptrdiff_t output;
  ptrdiff_t first;
  ptrdiff_t second;
};

/// The whole memory after the call equals that after the plain ascending loop.
template <typename Export>
testing::AssertionResult equalsAscendingLoop(std::span<const float> memory, const Layout& layout, uint32_t count) {
  const Factors factors{-0.6F, 1.1F};
  std::vector<float> actual(memory.begin(), memory.end());
  std::vector<float> expected(memory.begin(), memory.end());
  Export::kernel(actual.data() + layout.output, actual.data() + layout.first, actual.data() + layout.second, count,
                 factors);
  Export::model(expected.data() + layout.output, expected.data() + layout.first, expected.data() + layout.second, count,
                factors);
  testing::AssertionResult result = support::sameResult(actual, expected);
  if (!result) {
    result << "; " << count << " elements, output at " << layout.output << ", first at " << layout.first
           << ", second at " << layout.second;
  }
  return result;
}

TYPED_TEST(ScaledVectors, OutputWritesInAscendingOrderAtEveryDistanceFromOneInput) {
  support::TestRandom random;
  const std::vector<float> memory = samplesOf(support::SampleClass::signal, 400, random);
  for (uint32_t count = 0; count <= 100; ++count) {
    for (ptrdiff_t distance = -40; distance <= 40; ++distance) {
      for (ptrdiff_t alignment = 0; alignment < 4; ++alignment) {
        const ptrdiff_t input = 44 + alignment;
        ASSERT_TRUE(equalsAscendingLoop<TypeParam>(memory, {input + distance, input, 290}, count)) << "first";
        ASSERT_TRUE(equalsAscendingLoop<TypeParam>(memory, {input + distance, 290, input}, count)) << "second";
      }
    }
  }
}

TYPED_TEST(ScaledVectors, OutputWritesInAscendingOrderAtEveryDistanceFromBothInputs) {
  support::TestRandom random;
  const std::vector<float> memory = samplesOf(support::SampleClass::signal, 200, random);
  for (const uint32_t count : std::initializer_list<uint32_t>{1, 4, 7, 8, 9, 10, 12, 16, 17, 19, 24, 32, 37, 64, 99}) {
    for (ptrdiff_t first = -40; first <= 40; ++first) {
      for (ptrdiff_t second = -40; second <= 40; ++second) {
        const ptrdiff_t output = 44 + random.between(0, 3);
        ASSERT_TRUE(equalsAscendingLoop<TypeParam>(memory, {output, output + first, output + second}, count));
      }
    }
  }
}

TYPED_TEST(ScaledVectors, LargeOverlappingVectorsAreWrittenInAscendingOrder) {
  support::TestRandom random;
  const std::vector<float> memory = samplesOf(support::SampleClass::signal, 30000, random);
  for (const ptrdiff_t distance : {0,  1,  2,  3,  4,   5,   7,   8,   9,   12,   15,   16,   17,   24,   31,
                                   32, 33, 48, 64, 100, 128, 255, 256, 512, 1000, 1024, 2047, 2048, 4096, 5000}) {
    for (const uint32_t count : std::initializer_list<uint32_t>{1003, 5003, 9001}) {
      const ptrdiff_t input = 5000 + random.between(0, 3);
      for (const ptrdiff_t output : {input + distance, input - distance}) {
        ASSERT_TRUE(equalsAscendingLoop<TypeParam>(memory, {output, input, 20000}, count));
        ASSERT_TRUE(equalsAscendingLoop<TypeParam>(memory, {output, 20000, input}, count));
        ASSERT_TRUE(equalsAscendingLoop<TypeParam>(memory, {output, input, output}, count));
        ASSERT_TRUE(equalsAscendingLoop<TypeParam>(memory, {output, input, input + 3}, count));
      }
    }
  }
}

TYPED_TEST(ScaledVectors, CountZeroTouchesNothing) {
  support::FencedBuffer<float> memory(1);
  float* const none = memory.place(0, support::endsAtFence).data();
  TypeParam::kernel(none, none, none, 0, {2, 3});
  EXPECT_TRUE(memory.surroundingsIntact());
}

}  // namespace
