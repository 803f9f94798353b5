// Cylinder pressure over the crank angle, cycle by cycle.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "analysis/problem.hpp"

namespace kxanalysis {

/// Samples of a run that memory and the kernels' 32-bit counts have room for.
constexpr size_t mostPressures = size_t{1} << 28;

/// Cycles that are sampled at the same crank angles.
struct PressureCycles {
  std::vector<double> angles;  ///< of a cycle's samples, in degrees, in even steps
  std::vector<float> samples;  ///< in bar, cycle after cycle

  size_t count() const { return samples.size() / angles.size(); }

  std::span<const float> cycle(size_t index) const {
    return std::span(samples).subspan(index * angles.size(), angles.size());
  }

  /// Degrees between samples.
  double step() const { return (angles.back() - angles.front()) / static_cast<double>(angles.size() - 1); }
};

/// Cycles that were cut out of rows.
struct CutCycles {
  PressureCycles cycles;
  size_t leftOut =
      0;  ///< samples before the first complete cycle and after the last one, or of an angle that is there twice
};

/// Cuts rows of a crank angle and pressures into cycles. Either the angles are those of one cycle, and every column is one; or there
/// is one column of pressures that runs on over many cycles of 720 degrees, of which the complete ones from -360 to 360 degrees are
/// taken. Angles that begin anew with each cycle run on. Those of one whole cycle may lie anywhere: where they leave -360 to 360
/// degrees, they go on from the other end with the same column's pressures.
/// @param angles     in degrees, one a row, rising in even steps of 10 degrees at most; they are allowed a tenth of a
///                   step of rounding.
/// @param pressures  in bar, row after row; finite, and so small (1e9 at most) that sums of many cycles stay so.
/// @param columns    of pressures, at least 1.
/// @param tdc        the angle of the top dead centre of combustion.
/// @return           problems of a row are told as "data row 1: ...", of the first one.
Result<CutCycles> cyclesOf(std::vector<double> angles, const std::vector<float>& pressures, size_t columns,
                           double tdc = 0);

/// What cyclesOf() says of angles of which more may come: nothing, or the problem of the first row that is not even.
Result<> checkedAngles(std::vector<double> angles);

}  // namespace kxanalysis
