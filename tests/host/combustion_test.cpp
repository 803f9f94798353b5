// `kxhost combustion`: cycles whose figures are worked out by hand, files that are none, and the simulation.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <numbers>
#include <sstream>

#include "host/kxhost_test.hpp"
#include "host/svg_picture.hpp"

namespace kxhost_test {
namespace {

// The tests' engine: displacement pi / 4 * 80^2 * 90 mm3, compression ratio 9.
constexpr double bore = 80, stroke = 90, rod = 150, compressionRatio = 9;
constexpr double displacement = std::numbers::pi / 4 * bore * bore * stroke / 1000;  // in cm3

/// Volume over displacement: the clearance of 1/8, and the piston's way from the top by the law of cosines.
double volume(double angle) {
  const double radians = angle * std::numbers::pi / 180, crank = stroke / 2;
  const double height =
      crank * std::cos(radians) + std::sqrt(rod * rod - crank * crank * std::pow(std::sin(radians), 2));
  return 1 / (compressionRatio - 1) + (crank + rod - height) / stroke;
}

using Pressure = std::function<double(double angle)>;

class CombustionTest : public KxhostTest {
protected:
  /// Writes a column a cycle from -360 to 360 degrees.
  std::string writeCycles(const std::string& name, const std::vector<Pressure>& cycles, double step = 1) const {
    std::ostringstream text;
    text.precision(12);
    text << "angle";
    for (size_t i = 0; i < cycles.size(); ++i) {
      text << ",p" << i + 1;
    }
    text << '\n';
    for (int row = 0; row <= std::lround(720 / step); ++row) {
      const double angle = -360 + row * step;
      text << angle;
      for (const Pressure& pressure : cycles) {
        text << ',' << pressure(angle);
      }
      text << '\n';
    }
    return writeText(name, text.str());
  }

  std::vector<std::string> arguments(const std::vector<std::string>& more) const {
    std::vector<std::string> all{"combustion",          "--bore", "80", "--stroke", "90", "--rod", "150",
                                 "--compression-ratio", "9"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  /// What `kxhost combustion --json` makes of the tests' engine.
  nlohmann::json analyse(std::vector<std::string> options) const {
    options.emplace_back("--json");
    const Outcome outcome = run(arguments(options));
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return outcome.code == 0 ? nlohmann::json::parse(outcome.out) : nlohmann::json();
  }

  std::vector<SvgPane> panes(const std::string& name) const { return readSvg(read(path(name))); }

  void expectCsvRefused(const std::string& text, const std::string& reason,
                        const std::vector<std::string>& more = {}) const {
    const std::string file = writeText("bad.csv", text);
    std::vector<std::string> all = arguments({file, "--plot", path("out.png")});
    all.insert(all.end(), more.begin(), more.end());
    expectRefused(all, file, reason);
    EXPECT_EQ(filesPresent(), std::vector<std::string>{"bad.csv"});
  }
};

/// Rows of one cycle from -360 on in steps of 2 degrees, with `edit` done to row `at`, counted from 1.
std::string rows(size_t at, const std::string& edit) {
  std::string text = "angle,p1,p2\n";
  for (size_t row = 1; row <= 361; ++row) {
    text += row == at ? edit + '\n' : std::to_string(-362 + 2 * static_cast<int>(row)) + ",1,2\n";
  }
  return text;
}

/// One pressure over many turns from an angle on; cycle c has its peak of 10 (c + 2) bar at 10 + c degrees.
std::string longRows(double from, int rows, double step = 1) {
  std::ostringstream text;
  text.precision(12);
  text << "angle,p\n";
  for (int row = 0; row < rows; ++row) {
    const double angle = from + row * step;
    const double cycle = std::floor((angle + 360) / 720);
    text << angle << ',' << (angle - 720 * cycle == 10 + cycle ? 10 * (cycle + 2) : 1) << '\n';
  }
  return text.str();
}

/// Constant pressures in each stroke: work is pressure times displacement, but for the step next to top dead centre, in
/// which the pressure is between.
Pressure rectangle(double compression, double expansion) {
  return [=](double angle) { return angle < 0 ? compression : expansion; };
}

double rectangleImep(double compression, double expansion, double step) {
  return (expansion - compression) * (1 - (volume(step) - volume(0)) / 2);
}

TEST_F(CombustionTest, ARectangleHasTheWorkOfItsSides) {
  for (const double step : {1.0, 2.0, 0.5, 1.6}) {  // with the last there is no sample at 180 degrees
    const std::string file = writeCycles("rectangle.csv", {rectangle(2, 12), rectangle(1, 31)}, step);
    const auto all = analyse({file, "--peg", "none"});
    EXPECT_NEAR(all["cycles"][0]["gross_imep_bar"], rectangleImep(2, 12, step), 1e-6);
    EXPECT_NEAR(all["cycles"][1]["gross_imep_bar"], rectangleImep(1, 31, step), 1e-6);
    const auto overall = all["overall"]["gross_imep_bar"];
    const double mean = (rectangleImep(2, 12, step) + rectangleImep(1, 31, step)) / 2;
    const double deviation = (rectangleImep(1, 31, step) - rectangleImep(2, 12, step)) / std::numbers::sqrt2;
    EXPECT_NEAR(overall["mean"], mean, 1e-6);
    EXPECT_NEAR(overall["standard_deviation"], deviation, 1e-6);
    EXPECT_NEAR(overall["variation_percent"], 100 * deviation / mean, 1e-5);
    EXPECT_NEAR(all["displacement_cm3"], displacement, 1e-9);
    EXPECT_NEAR(all["clearance_cm3"], displacement / 8, 1e-9);
  }
}

TEST_F(CombustionTest, OnlyTheClosedCycleCounts) {
  const auto pumping = [](double angle) { return std::abs(angle) > 180 ? 5 + angle / 100 : angle < 0 ? 1.0 : 3.0; };
  const auto all = analyse({writeCycles("pumping.csv", {pumping}), "--peg", "none"});
  EXPECT_NEAR(all["cycles"][0]["gross_imep_bar"], rectangleImep(1, 3, 1), 1e-6);
}

TEST_F(CombustionTest, TheWorkEndsBetweenSamples) {
  std::ostringstream text;
  text << "angle,p\n";
  for (int angle = -182; angle <= 186; angle += 8) {
    text << angle << ',' << (angle == -182 ? 8 : angle < 0 ? 0 : angle < 180 ? 4 : 12) << '\n';
  }
  const auto all = analyse({writeText("coarse.csv", text.str()), "--peg", "none", "--smooth", "none"});
  // A quarter of a step away from its neighbour either end has 6 bar: 8 to 0, and 4 to 12. Between them 4 bar in the
  // expansion, and half of it in the step from -6 to 2 degrees.
  const double begin = (6 + 0) / 2 * (volume(174) - volume(180)), end = (4 + 6) / 2 * (volume(180) - volume(178));
  const double expected = begin + 2 * (volume(2) - volume(6)) + 4 * (volume(178) - volume(2)) + end;
  EXPECT_NEAR(all["cycles"][0]["gross_imep_bar"], expected, 1e-6);
}

Pressure polytrope(double compression, double expansion) {
  return [=](double angle) {
    return angle < 0 ? 0.9 * std::pow(volume(-180) / volume(angle), compression)
                     : 4 * std::pow(volume(180) / volume(angle), expansion);
  };
}

TEST_F(CombustionTest, PolytropesHaveTheirExponents) {
  const std::string file = writeCycles("polytropes.csv", {polytrope(1.35, 1.25), polytrope(1.35, 1.25)});
  for (const char* smoothing : {"none", "parabola", "average"}) {
    const auto all = analyse({file, "--peg", "none", "--smooth", smoothing, "--width", "3"});
    const double tolerance = smoothing == std::string("none") ? 1e-6 : 1e-3;
    EXPECT_NEAR(all["compression_exponent"], 1.35, tolerance) << smoothing;
    EXPECT_NEAR(all["expansion_exponent"], 1.25, tolerance) << smoothing;
  }
  const auto all = analyse({file, "--peg", "none", "--smooth", "none", "--compression-window=-20,20"});
  EXPECT_GT(std::abs(all["compression_exponent"].get<double>() - 1.35), 0.01);
}

TEST_F(CombustionTest, TheWorkOfAPolytropeIsTheIntegral) {
  // Closed form of the integral of p dV: p1 V1 (1 - (V1 / V2)^(n - 1)) / (n - 1), in displacements.
  const auto work = [](double p, double from, double to, double n) {
    return p * from * (1 - std::pow(from / to, n - 1)) / (n - 1);
  };
  const auto all = analyse({writeCycles("a.csv", {polytrope(1.35, 1.25)}, 0.1), "--peg", "none"});
  const double top = volume(0), bottom = volume(180);
  const double expected = work(0.9, bottom, top, 1.35) + work(4 * std::pow(bottom / top, 1.25), top, bottom, 1.25);
  EXPECT_NEAR(all["cycles"][0]["gross_imep_bar"], expected, 1e-3);
}

TEST_F(CombustionTest, ZeroLevelsAreFoundInEveryCycle) {
  const auto shifted = [](double zero) {
    return [zero](double angle) { return zero + (angle < -120 ? 1.0 : polytrope(1.32, 1.3)(angle)); };
  };
  const std::string file = writeCycles("shifted.csv", {shifted(0), shifted(2.5), shifted(-7)});
  const auto intake = analyse({file, "--intake-pressure", "1"});
  const auto higher = analyse({file, "--intake-pressure", "1.25", "--peg-window=-300,-250"});
  const auto polytropic = analyse({file, "--peg", "polytropic", "--peg-exponent", "1.32"});
  const auto none = analyse({file, "--peg", "none"});
  const double zeros[] = {0, 2.5, -7};
  for (size_t i = 0; i < std::size(zeros); ++i) {
    EXPECT_NEAR(intake["cycles"][i]["zero_level_bar"], zeros[i], 1e-5);
    EXPECT_NEAR(higher["cycles"][i]["zero_level_bar"], zeros[i] - 0.25, 1e-5);
    EXPECT_NEAR(polytropic["cycles"][i]["zero_level_bar"], zeros[i], 1e-4);
    EXPECT_EQ(none["cycles"][i]["zero_level_bar"], 0);
    EXPECT_NEAR(intake["cycles"][i]["peak_pressure_bar"], 4 * std::pow(9, 1.3), 1e-4);
    EXPECT_NEAR(none["cycles"][i]["peak_pressure_bar"], 4 * std::pow(9, 1.3) + zeros[i], 1e-4);
    EXPECT_EQ(intake["cycles"][i]["peak_pressure_angle_deg"], 0);
  }
}

/// A triangle over the crank angle: up by `rise` bar a degree from `top` - 30 to `top`, then down as fast.
Pressure triangle(double top, double rise) {
  return [=](double angle) { return 1 + std::max(0.0, rise * (30 - std::abs(angle - top))); };
}

TEST_F(CombustionTest, PeaksAndRisesAreThoseOfTheCycle) {
  const std::string file = writeCycles("triangles.csv", {triangle(10, 2), triangle(20, 3), triangle(-40, 0.5)}, 0.5);
  const auto all = analyse({file, "--smooth", "average"});
  const double tops[] = {10, 20, -40}, rises[] = {2, 3, 0.5};
  for (size_t i = 0; i < std::size(tops); ++i) {
    EXPECT_NEAR(all["cycles"][i]["peak_pressure_bar"], 1 + 30 * rises[i], 1e-5);
    EXPECT_EQ(all["cycles"][i]["peak_pressure_angle_deg"], tops[i]);
    EXPECT_NEAR(all["cycles"][i]["steepest_rise_bar_per_deg"], rises[i], 1e-4);
    EXPECT_GT(all["cycles"][i]["steepest_rise_angle_deg"], tops[i] - 30);
    EXPECT_LT(all["cycles"][i]["steepest_rise_angle_deg"], tops[i]);
  }
  const auto exact = analyse({file, "--smooth", "none"});
  EXPECT_NEAR(exact["cycles"][1]["steepest_rise_bar_per_deg"], 3, 1e-4);
  EXPECT_NEAR(exact["overall"]["steepest_rise_bar_per_deg"]["maximum"], 3, 1e-4);
  EXPECT_NEAR(exact["overall"]["peak_pressure_bar"]["minimum"], 16, 1e-5);
}

TEST_F(CombustionTest, SmoothingIsOfTheNamedKind) {
  // A single sample of 105 bar: what comes out is the filter's response, whose maximum is that of the curve.
  const auto spike = [](double angle) { return angle == 20 ? 105.0 : 0.0; };
  const std::string file = writeCycles("spike.csv", {spike});
  const auto highest = [&](const std::vector<std::string>& options) {
    std::vector<std::string> all{file, "--peg", "none"};
    all.insert(all.end(), options.begin(), options.end());
    return analyse(all)["smoothed_pressure_bar"]["maximum"].get<double>();
  };
  EXPECT_NEAR(highest({"--smooth", "none"}), 105, 1e-4);
  EXPECT_NEAR(highest({"--smooth", "average", "--width", "7"}), 15, 1e-4);
  EXPECT_NEAR(highest({"--smooth", "average", "--width", "1"}), 105, 1e-4);
  EXPECT_NEAR(highest({"--smooth", "parabola", "--width", "7"}), 35, 1e-4);  // 7 / 21
  EXPECT_NEAR(highest({"--smooth", "parabola", "--width", "5"}), 51, 1e-4);  // 17 / 35
  EXPECT_NEAR(highest({"--smooth", "parabola", "--width", "1"}), 105, 1e-4);
  EXPECT_NEAR(highest({}), 105 * 89.0 / 429, 1e-4);  // a parabola over 11
}

TEST_F(CombustionTest, SmoothingIsCentred) {
  const auto sigmoid = [](double angle) { return 1 + 10 / (1 + std::exp((17 - angle) / 2)); };
  const std::string file = writeCycles("sigmoid.csv", {sigmoid});
  for (const char* smoothing : {"none", "parabola", "average"}) {
    for (const char* width : {"3", "5", "9"}) {
      const auto all = analyse({file, "--smooth", smoothing, "--width", width});
      EXPECT_EQ(all["cycles"][0]["steepest_rise_angle_deg"], 17) << smoothing << ' ' << width;
    }
  }
}

TEST_F(CombustionTest, AveragesGoOverAllAndOverTheLastCycles) {
  const std::vector<double> peaks = {10, 20, 60, 40, 10, 30, 80};
  for (const double peakAngle : {5, 360}) {  // a sample among others, and the last one
    std::vector<Pressure> cycles;
    for (const double peak : peaks) {
      cycles.push_back([=](double angle) { return angle == peakAngle ? peak : 1.0; });
    }
    const std::string file = writeCycles("peaks.csv", cycles);
    for (const size_t window : {size_t{1}, size_t{2}, size_t{3}, size_t{6}, size_t{7}, size_t{8}}) {
      const auto all = analyse({file, "--smooth", "none", "--window", std::to_string(window)});
      EXPECT_EQ(all["windowed_cycles"], std::min(window, peaks.size()));
      for (size_t i = 0; i < peaks.size(); ++i) {
        double sum = 0, windowed = 0;
        for (size_t k = 0; k <= i; ++k) {
          sum += peaks[k];
          windowed += k + window > i ? peaks[k] : 0;
        }
        const auto cycle = all["cycles"][i];
        EXPECT_NEAR(cycle["average_peak_pressure_bar"], sum / static_cast<double>(i + 1), 1e-4);
        EXPECT_NEAR(cycle["windowed_peak_pressure_bar"], windowed / static_cast<double>(std::min(window, i + 1)), 1e-4)
            << "window " << window << ", cycle " << i + 1;
      }
    }
  }
}

TEST_F(CombustionTest, AConstantPressureStaysConstant) {
  const std::string file = writeCycles("constant.csv", {rectangle(3.1, 3.1)});
  const std::string even = writeText("even.csv", longRows(-360, 720));
  for (const char* smoothing : {"none", "parabola", "average"}) {
    const auto line = analyse({file, "--peg", "none", "--smooth", smoothing})["smoothed_pressure_bar"];
    EXPECT_NEAR(line["minimum"], 3.1, 1e-6) << smoothing;
    EXPECT_NEAR(line["maximum"], 3.1, 1e-6) << smoothing;
    EXPECT_NEAR(
        analyse({even, "--peg", "none", "--smooth", smoothing, "--width", "3"})["smoothed_pressure_bar"]["minimum"], 1,
        1e-6);
  }
}

TEST_F(CombustionTest, StatisticsAreThoseOfAllSamples) {
  const auto all = analyse({writeCycles("a.csv", {rectangle(3, 4)}, 0.5), "--peg", "none", "--smooth", "none"});
  const auto line = all["smoothed_pressure_bar"];  // 720 samples of 3, 721 of 4
  EXPECT_EQ(line["minimum"], 3);
  EXPECT_EQ(line["maximum"], 4);
  EXPECT_NEAR(line["average"], (720 * 3.0 + 721 * 4.0) / 1441, 1e-9);
  EXPECT_NEAR(line["rms"], std::sqrt((720 * 9.0 + 721 * 16.0) / 1441), 1e-9);
}

TEST_F(CombustionTest, ALongColumnIsCutIntoCycles) {
  const auto expectPeaks = [&](const std::string& file, const std::vector<int>& cycles, size_t left) {
    const Outcome outcome = run(arguments({file, "--json"}));
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_EQ(outcome.err, left == 0 ? ""
                                     : "kxhost: " + file + ": " + std::to_string(left) + " samples outside of the " +
                                           std::to_string(cycles.size()) + " complete cycles are left out\n");
    const auto all = nlohmann::json::parse(outcome.out)["cycles"];
    ASSERT_EQ(all.size(), cycles.size());
    for (size_t i = 0; i < cycles.size(); ++i) {
      EXPECT_EQ(all[i]["peak_pressure_bar"], 10 * (cycles[i] + 2));
      EXPECT_EQ(all[i]["peak_pressure_angle_deg"], 10 + cycles[i]);
    }
  };
  expectPeaks(writeText("whole.csv", longRows(-360, 3 * 720)), {0, 1, 2}, 0);
  expectPeaks(writeText("begun.csv", longRows(0, 360 + 3 * 720 + 300)), {1, 2, 3}, 660);
  expectPeaks(writeText("half.csv", longRows(-360, 2 * 1440, 0.5)), {0, 1}, 0);
  expectPeaks(writeText("late.csv", longRows(-359, 719 + 720)), {1}, 719);
  expectPeaks(writeText("far.csv", longRows(720 * 50 - 360, 2 * 720)), {50, 51}, 0);
}

/// Options that take scatter and noise out of the simulation.
std::vector<std::string> steady(std::vector<std::string> more) {
  more.insert(more.end(), {"--simulate", "--cycles", "3", "--noise", "0", "--burn-start-scatter", "0",
                           "--burn-duration-scatter", "0", "--heat-scatter", "0"});
  return more;
}

/// Rows of the same cycles, however files write them, have the same figures.
TEST_F(CombustionTest, FilesOfEveryKindGiveTheSameFigures) {
  const Pressure pressure = [](double angle) {
    return std::round(1e4 * (1.5 + polytrope(1.33, 1.27)(angle) + std::cos(angle / 9) / 50)) / 1e4;
  };
  const auto written = [&](double from, const char* separator, bool isComma, const std::string& header,
                           double shift = 0) {
    std::ostringstream text;
    text << header;
    for (int i = 0; i < 1440; ++i) {
      const double angle = from + i * 0.5;
      std::ostringstream line;
      line.precision(10);
      line << angle + shift << separator << pressure(angle >= 360 ? angle - 720 : angle);
      std::string row = line.str();
      if (isComma) {
        std::replace(row.begin(), row.end(), '.', ',');
      }
      text << row << '\n';
    }
    return text.str();
  };
  const auto expected = analyse({writeText("a.csv", written(-360, ",", false, "angle,p\n"))});
  const auto expectSame = [&](const std::string& file, const std::vector<std::string>& more = {}) {
    SCOPED_TRACE(file);
    std::vector<std::string> all{file};
    all.insert(all.end(), more.begin(), more.end());
    auto found = analyse(all);
    for (const char* const figure : {"peak_pressure_bar", "peak_pressure_angle_deg", "gross_imep_bar", "net_imep_bar",
                                     "zero_level_bar", "steepest_rise_bar_per_deg", "heat_release_j", "ca50_deg"}) {
      const auto one = expected["cycles"][0][figure], other = found["cycles"][0][figure];
      ASSERT_EQ(one.is_null(), other.is_null()) << figure;
      if (!one.is_null()) {
        EXPECT_NEAR(one.get<double>(), other.get<double>(), 1e-4 * std::abs(one.get<double>()) + 1e-9) << figure;
      }
    }
  };
  expectSame(writeText("semicolons.csv", written(-360, ";", true, "Winkel;Druck\n\xC2\xB0;bar\n")));
  expectSame(writeText("plain.txt", written(-360, "  ", false, "")));
  expectSame(writeText("tabs.dat", written(-180, "\t", true, "% engine 7\n")));
  expectSame(writeText("zero.tsv", written(0, "\t", false, "angle\tp\n")));
  expectSame(writeText("top.txt", written(-360, " ", true, "", 360)), {"--tdc-offset", "360"});
  expectSame(writeText("late.txt", written(-360, " ", true, "", 0.35)), {"--tdc-offset", "0.35"});
  expectSame(writeText("more.csv", written(-360, ";x;9;", false, "")), {"--columns", "1,4"});
  expectSame(writeText("german.csv", written(-360, ";", true, "")), {"--decimal", ","});
}

TEST_F(CombustionTest, HeatAndNetWorkAreThoseOfTheSimulation) {
  const auto all = analyse(steady({"--heat", "700", "--burn-start=-20", "--burn-duration", "40", "--wiebe-a", "6",
                                   "--wiebe-m", "1.5", "--smooth", "none", "--step", "0.1"}));
  const auto angle = [](double share) { return -20 + 40 * std::pow(-std::log(1 - share) / 6, 1 / 2.5); };
  const auto cycle = all["cycles"][0];
  EXPECT_NEAR(cycle["heat_release_j"], 700, 0.5);
  EXPECT_NEAR(cycle["ca10_deg"], angle(0.1), 0.05);
  EXPECT_NEAR(cycle["ca50_deg"], angle(0.5), 0.05);
  EXPECT_NEAR(cycle["ca90_deg"], angle(0.9), 0.05);
  EXPECT_NEAR(cycle["burn_duration_deg"], angle(0.9) - angle(0.1), 0.05);
  EXPECT_LT(cycle["net_imep_bar"], cycle["gross_imep_bar"]);
  EXPECT_NEAR(all["overall"]["ca50_deg"]["mean"], angle(0.5), 0.05);
  EXPECT_TRUE(analyse(steady({"--heat", "0", "--expansion-exponent", "1.32"}))["cycles"][0]["ca50_deg"].is_null());
  EXPECT_TRUE(analyse({writeText("closed.csv", longRows(-180, 361))})["cycles"][0]["net_imep_bar"].is_null());
}

TEST_F(CombustionTest, CyclesWithoutPressureHaveNoPeak) {
  const auto nothing = [](double) { return 0.0; };
  const std::string file = writeCycles("nothing.csv", {nothing, nothing});
  const auto all = analyse({file, "--peg", "none"});
  EXPECT_TRUE(all["cycles"][1]["peak_pressure_bar"].is_null());
  EXPECT_TRUE(all["cycles"][1]["peak_pressure_angle_deg"].is_null());
  EXPECT_TRUE(all["cycles"][1]["average_peak_pressure_bar"].is_null());
  EXPECT_TRUE(all["overall"]["peak_pressure_bar"]["mean"].is_null());
  EXPECT_TRUE(all["compression_exponent"].is_null());
  EXPECT_EQ(all["cycles"][1]["gross_imep_bar"], 0);
  const Outcome outcome = run(arguments({file, "--peg", "none", "--plot", path("out.png")}));
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("compression: - (no pressures above 0)"), std::string::npos) << outcome.out;
}

TEST_F(CombustionTest, TheColumnsAreChosenByName) {
  const std::string file = writeCycles("a.csv", {rectangle(1, 2), rectangle(1, 3), rectangle(1, 4)}, 2);
  const auto all = analyse({file, "--peg", "none", "--column", "angle", "--column", "p3", "--column", "p1"});
  ASSERT_EQ(all["cycles"].size(), 2);
  EXPECT_NEAR(all["cycles"][0]["gross_imep_bar"], rectangleImep(1, 4, 2), 1e-6);
  EXPECT_NEAR(all["cycles"][1]["gross_imep_bar"], rectangleImep(1, 2, 2), 1e-6);
  expectRefused(arguments({file, "--column", "angle", "--column", "p4"}), file, "has no column p4");
}

TEST_F(CombustionTest, BadRowsAreNamed) {
  expectCsvRefused(rows(5, "-352,1"), "line 6 has 2 fields, the header row has 3");
  expectCsvRefused(rows(5, "-352,1,"), "line 6, channel p2: nan is not a finite number");
  expectCsvRefused(rows(5, "-352,1,high"), "line 6, column p2: not a number: high");
  expectCsvRefused(rows(1, "-360,1,high"), "line 2, column p2: not a number: high");
  expectCsvRefused(rows(1, "-360,1,high"), "line 2, column p2: not a number: high",
                   {"--column", "angle", "--column", "p2"});
  expectCsvRefused(rows(9, "-344,nan,2"), "line 10, channel p1: nan is not a finite number");
  expectCsvRefused(rows(9, "-344,1,-inf"), "line 10, channel p2: -inf is not a finite number");
  expectCsvRefused(rows(9, "-344,1,1e30"), "data row 9: column p2: 1e+30 is no pressure");
  expectCsvRefused(rows(9, "nan,1,1"), "line 10, channel angle: nan is not a finite number");
  expectCsvRefused(rows(9, "1e300,1,1"), "data row 9: column angle: 1e+300 is no crank angle");
  expectCsvRefused(rows(9, "-346,1,1"), "data row 9: the crank angle does not rise");
  expectCsvRefused(rows(9, "-343,1,1"), "data row 9: the crank angle steps by 3 degrees, most others by 2");
  expectCsvRefused(rows(2, "-357,1,1"), "data row 2: the crank angle steps by 3 degrees, most others by 2");
  expectCsvRefused(rows(361, "364,1,1"), "data row 361: the crank angle steps by 6 degrees");
  // The first bad row is named, whatever is wrong with it and with those behind it.
  const std::string twoBad = rows(9, "-343,1,1");
  std::string late = twoBad;
  late.replace(late.find("\n0,1,2\n"), 7, "\n0,x,2\n");
  expectCsvRefused(late, "data row 9: the crank angle steps by 3 degrees");
  std::string early = twoBad;
  early.replace(early.find("\n-350,1,2\n"), 10, "\n-350,x,2\n");
  expectCsvRefused(early, "line 7, column p1: not a number: x");
}

TEST_F(CombustionTest, FilesThatHoldNoCyclesAreRefused) {
  expectCsvRefused("", "is empty");
  expectCsvRefused("1;2\n3;4\n", "runs from 1 to 3 degrees");
  expectCsvRefused("angle\n1\n2\n", "has one column");
  expectCsvRefused("angle,p\n", "holds a header row alone, and no rows of numbers");
  expectCsvRefused("angle,p\n0,1\n", "holds 1 rows of numbers");
  expectCsvRefused("angle,p\n-200,1\n0,1\n200,1\n", "has a sample every 200 degrees");
  expectCsvRefused("angle,p\n0,1\n5,1\n", "runs from 0 to 5 degrees: -180 to 180 degrees are needed");
  expectCsvRefused(longRows(180, 361), "runs from 180 to 540 degrees: that is neither a whole cycle nor one within");
  expectCsvRefused(longRows(-350, 1400), "holds no complete cycle");
  expectCsvRefused(longRows(-360, 300, 7), "720 degrees are not a whole number of steps of 7");
  const std::string closed = longRows(-180, 361);
  expectCsvRefused(closed, "cycles of 361 samples cannot be smoothed over 363", {"--width", "363"});
  expectCsvRefused(closed, "holds less than 1 samples of a cycle from -300 to -200 degrees",
                   {"--peg-window=-300,-200"});
  expectCsvRefused(closed, "holds less than 2 samples of a cycle from 10 to 10.5 degrees",
                   {"--expansion-window", "10,10.5"});
  const std::string missing = path("none.csv");
  expectRefused(arguments({missing}), missing, "no such file");
}

TEST_F(CombustionTest, MisuseIsExplained) {
  const std::string file = writeCycles("a.csv", {rectangle(1, 2)}, 5);
  expectMisuse({"combustion"}, "needs FILE or --simulate");
  expectMisuse({"combustion", "--simulate", file}, "not both");
  expectMisuse({"combustion", path("a.wav")}, "does not end in .csv");
  expectMisuse({"combustion", file, "--cycles", "5"}, "--simulate");
  expectMisuse({"combustion", file, "-o", path("b.csv")}, "--simulate");
  expectMisuse({"combustion", "--simulate", "-o", path("b.wav")}, "does not end in .csv");
  expectMisuse({"combustion", "--simulate", "--plot", path("b.gif")}, "does not end in .png");
  expectMisuse({"combustion", "--simulate", "--step", "0.7"}, "not a whole number of steps");
  expectMisuse({"combustion", "--simulate", "--cycles", "100000", "--step", "0.1"}, "samples");
  expectMisuse({"combustion", file, "--rod", "43"}, "longer than half of the stroke");
  expectMisuse({"combustion", file, "--rod", "nan"}, "nan is not a number from 1 to 10000");
  expectMisuse({"combustion", file, "--bore", "0"}, "0 is not a number from 1 to 2000");
  expectMisuse({"combustion", file, "--compression-ratio", "1"}, "1 is not a number from 1.5 to 50");
  expectMisuse({"combustion", file, "--width", "4"}, "must be odd");
  expectMisuse({"combustion", file, "--width", "4.5"}, "4.5");
  expectMisuse({"combustion", file, "--smooth", "hard"}, "hard");
  expectMisuse({"combustion", file, "--tdc-offset", "721"}, "721 is not a number from -720 to 720");
  expectMisuse({"combustion", file, "--columns", "0"}, "is not a list of numbers from 1 as 1,3-5: 0");
  expectMisuse({"combustion", file, "--columns", "3-1"}, "is not a list of numbers");
  expectMisuse({"combustion", file, "--columns", "1,x"}, "is not a list of numbers");
  expectMisuse({"combustion", file, "--columns", "1.5"}, "is not a list of numbers");
  expectMisuse({"combustion", file, "--decimal", ";"}, "--decimal");
  expectMisuse({"combustion", file, "--heat-exponents", "1,1.3"}, "is not two exponents from 1.01 to 2: 1,1.3");
  expectMisuse({"combustion", file, "--peg", "guess"}, "guess");
  for (const char* window : {"1", "1,", "2,1", "1,1", "a,b", "-361,0", "0,361", "1,2,3", "nan,2"}) {
    expectMisuse({"combustion", file, std::string("--peg-window=") + window}, "is not two rising angles");
  }
  EXPECT_EQ(filesPresent(), std::vector<std::string>{"a.csv"});
}

TEST_F(CombustionTest, HelpIsAnAnswer) {
  const Outcome outcome = run({"combustion", "--help"});
  EXPECT_EQ(outcome.code, 0);
  for (const char* text : {"Examples:", "--peg-window", "Wiebe", "integral of p dV"}) {
    EXPECT_NE(outcome.out.find(text), std::string::npos) << text;
  }
}

TEST_F(CombustionTest, SimulatedCyclesAreReadBackTheSame) {
  const std::string file = path("simulated.csv");
  const auto simulated = analyse({"--simulate", "--cycles", "5", "--window", "3", "-o", file});
  auto readBack = analyse({file, "--window", "3"});
  EXPECT_EQ(simulated["file"], "simulation");
  EXPECT_EQ(readBack["file"], file);
  readBack["file"] = "simulation";
  EXPECT_EQ(readBack, simulated);
  EXPECT_EQ(filesPresent(), std::vector<std::string>{"simulated.csv"});
}

TEST_F(CombustionTest, TheSeedDecides) {
  const auto first = analyse({"--simulate", "--cycles", "2", "--seed", "7"});
  EXPECT_EQ(analyse({"--simulate", "--cycles", "2", "--seed", "7"}), first);
  EXPECT_NE(analyse({"--simulate", "--cycles", "2", "--seed", "8"}), first);
}

TEST_F(CombustionTest, TheSimulationFollowsItsParameters) {
  const auto all = analyse(steady({"--compression-exponent", "1.37", "--expansion-exponent", "1.23", "--zero-level",
                                   "4", "--zero-drift", "0.5", "--smooth", "none", "--intake-pressure", "2"}));
  EXPECT_NEAR(all["compression_exponent"], 1.37, 1e-5);
  EXPECT_NEAR(all["expansion_exponent"], 1.23, 1e-4);
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(all["cycles"][static_cast<size_t>(i)]["zero_level_bar"], 4 + 0.5 * i, 1e-5);
  }
  EXPECT_LT(all["overall"]["gross_imep_bar"]["variation_percent"], 1e-3);
}

TEST_F(CombustionTest, WithoutHeatTheSimulatedCylinderIsAnAirSpring) {
  const auto all = analyse(steady({"--heat", "0", "--peg-window=-300,-200", "--expansion-exponent", "1.32",
                                   "--inlet-closing=-180", "--exhaust-opening", "180", "--exhaust-pressure", "1"}));
  EXPECT_NEAR(all["overall"]["peak_pressure_bar"]["mean"], std::pow(9, 1.32), 1e-3);
  EXPECT_EQ(all["overall"]["peak_pressure_angle_deg"]["mean"], 0);
  EXPECT_NEAR(all["overall"]["gross_imep_bar"]["mean"], 0, 1e-3);
}

TEST_F(CombustionTest, HeatAtTopDeadCentreGivesTheOttoCycle) {
  // Work of the constant-volume cycle: the heat times 1 - r^(1 - n), here in a burn of 1 degree around the top.
  const auto all = analyse(steady({"--heat", "500", "--compression-exponent", "1.4", "--expansion-exponent", "1.4",
                                   "--inlet-closing=-180", "--exhaust-opening", "180", "--exhaust-pressure", "1",
                                   "--burn-start=-0.5", "--burn-duration", "1", "--wiebe-a", "20", "--step", "0.1"}));
  const double work = 500 * (1 - std::pow(9, -0.4));  // in joules; a bar times a cubic centimetre is a tenth of one
  EXPECT_NEAR(all["overall"]["gross_imep_bar"]["mean"], 10 * work / displacement, 0.01);
}

TEST_F(CombustionTest, ScatterHasItsSize) {
  const auto all = analyse({"--simulate", "--cycles", "200", "--step", "2", "--width", "3", "--heat-scatter", "5",
                            "--burn-start-scatter", "0", "--burn-duration-scatter", "0", "--noise", "0"});
  EXPECT_NEAR(all["overall"]["gross_imep_bar"]["variation_percent"], 5, 0.6);
  EXPECT_NEAR(all["overall"]["zero_level_bar"]["mean"], 2 + 0.01 * 199 / 2, 1e-4);
}

TEST_F(CombustionTest, FiguresArePrintedWithTheirUnits) {
  const Outcome outcome = run(arguments({"--simulate", "--cycles", "3"}));
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  for (const char* text :
       {"Peak pressure/bar", "Peak at/deg", "Rise at/deg", "Gross IMEP/bar", "Steepest rise/(bar/deg)",
        "Coefficient of variation/%", "Cycles: 3 of 1440 samples, 0.5 deg apart",
        "Displacement: 452.389 cm3, clearance 56.5487 cm3",
        "of the average of the last 3: ", "Polytropic exponent of the compression: 1.3", "(from 80 to 120 deg)"}) {
    EXPECT_NE(outcome.out.find(text), std::string::npos) << text << '\n' << outcome.out;
  }
}

TEST_F(CombustionTest, FourPicturesAreDrawn) {
  const Outcome outcome = run(arguments({"--simulate", "--cycles", "4", "--plot", path("it's.svg")}));
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_EQ(filesPresent(),
            (std::vector<std::string>{"it's-pressure.svg", "it's-pv-log.svg", "it's-pv.svg", "it's-trend.svg"}));
  const auto expectTexts = [&](const std::string& name, const std::vector<std::string>& texts) {
    const std::string picture = read(path(name));
    for (const std::string& text : texts) {
      EXPECT_NE(picture.find(text), std::string::npos) << name << ": " << text;
    }
  };
  const std::string title = "simulated (4 cycles of 1440 samples)";
  expectTexts("it's-pressure.svg", {title, "crank angle in degrees", "pressure in bar", "lowest to highest of 4 cycles",
                                    "average of all cycles", "average of the last 4", "last cycle, smoothed"});
  for (const char* name : {"it's-pv.svg", "it's-pv-log.svg"}) {
    expectTexts(name, {title, "volume in cubic centimetres", "pressure in bar", "compression, n = 1.3",
                       "expansion, n = 1.2", "from -100 to -40 degrees", "500"});
  }
  expectTexts("it's-trend.svg", {title, "peak pressure in bar", "gross IMEP in bar", "coefficient of variation"});
}

/// A smooth hump of that height around an angle.
Pressure hump(double height, double at) {
  return [=](double angle) { return 2 + height * std::exp(-std::pow((angle - at) / 40, 2)); };
}

TEST_F(CombustionTest, ThePressuresAreDrawnOverTheirAngles) {
  // A ripple of three samples, which smoothing takes away.
  const Pressure rippled = [](double angle) {
    return hump(35, 18)(angle) + 2 * std::cos(2 * std::numbers::pi * angle / 3);
  };
  const std::vector<Pressure> cycles{hump(20, 10), hump(50, 14), rippled};
  const std::string file = writeCycles("a.csv", cycles);
  EXPECT_EQ(run(arguments({file, "--peg", "none", "--smooth", "average", "--width", "3", "--window", "2", "--plot",
                           path("out.svg")}))
                .code,
            0);
  const auto smoothed = [&](size_t cycle, double angle) {
    return (cycles[cycle](angle - 1) + cycles[cycle](angle) + cycles[cycle](angle + 1)) / 3;
  };
  const std::vector<SvgPane> both = panes("out-pressure.svg");
  ASSERT_EQ(both.size(), 2U);
  EXPECT_NEAR(both[0].x.pixelOf(-360, AxisKind::linear), both[0].left, 0.1);
  EXPECT_NEAR(both[0].x.pixelOf(360, AxisKind::linear), both[0].right, 0.1);
  std::vector<Place> lowest, highest, average, windowed, lastRaw, lastSmoothed, averageNear;
  for (double angle = -350; angle <= 350; angle += 10) {
    const double a = smoothed(0, angle), b = smoothed(1, angle), c = smoothed(2, angle);
    lowest.push_back({angle, std::min({a, b, c})});
    highest.push_back({angle, std::max({a, b, c})});
    average.push_back({angle, (a + b + c) / 3});
    windowed.push_back({angle, (b + c) / 2});
  }
  for (double angle = 6; angle <= 30; ++angle) {
    lastRaw.push_back({angle, cycles[2](angle)});
    lastSmoothed.push_back({angle, smoothed(2, angle)});
    averageNear.push_back({angle, (smoothed(0, angle) + smoothed(1, angle) + smoothed(2, angle)) / 3});
  }
  expectThrough(both[0], both[0].curve("lowest to highest of 3 cycles"), lowest);
  expectThrough(both[0], both[0].curve("lowest to highest of 3 cycles"), highest);
  expectThrough(both[0], both[0].curve("average of all cycles"), average);
  expectThrough(both[0], both[0].curve("average of the last 2"), windowed);
  expectThrough(both[1], both[1].curve("last cycle, raw less zero level"), lastRaw);
  expectThrough(both[1], both[1].curve("last cycle, smoothed"), lastSmoothed);
  expectThrough(both[1], both[1].curve("average of all cycles"), averageNear);
}

TEST_F(CombustionTest, ThePressuresAreDrawnOverTheVolume) {
  const std::vector<Pressure> cycles{hump(20, 10), hump(50, 14)};
  const std::string file = writeCycles("a.csv", cycles);
  EXPECT_EQ(run(arguments({file, "--peg", "none", "--smooth", "none", "--plot", path("out.svg")})).code, 0);
  const auto all = analyse({file, "--peg", "none", "--smooth", "none"});
  std::vector<Place> last, average;
  for (double angle = -170; angle <= 170; angle += 10) {
    last.push_back({displacement * volume(angle), cycles[1](angle)});
    average.push_back({displacement * volume(angle), (cycles[0](angle) + cycles[1](angle)) / 2});
  }
  for (const auto& [name, kind] :
       {std::pair("out-pv.svg", AxisKind::linear), {"out-pv-log.svg", AxisKind::logarithmic}}) {
    SCOPED_TRACE(name);
    std::vector<SvgPane> one = panes(name);
    ASSERT_EQ(one.size(), 1U);
    SvgPane& pane = one[0];
    pane.xKind = pane.yKind = kind;
    expectThrough(pane, pane.curve("last cycle, smoothed"), last);
    expectThrough(pane, pane.curve("average of all cycles"), average);
    ASSERT_EQ(pane.curves.size(), 4U);
    // Between two points of a polytrope, p V^n stays.
    for (const auto& [index, exponent, from, to] :
         {std::tuple(2U, "compression_exponent", -100.0, -40.0), {3U, "expansion_exponent", 80.0, 120.0}}) {
      const SvgCurve& curve = pane.curves[index];
      const double n = all[exponent], a = displacement * volume(from), b = displacement * volume(to);
      const auto& line = curve.lines.at(0);
      const Place first = line.front();
      const double constant = pane.y.numberAt(first.y, kind) * std::pow(pane.x.numberAt(first.x, kind), n);
      for (const double at : {a, b}) {
        const double pressure = constant * std::pow(at, -n);
        if (pane.y.pixelOf(pressure, kind) < pane.bottom) {
          expectThrough(pane, curve, {{at, pressure}}, 4);
        }
      }
      const auto mean = [&](double angle) { return (cycles[0](angle) + cycles[1](angle)) / 2; };
      EXPECT_LE(curve.distanceOf(pane.at(a, mean(from))), 40) << exponent;  // the fit goes along the average
    }
  }
}

TEST_F(CombustionTest, TheTrendIsDrawnCycleByCycle) {
  const std::vector<std::string> command{"--simulate", "--cycles", "5", "--window", "2"};
  std::vector<std::string> drawing = command;
  drawing.insert(drawing.end(), {"--plot", path("out.svg")});
  EXPECT_EQ(run(arguments(drawing)).code, 0);
  const auto all = analyse(command);
  std::vector<Place> peaks, averagePeaks, windowedPeaks, works;
  double sum = 0, last = 0;
  for (const auto& cycle : all["cycles"]) {
    const double number = static_cast<double>(peaks.size() + 1), peak = cycle["peak_pressure_bar"];
    sum += peak;
    averagePeaks.push_back({number, sum / number});
    windowedPeaks.push_back({number, peaks.empty() ? peak : (last + peak) / 2});
    last = peak;
    peaks.push_back({number, peak});
    works.push_back({number, cycle["gross_imep_bar"]});
  }
  const std::vector<SvgPane> both = panes("out-trend.svg");
  ASSERT_EQ(both.size(), 2U);
  expectMarks(both[0], both[0].curve("each cycle"), peaks);
  expectThrough(both[0], both[0].curve("mean of all cycles so far"), averagePeaks);
  expectThrough(both[0], both[0].curve("mean of the last 2"), windowedPeaks);
  expectMarks(both[1], both[1].curve("each cycle"), works);
  const double mean = all["overall"]["gross_imep_bar"]["mean"];
  ASSERT_EQ(both[1].curves.size(), 2U);
  EXPECT_TRUE(both[1].curves[1].title.starts_with("mean ")) << both[1].curves[1].title;
  expectThrough(both[1], both[1].curves[1], {{1, mean}, {5, mean}});
}

TEST_F(CombustionTest, CyclesOfEveryKindCanBeDrawn) {
  struct Kind {
    std::string file;
    Place point;  // on the average, in degrees and bar
    bool isPositive;
  };
  for (const Kind& kind : {Kind{writeText("closed.csv", longRows(-180, 361)), {-100, 1}, true},
                           {writeCycles("flat.csv", {rectangle(3, 3)}, 10), {50, 3}, true},
                           {writeCycles("negative.csv", {rectangle(-3, -4), rectangle(-5, -4)}, 5), {-100, -4}, false},
                           {writeCycles("huge.csv", {rectangle(1e-9, 1e9)}, 5), {100, 1e9}, true}}) {
    SCOPED_TRACE(kind.file);
    const Outcome outcome = run(arguments({kind.file, "--peg", "none", "--plot", path("out.svg")}));
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    const std::vector<SvgPane> pressures = panes("out-pressure.svg");
    ASSERT_EQ(pressures.size(), 2U);
    expectThrough(pressures[0], pressures[0].curve("average of all cycles"), {kind.point});
    const Place place{displacement * volume(kind.point.x), kind.point.y};
    for (const auto& [name, scale] :
         {std::pair("out-pv.svg", AxisKind::linear), {"out-pv-log.svg", AxisKind::logarithmic}}) {
      std::vector<SvgPane> one = panes(name);
      ASSERT_EQ(one.size(), 1U);
      one[0].xKind = one[0].yKind = scale;
      if (kind.isPositive || scale == AxisKind::linear) {
        expectThrough(one[0], one[0].curve("average of all cycles"), {place}, 1);
      }
    }
    EXPECT_EQ(panes("out-trend.svg").size(), 2U);
  }
}

TEST_F(CombustionTest, WhatCannotBeWrittenIsNamed) {
  const std::string there = path("nowhere/out.png");
  expectRefused({"combustion", "--simulate", "--cycles", "2", "--plot", there}, path("nowhere/out-pressure.png"),
                "cannot be written: No such file or directory");
  expectRefused({"combustion", "--simulate", "--cycles", "2", "-o", path("nowhere/a.csv")}, path("nowhere/a.csv"),
                "cannot be written: No such file or directory");
  expectUndrawn({"combustion", "--simulate", "--cycles", "2", "--plot", path("out.png")}, path("out-pressure.png"),
                "gnuplot cannot be started", "PATH=/nowhere");
  EXPECT_EQ(filesPresent(), std::vector<std::string>{});
}

TEST_F(CombustionTest, EveryLibraryGivesTheSameOutput) {
  const std::vector<std::string> command{"combustion", "--simulate", "--cycles", "3"};
  const Outcome standard = run(command);
  std::istringstream libraries(KXHOST_LIBRARIES);
  for (std::string library; std::getline(libraries, library, ':');) {
    for (const char* smoothing : {"parabola", "average"}) {
      std::vector<std::string> both = command;
      both.insert(both.end(), {"--smooth", smoothing});
      const Outcome own = run(both);
      both.insert(both.end(), {"--library", library});
      EXPECT_EQ(run(both).out, own.out) << library;
      EXPECT_EQ(own.out == standard.out, smoothing == std::string("parabola"));
    }
  }
}

}  // namespace
}  // namespace kxhost_test
