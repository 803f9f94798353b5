// Sum of squares and dot product: products of singles, exact in double, added in ascending order to one double that
// starts at 0, each addition rounded. The result is that of the plain loop, bit for bit.
#include "frame/serial_sums.hpp"

#include "kxcalc.h"

namespace kxcalc {
namespace {

struct Squares {
  static constexpr size_t length = 8;
  const float* data;

  KXCALC_INLINE double one(size_t i) const { return static_cast<double>(data[i]) * static_cast<double>(data[i]); }

  template <class Add>
  KXCALC_INLINE void rows(size_t i, Add add) const {
    const auto addSquares = [&](auto column) KXCALC_INLINE_LAMBDA {
      const auto values = toDoubles(column);
      add(values * values);
    };
    unrolled<length / 4>([&](size_t k) KXCALC_INLINE_LAMBDA {
      takeFourColumns(data + i + 4 * k, length,
                      [&](auto... columns) KXCALC_INLINE_LAMBDA { (addSquares(columns), ...); });
    });
  }

  KXCALC_INLINE void prefetch(size_t i) const { prefetchAhead(data + i); }
};

/// Its terms have either sign: the sum may leave its binade and come back, and telling that costs what the chain costs.
KXCALC_INLINE double dotProduct(const float* first, const float* second, size_t count) {
  double sum = 0;
  const auto add = [&](size_t i)
                       KXCALC_INLINE_LAMBDA { sum += static_cast<double>(first[i]) * static_cast<double>(second[i]); };
  const auto addFour = [&](Pack<4> at) KXCALC_INLINE_LAMBDA {
    unrolled<4>([&](size_t k) KXCALC_INLINE_LAMBDA { add(at.index + k); });
  };
  for (size_t i = walkBlocks<4, 4>(count, addFour, first, second); i < count; ++i) {
    add(i);
  }
  return sum;
}

}  // namespace
}  // namespace kxcalc

extern "C" double kxcalcSumSquaredValues_float(const float* data, uint32_t count) {
  using namespace kxcalc;
  return serialSum<Doubles>(Squares{data}, count);
}

extern "C" double kxcalcMultiplyVectorsAndCalcSum_float(const float* first, const float* second, uint32_t count) {
  return kxcalc::dotProduct(first, second, count);
}
