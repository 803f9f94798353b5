// The library's pink-noise filter with the state that it leaves to its host.
#pragma once

#include <vector>

#include "library.hpp"

namespace kxhost {

/// One channel's filter, at rest to begin with.
class PinkFilter {
public:
  explicit PinkFilter(const Library& library) : library_(library) {}

  double next(double white) { return library_.kxcalcPinkFilter_double(&state_, white); }

private:
  const Library& library_;
  PinkFilterState state_{};
};

/// What comes out for a 1 and zeros after it, until it has decayed below the rounding of doubles.
std::vector<double> pinkImpulseResponse(const Library& library);

}  // namespace kxhost
