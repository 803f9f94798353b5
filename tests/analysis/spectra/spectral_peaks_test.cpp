#include "analysis/spectra/spectral_peaks.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <random>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

constexpr std::array windows{SpectrumWindow::rectangular, SpectrumWindow::hann, SpectrumWindow::hamming,
                             SpectrumWindow::blackmanHarris, SpectrumWindow::flatTop};
constexpr double rate = 8000;

struct Sine {
  double frequency, amplitude;
};

AveragedSpectrum spectrumOf(SpectrumWindow window, const std::vector<Sine>& sines, double offset = 0,
                            double noise = 0) {
  auto spectrum = AveragedSpectrum::create({2000, window, 1000});
  std::mt19937_64 random(3);
  std::normal_distribution<double> normal;
  std::vector<double> samples(20000, offset);
  for (size_t n = 0; n < samples.size(); ++n) {
    for (const Sine& sine : sines) {
      const double turns = std::fmod(sine.frequency * static_cast<double>(n), rate) / rate;
      samples[n] += sine.amplitude * std::sin(2 * std::numbers::pi * turns + 1);
    }
    samples[n] += noise * normal(random);
  }
  spectrum->feed(samples);
  return std::move(*spectrum);
}

/// Bins lie 4 Hz apart: the tones between them.
TEST(SpectralPeaks, TonesAreFoundBetweenTheBins) {
  for (const SpectrumWindow window : windows) {
    for (const double frequency : {1200.0, 1201.0, 1202.0, 1203.9}) {
      const auto peaks = peaksOf(spectrumOf(window, {{frequency, 3}}), rate, 1);
      ASSERT_EQ(peaks.size(), 1U);
      // What is left is the leakage of the negative frequency, 600 bins away.
      const double tolerance = window == SpectrumWindow::rectangular ? 2e-3 : 1e-5;
      EXPECT_NEAR(peaks[0].frequency, frequency, 4 * tolerance);
      expectClose(peaks[0].rms, 3 / std::sqrt(2.0), tolerance);
    }
  }
}

TEST(SpectralPeaks, StrongestComeFirstAndOnlyAsManyAsAreWanted) {
  const AveragedSpectrum spectrum =
      spectrumOf(SpectrumWindow::hann, {{500, 0.1}, {1001.3, 1}, {2222, 0.01}, {3000, 0.5}}, 2);
  const auto peaks = peaksOf(spectrum, rate, 10);
  ASSERT_EQ(peaks.size(), 4U);
  const std::array<double, 4> frequencies{1001.3, 3000, 500, 2222};
  for (size_t i = 0; i < peaks.size(); ++i) {
    EXPECT_NEAR(peaks[i].frequency, frequencies[i], 0.01);
  }
  EXPECT_EQ(peaksOf(spectrum, rate, 2).size(), 2U);
  EXPECT_TRUE(peaksOf(spectrum, rate, 0).empty());
}

/// Side lobes of a tone and of the average are maxima, too, but no tones; one right above them is.
TEST(SpectralPeaks, LeakageIsNoTone) {
  for (const SpectrumWindow window : windows) {
    EXPECT_EQ(peaksOf(spectrumOf(window, {{1202, 1}}, 5), rate, 10).size(), 1U);
    const auto peaks = peaksOf(spectrumOf(window, {{1202, 1}, {1302, 0.04}}), rate, 10);
    ASSERT_EQ(peaks.size(), 2U);
    EXPECT_NEAR(peaks[1].frequency, 1302, 1);
  }
}

TEST(SpectralPeaks, SilenceHasNoneAndNeitherHasRounding) {
  for (const SpectrumWindow window : windows) {
    EXPECT_TRUE(peaksOf(spectrumOf(window, {}), rate, 10).empty());
    EXPECT_EQ(peaksOf(spectrumOf(window, {{1200, 1}}), rate, 10).size(), 1U);  // at a bin: all else is rounding
  }
}

TEST(SpectralPeaks, InNoiseATonesSizeIsNearlyRight) {
  const auto peaks = peaksOf(spectrumOf(SpectrumWindow::blackmanHarris, {{777.7, 1}}, 0, 0.1), rate, 3);
  ASSERT_EQ(peaks.size(), 3U);
  EXPECT_NEAR(peaks[0].frequency, 777.7, 0.05);
  EXPECT_NEAR(peaks[0].rms, std::sqrt(0.5), 0.01);
}

}  // namespace
}  // namespace kxanalysis_test
