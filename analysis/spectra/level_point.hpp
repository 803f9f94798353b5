#pragma once

namespace kxanalysis {

/// A point of a curve over frequency.
struct LevelPoint {
  double frequency;  ///< in Hz
  double decibels;
};

}  // namespace kxanalysis
