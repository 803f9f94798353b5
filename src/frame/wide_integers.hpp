// Conversions between integers of 64 bits and floating point, each rounded once. A 32-bit x86 processor has instructions
// for them on the x87 stack only; there they are made of conversions of 32 bits, which give the same bits.
#pragma once

#include <type_traits>

#include "frame/lanes.hpp"

namespace kxcalc {
namespace halves {

constexpr double twoTo31 = 2147483648.0, twoTo32 = 4294967296.0;

/// Exact.
KXCALC_INLINE double toDouble(uint32_t value) {
  return static_cast<double>(static_cast<int32_t>(value ^ 0x80000000U)) + twoTo31;
}

/// Both halves are exact, and so is the upper one times 2^32: the sum is the only rounding.
KXCALC_INLINE double toDouble(int64_t value) {
  return static_cast<double>(static_cast<int32_t>(value >> 32)) * twoTo32 + toDouble(static_cast<uint32_t>(value));
}
KXCALC_INLINE double toDouble(uint64_t value) {
  return toDouble(static_cast<uint32_t>(value >> 32)) * twoTo32 + toDouble(static_cast<uint32_t>(value));
}

/// What a double holds exactly is rounded from there. Of larger numbers the last 11 bits only count as "something is
/// left" (rounding to odd): 53 bits remain, more than twice those of a single.
template <class Integer>
KXCALC_INLINE float toSingle(Integer value) {
  constexpr Integer exact = Integer{1} << 53;
  const bool isExact = value <= exact && (std::is_unsigned_v<Integer> || value >= Integer{0} - exact);
  if (isExact) {
    return static_cast<float>(toDouble(value));
  }
  constexpr Integer rest = 0x7FF;
  const Integer top = (value >> 11) | static_cast<Integer>((value & rest) != 0);
  return static_cast<float>(toDouble(top)) * 2048.0F;
}

/// The low 32 bits of a number in [0, 2^64), cut to an integer.
KXCALC_INLINE uint32_t lowWord(double value) {
  const auto cut = [](double below2To32) {  // cvttsd2si of one half of the range
    return below2To32 < twoTo31 ? static_cast<uint32_t>(static_cast<int32_t>(below2To32))
                                : static_cast<uint32_t>(static_cast<int32_t>(below2To32 - twoTo31)) + 0x80000000U;
  };
  const uint32_t high = value < twoTo32 ? 0 : cut(value / twoTo32);
  return cut(value - toDouble(high) * twoTo32);
}

}  // namespace halves

inline constexpr bool has64BitRegisters = sizeof(void*) >= 8;

KXCALC_INLINE double toDouble(int64_t value) {
  return has64BitRegisters ? static_cast<double>(value) : halves::toDouble(value);
}
KXCALC_INLINE double toDouble(uint64_t value) {
  return has64BitRegisters ? static_cast<double>(value) : halves::toDouble(value);
}
KXCALC_INLINE float toSingle(int64_t value) {
  return has64BitRegisters ? static_cast<float>(value) : halves::toSingle(value);
}
KXCALC_INLINE float toSingle(uint64_t value) {
  return has64BitRegisters ? static_cast<float>(value) : halves::toSingle(value);
}
KXCALC_INLINE uint32_t lowWord(double value) {
  return has64BitRegisters ? static_cast<uint32_t>(static_cast<uint64_t>(value)) : halves::lowWord(value);
}

}  // namespace kxcalc
