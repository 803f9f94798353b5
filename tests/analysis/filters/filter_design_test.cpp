#include "analysis/filters/filter_design.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using std::numbers::pi;

double warped(double frequency) {
  return std::tan(pi * frequency);
}

/// The frequency of the low-pass with edge 1 that a frequency of the band stands for.
double prototypeFrequency(const PassBand& band, double frequency) {
  const double w = warped(frequency);
  if (band.isLowPass()) {
    return w / warped(band.high);
  }
  if (band.isHighPass()) {
    return warped(band.low) / w;
  }
  const double low = warped(band.low), high = warped(band.high);
  return (w * w - low * high) / ((high - low) * w);
}

constexpr auto bands =
    std::to_array<PassBand>({{0, 0.1}, {0, 0.31}, {0.07, 0.5}, {0.4, 0.5}, {0.1, 0.2}, {0.02, 0.45}, {0.249, 0.251}});

/// |H|^2 = 1 / (1 + w^2n).
TEST(FilterDesign, ButterworthsResponseIsTheClosedForm) {
  for (const PassBand& band : bands) {
    for (const int order : {1, 2, 3, 4, 5, 8, 13}) {
      const auto sections = butterworth(band, order);
      ASSERT_TRUE(sections) << sections.problem();
      const bool isBandPass = !band.isLowPass() && !band.isHighPass();
      EXPECT_EQ(sections->size(), static_cast<size_t>(isBandPass ? order : (order + 1) / 2));
      for (double frequency = 0.0131; frequency < 0.5; frequency += 0.0173) {
        const double expected = 1 / (1 + std::pow(prototypeFrequency(band, frequency), 2 * order));
        expectClose(std::norm(responseOf(*sections, frequency)), expected, 1e-8);
      }
    }
  }
}

TEST(FilterDesign, PolesLieInsideOfTheUnitCircleAndTheResonanceRises) {
  for (const PassBand& band : {PassBand{0, 0.01}, PassBand{0.3, 0.5}}) {
    double resonance = 0;
    const auto sections = butterworth(band, 100);
    for (const Section& section : *sections) {
      EXPECT_LT(section.a2, 1);
      EXPECT_LT(std::abs(section.a1), 1 + section.a2);
      const double edge = band.isLowPass() ? band.high : band.low;
      const double gain = std::abs(responseOf(std::span(&section, 1), edge));
      EXPECT_GT(gain, resonance);
      resonance = gain;
    }
  }
}

TEST(FilterDesign, EachSectionPassesTheBestFrequencyWithAGainOfOne) {
  for (const PassBand& band : bands) {
    const double best = band.isLowPass()    ? 0
                        : band.isHighPass() ? 0.5
                                            : std::atan(std::sqrt(warped(band.low) * warped(band.high))) / pi;
    for (const int order : {1, 2, 5}) {
      const auto sections = butterworth(band, order);
      for (const Section& section : *sections) {
        expectClose(std::abs(responseOf(std::span(&section, 1), best)), 1.0);
      }
    }
  }
}

/// The impulse response of an ideal low-pass of unit gain, under a window.
std::vector<double> windowed(double edge, size_t taps, Window window) {
  std::vector<double> coefficients;
  double sum = 0;
  for (size_t i = 0; i < taps; ++i) {
    const double turn = 2 * pi * static_cast<double>(i) / static_cast<double>(taps - 1);
    const double weight = window == Window::hamming ? 0.54 - 0.46 * std::cos(turn)
                                                    : 0.42 - 0.5 * std::cos(turn) + 0.08 * std::cos(2 * turn);
    const double x = 2 * pi * edge * (static_cast<double>(i) - static_cast<double>(taps - 1) / 2);
    coefficients.push_back(weight * (x == 0 ? 1 : std::sin(x) / x));
    sum += coefficients.back();
  }
  for (double& coefficient : coefficients) {
    coefficient /= sum;
  }
  return coefficients;
}

/// Real response about the middle, where a symmetric filter has no phase.
double symmetricGain(const std::vector<double>& coefficients, double frequency) {
  double sum = 0;
  for (size_t i = 0; i < coefficients.size(); ++i) {
    const double distance = static_cast<double>(i) - static_cast<double>(coefficients.size() - 1) / 2;
    sum += coefficients[i] * std::cos(2 * pi * frequency * distance);
  }
  return sum;
}

TEST(FilterDesign, WindowedSincsAreTheFormula) {
  for (const Window window : {Window::hamming, Window::blackman}) {
    for (const size_t taps : std::to_array<size_t>({31, 64, 257})) {
      const auto low = windowed(0.11, taps, window), high = windowed(0.37, taps, window);
      const auto lowPass = windowedSinc({0, 0.11}, taps, window);
      const auto bandPass = windowedSinc({0.11, 0.37}, taps, window);
      std::vector<double> difference(taps);
      for (size_t i = 0; i < taps; ++i) {
        difference[i] = high[i] - low[i];
      }
      const double middle = symmetricGain(difference, 0.24);
      for (size_t i = 0; i < taps; ++i) {
        EXPECT_NEAR((*lowPass)[i], low[i], 1e-7 * std::abs(low[i]) + 1e-16);
        EXPECT_NEAR((*bandPass)[i], difference[i] / middle, 1e-7 * std::abs(difference[i]) + 1e-16);
      }
      if (taps % 2 != 0) {
        const auto highPass = windowedSinc({0.11, 0.5}, taps, window);
        std::vector<double> rest(taps);
        for (size_t i = 0; i < taps; ++i) {
          rest[i] = (i == taps / 2 ? 1 : 0) - low[i];
        }
        const double end = std::abs(symmetricGain(rest, 0.5));
        for (size_t i = 0; i < taps; ++i) {
          EXPECT_NEAR((*highPass)[i], rest[i] / end, 1e-7 * std::abs(rest[i]) + 1e-16);
        }
      }
    }
  }
}

TEST(FilterDesign, AResponseIsTheSumOverTheCoefficients) {
  const std::vector<float> singles{0.5F, -0.25F, 3, 0.125F};
  const std::vector<double> doubles(singles.begin(), singles.end());
  const Section section{0.7, 1, -0.3, 0.2, -0.5, 0.1};
  for (const double frequency : {0.0, 0.013, 0.25, 0.4, 0.5}) {
    std::complex<double> sum = 0;
    for (size_t i = 0; i < doubles.size(); ++i) {
      sum += doubles[i] * std::polar(1.0, -2 * pi * frequency * static_cast<double>(i));
    }
    expectClose(responseOf(singles, frequency), sum);
    expectClose(responseOf(doubles, frequency), sum);
    const std::complex<double> z = std::polar(1.0, 2 * pi * frequency);
    const std::complex<double> expected = 0.7 * (z * z - 0.3 * z + 0.2) / (z * z - 0.5 * z + 0.1);
    expectClose(responseOf(std::array{section}, frequency), expected);
    expectClose(responseOf(std::array{section, section}, frequency), expected * expected);
  }
  expectClose(decibels({3, 4}), 20 * std::log10(5));
}

TEST(FilterDesign, SettingsThatCannotBeAreNamed) {
  const auto edges = [](double low, double high) { return problemOf(butterworth({low, high}, 2)); };
  const std::string away = ": an edge lies at least 1e-6 of the sample rate above 0 and below 0.5";
  EXPECT_EQ(edges(NAN, 0.2), "low edge is nan" + away);
  EXPECT_EQ(edges(5e-7, 0.2), "low edge is 5e-07" + away);
  EXPECT_EQ(edges(0.4999995, 0.5), "low edge is 0.4999995" + away);
  EXPECT_EQ(edges(0, 5e-7), "high edge is 5e-07" + away);
  EXPECT_EQ(edges(0.2, 0.4999995), "high edge is 0.4999995" + away);
  EXPECT_EQ(edges(0.2, INFINITY), "high edge is inf" + away);
  EXPECT_EQ(edges(0, 0.5), "low edge and high edge let all frequencies pass: one of them is needed");
  EXPECT_EQ(edges(0.2, 0.2000005),
            "high edge is 0.2000005: it lies at least 1e-6 of the sample rate above the low edge");
  EXPECT_EQ(edges(1e-6, 0.4), "");
  EXPECT_EQ(edges(0, 1e-6), "");
  EXPECT_EQ(edges(0, 0.499999), "");
  EXPECT_EQ(edges(0.499999, 0.5), "");
  EXPECT_EQ(problemOf(butterworth({0, 0.1}, 0)), "order is 0: it is from 1 to 100");
  EXPECT_EQ(problemOf(butterworth({0, 0.1}, 101)), "order is 101: it is from 1 to 100");
  EXPECT_EQ(problemOf(butterworth({0, 0.1}, 100)), "");
  const auto taps = [](PassBand band, size_t count) { return problemOf(windowedSinc(band, count, Window::hamming)); };
  EXPECT_EQ(taps({0, NAN}, 3), "high edge is nan" + away);
  EXPECT_EQ(taps({0, 0.1}, 2), "taps is 2: they are from 3 to 131071");
  EXPECT_EQ(taps({0, 0.1}, 131072), "taps is 131072: they are from 3 to 131071");
  EXPECT_EQ(taps({0, 0.1}, 3), "");
  EXPECT_EQ(taps({0, 0.1}, 131071), "");
  EXPECT_EQ(taps({0.1, 0.5}, 64), "taps is 64: a high-pass needs an odd number");
  EXPECT_EQ(taps({0.1, 0.5}, 65), "");
  EXPECT_EQ(taps({0.1, 0.101}, 5), "5 taps are too few for this band");
  EXPECT_EQ(taps({0.1, 0.1156}, 64), "64 taps are too few for this band");  // a gain of 0.498, and one of 0.501
  EXPECT_EQ(taps({0.1, 0.1157}, 64), "");
}

}  // namespace
}  // namespace kxanalysis_test
