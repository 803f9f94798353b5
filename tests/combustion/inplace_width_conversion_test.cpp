#include "reference/inplace_width_conversion.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr double doubleInfinity = std::numeric_limits<double>::infinity();
constexpr double doubleNan = std::numeric_limits<double>::quiet_NaN();
constexpr float singleInfinity = std::numeric_limits<float>::infinity();
constexpr float singleNan = std::numeric_limits<float>::quiet_NaN();
constexpr float highest = std::numeric_limits<float>::max();

template <typename T>
std::vector<T> elementsOf(std::span<const std::byte> bytes, std::size_t count) {
  std::vector<T> elements(count);
  if (count > 0) {
    std::memcpy(elements.data(), bytes.data(), count * sizeof(T));
  }
  return elements;
}

}  // namespace

// The types of the typed tests, by the names of their exports.
namespace exports {

struct CADoubleArrToSingleArrInplace {
  using From = double;
  using To = float;
  static constexpr auto kernel = &kxcalcCADoubleArrToSingleArrInplace;
  static constexpr auto model = &reference::kxcalcCADoubleArrToSingleArrInplace;
  // Rounded to nearest, ties to even, once; out of range an infinity.
  static constexpr double before[] = {
      0,
      -0.0,
      1.5,
      -3,
      0.1,
      16777217,
      16777219,
      -16777217.000001,
      1 + 0x1p-24,
      1 + 3 * 0x1p-24,
      1 + 0x1p-24 + 0x1p-52,
      1e300,
      -1e300,
      0x1.fffffep127,
      0x1.fffffefffffffp127,
      0x1.ffffffp127,
      -0x1.ffffffp127,
      0x1p-126,
      0x1p-127,
      0x1p-149,
      0x1p-150,
      0x1.0000000000001p-150,
      0x1.8p-149,
      -0x1p-151,
      0x1p-1074,
      doubleInfinity,
      -doubleInfinity,
      doubleNan,
  };
  static constexpr float after[] = {
      0,
      -0.0F,
      1.5F,
      -3,
      0x1.99999ap-4F,
      16777216,
      16777220,
      -16777218,
      1,
      1 + 0x1p-22F,
      1 + 0x1p-23F,
      singleInfinity,
      -singleInfinity,
      highest,
      highest,
      singleInfinity,
      -singleInfinity,
      0x1p-126F,
      0x1p-127F,
      0x1p-149F,
      0,
      0x1p-149F,
      0x1p-148F,
      -0.0F,
      0,
      singleInfinity,
      -singleInfinity,
      singleNan,
  };
};

struct CASingleArrToDoubleArrInplace {
  using From = float;
  using To = double;
  static constexpr auto kernel = &kxcalcCASingleArrToDoubleArrInplace;
  static constexpr auto model = &reference::kxcalcCASingleArrToDoubleArrInplace;
  static constexpr float before[] = {
      0,         -0.0F,     1.5F,      -3,           0.1F,           16777215,        highest,  -highest,
      0x1p-126F, 0x1p-127F, 0x1p-149F, -0x1.8p-148F, singleInfinity, -singleInfinity, singleNan};
  static constexpr double after[] = {
      0,        -0.0,     1.5,      -3,          0x1.99999ap-4,  16777215,        0x1.fffffep127, -0x1.fffffep127,
      0x1p-126, 0x1p-127, 0x1p-149, -0x1.8p-148, doubleInfinity, -doubleInfinity, doubleNan};
};

}  // namespace exports

namespace {

/// A buffer on a 16-byte boundary with room for count doubles, between fences as far as the boundary allows it.
template <typename Export>
class Subject {
public:
  using From = typename Export::From;
  using To = typename Export::To;

  testing::AssertionResult delivers(std::span<const From> before, std::span<const To> after,
                                    const Placement& placement) {
    const std::size_t count = before.size();
    const bool canEndAtFence = count % 2 == 0;
    const bool endsAtFence = placement.kind == Placement::Kind::endsAtFence;
    const std::span<std::byte> bytes =
        memory_.place(count * sizeof(double), endsAtFence && !canEndAtFence ? support::pastBoundary(0) : placement);
    std::ranges::fill(bytes, std::byte{0x3C});
    if (count > 0) {
      std::memcpy(bytes.data(), before.data(), before.size_bytes());
    }
    const std::vector<std::byte> bytesBefore(bytes.begin(), bytes.end());
    Export::kernel(bytes.data(), static_cast<uint32_t>(count));
    testing::AssertionResult result = support::sameResult(elementsOf<To>(bytes, count), after);
    if (result &&
        !std::ranges::equal(bytes.subspan(after.size_bytes()), std::span(bytesBefore).subspan(after.size_bytes()))) {
      result = testing::AssertionFailure() << "bytes past the result changed";
    }
    if (result && !memory_.surroundingsIntact()) {
      result = testing::AssertionFailure() << "written next to the buffer";
    }
    if (!result) {
      result << "; " << count << " elements, " << placement;
    }
    return result;
  }

  testing::AssertionResult equalsModel(std::span<const From> before, const Placement& placement) {
    std::vector<double> room(before.size());
    if (!before.empty()) {
      std::memcpy(room.data(), before.data(), before.size_bytes());
    }
    Export::model(room.data(), static_cast<uint32_t>(before.size()));
    return delivers(before, elementsOf<To>(std::as_bytes(std::span(room)), before.size()), placement);
  }

private:
  support::FencedBuffer<std::byte> memory_{support::largestCount * sizeof(double)};
};

const Placement placements[] = {support::endsAtFence, support::beginsAtFence, support::pastBoundary(0)};

template <typename Export>
class InplaceWidthConversion : public testing::Test {};

using Exports = testing::Types<exports::CADoubleArrToSingleArrInplace, exports::CASingleArrToDoubleArrInplace>;
TYPED_TEST_SUITE(InplaceWidthConversion, Exports);

TYPED_TEST(InplaceWidthConversion, HandWorkedValuesAtEachPosition) {
  Subject<TypeParam> subject;
  constexpr std::size_t size = std::size(TypeParam::before);
  for (std::size_t count = 1; count <= 40; ++count) {
    for (std::size_t shift = 0; shift < size; ++shift) {
      std::vector<typename TypeParam::From> before;
      std::vector<typename TypeParam::To> after;
      for (std::size_t i = 0; i < count; ++i) {
        before.push_back(TypeParam::before[(i + shift) % size]);
        after.push_back(TypeParam::after[(i + shift) % size]);
      }
      for (const Placement& placement : placements) {
        ASSERT_TRUE(subject.delivers(before, after, placement));
      }
    }
  }
}

TYPED_TEST(InplaceWidthConversion, ElementsKeepTheirIndexAtEveryCount) {
  Subject<TypeParam> subject;
  for (std::size_t count = 0; count <= 300; ++count) {
    std::vector<typename TypeParam::From> before;
    std::vector<typename TypeParam::To> after;
    for (std::size_t i = 0; i < count; ++i) {
      before.push_back(static_cast<typename TypeParam::From>(i + 1));
      after.push_back(static_cast<typename TypeParam::To>(i + 1));
    }
    for (const Placement& placement : placements) {
      ASSERT_TRUE(subject.delivers(before, after, placement));
    }
  }
}

TYPED_TEST(InplaceWidthConversion, EqualsTheModelAtEveryCountAndPlacement) {
  using From = typename TypeParam::From;
  support::TestRandom random;
  Subject<TypeParam> subject;
  std::vector<uint32_t> counts = support::smallCounts(0);
  const std::vector<uint32_t> largeCounts = support::largeCounts();
  counts.insert(counts.end(), largeCounts.begin(), largeCounts.end());
  for (const support::SampleClass sampleClass : support::sampleClasses<From>()) {
    for (const uint32_t count : counts) {
      for (const Placement& placement : placements) {
        std::vector<From> before(count);
        support::fill(std::span(before), sampleClass, random);
        ASSERT_TRUE(subject.equalsModel(before, placement)) << sampleClass;
      }
    }
  }
}

TYPED_TEST(InplaceWidthConversion, CountZeroTouchesNothing) {
  support::FencedBuffer<std::byte> memory(16);
  for (const Placement& placement : placements) {
    TypeParam::kernel(memory.place(0, placement).data(), 0);
    EXPECT_TRUE(memory.surroundingsIntact());
  }
}

TEST(CADoubleArrToSingleArrInplace, LeavesTheUpperHalfOfTheBufferAsItWas) {
  alignas(16) double buffer[] = {1, 2, 3, 4, 5, 6, 7};
  kxcalcCADoubleArrToSingleArrInplace(buffer, 7);
  // 28 bytes of singles; the rest of the doubles from 3.5 on.
  EXPECT_EQ(elementsOf<float>(std::as_bytes(std::span(buffer)), 7), (std::vector<float>{1, 2, 3, 4, 5, 6, 7}));
  double halfWritten = 4;
  const float seventh = 7;
  std::memcpy(&halfWritten, &seventh, sizeof seventh);
  EXPECT_TRUE(support::sameBits(std::span(buffer).subspan(3), std::vector<double>{halfWritten, 5, 6, 7}));
}

TEST(CADoubleArrToSingleArrInplace, CountOneWritesTheFirstSingle) {
  alignas(16) double buffer[] = {1e300, 2};
  kxcalcCADoubleArrToSingleArrInplace(buffer, 1);
  EXPECT_EQ(elementsOf<float>(std::as_bytes(std::span(buffer)), 1), std::vector<float>{singleInfinity});
  EXPECT_EQ(buffer[1], 2);
}

TEST(CASingleArrToDoubleArrInplace, TailThenBlocksSoThatNoSingleIsLost) {
  alignas(16) double buffer[8] = {0, 0, 0, 0, 0, 0, 0, -1};
  const std::vector<float> singles{1, 2, 3, 4, 5, 6, 7};
  std::memcpy(buffer, singles.data(), 28);
  kxcalcCASingleArrToDoubleArrInplace(buffer, 7);
  EXPECT_TRUE(support::sameBits(buffer, std::vector<double>{1, 2, 3, 4, 5, 6, 7, -1}));
}

TEST(CASingleArrToDoubleArrInplace, WideningThenNarrowingGivesEverySingleBack) {
  support::TestRandom random;
  for (const uint32_t count : {1U, 7U, 64U, 4101U, 65537U}) {
    for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
      std::vector<float> singles(count);
      support::fill(std::span(singles), sampleClass, random);
      support::FencedBuffer<std::byte> memory(count * sizeof(double));
      const std::span<std::byte> bytes = memory.place(count * sizeof(double), support::beginsAtFence);
      std::memcpy(bytes.data(), singles.data(), count * sizeof(float));
      kxcalcCASingleArrToDoubleArrInplace(bytes.data(), count);
      kxcalcCADoubleArrToSingleArrInplace(bytes.data(), count);
      ASSERT_TRUE(support::sameResult(elementsOf<float>(bytes, count), singles)) << sampleClass;
    }
  }
}

}  // namespace
