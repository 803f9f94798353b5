// Places a point of a channel on the pixel grid of a graph. In double, except the logarithms, which are quick and in
// single.
#include <cstddef>

#include "kxcalc.h"
#include "vmath/fast_log.hpp"

static_assert(offsetof(XYValGraph2DParams, xIndex) == 8 && offsetof(XYValGraph2DParams, yAxisMode) == 12);
static_assert(offsetof(XYValGraph2DParams, left) == 16 && offsetof(XYValGraph2DParams, xScale) == 24);
static_assert(offsetof(XYValGraph2DParams, yValue) == 128);
static_assert(offsetof(XYValGraph2DParams, valid) == 128 + 4 * sizeof(void*));

namespace kxcalc {
namespace {

/// (value - minimum) / range. An axis without range gives the minimum itself, as if it were a fraction. A NaN
/// range divides.
KXCALC_INLINE double normalised(double value, double maximum, double minimum) {
  const double range = maximum - minimum;
  return range == 0 ? minimum : (value - minimum) / range;
}

/// The logarithm of a value on a logarithmic axis; what is not above 0 lies at the axis minimum.
KXCALC_INLINE double logarithm(double value, double axisMinimum) {
  return value > 0 ? static_cast<double>(fastLog10(static_cast<float>(value))) : axisMinimum;
}

/// Limits to +-1000000; a NaN stays.
KXCALC_INLINE double clamped(double value) {
  if (value > 1000000.0) {
    return 1000000.0;
  }
  return -1000000.0 > value ? -1000000.0 : value;
}

/// Rounds half up for positive products only, by adding 0.5 and cutting towards zero. -2147483648 where 32 bits do not
/// hold it.
KXCALC_INLINE uint32_t pixels(int32_t extent, double fraction) {
  const double product = static_cast<double>(extent) * fraction + 0.5;
  const bool holds = product > -2147483649.0 && product < 2147483648.0;
  return static_cast<uint32_t>(holds ? static_cast<int32_t>(product) : INT32_MIN);
}

/// A pixel coordinate, whose sum may have wrapped, limited to 16 bits.
KXCALC_INLINE int32_t coordinate(uint32_t wrapped) {
  const auto value = static_cast<int32_t>(wrapped);
  if (value > INT16_MAX) {
    return INT16_MAX;
  }
  return value < INT16_MIN ? INT16_MIN : value;
}

KXCALC_INLINE double xOf(const XYValGraph2DParams& p) {
  switch (p.xSource) {
    case 0:
      return static_cast<double>(p.xIndex);
    case 1:
      return p.xValues[p.xIndex];
    case 2:
      return static_cast<double>(p.xIndex) * p.xScale + p.xOffset;
    default:
      return p.xMin;
  }
}

KXCALC_INLINE double yOf(const XYValGraph2DParams& p) {
  const double sample = p.yType == KXCALC_SINGLE ? static_cast<double>(*static_cast<const float*>(p.yValue))
                                                 : *static_cast<const double*>(p.yValue);
  return sample * p.yScale + p.yOffset;
}

KXCALC_INLINE double xNormalised(const XYValGraph2DParams& p) {
  const double x = xOf(p);
  switch (p.xAxisMode) {
    case 0:
      return normalised(x, p.xMax, p.xMin);
    case 1:
      return normalised(logarithm(x, p.xLogMin), p.xLogMax, p.xLogMin);
    default:
      return x;
  }
}

KXCALC_INLINE double yNormalised(const XYValGraph2DParams& p) {
  const double y = yOf(p);
  switch (p.yAxisMode) {
    case 0:
      return normalised(y, p.yMax, p.yMin);
    case 1:
      return normalised(logarithm(y, p.yLogMin), p.yLogMax, p.yLogMin);
    default:
      break;
  }
  // Decibels. A NaN takes the logarithm too, unlike on a logarithmic axis; an axis without range gives 0, unlike the
  // others.
  if (p.yMax - p.yMin == 0) {
    return 0;
  }
  const double level = 0 >= y ? -400.0 : static_cast<double>(20.0F * fastLog10(static_cast<float>(y / p.dbReference)));
  return normalised(level, p.yMax, p.yMin);
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcGetXYValGraph2D(const XYValGraph2DParams* params) {
  using namespace kxcalc;
  const XYValGraph2DParams& p = *params;
  *p.pixelX = coordinate(pixels(p.right - p.left, clamped(xNormalised(p))) + static_cast<uint32_t>(p.left));
  *p.pixelY = coordinate(static_cast<uint32_t>(p.bottom) - pixels(p.bottom - p.top, clamped(yNormalised(p))));
  *p.valid = 1;
}
