// Places a point of a channel on the pixel grid of a graph. In double, except the logarithms, which are quick and in
// single. x and y are formed side by side, as far as the axes allow it.
#include <cstddef>

#include "kxcalc.h"
#include "vmath/fast_log.hpp"

static_assert(offsetof(XYValGraph2DParams, xIndex) == 8 && offsetof(XYValGraph2DParams, yAxisMode) == 12);
static_assert(offsetof(XYValGraph2DParams, left) == 16 && offsetof(XYValGraph2DParams, top) == 18);
static_assert(offsetof(XYValGraph2DParams, right) == 20 && offsetof(XYValGraph2DParams, bottom) == 22);
static_assert(offsetof(XYValGraph2DParams, xScale) == 24);
static_assert(offsetof(XYValGraph2DParams, yValue) == 128);
static_assert(offsetof(XYValGraph2DParams, valid) == 128 + 4 * sizeof(void*));

namespace kxcalc {
namespace {

/// A value beside the ends of its axis.
struct OnAxis {
  double value, maximum, minimum;
};

/// What is its own fraction of the axis: from it 0 is taken, and it is divided by 1.
KXCALC_INLINE OnAxis asFraction(double value) {
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

KXCALC_INLINE OnAxis xOnAxis(const XYValGraph2DParams& p) {
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

KXCALC_INLINE OnAxis yOnAxis(const XYValGraph2DParams& p) {
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

/// Fractions of the axes: (value - minimum) / range. An axis without range gives the minimum itself, as if it were a
/// fraction. A NaN range divides.
KXCALC_INLINE f64x2 fractionsOf(OnAxis x, OnAxis y) {
  const f64x2 value{x.value, y.value}, maximum{x.maximum, y.maximum}, minimum{x.minimum, y.minimum};
  const f64x2 range = maximum - minimum;
  return range == 0 ? minimum : (value - minimum) / range;
}

/// Left, top, right and bottom edge.
KXCALC_INLINE i32x4 edgesOf(const XYValGraph2DParams& p) {
  const auto* const record = reinterpret_cast<const unsigned char*>(&p);
  return loadAsInt32(reinterpret_cast<const int16_t*>(record + offsetof(XYValGraph2DParams, left)));
}

/// Pixels from the left and from the bottom edge, of fractions limited to +-1000000; a NaN stays one until it is cut. Halves
/// are rounded up for positive products only, by adding 0.5 and cutting towards zero. -2147483648 where 32 bits do not
/// hold it.
KXCALC_INLINE u32x4 pixelsOf(i32x4 edges, f64x2 fractions) {
  const i32x4 extents = __builtin_shufflevector(edges, edges, 2, 3, 2, 3) - edges;  // right - left, bottom - top
  const f64x2 limited = greater(splat<f64x2>(-1000000), lesser(splat<f64x2>(1000000), fractions));
  return bitsAs<u32x4>(truncate(widenLow(extents) * limited + 0.5));
}

/// x and y, so many pixels rightwards and upwards. The sums may wrap; as they are, they are limited to 16 bits.
KXCALC_INLINE i32x4 coordinatesOf(i32x4 edges, u32x4 pixels) {
  const i32x4 leftAndBottom = __builtin_shufflevector(edges, edges, 0, 3, 0, 3);
  const u32x4 upwards{0, UINT32_MAX};  // y is taken away: its complement is added, and 1
  const auto sums = bitsAs<i32x4>(bitsAs<u32x4>(leftAndBottom) + ((pixels ^ upwards) - upwards));
  return greater(splat<i32x4>(INT16_MIN), lesser(splat<i32x4>(INT16_MAX), sums));
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcGetXYValGraph2D(const XYValGraph2DParams* params) {
  using namespace kxcalc;
  const XYValGraph2DParams& p = *params;
  const i32x4 edges = edgesOf(p);
  const i32x4 coordinates = coordinatesOf(edges, pixelsOf(edges, fractionsOf(xOnAxis(p), yOnAxis(p))));
  *p.pixelX = coordinates[0];
  *p.pixelY = coordinates[1];
  *p.valid = 1;
}
