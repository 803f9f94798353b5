// `kxhost flicker`: its meter fed with voltages of known flicker, and its command line.
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

#include "analysis/flicker/flicker_severity.hpp"
#include "host/kxhost_test.hpp"
#include "host/png_image.hpp"
#include "host/svg_picture.hpp"

namespace kxhost_test {
namespace {

constexpr int rate = 4000;
constexpr int floatWav = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

/// A mains voltage of 1 V amplitude times what `envelope` says of each time.
std::vector<float> voltage(double seconds, double mains, const std::function<double(double)>& envelope) {
  std::vector<float> samples;
  for (int i = 0; i < static_cast<int>(seconds * rate); ++i) {
    const double time = static_cast<double>(i) / rate;
    samples.push_back(static_cast<float>(envelope(time) * std::sin(2 * std::numbers::pi * mains * time)));
  }
  return samples;
}

/// An envelope that changes by `percent`, up and down `frequency` times a second.
std::function<double(double)> rectangular(double percent, double frequency) {
  return [=](double time) { return 1 + percent / 200 * (std::fmod(time * frequency, 1) < 0.5 ? 1 : -1); };
}

double constant(double /*time*/) {
  return 1;
}

class FlickerTest : public KxhostTest {
protected:
  std::string record(const std::string& name, const std::vector<float>& samples) const {
    return writeAudio(name, floatWav, 1, samples, rate);
  }

  nlohmann::json flicker(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"flicker", "--json"});
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return nlohmann::json::parse(outcome.out);
  }

  double severity(const std::string& file, std::vector<std::string> options = {}) const {
    options.insert(options.end(), {file, "--settling", "8", "--period", "10"});
    return flicker(options).at("periods").at(0).at("pst");
  }

  /// Runs a part of the test at 4000 Hz; returns how many points it has.
  size_t expectPointsMet(const std::string& part, const std::string& lamp) const {
    const nlohmann::json result = flicker({"--test", part, "--lamp", lamp, "--rate", "4000"});
    EXPECT_EQ(result.at("passes"), true);
    for (const nlohmann::json& point : result.at("points")) {
      const bool isSeverity = part == "pst";
      EXPECT_EQ(point.at("test"), part);
      EXPECT_EQ(point.at("lamp_v"), std::stod(lamp));
      EXPECT_EQ(point.at("allowed_percent"), isSeverity ? 5 : 8);
      EXPECT_EQ(point.at("passes"), true);
      // The standard allows more.
      EXPECT_NEAR(point.at("measured"), 1, isSeverity ? 0.01 : 0.02) << point;
    }
    return result.at("points").size();
  }
};

TEST_F(FlickerTest, TheTestPointsOfTheStandardAreMet) {
  EXPECT_EQ(expectPointsMet("sinusoidal", "230"), 37);
  EXPECT_EQ(expectPointsMet("sinusoidal", "120"), 38);
  EXPECT_EQ(expectPointsMet("rectangular", "230"), 41);
  EXPECT_EQ(expectPointsMet("rectangular", "120"), 43);
  EXPECT_EQ(expectPointsMet("pst", "120"), 7);
}

TEST_F(FlickerTest, BothLampsAreTestedAtAWholeNumberOfSamplesAHalfCycle) {
  const Outcome outcome = run({"flicker", "--test", "rectangular"});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("rectangular  230 V/50 Hz      8.8 Hz  0.196 %"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("rectangular  120 V/60 Hz      8.8 Hz  0.252 %"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("\n84 test points at 12000 Hz, 0 outside"), std::string::npos) << outcome.out;
}

TEST_F(FlickerTest, APointOutsideOfWhatIsAllowedFailsTheTest) {
  const Outcome outcome =
      run({"flicker", "--test", "sinusoidal", "--lamp", "230", "--rate", "4000", "--tolerance", "0.1"});
  EXPECT_EQ(outcome.code, 1);
  EXPECT_NE(outcome.out.find("FAIL"), std::string::npos);
  EXPECT_NE(outcome.out.find("pass"), std::string::npos);
  EXPECT_EQ(run({"flicker", "--test", "sinusoidal", "--json", "--rate", "4000", "--tolerance", "0.1"}).code, 1);
}

TEST_F(FlickerTest, ASteadyVoltageDoesNotFlicker) {
  EXPECT_NEAR(severity(record("50.wav", voltage(18, 50, constant))), 0.0095, 0.0005);
  // Less than the classes hold: were it counted where the kernel counts what is too little, Pst would be hundreds.
  EXPECT_LT(severity(record("60.wav", voltage(18, 60, constant)), {"--lamp", "120"}), 0.01);
}

TEST_F(FlickerTest, RecordedFlickerOfKnownStrengthIsFound) {
  const std::string file = record("a.wav", voltage(18, 50, rectangular(0.407, 13.5)));
  EXPECT_NEAR(severity(file), 1, 0.01);
  const std::string other = record("b.wav", voltage(18, 60, rectangular(0.548, 13.5)));
  EXPECT_NEAR(severity(other, {"--lamp", "120"}), 1, 0.01);
  const nlohmann::json result = flicker({file, "--settling", "8", "--period", "10"});
  EXPECT_EQ(result.at("lamp_v"), 230);
  EXPECT_EQ(result.at("nominal_frequency_hz"), 50);
  EXPECT_EQ(result.at("sample_rate_hz"), rate);
  EXPECT_EQ(result.at("settling_s"), 8);
  EXPECT_EQ(result.at("period_s"), 10);
}

TEST_F(FlickerTest, SensationGrowsWithTheSquareOfTheChange) {
  const auto measured = [&](double percent) {
    return flicker({record("a.wav", voltage(18, 50, rectangular(percent, 8.8))), "--settling", "8", "--period", "10"})
        .at("periods")
        .at(0);
  };
  const nlohmann::json weak = measured(0.196), strong = measured(0.392);
  EXPECT_NEAR(weak.at("largest_sensation"), 1, 0.01);
  EXPECT_NEAR(strong.at("largest_sensation"), 4, 0.02);
  EXPECT_NEAR(strong.at("pst").get<double>(), 2 * weak.at("pst").get<double>(), 0.01);
}

TEST_F(FlickerTest, TheUnitOfTheVoltageDoesNotMatter) {
  const std::vector<float> samples = voltage(18, 50, rectangular(1, 3));
  const double expected = severity(record("volts.wav", samples));
  for (const double factor : {1e-6, 0.7, 325.0, 1e9}) {
    std::vector<float> scaled;
    scaled.reserve(samples.size());
    for (const float sample : samples) {
      scaled.push_back(static_cast<float>(static_cast<double>(sample) * factor));
    }
    EXPECT_NEAR(severity(record("scaled.wav", scaled)), expected, 1e-4) << factor;
  }
  std::vector<int16_t> steps;
  steps.reserve(samples.size());
  for (const float sample : samples) {
    steps.push_back(static_cast<int16_t>(std::lround(30000 * sample)));
  }
  EXPECT_NEAR(severity(writeRaw("steps.raw", steps), {"--raw", "int16", "--channels", "1", "--rate", "4000"}), expected,
              1e-3);
}

TEST_F(FlickerTest, AChannelCanBeChosen) {
  const std::vector<float> steady = voltage(18, 50, constant), flickering = voltage(18, 50, rectangular(1, 5));
  std::vector<float> both;
  for (size_t i = 0; i < steady.size(); ++i) {
    both.insert(both.end(), {steady[i], flickering[i]});
  }
  const std::string file = writeAudio("a.wav", floatWav, 2, both, rate);
  EXPECT_EQ(severity(file), severity(record("steady.wav", steady)));
  EXPECT_EQ(severity(file, {"--channel", "2"}), severity(record("flickering.wav", flickering)));
}

TEST_F(FlickerTest, PeriodsFollowTheSettlingAndTwelveGiveALongTermSeverity) {
  // It flickers in the sixth period, and what the filters keep of that lasts a while.
  const auto envelope = [](double time) { return time < 10 || time >= 11 ? 1 : rectangular(2, 8)(time); };
  const std::string file = record("a.wav", voltage(18.5, 50, envelope));
  const nlohmann::json result = flicker({file, "--settling", "5", "--period", "1"});
  const nlohmann::json& periods = result.at("periods");
  ASSERT_EQ(periods.size(), 13);
  double cubes = 0;
  for (size_t i = 0; i < periods.size(); ++i) {
    EXPECT_EQ(periods[i].at("from_s"), 5 + i);
    EXPECT_EQ(periods[i].at("length_s"), 1);
    const double pst = periods[i].at("pst");
    EXPECT_EQ(pst > 1, 5 <= i && i < 8) << i << ": " << pst;
    cubes += i < 12 ? pst * pst * pst : 0;
  }
  ASSERT_EQ(result.at("plt").size(), 1);
  EXPECT_NEAR(result.at("plt").at(0), std::cbrt(cubes / 12), 1e-9);

  const Outcome outcome = run({"flicker", file, "--settling", "5", "--period", "1"});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  for (const char* const text :
       {"4000 Hz: lamp and mains of 230 V/50 Hz, settled for 5 s, Pst over 1 s\n", "From/s  To/s",
        "from 5 s to 17 s: 12 periods of 1 s\n", "The last 0.5 s are no full period"}) {
    EXPECT_NE(outcome.out.find(text), std::string::npos) << text << '\n' << outcome.out;
  }
}

/// Days of a recording without a time begin with it; one that holds less than a dozen of periods is not told.
TEST_F(FlickerTest, ADayHasItsSpreadOfSeverities) {
  const auto envelope = [](double time) { return time < 10 || time >= 11 ? 1 : rectangular(2, 8)(time); };
  const std::string file = record("a.wav", voltage(18.5, 50, envelope));
  const nlohmann::json result = flicker({file, "--settling", "5", "--period", "1"});
  ASSERT_EQ(result.at("days").size(), 1);
  const nlohmann::json& day = result.at("days").at(0);
  EXPECT_EQ(day.at("from_s"), 0);
  EXPECT_TRUE(day.at("from_time").is_null());
  std::vector<double> severities;
  for (const nlohmann::json& period : result.at("periods")) {
    severities.push_back(period.at("pst"));
  }
  std::ranges::sort(severities);
  EXPECT_EQ(day.at("pst").at("value_count"), 13);
  EXPECT_EQ(day.at("pst").at("minimum"), severities.front());
  EXPECT_EQ(day.at("pst").at("percentile_5"), severities.front());
  EXPECT_EQ(day.at("pst").at("percentile_95"), severities.back());
  EXPECT_EQ(day.at("pst").at("maximum"), severities.back());
  EXPECT_EQ(day.at("plt").at("value_count"), 1);
  EXPECT_EQ(day.at("plt").at("percentile_95"), result.at("plt").at(0));
  const std::string text = run({"flicker", file, "--settling", "5", "--period", "1"}).out;
  EXPECT_NE(text.find("\nDay from 0 s\nSeverity  Values"), std::string::npos) << text;
  EXPECT_NE(text.find("\nPlt            1"), std::string::npos) << text;
  EXPECT_TRUE(flicker({file, "--settling", "5", "--period", "2"}).at("days").empty());
}

TEST_F(FlickerTest, PeriodsThatADipTouchesAreFlagged) {
  const auto envelope = [](double time) { return time < 8.45 || time >= 8.65 ? 1 : 0.5; };
  const std::string file = record("a.wav", voltage(14, 50, envelope));
  const nlohmann::json periods = flicker({file, "--settling", "3", "--period", "2"}).at("periods");
  ASSERT_EQ(periods.size(), 5);
  for (size_t i = 0; i < periods.size(); ++i) {  // from 3, 5, 7, 9 and 11 s on
    EXPECT_EQ(periods[i].at("flags"), i == 2 ? nlohmann::json({"dip"}) : nlohmann::json::array()) << i;
  }
  const std::string text = run({"flicker", file, "--settling", "3", "--period", "2"}).out;
  EXPECT_NE(text.find("Largest  Flags\n"), std::string::npos) << text;
  EXPECT_NE(text.find("  dip\n"), std::string::npos) << text;
  const nlohmann::json other = flicker({file, "--settling", "3", "--period", "2", "--mains", "60"}).at("periods");
  EXPECT_EQ(other[0].at("flags"), nlohmann::json({"frequency unknown"}));  // 50 Hz are too far away
}

TEST_F(FlickerTest, TheHelpAndTheTestNameAllFourSystems) {
  const std::string help = run({"flicker", "--help"}).out;
  EXPECT_NE(help.find("230 V/50 Hz, 120 V/60 Hz, and by --mains"), std::string::npos) << help;
  EXPECT_NE(help.find("230 V/60 Hz\nand 120 V/50 Hz"), std::string::npos) << help;
  EXPECT_TRUE(run({"flicker", "--test", "sinusoidal", "--lamp", "230", "--rate", "4000"})
                  .out.ends_with("\nWithout points: 230 V/60 Hz and 120 V/50 Hz (--mains)\n"));
}

TEST_F(FlickerTest, ALampCanBeUsedAtTheOtherMainsFrequency) {
  const std::string file = record("a.wav", voltage(18, 60, rectangular(1, 8.8)));
  const nlohmann::json result = flicker({file, "--mains", "60", "--settling", "8", "--period", "10"});
  EXPECT_EQ(result.at("lamp_v"), 230);
  EXPECT_EQ(result.at("nominal_frequency_hz"), 60);
  // The eye does not mind: the wider low-pass changes next to nothing at 8.8 Hz.
  EXPECT_NEAR(result.at("periods").at(0).at("largest_sensation"), 1 / (0.196 * 0.196), 0.3);
}

TEST_F(FlickerTest, AVoltageThatComesLateIsMeasured) {
  const std::string file = record("a.wav", voltage(20, 50, [](double time) { return time < 5 ? 0 : 1; }));
  const nlohmann::json periods = flicker({file, "--settling", "0", "--period", "4"}).at("periods");
  ASSERT_EQ(periods.size(), 5);
  for (const nlohmann::json& period : periods) {
    EXPECT_TRUE(period.at("largest_sensation").is_number()) << period;  // a NaN would be null
  }
  EXPECT_GT(periods.at(1).at("pst"), 10);
  EXPECT_LT(periods.at(4).at("largest_sensation"), periods.at(1).at("largest_sensation"));
}

TEST_F(FlickerTest, RecordingsThatCannotBeMeasuredAreRefused) {
  const std::vector<float> samples = voltage(4, 50, constant);
  const std::string file = record("a.wav", samples);
  const std::string slow = writeAudio("slow.wav", floatWav, 1, samples, 3999);
  const std::string silent = record("silent.wav", std::vector<float>(40000));
  const std::string csv = writeText("a.csv", "a,b\n1,2\n3,4\n");
  expectRefused({"flicker", path("none.wav")}, path("none.wav"), "no such file");
  expectRefused({"flicker", file}, file, "lasts 4 s: settling and one period (--settling, --period) take 630 s");
  expectRefused({"flicker", file, "--settling", "1", "--period", "3.001"}, file, "take 4.001 s");
  expectRefused({"flicker", file, "--channel", "2"}, file, "has no channel 2");
  expectMisuse({"flicker", file, "--channel", "0"}, "0 is not a whole number from 1 to 2147483647");
  expectRefused({"flicker", slow}, slow, "has a sample rate of 3999 Hz, flicker needs at least 4000 Hz");
  expectRefused({"flicker", file, "--rate", "1e6", "--period", "86400"}, file, "more than can be counted");
  expectRefused({"flicker", csv}, csv, "carries no sample rate");
  expectRefused({"flicker", silent, "--settling", "1", "--period", "3"}, silent, "has no voltage in channel 1");
  for (const float wrong : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    std::vector<float> holed = samples;
    holed[12345] = wrong;
    const std::string broken = record("holed.wav", holed);
    expectRefused({"flicker", broken, "--plot", path("out.png")}, broken,
                  "channel 1: " + std::to_string(wrong) + " is not a finite number");
  }
  EXPECT_FALSE(std::filesystem::exists(path("out.png")));
  const std::string empty = record("empty.wav", {});
  expectRefused({"flicker", empty, "--plot", path("out.png")}, empty, "lasts 0 s");
  EXPECT_FALSE(std::filesystem::exists(path("out.png")));
  for (const char* const wrong : {"3999", "1000001"}) {
    expectRefused({"flicker", "--test", "--rate", wrong}, "--test", "must be from 4000 to 1000000 Hz");
  }
}

TEST_F(FlickerTest, AMisusedCommandLineIsRefused) {
  expectMisuse({"flicker"}, "FILE or --test");
  expectMisuse({"flicker", "--test", "all", "a.wav"}, "--test");
  expectMisuse({"flicker", "--test", "some"}, "--test");
  expectMisuse({"flicker", "--test", "--plot", "a.png"}, "--plot");
  expectMisuse({"flicker", "--test", "--tolerance", "0"}, "--tolerance");
  expectMisuse({"flicker", "a.wav", "--tolerance", "5"}, "--tolerance");
  expectMisuse({"flicker", "a.wav", "--lamp", "110"}, "--lamp");
  expectMisuse({"flicker", "a.wav", "--mains", "55"}, "--mains");
  expectMisuse({"flicker", "a.wav", "--plot", "a.gif"}, "--plot");
  for (const char* const text : {"0.9", "86401", "nan", "x"}) {
    expectMisuse({"flicker", "a.wav", "--period", text}, "--period");
  }
  for (const char* const text : {"-1", "3601", "nan"}) {
    expectMisuse({"flicker", "a.wav", std::string("--settling=") + text}, "--settling");
  }
}

/// Expects the sensation and the severities of periods that follow each other from `begin` on, `length` seconds each.
void expectPeriods(const SvgPane& pane, const nlohmann::json& periods, double begin, double length) {
  const SvgCurve& sensation = pane.curves.at(1);
  const double halfColumn =
      pane.x.numberAt(pane.left + (pane.right - pane.left) / 2000, AxisKind::linear);  // in seconds
  for (size_t i = 0; i < periods.size(); ++i) {
    const double from = begin + static_cast<double>(i) * length, to = from + length;
    const double severity = periods[i].at("pst");
    expectThrough(pane, pane.curve("Pst"), {{from, severity}, {(from + to) / 2, severity}, {to, severity}}, 0.6, true);
    double highest = 0;
    const std::vector<Place>& line = sensation.lines.at(0);
    for (size_t k = 1; k < line.size(); ++k) {  // a level stretch has no places but its ends
      const double first = pane.x.numberAt(line[k - 1].x, AxisKind::linear);
      const double last = pane.x.numberAt(line[k].x, AxisKind::linear);
      if (first <= (from + to) / 2 && last >= (from + to) / 2) {
        highest = pane.y.numberAt(line[k].y, AxisKind::linear);
      }
    }
    for (const Place& place : line) {
      const double time = pane.x.numberAt(place.x, AxisKind::linear);
      if (time > from + 0.9 * halfColumn && time < to - 0.9 * halfColumn) {
        highest = std::max(highest, pane.y.numberAt(place.y, AxisKind::linear));
      }
    }
    const double largest = periods[i].at("largest_sensation");
    EXPECT_NEAR(pane.y.pixelOf(highest, AxisKind::linear), pane.y.pixelOf(largest, AxisKind::linear), 1) << i;
  }
  for (const Place& place : sensation.lines.at(0)) {
    EXPECT_LE(pane.curves.at(0).distanceOf(place), 0.6);
  }
}

TEST_F(FlickerTest, ThePictureShowsSensationAndSeverityOverTime) {
  // Stronger changes at the beginning of the first of the two periods.
  const auto envelope = [](double time) { return rectangular(time < 11 ? 2 : 1, 5)(time); };
  const std::string file = record("a.wav", voltage(18, 50, envelope));
  const std::vector<std::string> options{file, "--settling", "8", "--period", "5"};
  const auto drawn = [&](const std::string& picture) {
    std::vector<std::string> arguments = options;
    arguments.insert(arguments.begin(), "flicker");
    arguments.insert(arguments.end(), {"--plot", path(picture)});
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return read(path(picture));
  };
  const std::string svg = drawn("out.svg");
  for (const char* const text :
       {"a.wav (wav, float, 4000 Hz), channel 1, 230 V/50 Hz", "time in seconds",
        "instantaneous sensation (1 = threshold)", "Pst over 5 s", "settling", "cumulative probability, period 1 of 2",
        "share of time in which it is exceeded, in %", "P0.1 = ", "P50 = "}) {
    EXPECT_NE(svg.find(text), std::string::npos) << text;
  }
  const nlohmann::json periods = flicker(options).at("periods");
  std::vector<SvgPane> panes = readSvg(svg);
  ASSERT_EQ(panes.size(), 2U);
  EXPECT_NEAR(panes[0].x.pixelOf(0, AxisKind::linear), panes[0].left, 0.1);
  EXPECT_NEAR(panes[0].x.pixelOf(18, AxisKind::linear), panes[0].right, 0.1);
  expectPeriods(panes[0], periods, 8, 5);
  bool isShaded = false;
  for (const SvgCurve& object : readObjects(svg)) {
    isShaded = isShaded || (object.colour == "rgb(228,228,228)" && object.areas.size() == 1 &&
                            object.distanceOf({panes[0].x.pixelOf(8, AxisKind::linear), panes[0].top + 5}) < 0.6);
  }
  EXPECT_TRUE(isShaded);

  SvgPane& probability = panes[1];
  probability.xKind = probability.yKind = AxisKind::logarithmic;
  const Place peak{periods[0].at("p0_1"), 0.1};
  expectThrough(probability, probability.curve("this period"), {peak});
  expectThrough(probability, probability.curve("other periods"), {{periods[1].at("p0_1"), 0.1}});
  const SvgCurve& percentiles = probability.curve("percentiles");
  EXPECT_EQ(percentiles.marks.size(), 15U);
  for (const Place& mark : percentiles.marks) {
    EXPECT_LE(probability.curve("this period").distanceOf(mark), 1);
  }
  EXPECT_LE(std::hypot(percentiles.marks.at(0).x - probability.at(peak.x, peak.y).x,
                       percentiles.marks.at(0).y - probability.at(peak.x, peak.y).y),
            0.6);
  expectSpan(panes[0].curves.at(1), panes[0].left, panes[0].right);

  drawn("out.png");
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "out.png", "out.svg"}));
  const PngImage image(path("out.png"));
  EXPECT_EQ(image.width(), 1200);
  EXPECT_EQ(image.height(), 900);
  expectShows(image, panes[0].curve("Pst"));
  expectShows(image, panes[0].curves.at(1));
  expectShows(image, percentiles);
}

TEST_F(FlickerTest, SteadyAndAbsentVoltagesCanBeDrawn) {
  const auto late = [](double time) { return time < 9 ? 0 : 1; };
  for (const auto& samples : {voltage(10, 60, constant), voltage(10, 60, late)}) {
    const std::vector<std::string> options{
        record("a.wav", samples), "--lamp", "120", "--settling", "4", "--period", "2"};
    std::vector<std::string> drawing = options;
    drawing.insert(drawing.begin(), "flicker");
    drawing.insert(drawing.end(), {"--plot", path("out.svg")});
    const Outcome outcome = run(drawing);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    const std::vector<SvgPane> panes = readSvg(read(path("out.svg")));
    ASSERT_EQ(panes.size(), 2U);
    expectPeriods(panes[0], flicker(options).at("periods"), 4, 2);
  }
}

TEST(FlickerSeverity, LevelsAreInterpolatedInsideOfAClass) {
  kxanalysis::ClassCounts classes{};
  EXPECT_EQ(kxanalysis::exceededLevel(classes, 50), 0);
  classes[400] = 50;  // from 1 to 10^0.01
  classes[500] = 50;  // from 10 to 10^1.01
  const double step = std::pow(10, 0.01);
  EXPECT_NEAR(kxanalysis::exceededLevel(classes, 0.1), 10 * (step - 0.002 * (step - 1)), 1e-12);
  EXPECT_NEAR(kxanalysis::exceededLevel(classes, 25), 10 * (1 + step) / 2, 1e-12);
  EXPECT_NEAR(kxanalysis::exceededLevel(classes, 50), 10, 1e-12);
  EXPECT_NEAR(kxanalysis::exceededLevel(classes, 75), (1 + step) / 2, 1e-12);
  EXPECT_NEAR(kxanalysis::exceededLevel(classes, 100), 1, 1e-12);
}

TEST(FlickerSeverity, TheFirstClassBeginsAtZeroAndTheLastEndsAtAMillion) {
  kxanalysis::ClassCounts low{}, high{};
  low[0] = 7;
  EXPECT_NEAR(kxanalysis::exceededLevel(low, 50), std::pow(10, -3.99) / 2, 1e-15);
  high[999] = 7;
  EXPECT_NEAR(kxanalysis::exceededLevel(high, 0), 1e6, 1e-6);
}

TEST(FlickerSeverity, CountsBeyondThirtyTwoBitsAreSummed) {
  kxanalysis::ClassCounts classes{};
  classes[400] = 4000000000;
  classes[500] = 4000000000;
  EXPECT_NEAR(kxanalysis::exceededLevel(classes, 50), 10, 1e-9);
}

// By hand: where all is in the class from 1 to 1.0232930, a percentile is 1.0232930 - 0.0232930 k / 100, and the smoothed
// ones are at the means of their k: 16/15, 46/15, 10.8 and 160/3.
TEST(FlickerSeverity, PstWeighsTheSmoothedPercentiles) {
  kxanalysis::ClassCounts classes{};
  classes[400] = 1000000;
  const auto at = [](double percent) { return 1.0232929923 - 0.0232929923 * percent / 100; };
  const kxanalysis::Severity severity = kxanalysis::severityOf(classes);
  EXPECT_NEAR(severity.p01, at(0.1), 1e-9);
  EXPECT_NEAR(severity.p1s, at(16.0 / 15), 1e-9);
  EXPECT_NEAR(severity.p3s, at(46.0 / 15), 1e-9);
  EXPECT_NEAR(severity.p10s, at(10.8), 1e-9);
  EXPECT_NEAR(severity.p50s, at(160.0 / 3), 1e-9);
  EXPECT_NEAR(severity.shortTerm, 0.7209100, 1e-6);
}

TEST(FlickerSeverity, PltIsTheCubicMean) {
  std::array<double, 12> severities{};
  severities.fill(0.5);
  EXPECT_NEAR(kxanalysis::longTermSeverity(severities), 0.5, 1e-12);
  severities.fill(0);
  severities[3] = 2;
  EXPECT_NEAR(kxanalysis::longTermSeverity(severities), 2 / std::cbrt(12), 1e-12);
}

}  // namespace
}  // namespace kxhost_test
