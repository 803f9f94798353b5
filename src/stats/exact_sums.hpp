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

  /// Whole blocks from `begin` to `end`, 4096 samples at most. Enough of them are taken in the widest vectors.
  KXCALC_INLINE void fold(const int16_t* samples, size_t begin, size_t end, LaneExtremes<int16_t>& extremes) {
    if (widestBytes > 16 && end - begin >= 8 * laneCount<int16_t, widestBytes>) {
      LaneExtremes<int16_t, widestBytes> wide(load<widestBytes>(samples + begin));
      begin = foldVectors(samples, begin, end, wide);
      const auto [minimum, maximum] = wide.reduce();
      extremes.fold(splat<i16x8>(minimum));
      extremes.fold(splat<i16x8>(maximum));
    }
    foldVectors(samples, begin, end, extremes);
  }

  /// Returns where less than a vector is left. In each 32-bit lane up to 512 sums of a pair, of up to 2^16.
  template <size_t bytes>
  KXCALC_INLINE size_t foldVectors(const int16_t* samples, size_t begin, size_t end,
                                   LaneExtremes<int16_t, bytes>& extremes) {
    using V = Lanes<int16_t, bytes>;
    using Squares = Lanes<uint64_t, bytes>;
    Lanes<uint32_t, bytes> pairSums{};
    Squares lowSquares{}, highSquares{};
    const size_t rest = walkBody<bytes>(samples, begin, end, [&](const int16_t* at) {
      const V block = load<bytes>(at);
      extremes.fold(block);
      pairSums += sumsOfPairProducts(block, splat<V>(1));
      const auto squares = bitsAs<Squares>(sumsOfPairProducts(block, block));
      lowSquares += squares & 0xFFFFFFFFU;
      highSquares += squares >> 32;
    });
    const auto sums = bitsAs<Lanes<int32_t, bytes>>(pairSums);
    const Squares squares = lowSquares + highSquares;
    unrolled<bytes / 4>([&](size_t k) { sum += sums[k]; });
    unrolled<bytes / 8>([&](size_t k) { sumOfSquares += squares[k]; });
    return rest;
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
