// Sines fitted to records of samples, and what a tone's record holds besides it: IEEE 1057-2017 and IEEE 1241-2010.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "analysis/problem.hpp"

namespace kxanalysis {

/// A constant plus amplitude cos(2 pi (frequency n + turn)), the one of least squares.
struct SineFit {
  double frequency = 0;  ///< in cycles a sample
  double amplitude = 0;
  double turn = 0;  ///< phase at the first sample, in turns from -0.5 to 0.5
  double offset = 0;
  double residual = 0;  ///< rms of what it leaves of the record

  double rms() const;
};

constexpr size_t leastFitted = 16;  ///< samples

/// Three parameters, at a known frequency (IEEE 1057, 4.1.4.1).
/// @param samples    leastFitted or more, all finite.
/// @param frequency  in cycles a sample, above 0 and below 0.5, of at least one cycle in the record.
Result<SineFit> fitSine(std::span<const double> samples, double frequency);

/// Four parameters: the frequency, too, by Gauss and Newton's iteration (IEEE 1057, 4.1.4.3).
/// @param frequency  where it begins: so near that it counts the record's cycles to half of one.
Result<SineFit> fitSineAndFrequency(std::span<const double> samples, double frequency);

/// Frequency of a record's strongest tone in cycles a sample, near enough for the fit, from its spectrum.
Result<double> strongestFrequency(std::span<const double> samples);

/// A harmonic as it was sampled.
struct ToneHarmonic {
  int order;
  double frequency;  ///< in cycles a sample, folded to 0 to 0.5
  double amplitude;
};

/// A tone and the rest. Ratios are of rms values.
struct ToneFigures {
  SineFit sine;
  std::vector<ToneHarmonic> harmonics;  ///< without those that fold onto another one, 0 or half of the rate
  double noiseAndDistortion;            ///< rms of all but the sine and the constant
  double distortion;                    ///< rms of the harmonics together
  double noise;                         ///< rms of what is left without the harmonics

  /// Signal over noise and distortion.
  double sinad() const { return sine.rms() / noiseAndDistortion; }
  /// Total harmonic distortion: the harmonics over the fundamental.
  double thd() const { return distortion / sine.rms(); }
  /// Signal over noise.
  double snr() const { return sine.rms() / noise; }
  /// Effective number of bits of a converter (IEEE 1241, 9.4): those of an ideal one whose quantisation makes as much
  /// noise.
  /// @param range  of its input, from end to end.
  double effectiveBits(double range) const;
};

constexpr int mostHarmonics = 50;

/// @param sine       fitted to these samples.
/// @param harmonics  the highest order that counts, 2 to mostHarmonics; IEEE 1241 takes 10.
Result<ToneFigures> toneFigures(std::span<const double> samples, const SineFit& sine, int harmonics);

}  // namespace kxanalysis
