// Voltages of the mains whose frequency, harmonics and failures are known.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <random>
#include <span>
#include <vector>

namespace kxanalysis_test {

/// A part of some order: amplitude, and phase in degrees.
struct MainsPart {
  double order, amplitude, degrees;
};

struct MainsVoltage {
  double rate = 12800;
  std::vector<MainsPart> parts{{1, 325, 0}};
  std::function<double(double)> cycles{};                            ///< of the mains up to a time in s
  std::function<double(double)> level = [](double) { return 1.0; };  ///< that the parts are multiplied by at a time
  double constant = 0;
  double noise = 0;  ///< rms

  std::vector<double> samples(double seconds, double degrees = 0) const {
    std::mt19937 random(7);
    std::normal_distribution<double> normal;
    std::vector<double> values(static_cast<size_t>(std::lround(seconds * rate)), constant);
    for (size_t i = 0; i < values.size(); ++i) {
      const double time = static_cast<double>(i) / rate, turns = cycles(time) + degrees / 360;
      for (const MainsPart& part : parts) {
        const double turned = part.order * turns + part.degrees / 360;
        values[i] += level(time) * part.amplitude * std::sin(2 * std::numbers::pi * (turned - std::floor(turned)));
      }
      values[i] += noise * normal(random);
    }
    return values;
  }
};

/// Mains of one frequency.
inline std::function<double(double)> steady(double frequency) {
  return [=](double time) { return frequency * time; };
}

/// Harmonics that make up a distortion, in a proportion like that of real ones, of a fundamental of amplitude 1.
inline std::vector<MainsPart> distorted(double distortion, double highestOrder = 50) {
  std::vector<MainsPart> parts{{1, 1, 0}};
  double squares = 0;
  for (const double order : {2.0, 3.0, 5.0, 7.0, 11.0, 13.0, 17.0, 19.0, 25.0, 37.0, 50.0}) {
    if (order <= highestOrder) {
      parts.push_back({order, 1 / order, 37 * order});
      squares += 1 / order / order;
    }
  }
  for (size_t i = 1; i < parts.size(); ++i) {
    parts[i].amplitude *= distortion / std::sqrt(squares);
  }
  return parts;
}

/// A span of one voltage in parts of some length, each as the analyses take them.
template <class Feed>
void feedInParts(std::span<const std::vector<double>> channels, size_t length, Feed feed) {
  for (size_t i = 0; i < channels[0].size(); i += length) {
    std::vector<std::vector<double>> part;
    for (const std::vector<double>& channel : channels) {
      const auto begin = channel.begin() + static_cast<std::ptrdiff_t>(i);
      part.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(std::min(length, channel.size() - i)));
    }
    feed(std::span<const std::vector<double>>(part));
  }
}

}  // namespace kxanalysis_test
