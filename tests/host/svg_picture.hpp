// Pictures that gnuplot has drawn as SVG, read back: which curve lies where on which axes.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace kxhost_test {

/// In pixels from a picture's top left corner, or in the numbers of two axes.
struct Place {
  double x, y;
};

enum class AxisKind { linear, logarithmic };

/// An axis as its labelled ticks tell: which number stands at which pixel.
class SvgAxis {
public:
  void addTick(const std::string& label, double pixel) { ticks_.emplace_back(label, pixel); }
  bool isEmpty() const { return ticks_.empty(); }

  /// The pixel of a number, from the first and the last tick. Expects the others to lie where an axis of that kind has
  /// them.
  double pixelOf(double number, AxisKind kind) const;

  /// The number that stands at a pixel.
  double numberAt(double pixel, AxisKind kind) const;

private:
  /// Scaled numbers and pixels of the first and the last tick.
  struct Ends {
    double first, last, firstPixel, lastPixel;
  };
  Ends ends(AxisKind kind) const;

  std::vector<std::pair<std::string, double>> ticks_;
};

/// What one plot command has drawn, without its sample in the key.
struct SvgCurve {
  std::string title;                      ///< as the key gives it; empty if it is not there
  std::string colour;                     ///< of lines or areas, as "rgb(192,48,32)"
  std::vector<std::vector<Place>> lines;  ///< pixels
  std::vector<std::vector<Place>> areas;
  std::vector<Place> marks;

  /// Distance in pixels from a place to the nearest of the lines and of the areas' outlines.
  double distanceOf(Place pixel) const;
};

struct SvgPane {
  double left = 0, top = 0, right = 0, bottom = 0;  ///< where the axes end, in pixels
  SvgAxis x, y, y2;
  AxisKind xKind = AxisKind::linear, yKind = AxisKind::linear;
  std::vector<SvgCurve> curves;

  /// The pixel of a pair of numbers; `second` takes the axis on the right.
  Place at(double x, double y, bool second = false) const;

  /// Expects a curve with this title to be there, and returns it.
  const SvgCurve& curve(const std::string& title) const;
};

/// Expects a line of the curve to pass through each of these points, given in numbers, at most `pixels` beside it.
void expectThrough(const SvgPane& pane, const SvgCurve& curve, const std::vector<Place>& points, double pixels = 0.6,
                   bool second = false);

/// Expects marks at exactly these points.
void expectMarks(const SvgPane& pane, const SvgCurve& curve, const std::vector<Place>& points, double pixels = 0.6);

/// Expects the curve's lines to lie within these columns of pixels, from end to end.
void expectSpan(const SvgCurve& curve, double left, double right, double pixels = 1.5);

/// Reads the panes of a picture, from top to bottom.
std::vector<SvgPane> readSvg(const std::string& picture);

/// Reads the coloured lines and areas that belong to no curve: arrows, circles, rectangles.
std::vector<SvgCurve> readObjects(const std::string& picture);

}  // namespace kxhost_test
