// The figures of many windows taken together.
#pragma once

#include <vector>

#include "analysis/power/power_analysis.hpp"

namespace kxanalysis {

/// All windows taken together: root mean squares of rms values and of unbalance ratios (IEC 61000-4-30, 4.5), averages of
/// powers, angles of averaged phasors.
/// @param windows  at least one, all of the same phases.
PowerWindow meanOf(const std::vector<PowerWindow>& windows);

}  // namespace kxanalysis
