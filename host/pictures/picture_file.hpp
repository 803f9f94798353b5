// Names of pictures' files.
#pragma once

#include <optional>
#include <string>

#include "host/reports/floors.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// Whether a file's name says that it is a picture of a kind that gnuplot can draw here.
bool canDraw(const std::string& file);

/// The name of one of a run's several pictures: of out.svg and "trend", out-trend.svg. A name without a picture's
/// extension is taken for PNG.
std::string pictureFile(const std::string& name, const std::string& which);

/// The file of the picture that was asked for, if one was. To be called before the work that it will show: it may turn
/// out that nothing can be written there.
std::optional<OutputFile> begunPicture(const std::string& name);

}  // namespace kxhost
