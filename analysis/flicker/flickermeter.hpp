// A flickermeter after IEC 61000-4-15, edition 2, up to the instantaneous sensation: filters designed for the sample rate,
// and the state that the kernels work on.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "analysis/flicker/flicker_severity.hpp"
#include "analysis/problem.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// The lamps of the standard.
enum class Lamp { volts230, volts120 };

/// The least sample rate: below, what the voltage's square holds above half of it comes back among the frequencies that
/// are weighted.
constexpr double leastFlickerRate = 4000;

/// What is to be measured: the lamp, and the nominal frequency of the mains.
struct FlickerSetting {
  Lamp lamp;
  double mains;  ///< in Hz, 50 or 60
};

/// In volts.
double nominalVoltage(Lamp lamp);

/// A lamp at its own mains frequency.
FlickerSetting nominalSetting(Lamp lamp);

/// What a lamp and its mains are called: "230 V/50 Hz".
std::string settingText(const FlickerSetting& setting);

/// The coefficients of all filters, laid out as the kernel takes them.
struct FlickerFilters {
  std::array<double, 3> lowPassGain, lowPassA1, lowPassA2;
  std::array<double, 3> highPass;
  std::array<double, 12> weight;
};

/// @param rate  in Hz, at least leastFlickerRate.
FlickerFilters designFlickerFilters(const FlickerSetting& setting, double rate);

/// Keeps the voltage at 1 V rms in the long run: the half-cycle rms values go through a first-order low-pass.
class VoltageAdaptor {
public:
  /// @param functions  they outlive the adaptor.
  static Result<VoltageAdaptor> create(const Functions& functions, const FlickerSetting& setting);

  /// Takes the next half cycle of voltage, at least one sample in any unit, and leaves it scaled. One that is not all
  /// finite is refused and changes nothing.
  /// @param scaled  as long as voltage.
  Result<> scale(std::span<const float> voltage, std::span<float> scaled);

  /// What is 1 V rms by now, 0 before any voltage has come.
  double reference() const { return reference_; }

private:
  VoltageAdaptor(const Functions& functions, double slowestWeight)
      : functions_(&functions), slowestWeight_(slowestWeight) {}

  const Functions* functions_;
  double slowestWeight_;
  uint64_t halfCycles_ = 0;
  double reference_ = 0;
};

/// Voltage in, instantaneous flicker sensation out (blocks 1 to 4). 1 is the threshold of perception. How the stream is
/// cut into blocks does not matter.
class Flickermeter {
public:
  /// @param functions  they outlive the meter.
  /// @param setting    any of the lamps, and mains of 50 or 60 Hz.
  /// @param rate       of the samples in Hz, at least leastFlickerRate.
  static Result<Flickermeter> create(const Functions& functions, const FlickerSetting& setting, double rate);

  /// Takes the voltage's next samples, any number of them in any unit; returns the sensation of all half cycles that
  /// they complete, one value a sample, which stays until the next call. A half cycle with a sample that is not finite
  /// is refused, after which the meter is of no more use.
  Result<std::span<const float>> feed(std::span<const float> voltage);

  /// Ends the stream: returns the sensation of the last half cycle, which may be a short one.
  Result<std::span<const float>> finish();

  /// Whether there was any voltage so far.
  bool hasVoltage() const { return adaptor_.reference() > 0; }

private:
  Flickermeter(const Functions& functions, const FlickerSetting& setting, double rate, VoltageAdaptor adaptor);

  Result<> takeHalfCycle();
  FlickerState state();
  size_t halfCycleLength(uint64_t index) const;

  const Functions* functions_;
  double samplesAHalfCycle_;
  VoltageAdaptor adaptor_;
  FlickerFilters filters_;
  std::array<double, 3> lowPassInput_{}, lowPassInput1_{}, lowPassInput2_{};
  std::array<double, 3> lowPassOutput_{}, lowPassOutput1_{}, lowPassOutput2_{};
  std::array<double, 3> weight1Output_{}, weight1Input_{}, weight2Input_{}, weight2Output_{};
  std::array<double, 2> square_{}, smooth_{}, highPassInput_{}, highPassOutput_{};
  uint64_t halfCycle_ = 0;
  std::vector<float> pending_, scaled_, sensation_;
};

}  // namespace kxanalysis
