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

/// Raw samples a stride apart, converted to single: one, or four.
template <class Raw, class Stride>
KXCALC_INLINE float gatherSingles(One at, const Raw* source, Stride stride) {
  return singleOf(source[static_cast<ptrdiff_t>(at.index) * stride]);
}
template <class Raw, class Stride>
KXCALC_INLINE f32x4 gatherSingles(Pack<4> at, const Raw* source, Stride stride) {
  const Raw* from = source + static_cast<ptrdiff_t>(at.index) * stride;
  constexpr bool contiguous = std::is_same_v<Stride, Contiguous>;
  if constexpr (contiguous && std::is_same_v<Raw, float>) {
    return load(from);
  } else if constexpr (contiguous && std::is_same_v<Raw, int32_t>) {
    return __builtin_convertvector(load(from), f32x4);
  } else if constexpr (std::is_same_v<Raw, int64_t> || std::is_same_v<Raw, float>) {
    return f32x4{singleOf(from[0]), singleOf(from[stride]), singleOf(from[2 * stride]), singleOf(from[3 * stride])};
  } else if constexpr (std::is_same_v<Raw, uint32_t>) {
    // Both halves are exact, and so is the high one times 65536: the addition is the only rounding.
    const u32x4 raw{from[0], from[stride], from[2 * stride], from[3 * stride]};
    const f32x4 high = __builtin_convertvector(bitsAs<i32x4>(raw >> 16), f32x4);
    const f32x4 low = __builtin_convertvector(bitsAs<i32x4>(raw & 0xFFFFU), f32x4);
    return high * 65536.0F + low;
  } else if constexpr (contiguous && sizeof(Raw) < 4) {
    return __builtin_convertvector(loadAsInt32(from), f32x4);
  } else {
    return __builtin_convertvector(i32x4{from[0], from[stride], from[2 * stride], from[3 * stride]}, f32x4);
  }
}

/// Raw samples a stride apart, converted to double: one, or two.
template <class Raw, class Stride>
KXCALC_INLINE double gatherDoubles(One at, const Raw* source, Stride stride) {
  return doubleOf(source[static_cast<ptrdiff_t>(at.index) * stride]);
}
template <class Raw, class Stride>
KXCALC_INLINE f64x2 gatherDoubles(Pack<2> at, const Raw* source, Stride stride) {
  const Raw* from = source + static_cast<ptrdiff_t>(at.index) * stride;
  if constexpr (std::is_same_v<Stride, Contiguous> && requires { loadAsDoubles(from); }) {
    return loadAsDoubles(from);
  } else {
    return f64x2{doubleOf(from[0]), doubleOf(from[stride])};
  }
}

/// Raw doubles scaled in double, to single.
template <class Stride, class Params>
KXCALC_INLINE void scaleDoublesToSingles(const double* source, Stride stride, const Params& params, size_t head) {
  const double scale = static_cast<double>(params.scale), offset = static_cast<double>(params.offset);
  const auto scaled = [=](auto at) { return gatherDoubles(at, source, stride) * scale + offset; };
  walkElements<4>(head, static_cast<size_t>(params.count), [=](auto at) {
    if constexpr (std::is_same_v<decltype(at), One>) {
      at.store(params.output, static_cast<float>(scaled(at)));
    } else {
      at.store(params.output, toSingles(scaled(Pack<2>{at.index}), scaled(Pack<2>{at.index + 2})));
    }
  });
}

/// A function for each raw type and stride: compilers stop inlining the walks where all of them stand in one.
template <class Raw, class Stride, class Params>
void scaleValues(const Raw* source, Stride stride, const Params& params, size_t head) {
  using Value = std::remove_pointer_t<decltype(params.output)>;
  if constexpr (std::is_same_v<Value, float> && std::is_same_v<Raw, double>) {
    scaleDoublesToSingles(source, stride, params, head);
  } else {
    const Value scale = params.scale, offset = params.offset;
    walkElements<laneCount<Value>>(head, static_cast<size_t>(params.count), [=](auto at) {
      if constexpr (std::is_same_v<Value, float>) {
        at.store(params.output, gatherSingles(at, source, stride) * scale + offset);
      } else {
        at.store(params.output, gatherDoubles(at, source, stride) * scale + offset);
      }
    });
  }
}

template <class Raw, class Params>
KXCALC_INLINE void scaleRaw(const Params& params, size_t head) {
  const auto* source = static_cast<const Raw*>(params.source);
  if (params.stride == 1) {
    scaleValues(source, Contiguous(), params, head);
  } else {
    scaleValues(source, ptrdiff_t{params.stride}, params, head);
  }
}

template <class Params>
KXCALC_INLINE void getScaledValues(const Params& params, size_t head) {
  if (params.count < 1) {
    return;
  }
  switch (params.typeCode) {
    case KXCALC_UINT8:
      return scaleRaw<uint8_t>(params, head);
    case KXCALC_INT8:
      return scaleRaw<int8_t>(params, head);
    case KXCALC_INT16:
      return scaleRaw<int16_t>(params, head);
    case KXCALC_UINT16:
      return scaleRaw<uint16_t>(params, head);
    case KXCALC_INT32:
      return scaleRaw<int32_t>(params, head);
    case KXCALC_SINGLE:
      return scaleRaw<float>(params, head);
    case KXCALC_INT64:
      return scaleRaw<int64_t>(params, head);
    case KXCALC_DOUBLE:
      return scaleRaw<double>(params, head);
    case KXCALC_UINT32:
      return scaleRaw<uint32_t>(params, head);
    default:
      return;
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcChannelGetScaledValuesAtPos_float(const ChannelScaledValuesParams_float* params) {
  kxcalc::getScaledValues(*params, kxcalc::headLength(params->output));
}

extern "C" void kxcalcChannelGetScaledValuesAtPos_float_aligned_output(const ChannelScaledValuesParams_float* params) {
  kxcalc::getScaledValues(*params, 0);
}

extern "C" void kxcalcChannelGetScaledValuesAtPos_double(const ChannelScaledValuesParams_double* params) {
  kxcalc::getScaledValues(*params, kxcalc::headLength(params->output));
}

extern "C" void kxcalcChannelGetScaledValuesAtPos_double_aligned_output(
    const ChannelScaledValuesParams_double* params) {
  kxcalc::getScaledValues(*params, 0);
}
