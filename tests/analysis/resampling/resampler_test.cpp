#include "analysis/resampling/resampler.hpp"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "functions/linked.hpp"

namespace {

using kxanalysis::Resampler;
using kxcalc::linkedFunctions;

/// A sine of amplitude 1 at a position of the input.
/// @param w  phase between two samples.
double sineAt(double w, double position) {
  return std::sin(w * position + 0.3);
}

std::vector<float> sine(size_t count, double w) {
  std::vector<float> samples;
  samples.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    samples.push_back(static_cast<float>(sineAt(w, static_cast<double>(i))));
  }
  return samples;
}

/// How far a cubic with tangents of half the difference of the neighbours may be from a sine of amplitude 1, and rounding:
/// the tangents are those of the sine times sin(w) / w, which is off by w^3 / 6, of which 0.0963 at most go into the
/// curve, where the two differ w^4 / 48; with the right tangents a cubic is off by w^4 / 384.
double splineError(double w) {
  return 0.0963 * std::pow(w, 3) / 6 + std::pow(w, 4) * (1.0 / 384 + 1.0 / 48) + 1e-6;
}

void append(std::vector<float>& all, const kxcalc::Result<std::span<const float>>& part) {
  ASSERT_TRUE(part) << part.problem();
  all.insert(all.end(), part->begin(), part->end());
}

/// @param block  samples that are fed at a time.
std::vector<float> resampled(const std::vector<float>& samples, double from, double to, size_t block) {
  auto resampler = Resampler::create(linkedFunctions, from, to);
  EXPECT_TRUE(resampler) << resampler.problem();
  std::vector<float> all;
  for (size_t i = 0; i < samples.size(); i += block) {
    append(all, resampler->feed(std::span(samples).subspan(i, std::min(block, samples.size() - i))));
  }
  append(all, resampler->finish());
  return all;
}

// The rings of the library hold a power of two; where a block leaves just two of its samples alone, it takes away the
// sample before the segment that is next. Rates at which a block could be that long are found here, too.
TEST(Resampler, ASineComesOutAtAwkwardRatios) {
  std::vector<std::array<double, 2>> rates{{8000, 16012}, {44100, 48000}, {48000, 44100}, {44100, 96001},
                                           {1, 3.0019},   {100, 102400},  {192000, 1001}};
  for (size_t ring = 8; ring <= 4096; ring *= 2) {
    rates.push_back({1000, 1000 * 4096 / (static_cast<double>(ring) - 1.5)});
    ASSERT_EQ(std::has_single_bit(Resampler::blockLength(rates.back()[0], rates.back()[1]) + 2), true);
  }
  for (const auto& [from, to] : rates) {
    SCOPED_TRACE(std::to_string(from) + " Hz to " + std::to_string(to) + " Hz");
    const double w = 2 * std::numbers::pi * 97.3 / 8000, ratio = to / from;
    const size_t count = std::min<size_t>(40000, 3 * Resampler::blockLength(from, to) + 4000);
    const std::vector<float> found = resampled(sine(count, w), from, to, 4096);
    const auto last = static_cast<double>(count - 1);
    ASSERT_NEAR(static_cast<double>(found.size()), std::floor(last * ratio) + 1, 1);
    double worst = 0;
    for (size_t i = 0; i < found.size(); ++i) {
      const double position = static_cast<double>(i) / ratio;
      if (position >= 1 && position <= last - 1) {  // nearer to the ends samples stand in for their neighbours
        worst = std::max(worst, std::abs(static_cast<double>(found[i]) - sineAt(w, position)));
      }
    }
    EXPECT_LT(worst, splineError(w));
  }
}

TEST(Resampler, TheLengthOfBlocksDoesNotMatter) {
  for (const auto& [from, to] : std::to_array<std::array<double, 2>>({{8000, 16012}, {48000, 44100}, {100, 10007}})) {
    const std::vector<float> samples = sine(from == 100 ? 2003 : 20011, 0.7);
    const std::vector<float> whole = resampled(samples, from, to, samples.size());
    for (const size_t block : std::to_array<size_t>({1, 2, 3, 1000, 2046, 4096, 4097})) {
      EXPECT_EQ(resampled(samples, from, to, block), whole) << from << " Hz to " << to << " Hz in blocks of " << block;
    }
  }
}

TEST(Resampler, StreamsOfNoSampleAndOfOne) {
  EXPECT_EQ(resampled({}, 8000, 16012, 1), std::vector<float>());
  EXPECT_EQ(resampled({3}, 8000, 16012, 1), std::vector<float>{3});
  EXPECT_EQ(resampled({3, 5}, 1, 2, 1), (std::vector<float>{3, 4, 5}));
}

TEST(Resampler, SettingsThatCannotBeAreNamed) {
  const auto problem = [](double from, double to) {
    const auto made = Resampler::create(linkedFunctions, from, to);
    return made ? "" : made.problem();
  };
  EXPECT_EQ(problem(0, 1), "input rate is 0: it is above 0 Hz");
  EXPECT_EQ(problem(std::nan(""), 1), "input rate is nan: it is above 0 Hz");
  EXPECT_EQ(problem(1, -1), "output rate is -1: it is above 0 Hz");
  EXPECT_EQ(problem(1, std::numeric_limits<double>::infinity()), "output rate is inf: it is above 0 Hz");
  EXPECT_EQ(problem(10, 10241), "output rate is 10241: it is at most 1024 times the input rate");
  EXPECT_EQ(problem(10, 10240), "");
}

TEST(Resampler, AStreamThatHasEndedTakesNoMore) {
  auto resampler = Resampler::create(linkedFunctions, 1, 2);
  EXPECT_TRUE(resampler->finish());
  const std::vector<float> more(3);
  EXPECT_EQ(resampler->feed(more).problem(), "the stream has ended and takes no more samples");
  EXPECT_EQ(resampler->finish().problem(), "the stream has ended before");
}

}  // namespace
