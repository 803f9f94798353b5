#include "analysis/spectra/real_transform.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <utility>
#include <vector>

namespace {

using kxanalysis::RealTransform;

constexpr long double tau = 2 * std::numbers::pi_v<long double>;

std::vector<double> noise(size_t count) {
  std::mt19937_64 random(5);
  std::uniform_real_distribution<double> distribution(-1, 1);
  std::vector<double> samples(count);
  for (double& sample : samples) {
    sample = distribution(random);
  }
  return samples;
}

using Complex = std::complex<long double>;

/// exp(-2 pi i n / length) of n from 0 on.
std::vector<Complex> rotationsOf(size_t length) {
  std::vector<Complex> rotations;
  for (size_t n = 0; n < length; ++n) {
    rotations.push_back(std::polar(1.0L, -tau * static_cast<long double>(n) / static_cast<long double>(length)));
  }
  return rotations;
}

/// One bin by its definition.
std::complex<double> binOf(const std::vector<double>& samples, const std::vector<Complex>& rotations, size_t k) {
  Complex sum;
  for (size_t n = 0; n < samples.size(); ++n) {
    sum += static_cast<long double>(samples[n]) * rotations[k * n % samples.size()];
  }
  return {static_cast<double>(sum.real()), static_cast<double>(sum.imag())};
}

/// Rounding of single operations: the root of the number of samples times a few units of the last place of a bin.
double rounding(size_t length) {
  return 1e-14 * std::sqrt(static_cast<double>(length));
}

void expectBins(const std::vector<double>& samples, std::span<const std::complex<double>> bins, size_t every) {
  ASSERT_EQ(bins.size(), samples.size() / 2 + 1);
  const std::vector<Complex> rotations = rotationsOf(samples.size());
  for (size_t k = 0; k < bins.size();
       k = k + every < bins.size() || k + 1 == bins.size() ? k + every : bins.size() - 1) {
    EXPECT_LT(std::abs(bins[k] - binOf(samples, rotations, k)), rounding(samples.size()))
        << samples.size() << ": bin " << k;
  }
}

TEST(RealTransform, EveryShortLengthIsTheSumThatItSaysItIs) {
  for (size_t length = 1; length <= 260; ++length) {
    auto transform = RealTransform::create(length);
    ASSERT_TRUE(transform);
    EXPECT_EQ(transform->length(), length);
    const std::vector<double> samples = noise(length);
    expectBins(samples, transform->transform(samples), 1);
  }
}

TEST(RealTransform, LongLengthsWithSmallFactorsAndWithLargeOnes) {
  // 9973 is a prime, 19946 twice one, 13689 = 3^4 * 13^2, 9604 = 2^2 * 7^4, 10201 = 101^2.
  for (const size_t length :
       std::to_array<size_t>({2560, 2561, 9604, 9973, 10000, 10201, 13689, 16384, 19946, 20000})) {
    auto transform = RealTransform::create(length);
    const std::vector<double> samples = noise(length);
    expectBins(samples, transform->transform(samples), length / 40);
  }
}

TEST(RealTransform, ASineFillsItsBin) {
  for (const size_t length : std::to_array<size_t>({100003, 200006, 262144})) {
    constexpr size_t bin = 12345;
    std::vector<double> samples(length);
    for (size_t n = 0; n < length; ++n) {
      const auto turns = static_cast<long double>(bin * n % length) / static_cast<long double>(length);
      samples[n] = static_cast<double>(std::cos(tau * turns + 1));
    }
    auto transform = RealTransform::create(length);
    const auto found = transform->transform(samples);
    const double half = static_cast<double>(length) / 2;
    for (size_t k = 0; k < found.size(); ++k) {
      const std::complex<double> expected = k == bin ? std::polar(half, 1.0) : 0;
      ASSERT_LT(std::abs(found[k] - expected), 1e-11 * half) << length << ": bin " << k;
    }
  }
}

TEST(RealTransform, ATransformHasNoMemoryAndMayMove) {
  for (const size_t length : std::to_array<size_t>({64, 63, 97, 202})) {
    auto made = RealTransform::create(length);
    const std::vector<double> samples = noise(length), silence(length);
    const auto first = made->transform(samples);
    const std::vector<std::complex<double>> expected(first.begin(), first.end());
    for (const std::complex<double> bin : made->transform(silence)) {
      EXPECT_EQ(bin, 0.0);
    }
    RealTransform moved = std::move(*made);
    const auto again = moved.transform(samples);
    EXPECT_EQ(std::vector<std::complex<double>>(again.begin(), again.end()), expected);
  }
}

TEST(RealTransform, LengthsThatCannotBeAreNamed) {
  EXPECT_EQ(RealTransform::create(0).problem(), "length is 0: a transform has 1 to 67108864 samples");
  EXPECT_EQ(RealTransform::create(67108865).problem(), "length is 67108865: a transform has 1 to 67108864 samples");
}

}  // namespace
