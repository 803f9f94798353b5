// Designs of filters: Butterworth sections, and windowed-sinc coefficients. Frequencies are fractions of the sample rate.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

#include "analysis/problem.hpp"

namespace kxanalysis {

/// Frequencies that pass, as fractions of the sample rate. A low-pass has 0 as low edge, a high-pass 0.5 as high edge.
struct PassBand {
  double low = 0;
  double high = 0.5;

  bool isLowPass() const { return low <= 0; }
  bool isHighPass() const { return high >= 0.5; }
};

/// Edges closer than this to 0, to 0.5 or to each other are not designed: doubles hold the coefficients of sections too
/// coarsely for them.
constexpr double leastDistance = 1e-6;

constexpr int maximumOrder = 100;

/// A section of second order: gain (b0 + b1 / z + b2 / z^2) / (1 + a1 / z + a2 / z^2).
struct Section {
  double gain;
  double b0, b1, b2;
  double a1, a2;
};

/// Butterworth filter (1930), by the bilinear transform with prewarped edges, that is 3.01 dB down at its edges, as a cascade in which the resonance rises from section to
/// section and each section has a gain of 1 at the frequencies that pass best.
/// @param band   its edges at least leastDistance from 0, from 0.5 and from each other.
/// @param order  1 to maximumOrder; of each edge.
Result<std::vector<Section>> butterworth(const PassBand& band, int order);

enum class Window { hamming, blackman };

constexpr size_t minimumTaps = 3, maximumTaps = 131071;

/// Symmetric coefficients, of linear phase: the ideal filter's impulse response under a window. The gain is 1 at 0, of a
/// high-pass at half of the sample rate, of a band-pass in the middle of the band; the edges are about 6 dB down.
/// @param band  its edges as those of butterworth().
/// @param taps  minimumTaps to maximumTaps; odd for a high-pass, since a symmetric filter of even length is 0 at half of
///              the sample rate. So few that not even the middle of the band passes are refused.
Result<std::vector<float>> windowedSinc(const PassBand& band, size_t taps, Window window);

/// A filter's complex response at a frequency, which is a fraction of the sample rate.
std::complex<double> responseOf(std::span<const Section> sections, double frequency);
std::complex<double> responseOf(std::span<const float> coefficients, double frequency);
std::complex<double> responseOf(std::span<const double> coefficients, double frequency);

/// Gain in dB of a complex response.
double decibels(std::complex<double> response);

}  // namespace kxanalysis
