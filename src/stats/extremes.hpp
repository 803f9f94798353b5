// The smallest and largest of a block: what the statistics kernels share.
//
// The contract's order: lanes start at the first samples of the block; the aligned blocks of the body and then the last
// samples are folded in, the running value as first operand; the lanes are combined by halves. That is a chain of
// dependent operations, and it matters for two things only: NaNs, and which zero is chosen where both signs of it tie.
// Otherwise equal values have equal bits and the extremes are the same in any order. So kernels fold into independent
// accumulators, and go over the block again in the contract's order when it turns out to matter.
#pragma once

#include <limits>

#include "frame/blocks.hpp"

namespace kxcalc {

template <class T>
struct Extremes {
  T minimum, maximum;
};

/// Running extremes in lanes, the running value always as first operand.
template <class T, size_t bytes = 16>
struct LaneExtremes {
  Lanes<T, bytes> minimum, maximum;

  KXCALC_INLINE explicit LaneExtremes(Lanes<T, bytes> first) : minimum(first), maximum(first) {}

  /// Before any sample, of an integer type.
  KXCALC_INLINE static LaneExtremes none() {
    LaneExtremes extremes(splat<Lanes<T, bytes>>(std::numeric_limits<T>::max()));
    extremes.maximum = splat<Lanes<T, bytes>>(std::numeric_limits<T>::min());
    return extremes;
  }

  KXCALC_INLINE void fold(Lanes<T, bytes> block) {
    minimum = lesser(minimum, block);
    maximum = greater(maximum, block);
  }
  KXCALC_INLINE void fold(const LaneExtremes& other) {
    minimum = lesser(minimum, other.minimum);
    maximum = greater(maximum, other.maximum);
  }
  KXCALC_INLINE Extremes<T> reduce() const {
    return {reduceByHalves<T>(minimum, lesser), reduceByHalves<T>(maximum, greater)};
  }
};

/// Merges one sample into running extremes: strict comparisons, so that a NaN sample replaces nothing, a NaN that is
/// there stays, and of equal values the first is kept.
template <class T>
KXCALC_INLINE void mergeSample(T sample, T* minimum, T* maximum) {
  if (sample < *minimum) {
    *minimum = sample;
  }
  if (sample > *maximum) {
    *maximum = sample;
  }
}

/// The extremes in the contract's order; count is a vector's at least.
template <class T>
KXCALC_INLINE Extremes<T> extremesInStatedOrder(const T* data, size_t count) {
  LaneExtremes<T> lanes(load(data));
  const auto block = [&](const T* at) { lanes.fold(load(at)); };
  walkBody(data, headLength(data), count, block);
  block(data + count - laneCount<T>);
  return lanes.reduce();
}

/// Whether a block of a vector or more holds a -0. Its comparisons are counted: at most 2^30 in a lane.
template <size_t bytes, class T>
KXCALC_INLINE bool holdsMinusZero(const T* data, size_t count) {
  using Bits = Lanes<std::conditional_t<sizeof(T) == 4, int32_t, int64_t>, bytes>;
  const Bits minusZero = bitsAs<Bits>(splat<Lanes<T, bytes>>(-T{0}));
  Bits found{};
  const auto block = [&](const T* at) { found += bitsAs<Bits>(load<bytes>(at)) == minusZero; };
  walkBody<bytes>(data, 0, count, block);
  block(data + count - laneCount<T, bytes>);
  return anyBitSet(found);
}

/// The block's extremes as the contract orders them, given those that were found in another order and whether a NaN was
/// seen.
template <class T>
KXCALC_INLINE Extremes<T> settleExtremes(Extremes<T> anyOrder, bool sawNaN, const T* data, size_t count) {
  if constexpr (std::is_floating_point_v<T>) {
    const bool zeroWon = anyOrder.minimum == 0 || anyOrder.maximum == 0;
    const auto minusZero = [=] {
      return count < laneCount<T, widestBytes> ? holdsMinusZero<16>(data, count)
                                               : holdsMinusZero<widestBytes>(data, count);
    };
    if (sawNaN || (zeroWon && minusZero())) {
      return extremesInStatedOrder(data, count);
    }
  }
  return anyOrder;
}

}  // namespace kxcalc
