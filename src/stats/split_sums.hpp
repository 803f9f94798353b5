// The sum and the sum of squares of a block in the contract's order, shared by the statistics kernels.
//
// Head and tail samples go onto the caller's totals one at a time, squared after an offset addition in the offset's own
// type. The body is gathered in two partial sums (of the samples at even and at odd distance from its start), squared
// after an offset addition in double, and added to the totals once. For singles and 16-bit samples the two additions
// round differently: that too is the contract.
#pragma once

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

  /// One block of samples, pair after pair.
  template <class T>
  KXCALC_INLINE void fold(const T* block) {
    unrolled<laneCount<T> / 2>([&](size_t k) {
      const f64x2 samples = loadAsDoubles(block + 2 * k);
      const f64x2 q = withOffset ? samples + rmsOffset : samples;
      sum += samples;
      sumOfSquares += q * q;
    });
  }

  /// Also where there was no block: adding 0 turns a total of -0 into +0.
  KXCALC_INLINE void addTo(Sums& totals) const {
    totals.sum = (sum[0] + sum[1]) + totals.sum;
    totals.sumOfSquares = (sumOfSquares[0] + sumOfSquares[1]) + totals.sumOfSquares;
  }
};

}  // namespace kxcalc
