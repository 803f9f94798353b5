// What a power analysis found, in tables for people and in JSON for programs.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "analysis/power/power_mean.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/json.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

struct PowerReport {
  std::string file;
  Format format;
  PowerSettings settings;
  size_t windowLength = 0;  ///< in samples
  std::vector<std::string> voltageNames, currentNames;
  std::vector<PowerWindow> windows;  ///< at least one
  size_t leftOver = 0;               ///< samples at the end that fill no window

  double binWidth() const { return settings.rate / static_cast<double>(windowLength); }
  double windowSeconds() const { return static_cast<double>(windowLength) / settings.rate; }
  double orderFrequency(size_t order) const;
};

/// The heading, and the figures of all windows together.
void printSummary(std::ostream& out, const PowerReport& report);

/// Magnitude and angle of each harmonic of each channel, all windows together.
void printHarmonics(std::ostream& out, const PowerReport& report);

/// A row a window.
void printWindows(std::ostream& out, const PowerReport& report);

Json jsonOf(const PowerReport& report);

/// Windows in which the first voltage has its strongest component elsewhere than at the mains frequency, which then is
/// likely to be another one. Empty if there is none.
std::string frequencyNote(const PowerReport& report);

}  // namespace kxhost
