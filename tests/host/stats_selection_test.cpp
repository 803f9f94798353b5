// `kxhost stats` of a part of a recording, and percentiles.
#include <algorithm>
#include <cmath>
#include <limits>

#include "host/kxhost_test.hpp"
#include "host/svg_picture.hpp"

namespace kxhost_test {
namespace {

class StatsSelectionTest : public KxhostTest {
protected:
  nlohmann::json channel(const std::vector<std::string>& arguments, size_t index = 0) const {
    return stats(arguments).at(0).at("channels").at(index);
  }
};

std::vector<double> ramp(size_t frames, size_t channels) {
  std::vector<double> samples;
  for (size_t n = 0; n < frames; ++n) {
    for (size_t i = 0; i < channels; ++i) {
      samples.push_back(static_cast<double>(n) + 100000 * static_cast<double>(i));
    }
  }
  return samples;
}

/// By sorting, between two samples on a straight line.
template <class T>
double sortedPercentile(const std::vector<T>& interleaved, size_t channel, size_t channels, double percent) {
  std::vector<T> samples;
  for (size_t i = channel; i < interleaved.size(); i += channels) {
    samples.push_back(interleaved[i]);
  }
  std::ranges::sort(samples);
  const double position = static_cast<double>(samples.size() - 1) * (percent / 100);
  const auto below = static_cast<size_t>(position);
  const double share = position - static_cast<double>(below);
  const auto low = static_cast<double>(samples[below]);
  return share == 0 ? low : low + (static_cast<double>(samples[below + 1]) - low) * share;
}

TEST_F(StatsSelectionTest, FromAndToSelectTheSamplesThatCount) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, ramp(20000, 2), 1000);
  const auto result = stats({file, "--from", "4.5", "--to", "12.25"}).at(0);
  EXPECT_EQ(result.at("from_s"), 4.5);
  EXPECT_EQ(result.at("samples"), 7750);
  EXPECT_EQ(result.at("duration_s"), 7.75);
  const auto& second = result.at("channels").at(1);
  EXPECT_EQ(second.at("minimum"), 104500);
  EXPECT_EQ(second.at("maximum"), 112249);
  EXPECT_NEAR(second.at("average"), (104500 + 112249) / 2.0, 1e-6);
  EXPECT_NEAR(second.at("ac_rms"), std::sqrt((7750.0 * 7750 - 1) / 12), 1e-6);
  EXPECT_EQ(channel({file, "--from", "19.999"}).at("minimum"), 19999);
  EXPECT_EQ(channel({file, "--to", "0.001"}).at("maximum"), 0);
  EXPECT_EQ(stats({file}).at(0).at("from_s"), 0);
  EXPECT_EQ(stats({file, "--from", "0", "--to", "20"}).at(0).at("channels"), stats({file}).at(0).at("channels"));
}

TEST_F(StatsSelectionTest, SelectionsThatLieOutsideOrHoldNothingAreRefused) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, ramp(1000, 1), 1000);
  for (const char* time : {"-0.1", "1.1", "1e300"}) {
    expectRefused({"stats", file, std::string("--from=") + time}, file, "lies outside of the recording");
    expectRefused({"stats", file, std::string("--to=") + time}, file, "lies outside of the recording");
  }
  for (const char* time : {"nan", "inf"}) {
    expectMisuse({"stats", file, std::string("--from=") + time}, "is not a finite number");
    expectMisuse({"stats", file, std::string("--to=") + time}, "is not a finite number");
  }
  expectRefused({"stats", file, "--from", "0.5", "--to", "0.5"}, file, "nothing is selected");
  const std::string empty = writeAudio("e.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, std::vector<double>{});
  EXPECT_EQ(stats({empty, "--from", "0"}).at(0).at("samples"), 0);
}

TEST_F(StatsSelectionTest, ThePictureShowsTheSelectionWhereItLies) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, ramp(20000, 1), 1000);
  ASSERT_EQ(run({"stats", file, "--from", "5", "--to", "15", "--plot", path("out.svg")}).code, 0);
  const auto panes = readSvg(read(path("out.svg")));
  ASSERT_EQ(panes.size(), 1U);
  expectThrough(panes[0], panes[0].curve("RMS"), {{6, 6000}, {10, 10000}, {14, 14000}});
  expectSpan(panes[0].curve("RMS"), panes[0].left, panes[0].right);
}

TEST_F(StatsSelectionTest, PercentilesAreThoseOfTheSortedSamples) {
  const std::vector<double> percents{0, 5, 50, 66.6, 95, 100};
  const auto expectThem = [&](const std::string& file, const auto& samples, size_t channels) {
    for (size_t i = 0; i < channels; ++i) {
      const auto found = channel({file, "--percentiles", "0,5,50,66.6,95,100"}, i).at("percentiles");
      ASSERT_EQ(found.size(), percents.size());
      for (size_t k = 0; k < percents.size(); ++k) {
        EXPECT_EQ(found.at(k).at("percent"), percents[k]);
        EXPECT_EQ(found.at(k).at("value"), sortedPercentile(samples, i, channels, percents[k])) << file << percents[k];
      }
    }
  };
  const auto shorts = as<int16_t>(noise(30001, 16));
  const auto longs = noise(30002, 32);
  const auto floats = as<float>(noise(9999, 32), 0x1p-31);
  const auto doubles = as<double>(noise(30000, 32), 0x1p-31);
  expectThem(writeAudio("16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, shorts), shorts, 1);
  expectThem(writeAudio("32.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32, 2, longs), longs, 2);
  expectThem(writeAudio("f.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 3, floats), floats, 3);
  expectThem(writeAudio("d.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, doubles), doubles, 2);
}

TEST_F(StatsSelectionTest, PercentilesTakePartsAndLeaveNansOut) {
  std::vector<double> samples = ramp(1000, 1);
  samples[10] = std::numeric_limits<double>::quiet_NaN();
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, samples, 1000);
  const auto part = channel({file, "--from", "0.5", "--to", "0.601", "--percentiles", "50"});
  EXPECT_EQ(part.at("percentiles").at(0).at("value"), 550);
  const auto whole = channel({file, "--percentiles", "0,1,100"});
  EXPECT_EQ(whole.at("nan_samples"), 1);
  EXPECT_TRUE(whole.at("average").is_null());
  EXPECT_EQ(whole.at("percentiles").at(0).at("value"), 0);
  EXPECT_NEAR(whole.at("percentiles").at(1).at("value"), 9 + 2 * 0.98, 1e-12);  // 10 is gone
  EXPECT_EQ(whole.at("percentiles").at(2).at("value"), 999);
  EXPECT_FALSE(channel({file}).contains("percentiles"));
}

TEST_F(StatsSelectionTest, TableAndCsvHaveAColumnForEach) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, ramp(101, 1), 1000);
  const Outcome table = run({"stats", file, "--percentiles", "2.5,50"});
  EXPECT_NE(table.out.find("  NaNs  P2.5  P50\n"), std::string::npos) << table.out;
  EXPECT_NE(table.out.find("     0   2.5   50\n"), std::string::npos) << table.out;
  const Outcome csv = run({"stats", file, "--csv", "--percentiles", "2.5,50"});
  EXPECT_NE(csv.out.find(",NaNs,P2.5,P50\n"), std::string::npos) << csv.out;
  EXPECT_TRUE(csv.out.ends_with(",0,2.5,50\n")) << csv.out;
  const std::string empty = writeAudio("e.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, std::vector<double>{});
  const Outcome none = run({"stats", empty, "--percentiles", "50"});
  EXPECT_NE(none.out.find("  0    -\n"), std::string::npos) << none.out;
}

TEST_F(StatsSelectionTest, WhatIsNoListOfPercentagesIsMisuse) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, ramp(10, 1), 1000);
  expectMisuse({"stats", file, "--percentiles", "101"}, "101");
  expectMisuse({"stats", file, "--percentiles", "5,nan"}, "nan");
  expectMisuse({"stats", file, "--percentiles", "five"}, "five");
  expectMisuse({"stats", file, "--percentiles", "1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21"}, "20 at most");
}

}  // namespace
}  // namespace kxhost_test
