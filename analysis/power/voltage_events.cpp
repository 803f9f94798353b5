#include "analysis/power/voltage_events.hpp"

#include <algorithm>
#include <cmath>

namespace kxanalysis {
namespace {

constexpr double dipBegins = 0.90, swellBegins = 1.10, interruptionBegins = 0.05, hysteresis = 0.02;

}  // namespace

void SquareIntegral::feed(std::span<const double> samples) {
  for (const double sample : samples) {
    squares_.push_back(sample * sample);
  }
}

double SquareIntegral::rms(double begin, double end) const {
  end = std::min(end, this->end());
  double integral = integralTo(end) - integralTo(begin);
  const auto first = static_cast<size_t>(begin) - dropped_, last = static_cast<size_t>(end) - dropped_;
  for (size_t i = first; i < last; ++i) {
    integral += (squares_[i] + squares_[std::min(i + 1, squares_.size() - 1)]) / 2;
  }
  return std::sqrt(std::max(0.0, integral) / (end - begin));
}

/// From the sample before a position to it.
double SquareIntegral::integralTo(double position) const {
  const auto before = static_cast<size_t>(position) - dropped_;
  const double rest = position - std::floor(position);
  if (rest == 0) {
    return 0;
  }
  const double here = squares_[before], next = squares_[std::min(before + 1, squares_.size() - 1)];
  return rest * (here + (next - here) * rest / 2);
}

void SquareIntegral::forget(double begin) {
  const size_t kept = std::clamp(static_cast<size_t>(begin), dropped_, dropped_ + squares_.size());
  squares_.erase(squares_.begin(), squares_.begin() + static_cast<std::ptrdiff_t>(kept - dropped_));
  dropped_ = kept;
}

std::span<const VoltageEvent> VoltageEvents::feed(double time, std::span<const double> volts) {
  over_.clear();
  if (reference_.empty()) {
    return over_;
  }
  double least = volts[0] / reference_[0], most = least;
  for (size_t i = 1; i < volts.size(); ++i) {
    const double ratio = volts[i] / reference_[i];
    least = std::min(least, ratio);
    most = std::max(most, ratio);
  }
  follow(VoltageEventKind::dip, time, volts, least < dipBegins, least >= dipBegins + hysteresis);
  follow(VoltageEventKind::swell, time, volts, most > swellBegins, most <= swellBegins - hysteresis);
  follow(VoltageEventKind::interruption, time, volts, most < interruptionBegins,
         most >= interruptionBegins + hysteresis);
  return over_;
}

void VoltageEvents::follow(VoltageEventKind kind, double time, std::span<const double> volts, bool begins, bool ends) {
  std::optional<VoltageEvent>& event = open_.at(static_cast<size_t>(kind));
  if (event && ends) {
    event->duration = time - event->begin;
    event->isOver = true;
    over_.push_back(*event);
    event.reset();
  } else if (!event && begins) {
    event = VoltageEvent{kind, time, 0, volts[0], volts[0] / reference_[0], 0, false};
  }
  if (event) {
    deepen(*event, volts);
  }
}

/// The extreme is that of the phase that is furthest from its own reference.
void VoltageEvents::deepen(VoltageEvent& event, std::span<const double> volts) const {
  for (size_t i = 0; i < volts.size(); ++i) {
    const double ratio = volts[i] / reference_[i];
    if (event.kind == VoltageEventKind::swell ? ratio > event.ratio : ratio < event.ratio) {
      event.ratio = ratio;
      event.extreme = volts[i];
      event.phase = i;
    }
  }
}

std::span<const VoltageEvent> VoltageEvents::finish(double time) {
  over_.clear();
  for (std::optional<VoltageEvent>& event : open_) {
    if (event) {
      event->duration = time - event->begin;
      over_.push_back(*event);
      event.reset();
    }
  }
  return over_;
}

}  // namespace kxanalysis
