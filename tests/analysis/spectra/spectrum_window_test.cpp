#include "analysis/spectra/spectrum_window.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using std::numbers::pi;

constexpr std::array windows{SpectrumWindow::rectangular, SpectrumWindow::hann, SpectrumWindow::hamming,
                             SpectrumWindow::blackmanHarris, SpectrumWindow::flatTop};

/// The magnitude of a window's transform at a frequency in bins, over that at 0.
double transformAt(std::span<const double> weights, double bins) {
  std::complex<double> sum = 0;
  for (size_t n = 0; n < weights.size(); ++n) {
    sum += weights[n] * std::polar(1.0, -2 * pi * bins * static_cast<double>(n) / static_cast<double>(weights.size()));
  }
  return std::abs(sum) / std::accumulate(weights.begin(), weights.end(), 0.0);
}

/// From SciPy 1.17: get_window(name, 8).
TEST(SpectrumWindow, WeightsAreTheKnownOnes) {
  constexpr std::array<std::array<double, 8>, windows.size()> known{{
      {1, 1, 1, 1, 1, 1, 1, 1},
      {0, 0.14644660940672624, 0.5, 0.85355339059327373, 1, 0.85355339059327373, 0.5, 0.14644660940672624},
      {0.08, 0.21473088065418822, 0.54, 0.86526911934581185, 1, 0.86526911934581185, 0.54, 0.21473088065418822},
      {6e-05, 0.021735837018679621, 0.21747, 0.69576416298132032, 1, 0.69576416298132032, 0.21747,
       0.021735837018679621},
      {-0.000421051, -0.026872193286334657, -0.05473684, 0.44413535728633471, 1.000000003, 0.44413535728633471,
       -0.05473684, -0.026872193286334657},
  }};
  for (size_t i = 0; i < windows.size(); ++i) {
    const std::vector<double> weights = weightsOf(windows[i], 8);
    ASSERT_EQ(weights.size(), 8U);
    for (size_t n = 0; n < weights.size(); ++n) {
      EXPECT_NEAR(weights[n], known[i][n], 1e-15) << i << ": weight " << n;
    }
  }
}

/// length times the sum of squares, over the sum squared; the textbooks' figures with their digits.
TEST(SpectrumWindow, TheNoiseBandwidthIsThatOfTheWeights) {
  constexpr std::array known{1.0, 1.5, 1.36, 2.0, 3.77};
  for (size_t i = 0; i < windows.size(); ++i) {
    for (const size_t length : std::to_array<size_t>({10, 64, 1001})) {
      const std::vector<double> weights = weightsOf(windows[i], length);
      const double squares = std::inner_product(weights.begin(), weights.end(), weights.begin(), 0.0);
      const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
      expectClose(noiseBandwidth(windows[i]), static_cast<double>(length) * squares / (sum * sum), 1e-12);
    }
    EXPECT_NEAR(noiseBandwidth(windows[i]), known[i], 0.005);
  }
}

TEST(SpectrumWindow, LeakageIsTheMagnitudeOfTheTransform) {
  for (const SpectrumWindow window : windows) {
    for (const size_t length : std::to_array<size_t>({9, 16, 50, 300})) {
      const std::vector<double> weights = weightsOf(window, length);
      for (const double bins : {0.0, 1e-9, 0.25, -0.5, 0.9, 1.0, 2.0, 3.4, -7.7, 24.5, 61.2, 149.9}) {
        EXPECT_NEAR(leakage(window, bins, length), transformAt(weights, bins), 1e-12) << length << ": " << bins;
      }
    }
    expectClose(leakage(window, 0, 64), 1, 1e-14);
    for (const size_t length : std::to_array<size_t>({64, 1000, 4099})) {  // it repeats itself
      expectClose(leakage(window, 3 * static_cast<double>(length), length), 1, 1e-12);
    }
    expectClose(leakage(window, 64.3, 64), leakage(window, 0.3, 64), 1e-9);
  }
}

TEST(SpectrumWindow, AToneIsFoundWhereItLies) {
  for (const SpectrumWindow window : windows) {
    for (const size_t length : std::to_array<size_t>({32, 4096})) {
      for (const double offset : {-0.5, -0.4, -0.123, -0.001, 0.0, 0.01, 0.25, 0.499}) {
        const double below = leakage(window, 1 + offset, length), strongest = leakage(window, offset, length);
        const double above = leakage(window, 1 - offset, length);
        EXPECT_NEAR(offsetOfTone(window, 7 * below, 7 * strongest, 7 * above, length), offset, 1e-9) << length;
      }
    }
  }
}

}  // namespace
}  // namespace kxanalysis_test
