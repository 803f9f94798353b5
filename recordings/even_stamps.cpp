#include "recordings/even_stamps.hpp"

#include <algorithm>
#include <cmath>

namespace kxrecordings {

void EvenStamps::add(std::optional<double> stamp) {
  if (!stamp || !std::isfinite(*stamp)) {
    areThere_ = false;
    return;
  }
  if (count_ == 0) {
    first_ = *stamp;
  } else {
    const auto steps = static_cast<double>(count_);
    least_ = std::max(least_, (*stamp - first_ - 1) / steps);
    most_ = std::min(most_, (*stamp - first_ + 1) / steps);
  }
  last_ = *stamp;
  ++count_;
}

std::optional<double> EvenStamps::rate(double unit) const {
  if (!areThere_ || count_ < 2 || !(least_ <= most_) || !(last_ > first_)) {
    return std::nullopt;
  }
  const double step = std::clamp((last_ - first_) / static_cast<double>(count_ - 1), least_, most_);
  const double rate = 1 / (step * unit), whole = std::round(rate);
  const double wholeStep = 1 / (whole * unit);
  const bool isWhole = whole >= 1 && least_ <= wholeStep && wholeStep <= most_;
  return std::isfinite(rate) && rate > 0 ? std::optional(isWhole ? whole : rate) : std::nullopt;
}

}  // namespace kxrecordings
