#include "analysis/power/cycle_rms.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "analysis/closeness.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

constexpr double rate = 10000;

/// A sine whose amplitude changes at a time in s.
std::vector<double> mains(double frequency, double seconds, double amplitude, double later, double change) {
  std::vector<double> samples;
  for (double n = 0; n < seconds * rate; ++n) {
    const double size = n / rate < change ? amplitude : later;
    samples.push_back(size * std::sin(2 * std::numbers::pi * std::fmod(frequency * n / rate, 1)));
  }
  return samples;
}

std::vector<MainsCycle> cyclesOf(const std::vector<double>& samples, size_t block) {
  auto rms = CycleRms::create(rate);
  std::vector<MainsCycle> cycles;
  const auto add = [&](std::span<const MainsCycle> more) { cycles.insert(cycles.end(), more.begin(), more.end()); };
  inBlocks(std::span(samples), block, [&](std::span<const double> part) { add(rms->feed(part)); });
  add(rms->finish());
  return cycles;
}

TEST(CycleRms, EachCycleOfTheMainsHasItsRms) {
  for (const double frequency : {50.0, 60.0, 47.3}) {
    const auto cycles = cyclesOf(mains(frequency, 2, 325, 325, 2), 4096);
    EXPECT_NEAR(static_cast<double>(cycles.size()), 2 * frequency, 1);
    for (size_t i = 0; i < cycles.size(); ++i) {
      EXPECT_NEAR(cycles[i].begin, static_cast<double>(i) * rate / frequency, 0.1);
      EXPECT_NEAR(cycles[i].end - cycles[i].begin, rate / frequency, 0.001);
      expectClose(cycles[i].rms, 325 / std::sqrt(2.0), 1e-3);  // straight lines lie below the sine
    }
  }
}

TEST(CycleRms, ADipIsSeenInItsCycles) {
  const auto cycles = cyclesOf(mains(50, 2, 325, 100, 1), 777);
  ASSERT_GE(cycles.size(), 99U);
  expectClose(cycles[48].rms, 325 / std::sqrt(2.0), 2e-3);
  expectClose(cycles[52].rms, 100 / std::sqrt(2.0), 2e-3);
}

TEST(CycleRms, WhatIsNoMainsHasNoCycles) {
  EXPECT_TRUE(cyclesOf(mains(1000, 2, 325, 325, 2), 4096).empty());
  EXPECT_TRUE(cyclesOf(std::vector<double>(20000), 4096).empty());
  EXPECT_TRUE(cyclesOf({}, 10).empty());
}

TEST(CycleRms, TheLengthOfBlocksDoesNotMatter) {
  const std::vector<double> samples = mains(50.7, 1.5, 325, 250, 0.8);
  const auto whole = cyclesOf(samples, samples.size());
  for (const size_t block : {size_t{1}, size_t{199}, size_t{4096}}) {
    const auto cycles = cyclesOf(samples, block);
    ASSERT_EQ(cycles.size(), whole.size()) << block;
    for (size_t i = 0; i < cycles.size(); ++i) {
      EXPECT_EQ(cycles[i].rms, whole[i].rms);
      EXPECT_EQ(cycles[i].begin, whole[i].begin);
    }
  }
}

TEST(CycleRms, RatesThatAreTooLowAreNamed) {
  EXPECT_NE(problemOf(CycleRms::create(100)), "");
  EXPECT_EQ(problemOf(CycleRms::create(1000)), "");
}

}  // namespace
}  // namespace kxanalysis_test
