#include "recordings/power_channels.hpp"

#include <cmath>

#include "recordings/files.hpp"

namespace kxrecordings_test {
namespace {

class PowerChannelsTest : public FilesTest {
protected:
  static Format formatOf(const Names& names, double fullScale = 1) {
    Format format{};
    format.channels = names;
    format.fullScale = fullScale;
    return format;
  }

  static std::string refusal(const Names& names, const PowerChannelOptions& options = {}) {
    return problemOf("a", [&] { powerChannels("a", formatOf(names), options); });
  }

  static void expect(const std::vector<PhysicalChannel>& found, const std::vector<PhysicalChannel>& expected) {
    ASSERT_EQ(found.size(), expected.size());
    for (size_t i = 0; i < found.size(); ++i) {
      EXPECT_EQ(found[i].index, expected[i].index);
      EXPECT_DOUBLE_EQ(found[i].scale, expected[i].scale);
    }
  }

  static double factorOf(const std::string& unit, bool isVoltage) {
    const auto channels = powerChannels("a", formatOf({"x [" + unit + "]", isVoltage ? "i/A" : "u/V"}), {});
    return (isVoltage ? channels.voltages : channels.currents)[0].scale;
  }
};

TEST_F(PowerChannelsTest, NamesTellKindsAndUnits) {
  const auto channels =
      powerChannels("a", formatOf({"Ia (mA)", "Ua [ kV ] ", "P [W]", "Ub / V", "ib in A", "note"}, 4), {});
  expect(channels.voltages, {{1, 250}, {3, 0.25}});
  expect(channels.currents, {{0, 0.00025}, {4, 0.25}});
  for (const auto& [unit, factor] : std::vector<std::pair<std::string, double>>{
           {"V", 1}, {"uV", 1e-6}, {"mV", 1e-3}, {"kV", 1e3}, {"KV", 1e3}, {"MV", 1e6}}) {
    EXPECT_EQ(factorOf(unit, true), factor);
  }
  for (const auto& [unit, factor] :
       std::vector<std::pair<std::string, double>>{{"A", 1}, {"uA", 1e-6}, {"mA", 1e-3}, {"kA", 1e3}, {"KA", 1e3}}) {
    EXPECT_EQ(factorOf(unit, false), factor);
  }
}

TEST_F(PowerChannelsTest, WithoutUnitsTheFirstHalfAreVoltages) {
  const auto three = powerChannels("a", formatOf({"1", "2", "3", "4", "V)", "6"}, 32768), {});
  expect(three.voltages, {{0, 1 / 32768.0}, {1, 1 / 32768.0}, {2, 1 / 32768.0}});
  expect(three.currents, {{3, 1 / 32768.0}, {4, 1 / 32768.0}, {5, 1 / 32768.0}});
  const std::string remedy = ": --voltage and --current must tell which ones to take";
  EXPECT_EQ(refusal({"1", "2", "3"}), "has 3 channels that name no units" + remedy);
  EXPECT_EQ(refusal(Names(8, "x")), "has 8 channels that name no units" + remedy);
  EXPECT_EQ(refusal({"u/V", "i/A", "v/V"}), "has 2 channels in V and 1 in A" + remedy);
  EXPECT_EQ(refusal({"i/A"}), "has 0 channels in V and 1 in A" + remedy);
  Names four(4, "u/V");
  four.resize(8, "i/A");
  EXPECT_EQ(refusal(four), "has 4 channels in V and 4 in A" + remedy);
}

TEST_F(PowerChannelsTest, OfMoreChannelsTheOneGroupIsProposed) {
  const auto proposed = powerChannels("a", formatOf({"UN/V", "UA/kV", "IN/A", "IA/A", "IB/A"}), {});
  EXPECT_FALSE(powerChannels("a", formatOf({"U/V", "x", "I/A"}), {}).isProposed);
  EXPECT_TRUE(proposed.isProposed);
  expect(proposed.voltages, {{0, 1}, {1, 1000}});
  expect(proposed.currents, {{2, 1}, {3, 1}});
  const auto named = powerChannels("a", formatOf({"1", "UA", "UB", "UC", "IA", "IB", "IC"}), {});
  EXPECT_TRUE(named.isProposed);
  expect(named.voltages, {{1, 1}, {2, 1}, {3, 1}});
  expect(named.currents, {{4, 1}, {5, 1}, {6, 1}});
  try {
    powerChannels("a", formatOf({"U/V", "IA/A", "IB/A"}), {});
    FAIL();
  } catch (const UnclearChannels& unclear) {
    EXPECT_EQ(unclear.groups(), (std::vector<PowerGroup>{{{0}, {1}}, {{0}, {2}}}));
  }
}

TEST_F(PowerChannelsTest, NumbersAndScalesAreTheUsers) {
  const Names names{"u/mV", "i/A", "w/V", "j/A", "x"};
  const auto channels = powerChannels("a", formatOf(names), {{3, 1}, {5, 2}, {}});
  expect(channels.voltages, {{2, 1}, {0, 1e-3}});
  expect(channels.currents, {{4, 1}, {1, 1}});
  const auto two = powerChannels("a", formatOf(names), {{3, 1}, {5, 2}, {10, 7}});
  expect(two.voltages, {{2, 10}, {0, 1e-2}});
  expect(two.currents, {{4, 7}, {1, 7}});
  const auto four = powerChannels("a", formatOf(names), {{3, 1}, {5, 2}, {10, 20, 30, -40}});
  expect(four.voltages, {{2, 10}, {0, 2e-2}});
  expect(four.currents, {{4, 30}, {1, -40}});
  EXPECT_EQ(refusal(names, {{0}, {2}, {}}), "has no channel 0, they are numbered 1 to 5");
  EXPECT_EQ(refusal(names, {{1}, {6}, {}}), "has no channel 6, they are numbered 1 to 5");
  EXPECT_EQ(refusal(names, {{2}, {4}, {}}), "channel 2 is not a voltage: i/A");
  EXPECT_EQ(refusal(names, {{1}, {3}, {}}), "channel 3 is not a current: w/V");
  EXPECT_EQ(refusal(names, {{1}, {2}, {1, 0}}), "a scale of 0 is of no use");
  EXPECT_EQ(refusal(names, {{1}, {2}, {INFINITY, 1}}), "a scale of inf is of no use");
  EXPECT_EQ(refusal(names, {{1, 3}, {2, 4}, {1, 2, 3}}),
            "3 scales are given, where 2 or 4 are needed: for voltages, then for currents");
}

}  // namespace
}  // namespace kxrecordings_test
