// The frequency of the mains over intervals of 10 s.
#pragma once

#include <span>
#include <vector>

#include "analysis/power/mains_frequency.hpp"

namespace kxanalysis {

struct FrequencyInterval {
  double begin, length;  ///< in s
  double frequency;      ///< in Hz: cycles over the time that they took, where both were measured; NaN if nowhere
  bool isMeasured;       ///< whether that is everywhere
};

/// Cuts what MainsFrequency gives into intervals (IEC 61000-4-30, 5.1.1).
class FrequencyIntervals {
public:
  static constexpr double usualSeconds = 10;

  /// @param rate     samples a second, above 0.
  /// @param seconds  of an interval, above 0.
  explicit FrequencyIntervals(double rate, double seconds = usualSeconds) : rate_(rate), seconds_(seconds) {}

  /// Takes the next stretches; returns the intervals that they complete, which stay until the next call.
  std::span<const FrequencyInterval> feed(std::span<const FrequencyStretch> stretches);

  /// What there is of the next interval, as if it ended here.
  FrequencyInterval rest() const;

private:
  double rate_, seconds_;
  double begin_ = 0, end_ = 0;  // of the interval so far, in samples
  double measuredSamples_ = 0, measuredCycles_ = 0;
  size_t index_ = 0;
  std::vector<FrequencyInterval> complete_;
};

}  // namespace kxanalysis
