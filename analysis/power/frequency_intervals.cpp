#include "analysis/power/frequency_intervals.hpp"

#include <algorithm>
#include <limits>

namespace kxanalysis {

std::span<const FrequencyInterval> FrequencyIntervals::feed(std::span<const FrequencyStretch> stretches) {
  complete_.clear();
  for (const FrequencyStretch& stretch : stretches) {
    while (end_ < stretch.end) {
      const double boundary = static_cast<double>(index_ + 1) * seconds_ * rate_, end = std::min(stretch.end, boundary);
      if (stretch.isMeasured) {
        measuredSamples_ += end - end_;
        measuredCycles_ += (end - end_) * stretch.frequency / rate_;
      }
      end_ = end;
      if (end == boundary) {
        complete_.push_back(rest());
        begin_ = end;
        measuredSamples_ = measuredCycles_ = 0;
        ++index_;
      }
    }
  }
  return complete_;
}

FrequencyInterval FrequencyIntervals::rest() const {
  constexpr double rounding = 1e-6;  // of sums, in samples
  const double frequency =
      measuredSamples_ > 0 ? measuredCycles_ * rate_ / measuredSamples_ : std::numeric_limits<double>::quiet_NaN();
  return {begin_ / rate_, (end_ - begin_) / rate_, frequency, measuredSamples_ > end_ - begin_ - rounding};
}

}  // namespace kxanalysis
