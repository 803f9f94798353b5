// What a power analysis found, in tables for people and in JSON for programs.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "analysis/power/frequency_intervals.hpp"
#include "analysis/power/power_aggregation.hpp"
#include "analysis/power/voltage_events.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/json.hpp"
#include "host/reports/power_tally.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// The windows of a recording in intervals of one kind, of which the report is to tell.
struct PowerIntervals {
  AggregationInterval kind;
  bool isListed = true;  ///< or else there for the days alone
  std::vector<PowerAggregate> intervals{};
};

struct PowerReport {
  std::string file;
  Format format;
  double rate = 0;     ///< samples a second
  double nominal = 0;  ///< frequency of the mains, in Hz
  int cycles = 0;      ///< in a window
  std::vector<std::string> voltageNames, currentNames;
  PowerTally tally;                  ///< of all windows, at least one
  PowerWindow mean;                  ///< of those without flags, or of all
  std::vector<PowerWindow> windows;  ///< where they are to be shown
  std::vector<PowerIntervals> aggregates;
  bool showsDays = false;
  bool countsFlagged = false;  ///< windows with flags, in what is taken together
  std::vector<FrequencyInterval> frequencies;
  std::vector<VoltageEvent> events;
  size_t leftOver = 0;  ///< samples at the end that fill no window

  /// The mains' own, or the nominal one where it was not measured.
  double frequency() const { return mean.place.frequency; }

  /// In samples, to the nearest one.
  size_t windowLength() const;
  double windowSeconds() const { return static_cast<double>(windowLength()) / rate; }
};

/// The heading, and the figures of all windows together.
void printSummary(std::ostream& out, const PowerReport& report);

/// Magnitude and angle of each harmonic of each channel, all windows together.
void printHarmonics(std::ostream& out, const PowerReport& report);

/// Groups and subgroups of each channel, all windows together, harmonics and interharmonics.
void printGroups(std::ostream& out, const PowerReport& report);

/// A row a window.
void printWindows(std::ostream& out, const PowerReport& report);

/// A row a dip, swell or interruption; nothing where there are none.
void printEvents(std::ostream& out, const PowerReport& report);

/// "dip", "swell" or "interruption".
const char* nameOf(VoltageEventKind kind);

Json jsonOf(const PowerReport& report);

/// The figures of a window, or of windows taken together.
Json jsonFigures(const PowerReport& report, const PowerWindow& window);

/// The frequency of the mains, how far it went, and how many windows are flagged for what.
void printFrequency(std::ostream& out, const PowerReport& report);

/// Windows in which the first voltage has its strongest component elsewhere than at the mains frequency, which then is
/// likely to be another one. Empty if there is none.
std::string frequencyNote(const PowerReport& report);

}  // namespace kxhost
