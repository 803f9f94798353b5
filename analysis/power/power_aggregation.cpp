#include "analysis/power/power_aggregation.hpp"

#include <cmath>
#include <utility>

namespace kxanalysis {
namespace {

constexpr double atOnce = 1e-6;  // times in s that are so near to each other are the same

}  // namespace

std::span<const PowerAggregate> PowerAggregation::feed(std::span<const PowerWindow> windows) {
  complete_.clear();
  for (const PowerWindow& window : windows) {
    take(window);
  }
  return complete_;
}

double PowerAggregation::clockInterval() const {
  constexpr double tenMinutes = 600, twoHours = 7200;
  return settings_.interval == AggregationInterval::hours2 ? twoHours : tenMinutes;
}

void PowerAggregation::take(const PowerWindow& window) {
  const double number = std::floor((settings_.clock + window.place.begin + atOnce) / clockInterval());
  const bool isNext = number != number_;
  number_ = number;
  if (isNext && isOfClock() && !open_.empty()) {
    closeFirst();
  }
  if (isNext || open_.empty()) {
    open(window, number);
  }
  for (Open& interval : open_) {
    interval.add(window, settings_.withFlagged);
  }
  while (!open_.empty() && isComplete(open_.front())) {
    open_.front().aggregate.isComplete = true;
    closeFirst();
  }
}

void PowerAggregation::open(const PowerWindow& window, double number) {
  Open& interval = open_.emplace_back();
  const double from = number * clockInterval() - settings_.clock;
  interval.aggregate.begin = window.place.begin;
  interval.until = from + clockInterval();
  interval.isWhole = window.place.begin - from < window.place.length;
}

void PowerAggregation::Open::add(const PowerWindow& window, bool withFlagged) {
  const bool isFlagged = window.place.flags.any();
  aggregate.end = window.place.begin + window.place.length;
  ++aggregate.windows;
  aggregate.flagged += isFlagged ? 1U : 0U;
  if (withFlagged || !isFlagged) {
    mean.add(window);
  }
}

bool PowerAggregation::isComplete(const Open& interval) const {
  constexpr size_t windowsTogether = 15;
  return isOfClock() ? interval.isWhole && interval.aggregate.end >= interval.until - atOnce
                     : interval.aggregate.windows == windowsTogether;
}

void PowerAggregation::closeFirst() {
  Open& interval = open_.front();
  if (interval.mean.count() > 0) {
    interval.aggregate.mean = interval.mean.value();
  }
  complete_.push_back(std::move(interval.aggregate));
  open_.erase(open_.begin());
}

std::span<const PowerAggregate> PowerAggregation::finish() {
  complete_.clear();
  while (!open_.empty()) {
    closeFirst();
  }
  return complete_;
}

}  // namespace kxanalysis
