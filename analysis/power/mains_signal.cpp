#include "analysis/power/mains_signal.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace kxanalysis {
namespace {

constexpr double degreesATurn = 360, degreesAPhase = 120;

}  // namespace

Result<MainsSignal> MainsSignal::create(const Functions& functions, const MainsSettings& settings) {
  if (!(settings.rate > 0 && std::isfinite(settings.rate))) {
    return unsuitable("rate", settings.rate, "it is above 0 Hz");
  }
  if (!(settings.frequency > 0 && settings.frequency < settings.rate / 2)) {
    return unsuitable("frequency", settings.frequency, "it must be above 0 Hz and below half of the sample rate");
  }
  for (const auto& [name, value] : {std::pair("voltage", settings.voltage),
                                    {"current", settings.current},
                                    {"lag", settings.lag},
                                    {"unbalance", settings.unbalance},
                                    {"distortion", settings.distortion},
                                    {"flicker", settings.flicker},
                                    {"flicker rate", settings.flickerRate},
                                    {"noise", settings.noise}}) {
    if (!std::isfinite(value)) {
      return unsuitable(name, value, "it is a finite number");
    }
  }
  return MainsSignal(functions, settings);
}

MainsSignal::MainsSignal(const Functions& functions, const MainsSettings& settings)
    : functions_(&functions), settings_(settings), random_(settings.seed) {
  for (int phase = 0; phase < static_cast<int>(phases); ++phase) {
    sines_.push_back(voltage(phase));
  }
  for (int phase = 0; phase < static_cast<int>(phases); ++phase) {
    sines_.push_back(current(phase));
  }
}

MainsSignal::Sine MainsSignal::sine(int order, double rms, double degrees) const {
  return {order * settings_.frequency, std::numbers::sqrt2 * rms, degrees / degreesATurn};
}

std::vector<MainsSignal::Sine> MainsSignal::voltage(int phase) const {
  constexpr double negativePhase = 30, zeroPhase = -60;
  const double step = degreesAPhase * phase, percent = settings_.voltage / 100;
  std::vector<Sine> sines{sine(1, settings_.voltage, -step),
                          sine(1, settings_.unbalance * percent, negativePhase + step),
                          sine(1, settings_.unbalance / 2 * percent, zeroPhase)};
  for (const MainsHarmonic& harmonic : mainsHarmonics) {
    sines.push_back(sine(harmonic.order, settings_.distortion / 100 * harmonic.voltage * percent,
                         harmonic.voltagePhase - harmonic.order * step));
  }
  return sines;
}

/// Loads answer unbalanced voltages with currents that are more so; three wires carry no zero sequence.
std::vector<MainsSignal::Sine> MainsSignal::current(int phase) const {
  constexpr double excess = 4, negativePhase = 100;
  const double step = degreesAPhase * phase, percent = settings_.current / 100;
  std::vector<Sine> sines{sine(1, settings_.current, -settings_.lag - step),
                          sine(1, excess * settings_.unbalance * percent, negativePhase + step)};
  for (const MainsHarmonic& harmonic : mainsHarmonics) {
    sines.push_back(sine(harmonic.order, settings_.distortion / 100 * harmonic.current * percent,
                         harmonic.currentPhase - harmonic.order * step));
  }
  return sines;
}

/// Adds the sine's next values. Those at half the sample rate and above would come back below it and are left out. The
/// kernel takes another sine for fewer than four angles: it gets that many at least, so that blocks do not matter.
void MainsSignal::add(const Sine& sine, std::span<double> values) {
  if (sine.frequency >= settings_.rate / 2) {
    return;
  }
  constexpr size_t leastAngles = 4;
  angles_.resize(std::max(values.size(), leastAngles));
  values_.resize(angles_.size());
  for (size_t i = 0; i < values.size(); ++i) {
    const double turns = sine.frequency * static_cast<double>(position_ + i) / settings_.rate + sine.turns;
    angles_[i] = static_cast<float>(2 * std::numbers::pi * (turns - std::round(turns)));
  }
  functions_->kxcalcSin_float(angles_.data(), values_.data(), static_cast<uint32_t>(values_.size()));
  for (size_t i = 0; i < values.size(); ++i) {
    values[i] += sine.amplitude * static_cast<double>(values_[i]);
  }
}

void MainsSignal::next(std::span<float> samples) {
  const size_t frames = samples.size() / channels;
  std::vector<double> values(frames), envelope(frames, 1);
  add({settings_.flickerRate, settings_.flicker / 200, 0}, envelope);  // peak to peak is twice the amplitude
  for (size_t channel = 0; channel < channels; ++channel) {
    const bool isVoltage = channel < phases;
    values.assign(frames, 0);
    for (const Sine& sine : sines_[channel]) {
      add(sine, values);
    }
    const double noise = settings_.noise / 100 * (isVoltage ? settings_.voltage : settings_.current);
    for (size_t i = 0; i < frames; ++i) {
      const double value = (isVoltage ? envelope[i] : 1) * values[i] + noise * normal_(random_);
      samples[i * channels + channel] = static_cast<float>(value);
    }
  }
  position_ += frames;
}

}  // namespace kxanalysis
