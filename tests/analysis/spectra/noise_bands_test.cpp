#include "analysis/spectra/noise_bands.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

double bandEnd(int band) {
  return 20 * std::pow(10, band / 10.0);
}

TEST(NoiseBands, WhiteNoiseIsFlat) {
  for (const double rate : {48000.0, 8000.0, 96000.0}) {
    const std::vector<double> density(1025, 2.5);
    const auto levels = bandLevels(density, rate, NoiseColour::white);
    for (size_t i = 0; i < levels.size(); ++i) {
      expectClose(levels[i].frequency, 20 * std::pow(10, (static_cast<double>(i) + 0.5) / 10));
      EXPECT_NEAR(levels[i].decibels, 10 * std::log10(2.5), 1e-9);
    }
  }
}

/// A density of steps, each as wide as the spacing, summed over each band.
TEST(NoiseBands, BinsStandForTheFrequenciesNearestToThem) {
  constexpr double rate = 1000, spacing = 7.8125;
  std::vector<double> density;
  for (int i = 0; i <= 64; ++i) {
    density.push_back(1 + i % 5);
  }
  const auto levels = bandLevels(density, rate, NoiseColour::pink);
  ASSERT_EQ(levels.size(), 13U);
  for (int band = 0; band < 13; ++band) {
    const double low = bandEnd(band), high = bandEnd(band + 1);
    double power = 0;
    for (int i = 0; i <= 64; ++i) {
      const double from = std::max(low, (i - 0.5) * spacing), to = std::min(high, (i + 0.5) * spacing);
      power += to > from ? (to - from) * (1 + i % 5) : 0;
    }
    const double ideal = std::sqrt(low * high) * std::log(10) / 10;
    EXPECT_NEAR(levels[static_cast<size_t>(band)].decibels, 10 * std::log10(power / ideal), 1e-9);
  }
}

TEST(NoiseBands, BandsEndAtHalfTheRateOrAtTheHighestThatIsHeard) {
  expectClose(highestBandEnd(1000), bandEnd(13));
  expectClose(highestBandEnd(8000), bandEnd(23));
  expectClose(highestBandEnd(400), 200);
  expectClose(highestBandEnd(39999), bandEnd(29));
  expectClose(highestBandEnd(40001), 20000);
  expectClose(highestBandEnd(192000), 20000);
  expectClose(highestBandEnd(48), 20);
  EXPECT_EQ(bandLevels(std::vector<double>(3), 192000, NoiseColour::white).size(), 30U);
}

TEST(NoiseBands, PinkNoiseFallsTenDecibelsADecade) {
  EXPECT_EQ(idealSlope(NoiseColour::white, 1000), 0);
  expectClose(idealSlope(NoiseColour::pink, 1000), -30);
  const std::vector<LevelPoint> curve{{10, -9}, {100, -22}, {1000, -26}};
  const IdealFit pink = fitIdeal(curve, NoiseColour::pink), white = fitIdeal(curve, NoiseColour::white);
  expectClose(pink.level, 1);
  expectClose(pink.deviation, 3);
  expectClose(white.level, -17.5);
  expectClose(white.deviation, 8.5);
}

}  // namespace
}  // namespace kxanalysis_test
