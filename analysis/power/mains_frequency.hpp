// The frequency of the mains, followed through a stream of its voltages.
#pragma once

#include <complex>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "analysis/problem.hpp"

namespace kxanalysis {

/// Where a frequency may lie, in Hz.
struct FrequencyRange {
  double lowest, highest;
};

/// Of mains of 50 Hz or 60 Hz, 42.5 Hz to 57.5 Hz or 51 Hz to 69 Hz (IEC 61000-4-30, 5.1.2).
constexpr FrequencyRange mainsRange{42.5, 69};

/// The same for mains of any other frequency.
constexpr FrequencyRange rangeAround(double nominal) {
  return {0.85 * nominal, 1.15 * nominal};
}

/// A part of a stream in which the frequency is taken as constant. Each begins where the one before it ends, the first one
/// at the first sample.
struct FrequencyStretch {
  double begin, end;  ///< in samples
  double frequency;   ///< in Hz
  bool isSeen;        ///< whether there is a mains, or else the frequency is the last one, the fallback before any
  bool isMeasured;    ///< whether it is steady, too, or else the frequency is that of the last ten cycles that were
};

/// Takes the frequency from how far the fundamental turns from one segment of five or six cycles to the next, which
/// begins half a segment later. In each segment the fundamental is a bin of the discrete Fourier transform under the
/// window sin^4: whole cycles put harmonics and the fundamental's own mirror image on its zeros or into its side lobes,
/// which fall by 30 dB an octave (A. Nuttall, Some windows with very good sidelobe behavior, 1981). All voltages count
/// together, each with its power, so that one that fails does no harm.
///
/// Where the fundamental has less than a quarter of all power but the direct current's, there is no mains. Where its power
/// changes by more than 1.5 % from segment to segment, as where a dip begins or ends, the jump leaks into the phase:
/// there the frequency is not taken from it. How the stream is cut into blocks does not matter.
class MainsFrequency {
public:
  /// @param rate      samples a second, at least 2.5 times the highest frequency.
  /// @param range     to look in.
  /// @param fallback  what the frequency is taken for before any is measured, in Hz.
  static Result<MainsFrequency> create(double rate, FrequencyRange range, double fallback);

  /// Takes the next samples of all voltages, as many of each; returns the stretches that they complete, which stay until
  /// the next call.
  std::span<const FrequencyStretch> feed(std::span<const std::vector<double>> voltages);

  /// Ends the stream: returns what is left, up to the last sample's end.
  std::span<const FrequencyStretch> finish();

private:
  using Phasor = std::complex<double>;

  /// What one voltage holds in a segment.
  struct Content {
    Phasor fundamental;
    double power;  // of all but the direct current
  };

  struct Reading {
    double frequency;
    bool isSteady;
  };

  MainsFrequency(double rate, FrequencyRange range, double fallback);

  void takeSegmentsOf(double frequency);
  void turnBy(double frequency);
  Content contentOf(std::span<const double> segment) const;
  std::optional<Reading> readingAt(size_t begin, double guess, double accuracy);
  std::optional<Reading> search(size_t begin);
  bool step(size_t begin);
  void stretchTo(double end, bool isSeen, bool isMeasured);
  double recentFrequency() const;
  void forget(size_t begin);

  double rate_;
  FrequencyRange range_;
  double frequency_;             // the last one, the fallback before
  bool isFollowed_ = false;      // whether it was found in the segments before
  bool isKnown_ = false;         // whether it was ever found
  bool isMeasured_ = false;      // whether the last stretch was
  size_t length_ = 0, hop_ = 0;  // of segments, in samples
  std::vector<double> weights_;
  std::vector<Phasor> rotation_;  // the weights, turned against the frequency
  Phasor rotationSum_;
  double rotationFrequency_ = 0;
  std::vector<double> recent_;                // frequencies, up to four
  std::vector<std::vector<double>> waiting_;  // samples of each voltage from dropped_ on
  size_t dropped_ = 0, begin_ = 0;            // begin_: of the next segment
  double end_ = 0;                            // of the last stretch
  std::vector<FrequencyStretch> stretches_;
};

}  // namespace kxanalysis
