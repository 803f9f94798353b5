#include "analysis/filters/stream_filter.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/filters/pink_filter.hpp"
#include "analysis/filters/white_noise.hpp"
#include "analysis/spectra/real_transform.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

template <class T>
std::vector<T> noise(size_t count) {
  WhiteNoise source(9);
  std::vector<T> samples(count);
  for (T& sample : samples) {
    sample = static_cast<T>(source.next());
  }
  return samples;
}

const std::vector<Section> sections{
    {0.7, 1, -0.3, 0.2, -0.5, 0.1}, {0.4, 1, 0.6, 0, 0.8, 0}, {1.1, 0.5, 2, 3, 0.2, 0.6}};

/// The difference equation of each section, one after the other.
std::vector<double> differenceEquation(std::vector<double> samples) {
  for (const Section& s : sections) {
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    for (double& sample : samples) {
      const double y = s.gain * (s.b0 * sample + s.b1 * x1 + s.b2 * x2) - s.a1 * y1 - s.a2 * y2;
      x2 = x1;
      x1 = sample;
      y2 = y1;
      y1 = sample = y;
    }
  }
  return samples;
}

TEST(StreamFilter, SectionsAreTheirDifferenceEquations) {
  std::vector<double> samples = noise<double>(3000);
  const std::vector<double> expected = differenceEquation(samples);
  auto filter = RecursiveFilter::create(linkedFunctions, sections);
  ASSERT_TRUE(filter);
  filter->feed(std::span(samples));
  for (size_t i = 0; i < samples.size(); ++i) {
    ASSERT_NEAR(samples[i], expected[i], 1e-13);
  }
  std::vector<float> singles = noise<float>(3000);
  const std::vector<double> ofSingles = differenceEquation({singles.begin(), singles.end()});
  auto another = RecursiveFilter::create(linkedFunctions, sections);
  another->feed(std::span(singles));
  for (size_t i = 0; i < singles.size(); ++i) {
    ASSERT_NEAR(singles[i], ofSingles[i], 2e-6);
  }
}

TEST(StreamFilter, CoefficientsAreAConvolution) {
  for (const size_t taps : std::to_array<size_t>({1, 2, 3, 4, 5, 8, 37})) {
    const std::vector<float> coefficients = noise<float>(taps);
    const std::vector<float> samples = noise<float>(500);
    std::vector<float> found = samples;
    std::vector<double> doubles(samples.begin(), samples.end());
    auto filter = FiniteFilter::create(linkedFunctions, coefficients);
    auto another = FiniteFilter::create(linkedFunctions, coefficients);
    ASSERT_TRUE(filter && another);
    filter->feed(std::span(found));
    another->feed(std::span(doubles));
    for (size_t i = 0; i < samples.size(); ++i) {
      double expected = 0;
      for (size_t k = 0; k < std::min(taps, i + 1); ++k) {
        expected += static_cast<double>(coefficients[k]) * static_cast<double>(samples[i - k]);
      }
      ASSERT_NEAR(found[i], expected, 2e-6) << taps << " taps, sample " << i;
      ASSERT_EQ(doubles[i], static_cast<double>(found[i]));
    }
  }
}

template <class T>
class StreamFilterBlocksTest : public testing::Test {};
using SampleTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(StreamFilterBlocksTest, SampleTypes);

TYPED_TEST(StreamFilterBlocksTest, TheLengthOfBlocksDoesNotMatter) {
  for (const FilterDesign& design : {FilterDesign(sections), FilterDesign(noise<float>(13))}) {
    const auto filtered = [&](size_t length) {
      auto filter = StreamFilter::create(linkedFunctions, design);
      std::vector<TypeParam> samples = noise<TypeParam>(1001);
      filter->feed(std::span<TypeParam>());
      inBlocks(std::span(samples), length, [&](std::span<TypeParam> block) { filter->feed(block); });
      return samples;
    };
    const auto whole = filtered(1001);
    EXPECT_NE(whole, noise<TypeParam>(1001));
    for (const size_t length : std::to_array<size_t>({1, 2, 12, 13, 14, 1000})) {
      EXPECT_EQ(filtered(length), whole) << length;
    }
  }
}

TEST(StreamFilter, ADesignHasTheResponseOfItsParts) {
  const std::vector<float> coefficients{1, 2, 3};
  EXPECT_EQ(responseOf(FilterDesign(sections), 0.1), responseOf(std::span(sections), 0.1));
  EXPECT_EQ(responseOf(FilterDesign(coefficients), 0.1), responseOf(std::span(coefficients), 0.1));
}

TEST(StreamFilter, DesignsOfNothingAreNamed) {
  const auto problem = [](const FilterDesign& design) {
    return problemOf(StreamFilter::create(linkedFunctions, design));
  };
  EXPECT_EQ(problem(std::vector<Section>()), "sections is empty: at least one is needed");
  EXPECT_EQ(problem(std::vector<float>()), "coefficients is empty: at least one is needed");
}

/// The twister's numbers are published; 14514284786278117030 is the first with the usual seed.
TEST(WhiteNoise, ItIsTheUpperBitsOfTheTwister) {
  WhiteNoise noise(5489);
  EXPECT_EQ(noise.next(), static_cast<double>(14514284786278117030U >> 11) / 4503599627370496.0 - 1);
  double last = 0;
  for (int i = 1; i < 10000; ++i) {
    last = noise.next();
  }
  EXPECT_EQ(last, static_cast<double>(9981545732273789042U >> 11) / 4503599627370496.0 - 1);
  EXPECT_EQ(WhiteNoise::meanSquare, 1 / 3.0);
}

/// Gains at 44100 Hz in dB.
TEST(PinkFilter, ItsResponseFallsTenDecibelsADecade) {
  const std::vector<double> response = pinkImpulseResponse(linkedFunctions);
  EXPECT_EQ(response.size(), 32768U);
  EXPECT_LT(std::abs(response.back()), 1e-16);
  for (const auto& [frequency, gain] : std::to_array<std::array<double, 2>>({{9.2, 19.776584},
                                                                             {20, 16.421634},
                                                                             {100, 9.424585},
                                                                             {1000, -0.539042},
                                                                             {2000, -3.626412},
                                                                             {5000, -7.628431},
                                                                             {10000, -10.331471},
                                                                             {20000, -11.870898}})) {
    EXPECT_NEAR(decibels(responseOf(response, frequency / 44100)), gain, 1e-6);
  }
}

TEST(PinkFilter, AFilterKeepsItsState) {
  const std::vector<double> response = pinkImpulseResponse(linkedFunctions);
  PinkFilter filter(linkedFunctions);
  double expected = filter.next(2);
  EXPECT_EQ(expected, 2 * response[0]);
  expectClose(filter.next(-3), 2 * response[1] - 3 * response[0]);
}

}  // namespace
}  // namespace kxanalysis_test
