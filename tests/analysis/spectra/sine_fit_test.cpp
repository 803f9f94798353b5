// Sine fits and the figures of tones, on synthesised truth.
#include "analysis/spectra/sine_fit.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include "analysis/closeness.hpp"
#include "analysis/spectra/least_squares.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using std::numbers::pi;

struct Sine {
  double frequency;  // in cycles a sample
  double amplitude;
  double turn;
};

std::vector<double> record(size_t count, double offset, const std::vector<Sine>& sines) {
  std::vector<double> samples(count, offset);
  for (size_t n = 0; n < count; ++n) {
    for (const Sine& sine : sines) {
      samples[n] +=
          sine.amplitude * std::cos(2 * pi * (std::fmod(sine.frequency * static_cast<double>(n), 1) + sine.turn));
    }
  }
  return samples;
}

void expectSine(const SineFit& found, const Sine& sine, double offset, double tolerance = 1e-9) {
  expectClose(found.frequency, sine.frequency, tolerance);
  expectClose(found.amplitude, sine.amplitude, tolerance);
  expectClose(found.rms(), sine.amplitude / std::sqrt(2.0), tolerance);
  EXPECT_NEAR(std::remainder(found.turn - sine.turn, 1), 0, tolerance * 10);
  EXPECT_NEAR(found.offset, offset, tolerance * sine.amplitude);
}

TEST(SineFit, ThreeParametersAreFoundAtAKnownFrequency) {
  for (const size_t count : std::to_array<size_t>({16, 100, 1001, 40000})) {
    for (const Sine& sine : {Sine{0.1, 2, 0.3}, Sine{0.0912345, 1e-3, -0.45}, Sine{0.443, 5e6, 0}}) {
      const auto fit = fitSine(record(count, 0.75 * sine.amplitude, {sine}), sine.frequency);
      ASSERT_TRUE(fit) << fit.problem();
      expectSine(*fit, sine, 0.75 * sine.amplitude);
      EXPECT_LT(fit->residual, 1e-9 * sine.amplitude);
    }
  }
}

/// From wherever in half a cycle of the record the iteration begins.
TEST(SineFit, TheFourthParameterIsTheFrequency) {
  for (const size_t count : std::to_array<size_t>({64, 1001, 40000})) {
    for (const double cyclesAway : {-0.4, -0.01, 0.0, 0.3}) {
      const Sine sine{0.10712345, 3, 0.2};
      const auto fit =
          fitSineAndFrequency(record(count, -1, {sine}), sine.frequency + cyclesAway / static_cast<double>(count));
      ASSERT_TRUE(fit) << fit.problem();
      expectSine(*fit, sine, -1);
      EXPECT_LT(fit->residual, 1e-9);
    }
  }
}

/// The residual is the rms of all else, and moves the sine as little as least squares let it.
TEST(SineFit, WhatItLeavesIsTheRest) {
  const Sine sine{0.01, 1, 0}, other{0.03, 0.02, 0.1};  // whole cycles of both in the record
  const auto fit = fitSineAndFrequency(record(5000, 0.5, {sine, other}), 0.01001);
  ASSERT_TRUE(fit) << fit.problem();
  expectClose(fit->residual, 0.02 / std::sqrt(2.0), 1e-5);
  expectClose(fit->amplitude, 1, 1e-5);
  const auto known = fitSine(record(5000, 0.5, {sine, other}), 0.01);
  expectSine(*known, sine, 0.5);
  expectClose(known->residual, 0.02 / std::sqrt(2.0));
}

TEST(SineFit, TheStrongestToneIsFoundForItToBegin) {
  for (const size_t count : std::to_array<size_t>({16, 997, 4096, 30001})) {
    for (const double frequency : {0.13, 0.2222, 0.41}) {
      const auto found = strongestFrequency(record(count, 40, {{frequency, 1, 0.1}, {0.31, 0.3, 0}}));
      ASSERT_TRUE(found) << found.problem();
      EXPECT_NEAR(*found, frequency, 0.4 / static_cast<double>(count)) << count;
    }
  }
}

TEST(ToneFigures, SinadThdNoiseAndBitsAreThoseOfTheSynthesis) {
  // Another tone, which is no harmonic, stands for noise of known rms.
  const std::vector<Sine> sines{{0.0171, 1, 0.1}, {0.0342, 0.03, 0.2}, {0.0513, 0.04, -0.4}, {0.333, 0.005, 0}};
  const std::vector<double> samples = record(10000, 0.2, sines);  // whole cycles of all
  const auto figures = toneFigures(samples, *fitSine(samples, 0.0171), 10);
  ASSERT_TRUE(figures) << figures.problem();
  const double distortion = std::sqrt((0.03 * 0.03 + 0.04 * 0.04) / 2), noise = 0.005 / std::sqrt(2.0);
  expectClose(figures->distortion, distortion);
  expectClose(figures->noise, noise);
  expectClose(figures->noiseAndDistortion, std::hypot(distortion, noise));
  expectClose(figures->sinad(), std::sqrt(0.5) / std::hypot(distortion, noise));
  expectClose(figures->thd(), 0.05);
  expectClose(figures->snr(), 200);
  expectClose(figures->effectiveBits(2), std::log2(2 / (std::hypot(distortion, noise) * std::sqrt(12.0))));
  ASSERT_EQ(figures->harmonics.size(), 9U);
  EXPECT_EQ(figures->harmonics.front().order, 2);
  expectClose(figures->harmonics[0].amplitude, 0.03);
  expectClose(figures->harmonics[1].frequency, 0.0513);
  expectClose(figures->harmonics[1].amplitude, 0.04);
  EXPECT_LT(figures->harmonics[2].amplitude, 1e-9);
}

/// An ideal converter of that many bits: the noise of its quantisation is a step over the root of 12.
TEST(ToneFigures, AnIdealConverterHasItsBits) {
  for (const int bits : {8, 12, 16}) {
    const double step = std::ldexp(2.0, -bits);
    std::vector<double> samples = record(20000, 0, {{0.0917531, 0.999, 0.2}});
    for (double& sample : samples) {
      sample = step * std::round(sample / step);
    }
    const auto fit = fitSineAndFrequency(samples, *strongestFrequency(samples));
    ASSERT_TRUE(fit) << fit.problem();
    EXPECT_NEAR(toneFigures(samples, *fit, 10)->effectiveBits(2), bits, 0.05);
  }
}

/// Neither the record's length nor the harmonics are whole cycles: the joint fit still tells them apart.
TEST(ToneFigures, HarmonicsOfABrokenNumberOfCyclesStayApart) {
  const std::vector<double> samples =
      record(1234, 1, {{0.0171234, 1, 0.1}, {0.0342468, 0.01, 0.2}, {0.1198638, 0.002, 0.3}});
  const auto figures = toneFigures(samples, *fitSine(samples, 0.0171234), 10);
  expectClose(figures->harmonics[0].amplitude, 0.01);
  expectClose(figures->harmonics[5].amplitude, 0.002);
  EXPECT_LT(figures->noise, 1e-9);
}

TEST(ToneFigures, HarmonicsAboveHalfOfTheRateAreFoundWhereTheyFold) {
  const std::vector<double> samples = record(5000, 0, {{0.21, 1, 0}, {0.37, 0.1, 0.1}});  // 0.37 = 1 - 3 * 0.21
  const auto figures = toneFigures(samples, *fitSine(samples, 0.21), 5);
  ASSERT_EQ(figures->harmonics.size(), 4U);
  EXPECT_EQ(figures->harmonics[1].order, 3);
  expectClose(figures->harmonics[1].frequency, 0.37);
  expectClose(figures->harmonics[1].amplitude, 0.1);
}

/// At a quarter of the rate the second harmonic is half of it, the third one the tone itself, the fourth 0.
TEST(ToneFigures, HarmonicsThatFoldOntoOthersAreLeftOut) {
  const std::vector<double> samples = record(4096, 0.1, {{0.25, 1, 0.05}});
  const auto figures = toneFigures(samples, *fitSine(samples, 0.25), 10);
  ASSERT_TRUE(figures) << figures.problem();
  EXPECT_TRUE(figures->harmonics.empty());
  EXPECT_EQ(figures->distortion, 0);
  const std::vector<double> fifth =
      record(4000, 0, {{0.2, 1, 0}});  // 2 and 3 fold onto 0.4, 5 onto 0, 4 and 6 onto 0.2
  const auto fewer = toneFigures(fifth, *fitSine(fifth, 0.2), 10);
  ASSERT_EQ(fewer->harmonics.size(), 1U);
  EXPECT_EQ(fewer->harmonics.front().order, 2);
}

TEST(SineFit, WhatCannotBeFittedIsNamed) {
  const std::vector<double> samples = record(100, 0, {{0.1, 1, 0}});
  EXPECT_EQ(problemOf(fitSine(std::span(samples).first(15), 0.1)),
            "number of samples is 15: a sine is fitted to 16 or more");
  const std::string needed = ": in cycles a sample, it lies below 0.5, and the record holds a cycle of it";
  EXPECT_EQ(problemOf(fitSine(samples, 0.5)), "frequency is 0.5" + needed);
  EXPECT_EQ(problemOf(fitSine(samples, 0.0099)), "frequency is 0.0099" + needed);
  EXPECT_EQ(problemOf(fitSineAndFrequency(samples, -1)), "frequency is -1" + needed);
  EXPECT_EQ(problemOf(fitSine(samples, std::numeric_limits<double>::quiet_NaN())), "frequency is nan" + needed);
  EXPECT_EQ(problemOf(fitSine(samples, 0.01)), "");
  for (const double odd : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    std::vector<double> spoilt(samples);
    spoilt[70] = odd;
    EXPECT_EQ(problemOf(fitSineAndFrequency(spoilt, 0.1)).substr(0, 13), "sample 70 is ");
    EXPECT_EQ(problemOf(strongestFrequency(spoilt)).substr(0, 13), "sample 70 is ");
  }
  const std::vector<double> constant(100, 0.0);
  EXPECT_EQ(problemOf(strongestFrequency(constant)), "the record is constant: it holds no tone");
  EXPECT_EQ(problemOf(fitSineAndFrequency(constant, 0.1)), "the record holds no such sine");
  const SineFit fit = *fitSine(samples, 0.1);
  EXPECT_EQ(problemOf(toneFigures(samples, fit, 1)), "number of harmonics is 1: the highest order is 2 to 50");
  EXPECT_EQ(problemOf(toneFigures(samples, fit, 51)), "number of harmonics is 51: the highest order is 2 to 50");
}

TEST(LeastSquares, ColumnsThatCannotBeToldApartAreRefused) {
  LeastSquares squares(2);
  for (const double x : {1.0, 2.0, 3.0}) {
    squares.add(std::array{x, 2 * x}, x);
  }
  EXPECT_EQ(problemOf(squares.solved()), "the columns cannot be told apart");
}

}  // namespace
}  // namespace kxanalysis_test
