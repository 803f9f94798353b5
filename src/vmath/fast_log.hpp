// A quick base-10 logarithm of a single's magnitude, to about 1.2e-4 absolute: the exponent from the bits, a cubic for
// the mantissa, a division by log2 10. Nothing is rejected: 0 and denormals read as exponent -127, infinities and NaNs
// as 128.
//
// The one-element form divides in double, the packed form in single, so their last bits may differ. Neither stands in for
// the other: which form a caller takes is part of its contract, and results are compared bit for bit.
#pragma once

#include <bit>

#include "frame/conversions.hpp"

namespace kxcalc {
namespace detail {

inline constexpr float logA3 = std::bit_cast<float>(0xBDDBA835U);  // -0.107254423
inline constexpr float logA2 = std::bit_cast<float>(0x3F3030C0U);  // 0.688243866
inline constexpr float logA1 = std::bit_cast<float>(0xBFE0D411U);  // -1.75647175
inline constexpr float logA0 = std::bit_cast<float>(0x402786EEU);  // 2.61761045

/// Base-2 logarithm, of an exponent as a single and a mantissa in [1, 2): one element or lanes.
template <class V>
KXCALC_INLINE V log2Of(V exponent, V mantissa) {
  const V cubic = ((mantissa * logA3 + logA2) * mantissa + logA1) * mantissa + logA0;
  return exponent + cubic * (mantissa - 1.0F);
}

}  // namespace detail

KXCALC_INLINE float fastLog10(float x) {
  const auto bits = std::bit_cast<uint32_t>(x);
  const auto exponent = static_cast<float>(static_cast<int32_t>((bits >> 23) & 255) - 127);
  const auto mantissa = std::bit_cast<float>((bits & 0x007FFFFFU) | 0x3F800000U);
  return static_cast<float>(static_cast<double>(detail::log2Of(exponent, mantissa)) /
                            std::bit_cast<double>(0x400A934F0A294EAEU));
}

template <class V>
KXCALC_INLINE V fastLog10Packed(V x) {
  const auto bits = bitsAs<SameSize<uint32_t, V>>(x);
  const V exponent = toSingles(bitsAs<SameSize<int32_t, V>>(((bits & 0x7F800000U) >> 23) - 127));
  const V mantissa = bitsAs<V>((bits & 0x007FFFFFU) | 0x3F800000U);
  return detail::log2Of(exponent, mantissa) / std::bit_cast<float>(0x40549A78U);
}

}  // namespace kxcalc
