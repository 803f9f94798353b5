#include "host/reports/power_collector.hpp"

#include <utility>

#include "host/reports/recording_times.hpp"

namespace kxhost {
namespace {

PowerWindow withoutSpectra(PowerWindow window) {
  for (PhaseFigures& phase : window.phases) {
    for (SignalFigures* signal : {&phase.voltage, &phase.current}) {
      *signal = {signal->rms, {}, {}};
    }
  }
  return window;
}

}  // namespace

PowerCollector::PowerCollector(PowerReport& report, const PowerCollection& collection)
    : report_(&report), collection_(collection), frequencies_(report.rate) {
  for (const PowerIntervals& some : report.aggregates) {
    aggregations_.emplace_back(AggregationSettings{some.kind, clockOf(report.format), report.countsFlagged});
  }
}

void PowerCollector::take(const PowerStream& stream, std::span<const PowerWindow> windows) {
  report_->nominal = stream.nominal();
  report_->cycles = stream.cycles();
  for (const PowerWindow& window : windows) {
    report_->tally.add(window, stream.cycles());
    if (collection_.keepsWindows) {
      report_->windows.push_back(collection_.keepsSpectra ? window : withoutSpectra(window));
    }
  }
  report_->events.insert(report_->events.end(), stream.events().begin(), stream.events().end());
  const auto intervals = frequencies_.feed(stream.stretches());
  report_->frequencies.insert(report_->frequencies.end(), intervals.begin(), intervals.end());
  for (size_t i = 0; i < aggregations_.size(); ++i) {
    const auto complete = aggregations_[i].feed(windows);
    auto& all = report_->aggregates[i].intervals;
    all.insert(all.end(), complete.begin(), complete.end());
  }
}

void PowerCollector::finish() {
  for (size_t i = 0; i < aggregations_.size(); ++i) {
    const auto last = aggregations_[i].finish();
    auto& all = report_->aggregates[i].intervals;
    all.insert(all.end(), last.begin(), last.end());
  }
  if (report_->frequencies.empty()) {
    report_->frequencies.push_back(frequencies_.rest());
  }
  report_->mean = report_->tally.mean(report_->countsFlagged);
}

}  // namespace kxhost
