// Pictures of a combustion analysis.
#pragma once

#include <string>

#include "analysis/combustion/cycle_analysis.hpp"
#include "analysis/combustion/engine.hpp"
#include "analysis/display/axis.hpp"
#include "functions/functions.hpp"
#include "host/reports/floors.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// Pressure over the crank angle: the averages among all cycles, and the last cycle around its combustion before and
/// after smoothing.
void drawPressures(const OutputFile& picture, const std::string& title, const CycleAnalysis& analysis,
                   const CycleFigures& last);

/// Pressure over volume of the average and the last cycle, with the fitted polytropes.
/// @param scale  of both axes, linear or logarithmic.
void drawPressureVolume(const Functions& functions, const OutputFile& picture, const std::string& title,
                        const CycleAnalysis& analysis, AxisScale scale);

/// Peak pressure and gross mean effective pressure over the cycles, each beside means of the same figures.
void drawTrend(const OutputFile& picture, const std::string& title, const CycleAnalysis& analysis,
               const std::vector<CycleFigures>& figures);

}  // namespace kxhost
