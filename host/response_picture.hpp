// A filter's frequency response, as designed and as measured.
#pragma once

#include <string>
#include <vector>

#include "library.hpp"
#include "output_file.hpp"
#include "response.hpp"

namespace kxhost {

struct Responses {
  std::vector<LevelPoint> designed, measured;
  std::vector<double> designedEdges, measuredEdges;  ///< where they are 3.01 dB down
};

/// From a decade below the lowest edge, or somewhat less, to half of the sample rate.
Responses responsesOf(const Library& library, const FilterDesign& design, const PassBand& band, double rate);

/// A line about the frequencies at which the filter is 3.01 dB down.
std::string edgesText(const Responses& responses);

void drawResponses(const OutputFile& file, const std::string& title, const Responses& responses);

}  // namespace kxhost
