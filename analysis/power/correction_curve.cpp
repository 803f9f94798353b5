#include "analysis/power/correction_curve.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "recordings/recording.hpp"

namespace kxanalysis {
using namespace kxrecordings;

CorrectionCurve::CorrectionCurve(const std::string& file) {
  const auto table = openRecording(file, {});
  constexpr size_t columns = 3;
  if (table->format().container != "csv" || table->format().channels.size() != columns) {
    throw FileError(file, "is not a CSV file of three columns: frequency in Hz, gain, phase in degrees");
  }
  std::vector<double> row(columns);
  while (table->read(std::span(row)) == 1) {
    const Point point{row[0], row[1], row[2]};
    const std::string where = "point " + std::to_string(points_.size() + 1);
    if (!std::all_of(row.begin(), row.end(), [](double value) { return std::isfinite(value); })) {
      throw FileError(file, where + " is not finite");
    }
    if (!points_.empty() && point.frequency <= points_.back().frequency) {
      throw FileError(file, where + ": the frequencies do not ascend");
    }
    points_.push_back(point);
  }
  if (points_.empty()) {
    throw FileError(file, "holds no points");
  }
}

CorrectionCurve::Point CorrectionCurve::at(double frequency) const {
  const auto after = std::lower_bound(points_.begin(), points_.end(), frequency,
                                      [](const Point& point, double value) { return point.frequency < value; });
  if (after == points_.begin() || after == points_.end()) {
    return after == points_.end() ? points_.back() : points_.front();
  }
  const Point& before = *(after - 1);
  const double share = (frequency - before.frequency) / (after->frequency - before.frequency);
  return {frequency, std::lerp(before.gain, after->gain, share), std::lerp(before.phase, after->phase, share)};
}

std::vector<float> CorrectionCurve::factors(size_t binCount, double binWidth, bool endsAtHalfTheRate) const {
  std::vector<float> factors;
  for (size_t bin = 0; bin < binCount; ++bin) {
    const Point point = at(static_cast<double>(bin) * binWidth);
    const bool hasSine = bin > 0 && !(endsAtHalfTheRate && bin + 1 == binCount);
    const double phase = hasSine ? point.phase * std::numbers::pi / 180 : 0;
    factors.push_back(static_cast<float>(point.gain * std::cos(phase)));
    factors.push_back(static_cast<float>(point.gain * std::sin(phase)));
  }
  return factors;
}

}  // namespace kxanalysis
