// gnuplot, run as a program of its own.
#pragma once

#include <string>

#include "host/reports/floors.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// Text as gnuplot takes it literally, without control characters.
std::string gnuplotText(const std::string& text);

/// Runs a gnuplot script that draws on a sheet of that many pixels, and puts the result in place.
void drawScript(const OutputFile& picture, const std::string& script, int width, int height);

}  // namespace kxhost
