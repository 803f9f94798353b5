// Tones in an averaged spectrum.
#pragma once

#include <cstddef>
#include <vector>

#include "analysis/spectra/averaged_spectrum.hpp"

namespace kxanalysis {

/// A tone, wherever it lies between the bins.
struct SpectralPeak {
  double frequency;  ///< in Hz
  double rms;        ///< in the samples' unit
};

/// The strongest maxima between 0 and half of the rate, strongest first. Frequency and size are those of a lone tone
/// with these magnitudes in the maximum and beside it. A maximum that is no more than twice what the window leaks of
/// stronger tones and of the average is none; neither is what may be rounding.
/// @param spectrum  with a complete segment.
/// @param most      how many at most.
std::vector<SpectralPeak> peaksOf(const AveragedSpectrum& spectrum, double rate, size_t most);

}  // namespace kxanalysis
