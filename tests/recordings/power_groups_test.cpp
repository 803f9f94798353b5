#include "recordings/power_groups.hpp"

#include "recordings/channel_units.hpp"
#include "recordings/files.hpp"

namespace kxrecordings_test {
namespace {

using Groups = std::vector<PowerGroup>;

Groups groupsOf(const Names& names, const std::vector<ChannelPlace>& places = {}) {
  Format format{};
  format.channels = names;
  format.places = places;
  return powerGroups(format);
}

Names withUnits(const Names& voltages, const Names& currents) {
  Names names;
  for (const std::string& name : voltages) {
    names.push_back(name + " [V]");
  }
  for (const std::string& name : currents) {
    names.push_back(name + " [A]");
  }
  return names;
}

TEST(PowerGroups, NamesThatDifferInTheLetterOfThePhaseAreThreePhases) {
  for (const auto& [voltages, currents] : std::vector<std::pair<Names, Names>>{
           {{"UA", "UB", "UC", "UN"}, {"IA", "IB", "IC", "IN"}},
           {{"Ua", "Ub", "Uc", "U0"}, {"ia", "ib", "ic", "i0"}},
           {{"U L1", "U L2", "U L3", "U LN"}, {"I L1", "I L2", "I L3", "I LN"}},
           {{"VR", "VS", "VT", "VRS"}, {"IR", "IS", "IT", "IE"}},
           {{"B1-VA-N", "B1-VB-N", "B1-VC-N", "x"}, {"B1-IA", "B1-IB", "B1-IC", "y"}},
           {{"Voltage A", "Voltage B", "Voltage C", "AB"}, {"Current A", "Current B", "Current C", "AB"}},
           {{"A", "B", "C", "N"}, {"A", "B", "C", "N"}}}) {
    EXPECT_EQ(groupsOf(withUnits(voltages, currents)), (Groups{{{0, 1, 2}, {4, 5, 6}}})) << voltages[0];
  }
  EXPECT_EQ(groupsOf({"IC [A]", "UC [V]", "UB [V]", "UA [V]", "IB [A]", "T [C]", "IA [A]"}),
            (Groups{{{3, 2, 1}, {6, 4, 0}}}));
}

TEST(PowerGroups, TheLastSuchPlaceOfTheNameCounts) {
  const Names voltages{"B1 U1", "B1 U2", "B1 U3", "B2 U1", "B2 U2", "B2 U3", "B3 U1", "B3 U2", "B3 U3"};
  const Names currents{"B1 I1", "B1 I2", "B1 I3", "B2 I1", "B2 I2", "B2 I3", "B3 I1", "B3 I2", "B3 I3"};
  EXPECT_EQ(groupsOf(withUnits(voltages, currents)),
            (Groups{{{0, 1, 2}, {9, 10, 11}}, {{3, 4, 5}, {12, 13, 14}}, {{6, 7, 8}, {15, 16, 17}}}));
}

TEST(PowerGroups, OneSetOfVoltagesGoesWithEachSetOfCurrents) {
  const Names currents{"I1A", "I1B", "I1C", "I2A", "I2B", "I2C"};
  EXPECT_EQ(groupsOf(withUnits({"UA", "UB", "UC"}, currents)),
            (Groups{{{0, 1, 2}, {3, 4, 5}}, {{0, 1, 2}, {6, 7, 8}}}));
}

TEST(PowerGroups, GroupsComeInTheOrderOfTheChannels) {
  EXPECT_EQ(
      groupsOf(withUnits({"u1", "u2", "u3", "UA", "UB", "UC"}, {"i1", "i2", "i3", "IA", "IB", "IC"})),
      (Groups{{{0, 1, 2}, {6, 7, 8}}, {{0, 1, 2}, {9, 10, 11}}, {{3, 4, 5}, {6, 7, 8}}, {{3, 4, 5}, {9, 10, 11}}}));
}

TEST(PowerGroups, WhereNamesDoNotTellEachMayGoWithEach) {
  EXPECT_EQ(groupsOf(withUnits({"xA", "xB", "xC", "yA", "yB", "yC"}, {"zA", "zB", "zC"})),
            (Groups{{{0, 1, 2}, {6, 7, 8}}, {{3, 4, 5}, {6, 7, 8}}}));
}

TEST(PowerGroups, ChannelsOfOneNameAreToldByPhaseAndCircuit) {
  const std::vector<ChannelPlace> places{{"C", "F1"}, {"B", "F1"},   {"A", "F1"},    {"A", "F2"},
                                         {"B", "F2"}, {"C", "F2"},   {"A", "F2"},    {"B", "F2"},
                                         {"C", "F2"}, {"L1N", "F1"}, {"l2-n", "F1"}, {"3", "F1"}};
  EXPECT_EQ(groupsOf(withUnits(Names(6, "U"), Names(6, "I")), places),
            (Groups{{{2, 1, 0}, {9, 10, 11}}, {{3, 4, 5}, {6, 7, 8}}}));
  EXPECT_EQ(groupsOf(withUnits(Names(3, "U"), Names(3, "I")),
                     {{"A", ""}, {"B", ""}, {"N", ""}, {"A", ""}, {"B", ""}, {"C", ""}}),
            (Groups{{{0, 1}, {3, 4}}}));
}

TEST(PowerGroups, SeveralChannelsOfOneNameAreTakenFromOneCircuit) {
  const std::vector<ChannelPlace> places{{"", "F1"}, {"", "F2"}, {"", "F1"}, {"", "F2"}, {"", "F1"},
                                         {"", "F2"}, {"", "F2"}, {"", "F2"}, {"", "F2"}};
  EXPECT_EQ(groupsOf(withUnits({"UA", "UA", "UB", "UB", "UC", "UC"}, {"IA", "IB", "IC"}), places),
            (Groups{{{0, 2, 4}, {6, 7, 8}}, {{1, 3, 5}, {6, 7, 8}}}));
  EXPECT_EQ(groupsOf(withUnits({"xA", "xA", "xB", "xB", "xC", "xC"}, {"IA", "IB", "IC"}), places),
            (Groups{{{1, 3, 5}, {6, 7, 8}}}));
  EXPECT_EQ(groupsOf(withUnits({"UA", "UB", "UC"}, {"IA", "IB", "IC"}),
                     {{"", "1"}, {"", "2"}, {"", "3"}, {"", "4"}, {"", "5"}, {"", "6"}}),
            (Groups{{{0, 1, 2}, {3, 4, 5}}}));
}

TEST(PowerGroups, ThePhasesOfTheFileAreNotContradicted) {
  EXPECT_EQ(groupsOf(withUnits({"UA", "UB", "UC"}, {"IA", "IB", "IC"}),
                     {{"A", ""}, {"C", ""}, {"B", ""}, {"A", ""}, {"B", ""}, {"C", ""}}),
            (Groups{{{0}, {3}}}));
  EXPECT_EQ(groupsOf(withUnits({"UA", "UB", "UC"}, {"xA", "xB", "xC"}), {{"A", ""}, {"B", ""}, {"C", ""}}),
            (Groups{{{0, 1, 2}, {3, 4, 5}}}));
  EXPECT_EQ(groupsOf(withUnits({"UA", "UB", "UC"}, {"xA", "xB", "xC"}), {{"A", ""}, {"C", ""}, {"C", ""}}), Groups{});
}

TEST(PowerGroups, SinglePhasesArePairedByTheirNames) {
  EXPECT_EQ(groupsOf({"U [V]", "I [A]", "x [C]"}), (Groups{{{0}, {1}}}));
  EXPECT_EQ(groupsOf(withUnits({"UA", "UB"}, {"IA", "IB", "IN"})), (Groups{{{0, 1}, {2, 3}}}));
  EXPECT_EQ(groupsOf(withUnits({"U"}, {"IA", "IB", "IN"})), (Groups{{{0}, {1}}, {{0}, {2}}, {{0}, {3}}}));
  EXPECT_EQ(groupsOf(withUnits({"U1", "U2", "U4", "U5"}, {"I1", "I2", "I4", "I5"})),
            (Groups{{{0}, {4}}, {{1}, {5}}, {{2}, {6}}, {{3}, {7}}}));
  EXPECT_EQ(groupsOf(withUnits({"foo", "bar"}, {"baz"})), Groups{});
  EXPECT_EQ(groupsOf(withUnits({"foo"}, {})), Groups{});
  EXPECT_EQ(groupsOf({}), Groups{});
}

TEST(PowerGroups, WithoutUnitsTheFirstWordsOfNamesTell) {
  EXPECT_EQ(groupsOf({"VA", "VB", "VC", "VN", "IA x", "IB x", "IC x", "In"}), (Groups{{{0, 1, 2}, {4, 5, 6}}}));
  EXPECT_EQ(groupsOf({"Vibration", "Input", "1", "2", "", "_V"}), Groups{});
  EXPECT_EQ(groupsOf({"UL1", "UL2", "UL3", "IL1", "IL2", "IL3 [mA]"}), Groups{});
}

TEST(PowerGroups, StatusChannelsAreNone) {
  Format format{};
  format.channels = {"U [V]", "I [A]", "V [V]", "J [A]"};
  format.statusChannels = 2;
  EXPECT_EQ(powerGroups(format), (Groups{{{0}, {1}}}));
}

TEST(ChannelUnits, StandAtTheEndOfNames) {
  const auto split = [](const std::string& name) {
    const NameAndUnit parts = splitUnit(name);
    return std::pair(std::string(parts.name), std::string(parts.unit));
  };
  using Parts = std::pair<std::string, std::string>;
  EXPECT_EQ(split(" Ua [ kV ] "), Parts("Ua", "kV"));
  EXPECT_EQ(split("I (a) (mA)"), Parts("I (a)", "mA"));
  EXPECT_EQ(split("I/n / A"), Parts("I/n", "A"));
  EXPECT_EQ(split("t in room in A"), Parts("t in room", "A"));
  EXPECT_EQ(split("V)"), Parts("V)", ""));
  EXPECT_EQ(split("UA"), Parts("UA", ""));
  EXPECT_EQ(electricUnitOf("x [v]")->quantity, Quantity::voltage);
  EXPECT_EQ(electricUnitOf("x (a)")->quantity, Quantity::current);
  EXPECT_EQ(electricUnitOf("x [kv]")->factor, 1e3);
  EXPECT_EQ(electricUnitOf("x [ka]")->factor, 1e3);
  EXPECT_FALSE(electricUnitOf("x/a") || electricUnitOf("x in v") || electricUnitOf("x [W]") || electricUnitOf(""));
}

}  // namespace
}  // namespace kxrecordings_test
