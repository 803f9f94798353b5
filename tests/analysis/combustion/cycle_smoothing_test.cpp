#include "analysis/combustion/cycle_smoothing.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/combustion/windowed_average.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

std::vector<float> smoothed(Smoothing smoothing, uint16_t width, const std::vector<float>& cycle) {
  auto smoother = CycleSmoother::create(linkedFunctions, smoothing, width, cycle.size());
  EXPECT_TRUE(smoother) << smoother.problem();
  std::vector<float> result(cycle.size(), -1);
  smoother->smooth(std::vector<float>(cycle.size(), 77), result);  // a smoother has no memory
  smoother->smooth(cycle, result);
  return result;
}

std::vector<float> bumps(size_t count) {
  std::vector<float> cycle;
  for (size_t i = 0; i < count; ++i) {
    cycle.push_back(static_cast<float>(i * i * 37 % 101));
  }
  return cycle;
}

/// The parabola of least squares through a window, at its middle, from the normal equations.
double parabolaAt(const std::vector<float>& cycle, std::ptrdiff_t middle, std::ptrdiff_t half) {
  double n = 0, k2 = 0, k4 = 0, y = 0, k2y = 0;
  for (std::ptrdiff_t k = -half; k <= half; ++k) {
    const auto square = static_cast<double>(k * k);
    const auto index = std::clamp<std::ptrdiff_t>(middle + k, 0, static_cast<std::ptrdiff_t>(cycle.size()) - 1);
    const auto value = static_cast<double>(cycle[static_cast<size_t>(index)]);
    n += 1;
    k2 += square;
    k4 += square * square;
    y += value;
    k2y += square * value;
  }
  return (y * k4 - k2 * k2y) / (n * k4 - k2 * k2);
}

TEST(CycleSmoothing, WeightsAreThoseOfTheLeastSquaresParabola) {
  const std::vector<float> cycle = bumps(61);
  for (const uint16_t width : std::to_array<uint16_t>({3, 5, 11, 61})) {
    const std::vector<float> found = smoothed(Smoothing::savitzkyGolay, width, cycle);
    for (size_t i = 0; i < cycle.size(); ++i) {
      EXPECT_NEAR(static_cast<double>(found[i]), parabolaAt(cycle, static_cast<std::ptrdiff_t>(i), width / 2), 1e-4);
    }
  }
}

TEST(CycleSmoothing, CubicsStay) {
  std::vector<float> cubic;
  for (int i = 0; i < 40; ++i) {
    cubic.push_back(static_cast<float>(std::pow(i - 20, 3) / 64 - (i - 20) * (i - 20) + 3));
  }
  const std::vector<float> found = smoothed(Smoothing::savitzkyGolay, 9, cubic);
  for (size_t i = 4; i + 4 < cubic.size(); ++i) {
    EXPECT_NEAR(found[i], cubic[i], 1e-4F);
  }
  EXPECT_EQ(smoothed(Smoothing::savitzkyGolay, 1, cubic), cubic);
  EXPECT_EQ(smoothed(Smoothing::none, 4, cubic), cubic);
}

TEST(CycleSmoothing, AnAverageIsTheMeanOfItsWindow) {
  for (const size_t length : std::to_array<size_t>({61, 62})) {
    const std::vector<float> cycle = bumps(length);
    for (const size_t width : std::to_array<size_t>({1, 3, 7, 61})) {
      const std::vector<float> found = smoothed(Smoothing::average, static_cast<uint16_t>(width), cycle);
      for (size_t i = width / 2; i + width / 2 < length; ++i) {
        double sum = 0;
        for (size_t k = i - width / 2; k <= i + width / 2; ++k) {
          sum += static_cast<double>(cycle[k]);
        }
        expectSingle(found[i], sum / static_cast<double>(width));
      }
      for (size_t i = 0; i < width / 2; ++i) {
        EXPECT_EQ(found[i], found[width / 2]);
        EXPECT_EQ(found[length - 1 - i], found[length - 1 - width / 2]);
      }
    }
  }
}

TEST(CycleSmoothing, SettingsThatCannotBeAreNamed) {
  const auto problem = [](Smoothing smoothing, uint16_t width, size_t length) {
    return problemOf(CycleSmoother::create(linkedFunctions, smoothing, width, length));
  };
  for (const Smoothing smoothing : {Smoothing::savitzkyGolay, Smoothing::average}) {
    EXPECT_EQ(problem(smoothing, 4, 10), "smoothing width is 4: it is an odd number of samples");
    EXPECT_EQ(problem(smoothing, 0, 10), "smoothing width is 0: it is an odd number of samples");
    EXPECT_EQ(problem(smoothing, 11, 10), "cycles of 10 samples cannot be smoothed over 11");
    EXPECT_EQ(problem(smoothing, 9, 9), "");
  }
  EXPECT_EQ(problem(Smoothing::none, 12, 10), "");
}

/// Whole numbers, whose sums are exact.
TEST(WindowedAverage, ItIsTheMeanOfTheLastCycles) {
  for (const size_t length : std::to_array<size_t>({1, 3, 4, 5, 18})) {
    for (const uint32_t window : {1U, 2U, 3U, 5U}) {
      WindowedAverage average(linkedFunctions, length, window);
      EXPECT_EQ(average.cycles(), 0U);
      const auto valueOf = [](int cycle, size_t i) {
        return static_cast<float>((cycle * 17 + static_cast<int>(i) * 5) % 23);
      };
      for (int cycle = 0; cycle < 12; ++cycle) {
        std::vector<float> samples;
        for (size_t i = 0; i < length; ++i) {
          samples.push_back(valueOf(cycle, i));
        }
        average.feed(samples);
        const int first = std::max(0, cycle + 1 - static_cast<int>(window));
        EXPECT_EQ(average.cycles(), static_cast<size_t>(cycle + 1 - first));
        ASSERT_EQ(average.curve().size(), length);
        for (size_t i = 0; i < length; ++i) {
          float sum = 0;
          for (int c = first; c <= cycle; ++c) {
            sum += valueOf(c, i);
          }
          ASSERT_EQ(average.curve()[i], sum / static_cast<float>(cycle + 1 - first))
              << cycle << ' ' << window << ' ' << i;
        }
      }
    }
  }
}

}  // namespace
}  // namespace kxanalysis_test
