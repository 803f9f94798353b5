// Doubles to singles and back within one buffer.
#ifndef KXCALC_TESTS_REFERENCE_INPLACE_WIDTH_CONVERSION_HPP
#define KXCALC_TESTS_REFERENCE_INPLACE_WIDTH_CONVERSION_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace reference {

template <typename From, typename To>
void convertElement(std::byte* bytes, std::size_t index) {
  From from;
  std::memcpy(&from, bytes + index * sizeof from, sizeof from);
  const To to = static_cast<To>(from);
  std::memcpy(bytes + index * sizeof to, &to, sizeof to);
}

inline void kxcalcCADoubleArrToSingleArrInplace(void* buffer, uint32_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    convertElement<double, float>(static_cast<std::byte*>(buffer), i);
  }
}

inline void kxcalcCASingleArrToDoubleArrInplace(void* buffer, uint32_t count) {
  for (std::size_t i = count; i > 0; --i) {
    convertElement<float, double>(static_cast<std::byte*>(buffer), i - 1);
  }
}

}  // namespace reference

#endif
