// Windows of spectra: sums of cosines.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace kxanalysis {

/// What the samples of a segment are weighted with before their spectrum is taken.
enum class SpectrumWindow { rectangular, hann, hamming, blackmanHarris, flatTop };

/// The weights a[m] of a window's cosines: w[n] = sum of (-1)^m a[m] cos(2 pi m n / length). Hann, Hamming and the
/// minimum four-term Blackman-Harris window: Harris, On the use of windows for harmonic analysis with the discrete
/// Fourier transform (1978). Flat top: D'Antona and Ferrero, Digital signal processing for measurement systems (2006),
/// section 2.3.
std::span<const double> cosineWeights(SpectrumWindow window);

/// The window of a segment. It repeats itself after `length` samples, as the transform's frequencies do.
std::vector<double> weightsOf(SpectrumWindow window, size_t length);

/// Width of a bin for noise, in bins: that of the rectangle with the same power of noise and the same peak of a tone.
/// Of segments of more than eight samples; in shorter ones the cosines fold.
double noiseBandwidth(SpectrumWindow window);

/// How much of a tone is left at `bins` bins from it: the magnitude of the window's transform, 1 at 0.
/// @param length  of the segment.
double leakage(SpectrumWindow window, double bins, size_t length);

/// How far a tone lies above its strongest bin, in bins from -0.5 to 0.5, from the magnitudes of that bin and its
/// neighbours.
/// @param length  of the segment.
double offsetOfTone(SpectrumWindow window, double below, double strongest, double above, size_t length);

}  // namespace kxanalysis
