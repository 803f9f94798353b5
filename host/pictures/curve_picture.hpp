// A curve over time on a raster: where its points go, how it is drawn, and what a cursor on it finds.
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

struct CurveTitles {
  std::string picture;
  std::string xAxis;
  std::string yAxis;
};

/// A cursor's reading.
struct Reading {
  Pixel pixel;
  std::string label;
};

/// @param rate  frames in one unit of the X axis, on which frame 0 lies at 0.
class CurvePicture {
public:
  CurvePicture(const Functions& functions, int width, int height, double rate, const Axis& xAxis);

  void setYAxis(const Axis& yAxis) { yAxis_ = yAxis; }

  /// The pixel of a value, in the pane: what lies beyond an axis is put on its end.
  /// @param y  on logarithmic and decibel axes a magnitude.
  Pixel place(double x, double y) const;
  Pixel placeFrame(uint64_t frame, double y) const { return place(static_cast<double>(frame) / rate_, y); }

  /// For each column of the pane the first of these frames that lies in it or to the right of it, then `end`.
  std::vector<uint64_t> columnBorders(uint64_t begin, uint64_t end) const;

  /// Draws background, grid, axes and the curve, in this order.
  /// @param borders  of the curve's columns. Where there is room, each frame gets a mark.
  void drawCurve(const Curve& curve, const std::vector<uint64_t>& borders);

  /// The pixel of the curve nearest to a cursor; none if there is no curve. Before any text is written.
  std::optional<Pixel> nearestOnCurve(Pixel cursor) const;

  /// Number of a pixel's column in the pane.
  size_t columnOf(Pixel pixel) const { return static_cast<size_t>(pixel.x - pane_.left); }

  /// Adds the cursor's reading, if there is one, titles and tick labels, and puts the picture in place.
  void finish(const CurveTitles& titles, const std::optional<Reading>& reading, const OutputFile& picture);

private:
  void drawGrid();
  Rectangle drawCrosshair(const Reading& reading);

  const Functions& functions_;
  Raster raster_;
  Rectangle pane_;
  double rate_;
  Axis xAxis_;
  Axis yAxis_;
};

}  // namespace kxhost
