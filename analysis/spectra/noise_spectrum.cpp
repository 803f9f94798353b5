#include "analysis/spectra/noise_spectrum.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

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

AveragedSpectrum::AveragedSpectrum(size_t length)
    : transform_(length), window_(length), segment_(length), power_(transform_.binCount()) {
  for (size_t i = 0; i < length; ++i) {
    const double turn = static_cast<double>(i) / static_cast<double>(length);
    window_[i] = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * turn);
  }
}

void AveragedSpectrum::add(std::span<const double> samples) {
  while (!samples.empty()) {
    const size_t room = window_.size() - waiting_.size();
    const auto part = samples.first(std::min(room, samples.size()));
    waiting_.insert(waiting_.end(), part.begin(), part.end());
    samples = samples.subspan(part.size());
    if (waiting_.size() == window_.size()) {
      addSegment();
      waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(window_.size() / 2));
    }
  }
}

void AveragedSpectrum::addSegment() {
  std::ranges::transform(waiting_, window_, segment_.begin(), std::multiplies());
  const auto bins = transform_.transform(segment_);
  for (size_t i = 0; i < bins.size(); ++i) {
    power_[i] += std::norm(bins[i]);
  }
  ++segments_;
}

std::vector<double> AveragedSpectrum::density(double rate) const {
  double windowPower = 0;
  for (const double weight : window_) {
    windowPower += weight * weight;
  }
  std::vector<double> density(power_);
  for (double& value : density) {
    value *= 2 / (windowPower * rate * static_cast<double>(segments_));
  }
  return density;
}

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
