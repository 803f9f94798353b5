// The sum and the sum of squares of a block in the contract's order, shared by the statistics kernels.
//
// Head and tail samples go onto the caller's totals one at a time, squared after an offset addition in the offset's own
// type. The body is gathered in two partial sums (of the samples at even and at odd distance from its start), squared
// after an offset addition in double, and added to the totals once. For singles and 16-bit samples the two additions
// round differently: that too is the contract.
#pragma once

#include <algorithm>

#include "frame/blocks.hpp"

namespace kxcalc {

struct Sums {
  double sum, sumOfSquares;
};

/// Adds one sample to the totals, as in the head, the tail and short blocks.
template <class T, class Offset>
KXCALC_INLINE void addSample(T sample, Offset rmsOffset, Sums& totals) {
  const double q = static_cast<double>(static_cast<Offset>(sample) + rmsOffset);
  totals.sum = static_cast<double>(sample) + totals.sum;
  totals.sumOfSquares = q * q + totals.sumOfSquares;
}

/// The partial sums of the body. Without an offset the addition of 0 is left out: it changes nothing but the sign of a
/// zero, whose square is +0 either way.
template <bool withOffset>
struct SplitSums {
  double rmsOffset;
  f64x2 sum{}, sumOfSquares{};

  KXCALC_INLINE explicit SplitSums(double offset) : rmsOffset(offset) {}

  /// One block of samples, pair after pair; what is added is formed of two pairs at once where a vector holds them. (Four
  /// would take longer to come apart.)
  template <class T>
  KXCALC_INLINE void fold(const T* block) {
    constexpr size_t width = std::min(laneCount<T>, size_t{widestBytes > 16 ? 4 : 2});
    unrolled<laneCount<T> / width>([&](size_t k) KXCALC_INLINE_LAMBDA {
      const auto samples = loadPackAsDoubles<width>(block + width * k);
      const auto q = withOffset ? samples + rmsOffset : samples;
      add(samples, q * q);
    });
  }

  /// Also where there was no block: adding 0 turns a total of -0 into +0.
  KXCALC_INLINE void addTo(Sums& totals) const {
    totals.sum = (sum[0] + sum[1]) + totals.sum;
    totals.sumOfSquares = (sumOfSquares[0] + sumOfSquares[1]) + totals.sumOfSquares;
  }

private:
  template <class V>
  KXCALC_INLINE void add(V samples, V squares) {
    if constexpr (sizeof(V) == 16) {
      sum += samples;
      sumOfSquares += squares;
    } else {
      add(lowHalf(samples), lowHalf(squares));
      add(highHalf(samples), highHalf(squares));
    }
  }
};

}  // namespace kxcalc
