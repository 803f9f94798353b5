// The input sets of kxverify, and the models on them.
#include "verify/input_sets.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "functions/linked.hpp"
#include "reference/models.hpp"

namespace {

using kxcalc::calls::Memory;
using kxcalc::calls::Numbers;
using kxcalc::calls::Place;
using kxcalc::calls::Role;
using kxverify::InputSets;

// The published bits are those of the plain models, on every input set.
TEST(InputSets, EveryExportGivesTheBitsOfItsModel) {
  for (const kxverify::Description& description : kxcalc::calls::descriptions()) {
    EXPECT_EQ(kxverify::hashOf(description, kxcalc::linkedFunctions),
              kxverify::hashOf(description, reference::functions))
        << description.name;
  }
}

TEST(InputSets, OptionsAreTakenInEveryCombination) {
  InputSets sets("options");
  std::set<std::pair<std::size_t, std::size_t>> taken;
  int runs = 0;
  do {
    const std::size_t first = sets.option(3);
    const std::size_t second = first == 1 ? sets.option(4) : 0;  // asked for sometimes only
    taken.emplace(first, second);
    ++runs;
  } while (sets.next());
  EXPECT_EQ(runs, 6);
  EXPECT_EQ(taken.size(), 6U);
}

TEST(InputSets, HaveEveryShortCountAndSomeLongOnes) {
  InputSets sets("counts");
  std::set<uint32_t> counts;
  do {
    counts.insert(sets.count(1));
  } while (sets.next());
  for (uint32_t count = 1; count <= 67; ++count) {
    EXPECT_TRUE(counts.contains(count)) << count;
  }
  EXPECT_EQ(*counts.rbegin(), 4099U);
}

TEST(InputSets, BlocksLieAtEachPlaceWhereItCounts) {
  InputSets sets("places");
  std::set<std::size_t> places;
  do {
    places.insert(reinterpret_cast<uintptr_t>(sets.memory({6, 2, Place::everywhere, Role::output})) % 16);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(sets.memory({6, 2, Place::aligned, Role::output})) % 16, 0U);
  } while (sets.next());
  EXPECT_EQ(places, (std::set<std::size_t>{0, 2, 4, 6, 8, 10, 12, 14}));
}

TEST(InputSets, ANewRunHasOtherNumbersAndASecondObjectTheSame) {
  const auto numbers = [] {
    InputSets sets("numbers");
    std::vector<std::vector<uint32_t>> runs;
    do {
      runs.emplace_back(8);
      sets.fill(std::span(runs.back()), Numbers::any);
    } while (sets.next());
    return runs;
  }();
  ASSERT_EQ(numbers.size(), 3U);
  EXPECT_NE(numbers[0], numbers[1]);
  InputSets again("numbers");
  std::vector<uint32_t> first(8);
  again.fill(std::span(first), Numbers::any);
  EXPECT_EQ(first, numbers[0]);
}

TEST(InputSets, AWriteBesideABlockIsSeen) {
  for (const std::ptrdiff_t place : {-1, 5}) {
    InputSets sets("surroundings");
    std::byte* const block = sets.memory({5, 1, Place::anywhere, Role::output});
    EXPECT_TRUE(sets.surroundingsIntact());
    block[place] = std::byte{1};
    EXPECT_FALSE(sets.surroundingsIntact());
  }
}

}  // namespace
