// `kxhost filter`: its files are read back and compared with filters computed another way.
#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <sstream>

#include "host/audio_file.hpp"
#include "host/png_image.hpp"
#include "recordings/recording.hpp"

namespace kxhost_test {
namespace {

using kxrecordings::blockFrames;
using std::numbers::pi;
using Complex = std::complex<double>;

constexpr int floatWav = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

class FilterTest : public KxhostTest {
protected:
  std::string output() const { return path("out.wav"); }

  /// Filters a file and reads the result.
  AudioFile filter(const std::string& file, std::vector<std::string> options) const {
    options.insert(options.begin(), {"filter", file, "-o", output()});
    const Outcome outcome = run(options);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    AudioFile audio = readAudioFile(output());
    EXPECT_NE(outcome.out.find(": " + std::to_string(audio.frames()) + " frames at " + std::to_string(audio.rate)),
              std::string::npos)
        << outcome.out;
    std::filesystem::remove(output());
    return audio;
  }

  std::string impulse(size_t length, int rate = 48000) const {
    std::vector<float> samples(length);
    samples.front() = 1;
    return writeAudio("impulse.wav", floatWav, 1, samples, rate);
  }

  std::vector<float> impulseResponse(size_t length, const std::vector<std::string>& options, int rate = 48000) const {
    return filter(impulse(length, rate), options).samples;
  }

  /// Draws as SVG with these arguments, and returns the picture's pane.
  SvgPane drawn(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--plot", path("out.svg")});
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("3.01 dB down: designed "), std::string::npos) << outcome.out;
    std::vector<SvgPane> panes = readSvg(read(path("out.svg")));
    EXPECT_EQ(panes.size(), 1U);
    panes.at(0).xKind = AxisKind::logarithmic;
    return std::move(panes.at(0));
  }

  void expectFilterRefused(const std::string& file, const std::string& reason, std::vector<std::string> options) const {
    options.insert(options.begin(), {"filter", file, "-o", output()});
    expectRefused(options, file, reason);
    EXPECT_FALSE(std::filesystem::exists(output()));
  }

  void expectFilterMisuse(const std::string& reason, std::vector<std::string> options) const {
    options.insert(options.begin(), {"filter", path("a.wav")});
    expectMisuse(options, reason);
  }
};

Complex responseOf(const std::vector<float>& response, double frequency) {
  Complex sum = 0;
  for (size_t i = 0; i < response.size(); ++i) {
    sum += static_cast<double>(response[i]) * std::polar(1.0, -2 * pi * frequency * static_cast<double>(i));
  }
  return sum;
}

double gainOf(const std::vector<float>& response, double frequency) {
  return 20 * std::log10(std::abs(responseOf(response, frequency)));
}

/// Gain in dB of a Butterworth low-pass at this multiple of its edge, both prewarped.
double butterworthGain(double ratio, int order) {
  return -10 * std::log10(1 + std::pow(ratio, 2 * order));
}

double warped(double frequency) {
  return std::tan(pi * frequency);
}

/// Edges as fractions of the sample rate; 0 where there is none.
struct Band {
  double low, high;

  /// Frequency of the prototype low-pass with edge 1 that this one is made of.
  double prototypeFrequency(double frequency) const {
    const double w = warped(frequency);
    if (low == 0) {
      return w / warped(high);
    }
    if (high == 0) {
      return warped(low) / w;
    }
    return std::abs(w * w - warped(low) * warped(high)) / (w * (warped(high) - warped(low)));
  }

  std::vector<std::string> options() const {
    const auto hertz = [](double frequency) { return std::to_string(std::lround(48000 * frequency)); };
    if (low == 0) {
      return {"--lowpass", hertz(high)};
    }
    if (high == 0) {
      return {"--highpass", hertz(low)};
    }
    return {"--bandpass", hertz(low) + ',' + hertz(high)};
  }
};

/// Coefficients of the polynomial in 1/z with these roots in z, its first one 1.
std::vector<double> polynomial(const std::vector<Complex>& roots) {
  std::vector<Complex> product{1};
  for (const Complex root : roots) {
    product.emplace_back(0);
    for (size_t i = product.size() - 1; i > 0; --i) {
      product[i] -= root * product[i - 1];
    }
  }
  std::vector<double> real;
  for (const Complex coefficient : product) {
    real.push_back(coefficient.real());
  }
  return real;
}

/// One difference equation of the whole order, from all poles and zeros of the Butterworth filter: nothing is split into
/// sections.
class DirectFilter {
public:
  DirectFilter(const Band& band, int order) {
    std::vector<Complex> poles, zeros;
    Complex passing = 1;  // z at the frequency that passes best
    for (int k = 1; k <= order; ++k) {
      const Complex pole = std::polar(1.0, pi * (2 * k + order - 1) / (2 * order));
      const auto add = [&](Complex s, double zero) {
        poles.push_back((1.0 + s) / (1.0 - s));
        zeros.emplace_back(zero);
      };
      if (band.low == 0) {
        add(pole * warped(band.high), -1);
      } else if (band.high == 0) {
        add(warped(band.low) / pole, 1);
        passing = -1;
      } else {
        const double product = warped(band.low) * warped(band.high);
        const Complex half = pole * (warped(band.high) - warped(band.low)) / 2.0;
        const Complex root = std::sqrt(half * half - product);
        add(half + root, 1);
        add(half - root, -1);
        passing = std::polar(1.0, 2 * std::atan(std::sqrt(product)));
      }
    }
    feedForward_ = polynomial(zeros);
    feedback_ = polynomial(poles);
    const double gain = std::abs(at(feedback_, passing) / at(feedForward_, passing));
    for (double& coefficient : feedForward_) {
      coefficient *= gain;
    }
  }

  std::vector<double> process(const std::vector<float>& samples) const {
    std::vector<double> result;
    for (size_t n = 0; n < samples.size(); ++n) {
      double sum = 0;
      for (size_t k = 0; k < feedForward_.size() && k <= n; ++k) {
        sum += feedForward_[k] * static_cast<double>(samples[n - k]) - (k > 0 ? feedback_[k] * result[n - k] : 0);
      }
      result.push_back(sum);
    }
    return result;
  }

private:
  static Complex at(const std::vector<double>& coefficients, Complex z) {
    Complex value = 0;
    for (size_t i = coefficients.size(); i-- > 0;) {
      value = value / z + coefficients[i];
    }
    return value;
  }

  std::vector<double> feedForward_, feedback_;
};

void expectNear(const std::vector<float>& actual, const std::vector<double>& expected, double tolerance) {
  ASSERT_EQ(actual.size(), expected.size());
  double worst = 0;
  for (size_t i = 0; i < actual.size(); ++i) {
    worst = std::max(worst, std::abs(static_cast<double>(actual[i]) - expected[i]));
  }
  EXPECT_LT(worst, tolerance);
}

std::vector<std::string> with(std::vector<std::string> options, const std::vector<std::string>& more) {
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

const std::vector<Band> bands{{0, 1000.0 / 48000},
                              {0, 20000.0 / 48000},
                              {1000.0 / 48000, 0},
                              {15000.0 / 48000, 0},
                              {300.0 / 48000, 3400.0 / 48000},
                              {9000.0 / 48000, 12000.0 / 48000}};

TEST_F(FilterTest, TheEdgesAreHalfThePower) {
  for (const Band& band : bands) {
    for (const int order : {1, 2, 3, 4, 7, 8}) {
      const auto response = impulseResponse(16384, with(band.options(), {"--order", std::to_string(order)}));
      for (const double edge : {band.low, band.high}) {
        if (edge > 0) {
          EXPECT_NEAR(gainOf(response, edge), -3.0103, 1e-4) << edge << ' ' << order;
        }
      }
    }
  }
}

TEST_F(FilterTest, TheResponseIsButterworths) {
  for (const Band& band : bands) {
    for (const int order : {1, 2, 5, 6}) {
      const auto response = impulseResponse(16384, with(band.options(), {"--order", std::to_string(order)}));
      for (const double frequency : {50.0, 200.0, 500.0, 1000.0, 2000.0, 5000.0, 11000.0, 16000.0, 21000.0}) {
        const double expected = butterworthGain(band.prototypeFrequency(frequency / 48000), order);
        if (expected > -100) {  // the file's rounding to singles is at -150 dB
          EXPECT_NEAR(gainOf(response, frequency / 48000), expected, 0.01 + std::pow(10, (-expected - 140) / 20))
              << band.low << ' ' << band.high << ' ' << frequency << ' ' << order;
        }
      }
    }
  }
}

TEST_F(FilterTest, ItFallsBySixDecibelsAnOctaveForEachOrder) {
  for (const int order : {1, 2, 3, 4}) {
    const auto low = impulseResponse(16384, {"--lowpass", "100", "--order", std::to_string(order)});
    EXPECT_NEAR(gainOf(low, 1600.0 / 48000) - gainOf(low, 800.0 / 48000), -6.0206 * order, 0.1 * order);
    const auto high = impulseResponse(65536, {"--highpass", "1600", "--order", std::to_string(order)});
    EXPECT_NEAR(gainOf(high, 100.0 / 48000) - gainOf(high, 200.0 / 48000), -6.0206 * order, 0.1 * order);
  }
}

TEST_F(FilterTest, TheCascadeIsTheWholeFilter) {
  const auto samples = as<float>(noise(3 * blockFrames + 7, 24), 0x1p-23);
  const std::string file = writeAudio("noise.wav", floatWav, 1, samples);
  for (const Band& band : {Band{0, 6000.0 / 48000}, Band{15000.0 / 48000, 0}, Band{5000.0 / 48000, 11000.0 / 48000},
                           Band{1000.0 / 48000, 23000.0 / 48000}}) {
    for (const int order : {1, 2, 3, 4, 5}) {
      SCOPED_TRACE(std::to_string(band.low) + ' ' + std::to_string(order));
      const AudioFile audio = filter(file, with(band.options(), {"--order", std::to_string(order)}));
      expectNear(audio.samples, DirectFilter(band, order).process(samples), 3e-7);
    }
  }
}

TEST_F(FilterTest, TheOrderIsFourUnlessItIsNamed) {
  const std::string file = writeAudio("noise.wav", floatWav, 1, as<float>(noise(1000, 24), 0x1p-23));
  EXPECT_EQ(filter(file, {"--lowpass", "1000"}).samples, filter(file, {"--lowpass", "1000", "--order", "4"}).samples);
}

TEST_F(FilterTest, HighOrdersAreStable) {
  for (const Band& band : bands) {
    for (const int order : {31, 100}) {
      SCOPED_TRACE(std::to_string(band.low) + ' ' + std::to_string(order));
      const auto response = impulseResponse(48000, with(band.options(), {"--order", std::to_string(order)}));
      const auto largest =
          static_cast<double>(std::abs(*std::ranges::max_element(response, {}, [](float x) { return std::abs(x); })));
      EXPECT_LT(largest, 1.0);
      for (const double edge : {band.low, band.high}) {
        if (edge > 0) {
          EXPECT_NEAR(gainOf(response, edge), -3.0103, 1e-3);
        }
      }
      EXPECT_LT(std::abs(response.back()), 1e-6F);
    }
  }
}

TEST_F(FilterTest, EdgesFarBelowTheRateKeepTheirGain) {
  const std::string file = writeAudio("ones.wav", floatWav, 1, std::vector<float>(480000, 1));
  const AudioFile audio = filter(file, {"--lowpass", "1"});
  EXPECT_NEAR(audio.samples.back(), 1, 1e-4);
  const auto narrow = impulseResponse(480000, {"--bandpass", "999,1001", "--order", "2"});
  EXPECT_NEAR(gainOf(narrow, 1000.0 / 48000), 0, 1e-3);
  EXPECT_NEAR(gainOf(narrow, 999.0 / 48000), -3.0103, 1e-3);
}

/// The same coefficients as the program's, by the textbook's formula: odd lengths only.
std::vector<double> windowedSinc(double edge, int taps, bool isBlackman) {
  std::vector<double> result;
  double sum = 0;
  for (int i = 0; i < taps; ++i) {
    const double n = i - taps / 2, x = 2 * pi * edge * n, turn = 2 * pi * i / (taps - 1);
    const double window =
        isBlackman ? 0.42 - 0.5 * std::cos(turn) + 0.08 * std::cos(2 * turn) : 0.54 - 0.46 * std::cos(turn);
    result.push_back(2 * edge * (n == 0 ? 1 : std::sin(x) / x) * window);
    sum += result.back();
  }
  for (double& value : result) {
    value /= sum;
  }
  return result;
}

std::vector<double> as64(const std::vector<float>& values) {
  return {values.begin(), values.end()};
}

TEST_F(FilterTest, AFiniteResponseIsTheWindowedSincWithZerosAfterIt) {
  for (const int taps : {3, 5, 101, 255}) {
    for (const bool isBlackman : {false, true}) {
      SCOPED_TRACE(taps);
      const std::vector<std::string> design{"--fir", std::to_string(taps), "--window",
                                            isBlackman ? "blackman" : "hamming"};
      std::vector<double> expected = windowedSinc(6000.0 / 48000, taps, isBlackman);
      expected.resize(300);
      expectNear(impulseResponse(300, with({"--lowpass", "6000"}, design)), expected, 2e-8);
      if (taps <= 5) {  // too few for a high-pass
        continue;
      }
      for (double& value : expected) {
        value = -value;
      }
      expected[static_cast<size_t>(taps / 2)] += 1;
      double passing = 0;  // gain at half of the rate
      for (size_t i = 0; i < expected.size(); ++i) {
        passing += i % 2 == 0 ? expected[i] : -expected[i];
      }
      for (double& value : expected) {
        value /= std::abs(passing);
      }
      expectNear(impulseResponse(300, with({"--highpass", "6000"}, design)), expected, 4e-8);
    }
  }
}

TEST_F(FilterTest, FiniteResponsesAreSymmetricAndPassWithAGainOfOne) {
  struct Case {
    std::vector<std::string> band;
    double passes;   // frequency over rate
    double blocked;  // not at all where the filter is complementary
  };
  for (const auto& [band, passes, blocked] :
       {Case{{"--lowpass", "6000"}, 0, 12000.0 / 48000}, Case{{"--highpass", "6000"}, 0.5, 0},
        Case{{"--bandpass", "6000,12000"}, 9000.0 / 48000, 0}}) {
    for (const size_t taps : {63U, 64U, 201U}) {
      if (taps == 64 && band.front() == "--highpass") {
        continue;
      }
      SCOPED_TRACE(band.front() + ' ' + std::to_string(taps));
      auto response = impulseResponse(300, with(band, {"--fir", std::to_string(taps), "--exact"}));
      response.resize(taps);
      EXPECT_TRUE(std::ranges::equal(response, std::vector<float>(response.rbegin(), response.rend())));
      EXPECT_NEAR(std::abs(responseOf(response, passes)), 1, 1e-6);
      EXPECT_LT(gainOf(response, blocked), -50);
      EXPECT_NEAR(gainOf(response, 6000.0 / 48000), -6.02, 0.1);
    }
  }
}

TEST_F(FilterTest, AFiniteFilterIsAConvolution) {
  const auto samples = as<float>(noise(2 * blockFrames + 9, 24), 0x1p-23);
  const std::string file = writeAudio("noise.wav", floatWav, 1, samples);
  for (const int taps : {3, 101, 401}) {
    const std::vector<double> coefficients = windowedSinc(3000.0 / 48000, taps, false);
    std::vector<double> expected(samples.size());
    for (size_t n = 0; n < samples.size(); ++n) {
      for (size_t k = 0; k < coefficients.size() && k <= n; ++k) {
        expected[n] += coefficients[k] * static_cast<double>(samples[n - k]);
      }
    }
    expectNear(filter(file, {"--lowpass", "3000", "--fir", std::to_string(taps)}).samples, expected, 1e-6);
  }
}

double distanceOf(const std::vector<float>& one, const std::vector<float>& other) {
  EXPECT_EQ(one.size(), other.size());
  double worst = 0;
  for (size_t i = 0; i < std::min(one.size(), other.size()); ++i) {
    worst = std::max(worst, static_cast<double>(std::abs(one[i] - other[i])));
  }
  return worst;
}

TEST_F(FilterTest, ManyTapsGiveWhatTheKernelGivesUnlessItIsAskedFor) {
  for (const size_t frames : {size_t{1}, size_t{100}, blockFrames, 2 * blockFrames + 77}) {
    const std::string file = writeAudio("n.wav", floatWav, 3, as<float>(noise(3 * frames, 24), 0x1p-23));
    for (const char* taps : {"63", "64", "65", "129", "1001"}) {
      const std::vector<std::string> options{"--lowpass", "3000", "--fir", taps};
      const AudioFile quick = filter(file, options), exact = filter(file, with(options, {"--exact"}));
      ASSERT_EQ(quick.frames(), frames);
      EXPECT_LT(distanceOf(quick.samples, exact.samples), 1e-6) << taps;
      if (std::atoi(taps) < 64) {
        EXPECT_EQ(quick.samples, exact.samples) << taps;
      } else if (frames > blockFrames) {
        EXPECT_NE(quick.samples, exact.samples) << taps;
      }
    }
  }
}

TEST_F(FilterTest, TheMostTapsAreALinearPhaseFilterStill) {
  constexpr size_t taps = 131071, middle = taps / 2;
  const auto response = impulseResponse(taps + 500, {"--lowpass", "1", "--fir", std::to_string(taps)});
  ASSERT_EQ(response.size(), taps + 500);
  for (size_t i = 0; i < taps; ++i) {
    ASSERT_NEAR(response[i], response[taps - 1 - i], 1e-11);
    ASSERT_LE(response[i], response[middle]);
  }
  for (size_t i = taps; i < response.size(); ++i) {
    ASSERT_LT(std::abs(response[i]), 1e-15F);
  }
}

const std::vector<std::vector<std::string>> someFilters{{"--lowpass", "3000", "--order", "5"},
                                                        {"--bandpass", "300,3400", "--order", "3"},
                                                        {"--highpass", "2000", "--fir", "33"},
                                                        {"--bandpass", "900,4000", "--fir", "301"}};

TEST_F(FilterTest, ChannelsStayApart) {
  const auto samples = as<float>(noise(5 * (blockFrames + 100), 24), 0x1p-23);
  const AudioFile all{48000, 5, samples};
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, 5, samples);
  for (const auto& options : someFilters) {
    const AudioFile filtered = filter(file, options);
    ASSERT_EQ(filtered.channels, 5U);
    for (size_t i = 0; i < 5; ++i) {
      EXPECT_EQ(filtered.channel(i), filter(writeAudio("one.wav", floatWav, 1, all.channel(i)), options).samples);
    }
  }
}

TEST_F(FilterTest, EverySampleTypeIsFilteredAtAFullScaleOfOne) {
  const auto shorts = as<int16_t>(noise(6000, 16));
  const auto values = as<float>(noise(6000, 16), 0x1p-15);
  for (const auto& options : someFilters) {
    const std::vector<double> expected = as64(filter(writeAudio("f.wav", floatWav, 1, values), options).samples);
    for (const std::string& file :
         {writeAudio("16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, shorts),
          writeAudio("24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, as<int32_t>(noise(6000, 16), 65536)),
          writeAudio("d.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, as<double>(noise(6000, 16), 0x1p-15))}) {
      SCOPED_TRACE(file);
      expectNear(filter(file, options).samples, expected, 2e-7);
    }
  }
}

TEST_F(FilterTest, ARecordingOfNoSamplesStaysOne) {
  EXPECT_EQ(filter(writeAudio("none.wav", floatWav, 2, std::vector<float>{}), {"--lowpass", "100"}).frames(), 0U);
}

TEST_F(FilterTest, EveryLibraryGivesTheSameSamples) {
  const std::string file = writeAudio("a.wav", floatWav, 2, as<float>(noise(10002, 24), 0x1p-23));
  std::istringstream libraries(KXHOST_LIBRARIES);
  for (std::string library; std::getline(libraries, library, ':');) {
    for (const auto& options : someFilters) {
      EXPECT_EQ(filter(file, with(options, {"--library", library})).samples, filter(file, options).samples) << library;
    }
  }
}

TEST_F(FilterTest, TheMeasuredEdgesAreTheDesignedOnes) {
  const std::string file = impulse(10);
  const Outcome outcome = run({"filter", file, "--bandpass", "300,3400", "--order", "6", "--plot", path("out.png")});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_TRUE(outcome.out.starts_with("Butterworth band-pass from 300 Hz to 3400 Hz, order 6 in 6 sections\n"))
      << outcome.out;
  double low = 0, high = 0;
  const size_t line = outcome.out.find("3.01 dB down: designed 300 Hz and 3400 Hz, measured ");
  ASSERT_NE(line, std::string::npos) << outcome.out;
  ASSERT_EQ(std::sscanf(outcome.out.c_str() + line,
                        "3.01 dB down: designed 300 Hz and 3400 Hz, measured %lf Hz and %lf", &low, &high),
            2);
  EXPECT_NEAR(low, 300, 0.03);
  EXPECT_NEAR(high, 3400, 0.34);
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"impulse.wav", "out.png"}));
  const PngImage image(path("out.png"));
  EXPECT_EQ(image.width(), 1200);
  EXPECT_EQ(image.height(), 640);
  const SvgPane pane = drawn({"filter", file, "--bandpass", "300,3400", "--order", "6"});
  expectShows(image, pane.curve("measured with white noise"));
  for (const Place& mark : pane.curve("3.01 dB down").marks) {
    bool hasCircle = false;
    for (double radius = 5; radius < 12; ++radius) {
      hasCircle = hasCircle || image.isNear({mark.x, mark.y + radius}, "rgb(0,0,0)");
    }
    EXPECT_TRUE(hasCircle);
    EXPECT_FALSE(image.isNear(mark, "rgb(0,0,0)"));
  }
}

TEST_F(FilterTest, APictureShowsTheButterworthCurveAndItsMeasurement) {
  const Band band{0, 1000.0 / 48000};
  const SvgPane pane = drawn({"filter", impulse(10), "--lowpass", "1000", "--order", "4"});
  EXPECT_NEAR(pane.x.numberAt(pane.left, pane.xKind), 100, 0.1);
  EXPECT_NEAR(pane.x.numberAt(pane.right, pane.xKind), 24000, 20);
  std::vector<Place> points;
  for (const double frequency : {100, 500, 900, 1000, 1100, 2000, 4000, 8000, 12000}) {
    points.push_back({frequency, butterworthGain(band.prototypeFrequency(frequency / 48000), 4)});
  }
  expectThrough(pane, pane.curve("designed, by its coefficients"), points);
  expectMarks(pane, pane.curve("3.01 dB down"), {{1000, -3.0103}});
  const SvgCurve& measured = pane.curve("measured with white noise");
  EXPECT_GT(measured.marks.size(), 100U);
  for (const Place& mark : measured.marks) {
    const double frequency = pane.x.numberAt(mark.x, pane.xKind);
    const double gain = butterworthGain(band.prototypeFrequency(frequency / 48000), 4);
    EXPECT_LE(pane.curve("designed, by its coefficients").distanceOf(mark), 1) << frequency;
    EXPECT_NEAR(pane.y.pixelOf(gain, pane.yKind), mark.y, 3) << frequency;
  }
}

TEST_F(FilterTest, APictureNamesFilterAxesAndCurvesAndShowsWhatTheFilterDoes) {
  const std::vector<std::string> arguments{"filter", impulse(200), "--lowpass", "5000", "--fir",
                                           "101",    "--window",   "blackman",  "-o",   output()};
  const SvgPane pane = drawn(arguments);
  const std::string picture = read(path("out.svg"));
  for (const char* text : {"Blackman-windowed sinc low-pass at 5000 Hz, 101 taps, sample rate 48000 Hz",
                           "frequency in Hz", "gain in dB", "10000"}) {
    EXPECT_NE(picture.find(text), std::string::npos) << text;
  }
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"impulse.wav", "out.svg", "out.wav"}));
  const std::vector<float> response = readAudioFile(output()).samples;
  std::vector<Place> points;
  for (const double frequency : {150, 1000, 4000, 5000, 5500, 6000}) {
    points.push_back({frequency, gainOf(response, frequency / 48000)});
  }
  expectThrough(pane, pane.curve("designed, by its coefficients"), points);
  EXPECT_NE(run(arguments).out.find("delay: 50 samples, 1.04167 ms\n"), std::string::npos);
}

TEST_F(FilterTest, FiltersOfEveryShapeCanBeDrawn) {
  struct Shape {
    std::vector<std::string> options;
    Place point;  // on the curve, in Hz and dB
    std::vector<double> edges;
  };
  for (const Shape& shape : {Shape{{"--lowpass", "23999"}, {5000, 0}, {23999}},
                             {{"--highpass", "1", "--order", "1"}, {10000, 0}, {1}},
                             {{"--lowpass", "0.05", "--order", "100"}, {0.01, 0}, {0.05}},
                             {{"--bandpass", "1000,1000.05"}, {20000, -40}, {}},
                             // 0.0801 + 0.9199 z^-1 + 0.0801 z^-2 or the like: all but flat
                             {{"--lowpass", "1000", "--fir", "3", "--window", "blackman"}, {100, 0}, {}}}) {
    SCOPED_TRACE(shape.options[1]);
    const SvgPane pane = drawn(with({"filter", impulse(10)}, shape.options));
    EXPECT_NEAR(pane.x.numberAt(pane.right, pane.xKind), 24000, 20);
    if (shape.point.y == 0) {
      expectThrough(pane, pane.curve("designed, by its coefficients"), {shape.point});
    }
    std::vector<Place> marks;
    for (const double edge : shape.edges) {
      marks.push_back({edge, -3.0103});
    }
    if (!marks.empty()) {
      expectMarks(pane, pane.curve("3.01 dB down"), marks);
    }
  }
}

TEST_F(FilterTest, AFilterThatTakesTooLongToSettleIsNotMeasured) {
  const Outcome outcome = run({"filter", impulse(10), "--lowpass", "0.1", "--plot", path("out.png")});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("designed 0.1 Hz, not measured (it takes too long to settle)"), std::string::npos)
      << outcome.out;
}

TEST_F(FilterTest, EdgesThatCannotBeAreRefused) {
  const std::string file = writeAudio("a.wav", floatWav, 1, std::vector<float>(12, 1));
  const std::string limits = "the edges of a filter lie above 0 and below 24000 Hz";
  for (const char* edge : {"0", "-5", "nan", "inf", ""}) {
    expectFilterMisuse("is not a number above 0", {std::string("--lowpass=") + edge, "-o", output()});
    expectFilterMisuse("is not a number above 0", {std::string("--highpass=") + edge, "-o", output()});
  }
  for (const char* edge : {"24000", "30000", "0.04"}) {
    expectFilterRefused(file, limits, {std::string("--lowpass=") + edge});
    expectFilterRefused(file, limits, {std::string("--highpass=") + edge});
  }
  expectFilterRefused(file, limits, {"--bandpass=0,1000"});
  expectFilterRefused(file, limits, {"--bandpass=1000,24000"});
  expectFilterRefused(file, "0.048 Hz or more apart", {"--bandpass=1000,1000.04"});
  expectFilterRefused(file, "9 taps are too few for this band", {"--bandpass=1000,1100", "--fir", "9"});
}

TEST_F(FilterTest, RecordingsThatCannotBeFilteredAreRefused) {
  const std::string csv = writeText("a.csv", "a\n1\n2\n");
  expectFilterRefused(csv, "carries no sample rate: --rate is needed", {"--lowpass", "1"});
  expectFilterRefused(csv, "its rate of 2.5 Hz is not a whole number", {"--lowpass", "1", "--rate", "2.5"});
  expectFilterRefused(path("none.wav"), "no such file", {"--lowpass", "1"});
  std::vector<float> samples(2 * blockFrames);
  for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    samples[blockFrames + 3] = bad;
    expectFilterRefused(writeAudio("bad.wav", floatWav, 1, samples),
                        "sample " + std::to_string(blockFrames + 3) +
                            " (0.08539583 s), channel 1: " + std::to_string(bad) + " is not a finite number",
                        {"--lowpass", "100"});
  }
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.csv", "bad.wav"}));
}

TEST_F(FilterTest, MisuseIsExplainedInOneLine) {
  const std::string wav = output();
  expectFilterMisuse("--lowpass,--highpass,--bandpass", {"-o", wav});
  expectFilterMisuse("2 were given", {"--lowpass", "5", "--highpass", "4", "-o", wav});
  expectFilterMisuse("--output or --plot", {"--lowpass", "5"});
  expectFilterMisuse("does not end in .wav", {"--lowpass", "5", "-o", path("out.mp3")});
  expectFilterMisuse("does not end in .png or .svg", {"--lowpass", "5", "--plot", path("out.pdf")});
  for (const char* order : {"0", "-1", "101", "two", "2.5"}) {
    expectFilterMisuse("--order", {"--lowpass", "5", std::string("--order=") + order, "-o", wav});
  }
  for (const char* taps : {"2", "-3", "131072", "many"}) {
    expectFilterMisuse("--fir", {"--lowpass", "5", std::string("--fir=") + taps, "-o", wav});
  }
  expectFilterMisuse("--order", {"--lowpass", "5", "--fir", "9", "--order", "2", "-o", wav});
  expectFilterMisuse("--fir", {"--lowpass", "5", "--window", "hamming", "-o", wav});
  expectFilterMisuse("--fir", {"--lowpass", "5", "--exact", "-o", wav});
  expectFilterMisuse("hann", {"--lowpass", "5", "--fir", "9", "--window", "hann", "-o", wav});
  expectFilterMisuse("a high-pass needs an odd number of taps: 64", {"--highpass", "5", "--fir", "64", "-o", wav});
  expectFilterMisuse("fast", {"--lowpass", "fast", "-o", wav});
  for (const char* edges : {"5", "5,", ",5", "5,x", "5;6", "5,6,7"}) {
    expectFilterMisuse("is not two frequencies LOW,HIGH", {"--bandpass", edges, "-o", wav});
  }
  for (const char* edges : {"6,5", "5,5"}) {
    expectFilterMisuse("must be below the second", {"--bandpass", edges, "-o", wav});
  }
  EXPECT_EQ(filesPresent(), std::vector<std::string>{});
}

TEST_F(FilterTest, NothingIsLeftAfterAFailureAndAnOlderFileStays) {
  const std::string file = writeAudio("a.wav", floatWav, 1, as<float>(noise(20000, 24), 0x1p-23));
  const std::string broken = cut(file, "cut.wav", 1), older = writeText("older.wav", "an older recording");
  expectRefused({"filter", broken, "--lowpass", "99", "-o", path("out.wav"), "--plot", path("out.png"), "--strict"},
                broken, "is truncated");
  expectUndrawn({"filter", file, "--lowpass", "99", "-o", older, "--plot", path("out.png")}, path("out.png"),
                "gnuplot cannot be started", "PATH=/nowhere");
  const std::string nowhere = path("nowhere/out.png");
  expectRefused({"filter", file, "--lowpass", "99", "-o", path("out.wav"), "--plot", nowhere}, nowhere,
                "cannot be written");
  EXPECT_EQ(read(older), "an older recording");
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "cut.wav", "older.wav"}));
}

}  // namespace
}  // namespace kxhost_test
