#include "reference/sine_arctangent.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cmath>
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

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

struct Sin_float {
  static constexpr const char* name = "Sin_float";
  static constexpr auto kernel = &kxcalcSin_float;
  static constexpr auto model = &reference::kxcalcSin_float;
};

struct ATan_float {
  static constexpr const char* name = "ATan_float";
  static constexpr auto kernel = &kxcalcATan_float;
  static constexpr auto model = &reference::kxcalcATan_float;
};

struct Names {
  template <typename Export>
  static std::string GetName(int) {
    return Export::name;
  }
};

/// An export with fenced memory for its two buffers.
template <typename Export>
class Subject {
public:
  std::span<const float> run(std::span<const float> input, const Placement& inputPlacement,
                             const Placement& outputPlacement) {
    input_ = inputMemory_.place(input.size(), inputPlacement);
    std::ranges::copy(input, input_.begin());
    output_ = outputMemory_.place(input.size(), outputPlacement);
    std::ranges::fill(output_, -21846.0F);
    Export::kernel(input_.data(), output_.data(), static_cast<uint32_t>(input.size()));
    return output_;
  }

  testing::AssertionResult equalsModel(std::span<const float> input, const Placement& inputPlacement,
                                       const Placement& outputPlacement) {
    std::vector<float> expected(input.size());
    Export::model(input.data(), expected.data(), static_cast<uint32_t>(input.size()));
    testing::AssertionResult result = support::sameResult(run(input, inputPlacement, outputPlacement), expected);
    if (result && !outputMemory_.surroundingsIntact()) {
      result = testing::AssertionFailure() << "written next to the output";
    }
    if (result && !support::sameBits(input_, input)) {
      result = testing::AssertionFailure() << "input changed";
    }
    if (!result) {
      result << "; " << input.size() << " elements, input " << inputPlacement << ", output " << outputPlacement;
    }
    return result;
  }

private:
  support::FencedBuffer<float> inputMemory_{support::largestCount};
  support::FencedBuffer<float> outputMemory_{support::largestCount};
  std::span<float> input_;
  std::span<float> output_;
};

/// Any singles, or angles and tangents of moderate size.
std::vector<float> inputOf(std::size_t size, support::Random& random) {
  std::vector<float> input(size);
  if (random.oneIn(2)) {
    support::fill(std::span(input), random.oneOf(support::sampleClasses<float>()), random);
  } else {
    const double span = std::exp2(random.between(-3, 14));
    std::ranges::generate(input, [&] { return static_cast<float>(random.sign() * span * random.unit()); });
  }
  return input;
}

template <typename Export>
class SineArctangent : public testing::Test {};

using Exports = testing::Types<Sin_float, ATan_float>;
TYPED_TEST_SUITE(SineArctangent, Exports, Names);

TYPED_TEST(SineArctangent, UpToThreeElementsAreSinesInDouble) {
  Subject<TypeParam> subject;
  for (const Placement& placement : support::allPlacements<float>()) {
    EXPECT_NEAR(subject.run(std::vector<float>{1}, placement, placement)[0], 0.841471, 5e-7);
    for (const std::vector<float>& input :
         std::initializer_list<std::vector<float>>{{1},
                                                   {2, -0.0F},
                                                   {1e6F, 3e9F, -1e30F},
                                                   {infinity, nan, 1e-40F},
                                                   // Sines in single may miss these by one in the last place.
                                                   {0.100000091F, 0.100001588F, 0.100003086F}}) {
      std::vector<float> expected;
      for (const float x : input) {
        expected.push_back(static_cast<float>(reference::correctSine(x)));
      }
      EXPECT_TRUE(support::sameResult(subject.run(input, placement, placement), expected)) << input.size();
    }
  }
}

TYPED_TEST(SineArctangent, UpToThreeElementsAreRoundedAsTheCorrectDouble) {
  // The only singles above 0 whose sine in single the last bit of the sine in double decides.
  Subject<TypeParam> subject;
  EXPECT_TRUE(support::sameBits(subject.run(std::vector<float>{0x1.33333p+13F, -0x1.33333p+13F},
                                            support::pastBoundary(0), support::pastBoundary(0)),
                                std::vector<float>{-0x1.63f4bcp-2F, 0x1.63f4bcp-2F}));
  EXPECT_TRUE(support::sameBits(subject.run(std::vector<float>{0x1.95f654p+44F, 0x1.524856p+80F, 0x1.487e0cp+103F},
                                            support::pastBoundary(0), support::pastBoundary(0)),
                                std::vector<float>{-0x1.fcf42ep-1F, -0x1.ff5702p-1F, 0x1.287508p-2F}));
}

TYPED_TEST(SineArctangent, FourElementsAreNotTreatedAsThree) {
  // Far out the four-lane sine is no longer close to the sine.
  Subject<TypeParam> subject;
  const std::vector<float> input(4, 1e6F + 0.5F);
  const std::vector<float> sines(4, static_cast<float>(std::sin(1e6 + 0.5)));
  for (const Placement& placement : support::allPlacements<float>()) {
    EXPECT_FALSE(support::sameBits(subject.run(input, placement, placement), sines)) << placement;
  }
}

TYPED_TEST(SineArctangent, EqualsTheModelAtEveryPairOfPlacements) {
  support::TestRandom random;
  Subject<TypeParam> subject;
  for (const uint32_t count : support::smallCounts(0)) {
    for (const Placement& inputPlacement : support::allPlacements<float>()) {
      for (const Placement& outputPlacement : support::allPlacements<float>()) {
        for (int repetition = 0; repetition < 3; ++repetition) {
          ASSERT_TRUE(subject.equalsModel(inputOf(count, random), inputPlacement, outputPlacement));
        }
      }
    }
  }
}

TYPED_TEST(SineArctangent, EqualsTheModelForLargeBlocks) {
  support::TestRandom random;
  Subject<TypeParam> subject;
  for (const uint32_t count : support::largeCounts()) {
    for (const Placement& placement : support::allPlacements<float>()) {
      ASSERT_TRUE(subject.equalsModel(inputOf(count, random), placement, support::pastBoundary(random.below(4))));
    }
  }
}

TYPED_TEST(SineArctangent, EachElementOfABlockIsThatOfItsOwnInput) {
  Subject<TypeParam> subject;
  for (uint32_t count = 4; count <= 40; ++count) {
    for (const Placement& placement : support::allPlacements<float>()) {
      std::vector<float> input(count);
      for (uint32_t i = 0; i < count; ++i) {
        input[i] = 0.125F * static_cast<float>(i) - 1;
      }
      const std::vector<float> before = input;
      const std::span<const float> together = subject.run(input, placement, placement);
      const std::vector<float> results(together.begin(), together.end());
      for (uint32_t i = 0; i < count; ++i) {
        const std::vector<float> alone(4, before[i]);
        ASSERT_TRUE(support::sameBits(subject.run(alone, placement, placement)[0], results[i])) << i << " of " << count;
      }
    }
  }
}

TYPED_TEST(SineArctangent, CountZeroTouchesNothing) {
  support::FencedBuffer<float> memory(1);
  float* const none = memory.place(0, support::endsAtFence).data();
  TypeParam::kernel(none, none, 0);
  EXPECT_TRUE(memory.surroundingsIntact());
}

TEST(Sin_float, HandWorkedValues) {
  Subject<Sin_float> subject;
  const std::vector<float> input{0.0F, -0.0F, 1.57079637F, -1.57079637F, 1e-40F, infinity, nan, -infinity};
  for (const Placement& placement : support::allPlacements<float>()) {
    EXPECT_TRUE(support::sameResult(subject.run(input, placement, placement),
                                    std::vector<float>{0.0F, -0.0F, 1, -1, 1e-40F, nan, nan, nan}));
  }
}

TEST(ATan_float, HandWorkedValues) {
  Subject<ATan_float> subject;
  const std::vector<float> input{0.0F, -0.0F, 1, -1, infinity, -infinity, 1e-40F};
  const std::vector<float> expected{0.0F, -0.0F, 0.785398185F, -0.785398185F, 1.57079637F, -1.57079637F, 1e-40F};
  for (const Placement& placement : support::allPlacements<float>()) {
    EXPECT_TRUE(support::sameResult(subject.run(input, placement, placement), expected));
  }
}

TEST(ATan_float, EqualsTheModelAroundBothThresholds) {
  Subject<ATan_float> subject;
  for (const float threshold : {0.66F, 2.41421366F}) {
    std::vector<float> input{threshold, -threshold};
    for (const float direction : {0.0F, infinity}) {
      float x = threshold;
      for (int i = 0; i < 100; ++i) {
        x = std::nextafter(x, direction);
        input.insert(input.end(), {x, -x});
      }
    }
    EXPECT_TRUE(subject.equalsModel(input, support::pastBoundary(0), support::pastBoundary(0)));
  }
}

TEST(ATan_float, StaysCloseToTheArctangent) {
  Subject<ATan_float> subject;
  std::vector<float> input;
  for (int i = -2000; i <= 2000; ++i) {
    input.push_back(0.01F * static_cast<float>(i));
  }
  const std::span<const float> output = subject.run(input, support::pastBoundary(1), support::pastBoundary(2));
  for (std::size_t i = 0; i < input.size(); ++i) {
    ASSERT_NEAR(output[i], std::atan(static_cast<double>(input[i])), 1.2e-7) << input[i];
  }
}

}  // namespace
