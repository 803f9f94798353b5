#include "analysis/combustion/cycle_analysis.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <utility>

#include "analysis/number_text.hpp"

namespace kxanalysis {
namespace {

/// What the kernels report when no pressure is above 0: the value that their search for a peak starts from.
constexpr float noPeak = 1.17549435e-38F;
constexpr uint32_t noPeakIndex = 0xFFFFFFFF;

std::string windowText(AngleWindow window) {
  return numberText(window.from, 6) + " to " + numberText(window.to, 6) + " degrees";
}

AngleWindow peggingWindowOf(const AnalysisOptions& options) {
  return options.peggingWindow.value_or(defaultPeggingWindow(options.pegging));
}

/// What keeps cycles at these angles from being analysed so.
std::optional<Problem> problemOf(const AnalysisOptions& options, const std::vector<double>& angles) {
  constexpr double tolerance = 1e-6;
  if (angles.size() < 2 || !std::ranges::is_sorted(angles, std::less_equal())) {
    return Problem{"the crank angle does not rise"};
  }
  if (!(angles.front() <= closedCycle.from + tolerance && angles.back() >= closedCycle.to - tolerance)) {
    return Problem{"the crank angle runs from " + windowText({angles.front(), angles.back()}) +
                   ": -180 to 180 degrees are needed"};
  }
  const size_t needed = options.pegging == Pegging::none ? 0 : options.pegging == Pegging::intake ? 1 : 2;
  const std::pair<AngleWindow, size_t> windows[] = {{peggingWindowOf(options), needed},
                                                    {options.compression, 2},
                                                    {options.expansion, 2},
                                                    {options.rise, 3},
                                                    {options.burn, 3}};
  for (const auto& [window, samples] : windows) {
    if (samplesIn(angles, window).count < samples) {
      return Problem{"holds less than " + std::to_string(samples) + " samples of a cycle from " + windowText(window)};
    }
  }
  return std::nullopt;
}

}  // namespace

/// Around bottom dead centre the gas stands still and has the intake's pressure; in the middle of the compression it
/// follows a polytrope: Randolph, Methods of Processing Cylinder-Pressure Transducer Signals to Maximize Data Accuracy,
/// SAE 900170 (1990).
AngleWindow defaultPeggingWindow(Pegging pegging) {
  return pegging == Pegging::polytropic ? AngleWindow{-100, -60} : AngleWindow{-190, -170};
}

Result<CycleAnalysis> CycleAnalysis::create(const Functions& functions, const Engine& engine,
                                            const AnalysisOptions& options, const std::vector<double>& angles) {
  if (const auto measures = checked(engine); !measures) {
    return Problem{measures.problem()};
  }
  if (options.window < 1) {
    return unsuitable("window", options.window, "at least 1 cycle is averaged");
  }
  if (auto problem = problemOf(options, angles)) {
    return std::move(*problem);
  }
  auto smoother = CycleSmoother::create(functions, options.smoothing, options.smoothingWidth, angles.size());
  if (!smoother) {
    return Problem{smoother.problem()};
  }
  return CycleAnalysis(functions, engine, options, angles, std::move(*smoother));
}

CycleAnalysis::CycleAnalysis(const Functions& functions, const Engine& engine, const AnalysisOptions& options,
                             const std::vector<double>& angles, CycleSmoother smoother)
    : functions_(&functions),
      engine_(engine),
      options_(options),
      angles_(angles),
      pegging_(samplesIn(angles, peggingWindowOf(options))),
      smoother_(std::move(smoother)),
      windowed_(functions, angles.size(), options.window),
      corrected_(angles.size()),
      smoothed_(angles.size()),
      average_(angles.size()),
      lowest_(angles.size(), INFINITY),
      highest_(angles.size(), -INFINITY),
      statistics_(functions, 0, angles.size()) {
  for (const double angle : angles) {
    volumes_.push_back(static_cast<float>(engine.volume(angle)));
  }
}

double CycleAnalysis::zeroLevel(std::span<const float> raw) const {
  const auto window = raw.subspan(pegging_.first, pegging_.count);
  switch (options_.pegging) {
    case Pegging::none:
      return 0;
    case Pegging::intake: {
      Statistics<float> statistics(*functions_, 0, window.size());
      statistics.feed(window);
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
  return 0;
}

CycleFigures CycleAnalysis::feed(std::span<const float> raw) {
  const auto count = static_cast<uint32_t>(raw.size());
  const auto offset = static_cast<float>(zeroLevel(raw));
  float peak = 0;
  uint32_t peakIndex = 0;
  functions_->kxCalcCACopyRawDataToChannels(raw.data(), corrected_.data(), 0, count, offset, &peak, &peakIndex);
  smoother_.smooth(corrected_, smoothed_);

  CycleFigures figures{};
  figures.offset = static_cast<double>(offset);
  if (peakIndex != noPeakIndex) {
    figures.peak = static_cast<double>(peak);
    // Of equal peaks the kernel names the first of some lane.
    const auto first = std::find(corrected_.begin(), corrected_.end(), peak) - corrected_.begin();
    figures.peakAngle = angles_[static_cast<size_t>(first)];
  }
  figures.meanEffectivePressure = grossMeanEffectivePressure(engine_, angles_, corrected_);
  figures.netMeanEffectivePressure = netMeanEffectivePressure(engine_, angles_, corrected_);
  figures.rise = steepestRise(angles_, smoothed_, options_.rise);
  figures.burn = burn();
  figures.averagePeak = foldIntoAverages();
  Statistics<float> windowed(*functions_);
  windowed.feed(windowed_.curve());
  figures.windowedPeak = windowed.maximum();
  ++cycles_;
  return figures;
}

std::optional<HeatRelease> CycleAnalysis::burn() const {
  auto exponents = options_.heatExponents;
  if (!exponents) {
    const auto compression = fitPolytrope(engine_, angles_, smoothed_, options_.compression);
    const auto expansion = fitPolytrope(engine_, angles_, smoothed_, options_.expansion);
    if (!compression || !expansion) {
      return std::nullopt;
    }
    exponents = HeatExponents{compression->exponent, expansion->exponent};
  }
  return heatRelease(engine_, angles_, smoothed_, options_.burn, *exponents);
}

/// Returns the peak of the average of all cycles.
std::optional<double> CycleAnalysis::foldIntoAverages() {
  float peak = 0;
  functions_->kxCalcCAOverallPressure(smoothed_.data(), average_.data(), 0, static_cast<uint32_t>(smoothed_.size()),
                                      cycles_, &peak);
  windowed_.feed(smoothed_);
  statistics_.feed(smoothed_);
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
