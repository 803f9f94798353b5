#include "analysis/power/voltage_watch.hpp"

#include <algorithm>

namespace kxanalysis {

Result<VoltageWatch> VoltageWatch::create(double rate, double nominal) {
  auto frequency = MainsFrequency::create(rate, rangeAround(nominal), nominal);
  if (!frequency) {
    return Problem{frequency.problem()};
  }
  return VoltageWatch(rate, std::move(*frequency));
}

std::span<const WindowPlace> VoltageWatch::feed(std::span<const double> voltage) {
  flagged_.clear();
  squares_.feed(voltage);
  block_[0].assign(voltage.begin(), voltage.end());
  follow(frequency_.feed(block_));
  squares_.forget(begin_);
  return flagged_;
}

std::span<const WindowPlace> VoltageWatch::finish() {
  flagged_.clear();
  follow(frequency_.finish());
  return flagged_;
}

void VoltageWatch::follow(std::span<const FrequencyStretch> stretches) {
  for (const FrequencyStretch& stretch : stretches) {
    const double cycle = rate_ / stretch.frequency;
    for (; begin_ + cycle <= stretch.end; begin_ += cycle / 2) {
      judge(squares_.rms(begin_, begin_ + cycle), stretch);
    }
  }
}

void VoltageWatch::judge(double rms, const FrequencyStretch& stretch) {
  constexpr double timeConstant = 60;  // in s
  const std::array volts{rms};
  WindowPlace place{begin_ / rate_, 1 / stretch.frequency, stretch.frequency, {}};
  events_.feed(place.begin, volts);
  place.flags.frequencyUnknown = !stretch.isSeen;
  place.flags.dip = events_.isIn(VoltageEventKind::dip);
  place.flags.swell = events_.isIn(VoltageEventKind::swell);
  place.flags.interruption = events_.isIn(VoltageEventKind::interruption);
  if (place.flags.any()) {
    flagged_.push_back(place);
  } else if (events_.reference().empty()) {
    start(rms);
  } else {
    const double reference = events_.reference()[0];
    events_.setReference({reference + (rms - reference) * place.length / 2 / timeConstant});
  }
}

void VoltageWatch::start(double rms) {
  constexpr size_t halfCycles = 20;
  first_.push_back(rms);
  if (first_.size() == halfCycles) {
    const auto middle = first_.begin() + halfCycles / 2;
    std::ranges::nth_element(first_, middle);
    events_.setReference({*middle});
  }
}

}  // namespace kxanalysis
