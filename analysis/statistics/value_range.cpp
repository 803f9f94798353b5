#include "analysis/statistics/value_range.hpp"

#include <algorithm>
#include <cmath>

namespace kxanalysis {

std::optional<ValueRange> rangeOf(std::vector<double> values) {
  std::erase_if(values, [](double value) { return std::isnan(value); });
  if (values.empty()) {
    return std::nullopt;
  }
  std::ranges::sort(values);
  const size_t count = values.size(), most = (count * 95 + 99) / 100;  // 95 %, rounded up
  return ValueRange{count, values.front(), values.back(), values[count - most], values[most - 1]};
}

}  // namespace kxanalysis
