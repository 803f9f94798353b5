// gnuplot, run as a program of its own, and what its scripts have in common. Their text is made with fmt.
#pragma once

#include <fmt/format.h>

#include <iterator>
#include <string>
#include <vector>

#include "host/reports/floors.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// Text as gnuplot takes it literally, whatever it is: nothing in it ends the text or the line, names a variable or a
/// command to run. Control characters and bytes that are not UTF-8 become question marks.
/// @param longest  in characters; of longer text the middle is left out.
std::string gnuplotText(const std::string& text, size_t longest = 120);

/// Appends a row of numbers to a script's data. What is not finite is drawn nowhere.
void addRow(std::string& rows, const std::vector<double>& numbers);

/// Data that a script's plot commands call $name.
std::string dataBlock(const std::string& name, const std::string& rows);

/// A curve's style.
std::string lines(const std::string& colour, double width);

/// The sheet that a picture is drawn on, with panes of the same size below each other. All in pixels.
struct Sheet {
  int width;
  int left, right;  ///< of the panes, from the sheet's edges
  int top, bottom;  ///< of the first pane and of the last, from the sheet's edges
  int paneHeight;
  int panes = 1;
  int gap = 0;  ///< between panes

  int height() const { return top + panes * paneHeight + (panes - 1) * gap + bottom; }
  int paneTop(int index) const { return top + index * (paneHeight + gap); }

  /// Settings of the whole picture: its title, where the panes lie from left to right, their axes and grid.
  std::string frame(const std::string& title) const;

  /// Settings of where a pane lies from top to bottom; pane 0 is the highest.
  std::string pane(int index) const;

  /// Setting of the curves' key: a line that ends where the panes do, at a height from the sheet's top.
  std::string key(int y) const;

  /// A place on the sheet, from its top left corner.
  std::string place(double x, double y) const;
};

/// Runs a gnuplot script that draws on a sheet, and puts the result in place.
void drawScript(const OutputFile& picture, const std::string& script, const Sheet& sheet);

}  // namespace kxhost
