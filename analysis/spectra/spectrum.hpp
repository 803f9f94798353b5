// Spectra of real signals, by FFTW.
#pragma once

#include <complex>
#include <cstddef>
#include <span>

namespace kxanalysis {

/// The discrete Fourier transform of real signals of one length.
class RealTransform {
public:
  /// @param length  number of samples, at least 1.
  explicit RealTransform(std::size_t length);
  ~RealTransform();
  RealTransform(const RealTransform&) = delete;
  RealTransform& operator=(const RealTransform&) = delete;

  std::size_t length() const { return length_; }
  std::size_t binCount() const { return length_ / 2 + 1; }

  /// Bins 0 to length / 2 of sum over n of x[n] exp(-2 pi i k n / length), not scaled. They stay until the next call.
  /// @param samples  `length` samples.
  std::span<const std::complex<double>> transform(std::span<const double> samples);

private:
  std::size_t length_;
  double* samples_;
  std::complex<double>* bins_;
  void* plan_;
};

}  // namespace kxanalysis
