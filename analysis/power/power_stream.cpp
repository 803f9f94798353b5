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
  if (windows->longest() > static_cast<double>(PowerAnalyzer::longestWindow)) {
    return unsuitable("cycles", windows->cycles(), "a window would have more than 16777216 samples");
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
      windows_(std::move(windows)) {}

std::span<const PowerWindow> PowerStream::feed(std::span<const std::vector<double>> voltages,
                                               std::span<const std::vector<double>> currents) {
  channels_.assign(voltages.begin(), voltages.end());
  channels_.insert(channels_.end(), currents.begin(), currents.end());
  return analyze(windows_.feed(channels_));
}

std::span<const PowerWindow> PowerStream::finish() {
  return analyze(windows_.finish());
}

std::span<const PowerWindow> PowerStream::analyze(std::span<const CycleWindow> windows) {
  complete_.clear();
  for (const CycleWindow& window : windows) {
    PowerWindow figures = figuresOf(window);
    figures.place = {window.begin / rate_, window.length / rate_, window.frequency, {}};
    figures.place.flags.frequencyUnknown = !window.isSeen;
    figures.place.flags.frequencyMoved = window.hasMoved;
    complete_.push_back(std::move(figures));
  }
  return complete_;
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
  const auto kept = static_cast<size_t>(std::max(1.0, window.highestFrequency / window.frequency));
  for (PhaseFigures& phase : figures.phases) {
    for (SignalFigures* signal : {&phase.voltage, &phase.current}) {
      signal->harmonics.resize(std::min(signal->harmonics.size(), kept));
      signal->angles.resize(signal->harmonics.size());
    }
  }
  return figures;
}

}  // namespace kxanalysis
