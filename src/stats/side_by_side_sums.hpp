// The sums over 32-bit samples whose squares do not add up exactly: the two partial sums of squares as serial sums side by
// side, the sum of the samples as the integer that it is. Pays from vectors of 32 bytes on.
#pragma once

#include "frame/serial_sums.hpp"
#include "stats/extremes.hpp"
#include "stats/split_sums.hpp"

namespace kxcalc {

/// Takes blocks of the body, from element `begin` on, into the partial sums; returns where the rest begins. A sum of 2^22
/// samples of 32 bits is at most 2^53: up to there no order rounds.
template <bool withOffset>
KXCALC_INLINE size_t addSideBySide(const int32_t* data, size_t begin, size_t count, SplitSums<withOffset>& sums,
                                   LaneExtremes<int32_t>& extremes) {
  using Row = Doubles::Row;
  constexpr size_t length = 16, block = runsSideBySide * length, shortest = 8 * block;
  const size_t end = std::min(count, size_t{1} << 23);
  if (!has64BitRegisters || end < begin + shortest) {
    return begin;
  }
  uint64_t even = Doubles::bits(sums.sumOfSquares[0]), odd = Doubles::bits(sums.sumOfSquares[1]);
  Row sumOfEven = Doubles::row(0), sumOfOdd = Doubles::row(0);
  constexpr size_t width = laneCount<int32_t, widestBytes>;
  auto wide = LaneExtremes<int32_t, widestBytes>::none();
  size_t i = begin;
  while (end - i >= block && even < Doubles::infinity && odd < Doubles::infinity) {
    // A loop for each pair of binades: their lower ends are constants that nothing waits for.
    const uint64_t lowerEndOfEven = lowerEndOf<Doubles>(even), lowerEndOfOdd = lowerEndOf<Doubles>(odd);
    bool added = true;
    for (; added && end - i >= block; i += block) {
      Runs<Doubles> evenRuns(lowerEndOfEven), oddRuns(lowerEndOfOdd);
      const auto addTo = [&](Runs<Doubles>& runs, Row& sum, auto column) KXCALC_INLINE_LAMBDA {
        const Row samples = toDoubles(column);
        const Row q = withOffset ? samples + sums.rmsOffset : samples;
        runs.add(q * q);
        sum = sum + samples;
      };
      unrolled<block / 16>([&](size_t k) KXCALC_INLINE_LAMBDA { prefetchAhead(data + i + 16 * k); });
      unrolled<block / width>([&](size_t k)
                                  KXCALC_INLINE_LAMBDA { wide.fold(load<widestBytes>(data + i + k * width)); });
      unrolled<length / 4>([&](size_t k) KXCALC_INLINE_LAMBDA {
        takeFourColumns(data + i + 4 * k, length, [&](auto a, auto b, auto c, auto d) KXCALC_INLINE_LAMBDA {
          addTo(evenRuns, sumOfEven, a);
          addTo(oddRuns, sumOfOdd, b);
          addTo(evenRuns, sumOfEven, c);
          addTo(oddRuns, sumOfOdd, d);
        });
      });
      uint64_t newEven = even, newOdd = odd;
      added = evenRuns.addAllTo(newEven) && oddRuns.addAllTo(newOdd);
      if (added) {
        even = newEven;
        odd = newOdd;
      } else {
        f64x2 squares{Doubles::number(even), Doubles::number(odd)};
        for (size_t k = 0; k < block; k += 2) {
          const f64x2 samples = loadAsDoubles(data + i + k);
          const f64x2 q = withOffset ? samples + sums.rmsOffset : samples;
          squares += q * q;
        }
        even = Doubles::bits(squares[0]);
        odd = Doubles::bits(squares[1]);
      }
    }
  }
  const auto total = [](Row row) KXCALC_INLINE_LAMBDA {
    double lanes[runsSideBySide], sum = 0;
    store(lanes, row);
    for (const double lane : lanes) {
      sum += lane;
    }
    return sum;
  };
  const auto [minimum, maximum] = wide.reduce();
  extremes.fold(splat<i32x4>(minimum));
  extremes.fold(splat<i32x4>(maximum));
  sums.sum += f64x2{total(sumOfEven), total(sumOfOdd)};
  sums.sumOfSquares = f64x2{Doubles::number(even), Doubles::number(odd)};
  return i;
}

}  // namespace kxcalc
