// Picture of a flicker measurement.
#pragma once

#include <string>

#include "host/reports/flicker_report.hpp"
#include "host/reports/floors.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// Draws the sensation and the short-term severity over time, and below the share of time for which each level of
/// sensation is exceeded: in all periods, with the percentiles of the one with the highest severity.
/// @param result  with the sensation's columns, and at least one period.
void drawFlicker(const OutputFile& picture, const std::string& title, const FlickerResult& result);

}  // namespace kxhost
