#include "reference/iir_filter.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
constexpr int32_t highest = std::numeric_limits<int32_t>::max();
constexpr int32_t secondOrder = KXCALC_SECOND_ORDER_SECTIONS;
constexpr int32_t general = KXCALC_GENERAL_SECTIONS;
static_assert(secondOrder == 3 && general == 0);
constexpr double halfLastBit = 0x1p-53;  // of 1: added to 1 it is a tie, which stays 1
constexpr double lastBit = 0x1p-52;
constexpr double aboveLimit = 10000000000.000002;  // the double after 1e10

constexpr std::size_t pointer = sizeof(void*);
static_assert(offsetof(IIRFilterState, filterType) == 0);
static_assert(offsetof(IIRFilterState, sectionCount) == 4);
static_assert(offsetof(IIRFilterState, sectionOrder) == 8);
static_assert(offsetof(IIRFilterState, reserved) == 12);
static_assert(offsetof(IIRFilterState, sectionGains) == 16);
static_assert(offsetof(IIRFilterState, sectionTaps) == 16 + pointer);
static_assert(sizeof(IIRFilterState) == 16 + 2 * pointer);

struct Tap {
  double x;
  double y;
  double b;
  double a;
};

struct Section {
  double gain;
  std::vector<Tap> taps;
};

struct Cascade {
  Cascade(int32_t type, int32_t order, const std::vector<Section>& sections)
      : filterType(type), sectionCount(static_cast<int32_t>(sections.size())), sectionOrder(order) {
    for (const Section& section : sections) {
      gains.push_back(section.gain);
      for (const Tap& tap : section.taps) {
        taps.insert(taps.end(), {tap.x, tap.y, tap.b, tap.a});
      }
    }
  }

  int32_t filterType;
  int32_t sectionCount;
  int32_t sectionOrder;
  std::vector<double> gains;
  std::vector<double> taps;
};

}  // namespace

// The types of the typed tests, by the names of their exports.
namespace exports {

struct IIRFilter_float {
  using Sample = float;
  static constexpr auto kernel = &kxcalcIIRFilter_float;
  static constexpr auto model = &reference::kxcalcIIRFilter_float;
};

struct IIRFilter_double {
  using Sample = double;
  static constexpr auto kernel = &kxcalcIIRFilter_double;
  static constexpr auto model = &reference::kxcalcIIRFilter_double;
};

}  // namespace exports

namespace {

constexpr std::size_t mostSections = 12;
constexpr std::size_t mostTaps = 4000;

/// A record, its gains and its taps at fences. Each step is taken by the kernel and by the model.
class Subject {
public:
  explicit Subject(const Cascade& cascade) { load(cascade); }

  void load(const Cascade& cascade, const Placement& recordPlacement = support::endsAtFence,
            const Placement& gainsPlacement = support::endsAtFence,
            const Placement& tapsPlacement = support::endsAtFence) {
    record_ = recordMemory_.place(1, recordPlacement).data();
    gains_ = gainsMemory_.place(cascade.gains.size(), gainsPlacement);
    taps_ = tapsMemory_.place(cascade.taps.size(), tapsPlacement);
    std::ranges::copy(cascade.gains, gains_.begin());
    std::ranges::copy(cascade.taps, taps_.begin());
    state_ = {cascade.filterType, cascade.sectionCount, cascade.sectionOrder, 0x5AA55AA5, gains_.data(), taps_.data()};
    std::memcpy(record_, &state_, sizeof state_);
    expectedGains_ = cascade.gains;
    expectedTaps_ = cascade.taps;
  }

  /// The kernel's result alone.
  double filter(double sample) { return kxcalcIIRFilter_double(record_, sample); }

  std::span<double> taps() { return taps_; }

  void setCoefficient(std::size_t element, double value) {
    taps_[element] = value;
    expectedTaps_[element] = value;
  }

  template <typename Export>
  testing::AssertionResult equalsModel(typename Export::Sample sample) {
    IIRFilterState ofModel = state_;
    ofModel.sectionTaps = expectedTaps_.data();
    const auto expected = Export::model(&ofModel, sample);
    const auto actual = Export::kernel(record_, sample);
    testing::AssertionResult result = support::sameResult(actual, expected);
    if (result) {
      result = hasKept(expectedTaps_);
    }
    if (!result) {
      result << "; type " << state_.filterType << ", " << state_.sectionCount << " sections of order "
             << state_.sectionOrder << ", sample " << support::describe(sample);
    }
    return result;
  }

  /// Whether the taps are those, coefficients to the bit, and whether nothing else has changed.
  testing::AssertionResult hasKept(std::span<const double> expected) const {
    testing::AssertionResult result = support::sameResult(taps_, expected);
    for (std::size_t i = 0; result && i < expected.size(); ++i) {
      if (i % 4 >= 2) {
        result = support::sameBits(taps_[i], expected[i]);
      }
    }
    if (!result) {
      return result << ", in the taps";
    }
    if (std::memcmp(record_, &state_, sizeof state_) != 0) {
      return testing::AssertionFailure() << "record changed";
    }
    if (!support::sameBits(gains_, expectedGains_)) {
      return testing::AssertionFailure() << "gains changed";
    }
    if (!recordMemory_.surroundingsIntact() || !gainsMemory_.surroundingsIntact() ||
        !tapsMemory_.surroundingsIntact()) {
      return testing::AssertionFailure() << "written next to a buffer";
    }
    return testing::AssertionSuccess();
  }

private:
  support::FencedBuffer<IIRFilterState> recordMemory_{1};
  support::FencedBuffer<double> gainsMemory_{mostSections};
  support::FencedBuffer<double> tapsMemory_{4 * mostTaps};
  IIRFilterState* record_ = nullptr;
  std::span<double> gains_;
  std::span<double> taps_;
  IIRFilterState state_ = {};
  std::vector<double> expectedGains_;
  std::vector<double> expectedTaps_;
};

/// One call: its result and all taps after it.
testing::AssertionResult delivers(const Cascade& before, double sample, double expected, const Cascade& after) {
  Subject subject(before);
  testing::AssertionResult result = support::sameResult(subject.filter(sample), expected);
  return result ? subject.hasKept(after.taps) : result;
}

/// What one section of that type makes of a sample.
double filtered(int32_t type, int32_t order, const std::vector<Tap>& taps, double sample) {
  return Subject({type, order, {{1, taps}}}).filter(sample);
}

// --- No filtering at all

TEST(IIRFilter_double, FewerThanOneSectionReturnsTheInputAndTouchesNothing) {
  for (const int32_t type : {general, secondOrder}) {
    for (const int32_t count : {0, -1, -12, lowest}) {
      Cascade none(type, 2, {});
      none.sectionCount = count;
      Subject subject(none);
      for (const double sample : {0.0, -0.0, 1.5, -2e10, 1e300, 0x1p-1074, infinity, -infinity}) {
        EXPECT_TRUE(support::sameBits(subject.filter(sample), sample)) << count;
      }
      EXPECT_TRUE(std::isnan(subject.filter(nan)));
      EXPECT_TRUE(subject.hasKept({}));
    }
  }
}

TEST(IIRFilter_double, WithoutSectionsNeitherGainsNorTapsAreRead) {
  const IIRFilterState state = {general, 0, 2, 0, nullptr, nullptr};
  EXPECT_EQ(kxcalcIIRFilter_double(&state, 7), 7);
  EXPECT_EQ(kxcalcIIRFilter_float(&state, 7), 7);
}

TEST(IIRFilter_float, WithoutSectionsTheVeryValuePassedInComesBack) {
  for (const int32_t type : {general, secondOrder}) {
    const IIRFilterState state = {type, -3, 2, 0, nullptr, nullptr};
    for (const float sample : {0.0F, -0.0F, 1.1F, -3e10F, 0x1p-149F, std::numeric_limits<float>::infinity()}) {
      EXPECT_TRUE(support::sameBits(kxcalcIIRFilter_float(&state, sample), sample));
    }
    // A signalling NaN is told from its copy by way of a double; 32-bit x86 returns singles by way of a register that
    // makes it quiet.
    for (const uint32_t bits : {0x7FC12345U, 0xFFC00001U, pointer == 8 ? 0x7F812345U : 0x7FD12345U}) {
      float sample;
      support::setBits(sample, bits);
      const float result = kxcalcIIRFilter_float(&state, sample);
      EXPECT_EQ(support::bitsOf(result), bits);
    }
  }
}

// --- General path

TEST(IIRFilter_double, GeneralSectionOfOrder2) {
  // v = 3 * 2; 5 * 7 - 6 * 11 = -31; 13 * 17 - 14 * 19 = -45; 6 * 23 = 138: after the shift.
  const Cascade before(general, 2, {{2, {{1, 2, 7, 11}, {5, 6, 17, 19}, {13, 14, 23, nan}}}});
  const Cascade after(general, 2, {{2, {{5, 6, 7, 11}, {13, 14, 17, 19}, {6, 62, 23, nan}}}});
  EXPECT_TRUE(delivers(before, 3, 62, after));
}

TEST(IIRFilter_double, GeneralSectionsPassTheOutputOn) {
  // Of order 1. First: v = 1 * 2 = 2, 4 * 1 - 5 * 2 = -6, + 2 * 10 = 14.
  // Second: v = 14 * 3 = 42, 0.5 * 2 - 1 * 1 = 0, + 42 * 0.5 = 21.
  const Cascade before(general, 1, {{2, {{7, 8, 1, 2}, {4, 5, 10, 0}}}, {3, {{9, 9, 2, 1}, {0.5, 1, 0.5, 0}}}});
  const Cascade after(general, 1, {{2, {{4, 5, 1, 2}, {2, 14, 10, 0}}}, {3, {{0.5, 1, 2, 1}, {42, 21, 0.5, 0}}}});
  EXPECT_TRUE(delivers(before, 1, 21, after));
}

TEST(IIRFilter_double, GeneralOrderBelow1IsAPureGainOfOneTapASection) {
  for (const int32_t order : {0, -1, -2, lowest}) {
    // What the taps held before, and both feedback coefficients, are not read.
    const Cascade before(general, order,
                         {{2, {{nan, nan, 3, nan}}}, {0.5, {{nan, nan, 5, nan}}}, {1, {{1, 1, -1, 1}}}});
    const Cascade after(general, order,
                        {{2, {{14, 42, 3, nan}}}, {0.5, {{21, 105, 5, nan}}}, {1, {{105, -105, -1, 1}}}});
    EXPECT_TRUE(delivers(before, 7, -105, after)) << order;
  }
}

TEST(IIRFilter_double, GeneralSumStartsAtPlusZero) {
  EXPECT_TRUE(support::sameBits(filtered(general, 0, {{0, 0, 1, 0}}, -0.0), 0.0));
  EXPECT_TRUE(support::sameBits(filtered(general, 1, {{0, 0, 1, 0}, {-0.0, 0, 1, 0}}, -0.0), 0.0));
}

TEST(IIRFilter_double, GeneralSumTakesTheOldestDelayFirstAndTheCurrentSampleLast) {
  const auto ofProducts = [](double first, double second, double third, double current) {
    // The shift moves each product down by a tap.
    return filtered(general, 3, {{0, 0, 1, 0}, {first, 0, 1, 0}, {second, 0, 1, 0}, {third, 0, 1, 0}}, current);
  };
  EXPECT_EQ(ofProducts(halfLastBit, halfLastBit, 1, 0), 1 + lastBit);
  EXPECT_EQ(ofProducts(1, halfLastBit, halfLastBit, 0), 1);
  EXPECT_EQ(ofProducts(halfLastBit, 1, halfLastBit, 0), 1);
  EXPECT_EQ(ofProducts(0, halfLastBit, halfLastBit, 1), 1 + lastBit);
  EXPECT_EQ(ofProducts(0, 1, halfLastBit, halfLastBit), 1);
  EXPECT_EQ(ofProducts(0, halfLastBit, 1, halfLastBit), 1);
  EXPECT_EQ(ofProducts(halfLastBit, 0, halfLastBit, 1), 1 + lastBit);
}

TEST(IIRFilter_double, GeneralSumIsSequentialAtEveryOrder) {
  for (int32_t order = 1; order <= 40; ++order) {
    // All terms are half a last bit of 1, but one that is 1: what comes before it adds up, what comes after it is tied
    // away, one by one.
    for (int32_t one = 0; one <= order; ++one) {
      std::vector<Tap> taps{{0, 0, 1, 0}};
      for (int32_t k = 0; k < order; ++k) {
        taps.push_back({k == one ? 1 : halfLastBit, 0, 1, 0});
      }
      int32_t lastBits = one / 2 + (one % 4 == 3 ? 1 : 0);
      if (lastBits % 2 == 1 && one < order) {
        ++lastBits;
      }
      EXPECT_EQ(filtered(general, order, taps, one == order ? 1 : halfLastBit), 1 + lastBits * lastBit)
          << "order " << order << ", at " << one;
    }
  }
}

TEST(IIRFilter_double, GeneralDifferenceOfATapIsFormedBeforeItIsAdded) {
  // 2^-53, then 1 - 1.
  EXPECT_EQ(filtered(general, 2, {{0, 0, 1, 1}, {halfLastBit, 0, 1, 1}, {1, 1, 1, 0}}, 0), halfLastBit);
}

TEST(IIRFilter_double, GeneralProductsAreRoundedOnTheirOwn) {
  constexpr double x = 1 + 0x1p-30;
  constexpr double square = 1 + 0x1p-29;  // of x, without its last part of 2^-60
  EXPECT_EQ(filtered(general, 1, {{0, 0, x, square}, {x, 1, 0, 0}}, 0), 0);
  EXPECT_EQ(filtered(general, 1, {{0, 0, square, x}, {1, x, 0, 0}}, 0), 0);
  EXPECT_EQ(filtered(general, 1, {{0, 0, -1, 0}, {square, 0, x, 0}}, x), 0);
  EXPECT_EQ(Subject({general, 1, {{x, {{0, 0, -1, 0}, {square, 0, 1, 0}}}}}).filter(x), 0);
}

TEST(IIRFilter_double, GeneralOutputIsClampedAndANanPasses) {
  const struct {
    double sum;
    double output;
  } cases[] = {
      {1e10, 1e10},
      {aboveLimit, 1e10},
      {9999999999.999998, 9999999999.999998},
      {-1e10, -1e10},
      {-aboveLimit, -1e10},
      {-9999999999.999998, -9999999999.999998},
      {infinity, 1e10},
      {-infinity, -1e10},
      {nan, nan},
      {0, 0},
      {0x1p-1074, 0x1p-1074},
      {-0x1p-1074, -0x1p-1074},
      {1.7976931348623157e308, 1e10},
      {-1.7976931348623157e308, -1e10},
  };
  for (const auto& [sum, output] : cases) {
    // x is kept as it is; y and the result are limited.
    EXPECT_TRUE(delivers({general, 0, {{1, {{0, 0, 1, 0}}}}}, sum, output, {general, 0, {{1, {{sum, output, 1, 0}}}}}));
    const Cascade before(general, 1, {{1, {{0, 0, 0, 0}, {0, 0, 1, 0}}}});
    EXPECT_TRUE(delivers(before, sum, output, {general, 1, {{1, {{0, 0, 0, 0}, {sum, output, 1, 0}}}}}));
  }
}

TEST(IIRFilter_double, GeneralNextSectionReceivesTheClampedOutput) {
  const Cascade before(general, 0, {{1, {{0, 0, 3, 0}}}, {1e-10, {{0, 0, 1, 0}}}});
  EXPECT_TRUE(delivers(before, 1e10, 1, {general, 0, {{1, {{1e10, 1e10, 3, 0}}}, {1e-10, {{1, 1, 1, 0}}}}}));
  const Cascade second(
      secondOrder, 0,
      {{1, {{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, -3, 0}}}, {1e-10, {{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 1, 0}}}});
  Subject subject(second);
  EXPECT_EQ(subject.filter(1e10), -1);
}

TEST(IIRFilter_double, GeneralNanStaysForever) {
  // Even without feedback: a NaN times 0 is a NaN.
  Subject subject({general, 2, {{1, {{0, 0, 1, 0}, {0, 0, 1, 0}, {0, 0, 1, 0}}}}});
  EXPECT_EQ(subject.filter(1), 1);
  EXPECT_TRUE(std::isnan(subject.filter(nan)));
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(std::isnan(subject.filter(0))) << i;
  }
  EXPECT_TRUE(std::isnan(subject.taps()[1]) && std::isnan(subject.taps()[5]) && std::isnan(subject.taps()[9]));
  // Of order 0 there is no memory of it.
  Subject gain({general, 0, {{1, {{0, 0, 1, 0}}}}});
  EXPECT_TRUE(std::isnan(gain.filter(nan)));
  EXPECT_EQ(gain.filter(2), 2);
}

// --- Second-order path

TEST(IIRFilter_double, SecondOrderSection) {
  // v = 3 * 2; (5 * 7 + 13 * 17) - (6 * 11 + 14 * 19) = -76; 6 * 23 = 138: after the shift.
  const Cascade before(secondOrder, 2, {{2, {{1, 2, 7, 11}, {5, 6, 17, 19}, {13, 14, 23, nan}}}});
  const Cascade after(secondOrder, 2, {{2, {{5, 6, 7, 11}, {13, 14, 17, 19}, {6, 62, 23, nan}}}});
  EXPECT_TRUE(delivers(before, 3, 62, after));
}

TEST(IIRFilter_double, SecondOrderSectionsPassTheOutputOnAndTakeThreeTapsWhateverTheOrder) {
  for (const int32_t order : {2, 0, -1, 1, 3, 8, lowest, highest}) {
    // First: v = 2; (4 * 1 + 1 * 3) - (5 * 2 + 2 * 4) = -11, + 2 * 10 = 9.
    // Second: v = 27; (1 * 1 + 2 * 1) - 0 = 3, + 27.
    const Cascade before(
        secondOrder, order,
        {{2, {{7, 8, 1, 2}, {4, 5, 3, 4}, {1, 2, 10, 0}}}, {3, {{9, 9, 1, 0}, {1, 9, 1, 0}, {2, 9, 1, 0}}}});
    const Cascade after(
        secondOrder, order,
        {{2, {{4, 5, 1, 2}, {1, 2, 3, 4}, {2, 9, 10, 0}}}, {3, {{1, 9, 1, 0}, {2, 9, 1, 0}, {27, 30, 1, 0}}}});
    EXPECT_TRUE(delivers(before, 1, 30, after)) << order;
  }
}

/// A second-order section whose terms of the sum are these.
std::vector<Tap> withTerms(double forward2, double forward1, double backward2, double backward1) {
  return {{0, 0, 1, 1}, {forward2, backward2, 1, 1}, {forward1, backward1, 1, 0}};
}

TEST(IIRFilter_double, SecondOrderSumIsGrouped) {
  const auto sumOf = [](double forward2, double forward1, double backward2, double backward1, double current) {
    return filtered(secondOrder, 2, withTerms(forward2, forward1, backward2, backward1), current);
  };
  // Both forward terms before anything else, and both backward ones.
  EXPECT_EQ(sumOf(halfLastBit, halfLastBit, -1, 0, 0), 1 + lastBit);
  EXPECT_EQ(sumOf(halfLastBit, halfLastBit, 0, -1, 0), 1 + lastBit);
  EXPECT_EQ(sumOf(1, 0, -halfLastBit, -halfLastBit, 0), 1 + lastBit);
  EXPECT_EQ(sumOf(0, 1, -halfLastBit, -halfLastBit, 0), 1 + lastBit);
  EXPECT_EQ(sumOf(1, halfLastBit, -halfLastBit, 0, 0), 1);
  EXPECT_EQ(sumOf(halfLastBit, 1, 0, -halfLastBit, 0), 1);
  // The current term last.
  EXPECT_EQ(sumOf(halfLastBit, 0, -halfLastBit, 0, 1), 1 + lastBit);
  EXPECT_EQ(sumOf(1, 0, -halfLastBit, 0, halfLastBit), 1);
  EXPECT_EQ(sumOf(1, 0, 0, 0, halfLastBit), 1);
  EXPECT_EQ(sumOf(halfLastBit, 1, 0, 0, halfLastBit), 1);
  EXPECT_EQ(sumOf(0, 0, -1, 0, halfLastBit), 1);
}

TEST(IIRFilter_double, TheTwoPathsRoundTheSameCoefficientsDifferently) {
  const std::vector<Tap> taps = withTerms(halfLastBit, halfLastBit, -1, 0);
  EXPECT_EQ(filtered(secondOrder, 2, taps, 0), 1 + lastBit);
  EXPECT_EQ(filtered(general, 2, taps, 0), 1);
}

TEST(IIRFilter_double, EveryTypeBut3IsTheGeneralPath) {
  const std::vector<Tap> taps = withTerms(halfLastBit, halfLastBit, -1, 0);
  for (const int32_t type : {0, 1, 2, 4, 5, -3, 3 + 256, 3 + 65536, lowest, lowest + 3, highest}) {
    EXPECT_EQ(filtered(type, 2, taps, 0), 1) << type;
    EXPECT_TRUE(std::isnan(filtered(type, 2, taps, nan))) << type;
    // Of order 0 each section is one tap.
    const Cascade before(type, 0, {{1, {{0, 0, 2, 0}}}, {1, {{0, 0, 3, 0}}}});
    EXPECT_TRUE(delivers(before, 5, 30, {type, 0, {{1, {{5, 10, 2, 0}}}, {1, {{10, 30, 3, 0}}}}})) << type;
  }
}

TEST(IIRFilter_double, SecondOrderProductsAreRoundedOnTheirOwn) {
  constexpr double x = 1 + 0x1p-30;
  constexpr double square = 1 + 0x1p-29;  // of x, without its last part of 2^-60
  EXPECT_EQ(filtered(secondOrder, 2, {{0, 0, x, 0}, {x, 0, -1, 0}, {square, 0, 0, 0}}, 0), 0);
  EXPECT_EQ(filtered(secondOrder, 2, {{0, 0, -1, 0}, {square, 0, x, 0}, {x, 0, 0, 0}}, 0), 0);
  EXPECT_EQ(filtered(secondOrder, 2, {{0, 0, 0, x}, {0, x, 0, -1}, {0, square, 0, 0}}, 0), 0);
  EXPECT_EQ(filtered(secondOrder, 2, {{0, 0, 0, -1}, {0, square, 0, x}, {0, x, 0, 0}}, 0), 0);
  EXPECT_EQ(filtered(secondOrder, 2, {{0, 0, -1, 0}, {square, 0, 0, 0}, {0, 0, x, 0}}, x), 0);
  EXPECT_EQ(Subject({secondOrder, 2, {{x, {{0, 0, -1, 0}, {square, 0, 0, 0}, {0, 0, 1, 0}}}}}).filter(x), 0);
}

TEST(IIRFilter_double, SecondOrderOutputIsClampedAndANanBecomesTheUpperLimit) {
  const struct {
    double sum;
    double output;
  } cases[] = {
      {1e10, 1e10},
      {aboveLimit, 1e10},
      {9999999999.999998, 9999999999.999998},
      {-1e10, -1e10},
      {-aboveLimit, -1e10},
      {-9999999999.999998, -9999999999.999998},
      {infinity, 1e10},
      {-infinity, -1e10},
      {nan, 1e10},
      {-nan, 1e10},
      {0x1p-1074, 0x1p-1074},
      {-0x1p-1074, -0x1p-1074},
      {1.7976931348623157e308, 1e10},
      {-1.7976931348623157e308, -1e10},
  };
  for (const auto& [sum, output] : cases) {
    // x is kept as it is; y and the result are limited.
    const Cascade before(secondOrder, 2, {{1, {{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 1, 0}}}});
    const Cascade after(secondOrder, 2, {{1, {{0, 0, 0, 0}, {0, 0, 0, 0}, {sum, output, 1, 0}}}});
    EXPECT_TRUE(delivers(before, sum, output, after)) << sum;
  }
}

TEST(IIRFilter_double, SecondOrderSumMayBeMinusZero) {
  EXPECT_TRUE(
      support::sameBits(filtered(secondOrder, 2, {{0, 0, 1, 1}, {-0.0, 0, 1, 1}, {-0.0, 0, 1, 0}}, -0.0), -0.0));
  EXPECT_TRUE(support::sameBits(filtered(secondOrder, 2, {{0, 0, 1, 1}, {0, 0, 1, 1}, {-0.0, 0, 1, 0}}, -0.0), 0.0));
}

TEST(IIRFilter_double, SecondOrderNanYieldsTheUpperLimitForThreeSamplesAndThenDecays) {
  Subject subject({secondOrder, 2, {{1, {{0, 0, 0, 0.25}, {0, 0, 0, -0.5}, {0, 0, 1, 0}}}}});
  EXPECT_EQ(subject.filter(nan), 1e10);
  EXPECT_EQ(subject.filter(0), 1e10);
  EXPECT_EQ(subject.filter(0), 1e10);
  // y[n] = 0.5 y[n-1] - 0.25 y[n-2].
  for (const double decayed : {2.5e9, -1.25e9, -1.25e9, -3.125e8, 1.5625e8}) {
    EXPECT_EQ(subject.filter(0), decayed);
  }
}

TEST(IIRFilter_double, InfiniteSamplesLeaveTheSecondOrderPathWithFiniteHistories) {
  // Infinity, then 0 times infinity, which is a NaN.
  Subject subject({secondOrder, 2, {{1, {{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 1, 0}}}}});
  for (const double expected : {-1e10, 1e10, 1e10, 0.0, 0.0}) {
    const bool isFirst = expected < 0;
    EXPECT_EQ(subject.filter(isFirst ? -infinity : 0), expected);
  }
}

// --- Both paths

TEST(IIRFilter_double, FeedbackIsSubtractedOnBothPaths) {
  // y[n] = x[n] + 2 x[n-1] + 3 x[n-2] - 0.5 y[n-1] + 0.25 y[n-2].
  const std::vector<Section> sections{{1, {{0, 0, 3, -0.25}, {0, 0, 2, 0.5}, {0, 0, 1, 0}}}};
  for (const int32_t type : {general, secondOrder}) {
    Subject subject({type, 2, sections});
    for (const double expected : {1.0, 1.5, 2.5, -0.875, 1.0625}) {
      EXPECT_EQ(subject.filter(expected == 1 ? 1 : 0), expected) << type;
    }
  }
}

TEST(IIRFilter_double, AnUnstableSectionStopsAtTheLimit) {
  // Fibonacci numbers: the 49th is the last one below 1e10.
  for (const int32_t type : {general, secondOrder}) {
    Subject subject({type, 2, {{1, {{0, 0, 0, -1}, {0, 0, 0, -1}, {0, 0, 1, 0}}}}});
    double previous = 0;
    double expected = 1;
    for (int i = 1; i <= 49; ++i) {
      ASSERT_EQ(subject.filter(i == 1 ? 1 : 0), expected);
      const double next = previous + expected;
      previous = expected;
      expected = next;
    }
    EXPECT_EQ(previous, 7778742049.0);
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(subject.filter(0), 1e10);
      EXPECT_EQ(subject.taps()[9], 1e10);
    }
    EXPECT_EQ(subject.taps()[1], 1e10);
  }
}

TEST(IIRFilter_double, ANewCoefficientTakesEffectAtTheNextSample) {
  for (const int32_t type : {general, secondOrder}) {
    Subject subject({type, 2, {{1, {{0, 0, 0, 0}, {0, 0, 10, 0}, {0, 0, 1, 0}}}}});
    EXPECT_EQ(subject.filter(1), 1);
    subject.setCoefficient(6, 100);
    EXPECT_EQ(subject.filter(2), 102);
    subject.setCoefficient(10, 7);
    EXPECT_EQ(subject.filter(3), 221);
  }
}

TEST(IIRFilter_double, DelayLinesMoveBitByBit) {
  support::TestRandom random;
  for (const int32_t type : {general, secondOrder}) {
    for (int32_t order = 2; order <= (type == general ? 20 : 2); ++order) {
      std::vector<Tap> taps;
      for (int32_t k = 0; k <= order; ++k) {
        Tap tap{0, 0, 1, 1};
        support::setToNan(tap.x, random);
        support::setToNan(tap.y, random);
        taps.push_back(tap);
      }
      const Cascade before(type, order, {{1, taps}});
      Subject subject(before);
      subject.filter(1);
      for (std::size_t k = 0; k < static_cast<std::size_t>(order); ++k) {
        EXPECT_TRUE(support::sameBits(subject.taps().subspan(4 * k, 2), std::span(before.taps).subspan(4 * k + 4, 2)));
      }
    }
  }
}

TEST(IIRFilter_float, SamplesAreWidenedAndTheResultIsRoundedOnce) {
  const struct {
    float sample;
    double b;
    float result;
  } cases[] = {
      {1, 1 + 0x1p-24, 1},  // a tie, to even
      {1, 1 + 0x1p-24 + 0x1p-50, 1 + 0x1p-23F},
      {1, 1 + 3 * 0x1p-24, 1 + 0x1p-22F},
      {0x1p-149F, 0.5, 0},
      {0x1p-149F, 1.5, 0x1p-148F},
      {3, 1 / 3.0, 1},
      {std::numeric_limits<float>::max(), 1, 1e10F},
      {-std::numeric_limits<float>::infinity(), 1, -1e10F},
      {0x1p-126F, 0x1p-1, 0x1p-127F},
  };
  for (const auto& [sample, b, result] : cases) {
    for (const Cascade& cascade : {Cascade(general, 0, {{1, {{0, 0, b, 0}}}}),
                                   Cascade(secondOrder, 2, {{1, {{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, b, 0}}}})}) {
      Subject subject(cascade);
      std::vector<double> gains = cascade.gains;
      std::vector<double> taps = cascade.taps;
      alignas(16) double aligned[12];
      std::ranges::copy(taps, aligned);
      const IIRFilterState state = {cascade.filterType, 1, cascade.sectionOrder, 0, gains.data(), aligned};
      EXPECT_TRUE(support::sameBits(kxcalcIIRFilter_float(&state, sample), result)) << sample << " times " << b;
      // The double stays in the delay line.
      EXPECT_TRUE(support::sameBits(aligned[taps.size() - 3], subject.filter(static_cast<double>(sample))));
    }
  }
}

TEST(IIRFilter_float, ANanBecomesTheUpperLimitOnTheSecondOrderPathAlone) {
  alignas(16) double taps[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0};
  const double gain = 1;
  IIRFilterState state = {secondOrder, 1, 2, 0, &gain, taps};
  EXPECT_EQ(kxcalcIIRFilter_float(&state, std::numeric_limits<float>::quiet_NaN()), 1e10F);
  state.filterType = general;
  EXPECT_TRUE(std::isnan(kxcalcIIRFilter_float(&state, std::numeric_limits<float>::quiet_NaN())));
}

// --- Against the model

std::size_t tapsOfSection(int32_t type, int32_t order) {
  return type == secondOrder ? 3 : static_cast<std::size_t>(std::max(order, 0)) + 1;
}

Cascade randomCascade(int32_t type, int32_t sectionCount, int32_t order, support::SampleClass coefficients,
                      support::SampleClass histories, support::Random& random) {
  const auto sections = static_cast<std::size_t>(std::max(sectionCount, 0));
  Cascade cascade(type, order, {});
  cascade.sectionCount = sectionCount;
  cascade.gains.resize(sections);
  cascade.taps.resize(4 * sections * tapsOfSection(type, order));
  std::vector<double> history(cascade.taps.size());
  support::fill(std::span(cascade.gains), coefficients, random);
  support::fill(std::span(cascade.taps), coefficients, random);
  support::fill(std::span(history), histories, random);
  for (std::size_t i = 0; i < history.size(); ++i) {
    if (i % 4 < 2) {
      cascade.taps[i] = history[i];
    }
  }
  return cascade;
}

template <typename Export>
class IIRFilter : public testing::Test {};

using Exports = testing::Types<exports::IIRFilter_float, exports::IIRFilter_double>;
TYPED_TEST_SUITE(IIRFilter, Exports);

TYPED_TEST(IIRFilter, EqualsTheModelForEveryTypeOrderAndNumberOfSections) {
  using Sample = typename TypeParam::Sample;
  support::TestRandom random;
  Subject subject({general, 0, {}});
  const std::vector<Placement> taps16{support::endsAtFence, support::beginsAtFence, support::pastBoundary(0)};
  const std::vector<Placement> records{support::endsAtFence, support::beginsAtFence};
  for (const int32_t type : {secondOrder, general, 1, 2, 4, -1}) {
    for (int32_t order = -1; order <= 20; ++order) {
      for (int32_t sectionCount = -2; sectionCount <= static_cast<int32_t>(mostSections); ++sectionCount) {
        const auto coefficients = random.oneOf(support::sampleClasses<double>());
        const auto histories = random.oneOf(support::sampleClasses<double>());
        subject.load(randomCascade(type, sectionCount, order, coefficients, histories, random), random.oneOf(records),
                     random.oneOf(support::allPlacements<double>()), random.oneOf(taps16));
        std::vector<Sample> samples(5);
        support::fill(std::span(samples), random.oneOf(support::sampleClasses<Sample>()), random);
        for (const Sample& sample : samples) {
          ASSERT_TRUE(subject.equalsModel<TypeParam>(sample)) << coefficients << ", " << histories;
        }
      }
    }
  }
}

TYPED_TEST(IIRFilter, EqualsTheModelForOrdinaryCoefficients) {
  using Sample = typename TypeParam::Sample;
  support::TestRandom random;
  Subject subject({general, 0, {}});
  for (int repetition = 0; repetition < 400; ++repetition) {
    const int32_t type = random.oneIn(2) ? secondOrder : general;
    const auto coefficients = random.oneIn(2) ? support::SampleClass::signal : support::SampleClass::roundingTies;
    subject.load(randomCascade(type, random.between(1, 4), random.between(1, 20), coefficients, coefficients, random));
    std::vector<Sample> samples(20);
    support::fill(std::span(samples), random.oneIn(2) ? support::SampleClass::signal : coefficients, random);
    for (const Sample& sample : samples) {
      ASSERT_TRUE(subject.equalsModel<TypeParam>(sample)) << coefficients;
    }
  }
}

TYPED_TEST(IIRFilter, EqualsTheModelForHighOrders) {
  using Sample = typename TypeParam::Sample;
  support::TestRandom random;
  Subject subject({general, 0, {}});
  for (const int32_t order : {23, 24, 25, 31, 32, 33, 63, 64, 65, 100, 257, 999}) {
    for (const auto coefficients : {support::SampleClass::signal, support::SampleClass::rareSpecials}) {
      subject.load(randomCascade(general, 3, order, coefficients, coefficients, random));
      std::vector<Sample> samples(10);
      support::fill(std::span(samples), support::SampleClass::signal, random);
      for (const Sample& sample : samples) {
        ASSERT_TRUE(subject.equalsModel<TypeParam>(sample)) << coefficients;
      }
    }
  }
}

// Resonators with poles of that radius.
Cascade resonators(int32_t type, double radius) {
  std::vector<Section> sections;
  for (const double angle : {0.3, 1.1, 2.0}) {
    sections.push_back(
        {0.9, {{0, 0, 0.2, radius * radius}, {0, 0, 0.5, -2 * radius * std::cos(angle)}, {0, 0, 0.3, 0}}});
  }
  return {type, 2, sections};
}

TYPED_TEST(IIRFilter, EqualsTheModelOverAMillionSamples) {
  using Sample = typename TypeParam::Sample;
  support::TestRandom random;
  std::vector<Sample> samples(1000000);
  support::fill(std::span(samples), support::SampleClass::signal, random);
  for (const int32_t type : {general, secondOrder}) {
    // A stable cascade, and one that runs against the limits for good.
    for (const double radius : {0.98, 1.05}) {
      Cascade ofKernel = resonators(type, radius);
      Cascade ofModel = ofKernel;
      Subject subject(ofKernel);
      const IIRFilterState kernel = {type, 3, 2, 0, ofKernel.gains.data(), subject.taps().data()};
      const IIRFilterState model = {type, 3, 2, 0, ofModel.gains.data(), ofModel.taps.data()};
      std::size_t different = 0;
      std::size_t limited = 0;
      for (const Sample sample : samples) {
        const Sample actual = TypeParam::kernel(&kernel, sample);
        different += static_cast<std::size_t>(actual != TypeParam::model(&model, sample));
        limited += static_cast<std::size_t>(actual == Sample{1e10} || actual == Sample{-1e10});
      }
      EXPECT_EQ(different, 0U) << type << ", radius " << radius;
      EXPECT_TRUE(subject.hasKept(ofModel.taps)) << type << ", radius " << radius;
      EXPECT_EQ(limited > 1000, radius > 1) << limited << " at the limits";
    }
  }
}

TEST(IIRFilter_double, ThePathsDifferByRoundingOnly) {
  support::TestRandom random;
  Subject first(resonators(general, 0.9));
  Subject second(resonators(secondOrder, 0.9));
  for (int i = 0; i < 10000; ++i) {
    const double sample = 2 * random.unit() - 1;
    ASSERT_NEAR(first.filter(sample), second.filter(sample), 1e-12);
  }
}

}  // namespace
