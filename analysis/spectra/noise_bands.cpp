#include "analysis/spectra/noise_bands.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kxanalysis {
namespace {

constexpr double bandsADecade = 10;

double bandEnd(int bands) {
  return lowestHeard * std::pow(10.0, bands / bandsADecade);
}

/// Number of bands up to highestHeard that end at half of the rate or below.
int bandCount(double rate) {
  int count = 0;
  while (bandEnd(count + 1) <= std::min(highestHeard * (1 + 1e-9), rate / 2)) {
    ++count;
  }
  return count;
}

/// Power between two frequencies; a bin stands for the frequencies nearer to it than to its neighbours.
double powerBetween(std::span<const double> density, double spacing, double low, double high) {
  const auto first = static_cast<size_t>(std::lround(low / spacing));
  double power = 0;
  for (size_t i = first; i < density.size(); ++i) {
    const double centre = static_cast<double>(i) * spacing;
    const double from = std::max(low, centre - spacing / 2), to = std::min(high, centre + spacing / 2);
    if (to <= from) {
      break;
    }
    power += density[i] * (to - from);
  }
  return power;
}

/// Power between two frequencies of the noise whose density halfway between them (in ratio) is 1.
double idealPower(NoiseColour colour, double low, double high) {
  return colour == NoiseColour::white ? high - low : std::sqrt(low * high) * std::log(high / low);
}

}  // namespace

double idealSlope(NoiseColour colour, double frequency) {
  return colour == NoiseColour::white ? 0 : -10 * std::log10(frequency);
}

double highestBandEnd(double rate) {
  return bandEnd(bandCount(rate));
}

std::vector<LevelPoint> bandLevels(std::span<const double> density, double rate, NoiseColour colour) {
  const double spacing = rate / 2 / static_cast<double>(density.size() - 1);
  std::vector<LevelPoint> levels;
  for (int i = 0; i < bandCount(rate); ++i) {
    const double low = bandEnd(i), high = bandEnd(i + 1);
    const double level = powerBetween(density, spacing, low, high) / idealPower(colour, low, high);
    levels.push_back({std::sqrt(low * high), 10 * std::log10(level)});
  }
  return levels;
}

IdealFit fitIdeal(std::span<const LevelPoint> curve, NoiseColour colour) {
  double least = std::numeric_limits<double>::infinity(), most = -least;
  for (const LevelPoint& point : curve) {
    const double above = point.decibels - idealSlope(colour, point.frequency);
    least = std::min(least, above);
    most = std::max(most, above);
  }
  return {(least + most) / 2, (most - least) / 2};
}

}  // namespace kxanalysis
