// Windows taken together over longer times: 150 or 180 cycles, 10 minutes, 2 hours (IEC 61000-4-30, 4.4 and 4.5).
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "analysis/power/power_mean.hpp"

namespace kxanalysis {

/// 15 windows, which are 150 cycles of 50 Hz, 180 of 60 Hz and 3 s; or what begins in 10 minutes or 2 hours of the clock.
enum class AggregationInterval { windows15, minutes10, hours2 };

struct PowerAggregate {
  double begin = 0, end = 0;  ///< of its windows, in s
  size_t windows = 0;         ///< that lie in it
  size_t flagged = 0;         ///< of these
  bool isComplete = false;    ///< whether windows fill it: not those at the ends of a stream
  /// Of the windows without flags, or of all if they are to count; nothing where there are none.
  std::optional<PowerWindow> mean;
};

struct AggregationSettings {
  AggregationInterval interval = AggregationInterval::minutes10;
  double clock = 0;          ///< time of day at the stream's begin, in s; 0 lets intervals begin with the stream
  bool withFlagged = false;  ///< whether windows with flags count
};

/// Takes rms values together by their root mean square, as PowerMean does, straight from the windows. A window belongs to
/// the interval that it begins in. Fifteen windows begin anew with each ten minutes; those before are completed, so that
/// the two overlap. It keeps sums, not the windows.
class PowerAggregation {
public:
  explicit PowerAggregation(const AggregationSettings& settings) : settings_(settings) {}

  /// Takes the next windows, which follow each other; returns the intervals that they complete, which stay until the next
  /// call.
  std::span<const PowerAggregate> feed(std::span<const PowerWindow> windows);

  /// Ends the stream: returns the intervals that are not complete, and the one that ends with it.
  std::span<const PowerAggregate> finish();

private:
  struct Open {
    PowerAggregate aggregate;
    PowerMean mean;
    double until = 0;      // where the clock's interval ends, in s of the stream
    bool isWhole = false;  // whether it began where the clock's interval begins

    void add(const PowerWindow& window, bool withFlagged);
  };

  void take(const PowerWindow& window);
  void open(const PowerWindow& window, double number);
  bool isComplete(const Open& interval) const;
  void closeFirst();

  bool isOfClock() const { return settings_.interval != AggregationInterval::windows15; }
  double clockInterval() const;

  AggregationSettings settings_;
  std::vector<Open> open_;  // one, or two where they overlap
  double number_ = -1;      // of the clock's interval in which the last window began
  std::vector<PowerAggregate> complete_;
};

}  // namespace kxanalysis
