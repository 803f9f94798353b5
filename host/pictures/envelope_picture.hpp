// Pictures of recordings as a whole: the envelopes of their channels.
#pragma once

#include <string>
#include <vector>

#include "analysis/statistics/envelope.hpp"
#include "host/reports/floors.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// Channels that a picture has room for: the drawing libraries end at 32767 pixels.
constexpr size_t maximumPanes = 200;

/// One channel's curves.
struct EnvelopePane {
  std::string title;
  std::string unit;  ///< may be empty
  std::vector<EnvelopeColumn> columns;
};

/// Draws the channels of a recording below each other: minimum to maximum filled, RMS as a line.
/// @param picture      its name ends in .png or .svg.
/// @param panes        1 to maximumPanes.
/// @param begin, end   frames that are shown, of the recording's; the columns' positions count from the first of them.
/// @param timeUnit     of the time axis, with its name: "time in seconds".
/// @param framesAUnit  frames in one unit of the time axis.
void drawEnvelopes(const OutputFile& picture, const std::string& title, const std::vector<EnvelopePane>& panes,
                   uint64_t begin, uint64_t end, const std::string& timeUnit, double framesAUnit);

}  // namespace kxhost
