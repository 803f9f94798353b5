#include "analysis/combustion/cycle_analysis.hpp"

#include <algorithm>
#include <cmath>

#include "analysis/number_text.hpp"
#include "recordings/recording.hpp"

namespace kxanalysis {
using namespace kxrecordings;
namespace {

/// What the kernels report when no pressure is above 0: the value that their search for a peak starts from.
constexpr float noPeak = 1.17549435e-38F;
constexpr uint32_t noPeakIndex = 0xFFFFFFFF;

std::string windowText(AngleWindow window) {
  return numberText(window.from, 6) + " to " + numberText(window.to, 6) + " degrees";
}

}  // namespace

/// Around bottom dead centre the gas stands still and has the intake's pressure; in the middle of the compression it
/// follows a polytrope: Randolph, Methods of Processing Cylinder-Pressure Transducer Signals to Maximize Data Accuracy,
/// SAE 900170 (1990).
AngleWindow defaultPeggingWindow(Pegging pegging) {
  return pegging == Pegging::polytropic ? AngleWindow{-100, -60} : AngleWindow{-190, -170};
}

/// Room for whole blocks of four samples, so that the kernel's remainder, which divides by another number, never runs.
WindowedAverage::WindowedAverage(const Functions& functions, size_t length, uint32_t window)
    : functions_(functions), length_(length), window_(window), sum_((length + 3) / 4 * 4), average_(sum_.size()) {}

/// While the window fills, the kernel divides the sum by the number of cycles that it is told. That is the number of
/// cycles in the sum here: one more than before this one, but for the first, which is to start the sum. The cycle that
/// fills the window is told as many as the window holds, which makes the kernel slide, so a cycle of zeros leaves.
void WindowedAverage::add(std::span<const float> cycle) {
  std::vector<float> newest(sum_.size()), leaving(sum_.size());
  std::copy(cycle.begin(), cycle.end(), newest.begin());
  const auto place = static_cast<size_t>(cycles_ % window_);
  if (place < history_.size()) {
    leaving.swap(history_[place]);
  } else {
    history_.emplace_back();
  }
  const uint64_t told = cycles_ == 0 ? 0 : cycles_ + 1;
  functions_.kxCalcCARunningVal(newest.data(), leaving.data(), sum_.data(), average_.data(), 0,
                                static_cast<uint32_t>(sum_.size() - 1), told, window_);
  history_[place] = std::move(newest);
  ++cycles_;
}

CycleAnalysis::CycleAnalysis(const Functions& functions, const Engine& engine, const AnalysisOptions& options,
                             const std::string& source, const std::vector<double>& angles)
    : functions_(functions),
      engine_(engine),
      options_(options),
      angles_(angles),
      pegging_(samplesIn(angles, options.peggingWindow.value_or(defaultPeggingWindow(options.pegging)))),
      smoother_(functions, options.smoothing, options.smoothingWidth, angles.size()),
      windowed_(functions, angles.size(), options.window),
      corrected_(angles.size()),
      smoothed_(angles.size()),
      average_(angles.size()),
      lowest_(angles.size(), INFINITY),
      highest_(angles.size(), -INFINITY) {
  requireSuitableAngles(source);
  for (const double angle : angles) {
    volumes_.push_back(static_cast<float>(engine.volume(angle)));
  }
}

void CycleAnalysis::requireSuitableAngles(const std::string& source) const {
  constexpr double tolerance = 1e-6;
  if (angles_.front() > closedCycle.from + tolerance || angles_.back() < closedCycle.to - tolerance) {
    throw FileError(source, "the crank angle runs from " + windowText({angles_.front(), angles_.back()}) +
                                ": -180 to 180 degrees are needed");
  }
  if (options_.smoothing != Smoothing::none && options_.smoothingWidth > angles_.size()) {
    throw FileError(source, "cycles of " + std::to_string(angles_.size()) + " samples cannot be smoothed over " +
                                std::to_string(options_.smoothingWidth));
  }
  const size_t needed = options_.pegging == Pegging::none ? 0 : options_.pegging == Pegging::intake ? 1 : 2;
  const std::pair<AngleWindow, size_t> windows[] = {
      {options_.peggingWindow.value_or(defaultPeggingWindow(options_.pegging)), needed},
      {options_.compression, 2},
      {options_.expansion, 2}};
  for (const auto& [window, samples] : windows) {
    if (samplesIn(angles_, window).count < samples) {
      throw FileError(source,
                      "holds less than " + std::to_string(samples) + " samples of a cycle from " + windowText(window));
    }
  }
}

double CycleAnalysis::zeroLevel(std::span<const float> raw) const {
  const auto window = raw.subspan(pegging_.first, pegging_.count);
  switch (options_.pegging) {
    case Pegging::none:
      return 0;
    case Pegging::intake: {
      Statistics<float> statistics;
      statistics.add(functions_, window);
      return statistics.average() - options_.intakePressure;
    }
    case Pegging::polytropic: {
      // raw = zero level + constant * V^-exponent is a line over V^-exponent.
      std::vector<double> powers, pressures(window.begin(), window.end());
      for (size_t i = 0; i < window.size(); ++i) {
        powers.push_back(std::pow(engine_.volume(angles_[pegging_.first + i]), -options_.peggingExponent));
      }
      const auto line = fitLine(powers, pressures);
      return line ? line->intercept : 0;
    }
  }
  throw std::logic_error("unknown pegging");
}

void CycleAnalysis::add(std::span<const float> raw) {
  const auto count = static_cast<uint32_t>(raw.size());
  const auto offset = static_cast<float>(zeroLevel(raw));
  float peak = 0;
  uint32_t peakIndex = 0;
  functions_.kxCalcCACopyRawDataToChannels(raw.data(), corrected_.data(), 0, count, offset, &peak, &peakIndex);
  smoother_.smooth(corrected_, smoothed_);

  CycleFigures figures{};
  figures.offset = static_cast<double>(offset);
  if (peakIndex != noPeakIndex) {
    figures.peak = static_cast<double>(peak);
    figures.peakAngle = angles_[peakIndex];
  }
  figures.meanEffectivePressure = grossMeanEffectivePressure(engine_, angles_, corrected_);
  figures.rise = steepestRise(angles_, smoothed_);
  figures.averagePeak = foldIntoAverages();
  Statistics<float> windowed;
  windowed.add(functions_, windowed_.curve());
  figures.windowedPeak = windowed.maximum();
  figures_.push_back(figures);
}

/// Returns the peak of the average of all cycles.
std::optional<double> CycleAnalysis::foldIntoAverages() {
  float peak = 0;
  functions_.kxCalcCAOverallPressure(smoothed_.data(), average_.data(), 0, static_cast<uint32_t>(smoothed_.size()),
                                     figures_.size(), &peak);
  windowed_.add(smoothed_);
  statistics_.add(functions_, std::span<const float>(smoothed_));
  for (size_t i = 0; i < smoothed_.size(); ++i) {
    lowest_[i] = std::min(lowest_[i], smoothed_[i]);
    highest_[i] = std::max(highest_[i], smoothed_[i]);
  }
  return peak > noPeak ? std::optional(static_cast<double>(peak)) : std::nullopt;
}

std::optional<Polytrope> CycleAnalysis::compression() const {
  return fitPolytrope(engine_, angles_, average_, options_.compression);
}

std::optional<Polytrope> CycleAnalysis::expansion() const {
  return fitPolytrope(engine_, angles_, average_, options_.expansion);
}

}  // namespace kxanalysis
