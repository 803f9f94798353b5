#include "analysis/power/correction_curve.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <utility>

namespace kxanalysis {

Result<CorrectionCurve> CorrectionCurve::create(std::vector<CorrectionPoint> points) {
  if (points.empty()) {
    return Problem{"holds no points"};
  }
  for (size_t i = 0; i < points.size(); ++i) {
    const CorrectionPoint& point = points[i];
    const std::string where = "point " + std::to_string(i + 1);
    if (!(std::isfinite(point.frequency) && std::isfinite(point.gain) && std::isfinite(point.phase))) {
      return Problem{where + " is not finite"};
    }
    if (i > 0 && point.frequency <= points[i - 1].frequency) {
      return Problem{where + ": the frequencies do not ascend"};
    }
  }
  return CorrectionCurve(std::move(points));
}

CorrectionCurve::CorrectionCurve(std::vector<CorrectionPoint> points) : points_(std::move(points)) {}

CorrectionPoint CorrectionCurve::at(double frequency) const {
  const auto after =
      std::lower_bound(points_.begin(), points_.end(), frequency,
                       [](const CorrectionPoint& point, double value) { return point.frequency < value; });
  if (after == points_.begin() || after == points_.end()) {
    return after == points_.end() ? points_.back() : points_.front();
  }
  const CorrectionPoint& before = *(after - 1);
  const double share = (frequency - before.frequency) / (after->frequency - before.frequency);
  return {frequency, std::lerp(before.gain, after->gain, share), std::lerp(before.phase, after->phase, share)};
}

std::vector<float> CorrectionCurve::factors(size_t binCount, double binWidth, bool endsAtHalfTheRate) const {
  std::vector<float> factors;
  for (size_t bin = 0; bin < binCount; ++bin) {
    const CorrectionPoint point = at(static_cast<double>(bin) * binWidth);
    const bool hasSine = bin > 0 && !(endsAtHalfTheRate && bin + 1 == binCount);
    const double phase = hasSine ? point.phase * std::numbers::pi / 180 : 0;
    factors.push_back(static_cast<float>(point.gain * std::cos(phase)));
    factors.push_back(static_cast<float>(point.gain * std::sin(phase)));
  }
  return factors;
}

}  // namespace kxanalysis
