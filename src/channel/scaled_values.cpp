// Physical values of a run of one channel's raw samples: raw * scale + offset, both steps rounded, in single or double.
// One algorithm for nine raw types, two precisions, any stride.
//
// The working value is the raw value rounded once to the output's precision (exactly it, where that holds it). Raw
// doubles in the single-precision members are the exception: they are scaled in double, with scale and offset widened,
// and rounded to single at the end.
#include "frame/blocks.hpp"
#include "frame/wide_integers.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

/// The stride of a channel stored alone, known when the loop is compiled.
using Contiguous = std::integral_constant<ptrdiff_t, 1>;

/// A raw sample rounded once.
template <class Raw>
KXCALC_INLINE float singleOf(Raw raw) {
  if constexpr (std::is_same_v<Raw, int64_t>) {
    return toSingle(raw);
  } else if constexpr (std::is_same_v<Raw, uint32_t>) {
    return toSingle(uint64_t{raw});
  } else {
    return static_cast<float>(raw);
  }
}
template <class Raw>
KXCALC_INLINE double doubleOf(Raw raw) {
  if constexpr (std::is_same_v<Raw, int64_t>) {
    return toDouble(raw);
  } else if constexpr (std::is_same_v<Raw, uint32_t>) {
    return toDouble(uint64_t{raw});
  } else {
    return static_cast<double>(raw);
  }
}

/// Both halves are exact, and so is the high one times 65536: the addition is the only rounding.
template <class V>
KXCALC_INLINE SameSize<float, V> singlesOf(V raw) {
  const auto high = bitsAs<SameSize<int32_t, V>>(raw >> 16), low = bitsAs<SameSize<int32_t, V>>(raw & 0xFFFFU);
  return toSingles(high) * 65536.0F + toSingles(low);
}

/// Four raw samples, one after the other.
template <class Raw>
KXCALC_INLINE auto singlesOf(Raw a, Raw b, Raw c, Raw d) {
  if constexpr (sizeof(Raw) <= sizeof(int32_t) && std::is_integral_v<Raw> && !std::is_same_v<Raw, uint32_t>) {
    return __builtin_convertvector(i32x4{a, b, c, d}, f32x4);
  } else if constexpr (std::is_same_v<Raw, uint32_t>) {
    return singlesOf(u32x4{a, b, c, d});
  } else {
    return f32x4{singleOf(a), singleOf(b), singleOf(c), singleOf(d)};
  }
}

/// Raw samples a stride apart, converted to single: one, or as many as a vector holds.
template <class Raw, class Stride>
KXCALC_INLINE float gatherSingles(One at, const Raw* source, Stride stride) {
  return singleOf(source[static_cast<ptrdiff_t>(at.index) * stride]);
}
template <size_t width, class Raw, class Stride>
KXCALC_INLINE auto gatherSingles(Pack<width> at, const Raw* source, Stride stride) {
  constexpr bool contiguous = std::is_same_v<Stride, Contiguous>;
  if constexpr (contiguous && std::is_same_v<Raw, float>) {
    return at.load(source);
  } else if constexpr (contiguous && std::is_same_v<Raw, uint32_t>) {
    return singlesOf(at.load(source));
  } else if constexpr (contiguous && sizeof(Raw) <= sizeof(int32_t)) {
    return toSingles(at.loadAsInt32(source));
  } else if constexpr (width > 4) {
    return paired(gatherSingles(Pack<width / 2>{at.index}, source, stride),
                  gatherSingles(Pack<width / 2>{at.index + width / 2}, source, stride));
  } else {
    const Raw* from = source + static_cast<ptrdiff_t>(at.index) * stride;
    return singlesOf(from[0], from[stride], from[2 * stride], from[3 * stride]);
  }
}

/// Raw samples a stride apart, converted to double likewise.
template <class Raw, class Stride>
KXCALC_INLINE double gatherDoubles(One at, const Raw* source, Stride stride) {
  return doubleOf(source[static_cast<ptrdiff_t>(at.index) * stride]);
}
template <size_t width, class Raw, class Stride>
KXCALC_INLINE auto gatherDoubles(Pack<width> at, const Raw* source, Stride stride) {
  constexpr bool contiguous = std::is_same_v<Stride, Contiguous>;
  if constexpr (contiguous && std::is_same_v<Raw, uint32_t>) {
    const auto raw = at.load(source);  // exact less 2^31, and so is the sum
    return toDoubles(bitsAs<PackOf<int32_t, width>>(raw ^ 0x80000000U)) + 2147483648.0;
  } else if constexpr (contiguous && !std::is_same_v<Raw, int64_t>) {
    return at.loadAsDoubles(source);
  } else if constexpr (width > 2) {
    return paired(gatherDoubles(Pack<width / 2>{at.index}, source, stride),
                  gatherDoubles(Pack<width / 2>{at.index + width / 2}, source, stride));
  } else {
    const Raw* from = source + static_cast<ptrdiff_t>(at.index) * stride;
    return f64x2{doubleOf(from[0]), doubleOf(from[stride])};
  }
}

/// A function for each raw type and stride: compilers stop inlining the walks where all of them stand in one.
template <class Raw, class Stride, class Params>
void scaleValues(const Raw* source, Stride stride, const Params& params) {
  using Value = std::remove_pointer_t<decltype(params.output)>;
  using Working = std::conditional_t<std::is_same_v<Raw, double>, double, Value>;
  const auto scale = static_cast<Working>(params.scale), offset = static_cast<Working>(params.offset);
  constexpr size_t wide = std::is_same_v<Stride, Contiguous> ? 4 * widening : 4;
  walkElements<4, wide>(params.output, static_cast<size_t>(params.count), [=](auto at) KXCALC_INLINE_LAMBDA {
    if constexpr (std::is_same_v<Working, float>) {
      at.store(params.output, gatherSingles(at, source, stride) * scale + offset);
    } else if constexpr (std::is_same_v<Value, double>) {
      at.store(params.output, gatherDoubles(at, source, stride) * scale + offset);
    } else {
      at.store(params.output, toSingles(gatherDoubles(at, source, stride) * scale + offset));
    }
  });
}

template <class Raw, class Params>
KXCALC_INLINE void scaleRaw(const Params& params) {
  const auto* source = static_cast<const Raw*>(params.source);
  if (params.stride == 1) {
    scaleValues(source, Contiguous(), params);
  } else {
    scaleValues(source, ptrdiff_t{params.stride}, params);
  }
}

template <class Params>
KXCALC_INLINE void getScaledValues(const Params& params) {
  if (params.count < 1) {
    return;
  }
  switch (params.typeCode) {
    case KXCALC_UINT8:
      return scaleRaw<uint8_t>(params);
    case KXCALC_INT8:
      return scaleRaw<int8_t>(params);
    case KXCALC_INT16:
      return scaleRaw<int16_t>(params);
    case KXCALC_UINT16:
      return scaleRaw<uint16_t>(params);
    case KXCALC_INT32:
      return scaleRaw<int32_t>(params);
    case KXCALC_SINGLE:
      return scaleRaw<float>(params);
    case KXCALC_INT64:
      return scaleRaw<int64_t>(params);
    case KXCALC_DOUBLE:
      return scaleRaw<double>(params);
    case KXCALC_UINT32:
      return scaleRaw<uint32_t>(params);
    default:
      return;
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcChannelGetScaledValuesAtPos_float(const ChannelScaledValuesParams_float* params) {
  kxcalc::getScaledValues(*params);
}

extern "C" void kxcalcChannelGetScaledValuesAtPos_float_aligned_output(const ChannelScaledValuesParams_float* params) {
  kxcalc::getScaledValues(*params);
}

extern "C" void kxcalcChannelGetScaledValuesAtPos_double(const ChannelScaledValuesParams_double* params) {
  kxcalc::getScaledValues(*params);
}

extern "C" void kxcalcChannelGetScaledValuesAtPos_double_aligned_output(
    const ChannelScaledValuesParams_double* params) {
  kxcalc::getScaledValues(*params);
}
