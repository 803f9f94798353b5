// Power of one to three phases from the spectra of their voltages and currents, window by window.
#pragma once

#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "analysis/power/correction_curve.hpp"
#include "analysis/power/harmonic_groups.hpp"
#include "analysis/power/window_place.hpp"
#include "analysis/problem.hpp"
#include "analysis/spectra/real_transform.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

struct PowerSettings {
  double rate = 0;                            ///< samples a second
  double frequency = 50;                      ///< of the mains, in Hz
  int cycles = 10;                            ///< in a window
  std::optional<CorrectionCurve> correction;  ///< for the voltages
};

/// One voltage or current in one window.
struct SignalFigures {
  double rms = 0;                ///< of all that is in the window, in V or A
  std::vector<float> harmonics;  ///< rms of orders 1, 2, ..., in V or A
  std::vector<float> angles;     ///< their sine phases in degrees, -180 to 180: see PowerWindow
  HarmonicGroups groups{};       ///< in V or A

  /// Total harmonic distortion: from order 2 on over the fundamental, as a ratio, of the harmonics' own bins (THD), of
  /// the harmonic groups (THDG) and of the subgroups (THDS): IEC 61000-4-7, 3.3.1 to 3.3.3.
  std::optional<double> distortion() const { return distortionOf(harmonics); }
  std::optional<double> groupDistortion() const { return distortionOf(groups.harmonic); }
  std::optional<double> subgroupDistortion() const { return distortionOf(groups.harmonicSubgroups); }
};

struct PowerFigures {
  double active = 0;  ///< P in W
  /// Q in var, summed over the harmonics (Budeanu's; IEEE 1459, 3.1.2), positive where current lags.
  double reactive = 0;
  double apparent = 0;  ///< S in VA, rms voltage times rms current

  std::optional<double> factor() const { return apparent != 0 ? std::optional(active / apparent) : std::nullopt; }
};

struct PhaseFigures {
  SignalFigures voltage, current;
  PowerFigures power;
};

/// Symmetrical components of the fundamental, in V or A. The ratios to the positive sequence are in percent, NaN without one.
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
  WindowPlace place{};      ///< nothing of a window that was analysed by itself

  /// Sums over the phases; the apparent power is the arithmetic one (IEEE 1459, 3.2.2).
  PowerFigures total() const;
};

class PowerAnalyzer {
public:
  /// Samples in a window at most: single precision counts bins no further.
  static constexpr size_t longestWindow = size_t{1} << 24;

  /// @param functions  they outlive the analyzer.
  /// @param settings   windows of longestWindow samples at most, at a rate that lets the fundamental be seen: more than
  ///                   twice its frequency, with a bin above it.
  static Result<PowerAnalyzer> create(const Functions& functions, const PowerSettings& settings);

  /// Samples in a window: the cycles, rounded to whole samples.
  size_t windowLength() const { return transform_.length(); }

  /// Harmonic orders in the spectrum, at most 50; the highest ones are missing at low sample rates.
  int orderCount() const { return orders_; }

  /// In Hz.
  double binWidth() const { return settings_.rate / static_cast<double>(transform_.length()); }

  /// The figures of one window, which do not depend on those before it.
  /// @param voltages, currents  in V and A, windowLength() samples of each phase, of one to three phases.
  PowerWindow analyze(std::span<const std::vector<double>> voltages, std::span<const std::vector<double>> currents);

private:
  PowerAnalyzer(const Functions& functions, const PowerSettings& settings, RealTransform transform);

  /// A signal's bins in single, as the kernels take them, and those that groups consist of squared in double.
  struct Spectrum {
    std::vector<float> bins;
    std::vector<double> squares;
  };

  Spectrum spectrumOf(const std::vector<double>& samples, bool isVoltage);
  double gainAt(size_t bin) const;
  double squareSum(const std::vector<float>& spectrum, size_t firstBin, size_t count) const;
  SignalFigures figuresOf(const Spectrum& spectrum, float reference) const;
  float referencePhase(const std::vector<float>& voltage) const;
  SequenceFigures sequencesOf(std::span<const PhaseFigures> phases, SignalFigures PhaseFigures::*signal) const;

  const Functions* functions_;
  PowerSettings settings_;
  RealTransform transform_;
  int orders_;
  size_t bins_;  // of the kernels' spectra: the last one is half the sample rate's, and 0 in windows of odd length
  std::vector<float> correction_;  // empty if there is none
};

}  // namespace kxanalysis
