#include "analysis/power/power_stream.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kxanalysis {

Result<PowerStream> PowerStream::create(const Functions& functions, const PowerStreamSettings& settings,
                                        size_t phases) {
  auto windows = CycleWindows::create(settings.windows, phases);
  if (!windows) {
    return Problem{windows.problem()};
  }
  const PowerSettings nominal{settings.windows.rate, windows->nominal(), windows->cycles(), settings.correction};
  if (auto analyzer = PowerAnalyzer::create(functions, nominal); !analyzer) {
    return Problem{analyzer.problem()};
  }
  return PowerStream(functions, settings, phases, std::move(*windows));
}

PowerStream::PowerStream(const Functions& functions, const PowerStreamSettings& settings, size_t phases,
                         CycleWindows windows)
    : functions_(&functions),
      rate_(settings.windows.rate),
      correction_(settings.correction),
      phases_(phases),
      windows_(std::move(windows)),
      squares_(phases) {
  if (settings.declaredVoltage) {
    events_.setReference(std::vector<double>(phases, *settings.declaredVoltage));
    isReferenceDeclared_ = true;
  }
}

std::span<const PowerWindow> PowerStream::feed(std::span<const std::vector<double>> voltages,
                                               std::span<const std::vector<double>> currents) {
  channels_.assign(voltages.begin(), voltages.end());
  channels_.insert(channels_.end(), currents.begin(), currents.end());
  for (size_t i = 0; i < phases_; ++i) {
    squares_[i].feed(voltages[i]);
  }
  complete_.clear();
  newEvents_.clear();
  analyze(windows_.feed(channels_));
  return complete_;
}

std::span<const PowerWindow> PowerStream::finish() {
  complete_.clear();
  newEvents_.clear();
  analyze(windows_.finish());
  release(0);
  const auto open = events_.finish(end_ / rate_);
  newEvents_.insert(newEvents_.end(), open.begin(), open.end());
  return complete_;
}

void PowerStream::analyze(std::span<const CycleWindow> windows) {
  for (const CycleWindow& window : windows) {
    PowerWindow figures = figuresOf(window);
    figures.place = {window.begin / rate_, window.length / rate_, window.frequency, {}};
    figures.place.flags.frequencyUnknown = !window.isSeen;
    figures.place.flags.frequencyMoved = window.hasMoved;
    waiting_.push_back(std::move(figures));
    if (events_.reference().empty() && window.isSeen) {
      startReference(window);
    }
    takeHalfCycles(window);
    release(1);
  }
}

/// Rms values over the cycles that end in a window; the first one begins half a cycle before.
void PowerStream::takeHalfCycles(const CycleWindow& window) {
  const int count = 2 * windows_.cycles();
  std::optional<double> before = beforeLast_;
  double last = window.begin;
  for (int i = 1; i <= count; ++i) {
    const double next = window.begin + window.length * i / count;
    if (before) {
      judge(*before, next);
    }
    before = last;
    last = next;
  }
  beforeLast_ = before;
  end_ = last;
  for (SquareIntegral& squares : squares_) {
    squares.forget(*before);
  }
}

void PowerStream::judge(double begin, double end) {
  std::vector<double> volts;
  for (const SquareIntegral& squares : squares_) {
    volts.push_back(squares.rms(begin, end));
  }
  const auto over = events_.feed(begin / rate_, volts);
  newEvents_.insert(newEvents_.end(), over.begin(), over.end());
  for (PowerWindow& window : waiting_) {
    WindowPlace& place = window.place;
    if (begin / rate_ < place.begin + place.length && end / rate_ > place.begin) {
      place.flags.dip |= events_.isIn(VoltageEventKind::dip);
      place.flags.swell |= events_.isIn(VoltageEventKind::swell);
      place.flags.interruption |= events_.isIn(VoltageEventKind::interruption);
    }
  }
}

/// The middle value: the window may hold an event of less than half its length.
void PowerStream::startReference(const CycleWindow& window) {
  const int halves = 2 * windows_.cycles();
  std::vector<double> reference;
  for (const SquareIntegral& squares : squares_) {
    std::vector<double> volts;
    for (int i = 0; i + 2 <= halves; ++i) {
      volts.push_back(
          squares.rms(window.begin + window.length * i / halves, window.begin + window.length * (i + 2) / halves));
    }
    const auto middle = volts.begin() + static_cast<std::ptrdiff_t>(volts.size() / 2);
    std::ranges::nth_element(volts, middle);
    reference.push_back(*middle);
  }
  events_.setReference(std::move(reference));
}

/// Hands out the windows that wait, but for some last ones.
void PowerStream::release(size_t kept) {
  constexpr double timeConstant = 60;  // in s
  while (waiting_.size() > kept) {
    PowerWindow& window = waiting_.front();
    if (!isReferenceDeclared_ && !events_.reference().empty() && !window.place.flags.any()) {
      std::vector<double> reference(events_.reference().begin(), events_.reference().end());
      for (size_t i = 0; i < phases_; ++i) {
        reference[i] += (window.phases[i].voltage.rms - reference[i]) * window.place.length / timeConstant;
      }
      events_.setReference(std::move(reference));
    }
    complete_.push_back(std::move(window));
    waiting_.erase(waiting_.begin());
  }
}

/// A window is analysed as one of as many samples a cycle as it has.
PowerWindow PowerStream::figuresOf(const CycleWindow& window) {
  const size_t length = window.samples[0].size();
  if (!analyzer_ || analyzer_->windowLength() != length) {
    const double rate = static_cast<double>(length) * window.frequency / windows_.cycles();
    if (auto made = PowerAnalyzer::create(*functions_, {rate, window.frequency, windows_.cycles(), correction_})) {
      analyzer_.emplace(std::move(*made));
    }
  }
  const std::span samples(window.samples);
  PowerWindow figures = analyzer_->analyze(samples.first(phases_), samples.subspan(phases_));
  const double orders = window.highestFrequency / window.frequency;
  const auto kept = static_cast<size_t>(std::max(1.0, orders));
  for (PhaseFigures& phase : figures.phases) {
    for (SignalFigures* signal : {&phase.voltage, &phase.current}) {
      signal->harmonics.resize(std::min(signal->harmonics.size(), kept));
      signal->angles.resize(signal->harmonics.size());
      signal->groups.keepBelow(orders);
    }
  }
  return figures;
}

}  // namespace kxanalysis
