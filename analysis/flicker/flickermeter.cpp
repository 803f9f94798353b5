#include "analysis/flicker/flickermeter.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "analysis/channel_values/channel_values.hpp"
#include "analysis/number_text.hpp"
#include "analysis/statistics/statistics.hpp"

namespace kxanalysis {
namespace {

constexpr double pi = std::numbers::pi;

/// The weighting filter of a lamp and its eye: F(s) = gain w1 s / (s^2 + 2 lambda s + w1^2) * (1 + s/w2) / ((1 + s/w3)
/// (1 + s/w4)), all but the gain in Hz (IEC 61000-4-15, block 3).
struct LampModel {
  double gain, lambda, w1, w2, w3, w4;
};

LampModel modelOf(Lamp lamp) {
  return lamp == Lamp::volts230 ? LampModel{1.74802, 4.05981, 9.15494, 2.27979, 1.22535, 21.9}
                                : LampModel{1.6357, 4.167375, 9.077169, 2.939902, 1.394468, 17.31512};
}

// All filters are bilinear transforms, s = c (1 - 1/z) / (1 + 1/z), with c = w / tan(w / (2 rate)) where the response at
// w is to be that of the analog filter (prewarping), else c = 2 rate (Oppenheim and Schafer, Discrete-Time Signal
// Processing, 7.1.2).

/// Butterworth of the sixth order, -3 dB at 35 Hz for mains of 50 Hz and at 42 Hz for 60 Hz (block 3), as three sections
/// with gain (1 + 1/z)^2 / (1 + a1/z + a2/z^2). The pole pairs have the quality factors 1 / (2 cos((2 k + 1) pi / 12)).
void designLowPass(double mains, double rate, FlickerFilters& filters) {
  const double corner = mains < 55 ? 35 : 42;
  const double k = std::tan(pi * corner / rate);
  for (size_t i = 0; i < filters.lowPassGain.size(); ++i) {
    const double damping = 2 * std::cos((2 * static_cast<double>(i) + 1) * pi / 12);
    const double a0 = 1 + damping * k + k * k;
    filters.lowPassGain[i] = k * k / a0;
    filters.lowPassA1[i] = 2 * (k * k - 1) / a0;
    filters.lowPassA2[i] = (1 - damping * k + k * k) / a0;
  }
}

/// First order, -3 dB at 0.05 Hz (block 3).
void designHighPass(double rate, FlickerFilters& filters) {
  const double k = std::tan(pi * 0.05 / rate);
  filters.highPass = {1 / (1 + k), -1 / (1 + k), (1 - k) / (1 + k)};
}

/// Prewarped at the resonance w1, beside which, at 8.8 Hz, the filter has its largest gain. The feedback coefficients
/// carry the signs with which the kernel adds them.
void designWeighting(const LampModel& model, double rate, FlickerFilters& filters) {
  const double w1 = 2 * pi * model.w1, lambda = 2 * pi * model.lambda;
  const double c = w1 / std::tan(w1 / (2 * rate));
  const double resonance0 = c * c + 2 * lambda * c + w1 * w1;
  const double band = model.gain * w1 * c / resonance0;
  const double zero = c / (2 * pi * model.w2), pole3 = c / (2 * pi * model.w3), pole4 = c / (2 * pi * model.w4);
  const double slopes0 = (1 + pole3) * (1 + pole4);
  const double slopes1 = (1 + pole3) * (1 - pole4) + (1 - pole3) * (1 + pole4);
  filters.weight[0] = band;
  filters.weight[1] = -band;
  filters.weight[2] = 2 * (c * c - w1 * w1) / resonance0;
  filters.weight[3] = -(c * c - 2 * lambda * c + w1 * w1) / resonance0;
  filters.weight[4] = (1 + zero) / slopes0;
  filters.weight[5] = 2 / slopes0;
  filters.weight[6] = (1 - zero) / slopes0;
  filters.weight[7] = -slopes1 / slopes0;
  filters.weight[8] = -(1 - pole3) * (1 - pole4) / slopes0;
}

/// First order with a time constant of 300 ms (block 4).
void designSmoothing(double rate, FlickerFilters& filters) {
  const double pole = 2 * rate * 0.3;
  filters.weight[9] = 1 / (1 + pole);
  filters.weight[10] = 1 / (1 + pole);
  filters.weight[11] = -(1 - pole) / (1 + pole);
}

}  // namespace

double nominalVoltage(Lamp lamp) {
  return lamp == Lamp::volts230 ? 230 : 120;
}

FlickerSetting nominalSetting(Lamp lamp) {
  return {lamp, lamp == Lamp::volts230 ? 50.0 : 60.0};
}

std::string settingText(const FlickerSetting& setting) {
  return numberText(nominalVoltage(setting.lamp), allDigits) + " V/" + numberText(setting.mains, allDigits) + " Hz";
}

FlickerFilters designFlickerFilters(const FlickerSetting& setting, double rate) {
  FlickerFilters filters{};
  designLowPass(setting.mains, rate, filters);
  designHighPass(rate, filters);
  designWeighting(modelOf(setting.lamp), rate, filters);
  designSmoothing(rate, filters);
  return filters;
}

/// The step response takes one minute from 10 % to 90 % (block 1), which is ln 9 time constants.
Result<VoltageAdaptor> VoltageAdaptor::create(const Functions& functions, const FlickerSetting& setting) {
  if (setting.mains != 50 && setting.mains != 60) {
    return unsuitable("mains", setting.mains, "the standard knows 50 and 60 Hz");
  }
  return VoltageAdaptor(functions, -std::expm1(-std::log(9.0) / (60 * 2 * setting.mains)));
}

Result<> VoltageAdaptor::scale(std::span<const float> voltage, std::span<float> scaled) {
  Statistics<float> statistics(*functions_, 0, voltage.size());
  statistics.feed(voltage);
  const double rms = std::sqrt(statistics.meanSquare());
  if (!std::isfinite(rms)) {
    return Problem{"holds a sample that is not a finite number"};
  }
  // A plain mean until it is slower than the low-pass, which so starts without a memory of its own.
  ++halfCycles_;
  reference_ += std::max(1 / static_cast<double>(halfCycles_), slowestWeight_) * (rms - reference_);
  const double factor = reference_ > static_cast<double>(std::numeric_limits<float>::min()) ? 1 / reference_ : 0;
  channelValues(*functions_, voltage.data(), 1, {factor, 0}, scaled);
  return Done{};
}

Result<Flickermeter> Flickermeter::create(const Functions& functions, const FlickerSetting& setting, double rate) {
  if (!(rate >= leastFlickerRate && std::isfinite(rate))) {
    return unsuitable("rate", rate, "flicker needs at least 4000 Hz");
  }
  auto adaptor = VoltageAdaptor::create(functions, setting);
  if (!adaptor) {
    return Problem{adaptor.problem()};
  }
  return Flickermeter(functions, setting, rate, std::move(*adaptor));
}

Flickermeter::Flickermeter(const Functions& functions, const FlickerSetting& setting, double rate,
                           VoltageAdaptor adaptor)
    : functions_(&functions),
      samplesAHalfCycle_(rate / (2 * setting.mains)),
      adaptor_(adaptor),
      filters_(designFlickerFilters(setting, rate)) {
  // The mean of what the demodulator makes of 1 V rms: the low-pass starts as if it had been settled for long. The
  // marker makes the high-pass start so, too.
  constexpr double settled = 0.5, startMarker = -9999999.0;
  for (auto* history : {&lowPassInput1_, &lowPassInput2_, &lowPassOutput1_, &lowPassOutput2_}) {
    history->fill(settled);
  }
  highPassInput_[0] = startMarker;
}

/// Made anew for each call, since it points into this object, which may have moved.
FlickerState Flickermeter::state() {
  return {lowPassInput_.data(),
          lowPassInput1_.data(),
          lowPassInput2_.data(),
          lowPassOutput_.data(),
          lowPassOutput1_.data(),
          lowPassOutput2_.data(),
          filters_.lowPassGain.data(),
          filters_.lowPassA1.data(),
          filters_.lowPassA2.data(),
          filters_.weight.data(),
          filters_.highPass.data(),
          weight1Output_.data(),
          weight1Input_.data(),
          weight2Input_.data(),
          weight2Output_.data(),
          square_.data(),
          smooth_.data(),
          highPassInput_.data(),
          highPassOutput_.data()};
}

Result<std::span<const float>> Flickermeter::feed(std::span<const float> voltage) {
  sensation_.clear();
  while (!voltage.empty()) {
    const size_t length = halfCycleLength(halfCycle_);
    const auto part = voltage.first(std::min(voltage.size(), length - pending_.size()));
    pending_.insert(pending_.end(), part.begin(), part.end());
    voltage = voltage.subspan(part.size());
    if (pending_.size() == length) {
      if (const auto taken = takeHalfCycle(); !taken) {
        return Problem{taken.problem()};
      }
    }
  }
  return std::span<const float>(sensation_);
}

Result<std::span<const float>> Flickermeter::finish() {
  sensation_.clear();
  if (!pending_.empty()) {
    if (const auto taken = takeHalfCycle(); !taken) {
      return Problem{taken.problem()};
    }
  }
  return std::span<const float>(sensation_);
}

Result<> Flickermeter::takeHalfCycle() {
  scaled_.resize(pending_.size());
  if (auto scaled = adaptor_.scale(pending_, scaled_); !scaled) {
    return scaled;
  }
  const size_t before = sensation_.size();
  sensation_.resize(before + scaled_.size());
  const FlickerState kept = state();
  functions_->kxcalcPowerFlicker(&kept, scaled_.data(), sensation_.data() + before,
                                 static_cast<int32_t>(scaled_.size()));
  pending_.clear();
  ++halfCycle_;
  return Done{};
}

/// Half cycles are seldom a whole number of samples: each ends at the sample that is nearest.
size_t Flickermeter::halfCycleLength(uint64_t index) const {
  const auto end = [&](uint64_t halfCycles) {
    return static_cast<uint64_t>(std::llround(static_cast<double>(halfCycles) * samplesAHalfCycle_));
  };
  return static_cast<size_t>(end(index + 1) - end(index));
}

}  // namespace kxanalysis
