// Averaged power spectrum of a stream.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "analysis/spectra/real_transform.hpp"

namespace kxanalysis {

/// Segments under a Hann window that overlap by half, their powers averaged: Welch, The use of fast Fourier transform
/// for the estimation of power spectra (1967). How the stream is cut into blocks does not matter.
class AveragedSpectrum {
public:
  /// @param length  samples of a segment, even, at least 2.
  static Result<AveragedSpectrum> create(size_t length);

  /// Takes the stream's next samples. Those at its end that fill no segment do not count.
  void feed(std::span<const double> samples);

  /// Complete segments so far.
  size_t segments() const { return segments_; }

  /// Power a hertz (one-sided, in the square of the samples' unit) at the multiples of rate / length from 0 to half of
  /// the rate; NaN before the first segment is complete.
  std::vector<double> density(double rate) const;

private:
  explicit AveragedSpectrum(RealTransform transform);

  void addSegment();

  RealTransform transform_;
  std::vector<double> window_;
  std::vector<double> waiting_;
  std::vector<double> segment_;
  std::vector<double> power_;
  size_t segments_ = 0;
};

}  // namespace kxanalysis
