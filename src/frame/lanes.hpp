// Lanes: vectors as the compiler's own vector types, and the few named operations that the language has no operator for.
//
// A kernel is written once on these. `a < b ? a : b` on two f32x4 is one instruction where the processor has it, and
// the same bits where it has not. Results are defined on vectors of 16 bytes; what is computed element by element may
// use wider ones, up to `widestBytes` of the build, and an operation gives each lane the same bits at every width. Every
// operation is always inlined: no vector crosses a function boundary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#if defined(__SSE4_1__)
#include <immintrin.h>
#endif

#define KXCALC_INLINE [[gnu::always_inline]] inline
/// The same for a lambda, after its parameters: compilers leave one that is called several times on its own, and the
/// vectors that it takes and captures go through memory.
#define KXCALC_INLINE_LAMBDA __attribute__((always_inline))

namespace kxcalc {

using std::size_t;

/// The widest vectors of the build, in bytes. (Wider ones than the processor's would be taken apart by the compiler.)
#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512DQ__) && defined(__AVX512VL__)
inline constexpr size_t widestBytes = 64;
#elif defined(__AVX2__)
inline constexpr size_t widestBytes = 32;
#else
inline constexpr size_t widestBytes = 16;
#endif

namespace detail {
template <class T, size_t bytes>
struct LanesOf {
  typedef T Type __attribute__((vector_size(bytes)));
};
template <class V>
struct ElementOf {
  using Type = std::remove_cvref_t<decltype(std::declval<V&>()[0])>;
};
}  // namespace detail

/// The lanes of a sample type, and how many there are.
template <class T, size_t bytes = 16>
using Lanes = typename detail::LanesOf<T, bytes>::Type;
template <class T, size_t bytes = 16>
inline constexpr size_t laneCount = bytes / sizeof(T);

/// A vector's sample type, and the vector of the same size over another one.
template <class V>
using Element = typename detail::ElementOf<V>::Type;
template <class T, class V>
using SameSize = Lanes<T, sizeof(V)>;

using f32x4 = Lanes<float>;
using f64x2 = Lanes<double>;
using i8x16 = Lanes<int8_t>;
using i16x8 = Lanes<int16_t>;
using i32x4 = Lanes<int32_t>;
using u32x4 = Lanes<uint32_t>;
using i64x2 = Lanes<int64_t>;
using u64x2 = Lanes<uint64_t>;

/// The same bits seen as another type of the same size: reinterpretation, not conversion.
template <class To, class From>
KXCALC_INLINE To bitsAs(From from) {
  static_assert(sizeof(To) == sizeof(From));
  To to;
  std::memcpy(&to, &from, sizeof to);
  return to;
}

/// A vector from, or to, any address that is aligned to its element: 16 bytes, or as many as are named.
template <size_t bytes = 16, class T>
KXCALC_INLINE Lanes<T, bytes> load(const T* from) {
  Lanes<T, bytes> lanes;
  std::memcpy(&lanes, from, sizeof lanes);
  return lanes;
}
template <class T, class V>
KXCALC_INLINE void store(T* to, V lanes) {
  static_assert(std::is_same_v<T, Element<V>>);
  std::memcpy(to, &lanes, sizeof lanes);
}

/// The same, in a register: compilers load a vector once for each use, and three loads take longer than what uses them.
template <size_t bytes = 16, class T>
KXCALC_INLINE Lanes<T, bytes> loadOnce(const T* from) {
  Lanes<T, bytes> lanes = load<bytes>(from);
#if defined(__AVX512F__)
  asm("" : "+v"(lanes));
#elif defined(__SSE4_1__)
  asm("" : "+x"(lanes));
#endif
  return lanes;
}

/// The same value in every lane; a zero with its sign, which adding it to zeros would lose.
template <class V>
KXCALC_INLINE V splat(Element<V> value) {
  return [&]<size_t... k>(std::index_sequence<k...>) KXCALC_INLINE_LAMBDA {
    return V{(static_cast<void>(k), value)...};
  }
  (std::make_index_sequence<sizeof(V) / sizeof(Element<V>)>());
}

/// The halves of a vector of 32 bytes or more, and a vector of two halves.
template <class V>
KXCALC_INLINE Lanes<Element<V>, sizeof(V) / 2> lowHalf(V v) {
  const auto words = bitsAs<SameSize<int64_t, V>>(v);
  if constexpr (sizeof(V) == 64) {
    return bitsAs<Lanes<Element<V>, 32>>(__builtin_shufflevector(words, words, 0, 1, 2, 3));
  } else {
    return bitsAs<Lanes<Element<V>, 16>>(__builtin_shufflevector(words, words, 0, 1));
  }
}
template <class V>
KXCALC_INLINE Lanes<Element<V>, sizeof(V) / 2> highHalf(V v) {
  const auto words = bitsAs<SameSize<int64_t, V>>(v);
  if constexpr (sizeof(V) == 64) {
    return bitsAs<Lanes<Element<V>, 32>>(__builtin_shufflevector(words, words, 4, 5, 6, 7));
  } else {
    return bitsAs<Lanes<Element<V>, 16>>(__builtin_shufflevector(words, words, 2, 3));
  }
}
#if defined(__AVX2__)  // GCC permutes whole vectors for the expression.
template <class V>
KXCALC_INLINE Lanes<Element<V>, 2 * sizeof(V)> joined(V low, V high) {
#if defined(__AVX512F__)
  if constexpr (sizeof(V) == 32) {
    const __m512i below = _mm512_castsi256_si512(bitsAs<__m256i>(low));
    return bitsAs<Lanes<Element<V>, 64>>(_mm512_maskz_inserti64x4(0xFF, below, bitsAs<__m256i>(high), 1));
  }
#endif
  if constexpr (sizeof(V) == 16) {
    return bitsAs<Lanes<Element<V>, 32>>(_mm256_set_m128i(bitsAs<__m128i>(high), bitsAs<__m128i>(low)));
  }
}
#endif

/// Four lanes of 32 bits out of each 16 bytes of two vectors: 0 to 3 are a's, 4 to 7 are b's.
template <int... chosen, class V>
KXCALC_INLINE V fromEach16Bytes(V a, V b) {
  constexpr int count = sizeof(V) / 4, four[] = {chosen...};
  constexpr auto lane = [=](int k) { return four[k % 4] % 4 + k / 4 * 4 + (four[k % 4] < 4 ? 0 : count); };
  return [&]<int... k>(std::integer_sequence<int, k...>) KXCALC_INLINE_LAMBDA {
    return __builtin_shufflevector(a, b, lane(k)...);
  }
  (std::make_integer_sequence<int, count>());
}

/// Lanes 0, 0, 2, 2, ... or 1, 1, 3, 3, ... or 1, 0, 3, 2, ... of 32 bits. (The first two have instructions that double while
/// they load; of 64 bytes GCC takes others.)
template <class V>
KXCALC_INLINE V evenLanesTwice(V v) {
#if defined(__AVX512F__)
  if constexpr (sizeof(V) == 64) {
    return bitsAs<V>(_mm512_maskz_moveldup_ps(0xFFFF, bitsAs<__m512>(v)));
  }
#endif
  return fromEach16Bytes<0, 0, 2, 2>(v, v);
}
template <class V>
KXCALC_INLINE V oddLanesTwice(V v) {
#if defined(__AVX512F__)
  if constexpr (sizeof(V) == 64) {
    return bitsAs<V>(_mm512_maskz_movehdup_ps(0xFFFF, bitsAs<__m512>(v)));
  }
#endif
  return fromEach16Bytes<1, 1, 3, 3>(v, v);
}
template <class V>
KXCALC_INLINE V swappedPairs(V v) {
  return fromEach16Bytes<1, 0, 3, 2>(v, v);
}

/// Of lanes of 32 bits those at even places, or those at odd ones: of each 16 bytes those of a, then those of b.
template <class V>
KXCALC_INLINE V evenLanes(V a, V b) {
  return fromEach16Bytes<0, 2, 4, 6>(a, b);
}
template <class V>
KXCALC_INLINE V oddLanes(V a, V b) {
  return fromEach16Bytes<1, 3, 5, 7>(a, b);
}

/// a - b at even places, a + b at odd ones.
template <class V>
KXCALC_INLINE V subtractedAndAdded(V a, V b) {
  static_assert(std::is_same_v<Element<V>, float>);
#if defined(__SSE4_1__)
  if constexpr (sizeof(V) == 16) {
    return bitsAs<V>(_mm_addsub_ps(bitsAs<__m128>(a), bitsAs<__m128>(b)));
  }
#endif
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32) {
    return bitsAs<V>(_mm256_addsub_ps(bitsAs<__m256>(a), bitsAs<__m256>(b)));
  }
#endif
#if defined(__AVX512F__)
  if constexpr (sizeof(V) == 64) {  // by a mask: of 64 bytes there is a fused operation only
    return bitsAs<V>(_mm512_mask_sub_ps(bitsAs<__m512>(a + b), 0x5555, bitsAs<__m512>(a), bitsAs<__m512>(b)));
  }
#endif
#if !defined(__SSE4_1__)
  return a + bitsAs<V>(bitsAs<SameSize<uint64_t, V>>(b) ^ 0x80000000U);  // a - b is a + -b, to the bit
#endif
}

/// a where a < b, else b. The second operand wins ties (of +0 and -0 too) and wins where either operand is a NaN, so a
/// NaN in a disappears and a NaN in b comes out with its bits. Not std::min, which takes the first operand on ties.
/// An object: handed to another function it is still inlined. 32-bit x86 returns a scalar of a call on the x87 stack, where
/// a signalling NaN becomes a quiet one. Of doubles it is an intrinsic: of the expression GCC makes a comparison and a choice
/// where an operand is a constant.
struct Lesser {
  template <class V>
  KXCALC_INLINE V operator()(V a, V b) const {
#if defined(__SSE4_1__)
    if constexpr (std::is_same_v<V, f64x2>) {
      return bitsAs<V>(_mm_min_pd(bitsAs<__m128d>(a), bitsAs<__m128d>(b)));
    }
#endif
#if defined(__AVX2__)
    if constexpr (std::is_same_v<V, Lanes<double, 32>>) {
      return bitsAs<V>(_mm256_min_pd(bitsAs<__m256d>(a), bitsAs<__m256d>(b)));
    }
#endif
#if defined(__AVX512F__)
    if constexpr (std::is_same_v<V, Lanes<double, 64>>) {
      return bitsAs<V>(_mm512_maskz_min_pd(0xFF, bitsAs<__m512d>(a), bitsAs<__m512d>(b)));
    }
#endif
    return a < b ? a : b;
  }
};
inline constexpr Lesser lesser;

/// a where a > b, else b. The second operand wins ties and NaNs as in `lesser`.
struct Greater {
  template <class V>
  KXCALC_INLINE V operator()(V a, V b) const {
#if defined(__SSE4_1__)
    if constexpr (std::is_same_v<V, f64x2>) {
      return bitsAs<V>(_mm_max_pd(bitsAs<__m128d>(a), bitsAs<__m128d>(b)));
    }
#endif
#if defined(__AVX2__)
    if constexpr (std::is_same_v<V, Lanes<double, 32>>) {
      return bitsAs<V>(_mm256_max_pd(bitsAs<__m256d>(a), bitsAs<__m256d>(b)));
    }
#endif
#if defined(__AVX512F__)
    if constexpr (std::is_same_v<V, Lanes<double, 64>>) {
      return bitsAs<V>(_mm512_maskz_max_pd(0xFF, bitsAs<__m512d>(a), bitsAs<__m512d>(b)));
    }
#endif
    return a > b ? a : b;
  }
};
inline constexpr Greater greater;

/// The same over and over, up to so many bytes.
template <size_t bytes, class V>
KXCALC_INLINE auto repeatedTo(V v) {
  if constexpr (sizeof(V) < bytes) {
    return repeatedTo<bytes>(joined(v, v));
  } else {
    return v;
  }
}

/// The halves of a vector combined with each other, down to so many bytes; the lower half is the first operand.
template <size_t bytes, class V, class Combine>
KXCALC_INLINE auto foldedTo(V lanes, Combine combine) {
  if constexpr (sizeof(V) > bytes) {
    return foldedTo<bytes>(combine(lowHalf(lanes), highHalf(lanes)), combine);
  } else {
    return lanes;
  }
}

/// Combines lanes pairwise by halves, the lower lane as first operand: for four lanes
/// combine(combine(lane 0, lane 2), combine(lane 1, lane 3)).
template <class T, class V, class Combine>
KXCALC_INLINE T reduceByHalves(V lanes, Combine combine) {
  T lane[laneCount<T>];
  store(lane, foldedTo<16>(lanes, combine));
  for (size_t half = laneCount<T> / 2; half > 0; half /= 2) {
    for (size_t j = 0; j < half; ++j) {
      lane[j] = combine(lane[j], lane[j + half]);
    }
  }
  return lane[0];
}

/// Whether any bit of any lane is set.
template <class V>
KXCALC_INLINE bool anyBitSet(V lanes) {
#if defined(__SSE4_1__)
  if constexpr (sizeof(V) == 16) {
    return _mm_testz_si128(bitsAs<__m128i>(lanes), bitsAs<__m128i>(lanes)) == 0;
  }
#endif
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32) {
    return _mm256_testz_si256(bitsAs<__m256i>(lanes), bitsAs<__m256i>(lanes)) == 0;
  }
#endif
#if defined(__AVX512F__)
  if constexpr (sizeof(V) == 64) {
    return _mm512_test_epi32_mask(bitsAs<__m512i>(lanes), bitsAs<__m512i>(lanes)) != 0;
  }
#endif
#if !defined(__SSE4_1__)
  const auto halves = bitsAs<u64x2>(lanes);
  return (halves[0] | halves[1]) != 0;
#endif
}

/// All bits set in the lanes where a or b is a NaN. An intrinsic because GCC makes two comparisons of the expression.
template <class V>
KXCALC_INLINE auto unordered(V a, V b) {
  constexpr bool single = std::is_same_v<Element<V>, float>;
  using Mask = SameSize<std::conditional_t<single, int32_t, int64_t>, V>;
#if defined(__SSE4_1__)
  if constexpr (sizeof(V) == 16 && single) {
    return bitsAs<Mask>(_mm_cmpunord_ps(bitsAs<__m128>(a), bitsAs<__m128>(b)));
  } else if constexpr (sizeof(V) == 16) {
    return bitsAs<Mask>(_mm_cmpunord_pd(bitsAs<__m128d>(a), bitsAs<__m128d>(b)));
  }
#endif
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32 && single) {
    return bitsAs<Mask>(_mm256_cmp_ps(bitsAs<__m256>(a), bitsAs<__m256>(b), _CMP_UNORD_Q));
  } else if constexpr (sizeof(V) == 32) {
    return bitsAs<Mask>(_mm256_cmp_pd(bitsAs<__m256d>(a), bitsAs<__m256d>(b), _CMP_UNORD_Q));
  }
#endif
#if defined(__AVX512DQ__)
  if constexpr (sizeof(V) == 64 && single) {
    return bitsAs<Mask>(_mm512_movm_epi32(_mm512_cmp_ps_mask(bitsAs<__m512>(a), bitsAs<__m512>(b), _CMP_UNORD_Q)));
  } else if constexpr (sizeof(V) == 64) {
    return bitsAs<Mask>(_mm512_movm_epi64(_mm512_cmp_pd_mask(bitsAs<__m512d>(a), bitsAs<__m512d>(b), _CMP_UNORD_Q)));
  }
#endif
#if !defined(__SSE4_1__)
  return bitsAs<Mask>((a != a) | (b != b));
#endif
}

/// Whether there was a NaN in any of many vectors. Of the widest each comparison takes the mask of one before it: marks in a
/// vector would cost two instructions more for each. Two masks, because a comparison waits for its mask.
template <class V>
class NaNWatch {
public:
  KXCALC_INLINE void note(V a, V b) {
    if constexpr (sizeof(V) == 64) {
      ordered_ = stillOrdered(ordered_, a, b);
    } else {
      marks_ |= bitsAs<SameSize<int64_t, V>>(unordered(a, b));
    }
  }
  KXCALC_INLINE void note(V a, V b, V c, V d) {
    note(a, b);
    if constexpr (sizeof(V) == 64) {
      others_ = stillOrdered(others_, c, d);
    } else {
      note(c, d);
    }
  }
  KXCALC_INLINE bool sawNaN() const {
    if constexpr (sizeof(V) == 64) {
      return (ordered_ & others_) != allOrdered;
    } else {
      return anyBitSet(marks_);
    }
  }

private:
  static constexpr bool ofSingles = std::is_same_v<Element<V>, float>;
  using Mask = std::conditional_t<ofSingles, uint16_t, uint8_t>;
  static constexpr Mask allOrdered = static_cast<Mask>(~Mask{0});

  KXCALC_INLINE static Mask stillOrdered([[maybe_unused]] Mask before, [[maybe_unused]] V a, [[maybe_unused]] V b) {
#if defined(__AVX512F__)
    if constexpr (ofSingles) {
      return _mm512_mask_cmp_ps_mask(before, bitsAs<__m512>(a), bitsAs<__m512>(b), _CMP_ORD_Q);
    } else {
      return _mm512_mask_cmp_pd_mask(before, bitsAs<__m512d>(a), bitsAs<__m512d>(b), _CMP_ORD_Q);
    }
#endif
  }

  SameSize<int64_t, V> marks_{};
  Mask ordered_ = allOrdered, others_ = allOrdered;
};

/// The square root of each lane; NaN of a negative number, -0 of -0.
template <class V>
KXCALC_INLINE V squareRoot(V v) {
  static_assert(std::is_same_v<Element<V>, float>);
#if defined(__SSE4_1__)
  if constexpr (sizeof(V) == 16) {
    return bitsAs<V>(_mm_sqrt_ps(bitsAs<__m128>(v)));
  }
#endif
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32) {
    return bitsAs<V>(_mm256_sqrt_ps(bitsAs<__m256>(v)));
  }
#endif
#if defined(__AVX512F__)
  if constexpr (sizeof(V) == 64) {
    return bitsAs<V>(_mm512_maskz_sqrt_ps(0xFFFF, bitsAs<__m512>(v)));
  }
#endif
#if !defined(__SSE4_1__)
  return V{__builtin_sqrtf(v[0]), __builtin_sqrtf(v[1]), __builtin_sqrtf(v[2]), __builtin_sqrtf(v[3])};
#endif
}

/// The same of a double: without optimisation the one of <cmath> is a call of the mathematical library.
KXCALC_INLINE double squareRoot(double v) {
  return __builtin_sqrt(v);
}

/// Lane k: a[2k] * b[2k] + a[2k + 1] * b[2k + 1], exact as an unsigned number when the sum is not negative (four times
/// -32768 gives 2^31), and as a signed number otherwise.
template <class V>
KXCALC_INLINE SameSize<uint32_t, V> sumsOfPairProducts(V a, V b) {
  using U = SameSize<uint32_t, V>;
#if defined(__SSE4_1__)
  if constexpr (sizeof(V) == 16) {
    return bitsAs<U>(_mm_madd_epi16(bitsAs<__m128i>(a), bitsAs<__m128i>(b)));
  }
#endif
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32) {
    return bitsAs<U>(_mm256_madd_epi16(bitsAs<__m256i>(a), bitsAs<__m256i>(b)));
  }
#endif
#if defined(__AVX512BW__)
  if constexpr (sizeof(V) == 64) {
    return bitsAs<U>(_mm512_madd_epi16(bitsAs<__m512i>(a), bitsAs<__m512i>(b)));
  }
#endif
#if !defined(__SSE4_1__)
  const auto even = [](V v) { return bitsAs<U>(bitsAs<SameSize<int32_t, V>>(bitsAs<U>(v) << 16) >> 16); };
  const auto odd = [](V v) { return bitsAs<U>(bitsAs<SameSize<int32_t, V>>(v) >> 16); };
  return even(a) * even(b) + odd(a) * odd(b);
#endif
}

/// The exact 64-bit squares of the lanes at even places.
template <class V>
KXCALC_INLINE SameSize<int64_t, V> squaresOfEvenLanes(V v) {
  using W = SameSize<int64_t, V>;
#if defined(__SSE4_1__)
  if constexpr (sizeof(V) == 16) {
    return bitsAs<W>(_mm_mul_epi32(bitsAs<__m128i>(v), bitsAs<__m128i>(v)));
  }
#endif
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32) {
    return bitsAs<W>(_mm256_mul_epi32(bitsAs<__m256i>(v), bitsAs<__m256i>(v)));
  }
#endif
#if defined(__AVX512F__)
  if constexpr (sizeof(V) == 64) {
    return bitsAs<W>(_mm512_maskz_mul_epi32(0xFF, bitsAs<__m512i>(v), bitsAs<__m512i>(v)));
  }
#endif
#if !defined(__SSE4_1__)
  const W wide = bitsAs<W>(bitsAs<SameSize<uint64_t, V>>(v) << 32) >> 32;
  return wide * wide;
#endif
}

}  // namespace kxcalc
