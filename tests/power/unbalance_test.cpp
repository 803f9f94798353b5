#include "reference/unbalance.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <span>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace {

using support::Placement;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float smallest = std::numeric_limits<float>::denorm_min();
constexpr float untouched = -77;

static_assert(offsetof(PowerUnbalanceArgs, magnitudeL1) == 0);
static_assert(offsetof(PowerUnbalanceArgs, magnitudeL2) == 1 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, magnitudeL3) == 2 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, angleL1) == 3 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, angleL2) == 4 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, angleL3) == 5 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, zeroSequence) == 6 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, positiveSequence) == 7 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, negativeSequence) == 8 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, negativeRatio) == 9 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, zeroRatio) == 10 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, negativeRatioFirst) == 11 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, zeroRatioFirst) == 12 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, count) == 13 * sizeof(void*));
static_assert(sizeof(PowerUnbalanceArgs) == 14 * sizeof(void*));

struct Entry {
  std::array<float, 3> magnitudes;
  std::array<float, 3> angles;
};

constexpr Entry nothing{{0, 0, 0}, {0, 0, 0}};

/// All three sequences have a third of the magnitude, in the body; in the tail, times the single nearest to a third.
constexpr Entry onePhase(float magnitude) {
  return {{magnitude, 0, 0}, {0, 0, 0}};
}

/// Magnitudes L1 to L3, angles L1 to L3.
using Arrays = std::array<std::vector<float>, 6>;
/// Zero, positive, negative sequence; negative and zero ratio, of all entries and of the first.
using Results = std::array<float, 7>;

Arrays arraysOf(const std::vector<Entry>& entries) {
  Arrays arrays;
  for (const Entry& entry : entries) {
    for (std::size_t phase = 0; phase < 3; ++phase) {
      arrays[phase].push_back(entry.magnitudes[phase]);
      arrays[3 + phase].push_back(entry.angles[phase]);
    }
  }
  return arrays;
}

/// The same entry at several places.
std::vector<Entry> repeated(std::size_t count, const Entry& entry) {
  return std::vector<Entry>(count, entry);
}

std::vector<Entry> operator+(std::vector<Entry> first, const std::vector<Entry>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

PowerUnbalanceArgs argsOf(const std::array<const float*, 6>& inputs, const std::array<float*, 7>& outputs,
                          uint32_t count) {
  return {inputs[0],  inputs[1],  inputs[2],  inputs[3],  inputs[4],  inputs[5],  outputs[0],
          outputs[1], outputs[2], outputs[3], outputs[4], outputs[5], outputs[6], count};
}

/// Calls on arrays, record and results at fences.
class System {
public:
  explicit System(std::size_t capacity)
      : inputMemory_{{Memory(capacity), Memory(capacity), Memory(capacity), Memory(capacity), Memory(capacity),
                      Memory(capacity)}} {}

  /// Count 0 goes with arrays of one entry.
  Results run(const Arrays& arrays, uint32_t count, const Results& before, const std::array<Placement, 6>& placements) {
    std::array<const float*, 6> inputs{};
    std::array<std::span<float>, 6> placed;
    for (std::size_t i = 0; i < 6; ++i) {
      placed[i] = inputMemory_[i].place(arrays[i].size(), placements[i]);
      std::ranges::copy(arrays[i], placed[i].begin());
      inputs[i] = placed[i].data();
    }
    std::array<float*, 7> outputs{};
    for (std::size_t i = 0; i < 7; ++i) {
      outputs[i] = outputMemory_[i].place(1, placements[i % 6]).data();
      *outputs[i] = before[i];
    }
    const PowerUnbalanceArgs args = argsOf(inputs, outputs, count);
    const std::span<PowerUnbalanceArgs> record = recordMemory_.place(1, support::endsAtFence);
    constexpr std::size_t fields = offsetof(PowerUnbalanceArgs, count) + sizeof args.count;  // without what pads them
    std::memcpy(record.data(), &args, fields);
    kxcalcPowerUnbalance(record.data());
    EXPECT_TRUE(std::memcmp(record.data(), &args, fields) == 0) << "record changed";
    for (std::size_t i = 0; i < 6; ++i) {
      EXPECT_TRUE(support::sameBits(placed[i], arrays[i])) << "input changed";
    }
    Results results{};
    for (std::size_t i = 0; i < 7; ++i) {
      EXPECT_TRUE(outputMemory_[i].surroundingsIntact());
      results[i] = *outputs[i];
    }
    return results;
  }

  testing::AssertionResult equalsModel(const Arrays& arrays, uint32_t count, const Results& before,
                                       const std::array<Placement, 6>& placements) {
    const Results actual = run(arrays, count, before, placements);
    Results expected = before;
    std::array<const float*, 6> inputs{};
    std::array<float*, 7> outputs{};
    for (std::size_t i = 0; i < 6; ++i) {
      inputs[i] = arrays[i].data();
    }
    for (std::size_t i = 0; i < 7; ++i) {
      outputs[i] = &expected[i];
    }
    const PowerUnbalanceArgs args = argsOf(inputs, outputs, count);
    reference::kxcalcPowerUnbalance(&args);
    testing::AssertionResult result = support::sameResult(actual, expected);
    if (!result) {
      result << "; " << count << " entries";
      for (const Placement& placement : placements) {
        result << ", " << placement;
      }
    }
    return result;
  }

private:
  using Memory = support::FencedBuffer<float>;

  std::array<Memory, 6> inputMemory_;
  std::array<Memory, 7> outputMemory_{{Memory(1), Memory(1), Memory(1), Memory(1), Memory(1), Memory(1), Memory(1)}};
  support::FencedBuffer<PowerUnbalanceArgs> recordMemory_{1};
};

std::array<Placement, 6> allAt(const Placement& placement) {
  return {placement, placement, placement, placement, placement, placement};
}

constexpr Results allUntouched{nan, nan, nan, untouched, untouched, untouched, untouched};

Results resultsOf(const std::vector<Entry>& entries, uint32_t count) {
  System system(std::max<std::size_t>(entries.size(), 1));
  return system.run(arraysOf(entries), count, allUntouched, allAt(support::endsAtFence));
}

Results resultsOf(const std::vector<Entry>& entries) {
  return resultsOf(entries, static_cast<uint32_t>(entries.size()));
}

/// Of the zero sequence: that of a sum of entries that have no angles.
float sumOf(const std::vector<Entry>& entries) {
  return resultsOf(entries)[0];
}

TEST(PowerUnbalance, OnePhaseAloneIsAllThreeSequences) {
  EXPECT_TRUE(support::sameBits(resultsOf({onePhase(3)}), Results{1, 1, 1, 100, 100, 100, 100}));
  EXPECT_TRUE(support::sameBits(resultsOf(repeated(4, onePhase(3))), Results{4, 4, 4, 100, 100, 100, 100}));
  EXPECT_TRUE(support::sameBits(resultsOf(repeated(7, onePhase(3))), Results{7, 7, 7, 100, 100, 100, 100}));
}

TEST(PowerUnbalance, ThePositiveSequenceStandsAt120And240Degrees) {
  for (const uint32_t count : {1U, 4U, 5U, 8U}) {
    const Results results = resultsOf(repeated(count, {{3, 6, 12}, {0, 120, 240}}));
    EXPECT_EQ(results[1], static_cast<float>(7 * count)) << count;
    const Results balanced = resultsOf(repeated(count, {{1, 1, 1}, {0, 120, 240}}));
    EXPECT_EQ(balanced[1], static_cast<float>(count)) << count;
    EXPECT_NEAR(balanced[0], 0, 1e-6) << count;
    EXPECT_NEAR(balanced[2], 0, 1e-6) << count;
    for (std::size_t ratio = 3; ratio < 7; ++ratio) {
      EXPECT_NEAR(balanced[ratio], 0, 1e-4) << count;
    }
  }
}

TEST(PowerUnbalance, TheNegativeSequenceStandsAt240And120Degrees) {
  for (const uint32_t count : {1U, 4U, 5U, 8U}) {
    const Results results = resultsOf(repeated(count, {{3, 6, 12}, {0, 240, 120}}));
    EXPECT_EQ(results[2], static_cast<float>(7 * count)) << count;
    const Results balanced = resultsOf(repeated(count, {{1, 1, 1}, {0, 240, 120}}));
    EXPECT_EQ(balanced[2], static_cast<float>(count)) << count;
    EXPECT_NEAR(balanced[0], 0, 1e-6) << count;
    EXPECT_NEAR(balanced[1], 0, 1e-6) << count;
    EXPECT_GT(balanced[3], 1e6) << "a positive sequence of rounding errors is not 0";
  }
}

TEST(PowerUnbalance, TheZeroSequenceStandsAtEqualAngles) {
  for (const uint32_t count : {1U, 4U, 5U, 8U}) {
    const Results results = resultsOf(repeated(count, {{3, 6, 12}, {0, 0, 0}}));
    EXPECT_EQ(results[0], static_cast<float>(7 * count)) << count;
    const Results equal = resultsOf(repeated(count, {{2, 2, 2}, {50, 50, 50}}));
    EXPECT_NEAR(equal[0], 2.0 * static_cast<double>(count), 1e-5) << count;
    EXPECT_NEAR(equal[1], 0, 1e-5) << count;
    EXPECT_NEAR(equal[2], 0, 1e-5) << count;
  }
}

TEST(PowerUnbalance, KnownSystemsWithTheirAnglesNegated) {
  const struct {
    Entry entry;
    double negative;
    double zero;
  } cases[] = {{{{73, 80, 87}, {0, 120, -120}}, 5.05181, 5.05181},
               {{{100, 90, 100}, {0, 120, -120}}, 3.448276, 3.448276},
               {{{230, 230, 0}, {0, 120, 0}}, 50, 50},
               {{{230, 220, 240}, {0, 118, -123}}, 4.00579, 1.17261}};
  for (const auto& [entry, negative, zero] : cases) {
    for (const uint32_t count : {1U, 4U, 5U}) {
      const Results results = resultsOf(repeated(count, entry));
      EXPECT_NEAR(results[3], negative, 3e-5);
      EXPECT_NEAR(results[4], zero, 3e-5);
      EXPECT_NEAR(results[5], negative, 3e-5);
      EXPECT_NEAR(results[6], zero, 3e-5);
    }
  }
}

// Values chosen so that another order of sums, steps in double instead of single or the reverse, an exact third, the
// exact number of radians to a degree, or ratios multiplied before they are divided end elsewhere.
TEST(PowerUnbalance, TheBodyRoundsEveryStepToSingle) {
  EXPECT_TRUE(support::sameBits(
      resultsOf({{{44.9F, 153.54F, 149.35F}, {-31.99F, -66.49F, 107.99F}}, nothing, nothing, nothing}),
      Results{0x1.342668p4F, 0x1.45f416p6F, 0x1.7a80d2p6F, 0x1.d07cc6p6F, 0x1.7a26f6p4F, 0x1.d07ccep6F,
              0x1.7a26f6p4F}));
  EXPECT_TRUE(support::sameBits(
      resultsOf({{{95.42F, 144.88F, 211.7F}, {-159.48F, 171.04F, -171.77F}}, nothing, nothing, nothing}),
      Results{0x1.27f10ap7F, 0x1.a758fap5F, 0x1.09518p4F, 0x1.f55f48p4F, 0x1.179ed4p8F, 0x1.f55f44p4F, 0x1.179ed4p8F}));
}

TEST(PowerUnbalance, TheTailRoundsAnglesToSingleAndTheRestInDouble) {
  EXPECT_TRUE(support::sameBits(resultsOf({{{44.9F, 153.54F, 149.35F}, {-31.99F, -66.49F, 107.99F}}}),
                                Results{0x1.34266ap4F, 0x1.45f416p6F, 0x1.7a80d6p6F, 0x1.d07ccep6F, 0x1.7a26f6p4F,
                                        0x1.d07ccep6F, 0x1.7a26f6p4F}));
  EXPECT_TRUE(support::sameBits(resultsOf({{{95.42F, 144.88F, 211.7F}, {-159.48F, 171.04F, -171.77F}}}),
                                Results{0x1.27f10cp7F, 0x1.a758fep5F, 0x1.095182p4F, 0x1.f55f44p4F, 0x1.179ed4p8F,
                                        0x1.f55f44p4F, 0x1.179ed4p8F}));
}

// What is left of a balanced system's zero sequence is rounding errors: a sine that is one unit of its last place off shows.
TEST(PowerUnbalance, TheTailsSinesAndCosinesAreCorrectlyRounded) {
  EXPECT_TRUE(support::sameBits(
      resultsOf({{{230, 230, 230}, {-82.0500031F, 37.9499969F, 157.949997F}}}),
      Results{0x1.7936fp-23F, 230, 0x1.3cee1ep-18F, 0x1.139768p-19F, 0x1.48034p-24F, 0x1.139768p-19F, 0x1.48034p-24F}));
  // With ones that lie so close to the middle of two doubles that a quick sine or cosine cannot tell.
  EXPECT_TRUE(support::sameBits(resultsOf({{{230, 230, 230}, {-130.690506F, -10.690506F, 109.309494F}}}),
                                Results{0x1.7936eep-23F, 230, 0x1.28844p-18F, 0x1.01d72cp-19F, 0x1.48033ep-24F,
                                        0x1.01d72cp-19F, 0x1.48033ep-24F}));
  EXPECT_TRUE(support::sameBits(resultsOf({{{230, 230, 230}, {-94.6736145F, 25.3263855F, 145.326385F}}}),
                                Results{0x1.7936ecp-23F, 230, 0x1.3cee1ep-18F, 0x1.139768p-19F, 0x1.48033cp-24F,
                                        0x1.139768p-19F, 0x1.48033cp-24F}));
  // And one that feels what an angle's reduction leaves below its last place.
  EXPECT_TRUE(support::sameBits(
      resultsOf({{{230, 230, 230}, {-175.975235F, -55.975235F, 64.024765F}}}),
      Results{0x1.7936fp-23F, 230, 0x1.0d9c46p-15F, 0x1.d4e34p-17F, 0x1.48034p-24F, 0x1.d4e34p-17F, 0x1.48034p-24F}));
}

TEST(PowerUnbalance, PhasesAreAddedFromTheFirstToTheThird) {
  // 3 is swallowed by the second phase, unless the third takes that away first.
  for (const float angle : {0.0F, 90.0F}) {
    const Entry swallowed{{3, 0x1p60F, -0x1p60F}, {angle, angle, angle}};
    const Entry kept{{0x1p60F, -0x1p60F, 3}, {angle, angle, angle}};
    EXPECT_EQ(sumOf({swallowed}), 0) << angle;
    EXPECT_EQ(sumOf({kept}), 1) << angle;
    EXPECT_EQ(sumOf({swallowed, nothing, nothing, nothing}), 0) << angle;
    EXPECT_EQ(sumOf({kept, nothing, nothing, nothing}), 1) << angle;
  }
}

TEST(PowerUnbalance, TheBodyDividesByThreeAndTheTailMultipliesByTheSingleThird) {
  EXPECT_EQ(sumOf({onePhase(5), nothing, nothing, nothing}), 0x1.aaaaaap0F);
  EXPECT_EQ(sumOf({onePhase(5)}), 0x1.aaaaacp0F);
}

TEST(PowerUnbalance, FromCountFourOnBlocksOfFourEntriesAreTheBody) {
  // Squares in single overflow and underflow, squares in double do not.
  const Entry large = onePhase(3e20F);
  for (std::size_t count = 1; count <= 13; ++count) {
    for (std::size_t position = 0; position < count; ++position) {
      std::vector<Entry> entries = repeated(count, nothing);
      entries[position] = large;
      const bool isBody = position < count / 4 * 4;
      EXPECT_EQ(sumOf(entries), isBody ? infinity : 1e20F) << count << ", " << position;
      entries[position] = onePhase(3e-25F);
      EXPECT_EQ(sumOf(entries), isBody ? 0 : 1e-25F) << count << ", " << position;
    }
  }
}

TEST(PowerUnbalance, LanesAreCombinedInPairs) {
  const float large = 0x1.8p25F;  // of a magnitude of 2^24
  EXPECT_EQ(sumOf({onePhase(large), nothing, onePhase(3), onePhase(3)}), 0x1p24F + 2);
  EXPECT_EQ(sumOf({onePhase(large), onePhase(3), nothing, onePhase(3)}), 0x1p24F);
  EXPECT_EQ(sumOf({onePhase(large), onePhase(3), onePhase(3), nothing}), 0x1p24F);
  EXPECT_EQ(sumOf({onePhase(3), onePhase(3), onePhase(large), nothing}), 0x1p24F + 2);
  EXPECT_EQ(sumOf({nothing, onePhase(3), onePhase(3), onePhase(large)}), 0x1p24F);
}

TEST(PowerUnbalance, EntriesOfABodyAreGatheredInLanes) {
  const float large = 0x1.8p25F;
  // 1 and 1 in one lane stay beside 2^24 in another, 1 after 1 in the lane of 2^24 do not.
  EXPECT_EQ(sumOf({onePhase(large), onePhase(3), nothing, nothing, nothing, onePhase(3), nothing, nothing}),
            0x1p24F + 2);
  EXPECT_EQ(sumOf({onePhase(large), nothing, nothing, nothing, onePhase(3), nothing, nothing, nothing, onePhase(3),
                   nothing, nothing, nothing}),
            0x1p24F);
}

TEST(PowerUnbalance, TheTailIsAddedToTheSumOfTheBodyAndRoundedEntryByEntry) {
  const std::vector<Entry> body{onePhase(0x1.8p25F), nothing, nothing, nothing};
  // A third of 3 is 1.00000003, which is more than a tie: up by 2 each time.
  EXPECT_EQ(sumOf(body + repeated(1, onePhase(3))), 0x1p24F + 2);
  EXPECT_EQ(sumOf(body + repeated(2, onePhase(3))), 0x1p24F + 4);
  EXPECT_EQ(sumOf(body + repeated(3, onePhase(3))), 0x1p24F + 6);
  EXPECT_EQ(sumOf(body + repeated(3, onePhase(2.75F))), 0x1p24F);
  // The whole tail is not summed first, and the last entries come last.
  EXPECT_EQ(sumOf({onePhase(2.75F), onePhase(2.75F), onePhase(0x1.8p25F)}), 0x1p24F + 2);
  EXPECT_EQ(sumOf({onePhase(0x1.8p25F), onePhase(2.75F), onePhase(2.75F)}), 0x1p24F);
}

TEST(PowerUnbalance, CountZeroIsThreeZerosAndTheRatiosOfEntryZero) {
  EXPECT_TRUE(
      support::sameBits(resultsOf({onePhase(3)}, 0), Results{0.0F, 0.0F, 0.0F, untouched, untouched, 100, 100}));
  EXPECT_TRUE(support::sameBits(resultsOf({{{44.9F, 153.54F, 149.35F}, {-31.99F, -66.49F, 107.99F}}}, 0),
                                Results{0.0F, 0.0F, 0.0F, untouched, untouched, 0x1.d07ccep6F, 0x1.7a26f6p4F}));
  EXPECT_TRUE(support::sameBits(resultsOf({nothing}, 0),
                                Results{0.0F, 0.0F, 0.0F, untouched, untouched, untouched, untouched}));
}

TEST(PowerUnbalance, WithoutAPositiveSequenceTheRatiosAreUntouched) {
  for (const uint32_t count : {1U, 3U, 4U, 5U, 8U}) {
    EXPECT_TRUE(support::sameBits(resultsOf(repeated(count, nothing)),
                                  Results{0.0F, 0.0F, 0.0F, untouched, untouched, untouched, untouched}))
        << count;
  }
}

TEST(PowerUnbalance, RatiosOfEntryZeroAndOfTheSumsAreWrittenEachForItself) {
  EXPECT_TRUE(support::sameBits(resultsOf({nothing, onePhase(3)}), Results{1, 1, 1, 100, 100, untouched, untouched}));
  // Nothing in the single squares of the body, something in the double ones of entry 0.
  const std::vector<Entry> small = repeated(4, onePhase(3e-25F));
  EXPECT_TRUE(support::sameBits(resultsOf(small), Results{0.0F, 0.0F, 0.0F, untouched, untouched, 100, 100}));
  EXPECT_TRUE(support::sameBits(resultsOf(small + repeated(4, onePhase(3))), Results{4, 4, 4, 100, 100, 100, 100}));
}

TEST(PowerUnbalance, ThePositiveSequenceOfEntryZeroIsRoundedToSingleBeforeItIsLookedAt) {
  // A third of the smallest denormal is more than 0, and rounds to 0; two thirds round to it.
  EXPECT_TRUE(support::sameBits(resultsOf({onePhase(smallest)}),
                                Results{0.0F, 0.0F, 0.0F, untouched, untouched, untouched, untouched}));
  EXPECT_TRUE(support::sameBits(resultsOf({onePhase(2 * smallest)}),
                                Results{smallest, smallest, smallest, 100, 100, 100, 100}));
}

TEST(PowerUnbalance, NegativeMagnitudesAreUsedAsGiven) {
  EXPECT_TRUE(support::sameBits(resultsOf({onePhase(-3)}), Results{1, 1, 1, 100, 100, 100, 100}));
  EXPECT_TRUE(support::sameBits(resultsOf(repeated(4, onePhase(-3))), Results{4, 4, 4, 100, 100, 100, 100}));
  const Entry opposed{{3, -6, 12}, {0, 120, 240}};
  EXPECT_EQ(resultsOf({opposed})[1], 3);
  EXPECT_EQ(resultsOf(repeated(4, opposed))[1], 12);
}

TEST(PowerUnbalance, NansAreTheSumsAndLeaveTheRatiosUntouched) {
  const Results nans{nan, nan, nan, untouched, untouched, untouched, untouched};
  for (std::size_t array = 0; array < 6; ++array) {
    for (const float special : {nan, infinity}) {
      if (array < 3 && special == infinity) {
        continue;  // an infinite magnitude is one
      }
      Entry entry{{3, 6, 12}, {0, 120, 240}};
      (array < 3 ? entry.magnitudes : entry.angles)[array % 3] = special;
      for (const uint32_t count : {1U, 3U, 4U, 5U}) {
        EXPECT_TRUE(support::sameResult(resultsOf(repeated(count, entry)), nans)) << array << ", " << count;
      }
      // In the tail alone: the ratios of entry 0 are written.
      const Results tail = resultsOf(repeated(4, onePhase(3)) + repeated(1, entry));
      EXPECT_TRUE(support::sameResult(tail, Results{nan, nan, nan, untouched, untouched, 100, 100})) << array;
    }
  }
}

TEST(PowerUnbalance, ANanOfOnePhaseReachesTheSequencesThatItsLaneIsAddedTo) {
  const std::vector<Entry> entries{onePhase(3), onePhase(3), onePhase(nan), onePhase(3), onePhase(3)};
  EXPECT_TRUE(support::sameResult(resultsOf(entries), Results{nan, nan, nan, untouched, untouched, 100, 100}));
}

TEST(PowerUnbalance, InfiniteRatiosAreNans) {
  EXPECT_TRUE(support::sameResult(resultsOf(repeated(4, onePhase(3e20F))),
                                  Results{infinity, infinity, infinity, nan, nan, 100, 100}));
}

Arrays randomArrays(std::size_t size, support::SampleClass magnitudes, double widestAngle, support::Random& random) {
  Arrays arrays;
  for (std::size_t i = 0; i < 6; ++i) {
    arrays[i].resize(size);
    if (i < 3) {
      support::fill(std::span(arrays[i]), magnitudes, random);
      continue;
    }
    for (float& angle : arrays[i]) {
      angle = static_cast<float>(random.sign() * widestAngle * random.unit());
    }
  }
  return arrays;
}

TEST(PowerUnbalance, EqualsTheModelAtEveryCountAndPlacement) {
  support::TestRandom random;
  System system(257);
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (const uint32_t count : support::smallCounts(0)) {
      const Arrays arrays = randomArrays(std::max(count, 1U), sampleClass, 360, random);
      for (int repetition = 0; repetition < 6; ++repetition) {
        std::array<Placement, 6> placements;
        for (Placement& placement : placements) {
          placement = random.oneOf(support::allPlacements<float>());
        }
        ASSERT_TRUE(system.equalsModel(arrays, count, allUntouched, placements)) << sampleClass;
      }
    }
  }
}

TEST(PowerUnbalance, EqualsTheModelAtEveryAlignmentOfEachArray) {
  support::TestRandom random;
  System system(11);
  for (uint32_t alignments = 0; alignments < 4096; ++alignments) {
    std::array<Placement, 6> placements;
    for (std::size_t i = 0; i < 6; ++i) {
      placements[i] = support::pastBoundary(alignments >> (2 * i) & 3);
    }
    const auto count = static_cast<uint32_t>(random.between(4, 11));
    const Arrays arrays = randomArrays(count, support::SampleClass::signal, 360, random);
    ASSERT_TRUE(system.equalsModel(arrays, count, allUntouched, placements));
  }
}

TEST(PowerUnbalance, AnglesOfEverySizeEqualTheModel) {
  support::TestRandom random;
  System system(67);
  for (const double widestAngle : {1e-30, 1e-3, 45.0, 180.0, 720.0, 1e5, 1e8, 1e20, 3e38}) {
    for (int repetition = 0; repetition < 300; ++repetition) {
      const auto count = static_cast<uint32_t>(random.between(1, 67));
      const Arrays arrays = randomArrays(count, support::SampleClass::signal, widestAngle, random);
      ASSERT_TRUE(system.equalsModel(arrays, count, allUntouched, allAt(support::endsAtFence))) << widestAngle;
    }
  }
}

TEST(PowerUnbalance, SpecialAnglesEqualTheModel) {
  support::TestRandom random;
  System system(67);
  for (const support::SampleClass sampleClass : support::sampleClasses<float>()) {
    for (uint32_t count = 1; count <= 67; ++count) {
      Arrays arrays;
      for (std::vector<float>& array : arrays) {
        array.resize(count);
        support::fill(std::span(array), sampleClass, random);
      }
      ASSERT_TRUE(system.equalsModel(arrays, count, allUntouched, allAt(support::endsAtFence))) << sampleClass;
    }
  }
}

TEST(PowerUnbalance, SystemsCloseToBalanceEqualTheModel) {
  support::TestRandom random;
  System system(67);
  for (int repetition = 0; repetition < 2000; ++repetition) {
    std::vector<Entry> entries;
    for (int i = random.between(1, 67); i > 0; --i) {
      Entry entry{{230, 230, 230}, {0, 0, 0}};
      const int turn = 120 * random.between(-2, 2);
      for (std::size_t phase = 0; phase < 3; ++phase) {
        entry.magnitudes[phase] += random.oneIn(2) ? 0 : static_cast<float>(random.unit());
        entry.angles[phase] = static_cast<float>(turn * static_cast<int>(phase));
        entry.angles[phase] += random.oneIn(2) ? 0 : static_cast<float>(random.unit());
      }
      entries.push_back(entry);
    }
    ASSERT_TRUE(system.equalsModel(arraysOf(entries), static_cast<uint32_t>(entries.size()), allUntouched,
                                   allAt(support::endsAtFence)));
  }
}

TEST(PowerUnbalance, LongSeriesEqualTheModel) {
  support::TestRandom random;
  System system(support::largestCount);
  for (const uint32_t count : support::largeCounts()) {
    const Arrays arrays = randomArrays(count, support::SampleClass::signal, 360, random);
    ASSERT_TRUE(system.equalsModel(arrays, count, allUntouched, allAt(support::pastBoundary(1))));
  }
}

TEST(PowerUnbalance, WhatTheResultsHeldBeforePlaysNoPart) {
  System system(5);
  const Arrays arrays = arraysOf(repeated(5, onePhase(3)));
  for (const float before : {0.0F, 1e30F, -1.0F, nan, infinity}) {
    EXPECT_TRUE(support::sameBits(
        system.run(arrays, 5, {before, before, before, before, before, before, before}, allAt(support::endsAtFence)),
        Results{5, 5, 5, 100, 100, 100, 100}));
  }
}

}  // namespace
