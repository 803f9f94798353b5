// Combustion analysis, cycle after cycle: what a host keeps between the calls of the crank-angle kernels.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "analysis/combustion/cycle_figures.hpp"
#include "analysis/combustion/cycle_smoothing.hpp"
#include "analysis/combustion/engine.hpp"
#include "analysis/statistics/statistics.hpp"

namespace kxanalysis {

/// How the zero level of a sensor that knows only differences of pressure is found, in every cycle anew.
enum class Pegging { none, intake, polytropic };

/// Pressures in bar, angles in degrees.
struct AnalysisOptions {
  Pegging pegging = Pegging::intake;
  std::optional<AngleWindow> peggingWindow;  ///< the method's own if none
  double intakePressure = 1;
  double peggingExponent = 1.32;
  Smoothing smoothing = Smoothing::savitzkyGolay;
  uint16_t smoothingWidth = 11;
  uint32_t window = 20;  ///< cycles in the windowed average, at least 1
  AngleWindow compression{-100, -40};
  AngleWindow expansion{80, 120};
};

/// The window that a method of pegging looks at by default.
AngleWindow defaultPeggingWindow(Pegging pegging);

struct CycleFigures {
  double offset;               ///< the zero level that was taken off
  std::optional<double> peak;  ///< of the pressure before smoothing; none if no pressure is above 0
  std::optional<double> peakAngle;
  double meanEffectivePressure;       ///< gross
  PressureRise rise;                  ///< of the smoothed pressure
  std::optional<double> averagePeak;  ///< of the average of all cycles up to this one
  double windowedPeak;                ///< of the average of the last cycles
};

/// The average of the last cycles.
class WindowedAverage {
public:
  WindowedAverage(const Functions& functions, size_t length, uint32_t window);

  void add(std::span<const float> cycle);

  std::span<const float> curve() const { return std::span(average_).first(length_); }

  /// Cycles in the average.
  size_t cycles() const { return history_.size(); }

private:
  const Functions& functions_;
  size_t length_;
  uint32_t window_;
  uint64_t cycles_ = 0;
  std::vector<float> sum_, average_;
  std::vector<std::vector<float>> history_;  // cycle c at c % window
};

class CycleAnalysis {
public:
  /// @param source  of the cycles, for messages.
  /// @param angles  even steps that hold the closed cycle. Throws FileError if they do not suit the options.
  CycleAnalysis(const Functions& functions, const Engine& engine, const AnalysisOptions& options,
                const std::string& source, const std::vector<double>& angles);

  /// Takes the next cycle's raw pressures.
  void add(std::span<const float> raw);

  const std::vector<double>& angles() const { return angles_; }
  const std::vector<float>& volumes() const { return volumes_; }

  /// Of all cycles so far.
  const std::vector<CycleFigures>& figures() const { return figures_; }

  /// The last cycle less its zero level, and smoothed.
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
  void requireSuitableAngles(const std::string& source) const;
  double zeroLevel(std::span<const float> raw) const;
  std::optional<double> foldIntoAverages();

  const Functions& functions_;
  const Engine& engine_;
  AnalysisOptions options_;
  std::vector<double> angles_;
  std::vector<float> volumes_;
  SampleRange pegging_;
  CycleSmoother smoother_;
  WindowedAverage windowed_;
  std::vector<float> corrected_, smoothed_, average_, lowest_, highest_;
  Statistics<float> statistics_;
  std::vector<CycleFigures> figures_;
};

}  // namespace kxanalysis
