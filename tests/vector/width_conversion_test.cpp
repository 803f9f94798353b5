#include "reference/width_conversion.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
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

constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
constexpr int32_t highest = std::numeric_limits<int32_t>::max();

}  // namespace

// The types of the typed tests, by the names of their exports.
namespace exports {

struct ConvertInt32ToInt16 {
  using Source = int32_t;
  using Destination = int16_t;
  static constexpr auto kernel = &kxcalcConvertInt32ToInt16;
  static constexpr auto model = &reference::kxcalcConvertInt32ToInt16;
  static constexpr int32_t sources[] = {65535, 65536, -32769, highest, 70000, 32768, -1,    0,
                                        1,     32767, -32768, lowest,  98304, 65537, 12345, -65535};
  static constexpr int16_t destinations[] = {-1, 0,     32767,  -1, 4464,   -32768, -1,    0,
                                             1,  32767, -32768, 0,  -32768, 1,      12345, 1};
};

struct ConvertInt16ToInt32 {
  using Source = int16_t;
  using Destination = int32_t;
  static constexpr auto kernel = &kxcalcConvertInt16ToInt32;
  static constexpr auto model = &reference::kxcalcConvertInt16ToInt32;
  static constexpr int16_t sources[] = {-32768, -1, 0, 32767, 1, -2, 255, 256, -256, -257, 12345, -12345};
  static constexpr int32_t destinations[] = {-32768, -1, 0, 32767, 1, -2, 255, 256, -256, -257, 12345, -12345};
};

}  // namespace exports

namespace {

/// An export with fenced memory for its two buffers.
template <typename Export>
class Subject {
public:
  using Source = typename Export::Source;
  using Destination = typename Export::Destination;

  testing::AssertionResult delivers(std::span<const Source> source, std::span<const Destination> expected,
                                    const Placement& sourcePlacement, const Placement& destinationPlacement) {
    const std::span<Source> placed = sourceMemory_.place(source.size(), sourcePlacement);
    const std::span<Destination> destination = destinationMemory_.place(source.size(), destinationPlacement);
    std::ranges::copy(source, placed.begin());
    std::ranges::fill(destination, Destination{-21846});
    Export::kernel(placed.data(), destination.data(), static_cast<uint32_t>(source.size()));
    testing::AssertionResult result = support::sameBits(destination, expected);
    if (result && !destinationMemory_.surroundingsIntact()) {
      result = testing::AssertionFailure() << "written next to the destination";
    }
    if (result && !support::sameBits(placed, source)) {
      result = testing::AssertionFailure() << "input changed";
    }
    if (!result) {
      result << "; " << source.size() << " samples, source " << sourcePlacement << ", destination "
             << destinationPlacement;
    }
    return result;
  }

  testing::AssertionResult equalsModel(std::span<const Source> source, const Placement& sourcePlacement,
                                       const Placement& destinationPlacement) {
    std::vector<Destination> expected(source.size());
    Export::model(source.data(), expected.data(), static_cast<uint32_t>(source.size()));
    return delivers(source, expected, sourcePlacement, destinationPlacement);
  }

private:
  support::FencedBuffer<Source> sourceMemory_{support::largestCount};
  support::FencedBuffer<Destination> destinationMemory_{support::largestCount};
};

template <typename Export>
class WidthConversion : public testing::Test {};

using Exports = testing::Types<exports::ConvertInt32ToInt16, exports::ConvertInt16ToInt32>;
TYPED_TEST_SUITE(WidthConversion, Exports);

TYPED_TEST(WidthConversion, HandWorkedValuesAtEachPositionOfEveryPath) {
  Subject<TypeParam> subject;
  for (std::size_t count = 1; count <= 40; ++count) {
    for (std::size_t shift = 0; shift < std::size(TypeParam::sources); ++shift) {
      std::vector<typename TypeParam::Source> source;
      std::vector<typename TypeParam::Destination> expected;
      for (std::size_t i = 0; i < count; ++i) {
        source.push_back(TypeParam::sources[(i + shift) % std::size(TypeParam::sources)]);
        expected.push_back(TypeParam::destinations[(i + shift) % std::size(TypeParam::sources)]);
      }
      for (const Placement& placement : support::allPlacements<int32_t>()) {
        ASSERT_TRUE(subject.delivers(source, expected, placement, placement));
      }
    }
  }
}

TYPED_TEST(WidthConversion, EqualsTheModelAtEveryPairOfPlacements) {
  using Source = typename TypeParam::Source;
  support::TestRandom random;
  Subject<TypeParam> subject;
  std::vector<uint32_t> counts = support::smallCounts(0);
  counts.push_back(1000);
  for (const uint32_t count : counts) {
    for (const Placement& sourcePlacement : support::allPlacements<Source>()) {
      for (const Placement& destinationPlacement : support::allPlacements<typename TypeParam::Destination>()) {
        std::vector<Source> source(count);
        support::fill(std::span(source), random.oneOf(support::sampleClasses<Source>()), random);
        ASSERT_TRUE(subject.equalsModel(source, sourcePlacement, destinationPlacement));
      }
    }
  }
}

TYPED_TEST(WidthConversion, EqualsTheModelForLargeVectorsOfEveryClass) {
  using Source = typename TypeParam::Source;
  support::TestRandom random;
  Subject<TypeParam> subject;
  for (const uint32_t count : support::largeCounts()) {
    for (const support::SampleClass sampleClass : support::sampleClasses<Source>()) {
      std::vector<Source> source(count);
      support::fill(std::span(source), sampleClass, random);
      for (const Placement& placement : support::allPlacements<int32_t>()) {
        ASSERT_TRUE(subject.equalsModel(source, placement, support::pastBoundary(random.below(4)))) << sampleClass;
      }
    }
  }
}

TYPED_TEST(WidthConversion, EqualsTheModelForEveryPatternOfTheLow16Bits) {
  using Source = typename TypeParam::Source;
  Subject<TypeParam> subject;
  for (const uint32_t highBits : {0U, 0x00010000U, 0x7FFF0000U, 0x80000000U, 0xFFFF0000U, 0x55AA0000U}) {
    std::vector<Source> source;
    for (uint32_t lowBits = 0; lowBits < 65536; ++lowBits) {
      source.push_back(static_cast<Source>(highBits | lowBits));
    }
    ASSERT_TRUE(subject.equalsModel(source, support::pastBoundary(1), support::pastBoundary(1)));
  }
}

TYPED_TEST(WidthConversion, CountZeroTouchesNothing) {
  support::FencedBuffer<typename TypeParam::Source> source(1);
  support::FencedBuffer<typename TypeParam::Destination> destination(1);
  TypeParam::kernel(source.place(0, support::endsAtFence).data(), destination.place(0, support::endsAtFence).data(), 0);
  EXPECT_TRUE(destination.surroundingsIntact());
}

TEST(WidthConversions, WideningThenNarrowingGivesEverySampleBack) {
  std::vector<int16_t> samples;
  for (int32_t sample = -32768; sample <= 32767; ++sample) {
    samples.push_back(static_cast<int16_t>(sample));
  }
  std::vector<int32_t> wide(samples.size());
  std::vector<int16_t> narrow(samples.size());
  kxcalcConvertInt16ToInt32(samples.data(), wide.data(), 65536);
  kxcalcConvertInt32ToInt16(wide.data(), narrow.data(), 65536);
  EXPECT_TRUE(support::sameBits(narrow, samples));
}

}  // namespace
