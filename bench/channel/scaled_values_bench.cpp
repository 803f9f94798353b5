#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

constexpr size_t shortBlock = blockSizes[0], middleBlock = blockSizes[1], longBlock = 5'000'000;

/// Runs take it by value: it could be what a write to output changes, for all that the compiler knows.
template <class Raw, class Value>
struct Scale {
  const Raw* source;
  Value* output;
  size_t count;
  size_t stride;
  Value scale, offset;

  /// Where a value is all but cancelled by the offset, roundings are relative to the offset.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(output, count);
    for (Quantity& quantity : all) {
      quantity.scale += static_cast<double>(offset);
    }
    return all;
  }
};

/// A single of a raw double is rounded at the end.
template <class Raw, class Value>
Value scaled(Raw raw, Value scale, Value offset) {
  if constexpr (std::is_same_v<Raw, double>) {
    return static_cast<Value>(raw * static_cast<double>(scale) + static_cast<double>(offset));
  } else {
    return static_cast<Value>(raw) * scale + offset;
  }
}

template <class Raw, class Value>
void plain(Scale<Raw, Value> w) {
  if (w.stride == 1) {  // worth a loop of its own
    for (size_t i = 0; i < w.count; ++i) {
      w.output[i] = scaled(w.source[i], w.scale, w.offset);
    }
  } else {
    for (size_t i = 0; i < w.count; ++i) {
      w.output[i] = scaled(w.source[i * w.stride], w.scale, w.offset);
    }
  }
}

#if defined(KXCALC_BENCH_EIGEN)
template <class Raw, class Value>
void eigen(Scale<Raw, Value> w) {
  using Wide = decltype(Raw() * Value());
  using Working = std::conditional_t<std::is_same_v<Raw, double>, Wide, Value>;
  using Strided = Eigen::Map<const Eigen::Array<Raw, Eigen::Dynamic, 1>, 0, Eigen::InnerStride<>>;
  auto output = eigenArray(w.output, w.count);
  const auto assign = [&](const auto& source) {
    output = (source.template cast<Working>() * static_cast<Working>(w.scale) + static_cast<Working>(w.offset))
                 .template cast<Value>();
  };
  if (w.stride == 1) {
    assign(eigenArray(w.source, w.count));
  } else {
    assign(Strided(w.source, output.size(), Eigen::InnerStride<>(static_cast<Eigen::Index>(w.stride))));
  }
}
#endif

#if defined(KXCALC_BENCH_HIGHWAY)
/// Integers up to 32 bits and singles, of a channel stored alone.
template <class Raw, class Value>
void highway(Scale<Raw, Value> w) {
  const hn::ScalableTag<Value> values;
  const hn::Rebind<Raw, decltype(values)> raws;  // as many
  const hn::Rebind<int32_t, decltype(values)> integers;
  const auto converted = [&](const Raw* from) {
    const auto raw = hn::LoadU(raws, from);
    if constexpr (std::is_same_v<Raw, Value>) {
      return raw;
    } else if constexpr (std::is_same_v<Raw, float>) {
      return hn::PromoteTo(values, raw);
    } else if constexpr (sizeof(Value) == 4 && sizeof(Raw) == 4) {
      return hn::ConvertTo(values, raw);
    } else if constexpr (sizeof(Value) == 4) {
      return hn::ConvertTo(values, hn::PromoteTo(integers, raw));
    } else if constexpr (sizeof(Raw) == 4) {
      return hn::PromoteTo(values, raw);
    } else {
      return hn::PromoteTo(values, hn::PromoteTo(integers, raw));
    }
  };
  const auto scale = hn::Set(values, w.scale), offset = hn::Set(values, w.offset);
  const size_t i = forEachVector(0, w.count, hn::Lanes(values), [&](size_t at) {
    hn::StoreU(hn::Add(hn::Mul(converted(w.source + at), scale), offset), values, w.output + at);
  });
  plain<Raw, Value>({w.source + i, w.output + i, w.count - i, 1, w.scale, w.offset});
}
#endif

#if defined(KXCALC_BENCH_VOLK)
/// Integers up to 32 bits, of a channel stored alone; the offset takes a second pass.
template <class Raw>
void volk(Scale<Raw, float> w) {
  const float divisor = 1 / w.scale;
  const auto count = static_cast<unsigned>(w.count);
  if constexpr (sizeof(Raw) == 1) {
    volk_8i_s32f_convert_32f(w.output, w.source, divisor, count);
  } else if constexpr (sizeof(Raw) == 2) {
    volk_16i_s32f_convert_32f(w.output, w.source, divisor, count);
  } else {
    volk_32i_s32f_convert_32f(w.output, w.source, divisor, count);
  }
  volk_32f_s32f_add_32f(w.output, w.output, w.offset, count);
}
#endif

template <class Params, class Raw, class Value, class Export>
void compare(const char* name, const std::string& type, uint32_t typeCode, size_t stride, size_t outputOffset,
             std::vector<size_t> counts, Export kernel) {
  using Workload = Scale<Raw, Value>;
  Comparison comparison(
      name, type + (stride == 1 ? "" : "-stride-" + std::to_string(stride)),
      [=](size_t count) {
        return Workload{samples<Raw>(Signal::noise),
                        scratch<Value>(outputOffset + count) + outputOffset,
                        count,
                        stride,
                        Value(0.0625),
                        Value(0.75)};
      },
      [=](const Functions& functions, Workload& w) {
        const Params params{w.source,
                            w.output,
                            w.scale,
                            w.offset,
                            static_cast<int32_t>(w.count),
                            typeCode,
                            static_cast<int32_t>(w.stride)};
        (functions.*kernel)(&params);
      },
      std::move(counts));
  const auto streams = [](Workload& w) { return Streams{w.source, nullptr, w.output}; };
  if (stride == 1) {
    comparison.template limitedByTraffic<Traffic{.first = sizeof(Raw), .output = sizeof(Value)}>(streams);
  }

  const Contract otherwiseRounded = otherBits("the rounding of each operation", otherRoundings);
  comparison.plain(sameBits(), plain<Raw, Value>);
  comparison.reordered(otherwiseRounded, plain<Raw, Value>);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", sameBits(), eigen<Raw, Value>);
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  if constexpr (sizeof(Raw) <= 4 && !std::is_same_v<Raw, uint32_t>) {
    if (stride == 1) {
      comparison.library("Highway", sameBits(), highway<Raw, Value>);
    }
  }
#endif
#if defined(KXCALC_BENCH_VOLK)
  if constexpr (std::is_same_v<Value, float> && std::is_integral_v<Raw> && std::is_signed_v<Raw> && sizeof(Raw) <= 4) {
    if (stride == 1) {
      comparison.library("VOLK", otherwiseRounded, volk<Raw>);
    }
  }
#endif
}

template <class Raw>
void compareType(const char* type, uint32_t typeCode) {
  using Single = ChannelScaledValuesParams_float;
  using Double = ChannelScaledValuesParams_double;
  for (const size_t stride : {size_t{1}, size_t{4}}) {
    std::vector counts{shortBlock, middleBlock};
    if (stride == 1) {
      counts.push_back(longBlock);
    }
    // The output begins one element past a boundary, where the other two exports do not take it.
    compare<Single, Raw, float>("kxcalcChannelGetScaledValuesAtPos_float", type, typeCode, stride, 1, counts,
                                &Functions::kxcalcChannelGetScaledValuesAtPos_float);
    compare<Double, Raw, double>("kxcalcChannelGetScaledValuesAtPos_double", type, typeCode, stride, 1, counts,
                                 &Functions::kxcalcChannelGetScaledValuesAtPos_double);
    compare<Single, Raw, float>("kxcalcChannelGetScaledValuesAtPos_float_aligned_output", type, typeCode, stride, 0,
                                {shortBlock}, &Functions::kxcalcChannelGetScaledValuesAtPos_float_aligned_output);
    compare<Double, Raw, double>("kxcalcChannelGetScaledValuesAtPos_double_aligned_output", type, typeCode, stride, 0,
                                 {shortBlock}, &Functions::kxcalcChannelGetScaledValuesAtPos_double_aligned_output);
  }
}

const bool registered = [] {
  compareType<uint8_t>("uint8", KXCALC_UINT8);
  compareType<int8_t>("int8", KXCALC_INT8);
  compareType<int16_t>("int16", KXCALC_INT16);
  compareType<uint16_t>("uint16", KXCALC_UINT16);
  compareType<int32_t>("int32", KXCALC_INT32);
  compareType<float>("single", KXCALC_SINGLE);
  compareType<int64_t>("int64", KXCALC_INT64);
  compareType<double>("double", KXCALC_DOUBLE);
  compareType<uint32_t>("uint32", KXCALC_UINT32);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
