// Averaged power spectrum of a stream.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "analysis/spectra/real_transform.hpp"
#include "analysis/spectra/spectrum_window.hpp"

namespace kxanalysis {

struct SpectrumSettings {
  size_t length = 4096;  ///< samples of a segment, even, at least 2
  SpectrumWindow window = SpectrumWindow::hann;
  size_t overlap = 2048;        ///< samples that a segment shares with the next one; fewer than it has
  bool removesAverage = false;  ///< takes each segment's average off before it is weighted
};

/// Segments under a window that overlap, their powers averaged: Welch, The use of fast Fourier transform for the
/// estimation of power spectra (1967). How the stream is cut into blocks does not matter.
class AveragedSpectrum {
public:
  static Result<AveragedSpectrum> create(const SpectrumSettings& settings);

  /// Takes the stream's next samples. Those at its end that fill no segment do not count.
  void feed(std::span<const double> samples);

  /// Complete segments so far.
  size_t segments() const { return segments_; }

  const SpectrumSettings& settings() const { return settings_; }

  /// Power a hertz (one-sided, in the square of the samples' unit) at the multiples of rate / length from 0 to half of
  /// the rate; NaN before the first segment is complete. Times rate / length, they sum up to the power: the first and
  /// the last one stand for no negative frequency.
  std::vector<double> density(double rate) const;

  /// Mean squares of tones at the same frequencies: those of a sine of amplitude A are A^2 / 2 at its bin, and a
  /// constant's is its square.
  std::vector<double> meanSquares() const;

private:
  AveragedSpectrum(const SpectrumSettings& settings, RealTransform transform);

  void addSegment();
  std::vector<double> powersTimes(double factor) const;

  SpectrumSettings settings_;
  RealTransform transform_;
  std::vector<double> window_;
  std::vector<double> waiting_;
  std::vector<double> segment_;
  std::vector<double> power_;
  size_t segments_ = 0;
};

}  // namespace kxanalysis
