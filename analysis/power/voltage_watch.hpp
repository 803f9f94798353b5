// What makes the figures of a voltage doubtful, cycle by cycle: for analyses that do not need windows.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "analysis/power/mains_frequency.hpp"
#include "analysis/power/voltage_events.hpp"
#include "analysis/power/window_place.hpp"
#include "analysis/problem.hpp"

namespace kxanalysis {

/// Finds the cycles of one voltage that a dip, a swell or an interruption touches, or in which there is no mains to be
/// seen. Events are told by the rms over one cycle, renewed every half cycle, beside a reference: the middle one of the
/// first ten cycles in which the mains is seen, which then follows the others with a time constant of a minute. How the
/// stream is cut into blocks does not matter.
class VoltageWatch {
public:
  /// @param rate     samples a second, at least 2.5 times the highest frequency.
  /// @param nominal  frequency of the mains in Hz.
  static Result<VoltageWatch> create(double rate, double nominal);

  /// Takes the next samples, in any unit; returns the cycles with flags, which stay until the next call.
  std::span<const WindowPlace> feed(std::span<const double> voltage);

  /// Ends the stream: returns the last cycles with flags.
  std::span<const WindowPlace> finish();

private:
  VoltageWatch(double rate, MainsFrequency frequency) : rate_(rate), frequency_(std::move(frequency)) {}

  void follow(std::span<const FrequencyStretch> stretches);
  void judge(double rms, const FrequencyStretch& stretch);
  void start(double rms);

  double rate_;
  MainsFrequency frequency_;
  SquareIntegral squares_;
  VoltageEvents events_;
  std::array<std::vector<double>, 1> block_;
  std::vector<double> first_;  // rms values that the reference begins with
  double begin_ = 0;           // of the next cycle, in samples
  std::vector<WindowPlace> flagged_;
};

}  // namespace kxanalysis
