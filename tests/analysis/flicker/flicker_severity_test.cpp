#include "analysis/flicker/flicker_severity.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

/// Of percentiles as they stand in the standard.
double shortTermOf(double p01, double p1s, double p3s, double p10s, double p50s) {
  return std::sqrt(0.0314 * p01 + 0.0525 * p1s + 0.0657 * p3s + 0.28 * p10s + 0.08 * p50s);
}

TEST(FlickerSeverity, ClassesBeginAtAHundredADecade) {
  EXPECT_EQ(classBegin(0), 0);
  expectClose(classBegin(1), 1e-4 * std::exp(std::log(10) / 100));
  expectClose(classBegin(100), 1e-3);
  expectClose(classBegin(400), 1);
  expectClose(classBegin(1000), 1e6);
}

/// Inside of a class the level falls linearly, so that means of levels are those of their percents.
TEST(FlickerSeverity, OneClassIsInterpolatedLinearly) {
  for (const size_t index : std::to_array<size_t>({0, 1, 417, 999})) {
    ClassCounts classes{};
    classes[index] = 12345;
    const double begin = index == 0 ? 0 : std::pow(10, static_cast<double>(index) / 100 - 4);
    const double end = std::pow(10, static_cast<double>(index + 1) / 100 - 4);
    const auto level = [&](double percent) { return end - (end - begin) * percent / 100; };
    expectClose(exceededLevel(classes, 25), level(25));
    const Severity severity = severityOf(classes);
    expectClose(severity.p01, level(0.1));
    expectClose(severity.p1s, level((0.7 + 1 + 1.5) / 3));
    expectClose(severity.p3s, level((2.2 + 3 + 4) / 3));
    expectClose(severity.p10s, level((6 + 8 + 10 + 13 + 17) / 5.0));
    expectClose(severity.p50s, level((30 + 50 + 80) / 3.0));
    expectClose(severity.shortTerm,
                shortTermOf(severity.p01, severity.p1s, severity.p3s, severity.p10s, severity.p50s));
  }
}

TEST(FlickerSeverity, AThousandSamplesInFiveClasses) {
  ClassCounts classes{};
  classes[700] = 4;    // 0 to 0.4 % of the time
  classes[600] = 16;   // to 2 %
  classes[500] = 30;   // to 5 %
  classes[400] = 150;  // to 20 %
  classes[300] = 800;  // all of it
  const auto level = [](int index, double share) {
    const double begin = std::pow(10, index / 100.0 - 4), end = std::pow(10, (index + 1) / 100.0 - 4);
    return end - (end - begin) * share;
  };
  expectClose(exceededLevel(classes, 0.4), level(700, 1));
  expectClose(exceededLevel(classes, 20), level(400, 1));
  expectClose(exceededLevel(classes, 100), level(300, 1));
  const double p01 = level(700, 0.1 / 0.4), p1s = level(600, (3.2 / 3 - 0.4) / 1.6),
               p3s = level(500, (9.2 / 3 - 2) / 3), p10s = level(400, (54 / 5.0 - 5) / 15),
               p50s = level(300, (160 / 3.0 - 20) / 80);
  const Severity severity = severityOf(classes);
  expectClose(severity.p01, p01);
  expectClose(severity.p1s, p1s);
  expectClose(severity.p3s, p3s);
  expectClose(severity.p10s, p10s);
  expectClose(severity.p50s, p50s);
  expectClose(severity.shortTerm, shortTermOf(p01, p1s, p3s, p10s, p50s));
}

TEST(FlickerSeverity, CountsMayFillTheirCounters) {
  ClassCounts classes{};
  classes[300] = classes[500] = 4294967295U;
  expectClose(exceededLevel(classes, 50), std::pow(10, 1));
  expectClose(exceededLevel(classes, 75), (std::pow(10, -1) + std::pow(10, -0.99)) / 2);
}

TEST(FlickerSeverity, WithoutSamplesThereIsNone) {
  EXPECT_EQ(exceededLevel(ClassCounts{}, 50), 0);
  EXPECT_EQ(severityOf(ClassCounts{}).shortTerm, 0);
}

TEST(FlickerSeverity, TheLongTermIsTheCubicMean) {
  expectClose(longTermSeverity(std::array{1.0, 2.0, 3.0}), std::pow(12, 1 / 3.0));
  expectClose(longTermSeverity(std::array{0.7}), 0.7);
  EXPECT_EQ(longTermPeriods, 12U);
}

}  // namespace
}  // namespace kxanalysis_test
