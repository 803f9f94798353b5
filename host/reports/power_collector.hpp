// Fills the report of a power analysis while the recording is read.
#pragma once

#include <span>
#include <vector>

#include "analysis/power/power_stream.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/power_report.hpp"

namespace kxhost {

struct PowerCollection {
  bool keepsWindows = false;
  bool keepsSpectra = false;  ///< of the windows that are kept: harmonics and groups
};

/// Takes windows together as they come. It keeps them only where it is told to.
class PowerCollector {
public:
  /// @param report  outlives the collector; its aggregates say which intervals are wanted.
  PowerCollector(PowerReport& report, const PowerCollection& collection);

  /// Takes what a stream's feed() or finish() returned.
  void take(const PowerStream& stream, std::span<const PowerWindow> windows);

  /// After the last windows, if there was any.
  void finish();

private:
  PowerReport* report_;
  PowerCollection collection_;
  FrequencyIntervals frequencies_;
  std::vector<PowerAggregation> aggregations_;  // one for each of the report's
};

}  // namespace kxhost
