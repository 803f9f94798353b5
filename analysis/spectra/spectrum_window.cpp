#include "analysis/spectra/spectrum_window.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>

namespace kxanalysis {
namespace {

using std::numbers::pi;

constexpr std::array rectangular{1.0};
constexpr std::array hann{0.5, 0.5};
constexpr std::array hamming{0.54, 0.46};
constexpr std::array blackmanHarris{0.35875, 0.48829, 0.14128, 0.01168};
constexpr std::array flatTop{0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368};

/// Sum over n of exp(-2 pi i bins n / length), over length. It repeats itself after `length` bins.
std::complex<double> dirichlet(double bins, double length) {
  const double distance = std::remainder(bins, length);
  const double size = distance == 0 ? 1 : std::sin(pi * distance) / (length * std::sin(pi * distance / length));
  return size * std::complex(std::cos(pi * distance * (length - 1) / length),
                             -std::sin(pi * distance * (length - 1) / length));
}

}  // namespace

std::span<const double> cosineWeights(SpectrumWindow window) {
  switch (window) {
    case SpectrumWindow::rectangular:
      return rectangular;
    case SpectrumWindow::hann:
      return hann;
    case SpectrumWindow::hamming:
      return hamming;
    case SpectrumWindow::blackmanHarris:
      return blackmanHarris;
    case SpectrumWindow::flatTop:
      break;
  }
  return flatTop;
}

std::vector<double> weightsOf(SpectrumWindow window, size_t length) {
  const auto cosines = cosineWeights(window);
  std::vector<double> weights(length);
  for (size_t n = 0; n < length; ++n) {
    const double turn = static_cast<double>(n) / static_cast<double>(length);
    double sign = 1;
    for (size_t m = 0; m < cosines.size(); ++m) {
      weights[n] += sign * cosines[m] * std::cos(2 * pi * static_cast<double>(m) * turn);
      sign = -sign;
    }
  }
  return weights;
}

double noiseBandwidth(SpectrumWindow window) {
  const auto cosines = cosineWeights(window);
  double power = cosines.front() * cosines.front();
  for (const double weight : cosines.subspan(1)) {
    power += weight * weight / 2;
  }
  return power / (cosines.front() * cosines.front());
}

double leakage(SpectrumWindow window, double bins, size_t length) {
  const auto cosines = cosineWeights(window);
  const auto size = static_cast<double>(length);
  std::complex<double> sum = cosines.front() * dirichlet(bins, size);
  double sign = -1;
  for (size_t m = 1; m < cosines.size(); ++m) {
    const auto shift = static_cast<double>(m);
    sum += sign * cosines[m] / 2 * (dirichlet(bins - shift, size) + dirichlet(bins + shift, size));
    sign = -sign;
  }
  return std::abs(sum) / cosines.front();
}

/// The greater neighbour's share of the strongest bin tells the offset of a rectangular window, under which both
/// neighbours of a tone without one are 0; under the others, whose main lobes hold both of them, it is the ratio of the
/// two. Either grows with the offset.
double offsetOfTone(SpectrumWindow window, double below, double strongest, double above, size_t length) {
  const double greater = std::max(below, above), lesser = std::min(below, above);
  const bool isRectangular = window == SpectrumWindow::rectangular;
  const auto isBeyond = [&](double offset) {
    const double nearer = leakage(window, 1 - offset, length);
    return isRectangular ? nearer * strongest > greater * leakage(window, offset, length)
                         : nearer * lesser > greater * leakage(window, 1 + offset, length);
  };
  double low = 0, high = 0.5;
  for (int i = 0; i < 50; ++i) {
    const double middle = (low + high) / 2;
    (isBeyond(middle) ? high : low) = middle;
  }
  return std::copysign((low + high) / 2, above - below);
}

}  // namespace kxanalysis
