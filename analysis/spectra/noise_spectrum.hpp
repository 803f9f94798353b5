// Spectra of noise: averaged, in bands, and beside what they should be.
#pragma once

#include <span>
#include <vector>

#include "analysis/filters/response.hpp"
#include "analysis/spectra/spectrum.hpp"

namespace kxanalysis {

/// Averaged power spectrum of a stream: segments under a Hann window that overlap by half (Welch 1967).
class AveragedSpectrum {
public:
  /// @param length  of a segment, even.
  explicit AveragedSpectrum(size_t length);

  /// Adds the stream's next samples.
  void add(std::span<const double> samples);

  size_t segments() const { return segments_; }

  /// Power a hertz (one-sided) at the multiples of rate / length.
  std::vector<double> density(double rate) const;

private:
  void addSegment();

  RealTransform transform_;
  std::vector<double> window_;
  std::vector<double> waiting_;
  std::vector<double> segment_;
  std::vector<double> power_;
  size_t segments_ = 0;
};

/// How the power of a noise falls with frequency: alike in every hertz, or alike in every octave.
enum class NoiseColour { white, pink };

/// dB that the density of a noise changes by from 1 Hz to a frequency.
double idealSlope(NoiseColour colour, double frequency);

/// Where a picture's and a comparison's frequencies lie, in Hz.
constexpr double lowestHeard = 20, highestHeard = 20000;

/// The highest end, not above highestHeard, of ten bands a decade from lowestHeard on that lie below half of a rate.
double highestBandEnd(double rate);

/// Level of the density in each of ten bands a decade from lowestHeard to highestBandEnd(), in dB, at the middle of the
/// band: the band's power over that of an ideal noise whose density there is 1.
std::vector<LevelPoint> bandLevels(std::span<const double> density, double rate, NoiseColour colour);

/// The ideal noise nearest to a curve: `level` is its density at 1 Hz in dB, and no point of the curve is further away
/// than `deviation`.
struct IdealFit {
  double level;
  double deviation;
};

IdealFit fitIdeal(std::span<const LevelPoint> curve, NoiseColour colour);

}  // namespace kxanalysis
