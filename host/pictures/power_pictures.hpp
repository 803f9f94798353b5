// Pictures of a power analysis.
#pragma once

#include "host/reports/floors.hpp"
#include "host/reports/power_report.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// Phasors of the fundamentals, all windows together, voltages and currents each to their own scale.
void drawPhasors(const OutputFile& picture, const PowerReport& report);

/// Harmonics of all windows together in percent of the fundamental, as bars.
void drawHarmonics(const OutputFile& picture, const PowerReport& report);

/// Rms values, powers and unbalance over the windows.
void drawTrends(const OutputFile& picture, const PowerReport& report);

}  // namespace kxhost
