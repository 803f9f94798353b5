// What a flicker measurement found, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "analysis/flicker/flicker_observation.hpp"
#include "analysis/flicker/flickermeter.hpp"
#include "analysis/power/window_place.hpp"
#include "analysis/statistics/envelope.hpp"
#include "analysis/statistics/value_range.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/json.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// How the severities of a day are spread.
struct FlickerDay {
  double begin;          ///< in s from the first sample on
  ValueRange shortTerm;  ///< of at least a dozen
  ValueRange longTerm;   ///< none counted where no dozen lies in the day
};

/// One channel's measurement.
struct FlickerResult {
  std::string file;
  Format format;
  std::string channel;
  FlickerSetting setting;
  double rate;
  uint64_t settling, period;  ///< in samples
  uint64_t samples = 0;
  std::vector<FlickerPeriod> periods;
  std::vector<WindowFlags> flags;         ///< of the periods, as far as something is to be said of them
  std::vector<EnvelopeColumn> sensation;  ///< from the first sample on, where a picture is to be drawn

  double secondsOf(uint64_t count) const { return static_cast<double>(count) / rate; }
  /// Of a period, in seconds.
  double beginOf(size_t index) const { return secondsOf(settling + index * period); }

  /// Takes what is to be said of a cycle of the voltage into the periods that it touches.
  void addFlags(const WindowPlace& cycle);
  WindowFlags flagsOf(size_t index) const { return index < flags.size() ? flags[index] : WindowFlags{}; }

  /// One of each dozen of periods that is complete.
  std::vector<double> longTermSeverities() const;

  /// The days that a dozen of periods lies in, a period in the day of its middle.
  std::vector<FlickerDay> days() const;
};

void printTable(const FlickerResult& result);
Json jsonOf(const FlickerResult& result);

}  // namespace kxhost
