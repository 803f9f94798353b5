// Spectra of noise in bands, and beside what they should be.
#pragma once

#include <span>
#include <vector>

#include "analysis/spectra/level_point.hpp"

namespace kxanalysis {

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
/// @param density  at evenly spaced frequencies from 0 to half of the rate, at least two of them.
std::vector<LevelPoint> bandLevels(std::span<const double> density, double rate, NoiseColour colour);

/// The ideal noise nearest to a curve: `level` is its density at 1 Hz in dB, and no point of the curve is further away
/// than `deviation`.
struct IdealFit {
  double level;      ///< in dB
  double deviation;  ///< in dB
};

/// @param curve  at least one point.
IdealFit fitIdeal(std::span<const LevelPoint> curve, NoiseColour colour);

}  // namespace kxanalysis
