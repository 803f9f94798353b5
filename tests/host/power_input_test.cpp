// What `kxhost power` takes: channels, units and scales, COMTRADE recordings, and what it refuses.
#include <array>
#include <cmath>
#include <sstream>

#include "host/power_test.hpp"

namespace kxhost_test {
namespace {

class PowerInputTest : public PowerTest {
protected:
  static std::vector<std::vector<double>> mains() {
    return sample({{{1, 230, 0}, {5, 9, 30}},
                   {{1, 225, -121}},
                   {{1, 231, 119}},
                   {{1, 10, -30}, {7, 2, 80}},
                   {{1, 11, -150}},
                   {{1, 9, 80}}},
                  1000, 50, 20);
  }

  double rms(const nlohmann::json& result, size_t phase, const std::string& signal) const {
    return result.at("mean").at("phases").at(phase).at(signal).at("rms").get<double>();
  }
};

TEST_F(PowerInputTest, UnitsInNamesTellChannelsAndScales) {
  const auto channels = sample({{{1, 1, 0}}, {{1, 2, 0}}, {{1, 3, 0}}, {{1, 4, 0}}, {{1, 5, 0}}}, 1000, 50, 10);
  const std::vector<std::vector<std::string>> headers{{"Ia [mA]", "temperature [C]", "Ua [kV]", "Ub (V)", "Ib/A"},
                                                      {"Ia in mA", "time in s", "Ua/kV", "U b in V", "I/n (A)"},
                                                      {"[uA]", "A", "(MV)", "mains / V", "x [kA]"}};
  const std::vector<std::array<double, 4>> expected{{3000, 4, 0.001, 5}, {3000, 4, 0.001, 5}, {3e6, 4, 1e-6, 5000}};
  for (size_t i = 0; i < headers.size(); ++i) {
    SCOPED_TRACE(headers[i][0]);
    const nlohmann::json result = power({writeCsv("a.csv", headers[i], channels), "--rate", "1000"});
    EXPECT_NEAR(rms(result, 0, "voltage_v"), expected[i][0], 1e-6 * expected[i][0]);
    EXPECT_NEAR(rms(result, 1, "voltage_v"), expected[i][1], 1e-6 * expected[i][1]);
    EXPECT_NEAR(rms(result, 0, "current_a"), expected[i][2], 1e-6 * expected[i][2]);
    EXPECT_NEAR(rms(result, 1, "current_a"), expected[i][3], 1e-6 * expected[i][3]);
  }
}

TEST_F(PowerInputTest, WithoutUnitsTheFirstHalfIsTheVoltages) {
  const auto all = mains();
  const std::string three = writeCsv("3.csv", {"a", "b", "c", "d", "e", "f"}, all);
  const std::string two = writeCsv("2.csv", {"a", "b", "c", "d"}, {all[0], all[1], all[3], all[4]});
  const std::string one = writeCsv("1.csv", {"a", "b"}, {all[0], all[3]});
  const nlohmann::json threePhases = power({three, "--rate", "1000"}).at("mean").at("phases");
  EXPECT_EQ(threePhases.size(), 3U);
  const nlohmann::json twoPhases = power({two, "--rate", "1000"}).at("mean").at("phases");
  EXPECT_EQ(twoPhases.size(), 2U);
  EXPECT_EQ(twoPhases.at(0).at("voltage_v").at("rms"), threePhases.at(0).at("voltage_v").at("rms"));
  EXPECT_EQ(twoPhases.at(1).at("power"), threePhases.at(1).at("power"));
  const nlohmann::json onePhase = power({one, "--rate", "1000"}).at("mean").at("phases");
  EXPECT_EQ(onePhase.size(), 1U);
  EXPECT_EQ(onePhase.at(0).at("power"), threePhases.at(0).at("power"));
}

TEST_F(PowerInputTest, OptionsTellChannelsAndScales) {
  const std::string file = writeCsv("a.csv", {"a", "b", "c", "d", "e", "f"}, mains());
  const auto expectRms = [&](std::vector<std::string> options, const std::vector<std::pair<double, double>>& expected) {
    options.insert(options.begin(), {file, "--rate", "1000"});
    const nlohmann::json result = power(options);
    ASSERT_EQ(result.at("mean").at("phases").size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
      EXPECT_NEAR(rms(result, i, "voltage_v"), expected[i].first, 1e-6 * expected[i].first);
      EXPECT_NEAR(rms(result, i, "current_a"), expected[i].second, 1e-6 * expected[i].second);
    }
  };
  expectRms({"--voltage", "3", "--current", "5"}, {{231, 11}});
  expectRms({"--voltage", "3,2", "--current", "5,6"}, {{231, 11}, {225, 9}});
  expectRms({"--voltage", "3,2", "--current", "5,6", "--scale", "100,0.5"}, {{23100, 5.5}, {22500, 4.5}});
  expectRms({"--voltage", "3,2", "--current", "5,6", "--scale", "1,-2,3,4"}, {{231, 33}, {450, 36}});
  expectRms({"--voltage", "2,2", "--current", "5,6"}, {{225, 11}, {225, 9}});
}

TEST_F(PowerInputTest, IntegerSamplesAreFractionsOfFullScale) {
  const auto channels = sample({{{1, 0.25, 0}}, {{1, 0.125, -60}}}, 8000, 50, 10);
  std::vector<int16_t> shorts;
  std::vector<int32_t> longs;
  for (size_t i = 0; i < channels[0].size(); ++i) {
    for (const auto& channel : channels) {
      shorts.push_back(static_cast<int16_t>(std::lround(32768 * channel[i])));
      longs.push_back(static_cast<int32_t>(std::lround(0x1p31 * channel[i])));
    }
  }
  for (const std::string& file : {writeAudio("16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, shorts, 8000),
                                  writeAudio("24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, longs, 8000)}) {
    const nlohmann::json result = power({file, "--scale", "920,40"});
    EXPECT_NEAR(rms(result, 0, "voltage_v"), 230, 0.01);
    EXPECT_NEAR(rms(result, 0, "current_a"), 5, 0.001);
    EXPECT_NEAR(result.at("mean").at("total").at("active_w").get<double>(), 575, 0.05);
  }
}

TEST_F(PowerInputTest, ChannelsThatCannotBeAreRefused) {
  const auto all = mains();
  const std::string file = writeCsv("a.csv", {"a", "b", "c", "d", "e", "f"}, all);
  const std::string odd = writeCsv("odd.csv", {"a", "b", "c"}, {all[0], all[1], all[2]});
  const std::string eight = writeCsv("8.csv", {"a", "b", "c", "d", "e", "f", "g", "h"}, std::vector(8, all[0]));
  const std::string units = writeCsv("units.csv", {"a [V]", "b [V]", "c [A]"}, {all[0], all[1], all[2]});
  const auto refuse = [&](const std::string& name, const std::string& reason, std::vector<std::string> options) {
    options.insert(options.end(), {"--rate", "1000"});
    expectPowerRefused(name, reason, options);
  };
  const auto expectList = [&](const std::string& name, const std::string& reason, const std::string& firstRow) {
    const Outcome outcome = run({"power", name, "--rate", "1000"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(outcome.err.starts_with("kxhost: " + name + ": " + reason +
                                        ": --voltage and --current must tell which ones to take\n\nChannel"))
        << outcome.err;
    EXPECT_NE(outcome.err.find(firstRow), std::string::npos) << outcome.err;
  };
  expectList(odd, "has 3 channels that name no units", "\n      1  a\n      2  b\n      3  c\n");
  expectList(eight, "has 8 channels that name no units", "\n      8  h\n");
  expectList(units, "has 2 channels in V and 1 in A", "\n      3  c     A\n");
  refuse(units, "channel 3 is not a voltage: c [A]", {"--voltage", "3", "--current", "3"});
  refuse(units, "channel 2 is not a current: b [V]", {"--voltage", "1", "--current", "2"});
  for (const char* number : {"0", "7", "-1"}) {
    refuse(file, "has no channel " + std::string(number) + ", they are numbered 1 to 6",
           {"--voltage", "1", std::string("--current=") + number});
  }
  refuse(file, "is of no use", {"--scale", "0,1"});
  for (const char* scale : {"1,nan", "inf,1"}) {
    expectMisuse({"power", file, "--scale", scale}, "is not a finite number");
  }
  for (const char* scales : {"1", "1,2,3", "1,2,3,4,5,6,7"}) {
    refuse(file, "where 2 or 6 are needed", {"--scale", scales});
  }
  expectMisuse({"power", file, "--voltage", "1"}, "--current");
  expectMisuse({"power", file, "--voltage", "1,2", "--current", "3"}, "as many");
  expectMisuse({"power", file, "--voltage", "1,2,3,4", "--current", "1,2,3,4"}, "one to three");
  expectMisuse({"power", file, "--voltage", "a", "--current", "1"}, "a");
}

TEST_F(PowerInputTest, OptionsThatCannotBeAreMisuse) {
  const std::string file = writeCsv("a.csv", {"a", "b"}, {{1}, {2}});
  for (const char* frequency : {"0", "-50", "nan", "inf", "fast", "1000001"}) {
    expectMisuse({"power", file, std::string("--frequency=") + frequency}, "--frequency");
  }
  for (const char* cycles : {"0", "-1", "2.5", "10001", "nan"}) {
    expectMisuse({"power", file, std::string("--cycles=") + cycles}, "--cycles");
  }
  expectMisuse({"power"}, "FILE");
  const Outcome help = run({"power", "--help"});
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("Examples:"), std::string::npos);
}

TEST_F(PowerInputTest, RecordingsThatCannotBeAnalysedAreRefused) {
  const std::string file = writeCsv("a.csv", {"a", "b"}, std::vector(2, std::vector<double>(999, 1)));
  expectPowerRefused(path("none.wav"), "no such file");
  expectPowerRefused(file, "carries no sample rate: --rate is needed");
  expectPowerRefused(file, "is too short: a window has 1000 samples, the recording 999", {"--rate", "5000"});
  expectPowerRefused(file, "a window would have more than 16777216 samples", {"--rate", "1e9"});
  expectPowerRefused(writeText("bad.csv", "a,b\n1,2\n3,x\n"), "line 3, column b: not a number", {"--rate", "5000"});
}

TEST_F(PowerInputTest, CorrectionCurvesThatCannotBeAreRefused) {
  const std::string file = writeCsv("a.csv", {"a", "b"}, std::vector(2, std::vector<double>(1000, 1)));
  const auto refuse = [&](const std::string& text, const std::string& reason) {
    const std::string curve = writeText("curve.csv", text);
    expectRefused({"power", file, "--rate", "5000", "--correction", curve}, curve, reason);
  };
  refuse("f,g\n1,2\n", "is not a CSV file of three columns");
  refuse("f,g,p\n", "holds a header row alone, and no rows of numbers");
  refuse("f,g,p\n1,1,0\n1,2,0\n", "point 2: the frequencies do not ascend");
  refuse("f,g,p\n1,nan,0\n", "point 1 is not finite");
  refuse("f,g,p\n1,1,0\n2,x,0\n", "line 3, column g: not a number");
  expectRefused({"power", file, "--rate", "5000", "--correction", path("none.csv")}, path("none.csv"), "no such file");
}

/// A COMTRADE recording of the mains, with status channels, that the tests vary.
class ComtradeTest : public PowerInputTest {
protected:
  static constexpr size_t frames = 400;

  static int16_t step(size_t channel, size_t frame) {
    static const auto channels = mains();
    return static_cast<int16_t>(std::lround((channels[channel][frame] - offset(channel)) / factor(channel)));
  }

  /// The first channels count in kV, the currents in A.
  static double factor(size_t channel) { return channel < 3 ? 0.015625 : 0.0009765625; }
  static double offset(size_t channel) { return channel == 1 ? 0.5 : channel == 4 ? -0.25 : 0; }

  static std::string configuration(const std::string& type) {
    std::ostringstream text;
    text << "Station,Device,1999\r\n9,6A,3D\r\n";
    const std::vector<std::string> names{"UA", "UB", "UC", "IA", "IB", "IC"};
    for (size_t i = 0; i < names.size(); ++i) {
      const double scale = i < 3 ? 1e-3 : 1;
      text.precision(17);
      text << i + 1 << ',' << names[i] << ",A,Feeder," << (i < 3 ? "kV" : "A") << ',' << factor(i) * scale << ','
           << offset(i) * scale << ",0,-32767,32767,100,1,S\r\n";
    }
    text << "1,S1,,,0\r\n2,S2,,,0\r\n3,S3,,,1\r\n50\r\n1\r\n1000,400\r\n01/02/2020,10:00:00.000000\r\n"
            "01/02/2020,10:00:00.100000\r\n"
         << type << "\r\n1.0\r\n";
    return text.str();
  }

  static std::string ascii() {
    std::ostringstream text;
    for (size_t frame = 0; frame < frames; ++frame) {
      text << frame + 1 << ',' << frame * 1000;
      for (size_t i = 0; i < 6; ++i) {
        text << ',' << step(i, frame);
      }
      text << ",0,1,0\r\n";
    }
    return text.str() + '\x1A';
  }

  static std::string binary() {
    std::string bytes;
    const auto add = [&](uint32_t number, int count) {
      for (int i = 0; i < count; ++i) {
        bytes += static_cast<char>(number >> (8 * i) & 0xFF);
      }
    };
    for (size_t frame = 0; frame < frames; ++frame) {
      add(static_cast<uint32_t>(frame + 1), 4);
      add(static_cast<uint32_t>(frame * 1000), 4);
      for (size_t i = 0; i < 6; ++i) {
        add(static_cast<uint16_t>(step(i, frame)), 2);
      }
      add(2, 2);
    }
    return bytes;
  }

  /// Writes both files and returns the path of the configuration.
  std::string write(const std::string& name, const std::string& text, const std::string& data) const {
    writeText(name + ".dat", data);
    return writeText(name + ".cfg", text);
  }

  static std::string with(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
  }
};

TEST_F(ComtradeTest, AsciiAndBinaryGiveTheFiguresOfTheSameCsv) {
  std::vector<std::vector<double>> values(6);
  for (size_t i = 0; i < 6; ++i) {
    const double scale = i < 3 ? 1e-3 : 1;
    for (size_t frame = 0; frame < frames; ++frame) {
      values[i].push_back(factor(i) * scale * step(i, frame) + offset(i) * scale);
    }
  }
  const std::string csv = writeCsv("a.csv", {"UA [kV]", "UB [kV]", "UC [kV]", "IA [A]", "IB [A]", "IC [A]"}, values);
  const nlohmann::json expected = power({csv, "--rate", "1000"});
  EXPECT_NEAR(rms(expected, 0, "voltage_v"), std::hypot(230, 9), 0.01);
  EXPECT_NEAR(rms(expected, 1, "current_a"), 11, 0.01);
  for (const auto& [file, samples] : {std::pair(write("ascii", configuration("ASCII"), ascii()), "decimal"),
                                      std::pair(write("binary", configuration("BINARY"), binary()), "int16"),
                                      std::pair(write("lower", configuration("binary"), binary()), "int16")}) {
    SCOPED_TRACE(file);
    const nlohmann::json result = power({file});
    EXPECT_EQ(result.at("container"), "comtrade");
    EXPECT_EQ(result.at("sample_format"), samples);
    EXPECT_EQ(result.at("sample_rate_hz"), 1000);
    EXPECT_EQ(result.at("mean"), expected.at("mean"));
    EXPECT_EQ(result.at("windows"), expected.at("windows"));
  }
}

TEST_F(ComtradeTest, OtherSubcommandsReadThemToo) {
  const nlohmann::json result = stats({write("a", configuration("BINARY"), binary())}).at(0);
  EXPECT_EQ(result.at("samples"), frames);
  EXPECT_EQ(result.at("duration_s"), 0.4);
  EXPECT_EQ(result.at("channels").at(3).at("name"), "IA [A]");
  double least = 0;
  for (size_t frame = 0; frame < frames; ++frame) {
    least = std::min(least, factor(3) * step(3, frame));
  }
  EXPECT_EQ(result.at("channels").at(3).at("minimum"), least);
}

TEST_F(ComtradeTest, UpperCaseNamesAndThe2013RevisionAreRead) {
  const std::string text = with(configuration("ASCII"), ",1999", ",2013") + "0,0\r\n0,0\r\n";
  const std::string file = write("a", text, ascii());
  const nlohmann::json expected = power({file});
  std::filesystem::rename(path("a.dat"), path("B.DAT"));
  std::filesystem::rename(file, path("B.CFG"));
  EXPECT_EQ(power({path("B.CFG")}).at("mean"), expected.at("mean"));
}

TEST_F(ComtradeTest, TheRateMayHaveToBeTold) {
  const std::string text = with(configuration("ASCII"), "\r\n1\r\n1000,400", "\r\n0\r\n0,400");
  const std::string file = write("a", text, with(ascii(), ",1000,", ",1100,"));
  expectPowerRefused(file, "carries no sample rate: --rate is needed");
  EXPECT_EQ(power({file, "--rate", "1000"}).at("sample_rate_hz"), 1000);
  const std::string even = write("even", text, ascii());
  const Outcome outcome = run({"power", "--json", even});
  EXPECT_EQ(outcome.err, "kxhost: " + even + ": the sample rate, 1000 Hz, comes from the time stamps\n");
  EXPECT_EQ(nlohmann::json::parse(outcome.out).at("sample_rate_hz"), 1000);
  EXPECT_EQ(
      power({write("b", configuration("ASCII"), ascii()), "--rate", "500", "--frequency", "25"}).at("sample_rate_hz"),
      500);
}

TEST_F(ComtradeTest, MissingSamplesAreNansAndNoted) {
  std::string bytes = binary();
  bytes.replace(8 + 2 * 5, 2, std::string("\x00\x80", 2));
  for (const auto& [file, where] :
       {std::pair(write("a", configuration("BINARY"), bytes), "record 1"),
        std::pair(write("b", configuration("ASCII"),
                        with(ascii(), ',' + std::to_string(step(5, 0)) + ",0,1,0\r\n", ",99999,0,1,0\r\n")),
                  "line 1"),
        std::pair(write("c", configuration("ASCII"),
                        with(ascii(), ',' + std::to_string(step(5, 0)) + ",0,1,0\r\n", ",,0,1,0\r\n")),
                  "line 1")}) {
    const Outcome outcome = run({"power", "--json", file});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.err, "kxhost: " + file + ": samples that are missing are taken as NaN, the first one in " +
                               where + ", channel IC [A]\n");
    const nlohmann::json windows = nlohmann::json::parse(outcome.out).at("windows");
    EXPECT_TRUE(windows.at(0).at("phases").at(2).at("current_a").at("rms").is_null());
    EXPECT_TRUE(windows.at(0).at("phases").at(1).at("current_a").at("rms").is_number());
    EXPECT_TRUE(windows.at(1).at("phases").at(2).at("current_a").at("rms").is_number());
  }
}

TEST_F(ComtradeTest, DataThatDoNotFitAreRefused) {
  const std::string text = configuration("ASCII"), binaryText = configuration("BINARY");
  const auto refuse = [&](const std::string& cfg, const std::string& data, const std::string& reason) {
    expectRefused({"power", write("a", cfg, data)}, path("a.dat"), reason);
  };
  refuse(binaryText, binary().substr(0, 398 * 22),
         "is truncated or of another shape: 400 samples of 22 bytes are announced, there are 8756 bytes");
  refuse(binaryText, binary().substr(0, 400 * 22 - 1), "is truncated or of another shape");
  refuse(binaryText, binary() + "x", "is truncated or of another shape");
  refuse(text, ascii().substr(0, ascii().find("\r\n399,") + 2),
         "is truncated: reading stopped after 398 of 400 samples");
  refuse(text, "", "is truncated: reading stopped after 0 of 400");
  refuse(text, with(ascii(), ",0,1,0\r\n7,", ",0,1\r\n7,"), "line 6 has 10 fields, 11 are announced");
  refuse(text, with(ascii(), "\r\n3,2000,", "\r\n3,2000,x"), "line 3, channel UA [kV]: not a number: x");
  refuse(text, with(ascii(), "\r\n3,2000,", "\r\n3,2000,inf,"), "line 3 has 12 fields");
  expectRefused({"power", writeText("lonely.cfg", text)}, path("lonely.cfg"), "its data file lonely.dat is missing");
}

TEST_F(ComtradeTest, ConfigurationsThatCannotBeAreRefused) {
  const std::string text = configuration("ASCII");
  const auto refuse = [&](const std::string& from, const std::string& to, const std::string& reason) {
    expectPowerRefused(write("a", with(text, from, to), ascii()), reason);
  };
  refuse("9,6A,3D", "9,6A", "line 2: numbers of channels: 3 fields are needed, there are 2");
  refuse("9,6A,3D", "10,6A,3D", "line 2: 10 channels are not 6A and 3D");
  refuse("9,6A,3D", "9,6D,3A", "number of channels of kind A is missing: 6D");
  refuse("9,6A,3D", "9,xA,3D", "number of channels of kind A is not a number: x");
  refuse("9,6A,3D", "9,6.5A,3D", "is not a whole number up to 10000: 6.5");
  refuse("9,6A,3D", "3,0A,3D", "line 2: there is no analog channel");
  refuse("9,6A,3D", "10,7A,3D", "line 9: analog channel 7: 10 fields are needed, there are 5");
  refuse("9,6A,3D", "8,5A,3D", "line 9: status channel 7 is expected, not 1");
  refuse("\n3,UC", "\n4,UC", "line 5: analog channel 3 is expected, not 4");
  refuse("\n2,S2", "\n3,S2", "line 10: status channel 2 is expected, not 3");
  refuse("kV,", "kV,x", "line 3: channel factor a is not a number: x");
  refuse("\r\n1\r\n1000", "\r\n2\r\n1000", "line 15: number of the last sample is not a number: 10:00:00.000000");
  refuse("1000,400", "-1,400", "the sample rate must be above 0");
  refuse("1000,400", "fast,400", "sample rate is not a number: fast");
  refuse("1000,400", "1000,-400", "number of the last sample is not a whole number");
  refuse("1000,400", "1000", "sample rate and last sample: 2 fields are needed, there are 1");
  refuse("ASCII", "FLOAT64", "data files of type FLOAT64 are not read, only ASCII, BINARY, BINARY32 and FLOAT32");
  expectPowerRefused(write("a", text.substr(0, text.find("ASCII")), ascii()),
                     "ends after line 16: data file type is missing");
  expectPowerRefused(write("a", "", ascii()), "ends after line 0: station name and device is missing");
}

TEST_F(ComtradeTest, OneSampleFewerIsNoted) {
  for (const auto& [type, data] : {std::pair("BINARY", binary().substr(0, 399 * 22)),
                                   std::pair("ASCII", ascii().substr(0, ascii().find("\r\n400,") + 2))}) {
    const std::string file = write("a", configuration(type), data);
    const Outcome outcome = run({"power", "--json", file});
    EXPECT_EQ(outcome.err, "kxhost: " + file + ": holds one sample fewer than the 400 announced\n");
    EXPECT_EQ(nlohmann::json::parse(outcome.out).at("samples_left_over"), 199);
  }
}

TEST_F(ComtradeTest, TimesAreShown) {
  const std::string file = write("a", configuration("BINARY"), binary());
  const std::string line = "first sample 2020-02-01 10:00:00.000000, trigger 2020-02-01 10:00:00.100000, 0.1 s later\n";
  EXPECT_NE(run({"power", file}).out.find("0.2 s each\n" + line), std::string::npos);
  EXPECT_TRUE(run({"stats", file}).out.ends_with("\n" + file + ": " + line));
  for (const nlohmann::json& result : {power({file}), stats({file}).at(0)}) {
    EXPECT_EQ(result.at("first_sample_time"), "2020-02-01 10:00:00.000000");
    EXPECT_EQ(result.at("trigger_time"), "2020-02-01 10:00:00.100000");
  }
  const auto outOf = [&](const std::string& from, const std::string& to) {
    return run({"stats", write("b", with(configuration("BINARY"), from, to), binary())}).out;
  };
  EXPECT_TRUE(outOf("10:00:00.1", "09:59:59.5").ends_with("trigger 2020-02-01 09:59:59.500000, 0.5 s earlier\n"));
  EXPECT_TRUE(outOf("01/02/2020,10:00:00.1", "x").ends_with(": first sample 2020-02-01 10:00:00.000000\n"));
  EXPECT_TRUE(outOf("01/02/2020,10:00:00.0", "x").ends_with("b.cfg: trigger 2020-02-01 10:00:00.100000\n"));
  const std::string csv = writeCsv("a.csv", {"a [V]", "b [A]"}, {{1, 2}, {1, 2}});
  EXPECT_TRUE(stats({csv}).at(0).at("trigger_time").is_null());
  EXPECT_TRUE(run({"stats", csv}).out.ends_with(" 0\n"));
}

TEST_F(ComtradeTest, TheAnnouncedFrequencyIsTakenUnlessItCannotBeOrAnotherIsTold) {
  const auto frequency = [&](const std::string& announced, const std::vector<std::string>& options) {
    const std::string text = with(configuration("BINARY"), "\r\n50\r\n", "\r\n" + announced + "\r\n");
    std::vector<std::string> arguments{write("a", text, binary())};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const nlohmann::json result = power(arguments);
    return std::pair(result.at("frequency_hz").get<double>(), result.at("cycles").get<int>());
  };
  using Setting = std::pair<double, int>;
  EXPECT_EQ(frequency("60", {}), Setting(60, 12));
  EXPECT_EQ(frequency("60", {"--frequency", "50"}), Setting(50, 10));
  EXPECT_EQ(frequency("", {}), Setting(50, 10));
  EXPECT_EQ(frequency("9", {}), Setting(50, 10));
  EXPECT_EQ(frequency("10", {"--cycles", "2"}), Setting(10, 2));
  EXPECT_EQ(frequency("1001", {}), Setting(50, 10));
}

TEST_F(ComtradeTest, SegmentsAndStatusChannelsAreChosenByOptions) {
  const std::string text = with(configuration("BINARY"), "\r\n1\r\n1000,400", "\r\n2\r\n500,100\r\n1000,400");
  const std::string file = write("a", text, binary());
  EXPECT_EQ(stats({file}).at(0).at("samples"), 300);
  const nlohmann::json first = stats({file, "--segment", "1", "--status"}).at(0);
  EXPECT_EQ(first.at("samples"), 100);
  EXPECT_EQ(first.at("sample_rate_hz"), 500);
  EXPECT_EQ(first.at("channels").size(), 9U);
  EXPECT_EQ(first.at("channels").at(7).at("name"), "S2");
  EXPECT_EQ(first.at("channels").at(7).at("minimum"), 1);
  EXPECT_EQ(first.at("channels").at(8).at("maximum"), 0);
  expectRefused({"stats", file, "--segment", "3"}, file, "has no segment 3, they are numbered 1 to 2");
  EXPECT_EQ(power({file, "--status"}).at("mean").at("phases").size(), 3U);
  expectRefused({"stats", path("a.dat")}, path("a.dat"), "is opened by the .cfg file beside it, or with --raw");
}

TEST_F(ComtradeTest, OfManyChannelsTheOneGroupIsTakenAndSeveralAreListed) {
  std::string text = configuration("BINARY");
  text = with(text, "\n6,IC,A,Feeder,A,", "\n6,Frequency,,,Hz,");
  text = with(text, "\n3,UC,A,Feeder,kV,", "\n3,IN,N,Feeder,A,");
  const std::string one = write("one", text, binary());
  const Outcome outcome = run({"power", "--json", one});
  EXPECT_EQ(outcome.err,
            "kxhost: " + one + ": of its channels those are taken that belong together: --voltage 1,2 --current 4,5\n");
  EXPECT_EQ(nlohmann::json::parse(outcome.out).at("mean").at("phases").at(1).at("voltage_v").at("channel"), "UB [kV]");

  text = configuration("BINARY");
  text = with(text, "\n2,UB,A,Feeder,kV,", "\n2,IX,,,A,");
  text = with(text, "\n3,UC,A,Feeder,kV,", "\n3,Frequency,,,,");
  const std::string several = write("several", text, binary());
  const Outcome listed = run({"power", several});
  EXPECT_EQ(listed.code, 1);
  EXPECT_EQ(listed.out, "");
  EXPECT_EQ(listed.err, "kxhost: " + several +
                            ": has 1 channels in V and 4 in A: --voltage and --current must tell which ones to take\n\n"
                            "Channel  Name       Unit  Phase  Circuit\n"
                            "      1  UA         kV    A      Feeder\n"
                            "      2  IX         A\n"
                            "      3  Frequency\n"
                            "      4  IA         A     A      Feeder\n"
                            "      5  IB         A     A      Feeder\n"
                            "      6  IC         A     A      Feeder\n\n"
                            "What may belong together  Voltages  Currents\n"
                            "--voltage 1 --current 2   UA        IX\n"
                            "--voltage 1 --current 4   UA        IA\n"
                            "--voltage 1 --current 5   UA        IB\n"
                            "--voltage 1 --current 6   UA        IC\n");
}

}  // namespace
}  // namespace kxhost_test
