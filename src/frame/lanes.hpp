// Lanes: the 16-byte vectors that results are defined on, as the compiler's own vector types, and the few named
// operations that the language has no operator for.
//
// A kernel is written once on these. `a < b ? a : b` on two f32x4 is one instruction where the processor has it, and
// the same bits where it has not. Every operation is always inlined: no vector crosses a function boundary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#if defined(KXCALC_SSE41)
#include <smmintrin.h>
#endif

#define KXCALC_INLINE [[gnu::always_inline]] inline

namespace kxcalc {

using std::size_t;

typedef float f32x4 __attribute__((vector_size(16)));
typedef double f64x2 __attribute__((vector_size(16)));
typedef int8_t i8x16 __attribute__((vector_size(16)));
typedef int16_t i16x8 __attribute__((vector_size(16)));
typedef int32_t i32x4 __attribute__((vector_size(16)));
typedef uint32_t u32x4 __attribute__((vector_size(16)));
typedef int64_t i64x2 __attribute__((vector_size(16)));
typedef uint64_t u64x2 __attribute__((vector_size(16)));

namespace detail {
template <class T>
struct LanesOf;
template <>
struct LanesOf<float> {
  using Type = f32x4;
};
template <>
struct LanesOf<double> {
  using Type = f64x2;
};
template <>
struct LanesOf<int16_t> {
  using Type = i16x8;
};
template <>
struct LanesOf<int32_t> {
  using Type = i32x4;
};
}  // namespace detail

/// The lanes of a sample type, and how many there are.
template <class T>
using Lanes = typename detail::LanesOf<T>::Type;
template <class T>
inline constexpr size_t laneCount = 16 / sizeof(T);

/// The same bits seen as another type of the same size: reinterpretation, not conversion.
template <class To, class From>
KXCALC_INLINE To bitsAs(From from) {
  static_assert(sizeof(To) == sizeof(From));
  To to;
  std::memcpy(&to, &from, sizeof to);
  return to;
}

/// 16 bytes from, or to, any address that is aligned to its element.
template <class T>
KXCALC_INLINE Lanes<T> load(const T* from) {
  Lanes<T> lanes;
  std::memcpy(&lanes, from, sizeof lanes);
  return lanes;
}
template <class T>
KXCALC_INLINE void store(T* to, Lanes<T> lanes) {
  std::memcpy(to, &lanes, sizeof lanes);
}

/// a where a < b, else b. The second operand wins ties (of +0 and -0 too) and wins where either operand is a NaN, so a
/// NaN in a disappears and a NaN in b comes out with its bits. Not std::min, which takes the first operand on ties.
/// An object: handed to another function it is still inlined. 32-bit x86 returns a scalar of a call on the x87 stack, where
/// a signalling NaN becomes a quiet one.
struct Lesser {
  template <class V>
  KXCALC_INLINE V operator()(V a, V b) const {
    return a < b ? a : b;
  }
};
inline constexpr Lesser lesser;

/// a where a > b, else b. The second operand wins ties and NaNs as in `lesser`.
struct Greater {
  template <class V>
  KXCALC_INLINE V operator()(V a, V b) const {
    return a > b ? a : b;
  }
};
inline constexpr Greater greater;

/// Combines lanes pairwise by halves, the lower lane as first operand: for four lanes
/// combine(combine(lane 0, lane 2), combine(lane 1, lane 3)).
template <class T, class Combine>
KXCALC_INLINE T reduceByHalves(Lanes<T> lanes, Combine combine) {
  T lane[laneCount<T>];
  std::memcpy(lane, &lanes, sizeof lane);
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
  const auto halves = bitsAs<u64x2>(lanes);
  return (halves[0] | halves[1]) != 0;
}

/// All bits set in the lanes where a or b is a NaN. An intrinsic because GCC makes two comparisons of the expression.
KXCALC_INLINE i32x4 unordered(f32x4 a, f32x4 b) {
#if defined(KXCALC_SSE41)
  return bitsAs<i32x4>(_mm_cmpunord_ps(bitsAs<__m128>(a), bitsAs<__m128>(b)));
#else
  return (a != a) | (b != b);
#endif
}
KXCALC_INLINE i64x2 unordered(f64x2 a, f64x2 b) {
#if defined(KXCALC_SSE41)
  return bitsAs<i64x2>(_mm_cmpunord_pd(bitsAs<__m128d>(a), bitsAs<__m128d>(b)));
#else
  return (a != a) | (b != b);
#endif
}

/// Lanes 0 to 3, or 4 to 7, with their sign.
KXCALC_INLINE i32x4 widenLow(i16x8 v) {
#if defined(KXCALC_SSE41)
  return bitsAs<i32x4>(_mm_cvtepi16_epi32(bitsAs<__m128i>(v)));
#else  // doubled up in 32 bits and shifted down arithmetically
  return bitsAs<i32x4>(__builtin_shufflevector(v, v, 0, 0, 1, 1, 2, 2, 3, 3)) >> 16;
#endif
}
KXCALC_INLINE i32x4 widenHigh(i16x8 v) {
  return widenLow(__builtin_shufflevector(v, v, 4, 5, 6, 7, 4, 5, 6, 7));
}

/// Two neighbouring samples as doubles (exact; a signalling NaN comes out quiet).
KXCALC_INLINE f64x2 loadAsDoubles(const double* from) {
  return load(from);
}
KXCALC_INLINE f64x2 loadAsDoubles(const float* from) {
#if defined(KXCALC_SSE41)  // GCC converts the expression one number at a time.
  return bitsAs<f64x2>(_mm_cvtps_pd(_mm_castsi128_ps(_mm_loadu_si64(from))));
#else
  return f64x2{static_cast<double>(from[0]), static_cast<double>(from[1])};
#endif
}
KXCALC_INLINE f64x2 loadAsDoubles(const int32_t* from) {
#if defined(KXCALC_SSE41)
  return bitsAs<f64x2>(_mm_cvtepi32_pd(_mm_loadu_si64(from)));
#else
  return f64x2{static_cast<double>(from[0]), static_cast<double>(from[1])};
#endif
}
KXCALC_INLINE f64x2 loadAsDoubles(const int16_t* from) {
  int32_t both;
  std::memcpy(&both, from, sizeof both);
  const i32x4 pair = widenLow(bitsAs<i16x8>(i32x4{both, 0, 0, 0}));
  return __builtin_convertvector(__builtin_shufflevector(pair, pair, 0, 1), f64x2);
}

/// Four neighbouring samples of 8 or 16 bits with their value. Each is placed at the top of 32 bits and shifted down,
/// with its sign or with zeros.
KXCALC_INLINE i32x4 loadAsInt32(const int16_t* from) {
  i64x2 four{};
  std::memcpy(&four, from, 8);
  return widenLow(bitsAs<i16x8>(four));
}
KXCALC_INLINE i32x4 loadAsInt32(const uint16_t* from) {
  i64x2 four{};
  std::memcpy(&four, from, 8);
  return bitsAs<i32x4>(__builtin_shufflevector(bitsAs<i16x8>(four), i16x8{}, 0, 8, 1, 9, 2, 10, 3, 11));
}
KXCALC_INLINE i32x4 loadAsInt32(const int8_t* from) {
  i32x4 four{};
  std::memcpy(&four, from, 4);
  const i8x16 v = bitsAs<i8x16>(four);
  return bitsAs<i32x4>(__builtin_shufflevector(v, v, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3)) >> 24;
}
KXCALC_INLINE i32x4 loadAsInt32(const uint8_t* from) {
  i32x4 four{};
  std::memcpy(&four, from, 4);
  return bitsAs<i32x4>(__builtin_shufflevector(bitsAs<i8x16>(four), i8x16{}, 0, 16, 17, 18, 1, 19, 20, 21, 2, 22, 23,
                                               24, 3, 25, 26, 27));
}

/// Lanes 0 and 1, or 2 and 3, as doubles (exact; a signalling NaN comes out quiet).
KXCALC_INLINE f64x2 widenLow(f32x4 v) {
#if defined(KXCALC_SSE41)
  return bitsAs<f64x2>(_mm_cvtps_pd(bitsAs<__m128>(v)));
#else
  return f64x2{static_cast<double>(v[0]), static_cast<double>(v[1])};
#endif
}
KXCALC_INLINE f64x2 widenHigh(f32x4 v) {
  return widenLow(__builtin_shufflevector(v, v, 2, 3, 2, 3));
}

/// Four doubles as singles, each rounded to the nearest.
KXCALC_INLINE f32x4 toSingles(f64x2 low, f64x2 high) {
  return f32x4{static_cast<float>(low[0]), static_cast<float>(low[1]), static_cast<float>(high[0]),
               static_cast<float>(high[1])};
}

/// The low 16 bits of eight 32-bit lanes (two's complement wrap-around, no saturation).
KXCALC_INLINE i16x8 narrow(i32x4 low, i32x4 high) {
  return __builtin_shufflevector(bitsAs<i16x8>(low), bitsAs<i16x8>(high), 0, 2, 4, 6, 8, 10, 12, 14);
}

/// The square root of each lane; NaN of a negative number, -0 of -0.
KXCALC_INLINE f32x4 squareRoot(f32x4 v) {
#if defined(KXCALC_SSE41)
  return bitsAs<f32x4>(_mm_sqrt_ps(bitsAs<__m128>(v)));
#else
  return f32x4{__builtin_sqrtf(v[0]), __builtin_sqrtf(v[1]), __builtin_sqrtf(v[2]), __builtin_sqrtf(v[3])};
#endif
}

/// Lane k: a[2k] * b[2k] + a[2k + 1] * b[2k + 1], exact as an unsigned number when the sum is not negative (four times
/// -32768 gives 2^31), and as a signed number otherwise.
KXCALC_INLINE u32x4 sumsOfPairProducts(i16x8 a, i16x8 b) {
#if defined(KXCALC_SSE41)
  return bitsAs<u32x4>(_mm_madd_epi16(bitsAs<__m128i>(a), bitsAs<__m128i>(b)));
#else
  const auto even = [](i16x8 v) { return bitsAs<u32x4>(bitsAs<i32x4>(bitsAs<u32x4>(v) << 16) >> 16); };
  const auto odd = [](i16x8 v) { return bitsAs<u32x4>(bitsAs<i32x4>(v) >> 16); };
  return even(a) * even(b) + odd(a) * odd(b);
#endif
}

/// The exact 64-bit squares of lanes 0 and 2.
KXCALC_INLINE i64x2 squaresOfEvenLanes(i32x4 v) {
#if defined(KXCALC_SSE41)
  return bitsAs<i64x2>(_mm_mul_epi32(bitsAs<__m128i>(v), bitsAs<__m128i>(v)));
#else
  const i64x2 wide = bitsAs<i64x2>(bitsAs<u64x2>(v) << 32) >> 32;
  return wide * wide;
#endif
}

/// Each lane cut towards zero to an integer. Out of the range of 32 bits, infinite or NaN: -2147483648.
KXCALC_INLINE i32x4 truncate(f32x4 v) {
#if defined(KXCALC_SSE41)
  return bitsAs<i32x4>(_mm_cvttps_epi32(bitsAs<__m128>(v)));
#else
  const i32x4 inRange = (v >= -2147483648.0F) & (v < 2147483648.0F);
  const f32x4 convertible = bitsAs<f32x4>(bitsAs<i32x4>(v) & inRange);
  return inRange ? __builtin_convertvector(convertible, i32x4) : i32x4{} + INT32_MIN;
#endif
}

/// Four doubles in [0, 2^31) cut to integers.
KXCALC_INLINE i32x4 truncateBelow2To31(f64x2 low, f64x2 high) {
#if defined(KXCALC_SSE41)
  return bitsAs<i32x4>(
      _mm_unpacklo_epi64(_mm_cvttpd_epi32(bitsAs<__m128d>(low)), _mm_cvttpd_epi32(bitsAs<__m128d>(high))));
#else
  return i32x4{static_cast<int32_t>(low[0]), static_cast<int32_t>(low[1]), static_cast<int32_t>(high[0]),
               static_cast<int32_t>(high[1])};
#endif
}

/// Each lane rounded to the nearest integer, halfway cases to the even one. Out of the range of 32 bits, infinite or
/// NaN: -2147483648.
KXCALC_INLINE i32x4 roundToNearest(f32x4 v) {
#if defined(KXCALC_SSE41)
  return bitsAs<i32x4>(_mm_cvtps_epi32(bitsAs<__m128>(v)));
#else
  // Adding 2^23 with v's sign and taking it away again leaves v rounded to an integer; from 2^23 on every single is
  // one.
  const i32x4 sign = bitsAs<i32x4>(v) & INT32_MIN;
  const f32x4 magnitude = bitsAs<f32x4>(bitsAs<i32x4>(v) & INT32_MAX);
  const f32x4 unit = bitsAs<f32x4>(sign | bitsAs<i32x4>(f32x4{} + 8388608.0F));
  const f32x4 rounded = (v + unit) - unit;
  return truncate(magnitude < 8388608.0F ? rounded : v);
#endif
}

}  // namespace kxcalc
