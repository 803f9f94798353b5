#include "host/pictures/curve_picture.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/reports/floors.hpp"
#include "host/reports/required.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

constexpr uint32_t background = 0xFFFFFFFF;
constexpr uint32_t gridColour = 0xFFE4E4E4;
constexpr uint32_t axisColour = 0xFF404040;
constexpr uint32_t textColour = 0xFF202020;
constexpr uint32_t curveColour = 0xFF1F5FA8;
constexpr uint32_t cursorColour = 0xFFC03020;

constexpr double titleSize = 15, labelSize = 12;
constexpr int tickLength = 5;
constexpr int xLabelRoom = 90, yLabelRoom = 32;  // pixels from one tick's label to the next

/// The pane within a picture. Its width is a multiple of four pixels, at the right margin's expense: the columns after
/// the last multiple of four are measured by the cursor search as if the row began there.
Rectangle paneWithin(int width, int height) {
  constexpr int left = 100, right = 30, top = 48, bottom = 62;
  const int columns = (width - left - right) / 4 * 4;
  return {left, top, left + columns - 1, height - bottom - 1};
}

uint8_t kernelScale(AxisScale scale) {
  return scale == AxisScale::linear ? 0 : scale == AxisScale::logarithmic ? 1 : 2;
}

}  // namespace

CurvePicture::CurvePicture(const Functions& functions, int width, int height, double rate, const Axis& xAxis)
    : functions_(functions),
      raster_(required(Raster::create(width, height, background))),
      pane_(paneWithin(width, height)),
      rate_(rate),
      xAxis_(xAxis) {}

Pixel CurvePicture::place(double x, double y) const {
  XYValGraph2DParams params{};
  params.xSource = 1;  // from a table, of this one point
  params.xValues = &x;
  params.xAxisMode = kernelScale(xAxis_.scale);
  params.xMin = xAxis_.minimum;
  params.xMax = xAxis_.maximum;
  params.xLogMin = std::log10(xAxis_.minimum);
  params.xLogMax = std::log10(xAxis_.maximum);
  params.yType = KXCALC_DOUBLE;
  params.yValue = &y;
  params.yScale = 1;
  params.yAxisMode = kernelScale(yAxis_.scale);
  params.yMin = yAxis_.minimum;
  params.yMax = yAxis_.maximum;
  params.yLogMin = std::log10(yAxis_.minimum);
  params.yLogMax = std::log10(yAxis_.maximum);
  params.dbReference = 1;
  params.left = static_cast<int16_t>(pane_.left);
  params.top = static_cast<int16_t>(pane_.top);
  params.right = static_cast<int16_t>(pane_.right);
  params.bottom = static_cast<int16_t>(pane_.bottom);
  int32_t pixelX = 0, pixelY = 0, valid = 0;
  params.pixelX = &pixelX;
  params.pixelY = &pixelY;
  params.valid = &valid;
  functions_.kxcalcGetXYValGraph2D(&params);
  return {std::clamp(pixelX, pane_.left, pane_.right), std::clamp(pixelY, pane_.top, pane_.bottom)};
}

std::vector<uint64_t> CurvePicture::columnBorders(uint64_t begin, uint64_t end) const {
  std::vector<uint64_t> borders{begin};
  for (int column = pane_.left + 1; column <= pane_.right; ++column) {
    uint64_t low = borders.back(), high = end;
    while (low < high) {
      const uint64_t middle = low + (high - low) / 2;
      if (placeFrame(middle, yAxis_.minimum).x < column) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    borders.push_back(low);
  }
  borders.push_back(end);
  return borders;
}

void CurvePicture::drawGrid() {
  const Rectangle pane = pane_;
  for (const Tick& tick : ticksOf(xAxis_, pane.width() / xLabelRoom)) {
    const int x = place(tick.value, yAxis_.minimum).x;
    raster_.fill({x, pane.top, x, pane.bottom}, gridColour);
    if (!tick.label.empty()) {
      raster_.fill({x, pane.bottom + 1, x, pane.bottom + 1 + tickLength}, axisColour);
    }
  }
  for (const Tick& tick : ticksOf(yAxis_, pane.height() / yLabelRoom)) {
    const int y = place(xAxis_.minimum, tick.value).y;
    raster_.fill({pane.left, y, pane.right, y}, gridColour);
    if (!tick.label.empty()) {
      raster_.fill({pane.left - 1 - tickLength, y, pane.left - 1, y}, axisColour);
    }
  }
  // Outside of the pane, where they hide nothing of the curve.
  raster_.fill({pane.left - 1, pane.top, pane.left - 1, pane.bottom + 1}, axisColour);
  raster_.fill({pane.left - 1, pane.bottom + 1, pane.right, pane.bottom + 1}, axisColour);
}

void CurvePicture::drawCurve(const Curve& curve, const std::vector<uint64_t>& borders) {
  drawGrid();
  constexpr int room = 8, markRadius = 2;
  const bool hasMarks = borders.back() - borders.front() <= static_cast<uint64_t>(pane_.width() / room);
  Pixel previous{};
  for (size_t i = 0; i < curve.columns().size(); ++i) {
    const CurveColumn& column = curve.columns()[i];
    if (column.isEmpty) {
      continue;
    }
    const int x = pane_.left + static_cast<int>(i);
    const auto pixelOf = [&](double y) { return Pixel{x, placeFrame(borders[i], y).y}; };
    if (column.isJoined) {
      raster_.line(previous, pixelOf(column.first), curveColour);
    }
    const Pixel low = pixelOf(column.minimum), high = pixelOf(column.maximum);
    raster_.fill({x, high.y, x, low.y}, curveColour);
    if (hasMarks) {
      raster_.fill({x - markRadius, high.y - markRadius, x + markRadius, low.y + markRadius}, curveColour);
    }
    previous = pixelOf(column.last);
  }
}

std::optional<Pixel> CurvePicture::nearestOnCurve(Pixel cursor) const {
  // Background and grid are not to be found. Only the pane is searched, and before text is written, whose smooth edges
  // would add colours that no list can name: so what is left there is the curve.
  constexpr std::array<uint32_t, 2> ignored{background, gridColour};
  // The kernel's rows lie at descending addresses, for pictures stored from the bottom up. Ours lie at ascending ones:
  // a negative pitch makes row k the k-th from the top, so that a row found is a pixel's own y.
  const int32_t pitch = -raster_.width() * static_cast<int32_t>(sizeof(uint32_t));
  constexpr uint32_t nowhere = UINT32_MAX;
  uint32_t value = 0, x = nowhere, y = nowhere;
  functions_.kxcalcFindCursorXY(raster_.at({pane_.left, pane_.top}), pitch, pane_.width(), pane_.height(),
                                static_cast<uint32_t>(cursor.x - pane_.left),
                                static_cast<uint32_t>(cursor.y - pane_.top), &value, &x, &y, ignored.data(),
                                static_cast<int32_t>(ignored.size()));
  if (x == nowhere) {
    return std::nullopt;
  }
  return Pixel{pane_.left + static_cast<int>(x), pane_.top + static_cast<int>(y)};
}

/// Draws the crosshair and the box of its label, which is returned.
Rectangle CurvePicture::drawCrosshair(const Reading& reading) {
  const Pixel at = reading.pixel;
  constexpr int gap = 6;  // leaves the curve itself to be seen
  raster_.fill({pane_.left, at.y, at.x - gap, at.y}, cursorColour);
  raster_.fill({at.x + gap, at.y, pane_.right, at.y}, cursorColour);
  raster_.fill({at.x, pane_.top, at.x, at.y - gap}, cursorColour);
  raster_.fill({at.x, at.y + gap, at.x, pane_.bottom}, cursorColour);

  // Right above the point, or on its other side where the pane ends.
  const int width = Lettering(raster_).widthOf(reading.label, labelSize) + 12, height = 22;
  const int left = at.x + gap + width <= pane_.right ? at.x + gap : at.x - gap - width;
  const int top = at.y - gap - height >= pane_.top ? at.y - gap - height : at.y + gap;
  const Rectangle box{left, top, left + width - 1, top + height - 1};
  raster_.fill(box, cursorColour);
  raster_.fill({box.left + 1, box.top + 1, box.right - 1, box.bottom - 1}, background);
  return box;
}

void CurvePicture::finish(const CurveTitles& titles, const std::optional<Reading>& reading, const OutputFile& picture) {
  using enum Lettering::Anchor;
  const Rectangle box = reading ? drawCrosshair(*reading) : Rectangle{};
  Lettering lettering(raster_);
  if (reading) {
    lettering.write({box.left + 6, (box.top + box.bottom) / 2}, left, reading->label, labelSize, cursorColour);
  }
  const Rectangle pane = pane_;
  for (const Tick& tick : ticksOf(xAxis_, pane.width() / xLabelRoom)) {
    const int x = place(tick.value, yAxis_.minimum).x;
    lettering.write({x, pane.bottom + tickLength + 12}, centre, tick.label, labelSize, textColour);
  }
  for (const Tick& tick : ticksOf(yAxis_, pane.height() / yLabelRoom)) {
    const int y = place(xAxis_.minimum, tick.value).y;
    lettering.write({pane.left - tickLength - 5, y}, right, tick.label, labelSize, textColour);
  }
  const Pixel middle{(pane.left + pane.right) / 2, (pane.top + pane.bottom) / 2};
  lettering.write({pane.left, 22}, left, lettering.shortened(titles.picture, titleSize, pane.width()), titleSize,
                  textColour);
  lettering.write({middle.x, raster_.height() - 18}, centre, titles.xAxis, labelSize, textColour);
  lettering.write({16, middle.y}, centre, lettering.shortened(titles.yAxis, labelSize, pane.height()), labelSize,
                  textColour, true);
  if (const std::string failure = lettering.savePng(picture.draft()); !failure.empty()) {
    throw FileError(picture.name(), "cannot be written: " + failure);
  }
  picture.place();
}

}  // namespace kxhost
