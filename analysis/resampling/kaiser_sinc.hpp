// The low-pass that resamplers are made of: a sinc under Kaiser's window.
#pragma once

#include <cstddef>
#include <vector>

namespace kxanalysis {

/// The highest frequency that passes and the lowest one that does not, in cycles a sample, above 0. The edge lies between.
struct Transition {
  double pass, stop;

  double edge() const { return (pass + stop) / 2; }
};

/// J. Kaiser, Nonrecursive digital filter design using the I0-sinh window function (1974).
class KaiserSinc {
public:
  /// Of all that the stop band holds.
  static constexpr double attenuation = 150;  // dB

  /// Coefficients come in multiples of this.
  static constexpr size_t blockLength = 4;

  explicit KaiserSinc(Transition transition);

  /// Coefficients for an output.
  size_t length() const { return 2 * half_; }
  /// How many of them belong to samples behind the output's position; the others, to those at it and before.
  size_t half() const { return half_; }

  /// For an output whose position is `phase` of a sample behind the sample at or before it. Their sum is 1, so that one
  /// value all along stays that value.
  std::vector<double> coefficientsAt(double phase) const;

private:
  double at(double time) const;

  double edge_;
  size_t half_;
};

}  // namespace kxanalysis
