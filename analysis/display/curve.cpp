#include "analysis/display/curve.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kxanalysis {

Result<Curve> Curve::create(const Functions& functions, std::vector<uint64_t> borders) {
  if (borders.size() < 2) {
    return unsuitable("number of borders", static_cast<double>(borders.size()), "a column has two");
  }
  if (!std::ranges::is_sorted(borders)) {
    return Problem{"borders descend: each column begins where the one before ends"};
  }
  return Curve(functions, std::move(borders));
}

Curve::Curve(const Functions& functions, std::vector<uint64_t> borders)
    : functions_(&functions),
      borders_(std::move(borders)),
      columns_(borders_.size() - 1),
      position_(borders_.front()) {}

void Curve::feed(std::span<const double> values) {
  while (!values.empty() && position_ < borders_.back()) {
    while (borders_[current_ + 1] <= position_) {
      ++current_;
    }
    const auto part =
        values.first(static_cast<size_t>(std::min<uint64_t>(values.size(), borders_[current_ + 1] - position_)));
    addToColumn(part, columns_[current_]);
    values = values.subspan(part.size());
    position_ += part.size();
  }
}

void Curve::addToColumn(std::span<const double> values, CurveColumn& column) {
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
    functions_->kxcalcGetMinMax_double(run.data(), static_cast<uint32_t>(run.size()), &minimum, &maximum);
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
