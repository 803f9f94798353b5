// A channel's curve, reduced to what a picture can show.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// The values that fall into one column of pixels.
struct CurveColumn {
  bool isEmpty = true;
  bool isJoined = false;  ///< whether a line leads here from the column before that is not empty
  double first = 0;       ///< in time
  double last = 0;
  double minimum = 0;
  double maximum = 0;
};

/// Gathers consecutive values into columns. Values in one column stand above each other, so the line through all of
/// them covers what lies between their minimum and their maximum; a line from the last value of a column to the first
/// of the next joins them. A picture of the columns is that of all the values, pixel by pixel, whatever their number.
class Curve {
public:
  /// @param borders  the first frame of each column, and the frame after the last one.
  explicit Curve(std::vector<uint64_t> borders);

  /// Adds the values of the next frames. A NaN is a gap in the curve.
  void add(const Functions& functions, std::span<const double> values);

  const std::vector<CurveColumn>& columns() const { return columns_; }

private:
  void addToColumn(const Functions& functions, std::span<const double> values, CurveColumn& column);

  std::vector<uint64_t> borders_;
  std::vector<CurveColumn> columns_;
  uint64_t position_;
  size_t current_ = 0;
  bool leadsOn_ = false;  // whether the value before the next one is one to draw a line from
};

}  // namespace kxanalysis
