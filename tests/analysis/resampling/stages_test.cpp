// The stages that band-limited resamplers consist of.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>
#include <string>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/filters/white_noise.hpp"
#include "analysis/resampling/polyphase_filter.hpp"
#include "analysis/resampling/twofold_filter.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;

std::vector<double> noise(size_t count) {
  WhiteNoise source(11);
  std::vector<double> samples(count);
  for (double& sample : samples) {
    sample = source.next();
  }
  return samples;
}

template <class Stage>
std::vector<double> through(Stage stage, const std::vector<double>& samples, size_t block) {
  std::vector<double> outputs;
  inBlocks(std::span(samples), block, [&](std::span<const double> part) { stage.feed(part, outputs); });
  stage.finish(outputs);
  return outputs;
}

/// Magnitude of the response of a filter whose impulse is seen at every fraction of a sample.
double magnitudeAt(const KaiserSinc& sinc, double frequency) {
  constexpr int fractions = 16;
  std::complex<double> sum = 0;
  for (int fraction = 0; fraction < fractions; ++fraction) {
    const double phase = fraction / static_cast<double>(fractions);
    const std::vector<double> coefficients = sinc.coefficientsAt(phase);
    for (size_t i = 0; i < coefficients.size(); ++i) {
      const double time = static_cast<double>(i) - static_cast<double>(sinc.half()) + 1 - phase;
      sum += std::polar(coefficients[i] / fractions, -2 * std::numbers::pi * frequency * time);
    }
  }
  return std::abs(sum);
}

TEST(KaiserSinc, ItPassesAndStopsWhatItSaysItDoes) {
  for (const auto& transition : std::to_array<Transition>({{0.45, 0.5}, {0.2, 0.25}, {0.225, 0.75}, {0.01, 0.1}})) {
    const KaiserSinc sinc(transition);
    EXPECT_EQ(sinc.length() % KaiserSinc::blockLength, 0U);
    for (int step = 0; step <= 50; ++step) {
      EXPECT_NEAR(magnitudeAt(sinc, transition.pass * step / 50), 1, 1e-7);
      EXPECT_LT(magnitudeAt(sinc, transition.stop * (1 + step / 20.0)), 1e-7) << transition.stop << ' ' << step;
    }
    EXPECT_GT(magnitudeAt(sinc, transition.edge()), 0.4);
    for (const double phase : {0.0, 0.25, 0.999}) {
      const std::vector<double> coefficients = sinc.coefficientsAt(phase);
      EXPECT_NEAR(std::accumulate(coefficients.begin(), coefficients.end(), 0.0), 1, 1e-14);
    }
  }
}

/// Up to the first one at the last sample or behind it.
size_t outputsOf(size_t count, RateRatio ratio) {
  return count == 0 ? 0 : ((count - 1) * ratio.outputs + ratio.inputs - 1) / ratio.inputs + 1;
}

constexpr Transition wide{0.2, 0.6};

/// By its definition, with the first and the last sample taken again beyond them.
double outputAt(const std::vector<double>& samples, const KaiserSinc& sinc, RateRatio ratio, size_t k) {
  const auto position = static_cast<int64_t>(k * ratio.inputs / ratio.outputs);
  const auto phase = static_cast<double>(k * ratio.inputs % ratio.outputs) / static_cast<double>(ratio.outputs);
  const std::vector<double> coefficients = sinc.coefficientsAt(phase);
  double sum = 0;
  for (size_t i = 0; i < coefficients.size(); ++i) {
    const int64_t at = position + static_cast<int64_t>(i) - static_cast<int64_t>(sinc.half()) + 1;
    const auto inside = std::clamp<int64_t>(at, 0, static_cast<int64_t>(samples.size()) - 1);
    sum += coefficients[i] * samples[static_cast<size_t>(inside)];
  }
  return sum;
}

/// {100003, 100019} and {7, 5000} have more phases than coefficients are kept for.
TEST(PolyphaseFilter, OutputsAreTheirSums) {
  const KaiserSinc sinc(wide);
  for (const RateRatio ratio : std::to_array<RateRatio>({{1, 1},
                                                         {1, 2},
                                                         {2, 1},
                                                         {8, 1},
                                                         {147, 160},
                                                         {160, 147},
                                                         {31, 2},
                                                         {1000, 1},
                                                         {100003, 100019},
                                                         {7, 5000},
                                                         {1, 1024}})) {
    for (const size_t count : std::to_array<size_t>({0, 1, 2, 3, 40, 1000})) {
      SCOPED_TRACE(std::to_string(ratio.inputs) + " to " + std::to_string(ratio.outputs) + ": " +
                   std::to_string(count));
      const std::vector<double> samples = noise(count);
      const std::vector<double> found = through(PolyphaseFilter(ratio, wide), samples, 100);
      ASSERT_EQ(found.size(), outputsOf(count, ratio));
      const double rounding = ratio.outputs * sinc.length() > PolyphaseFilter::mostCoefficients ? 1e-8 : 1e-14;
      for (size_t k = 0; k < found.size(); k += 1 + found.size() / 500) {
        ASSERT_NEAR(found[k], outputAt(samples, sinc, ratio, k), rounding) << k;
      }
    }
  }
}

TEST(TwofoldFilter, ItIsThePolyphaseFilterOfItsRatio) {
  constexpr Transition steep{0.22, 0.25};
  for (const size_t count : std::to_array<size_t>({0, 1, 2, 3, 160, 161, 1888, 1889, 10000, 10001})) {
    const std::vector<double> samples = noise(count);
    const auto expectSame = [&](RateStep step, RateRatio ratio) {
      const std::vector<double> found = through(TwofoldFilter(step, steep), samples, 1000);
      const std::vector<double> expected = through(PolyphaseFilter(ratio, steep), samples, 1000);
      ASSERT_EQ(found.size(), expected.size()) << count;
      ASSERT_EQ(found.size(), outputsOf(count, ratio));
      for (size_t k = 0; k < found.size(); ++k) {
        ASSERT_NEAR(found[k], expected[k], 1e-13) << count << ": " << k;
      }
    };
    expectSame(RateStep::twice, {1, 2});
    expectSame(RateStep::half, {2, 1});
  }
}

TEST(Stages, TheLengthOfBlocksDoesNotMatter) {
  const std::vector<double> samples = noise(9001);
  const auto expectSame = [&](const auto& stage) {
    const std::vector<double> whole = through(stage, samples, samples.size());
    for (const size_t block : std::to_array<size_t>({1, 2, 19, 2048, 4096})) {
      EXPECT_EQ(through(stage, samples, block), whole) << block;
    }
  };
  expectSame(TwofoldFilter(RateStep::twice, {0.45, 0.5}));
  expectSame(TwofoldFilter(RateStep::half, {0.225, 0.25}));
  expectSame(PolyphaseFilter({147, 160}, wide));
  expectSame(PolyphaseFilter({8, 1}, wide));
  expectSame(PolyphaseFilter({57, 2}, wide));
  expectSame(PolyphaseFilter({100003, 100019}, wide));
}

}  // namespace
}  // namespace kxanalysis_test
