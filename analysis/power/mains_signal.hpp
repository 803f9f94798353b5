// Voltages and currents of a three-phase supply with what real ones have: harmonics, unbalance, flicker and noise.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

#include "analysis/problem.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

struct MainsSettings {
  double rate = 12800;       ///< samples a second
  double frequency = 50;     ///< of the mains, in Hz
  double voltage = 230;      ///< rms of the positive sequence of the fundamental, in V
  double current = 16;       ///< the same, in A
  double lag = 25;           ///< of the current's fundamental behind the voltage's, in degrees
  double unbalance = 1;      ///< negative sequence of the voltages, in percent; the zero one is half as large
  double distortion = 100;   ///< harmonics, in percent of the usual ones, mainsHarmonics
  double flicker = 0.25;     ///< change of the voltages' envelope, peak to peak, in percent
  double flickerRate = 8.8;  ///< of the envelope, in Hz
  double noise = 0.02;       ///< rms in percent of the fundamental
  uint32_t seed = 1;         ///< of the noise
};

/// A harmonic of the usual distortion, in percent of the fundamental and degrees of sine phase in the first phase, where
/// the fundamental voltage has 0. Phases two and three are a third and two thirds of the mains' period later.
struct MainsHarmonic {
  int order;
  double voltage, voltagePhase;
  double current, currentPhase;
};

/// Those of a low-voltage supply, and of a six-pulse rectifier beside a linear load.
constexpr std::array<MainsHarmonic, 9> mainsHarmonics{{{3, 0.8, 20, 2, 10},
                                                       {5, 2.5, 160, 18, 170},
                                                       {7, 1.8, 75, 11, -20},
                                                       {11, 0.9, -110, 6, 130},
                                                       {13, 0.7, 35, 4.5, -65},
                                                       {17, 0.4, 140, 2.5, 85},
                                                       {19, 0.3, -45, 2, -120},
                                                       {23, 0.25, 10, 1.5, 45},
                                                       {25, 0.2, -150, 1.2, -160}}};

/// Channels U1, U2, U3 in V, I1, I2, I3 in A.
class MainsSignal {
public:
  static constexpr size_t phases = 3, channels = 2 * phases;

  /// @param functions  they outlive the signal.
  /// @param settings   a frequency above 0 and below half of the rate.
  static Result<MainsSignal> create(const Functions& functions, const MainsSettings& settings);

  /// Fills in the next interleaved frames. Each channel draws its noise for a whole call, so that the noise depends on
  /// how many frames a call asks for; all else does not.
  /// @param samples  whole frames.
  void next(std::span<float> samples);

private:
  struct Sine {
    double frequency, amplitude;
    double turns;  // phase at the first frame, in turns
  };

  MainsSignal(const Functions& functions, const MainsSettings& settings);

  std::vector<Sine> voltage(int phase) const;
  std::vector<Sine> current(int phase) const;
  Sine sine(int order, double rms, double degrees) const;
  void add(const Sine& sine, std::span<double> values);

  const Functions* functions_;
  MainsSettings settings_;
  std::vector<std::vector<Sine>> sines_;  // of each channel
  std::mt19937 random_;
  std::normal_distribution<double> normal_;
  std::vector<float> angles_, values_;  // of a block of one sine
  uint64_t position_ = 0;               // in frames
};

}  // namespace kxanalysis
