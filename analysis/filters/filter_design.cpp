#include "analysis/filters/filter_design.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <optional>
#include <string>
#include <utility>

namespace kxanalysis {
namespace {

using std::numbers::pi;

/// Where the bilinear transform s = (1 - 1/z) / (1 + 1/z) must find an edge for the digital filter to have it at that
/// frequency: prewarping (Oppenheim and Schafer, Discrete-Time Signal Processing, section 7.2).
double prewarped(double frequency) {
  return std::tan(pi * frequency);
}

/// Pole of the Butterworth low-pass with edge 1 (Butterworth 1930): on the unit circle, in equal steps, `index` counted
/// from the real axis. Of each conjugate pair the one above the axis.
std::complex<double> prototypePole(int order, int index) {
  const double angle = pi * (order % 2 == 0 ? index + 0.5 : index) / order;
  return {-std::cos(angle), std::sin(angle)};
}

/// Bilinear transform of 1 / (s^2 + alpha s + beta), with a numerator still to be set: 1 / (1 + alpha + beta) is left as
/// the gain.
Section secondOrder(double alpha, double beta) {
  const double norm = 1 + alpha + beta;
  return {1 / norm, 0, 0, 0, 2 * (beta - 1) / norm, (1 - alpha + beta) / norm};
}

/// The same of 1 / (s + gamma).
Section firstOrder(double gamma) {
  const double norm = 1 + gamma;
  return {1 / norm, 0, 0, 0, (gamma - 1) / norm, 0};
}

/// edge^2 / (s^2 + alpha s + edge^2) of a low-pass, both zeros at half of the sample rate, gain 1 at 0; s^2 over the same
/// of a high-pass, both zeros at 0, gain 1 at half of the sample rate. Real poles are sections of first order.
Section edgeSection(std::complex<double> pole, double edge, bool isLowPass) {
  const bool isFirstOrder = pole.imag() == 0;
  Section section = isFirstOrder ? firstOrder(edge) : secondOrder(-2 * pole.real() * edge, edge * edge);
  if (isLowPass) {
    section.gain *= isFirstOrder ? edge : edge * edge;
  }
  section.b0 = 1;
  section.b1 = (isFirstOrder ? 1 : 2) * (isLowPass ? 1 : -1);
  section.b2 = isFirstOrder ? 0 : 1;
  return section;
}

/// s / (s^2 + alpha s + beta), with a zero at 0 and one at half of the sample rate, and gain 1 at s = j centre.
Section bandPassSection(double alpha, double beta, double centre) {
  Section section = secondOrder(alpha, beta);
  section.gain *= std::abs(std::complex<double>(beta - centre * centre, alpha * centre)) / centre;
  section.b0 = 1;
  section.b1 = 0;
  section.b2 = -1;
  return section;
}

/// Puts (s^2 + low high) / ((high - low) s) in the place of s, by which a pole becomes two: the roots of
/// s^2 - pole (high - low) s + low high. The larger one is computed, the other follows from the product, so that neither
/// cancels.
void addBandPassSections(std::vector<Section>& sections, std::complex<double> pole, double low, double high) {
  const double product = low * high, centre = std::sqrt(product);
  const std::complex<double> half = pole * ((high - low) / 2);
  if (pole.imag() == 0) {
    sections.push_back(bandPassSection(-2 * half.real(), product, centre));
    return;
  }
  const std::complex<double> root = std::sqrt(half * half - product);
  const std::complex<double> larger = std::abs(half + root) > std::abs(half - root) ? half + root : half - root;
  for (const std::complex<double> s : {product / larger, larger}) {
    sections.push_back(bandPassSection(-2 * s.real(), std::norm(s), centre));
  }
}

/// Sample of the ideal low-pass's impulse response, `distance` samples from its middle.
double sinc(double edge, double distance) {
  return distance == 0 ? 2 * edge : std::sin(2 * pi * edge * distance) / (pi * distance);
}

/// Hamming's and Blackman's windows (Oppenheim and Schafer, section 7.5).
double windowAt(Window window, double position) {
  const double cosine = std::cos(2 * pi * position);
  return window == Window::hamming ? 0.54 - 0.46 * cosine : 0.42 - 0.5 * cosine + 0.08 * std::cos(4 * pi * position);
}

/// Low-pass coefficients whose sum is 1.
std::vector<double> windowedLowPass(double edge, size_t taps, Window window) {
  std::vector<double> coefficients(taps);
  const auto last = static_cast<double>(taps - 1);
  double sum = 0;
  for (size_t i = 0; i < taps; ++i) {
    const auto position = static_cast<double>(i);
    coefficients[i] = sinc(edge, position - last / 2) * windowAt(window, position / last);
    sum += coefficients[i];
  }
  for (double& coefficient : coefficients) {
    coefficient /= sum;
  }
  return coefficients;
}

/// Horner's rule on a polynomial in 1/z.
template <class T>
std::complex<double> polynomialAt(std::span<const T> coefficients, std::complex<double> delay) {
  std::complex<double> value = 0;
  for (size_t i = coefficients.size(); i-- > 0;) {
    value = value * delay + static_cast<double>(coefficients[i]);
  }
  return value;
}

/// 1/z at a frequency.
std::complex<double> delayAt(double frequency) {
  return std::polar(1.0, -2 * pi * frequency);
}

std::optional<Problem> problemOf(const PassBand& band) {
  const std::string away = "an edge lies at least 1e-6 of the sample rate above 0 and below 0.5";
  if (!std::isfinite(band.low) ||
      (!band.isLowPass() && !(band.low >= leastDistance && band.low <= 0.5 - leastDistance))) {
    return unsuitable("low edge", band.low, away);
  }
  if (!std::isfinite(band.high) ||
      (!band.isHighPass() && !(band.high >= leastDistance && band.high <= 0.5 - leastDistance))) {
    return unsuitable("high edge", band.high, away);
  }
  if (band.isLowPass() && band.isHighPass()) {
    return Problem{"low edge and high edge let all frequencies pass: one of them is needed"};
  }
  if (!band.isLowPass() && !band.isHighPass() && !(band.high - band.low >= leastDistance)) {
    return unsuitable("high edge", band.high, "it lies at least 1e-6 of the sample rate above the low edge");
  }
  return std::nullopt;
}

}  // namespace

Result<std::vector<Section>> butterworth(const PassBand& band, int order) {
  if (auto problem = problemOf(band)) {
    return std::move(*problem);
  }
  if (order < 1 || order > maximumOrder) {
    return unsuitable("order", order, "it is from 1 to 100");
  }
  const bool isBandPass = !band.isLowPass() && !band.isHighPass();
  std::vector<Section> sections;
  for (int index = 0; index < (order + 1) / 2; ++index) {
    const std::complex<double> pole = prototypePole(order, index);
    if (isBandPass) {
      addBandPassSections(sections, pole, prewarped(band.low), prewarped(band.high));
    } else {
      sections.push_back(edgeSection(pole, prewarped(band.isLowPass() ? band.high : band.low), band.isLowPass()));
    }
  }
  return sections;
}

Result<std::vector<float>> windowedSinc(const PassBand& band, size_t taps, Window window) {
  if (auto problem = problemOf(band)) {
    return std::move(*problem);
  }
  if (taps < minimumTaps || taps > maximumTaps) {
    return unsuitable("taps", static_cast<double>(taps), "they are from 3 to 131071");
  }
  if (band.isHighPass() && taps % 2 == 0) {
    return unsuitable("taps", static_cast<double>(taps), "a high-pass needs an odd number");
  }
  std::vector<double> coefficients = windowedLowPass(band.isHighPass() ? band.low : band.high, taps, window);
  if (band.isHighPass()) {  // all that passes, delayed alike, less what the low-pass lets pass
    for (double& coefficient : coefficients) {
      coefficient = -coefficient;
    }
    coefficients[taps / 2] += 1;
  } else if (!band.isLowPass()) {
    const std::vector<double> below = windowedLowPass(band.low, taps, window);
    std::ranges::transform(coefficients, below, coefficients.begin(), std::minus());
  }
  if (!band.isLowPass()) {
    const double gain = std::abs(responseOf(coefficients, band.isHighPass() ? 0.5 : (band.low + band.high) / 2));
    if (gain < 0.5) {
      return Problem{std::to_string(taps) + " taps are too few for this band"};
    }
    for (double& coefficient : coefficients) {
      coefficient /= gain;
    }
  }
  return std::vector<float>(coefficients.begin(), coefficients.end());
}

std::complex<double> responseOf(std::span<const Section> sections, double frequency) {
  const std::complex<double> delay = delayAt(frequency);
  std::complex<double> response = 1;
  for (const Section& section : sections) {
    response *= section.gain * (section.b0 + delay * (section.b1 + delay * section.b2)) /
                (1.0 + delay * (section.a1 + delay * section.a2));
  }
  return response;
}

std::complex<double> responseOf(std::span<const float> coefficients, double frequency) {
  return polynomialAt(coefficients, delayAt(frequency));
}

std::complex<double> responseOf(std::span<const double> coefficients, double frequency) {
  return polynomialAt(coefficients, delayAt(frequency));
}

double decibels(std::complex<double> response) {
  return 20 * std::log10(std::abs(response));
}

}  // namespace kxanalysis
