// Power of one to three phases from the spectra of their voltages and currents, window by window.
#pragma once

#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "analysis/power/correction_curve.hpp"
#include "analysis/spectra/spectrum.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

struct PowerSettings {
  double rate = 0;             ///< samples a second
  double frequency = 50;       ///< of the mains, in Hz
  int cycles = 10;             ///< in a window
  std::string correctionFile;  ///< for the voltages; empty: none
};

/// One voltage or current in one window.
struct SignalFigures {
  double rms = 0;
  std::vector<float> harmonics;  ///< rms of orders 1, 2, ...
  std::vector<float> angles;     ///< their sine phases in degrees, -180 to 180: see PowerWindow

  /// Total harmonic distortion: harmonics from order 2 on over the fundamental, as a ratio (IEC 61000-4-7, 3.3.1).
  std::optional<double> distortion() const;
};

struct PowerFigures {
  double active = 0;  ///< P in W
  double reactive =
      0;  ///< Q in var, summed over the harmonics (Budeanu's; IEEE 1459, 3.1.2), positive where current lags
  double apparent = 0;  ///< S in VA, rms voltage times rms current

  std::optional<double> factor() const { return apparent != 0 ? std::optional(active / apparent) : std::nullopt; }
};

struct PhaseFigures {
  SignalFigures voltage, current;
  PowerFigures power;
};

/// Symmetrical components of the fundamental. The ratios to the positive sequence are in percent, NaN without one.
struct SequenceFigures {
  float positive = 0, negative = 0, zero = 0;
  float negativeRatio = std::numeric_limits<float>::quiet_NaN(), zeroRatio = negativeRatio;
};

/// All angles are those of the moment when the fundamental of the first voltage rises through zero: order h has turned
/// through h times that fundamental's own phase by then.
struct PowerWindow {
  std::vector<PhaseFigures> phases;
  std::optional<SequenceFigures> voltageSequence, currentSequence;  ///< of three phases
  size_t strongestBin = 0;  ///< of the first voltage, apart from DC; 0 if it has none

  /// Sums over the phases; the apparent power is the arithmetic one (IEEE 1459, 3.2.2).
  PowerFigures total() const;
};

class PowerAnalyzer {
public:
  /// Throws FileError if the correction curve cannot be read.
  PowerAnalyzer(const Functions& functions, const PowerSettings& settings);

  /// Samples in a window of that many cycles, a whole number.
  static double windowLength(const PowerSettings& settings);

  /// Harmonic orders in the spectrum, at most 50; the highest ones are missing at low sample rates. The spectrum must
  /// hold the fundamental, and the bin above it.
  static int orderCount(const PowerSettings& settings);

  double binWidth() const { return settings_.rate / static_cast<double>(transform_.length()); }

  /// @param voltages, currents  in V and A, windowLength() samples of each phase.
  PowerWindow analyze(std::span<const std::vector<double>> voltages, std::span<const std::vector<double>> currents);

private:
  std::vector<float> spectrumOf(const std::vector<double>& samples, bool isVoltage);
  double squareSum(const std::vector<float>& spectrum, size_t firstBin, size_t count) const;
  SignalFigures figuresOf(const std::vector<float>& spectrum, float reference) const;
  float referencePhase(const std::vector<float>& voltage) const;
  SequenceFigures sequencesOf(std::span<const PhaseFigures> phases, SignalFigures PhaseFigures::*signal) const;

  const Functions& functions_;
  PowerSettings settings_;
  RealTransform transform_;
  int orders_;
  size_t bins_;  // of the kernels' spectra: the last one is half the sample rate's, and 0 in windows of odd length
  std::vector<float> correction_;  // empty if there is none
};

}  // namespace kxanalysis
