// Blocks whose extremes depend on the order in which samples are compared: NaNs, and zeros of both signs.
#ifndef KXCALC_TESTS_STATS_ORDER_DEPENDENT_EXTREMES_HPP
#define KXCALC_TESTS_STATS_ORDER_DEPENDENT_EXTREMES_HPP

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <span>
#include <type_traits>
#include <vector>

#include "support/fenced_buffer.hpp"
#include "support/samples.hpp"

namespace stats {

template <typename Sample>
struct HandWorkedExtremes {
  std::vector<Sample> samples;
  std::size_t offset;  // elements past a 16-byte boundary
  Sample minimum;
  Sample maximum;
};

/// Worked out by hand from the order of the comparisons. Those from a block of samples on hold for the statistics line,
/// too.
template <typename Sample>
std::vector<HandWorkedExtremes<Sample>> handWorkedExtremes() {
  constexpr Sample nan = std::numeric_limits<Sample>::quiet_NaN();
  constexpr Sample minusZero = -Sample{0};
  if constexpr (std::is_same_v<Sample, float>) {
    return {
        // Below a block: the first of equal values is kept; a NaN stays at position 0 and is ignored elsewhere.
        {{nan, 1}, 0, nan, nan},
        {{1, nan}, 0, 1, 1},
        {{nan, 1, 2}, 0, nan, nan},
        {{1, nan, 2}, 0, 1, 2},
        {{2, 1, nan}, 0, 1, 2},
        {{0, minusZero, 5}, 0, 0, 5},
        {{minusZero, 0, 5}, 0, minusZero, 5},
        {{0, minusZero, -5}, 0, -5, 0},
        {{minusZero, 0, -5}, 0, -5, minusZero},
        // One block: a NaN in lane 0 or 1 is a first operand and lost; in lane 2 it takes lane 0 along; in lane 3 it
        // wins.
        {{nan, 1, 2, 3}, 0, 1, 3},
        {{1, nan, 2, 3}, 0, 1, 3},
        {{1, 2, nan, 3}, 0, 2, 3},
        {{1, 2, 3, nan}, 0, nan, nan},
        {{1, 2, 3, nan}, 3, nan, nan},
        {{0, minusZero, 0, 0}, 0, 0, 0},
        {{0, 0, 0, minusZero}, 0, minusZero, minusZero},
        {{0, minusZero, minusZero, minusZero}, 0, minusZero, minusZero},
        // The last four samples put the NaN over the 1 in lane 0.
        {{1, nan, 2, 3, 4}, 0, 2, 4},
        {{1, nan, 2, 3, 4}, 3, 2, 4},
        // The NaN wipes the 1 out of lane 0 only where it lies in lane 0 of an aligned block.
        {{1, 5, 5, 5, nan, 5, 5, 5, 5}, 0, 5, 5},
        {{1, 5, 5, 5, nan, 5, 5, 5, 5}, 3, 1, 5},
        {{1, 5, 5, 5, nan, 5, 5, 5, 5}, 2, 1, 5},
        {{1, 5, 5, 5, nan, 5, 5, 5, 5}, 1, 1, 5},
        {{9, 5, 5, 5, nan, 5, 5, 5, 5}, 0, 5, 5},
        {{9, 5, 5, 5, nan, 5, 5, 5, 5}, 3, 5, 9},
        // Which zero comes out goes back and forth with the alignment.
        {{1, 0, 1, 1, minusZero, 1, 1, 1}, 0, 0, 1},
        {{1, 0, 1, 1, minusZero, 1, 1, 1}, 3, minusZero, 1},
        {{1, 0, 1, 1, minusZero, 1, 1, 1}, 2, 0, 1},
        {{1, 0, 1, 1, minusZero, 1, 1, 1}, 1, minusZero, 1},
        {{-1, 0, -1, -1, minusZero, -1, -1, -1}, 0, -1, 0},
        {{-1, 0, -1, -1, minusZero, -1, -1, -1}, 3, -1, minusZero},
        {{-1, 0, -1, -1, minusZero, -1, -1, -1}, 2, -1, 0},
        {{-1, 0, -1, -1, minusZero, -1, -1, -1}, 1, -1, minusZero},
    };
  } else {
    return {
        {{nan}, 0, nan, nan},
        {{minusZero}, 0, minusZero, minusZero},
        {{nan, 2}, 0, 2, 2},
        {{2, nan}, 0, nan, nan},
        {{2, nan}, 1, nan, nan},
        {{0, minusZero}, 0, minusZero, minusZero},
        {{minusZero, 0}, 0, 0, 0},
        {{1, nan, 3}, 0, 3, 3},
        {{1, nan, 3}, 1, 3, 3},
        {{nan, 1, 2}, 0, 1, 2},
        {{1, 2, nan}, 0, nan, nan},
        {{1, 2, nan, 3}, 0, 2, 3},
        {{1, 2, nan, 3}, 1, 3, 3},
        {{1, 0, minusZero, 1}, 0, 0, 1},
        {{1, 0, minusZero, 1}, 1, minusZero, 1},
        {{-1, 0, minusZero, -1}, 0, -1, 0},
        {{-1, 0, minusZero, -1}, 1, -1, minusZero},
    };
  }
}

/// Hands blocks to a check (of samples and their placement) until one fails: one NaN at each position of counts to 200,
/// with the extremes before it, and every pair of positions of small counts.
template <typename Sample, typename Check>
void forNansAtEachPosition(support::Random& random, const Check& check) {
  constexpr uint32_t width = 16 / sizeof(Sample);
  for (uint32_t count = 1; count <= 200; ++count) {
    std::vector<Sample> samples(count);
    support::fill(std::span(samples), support::SampleClass::signal, random);
    for (uint32_t position = 0; position < count; ++position) {
      // A NaN must wipe out the best value so far of its lane: the extreme stands a whole number of blocks before it.
      const Sample kept = samples[position];
      const uint32_t blocksBefore = position / width;
      const uint32_t extremePosition =
          position - (blocksBefore == 0 ? 0 : width * static_cast<uint32_t>(1 + random.below(blocksBefore)));
      const Sample keptAtExtreme = samples[extremePosition];
      samples[extremePosition] = static_cast<Sample>(random.sign()) * 9;
      support::setToNan(samples[position], random);
      for (const support::Placement& placement : support::allPlacements<Sample>()) {
        ASSERT_TRUE(check(std::span<const Sample>(samples), placement)) << "NaN at " << position << ", " << placement;
      }
      samples[extremePosition] = keptAtExtreme;
      samples[position] = kept;
    }
  }
  for (uint32_t count = 2; count <= 20; ++count) {
    for (const support::Placement& placement : support::allPlacements<Sample>()) {
      std::vector<Sample> samples(count);
      support::fill(std::span(samples), support::SampleClass::signal, random);
      for (uint32_t first = 0; first < count; ++first) {
        for (uint32_t second = 0; second < count; ++second) {
          std::vector<Sample> spoilt = samples;
          support::setToNan(spoilt[first], random);
          support::setToNan(spoilt[second], random);
          ASSERT_TRUE(check(std::span<const Sample>(spoilt), placement))
              << "NaNs at " << first << " and " << second << ", " << placement;
        }
      }
    }
  }
}

/// Zeros of either and of both signs at each pair of positions, all other samples larger (then smaller).
template <typename Sample, typename Check>
void forZerosAtEachPair(const Check& check) {
  for (const uint32_t count :
       std::initializer_list<uint32_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 16, 17, 23, 31, 37, 65, 74}) {
    for (const support::Placement& placement : support::allPlacements<Sample>()) {
      for (const Sample other : {Sample{1}, Sample{-1}}) {
        std::vector<Sample> samples(count, other);
        for (uint32_t first = 0; first < count; ++first) {
          for (uint32_t second = 0; second < count; ++second) {
            samples[first] = Sample{0};
            samples[second] = -Sample{0};
            ASSERT_TRUE(check(std::span<const Sample>(samples), placement))
                << "+0 at " << first << " and -0 at " << second << ", " << placement;
            samples[first] = other;
            samples[second] = other;
          }
        }
      }
    }
  }
}

/// A few NaNs, or zeros beside larger or smaller samples, anywhere in blocks of thousands.
template <typename Sample, typename Check>
void forSpecialsInLargeBlocks(support::Random& random, const Check& check) {
  for (const uint32_t count : std::initializer_list<uint32_t>{509, 1000, 2048, 4101, 16397}) {
    std::vector<Sample> samples(count);
    for (int repetition = 0; repetition < 60; ++repetition) {
      const bool isNan = repetition % 2 == 0;
      const auto sign = static_cast<Sample>(random.sign());
      for (Sample& sample : samples) {
        sample = isNan ? static_cast<Sample>(2 * random.unit() - 1) : sign * static_cast<Sample>(1 + random.unit());
      }
      const int specials = random.between(1, 4);
      for (int i = 0; i < specials; ++i) {
        Sample& special = samples[random.below(count)];
        if (isNan) {
          support::setToNan(special, random);
        } else {
          special = static_cast<Sample>(random.sign() * 0.0);
        }
      }
      const support::Placement placement = support::pastBoundary(random.below(16 / sizeof(Sample)));
      ASSERT_TRUE(check(std::span<const Sample>(samples), placement))
          << "repetition " << repetition << ", " << placement;
    }
  }
}

}  // namespace stats

#endif
