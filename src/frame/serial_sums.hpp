// Serial sums, side by side: the result of a chain of additions, s = round(s + t) for one term after the other, without
// waiting for each of them. Terms are not negative; they may be infinite or NaN.
//
// While the sum stays in one binade, it is a whole number of that binade's units. A term moves it by the term rounded to
// units, whatever the sum is, unless the term lies halfway between two of them: then by that neighbour which makes the sum
// even. So the moves of a run of terms depend on the last bit of the sum before the run, and on nothing else of it:
// - added to the lower end of the binade, which is even, the run shows how far it moves every even sum; added to the next
//   number, how far it moves every odd one. Neither waits for the sum: runs go side by side, one a lane;
// - neighbouring numbers have neighbouring bit patterns, so that the difference of two patterns is the move in units;
// - two runs are one: the first says which of the moves of the second follows. Joined by twos, the runs of a block leave
//   to the chain the choice of one of two integers and its subtraction from the room up to the next binade.
//
// The sum leaves its binade with the run that moves it by the room or more, and with no other. As long as it stays, it and
// the run's own sums move alike, and the latter lie as far below the upper end as at the start, or farther. One of them
// that reaches the upper end, or is a NaN, has a pattern from there on: it has moved by all the room that there can be. (A
// term is not negative: what has left does not come back.) The terms of the run that leaves are added one by one.
//
// The engine is written over its number format: a format of six bits shows every case that there is.
#pragma once

#include <algorithm>

#include "frame/blocks.hpp"
#include "frame/wide_integers.hpp"

namespace kxcalc {

inline constexpr size_t runsSideBySide = 8;

/// The run that a lane takes, and as well the lane that takes a run: the halves of a vector hold every second run.
inline constexpr size_t runOfLane[runsSideBySide] = {0, 4, 2, 6, 1, 5, 3, 7};

/// The numbers of the library's sums.
struct Doubles {
  using Number = double;
  using Row = PackOf<double, runsSideBySide>;
  static constexpr int significandBits = 52;
  static constexpr uint64_t infinity = 0x7FF0000000000000;

  KXCALC_INLINE static uint64_t bits(double number) { return bitsAs<uint64_t>(number); }
  KXCALC_INLINE static double number(uint64_t bits) { return bitsAs<double>(bits); }
  KXCALC_INLINE static Row row(double number) {
    return eachVector([=](auto lanes) KXCALC_INLINE_LAMBDA { return splat<decltype(lanes)>(number); }, Row{});
  }
  KXCALC_INLINE static auto bits(Row row) {
    return eachVector([](auto v) KXCALC_INLINE_LAMBDA { return bitsAs<SameSize<uint64_t, decltype(v)>>(v); }, row);
  }
};

/// How far runs move an even sum, and how far an odd one: one run, or one a lane.
template <class Integers>
struct Moves {
  Integers even, odd;
};

/// The moves of two runs, one after the other.
template <class Integers>
KXCALC_INLINE Moves<Integers> joinRuns(Moves<Integers> first, Moves<Integers> second) {
  if constexpr (detail::isTwin<Integers>) {
    using Half = decltype(first.even.low);
    const auto low = joinRuns<Half>({first.even.low, first.odd.low}, {second.even.low, second.odd.low});
    const auto high = joinRuns<Half>({first.even.high, first.odd.high}, {second.even.high, second.odd.high});
    return {{low.even, high.even}, {low.odd, high.odd}};
  } else {
    const Integers exchanged = second.even ^ second.odd;
    return {first.even + (second.even ^ (exchanged & -(first.even & 1))),
            first.odd + (second.odd ^ (exchanged & -(first.odd & 1)))};
  }
}

/// The moves of all lanes' runs as one, and every bit that is set in one of their moves of an odd sum.
struct JoinedRuns {
  Moves<uint64_t> moves;
  uint64_t bitsOfOdd;
};
template <class Integers>
KXCALC_INLINE JoinedRuns joinLanes(Moves<Integers> runs, Integers bitsOfOdd) {
  if constexpr (sizeof(Integers) == 16) {
    return {joinRuns<uint64_t>({runs.even[0], runs.odd[0]}, {runs.even[1], runs.odd[1]}), bitsOfOdd[0] | bitsOfOdd[1]};
  } else {
    const auto both = joinRuns<decltype(lowPart(runs.even))>({lowPart(runs.even), lowPart(runs.odd)},
                                                             {highPart(runs.even), highPart(runs.odd)});
    return joinLanes(both, eachVector([](auto a, auto b) KXCALC_INLINE_LAMBDA { return a | b; }, lowPart(bitsOfOdd),
                                      highPart(bitsOfOdd)));
  }
}

/// Runs of terms, a run a lane, for a sum in the binade whose lower end is given.
template <class Format>
struct Runs {
  static constexpr uint64_t binade = uint64_t{1} << Format::significandBits;
  uint64_t lowerEnd;
  typename Format::Row evenSums, oddSums;

  KXCALC_INLINE explicit Runs(uint64_t lowerEndOfSum)
      : lowerEnd(lowerEndOfSum),
        evenSums(Format::row(Format::number(lowerEndOfSum))),
        oddSums(Format::row(Format::number(lowerEndOfSum + 1))) {}

  /// The next term of each run.
  template <class Terms>
  KXCALC_INLINE void add(const Terms& terms) {
    evenSums = evenSums + terms;
    oddSums = oddSums + terms;
  }

  /// Adds all runs to the sum, unless they take it out of the binade, or one of them a sum at the binade's lower end.
  KXCALC_INLINE bool addAllTo(uint64_t& sum) const {
    const auto even = Format::bits(evenSums) - lowerEnd;
    const auto odd = Format::bits(oddSums) - (lowerEnd + 1);
    const auto [moves, bitsOfOdd] = joinLanes<decltype(even)>({even, odd}, odd);
    const uint64_t room = lowerEnd + binade - sum;  // even where the sum is
    // The sums that began at the odd number are the larger ones. Within the binade, the moves of all runs do not wrap.
    const uint64_t move = moves.even ^ ((moves.even ^ moves.odd) & -(room & 1));
    if (bitsOfOdd >= binade || move >= room) {
      return false;
    }
    sum += move;
    return true;
  }

  /// Adds the runs before the one that takes the sum out of the binade; returns how many.
  KXCALC_INLINE size_t addFirstTo(uint64_t& sum) const {
    uint64_t even[runsSideBySide], odd[runsSideBySide];
    store(even, Format::bits(evenSums) - lowerEnd);
    store(odd, Format::bits(oddSums) - (lowerEnd + 1));
    uint64_t room = lowerEnd + binade - sum;
    size_t run = 0;
    for (; run < runsSideBySide; ++run) {
      const size_t lane = runOfLane[run];
      const uint64_t move = (room & 1) != 0 ? odd[lane] : even[lane];
      if (move >= room) {
        break;
      }
      room -= move;
    }
    sum = lowerEnd + binade - room;
    return run;
  }
};

/// The lower end of a number's binade.
template <class Format>
KXCALC_INLINE uint64_t lowerEndOf(uint64_t bits) {
  return bits >> Format::significandBits << Format::significandBits;
}

/// What a sum is made of: terms that are not negative, or those that are for the chain. `Terms` has
/// - one(i): the term at an index;
/// - length, and rows(i, add): the runs of so many terms from an index on, one term of each run a row;
/// - prefetch(i): asks for the memory of `termsOfPrefetch` terms some time after those at the index;
/// - onlyRise<count>(i), if there may be others: whether so many terms from an index on are not negative.
inline constexpr size_t termsOfPrefetch = 16;

/// Adds terms `begin` to `end` one after the other.
template <class Number, class Terms>
KXCALC_INLINE Number addInOrder(Number sum, const Terms& terms, size_t begin, size_t end) {
  size_t i = begin;
  for (; end - i >= termsOfPrefetch; i += termsOfPrefetch) {
    terms.prefetch(i);
    unrolled<termsOfPrefetch>([&](size_t k) KXCALC_INLINE_LAMBDA { sum = sum + terms.one(i + k); });
  }
  for (; i < end; ++i) {
    sum = sum + terms.one(i);
  }
  return sum;
}

/// Whether the next terms are for the blocks. One that is negative is not: the sum could leave its binade and come back.
template <size_t count, class Terms>
KXCALC_INLINE bool onlyRise(const Terms& terms, size_t i) {
  if constexpr (requires { terms.template onlyRise<count>(i); }) {
    return terms.template onlyRise<count>(i);
  } else {
    return true;
  }
}

/// The sum of `count` terms from 0 on; or of those from `begin` on, added to what those before it come to.
template <class Format, class Terms>
KXCALC_INLINE typename Format::Number serialSum(const Terms& terms, size_t count, size_t begin = 0,
                                                typename Format::Number sum = {}) {
  // At first the sum doubles too often; with fewer terms there is nothing to be gained.
  constexpr size_t block = runsSideBySide * Terms::length, firstPause = 128, shortest = 512;
  size_t i = begin;
  for (size_t pause = firstPause; has64BitRegisters && count >= shortest && count - i >= pause + block;) {
    sum = addInOrder(sum, terms, i, i + pause);
    i += pause;
    uint64_t bits = Format::bits(sum);
    if (bits >= Format::infinity) {  // for good
      break;
    }
    if (!onlyRise<block>(terms, i)) {
      pause = std::min(2 * pause, 8 * block);
      continue;
    }
    // A loop for each binade: its lower end is a constant that nothing waits for.
    const uint64_t lowerEnd = lowerEndOf<Format>(bits);
    const size_t beginOfBinade = i;
    size_t added = runsSideBySide;
    while (added == runsSideBySide && count - i >= block && onlyRise<block>(terms, i)) {
      unrolled<block / termsOfPrefetch>([&](size_t k)
                                            KXCALC_INLINE_LAMBDA { terms.prefetch(i + k * termsOfPrefetch); });
      Runs<Format> runs(lowerEnd);
      terms.rows(i, [&](const auto& row) KXCALC_INLINE_LAMBDA { runs.add(row); });
      added = runs.addAllTo(bits) ? runsSideBySide : runs.addFirstTo(bits);
      i += added * Terms::length;
    }
    sum = Format::number(bits);
    // What takes the sum out of its binade at once is likely to be followed by more of its kind.
    pause = i == beginOfBinade ? std::min(2 * pause, 8 * block) : Terms::length;
  }
  return addInOrder(sum, terms, i, count);
}

/// The same of terms whose chain nothing outruns with vectors of 16 bytes: builds that have no wider ones add in order.
template <class Format, class Terms>
KXCALC_INLINE typename Format::Number serialSumIfWide(const Terms& terms, size_t count) {
  if constexpr (widestBytes > 16) {
    return serialSum<Format>(terms, count);
  } else {
    return addInOrder(typename Format::Number{}, terms, 0, count);
  }
}

/// The elements at `from` and the three behind it, those `stride` elements later, and so on: eight runs, a run a lane.
/// Calls take(first ones, second ones, third ones, fourth ones).
template <class T, class Take>
KXCALC_INLINE void takeFourColumns(const T* from, size_t stride, Take take) {
  static_assert(sizeof(T) == 4);
  using Column = PackOf<T, runsSideBySide>;
  const auto runs = [=](size_t lane) KXCALC_INLINE_LAMBDA {
    return paired(load(from + runOfLane[lane] * stride), load(from + runOfLane[lane + 4] * stride));
  };
  const Column a = runs(0), b = runs(1), c = runs(2), d = runs(3);
  const auto columns = transposed(a, b, c, d);
  take(columns.first, columns.second, columns.third, columns.fourth);
}

}  // namespace kxcalc
