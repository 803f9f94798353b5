// A filter's frequency response, as designed and as measured.
#pragma once

#include <string>
#include <vector>

#include "analysis/filters/response.hpp"
#include "functions/functions.hpp"
#include "host/reports/floors.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

struct Responses {
  std::vector<LevelPoint> designed, measured;
  std::vector<double> designedEdges, measuredEdges;  ///< where they are 3.01 dB down
};

/// From a decade below the lowest edge, or somewhat less, to half of the sample rate.
Responses responsesOf(const Functions& functions, const FilterDesign& design, FilterWay way, const PassBand& band,
                      double rate);

/// A line about the frequencies at which the filter is 3.01 dB down.
std::string edgesText(const Responses& responses);

void drawResponses(const OutputFile& file, const std::string& title, const Responses& responses);

}  // namespace kxhost
