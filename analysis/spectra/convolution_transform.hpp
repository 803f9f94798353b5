// The discrete Fourier transform as convolutions need it: of complex signals, of lengths that are powers of two.
#pragma once

#include <cstddef>
#include <vector>

namespace kxanalysis {

/// A transform in place, and its inverse. Real and imaginary parts stand apart, so that neighbours go through the same
/// operations side by side; bins come in an order of the transform's own, since the product of two spectra needs none.
class ConvolutionTransform {
public:
  static constexpr size_t shortest = 16;

  /// @param length  a power of two, at least `shortest`.
  explicit ConvolutionTransform(size_t length);

  size_t length() const { return length_; }

  /// The sums over n of x[n] exp(-2 pi i k n / length), for all k.
  /// @param real, imaginary  in, out: `length` values each.
  void forward(double* real, double* imaginary) const;

  /// The inverse of forward(), times the length: takes the bins in their order and gives the signal in the usual one.
  void backward(double* real, double* imaginary) const;

private:
  struct Signal;

  void forward(size_t step, Signal x, size_t length) const;
  void backward(size_t step, Signal x, size_t length) const;

  size_t length_;
  std::vector<double> halving_;                  // of lengths that are no power of four: the first step's rotations
  std::vector<std::vector<double>> quartering_;  // those of the steps after it, from the longest one on
};

}  // namespace kxanalysis
