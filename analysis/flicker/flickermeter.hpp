// A flickermeter after IEC 61000-4-15, edition 2: filters designed for the sample rate, the state that the kernels work on,
// and the evaluation of what they give.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "analysis/flicker/flicker_severity.hpp"
#include "analysis/statistics/statistics.hpp"
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
  double mains;  ///< in Hz
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

FlickerFilters designFlickerFilters(const FlickerSetting& setting, double rate);

/// Keeps the voltage at 1 V rms in the long run: the half-cycle rms values go through a first-order low-pass.
class VoltageAdaptor {
public:
  VoltageAdaptor(const Functions& functions, const FlickerSetting& setting);

  /// Takes a half cycle of voltage in any unit and leaves it scaled. Throws std::range_error if it is not all finite.
  void scale(std::span<const float> voltage, std::span<float> scaled);

  /// What is 1 V rms by now, 0 before any voltage has come.
  double reference() const { return reference_; }

private:
  const Functions& functions_;
  double slowestWeight_;
  uint64_t halfCycles_ = 0;
  double reference_ = 0;
};

/// Voltage in, instantaneous flicker sensation out (blocks 1 to 4). 1 is the threshold of perception.
class Flickermeter {
public:
  /// @param rate  in Hz, at least leastFlickerRate.
  Flickermeter(const Functions& functions, const FlickerSetting& setting, double rate);
  Flickermeter(const Flickermeter&) = delete;
  Flickermeter& operator=(const Flickermeter&) = delete;

  /// Feeds the next samples; returns the sensation of all half cycles that they complete, one value a sample, which
  /// stays until the next call. Throws std::range_error if samples are not finite.
  std::span<const float> feed(std::span<const float> voltage);

  /// Ends the stream: returns the sensation of the last half cycle, which may be a short one.
  std::span<const float> finish();

  /// Whether there was any voltage so far.
  bool hasVoltage() const { return adaptor_.reference() > 0; }

private:
  void takeHalfCycle();
  size_t halfCycleLength(uint64_t index) const;

  const Functions& functions_;
  double samplesAHalfCycle_;
  VoltageAdaptor adaptor_;
  FlickerFilters filters_;
  std::array<double, 3> lowPassInput_{}, lowPassInput1_{}, lowPassInput2_{};
  std::array<double, 3> lowPassOutput_{}, lowPassOutput1_{}, lowPassOutput2_{};
  std::array<double, 3> weight1Output_{}, weight1Input_{}, weight2Input_{}, weight2Output_{};
  std::array<double, 2> square_{}, smooth_{}, highPassInput_{}, highPassOutput_{};
  FlickerState state_;
  uint64_t halfCycle_ = 0;
  std::vector<float> pending_, scaled_, sensation_;
};

/// The sensation of one observation period.
struct FlickerPeriod {
  Statistics<float> sensation;
  ClassCounts classes{};
};

/// Cuts a stream of sensation into observation periods of one length, after what is left out while the filters settle.
class FlickerObservation {
public:
  /// @param settling, length  in samples; the length from 1 to what a counter of samples holds.
  FlickerObservation(const Functions& functions, uint64_t settling, uint64_t length)
      : functions_(functions), settling_(settling), length_(length) {}

  void add(std::span<const float> sensation);

  /// The periods that are complete.
  const std::vector<FlickerPeriod>& periods() const { return periods_; }

private:
  const Functions& functions_;
  uint64_t settling_;
  uint64_t length_;
  FlickerPeriod current_;
  std::vector<float> classified_;
  std::vector<FlickerPeriod> periods_;
};

}  // namespace kxanalysis
