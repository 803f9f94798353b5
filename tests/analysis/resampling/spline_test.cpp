// The resampler's values are those of the cubic through four samples.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "analysis/closeness.hpp"
#include "analysis/resampling/resampler.hpp"
#include "functions/linked.hpp"

namespace kxanalysis_test {
namespace {

using namespace kxanalysis;
using kxcalc::linkedFunctions;

/// Hermite's cubic with tangents of half the difference of the neighbours; beyond the ends the outermost samples stand.
double splineAt(const std::vector<float>& samples, double position) {
  const auto last = static_cast<std::ptrdiff_t>(samples.size()) - 1;
  const auto at = [&](std::ptrdiff_t i) {
    return static_cast<double>(samples[static_cast<size_t>(std::clamp<std::ptrdiff_t>(i, 0, last))]);
  };
  const auto k = static_cast<std::ptrdiff_t>(std::floor(position));
  const double t = position - static_cast<double>(k);
  const double here = at(k), next = at(k + 1), slope = (next - at(k - 1)) / 2, nextSlope = (at(k + 2) - here) / 2;
  return here * (1 + 2 * t) * (1 - t) * (1 - t) + next * t * t * (3 - 2 * t) + slope * t * (1 - t) * (1 - t) -
         nextSlope * t * t * (1 - t);
}

TEST(Resampler, ValuesLieOnTheSpline) {
  std::vector<float> samples;
  for (int i = 0; i < 9000; ++i) {
    samples.push_back(static_cast<float>(i * 7919 % 2003) / 2003);
  }
  for (const auto& [from, to] :
       std::to_array<std::array<double, 2>>({{1, 1}, {1, 2}, {3, 1}, {1, 3.7}, {44100, 48000}, {1, 300}, {100, 1}})) {
    auto resampler = Resampler::create(linkedFunctions, from, to);
    ASSERT_TRUE(resampler);
    std::vector<float> found;
    const auto first = resampler->feed(samples);
    found.insert(found.end(), first->begin(), first->end());
    const auto rest = resampler->finish();
    found.insert(found.end(), rest->begin(), rest->end());
    EXPECT_EQ(found.size(), std::floor(8999 * to / from + 1e-9) + 1) << from << " to " << to;
    for (size_t i = 0; i < found.size(); ++i) {
      ASSERT_NEAR(static_cast<double>(found[i]), splineAt(samples, static_cast<double>(i) * from / to), 3e-6) << i;
    }
  }
}

TEST(Resampler, BlocksAreShorterAtHighOutputRates) {
  EXPECT_EQ(Resampler::blockLength(1, 1), 4096U);
  EXPECT_EQ(Resampler::blockLength(2, 1), 4096U);
  EXPECT_EQ(Resampler::blockLength(1, 2), 2048U);
  EXPECT_EQ(Resampler::blockLength(1, 1000), 4U);
  EXPECT_EQ(Resampler::blockLength(1, 4096), 2U);
}

}  // namespace
}  // namespace kxanalysis_test
