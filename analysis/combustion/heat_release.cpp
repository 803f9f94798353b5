#include "analysis/combustion/heat_release.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace kxanalysis {
namespace {

constexpr double barCubicCentimetres = 10;  // in a joule

/// The curve's lowest point before its highest, as indexes.
struct Extremes {
  size_t lowest, highest;
};

Extremes extremesOf(const std::vector<double>& curve) {
  const auto highest = std::max_element(curve.begin(), curve.end());
  const auto lowest = std::min_element(curve.begin(), highest + 1);
  return {static_cast<size_t>(lowest - curve.begin()), static_cast<size_t>(highest - curve.begin())};
}

/// Shares of the heat that are released, 0 before the lowest point and 1 behind the highest.
std::vector<double> sharesOf(const std::vector<double>& curve) {
  const Extremes at = extremesOf(curve);
  const double low = curve[at.lowest], heat = curve[at.highest] - low;
  std::vector<double> shares(curve.size());
  for (size_t i = at.lowest; i < curve.size() && heat > 0; ++i) {
    shares[i] = i < at.highest ? std::clamp((curve[i] - low) / heat, 0.0, 1.0) : 1;
  }
  return shares;
}

/// The pressures of a window over their volumes.
struct Charge {
  std::vector<double> volumes;    // in cubic centimetres
  std::vector<double> pressures;  // in bar

  /// Heat over the window if the exponent goes with these shares.
  std::vector<double> heat(HeatExponents exponents, const std::vector<double>& shares) const {
    std::vector<double> curve(volumes.size());
    for (size_t i = 1; i < curve.size(); ++i) {
      const double exponent = std::lerp(exponents.compression, exponents.expansion, (shares[i - 1] + shares[i]) / 2);
      const double middle = (volumes[i - 1] + volumes[i]) / 2;
      const double difference = pressures[i] * std::pow(volumes[i] / middle, exponent) -
                                pressures[i - 1] * std::pow(volumes[i - 1] / middle, exponent);
      curve[i] = curve[i - 1] + difference * middle / (exponent - 1) / barCubicCentimetres;
    }
    return curve;
  }
};

Charge chargeIn(const Engine& engine, const std::vector<double>& angles, std::span<const float> pressures,
                SampleRange range) {
  Charge charge;
  for (size_t i = range.first; i < range.first + range.count; ++i) {
    charge.volumes.push_back(engine.volume(angles[i]));
    charge.pressures.push_back(static_cast<double>(pressures[i]));
  }
  return charge;
}

/// Shares and exponents depend on one another. The exponents differ by little, so that each round brings the shares nearer by a
/// multiple.
std::vector<double> settledHeat(const Charge& charge, HeatExponents exponents) {
  constexpr int mostRounds = 30;
  constexpr double settled = 1e-12;
  std::vector<double> shares(charge.volumes.size(), 0.5), curve;
  for (int round = 0; round < mostRounds; ++round) {
    curve = charge.heat(exponents, shares);
    std::vector<double> next = sharesOf(curve);
    double change = 0;
    for (size_t i = 0; i < shares.size(); ++i) {
      change = std::max(change, std::abs(next[i] - shares[i]));
    }
    shares.swap(next);
    if (change <= settled) {
      break;
    }
  }
  return curve;
}

}  // namespace

std::vector<double> heatCurve(const Engine& engine, const std::vector<double>& angles, std::span<const float> pressures,
                              AngleWindow window, HeatExponents exponents) {
  const SampleRange range = samplesIn(angles, window);
  return range.count == 0 ? std::vector<double>() : settledHeat(chargeIn(engine, angles, pressures, range), exponents);
}

std::optional<HeatRelease> heatRelease(const Engine& engine, const std::vector<double>& angles,
                                       std::span<const float> pressures, AngleWindow window, HeatExponents exponents) {
  constexpr double leastExponent = 1.01, mostExponent = 2, leastShare = 0.01;
  for (const double exponent : {exponents.compression, exponents.expansion}) {
    if (!(exponent >= leastExponent && exponent <= mostExponent)) {
      return std::nullopt;
    }
  }
  const SampleRange range = samplesIn(angles, window);
  if (range.count < 2) {
    return std::nullopt;
  }
  const Charge charge = chargeIn(engine, angles, pressures, range);
  const std::vector<double> curve = settledHeat(charge, exponents);
  const Extremes at = extremesOf(curve);
  const double heat = curve[at.highest] - curve[at.lowest];
  const double held = charge.pressures[0] * charge.volumes[0] / (exponents.compression - 1) / barCubicCentimetres;
  if (!(held > 0 && heat >= leastShare * held)) {
    return std::nullopt;
  }
  const auto angleOf = [&](double share) {
    const double wanted = curve[at.lowest] + share * heat;
    size_t i = at.lowest + 1;
    while (i < at.highest && curve[i] < wanted) {
      ++i;
    }
    const double part = (wanted - curve[i - 1]) / (curve[i] - curve[i - 1]);
    return std::lerp(angles[range.first + i - 1], angles[range.first + i], part);
  };
  return HeatRelease{heat, angleOf(0.1), angleOf(0.5), angleOf(0.9)};
}

}  // namespace kxanalysis
