// Conversion between 32-bit and 16-bit samples.
#ifndef KXCALC_TESTS_REFERENCE_WIDTH_CONVERSION_HPP
#define KXCALC_TESTS_REFERENCE_WIDTH_CONVERSION_HPP

#include <cstdint>

namespace reference {

/// The low 16 bits, read as two's complement.
inline void kxcalcConvertInt32ToInt16(const int32_t* source, int16_t* destination, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t low = static_cast<uint32_t>(source[i]) % 65536;
    destination[i] = static_cast<int16_t>(low < 32768 ? static_cast<int32_t>(low) : static_cast<int32_t>(low) - 65536);
  }
}

inline void kxcalcConvertInt16ToInt32(const int16_t* source, int32_t* destination, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    destination[i] = source[i];
  }
}

}  // namespace reference

#endif
