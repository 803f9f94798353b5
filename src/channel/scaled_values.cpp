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

/// Raw samples, those of 8 and 16 bits as integers of 32.
template <class... Raw>
KXCALC_INLINE auto lanesOf(Raw... raw) {
  using First = std::common_type_t<Raw...>;
  return Lanes<std::conditional_t<(sizeof(First) < sizeof(int32_t)), int32_t, First>>{raw...};
}

/// As many as a pack holds, a stride apart.
template <size_t width, class Raw, class Stride>
KXCALC_INLINE auto gather(Pack<width> at, const Raw* source, Stride stride) {
  if constexpr (std::is_same_v<Stride, Contiguous> && sizeof(Raw) < sizeof(int32_t)) {
    return at.loadAsInt32(source);
  } else if constexpr (std::is_same_v<Stride, Contiguous>) {
    return at.load(source);
  } else {
    const Raw* from = source + static_cast<ptrdiff_t>(at.index) * stride;
    if constexpr (width == 4 && sizeof(Raw) <= sizeof(int32_t)) {
      return lanesOf(from[0], from[stride], from[2 * stride], from[3 * stride]);
    } else if constexpr (width == 2) {
      return lanesOf(from[0], from[stride]);
    } else {
      return paired(gather(Pack<width / 2>{at.index}, source, stride),
                    gather(Pack<width / 2>{at.index + width / 2}, source, stride));
    }
  }
}

/// Raw samples a stride apart, converted to single: one, or as many as a pack holds. Singles of 64-bit integers are made one
/// by one, unless they lie side by side and vectors convert them.
template <class Raw, class Stride>
KXCALC_INLINE float gatherSingles(One at, const Raw* source, Stride stride) {
  return singleOf(source[static_cast<ptrdiff_t>(at.index) * stride]);
}
template <size_t width, class Raw, class Stride>
KXCALC_INLINE auto gatherSingles(Pack<width> at, const Raw* source, Stride stride) {
  constexpr bool oneByOne = std::is_same_v<Raw, int64_t> && !(convertsLongs && std::is_same_v<Stride, Contiguous>);
  if constexpr (!oneByOne) {
    return toSingles(gather(at, source, stride));
  } else if constexpr (width > 4) {
    return paired(gatherSingles(Pack<width / 2>{at.index}, source, stride),
                  gatherSingles(Pack<width / 2>{at.index + width / 2}, source, stride));
  } else {
    const Raw* from = source + static_cast<ptrdiff_t>(at.index) * stride;
    return lanesOf(singleOf(from[0]), singleOf(from[stride]), singleOf(from[2 * stride]), singleOf(from[3 * stride]));
  }
}

/// Raw samples a stride apart, converted to double likewise. Vectors of 16 bytes gain nothing by conversions of their own.
template <class Raw, class Stride>
KXCALC_INLINE double gatherDoubles(One at, const Raw* source, Stride stride) {
  return doubleOf(source[static_cast<ptrdiff_t>(at.index) * stride]);
}
template <size_t width, class Raw, class Stride>
KXCALC_INLINE auto gatherDoubles(Pack<width> at, const Raw* source, Stride stride) {
  constexpr bool contiguous = std::is_same_v<Stride, Contiguous>;
  constexpr bool oneByOne = std::is_same_v<Raw, int64_t> ? !convertsLongs : !contiguous && widestBytes == 16;
  if constexpr (contiguous && !std::is_same_v<Raw, uint32_t> && !std::is_same_v<Raw, int64_t>) {
    return at.loadAsDoubles(source);
  } else if constexpr (!oneByOne) {
    return toDoubles(gather(at, source, stride));
  } else if constexpr (width > 2) {
    return paired(gatherDoubles(Pack<width / 2>{at.index}, source, stride),
                  gatherDoubles(Pack<width / 2>{at.index + width / 2}, source, stride));
  } else {
    const Raw* from = source + static_cast<ptrdiff_t>(at.index) * stride;
    return lanesOf(doubleOf(from[0]), doubleOf(from[stride]));
  }
}

/// A function for each raw type and stride: compilers stop inlining the walks where all of them stand in one. The head ends
/// where `output` comes to a boundary; for an output that is promised to stand on one it is null.
template <class Raw, class Stride, class Params, class Output>
void scaleValues(const Raw* source, Stride stride, const Params& params, Output output) {
  using Value = std::remove_pointer_t<decltype(params.output)>;
  using Working = std::conditional_t<std::is_same_v<Raw, double>, double, Value>;
  const auto scale = static_cast<Working>(params.scale), offset = static_cast<Working>(params.offset);
  // What is gathered gains little by wider vectors: where 8 or 16 bits, or 32 for singles, are converted, eight pay.
  constexpr bool eightPay = widening > 1 && std::is_integral_v<Raw> && sizeof(Raw) * sizeof(Value) <= 16;
  constexpr size_t wide = std::is_same_v<Stride, Contiguous> ? 4 * widening : (eightPay ? 8 : 4);
  walkElements<4, wide>(output, static_cast<size_t>(params.count), [=](auto at) KXCALC_INLINE_LAMBDA {
    if constexpr (std::is_same_v<Working, float>) {
      at.store(params.output, gatherSingles(at, source, stride) * scale + offset);
    } else if constexpr (std::is_same_v<Value, double>) {
      at.store(params.output, gatherDoubles(at, source, stride) * scale + offset);
    } else {
      at.store(params.output, toSingles(gatherDoubles(at, source, stride) * scale + offset));
    }
  });
}

template <class Raw, class Params, class Output>
KXCALC_INLINE void scaleRaw(const Params& params, Output output) {
  const auto* source = static_cast<const Raw*>(params.source);
  if (params.stride == 1) {
    scaleValues(source, Contiguous(), params, output);
  } else {
    scaleValues(source, ptrdiff_t{params.stride}, params, output);
  }
}

template <class Params, class Output>
KXCALC_INLINE void getScaledValues(const Params& params, Output output) {
  if (params.count < 1) {
    return;
  }
  switch (params.typeCode) {
    case KXCALC_UINT8:
      return scaleRaw<uint8_t>(params, output);
    case KXCALC_INT8:
      return scaleRaw<int8_t>(params, output);
    case KXCALC_INT16:
      return scaleRaw<int16_t>(params, output);
    case KXCALC_UINT16:
      return scaleRaw<uint16_t>(params, output);
    case KXCALC_INT32:
      return scaleRaw<int32_t>(params, output);
    case KXCALC_SINGLE:
      return scaleRaw<float>(params, output);
    case KXCALC_INT64:
      return scaleRaw<int64_t>(params, output);
    case KXCALC_DOUBLE:
      return scaleRaw<double>(params, output);
    case KXCALC_UINT32:
      return scaleRaw<uint32_t>(params, output);
    default:
      return;
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcChannelGetScaledValuesAtPos_float(const ChannelScaledValuesParams_float* params) {
  kxcalc::getScaledValues(*params, params->output);
}

extern "C" void kxcalcChannelGetScaledValuesAtPos_float_aligned_output(const ChannelScaledValuesParams_float* params) {
  kxcalc::getScaledValues(*params, static_cast<const float*>(nullptr));
}

extern "C" void kxcalcChannelGetScaledValuesAtPos_double(const ChannelScaledValuesParams_double* params) {
  kxcalc::getScaledValues(*params, params->output);
}

extern "C" void kxcalcChannelGetScaledValuesAtPos_double_aligned_output(
    const ChannelScaledValuesParams_double* params) {
  kxcalc::getScaledValues(*params, static_cast<const double*>(nullptr));
}
