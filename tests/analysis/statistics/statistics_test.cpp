#include "analysis/statistics/statistics.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "analysis/statistics/envelope.hpp"
#include "functions/linked.hpp"

namespace {

using kxanalysis::Envelope;
using kxanalysis::Statistics;
using kxcalc::linkedFunctions;

template <class T>
class StatisticsTest : public testing::Test {
protected:
  static constexpr auto offset = static_cast<kxanalysis::RmsOffset<T>>(0.3);

  static std::vector<T> noise(size_t count) {
    std::mt19937_64 random(11);
    std::uniform_real_distribution<double> distribution(-30000, 30000);
    std::vector<T> samples(count);
    for (T& sample : samples) {
      sample = static_cast<T>(distribution(random));
    }
    return samples;
  }

  static std::array<double, 4> figuresOf(const Statistics<T>& statistics) {
    return {statistics.minimum(), statistics.maximum(), statistics.average(), statistics.meanSquare()};
  }
};

using SampleTypes = testing::Types<int16_t, int32_t, float, double>;
TYPED_TEST_SUITE(StatisticsTest, SampleTypes);

TYPED_TEST(StatisticsTest, TheLengthAndThePlaceOfBlocksDoNotMatter) {
  const std::vector<TypeParam> samples = this->noise(3 * 4096 + 501);
  Statistics<TypeParam> whole(linkedFunctions, this->offset);
  whole.feed(samples);
  for (const size_t length : std::to_array<size_t>({1, 3, 1000, 4095, 4096, 4097, 10000})) {
    Statistics<TypeParam> parts(linkedFunctions, this->offset);
    for (size_t i = 0; i < samples.size(); i += length) {
      parts.feed(std::span(samples).subspan(i, std::min(length, samples.size() - i)));
      EXPECT_EQ(parts.samples(), std::min(i + length, samples.size()));
    }
    EXPECT_EQ(this->figuresOf(parts), this->figuresOf(whole)) << length;
  }
  std::vector<TypeParam> shifted(samples.size() + 1);
  std::copy(samples.begin(), samples.end(), shifted.begin() + 1);
  Statistics<TypeParam> elsewhere(linkedFunctions, this->offset);
  elsewhere.feed(std::span(shifted).subspan(1));
  EXPECT_EQ(this->figuresOf(elsewhere), this->figuresOf(whole));
}

TYPED_TEST(StatisticsTest, TheFiguresAreThoseOfTheirDefinition) {
  const std::vector<TypeParam> samples = this->noise(9001);
  Statistics<TypeParam> statistics(linkedFunctions, 5);
  statistics.feed(samples);
  long double sum = 0, squares = 0;
  for (const TypeParam sample : samples) {
    sum += static_cast<long double>(sample);
    squares += (static_cast<long double>(sample) + 5) * (static_cast<long double>(sample) + 5);
  }
  const auto [least, most] = std::minmax_element(samples.begin(), samples.end());
  EXPECT_EQ(statistics.minimum(), static_cast<double>(*least));
  EXPECT_EQ(statistics.maximum(), static_cast<double>(*most));
  EXPECT_NEAR(statistics.average(), static_cast<double>(sum / 9001), 1e-9);
  EXPECT_NEAR(statistics.meanSquare() / static_cast<double>(squares / 9001), 1, 1e-7);  // a single is squared as one
}

TYPED_TEST(StatisticsTest, InterleavedChannelsAreAsEachByItself) {
  constexpr size_t channels = 3, frames = 5003;
  const std::vector<TypeParam> samples = this->noise(channels * frames);
  for (size_t channel = 0; channel < channels; ++channel) {
    std::vector<TypeParam> own(frames), gathered(frames);
    for (size_t i = 0; i < frames; ++i) {
      own[i] = samples[i * channels + channel];
    }
    Statistics<TypeParam> expected(linkedFunctions, this->offset);
    expected.feed(own);
    for (const size_t part : std::to_array<size_t>({0, 100})) {
      Statistics<TypeParam> found(linkedFunctions, this->offset);
      const TypeParam* const first = samples.data() + channel;
      found.feedInterleaved(first, channels, std::span(gathered).first(part));
      found.feedInterleaved(first + part * channels, channels, std::span(gathered).subspan(part));
      EXPECT_EQ(gathered, own);
      EXPECT_EQ(this->figuresOf(found), this->figuresOf(expected));
    }
  }
}

TYPED_TEST(StatisticsTest, ExtremesAreThoseOfTheSamplesAlone) {
  for (const int sign : {-1, 1}) {
    for (const size_t count : std::to_array<size_t>({1, 3, 8, 100, 4097})) {
      const std::vector<TypeParam> samples(count, static_cast<TypeParam>(7 * sign));
      std::vector<TypeParam> gathered(count / 2);
      Statistics<TypeParam> statistics(linkedFunctions), interleaved(linkedFunctions);
      statistics.feed(samples);
      EXPECT_EQ(statistics.minimum(), 7 * sign);
      EXPECT_EQ(statistics.maximum(), 7 * sign);
      if (!gathered.empty()) {
        interleaved.feedInterleaved(samples.data(), 2, gathered);
        EXPECT_EQ(interleaved.minimum(), 7 * sign);
        EXPECT_EQ(interleaved.maximum(), 7 * sign);
      }
    }
  }
}

TYPED_TEST(StatisticsTest, WithoutSamplesThereAreNoFigures) {
  for (const double figure : this->figuresOf(Statistics<TypeParam>(linkedFunctions))) {
    EXPECT_TRUE(std::isnan(figure));
  }
}

TYPED_TEST(StatisticsTest, ColumnsOfAnEnvelopeShareTheFramesAndDoNotDependOnBlocks) {
  const std::vector<TypeParam> samples = this->noise(10007);
  const auto columnsOf = [&](size_t length) {
    Envelope<TypeParam> envelope(linkedFunctions, samples.size(), 7);
    for (size_t i = 0; i < samples.size(); i += length) {
      envelope.feed(std::span(samples).subspan(i, std::min(length, samples.size() - i)));
    }
    return envelope.columns();
  };
  const auto whole = columnsOf(samples.size());
  ASSERT_EQ(whole.size(), 7U);
  for (const size_t length : std::to_array<size_t>({1, 999, 4096})) {
    const auto parts = columnsOf(length);
    for (size_t i = 0; i < 7; ++i) {
      const size_t begin = i * samples.size() / 7, end = (i + 1) * samples.size() / 7;
      const auto [least, most] = std::minmax_element(samples.begin() + static_cast<std::ptrdiff_t>(begin),
                                                     samples.begin() + static_cast<std::ptrdiff_t>(end));
      EXPECT_EQ(whole[i].position, static_cast<double>(begin + end) / 2);
      EXPECT_EQ(whole[i].minimum, static_cast<double>(*least));
      EXPECT_EQ(whole[i].maximum, static_cast<double>(*most));
      EXPECT_EQ(parts[i].position, whole[i].position);
      EXPECT_EQ(parts[i].rms, whole[i].rms);
    }
  }
}

TEST(StatisticsOfSingles, NansAreCountedAndHideTheExtremes) {
  Statistics<float> statistics(linkedFunctions);
  const std::vector<float> samples{1, std::numeric_limits<float>::quiet_NaN(), 3};
  statistics.feed(samples);
  EXPECT_EQ(statistics.nanSamples(), 1U);
  EXPECT_TRUE(std::isnan(statistics.minimum()));
  EXPECT_EQ(statistics.samples(), 3U);
}

}  // namespace
