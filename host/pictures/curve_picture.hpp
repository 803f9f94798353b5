// Curves over time on a raster: where their points go, how they are drawn, and what a cursor on them finds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "analysis/display/axis.hpp"
#include "analysis/display/curve.hpp"
#include "analysis/display/raster.hpp"
#include "functions/functions.hpp"
#include "host/pictures/lettering.hpp"
#include "host/reports/floors.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// Curves that can be told apart in a picture.
constexpr size_t mostCurves = 8;

/// What an axis shows. With a unit that takes prefixes its ticks are in one of them: "value (mV)".
struct AxisTitle {
  std::string name;
  std::string unit;  ///< may be empty
};

struct CurveTitles {
  std::string picture;
  AxisTitle xAxis;
  std::vector<AxisTitle> yAxes;   ///< one for each pane
  std::vector<std::string> keys;  ///< names of the curves in one pane; empty where there is nothing to tell apart
};

/// A cursor's reading.
struct Reading {
  Pixel pixel;
  size_t pane;
  std::string label;
};

/// A pixel of a curve.
struct FoundPixel {
  Pixel pixel;
  size_t curve;  ///< which one, in the order of its colour
};

/// A value of a coarse curve over the middle of a few frames.
struct TracePoint {
  double frame;
  double value;
};

/// Panes below each other over one time axis.
/// @param rate  frames in one unit of the X axis, on which frame 0 lies at 0.
class CurvePicture {
public:
  /// @param titles  of 1 to panesWithin(height) panes.
  CurvePicture(const Functions& functions, int width, int height, double rate, const Axis& xAxis, CurveTitles titles);

  /// Panes that a picture of that height has room for.
  static size_t panesWithin(int height);

  void setYAxis(size_t pane, const Axis& yAxis) { panes_[pane].yAxis = yAxis; }

  /// The pixel of a value, in its pane: what lies beyond an axis is put on its end.
  /// @param y  on logarithmic and decibel axes a magnitude.
  Pixel place(size_t pane, double x, double y) const;
  Pixel placeFrame(size_t pane, double frame, double y) const { return place(pane, frame / rate_, y); }

  /// For each column of the panes the first of these frames that lies in it or to the right of it, then `end`.
  std::vector<uint64_t> columnBorders(uint64_t begin, uint64_t end) const;

  /// Draws the grids and axes of all panes.
  void drawGrids();

  /// Draws a curve in a pane.
  /// @param number   of its colour, from 0.
  /// @param borders  of the curve's columns. Where there is room, each frame gets a mark.
  void drawCurve(size_t pane, size_t number, const Curve& curve, const std::vector<uint64_t>& borders);

  /// Draws a line through points, wider than the curves and darker than the one of that number.
  void drawTrace(size_t pane, size_t number, const std::vector<TracePoint>& points);

  /// The pane that a cursor lies in, or nearest to.
  size_t paneOf(Pixel cursor) const;

  /// The pixel of a curve in its pane nearest to a cursor; none if there is no curve. Before traces and text are drawn.
  std::optional<FoundPixel> nearestOnCurve(Pixel cursor) const;

  /// Number of a pixel's column in the panes.
  size_t columnOf(Pixel pixel) const { return static_cast<size_t>(pixel.x - panes_.front().area.left); }

  /// Adds the cursors' readings, titles and tick labels, and puts the picture in place.
  /// @param remark  at the right end of the title's line; may be empty.
  void finish(const std::vector<Reading>& readings, const std::string& remark, const OutputFile& picture);

private:
  struct Pane {
    Rectangle area;
    Axis yAxis;
  };

  int yTicksIn(const Pane& pane) const;
  void drawGrid(size_t pane);
  Rectangle drawCrosshair(const Reading& reading);
  void writePane(Lettering& lettering, size_t pane);
  void writeTimeAxis(Lettering& lettering);
  void writeKeys();

  const Functions& functions_;
  Raster raster_;
  std::vector<Pane> panes_;
  double rate_;
  Axis xAxis_;
  CurveTitles titles_;
};

}  // namespace kxhost
