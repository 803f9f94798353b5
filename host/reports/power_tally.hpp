// What is to be said of all windows of a power analysis, of which there may be too many to keep.
#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "analysis/power/power_analysis.hpp"
#include "analysis/power/power_mean.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {

/// What flags are called: "dip", "frequency moved", ...
std::vector<std::string> namesOf(const WindowFlags& flags);

class PowerTally {
public:
  static constexpr size_t kindsOfFlags = 5;

  void add(const PowerWindow& window, int cycles);

  size_t count() const { return all_.count(); }
  size_t flagged() const { return all_.count() - unflagged_.count(); }

  /// Of at least one window: of those without flags, or of all if they are to count or if there are no others.
  PowerWindow mean(bool withFlagged) const {
    return (withFlagged || unflagged_.count() == 0 ? all_ : unflagged_).value();
  }

  /// Where the last one ends, in s.
  double end() const { return end_; }

  /// How many have which flag: "3 dip, 1 frequency moved".
  std::string flagCounts() const;

  /// Whether the frequency was measured in any, and how far it went in those, in Hz.
  bool isMeasured() const { return highestFrequency_ > 0; }
  double lowestFrequency() const { return lowestFrequency_; }
  double highestFrequency() const { return highestFrequency_; }

  /// How many have their strongest component elsewhere than at the mains frequency, and where the first one has it, in Hz.
  size_t elsewhere() const { return elsewhere_; }
  double firstElsewhere() const { return firstElsewhere_; }

private:
  PowerMean all_, unflagged_;
  std::array<size_t, kindsOfFlags> flags_{};
  double lowestFrequency_ = std::numeric_limits<double>::infinity(), highestFrequency_ = 0;
  double end_ = 0;
  size_t elsewhere_ = 0;
  double firstElsewhere_ = 0;
};

/// The strongest component of a window's first voltage, in Hz; 0 if there is none.
double strongestFrequency(const PowerWindow& window, int cycles);

/// "1 window", "5 windows".
std::string windowCount(size_t count);

}  // namespace kxhost
