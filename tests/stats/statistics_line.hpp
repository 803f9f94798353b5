// What the tests of the statistics kernels share: a statistics line, fenced, and what callers may pass into it.
#ifndef KXCALC_TESTS_STATS_STATISTICS_LINE_HPP
#define KXCALC_TESTS_STATS_STATISTICS_LINE_HPP

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"

namespace stats {

template <typename Sample>
struct StatisticsLine {
  Sample minimum;
  Sample maximum;
  double sum;
  double sumOfSquares;
};

template <typename Sample>
std::ostream& operator<<(std::ostream& stream, const StatisticsLine<Sample>& line) {
  return stream << "minimum " << support::describe(line.minimum) << ", maximum " << support::describe(line.maximum)
                << ", sum " << support::describe(line.sum) << ", sum of squares "
                << support::describe(line.sumOfSquares);
}

/// Extremes are selected, so every bit is known; sums are the result of arithmetic.
template <typename Sample>
testing::AssertionResult sameLine(const StatisticsLine<Sample>& actual, const StatisticsLine<Sample>& expected) {
  if (support::sameBits(actual.minimum, expected.minimum) && support::sameBits(actual.maximum, expected.maximum) &&
      support::sameResult(actual.sum, expected.sum) &&
      support::sameResult(actual.sumOfSquares, expected.sumOfSquares)) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "\n  actual   " << actual << "\n  expected " << expected << '\n';
}

/// A statistics line whose four numbers each end (or begin) at an inaccessible page.
template <typename Sample>
class FencedLine {
public:
  explicit FencedLine(const support::Placement& placement)
      : minimum(*extremes_[0].place(1, placement).data()),
        maximum(*extremes_[1].place(1, placement).data()),
        sum(*sums_[0].place(1, placement).data()),
        sumOfSquares(*sums_[1].place(1, placement).data()) {}

  void set(const StatisticsLine<Sample>& line) {
    minimum = line.minimum;
    maximum = line.maximum;
    sum = line.sum;
    sumOfSquares = line.sumOfSquares;
  }
  StatisticsLine<Sample> get() const { return {minimum, maximum, sum, sumOfSquares}; }
  bool surroundingsIntact() const {
    return extremes_[0].surroundingsIntact() && extremes_[1].surroundingsIntact() && sums_[0].surroundingsIntact() &&
           sums_[1].surroundingsIntact();
  }

private:
  support::FencedBuffer<Sample> extremes_[2] = {support::FencedBuffer<Sample>(1), support::FencedBuffer<Sample>(1)};
  support::FencedBuffer<double> sums_[2] = {support::FencedBuffer<double>(1), support::FencedBuffer<double>(1)};

public:
  Sample& minimum;
  Sample& maximum;
  double& sum;
  double& sumOfSquares;
};

/// What a caller may pass in: fresh lines, running ones, sums that swallow or round what is added, and specials.
template <typename Sample>
std::vector<StatisticsLine<Sample>> incomingLines() {
  using Limits = std::numeric_limits<Sample>;
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<StatisticsLine<Sample>> lines{
      {0, 0, 0, 0},
      {Limits::max(), Limits::lowest(), -0.0, -0.0},
      {Limits::lowest(), Limits::max(), 1234.56789, 98765.4321},
      {-5, 5, 9007199254740991.0, 9007199254740991.0},
      {1, -1, -4503599627370496.5, 4503599627370495.5},
      {-1, 1, 1e300, 1e300},
      {100, -100, -infinity, infinity},
      {0, 0, nan, 1e-310},
      {3, 3, 5e-324, nan},
  };
  if constexpr (Limits::has_infinity) {
    lines.push_back({Limits::infinity(), -Limits::infinity(), 0.1, 0.1});
    lines.push_back({-Sample{0}, -Sample{0}, -1e16, 1e16});
    lines.push_back({Limits::quiet_NaN(), -Limits::quiet_NaN(), 0, 0});
    lines.push_back({0, Limits::quiet_NaN(), -infinity, 0});
  }
  return lines;
}

/// Whole numbers and fractions, small and huge, and specials.
template <typename Offset>
std::vector<Offset> rmsOffsets() {
  using Limits = std::numeric_limits<Offset>;
  std::vector<Offset> offsets{0,
                              -Offset{0},
                              Limits::infinity(),
                              -Limits::infinity(),
                              Limits::quiet_NaN(),
                              Limits::max(),
                              Limits::lowest(),
                              Limits::min(),
                              Limits::denorm_min()};
  for (const double offset : {1.0,
                              -1.0,
                              3.0,
                              -100.0,
                              32767.0,
                              -32768.0,
                              65536.0,
                              8388608.0,
                              16777216.0,
                              -16777217.0,
                              2147483648.0,
                              9007199254740991.0,
                              9007199254740992.0,
                              0.5,
                              -0.25,
                              0.1,
                              -1234.5678,
                              1e-30,
                              1e10,
                              -1e19,
                              1e30}) {
    offsets.push_back(static_cast<Offset>(offset));
  }
  return offsets;
}

/// Powers of two up to 2^62 and what lies next to them: where sums of squares of whole numbers stop being exact, and
/// where an offset swallows the sample.
template <typename Offset>
std::vector<Offset> rmsOffsetsNearPowersOfTwo() {
  std::vector<Offset> offsets;
  for (int exponent = 0; exponent <= 62; ++exponent) {
    const double power = std::ldexp(1.0, exponent);
    for (const double offset : {power, power - 1, power + 1, power + 0.5, power - 0.125}) {
      offsets.push_back(static_cast<Offset>(offset));
      offsets.push_back(static_cast<Offset>(-offset));
    }
  }
  return offsets;
}

}  // namespace stats

#endif
