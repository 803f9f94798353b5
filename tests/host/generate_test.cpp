// `kxhost generate`: recordings whose figures follow from the options.
#include <cmath>
#include <numbers>
#include <sstream>

#include "host/power_test.hpp"

namespace kxhost_test {
namespace {

class GenerateTest : public PowerTest {
protected:
  /// Generates a file and returns its path.
  std::string generate(const std::string& name, std::vector<std::string> options) const {
    options.insert(options.begin(), {"generate", "power", "-o", path(name)});
    const Outcome outcome = run(options);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return path(name);
  }

  std::vector<float> samplesOf(const std::string& file) const {
    SF_INFO info{};
    SNDFILE* const handle = sf_open(file.c_str(), SFM_READ, &info);
    EXPECT_NE(handle, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.channels, 6);
    std::vector<float> samples(static_cast<size_t>(info.frames) * 6);
    EXPECT_EQ(sf_readf_float(handle, samples.data(), info.frames), info.frames);
    sf_close(handle);
    return samples;
  }
};

constexpr double degree = std::numbers::pi / 180;

TEST_F(GenerateTest, ThePowerIsTheOneThatFollowsFromTheStatedHarmonics) {
  const std::string file = generate("a.wav", {"--seconds", "0.4", "--flicker", "0", "--noise", "0"});
  // Fundamental and negative sequence, then the harmonics: percent and angle of voltage and current.
  struct Part {
    double voltage, voltagePhase, current, currentPhase;
  };
  const std::vector<Part> parts{{100, 0, 100, -25},  {1, 30, 4, 100},     {0.8, 20, 2, 10},      {2.5, 160, 18, 170},
                                {1.8, 75, 11, -20},  {0.9, -110, 6, 130}, {0.7, 35, 4.5, -65},   {0.4, 140, 2.5, 85},
                                {0.3, -45, 2, -120}, {0.25, 10, 1.5, 45}, {0.2, -150, 1.2, -160}};
  double active = 0, reactive = 0;
  for (const Part& part : parts) {
    const double apparent = 3 * 2.3 * part.voltage * 0.16 * part.current;
    active += apparent * std::cos((part.voltagePhase - part.currentPhase) * degree);
    reactive += apparent * std::sin((part.voltagePhase - part.currentPhase) * degree);
  }
  const nlohmann::json result = power({file});
  ASSERT_EQ(result.at("windows").size(), 2U);
  const nlohmann::json& mean = result.at("mean");
  expectClose(mean.at("total").at("active_w"), active);
  expectClose(mean.at("total").at("reactive_var"), reactive);
  EXPECT_NEAR(mean.at("voltage_sequences_v").at("positive").get<double>(), 230, 1e-3);
  EXPECT_NEAR(mean.at("voltage_sequences_v").at("negative_percent").get<double>(), 1, 1e-4);
  EXPECT_NEAR(mean.at("voltage_sequences_v").at("zero_percent").get<double>(), 0.5, 1e-4);
  EXPECT_NEAR(mean.at("current_sequences_a").at("positive").get<double>(), 16, 1e-4);
  EXPECT_NEAR(mean.at("current_sequences_a").at("negative_percent").get<double>(), 4, 1e-4);
  EXPECT_NEAR(mean.at("current_sequences_a").at("zero_percent").get<double>(), 0, 1e-4);
  for (size_t i = 0; i < 3; ++i) {
    const nlohmann::json& phase = mean.at("phases").at(i);
    EXPECT_NEAR(phase.at("voltage_v").at("harmonics_rms").at(4).get<double>(), 0.025 * 230, 1e-4);
    EXPECT_NEAR(phase.at("current_a").at("harmonics_rms").at(24).get<double>(), 0.012 * 16, 1e-5);
    EXPECT_NEAR(phase.at("voltage_v").at("harmonics_rms").at(8).get<double>(), 0, 1e-4);
  }
}

TEST_F(GenerateTest, OptionsSetVoltageCurrentLagAndFrequency) {
  const std::string file = generate(
      "a.csv", {"--seconds", "0.2", "--rate",      "6000", "--frequency",  "60", "--voltage", "120", "--current", "5",
                "--lag",     "-60", "--unbalance", "0",    "--distortion", "0",  "--flicker", "0",   "--noise",   "0"});
  const nlohmann::json mean = power({file, "--rate", "6000", "--frequency", "60"}).at("mean");
  for (size_t i = 0; i < 3; ++i) {
    const nlohmann::json& phase = mean.at("phases").at(i);
    EXPECT_EQ(phase.at("voltage_v").at("channel"), std::vector<std::string>({"U1 [V]", "U2 [V]", "U3 [V]"})[i]);
    expectClose(phase.at("voltage_v").at("rms"), 120);
    expectClose(phase.at("current_a").at("rms"), 5);
    expectClose(phase.at("power").at("active_w"), 300);
    expectClose(phase.at("power").at("reactive_var"), -600 * std::sin(60 * degree));
    EXPECT_NEAR(std::remainder(
                    phase.at("voltage_v").at("harmonics_deg").at(0).get<double>() + 120 * static_cast<double>(i), 360),
                0, 1e-3);
  }
}

TEST_F(GenerateTest, HarmonicsThatTheSampleRateCannotHoldAreLeftOut) {
  const std::string file = generate("a.wav", {"--seconds", "0.2", "--rate", "1300", "--noise", "0", "--flicker", "0"});
  const nlohmann::json phase = power({file}).at("mean").at("phases").at(0).at("voltage_v");
  ASSERT_EQ(phase.at("harmonics_rms").size(), 12U);
  EXPECT_NEAR(phase.at("harmonics_rms").at(10).get<double>(), 0.009 * 230, 1e-4);
  EXPECT_NEAR(phase.at("harmonics_rms").at(11).get<double>(), 0, 1e-4);
  EXPECT_NEAR(phase.at("harmonics_rms").at(8).get<double>(), 0, 1e-4);  // where order 17 would come back
}

TEST_F(GenerateTest, FlickerChangesTheVoltagesEnvelope) {
  const std::string file = generate("a.wav", {"--seconds", "4", "--rate", "1600", "--flicker", "10", "--flicker-rate",
                                              "0.5", "--unbalance", "0", "--distortion", "0", "--noise", "0"});
  double least = 1e9, most = 0;
  const nlohmann::json result = power({file});
  for (const nlohmann::json& window : result.at("windows")) {
    const nlohmann::json& phase = window.at("phases").at(2);
    least = std::min(least, phase.at("voltage_v").at("rms").get<double>());
    most = std::max(most, phase.at("voltage_v").at("rms").get<double>());
    expectClose(phase.at("current_a").at("rms"), 16);
  }
  const double averaging = std::sin(0.1 * std::numbers::pi) / (0.1 * std::numbers::pi);  // over a window of 0.2 s
  EXPECT_NEAR((most - least) / 230, 0.1 * averaging, 0.001);
}

TEST_F(GenerateTest, NoiseHasItsRmsAndFollowsTheSeed) {
  const auto samples = [&](const std::vector<std::string>& noiseOptions) {
    std::vector<std::string> options{"--seconds", "1"};
    options.insert(options.end(), noiseOptions.begin(), noiseOptions.end());
    return samplesOf(generate("a.wav", options));
  };
  const auto clean = samples({"--noise", "0"}), noisy = samples({"--noise", "2"});
  ASSERT_EQ(clean.size(), 6U * 12800);
  for (size_t channel = 0; channel < 6; ++channel) {
    double squares = 0;
    for (size_t i = channel; i < clean.size(); i += 6) {
      squares += std::pow(static_cast<double>(noisy[i] - clean[i]), 2);
    }
    const double expected = 0.02 * (channel < 3 ? 230 : 16);
    EXPECT_NEAR(std::sqrt(squares / 12800), expected, 0.03 * expected) << channel;
  }
  EXPECT_EQ(samples({"--noise", "2"}), noisy);
  EXPECT_EQ(samples({"--noise", "2", "--seed", "1"}), noisy);
  EXPECT_NE(samples({"--noise", "2", "--seed", "2"}), noisy);
}

TEST_F(GenerateTest, BothFormatsHoldTheSameSamplesWithEveryLibrary) {
  const std::string wav = generate("a.wav", {"--seconds", "0.5"});
  const std::string csv = generate("a.csv", {"--seconds", "0.5"});
  const nlohmann::json fromWav = power({wav}).at("mean").at("total");
  const nlohmann::json fromCsv = power({csv, "--rate", "12800"}).at("mean").at("total");
  for (const char* figure : {"active_w", "reactive_var", "apparent_va"}) {
    EXPECT_NEAR(fromWav.at(figure).get<double>(), fromCsv.at(figure).get<double>(), 1e-5);
  }
  std::istringstream libraries(KXHOST_LIBRARIES);
  for (std::string library; std::getline(libraries, library, ':');) {
    EXPECT_EQ(read(generate("b.csv", {"--seconds", "0.5", "--library", library})), read(csv)) << library;
  }
}

TEST_F(GenerateTest, WhatItPrintsIsTheWayToAnalyseTheFile) {
  const Outcome wav = run({"generate", "power", "-o", path("a.wav"), "--seconds", "1"});
  EXPECT_EQ(wav.out, path("a.wav") +
                         ": 12800 frames at 12800 Hz, channels 1 to 3 U1 to U3 in V, 4 to 6 I1 to I3 in A\n" +
                         "to analyse it: kxhost power " + path("a.wav") + " --frequency 50\n");
  const Outcome csv =
      run({"generate", "power", "-o", path("a.csv"), "--seconds", "0.01", "--rate", "5000", "--frequency", "62.5"});
  EXPECT_EQ(csv.out, path("a.csv") + ": 50 frames at 5000 Hz, channels 1 to 3 U1 to U3 in V, 4 to 6 I1 to I3 in A\n" +
                         "to analyse it: kxhost power " + path("a.csv") + " --rate 5000 --frequency 62.5\n");
}

TEST_F(GenerateTest, MisuseIsExplainedInOneLine) {
  expectMisuse({"generate"}, "subcommand");
  expectMisuse({"generate", "money"}, "subcommand");
  expectMisuse({"generate", "power"}, "--output");
  expectMisuse({"generate", "power", "-o", path("a.mp3")}, "does not end in .wav or .csv");
  const std::vector<std::pair<std::string, std::string>> values{
      {"--seconds", "0"},      {"--seconds", "nan"},   {"--rate", "99"},      {"--rate", "12800.5"},
      {"--frequency", "0"},    {"--frequency", "nan"}, {"--voltage", "-230"}, {"--current", "inf"},
      {"--lag", "181"},        {"--unbalance", "-1"},  {"--distortion", "x"}, {"--flicker", "101"},
      {"--flicker-rate", "0"}, {"--noise", "nan"},     {"--seed", "-1"},      {"--seed", "4294967296"}};
  for (const auto& [option, value] : values) {
    expectMisuse({"generate", "power", "-o", path("a.wav"), option + '=' + value}, option);
  }
  EXPECT_EQ(filesPresent(), std::vector<std::string>{});
}

TEST_F(GenerateTest, WhatCannotBeWrittenIsNamedAndLeavesNothing) {
  expectRefused({"generate", "power", "-o", path("a.wav"), "--rate", "100"}, path("a.wav"),
                "cannot hold a frequency of 50 Hz");
  expectRefused({"generate", "power", "-o", path("a.wav"), "--rate", "100", "--frequency", "20", "--seconds", "0.001"},
                path("a.wav"), "would hold no samples");
  for (const std::string name : {"nowhere/a.wav", "nowhere/a.csv"}) {
    expectRefused({"generate", "power", "-o", path(name)}, path(name), "cannot be written: No such file or directory");
  }
  for (const std::string name : {"a.wav", "a.csv"}) {
    expectRefused({"generate", "power", "-o", path(name)}, path(name), "cannot be written",
                  "trap '' XFSZ; ulimit -f 100; ");  // stands in for a full disk
  }
  EXPECT_EQ(filesPresent(), std::vector<std::string>{});
}

}  // namespace
}  // namespace kxhost_test
