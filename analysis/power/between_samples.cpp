#include "analysis/power/between_samples.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kxanalysis {

BetweenSamples::BetweenSamples(size_t reach) : cosines_(2 * reach), sines_(2 * reach), weights_(2 * reach) {
  for (size_t i = 0; i < weights_.size(); ++i) {
    const double angle = std::numbers::pi * (static_cast<double>(i + 1) / static_cast<double>(reach) - 1);
    cosines_[i] = std::cos(angle);
    sines_[i] = std::sin(angle);
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
  const auto reach = static_cast<double>(this->reach());
  const double shift = std::numbers::pi * place / reach, cosine = std::cos(shift), sine = std::sin(shift);
  const double height = std::sin(std::numbers::pi * place) / std::numbers::pi;
  const double firstSign = this->reach() % 2 == 0 ? 1 : -1;  // of the weight of sample 1 - reach
  for (size_t i = 0; i < weights_.size(); ++i) {
    const double distance = static_cast<double>(i + 1) - reach - place;
    const double c = cosines_[i] * cosine + sines_[i] * sine;
    weights_[i] = firstSign * height / distance * (0.34 + c * (0.5 + 0.16 * c));
  }
  for (size_t i = 1; i < weights_.size(); i += 2) {
    weights_[i] = -weights_[i];
  }
  return weights_;
}

}  // namespace kxanalysis
