// The library's pink-noise filter with the state that it leaves to its host.
#pragma once

#include <vector>

#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// One channel's filter, at rest to begin with.
class PinkFilter {
public:
  /// @param functions  they outlive the filter.
  explicit PinkFilter(const Functions& functions) : functions_(&functions) {}

  /// The filtered value of the stream's next one.
  double next(double white) { return functions_->kxcalcPinkFilter_double(&state_, white); }

private:
  const Functions* functions_;
  PinkFilterState state_{};
};

/// What comes out for a 1 and zeros after it, until it has decayed below the rounding of doubles.
std::vector<double> pinkImpulseResponse(const Functions& functions);

}  // namespace kxanalysis
