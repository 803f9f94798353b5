// Physical values of one channel out of interleaved raw samples: the scaling kernels do both at once.
#pragma once

#include <cstdint>
#include <span>
#include <type_traits>

#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// The kernels' code for raw samples of type T.
template <class T>
constexpr uint32_t sampleTypeCode = std::is_same_v<T, int16_t>   ? KXCALC_INT16
                                    : std::is_same_v<T, int32_t> ? KXCALC_INT32
                                    : std::is_same_v<T, float>   ? KXCALC_SINGLE
                                                                 : KXCALC_DOUBLE;

/// From a raw sample to a physical value: raw * scale + offset.
struct Scaling {
  double scale = 1;
  double offset = 0;
};

/// Fills `values` with the values of one channel's consecutive samples, as doubles or as singles.
/// @param first     the channel's sample in the first frame.
/// @param channels  number of channels.
template <class T>
void channelValues(const Functions& functions, const T* first, size_t channels, Scaling scaling,
                   std::span<double> values) {
  const ChannelScaledValuesParams_double params{first,
                                                values.data(),
                                                scaling.scale,
                                                scaling.offset,
                                                static_cast<int32_t>(values.size()),
                                                sampleTypeCode<T>,
                                                static_cast<int32_t>(channels)};
  functions.kxcalcChannelGetScaledValuesAtPos_double(&params);
}

template <class T>
void channelValues(const Functions& functions, const T* first, size_t channels, Scaling scaling,
                   std::span<float> values) {
  const ChannelScaledValuesParams_float params{first,
                                               values.data(),
                                               static_cast<float>(scaling.scale),
                                               static_cast<float>(scaling.offset),
                                               static_cast<int32_t>(values.size()),
                                               sampleTypeCode<T>,
                                               static_cast<int32_t>(channels)};
  functions.kxcalcChannelGetScaledValuesAtPos_float(&params);
}

}  // namespace kxanalysis
