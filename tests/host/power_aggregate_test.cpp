// `kxhost power --aggregate`: intervals and days of recordings whose course is known, and groups of harmonics.
#include <cmath>
#include <numbers>
#include <sstream>

#include "host/power_test.hpp"
#include "host/svg_picture.hpp"

namespace kxhost_test {
namespace {

class PowerAggregateTest : public PowerTest {
protected:
  static constexpr int rate = 250;
  static constexpr double seconds = 1250;

  /// 230 V for 600 s, 235 V from then on but for a dip from 700 s to 700.5 s.
  static double level(double time) { return time < 600 ? 230 : time >= 700 && time < 700.5 ? 0.5 * 235 : 235; }

  /// A voltage in steps of 1/64 V and a current of 10 A in phase, in steps of 1/1024 A.
  static std::vector<int16_t> samples() {
    std::vector<int16_t> values;
    for (int i = 0; i < static_cast<int>(seconds * rate); ++i) {
      const double time = static_cast<double>(i) / rate;
      const double wave = std::numbers::sqrt2 * std::sin(2 * std::numbers::pi * (i % 5 + 0.3) / 5);
      values.push_back(static_cast<int16_t>(std::lround(64 * level(time) * wave)));
      values.push_back(static_cast<int16_t>(std::lround(1024 * 10 * wave)));
    }
    return values;
  }

  /// The recording, without a time; it counts in full scales of 32768 steps.
  std::string raw() const { return writeRaw("a.raw", samples()); }

  nlohmann::json aggregated(const std::string& intervals, std::vector<std::string> options = {}) const {
    options.insert(options.end(), {"--raw", "int16", "--channels", "2", "--rate", "250", "--scale", "512,32",
                                   "--voltage", "1", "--current", "2", "--aggregate", intervals, raw()});
    return power(options);
  }

  /// The recording, from 23:53:20 on.
  std::string comtrade() const {
    std::string data;
    const std::vector<int16_t> values = samples();
    for (size_t i = 0; i < values.size() / 2; ++i) {
      const auto number = static_cast<uint32_t>(i + 1), time = static_cast<uint32_t>(4000 * i);
      data.append(reinterpret_cast<const char*>(&number), 4).append(reinterpret_cast<const char*>(&time), 4);
      data.append(reinterpret_cast<const char*>(&values[2 * i]), 4);
    }
    writeText("a.dat", data);
    return writeText("a.cfg",
                     "Station,Device,1999\r\n2,2A,0D\r\n1,UA,A,,V,0.015625,0,0,-32767,32767,1,1,S\r\n"
                     "2,IA,A,,A,0.0009765625,0,0,-32767,32767,1,1,S\r\n50\r\n1\r\n250,312500\r\n"
                     "01/02/2020,23:53:20.000000\r\n01/02/2020,23:53:20.000000\r\nBINARY\r\n1.0\r\n");
  }
};

double rmsOf(const nlohmann::json& interval) {
  return interval.at("mean").at("phases").at(0).at("voltage_v").at("rms").get<double>();
}

void expectInterval(const nlohmann::json& interval, double from, double length, bool isComplete) {
  EXPECT_NEAR(interval.at("from_s").get<double>(), from, 1e-4);  // the dip moves windows by a few microseconds
  EXPECT_NEAR(interval.at("length_s").get<double>(), length, 1e-4);
  EXPECT_EQ(interval.at("is_complete"), isComplete);
  EXPECT_EQ(interval.at("window_count"), std::lround(length / 0.2));
}

TEST_F(PowerAggregateTest, IntervalsHoldWhatTheirWindowsGive) {
  const nlohmann::json result = aggregated("2h,10min,3s");
  EXPECT_FALSE(result.contains("windows"));
  EXPECT_FALSE(result.contains("days"));
  EXPECT_EQ(result.at("window_count"), 6250);
  const nlohmann::json& all = result.at("aggregates");
  ASSERT_EQ(all.size(), 3U);
  EXPECT_EQ(all[0].at("interval"), "3s");
  const nlohmann::json& threeSeconds = all[0].at("intervals");
  ASSERT_EQ(threeSeconds.size(), 417U);
  expectInterval(threeSeconds[1], 3, 3, true);
  EXPECT_NEAR(rmsOf(threeSeconds[199]), 230, 0.01);
  EXPECT_NEAR(rmsOf(threeSeconds[200]), 235, 0.01);
  EXPECT_EQ(all[1].at("interval"), "10min");
  const nlohmann::json& tenMinutes = all[1].at("intervals");
  ASSERT_EQ(tenMinutes.size(), 3U);
  expectInterval(tenMinutes[0], 0, 600, true);
  expectInterval(tenMinutes[1], 600, 600, true);
  expectInterval(tenMinutes[2], 1200, 50, false);
  EXPECT_NEAR(rmsOf(tenMinutes[0]), 230, 0.01);
  EXPECT_NEAR(rmsOf(tenMinutes[1]), 235, 0.01);  // the dip's windows are left out
  EXPECT_EQ(tenMinutes[0].at("windows_flagged"), 0);
  EXPECT_GE(tenMinutes[1].at("windows_flagged"), 3);
  EXPECT_LE(tenMinutes[1].at("windows_flagged"), 5);
  EXPECT_EQ(tenMinutes[1].at("windows_flagged"), result.at("windows_flagged"));
  EXPECT_NEAR(tenMinutes[0].at("mean").at("total").at("active_w").get<double>(), 2300, 0.1);
  EXPECT_NEAR(tenMinutes[0].at("frequency_hz").get<double>(), 50, 1e-6);
  EXPECT_TRUE(tenMinutes[0].at("from_time").is_null());
  EXPECT_EQ(all[2].at("interval"), "2h");
  ASSERT_EQ(all[2].at("intervals").size(), 1U);
  const double flagged = result.at("windows_flagged").get<double>();
  EXPECT_NEAR(rmsOf(all[2].at("intervals")[0]),
              std::sqrt((3000 * 230.0 * 230 + (3250 - flagged) * 235 * 235) / (6250 - flagged)), 0.01);

  const nlohmann::json with = aggregated("10min", {"--with-flagged", "--windows"});
  EXPECT_EQ(with.at("windows").size(), 6250U);
  EXPECT_NEAR(rmsOf(with.at("aggregates")[0].at("intervals")[1]), 235 * std::sqrt((2997.5 + 2.5 * 0.25) / 3000), 0.01);
}

TEST_F(PowerAggregateTest, TheClockTellsWhereIntervalsAndDaysBegin) {
  const std::string file = comtrade();
  const nlohmann::json result = power({file, "--aggregate", "10min,day"});
  const nlohmann::json& tenMinutes = result.at("aggregates").at(0).at("intervals");
  ASSERT_EQ(tenMinutes.size(), 3U);
  expectInterval(tenMinutes[0], 0, 400, false);
  expectInterval(tenMinutes[1], 400, 600, true);
  expectInterval(tenMinutes[2], 1000, 250, false);
  EXPECT_EQ(tenMinutes[0].at("from_time"), "2020-02-01 23:53:20.000000");
  EXPECT_EQ(tenMinutes[1].at("from_time"), "2020-02-02 00:00:00.000000");
  ASSERT_EQ(result.at("days").size(), 1U);
  const nlohmann::json& day = result.at("days")[0];
  EXPECT_EQ(day.at("from_time"), "2020-02-02 00:00:00.000000");
  EXPECT_EQ(day.at("from_s"), 400);
  const nlohmann::json &frequency = day.at("figures")[0], &voltage = day.at("figures")[1];
  EXPECT_EQ(frequency.at("figure"), "frequency");
  EXPECT_EQ(frequency.at("unit"), "Hz");
  EXPECT_TRUE(frequency.at("channel").is_null());
  EXPECT_GE(frequency.at("value_count"), 80);  // of 85 intervals of 10 s, those that the voltage jumps in do not count
  EXPECT_NEAR(frequency.at("percentile_95").get<double>(), 50, 1e-3);
  EXPECT_EQ(voltage.at("figure"), "voltage_rms");
  EXPECT_EQ(voltage.at("channel"), "UA [V]");
  EXPECT_EQ(voltage.at("value_count"), 1);
  for (const char* word : {"minimum", "percentile_5", "percentile_95", "maximum"}) {
    EXPECT_EQ(voltage.at(word), tenMinutes[1].at("mean").at("phases")[0].at("voltage_v").at("rms")) << word;
  }
  const std::string text = run({"power", file, "--aggregate", "10min,day"}).out;
  for (const char* line :
       {"\nOver 10 minutes, without the flagged windows:\nFrom                        Length/s  Windows  Flagged  f/Hz",
        "\n2020-02-02 00:00:00.000000       600     3000        ",
        "\nDay from 2020-02-02 00:00:00.000000: values of 10 minutes, of the frequency over 10 s\n"
        "Figure     Values",
        "\nTHDS U1/%"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << "\n\n" << text;
  }
}

TEST_F(PowerAggregateTest, ADayBeginsWithARecordingWithoutATime) {
  const nlohmann::json result = aggregated("day");
  EXPECT_TRUE(result.at("aggregates").empty());
  ASSERT_EQ(result.at("days").size(), 1U);
  EXPECT_EQ(result.at("days")[0].at("from_s"), 0);
  EXPECT_TRUE(result.at("days")[0].at("from_time").is_null());
  const nlohmann::json& voltage = result.at("days")[0].at("figures")[1];
  EXPECT_EQ(voltage.at("value_count"), 2);
  EXPECT_NEAR(voltage.at("minimum").get<double>(), 230, 0.01);
  EXPECT_NEAR(voltage.at("maximum").get<double>(), 235, 0.01);
}

TEST_F(PowerAggregateTest, WhatIsTooShortIsSaid) {
  const std::string file = writeCsv("a.csv", {"u [V]", "i [A]"}, sample({{{1, 230, 0}}, {{1, 10, 0}}}, 1000, 50, 30));
  const std::string text = run({"power", file, "--rate", "1000", "--aggregate", "3s,day"}).out;
  EXPECT_NE(
      text.find("\nOver 150 cycles, without the flagged windows:\nFrom/s  Length/s  Windows  Flagged  f/Hz  U1/V"),
      std::string::npos)
      << text;
  EXPECT_NE(
      run({"power", file, "--rate", "1000", "--aggregate", "3s", "--with-flagged"}).out.find("with all windows:\n"),
      std::string::npos);
  EXPECT_NE(text.find("\nNo day holds ten minutes with values\n"), std::string::npos) << text;
  expectMisuse({"power", file, "--aggregate", "5min"}, "--aggregate");
}

TEST_F(PowerAggregateTest, TrendsAreThoseOfTheShortestIntervals) {
  const std::vector<std::string> options{"--plot", path("out.svg")};
  const nlohmann::json result = aggregated("2h,10min", options);
  const std::vector<SvgPane> panes = readSvg(read(path("out-trends.svg")));
  ASSERT_EQ(panes.size(), 4U);
  const SvgCurve& voltage = panes[0].curve("U1");
  ASSERT_EQ(voltage.marks.size(), 3U);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(panes[0].y.numberAt(voltage.marks[i].y, AxisKind::linear),
                rmsOf(result.at("aggregates")[0].at("intervals")[i]), 0.02);
  }
}

TEST_F(PowerAggregateTest, GroupsAreTold) {
  const Signal voltage{{1, 230, 0}, {3, 6, 0}, {3.1, 8, 0}, {4.5, 10, 0}};
  const std::string file = writeCsv("a.csv", {"u [V]", "i [A]"}, sample({voltage, {{1, 10, 0}}}, 10000, 50, 20));
  const nlohmann::json u = power({file, "--rate", "10000"}).at("mean").at("phases").at(0).at("voltage_v");
  expectClose(u.at("thd_percent"), 100 * 6 / 230.0);
  expectClose(u.at("thds_percent"), 100 * 10 / 230.0);
  expectClose(u.at("thdg_percent"), 100 * std::sqrt(100 + 100) / 230);
  expectClose(u.at("harmonic_groups_rms").at(2), 10);
  expectClose(u.at("harmonic_subgroups_rms").at(2), 10);
  expectClose(u.at("harmonic_groups_rms").at(3), std::sqrt(50));
  expectClose(u.at("interharmonic_groups_rms").at(3), 8);
  expectClose(u.at("interharmonic_groups_rms").at(4), 10);
  expectClose(u.at("interharmonic_subgroups_rms").at(4), 10);
  EXPECT_EQ(u.at("harmonic_groups_rms").size(), 50U);
  EXPECT_EQ(u.at("interharmonic_groups_rms").size(), 51U);
  const std::string text = run({"power", file, "--rate", "10000", "--groups"}).out;
  for (const char* line : {"\nDistortion  THD/%  THDG/%  THDS/%  Current  THD/%  THDG/%  THDS/%\n"
                           "u [V]       2.609   6.149   4.348  i [A]    0.000   0.000   0.000\n",
                           "  Orders  u [V] group/V  Subgroup/V  i [A] group/A  Subgroup/A\n",
                           "\n       3             10          10", "\n  4 to 5             10          10"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << "\n\n" << text;
  }
  const nlohmann::json tooShort = power({file, "--rate", "10000", "--cycles", "3"});
  EXPECT_TRUE(tooShort.at("mean").at("phases").at(0).at("voltage_v").at("thdg_percent").is_null());
  EXPECT_EQ(run({"power", file, "--rate", "10000", "--cycles", "3"}).out.find("THDG"), std::string::npos);
}

}  // namespace
}  // namespace kxhost_test
