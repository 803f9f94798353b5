// A channel's curve, reduced to what a picture can show.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "analysis/problem.hpp"
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
  /// @param functions  they outlive the curve.
  /// @param borders    the first frame of each column, and the frame after the last one: at least two, not descending.
  static Result<Curve> create(const Functions& functions, std::vector<uint64_t> borders);

  /// Takes the values of the next frames, from the first column's first one on. A NaN is a gap in the curve; values after
  /// the last column are left out. Splitting a stream into blocks changes nothing.
  void feed(std::span<const double> values);

  const std::vector<CurveColumn>& columns() const { return columns_; }

private:
  Curve(const Functions& functions, std::vector<uint64_t> borders);

  void addToColumn(std::span<const double> values, CurveColumn& column);

  const Functions* functions_;
  std::vector<uint64_t> borders_;
  std::vector<CurveColumn> columns_;
  uint64_t position_;
  size_t current_ = 0;
  bool leadsOn_ = false;  // whether the value before the next one is one to draw a line from
};

}  // namespace kxanalysis
