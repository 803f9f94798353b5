#include "analysis/spectra/spectral_peaks.hpp"

#include <algorithm>
#include <cmath>

namespace kxanalysis {
namespace {

/// A tone at a place among the bins, and the magnitude of a bin right there.
struct Tone {
  double bin;
  double magnitude;
};

Tone toneAt(size_t bin, const std::vector<double>& magnitudes, const SpectrumSettings& settings) {
  const double offset =
      offsetOfTone(settings.window, magnitudes[bin - 1], magnitudes[bin], magnitudes[bin + 1], settings.length);
  return {static_cast<double>(bin) + offset, magnitudes[bin] / leakage(settings.window, offset, settings.length)};
}

/// Bins above both of their neighbours, the highest first.
std::vector<size_t> maximaOf(const std::vector<double>& magnitudes) {
  std::vector<size_t> maxima;
  for (size_t bin = 1; bin + 1 < magnitudes.size(); ++bin) {
    if (magnitudes[bin] > magnitudes[bin - 1] && magnitudes[bin] >= magnitudes[bin + 1]) {
      maxima.push_back(bin);
    }
  }
  std::ranges::stable_sort(maxima, [&](size_t a, size_t b) { return magnitudes[a] > magnitudes[b]; });
  return maxima;
}

}  // namespace

std::vector<SpectralPeak> peaksOf(const AveragedSpectrum& spectrum, double rate, size_t most) {
  const SpectrumSettings& settings = spectrum.settings();
  std::vector<double> magnitudes = spectrum.meanSquares();
  std::ranges::transform(magnitudes, magnitudes.begin(), [](double square) { return std::sqrt(square); });
  constexpr double rounding = 1e-13;  // of the strongest bin, in all bins
  const double least = rounding * *std::ranges::max_element(magnitudes);
  std::vector<Tone> stronger{{0, magnitudes.front()}};
  std::vector<SpectralPeak> peaks;
  for (const size_t bin : maximaOf(magnitudes)) {
    if (peaks.size() == most) {
      break;
    }
    double leaked = least;
    for (const Tone& tone : stronger) {
      leaked += tone.magnitude * leakage(settings.window, static_cast<double>(bin) - tone.bin, settings.length);
    }
    // Twice, for the negative frequencies: they lie further away from every bin and leak no more.
    if (magnitudes[bin] > 2 * leaked) {
      stronger.push_back(toneAt(bin, magnitudes, settings));
      peaks.push_back({stronger.back().bin * rate / static_cast<double>(settings.length), stronger.back().magnitude});
    }
  }
  return peaks;
}

}  // namespace kxanalysis
