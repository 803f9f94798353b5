#include "analysis/filters/fast_finite_filter.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <numbers>
#include <string>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/filters/filter_design.hpp"
#include "analysis/filters/stream_filter.hpp"
#include "analysis/filters/white_noise.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

std::vector<float> noise(size_t count, uint64_t seed) {
  WhiteNoise source(seed);
  std::vector<float> samples(count);
  for (float& sample : samples) {
    sample = static_cast<float>(source.next());
  }
  return samples;
}

template <class T>
std::vector<double> filtered(FastFiniteFilter& filter, const std::vector<T>& samples, size_t block) {
  std::vector<double> all;
  const auto append = [&all](std::span<const double> part) { all.insert(all.end(), part.begin(), part.end()); };
  inBlocks(std::span(samples), block, [&](std::span<const T> part) { append(filter.feed(part)); });
  append(filter.finish());
  return all;
}

std::vector<double> filtered(const std::vector<float>& coefficients, const std::vector<float>& samples) {
  auto filter = FastFiniteFilter::create(coefficients);
  EXPECT_TRUE(filter);
  return filtered(*filter, samples, samples.size());
}

double convolutionAt(const std::vector<float>& coefficients, const std::vector<float>& samples, size_t n) {
  double sum = 0;
  for (size_t k = 0; k < std::min(coefficients.size(), n + 1); ++k) {
    sum += static_cast<double>(coefficients[k]) * static_cast<double>(samples[n - k]);
  }
  return sum;
}

TEST(FastFiniteFilter, ItIsTheConvolution) {
  for (const size_t taps : std::to_array<size_t>({1, 2, 3, 63, 64, 65, 129, 511, 512, 513, 2000, 8192, 16383})) {
    const std::vector<float> coefficients = noise(taps, 1);
    for (const size_t count : std::to_array<size_t>({1, 2, taps, 5000, 140001})) {
      const std::vector<float> samples = noise(count, 2);
      const std::vector<double> found = filtered(coefficients, samples);
      ASSERT_EQ(found.size(), count);
      for (size_t n = 0; n < count; n += 1 + count / 300) {
        ASSERT_NEAR(found[n], convolutionAt(coefficients, samples, n), 1e-13 * std::sqrt(static_cast<double>(taps)))
            << taps << " taps, value " << n << " of " << count;
      }
      const size_t last = count - 1;
      EXPECT_NEAR(found[last], convolutionAt(coefficients, samples, last),
                  1e-13 * std::sqrt(static_cast<double>(taps)));
    }
  }
}

/// Signals whose full scale is 1.
std::map<std::string, std::vector<float>> signals(size_t count) {
  std::vector<float> impulses(count), square(count), sine(count), quiet = noise(count, 4);
  for (size_t i = 0; i < count; ++i) {
    impulses[i] = i % 1009 == 5 ? 1.0F : i % 1013 == 7 ? -1.0F : 0.0F;
    square[i] = i / 700 % 2 == 0 ? 1.0F : -1.0F;
    sine[i] = static_cast<float>(std::sin(0.01 * static_cast<double>(i)));
    quiet[i] *= i < count / 2 ? 1.0F : 1e-6F;
  }
  return {{"noise", noise(count, 3)},
          {"impulses", impulses},
          {"square", square},
          {"sine", sine},
          {"noise that falls by 120 dB", quiet}};
}

/// The kernel's sums round to single: with thousands of taps they are further from the convolution than a millionth.
TEST(FastFiniteFilter, ItIsWithinAMillionthOfTheKernelAndNearerToTheConvolution) {
  for (const size_t taps : std::to_array<size_t>({63, 64, 65, 129, 255, 1001, 2001, 16383})) {
    const double kernelRounding = taps < 3000 ? 1e-6 : 3e-6;
    for (const PassBand& band : {PassBand{0, 0.1}, PassBand{0.05, 0.2}, PassBand{0.25, 0.5}}) {
      if (band.isHighPass() && taps % 2 == 0) {
        continue;
      }
      const auto coefficients = windowedSinc(band, taps, Window::blackman);
      ASSERT_TRUE(coefficients);
      for (const auto& [name, samples] : signals(taps == 16383 ? 40000 : 20000)) {
        SCOPED_TRACE(std::to_string(taps) + " taps, " + name);
        std::vector<float> expected = samples;
        auto kernel = FiniteFilter::create(linkedFunctions, *coefficients);
        kernel->feed(std::span(expected));
        const std::vector<double> found = filtered(*coefficients, samples);
        ASSERT_EQ(found.size(), expected.size());
        double fromKernel = 0, fromConvolution = 0;
        for (size_t i = 0; i < expected.size(); ++i) {
          fromKernel = std::max(fromKernel, std::abs(found[i] - expected[i]));
          if (i % 331 == 0) {
            fromConvolution = std::max(fromConvolution, std::abs(found[i] - convolutionAt(*coefficients, samples, i)));
          }
        }
        EXPECT_LT(fromKernel, kernelRounding);
        EXPECT_LT(fromConvolution, 1e-14);
      }
    }
  }
}

TEST(FastFiniteFilter, TheLengthOfBlocksDoesNotMatter) {
  for (const size_t taps : std::to_array<size_t>({129, 600, 3000})) {
    auto filter = FastFiniteFilter::create(noise(taps, 1));
    for (const size_t count : std::to_array<size_t>({0, 1, 700, 30011})) {
      const std::vector<float> samples = noise(count, 2);
      const std::vector<double> doubles(samples.begin(), samples.end());
      const std::vector<double> whole = filtered(*filter, samples, count + 1);
      ASSERT_EQ(whole.size(), count);
      for (const size_t block : std::to_array<size_t>({1, 7, 128, 129, 1919, 2048, 4096})) {
        EXPECT_EQ(filtered(*filter, samples, block), whole) << taps << " taps, blocks of " << block;
        EXPECT_EQ(filtered(*filter, doubles, block), whole);
      }
    }
  }
}

TEST(FastFiniteFilter, DoublesKeepTheirDigits) {
  auto filter = FastFiniteFilter::create(std::vector<float>{0.5F, 0.25F});
  const std::vector<double> found = filtered(*filter, std::vector<double>{1 + 0x1p-40, 0}, 5);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_NEAR(found[0], 0.5 + 0x1p-41, 1e-15);
  EXPECT_NEAR(found[1], 0.25 + 0x1p-42, 1e-15);
}

TEST(FastFiniteFilter, CopiesAreFiltersOfTheirOwn) {
  const std::vector<float> coefficients = noise(300, 1), one = noise(9000, 2), other = noise(9000, 3);
  auto first = FastFiniteFilter::create(coefficients);
  FastFiniteFilter second = *first;
  std::vector<double> ofFirst, ofSecond;
  const auto append = [](std::vector<double>& all, std::span<const double> part) {
    all.insert(all.end(), part.begin(), part.end());
  };
  for (size_t i = 0; i < 9000; i += 1000) {
    append(ofFirst, first->feed(std::span(one).subspan(i, 1000)));
    append(ofSecond, second.feed(std::span(other).subspan(i, 1000)));
  }
  append(ofFirst, first->finish());
  append(ofSecond, second.finish());
  EXPECT_EQ(ofFirst, filtered(coefficients, one));
  EXPECT_EQ(ofSecond, filtered(coefficients, other));
}

/// 129 taps go through transforms of 2048, which is 1920 outputs, two blocks at a time.
TEST(FastFiniteFilter, WhatIsNotFiniteSpoilsItsBlocksAlone) {
  constexpr size_t pair = 2 * 1920, taps = 129;
  const std::vector<float> coefficients = noise(taps, 1), samples = noise(5 * pair, 2);
  const std::vector<double> sound = filtered(coefficients, samples);
  for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    for (const auto& [place, end] : std::to_array<std::array<size_t, 2>>(
             {{pair, 2 * pair}, {2 * pair - taps, 2 * pair}, {2 * pair - taps + 1, 3 * pair}})) {
      std::vector<float> spoilt = samples;
      spoilt[place] = bad;
      const std::vector<double> found = filtered(coefficients, spoilt);
      for (size_t i = 0; i < found.size(); ++i) {
        if (i < pair || i >= end) {
          ASSERT_EQ(found[i], sound[i]) << place << ": " << i;
        } else if (i >= place && i < place + taps) {
          ASSERT_FALSE(std::isfinite(found[i])) << place << ": " << i;
        }
      }
    }
  }
}

TEST(FastFiniteFilter, NumbersOfCoefficientsThatCannotBeAreNamed) {
  EXPECT_EQ(problemOf(FastFiniteFilter::create({})), "number of coefficients is 0: it is from 1 to 4194304");
  EXPECT_EQ(problemOf(FastFiniteFilter::create(std::vector<float>(4194305))),
            "number of coefficients is 4194305: it is from 1 to 4194304");
}

}  // namespace
}  // namespace kxanalysis_test
