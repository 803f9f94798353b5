// The picture of averaged spectra.
#pragma once

#include "analysis/display/axis.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/spectrum_report.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// Channels that can be told apart in it.
constexpr size_t mostSpectra = 12;

/// Draws the channels' spectra over one another, from half a bin or from 0 to half of the rate, with circles at the
/// peaks.
/// @param xScale  not AxisScale::decibel.
void drawSpectra(const OutputFile& file, const SpectrumReport& report, AxisScale xScale, AxisScale yScale);

}  // namespace kxhost
