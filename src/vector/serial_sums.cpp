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

/// Of either sign. Where they only rise for a while, which squares times weights do, they go side by side too.
struct Products {
  static constexpr size_t length = 8;
  const float *first, *second;

  KXCALC_INLINE double one(size_t i) const { return static_cast<double>(first[i]) * static_cast<double>(second[i]); }

  template <class Add>
  KXCALC_INLINE void rows(size_t i, Add add) const {
    const auto addProducts = [&](auto a, auto b) KXCALC_INLINE_LAMBDA { add(toDoubles(a) * toDoubles(b)); };
    unrolled<length / 4>([&](size_t k) KXCALC_INLINE_LAMBDA {
      takeFourColumns(first + i + 4 * k, length, [&](auto a0, auto a1, auto a2, auto a3) KXCALC_INLINE_LAMBDA {
        takeFourColumns(second + i + 4 * k, length, [&](auto b0, auto b1, auto b2, auto b3) KXCALC_INLINE_LAMBDA {
          addProducts(a0, b0);
          addProducts(a1, b1);
          addProducts(a2, b2);
          addProducts(a3, b3);
        });
      });
    });
  }

  /// Whether none of the next `count` products has a sign. In vectors of 32 bytes at most: after one of 64 bytes the
  /// processor keeps an arithmetic unit closed, and the chain, which may be all there is, takes longer.
  template <size_t count>
  KXCALC_INLINE bool onlyRise(size_t i) const {
    constexpr size_t bytes = std::min(widestBytes, size_t{32});
    using V = Lanes<uint32_t, bytes>;
    V signs{};
    unrolled<count / laneCount<float, bytes>>([&](size_t k) KXCALC_INLINE_LAMBDA {
      const size_t at = i + k * laneCount<float, bytes>;
      signs |= bitsAs<V>(load<bytes>(first + at)) ^ bitsAs<V>(load<bytes>(second + at));
    });
    return !anyBitSet(signs & 0x80000000U);
  }

  KXCALC_INLINE void prefetch(size_t i) const {
    prefetchAhead(first + i);
    prefetchAhead(second + i);
  }
};

}  // namespace
}  // namespace kxcalc

extern "C" double kxcalcSumSquaredValues_float(const float* data, uint32_t count) {
  using namespace kxcalc;
  return serialSum<Doubles>(Squares{data}, count);
}

extern "C" double kxcalcMultiplyVectorsAndCalcSum_float(const float* first, const float* second, uint32_t count) {
  using namespace kxcalc;
  return serialSumIfWide<Doubles>(Products{first, second}, count);
}
