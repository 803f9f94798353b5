#include "analysis/resampling/kaiser_sinc.hpp"

#include <cmath>
#include <numbers>
#include <numeric>

namespace kxanalysis {
namespace {

using std::numbers::pi;

constexpr double shape = 0.1102 * (KaiserSinc::attenuation - 8.7);

/// Half of the length that the transition takes, as samples on one side.
size_t halfFor(Transition transition) {
  constexpr double step = KaiserSinc::blockLength / 2.0;
  const double length = (KaiserSinc::attenuation - 7.95) / (2.285 * 2 * pi * (transition.stop - transition.pass));
  return static_cast<size_t>(step * std::ceil(length / 2 / step));
}

/// The modified Bessel function of the first kind and order 0, by its series.
double besselI0(double x) {
  double sum = 1, term = 1;
  for (int k = 1; term > 1e-18 * sum; ++k) {
    term *= (x / (2 * k)) * (x / (2 * k));
    sum += term;
  }
  return sum;
}

}  // namespace

KaiserSinc::KaiserSinc(Transition transition) : edge_(transition.edge()), half_(halfFor(transition)) {}

/// But for its gain.
double KaiserSinc::at(double time) const {
  const double share = time / static_cast<double>(half_), angle = 2 * pi * edge_ * time;
  if (std::abs(share) > 1) {
    return 0;
  }
  return (angle == 0 ? 1 : std::sin(angle) / angle) * besselI0(shape * std::sqrt(1 - share * share));
}

std::vector<double> KaiserSinc::coefficientsAt(double phase) const {
  std::vector<double> coefficients(length());
  for (size_t i = 0; i < coefficients.size(); ++i) {
    coefficients[i] = at(static_cast<double>(i) - static_cast<double>(half_ - 1) - phase);
  }
  const double sum = std::accumulate(coefficients.begin(), coefficients.end(), 0.0);
  for (double& coefficient : coefficients) {
    coefficient /= sum;
  }
  return coefficients;
}

}  // namespace kxanalysis
