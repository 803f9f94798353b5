#include "analysis/power/cycle_rms.hpp"

#include <array>
#include <utility>

namespace kxanalysis {

Result<CycleRms> CycleRms::create(double rate, FrequencyRange range) {
  auto frequency = MainsFrequency::create(rate, range, (range.lowest + range.highest) / 2);
  if (!frequency) {
    return Problem{frequency.problem()};
  }
  return CycleRms(rate, std::move(*frequency));
}

std::span<const MainsCycle> CycleRms::feed(std::span<const double> samples) {
  squares_.feed(samples);
  const std::array<std::vector<double>, 1> voltages{std::vector<double>(samples.begin(), samples.end())};
  take(frequency_.feed(voltages));
  return cycles_;
}

std::span<const MainsCycle> CycleRms::finish() {
  take(frequency_.finish());
  return cycles_;
}

/// A cycle is as long as the frequency where it begins makes it, and lies between samples that are there.
void CycleRms::take(std::span<const FrequencyStretch> stretches) {
  cycles_.clear();
  stretches_.insert(stretches_.end(), stretches.begin(), stretches.end());
  while (!stretches_.empty()) {
    const FrequencyStretch& stretch = stretches_.front();
    if (begin_ >= stretch.end) {
      stretches_.pop_front();
      continue;
    }
    const double end = begin_ + rate_ / stretch.frequency;
    if (end > squares_.end() - 1) {
      break;
    }
    if (stretch.isSeen) {
      cycles_.push_back({begin_, end, squares_.rms(begin_, end)});
    }
    begin_ = end;
  }
  squares_.forget(begin_);
}

}  // namespace kxanalysis
