#include "analysis/display/curve.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kxanalysis {

Curve::Curve(std::vector<uint64_t> borders)
    : borders_(std::move(borders)), columns_(borders_.size() - 1), position_(borders_.front()) {}

void Curve::add(const Functions& functions, std::span<const double> values) {
  while (!values.empty()) {
    while (borders_[current_ + 1] <= position_) {
      ++current_;
    }
    const auto part = values.first(std::min<uint64_t>(values.size(), borders_[current_ + 1] - position_));
    addToColumn(functions, part, columns_[current_]);
    values = values.subspan(part.size());
    position_ += part.size();
  }
}

void Curve::addToColumn(const Functions& functions, std::span<const double> values, CurveColumn& column) {
  const auto isNan = [](double value) { return std::isnan(value); };
  while (!values.empty()) {
    // NaNs would hide other values from the kernel, so it gets the runs between them.
    const auto run = values.first(static_cast<size_t>(std::ranges::find_if(values, isNan) - values.begin()));
    if (run.empty()) {
      leadsOn_ = false;
      values = values.subspan(1);
      continue;
    }
    double minimum = 0, maximum = 0;
    functions.kxcalcGetMinMax_double(run.data(), static_cast<uint32_t>(run.size()), &minimum, &maximum);
    if (column.isEmpty) {
      column = {false, leadsOn_, run.front(), run.back(), minimum, maximum};
    } else {
      column.last = run.back();
      column.minimum = std::min(column.minimum, minimum);
      column.maximum = std::max(column.maximum, maximum);
    }
    leadsOn_ = true;
    values = values.subspan(run.size());
  }
}

}  // namespace kxanalysis
