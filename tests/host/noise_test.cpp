// `kxhost noise`: its files are read back, and its figures held against ones worked out here.
#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <map>
#include <numbers>
#include <random>
#include <sstream>

#include "host/audio_file.hpp"
#include "host/png_image.hpp"

namespace kxhost_test {
namespace {

class NoiseTest : public KxhostTest {
protected:
  std::string output() const { return path("out.wav"); }

  /// Writes noise; returns what was said about it.
  std::string noiseText(std::vector<std::string> options) const {
    options.insert(options.begin(), {"noise", "-o", output()});
    const Outcome outcome = run(options);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
  }

  AudioFile noise(const std::vector<std::string>& options) const {
    noiseText(options);
    return readAudioFile(output());
  }

  void expectNoiseMisuse(const std::string& reason, std::vector<std::string> options) const {
    options.insert(options.begin(), "noise");
    expectMisuse(options, reason);
  }
};

struct PinkSection {
  double pole, gain;
};

constexpr std::array<PinkSection, 6> pinkSections{{{0.99886, 0.0555179},
                                                   {0.99332, 0.0750759},
                                                   {0.969, 0.153852},
                                                   {0.8665, 0.3104856},
                                                   {0.55, 0.5329522},
                                                   {-0.7616, -0.016898}}};
constexpr double pinkDirect = 0.115926 + 0.5362, pinkInput = 0.2;

/// Gain of the pink-noise filter in dB, from its sections' transfer functions.
double pinkGain(double frequency) {
  std::complex<double> sum = pinkDirect;
  for (const PinkSection& section : pinkSections) {
    sum += section.gain / (1.0 - section.pole * std::polar(1.0, -2 * std::numbers::pi * frequency));
  }
  return 20 * std::log10(pinkInput * std::abs(sum));
}

std::vector<double> pinkNoise(const std::vector<double>& white) {
  std::array<double, 6> states{};
  std::vector<double> pink;
  for (const double sample : white) {
    double sum = pinkDirect * pinkInput * sample;
    for (size_t i = 0; i < states.size(); ++i) {
      states[i] = pinkSections[i].pole * states[i] + pinkSections[i].gain * pinkInput * sample;
      sum += states[i];
    }
    pink.push_back(sum);
  }
  return pink;
}

/// Power of pink noise over that of the white noise it is made of: the products of all pairs of exponential decays have
/// sums in closed form.
double pinkPowerGain() {
  double sum = pinkDirect * pinkDirect;
  for (const PinkSection& first : pinkSections) {
    sum += 2 * pinkDirect * first.gain;
    for (const PinkSection& second : pinkSections) {
      sum += first.gain * second.gain / (1 - first.pole * second.pole);
    }
  }
  return pinkInput * pinkInput * sum;
}

/// The first column of a table's lines against the column of that index.
std::map<double, double> tableColumn(const std::string& text, int column) {
  std::map<double, double> result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    double key = 0, value = 0;
    if (fields >> key) {
      for (int i = 0; i < column; ++i) {
        fields >> value;
      }
      EXPECT_TRUE(fields) << line;
      result[key] = value;
    }
  }
  return result;
}

/// The number that follows these words.
double numberAfter(const std::string& text, const std::string& words) {
  const size_t position = text.find(words);
  EXPECT_NE(position, std::string::npos) << words << " in " << text;
  return position == std::string::npos ? 0 : std::stod(text.substr(position + words.size()));
}

TEST_F(NoiseTest, WhiteNoiseIsTheGeneratorsAtItsLevel) {
  const AudioFile audio = noise({"--white", "--seconds", "2.5", "--rate", "8000", "--seed", "77"});
  EXPECT_EQ(audio.rate, 8000);
  EXPECT_EQ(audio.channels, 1U);
  ASSERT_EQ(audio.frames(), 20000U);
  std::mt19937_64 random(77);
  for (const float sample : audio.samples) {
    const double white = static_cast<double>(random() >> 11) / 0x1p52 - 1;
    ASSERT_NEAR(static_cast<double>(sample), white * std::sqrt(0.03), 1.1e-8);
  }
}

TEST_F(NoiseTest, PinkNoiseIsTheFilteredWhiteNoiseOfTheSameSeed) {
  const std::vector<std::string> options{"--seconds", "1", "--seed", "5"};
  std::vector<std::string> white(options), pink(options);
  white.emplace_back("--white");
  pink.emplace_back("--pink");
  const AudioFile source = noise(white), result = noise(pink);
  ASSERT_EQ(result.frames(), 44100U);
  const std::vector<double> expected = pinkNoise({source.samples.begin(), source.samples.end()});
  for (size_t i = 0; i < expected.size(); ++i) {
    ASSERT_NEAR(static_cast<double>(result.samples[i]), expected[i] / std::sqrt(pinkPowerGain()), 1e-7) << i;
  }
}

TEST_F(NoiseTest, TheLevelIsMinusTwentyDecibelsWithoutClipping) {
  for (const char* colour : {"--white", "--pink"}) {
    const std::string text = noiseText({colour, "--seconds", "20"});
    const AudioFile audio = readAudioFile(output());
    double sum = 0, peak = 0;
    for (const float sample : audio.samples) {
      const auto value = static_cast<double>(sample);
      sum += value * value;
      peak = std::max(peak, std::abs(value));
    }
    EXPECT_NEAR(numberAfter(text, "RMS "), -20, 0.2);
    EXPECT_NEAR(numberAfter(text, "RMS "), 10 * std::log10(sum / static_cast<double>(audio.frames())), 0.001);
    EXPECT_NEAR(numberAfter(text, "peak "), 20 * std::log10(peak), 0.001);
    EXPECT_LT(peak, 1);
  }
}

TEST_F(NoiseTest, TheFiltersGainsAreTheKnownOnes) {
  const std::string text = noiseText({"--pink", "--seconds", "0.1"});
  const auto gains = tableColumn(text, 1);
  EXPECT_EQ(gains.size(), 10U);
  for (const auto& [frequency, gain] : std::map<double, double>{{20, 16.421634},
                                                                {100, 9.424585},
                                                                {1000, -0.539042},
                                                                {2000, -3.626412},
                                                                {5000, -7.628431},
                                                                {10000, -10.331471},
                                                                {20000, -11.870898}}) {
    EXPECT_NEAR(gains.at(frequency), gain, 0.001) << frequency;
  }
  for (const int rate : {8000, 48000, 192000}) {
    const auto others = tableColumn(noiseText({"--pink", "--seconds", "0.1", "--rate", std::to_string(rate)}), 1);
    EXPECT_EQ(others.size(), rate == 8000 ? 7U : 10U);
    for (const auto& [frequency, gain] : others) {
      EXPECT_NEAR(gain, pinkGain(frequency / rate), 0.001) << frequency << ' ' << rate;
    }
  }
}

TEST_F(NoiseTest, TheLargestDeviationIsFromTheNearestIdeal) {
  double least = 1e9, most = -1e9;
  for (int i = 0; i <= 3000; ++i) {
    const double frequency = 20 * std::pow(10, i / 1000.0);
    const double above = pinkGain(frequency / 44100) + 10 * std::log10(frequency);
    least = std::min(least, above);
    most = std::max(most, above);
  }
  const std::string text = noiseText({"--pink", "--seconds", "60"});
  EXPECT_NE(text.find("Largest deviation from -3.01 dB per octave, 20 Hz to 20000 Hz:"), std::string::npos) << text;
  EXPECT_NEAR(numberAfter(text, "of the filter "), (most - least) / 2, 0.002);
  // The average over the highest band, a tenth of a decade, takes about 0.2 dB off; 60 s leave a scatter of 0.25 dB at
  // the lowest.
  EXPECT_NEAR(numberAfter(text, "of the noise "), (most - least) / 2, 0.3);
  EXPECT_NEAR(numberAfter(text, "(the lowest scatters by "), 10 / std::log(10) / std::sqrt(60 * 5.178508), 0.001);
  for (const auto& [frequency, deviation] : tableColumn(text, 2)) {
    const double ideal = (least + most) / 2 - 10 * std::log10(frequency);
    EXPECT_NEAR(deviation, pinkGain(frequency / 44100) - ideal, 0.003) << frequency;
  }
}

TEST_F(NoiseTest, WhiteNoiseIsFlat) {
  const std::string text = noiseText({"--white", "--seconds", "60", "--rate", "48000"});
  EXPECT_NE(text.find("Largest deviation from a flat spectrum, 20 Hz to 20000 Hz:"), std::string::npos) << text;
  EXPECT_LT(numberAfter(text, "of the noise "), 0.6);
  EXPECT_EQ(text.find("of the filter"), std::string::npos);
}

TEST_F(NoiseTest, AtLowRatesTheComparisonEndsWithTheLastWholeBand) {
  const std::string text = noiseText({"--pink", "--seconds", "5", "--rate", "8000"});
  EXPECT_NE(text.find("20 Hz to 3990.52 Hz"), std::string::npos) << text;
}

TEST_F(NoiseTest, ASeedGivesTheSameNoiseAndAnotherAnother) {
  const AudioFile first = noise({"--pink", "--seconds", "0.5"});
  EXPECT_EQ(noise({"--pink", "--seconds", "0.5"}).samples, first.samples);
  EXPECT_EQ(noise({"--pink", "--seconds", "0.5", "--seed", "1"}).samples, first.samples);
  EXPECT_NE(noise({"--pink", "--seconds", "0.5", "--seed", "2"}).samples, first.samples);
  std::istringstream libraries(KXHOST_LIBRARIES);
  for (std::string library; std::getline(libraries, library, ':');) {
    EXPECT_EQ(noise({"--pink", "--seconds", "0.5", "--library", library}).samples, first.samples) << library;
  }
}

/// The pane of a spectrum, after the checks that hold for every colour: where the axis ends, how far the measured bands
/// lie from the ideal line, and that the spectrum runs from end to end around it.
SvgPane expectSpectrum(const std::string& picture, const std::string& text, const std::string& ideal) {
  std::vector<SvgPane> panes = readSvg(picture);
  EXPECT_EQ(panes.size(), 1U);
  SvgPane pane = std::move(panes.at(0));
  pane.xKind = AxisKind::logarithmic;
  EXPECT_NEAR(pane.x.numberAt(pane.left, pane.xKind), 10, 0.05);
  EXPECT_NEAR(pane.x.numberAt(pane.right, pane.xKind), 22050, 50);
  const SvgCurve& line = pane.curve(ideal);
  const auto decibelsAbove = [&](Place place) {
    EXPECT_EQ(line.lines.size(), 1U);
    const Place from = line.lines.at(0).front(), to = line.lines.at(0).back();
    const double y = std::lerp(from.y, to.y, (place.x - from.x) / (to.x - from.x));
    return pane.y.numberAt(place.y, pane.yKind) - pane.y.numberAt(y, pane.yKind);
  };
  const double deviation = numberAfter(text, "of the noise ");
  const SvgCurve& measured = pane.curve("measured, ten bands a decade");
  EXPECT_EQ(measured.marks.size(), 30U);
  double largest = 0;
  for (const Place& mark : measured.marks) {
    largest = std::max(largest, std::abs(decibelsAbove(mark)));
  }
  EXPECT_NEAR(largest, deviation, 0.1);
  const SvgCurve& spectrum = pane.curve("averaged spectrum");
  EXPECT_EQ(spectrum.lines.size(), 1U);
  std::vector<double> levels;
  for (const Place& place : spectrum.lines.at(0)) {
    levels.push_back(decibelsAbove(place));
  }
  expectSpan(spectrum, pane.left, pane.right);
  std::ranges::nth_element(levels, levels.begin() + static_cast<std::ptrdiff_t>(levels.size() / 2));
  EXPECT_NEAR(levels[levels.size() / 2], 0, 1);
  return pane;
}

TEST_F(NoiseTest, APictureShowsPinkNoiseBesideTheFilterAndTheIdeal) {
  const std::string text = noiseText({"--pink", "--seconds", "3", "--plot", path("out.svg")});
  const std::string picture = read(path("out.svg"));
  for (const char* words :
       {"pink noise, 3 s, sample rate 44100 Hz, RMS -20 dB re full scale", "frequency in Hz",
        "power density in dB re full scale^2 / Hz", "largest deviation from the ideal, 20 Hz to 20000 Hz"}) {
    EXPECT_NE(picture.find(words), std::string::npos) << words;
  }
  const SvgPane pane = expectSpectrum(picture, text, "ideal, -3.01 dB per octave");
  std::vector<Place> points;
  const double level = 10 * std::log10(0.01 / pinkPowerGain() * 2 / 44100);
  for (const double frequency : {20, 50, 200, 1000, 5000, 19000}) {
    points.push_back({frequency, level + pinkGain(frequency / 44100)});
  }
  expectThrough(pane, pane.curve("filter"), points);
  const std::vector<Place>& ideal = pane.curve("ideal, -3.01 dB per octave").lines.at(0);
  const double fall = pane.y.numberAt(ideal.front().y, pane.yKind) - pane.y.numberAt(ideal.back().y, pane.yKind);
  EXPECT_NEAR(fall, 10 * std::log10(22050.0 / 10), 0.1);
}

TEST_F(NoiseTest, APictureShowsWhiteNoiseBesideItsLevel) {
  const std::string text = noiseText({"--white", "--seconds", "3", "--plot", path("out.svg")});
  const SvgPane pane = expectSpectrum(read(path("out.svg")), text, "ideal, flat");
  const double level = 10 * std::log10(0.01 * 2 / 44100);
  for (const Place& place : pane.curve("ideal, flat").lines.at(0)) {
    EXPECT_NEAR(pane.y.numberAt(place.y, pane.yKind), level, numberAfter(text, "of the noise "));
  }
  noiseText({"--white", "--seconds", "3", "--plot", path("out.png")});
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"out.png", "out.svg", "out.wav"}));
  const PngImage image(path("out.png"));
  EXPECT_EQ(image.width(), 1200);
  EXPECT_EQ(image.height(), 640);
  expectShows(image, pane.curve("measured, ten bands a decade"));
}

TEST_F(NoiseTest, NoiseTooShortToMeasureIsWrittenButNotDrawn) {
  const std::string text = noiseText({"--white", "--seconds", "1", "--rate", "48000"});
  EXPECT_NE(text.find("of the noise not known: it takes 1.365 s to measure"), std::string::npos) << text;
  std::filesystem::remove(output());
  const std::string picture = path("out.png");
  expectRefused({"noise", "--white", "--seconds", "1", "--rate", "48000", "-o", output(), "--plot", picture}, picture,
                "cannot be drawn: it takes 1.365 s of noise");
  EXPECT_EQ(filesPresent(), std::vector<std::string>{});
}

TEST_F(NoiseTest, MisuseIsExplainedInOneLine) {
  const std::string wav = output();
  expectNoiseMisuse("--pink,--white", {"--seconds", "1", "-o", wav});
  expectNoiseMisuse("2 were given", {"--pink", "--white", "--seconds", "1", "-o", wav});
  expectNoiseMisuse("--seconds", {"--pink", "-o", wav});
  expectNoiseMisuse("--output", {"--pink", "--seconds", "1"});
  expectNoiseMisuse("does not end in .wav", {"--pink", "--seconds", "1", "-o", path("out.flac")});
  expectNoiseMisuse("does not end in .png", {"--pink", "--seconds", "1", "-o", wav, "--plot", path("out.gif")});
  for (const char* seconds : {"0", "-1", "86401", "nan", "inf", "long"}) {
    expectNoiseMisuse("--seconds", {"--pink", std::string("--seconds=") + seconds, "-o", wav});
  }
  for (const char* rate : {"0", "-8000", "7999", "384001", "44100.5", "high"}) {
    expectNoiseMisuse("--rate", {"--pink", "--seconds", "1", std::string("--rate=") + rate, "-o", wav});
  }
  for (const char* seed : {"-1", "one", "1.5", "18446744073709551616", ""}) {
    expectNoiseMisuse("is not a whole number from 0 to 18446744073709551615",
                      {"--pink", "--seconds", "1", std::string("--seed=") + seed, "-o", wav});
  }
  EXPECT_EQ(filesPresent(), std::vector<std::string>{});
}

TEST_F(NoiseTest, NothingIsLeftAfterAFailure) {
  const std::string picture = path("out.png"), nowhere = path("nowhere/out.wav");
  expectUndrawn({"noise", "--pink", "--seconds", "2", "-o", output(), "--plot", picture}, picture,
                "gnuplot cannot be started", "PATH=/nowhere");
  expectRefused({"noise", "--pink", "--seconds", "2", "-o", nowhere}, nowhere, "cannot be written");
  EXPECT_EQ(filesPresent(), std::vector<std::string>{});
}

TEST_F(NoiseTest, HelpIsAnAnswer) {
  for (const char* command : {"noise", "filter"}) {
    const Outcome outcome = run({command, "--help"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_NE(outcome.out.find("Examples:"), std::string::npos);
  }
}

}  // namespace
}  // namespace kxhost_test
