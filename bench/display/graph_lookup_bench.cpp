#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"

namespace kxcalc::bench {
namespace {

/// Logarithms of an accuracy of 1.2e-4 may move a point to the next pixel.
[[maybe_unused]] constexpr double nextPixel = 1.001;

enum AxisMode : uint8_t { linear, logarithmic, decibel };

/// The points of a channel, one call for each.
struct Points {
  XYValGraph2DParams params;
  const float* values;
  size_t count;
  std::vector<int32_t> x, y;
  int32_t valid;

  Points(AxisMode xMode, AxisMode yMode, size_t points)
      : params{}, values(samples<float>(Signal::noise)), count(points), x(points), y(points), valid(0) {
    params.xSource = 2;
    params.xScale = 1 / static_cast<double>(points);
    params.xOffset = params.xScale;
    params.xMax = 1;
    params.xLogMin = std::log10(params.xScale);
    params.yType = KXCALC_SINGLE;
    params.yScale = 1;
    params.yOffset = 1;
    params.yMin = yMode == decibel ? -20 : 0;
    params.yMax = yMode == decibel ? 20 : 3;
    params.yLogMin = -1;
    params.yLogMax = 1;
    params.dbReference = 1;
    params.xAxisMode = xMode;
    params.yAxisMode = yMode;
    params.right = 1919;
    params.bottom = 1079;
    params.valid = &valid;
  }

  template <class Place>
  void placeAll(Place place) {
    for (size_t i = 0; i < count; ++i) {
      params.xIndex = static_cast<uint32_t>(i);
      params.yValue = values + i;
      params.pixelX = &x[i];
      params.pixelY = &y[i];
      place(params);
    }
  }

  /// Pixels, not fractions of what they are.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(x.data(), count);
    const std::vector<Quantity> others = elementsOf(y.data(), count);
    all.insert(all.end(), others.begin(), others.end());
    for (Quantity& quantity : all) {
      quantity.scale = 1;
    }
    return all;
  }
};

int32_t pixel(double normalised, int32_t begin, int32_t end) {
  return begin + static_cast<int32_t>(std::lround(std::clamp(normalised, -8.0, 8.0) * (end - begin)));
}

void plain(const XYValGraph2DParams& p) {
  const double x = p.xIndex * p.xScale + p.xOffset;
  const double y = static_cast<double>(*static_cast<const float*>(p.yValue)) * p.yScale + p.yOffset;
  const double xPosition =
      p.xAxisMode == linear ? (x - p.xMin) / (p.xMax - p.xMin) : (std::log10(x) - p.xLogMin) / (p.xLogMax - p.xLogMin);
  const double yPosition = p.yAxisMode == linear ? (y - p.yMin) / (p.yMax - p.yMin)
                           : p.yAxisMode == logarithmic
                               ? (std::log10(y) - p.yLogMin) / (p.yLogMax - p.yLogMin)
                               : (20 * std::log10(y / p.dbReference) - p.yMin) / (p.yMax - p.yMin);
  *p.pixelX = pixel(xPosition, p.left, p.right);
  *p.pixelY = pixel(yPosition, p.bottom, p.top);
  *p.valid = 1;
}

void compare(const char* variant, AxisMode xMode, AxisMode yMode) {
  Comparison comparison(
      "kxcalcGetXYValGraph2D", variant, [=](size_t count) { return Points(xMode, yMode, count); },
      [](const Functions& functions, Points& w) {
        w.placeAll([&](const XYValGraph2DParams& params) { functions.kxcalcGetXYValGraph2D(&params); });
      },
      {blockSizes[0], blockSizes[1]});
  const std::string edges = "axes without range, values not above 0, other sources and types";
  const bool isLinear = xMode == linear && yMode == linear;
  const Contract contract = isLinear ? sameBits(edges) : otherBits(edges + ", the same logarithms", nextPixel);
  const auto placeAll = [](Points& w) { w.placeAll(plain); };
  comparison.plain(contract, placeAll);
  comparison.reordered(otherBits(edges + ", the rounding of each operation", nextPixel), placeAll);
}

const bool registered = [] {
  compare("linear", linear, linear);
  compare("logarithmic", logarithmic, logarithmic);
  compare("decibel", linear, decibel);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
