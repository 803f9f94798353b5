// `kxhost resample`: its files are read back, sample by sample.
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <sstream>

#include "host/kxhost_test.hpp"
#include "recordings/recording.hpp"

namespace kxhost_test {
namespace {

using kxrecordings::blockFrames;

constexpr int floatWav = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

struct Audio {
  int rate;
  size_t channels;
  std::vector<float> samples;  // interleaved

  size_t frames() const { return samples.size() / channels; }
};

class ResampleTest : public KxhostTest {
protected:
  std::string output() const { return path("out.wav"); }

  Audio readAudio(const std::string& file) const {
    SF_INFO info{};
    SNDFILE* const handle = sf_open(file.c_str(), SFM_READ, &info);
    EXPECT_NE(handle, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.format, SF_FORMAT_WAVEX | SF_FORMAT_FLOAT);
    Audio audio{info.samplerate, static_cast<size_t>(info.channels), {}};
    audio.samples.resize(static_cast<size_t>(info.frames) * audio.channels);
    EXPECT_EQ(sf_readf_float(handle, audio.samples.data(), info.frames), info.frames);
    sf_close(handle);
    return audio;
  }

  /// Resamples a file and reads the result.
  Audio resample(const std::string& file, int rate, std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"resample", file, "--rate", std::to_string(rate), "-o", output()});
    const Outcome outcome = run(options);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    Audio audio = readAudio(output());
    EXPECT_EQ(audio.rate, rate);
    EXPECT_NE(outcome.out.find(": " + std::to_string(audio.frames()) + " frames at " + std::to_string(rate) + " Hz"),
              std::string::npos)
        << outcome.out;
    std::filesystem::remove(output());
    return audio;
  }

  /// The same with the bare spline.
  Audio spline(const std::string& file, int rate, std::vector<std::string> options = {}) const {
    options.emplace_back("--plain");
    return resample(file, rate, options);
  }

  void expectResampleRefused(const std::string& file, const std::string& rate, const std::string& reason,
                             std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"resample", file, "--rate=" + rate, "-o", output()});
    expectRefused(options, file, reason);
    EXPECT_FALSE(std::filesystem::exists(output()));
  }
};

/// Outputs lie at positions 0 to the last sample's.
size_t outputsOf(size_t frames, int from, int to) {
  return frames == 0 ? 0 : (frames - 1) * static_cast<size_t>(to) / static_cast<size_t>(from) + 1;
}

/// The Catmull-Rom spline through samples, the first and the last of which stand in for those beyond them.
double splineAt(const std::vector<float>& samples, double position) {
  const auto last = static_cast<int64_t>(samples.size()) - 1;
  const auto left = std::min(static_cast<int64_t>(position), last);
  const auto sample = [&](int64_t i) {
    return static_cast<double>(samples[static_cast<size_t>(std::clamp(left + i, int64_t{0}, last))]);
  };
  const double f = position - static_cast<double>(left);
  const double inTangent = (sample(1) - sample(-1)) / 2, outTangent = (sample(2) - sample(0)) / 2;
  return (1 + 2 * f) * (1 - f) * (1 - f) * sample(0) + f * (1 - f) * (1 - f) * inTangent +
         f * f * (3 - 2 * f) * sample(1) - f * f * (1 - f) * outTangent;
}

/// @param w  phase between two samples.
double sineAt(double w, double position) {
  return 0.9 * std::sin(w * position + 0.3);
}

std::vector<float> sine(size_t count, double w) {
  std::vector<float> samples;
  for (size_t i = 0; i < count; ++i) {
    samples.push_back(static_cast<float>(sineAt(w, static_cast<double>(i))));
  }
  return samples;
}

/// How far the spline may be from a sine of amplitude 0.9. Its tangents are those of the sine times sin(w) / w, which
/// is off by w^3 / 6; of this t - 3 t^2 + 2 t^3, 0.0963 at most, goes into the curve. Even with the right tangents a
/// cubic is off by w^4 / 384, and where the two tangents differ, by w^4 / 48 more. The rest is rounding to single.
double splineError(double w) {
  return 0.9 * (0.0963 * std::pow(w, 3) / 6 + std::pow(w, 4) * (1.0 / 384 + 1.0 / 48)) + 3e-7;
}

void expectSine(const Audio& audio, double w, double ratio, size_t first, size_t last) {
  double worst = 0;
  for (size_t i = first; i < last; ++i) {
    const double expected = sineAt(w, static_cast<double>(i) / ratio);
    worst = std::max(worst, std::abs(static_cast<double>(audio.samples[i]) - expected));
  }
  EXPECT_LT(worst, splineError(w));
  EXPECT_GT(worst, 0.2 * splineError(w) - 3e-7);  // the bound is not a loose one
}

TEST_F(ResampleTest, ASineComesOutWithItsPhaseAndAmplitude) {
  for (const int rate : {48000, 8000, 44101, 96000}) {
    for (const double frequency : {997.0, 3000.0}) {
      SCOPED_TRACE(std::to_string(frequency) + " Hz to " + std::to_string(rate) + " Hz");
      const double w = 2 * std::numbers::pi * frequency / 44100;
      const Audio audio = spline(writeAudio("a.wav", floatWav, 1, sine(44100, w), 44100), rate);
      ASSERT_EQ(audio.frames(), outputsOf(44100, 44100, rate));
      const size_t edge = static_cast<size_t>(rate / 44100) + 2;  // where samples stand in for their neighbours
      expectSine(audio, w, rate / 44100.0, edge, audio.frames() - edge);
    }
  }
}

TEST_F(ResampleTest, BlocksMeetAtRatiosThatMakeThemAsLongAsTheInterpolatorTakes) {
  const double w = 2 * std::numbers::pi * 97.3 / 8000;
  const Audio audio = spline(writeAudio("a.wav", floatWav, 1, sine(20000, w), 8000), 16012);
  expectSine(audio, w, 16012 / 8000.0, 4, audio.frames() - 4);
}

TEST_F(ResampleTest, ALongFileDoesNotDrift) {
  constexpr size_t frames = 6'000'000;
  const double w = 2 * std::numbers::pi * 997 / 44100;
  const std::string file = writeAudio("a.wav", floatWav, 1, sine(frames, w), 44100);
  for (const int rate : {48000, 8000}) {
    const Audio audio = spline(file, rate);
    ASSERT_EQ(audio.frames(), outputsOf(frames, 44100, rate));
    expectSine(audio, w, rate / 44100.0, audio.frames() - 2000, audio.frames() - 2);
  }
}

/// Rms of a channel, its first and last tenth left out.
double rmsOf(const Audio& audio, size_t channel) {
  double squares = 0;
  size_t count = 0;
  for (size_t i = audio.frames() / 10; i < audio.frames() - audio.frames() / 10; ++i, ++count) {
    squares += std::pow(static_cast<double>(audio.samples[i * audio.channels + channel]), 2);
  }
  return std::sqrt(squares / static_cast<double>(count));
}

/// Two sines, one below 0.45 and one above 0.5 of the lower rate, on two channels.
TEST_F(ResampleTest, TheBandStaysAndTheRestGoes) {
  struct Case {
    int from, to;
    double below, above;
  };
  for (const auto& [from, to, below, above] : std::vector<Case>{{48000, 44100, 19800, 22100},
                                                                {44100, 8000, 3600, 4001},
                                                                {192000, 48000, 21500, 90000},
                                                                {96000, 1000, 449, 17500}}) {
    SCOPED_TRACE(std::to_string(from) + " Hz to " + std::to_string(to) + " Hz");
    const auto one = sine(static_cast<size_t>(2 * from), 2 * std::numbers::pi * below / from);
    const auto other = sine(one.size(), 2 * std::numbers::pi * above / from);
    std::vector<float> frames;
    for (size_t i = 0; i < one.size(); ++i) {
      frames.push_back(one[i]);
      frames.push_back(other[i]);
    }
    const std::string file = writeAudio("two.wav", floatWav, 2, frames, from);
    const Audio audio = resample(file, to);
    ASSERT_EQ(audio.frames(), outputsOf(one.size(), from, to));
    EXPECT_NEAR(20 * std::log10(rmsOf(audio, 0) * std::numbers::sqrt2 / 0.9), 0, 0.02);
    EXPECT_LT(20 * std::log10(rmsOf(audio, 1) * std::numbers::sqrt2 / 0.9), -100);
    EXPECT_GT(20 * std::log10(rmsOf(spline(file, to), 1) * std::numbers::sqrt2 / 0.9), -40);
  }
}

TEST_F(ResampleTest, ASineHasNoImagesAtAHigherRate) {
  const double w = 2 * std::numbers::pi * 18000 / 44100;
  const std::string file = writeAudio("a.wav", floatWav, 1, sine(44100, w), 44100);
  const auto worst = [&](const Audio& audio, int rate) {
    double distance = 0;
    for (size_t i = 2000; i + 2000 < audio.frames(); ++i) {
      const double expected = sineAt(w, static_cast<double>(i) * 44100 / rate);
      distance = std::max(distance, std::abs(static_cast<double>(audio.samples[i]) - expected));
    }
    return distance;
  };
  for (const int rate : {44101, 48000, 88200, 192000}) {
    EXPECT_LT(worst(resample(file, rate), rate), 1e-6) << rate;
    EXPECT_GT(worst(spline(file, rate), rate), 0.1) << rate;
  }
}

TEST_F(ResampleTest, OnlyTheSplineTakesWhatIsNotFinite) {
  const std::string large = writeText("large.csv", "a\n1\n1e39\n");
  expectRefused({"resample", large, "--input-rate", "8", "--rate", "4", "-o", path("out.wav")}, large,
                "cannot be resampled (unless --plain is given): sample 1 is not a finite number");
  std::vector<float> samples(12000, 1);
  for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    samples[9003] = bad;
    const std::string file = writeAudio("bad.wav", floatWav, 1, samples, 48000);
    expectResampleRefused(file, "44100",
                          "sample 9003 (0.1875625 s), channel 1: " + std::to_string(bad) + " is not a finite number");
    const std::vector<float> found = spline(file, 96000).samples;
    for (size_t i = 0; i < found.size(); ++i) {
      ASSERT_EQ(std::isfinite(found[i]), i < 2 * 9001 || i >= 2 * 9005) << i;  // the spline takes four samples
    }
  }
}

TEST_F(ResampleTest, AtTheSameRateTheInputComesOut) {
  const size_t count = 3 * (2 * blockFrames + 5);
  const auto shorts = as<int16_t>(noise(count, 16));
  const auto floats = as<float>(noise(count, 24), 0x1p-23);
  EXPECT_EQ(resample(writeAudio("float.wav", floatWav, 3, floats), 48000).samples, floats);
  EXPECT_EQ(
      resample(writeAudio("double.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 3, as<double>(noise(count, 24), 0x1p-23)),
               48000)
          .samples,
      floats);
  EXPECT_EQ(
      resample(writeAudio("24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 3, as<int32_t>(noise(count, 24), 256)), 48000)
          .samples,
      floats);
  EXPECT_EQ(resample(writeAudio("16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 3, shorts), 48000).samples,
            as<float>(noise(count, 16), 0x1p-15));
}

TEST_F(ResampleTest, AtTwiceTheRateEverySecondOutputIsAnInput) {
  for (const size_t frames : {size_t{1}, size_t{2}, size_t{3}, blockFrames / 2 - 1, blockFrames / 2,
                              blockFrames / 2 + 1, blockFrames, blockFrames + 1, 3 * blockFrames + 7}) {
    SCOPED_TRACE(frames);
    const auto samples = as<float>(noise(2 * frames, 24), 0x1p-23);
    const Audio audio = spline(writeAudio("a.wav", floatWav, 2, samples, 24000), 48000);
    ASSERT_EQ(audio.channels, 2U);
    ASSERT_EQ(audio.frames(), 2 * frames - 1);
    for (size_t i = 0; i < samples.size(); ++i) {
      ASSERT_EQ(audio.samples[i / 2 * 4 + i % 2], samples[i]) << i;
    }
  }
}

TEST_F(ResampleTest, AtEveryLengthAndRateTheOutputIsTheSplineThroughTheSamples) {
  for (const auto& [from, to] : std::vector<std::pair<int, int>>{
           {44100, 48000}, {48000, 44100}, {44100, 8000}, {192000, 1000}, {8000, 44100}, {100, 102400}}) {
    for (const size_t frames : {size_t{1}, size_t{2}, size_t{3}, size_t{4}, size_t{9}, size_t{371}, size_t{372},
                                blockFrames - 1, blockFrames, blockFrames + 1, blockFrames + 2, 2 * blockFrames + 1}) {
      SCOPED_TRACE(std::to_string(frames) + " frames from " + std::to_string(from) + " to " + std::to_string(to));
      const auto samples = as<float>(noise(frames, 24), 0x1p-23);
      const Audio audio = spline(writeAudio("a.wav", floatWav, 1, samples, from), to);
      ASSERT_EQ(audio.frames(), outputsOf(frames, from, to));
      double worst = 0;
      for (size_t i = 0; i < audio.frames(); ++i) {
        const double position = static_cast<double>(i) * from / to;
        worst = std::max(worst, std::abs(static_cast<double>(audio.samples[i]) - splineAt(samples, position)));
      }
      EXPECT_LT(worst, 1e-5);
    }
  }
}

TEST_F(ResampleTest, ThirtyTwoChannelsStayApart) {
  std::vector<float> samples;
  for (int frame = 0; frame < 5000; ++frame) {
    for (int channel = 0; channel < 32; ++channel) {
      samples.push_back(static_cast<float>(channel * frame));
    }
  }
  const Audio audio = spline(writeAudio("a.wav", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, 32, samples, 1000), 3000);
  ASSERT_EQ(audio.channels, 32U);
  ASSERT_EQ(audio.frames(), outputsOf(5000, 1000, 3000));
  for (size_t frame = 3; frame + 3 < audio.frames(); ++frame) {  // a straight line is its own spline
    for (size_t channel = 0; channel < 32; ++channel) {
      const double expected = static_cast<double>(channel * frame) / 3;
      ASSERT_NEAR(audio.samples[frame * 32 + channel], expected, 1e-6 * (1 + expected)) << frame << ' ' << channel;
    }
  }
}

TEST_F(ResampleTest, RecordingsOfOneSampleAndOfNone) {
  for (const int rate : {48000, 44100, 96000, 8000, 1}) {
    EXPECT_EQ(resample(writeAudio("one.wav", floatWav, 2, std::vector<float>{0.25F, -3}), rate).samples,
              (std::vector<float>{0.25F, -3}));
    EXPECT_EQ(spline(path("one.wav"), rate).samples, (std::vector<float>{0.25F, -3}));
    EXPECT_EQ(resample(writeAudio("none.wav", floatWav, 2, std::vector<float>{}), rate).frames(), 0U);
  }
}

TEST_F(ResampleTest, RawAndCsvFilesNeedTheirRate) {
  const std::string raw = writeRaw("a.raw", std::vector<int16_t>{8192, -16384});
  const std::string csv = writeText("a.csv", "a,b\n1,5\n3,6\n2,7\n");
  expectResampleRefused(raw, "8000", "--input-rate", {"--raw", "int16", "--channels", "1"});
  expectResampleRefused(csv, "8000", "--input-rate");
  expectMisuse({"resample", csv, "--rate", "8000", "--input-rate", "0", "-o", output()}, "0 is not a number above 0");
  EXPECT_EQ(resample(raw, 7, {"--raw", "int16", "--channels", "1", "--input-rate", "7"}).samples,
            (std::vector<float>{0.25F, -0.5F}));
  EXPECT_EQ(spline(csv, 3, {"--input-rate", "1.5", "--column", "b"}).samples,
            (std::vector<float>{5, 5.4375F, 6, 6.5625F, 7}));
}

TEST_F(ResampleTest, RatesThatCannotBeAreRefused) {
  const std::string file = writeAudio("a.wav", floatWav, 1, std::vector<float>(12, 1), 100);
  for (const char* rate : {"0", "-48000", "nan", "inf", "-inf", "0.5", "44100.5", "1e12", "2147483648", ""}) {
    expectMisuse({"resample", file, "-o", path("out.wav"), "--rate", rate},
                 "is not a whole number from 1 to 2147483647");
  }
  expectResampleRefused(file, "102401", "the new rate must be a whole number from 1 to 102400");
  const std::string fast = writeAudio("fast.wav", floatWav, 1, std::vector<float>(12, 1), 2147483647);
  EXPECT_EQ(resample(fast, 2147483647).frames(), 12U);
}

TEST_F(ResampleTest, EveryLibraryGivesTheSameSamples) {
  const std::string file = writeAudio("a.wav", floatWav, 2, as<float>(noise(40002, 32), 0x1p-31));
  const Audio standard = resample(file, 44100), standardSpline = spline(file, 44100);
  std::istringstream libraries(KXHOST_LIBRARIES);
  for (std::string library; std::getline(libraries, library, ':');) {
    EXPECT_EQ(resample(file, 44100, {"--library", library}).samples, standard.samples) << library;
    EXPECT_EQ(spline(file, 44100, {"--library", library}).samples, standardSpline.samples) << library;
  }
}

TEST_F(ResampleTest, NothingIsLeftAfterAFailureAndAnOlderFileStays) {
  const std::string file = writeAudio("a.wav", floatWav, 1, as<float>(noise(20000, 24), 0x1p-23));
  const std::string broken = cut(file, "cut.wav", 1);
  const std::string badRow = writeText("bad.csv", "a\n1\nx\n");
  expectResampleRefused(path("none.wav"), "8000", "no such file");
  expectRefused({"resample", broken, "--rate", "8000", "--strict", "-o", path("out.wav")}, broken, "is truncated");
  expectRefused({"resample", file, "--rate", "8000", "-o", path("nowhere/out.wav")}, path("nowhere/out.wav"),
                "cannot be written: No such file or directory");
  std::filesystem::create_directory(path("folder.wav"));
  expectRefused({"resample", file, "--rate", "8000", "-o", path("folder.wav")}, path("folder.wav"), "is a directory");
  const std::string older = writeText("older.wav", "an older recording");
  expectRefused({"resample", badRow, "--rate", "8000", "--input-rate", "8000", "-o", older}, badRow, "not a number");
  EXPECT_EQ(read(older), "an older recording");
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "bad.csv", "cut.wav", "folder.wav", "older.wav"}));
}

TEST_F(ResampleTest, AFullDiskIsNamedAndLeavesNothing) {
  const std::string file = writeAudio("a.wav", floatWav, 1, as<float>(noise(400000, 24), 0x1p-23));
  // A limit on the size of files stands in for it.
  const std::string command = "trap '' XFSZ; ulimit -f 100; ";
  expectRefused({"resample", file, "--rate", "48000", "-o", output()}, output(), "cannot be written", command);
  EXPECT_EQ(filesPresent(), std::vector<std::string>{"a.wav"});
}

}  // namespace
}  // namespace kxhost_test
