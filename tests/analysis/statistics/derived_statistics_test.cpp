// What is derived from statistics: the alternating part, columns of an overview, and scaled values.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "analysis/channel_values/channel_values.hpp"
#include "analysis/closeness.hpp"
#include "analysis/statistics/envelope.hpp"
#include "analysis/statistics/statistics.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

TEST(AlternatingPart, TheOffsetIsMinusTheAverage) {
  EXPECT_EQ(alternatingOffset<int16_t>(2.4), -2.0F);
  EXPECT_EQ(alternatingOffset<int16_t>(-2.6), 3.0F);
  EXPECT_EQ(alternatingOffset<float>(2.25), -2.25F);
  EXPECT_EQ(alternatingOffset<int32_t>(2.4), -2.4);
  EXPECT_EQ(alternatingOffset<double>(2.4), -2.4);
}

TEST(AlternatingPart, ItsRmsDoesNotDependOnTheOffset) {
  const std::vector<double> samples{103, 99, 98, 104, 101};  // mean 101, deviations 2, -2, -3, 3, 0
  for (const double offset : {-101.0, -100.5, -103.0}) {
    Statistics<double> statistics(linkedFunctions, offset);
    statistics.feed(samples);
    expectClose(alternatingRms(statistics, offset), std::sqrt(26 / 5.0));
  }
  Statistics<double> constant(linkedFunctions, 0.1);
  constant.feed(std::vector<double>(3, 0.3));
  EXPECT_LT(alternatingRms(constant, 0.1), 1e-8);
}

TEST(Envelope, ColumnsHoldTheirShareOfTheFrames) {
  const std::vector<double> samples{1, 2, 3, 4, 5, -6, 7, 8, 9, 10, 11};
  for (const size_t length : std::to_array<size_t>({1, 2, 3, 11})) {
    Envelope<double> envelope(linkedFunctions, 10, 4);
    inBlocks(std::span(samples), length, [&](std::span<const double> block) { envelope.feed(block); });
    const auto& columns = envelope.columns();
    ASSERT_EQ(columns.size(), 4U);  // of the frames 0 and 1, 2 to 4, 5 and 6, 7 to 9
    const auto expect = [](const EnvelopeColumn& column, double position, double least, double most, double square) {
      EXPECT_EQ(column.position, position);
      EXPECT_EQ(column.minimum, least);
      EXPECT_EQ(column.maximum, most);
      expectClose(column.rms, std::sqrt(square));
    };
    expect(columns[0], 1, 1, 2, 5 / 2.0);
    expect(columns[1], 3.5, 3, 5, 50 / 3.0);
    expect(columns[2], 6, -6, 7, 85 / 2.0);
    expect(columns[3], 8.5, 8, 10, 245 / 3.0);
  }
  Envelope<double> few(linkedFunctions, 2, 7);
  few.feed(samples);
  EXPECT_EQ(few.columns().size(), 2U);
  Envelope<double> none(linkedFunctions, 0, 7);
  none.feed(samples);
  EXPECT_TRUE(none.columns().empty());
}

/// Frames and columns whose product does not fit 64 bits.
TEST(Envelope, ALongChannelIsShared) {
  Envelope<int16_t> envelope(linkedFunctions, uint64_t{1} << 62, uint64_t{1} << 60);
  envelope.feed(std::vector<int16_t>{1, 2, 3, 4, 5});
  ASSERT_EQ(envelope.columns().size(), 1U);
  EXPECT_EQ(envelope.columns()[0].maximum, 4);
  EXPECT_EQ(envelope.columns()[0].position, 2);
}

template <class T>
class ChannelValuesTest : public testing::Test {};
using SampleTypes = testing::Types<int16_t, int32_t, float, double>;
TYPED_TEST_SUITE(ChannelValuesTest, SampleTypes);

TYPED_TEST(ChannelValuesTest, RawSamplesAreScaledAndOffset) {
  constexpr size_t channels = 3, frames = 57;
  std::vector<TypeParam> samples;
  for (size_t i = 0; i < channels * frames; ++i) {
    samples.push_back(static_cast<TypeParam>(i * i % 1009));
  }
  std::vector<double> doubles(frames), unscaled(frames);
  std::vector<float> singles(frames);
  channelValues(linkedFunctions, samples.data() + 1, channels, {0.37, -12.5}, std::span(doubles));
  channelValues(linkedFunctions, samples.data() + 1, channels, {0.37, -12.5}, std::span(singles));
  channelValues(linkedFunctions, samples.data() + 1, channels, {}, std::span(unscaled));
  for (size_t i = 0; i < frames; ++i) {
    const auto raw = static_cast<double>(samples[i * channels + 1]);
    EXPECT_NEAR(doubles[i], raw * 0.37 - 12.5, 1e-12);
    EXPECT_NEAR(static_cast<double>(singles[i]), raw * 0.37 - 12.5, 1e-4);
    EXPECT_EQ(unscaled[i], raw);
  }
}

}  // namespace
}  // namespace kxanalysis_test
