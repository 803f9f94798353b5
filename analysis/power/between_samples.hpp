// Values of a stream between its samples.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace kxanalysis {

/// Band-limited interpolation by the sine cardinal under Blackman's window: A. Oppenheim, R. Schafer, Discrete-Time
/// Signal Processing, 7.5. Up to highestFrequency() a sine keeps its amplitude to 2 parts in 10000, and far better some
/// way below.
class BetweenSamples {
public:
  /// @param reach  how many samples on either side a value is made of, at least 1.
  explicit BetweenSamples(size_t reach);

  size_t reach() const { return weights_.size() / 2; }

  /// The weights of samples 1 - reach to reach for the value at a place after sample 0; they stay until the next call.
  /// @param place  in samples, from 0 to below 1.
  std::span<const double> weightsAt(double place);

  /// The highest frequency that is kept, in cycles a sample.
  static double highestFrequency(double reach) { return 0.5 - halfTransition / reach; }

  /// The reach that it takes to keep a frequency below half of the sample rate.
  static double reachFor(double frequency) { return halfTransition / (0.5 - frequency); }

private:
  /// Half of what Blackman's window takes from keeping to stopping, in cycles a sample, times the reach.
  static constexpr double halfTransition = 1.375;

  std::vector<double> distances_, signs_;  // of samples 1 - reach to reach: from sample 0, and those of sin(pi (t - k))
  std::vector<double> cosines_, sines_;    // of pi k / reach
  std::vector<double> weights_;
};

}  // namespace kxanalysis
