#include "analysis/power/power_analysis.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

#include "analysis/number_text.hpp"

namespace kxanalysis {
namespace {

constexpr int mostOrders = 50;  // IEC 61000-4-7 goes up to there

bool isEven(size_t length) {
  return length % 2 == 0;
}

double windowLength(const PowerSettings& settings) {
  return std::round(settings.cycles * settings.rate / settings.frequency);
}

int orderCount(const PowerSettings& settings) {
  // The kernel of the angles reads the bin above that of the order, too; below half the sample rate there is one.
  const double highestBin = std::ceil(windowLength(settings) / 2) - 1;
  return static_cast<int>(std::min<double>(mostOrders, std::floor(highestBin / settings.cycles)));
}

}  // namespace

PowerFigures PowerWindow::total() const {
  PowerFigures sum;
  for (const PhaseFigures& phase : phases) {
    sum.active += phase.power.active;
    sum.reactive += phase.power.reactive;
    sum.apparent += phase.power.apparent;
  }
  return sum;
}

Result<PowerAnalyzer> PowerAnalyzer::create(const Functions& functions, const PowerSettings& settings) {
  if (!(settings.rate > 0 && std::isfinite(settings.rate))) {
    return unsuitable("rate", settings.rate, "it is above 0 Hz");
  }
  if (!(settings.frequency > 0 && std::isfinite(settings.frequency))) {
    return unsuitable("frequency", settings.frequency, "it is above 0 Hz");
  }
  if (settings.cycles < 1) {
    return unsuitable("cycles", settings.cycles, "a window has at least 1");
  }
  const double length = kxanalysis::windowLength(settings);
  if (length > static_cast<double>(longestWindow)) {
    return unsuitable("cycles", settings.cycles, "a window would have more than 16777216 samples");
  }
  if (kxanalysis::orderCount(settings) < 1) {
    return unsuitable(
        "rate", settings.rate,
        "too low to see " + numberText(settings.frequency, allDigits) + " Hz, more than twice that is needed");
  }
  auto transform = RealTransform::create(static_cast<size_t>(length));
  if (!transform) {
    return Problem{transform.problem()};
  }
  return PowerAnalyzer(functions, settings, std::move(*transform));
}

PowerAnalyzer::PowerAnalyzer(const Functions& functions, const PowerSettings& settings, RealTransform transform)
    : functions_(&functions),
      settings_(settings),
      transform_(std::move(transform)),
      orders_(kxanalysis::orderCount(settings)),
      bins_(transform_.binCount() + (isEven(transform_.length()) ? 0 : 1)) {
  if (settings.correction) {
    correction_ = settings.correction->factors(bins_, binWidth(), isEven(transform_.length()));
  }
}

PowerWindow PowerAnalyzer::analyze(std::span<const std::vector<double>> voltages,
                                   std::span<const std::vector<double>> currents) {
  PowerWindow window;
  float reference = 0;
  for (size_t i = 0; i < voltages.size(); ++i) {
    const Spectrum voltage = spectrumOf(voltages[i], true), current = spectrumOf(currents[i], false);
    if (i == 0) {
      reference = referencePhase(voltage.bins);
      window.strongestBin =
          functions_->kxcalcPowerFindIndexOfMaxAmplitude(voltage.bins.data(), static_cast<uint32_t>(bins_));
    }
    PhaseFigures phase{figuresOf(voltage, reference), figuresOf(current, reference), {}};
    functions_->kxcalcPowerPandQsum(voltage.bins.data(), current.bins.data(), static_cast<int32_t>(bins_),
                                    &phase.power.active, &phase.power.reactive);
    phase.power.apparent = phase.voltage.rms * phase.current.rms;
    window.phases.push_back(std::move(phase));
  }
  if (voltages.size() == 3) {
    window.voltageSequence = sequencesOf(window.phases, &PhaseFigures::voltage);
    window.currentSequence = sequencesOf(window.phases, &PhaseFigures::current);
  }
  return window;
}

/// Rms phasors: a component of rms X and sine phase p that fills a bin is X sin p + i X cos p there once the spectrum is
/// conjugated, which makes the reactive power of a lagging current positive, too. The first bin and the last
/// come out sqrt 2 too large; the half weights that the kernels give them in sums of squares set that right.
PowerAnalyzer::Spectrum PowerAnalyzer::spectrumOf(const std::vector<double>& samples, bool isVoltage) {
  const double scale = std::numbers::sqrt2 / static_cast<double>(transform_.length());
  const bool isCorrected = isVoltage && !correction_.empty();
  const auto bins = transform_.transform(samples);
  Spectrum spectrum;
  spectrum.bins.reserve(2 * bins_);
  for (const std::complex<double>& bin : bins) {
    spectrum.bins.push_back(static_cast<float>(bin.real() * scale));
    spectrum.bins.push_back(static_cast<float>(bin.imag() * scale));
  }
  spectrum.bins.resize(2 * bins_);
  if (isCorrected) {
    functions_->kxcalcPowerCorrectFFT_U(spectrum.bins.data(), correction_.data(), static_cast<int32_t>(bins_));
  }
  functions_->kxcalcPowerNegateImag_float(spectrum.bins.data(), static_cast<uint32_t>(spectrum.bins.size()));

  const size_t belowHalfTheRate = (transform_.length() + 1) / 2;
  const size_t grouped =
      std::min(static_cast<size_t>(orders_ + 1) * static_cast<size_t>(settings_.cycles), belowHalfTheRate);
  for (size_t bin = 0; bin < grouped; ++bin) {
    const double gain = isCorrected ? gainAt(bin) : 1;
    spectrum.squares.push_back(std::norm(bins[bin] * scale * gain));
  }
  return spectrum;
}

double PowerAnalyzer::gainAt(size_t bin) const {
  return std::hypot(static_cast<double>(correction_[2 * bin]), static_cast<double>(correction_[2 * bin + 1]));
}

double PowerAnalyzer::squareSum(const std::vector<float>& spectrum, size_t firstBin, size_t count) const {
  return functions_->kxcalcPowerHarmonicZero(spectrum.data() + 2 * firstBin, static_cast<uint32_t>(count));
}

/// What the kernel of the angles is to subtract from order 1: the first voltage's own phase. It lies between 0 and 360:
/// the kernel takes angles that are more than a turn ahead of their reference with the wrong sign.
float PowerAnalyzer::referencePhase(const std::vector<float>& voltage) const {
  constexpr float turn = 360;
  std::array<float, 2> angles{};
  functions_->kxcalcPowerAngles(voltage.data(), angles.data(), 1, 0, static_cast<float>(settings_.cycles));
  const float phase = -angles[1];  // the kernel's angles run backwards
  return phase < 0 ? phase + turn : phase;
}

SignalFigures PowerAnalyzer::figuresOf(const Spectrum& spectrum, float reference) const {
  SignalFigures figures;
  const double ends = squareSum(spectrum.bins, 0, 1) + squareSum(spectrum.bins, bins_ - 1, 1);
  figures.rms = std::sqrt(squareSum(spectrum.bins, 1, bins_ - 2) + ends / 2);

  std::vector<float> angles(static_cast<size_t>(orders_) + 1);  // entry 0 is not used
  functions_->kxcalcPowerAngles(spectrum.bins.data(), angles.data(), orders_, reference,
                                static_cast<float>(settings_.cycles));
  for (size_t order = 1; order < angles.size(); ++order) {
    const double square = squareSum(spectrum.bins, order * static_cast<size_t>(settings_.cycles), 1);
    figures.harmonics.push_back(static_cast<float>(std::sqrt(square)));
    figures.angles.push_back(0 - angles[order]);  // 0 stays without a sign
  }
  figures.groups = groupsOf(spectrum.squares, static_cast<size_t>(settings_.cycles), static_cast<size_t>(orders_));
  return figures;
}

SequenceFigures PowerAnalyzer::sequencesOf(std::span<const PhaseFigures> phases,
                                           SignalFigures PhaseFigures::*signal) const {
  std::array<float, 3> magnitudes{}, angles{};
  for (size_t i = 0; i < magnitudes.size(); ++i) {
    magnitudes[i] = (phases[i].*signal).harmonics[0];
    angles[i] = -(phases[i].*signal).angles[0];  // the kernel's positive sequence is 0, 120, 240 degrees
  }
  SequenceFigures figures;
  float negativeRatioOfSums = 0, zeroRatioOfSums = 0;  // of one order the same as the ratios of the first
  const PowerUnbalanceArgs args{&magnitudes[0],     &magnitudes[1],
                                &magnitudes[2],     &angles[0],
                                &angles[1],         &angles[2],
                                &figures.zero,      &figures.positive,
                                &figures.negative,  &negativeRatioOfSums,
                                &zeroRatioOfSums,   &figures.negativeRatio,
                                &figures.zeroRatio, 1};
  functions_->kxcalcPowerUnbalance(&args);
  return figures;
}

}  // namespace kxanalysis
