#include "analysis/power/mains_signal.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "analysis/closeness.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;
using std::numbers::pi;

double sine(double rms, double turns, double degrees) {
  return std::sqrt(2) * rms * std::sin(2 * pi * (std::fmod(turns, 1.0) + degrees / 360));
}

/// Voltage or current of a phase, without noise, by the sum of its sines.
double valueAt(const MainsSettings& s, size_t channel, double time) {
  const bool isVoltage = channel < 3;
  const double step = 120 * static_cast<double>(channel % 3), turns = s.frequency * time;
  const double fundamental = isVoltage ? s.voltage : s.current;
  double value = sine(fundamental, turns, (isVoltage ? 0 : -s.lag) - step) +
                 sine(fundamental * s.unbalance / 100 * (isVoltage ? 1 : 4), turns, (isVoltage ? 30 : 100) + step);
  value += isVoltage ? sine(fundamental * s.unbalance / 200, turns, -60) : 0;
  for (const auto& [order, u, uPhase, i, iPhase] : mainsHarmonics) {
    if (order * s.frequency < s.rate / 2) {
      value += sine(fundamental * s.distortion / 100 * (isVoltage ? u : i) / 100, order * turns,
                    (isVoltage ? uPhase : iPhase) - order * step);
    }
  }
  return isVoltage ? value * (1 + s.flicker / 200 * std::sin(2 * pi * s.flickerRate * time)) : value;
}

std::vector<float> signalOf(const MainsSettings& settings, size_t frames, size_t block) {
  auto signal = MainsSignal::create(linkedFunctions, settings);
  EXPECT_TRUE(signal) << signal.problem();
  std::vector<float> samples(frames * MainsSignal::channels);
  inBlocks(std::span(samples), block * MainsSignal::channels, [&](std::span<float> part) { signal->next(part); });
  return samples;
}

TEST(MainsSignal, SamplesAreTheSumOfTheSines) {
  MainsSettings settings{12800, 50, 230, 16, 25, 7, 130, 20, 8.8, 0, 1};
  for (const double rate : {12800.0, 2300.0}) {  // with all harmonics, and with those below half of the rate
    settings.rate = rate;
    const std::vector<float> samples = signalOf(settings, 2001, 256);
    for (size_t i = 0; i < samples.size(); ++i) {
      const double expected = valueAt(settings, i % 6, static_cast<double>(i / 6) / rate);
      ASSERT_NEAR(static_cast<double>(samples[i]), expected, i % 6 < 3 ? 3e-4 : 2e-5) << i;
    }
  }
}

TEST(MainsSignal, WithoutNoiseTheLengthOfBlocksDoesNotMatter) {
  MainsSettings settings;
  settings.noise = 0;
  for (const size_t block : std::to_array<size_t>({1, 7, 1000})) {
    EXPECT_EQ(signalOf(settings, 1003, block), signalOf(settings, 1003, 1003));
  }
}

TEST(MainsSignal, NoiseHasItsRmsAndItsSeed) {
  MainsSettings settings, silent;
  settings.noise = 2;
  silent.noise = 0;
  constexpr size_t frames = 40000;
  const std::vector<float> noisy = signalOf(settings, frames, frames), clean = signalOf(silent, frames, frames);
  EXPECT_EQ(signalOf(settings, frames, frames), noisy);
  std::array<double, 6> squares{};
  for (size_t i = 0; i < noisy.size(); ++i) {
    const double here = static_cast<double>(noisy[i]) - static_cast<double>(clean[i]);
    squares[i % 6] += here * here / frames;
  }
  for (size_t channel = 0; channel < 6; ++channel) {
    EXPECT_NEAR(std::sqrt(squares[channel]) / (channel < 3 ? 4.6 : 0.32), 1, 0.02);
  }
  settings.seed = 2;
  EXPECT_NE(signalOf(settings, frames, frames), noisy);
}

TEST(MainsSignal, SettingsThatCannotBeAreNamed) {
  const auto problem = [](const MainsSettings& settings) {
    return problemOf(MainsSignal::create(linkedFunctions, settings));
  };
  EXPECT_EQ(problem({.rate = 0}), "rate is 0: it is above 0 Hz");
  EXPECT_EQ(problem({.rate = INFINITY}), "rate is inf: it is above 0 Hz");
  const std::string below = ": it must be above 0 Hz and below half of the sample rate";
  EXPECT_EQ(problem({.rate = 100, .frequency = 50}), "frequency is 50" + below);
  EXPECT_EQ(problem({.frequency = 0}), "frequency is 0" + below);
  EXPECT_EQ(problem({.rate = 101, .frequency = 50}), "");
  EXPECT_EQ(problem({.voltage = NAN}), "voltage is nan: it is a finite number");
  EXPECT_EQ(problem({.current = INFINITY}), "current is inf: it is a finite number");
  EXPECT_EQ(problem({.lag = NAN}), "lag is nan: it is a finite number");
  EXPECT_EQ(problem({.unbalance = NAN}), "unbalance is nan: it is a finite number");
  EXPECT_EQ(problem({.distortion = NAN}), "distortion is nan: it is a finite number");
  EXPECT_EQ(problem({.flicker = NAN}), "flicker is nan: it is a finite number");
  EXPECT_EQ(problem({.flickerRate = NAN}), "flicker rate is nan: it is a finite number");
  EXPECT_EQ(problem({.noise = NAN}), "noise is nan: it is a finite number");
}

/// Percents of the fundamental, a sum over each column weighed by the place in it.
TEST(MainsSignal, TheUsualHarmonics) {
  double order = 0, voltage = 0, voltagePhase = 0, current = 0, currentPhase = 0;
  for (size_t i = 0; i < mainsHarmonics.size(); ++i) {
    const auto place = static_cast<double>(i + 1);
    order += place * mainsHarmonics[i].order;
    voltage += place * mainsHarmonics[i].voltage;
    voltagePhase += place * mainsHarmonics[i].voltagePhase;
    current += place * mainsHarmonics[i].current;
    currentPhase += place * mainsHarmonics[i].currentPhase;
  }
  EXPECT_EQ(order, 787);
  expectClose(voltage, 26.6);
  expectClose(voltagePhase, -445);
  expectClose(current, 169.3);
  expectClose(currentPhase, -925);
}

}  // namespace
}  // namespace kxanalysis_test
