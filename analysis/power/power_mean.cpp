#include "analysis/power/power_mean.hpp"

#include <cmath>
#include <complex>
#include <numbers>

namespace kxanalysis {
namespace {

/// Root mean square, over those windows that have the figure.
class RootMeanSquare {
public:
  void add(double value) {
    squares_ += value * value;
    ++count_;
  }

  double value() const { return count_ > 0 ? std::sqrt(squares_ / count_) : std::numeric_limits<double>::quiet_NaN(); }

private:
  double squares_ = 0;
  double count_ = 0;
};

template <class FigureOf>
double rootMeanSquare(const std::vector<PowerWindow>& windows, FigureOf figureOf) {
  RootMeanSquare mean;
  for (const PowerWindow& window : windows) {
    mean.add(static_cast<double>(figureOf(window)));
  }
  return mean.value();
}

SignalFigures meanSignal(const std::vector<PowerWindow>& windows, size_t phase, SignalFigures PhaseFigures::*signal) {
  constexpr double degrees = 180 / std::numbers::pi;
  const auto of = [&](const PowerWindow& window) -> const SignalFigures& { return window.phases[phase].*signal; };
  SignalFigures mean;
  mean.rms = rootMeanSquare(windows, [&](const PowerWindow& window) { return of(window).rms; });
  for (size_t i = 0; i < of(windows[0]).harmonics.size(); ++i) {
    std::complex<double> phasors;
    for (const PowerWindow& window : windows) {
      phasors +=
          std::polar(static_cast<double>(of(window).harmonics[i]), static_cast<double>(of(window).angles[i]) / degrees);
    }
    mean.harmonics.push_back(static_cast<float>(
        rootMeanSquare(windows, [&](const PowerWindow& window) { return of(window).harmonics[i]; })));
    mean.angles.push_back(static_cast<float>(std::arg(phasors) * degrees));
  }
  return mean;
}

PowerFigures meanPower(const std::vector<PowerWindow>& windows, size_t phase) {
  PowerFigures mean;
  const auto count = static_cast<double>(windows.size());
  for (const PowerWindow& window : windows) {
    mean.active += window.phases[phase].power.active / count;
    mean.reactive += window.phases[phase].power.reactive / count;
    mean.apparent += window.phases[phase].power.apparent / count;
  }
  return mean;
}

SequenceFigures meanSequences(const std::vector<PowerWindow>& windows,
                              std::optional<SequenceFigures> PowerWindow::*sequences) {
  SequenceFigures mean;
  for (float SequenceFigures::*figure : {&SequenceFigures::positive, &SequenceFigures::negative, &SequenceFigures::zero,
                                         &SequenceFigures::negativeRatio, &SequenceFigures::zeroRatio}) {
    RootMeanSquare square;
    for (const PowerWindow& window : windows) {
      if (const float value = *(window.*sequences).*figure; !std::isnan(value)) {
        square.add(static_cast<double>(value));
      }
    }
    mean.*figure = static_cast<float>(square.value());
  }
  return mean;
}

}  // namespace

PowerWindow meanOf(const std::vector<PowerWindow>& windows) {
  PowerWindow mean;
  for (size_t i = 0; i < windows[0].phases.size(); ++i) {
    mean.phases.push_back({meanSignal(windows, i, &PhaseFigures::voltage),
                           meanSignal(windows, i, &PhaseFigures::current), meanPower(windows, i)});
  }
  if (windows[0].voltageSequence) {
    mean.voltageSequence = meanSequences(windows, &PowerWindow::voltageSequence);
    mean.currentSequence = meanSequences(windows, &PowerWindow::currentSequence);
  }
  return mean;
}

}  // namespace kxanalysis
