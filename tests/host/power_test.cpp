// `kxhost power`: synthesised voltages and currents whose figures are known.
#include "host/power_test.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>
#include <optional>
#include <sstream>

#include "host/png_image.hpp"
#include "host/svg_picture.hpp"

namespace kxhost_test {

std::vector<std::vector<double>> PowerTest::sample(const std::vector<Signal>& signals, double rate, double frequency,
                                                   double cycles, double start) {
  constexpr double radians = std::numbers::pi / 180;
  std::vector<std::vector<double>> channels;
  for (const Signal& signal : signals) {
    std::vector<double>& samples = channels.emplace_back(static_cast<size_t>(std::lround(cycles * rate / frequency)));
    for (size_t i = 0; i < samples.size(); ++i) {
      const double phase = 2 * std::numbers::pi * frequency * static_cast<double>(i) / rate + start * radians;
      for (const Harmonic& harmonic : signal) {
        samples[i] +=
            std::numbers::sqrt2 * harmonic.rms * std::sin(harmonic.order * phase + harmonic.degrees * radians);
      }
    }
  }
  return channels;
}

std::string PowerTest::writeCsv(const std::string& name, const std::vector<std::string>& columns,
                                const std::vector<std::vector<double>>& channels) const {
  std::string text;
  for (size_t i = 0; i < columns.size(); ++i) {
    text += columns[i] + (i + 1 < columns.size() ? ',' : '\n');
  }
  std::ostringstream rows;
  rows.precision(17);
  for (size_t frame = 0; frame < channels[0].size(); ++frame) {
    for (size_t i = 0; i < channels.size(); ++i) {
      rows << channels[i][frame] << (i + 1 < channels.size() ? ',' : '\n');
    }
  }
  return writeText(name, text + rows.str());
}

nlohmann::json PowerTest::power(std::vector<std::string> arguments) const {
  arguments.insert(arguments.begin(), {"power", "--json"});
  const Outcome outcome = run(arguments);
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  return nlohmann::json::parse(outcome.out);
}

void PowerTest::expectPowerRefused(const std::string& file, const std::string& reason,
                                   std::vector<std::string> options) const {
  options.insert(options.begin(), {"power", file});
  expectRefused(options, file, reason);
}

void expectClose(const nlohmann::json& number, double value, double scale) {
  ASSERT_TRUE(number.is_number()) << number;
  EXPECT_NEAR(number.get<double>(), value, 1e-6 * std::max(std::abs(value), scale));
}

namespace {

const Signal singleVoltage{{1, 100, 0}, {3, 8, -70}, {5, 15, 140}, {7, 5, 20}};
const Signal singleCurrent{{1, 100, -30}, {3, 20, -165}, {5, 15, 233}, {7, 10, 288}};
const std::vector<std::string> onePhase{"u [V]", "i [A]"};
const std::vector<std::string> threePhases{"Ua [V]", "Ub [V]", "Uc [V]", "Ia [A]", "Ib [A]", "Ic [A]"};

void expectHarmonics(const nlohmann::json& signal, const Signal& expected) {
  for (size_t i = 0; i < 50; ++i) {
    const auto found = std::find_if(expected.begin(), expected.end(), [&](const Harmonic& harmonic) {
      return harmonic.order == static_cast<double>(i + 1);
    });
    const double rms = signal.at("harmonics_rms").at(i).get<double>();
    if (found == expected.end()) {
      EXPECT_NEAR(rms, 0, 1e-5) << "order " << i + 1;
    } else {
      EXPECT_NEAR(rms, found->rms, 1e-6 * found->rms) << "order " << i + 1;
      const double degrees = signal.at("harmonics_deg").at(i).get<double>();
      EXPECT_NEAR(std::remainder(degrees - found->degrees, 360), 0, 0.001) << "order " << i + 1;
    }
  }
}

/// Figures worked out by hand from the harmonics: products of rms values, cosines and sines of the phases' differences.
TEST_F(PowerTest, OnePhaseWithHarmonicsGivesTheFiguresThatFollowFromThem) {
  const std::string file = writeCsv("a.csv", onePhase, sample({singleVoltage, singleCurrent}, 10000, 50, 10));
  const nlohmann::json result = power({file, "--rate", "10000"});
  ASSERT_EQ(result.at("windows").size(), 1U);
  for (const nlohmann::json& figures : {result.at("mean"), result.at("windows").at(0)}) {
    const nlohmann::json& phase = figures.at("phases").at(0);
    expectClose(phase.at("power").at("active_w"), 8660.2540 - 13.9449 - 11.7756 - 1.7450);
    expectClose(phase.at("power").at("reactive_var"), 5000.0000 + 159.3912 - 224.6916 + 49.9695);
    expectClose(phase.at("power").at("apparent_va"), 10517.4926);
    EXPECT_NEAR(phase.at("power").at("factor").get<double>(), 0.82080, 5e-6);
    EXPECT_NEAR(phase.at("voltage_v").at("rms").get<double>(), 101.5579, 1e-4);
    EXPECT_NEAR(phase.at("current_a").at("rms").get<double>(), 103.5616, 1e-4);
    EXPECT_NEAR(phase.at("voltage_v").at("thd_percent").get<double>(), 17.7200, 1e-4);
    EXPECT_NEAR(phase.at("current_a").at("thd_percent").get<double>(), 26.9258, 1e-4);
    expectHarmonics(phase.at("voltage_v"), singleVoltage);
    expectHarmonics(phase.at("current_a"), singleCurrent);
    EXPECT_EQ(figures.at("total"), phase.at("power"));
    EXPECT_FALSE(figures.contains("voltage_sequences_v"));
  }
  EXPECT_EQ(result.at("windows").at(0).at("strongest_hz"), 50);
}

TEST_F(PowerTest, AnglesDoNotDependOnWhereTheRecordingBegins) {
  for (const double start : {1.0, 89.0, 90.0, 179.0, 181.0, 200.0, 270.0, 359.0}) {
    SCOPED_TRACE(start);
    const std::string file = writeCsv("a.csv", onePhase, sample({singleVoltage, singleCurrent}, 10000, 50, 10, start));
    const nlohmann::json phase = power({file, "--rate", "10000"}).at("mean").at("phases").at(0);
    expectHarmonics(phase.at("voltage_v"), singleVoltage);
    expectHarmonics(phase.at("current_a"), singleCurrent);
  }
}

TEST_F(PowerTest, AllOrdersUpTo50AreToldWithTheirAngles) {
  Signal voltage{{1, 100, 0}}, current{{1, 10, 120}};
  for (int order = 2; order <= 50; ++order) {
    voltage.push_back({static_cast<double>(order), 51.0 - order, 7.0 * order});
    current.push_back({static_cast<double>(order), 1 + order / 10.0, -11.0 * order});
  }
  const std::string file = writeCsv("a.csv", onePhase, sample({voltage, current}, 10000, 50, 10, 250));
  const nlohmann::json phase = power({file, "--rate", "10000"}).at("mean").at("phases").at(0);
  const auto near = [&](const nlohmann::json& signal, const Signal& expected) {
    for (size_t i = 0; i < expected.size(); ++i) {
      EXPECT_NEAR(signal.at("harmonics_rms").at(i).get<double>(), expected[i].rms, 1e-5) << i + 1;
      const double degrees = signal.at("harmonics_deg").at(i).get<double>();
      EXPECT_NEAR(std::remainder(degrees - expected[i].degrees, 360), 0, 0.005) << i + 1;
      EXPECT_LE(std::abs(degrees), 180);
    }
  };
  near(phase.at("voltage_v"), voltage);
  near(phase.at("current_a"), current);
}

struct Unbalance {
  std::vector<std::pair<double, double>> phasors;  // rms and angle
  double positive, negativePercent, zeroPercent;
};

/// The symmetrical components by hand: (U1 + a U2 + a^2 U3) / 3 and its like.
TEST_F(PowerTest, UnbalanceIsThatOfTheSymmetricalComponents) {
  const std::vector<Unbalance> cases{{{{73, 0}, {80, -120}, {87, 120}}, 80, 5.05181, 5.05181},
                                     {{{100, 0}, {90, -120}, {100, 120}}, 290.0 / 3, 3.448276, 3.448276},
                                     {{{230, 0}, {230, -120}, {0, 0}}, 460.0 / 3, 50, 50},
                                     {{{230, 0}, {220, -118}, {240, 123}}, 229.9447, 4.00579, 1.17261}};
  for (const Unbalance& unbalance : cases) {
    std::vector<Signal> signals;
    for (const auto& [rms, degrees] : unbalance.phasors) {
      signals.push_back({{1, rms, degrees}, {5, 10, 20}});
    }
    for (const auto& [rms, degrees] : unbalance.phasors) {
      signals.push_back({{1, rms / 100, degrees - 30}});
    }
    const std::string file = writeCsv("a.csv", threePhases, sample(signals, 5000, 50, 10, 33));
    const nlohmann::json mean = power({file, "--rate", "5000"}).at("mean");
    for (const auto& [name, scale] : {std::pair("voltage_sequences_v", 1.0), {"current_sequences_a", 0.01}}) {
      const nlohmann::json& sequences = mean.at(name);
      EXPECT_NEAR(sequences.at("positive").get<double>(), scale * unbalance.positive, scale * 1e-3);
      EXPECT_NEAR(sequences.at("negative_percent").get<double>(), unbalance.negativePercent, 1e-4);
      EXPECT_NEAR(sequences.at("zero_percent").get<double>(), unbalance.zeroPercent, 1e-4);
      EXPECT_NEAR(sequences.at("negative").get<double>(), scale * unbalance.positive * unbalance.negativePercent / 100,
                  scale * 1e-3);
      EXPECT_NEAR(sequences.at("zero").get<double>(), scale * unbalance.positive * unbalance.zeroPercent / 100,
                  scale * 1e-3);
    }
  }
}

TEST_F(PowerTest, TotalsAreSumsOverThePhases) {
  const std::vector<Signal> signals{{{1, 230, 0}},  {{1, 220, -120}},    {{1, 240, 120}},
                                    {{1, 10, -30}}, {{1, 8, -120 + 45}}, {{1, 6, 120 - 60}}};
  const std::string file = writeCsv("a.csv", threePhases, sample(signals, 5000, 50, 10));
  const nlohmann::json mean = power({file, "--rate", "5000"}).at("mean");
  const double degree = std::numbers::pi / 180;
  expectClose(mean.at("phases").at(1).at("power").at("active_w"), 220 * 8 * std::cos(45 * degree));
  expectClose(mean.at("phases").at(1).at("power").at("reactive_var"), -220 * 8 * std::sin(45 * degree));
  expectClose(mean.at("phases").at(2).at("power").at("reactive_var"), 240 * 6 * std::sin(60 * degree));
  const double active = 2300 * std::cos(30 * degree) + 1760 * std::cos(45 * degree) + 1440 * std::cos(60 * degree);
  expectClose(mean.at("total").at("active_w"), active);
  expectClose(mean.at("total").at("reactive_var"),
              2300 * std::sin(30 * degree) - 1760 * std::sin(45 * degree) + 1440 * std::sin(60 * degree));
  expectClose(mean.at("total").at("apparent_va"), 2300 + 1760 + 1440);
  expectClose(mean.at("total").at("factor"), active / 5500);
}

/// Noise has parts in every bin, those at 0 and at half the sample rate too, which count differently.
TEST_F(PowerTest, RmsAndActivePowerAreThoseOfTheSamplesThemselves) {
  const auto voltage = as<double>(noise(1001, 24), 0x1p-18);
  std::vector<double> current(voltage.rbegin(), voltage.rend());
  std::transform(current.begin(), current.end(), voltage.begin(), current.begin(),
                 [](double a, double b) { return a + b / 2 + 3; });
  for (const size_t length : {size_t{1001}, size_t{1000}, size_t{7}, size_t{6}, size_t{4}, size_t{3}}) {
    SCOPED_TRACE(length);
    const std::vector<double> u(voltage.begin(), voltage.begin() + static_cast<int>(length));
    const std::vector<double> i(current.begin(), current.begin() + static_cast<int>(length));
    const std::string file = writeCsv("a.csv", onePhase, {u, i});
    const nlohmann::json phase = power({file, "--rate", std::to_string(length), "--frequency", "1", "--cycles", "1"})
                                     .at("mean")
                                     .at("phases")
                                     .at(0);
    const auto mean = [&](const std::vector<double>& a, const std::vector<double>& b) {
      return std::inner_product(a.begin(), a.end(), b.begin(), 0.0) / static_cast<double>(length);
    };
    expectClose(phase.at("voltage_v").at("rms"), std::sqrt(mean(u, u)));
    expectClose(phase.at("current_a").at("rms"), std::sqrt(mean(i, i)));
    expectClose(phase.at("power").at("active_w"), mean(u, i), std::sqrt(mean(u, u) * mean(i, i)));
  }
}

TEST_F(PowerTest, EachWindowHasItsOwnFigures) {
  auto channels = sample({{{1, 100, 0}, {2, 3, 10}}, {{1, 10, -60}}}, 2000, 50, 25);
  for (size_t i = 400; i < 1000; ++i) {
    channels[0][i] *= 2;
    channels[1][i] *= 3;
  }
  const std::string file = writeCsv("a.csv", onePhase, channels);
  const nlohmann::json result = power({file, "--rate", "2000", "--with-flagged"});
  EXPECT_EQ(result.at("window_samples"), 400);
  EXPECT_EQ(result.at("window_s"), 0.2);
  EXPECT_EQ(result.at("samples_left_over"), 200);
  ASSERT_EQ(result.at("windows").size(), 2U);
  EXPECT_EQ(result.at("windows").at(1).at("from_s"), 0.2);
  const auto rms = [](const nlohmann::json& window) {
    return window.at("phases").at(0).at("voltage_v").at("harmonics_rms").at(0);
  };
  const auto active = [](const nlohmann::json& window) { return window.at("total").at("active_w"); };
  expectClose(rms(result.at("windows").at(0)), 100);
  expectClose(rms(result.at("windows").at(1)), 200);
  expectClose(rms(result.at("mean")), std::sqrt((1.0 + 4) / 2) * 100);
  expectClose(active(result.at("windows").at(0)), 500);
  expectClose(active(result.at("windows").at(1)), 3000);
  expectClose(active(result.at("mean")), 1750);
  const double u = std::hypot(100, 3);
  expectClose(result.at("mean").at("phases").at(0).at("power").at("apparent_va"), (u * 10 + 2 * u * 30) / 2);
  expectClose(result.at("mean").at("phases").at(0).at("voltage_v").at("rms"), std::sqrt(2.5) * u);
  expectClose(result.at("mean").at("phases").at(0).at("current_a").at("harmonics_deg").at(0), -60);
}

TEST_F(PowerTest, WindowsHoldTenCyclesOrTwelveOrWhatTheOptionSays) {
  const std::string file = writeCsv("a.csv", onePhase, sample({{{1, 1, 0}}, {{1, 1, 0}}}, 50000, 60, 14));
  const auto window = [&](const std::vector<std::string>& options) {
    std::vector<std::string> arguments{file, "--rate", "50000", "--frequency"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const nlohmann::json result = power(arguments);
    return std::pair(result.at("cycles").get<int>(), result.at("window_samples").get<int>());
  };
  EXPECT_EQ(window({"60"}), std::pair(12, 10000));
  EXPECT_EQ(window({"55"}), std::pair(12, 10000));  // of the 60 Hz that are measured
  EXPECT_EQ(window({"54.9"}), std::pair(10, 8333));
  EXPECT_EQ(window({"51"}), std::pair(10, 9804));  // too far away to be looked for
  EXPECT_EQ(window({"60", "--cycles", "10"}), std::pair(10, 8333));
  EXPECT_EQ(window({"60", "--cycles", "1"}), std::pair(1, 833));
}

TEST_F(PowerTest, LowSampleRatesHaveFewerOrders) {
  const std::string file = writeCsv("a.csv", onePhase, sample({{{1, 1, 0}}, {{1, 1, 0}}}, 5000, 50, 10));
  const auto orders = [&](const std::string& recording, const std::string& frequency) {
    return power({recording, "--rate", "5000", "--cycles", "3", "--frequency", frequency})
        .at("mean")
        .at("phases")
        .at(0)
        .at("voltage_v")
        .at("harmonics_rms")
        .size();
  };
  EXPECT_EQ(orders(file, "50"), 49U);  // order 50 would lie at half the sample rate
  EXPECT_EQ(orders(file, "49"), 49U);  // the mains has 50 Hz all the same
  EXPECT_EQ(orders(writeCsv("b.csv", onePhase, sample({{{1, 1, 0}}, {{1, 1, 0}}}, 5000, 49, 10)), "50"), 50U);
  EXPECT_EQ(orders(file, "500"), 4U);
  EXPECT_EQ(orders(file, "1600"), 1U);
  expectPowerRefused(file, "too low to see 2500 Hz", {"--rate", "5000", "--frequency", "2500"});
  expectPowerRefused(file, "too low to see 1e+06 Hz", {"--rate", "5000", "--frequency", "1e6"});
}

TEST_F(PowerTest, ACorrectionCurveTurnsAndScalesTheVoltages) {
  const std::string file = writeCsv("a.csv", onePhase, sample({singleVoltage, singleCurrent}, 10000, 50, 10));
  const std::string curve = writeText("curve.csv", "f,gain,phase\n50,2,30\n150,2,30\n200,1,0\n300,3,-80\n400,1,90\n");
  const nlohmann::json phase = power({file, "--rate", "10000", "--correction", curve}).at("mean").at("phases").at(0);
  // Seen from the fundamental, which was turned by 30 degrees, order h is h times 30 degrees back.
  expectHarmonics(phase.at("voltage_v"),
                  {{1, 200, 0}, {3, 16, -70 + 30 - 90}, {5, 30, 140 - 40 - 150}, {7, 10, 20 + 5 - 210}});
  const double degree = std::numbers::pi / 180;
  expectClose(phase.at("power").at("active_w"),
              20000 * std::cos(60 * degree) + 16 * 20 * std::cos((-40 + 165) * degree) +
                  30 * 15 * std::cos((100 - 233) * degree) + 100 * std::cos((25 - 288) * degree));
  expectClose(phase.at("current_a").at("rms"), 103.561576, 103);
}

TEST_F(PowerTest, ACorrectionTakesConstantsByTheirGain) {
  const std::string file = writeCsv("a.csv", onePhase, {std::vector<double>(100, 5), std::vector<double>(100, 2)});
  const std::string curve = writeText("curve.csv", "f,gain,phase\n0,3,90\n");
  const nlohmann::json phase = power({file, "--rate", "500", "--correction", curve}).at("mean").at("phases").at(0);
  expectClose(phase.at("voltage_v").at("rms"), 15);
  expectClose(phase.at("power").at("active_w"), 30);
}

TEST_F(PowerTest, FiguresThatDoNotExistAreNull) {
  const std::string file = writeCsv("a.csv", threePhases, std::vector(6, std::vector<double>(100)));
  const nlohmann::json mean = power({file, "--rate", "500"}).at("mean");
  EXPECT_TRUE(mean.at("total").at("factor").is_null());
  EXPECT_TRUE(mean.at("phases").at(0).at("voltage_v").at("thd_percent").is_null());
  EXPECT_TRUE(mean.at("voltage_sequences_v").at("negative_percent").is_null());
  EXPECT_TRUE(mean.at("voltage_sequences_v").at("zero_percent").is_null());
  const Outcome outcome = run({"power", file, "--rate", "500", "--windows", "--harmonics"});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
}

TEST_F(PowerTest, AnotherFrequencyThanTheStatedOneIsNoted) {
  const std::string file = writeCsv("a.csv", onePhase, sample({{{1, 1, 0}}, {{1, 1, 0}}}, 5000, 60, 24));
  const Outcome outcome = run({"power", file, "--rate", "5000", "--frequency", "50"});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.err,
            "kxhost: " + file +
                ": the strongest component of channel u [V] is not at the 50 Hz of the mains but elsewhere, "
                "first at 60 Hz, in 2 of 2 windows\n");
  EXPECT_NE(outcome.out.find("The frequency was not to be measured: windows are of 50 Hz\n"), std::string::npos);
  EXPECT_EQ(run({"power", file, "--rate", "5000", "--frequency", "60"}).err, "");
  EXPECT_EQ(run({"power", file, "--rate", "5000"}).err, "");
  EXPECT_EQ(power({file, "--rate", "5000"}).at("nominal_frequency_hz"), 60);
}

/// Mains that are off their nominal frequency have the distortion that they have, and the frequency is printed.
TEST_F(PowerTest, WindowsFollowTheFrequency) {
  for (const double frequency : {42.5, 50.5, 51.0, 57.5, 61.3, 69.0}) {
    SCOPED_TRACE(frequency);
    const std::string file =
        writeCsv("a.csv", onePhase,
                 sample({{{1, 230, 0}, {3, 6.9, 10}, {5, 9.2, 20}}, {{1, 10, -30}, {7, 0.8, 0}, {9, 0.6, 0}}}, 10000,
                        frequency, 1.5 * frequency));
    const nlohmann::json result = power({file, "--rate", "10000"});
    EXPECT_TRUE(result.at("frequency_is_measured").get<bool>());
    EXPECT_NEAR(result.at("frequency_hz").get<double>(), frequency, 1e-4);
    EXPECT_EQ(result.at("nominal_frequency_hz"), frequency < 55 ? 50 : 60);
    EXPECT_EQ(result.at("windows_flagged"), 0);
    EXPECT_NEAR(result.at("frequencies").at(0).at("frequency_hz").get<double>(), frequency, 1e-4);
    EXPECT_NEAR(result.at("frequencies").at(0).at("length_s").get<double>(), 1.5, 1e-4);
    const nlohmann::json& phase = result.at("mean").at("phases").at(0);
    EXPECT_NEAR(phase.at("voltage_v").at("thd_percent").get<double>(), 5, 0.001);
    EXPECT_NEAR(phase.at("current_a").at("thd_percent").get<double>(), 10, 0.001);
    const nlohmann::json& windows = result.at("windows");
    EXPECT_EQ(windows.size(), std::floor(1.5 * frequency / (frequency < 55 ? 10 : 12) + 1e-3));
    for (size_t i = 0; i < windows.size(); ++i) {
      const double length = (frequency < 55 ? 10 : 12) / frequency;
      EXPECT_NEAR(windows.at(i).at("from_s").get<double>(), static_cast<double>(i) * length, 1e-6);
      EXPECT_NEAR(windows.at(i).at("length_s").get<double>(), length, 1e-6);
      EXPECT_NEAR(windows.at(i).at("strongest_hz").get<double>(), frequency, 1e-3);
      EXPECT_EQ(windows.at(i).at("flags"), nlohmann::json::array());
    }
  }
}

TEST_F(PowerTest, EventsAreListed) {
  std::vector<std::vector<double>> channels = sample({{{1, 230, 0}}, {{1, 10, 0}}}, 5000, 50, 100);
  for (size_t i = 3200; i < 3700; ++i) {
    channels[0][i] *= 0.6;
  }
  const std::string file = writeCsv("a.csv", onePhase, channels);
  const nlohmann::json result = power({file, "--rate", "5000"});
  ASSERT_EQ(result.at("events").size(), 1U);
  const nlohmann::json& dip = result.at("events").at(0);
  EXPECT_EQ(dip.at("event"), "dip");
  EXPECT_EQ(dip.at("channel"), "u [V]");
  EXPECT_NEAR(dip.at("from_s").get<double>(), 0.63, 1e-6);  // the cycle half of which is in the dip
  EXPECT_NEAR(dip.at("duration_s").get<double>(), 0.11, 1e-6);
  expectClose(dip.at("extreme_v"), 0.6 * 230);
  expectClose(dip.at("percent"), 60);
  EXPECT_EQ(dip.at("is_over"), true);
  EXPECT_EQ(result.at("windows").at(3).at("flags"), nlohmann::json::array({"dip"}));
  EXPECT_EQ(result.at("windows_flagged"), 1);
  const std::string table = run({"power", file, "--rate", "5000"}).out;
  EXPECT_NE(table.find("Event  From/s  Duration/s  Urms/V  of the reference/%  Voltage\n"
                       "dip      0.63        0.11     138               60.00  u [V]\n"),
            std::string::npos)
      << table;
  EXPECT_EQ(power({file, "--rate", "5000", "--declared-voltage", "400"}).at("events").at(0).at("is_over"), false);
}

TEST_F(PowerTest, DoubtfulWindowsAreLeftOut) {
  std::vector<std::vector<double>> channels = sample({{{1, 230, 0}}, {{1, 10, 0}}}, 5000, 50, 100);
  for (std::vector<double>& channel : channels) {
    std::fill(channel.begin() + 3200, channel.begin() + 4200, 0.0);
  }
  const std::string file = writeCsv("a.csv", onePhase, channels);
  const nlohmann::json result = power({file, "--rate", "5000"});
  EXPECT_EQ(result.at("windows_flagged"), 2);
  for (size_t i = 0; i < 10; ++i) {
    const bool isFlagged = i == 3 || i == 4;
    EXPECT_EQ(result.at("windows").at(i).at("flags").empty(), !isFlagged) << i;
  }
  EXPECT_EQ(result.at("windows").at(3).at("flags").at(0), "frequency unknown");
  expectClose(result.at("mean").at("phases").at(0).at("voltage_v").at("rms"), 230);
  const nlohmann::json all = power({file, "--rate", "5000", "--with-flagged"});
  expectClose(all.at("mean").at("phases").at(0).at("voltage_v").at("rms"), 230 * std::sqrt(0.9));
  EXPECT_NE(
      run({"power", file, "--rate", "5000"})
          .out.find(
              "2 of 10 windows flagged (2 frequency unknown, 2 dip, 2 interruption) and left out of what follows\n"),
      std::string::npos);
  EXPECT_NE(run({"power", file, "--rate", "5000", "--with-flagged"}).out.find("and count, as all do\n"),
            std::string::npos);
  EXPECT_NE(run({"power", file, "--rate", "5000", "--windows"}).out.find("frequency unknown, dip, interruption\n"),
            std::string::npos);
}

TEST_F(PowerTest, TheTablesNameTheirUnits) {
  const std::string file = writeCsv(
      "a.csv", threePhases,
      sample(
          {{{1, 230, 0}, {3, 23, 0}}, {{1, 230, -120}}, {{1, 230, 120}}, {{1, 10, -60}}, {{1, 10, 180}}, {{1, 10, 60}}},
          5000, 50, 10.5));
  const Outcome outcome = run({"power", file, "--rate", "5000", "--harmonics", "--windows"});
  EXPECT_EQ(outcome.code, 0);
  for (const char* line :
       {"a.csv (csv, decimal, 5000 Hz): 1 window of 10 cycles at 50 Hz, 1000 samples or 0.2 s each; 50 samples at the "
        "end "
        "are left over\n",
        "Frequency: 50.0000 Hz, from 50.0000 Hz to 50.0000 Hz in windows, from 50.0000 Hz to 50.0000 Hz over 0.21 s\n",
        "Phase  Voltage       U/V  Angle/deg   THD/%  Current  I/A  Angle/deg  THD/%   P/W", "Q/var", "S/VA", "PF\n",
        "1      Ua [V]   231.1471       0.00  10.000  Ia [A]    10     -60.00  0.000  1150", "total",
        "Sequences  Positive", "Voltage/V       230", "Negative/%", "Zero/%\n",
        "Order  Frequency/Hz  Ua [V] rms/V  Angle/deg", "    3           150            23       0.00",
        "From/s  f/Hz      U1/V", "u2/%", "u0/%  Strongest/Hz  Flags\n"}) {
    EXPECT_NE(outcome.out.find(line), std::string::npos) << line << "\n\n" << outcome.out;
  }
  EXPECT_EQ(run({"power", file, "--rate", "5000"}).out.find("Order"), std::string::npos);
  EXPECT_EQ(run({"power", file, "--rate", "5000"}).out.find("From/s"), std::string::npos);
}

/// Three phases of 20 cycles at 50 Hz and 5000 Hz, the second half at half the voltage.
std::vector<std::vector<double>> halvedVoltages() {
  const auto half = [](double share) {
    return std::vector<Signal>{{{1, 230 * share, 0}, {3, 23 * share, 0}},
                               {{1, 220 * share, -120}},
                               {{1, 230 * share, 120}, {7, 11.5 * share, 0}},
                               {{1, 10, -60}},
                               {{1, 8, 180}, {5, 2, 0}},
                               {{1, 10, 60}}};
  };
  std::vector<std::vector<double>> channels = PowerTest::sample(half(1), 5000, 50, 10);
  const std::vector<std::vector<double>> later = PowerTest::sample(half(0.5), 5000, 50, 10);
  for (size_t i = 0; i < channels.size(); ++i) {
    channels[i].insert(channels[i].end(), later[i].begin(), later[i].end());
  }
  return channels;
}

TEST_F(PowerTest, ThreePicturesAreDrawn) {
  const std::string file = writeCsv("a.csv", threePhases, halvedVoltages());
  EXPECT_EQ(run({"power", file, "--rate", "5000", "--with-flagged", "--plot", path("one.svg")}).code, 0);
  EXPECT_EQ(run({"power", file, "--rate", "5000", "--with-flagged", "--plot", path("two")}).code, 0);
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.csv", "one-harmonics.svg", "one-phasors.svg", "one-trends.svg",
                                                      "two-harmonics.png", "two-phasors.png", "two-trends.png"}));
  const auto expectTexts = [&](const std::string& kind, const std::vector<std::string>& texts) {
    const std::string picture = read(path("one-" + kind + ".svg"));
    for (const std::string& text : texts) {
      EXPECT_NE(picture.find(text), std::string::npos) << kind << ": " << text;
    }
  };
  expectTexts("phasors", {"Phasors of the fundamentals, a.csv (csv, decimal, 5000 Hz), 2 x 10 cycles at 50 Hz",
                          "U2 (Ub [V]): 173.925 V at -120.00 deg", "I1 (Ia [A]): 10 A at -60.00 deg",
                          "outer circle: 181.831 V", "third circle: 10 A"});
  expectTexts("harmonics", {"U1 (Ua [V])", "I3 (Ic [A])", "voltage in % of the fundamental",
                            "current in % of the fundamental", "harmonic order"});
  expectTexts("trends", {"voltage in V", "current in A", "P in kW", "Q in kvar", "U unbalance in %", "time in seconds",
                         "phase 1", "total", "negative", "zero"});
  for (const auto& [name, width, height] :
       {std::tuple("two-phasors.png", 1300, 740), {"two-harmonics.png", 1200, 760}, {"two-trends.png", 1200, 974}}) {
    const PngImage image(path(name));
    EXPECT_EQ(image.width(), width);
    EXPECT_EQ(image.height(), height);
  }
  const PngImage trends(path("two-trends.png"));
  for (const SvgPane& pane : readSvg(read(path("one-trends.svg")))) {
    expectShows(trends, pane.curves.back());
  }
}

TEST_F(PowerTest, PhasorsPointWhereTheyShould) {
  const std::string file = writeCsv("a.csv", threePhases, halvedVoltages());
  EXPECT_EQ(run({"power", file, "--rate", "5000", "--with-flagged", "--plot", path("out.svg")}).code, 0);
  const std::vector<SvgCurve> objects = readObjects(read(path("out-phasors.svg")));
  const auto circle = std::ranges::find(objects, "rgb(144,144,144)", &SvgCurve::colour);
  ASSERT_NE(circle, objects.end());
  const auto [left, right] = std::ranges::minmax(circle->lines.at(0), {}, &Place::x);
  const auto [top, bottom] = std::ranges::minmax(circle->lines.at(0), {}, &Place::y);
  const Place middle{(left.x + right.x) / 2, (top.y + bottom.y) / 2};
  const double radius = (right.x - left.x) / 2;
  const auto expectArrow = [&](const std::string& colour, double length, double degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    const Place tip{middle.x + length * radius * std::cos(angle), middle.y - length * radius * std::sin(angle)};
    double atTip = 1e9, atMiddle = 1e9, longest = 0;
    for (const SvgCurve& object : objects) {
      if (object.colour == colour) {
        atTip = std::min(atTip, object.distanceOf(tip));
        atMiddle = std::min(atMiddle, object.distanceOf(middle));
        for (const auto& line : object.lines) {
          for (const Place& place : line) {
            const double distance = std::hypot(place.x - middle.x, place.y - middle.y);
            longest = distance <= 1.05 * radius ? std::max(longest, distance) : longest;  // further off is the key
          }
        }
      }
    }
    EXPECT_LE(atTip, 1) << colour;
    EXPECT_LE(atMiddle, 1) << colour;
    EXPECT_NEAR(longest, length * radius, 1) << colour;
  };
  expectArrow("rgb(176,58,46)", 1, 0);
  expectArrow("rgb(31,95,168)", 220.0 / 230, -120);
  expectArrow("rgb(46,125,50)", 1, 120);
  expectArrow("rgb(229,152,102)", 0.75, -60);
  expectArrow("rgb(127,179,213)", 0.75 * 0.8, 180);
  expectArrow("rgb(130,199,133)", 0.75, 60);
}

/// Beside each arrow its name, and with every unit the prefix that keeps numbers short.
TEST_F(PowerTest, PicturesNamePhasorsAndPrefixedUnits) {
  const std::string file = writeCsv(
      "a.csv", threePhases,
      sample({{{1, 110e3, 0}}, {{1, 110e3, -120}}, {{1, 110e3, 120}}, {{1, 90, 0}}, {{1, 90, -120}}, {{1, 0.09, 120}}},
             5000, 50, 20));
  EXPECT_EQ(run({"power", file, "--rate", "5000", "--plot", path("out.svg")}).code, 0);
  const std::string phasors = read(path("out-phasors.svg")), trends = read(path("out-trends.svg"));
  for (const char* text : {">U1<", ">U2<", ">U3<", ">I1<", ">I2<", ">I3<", "U2 (Ub [V]): 110 kV at -120.00 deg",
                           "I3 (Ic [A]): 90 mA at 120.00 deg", "outer circle: 110 kV", "third circle: 90 A"}) {
    EXPECT_NE(phasors.find(text), std::string::npos) << text;
  }
  for (const char* text : {"voltage in kV", "current in A", "P in MW"}) {
    EXPECT_NE(trends.find(text), std::string::npos) << text;
  }
  EXPECT_EQ(trends.find("e+0"), std::string::npos);
}

TEST_F(PowerTest, BarsStandAtTheirOrders) {
  const std::string file = writeCsv("a.csv", threePhases, halvedVoltages());
  EXPECT_EQ(run({"power", file, "--rate", "5000", "--with-flagged", "--plot", path("out.svg")}).code, 0);
  std::vector<SvgPane> panes = readSvg(read(path("out-harmonics.svg")));
  ASSERT_EQ(panes.size(), 2U);
  // Order and percentage of the one harmonic that each phase has, 0 where it has none.
  const std::array<std::array<Place, 3>, 2> harmonics{{{{{3, 10}, {2, 0}, {7, 5}}}, {{{2, 0}, {5, 25}, {2, 0}}}}};
  for (size_t i = 0; i < 2; ++i) {
    for (size_t phase = 0; phase < 3; ++phase) {
      const SvgCurve& bars = panes[i].curves.at(phase);
      EXPECT_EQ(bars.title,
                std::string(i == 0 ? "U" : "I") + std::to_string(phase + 1) + " (" + threePhases[3 * i + phase] + ')');
      EXPECT_EQ(bars.areas.size(), 48U);  // orders 2 to 49
      const Place harmonic = harmonics.at(i).at(phase);
      for (const auto& bar : bars.areas) {
        const auto [left, right] = std::ranges::minmax(bar, {}, &Place::x);
        const double top = std::ranges::min(bar, {}, &Place::y).y;
        const double order =
            panes[i].x.numberAt((left.x + right.x) / 2, AxisKind::linear) - (static_cast<double>(phase) - 1) * 0.8 / 3;
        EXPECT_NEAR(order, std::round(order), 0.02);
        const double percent = std::round(order) == harmonic.x ? harmonic.y : 0;
        EXPECT_NEAR(panes[i].y.numberAt(top, AxisKind::linear), percent, 0.02) << bars.title << ' ' << order;
      }
    }
  }
}

TEST_F(PowerTest, TrendsFollowTheWindows) {
  const std::string file = writeCsv("a.csv", threePhases, halvedVoltages());
  EXPECT_EQ(run({"power", file, "--rate", "5000", "--with-flagged", "--plot", path("out.svg")}).code, 0);
  const nlohmann::json windows = power({file, "--rate", "5000"}).at("windows");
  std::vector<SvgPane> panes = readSvg(read(path("out-trends.svg")));
  ASSERT_EQ(panes.size(), 5U);
  for (SvgPane& pane : panes) {
    pane.x = panes.back().x;  // the lowest pane's axis has the labels
  }
  EXPECT_NEAR(panes[0].x.pixelOf(0, AxisKind::linear), panes[0].left, 0.1);
  EXPECT_NEAR(panes[0].x.pixelOf(0.4, AxisKind::linear), panes[0].right, 0.1);
  const auto expectTrend = [&](size_t pane, const std::string& title, const std::string& pointer, double unit = 1) {
    std::vector<Place> points;
    for (const nlohmann::json& window : windows) {
      points.push_back({0.1 + 0.2 * static_cast<double>(points.size()),
                        window.at(nlohmann::json::json_pointer(pointer)).get<double>() / unit});
    }
    expectMarks(panes[pane], panes[pane].curve(title), points);
    expectThrough(panes[pane], panes[pane].curve(title), points);
  };
  EXPECT_NEAR(windows[1]["phases"][1]["voltage_v"]["rms"].get<double>(), 110, 1e-3);
  constexpr double kilo = 1000;
  for (int phase = 0; phase < 3; ++phase) {
    const std::string at = "/phases/" + std::to_string(phase), number = std::to_string(phase + 1);
    expectTrend(0, 'U' + number, at + "/voltage_v/rms");
    expectTrend(1, 'I' + number, at + "/current_a/rms");
    expectTrend(2, "phase " + number, at + "/power/active_w", kilo);
    expectTrend(3, "phase " + number, at + "/power/reactive_var", kilo);
  }
  expectTrend(2, "total", "/total/active_w", kilo);
  expectTrend(3, "total", "/total/reactive_var", kilo);
  expectTrend(4, "negative", "/voltage_sequences_v/negative_percent");
  expectTrend(4, "zero", "/voltage_sequences_v/zero_percent");
}

TEST_F(PowerTest, RecordingsOfEveryShapeCanBeDrawn) {
  const double nan = std::nan("");
  struct Shape {
    std::string file;
    size_t trends;                // panes
    std::optional<double> value;  // rms of the first voltage; none where it is no number
  };
  for (const Shape& shape :
       {Shape{writeCsv("one.csv", onePhase, sample({singleVoltage, singleCurrent}, 5000, 50, 10)), 4,
              std::sqrt(100.0 * 100 + 8 * 8 + 15 * 15 + 5 * 5)},
        {writeCsv("two.csv", {"u1", "u2", "i1", "i2"}, std::vector(4, std::vector<double>(1000, 2))), 4, 2},
        {writeCsv("slow.csv", onePhase, sample({{{1, 5, 0}}, {{1, 6, 0}}}, 5000, 1600, 400)), 4, 5},
        {writeCsv("silence.csv", threePhases, std::vector(6, std::vector<double>(1000))), 5, 0},
        {writeCsv("nan.csv", threePhases, std::vector(6, std::vector<double>(1000, nan))), 5, std::nullopt}}) {
    SCOPED_TRACE(shape.file);
    const bool isSlow = shape.file.ends_with("slow.csv");  // with no harmonics below half the rate
    const Outcome outcome = run({"power", shape.file, "--rate", "5000", "--frequency", isSlow ? "1600" : "50",
                                 "--cycles", isSlow ? "8" : "10", "--plot", path("out.svg")});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    std::vector<SvgPane> panes = readSvg(read(path("out-trends.svg")));
    ASSERT_EQ(panes.size(), shape.trends);
    const SvgCurve& first = panes[0].curve("U1");
    if (shape.value) {
      ASSERT_FALSE(first.marks.empty());
      EXPECT_NEAR(first.marks[0].y, panes[0].y.pixelOf(*shape.value, AxisKind::linear), 0.6);
    } else {
      EXPECT_TRUE(first.marks.empty());
    }
    EXPECT_EQ(readSvg(read(path("out-harmonics.svg"))).size(), 2U);
    const bool hasArrow = std::ranges::any_of(readObjects(read(path("out-phasors.svg"))), [](const SvgCurve& object) {
      return object.colour == "rgb(176,58,46)" && !object.areas.empty();
    });
    EXPECT_EQ(hasArrow, shape.value.value_or(0) > 0);
  }
}

TEST_F(PowerTest, NoPictureIsLeftAfterAFailure) {
  const std::string file = writeCsv("a.csv", onePhase, sample({singleVoltage, singleCurrent}, 5000, 50, 9));
  expectPowerRefused(file, "is too short", {"--rate", "5000", "--plot", path("out")});
  expectRefused({"power", file, "--rate", "5000", "--plot", path("nowhere/out")}, path("nowhere/out-phasors.png"),
                "cannot be written: No such file or directory");
  expectUndrawn({"power", file, "--rate", "5000", "--cycles", "9", "--plot", path("out.svg")}, path("out-phasors.svg"),
                "gnuplot cannot be started", "PATH=/nowhere");
  EXPECT_EQ(filesPresent(), std::vector<std::string>{"a.csv"});
}

TEST_F(PowerTest, EveryLibraryGivesTheSameFigures) {
  const std::string file =
      writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 6, as<float>(noise(6 * 4801, 24), 0x1p-20), 24000);
  const nlohmann::json standard = power({file});
  std::istringstream libraries(KXHOST_LIBRARIES);
  for (std::string library; std::getline(libraries, library, ':');) {
    EXPECT_EQ(power({file, "--library", library}), standard) << library;
  }
}

}  // namespace
}  // namespace kxhost_test
