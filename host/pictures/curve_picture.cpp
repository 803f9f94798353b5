#include "host/pictures/curve_picture.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "host/reports/floors.hpp"
#include "host/reports/required.hpp"
#include "host/reports/si_prefix.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

constexpr uint32_t background = 0xFFFFFFFF;
constexpr uint32_t gridColour = 0xFFE4E4E4;
constexpr uint32_t axisColour = 0xFF404040;
constexpr uint32_t textColour = 0xFF202020;
constexpr uint32_t cursorColour = 0xFFC03020;

/// None is that of a cursor, of the grid or of an axis: a colour in a pane tells the curve.
constexpr std::array<uint32_t, mostCurves> curveColours{0xFF1F5FA8, 0xFFE08A1E, 0xFF2E7D32, 0xFF7B4EA3,
                                                        0xFF008B8B, 0xFFD05A9B, 0xFF8A6D3B, 0xFF708090};

constexpr double titleSize = 15, labelSize = 12;
constexpr int tickLength = 5;
constexpr int xLabelRoom = 90, yLabelRoom = 32;  // pixels from one tick's label to the next
constexpr int top = 48, bottom = 62, paneGap = 14, leastPaneHeight = 40;

/// The first of some panes within a picture. Its width is a multiple of four pixels, at the right margin's expense: the
/// columns after the last multiple of four are measured by the cursor search as if the row began there.
Rectangle firstPane(int width, int height, int panes) {
  constexpr int left = 100, right = 30;
  const int columns = (width - left - right) / 4 * 4;
  const int rows = (height - top - bottom - (panes - 1) * paneGap) / panes;
  return {left, top, left + columns - 1, top + rows - 1};
}

/// Half as bright.
uint32_t darker(uint32_t colour) {
  return 0xFF000000 | ((colour >> 1) & 0x007F7F7F);
}

/// The prefix of a linear axis' ticks. A time axis of a second or more stays in seconds.
SiPrefix prefixOf(const Axis& axis, const std::string& unit) {
  const double greatest = std::max(std::abs(axis.minimum), std::abs(axis.maximum));
  return axis.scale != AxisScale::linear || (unit == "s" && greatest > 1) ? SiPrefix() : siPrefix(greatest, unit);
}

/// Ticks at round numbers of prefixed units.
std::vector<Tick> prefixedTicks(const Axis& axis, int room, const SiPrefix& prefix) {
  if (prefix.factor == 1) {
    return ticksOf(axis, room);
  }
  std::vector<Tick> ticks = ticksOf({axis.scale, axis.minimum / prefix.factor, axis.maximum / prefix.factor}, room);
  for (Tick& tick : ticks) {
    tick.value *= prefix.factor;
  }
  return ticks;
}

std::string titleText(const AxisTitle& title, const SiPrefix& prefix) {
  return title.unit.empty() ? title.name : fmt::format("{} ({}{})", title.name, prefix.text, title.unit);
}

uint8_t kernelScale(AxisScale scale) {
  return scale == AxisScale::linear ? 0 : scale == AxisScale::logarithmic ? 1 : 2;
}

}  // namespace

CurvePicture::CurvePicture(const Functions& functions, int width, int height, double rate, const Axis& xAxis,
                           CurveTitles titles)
    : functions_(functions),
      raster_(required(Raster::create(width, height, background))),
      rate_(rate),
      xAxis_(xAxis),
      titles_(std::move(titles)) {
  const size_t panes = titles_.yAxes.size();
  const Rectangle first = firstPane(width, height, static_cast<int>(panes));
  for (size_t i = 0; i < panes; ++i) {
    const int down = static_cast<int>(i) * (first.height() + paneGap);
    panes_.push_back({{first.left, first.top + down, first.right, first.bottom + down}, {}});
  }
}

size_t CurvePicture::panesWithin(int height) {
  return static_cast<size_t>((height - top - bottom + paneGap) / (leastPaneHeight + paneGap));
}

Pixel CurvePicture::place(size_t pane, double x, double y) const {
  const auto& [area, yAxis] = panes_[pane];
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
  params.yAxisMode = kernelScale(yAxis.scale);
  params.yMin = yAxis.minimum;
  params.yMax = yAxis.maximum;
  params.yLogMin = std::log10(yAxis.minimum);
  params.yLogMax = std::log10(yAxis.maximum);
  params.dbReference = 1;
  params.left = static_cast<int16_t>(area.left);
  params.top = static_cast<int16_t>(area.top);
  params.right = static_cast<int16_t>(area.right);
  params.bottom = static_cast<int16_t>(area.bottom);
  int32_t pixelX = 0, pixelY = 0, valid = 0;
  params.pixelX = &pixelX;
  params.pixelY = &pixelY;
  params.valid = &valid;
  functions_.kxcalcGetXYValGraph2D(&params);
  return {std::clamp(pixelX, area.left, area.right), std::clamp(pixelY, area.top, area.bottom)};
}

std::vector<uint64_t> CurvePicture::columnBorders(uint64_t begin, uint64_t end) const {
  const auto& [area, yAxis] = panes_.front();
  std::vector<uint64_t> borders{begin};
  for (int column = area.left + 1; column <= area.right; ++column) {
    uint64_t low = borders.back(), high = end;
    while (low < high) {
      const uint64_t middle = low + (high - low) / 2;
      if (placeFrame(0, static_cast<double>(middle), yAxis.minimum).x < column) {
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

int CurvePicture::yTicksIn(const Pane& pane) const {
  return std::max(2, pane.area.height() / yLabelRoom);
}

void CurvePicture::drawGrid(size_t pane) {
  const auto& [area, yAxis] = panes_[pane];
  for (const Tick& tick : prefixedTicks(xAxis_, area.width() / xLabelRoom, prefixOf(xAxis_, titles_.xAxis.unit))) {
    const int x = place(pane, tick.value, yAxis.minimum).x;
    raster_.fill({x, area.top, x, area.bottom}, gridColour);
    if (!tick.label.empty()) {
      raster_.fill({x, area.bottom + 1, x, area.bottom + 1 + tickLength}, axisColour);
    }
  }
  for (const Tick& tick : prefixedTicks(yAxis, yTicksIn(panes_[pane]), prefixOf(yAxis, titles_.yAxes[pane].unit))) {
    const int y = place(pane, xAxis_.minimum, tick.value).y;
    raster_.fill({area.left, y, area.right, y}, gridColour);
    if (!tick.label.empty()) {
      raster_.fill({area.left - 1 - tickLength, y, area.left - 1, y}, axisColour);
    }
  }
  // Outside of the pane, where they hide nothing of the curve.
  raster_.fill({area.left - 1, area.top, area.left - 1, area.bottom + 1}, axisColour);
  raster_.fill({area.left - 1, area.bottom + 1, area.right, area.bottom + 1}, axisColour);
}

void CurvePicture::drawGrids() {
  for (size_t pane = 0; pane < panes_.size(); ++pane) {
    drawGrid(pane);
  }
}

void CurvePicture::drawCurve(size_t pane, size_t number, const Curve& curve, const std::vector<uint64_t>& borders) {
  const Rectangle& area = panes_[pane].area;
  const uint32_t colour = curveColours.at(number);
  constexpr int room = 8, markRadius = 2;
  const bool hasMarks = borders.back() - borders.front() <= static_cast<uint64_t>(area.width() / room);
  Pixel previous{};
  for (size_t i = 0; i < curve.columns().size(); ++i) {
    const CurveColumn& column = curve.columns()[i];
    if (column.isEmpty) {
      continue;
    }
    const int x = area.left + static_cast<int>(i);
    const auto pixelOf = [&](double y) { return Pixel{x, placeFrame(pane, static_cast<double>(borders[i]), y).y}; };
    if (column.isJoined) {
      raster_.line(previous, pixelOf(column.first), colour);
    }
    const Pixel low = pixelOf(column.minimum), high = pixelOf(column.maximum);
    raster_.fill({x, high.y, x, low.y}, colour);
    if (hasMarks) {
      raster_.fill({x - markRadius, high.y - markRadius, x + markRadius, low.y + markRadius}, colour);
    }
    previous = pixelOf(column.last);
  }
}

void CurvePicture::drawTrace(size_t pane, size_t number, const std::vector<TracePoint>& points) {
  const uint32_t colour = darker(curveColours.at(number));
  for (size_t i = 1; i < points.size(); ++i) {
    Pixel from = placeFrame(pane, points[i - 1].frame, points[i - 1].value);
    Pixel to = placeFrame(pane, points[i].frame, points[i].value);
    for (int row = 0; row < 2; ++row, ++from.y, ++to.y) {
      raster_.line(from, to, colour);
    }
  }
}

size_t CurvePicture::paneOf(Pixel cursor) const {
  const auto isBelow = [&](const Pane& pane) { return pane.area.bottom + paneGap / 2 >= cursor.y; };
  const auto found = std::ranges::find_if(panes_, isBelow);
  return static_cast<size_t>(std::min(found, panes_.end() - 1) - panes_.begin());
}

std::optional<FoundPixel> CurvePicture::nearestOnCurve(Pixel cursor) const {
  const Rectangle& area = panes_[paneOf(cursor)].area;
  // Background and grid are not to be found. Only the pane is searched, and before text is written, whose smooth edges
  // would add colours that no list can name: so what is left there are the curves.
  constexpr std::array<uint32_t, 2> ignored{background, gridColour};
  // The kernel's rows lie at descending addresses, for pictures stored from the bottom up. Ours lie at ascending ones:
  // a negative pitch makes row k the k-th from the top, so that a row found is a pixel's own y.
  const int32_t pitch = -raster_.width() * static_cast<int32_t>(sizeof(uint32_t));
  constexpr uint32_t nowhere = UINT32_MAX;
  uint32_t value = 0, x = nowhere, y = nowhere;
  functions_.kxcalcFindCursorXY(raster_.at({area.left, area.top}), pitch, area.width(), area.height(),
                                static_cast<uint32_t>(cursor.x - area.left), static_cast<uint32_t>(cursor.y - area.top),
                                &value, &x, &y, ignored.data(), static_cast<int32_t>(ignored.size()));
  if (x == nowhere) {
    return std::nullopt;
  }
  const Pixel pixel{area.left + static_cast<int>(x), area.top + static_cast<int>(y)};
  const auto number = std::ranges::find(curveColours, *raster_.at(pixel)) - curveColours.begin();
  return FoundPixel{pixel, static_cast<size_t>(number)};
}

/// Draws the crosshair and the box of its label, which is returned.
Rectangle CurvePicture::drawCrosshair(const Reading& reading) {
  const Rectangle& area = panes_[reading.pane].area;
  const Pixel at = reading.pixel;
  constexpr int gap = 6;  // leaves the curve itself to be seen
  raster_.fill({area.left, at.y, at.x - gap, at.y}, cursorColour);
  raster_.fill({at.x + gap, at.y, area.right, at.y}, cursorColour);
  raster_.fill({at.x, area.top, at.x, at.y - gap}, cursorColour);
  raster_.fill({at.x, at.y + gap, at.x, area.bottom}, cursorColour);

  // Right above the point, or on its other side where the pane ends.
  const int width = Lettering(raster_).widthOf(reading.label, labelSize) + 12, height = 22;
  const int left = at.x + gap + width <= area.right ? at.x + gap : at.x - gap - width;
  const int upper = at.y - gap - height >= area.top ? at.y - gap - height : at.y + gap;
  const Rectangle box{left, upper, left + width - 1, upper + height - 1};
  raster_.fill(box, cursorColour);
  raster_.fill({box.left + 1, box.top + 1, box.right - 1, box.bottom - 1}, background);
  return box;
}

void CurvePicture::writePane(Lettering& lettering, size_t pane) {
  using enum Lettering::Anchor;
  const auto& [area, yAxis] = panes_[pane];
  const AxisTitle& title = titles_.yAxes[pane];
  const SiPrefix prefix = prefixOf(yAxis, title.unit);
  for (const Tick& tick : prefixedTicks(yAxis, yTicksIn(panes_[pane]), prefix)) {
    const int y = place(pane, xAxis_.minimum, tick.value).y;
    lettering.write({area.left - tickLength - 5, y}, right, tick.label, labelSize, textColour);
  }
  const int middle = (area.top + area.bottom) / 2;
  lettering.write({16, middle}, centre, lettering.shortened(titleText(title, prefix), labelSize, area.height()),
                  labelSize, textColour, true);
}

void CurvePicture::writeTimeAxis(Lettering& lettering) {
  using enum Lettering::Anchor;
  const auto& [area, yAxis] = panes_.back();
  const SiPrefix prefix = prefixOf(xAxis_, titles_.xAxis.unit);
  for (const Tick& tick : prefixedTicks(xAxis_, area.width() / xLabelRoom, prefix)) {
    const int x = place(panes_.size() - 1, tick.value, yAxis.minimum).x;
    lettering.write({x, area.bottom + tickLength + 12}, centre, tick.label, labelSize, textColour);
  }
  lettering.write({(area.left + area.right) / 2, raster_.height() - 18}, centre, titleText(titles_.xAxis, prefix),
                  labelSize, textColour);
}

/// From the pane's right end to the left: a bar of each curve's colour, and its name.
void CurvePicture::writeKeys() {
  using enum Lettering::Anchor;
  constexpr int row = 39, bar = 18, space = 6;
  const Rectangle& area = panes_.front().area;
  int end = area.right;
  for (size_t i = titles_.keys.size(); i-- > 0;) {
    const int width = Lettering(raster_).widthOf(titles_.keys[i], labelSize);
    if (end - width - bar - space < area.left) {
      break;
    }
    Lettering(raster_).write({end, row}, right, titles_.keys[i], labelSize, textColour);
    end -= width + space;
    raster_.fill({end - bar, row - 1, end, row + 1}, curveColours.at(i));
    end -= bar + 2 * space;
  }
}

void CurvePicture::finish(const std::vector<Reading>& readings, const std::string& remark, const OutputFile& picture) {
  using enum Lettering::Anchor;
  writeKeys();
  std::vector<Rectangle> boxes;
  boxes.reserve(readings.size());
  for (const Reading& reading : readings) {
    boxes.push_back(drawCrosshair(reading));
  }
  Lettering lettering(raster_);
  for (size_t i = 0; i < readings.size(); ++i) {
    lettering.write({boxes[i].left + 6, (boxes[i].top + boxes[i].bottom) / 2}, left, readings[i].label, labelSize,
                    cursorColour);
  }
  for (size_t pane = 0; pane < panes_.size(); ++pane) {
    writePane(lettering, pane);
  }
  writeTimeAxis(lettering);
  constexpr int titleRow = 22, space = 20;
  const Rectangle& area = panes_.front().area;
  const int room = area.width() - (remark.empty() ? 0 : lettering.widthOf(remark, labelSize) + space);
  lettering.write({area.left, titleRow}, left, lettering.shortened(titles_.picture, titleSize, room), titleSize,
                  textColour);
  lettering.write({area.right, titleRow}, right, remark, labelSize, cursorColour);
  if (const std::string failure = lettering.savePng(picture.draft()); !failure.empty()) {
    throw FileError(picture.name(), "cannot be written: " + failure);
  }
  picture.place();
}

}  // namespace kxhost
