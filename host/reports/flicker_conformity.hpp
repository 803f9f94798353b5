// Test of the flickermeter with the voltages of its standard.
#pragma once

#include <optional>
#include <string>

#include "analysis/flicker/flicker_standard_points.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {

struct FlickerSelfTest {
  std::string part;                 ///< "all", "sinusoidal", "rectangular" or "pst"
  std::optional<Lamp> lamp;         ///< both without
  double rate;                      ///< of the voltages, in Hz
  std::optional<double> tolerance;  ///< in percent, instead of the standard's
  bool json;
};

/// Runs the test and prints what was measured and what was required. Returns whether every point passed.
bool testFlickermeter(const Functions& functions, const FlickerSelfTest& test);

}  // namespace kxhost
