// Conversions of packs: between integers of 8, 16 and 32 bits, singles and doubles, each lane by the same rule at every
// width. Some are intrinsics where the processor has an instruction that the compilers take apart: GCC does with vectors
// of different size.
#pragma once

#include "frame/twins.hpp"

namespace kxcalc {

/// Lanes 0 to 3 with their sign.
KXCALC_INLINE i32x4 widenLow(i16x8 v) {
#if defined(__SSE4_1__)
  return bitsAs<i32x4>(_mm_cvtepi16_epi32(bitsAs<__m128i>(v)));
#else  // doubled up in 32 bits and shifted down arithmetically
  return bitsAs<i32x4>(__builtin_shufflevector(v, v, 0, 0, 1, 1, 2, 2, 3, 3)) >> 16;
#endif
}

/// Lanes 0 and 1 as doubles (exact; a signalling NaN comes out quiet).
KXCALC_INLINE f64x2 widenLow(f32x4 v) {
#if defined(__SSE4_1__)  // GCC converts the expression one number at a time.
  return bitsAs<f64x2>(_mm_cvtps_pd(bitsAs<__m128>(v)));
#else
  return f64x2{static_cast<double>(v[0]), static_cast<double>(v[1])};
#endif
}

/// The same of integers.
KXCALC_INLINE f64x2 widenLow(i32x4 v) {
#if defined(__SSE4_1__)
  return bitsAs<f64x2>(_mm_cvtepi32_pd(bitsAs<__m128i>(v)));
#else
  return f64x2{static_cast<double>(v[0]), static_cast<double>(v[1])};
#endif
}

/// Lanes 2 and 3 likewise.
template <class V>
KXCALC_INLINE f64x2 widenHigh(V v) {
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

/// The instructions of wider vectors that a vector of half their size is the operand, or the result, of. Those of 64
/// bytes are written with a mask of all lanes: without one, GCC 12 warns of its own header.
#if defined(__AVX2__)
KXCALC_INLINE auto toDoubles(f32x4 v) {
  return bitsAs<Lanes<double, 32>>(_mm256_cvtps_pd(bitsAs<__m128>(v)));
}
KXCALC_INLINE auto toDoubles(i32x4 v) {
  return bitsAs<Lanes<double, 32>>(_mm256_cvtepi32_pd(bitsAs<__m128i>(v)));
}
KXCALC_INLINE f32x4 toSingles(Lanes<double, 32> v) {
  return bitsAs<f32x4>(_mm256_cvtpd_ps(bitsAs<__m256d>(v)));
}
/// Each half of a vector is packed on its own: the quarters come out as 0, 2, 1, 3. The mask keeps the packing, which
/// limits, from limiting.
KXCALC_INLINE auto narrow(Lanes<int32_t, 32> low, Lanes<int32_t, 32> high) {
  const __m256i packed = _mm256_packus_epi32(bitsAs<__m256i>(low & 0xFFFF), bitsAs<__m256i>(high & 0xFFFF));
  return bitsAs<Lanes<int16_t, 32>>(_mm256_permute4x64_epi64(packed, 0xD8));
}
#endif
#if defined(__AVX512BW__)
KXCALC_INLINE auto toDoubles(Lanes<float, 32> v) {
  return bitsAs<Lanes<double, 64>>(_mm512_maskz_cvtps_pd(0xFF, bitsAs<__m256>(v)));
}
KXCALC_INLINE auto toDoubles(Lanes<int32_t, 32> v) {
  return bitsAs<Lanes<double, 64>>(_mm512_maskz_cvtepi32_pd(0xFF, bitsAs<__m256i>(v)));
}
KXCALC_INLINE auto toDoubles(u32x4 v) {
  return bitsAs<Lanes<double, 32>>(_mm256_cvtepu32_pd(bitsAs<__m128i>(v)));
}
KXCALC_INLINE auto toDoubles(Lanes<uint32_t, 32> v) {
  return bitsAs<Lanes<double, 64>>(_mm512_maskz_cvtepu32_pd(0xFF, bitsAs<__m256i>(v)));
}
KXCALC_INLINE auto toSingles(Lanes<double, 64> v) {
  return bitsAs<Lanes<float, 32>>(_mm512_maskz_cvtpd_ps(0xFF, bitsAs<__m512d>(v)));
}
KXCALC_INLINE f32x4 toSingles(Lanes<int64_t, 32> v) {
  return bitsAs<f32x4>(_mm256_cvtepi64_ps(bitsAs<__m256i>(v)));
}
KXCALC_INLINE auto toSingles(Lanes<int64_t, 64> v) {
  return bitsAs<Lanes<float, 32>>(_mm512_maskz_cvtepi64_ps(0xFF, bitsAs<__m512i>(v)));
}
KXCALC_INLINE i16x8 narrow(Lanes<int32_t, 32> v) {
  return bitsAs<i16x8>(_mm256_cvtepi32_epi16(bitsAs<__m256i>(v)));
}
KXCALC_INLINE auto narrow(Lanes<int32_t, 64> v) {
  return narrow(lowHalf(v), highHalf(v));
}
/// Two instructions that permute in place of the five that narrow each half and join them.
KXCALC_INLINE auto narrow(Lanes<int32_t, 64> low, Lanes<int32_t, 64> high) {
  const auto packed =
      bitsAs<Lanes<int64_t, 64>>(_mm512_packus_epi32(bitsAs<__m512i>(low & 0xFFFF), bitsAs<__m512i>(high & 0xFFFF)));
  return bitsAs<Lanes<int16_t, 64>>(__builtin_shufflevector(packed, packed, 0, 2, 4, 6, 1, 3, 5, 7));
}
#elif defined(__AVX2__)
KXCALC_INLINE i16x8 narrow(Lanes<int32_t, 32> v) {
  return narrow(lowHalf(v), highHalf(v));
}
#endif

// What follows takes one element, or a pack that the functions above do not take whole.

/// Whether vectors convert integers of 64 bits.
inline constexpr bool convertsLongs = widestBytes == 64;

/// Singles, or integers of 32 bits, as doubles (exact; a signalling NaN comes out quiet; without a sign integers are exact
/// less 2^31, and so is the sum); integers of 64 bits rounded to the nearest, where vectors convert them.
template <class X>
KXCALC_INLINE auto toDoubles(X x) {
  if constexpr (std::is_arithmetic_v<X>) {
    return static_cast<double>(x);
  } else if constexpr (std::is_same_v<Element<X>, double>) {
    return x;
  } else if constexpr (detail::isTwin<X>) {
    return twin(toDoubles(x.low), toDoubles(x.high));
  } else if constexpr (std::is_same_v<Element<X>, int64_t> && convertsLongs) {
    return __builtin_convertvector(x, SameSize<double, X>);
  } else if constexpr (std::is_same_v<Element<X>, uint32_t> && widestBytes < 64) {
    return toDoubles(bitsAs<SameSize<int32_t, X>>(x ^ 0x80000000U)) + 2147483648.0;
  } else if constexpr (sizeof(X) == 16) {
    return twin(widenLow(x), widenHigh(x));
  } else {
    return twin(toDoubles(lowHalf(x)), toDoubles(highHalf(x)));
  }
}

namespace detail {
/// Without an instruction for integers without a sign both halves are converted: they are exact, and so is the high one
/// times 65536. The addition is the only rounding.
template <class V>
KXCALC_INLINE SameSize<float, V> integersToSingles(V v) {
  using Singles = SameSize<float, V>;
  if constexpr (std::is_same_v<Element<V>, int32_t> || widestBytes == 64) {
    return __builtin_convertvector(v, Singles);
  } else {
    const auto high = bitsAs<SameSize<int32_t, V>>(v >> 16), low = bitsAs<SameSize<int32_t, V>>(v & 0xFFFFU);
    return __builtin_convertvector(high, Singles) * 65536.0F + __builtin_convertvector(low, Singles);
  }
}
}  // namespace detail

/// Integers of 32 bits, or doubles, as singles, each rounded to the nearest; integers of 64 bits likewise, where vectors
/// convert them.
template <class X>
KXCALC_INLINE auto toSingles(X x) {
  if constexpr (std::is_arithmetic_v<X>) {
    return static_cast<float>(x);
  } else if constexpr (std::is_same_v<Element<X>, float>) {
    return x;
  } else if constexpr (sizeof(Element<X>) == sizeof(int32_t)) {
    return eachVector([](auto v) KXCALC_INLINE_LAMBDA { return detail::integersToSingles(v); }, x);
  } else if constexpr (detail::isTwin<PackOf<float, elementsIn<X>>>) {
    return twin(toSingles(x.low), toSingles(x.high));
  } else if constexpr (elementsIn<X> == 4) {
    return toSingles(x.low, x.high);
  } else {
    return joined(toSingles(x.low), toSingles(x.high));
  }
}

/// The low 16 bits of integers of 32 bits (two's complement wrap-around, no saturation).
template <class X>
KXCALC_INLINE auto narrow(X x) {
  if constexpr (std::is_arithmetic_v<X>) {
    return static_cast<int16_t>(x);
  } else if constexpr (detail::isTwin<PackOf<int16_t, elementsIn<X>>>) {
    return twin(narrow(x.low), narrow(x.high));
  } else {
    return narrow(x.low, x.high);
  }
}

namespace detail {
/// `bytes` bytes from any address, in the lower lanes of a vector of 16; the others are 0.
template <size_t bytes, class Raw>
KXCALC_INLINE u64x2 loadLow(const Raw* from) {
  if constexpr (bytes == 4) {
    uint32_t word;
    std::memcpy(&word, from, sizeof word);
    return bitsAs<u64x2>(u32x4{word, 0, 0, 0});
  } else {
    uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return u64x2{word, 0};
  }
}

/// The lower bytes of both vectors by turns.
KXCALC_INLINE i8x16 interleavedLow(i8x16 a, i8x16 b) {
  return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}
}  // namespace detail

/// Neighbouring samples of 8 or 16 bits with their value, four by four. Without an instruction for it each is placed at the
/// top of 32 bits and shifted down, with its sign or with zeros.
KXCALC_INLINE i32x4 loadAsInt32(const int16_t* from) {
  return widenLow(bitsAs<i16x8>(detail::loadLow<8>(from)));
}
KXCALC_INLINE i32x4 loadAsInt32(const uint16_t* from) {
  return bitsAs<i32x4>(
      __builtin_shufflevector(bitsAs<i16x8>(detail::loadLow<8>(from)), i16x8{}, 0, 8, 1, 9, 2, 10, 3, 11));
}
KXCALC_INLINE i32x4 loadAsInt32(const int8_t* from) {
#if defined(__SSE4_1__)
  return bitsAs<i32x4>(_mm_cvtepi8_epi32(bitsAs<__m128i>(detail::loadLow<4>(from))));
#else
  const auto v = bitsAs<i8x16>(detail::loadLow<4>(from));
  const auto twice = bitsAs<i16x8>(detail::interleavedLow(v, v));
  return bitsAs<i32x4>(__builtin_shufflevector(twice, twice, 0, 0, 1, 1, 2, 2, 3, 3)) >> 24;
#endif
}
KXCALC_INLINE i32x4 loadAsInt32(const uint8_t* from) {
#if defined(__SSE4_1__)
  return bitsAs<i32x4>(_mm_cvtepu8_epi32(bitsAs<__m128i>(detail::loadLow<4>(from))));
#else
  const auto v = bitsAs<i16x8>(detail::interleavedLow(bitsAs<i8x16>(detail::loadLow<4>(from)), i8x16{}));
  return bitsAs<i32x4>(__builtin_shufflevector(v, i16x8{}, 0, 8, 1, 9, 2, 10, 3, 11));
#endif
}
namespace detail {
/// As many samples as fill one vector of 32 bytes or more.
template <size_t count, class Raw>
KXCALC_INLINE auto loadOneWide([[maybe_unused]] const Raw* from) {
#if defined(__AVX2__)
  if constexpr (count == 8 && std::is_same_v<Raw, int16_t>) {
    return bitsAs<Lanes<int32_t, 32>>(_mm256_cvtepi16_epi32(bitsAs<__m128i>(load(from))));
  } else if constexpr (count == 8 && std::is_same_v<Raw, uint16_t>) {
    return bitsAs<Lanes<int32_t, 32>>(_mm256_cvtepu16_epi32(bitsAs<__m128i>(load(from))));
  } else if constexpr (count == 8 && std::is_same_v<Raw, int8_t>) {
    return bitsAs<Lanes<int32_t, 32>>(_mm256_cvtepi8_epi32(bitsAs<__m128i>(loadLow<8>(from))));
  } else if constexpr (count == 8 && std::is_same_v<Raw, uint8_t>) {
    return bitsAs<Lanes<int32_t, 32>>(_mm256_cvtepu8_epi32(bitsAs<__m128i>(loadLow<8>(from))));
  }
#endif
#if defined(__AVX512F__)
  if constexpr (count == 16 && std::is_same_v<Raw, int16_t>) {
    return bitsAs<Lanes<int32_t, 64>>(_mm512_maskz_cvtepi16_epi32(0xFFFF, bitsAs<__m256i>(load<32>(from))));
  } else if constexpr (count == 16 && std::is_same_v<Raw, uint16_t>) {
    return bitsAs<Lanes<int32_t, 64>>(_mm512_maskz_cvtepu16_epi32(0xFFFF, bitsAs<__m256i>(load<32>(from))));
  } else if constexpr (count == 16 && std::is_same_v<Raw, int8_t>) {
    return bitsAs<Lanes<int32_t, 64>>(_mm512_maskz_cvtepi8_epi32(0xFFFF, bitsAs<__m128i>(load(from))));
  } else if constexpr (count == 16 && std::is_same_v<Raw, uint8_t>) {
    return bitsAs<Lanes<int32_t, 64>>(_mm512_maskz_cvtepu8_epi32(0xFFFF, bitsAs<__m128i>(load(from))));
  }
#endif
}
}  // namespace detail

/// The same of any number of samples from four on.
template <size_t count, class Raw>
KXCALC_INLINE PackOf<int32_t, count> loadPackAsInt32(const Raw* from) {
  if constexpr (sizeof(Raw) == 4) {
    return loadPack<count>(from);
  } else if constexpr (count == 4) {
    return loadAsInt32(from);
  } else if constexpr (detail::isTwin<PackOf<int32_t, count>>) {
    return {loadPackAsInt32<count / 2>(from), loadPackAsInt32<count / 2>(from + count / 2)};
  } else {
    return detail::loadOneWide<count>(from);
  }
}

/// Two neighbouring samples as doubles (exact; a signalling NaN comes out quiet).
KXCALC_INLINE f64x2 loadAsDoubles(const double* from) {
  return load(from);
}
KXCALC_INLINE f64x2 loadAsDoubles(const float* from) {
  return widenLow(bitsAs<f32x4>(detail::loadLow<8>(from)));
}
KXCALC_INLINE f64x2 loadAsDoubles(const int32_t* from) {
  return widenLow(bitsAs<i32x4>(detail::loadLow<8>(from)));
}
KXCALC_INLINE f64x2 loadAsDoubles(const int16_t* from) {
  return widenLow(widenLow(bitsAs<i16x8>(detail::loadLow<4>(from))));
}

/// The same of any number of samples from four on, of 8 bits and without a sign too. What fills several vectors is loaded
/// for each of them: the converting instructions take what they widen from memory, but not from the upper half of a
/// register.
template <size_t count, class Raw>
KXCALC_INLINE PackOf<double, count> loadPackAsDoubles(const Raw* from) {
  constexpr bool inParts = detail::isTwin<PackOf<double, count>> && (sizeof(Raw) == 4 || count > 4);
  if constexpr (std::is_same_v<Raw, double>) {
    return loadPack<count>(from);
  } else if constexpr (count == 2) {
    return loadAsDoubles(from);
  } else if constexpr (inParts) {
    return twin(loadPackAsDoubles<count / 2>(from), loadPackAsDoubles<count / 2>(from + count / 2));
  } else if constexpr (std::is_same_v<Raw, float>) {
    return toDoubles(loadPack<count>(from));
  } else {
    return toDoubles(loadPackAsInt32<count>(from));
  }
}

/// Each lane cut towards zero to an integer. Out of the range of 32 bits, infinite or NaN: -2147483648.
template <class V>
KXCALC_INLINE SameSize<int32_t, V> truncate(V v) {
  using I = SameSize<int32_t, V>;
#if defined(__SSE4_1__)
  if constexpr (sizeof(V) == 16) {
    return bitsAs<I>(_mm_cvttps_epi32(bitsAs<__m128>(v)));
  }
#endif
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32) {
    return bitsAs<I>(_mm256_cvttps_epi32(bitsAs<__m256>(v)));
  }
#endif
#if defined(__AVX512F__)
  if constexpr (sizeof(V) == 64) {
    return bitsAs<I>(_mm512_maskz_cvttps_epi32(0xFFFF, bitsAs<__m512>(v)));
  }
#endif
#if !defined(__SSE4_1__)
  const I inRange = (v >= -2147483648.0F) & (v < 2147483648.0F);
  const V convertible = bitsAs<V>(bitsAs<I>(v) & inRange);
  return inRange ? __builtin_convertvector(convertible, I) : I{} + INT32_MIN;
#endif
}

/// The same of one double.
KXCALC_INLINE int32_t truncate(double value) {
  const bool inRange = value > -2147483649.0 && value < 2147483648.0;
  return inRange ? static_cast<int32_t>(value) : INT32_MIN;
}

/// The same of two doubles, in lanes 0 and 1; the others are 0. Whether it is one instruction, or two by themselves.
#if defined(__SSE4_1__)
inline constexpr bool truncatesTwoAtOnce = true;
KXCALC_INLINE i32x4 truncate(f64x2 v) {
  return bitsAs<i32x4>(_mm_cvttpd_epi32(bitsAs<__m128d>(v)));
}
#else
inline constexpr bool truncatesTwoAtOnce = false;
KXCALC_INLINE i32x4 truncate(f64x2 v) {
  return i32x4{truncate(v[0]), truncate(v[1]), 0, 0};
}
#endif

/// Doubles in [0, 2^31) cut to integers.
template <class X>
KXCALC_INLINE PackOf<int32_t, elementsIn<X>> truncateBelow2To31(X x) {
#if defined(__AVX512F__)
  if constexpr (std::is_same_v<X, Lanes<double, 64>>) {
    return bitsAs<Lanes<int32_t, 32>>(_mm512_maskz_cvttpd_epi32(0xFF, bitsAs<__m512d>(x)));
  }
#endif
#if defined(__AVX2__)
  if constexpr (std::is_same_v<X, Lanes<double, 32>>) {
    return bitsAs<i32x4>(_mm256_cvttpd_epi32(bitsAs<__m256d>(x)));
  }
#endif
  if constexpr (std::is_same_v<X, Twin<f64x2>>) {
#if defined(__SSE4_1__)
    return bitsAs<i32x4>(
        _mm_unpacklo_epi64(_mm_cvttpd_epi32(bitsAs<__m128d>(x.low)), _mm_cvttpd_epi32(bitsAs<__m128d>(x.high))));
#else
    return i32x4{static_cast<int32_t>(x.low[0]), static_cast<int32_t>(x.low[1]), static_cast<int32_t>(x.high[0]),
                 static_cast<int32_t>(x.high[1])};
#endif
  } else if constexpr (detail::isTwin<X>) {
    return paired(truncateBelow2To31(x.low), truncateBelow2To31(x.high));
  }
}

/// Each lane rounded to the nearest integer, halfway cases to the even one. Out of the range of 32 bits, infinite or
/// NaN: -2147483648.
template <class V>
KXCALC_INLINE SameSize<int32_t, V> roundToNearest(V v) {
  using I = SameSize<int32_t, V>;
#if defined(__SSE4_1__)
  if constexpr (sizeof(V) == 16) {
    return bitsAs<I>(_mm_cvtps_epi32(bitsAs<__m128>(v)));
  }
#endif
#if defined(__AVX2__)
  if constexpr (sizeof(V) == 32) {
    return bitsAs<I>(_mm256_cvtps_epi32(bitsAs<__m256>(v)));
  }
#endif
#if defined(__AVX512F__)
  if constexpr (sizeof(V) == 64) {
    return bitsAs<I>(_mm512_maskz_cvtps_epi32(0xFFFF, bitsAs<__m512>(v)));
  }
#endif
#if !defined(__SSE4_1__)
  // Adding 2^23 with v's sign and taking it away again leaves v rounded to an integer; from 2^23 on every single is
  // one.
  const I sign = bitsAs<I>(v) & INT32_MIN;
  const V magnitude = bitsAs<V>(bitsAs<I>(v) & INT32_MAX);
  const V unit = bitsAs<V>(sign | bitsAs<I>(V{} + 8388608.0F));
  const V rounded = (v + unit) - unit;
  return truncate(magnitude < 8388608.0F ? rounded : v);
#endif
}

}  // namespace kxcalc
