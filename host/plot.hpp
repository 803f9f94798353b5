// Pictures, drawn by gnuplot.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "statistics.hpp"

namespace kxhost {

/// A picture file in the making. It takes its place only when it is complete: until then, and when anything fails,
/// whatever stood there stays as it was.
class Picture {
public:
  /// @param file  ends in .png or .svg. Throws FileError if nothing can be written there.
  explicit Picture(std::string file);
  ~Picture();
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  /// Whether a file's name says that it is a picture of a kind that can be drawn.
  static bool canDraw(const std::string& file);

  /// Runs a gnuplot script that draws on a sheet of that many pixels, and puts the result in place.
  void draw(const std::string& script, int width, int height);

private:
  std::string file_;
  std::filesystem::path workplace_;  // a directory of its own beside the file
};

/// Channels that a picture has room for: the drawing libraries end at 32767 pixels.
constexpr size_t maximumPanes = 200;

/// One channel's curves.
struct Pane {
  std::string title;
  std::string unit;  ///< may be empty
  std::vector<EnvelopeColumn> columns;
};

/// Draws the channels of a recording below each other: minimum to maximum filled, RMS as a line.
/// @param panes        1 to maximumPanes.
/// @param frames       length of the recording, at least 1.
/// @param timeUnit     of the time axis, with its name: "time in seconds".
/// @param framesAUnit  frames in one unit of the time axis.
void drawEnvelopes(Picture& picture, const std::string& title, const std::vector<Pane>& panes, uint64_t frames,
                   const std::string& timeUnit, double framesAUnit);

}  // namespace kxhost
