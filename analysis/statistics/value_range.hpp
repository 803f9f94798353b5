// How values are spread: extremes, and what 95 % of them keep to.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace kxanalysis {

struct ValueRange {
  size_t count = 0;
  double minimum = 0, maximum = 0;
  /// 95 % of the values or more are at least the one, and at most the other: each is one of the values.
  double percent5 = 0, percent95 = 0;
};

/// Of the values that are numbers; nothing if there are none.
std::optional<ValueRange> rangeOf(std::vector<double> values);

}  // namespace kxanalysis
