// Places a point of a channel on the pixel grid of a graph. In double, except the logarithms, which are quick and in
// single. What is the same on every axis is written for one of them, or for both in the lanes of a vector.
#include <cstddef>

#include "kxcalc.h"
#include "vmath/fast_log.hpp"

static_assert(offsetof(XYValGraph2DParams, xIndex) == 8 && offsetof(XYValGraph2DParams, yAxisMode) == 12);
static_assert(offsetof(XYValGraph2DParams, left) == 16 && offsetof(XYValGraph2DParams, xScale) == 24);
static_assert(offsetof(XYValGraph2DParams, yValue) == 128);
static_assert(offsetof(XYValGraph2DParams, valid) == 128 + 4 * sizeof(void*));

namespace kxcalc {
namespace {

/// A value beside the ends of its axis: of one axis, or of both.
template <class V>
struct OnAxis {
  V value, maximum, minimum;
};

/// What is its own fraction of the axis: from it 0 is taken, and it is divided by 1.
KXCALC_INLINE OnAxis<double> asFraction(double value) {
  return {value, 1, 0};
}

/// The logarithm of a value on a logarithmic axis; what is not above 0 lies at the axis minimum.
KXCALC_INLINE double logarithm(double value, double axisMinimum) {
  return value > 0 ? static_cast<double>(fastLog10(static_cast<float>(value))) : axisMinimum;
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

KXCALC_INLINE OnAxis<double> xOnAxis(const XYValGraph2DParams& p) {
  const double x = xOf(p);
  switch (p.xAxisMode) {
    case 0:
      return {x, p.xMax, p.xMin};
    case 1:
      return {logarithm(x, p.xLogMin), p.xLogMax, p.xLogMin};
    default:
      return asFraction(x);
  }
}

KXCALC_INLINE OnAxis<double> yOnAxis(const XYValGraph2DParams& p) {
  const double y = yOf(p);
  switch (p.yAxisMode) {
    case 0:
      return {y, p.yMax, p.yMin};
    case 1:
      return {logarithm(y, p.yLogMin), p.yLogMax, p.yLogMin};
    default:
      break;
  }
  // Decibels. A NaN takes the logarithm too, unlike on a logarithmic axis; an axis without range gives 0, unlike the
  // others.
  if (p.yMax - p.yMin == 0) {
    return asFraction(0);
  }
  const double level = 0 >= y ? -400.0 : static_cast<double>(20.0F * fastLog10(static_cast<float>(y / p.dbReference)));
  return {level, p.yMax, p.yMin};
}

/// (value - minimum) / range. An axis without range gives the minimum itself, as if it were a fraction. A NaN range
/// divides.
template <class V>
KXCALC_INLINE V fractionOf(OnAxis<V> at) {
  const V range = at.maximum - at.minimum;
  return range == 0 ? at.minimum : (at.value - at.minimum) / range;
}

/// Pixels from where an axis begins, of a fraction limited to +-1000000; a NaN stays one until it is cut. Halves are rounded
/// up for positive products only, by adding 0.5 and cutting towards zero. -2147483648 where 32 bits do not hold it.
template <class V>
KXCALC_INLINE auto pixelsOf(V extent, OnAxis<V> at) {
  const V limit = V{} + 1000000.0;
  return truncate(extent * greater(-limit, lesser(limit, fractionOf(at))) + 0.5);
}

/// A coordinate, whose sum may have wrapped, limited to 16 bits.
KXCALC_INLINE int32_t coordinate(uint32_t wrapped) {
  const auto value = static_cast<int32_t>(wrapped);
  return value > INT16_MAX ? INT16_MAX : (value < INT16_MIN ? INT16_MIN : value);
}

struct Pixels {
  int32_t fromLeft, fromBottom;
};
KXCALC_INLINE Pixels pixelsOf(const XYValGraph2DParams& p) {
  const OnAxis<double> x = xOnAxis(p), y = yOnAxis(p);
  const int32_t width = p.right - p.left, height = p.bottom - p.top;
  if constexpr (truncatesTwoAtOnce) {
    const OnAxis<f64x2> both{{x.value, y.value}, {x.maximum, y.maximum}, {x.minimum, y.minimum}};
    const i32x4 pixels = pixelsOf(widenLow(i32x4{width, height}), both);
    return {pixels[0], pixels[1]};
  } else {
    return {pixelsOf(static_cast<double>(width), x), pixelsOf(static_cast<double>(height), y)};
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcGetXYValGraph2D(const XYValGraph2DParams* params) {
  using namespace kxcalc;
  const XYValGraph2DParams& p = *params;
  const Pixels pixels = pixelsOf(p);
  *p.pixelX = coordinate(static_cast<uint32_t>(p.left) + static_cast<uint32_t>(pixels.fromLeft));
  *p.pixelY = coordinate(static_cast<uint32_t>(p.bottom) - static_cast<uint32_t>(pixels.fromBottom));
  *p.valid = 1;
}
