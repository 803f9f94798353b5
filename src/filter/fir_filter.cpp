// Dot product of coefficients with a ring of samples, from a position round to it again, in single. Blocks of four
// products go to four lane sums V, all others to one sum S, in index order; the result is ((V0 + V1) + (V2 + V3)) + S.
//
// The blocks of the first segment (up to the ring's end) begin at coefficient 0, those of the second (from the ring's
// start) where the coefficients reach a 16-byte boundary; a second segment of up to three products has no blocks.
#include "frame/blocks.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

struct Sums {
  f32x4 lanes{};
  float rest = 0;

  KXCALC_INLINE void addOneByOne(const float* ring, const float* coefficients, ptrdiff_t count) {
    for (ptrdiff_t i = 0; i < count; ++i) {
      rest += ring[i] * coefficients[i];
    }
  }
  /// Blocks of four, then what is left.
  KXCALC_INLINE void add(const float* ring, const float* coefficients, ptrdiff_t count) {
    ptrdiff_t i = 0;
    for (; count - i >= 4; i += 4) {
      lanes += load(ring + i) * load(coefficients + i);
    }
    addOneByOne(ring + i, coefficients + i, count - i);
  }
  KXCALC_INLINE float total() const { return ((lanes[0] + lanes[1]) + (lanes[2] + lanes[3])) + rest; }
};

}  // namespace
}  // namespace kxcalc

extern "C" float kxcalcFIRFilter_float(const float* ring, const float* coefficients, uint32_t length,
                                       uint32_t position) {
  using namespace kxcalc;
  const auto second = static_cast<ptrdiff_t>(static_cast<int32_t>(position));
  const ptrdiff_t first = static_cast<int32_t>(length) - second;
  Sums sums;
  sums.add(ring + second, coefficients, first);
  const float* const rest = coefficients + first;
  if (second <= 3) {
    sums.addOneByOne(ring, rest, second);
  } else {
    const auto head = static_cast<ptrdiff_t>(headLength(rest));
    sums.addOneByOne(ring, rest, head);
    sums.add(ring + head, rest + head, second - head);
  }
  return sums.total();
}
