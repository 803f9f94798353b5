// Sum of squares and dot product: products of singles, exact in double, added in ascending order to one double that
// starts at 0, each addition rounded. The result is that of the plain loop, bit for bit, and the chain of its additions
// sets the pace.
//
// A rising sum need not wait for that chain. While the running sum s stays in one binade, all its values are multiples
// of that binade's unit. Adding p then moves s by p rounded to a multiple of the unit, and by the same number of units
// whatever s is, unless p lies halfway between two multiples: only then does the rounding look at the last bit of s. So
// all terms of a block may be added to the s before the block, side by side; the moves are read off as differences of
// bit patterns (neighbouring doubles have neighbouring patterns), and their sum, an integer, moves s over the whole
// block. A block is taken so if it passes two checks, and is added term by term otherwise:
// - no term lies halfway: added to s and to the next double it gives neighbours, whose last bits differ;
// - s ends in its binade. Squares are not negative, so then it never left it. The sum of the moves cannot wrap and hide
//   that: a term whose two results differ although s is lost in most of its bits is at most 2^54 times s, so a move is
//   below 55 binades, and the moves of a block below 64 * 55 of the 4096 binades (sign included) of a pattern.
// (An infinite s stays infinite, and a NaN that joins it stays one.)
#include "frame/blocks.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

constexpr size_t blockLength = 64;

KXCALC_INLINE void addTermByTerm(double& sum, const float* first, const float* second, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    sum += static_cast<double>(first[i]) * static_cast<double>(second[i]);
  }
}

/// Sign and exponent: which binade a double lies in.
KXCALC_INLINE uint64_t binadeOf(uint64_t bits) {
  return bits >> 52;
}

/// Adds the squares of a block, or returns false.
KXCALC_INLINE bool addSquaresSideBySide(double& sum, const float* data) {
  const auto before = bitsAs<uint64_t>(sum);
  const f64x2 here = f64x2{} + sum;
  const f64x2 next = f64x2{} + bitsAs<double>(before + 1);
  u64x2 results{}, differences = ~u64x2{};
  for (size_t i = 0; i < blockLength; i += 8) {
    unrolled<4>([&](size_t k) {
      const f64x2 values = loadAsDoubles(data + i + 2 * k);
      const f64x2 squares = values * values;
      const auto fromHere = bitsAs<u64x2>(here + squares);
      const auto fromNext = bitsAs<u64x2>(next + squares);
      results += fromHere;
      differences &= fromHere ^ fromNext;
    });
  }
  const uint64_t after = before + (results[0] + results[1] - blockLength * before);
  const bool noneHalfway = (differences[0] & differences[1] & 1) != 0;
  if (!noneHalfway || binadeOf(after) != binadeOf(before)) {
    return false;
  }
  sum = bitsAs<double>(after);
  return true;
}

KXCALC_INLINE double sumOfSquares(const float* data, size_t count) {
  // At first the sum doubles too often for blocks to pass, and a block that failed is likely to be followed by others.
  constexpr size_t settling = 16 * blockLength, pause = 8 * blockLength;
  double sum = 0;
  size_t i = std::min(count, settling);
  addTermByTerm(sum, data, data, i);
  while (count - i >= blockLength) {
    unrolled<blockLength / 16>([&](size_t k) { prefetchAhead(data + i + 16 * k); });
    size_t done = blockLength;
    if (!addSquaresSideBySide(sum, data + i)) {
      done = std::min(count - i, blockLength + pause);
      addTermByTerm(sum, data + i, data + i, done);
    }
    i += done;
  }
  addTermByTerm(sum, data + i, data + i, count - i);
  return sum;
}

/// Its terms have either sign: the sum may leave its binade and come back, and telling that costs what the chain costs.
KXCALC_INLINE double dotProduct(const float* first, const float* second, size_t count) {
  double sum = 0;
  size_t i = 0;
  for (; count - i >= 16; i += 16) {
    prefetchAhead(first + i);
    prefetchAhead(second + i);
    addTermByTerm(sum, first + i, second + i, 16);
  }
  addTermByTerm(sum, first + i, second + i, count - i);
  return sum;
}

}  // namespace
}  // namespace kxcalc

extern "C" double kxcalcSumSquaredValues_float(const float* data, uint32_t count) {
  return kxcalc::sumOfSquares(data, count);
}

extern "C" double kxcalcMultiplyVectorsAndCalcSum_float(const float* first, const float* second, uint32_t count) {
  return kxcalc::dotProduct(first, second, count);
}
