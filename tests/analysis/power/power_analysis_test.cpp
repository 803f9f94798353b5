// Signals that are made of known phasors give the powers, harmonics, angles and sequences that follow from these.
#include "analysis/power/power_analysis.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <numbers>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/power/power_mean.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;
using std::numbers::pi;

/// Of some order: rms and sine phase in degrees.
struct Component {
  int order;
  double rms;
  double phase;
};
using Components = std::vector<Component>;

/// A window of `cycles` periods of the fundamental.
std::vector<double> signal(const Components& components, size_t length, int cycles, double constant = 0) {
  std::vector<double> samples(length, constant);
  for (const auto& [order, rms, phase] : components) {
    for (size_t i = 0; i < length; ++i) {
      const double turns =
          static_cast<double>(static_cast<size_t>(order * cycles) * i % length) / static_cast<double>(length);
      samples[i] += rms * std::sqrt(2) * std::sin(2 * pi * (turns + phase / 360));
    }
  }
  return samples;
}

/// To single: the spectra are of singles.
void expectSame(double found, double expected) {
  EXPECT_NEAR(found, expected, 3e-7 * std::abs(expected) + 1e-5);
}

/// The multiples of the reference that are taken off, of up to 2500 degrees, are singles, too.
void expectAngle(float found, double expected) {
  EXPECT_NEAR(std::remainder(static_cast<double>(found) - expected, 360), 0, 3e-4);
  EXPECT_LE(std::abs(found), 180.0F);
}

PowerAnalyzer analyzerOf(const PowerSettings& settings) {
  auto analyzer = PowerAnalyzer::create(linkedFunctions, settings);
  EXPECT_TRUE(analyzer) << analyzer.problem();
  return std::move(*analyzer);
}

const Components voltage{{1, 100, 0}, {3, 8, -70}, {5, 15, 140}, {7, 5, 20}};
const Components current{{1, 100, -30}, {3, 20, -165}, {5, 15, 233}, {7, 10, 288}};

TEST(PowerAnalysis, OnePhaseWithHarmonics) {
  for (const double rate : {6400.0, 6395.0}) {  // windows of even and of odd length
    PowerAnalyzer analyzer = analyzerOf({rate, 50, 10, {}});
    const size_t length = analyzer.windowLength();
    EXPECT_EQ(length, static_cast<size_t>(rate / 5));
    expectClose(analyzer.binWidth(), 5);
    EXPECT_EQ(analyzer.orderCount(), 50);
    const PowerWindow window =
        analyzer.analyze(std::array{signal(voltage, length, 10)}, std::array{signal(current, length, 10)});
    ASSERT_EQ(window.phases.size(), 1U);
    const auto& [u, i, power] = window.phases[0];
    expectSame(power.active, 8632.78864);
    expectSame(power.reactive, 4984.66903);
    expectSame(u.rms, std::sqrt(100 * 100 + 8 * 8 + 15 * 15 + 5 * 5));
    expectSame(i.rms, std::sqrt(100 * 100 + 20 * 20 + 15 * 15 + 10 * 10));
    expectSame(power.apparent, u.rms * i.rms);
    EXPECT_NEAR(*power.factor(), 0.82080, 5e-6);
    expectSame(*u.distortion(), std::sqrt(8 * 8 + 15 * 15 + 5 * 5) / 100);
    expectSame(*i.distortion(), std::sqrt(20 * 20 + 15 * 15 + 10 * 10) / 100);
    ASSERT_EQ(u.harmonics.size(), 50U);
    ASSERT_EQ(u.angles.size(), 50U);
    for (size_t h = 0; h < 4; ++h) {
      const auto index = static_cast<size_t>(voltage[h].order - 1);
      expectSame(u.harmonics[index], voltage[h].rms);
      expectSame(i.harmonics[index], current[h].rms);
      expectAngle(u.angles[index], voltage[h].phase);
      expectAngle(i.angles[index], current[h].phase);
    }
    EXPECT_LT(u.harmonics[1], 1e-4F);
    EXPECT_EQ(window.strongestBin, 10U);
    EXPECT_FALSE(window.voltageSequence || window.currentSequence);
  }
}

/// The phase of order h has turned through h times the fundamental's own by the moment that angles are told of.
TEST(PowerAnalysis, AnglesAreThoseOfTheFirstVoltagesRise) {
  for (const double shift : {0.0, 10.0, 95.0, 180.0, 200.0, 275.0, 350.0}) {
    Components u = voltage, i = current;
    for (Components* signals : {&u, &i}) {
      for (Component& component : *signals) {
        component.phase += component.order * shift;
      }
    }
    PowerAnalyzer analyzer = analyzerOf({6400, 50, 10, {}});
    const PowerWindow window = analyzer.analyze(std::array{signal(u, 1280, 10)}, std::array{signal(i, 1280, 10)});
    for (size_t h = 0; h < 4; ++h) {
      const auto index = static_cast<size_t>(voltage[h].order - 1);
      expectAngle(window.phases[0].voltage.angles[index], voltage[h].phase);
      expectAngle(window.phases[0].current.angles[index], current[h].phase);
    }
    EXPECT_FALSE(std::signbit(window.phases[0].voltage.angles[0]) && window.phases[0].voltage.angles[0] == 0);
  }
}

/// Whatever the samples are: Parseval.
TEST(PowerAnalysis, ActivePowerIsTheMeanOfTheProducts) {
  for (const double rate : {1000.0, 1005.0}) {
    PowerAnalyzer analyzer = analyzerOf({rate, 50, 10, {}});
    std::vector<double> u, i;
    double products = 0, squaresU = 0, squaresI = 0;
    for (size_t n = 0; n < analyzer.windowLength(); ++n) {
      u.push_back(static_cast<double>(n * n % 97) - 20);
      i.push_back(static_cast<double>(n * 31 % 53) - 40 + (n % 2 == 0 ? 7 : -7));
      products += u[n] * i[n];
      squaresU += u[n] * u[n];
      squaresI += i[n] * i[n];
    }
    const PowerWindow window = analyzer.analyze(std::array{u}, std::array{i});
    const auto count = static_cast<double>(u.size());
    expectSame(window.phases[0].power.active, products / count);
    expectSame(window.phases[0].voltage.rms, std::sqrt(squaresU / count));
    expectSame(window.phases[0].current.rms, std::sqrt(squaresI / count));
  }
}

TEST(PowerAnalysis, TheStrongestBinIsTheFirstVoltages) {
  PowerAnalyzer analyzer = analyzerOf({1600, 50, 5, {}});
  const auto weak = signal({{1, 1, 0}}, 160, 5), strong = signal({{3, 2, 0}}, 160, 5, 50);
  const auto strongest = [&](const auto& u) { return analyzer.analyze(u, u).strongestBin; };
  EXPECT_EQ(strongest(std::array{strong, weak}), 15U);
  EXPECT_EQ(strongest(std::array{weak, strong}), 5U);
  std::vector<double> highest(160);
  for (size_t i = 0; i < 160; ++i) {
    highest[i] = i % 2 == 0 ? 1 : -1;
  }
  EXPECT_EQ(strongest(std::array{highest}), 80U);
  const std::vector<double> silence(160);
  const PowerWindow nothing = analyzer.analyze(std::array{silence}, std::array{silence});
  EXPECT_EQ(nothing.strongestBin, 0U);
  EXPECT_FALSE(nothing.phases[0].power.factor());
  EXPECT_FALSE(nothing.phases[0].voltage.distortion());
}

struct Unbalance {
  Components first, second, third;
  double negative, zero;  // in percent
};

TEST(PowerAnalysis, SequencesOfUnbalancedPhases) {
  const std::array<Unbalance, 4> systems{{{{{1, 73, 0}}, {{1, 80, -120}}, {{1, 87, 120}}, 5.05181, 5.05181},
                                          {{{1, 100, 0}}, {{1, 90, -120}}, {{1, 100, 120}}, 3.448276, 3.448276},
                                          {{{1, 230, 0}}, {{1, 230, -120}}, {}, 50, 50},
                                          {{{1, 230, 0}}, {{1, 220, -118}}, {{1, 240, 123}}, 4.00579, 1.17261}}};
  PowerAnalyzer analyzer = analyzerOf({3200, 50, 10, {}});
  const auto window = [](const Components& components) { return signal(components, 640, 10); };
  for (const auto& [first, second, third, negative, zero] : systems) {
    const std::array u{window(first), window(second), window(third)};
    const std::array i{window({{1, 5, -20}}), window({{1, 5, -140}}), window({{1, 5, 100}})};
    const PowerWindow found = analyzer.analyze(u, i);
    ASSERT_TRUE(found.voltageSequence && found.currentSequence);
    EXPECT_NEAR(found.voltageSequence->negativeRatio, negative, 2e-5);
    EXPECT_NEAR(found.voltageSequence->zeroRatio, zero, 2e-5);
    std::complex<double> positive = 0;
    const std::complex<double> a = std::polar(1.0, 2 * pi / 3);
    for (const auto& [turn, part] : {std::pair(1.0 + 0.0 * a, &first), {a, &second}, {a * a, &third}}) {
      positive += part->empty() ? 0 : turn * std::polar(part->front().rms / 3, part->front().phase * pi / 180);
    }
    EXPECT_NEAR(found.voltageSequence->positive, std::abs(positive), 2e-4);
    EXPECT_NEAR(found.voltageSequence->negative, std::abs(positive) * negative / 100, 2e-4);
    EXPECT_NEAR(found.voltageSequence->zero, std::abs(positive) * zero / 100, 2e-4);
    EXPECT_NEAR(found.currentSequence->positive, 5, 1e-5);
    EXPECT_NEAR(found.currentSequence->negativeRatio, 0, 1e-3);
    const PowerFigures total = found.total();
    double active = 0, reactive = 0, apparent = 0;
    for (const PhaseFigures& phase : found.phases) {
      active += phase.power.active;
      reactive += phase.power.reactive;
      apparent += phase.power.apparent;
    }
    expectSame(total.active, active);
    expectSame(total.reactive, reactive);
    expectSame(total.apparent, apparent);
    EXPECT_GT(total.active, 100);
    EXPECT_GT(total.reactive, 100);  // the current lags
  }
}

TEST(PowerAnalysis, VoltagesAreCorrectedAndCurrentsAreNot) {
  const auto curve = CorrectionCurve::create({{0, 3, 90}, {40, 2, 10}, {160, 1, 70}, {3200, 5, 60}});
  for (const double rate : {3200.0, 3195.0}) {
    PowerAnalyzer analyzer = analyzerOf({rate, 50, 10, *curve});
    const size_t length = analyzer.windowLength();
    std::vector<double> u = signal({{1, 100, 0}, {3, 10, 20}}, length, 10, 7);
    double lastGain = 0;
    if (length % 2 == 0) {
      lastGain = curve->at(1600).gain;
      for (size_t i = 0; i < length; ++i) {
        u[i] += i % 2 == 0 ? 4 : -4;
      }
    }
    const PhaseFigures figures = analyzer.analyze(std::array{u}, std::array{u}).phases[0];
    const CorrectionPoint first = curve->at(50), third = curve->at(150);
    expectSame(figures.voltage.harmonics[0], 100 * first.gain);
    expectSame(figures.voltage.harmonics[2], 10 * third.gain);
    expectAngle(figures.voltage.angles[0], 0);
    expectAngle(figures.voltage.angles[2], 20 + third.phase - 3 * first.phase);
    expectAngle(figures.current.angles[0], -first.phase);
    expectSame(figures.current.harmonics[0], 100);
    expectSame(figures.voltage.rms, std::sqrt(std::pow(100 * first.gain, 2) + std::pow(10 * third.gain, 2) + 21 * 21 +
                                              16 * lastGain * lastGain));
  }
}

TEST(PowerAnalysis, OrdersEndBelowHalfTheRate) {
  const auto orders = [](double rate, double frequency, int cycles) {
    return analyzerOf({rate, frequency, cycles, {}}).orderCount();
  };
  EXPECT_EQ(orders(1000, 50, 10), 9);   // 200 samples: bin 99 is the highest below half the rate
  EXPECT_EQ(orders(1005, 50, 10), 10);  // 201 samples: bin 100
  EXPECT_EQ(orders(5000, 50, 10), 49);
  EXPECT_EQ(orders(5005, 50, 10), 50);
  EXPECT_EQ(orders(1e5, 50, 10), 50);
  EXPECT_EQ(orders(150, 50, 1), 1);
  EXPECT_EQ(orders(1000, 60, 3), 8);  // 50 samples
}

TEST(PowerAnalysis, SettingsThatCannotBeAreNamed) {
  const auto problem = [](double rate, double frequency, int cycles) {
    return problemOf(PowerAnalyzer::create(linkedFunctions, {rate, frequency, cycles, {}}));
  };
  EXPECT_EQ(problem(0, 50, 10), "rate is 0: it is above 0 Hz");
  EXPECT_EQ(problem(INFINITY, 50, 10), "rate is inf: it is above 0 Hz");
  EXPECT_EQ(problem(1000, 0, 10), "frequency is 0: it is above 0 Hz");
  EXPECT_EQ(problem(1000, INFINITY, 10), "frequency is inf: it is above 0 Hz");
  EXPECT_EQ(problem(1000, 50, 0), "cycles is 0: a window has at least 1");
  EXPECT_EQ(problem(1 << 24, 1, 2), "cycles is 2: a window would have more than 16777216 samples");
  EXPECT_EQ(problem((1 << 24) + 1, 1, 1), "cycles is 1: a window would have more than 16777216 samples");
  EXPECT_EQ(problem(1 << 24, 1, 1), "");
  EXPECT_EQ(problem(100, 50, 10), "rate is 100: too low to see 50 Hz, more than twice that is needed");
  EXPECT_EQ(problem(110, 50, 10), "");
}

TEST(CorrectionCurve, ItRunsOnStraightLinesAndStaysAtItsEnds) {
  const auto curve = CorrectionCurve::create({{10, 1, -20}, {20, 3, 40}, {60, 2, 0}});
  ASSERT_TRUE(curve);
  const auto expect = [&](double frequency, double gain, double phase) {
    const CorrectionPoint point = curve->at(frequency);
    expectClose(point.gain, gain);
    EXPECT_NEAR(point.phase, phase, 1e-12);
  };
  expect(0, 1, -20);
  expect(10, 1, -20);
  expect(12.5, 1.5, -5);
  expect(20, 3, 40);
  expect(50, 2.25, 10);
  expect(60, 2, 0);
  expect(1e9, 2, 0);
}

/// The first bin and the one at half the rate have no sine part.
TEST(CorrectionCurve, FactorsAreRealAtBothEnds) {
  const auto curve = CorrectionCurve::create({{10, 1, 30}, {20, 3, 60}});
  for (const bool endsAtHalfTheRate : {true, false}) {
    const std::vector<float> factors = curve->factors(5, 6, endsAtHalfTheRate);
    ASSERT_EQ(factors.size(), 10U);
    const double gains[] = {1, 1, 1.4, 2.6, 3}, phases[] = {0, 30, 36, 54, endsAtHalfTheRate ? 0.0 : 60};
    for (size_t bin = 0; bin < 5; ++bin) {
      expectSingle(factors[2 * bin], gains[bin] * std::cos(phases[bin] * pi / 180));
      expectSingle(factors[2 * bin + 1], gains[bin] * std::sin(phases[bin] * pi / 180));
    }
  }
}

TEST(CorrectionCurve, PointsThatCannotBeAreNamed) {
  const auto problem = [](std::vector<CorrectionPoint> points) { return problemOf(CorrectionCurve::create(points)); };
  EXPECT_EQ(problem({}), "holds no points");
  EXPECT_EQ(problem({{NAN, 1, 0}}), "point 1 is not finite");
  EXPECT_EQ(problem({{1, 1, 0}, {2, INFINITY, 0}}), "point 2 is not finite");
  EXPECT_EQ(problem({{1, 1, -INFINITY}}), "point 1 is not finite");
  EXPECT_EQ(problem({{1, 1, 0}, {2, 1, 0}, {2, 1, 0}}), "point 3: the frequencies do not ascend");
  EXPECT_EQ(problem({{1, 1, 0}}), "");
}

PowerWindow windowOf(double scale, float angle) {
  SignalFigures u{scale, {static_cast<float>(2 * scale), 1}, {angle, -179}}, i{3 * scale, {4, 5}, {0, 10}};
  return {{{u, i, {scale, -2 * scale, 5 * scale}}, {i, u, {1, 2, 3}}}, {}, {}, 0};
}

TEST(PowerMean, EachFigureHasItsOwnMean) {
  std::vector<PowerWindow> windows{windowOf(1, 10), windowOf(7, 70)};
  windows[1].phases[0].voltage.angles[1] = 177;  // with -179 of the other in the middle at 179
  const PowerWindow mean = meanOf(windows);
  ASSERT_EQ(mean.phases.size(), 2U);
  const auto& [u, i, power] = mean.phases[0];
  expectClose(u.rms, 5);  // the root of (1 + 49) / 2
  expectClose(i.rms, 15);
  expectSingle(u.harmonics[0], 10);
  expectSingle(u.harmonics[1], 1);
  expectSingle(i.harmonics[1], 5);
  const std::complex<double> sum = std::polar(2.0, 10 * pi / 180) + std::polar(14.0, 70 * pi / 180);
  expectSingle(u.angles[0], std::arg(sum) * 180 / pi);
  expectSingle(u.angles[1], 179);
  expectSingle(i.angles[1], 10);
  expectClose(power.active, 4);
  expectClose(power.reactive, -8);
  expectClose(power.apparent, 20);
  expectClose(mean.phases[1].current.rms, 5);
  expectClose(mean.phases[1].power.apparent, 3);
  EXPECT_FALSE(mean.voltageSequence || mean.currentSequence);
}

TEST(PowerMean, SequencesAreMeantOverTheWindowsThatHaveThem) {
  std::vector<PowerWindow> windows{windowOf(1, 0), windowOf(1, 0), windowOf(1, 0)};
  for (PowerWindow& window : windows) {
    window.voltageSequence = SequenceFigures{10, 2, 3, NAN, NAN};
    window.currentSequence = SequenceFigures{0, 0, 0, NAN, NAN};
  }
  windows[0].voltageSequence = SequenceFigures{10, 14, 21, 4, 3};
  windows[2].voltageSequence = SequenceFigures{40, 2, 3, 28, 21};
  const PowerWindow mean = meanOf(windows);
  ASSERT_TRUE(mean.voltageSequence && mean.currentSequence);
  expectSingle(mean.voltageSequence->positive, std::sqrt(600));
  expectSingle(mean.voltageSequence->negative, std::sqrt(68));
  expectSingle(mean.voltageSequence->zero, std::sqrt(153));
  expectSingle(mean.voltageSequence->negativeRatio, 20);
  expectSingle(mean.voltageSequence->zeroRatio, 15);
  EXPECT_EQ(mean.currentSequence->positive, 0);
  EXPECT_TRUE(std::isnan(mean.currentSequence->negativeRatio));
}

}  // namespace
}  // namespace kxanalysis_test
