// The geometry of a piston engine's cylinder.
#pragma once

#include "analysis/problem.hpp"

namespace kxanalysis {

/// Crank angles are in degrees from the top dead centre of combustion, a four-stroke cycle runs from -360 to 360.
/// Lengths are in millimetres, volumes in cubic centimetres.
struct Engine {
  double bore = 86;
  double stroke = 86;
  double rod = 143;              ///< length of the connecting rod, more than half of the stroke
  double compressionRatio = 10;  ///< largest over smallest volume, above 1

  double displacement() const;

  /// Volume at top dead centre.
  double clearance() const { return displacement() / (compressionRatio - 1); }

  /// Volume above the piston.
  double volume(double angle) const;
};

/// Says which of an engine's measures cannot be.
Result<> checked(const Engine& engine);

}  // namespace kxanalysis
