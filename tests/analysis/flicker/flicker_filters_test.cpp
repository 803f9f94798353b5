// The digital filters have the analog prototypes' responses at the frequencies that the bilinear transform maps to theirs.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <span>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/flicker/flickermeter.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;
using Complex = std::complex<double>;
using std::numbers::pi;

struct WeightingModel {
  double gain, lambda, w1, w2, w3, w4;  // of the standard, in Hz
};

WeightingModel modelOf(Lamp lamp) {
  return lamp == Lamp::volts230 ? WeightingModel{1.74802, 4.05981, 9.15494, 2.27979, 1.22535, 21.9}
                                : WeightingModel{1.6357, 4.167375, 9.077169, 2.939902, 1.394468, 17.31512};
}

/// (b0 + b1/z + b2/z^2) / (1 + a1/z + a2/z^2) at a frequency.
Complex digital(double frequency, double rate, std::array<double, 3> b, std::array<double, 2> a) {
  const Complex delay = std::polar(1.0, -2 * pi * frequency / rate);
  return (b[0] + b[1] * delay + b[2] * delay * delay) / (1.0 + a[0] * delay + a[1] * delay * delay);
}

/// The s of the analog filter whose response the digital one has at `frequency`, if they agree at `exact` Hz.
Complex warped(double frequency, double rate, double exact) {
  return {0, 2 * pi * exact * std::tan(pi * frequency / rate) / std::tan(pi * exact / rate)};
}

class FlickerFiltersTest : public testing::Test {
protected:
  template <class Check>
  static void everywhere(Check check) {
    for (const Lamp lamp : {Lamp::volts230, Lamp::volts120}) {
      for (const double mains : {50.0, 60.0}) {
        for (const double rate : {4000.0, 4410.0, 20000.0}) {
          for (const double frequency : {0.02, 0.3, 1.5, 8.8, 9.1, 35.0, 42.0, 100.0, 1234.5, 1990.0}) {
            SCOPED_TRACE(testing::Message() << "mains " << mains << ", rate " << rate << ", at " << frequency << " Hz");
            const FlickerSetting setting{lamp, mains};
            check(setting, rate, frequency, designFlickerFilters(setting, rate));
          }
        }
      }
    }
  }
};

TEST_F(FlickerFiltersTest, TheLowPassIsButterworthsOfTheSixthOrder) {
  everywhere([](FlickerSetting setting, double rate, double frequency, const FlickerFilters& filters) {
    const double corner = setting.mains == 50 ? 35 : 42;
    const Complex s = warped(frequency, rate, corner) / (2 * pi * corner);
    Complex expected = 1, found = 1;
    for (int k = 0; k < 6; ++k) {
      expected /= 1.0 - s / std::polar(1.0, pi * (2 * k + 7) / 12);
    }
    for (size_t i = 0; i < 3; ++i) {
      const double gain = filters.lowPassGain[i];
      found *= digital(frequency, rate, {gain, 2 * gain, gain}, {filters.lowPassA1[i], filters.lowPassA2[i]});
    }
    expectClose(found, expected);
  });
}

TEST_F(FlickerFiltersTest, TheHighPassIsOfTheFirstOrder) {
  everywhere([](FlickerSetting, double rate, double frequency, const FlickerFilters& filters) {
    const auto& [b0, b1, a1] = filters.highPass;
    const Complex s = warped(frequency, rate, 0.05);
    expectClose(digital(frequency, rate, {b0, b1, 0}, {-a1, 0}), s / (s + 2 * pi * 0.05));
  });
}

TEST_F(FlickerFiltersTest, TheWeightingIsThatOfLampEyeAndBrain) {
  everywhere([](FlickerSetting setting, double rate, double frequency, const FlickerFilters& filters) {
    const WeightingModel model = modelOf(setting.lamp);
    const auto& w = filters.weight;
    const Complex s = warped(frequency, rate, model.w1) / (2 * pi);
    const Complex band = model.gain * model.w1 * s / (s * s + 2 * model.lambda * s + model.w1 * model.w1);
    const Complex slopes = (1.0 + s / model.w2) / ((1.0 + s / model.w3) * (1.0 + s / model.w4));
    expectClose(digital(frequency, rate, {w[0], 0, w[1]}, {-w[2], -w[3]}), band);
    expectClose(digital(frequency, rate, {w[4], w[5], w[6]}, {-w[7], -w[8]}), slopes);
  });
}

TEST_F(FlickerFiltersTest, TheSmoothingHasATimeConstantOf300Milliseconds) {
  everywhere([](FlickerSetting, double rate, double frequency, const FlickerFilters& filters) {
    const auto& w = filters.weight;
    const Complex s{0, 2 * rate * std::tan(pi * frequency / rate)};
    expectClose(digital(frequency, rate, {w[9], w[10], 0}, {-w[11], 0}), 1.0 / (1.0 + 0.3 * s));
  });
}

/// Settled, a modulation at 100 Hz of every half cycle alike comes out as a mean and a ripple of twice its frequency.
TEST_F(FlickerFiltersTest, TheWholeChainHasTheResponsesOfItsFilters) {
  constexpr double rate = 4000, frequency = 100, depth = 0.4;
  for (const Lamp lamp : {Lamp::volts230, Lamp::volts120}) {
    const FlickerSetting setting{lamp, 50};
    const FlickerFilters f = designFlickerFilters(setting, rate);
    const auto& w = f.weight;
    const auto at = [&](std::array<double, 3> b, std::array<double, 2> a) { return digital(frequency, rate, b, a); };
    Complex response = at({f.highPass[0], f.highPass[1], 0}, {-f.highPass[2], 0}) *
                       at({w[0], 0, w[1]}, {-w[2], -w[3]}) * at({w[4], w[5], w[6]}, {-w[7], -w[8]});
    for (size_t i = 0; i < 3; ++i) {
      const double gain = f.lowPassGain[i];
      response *= at({gain, 2 * gain, gain}, {f.lowPassA1[i], f.lowPassA2[i]});
    }
    const Complex ripple = response * response * digital(2 * frequency, rate, {w[9], w[10], 0}, {-w[11], 0});
    std::vector<float> voltage(10 * static_cast<size_t>(rate));
    for (size_t i = 0; i < voltage.size(); ++i) {
      const double phase = 2 * pi * static_cast<double>(i % 40) / 40;
      voltage[i] = static_cast<float>(300 * std::sqrt(1 + 2 * depth * std::cos(phase)));
    }
    auto meter = Flickermeter::create(linkedFunctions, setting, rate);
    const auto sensation = meter->feed(voltage);
    ASSERT_TRUE(sensation);
    ASSERT_EQ(sensation->size(), voltage.size());
    for (size_t i = voltage.size() - 40; i < voltage.size(); ++i) {
      const Complex turn = std::polar(1.0, 4 * pi * static_cast<double>(i % 40) / 40);
      const double expected = 1238400 * depth * depth / 2 * (std::norm(response) + std::real(ripple * turn));
      expectClose(static_cast<double>((*sensation)[i]), expected, 2e-3);  // singles between the filters
    }
  }
}

TEST_F(FlickerFiltersTest, AConstantVoltageGivesNoSensationFromItsFirstSampleOn) {
  for (const float voltage : {1.0F, 230.0F}) {
    auto meter = Flickermeter::create(linkedFunctions, nominalSetting(Lamp::volts230), 4000);
    EXPECT_FALSE(meter->hasVoltage());
    const std::vector<float> samples(4000, voltage);
    const auto sensation = meter->feed(samples);
    ASSERT_TRUE(sensation);
    EXPECT_TRUE(meter->hasVoltage());
    for (const float value : *sensation) {
      ASSERT_LT(value, 1e-7F);
    }
  }
}

TEST_F(FlickerFiltersTest, WithoutVoltageThereIsNoSensation) {
  auto meter = Flickermeter::create(linkedFunctions, nominalSetting(Lamp::volts120), 6000);
  const std::vector<float> silence(6000);
  const auto sensation = meter->feed(silence);
  ASSERT_TRUE(sensation);
  EXPECT_FALSE(meter->hasVoltage());
  for (const float value : *sensation) {
    ASSERT_TRUE(std::isfinite(value));
  }
}

/// Small whole numbers, whose squares are exact in single.
TEST_F(FlickerFiltersTest, TheAdaptorIsALowPassOfTheHalfCyclesRms) {
  for (const double mains : {50.0, 60.0}) {
    auto adaptor = VoltageAdaptor::create(linkedFunctions, {Lamp::volts230, mains});
    ASSERT_TRUE(adaptor);
    const double weight = 1 - std::pow(9, -1 / (120 * mains));
    double reference = 0;
    for (int halfCycle = 1; halfCycle <= 6000; ++halfCycle) {
      const std::vector<float> voltage{static_cast<float>(halfCycle % 7), 3, -2,
                                       static_cast<float>(-(halfCycle % 100))};
      double squares = 0;
      for (const float sample : voltage) {
        squares += static_cast<double>(sample * sample);
      }
      const double share = 1.0 / halfCycle > weight ? 1.0 / halfCycle : weight;
      reference = (1 - share) * reference + share * std::sqrt(squares / 4);
      std::vector<float> scaled(4);
      ASSERT_TRUE(adaptor->scale(voltage, scaled));
      expectClose(adaptor->reference(), reference, 1e-11);
      expectSingle(scaled[1], 3 / reference);
      expectSingle(scaled[2], -2 / reference);
    }
  }
}

TEST_F(FlickerFiltersTest, AVoltageBelowTheLeastNormalSingleCountsAsNone) {
  auto adaptor = VoltageAdaptor::create(linkedFunctions, {Lamp::volts230, 50});
  std::vector<float> scaled(2);
  // A sum of squares that is a single: 2^-148, of which two make a mean square of 2^-149.
  EXPECT_TRUE(adaptor->scale(std::vector<float>(2, 0x1p-74F), scaled));
  EXPECT_EQ(scaled[0], 1);
  EXPECT_EQ(problemOf(adaptor->scale(std::vector<float>{1, NAN}, scaled)),
            "holds a sample that is not a finite number");
  EXPECT_EQ(adaptor->reference(), 0x1p-74);
}

TEST_F(FlickerFiltersTest, LampsHaveVoltagesMainsAndNames) {
  EXPECT_EQ(nominalVoltage(Lamp::volts230), 230);
  EXPECT_EQ(nominalVoltage(Lamp::volts120), 120);
  EXPECT_EQ(settingText(nominalSetting(Lamp::volts230)), "230 V/50 Hz");
  EXPECT_EQ(settingText(nominalSetting(Lamp::volts120)), "120 V/60 Hz");
}

}  // namespace
}  // namespace kxanalysis_test
