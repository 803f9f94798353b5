// `kxhost spectrum`: figures of tones and noise that the tests synthesise, and the picture by what it draws.
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <sstream>

#include "host/kxhost_test.hpp"
#include "host/png_image.hpp"
#include "host/svg_picture.hpp"

namespace kxhost_test {
namespace {

constexpr int rate = 8000;
constexpr int doubles = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;

struct Tone {
  double frequency, amplitude;
};

/// A channel of tones above an offset.
std::vector<double> signal(size_t frames, double offset, const std::vector<Tone>& tones) {
  std::vector<double> samples(frames, offset);
  for (size_t n = 0; n < frames; ++n) {
    for (const Tone& tone : tones) {
      const double turns = std::fmod(tone.frequency * static_cast<double>(n) / rate, 1);
      samples[n] += tone.amplitude * std::sin(2 * std::numbers::pi * turns + 0.7);
    }
  }
  return samples;
}

std::vector<double> interleaved(const std::vector<std::vector<double>>& channels) {
  std::vector<double> samples;
  for (size_t n = 0; n < channels.front().size(); ++n) {
    for (const auto& channel : channels) {
      samples.push_back(channel[n]);
    }
  }
  return samples;
}

class SpectrumTest : public KxhostTest {
protected:
  nlohmann::json spectrum(std::vector<std::string> arguments, const std::string& notes = "") const {
    arguments.insert(arguments.begin(), {"spectrum", "--json"});
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_EQ(outcome.err, notes);
    return nlohmann::json::parse(outcome.out);
  }

  std::string write(const std::string& name, const std::vector<std::vector<double>>& channels) const {
    return writeAudio(name, doubles, static_cast<int>(channels.size()), interleaved(channels), rate);
  }

  void expectSpectrumRefused(const std::string& file, const std::string& reason,
                             std::vector<std::string> options) const {
    options.insert(options.begin(), {"spectrum", file});
    expectRefused(options, file, reason);
  }
};

TEST_F(SpectrumTest, EveryChannelHasItsTonesAtTheirSizes) {
  const std::string file =
      write("a.wav", {signal(20000, 0, {{1000, 0.5}, {2000, 0.05}}), signal(20000, 0.25, {{750.3, 0.2}})});
  const auto result = spectrum({file, "--length", "2000"});
  EXPECT_EQ(result.at("sample_rate_hz"), rate);
  EXPECT_EQ(result.at("window"), "hann");
  EXPECT_EQ(result.at("segment_samples"), 2000);
  EXPECT_EQ(result.at("overlap_samples"), 1000);
  EXPECT_EQ(result.at("segments"), 19);
  EXPECT_EQ(result.at("bin_hz"), 4);
  EXPECT_EQ(result.at("noise_bandwidth_hz"), 6);
  EXPECT_EQ(result.at("quantity"), "amplitude");
  const auto& channels = result.at("channels");
  ASSERT_EQ(channels.size(), 2);
  const auto& first = channels.at(0);
  ASSERT_EQ(first.at("peaks").size(), 2);
  EXPECT_NEAR(first.at("peaks").at(0).at("frequency_hz"), 1000, 1e-4);
  EXPECT_NEAR(first.at("peaks").at(0).at("amplitude"), 0.5, 1e-8);
  EXPECT_NEAR(first.at("peaks").at(0).at("level_db"), 20 * std::log10(0.5), 1e-6);
  EXPECT_NEAR(first.at("peaks").at(1).at("frequency_hz"), 2000, 1e-4);
  ASSERT_EQ(first.at("spectrum").size(), 1001);
  EXPECT_NEAR(first.at("spectrum").at(250), 0.5, 1e-9);
  EXPECT_NEAR(first.at("spectrum").at(251), 0.25, 1e-9);  // Hann's neighbour
  const auto& second = channels.at(1);
  ASSERT_EQ(second.at("peaks").size(), 1);
  EXPECT_NEAR(second.at("peaks").at(0).at("frequency_hz"), 750.3, 1e-3);
  EXPECT_NEAR(second.at("peaks").at(0).at("amplitude"), 0.2, 1e-5);
  EXPECT_NEAR(second.at("spectrum").at(0), 0.25, 1e-9);
}

TEST_F(SpectrumTest, TheQuantityIsTheOneAskedFor) {
  const std::string file = write("a.wav", {signal(16000, 0, {{1000, 0.5}})});
  const auto rms = spectrum({file, "--length", "800", "--quantity", "rms", "--window", "rectangular"});
  EXPECT_NEAR(rms.at("channels").at(0).at("spectrum").at(100), 0.5 / std::sqrt(2.0), 1e-9);
  EXPECT_NEAR(rms.at("channels").at(0).at("peaks").at(0).at("rms"), 0.5 / std::sqrt(2.0), 1e-8);
  const auto density = spectrum({file, "--length", "800", "--quantity", "density", "--window", "rectangular"});
  EXPECT_NEAR(density.at("channels").at(0).at("spectrum").at(100), 0.125 / 10, 1e-10);  // all of it in a bin of 10 Hz
  const auto level = spectrum({file, "--length", "800", "--reference", "0.05"});
  EXPECT_NEAR(level.at("channels").at(0).at("peaks").at(0).at("level_db"), 20, 1e-6);
}

TEST_F(SpectrumTest, WindowsOverlapAndResolutionAreThoseAskedFor) {
  const std::string file = write("a.wav", {signal(8000, 1, {{1000, 0.5}})});
  for (const auto& [window, bandwidth] : std::vector<std::pair<std::string, double>>{{"rectangular", 1},
                                                                                     {"hann", 1.5},
                                                                                     {"hamming", 1.36282},
                                                                                     {"blackman-harris", 2.00435},
                                                                                     {"flat-top", 3.77025}}) {
    const auto result = spectrum({file, "--resolution", "10", "--window", window, "--overlap", "75"});
    EXPECT_EQ(result.at("window"), window);
    EXPECT_EQ(result.at("segment_samples"), 800);
    EXPECT_EQ(result.at("overlap_samples"), 600);
    EXPECT_EQ(result.at("segments"), 37);
    EXPECT_NEAR(result.at("noise_bandwidth_hz"), 10 * bandwidth, 1e-3);
    EXPECT_NEAR(result.at("channels").at(0).at("peaks").at(0).at("amplitude"), 0.5, 1e-7) << window;
    EXPECT_NEAR(result.at("channels").at(0).at("spectrum").at(0), 1, 1e-9);
  }
  const auto without = spectrum({file, "--resolution", "10", "--remove-average"});
  EXPECT_NEAR(without.at("channels").at(0).at("spectrum").at(0), 0, 1e-9);
}

TEST_F(SpectrumTest, ChannelsRangesAndScalesAreTaken) {
  std::vector<double> changing = signal(4000, 0, {{500, 0.1}});
  const std::vector<double> later = signal(4000, 0, {{1500, 0.3}});
  changing.insert(changing.end(), later.begin(), later.end());
  const std::string file = write("a.wav", {std::vector<double>(8000), changing});
  const auto result = spectrum({file, "--channel", "2", "--from", "0.5", "--to", "0.9", "--length", "800", "--scale",
                                "1000", "--offset", "7", "--unit", "V"});
  EXPECT_EQ(result.at("from_s"), 0.5);
  EXPECT_EQ(result.at("samples"), 3200);
  ASSERT_EQ(result.at("channels").size(), 1);
  const auto& channel = result.at("channels").at(0);
  EXPECT_EQ(channel.at("name"), "2");
  EXPECT_EQ(channel.at("unit"), "V");
  ASSERT_EQ(channel.at("peaks").size(), 1);
  EXPECT_NEAR(channel.at("peaks").at(0).at("frequency_hz"), 1500, 1e-3);
  EXPECT_NEAR(channel.at("peaks").at(0).at("amplitude"), 300, 1e-4);
  EXPECT_NEAR(channel.at("spectrum").at(0), 7, 1e-6);
  const Outcome table = run({"spectrum", file, "--channel", "2,1", "--unit", "V", "--peaks", "1"});
  EXPECT_EQ(table.code, 0) << table.err;
  EXPECT_NE(table.out.find("Channel  Frequency/Hz  Amplitude/V  Level/dB\n2 "), std::string::npos) << table.out;
  EXPECT_NE(table.out.find("0 dB: amplitude in dB re 1 V\n"), std::string::npos) << table.out;
}

TEST_F(SpectrumTest, IntegersHaveAFullScaleOfOneAndShortRecordingsOneSegment) {
  std::vector<int16_t> samples;
  for (int n = 0; n < 1000; ++n) {
    samples.push_back(static_cast<int16_t>(std::lround(16384 * std::sin(2 * std::numbers::pi * n / 8))));
  }
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, samples, rate);
  const auto result = spectrum({file});
  EXPECT_EQ(result.at("segment_samples"), 1000);
  EXPECT_NEAR(result.at("channels").at(0).at("peaks").at(0).at("amplitude"), 0.5, 1e-5);
  const Outcome words = run({"spectrum", file});
  EXPECT_NE(words.out.find("0 dB: amplitude in dB re full scale\n"), std::string::npos) << words.out;
  EXPECT_NE(words.out.find("1 segment of 1000 samples, hann window"), std::string::npos) << words.out;
}

/// The other tone is no harmonic: it stands for noise of known rms.
TEST_F(SpectrumTest, AToneHasItsSinadThdAndNoise) {
  const std::string file =
      write("a.wav", {signal(16000, 0.1, {{997, 0.8}, {1994, 0.004}, {2991, 0.003}, {3333, 0.0008}})});
  const auto tone = spectrum({file, "--tone"}).at("channels").at(0).at("tone");
  const double rest = std::sqrt((0.004 * 0.004 + 0.003 * 0.003 + 0.0008 * 0.0008) / 2);
  EXPECT_NEAR(tone.at("frequency_hz"), 997, 1e-6);
  EXPECT_NEAR(tone.at("amplitude"), 0.8, 1e-7);
  EXPECT_NEAR(tone.at("offset"), 0.1, 1e-7);
  EXPECT_NEAR(tone.at("phase_deg"), 0.7 * 180 / std::numbers::pi - 90, 1e-3);
  EXPECT_NEAR(tone.at("sinad_db"), 20 * std::log10(0.8 / std::sqrt(2.0) / rest), 1e-4);
  EXPECT_NEAR(tone.at("thd_percent"), 100 * 0.005 / 0.8, 1e-5);
  EXPECT_NEAR(tone.at("thd_db"), 20 * std::log10(0.005 / 0.8), 1e-4);
  EXPECT_NEAR(tone.at("noise"), 0.0008 / std::sqrt(2.0), 1e-7);
  EXPECT_NEAR(tone.at("snr_db"), 60, 1e-3);
  EXPECT_NEAR(tone.at("effective_bits"), std::log2(2 / rest / std::sqrt(12.0)), 1e-4);
  ASSERT_EQ(tone.at("harmonics").size(), 9);
  EXPECT_EQ(tone.at("harmonics").at(0).at("order"), 2);
  EXPECT_NEAR(tone.at("harmonics").at(1).at("amplitude"), 0.003, 1e-8);

  const auto known = spectrum({file, "--tone", "--tone-frequency", "997", "--harmonics", "2", "--range", "4"})
                         .at("channels")
                         .at(0)
                         .at("tone");
  EXPECT_NEAR(known.at("thd_percent"), 100 * 0.004 / 0.8, 1e-5);
  EXPECT_NEAR(known.at("effective_bits"), std::log2(4 / rest / std::sqrt(12.0)), 1e-4);
  EXPECT_EQ(known.at("harmonics").size(), 1);
  const Outcome words = run({"spectrum", file, "--tone"});
  EXPECT_NE(words.out.find("SINAD/dB  SNR/dB"), std::string::npos) << words.out;
  EXPECT_NE(words.out.find("        0.8     0.1     43.97   60.00  -44.08  0.625  "), std::string::npos) << words.out;
}

TEST_F(SpectrumTest, CsvHasARowForEachFrequency) {
  const std::string file = write("a.wav", {signal(800, 0, {{1000, 0.5}}), signal(800, 0, {{2000, 0.25}})});
  const Outcome outcome = run({"spectrum", file, "--csv", "--length", "80"});
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  std::istringstream lines(outcome.out);
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line, "Frequency/Hz,1,2");
  for (int bin = 0; bin <= 40; ++bin) {
    ASSERT_TRUE(std::getline(lines, line));
    double frequency = 0, first = 0, second = 0;
    ASSERT_EQ(std::sscanf(line.c_str(), "%lf,%lf,%lf", &frequency, &first, &second), 3) << line;
    EXPECT_EQ(frequency, 100 * bin);
    EXPECT_NEAR(first, bin == 10 ? 0.5 : std::abs(bin - 10) == 1 ? 0.25 : 0, 1e-9) << bin;
    EXPECT_NEAR(second, bin == 20 ? 0.25 : std::abs(bin - 20) == 1 ? 0.125 : 0, 1e-9) << bin;
  }
  EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(SpectrumTest, ThePictureDrawsTheLevelsOverFrequency) {
  const std::string file = write("a.wav", {signal(8000, 0, {{1000, 0.5}}), signal(8000, 0, {{2500, 0.05}})});
  const std::string svg = path("out.svg"), png = path("out.png");
  ASSERT_EQ(run({"spectrum", file, "--length", "800", "--plot", svg}).code, 0);
  const auto panes = readSvg(read(svg));
  ASSERT_EQ(panes.size(), 1U);
  const SvgPane& pane = panes.front();
  // Linear, in kHz: bins of 10 Hz, Hann's neighbours 6 dB down, and what is less on the axis, 160 dB below the top.
  const double beside = 20 * std::log10(0.25);
  expectThrough(pane, pane.curve("channel 1"), {{0.99, beside}, {1, 20 * std::log10(0.5)}, {1.01, beside}, {3, -160}});
  expectThrough(pane, pane.curve("channel 2"), {{2.5, 20 * std::log10(0.05)}, {1, -160}});
  EXPECT_NE(read(svg).find("frequency in kHz"), std::string::npos);
  EXPECT_NE(read(svg).find("amplitude in dB re full scale"), std::string::npos);
  // As PNG: of noise, whose curve no axis hides.
  const std::string noisy = write("noise.wav", {as<double>(noise(8000, 32), 0x1p-31)});
  ASSERT_EQ(run({"spectrum", noisy, "--length", "256", "--peaks", "0", "--plot", svg}).code, 0);
  ASSERT_EQ(run({"spectrum", noisy, "--length", "256", "--peaks", "0", "--plot", png}).code, 0);
  expectShows(PngImage(png), readSvg(read(svg)).at(0).curve("channel 1"));
}

TEST_F(SpectrumTest, AxesMayBeLogarithmicAndInUnitsWithPrefixes) {
  const std::string file = write("a.wav", {signal(8000, 0, {{1000, 0.05}})});
  const std::string svg = path("out.svg");
  ASSERT_EQ(run({"spectrum", file, "--length", "800", "--unit", "V", "--y-axis", "lin", "--plot", svg}).code, 0);
  const auto linear = readSvg(read(svg));
  expectThrough(linear.at(0), linear.at(0).curve("channel 1"), {{0.5, 0}, {0.99, 25}, {1, 50}, {1.01, 25}});
  EXPECT_NE(read(svg).find("amplitude in mV"), std::string::npos);
  ASSERT_EQ(run({"spectrum", file, "--length", "800", "--x-axis", "log", "--y-axis", "log", "--plot", svg}).code, 0);
  EXPECT_NE(read(svg).find("frequency in Hz"), std::string::npos);
  EXPECT_NE(read(svg).find(">1k<"), std::string::npos);
}

TEST_F(SpectrumTest, WhatCannotBeMeasuredIsRefused) {
  const std::string file = write("a.wav", {signal(100, 0, {{1000, 1}})});
  expectSpectrumRefused(file, "has no channel 2", {"--channel", "2"});
  expectSpectrumRefused(file, "a segment of 200 is longer", {"--length", "200"});
  expectSpectrumRefused(file, "holds fewer than two samples", {"--to", "0.000125"});
  expectSpectrumRefused(file, "nothing is selected", {"--from", "0.01", "--to", "0.01"});
  expectSpectrumRefused(file, "lies outside of the recording", {"--from", "1"});
  expectSpectrumRefused(file, "channel 1: number of samples is 10", {"--tone", "--to", "0.00125"});
  expectSpectrumRefused(file, "channel 1: frequency is 0.5", {"--tone", "--tone-frequency", "4000"});
  const std::string silent = write("b.wav", {std::vector<double>(100)});
  expectSpectrumRefused(silent, "channel 1: the record is constant: it holds no tone", {"--tone"});
  const std::string many = write("c.wav", std::vector<std::vector<double>>(13, std::vector<double>(100)));
  expectSpectrumRefused(many, "a picture tells 12 channels apart, not 13", {"--plot", path("out.png")});
  const std::string csv = writeText("a.csv", "a\n1\n2\n3\n");
  expectSpectrumRefused(csv, "--rate", {});
  expectMisuse({"spectrum", file, "--length", "801"}, "--length");
  expectMisuse({"spectrum", file, "--length", "0"}, "--length");
  expectMisuse({"spectrum", file, "--length", "8", "--resolution", "8"}, "--length");
  expectMisuse({"spectrum", file, "--window", "triangular"}, "triangular");
  expectMisuse({"spectrum", file, "--overlap", "100"}, "100");
  expectMisuse({"spectrum", file, "--harmonics", "5"}, "--tone");
  expectMisuse({"spectrum", file, "--json", "--csv"}, "--json");
}

/// Silence and NaNs are drawn and printed as what they are.
TEST_F(SpectrumTest, SilenceAndNansHaveNoPeaks) {
  const std::string silent = write("a.wav", {std::vector<double>(100)});
  EXPECT_TRUE(spectrum({silent}).at("channels").at(0).at("peaks").empty());
  std::vector<double> spoilt = signal(100, 0, {{1000, 1}});
  spoilt[50] = std::nan("");
  const std::string file = write("b.wav", {spoilt});
  const auto result = spectrum(
      {file}, "kxhost: " + file + ": sample 50 (0.00625 s), channel 1: not a finite number, as 1 of its values\n");
  EXPECT_TRUE(result.at("channels").at(0).at("peaks").empty());
  EXPECT_TRUE(result.at("channels").at(0).at("spectrum").at(3).is_null());
  for (const std::string& recording : {silent, file}) {
    const Outcome outcome = run({"spectrum", recording, "--plot", path("out.svg")});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
  }
}

}  // namespace
}  // namespace kxhost_test
