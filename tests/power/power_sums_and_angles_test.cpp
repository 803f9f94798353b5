#include "reference/power_sums_and_angles.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <span>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float highest = std::numeric_limits<float>::max();
constexpr float smallest = std::numeric_limits<float>::denorm_min();
constexpr int32_t lowestCount = std::numeric_limits<int32_t>::min();

constexpr double widened(float value) {
  return static_cast<double>(value);
}

/// Two elements for each bin.
std::vector<float> spectrumOf(support::SampleClass sampleClass, std::size_t binCount, support::Random& random) {
  std::vector<float> spectrum(2 * binCount);
  support::fill(std::span(spectrum), sampleClass, random);
  return spectrum;
}

struct Powers {
  double active;
  double reactive;
};

/// Calls on spectra and results at fences.
class PowerSums {
public:
  explicit PowerSums(std::size_t bins) : voltageMemory_(2 * bins), currentMemory_(2 * bins) {}

  Powers run(const std::vector<float>& voltage, const std::vector<float>& current, int32_t binCount,
             const Placement& voltagePlacement = support::endsAtFence,
             const Placement& currentPlacement = support::endsAtFence) {
    const std::span<float> u = voltageMemory_.place(voltage.size(), voltagePlacement);
    const std::span<float> i = currentMemory_.place(current.size(), currentPlacement);
    std::ranges::copy(voltage, u.begin());
    std::ranges::copy(current, i.begin());
    double* const active = activeMemory_.place(1, voltagePlacement).data();
    double* const reactive = reactiveMemory_.place(1, currentPlacement).data();
    *active = widened(nan);  // overwritten, not added to
    *reactive = widened(nan);
    kxcalcPowerPandQsum(u.data(), i.data(), binCount, active, reactive);
    EXPECT_TRUE(support::sameBits(u, voltage) && support::sameBits(i, current)) << "input changed";
    EXPECT_TRUE(activeMemory_.surroundingsIntact() && reactiveMemory_.surroundingsIntact());
    return {*active, *reactive};
  }

  testing::AssertionResult equalsModel(const std::vector<float>& voltage, const std::vector<float>& current,
                                       int32_t binCount, const Placement& voltagePlacement = support::endsAtFence,
                                       const Placement& currentPlacement = support::endsAtFence) {
    const Powers actual = run(voltage, current, binCount, voltagePlacement, currentPlacement);
    Powers expected{};
    reference::kxcalcPowerPandQsum(voltage.data(), current.data(), binCount, &expected.active, &expected.reactive);
    testing::AssertionResult result = support::sameResult(actual.active, expected.active);
    if (result) {
      result = support::sameResult(actual.reactive, expected.reactive) << ", reactive";
    }
    if (!result) {
      result << "; " << binCount << " bins, voltage " << voltagePlacement << ", current " << currentPlacement;
    }
    return result;
  }

private:
  support::FencedBuffer<float> voltageMemory_;
  support::FencedBuffer<float> currentMemory_;
  support::FencedBuffer<double> activeMemory_{1};
  support::FencedBuffer<double> reactiveMemory_{1};
};

std::size_t binsRead(int32_t binCount) {
  return binCount > 2 ? static_cast<std::size_t>(binCount) : 2;
}

TEST(PowerPandQsum, HandWorkedCases) {
  const struct {
    std::vector<float> voltage;
    std::vector<float> current;
    Powers powers;
  } cases[] = {
      // ur ir + ui ii and ur ii - ui ir, all but the first and the last bin in full.
      {{0, 0, 2, 3, 0, 0}, {0, 0, 5, 7, 0, 0}, {31, -1}},
      {{2, 3, 0, 0, 0, 0}, {5, 7, 0, 0, 0, 0}, {15.5, -0.5}},
      {{0, 0, 0, 0, 2, 3}, {0, 0, 0, 0, 5, 7}, {15.5, -0.5}},
      {{2, 0, 0, 0, 4, 0}, {8, 0, 1, 1, 16, 0}, {40, 0}},
      {{1, 0, 10, 0, 100, 0, 1000, 0, 10000, 0}, {2, 4, 2, 4, 2, 4, 2, 4, 2, 4}, {12221, 24442}},
      {{0, 1, 0, 10, 0, 100, 0, 1000, 0, 10000}, {2, 4, 2, 4, 2, 4, 2, 4, 2, 4}, {24442, -12221}},
      // In phase: no reactive power, and half-weighted squares.
      {{3, 4, 5, 12, 8, 15}, {3, 4, 5, 12, 8, 15}, {12.5 + 169 + 144.5, 0}},
      // Elements are widened before they are multiplied.
      {{0, 0, highest, highest, 0, 0}, {0, 0, highest, -highest, 0, 0}, {0, -2 * widened(highest) * widened(highest)}},
      {{0, 0, smallest, 0, 0, 0}, {0, 0, smallest, smallest, 0, 0}, {0x1p-298, 0x1p-298}},
      {{0, 0, 16777215, 0, 0, 0}, {0, 0, 16777215, 16777213, 0, 0}, {281474943156225.0, 281474909601795.0}},
      // The sums begin with the first bin, not with a zero.
      {{-0.0F, -0.0F, 0, -0.0F, -0.0F, -0.0F}, {1, 1, -1, 1, 1, 1}, {-0.0, 0}},
      {{-0.0F, 0, -0.0F, 0, -0.0F, 0}, {1, 1, 1, 1, 1, 1}, {0, -0.0}},
      {{0, 0, infinity, 0, 0, 0}, {0, 0, 1, -1, 0, 0}, {widened(infinity), -widened(infinity)}},
      {{0, 0, 1, 0, infinity, 1}, {0, 0, 1, 1, 0, 1}, {widened(nan), widened(infinity)}},
      {{0, 0, nan, 0, 0, 0}, {0, 0, 0, 0, 0, 0}, {widened(nan), widened(nan)}},
  };
  PowerSums sums(10);
  for (const auto& [voltage, current, powers] : cases) {
    const Powers actual = sums.run(voltage, current, static_cast<int32_t>(voltage.size() / 2));
    EXPECT_TRUE(support::sameResult(actual.active, powers.active))
        << testing::PrintToString(voltage) << " times " << testing::PrintToString(current);
    EXPECT_TRUE(support::sameResult(actual.reactive, powers.reactive))
        << testing::PrintToString(voltage) << " times " << testing::PrintToString(current);
  }
}

TEST(PowerPandQsum, OfTwoBinsAndFewerBothAreReadAndHalved) {
  PowerSums sums(2);
  for (const int32_t binCount : {2, 1, 0, -1, -2, -3, -1000, lowestCount, lowestCount + 1}) {
    const Powers powers = sums.run({2, 3, 20, 30}, {5, 7, 50, 70}, binCount);
    EXPECT_EQ(powers.active, 15.5 + 1550) << binCount;
    EXPECT_EQ(powers.reactive, -0.5 - 50) << binCount;
  }
}

TEST(PowerPandQsum, BinsAreAddedOneAfterTheOther) {
  // 2^53 + 1 is a tie and stays even; 2^53 + 2 + 1 becomes even: any other order, and partial sums, end elsewhere.
  const struct {
    std::vector<float> reals;  // of the voltage
    double sum;
  } cases[] = {
      {{0x1p54F, 1, 1, 1, 1, 0}, 0x1p53},      {{0x1p54F, 1, 1, 1, 1, 1, 1, 1, 1, 0}, 0x1p53},
      {{2, 1, 0x1p53F, 0, 0, 0}, 0x1p53 + 2},  {{0, 0x1p53F, 1, 2, 1, 0}, 0x1p53 + 4},
      {{0, 0x1p53F, 2, 1, 1, 0}, 0x1p53 + 4},  {{0, 0x1p53F, 1, 1, 2, 0}, 0x1p53 + 2},
      {{0, 1, 1, 1, 0x1p53F, 0}, 0x1p53 + 4},  {{0, 0x1p53F, 1, 1, 1, -0x1p54F}, 0},
      {{0x1p54F, 1, 1, 1, 1, 1, -0x1p54F}, 0}, {{0x1p54F, 1, 1, 2}, 0x1p53},
      {{0x1p54F, 1, 1, 6}, 0x1p53 + 4},
  };
  PowerSums sums(10);
  for (const auto& [reals, sum] : cases) {
    std::vector<float> voltage(2 * reals.size());
    std::vector<float> current(2 * reals.size());
    for (std::size_t bin = 0; bin < reals.size(); ++bin) {
      voltage[2 * bin] = reals[bin];
      current[2 * bin] = 1;
      current[2 * bin + 1] = -1;
    }
    const Powers powers = sums.run(voltage, current, static_cast<int32_t>(reals.size()));
    EXPECT_EQ(powers.active, sum) << testing::PrintToString(reals);
    EXPECT_EQ(powers.reactive, -sum) << testing::PrintToString(reals);
  }
}

TEST(PowerPandQsum, BothProductsOfABinAreOneTerm) {
  PowerSums sums(3);
  const Powers powers = sums.run({0x1p54F, 0, 1, 1, 0, 0}, {1, 1, 1, 1, 0, 0}, 3);
  EXPECT_EQ(powers.active, 0x1p53 + 2);
  EXPECT_EQ(powers.reactive, 0x1p53);
  EXPECT_EQ(sums.run({0x1p54F, 0, 1, -1, 0, 0}, {1, 1, 1, 1, 0, 0}, 3).reactive, 0x1p53 + 2);
}

TEST(PowerPandQsum, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  PowerSums sums(257);
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      const auto binCount = static_cast<int32_t>(count) - 2;
      const auto voltage = spectrumOf(sampleClass, binsRead(binCount), random);
      const auto current = spectrumOf(sampleClass, binsRead(binCount), random);
      for (const Placement& voltagePlacement : support::allPlacements<float>()) {
        for (const Placement& currentPlacement : support::allPlacements<float>()) {
          ASSERT_TRUE(sums.equalsModel(voltage, current, binCount, voltagePlacement, currentPlacement)) << sampleClass;
        }
      }
    }
  }
}

TEST(PowerPandQsum, ZerosKeepTheSignsOfTheirTerms) {
  support::TestRandom random;
  PowerSums sums(5);
  for (int repetition = 0; repetition < 4000; ++repetition) {
    const int32_t binCount = random.between(0, 5);
    ASSERT_TRUE(sums.equalsModel(spectrumOf(support::SampleClass::zeros, binsRead(binCount), random),
                                 spectrumOf(support::SampleClass::zeros, binsRead(binCount), random), binCount));
  }
}

TEST(PowerPandQsum, EqualsTheModelForLargeSpectra) {
  support::TestRandom random;
  PowerSums sums(support::largestCount);
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::largeCounts()) {
      ASSERT_TRUE(sums.equalsModel(spectrumOf(sampleClass, count, random), spectrumOf(sampleClass, count, random),
                                   static_cast<int32_t>(count)))
          << sampleClass;
    }
  }
}

TEST(PowerPandQsum, SumsThatCrossBinadesAndCancelRoundInAscendingOrder) {
  support::TestRandom random;
  PowerSums sums(300);
  for (int repetition = 0; repetition < 2000; ++repetition) {
    const int32_t binCount = random.between(0, 300);
    std::vector<float> voltage(2 * binsRead(binCount));
    std::vector<float> current(2 * binsRead(binCount));
    for (std::size_t i = 0; i < voltage.size(); ++i) {
      voltage[i] = static_cast<float>(random.sign() * std::ldexp(random.between(0, 7), random.between(-26, 26)));
      current[i] = static_cast<float>(random.sign() * std::ldexp(random.between(0, 7), random.between(-26, 26)));
    }
    ASSERT_TRUE(sums.equalsModel(voltage, current, binCount)) << repetition;
  }
}

TEST(PowerPandQsum, WithoutAPhaseThereIsNoReactivePower) {
  support::TestRandom random;
  PowerSums sums(67);
  for (int32_t binCount = 0; binCount <= 67; ++binCount) {
    const auto spectrum = spectrumOf(support::SampleClass::wholeRange, binsRead(binCount), random);
    EXPECT_TRUE(support::sameBits(sums.run(spectrum, spectrum, binCount).reactive, 0.0)) << binCount;
    ASSERT_TRUE(sums.equalsModel(spectrum, spectrum, binCount));
  }
}

TEST(PowerPandQsum, PowersOfKnownPhasorsWithBothSpectraConjugated) {
  // Rms value and phase in degrees, of the harmonics 1, 3, 5 and 7.
  const struct {
    std::size_t harmonic;
    double voltage;
    double voltagePhase;
    double current;
    double currentPhase;
  } phasors[] = {{1, 100, 0, 100, -30}, {3, 8, -70, 20, -165}, {5, 15, 140, 15, 233}, {7, 5, 20, 10, 288}};
  std::vector<float> voltage(18);
  std::vector<float> current(18);
  constexpr double radians = 3.14159265358979323846 / 180;
  for (const auto& phasor : phasors) {
    voltage[2 * phasor.harmonic] = static_cast<float>(phasor.voltage * std::cos(phasor.voltagePhase * radians));
    voltage[2 * phasor.harmonic + 1] = static_cast<float>(-phasor.voltage * std::sin(phasor.voltagePhase * radians));
    current[2 * phasor.harmonic] = static_cast<float>(phasor.current * std::cos(phasor.currentPhase * radians));
    current[2 * phasor.harmonic + 1] = static_cast<float>(-phasor.current * std::sin(phasor.currentPhase * radians));
  }
  PowerSums sums(9);
  const Powers powers = sums.run(voltage, current, 9);
  EXPECT_NEAR(powers.active, 8632.7886, 1e-2);
  EXPECT_NEAR(powers.reactive, 4984.6690, 1e-2);
}

struct AngleParameters {
  int32_t orderCount;
  float phasePerOrder;
  float binsPerOrder;
};

std::size_t elementsRead(const AngleParameters& parameters) {
  if (parameters.orderCount <= 0) {
    return 0;
  }
  const float highestPosition = static_cast<float>(parameters.orderCount) * parameters.binsPerOrder;
  return 2 * (static_cast<std::size_t>(highestPosition) + 2);
}

/// Calls on a spectrum that holds no more than is read, and on angles[0] that must not change.
class Angles {
public:
  Angles(std::size_t bins, std::size_t orders) : spectrumMemory_(2 * bins), anglesMemory_(orders + 1) {}

  /// Of the orders 0 to orderCount.
  std::span<const float> run(const std::vector<float>& spectrum, const AngleParameters& parameters,
                             const Placement& spectrumPlacement = support::endsAtFence,
                             const Placement& anglesPlacement = support::endsAtFence) {
    const std::span<float> placed = spectrumMemory_.place(spectrum.size(), spectrumPlacement);
    std::ranges::copy(spectrum, placed.begin());
    const auto orders = static_cast<std::size_t>(std::max(parameters.orderCount, 0));
    const std::span<float> angles = anglesMemory_.place(orders + 1, anglesPlacement);
    std::ranges::fill(angles, untouched);
    kxcalcPowerAngles(placed.data(), angles.data(), parameters.orderCount, parameters.phasePerOrder,
                      parameters.binsPerOrder);
    EXPECT_TRUE(support::sameBits(placed, spectrum)) << "spectrum changed";
    EXPECT_TRUE(support::sameBits(angles[0], untouched)) << "angles[0] written";
    EXPECT_TRUE(anglesMemory_.surroundingsIntact());
    return angles;
  }

  testing::AssertionResult equalsModel(const std::vector<float>& spectrum, const AngleParameters& parameters,
                                       const Placement& spectrumPlacement = support::endsAtFence,
                                       const Placement& anglesPlacement = support::endsAtFence) {
    const std::span<const float> actual = run(spectrum, parameters, spectrumPlacement, anglesPlacement);
    std::vector<float> expected(actual.size(), untouched);
    reference::kxcalcPowerAngles(spectrum.data(), expected.data(), parameters.orderCount, parameters.phasePerOrder,
                                 parameters.binsPerOrder);
    testing::AssertionResult result = support::sameResult(actual, expected);
    if (!result) {
      result << "; " << parameters.orderCount << " orders, phase " << support::describe(parameters.phasePerOrder)
             << ", bins " << support::describe(parameters.binsPerOrder) << " per order, spectrum " << spectrumPlacement
             << ", angles " << anglesPlacement;
    }
    return result;
  }

  static constexpr float untouched = -12345.75F;

private:
  support::FencedBuffer<float> spectrumMemory_;
  support::FencedBuffer<float> anglesMemory_;
};

float angleBetween(std::initializer_list<float> lower, std::initializer_list<float> upper, float fraction) {
  Angles angles(3, 1);
  std::vector<float> spectrum{nan, nan};
  spectrum.insert(spectrum.end(), lower);
  spectrum.insert(spectrum.end(), upper);
  return angles.run(spectrum, {1, 0, 1 + fraction})[1];
}

/// Of a bin in which order 1 lies: the negated angle, unless it is above 180.
float angleOfBin(float first, float second) {
  return angleBetween({first, second}, {0, 1}, 0);
}

/// The angle of a phase: bins of no angle, referred to its negative.
float angleOfPhase(float phase) {
  Angles angles(3, 1);
  return angles.run({0, 1, 0, 1, 0, 1}, {1, -phase, 1})[1];
}

TEST(PowerAngles, TheFirstElementOfABinIsTheOrdinate) {
  EXPECT_EQ(angleOfBin(1, 0), -0x1.67fffep6F);
  EXPECT_EQ(angleOfBin(1, 1), -0x1.67fffep5F);
  EXPECT_EQ(angleOfBin(3, 4), -0x1.26f58cp5F);
  EXPECT_EQ(angleOfBin(1, -1), -135);
  EXPECT_EQ(angleOfBin(0.5F, -0.5F), -135);
  EXPECT_EQ(angleOfBin(infinity, infinity), -0x1.67fffep5F);
}

TEST(PowerAngles, DegreesAreThoseOfTheFactorInSingle) {
  // 57.2957763671875; the exact factor would give 90, 45 and 180.
  EXPECT_EQ(angleOfBin(1, 0), -89.99999237060547F);
  EXPECT_EQ(angleOfBin(1, 1), -44.999996185302734F);
  EXPECT_EQ(angleOfBin(0, -1), -179.99998474121094F);
}

TEST(PowerAngles, DegreesAreRoundedFromTheCorrectArctangentInDouble) {
  // Its last bit decides.
  EXPECT_EQ(angleOfBin(1750307, -3658496), -0x1.34dd6ep+7F);
  EXPECT_EQ(angleOfBin(4881615, 2993152), -0x1.d3e262p+5F);
  EXPECT_EQ(angleOfBin(2819823, -4488960), -0x1.27ba7ep+7F);
  EXPECT_EQ(angleOfBin(7977621, 447744), -0x1.5b268cp+6F);
  EXPECT_EQ(angleOfBin(411568, 6286586), -0x1.df7244p+1F);
  EXPECT_EQ(angleOfBin(4179680, -5206549), -0x1.1a7ca2p+7F);
  EXPECT_EQ(angleOfBin(2799360, 8126209), -0x1.302118p+4F);
  EXPECT_EQ(angleOfBin(1882702, 7876607), -0x1.ae2c04p+3F);
}

TEST(PowerAngles, TheUpperBinsDegreesAreRoundedFromTheCorrectArctangentToo) {
  // Half way from an angle of 0.
  EXPECT_EQ(angleBetween({0, 1}, {4881615, 2993152}, 0.5F), -0x1.d3e262p+4F);
  EXPECT_EQ(angleBetween({0, 1}, {7977621, 447744}, 0.5F), -0x1.5b268cp+5F);
  EXPECT_EQ(angleBetween({0, 1}, {411568, 6286586}, 0.5F), -0x1.df7244p+0F);
}

TEST(PowerAngles, AnglesBelowZeroAreTakenFromZeroTo360) {
  // x = -225, -270, -315 and -360, and 360 more.
  EXPECT_EQ(angleOfBin(-1, -1), 135);
  EXPECT_EQ(angleOfBin(-1, 0), 90);
  EXPECT_EQ(angleOfBin(-1, 1), 45);
  EXPECT_EQ(angleOfBin(-1e-30F, 1), 0);
  // -180 itself, just short of it by the factor, is below 0 too: 180.00001526.
  EXPECT_EQ(angleOfBin(-0.0F, -1), 0x1.67fffep7F);
  // Interpolated: from 315 to 405, not from -45 to 45.
  EXPECT_EQ(angleBetween({-1, 1}, {1, 1}, 0.5F), 0.0F);
  EXPECT_EQ(angleBetween({-1, 1}, {1, 1}, 0.25F), 22.5F);
}

TEST(PowerAngles, BinsOfZeroHaveTheAngleOfTheirSigns) {
  EXPECT_TRUE(support::sameBits(angleOfBin(0, 0), -0.0F));
  EXPECT_TRUE(support::sameBits(angleOfBin(-0.0F, 0), -0.0F));
  EXPECT_EQ(angleOfBin(0, -0.0F), -0x1.67fffep7F);
  EXPECT_EQ(angleOfBin(-0.0F, -0.0F), 0x1.67fffep7F);
  EXPECT_EQ(angleBetween({0, 0}, {1, 0}, 0.5F), -0x1.67fffep5F);
}

TEST(PowerAngles, DifferencesRunUpwards) {
  EXPECT_EQ(angleBetween({0, 1}, {1, 0}, 0.5F), -0x1.67fffep5F);
  // From 90 down to 0 is from 90 up to 360: 225 half way.
  EXPECT_EQ(angleBetween({1, 0}, {0, 1}, 0.5F), 135);
  EXPECT_EQ(angleBetween({-1, 0}, {1, 0}, 0.5F), 0);
}

TEST(PowerAngles, EqualAnglesAreAFullTurnApart) {
  EXPECT_EQ(angleBetween({0, 1}, {0, 1}, 0.25F), -90);
  EXPECT_EQ(angleBetween({0, 1}, {0, 2}, 0.5F), -180);
  EXPECT_EQ(angleBetween({0, 1}, {0, 1}, 0.75F), 90);
  EXPECT_EQ(angleBetween({-1, 0}, {-2, 0}, 0.25F), 0);
  EXPECT_EQ(angleBetween({0, 0}, {0, 0}, 0.25F), -90);
  // Zeros of both signs are equal.
  EXPECT_EQ(angleBetween({0, 1}, {-0.0F, 1}, 0.25F), -90);
  EXPECT_EQ(angleBetween({-0.0F, 1}, {0, 1}, 0.25F), -90);
}

TEST(PowerAngles, ANanInEitherBinIsTheResult) {
  EXPECT_TRUE(std::isnan(angleBetween({nan, 1}, {0, 1}, 0)));
  EXPECT_TRUE(std::isnan(angleBetween({1, nan}, {0, 1}, 0.5F)));
  EXPECT_TRUE(std::isnan(angleBetween({0, 1}, {nan, 1}, 0.5F)));
  EXPECT_TRUE(std::isnan(angleBetween({0, 1}, {0, nan}, 0))) << "nothing times a NaN";
  EXPECT_TRUE(std::isnan(angleOfPhase(nan)));
}

TEST(PowerAngles, PhasesWithinAHalfTurnAreNegated) {
  EXPECT_TRUE(support::sameBits(angleOfPhase(0), -0.0F));
  EXPECT_EQ(angleOfPhase(10), -10);
  EXPECT_EQ(angleOfPhase(-10), 10);
  EXPECT_EQ(angleOfPhase(170.5F), -170.5F);
  EXPECT_EQ(angleOfPhase(smallest), -smallest);
}

TEST(PowerAngles, AHalfTurnKeepsItsSide) {
  EXPECT_EQ(angleOfPhase(180), -180);
  EXPECT_EQ(angleOfPhase(-180), 180);
  EXPECT_EQ(angleOfPhase(0x1.67fffep7F), -0x1.67fffep7F);
  EXPECT_EQ(angleOfPhase(-0x1.67fffep7F), 0x1.67fffep7F);
  EXPECT_EQ(angleOfPhase(0x1.680002p7F), 0x1.67fffep7F);
  EXPECT_EQ(angleOfPhase(-0x1.680002p7F), -0x1.67fffep7F);
}

TEST(PowerAngles, PhasesUpToAFullTurnAreTurnedBack) {
  EXPECT_EQ(angleOfPhase(190), 170);
  EXPECT_EQ(angleOfPhase(-190), -170);
  EXPECT_EQ(angleOfPhase(359), 1);
  EXPECT_EQ(angleOfPhase(-359), -1);
  EXPECT_TRUE(support::sameBits(angleOfPhase(360), 0.0F));
  EXPECT_TRUE(support::sameBits(angleOfPhase(-360), 0.0F));
}

TEST(PowerAngles, PhasesAboveAFullTurnAreNotNegated) {
  // The wrap of the first would be -40, of the last 120 and -90.
  EXPECT_EQ(angleOfPhase(400), 40.00001907348633F);
  EXPECT_EQ(angleOfPhase(0x1.680002p8F), 0x1.68p-15F);
  EXPECT_EQ(angleOfPhase(540), 180);
  EXPECT_EQ(angleOfPhase(600), -120.00001525878906F);
  EXPECT_EQ(angleOfPhase(450), 90);
  EXPECT_EQ(angleOfPhase(1000), -80.00003051757812F);
}

TEST(PowerAngles, PhasesBelowMinusAFullTurnAreWrapped) {
  EXPECT_EQ(angleOfPhase(-400), 40.00001907348633F);
  EXPECT_EQ(angleOfPhase(-0x1.680002p8F), 0x1.68p-15F);
  EXPECT_EQ(angleOfPhase(-540), 180);
  EXPECT_EQ(angleOfPhase(-600), -120.00001525878906F);
  EXPECT_EQ(angleOfPhase(-450), 90);
  EXPECT_EQ(angleOfPhase(-1000), -80.00003051757812F);
}

TEST(PowerAngles, TurnsAreDividedInSingle) {
  EXPECT_EQ(angleOfPhase(1e6F), -79.98046875F);
  EXPECT_EQ(angleOfPhase(-1e6F), -79.98046875F);
  EXPECT_EQ(angleOfPhase(12345.678F), 105.677490234375F);
  EXPECT_EQ(angleOfPhase(-12345.678F), 105.677490234375F);
}

TEST(PowerAngles, WholeTurnsAndHugePhasesArePlusZero) {
  for (const float phase : {720.0F, 1080.0F, 360e6F, 1e30F, highest, infinity}) {
    EXPECT_TRUE(support::sameBits(angleOfPhase(phase), 0.0F)) << phase;
    EXPECT_TRUE(support::sameBits(angleOfPhase(-phase), 0.0F)) << -phase;
  }
}

TEST(PowerAngles, EachOrderIsReferredToItsMultipleOfThePhase) {
  Angles angles(8, 6);
  const std::vector<float> upwards{0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1};
  EXPECT_TRUE(support::sameBits(angles.run(upwards, {6, 20, 1}),
                                std::vector<float>{Angles::untouched, 20, 40, 60, 80, 100, 120}));
  EXPECT_TRUE(support::sameBits(angles.run(upwards, {6, -70, 1}),
                                std::vector<float>{Angles::untouched, -70, -140, 150, 80, 10, 0x1.dffff8p5F}))
      << "the last is that of a phase above 360";
}

TEST(PowerAngles, OrdersLieAtTheirMultiplesOfABinPosition) {
  // Cut towards zero: order 1 at 1.75 between bins 1 and 2, order 2 at 3.5, order 3 at 5.25.
  std::vector<float> spectrum(14, nan);
  const auto setBin = [&spectrum](std::size_t bin, float first, float second) {
    spectrum[2 * bin] = first;
    spectrum[2 * bin + 1] = second;
  };
  setBin(1, 0, 1);
  setBin(2, 1, -1);
  setBin(3, -1, 0);
  setBin(4, -1, 1);
  setBin(5, 1, -1);
  setBin(6, -1, -1);
  Angles angles(7, 3);
  EXPECT_TRUE(support::sameBits(angles.run(spectrum, {3, 0, 1.75F}),
                                std::vector<float>{Angles::untouched, -101.25F, 67.5F, -157.5F}));
}

TEST(PowerAngles, PositionsBelowTheFirstBinAreBetweenBins0And1) {
  Angles angles(2, 3);
  EXPECT_TRUE(support::sameBits(angles.run({0, 1, 1, -1}, {3, 0, 0.25F}),
                                std::vector<float>{Angles::untouched, -33.75F, -67.5F, -101.25F}));
}

TEST(PowerAngles, PositionsAreRoundedToSingleBeforeTheyAreCut) {
  // Three times a single just below 5 thirds is 5 in single: the fraction is 0 and bin 4 plays no part.
  std::vector<float> spectrum(14, 0);
  spectrum[8] = nan;
  spectrum[10] = 1;
  spectrum[11] = -1;
  Angles angles(7, 3);
  EXPECT_EQ(angles.run(spectrum, {3, 0, 0x1.aaaaaap0F})[3], -135);
}

TEST(PowerAngles, EveryStepIsRoundedToSingleInItsOrder) {
  // Chosen so that fused, reordered or wider steps show in one order or another.
  const std::vector<float> spectrum{4, -6, -8, -8, 3, 9, 1, 8, -1, 7, -2, -8, 0, -9, -7, -6};
  Angles angles(8, 6);
  EXPECT_TRUE(support::sameBits(angles.run(spectrum, {6, 27.2F, 1.1F}),
                                std::vector<float>{Angles::untouched, 0x1.25b686p7F, -0x1.0e2f0ep5F, -0x1.cf2d38p4F,
                                                   0x1.208220p5F, 0x1.01f6b8p7F, -0x1.73838ap5F}));
}

TEST(PowerAngles, OrderCountZeroAndBelowDoesNothing) {
  Angles angles(1, 1);
  for (const int32_t orderCount : {0, -1, -2, lowestCount}) {
    angles.run({}, {orderCount, 10, 1});
  }
}

TEST(PowerAngles, OrdersUpToTheirCountAreWritten) {
  Angles angles(5, 3);
  EXPECT_TRUE(support::sameBits(angles.run({nan, nan, 0, 1, 0, 1, 0, 1, 0, 1}, {3, 1, 1}),
                                std::vector<float>{Angles::untouched, 1, 2, 3}));
}

TEST(PowerAngles, OfTheSpectrumTwoBinsAreReadHoweverFarOut) {
  for (const uint32_t bin : {0x1000U, 0x08000000U, 0x10000000U, 0x20000000U, 0x40000000U}) {
    constexpr std::size_t binSize = 2 * sizeof(float);
    const uint64_t bytes = (uint64_t{bin} + 2) * binSize + support::PageMapping::pageSize();
    if (bytes > std::numeric_limits<std::size_t>::max() / 8) {
      continue;
    }
    support::PageMapping mapping(static_cast<std::size_t>(bytes));
    auto* const spectrum = reinterpret_cast<float*>(mapping.data());
    mapping.open(bin * binSize, 2 * binSize);
    spectrum[2 * std::size_t{bin}] = 1;
    spectrum[2 * std::size_t{bin} + 1] = -1;
    float angles[2] = {Angles::untouched, Angles::untouched};
    kxcalcPowerAngles(spectrum, angles, 1, 0, static_cast<float>(bin));
    EXPECT_EQ(angles[1], -135) << bin;
  }
}

TEST(PowerAngles, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  Angles angles(67 * 3 + 2, 67);
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (int32_t orderCount = -1; orderCount <= 67; ++orderCount) {
      const AngleParameters parameters{orderCount, static_cast<float>(100 * random.unit() - 50),
                                       static_cast<float>(3 * random.unit())};
      const auto spectrum = spectrumOf(sampleClass, elementsRead(parameters) / 2, random);
      for (const Placement& spectrumPlacement : support::allPlacements<float>()) {
        for (const Placement& anglesPlacement : support::allPlacements<float>()) {
          ASSERT_TRUE(angles.equalsModel(spectrum, parameters, spectrumPlacement, anglesPlacement)) << sampleClass;
        }
      }
    }
  }
}

TEST(PowerAngles, RandomSpectraAndParametersEqualTheModel) {
  support::TestRandom random;
  Angles angles(50 * 20 + 2, 50);
  constexpr float phases[] = {0, -0.0F, 90, -90, 120, 180, -180, 360, -360, 720, 1e6F, 1e30F, infinity, nan, smallest};
  for (int repetition = 0; repetition < 20000; ++repetition) {
    AngleParameters parameters{random.between(1, 50), static_cast<float>(random.sign() * 400 * random.unit()),
                               static_cast<float>(20 * random.unit())};
    if (random.oneIn(3)) {
      parameters.phasePerOrder = random.oneOf(phases);
    }
    if (random.oneIn(3)) {
      parameters.binsPerOrder = static_cast<float>(random.between(1, 40)) / 2;
    }
    std::vector<float> spectrum(elementsRead(parameters));
    const bool isCoarse = random.oneIn(2);  // equal angles, quadrants, zeros
    for (float& element : spectrum) {
      element = static_cast<float>(isCoarse ? random.sign() * random.between(0, 2) : 2 * random.unit() - 1);
    }
    ASSERT_TRUE(angles.equalsModel(spectrum, parameters)) << repetition;
  }
}

TEST(PowerAngles, EveryPhaseOfAWalkThroughTenTurnsEqualsTheModel) {
  Angles angles(3, 1);
  const std::vector<float> spectrum{0, 1, 0, 1, 0, 1};
  for (int step = -3600 * 4; step <= 3600 * 4; ++step) {
    const float phase = static_cast<float>(step) / 4;
    for (const float near : {phase, std::nextafter(phase, infinity), std::nextafter(phase, -infinity)}) {
      ASSERT_TRUE(angles.equalsModel(spectrum, {1, near, 1})) << phase;
    }
  }
}

}  // namespace
