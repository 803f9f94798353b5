#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

namespace kxhost {

/// From the least to the greatest of some numbers, for axes: NaNs and infinities have no place on one.
struct FiniteRange {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();

  void add(double number) {
    if (std::isfinite(number)) {
      low = std::min(low, number);
      high = std::max(high, number);
    }
  }

  bool isEmpty() const { return low > high; }
};

}  // namespace kxhost
