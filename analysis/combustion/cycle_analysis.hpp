// Combustion analysis, cycle after cycle: what a host keeps between the calls of the crank-angle kernels.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "analysis/combustion/cycle_figures.hpp"
#include "analysis/combustion/cycle_smoothing.hpp"
#include "analysis/combustion/engine.hpp"
#include "analysis/combustion/heat_release.hpp"
#include "analysis/combustion/windowed_average.hpp"
#include "analysis/problem.hpp"
#include "analysis/statistics/statistics.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// How the zero level of a sensor that knows only differences of pressure is found, in every cycle anew.
enum class Pegging { none, intake, polytropic };

/// Pressures in bar, angles in degrees.
struct AnalysisOptions {
  Pegging pegging = Pegging::intake;
  std::optional<AngleWindow> peggingWindow;  ///< the method's own if none
  double intakePressure = 1;                 ///< absolute, which Pegging::intake takes the gas to have
  double peggingExponent = 1.32;             ///< which Pegging::polytropic assumes
  Smoothing smoothing = Smoothing::savitzkyGolay;
  uint16_t smoothingWidth = 11;        ///< samples that make a smoothed one, odd
  uint32_t window = 20;                ///< cycles in the windowed average, at least 1
  AngleWindow compression{-100, -40};  ///< where the polytropic exponents are fitted
  AngleWindow expansion{80, 120};
  AngleWindow rise{-60, 60};   ///< where the steepest rise is looked for: elsewhere noise or valves may win
  AngleWindow burn{-60, 100};  ///< where the heat is released
  std::optional<HeatExponents> heatExponents;  ///< each cycle's own, fitted in the windows above, if none
};

/// The window that a method of pegging looks at by default.
AngleWindow defaultPeggingWindow(Pegging pegging);

/// Of one cycle, pressures in bar and angles in degrees.
struct CycleFigures {
  double offset;                                   ///< the zero level that was taken off
  std::optional<double> peak;                      ///< of the pressure before smoothing; none if no pressure is above 0
  std::optional<double> peakAngle;                 ///< of the first of equal peaks
  double meanEffectivePressure;                    ///< gross
  std::optional<double> netMeanEffectivePressure;  ///< none if the angles are not those of all four strokes
  PressureRise rise;                               ///< of the smoothed pressure
  std::optional<HeatRelease> burn;                 ///< of the smoothed pressure; none if the charge does not burn
  std::optional<double> averagePeak;               ///< of the average of all cycles up to this one
  double windowedPeak;                             ///< of the average of the last cycles
};

/// Takes cycle after cycle and keeps what all of them, and the last of them, have in common.
class CycleAnalysis {
public:
  /// @param functions  they outlive the analysis.
  /// @param angles     of a cycle's samples, rising in even steps, from -180 or less to 180 or more.
  static Result<CycleAnalysis> create(const Functions& functions, const Engine& engine, const AnalysisOptions& options,
                                      const std::vector<double>& angles);

  /// Takes the next cycle's raw pressures, in bar, one for each angle; returns its figures.
  CycleFigures feed(std::span<const float> raw);

  /// Cycles so far.
  uint64_t cycles() const { return cycles_; }

  const std::vector<double>& angles() const { return angles_; }

  /// In cubic centimetres, at the angles.
  const std::vector<float>& volumes() const { return volumes_; }

  /// The last cycle less its zero level, and smoothed. All pressures are in bar.
  const std::vector<float>& corrected() const { return corrected_; }
  const std::vector<float>& smoothed() const { return smoothed_; }

  /// Averages of the smoothed cycles, and their extremes at every angle.
  const std::vector<float>& average() const { return average_; }
  std::span<const float> windowed() const { return windowed_.curve(); }
  size_t windowedCycles() const { return windowed_.cycles(); }
  const std::vector<float>& lowest() const { return lowest_; }
  const std::vector<float>& highest() const { return highest_; }

  /// Of the samples of all smoothed cycles.
  const Statistics<float>& statistics() const { return statistics_; }

  /// Of the average of all cycles.
  std::optional<Polytrope> compression() const;
  std::optional<Polytrope> expansion() const;

private:
  CycleAnalysis(const Functions& functions, const Engine& engine, const AnalysisOptions& options,
                const std::vector<double>& angles, CycleSmoother smoother);

  double zeroLevel(std::span<const float> raw) const;
  std::optional<HeatRelease> burn() const;
  std::optional<double> foldIntoAverages();

  const Functions* functions_;
  Engine engine_;
  AnalysisOptions options_;
  std::vector<double> angles_;
  std::vector<float> volumes_;
  SampleRange pegging_;
  CycleSmoother smoother_;
  WindowedAverage windowed_;
  std::vector<float> corrected_, smoothed_, average_, lowest_, highest_;
  Statistics<float> statistics_;
  uint64_t cycles_ = 0;
};

}  // namespace kxanalysis
