#include "analysis/spectra/averaged_spectrum.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using std::numbers::pi;

std::vector<double> noise(size_t count) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> distribution(-1, 1);
  std::vector<double> samples(count);
  for (double& sample : samples) {
    sample = distribution(random);
  }
  return samples;
}

/// Welch's estimate by its definition.
std::vector<double> welch(const std::vector<double>& samples, size_t length, double rate) {
  const size_t segments = (samples.size() - length / 2) / (length / 2);
  std::vector<double> density(length / 2 + 1);
  for (size_t segment = 0; segment < segments; ++segment) {
    for (size_t k = 0; k < density.size(); ++k) {
      std::complex<double> sum = 0;
      double weights = 0;
      for (size_t n = 0; n < length; ++n) {
        const double hann = std::pow(std::sin(pi * static_cast<double>(n) / static_cast<double>(length)), 2);
        sum += hann * samples[segment * length / 2 + n] *
               std::polar(1.0, -2 * pi * static_cast<double>(k * n % length) / static_cast<double>(length));
        weights += hann * hann;
      }
      density[k] += 2 * std::norm(sum) / (weights * rate * static_cast<double>(segments));
    }
  }
  return density;
}

TEST(AveragedSpectrum, ItIsWelchsEstimate) {
  const std::vector<double> samples = noise(331);
  for (const size_t length : std::to_array<size_t>({2, 6, 30, 64, 330})) {
    auto spectrum = AveragedSpectrum::create(length);
    ASSERT_TRUE(spectrum);
    spectrum->feed(samples);
    EXPECT_EQ(spectrum->segments(), (samples.size() - length / 2) / (length / 2));
    const std::vector<double> found = spectrum->density(1000), expected = welch(samples, length, 1000);
    ASSERT_EQ(found.size(), expected.size());
    for (size_t k = 0; k < found.size(); ++k) {
      EXPECT_NEAR(found[k], expected[k], 1e-9 * expected[k] + 1e-18) << length << ": bin " << k;
    }
  }
}

/// Parseval: summed over frequency, the density of one segment is the power under the window.
TEST(AveragedSpectrum, TheSumIsThePower) {
  constexpr size_t length = 500;
  const std::vector<double> samples = noise(length);
  auto spectrum = AveragedSpectrum::create(length);
  spectrum->feed(samples);
  const std::vector<double> density = spectrum->density(48000);
  double sum = -(density.front() + density.back()) / 2, power = 0;
  for (const double value : density) {
    sum += value;
  }
  for (size_t n = 0; n < length; ++n) {
    power += std::pow(samples[n] * (1 - std::cos(2 * pi * static_cast<double>(n) / length)) / 2, 2);
  }
  expectClose(sum * 48000 / length, power / (0.375 * length));  // the mean of Hann's window squared
}

TEST(AveragedSpectrum, TheLengthOfBlocksDoesNotMatter) {
  const std::vector<double> samples = noise(1001);
  const auto density = [&](size_t block) {
    auto spectrum = AveragedSpectrum::create(128);
    spectrum->feed({});
    inBlocks(std::span(samples), block, [&](std::span<const double> part) { spectrum->feed(part); });
    return spectrum->density(1);
  };
  for (const size_t block : std::to_array<size_t>({1, 63, 64, 65, 127, 128, 129, 500})) {
    EXPECT_EQ(density(block), density(1001)) << block;
  }
}

TEST(AveragedSpectrum, BeforeTheFirstSegmentThereIsNone) {
  auto spectrum = AveragedSpectrum::create(4);
  spectrum->feed(std::array{1.0, 2.0, 3.0});
  EXPECT_EQ(spectrum->segments(), 0U);
  for (const double value : spectrum->density(1)) {
    EXPECT_TRUE(std::isnan(value));
  }
}

TEST(AveragedSpectrum, LengthsThatCannotBeAreNamed) {
  const auto problem = [](size_t length) { return problemOf(AveragedSpectrum::create(length)); };
  EXPECT_EQ(problem(0), "length is 0: segments have an even number of samples, at least 2");
  EXPECT_EQ(problem(1), "length is 1: segments have an even number of samples, at least 2");
  EXPECT_EQ(problem(5), "length is 5: segments have an even number of samples, at least 2");
  EXPECT_EQ(problem(2), "");
  EXPECT_EQ(problem(67108866), "length is 67108866: a transform has 1 to 67108864 samples");
}

}  // namespace
}  // namespace kxanalysis_test
