#include "analysis/spectra/convolution_transform.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <set>
#include <vector>

namespace {

using kxanalysis::ConvolutionTransform;
using Complex = std::complex<double>;

struct Signal {
  std::vector<double> real, imaginary;

  explicit Signal(size_t length) : real(length), imaginary(length) {}

  Complex at(size_t i) const { return {real[i], imaginary[i]}; }
  void put(size_t i, Complex value) {
    real[i] = value.real();
    imaginary[i] = value.imag();
  }
};

Signal noise(size_t length, uint64_t seed) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> distribution(-1, 1);
  Signal signal(length);
  for (size_t i = 0; i < length; ++i) {
    signal.put(i, {distribution(random), distribution(random)});
  }
  return signal;
}

TEST(ConvolutionTransform, AnOscillationFillsABinOfItsOwn) {
  for (size_t length = ConvolutionTransform::shortest; length <= 512; length *= 2) {
    const ConvolutionTransform transform(length);
    EXPECT_EQ(transform.length(), length);
    std::set<size_t> bins;
    for (size_t k = 0; k < length; ++k) {
      Signal signal(length);
      for (size_t n = 0; n < length; ++n) {
        const auto turns = static_cast<double>(k * n % length) / static_cast<double>(length);
        signal.put(n, std::polar(1.0, 2 * std::numbers::pi * turns));
      }
      transform.forward(signal.real.data(), signal.imaginary.data());
      for (size_t i = 0; i < length; ++i) {
        const double magnitude = std::abs(signal.at(i));
        if (magnitude > 0.5) {
          EXPECT_NEAR(signal.real[i], static_cast<double>(length), 1e-11);
          bins.insert(i);
        } else {
          EXPECT_LT(magnitude, 1e-11);
        }
      }
      EXPECT_EQ(bins.size(), k + 1) << length;
    }
  }
}

TEST(ConvolutionTransform, TheProductOfSpectraIsTheCircularConvolution) {
  for (size_t length = ConvolutionTransform::shortest; length <= 16384; length *= 2) {
    const ConvolutionTransform transform(length);
    const Signal a = noise(length, 1), b = noise(length, 2);
    Signal product = a, spectrum = b;
    transform.forward(product.real.data(), product.imaginary.data());
    transform.forward(spectrum.real.data(), spectrum.imaginary.data());
    for (size_t i = 0; i < length; ++i) {
      product.put(i, product.at(i) * spectrum.at(i) / static_cast<double>(length));
    }
    transform.backward(product.real.data(), product.imaginary.data());
    for (size_t n = 0; n < length; n += 1 + length / 100) {
      Complex expected = 0;
      for (size_t k = 0; k < length; ++k) {
        expected += a.at(k) * b.at((n + length - k) % length);
      }
      ASSERT_LT(std::abs(product.at(n) - expected), 3e-15 * static_cast<double>(length)) << length << ": " << n;
    }
  }
}

TEST(ConvolutionTransform, BackwardUndoesForwardAtEveryLength) {
  for (size_t length = ConvolutionTransform::shortest; length <= size_t{1} << 19; length *= 2) {
    const ConvolutionTransform transform(length);
    const Signal before = noise(length, 3);
    Signal after = before;
    transform.forward(after.real.data(), after.imaginary.data());
    transform.backward(after.real.data(), after.imaginary.data());
    double worst = 0;
    for (size_t i = 0; i < length; ++i) {
      worst = std::max(worst, std::abs(after.at(i) / static_cast<double>(length) - before.at(i)));
    }
    EXPECT_LT(worst, 1e-14) << length;
  }
}

}  // namespace
