// Power of voltages and currents in a stream: windows that follow the mains, and their figures.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "analysis/power/cycle_windows.hpp"
#include "analysis/power/power_analysis.hpp"
#include "analysis/power/voltage_events.hpp"
#include "analysis/problem.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

struct PowerStreamSettings {
  CycleSettings windows;
  std::optional<CorrectionCurve> correction{};  ///< for the voltages
  std::optional<double> declaredVoltage{};      ///< rms in V that events are told by; without one, a sliding reference
};

/// Windows that a dip, a swell or an interruption touches are flagged, and so are those in which the frequency moved or
/// there is no mains. Without a declared voltage, events are told by each phase's own sliding reference: the middle rms
/// value of a cycle in the first window, which then follows the windows without flags with a time constant of a minute
/// (IEC 61000-4-30, 5.4.4). How the stream is cut into blocks does not matter.
class PowerStream {
public:
  /// @param functions  they outlive the stream.
  /// @param phases     one to three.
  static Result<PowerStream> create(const Functions& functions, const PowerStreamSettings& settings, size_t phases);

  /// Takes the next samples, in V and A, as many of each phase; returns the windows that they complete, which stay until
  /// the next call.
  std::span<const PowerWindow> feed(std::span<const std::vector<double>> voltages,
                                    std::span<const std::vector<double>> currents);

  /// Ends the stream: returns the last windows.
  std::span<const PowerWindow> finish();

  /// Nominal frequency in Hz, and cycles in a window: known from the first window on.
  double nominal() const { return windows_.nominal(); }
  int cycles() const { return windows_.cycles(); }

  /// The frequency at the end of what was fed, in Hz; the nominal one as long as none was measured.
  double frequency() const { return windows_.frequency(); }

  /// What the last call found of the frequency.
  std::span<const FrequencyStretch> stretches() const { return windows_.stretches(); }

  /// The events that ended since the last call, and by finish() those that did not.
  std::span<const VoltageEvent> events() const { return newEvents_; }

  /// Samples that belong to no window.
  double leftOver() const { return windows_.leftOver(); }

private:
  PowerStream(const Functions& functions, const PowerStreamSettings& settings, size_t phases, CycleWindows windows);

  void analyze(std::span<const CycleWindow> windows);
  PowerWindow figuresOf(const CycleWindow& window);
  void takeHalfCycles(const CycleWindow& window);
  void judge(double begin, double end);
  void startReference(const CycleWindow& window);
  void release(size_t kept);

  const Functions* functions_;
  double rate_;
  std::optional<CorrectionCurve> correction_;
  size_t phases_;
  CycleWindows windows_;
  std::optional<PowerAnalyzer> analyzer_;  // of windows of the last one's length
  std::vector<std::vector<double>> channels_;
  std::vector<SquareIntegral> squares_;  // of each voltage
  VoltageEvents events_;
  bool isReferenceDeclared_ = false;
  std::optional<double> beforeLast_;  // where the last half cycle began, in samples
  double end_ = 0;                    // where it ended
  std::vector<PowerWindow> waiting_;  // for the cycle that reaches into the next one
  std::vector<PowerWindow> complete_;
  std::vector<VoltageEvent> newEvents_;
};

}  // namespace kxanalysis
