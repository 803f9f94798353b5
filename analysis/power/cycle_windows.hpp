// Cuts voltages and currents into windows of whole cycles of the mains, whatever its frequency is.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "analysis/power/between_samples.hpp"
#include "analysis/power/mains_frequency.hpp"
#include "analysis/problem.hpp"

namespace kxanalysis {

/// 10 cycles of 50 Hz or 12 of 60 Hz, which are 0.2 s (IEC 61000-4-7, 4.4.1).
constexpr int usualCycles(double frequency) {
  constexpr double between50And60 = 55;
  return frequency < between50And60 ? 10 : 12;
}

struct CycleSettings {
  double rate = 0;                  ///< samples a second
  std::optional<double> nominal{};  ///< frequency of the mains in Hz; without one, 50 or 60, as is measured
  std::optional<int> cycles{};      ///< in a window; without a number, the usual one
};

struct CycleWindow {
  double begin = 0, length = 0;              ///< in samples of the stream
  double frequency = 0;                      ///< of the mains, in Hz
  bool isSeen = false;                       ///< whether there is a mains in all of it
  bool hasMoved = false;                     ///< whether it changed by more than 0.2 % within
  double highestFrequency = 0;               ///< up to which components are what they are in the stream, in Hz
  std::vector<std::vector<double>> samples;  ///< of each channel, evenly spaced over the length
};

/// The windows follow each other without a gap. Where one begins and ends with a sample of the stream, as all do at a
/// sample rate that fits the mains, it consists of these. Else it is interpolated: a spectrum of a window of 10.02 cycles
/// leaks from the fundamental into the harmonics. While there is no mains, windows are of the last one or of
/// the nominal one, rounded to whole samples.
class CycleWindows {
public:
  /// Samples in a window at most.
  static constexpr double longestWindow = 1 << 24;

  /// @param settings  windows of longestWindow samples at most, at the lowest frequency that is looked for.
  /// @param voltages  how many channels, the first ones, tell the frequency.
  static Result<CycleWindows> create(const CycleSettings& settings, size_t voltages);

  /// Takes the next samples of all channels, as many of each; returns the windows that they complete, which stay until
  /// the next call.
  std::span<const CycleWindow> feed(std::span<const std::vector<double>> channels);

  /// Ends the stream: returns the last windows. Half a sample may lack in one.
  std::span<const CycleWindow> finish();

  /// As set or measured: they are known from the first window on.
  double nominal() const { return nominal_; }
  int cycles() const { return cycles_; }

  /// The frequency at the end of what was fed, in Hz; the nominal one as long as none was measured.
  double frequency() const { return stretches_.empty() ? nominal_ : stretches_.back().frequency; }

  /// The parts that the frequency consists of, of those that the last call added.
  std::span<const FrequencyStretch> stretches() const { return added_; }

  /// Samples that belong to no window so far.
  double leftOver() const { return static_cast<double>(total_) - begin_; }

private:
  CycleWindows(const CycleSettings& settings, size_t voltages, std::optional<MainsFrequency> frequency);

  void follow(std::span<const FrequencyStretch> stretches);
  void settle();
  void cutAll();
  std::optional<CycleWindow> nextWindow() const;
  void keepToSamples(CycleWindow& window) const;
  void fill(CycleWindow& window);
  void takeReachFor(double frequency);
  std::vector<double> surroundings(const std::vector<double>& channel, const CycleWindow& window, size_t reach) const;
  void forget();

  double rate_, nominal_;
  int cycles_;
  bool isNominalSet_, areCyclesSet_;
  size_t voltages_;
  std::optional<MainsFrequency> frequency_;  // none where the sample rate is too low to measure one
  std::deque<FrequencyStretch> stretches_;   // from begin_ on
  std::vector<FrequencyStretch> added_;
  std::vector<std::vector<double>> waiting_;  // samples of each channel from dropped_ on
  size_t dropped_ = 0, total_ = 0;
  double begin_ = 0;           // of the next window
  bool isEnding_ = false;      // whether no more samples come
  double reachFrequency_ = 0;  // that count_ and between_ are for
  size_t count_ = 0;           // samples that windows are interpolated to
  BetweenSamples between_{1};
  double highestFrequency_ = 0;
  std::vector<CycleWindow> windows_;
};

}  // namespace kxanalysis
