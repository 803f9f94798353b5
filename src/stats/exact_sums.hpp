// Integer forms of the sums over integer samples. Where every term and every partial sum is a whole number of at most
// 2^53, no addition in double rounds; then order does not matter, and integer arithmetic gives the same bits several
// times faster.
#pragma once

#include <algorithm>

#include "frame/wide_integers.hpp"
#include "stats/extremes.hpp"
#include "stats/split_sums.hpp"

namespace kxcalc {

inline constexpr uint64_t exactLimit = uint64_t{1} << 53;

/// Whether an offset is a whole number of at most `limit`, either sign.
template <class Offset>
KXCALC_INLINE bool isWhole(Offset offset, int32_t limit) {
  const auto bound = static_cast<Offset>(limit);
  return offset >= -bound && offset <= bound && static_cast<Offset>(static_cast<int32_t>(offset)) == offset;
}

/// Sum and sum of squares of 16-bit samples.
struct ExactSums16 {
  int64_t sum = 0;
  uint64_t sumOfSquares = 0;

  /// Whole blocks from `begin` to `end`, 4096 samples at most: in each 32-bit lane 512 sums of a pair, of up to 2^16.
  KXCALC_INLINE void fold(const int16_t* samples, size_t begin, size_t end, LaneExtremes<int16_t>& extremes) {
    u32x4 pairSums{};
    u64x2 lowSquares{}, highSquares{};
    walkBody(samples, begin, end, [&](const int16_t* at) {
      const i16x8 block = load(at);
      extremes.fold(block);
      pairSums += sumsOfPairProducts(block, i16x8{} + 1);
      const u64x2 squares = bitsAs<u64x2>(sumsOfPairProducts(block, block));
      lowSquares += squares & 0xFFFFFFFFU;
      highSquares += squares >> 32;
    });
    const i32x4 sums = bitsAs<i32x4>(pairSums);
    sum += int64_t{sums[0]} + sums[1] + sums[2] + sums[3];
    const u64x2 squares = lowSquares + highSquares;
    sumOfSquares += squares[0] + squares[1];
  }

  /// Adds the sums of `count` samples to the totals, by (x + o)^2 = x^2 + 2 o x + o^2. Adds nothing and returns false
  /// where the squares pass 2^53. For |o| up to 2^15 they stay below 2^64, and the sum of 2^32 samples stays below
  /// 2^53.
  KXCALC_INLINE bool addTo(Sums& totals, size_t count, int32_t rmsOffset) const {
    const auto offset = static_cast<uint64_t>(int64_t{rmsOffset});
    const uint64_t squares = sumOfSquares + 2 * offset * static_cast<uint64_t>(sum) + count * offset * offset;
    if (squares > exactLimit) {
      return false;
    }
    totals.sum = toDouble(sum) + totals.sum;
    totals.sumOfSquares = toDouble(squares) + totals.sumOfSquares;
    return true;
  }
};

/// Statistics of 8 samples or more of 16 bits, split at `head`; returns the extremes of the block alone. `fetch(begin,
/// end)` is called before those samples are read, in ascending order and perhaps twice: the move copies them while they
/// are at hand.
template <class Fetch>
KXCALC_INLINE Extremes<int16_t> addStatisticsOf16Bit(const int16_t* samples, size_t head, size_t count, float rmsOffset,
                                                     Sums& totals, Fetch fetch) {
  const size_t tail = count - (count - head) % 8;
  const auto addSamples = [&](size_t begin, size_t end) {
    fetch(begin, end);
    for (size_t i = begin; i < end; ++i) {
      addSample(samples[i], rmsOffset, totals);
    }
  };
  const auto walkChunks = [&](auto fold) {
    constexpr size_t chunk = 4096;
    for (size_t begin = head; begin < tail; begin += chunk) {
      const size_t end = std::min(tail, begin + chunk);
      fetch(begin, end);
      fold(begin, end);
    }
  };
  auto extremes = LaneExtremes<int16_t>::none();

  addSamples(0, head);
  bool added = false;
  if (isWhole(rmsOffset, 32768)) {
    ExactSums16 sums;
    walkChunks([&](size_t begin, size_t end) { sums.fold(samples, begin, end, extremes); });
    added = sums.addTo(totals, tail - head, static_cast<int32_t>(rmsOffset));
  }
  if (!added) {
    SplitSums<true> sums(static_cast<double>(rmsOffset));
    walkChunks([&](size_t begin, size_t end) {
      walkBody(samples, begin, end, [&](const int16_t* at) {
        extremes.fold(load(at));
        sums.fold(at);
      });
    });
    sums.addTo(totals);
  }
  addSamples(tail, count);
  extremes.fold(load(samples));
  extremes.fold(load(samples + count - 8));
  return extremes.reduce();
}

/// 32-bit samples: takes chunks of the body, from element `begin` on, into the partial sums for as long as they are
/// exact; returns where the rest begins. With samples and offset of at most 2^21, a partial sum of 2^31 samples is at
/// most 2^52, and the squares of a chunk, in each half of it, at most 256 times 2^44.
template <bool withOffset>
KXCALC_INLINE size_t addExactChunks(const int32_t* data, size_t begin, size_t count, SplitSums<withOffset>& sums,
                                    LaneExtremes<int32_t>& extremes) {
  constexpr int32_t limit = 1 << 21;
  constexpr size_t chunk = 512;
  const auto withinLimit = [&] {
    const auto [minimum, maximum] = extremes.reduce();
    return minimum >= -limit && maximum <= limit;
  };
  if (!isWhole(sums.rmsOffset, limit)) {
    return begin;
  }
  const auto offset = static_cast<uint32_t>(static_cast<int32_t>(sums.rmsOffset));
  size_t i = begin;
  for (; count - i >= chunk && withinLimit(); i += chunk) {
    u32x4 samples{};
    u64x2 evenSquares{}, oddSquares{};
    for (const int32_t* at = data + i; at != data + i + chunk; at += 16) {
      prefetchAhead(at);
      unrolled<4>([&](size_t k) {
        const i32x4 block = load(at + 4 * k);
        extremes.fold(block);
        samples += bitsAs<u32x4>(block);
        const u32x4 q = bitsAs<u32x4>(block) + offset;
        evenSquares += bitsAs<u64x2>(squaresOfEvenLanes(bitsAs<i32x4>(q)));
        oddSquares += bitsAs<u64x2>(squaresOfEvenLanes(bitsAs<i32x4>(bitsAs<u64x2>(q) >> 32)));
      });
    }
    if (!withinLimit()) {
      break;
    }
    const i32x4 sample = bitsAs<i32x4>(samples);
    const f64x2 sum{static_cast<double>(sample[0] + sample[2]), static_cast<double>(sample[1] + sample[3])};
    const f64x2 squares =
        sums.sumOfSquares + f64x2{toDouble(evenSquares[0] + evenSquares[1]), toDouble(oddSquares[0] + oddSquares[1])};
    const auto exact = toDouble(exactLimit);
    if (squares[0] >= exact || squares[1] >= exact) {
      break;
    }
    sums.sum += sum;
    sums.sumOfSquares = squares;
  }
  return i;
}

}  // namespace kxcalc
