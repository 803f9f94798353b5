// A point of a channel on the pixel grid of a graph.
#ifndef KXCALC_TESTS_REFERENCE_GRAPH_LOOKUP_HPP
#define KXCALC_TESTS_REFERENCE_GRAPH_LOOKUP_HPP

#include <kxcalc.h>

#include <cstdint>
#include <cstring>

#include "reference/transcendentals.hpp"
#include "reference/truncation.hpp"

namespace reference {

/// Where an axis has no range, its minimum itself.
inline double normalised(double value, double maximum, double minimum) {
  const double range = maximum - minimum;
  return range == 0 ? minimum : (value - minimum) / range;
}

/// Not above 0, or a NaN: the axis minimum.
inline double logarithmOr(double logMinimum, double value) {
  return value > 0 ? static_cast<double>(fastLog10(static_cast<float>(value))) : logMinimum;
}

/// To +-1000000; a NaN stays.
inline double limited(double normalisedValue) {
  if (normalisedValue > 1000000.0) {
    return 1000000.0;
  }
  return -1000000.0 > normalisedValue ? -1000000.0 : normalisedValue;
}

inline uint32_t pixelsInto(int32_t extent, double normalisedValue) {
  return static_cast<uint32_t>(truncateToInt32(static_cast<double>(extent) * normalisedValue + 0.5));
}

/// The sum is one of 32 bits, and wraps as such: the lowest number taken from a bottom edge of 0 or more is the lowest
/// number, and not above all others.
inline int32_t toCoordinate(uint32_t sum) {
  const auto pixel = static_cast<int32_t>(sum);
  if (pixel > 32767) {
    return 32767;
  }
  return pixel < -32768 ? -32768 : pixel;
}

inline double xOf(const XYValGraph2DParams& params) {
  switch (params.xSource) {
    case 0:
      return static_cast<double>(params.xIndex);
    case 1:
      return params.xValues[params.xIndex];
    case 2:
      return static_cast<double>(params.xIndex) * params.xScale + params.xOffset;
    default:
      return params.xMin;
  }
}

inline double yOf(const XYValGraph2DParams& params) {
  double sample;
  if (params.yType == 5) {
    float single;
    std::memcpy(&single, params.yValue, sizeof single);
    sample = static_cast<double>(single);
  } else {
    std::memcpy(&sample, params.yValue, sizeof sample);
  }
  return sample * params.yScale + params.yOffset;
}

inline double normalisedX(const XYValGraph2DParams& params) {
  const double x = xOf(params);
  switch (params.xAxisMode) {
    case 0:
      return normalised(x, params.xMax, params.xMin);
    case 1:
      return normalised(logarithmOr(params.xLogMin, x), params.xLogMax, params.xLogMin);
    default:
      return x;
  }
}

inline double normalisedDecibels(double y, const XYValGraph2DParams& params) {
  if (params.yMax - params.yMin == 0) {
    return 0;
  }
  double decibels = -400;
  if (!(0 >= y)) {
    decibels = static_cast<double>(20.0F * fastLog10(static_cast<float>(y / params.dbReference)));
  }
  return (decibels - params.yMin) / (params.yMax - params.yMin);
}

inline double normalisedY(const XYValGraph2DParams& params) {
  const double y = yOf(params);
  switch (params.yAxisMode) {
    case 0:
      return normalised(y, params.yMax, params.yMin);
    case 1:
      return normalised(logarithmOr(params.yLogMin, y), params.yLogMax, params.yLogMin);
    default:
      return normalisedDecibels(y, params);
  }
}

inline void kxcalcGetXYValGraph2D(const XYValGraph2DParams* params) {
  *params->pixelX = toCoordinate(pixelsInto(params->right - params->left, limited(normalisedX(*params))) +
                                 static_cast<uint32_t>(params->left));
  *params->pixelY = toCoordinate(static_cast<uint32_t>(params->bottom) -
                                 pixelsInto(params->bottom - params->top, limited(normalisedY(*params))));
  *params->valid = 1;
}

}  // namespace reference

#endif
