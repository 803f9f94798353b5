// The rms of each cycle of the mains.
#pragma once

#include <cstddef>
#include <deque>
#include <span>
#include <utility>
#include <vector>

#include "analysis/power/mains_frequency.hpp"
#include "analysis/power/voltage_events.hpp"

namespace kxanalysis {

struct MainsCycle {
  double begin, end;  ///< in samples
  double rms;
};

/// Cuts one voltage or current into the cycles of its fundamental, one after the other, and takes the rms of each.
/// Where no mains is to be seen there are no cycles. How the stream is cut into blocks does not matter.
class CycleRms {
public:
  /// @param rate  as MainsFrequency takes it.
  static Result<CycleRms> create(double rate, FrequencyRange range = mainsRange);

  /// Takes the next samples; returns the cycles that are complete, which stay until the next call.
  std::span<const MainsCycle> feed(std::span<const double> samples);

  /// Ends the stream: returns the cycles that are left.
  std::span<const MainsCycle> finish();

private:
  CycleRms(double rate, MainsFrequency frequency) : rate_(rate), frequency_(std::move(frequency)) {}

  void take(std::span<const FrequencyStretch> stretches);

  double rate_;
  MainsFrequency frequency_;
  SquareIntegral squares_;
  std::deque<FrequencyStretch> stretches_;  // from the one that the next cycle begins in
  double begin_ = 0;                        // of the next cycle
  std::vector<MainsCycle> cycles_;
};

}  // namespace kxanalysis
