#include "analysis/power/between_samples.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kxanalysis {

BetweenSamples::BetweenSamples(size_t reach) : weights_(2 * reach) {
  for (size_t i = 0; i < weights_.size(); ++i) {
    const double distance = static_cast<double>(i + 1) - static_cast<double>(reach);
    const double angle = std::numbers::pi * distance / static_cast<double>(reach);
    distances_.push_back(distance);
    signs_.push_back((i + reach) % 2 == 0 ? 1 : -1);
    cosines_.push_back(std::cos(angle));
    sines_.push_back(std::sin(angle));
  }
}

/// At distance t from a sample its weight is sin(pi t) / (pi t) w(t), w being 0.42 + 0.5 c + 0.08 (2 c^2 - 1) with
/// c = cos(pi t / reach). From sample to sample sin(pi t) only changes its sign.
std::span<const double> BetweenSamples::weightsAt(double place) {
  constexpr double isASample = 1e-9;
  if (place < isASample) {
    std::ranges::fill(weights_, 0);
    weights_[reach() - 1] = 1;
    return weights_;
  }
  const double shift = std::numbers::pi * place / static_cast<double>(reach());
  const double cosine = std::cos(shift), sine = std::sin(shift);
  const double height = std::sin(std::numbers::pi * place) / std::numbers::pi;
  for (size_t i = 0; i < weights_.size(); ++i) {
    const double c = cosines_[i] * cosine + sines_[i] * sine;
    weights_[i] = signs_[i] * height / (distances_[i] - place) * (0.34 + c * (0.5 + 0.16 * c));
  }
  return weights_;
}

}  // namespace kxanalysis
