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

Result<AveragedSpectrum> create(size_t length) {
  return AveragedSpectrum::create({.length = length, .overlap = length / 2});
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
      const double frequencies = k == 0 || k == length / 2 ? 1 : 2;  // that a bin stands for
      density[k] += frequencies * std::norm(sum) / (weights * rate * static_cast<double>(segments));
    }
  }
  return density;
}

TEST(AveragedSpectrum, ItIsWelchsEstimate) {
  const std::vector<double> samples = noise(331);
  for (const size_t length : std::to_array<size_t>({2, 6, 30, 64, 330})) {
    auto spectrum = create(length);
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
  auto spectrum = create(length);
  spectrum->feed(samples);
  const std::vector<double> density = spectrum->density(48000);
  double sum = 0, power = 0;
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
    auto spectrum = create(128);
    spectrum->feed({});
    inBlocks(std::span(samples), block, [&](std::span<const double> part) { spectrum->feed(part); });
    return spectrum->density(1);
  };
  for (const size_t block : std::to_array<size_t>({1, 63, 64, 65, 127, 128, 129, 500})) {
    EXPECT_EQ(density(block), density(1001)) << block;
  }
}

TEST(AveragedSpectrum, BeforeTheFirstSegmentThereIsNone) {
  auto spectrum = create(4);
  spectrum->feed(std::array{1.0, 2.0, 3.0});
  EXPECT_EQ(spectrum->segments(), 0U);
  for (const double value : spectrum->density(1)) {
    EXPECT_TRUE(std::isnan(value));
  }
}

constexpr std::array windows{SpectrumWindow::rectangular, SpectrumWindow::hann, SpectrumWindow::hamming,
                             SpectrumWindow::blackmanHarris, SpectrumWindow::flatTop};

/// scipy.signal.welch of SciPy 1.17 with fs=1000, nperseg=64, noverlap=24, detrend=False or 'constant', of 400 samples
/// ((37 n + 11 n^2) mod 101 - 50) / 64.
TEST(AveragedSpectrum, ItIsTheOneOfSciPy) {
  constexpr std::array<size_t, 5> bins{0, 1, 7, 20, 32};
  struct Known {
    std::array<double, 5> density, meanSquares, withoutAverage;  // the latter's density
  };
  constexpr std::array<Known, windows.size()> known{{
      {{0.00045343229505750873, 0.00027069388225402501, 0.00030853802605984419, 0.00045601363289377673,
        6.1272939046223924e-05},
       {0.0070848796102735735, 0.0042295919102191392, 0.0048209066571850666, 0.007125213013965263,
        0.00095738967259724939},
       {0, 0.0002706938822540249, 0.00030853802605984424, 0.00045601363289377673, 6.1272939046223964e-05}},
      {{0.00030061699902565053, 0.00036834634080326834, 0.00037079809003150155, 0.00034818606556474092,
        0.00015657514768667287},
       {0.0070457109146636826, 0.0086331173625765999, 0.0086905802351133158, 0.0081606109116736155,
        0.0036697300239063959},
       {2.8705670160777058e-05, 0.0002075899592113707, 0.0003707980900315015, 0.00034818606556474092,
        0.00015657514768667287}},
      {{0.0003271605837709283, 0.00033903037843393147, 0.00036215224656583483, 0.00036829043685887618,
        0.0001285192634955077},
       {0.0069666075097826029, 0.007219364732812727, 0.0077117253292857662, 0.0078424328922173624,
        0.0027367088537977283},
       {2.2926974607525503e-05, 0.00021485505781869996, 0.00036215224656583489, 0.00036829043685887623,
        0.0001285192634955077}},
      {{0.00027414575495407386, 0.00047603035465584295, 0.0004368624702079739, 0.00038214642586602391,
        0.00013953271341500577},
       {0.0085857007725301405, 0.014908325625545976, 0.013681665246220468, 0.011968067367401693, 0.0043698875642306902},
       {4.7444373992953023e-05, 0.00018167608973694238, 0.00043686247020797379, 0.0003821464258660238,
        0.00013953271341500575}},
      {{0.00029062859082201997, 0.00068210464782187893, 0.00049598715525106562, 0.00046832356587565231,
        0.00011798871127266782},
       {0.017120959563628291, 0.040182853519298269, 0.029218653282232838, 0.027588988445261194, 0.0069507268674094437},
       {0.00010274757574402828, 0.00025822649669999978, 0.00049598715525106551, 0.00046832356587565231,
        0.00011798871127266786}},
  }};
  std::vector<double> samples;
  for (int n = 0; n < 400; ++n) {
    samples.push_back(((37 * n + 11 * n * n) % 101 - 50) / 64.0);
  }
  const auto spectrumOf = [&](SpectrumWindow window, bool removesAverage) {
    auto spectrum = AveragedSpectrum::create({64, window, 24, removesAverage});
    spectrum->feed(samples);
    EXPECT_EQ(spectrum->segments(), 9U);
    return std::move(*spectrum);
  };
  for (size_t i = 0; i < windows.size(); ++i) {
    const AveragedSpectrum spectrum = spectrumOf(windows[i], false), about = spectrumOf(windows[i], true);
    for (size_t k = 0; k < bins.size(); ++k) {
      SCOPED_TRACE(testing::Message() << "window " << i << ", bin " << bins[k]);
      expectClose(spectrum.density(1000)[bins[k]], known[i].density[k]);
      expectClose(spectrum.meanSquares()[bins[k]], known[i].meanSquares[k]);
      EXPECT_NEAR(about.density(1000)[bins[k]], known[i].withoutAverage[k], 1e-9 * known[i].withoutAverage[k] + 1e-30);
    }
  }
}

TEST(AveragedSpectrum, AToneAtABinHasItsMeanSquareUnderEveryWindow) {
  constexpr size_t length = 480, bin = 31;
  for (const SpectrumWindow window : windows) {
    auto spectrum = AveragedSpectrum::create({length, window, 100});
    std::vector<double> samples;
    for (size_t n = 0; n < 3000; ++n) {
      const auto turns = static_cast<double>(n * bin % length) / length;
      samples.push_back(0.7 * std::cos(2 * pi * turns + 0.4) + 0.25 + (n % 2 == 0 ? 0.125 : -0.125));
    }
    spectrum->feed(samples);
    expectClose(spectrum->meanSquares()[bin], 0.7 * 0.7 / 2);
    expectClose(spectrum->meanSquares().front(), 0.25 * 0.25);
    expectClose(spectrum->meanSquares().back(), 0.125 * 0.125);
  }
}

/// A stream with one sample of 1 in each segment, at another place in every one, is what white noise is on the average:
/// its density is 2 / rate times its mean square.
TEST(AveragedSpectrum, WhiteNoiseHasItsDensityUnderEveryWindow) {
  constexpr size_t length = 64;
  for (const SpectrumWindow window : windows) {
    auto spectrum = AveragedSpectrum::create({length, window, 0});
    for (size_t place = 0; place < length; ++place) {
      std::vector<double> segment(length);
      segment[place] = 1;
      spectrum->feed(segment);
    }
    const std::vector<double> density = spectrum->density(8000);
    for (size_t k = 0; k < density.size(); ++k) {
      expectClose(density[k], (k == 0 || k == length / 2 ? 1 : 2) / 8000.0 / length);
      // A bin takes in as much of it as the window is wide.
      const double bandwidth = 8000.0 / length * noiseBandwidth(window);
      expectClose(spectrum->meanSquares()[k], density[k] * bandwidth);
    }
  }
}

TEST(AveragedSpectrum, LengthsThatCannotBeAreNamed) {
  const auto problem = [](size_t length) { return problemOf(create(length)); };
  EXPECT_EQ(problemOf(AveragedSpectrum::create({.length = 8, .overlap = 8})),
            "overlap is 8: segments share fewer samples than they have");
  EXPECT_EQ(problemOf(AveragedSpectrum::create({.length = 8, .overlap = 7})), "");
  EXPECT_EQ(problem(0), "length is 0: segments have an even number of samples, at least 2");
  EXPECT_EQ(problem(1), "length is 1: segments have an even number of samples, at least 2");
  EXPECT_EQ(problem(5), "length is 5: segments have an even number of samples, at least 2");
  EXPECT_EQ(problem(2), "");
  EXPECT_EQ(problem(67108866), "length is 67108866: a transform has 1 to 67108864 samples");
}

}  // namespace
}  // namespace kxanalysis_test
