// Whether the flickermeter conforms to its standard: what it finds in the standard's voltages.
#pragma once

#include <optional>
#include <string>

#include "analysis/flicker/flicker_standard_points.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {

struct FlickerConformityOptions {
  std::string part;                 ///< "all", "sinusoidal", "rectangular" or "pst"
  std::optional<Lamp> lamp;         ///< both without
  double rate;                      ///< of the voltages, in Hz
  std::optional<double> tolerance;  ///< in percent, instead of the standard's
  bool json;
};

/// Measures the standard's voltages, and prints what was found and what was required. Returns whether every point
/// passed.
bool reportFlickerConformity(const Functions& functions, const FlickerConformityOptions& options);

}  // namespace kxhost
