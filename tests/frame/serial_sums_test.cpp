// The engine of serial sums against the chain, at every width that the build has.
#include "frame/serial_sums.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "frame/six_bit_numbers.hpp"
#include "support/random.hpp"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double largest = std::numeric_limits<double>::max();
constexpr double smallest = std::numeric_limits<double>::denorm_min();

TEST(SixBitNumbers, RoundToTheNearestAndToEven) {
  using six_bits::sumOf;
  EXPECT_EQ(sumOf(3, 4), 7U);     // subnormals
  EXPECT_EQ(sumOf(7, 1), 8U);     // the smallest normal number
  EXPECT_EQ(sumOf(15, 1), 16U);   // 15 + 1
  EXPECT_EQ(sumOf(16, 1), 16U);   // 16 + 1: a tie, down to 16
  EXPECT_EQ(sumOf(17, 1), 18U);   // 18 + 1: a tie, up to 20
  EXPECT_EQ(sumOf(16, 3), 18U);   // 16 + 3: a tie, up to 20
  EXPECT_EQ(sumOf(55, 24), 56U);  // 480 + 32: infinity
  EXPECT_EQ(sumOf(55, 15), 55U);  // 480 + 15: just below the half
  EXPECT_EQ(sumOf(55, 16), 56U);  // 480 + 16: a tie, up to infinity
  EXPECT_EQ(sumOf(56, 56), 56U);
  EXPECT_GT(sumOf(60, 1), 56U);
  EXPECT_GT(sumOf(1, 124), 56U);
}

// Every sum of six bits with every block of three terms, in one run, and each a run.
TEST(SerialSums, EqualTheChainForEveryBlockOfThreeTermsOfSixBits) {
  for (const uint8_t a : six_bits::terms) {
    for (const uint8_t b : six_bits::terms) {
      for (const uint8_t c : six_bits::terms) {
        ASSERT_TRUE((six_bits::addsWhatTheChainAdds<3, 3>({a, b, c}))) << +a << ' ' << +b << ' ' << +c;
        ASSERT_TRUE((six_bits::addsWhatTheChainAdds<1, 3>({a, b, c}))) << +a << ' ' << +b << ' ' << +c;
      }
    }
  }
}

// In all eight runs and the ways in which they are joined, of terms that are small against the sum or not.
TEST(SerialSums, EqualTheChainForBlocksOfSixteenTermsOfSixBits) {
  support::TestRandom random;
  for (int repetition = 0; repetition < 200000; ++repetition) {
    std::array<uint8_t, 16> block{};
    const std::size_t bound = random.oneIn(8) ? six_bits::terms.size() : std::size_t{2} << random.below(5);
    const std::size_t chances = 1 + random.below(4);
    for (uint8_t& term : block) {
      term = random.oneIn(chances) ? six_bits::terms[random.below(bound)] : uint8_t{0};
    }
    ASSERT_TRUE((six_bits::addsWhatTheChainAdds<2, 16>(block))) << testing::PrintToString(block);
  }
}

/// Any doubles as terms.
struct Terms {
  static constexpr std::size_t length = 8;
  const double* data;

  double one(std::size_t i) const { return data[i]; }
  template <class Add>
  void rows(std::size_t i, Add add) const {
    for (std::size_t term = 0; term < length; ++term) {
      double row[kxcalc::runsSideBySide];
      for (std::size_t lane = 0; lane < kxcalc::runsSideBySide; ++lane) {
        row[lane] = data[i + kxcalc::runOfLane[lane] * length + term];
      }
      add(kxcalc::loadPack<kxcalc::runsSideBySide>(row));
    }
  }
  void prefetch(std::size_t) const {}
};

double chainOf(std::span<const double> terms) {
  double sum = 0;
  for (const double term : terms) {
    sum += term;
  }
  return sum;
}

testing::AssertionResult equalsChain(std::span<const double> terms) {
  const double expected = chainOf(terms);
  const double actual = kxcalc::serialSum<kxcalc::Doubles>(Terms{terms.data()}, terms.size());
  if (std::bit_cast<uint64_t>(actual) == std::bit_cast<uint64_t>(expected) ||
      (std::isnan(actual) && std::isnan(expected))) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << std::hexfloat << actual << " instead of " << expected << ", " << terms.size()
                                     << " terms";
}

/// A sum that starts in a binade of its own, and terms around its unit.
std::vector<double> termsAroundTheUnit(double start, std::size_t count, int lowestStep, int highestStep,
                                       support::Random& random) {
  std::vector<double> terms{start};
  double sum = start;
  while (terms.size() < count) {
    const double unit = std::nextafter(sum, infinity) - sum;
    terms.push_back(static_cast<double>(random.between(0, 7)) *
                    std::ldexp(unit, random.between(lowestStep, highestStep)));
    sum += terms.back();
  }
  return terms;
}

TEST(SerialSums, TiesOfEitherParityAreSettledAsTheChainSettlesThem) {
  support::TestRandom random;
  for (const double start : {1.0, 1 + 0x1p-52, 0x1p53, 0x1p53 + 2, 0x1.8p-1000, 0x1.2p1000, 0x1p-1022, smallest}) {
    for (int repetition = 0; repetition < 200; ++repetition) {
      const auto count = static_cast<std::size_t>(random.between(500, 1500));
      ASSERT_TRUE(equalsChain(termsAroundTheUnit(start, count, -3, random.between(-2, 2), random))) << start;
    }
  }
}

TEST(SerialSums, TheSumsThatBeginAtEveryStepOfABinadeEqualTheChain) {
  support::TestRandom random;
  for (int repetition = 0; repetition < 4000; ++repetition) {
    const auto start = std::bit_cast<double>(random.bits() >> random.below(64) >> 1);
    if (std::isfinite(start)) {
      ASSERT_TRUE(equalsChain(termsAroundTheUnit(start, 700, random.between(-10, 0), random.between(0, 52), random)));
    }
  }
}

/// Ones and halves of the unit, from 2^52 on, and a term that does something else at each position of some blocks.
TEST(SerialSums, OneTermAtEachPositionOfABlockTakesTheSumElsewhere) {
  support::TestRandom random;
  for (const double start : {0x1p52, 0x1.fffffffffff8p52}) {
    std::vector<double> terms = termsAroundTheUnit(start, 700, -1, 0, random);
    for (std::size_t position = 100; position < 500; ++position) {
      for (const double other : {0.0, smallest, 0.5, 1.5, std::nextafter(0.5, 1.0), std::nextafter(0.5, 0.0), 0x1p51,
                                 0x1p52, 0x1p53, 0x1p60, 0x1p400, largest, infinity, nan, -nan}) {
        const double kept = std::exchange(terms[position], other);
        ASSERT_TRUE(equalsChain(terms)) << other << " at " << position << " of the sum from " << start;
        terms[position] = kept;
      }
    }
  }
}

TEST(SerialSums, ABinadeEndsAtEachPositionOfABlock) {
  for (std::size_t position = 64; position < 700; ++position) {
    // The sum arrives at 2 exactly, or half a unit below it, which is a tie and rounds up.
    for (const double below : {0.0, 0x1p-53}) {
      std::vector<double> terms(900, 0x1p-30);
      terms[0] = 1;
      terms[position] = 1 - static_cast<double>(position - 1) * 0x1p-30 - below;
      ASSERT_TRUE(equalsChain(terms)) << position;
    }
  }
}

TEST(SerialSums, ZerosAndSubnormalsAndTheLargestNumbersEqualTheChain) {
  support::TestRandom random;
  ASSERT_TRUE(equalsChain(std::vector<double>(1000, 0.0)));
  ASSERT_TRUE(equalsChain(std::vector<double>(1000, smallest)));
  ASSERT_TRUE(equalsChain(std::vector<double>(1000, largest / 900)));
  ASSERT_TRUE(equalsChain(std::vector<double>(1000, infinity)));
  for (std::size_t position = 0; position < 1000; ++position) {
    std::vector<double> terms(1000, 0.0);
    terms[position] = position % 2 == 0 ? nan : -nan;  // the sum before it has the pattern 0
    ASSERT_TRUE(equalsChain(terms)) << position;
  }
  for (int repetition = 0; repetition < 300; ++repetition) {
    std::vector<double> terms(1000);
    for (double& term : terms) {
      term = std::bit_cast<double>(random.bits() >> random.between(8, 63));  // around the smallest normal number, too
    }
    ASSERT_TRUE(equalsChain(terms));
  }
}

TEST(SerialSums, EqualTheChainAtEveryCount) {
  support::TestRandom random;
  std::vector<double> terms(1500);
  for (double& term : terms) {
    term = random.unit();
  }
  for (std::size_t count = 0; count <= terms.size(); ++count) {
    ASSERT_TRUE(equalsChain(std::span(terms).first(count)));
  }
}

// Terms that move a sum by an eighth of all bit patterns, or a quarter of them: as many as bring it back to where it was.
TEST(SerialSums, MovesByAllBitPatternsAreNotLost) {
  for (unsigned runs = 1; runs < 256; ++runs) {
    for (const int distance : {512, 1024}) {
      std::vector<double> terms(700);
      terms[0] = 0x1p-1000;
      for (std::size_t run = 0; run < 8; ++run) {
        terms[128 + 8 * run] = (runs >> run & 1) != 0 ? std::ldexp(0x1p-1000, distance) : 0.0;
      }
      ASSERT_TRUE(equalsChain(terms)) << runs;
    }
  }
}

// Each run takes the sum out of its binade: the engine steps aside for longer and longer.
TEST(SerialSums, TermsThatGrowWithoutEndEqualTheChain) {
  for (const double growth : {1.0001, 1.003, 1.03, 1.2, 2.0}) {
    for (const double start : {1e-300, 1.0}) {
      std::vector<double> terms(6000);
      double term = start;
      for (double& each : terms) {
        each = term;
        term *= growth;
      }
      ASSERT_TRUE(equalsChain(terms)) << growth;
    }
  }
}

TEST(SerialSums, ColumnsHoldTheRunsOfTheirLanes) {
  constexpr std::size_t stride = 11, runs = kxcalc::runsSideBySide;
  std::vector<float> data(runs * stride);
  for (std::size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<float>(i);
  }
  std::array<std::array<float, runs>, 4> columns;
  kxcalc::takeFourColumns(data.data() + 2, stride, [&](auto... column) {
    std::size_t k = 0;
    (kxcalc::store(columns[k++].data(), column), ...);
  });
  for (std::size_t k = 0; k < columns.size(); ++k) {
    for (std::size_t lane = 0; lane < runs; ++lane) {
      EXPECT_EQ(columns[k][lane], static_cast<float>(2 + kxcalc::runOfLane[lane] * stride + k)) << k << ' ' << lane;
    }
  }
}

}  // namespace
