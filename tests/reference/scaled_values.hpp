// Physical values of one channel's raw samples.
#ifndef KXCALC_TESTS_REFERENCE_SCALED_VALUES_HPP
#define KXCALC_TESTS_REFERENCE_SCALED_VALUES_HPP

#include <kxcalc.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace reference {

/// Product and sum are rounded to Working one after the other, and the sum once more to the output's type.
template <typename Raw, typename Working, typename Params>
void scaleSamples(const Params& params) {
  using Output = std::remove_pointer_t<decltype(params.output)>;
  const auto* source = static_cast<const Raw*>(params.source);
  for (int32_t i = 0; i < params.count; ++i) {
    const auto raw = static_cast<Working>(source[static_cast<ptrdiff_t>(i) * params.stride]);
    const Working product = raw * static_cast<Working>(params.scale);
    params.output[i] = static_cast<Output>(product + static_cast<Working>(params.offset));
  }
}

template <typename Params>
void getScaledValues(const Params& params) {
  using Output = std::remove_pointer_t<decltype(params.output)>;
  switch (params.typeCode) {
    case 0:
      return scaleSamples<uint8_t, Output>(params);
    case 1:
      return scaleSamples<int8_t, Output>(params);
    case 2:
      return scaleSamples<int16_t, Output>(params);
    case 3:
      return scaleSamples<uint16_t, Output>(params);
    case 4:
      return scaleSamples<int32_t, Output>(params);
    case 5:
      return scaleSamples<float, Output>(params);
    case 6:
      return scaleSamples<int64_t, Output>(params);
    case 7:
      return scaleSamples<double, double>(params);
    case 8:
      return scaleSamples<uint32_t, Output>(params);
    default:
      return;
  }
}

inline void kxcalcChannelGetScaledValuesAtPos_float(const ChannelScaledValuesParams_float* params) {
  getScaledValues(*params);
}

inline void kxcalcChannelGetScaledValuesAtPos_float_aligned_output(const ChannelScaledValuesParams_float* params) {
  getScaledValues(*params);
}

inline void kxcalcChannelGetScaledValuesAtPos_double(const ChannelScaledValuesParams_double* params) {
  getScaledValues(*params);
}

inline void kxcalcChannelGetScaledValuesAtPos_double_aligned_output(const ChannelScaledValuesParams_double* params) {
  getScaledValues(*params);
}

}  // namespace reference

#endif
