// Sine and arctangent of a block.
#ifndef KXCALC_TESTS_REFERENCE_SINE_ARCTANGENT_HPP
#define KXCALC_TESTS_REFERENCE_SINE_ARCTANGENT_HPP

#include <cstdint>

#include "reference/correctly_rounded.hpp"
#include "reference/transcendentals.hpp"

namespace reference {

/// Up to 3 elements: the sine in double, whatever the four-lane function is.
template <typename Lane>
void mapElements(const float* input, float* output, uint32_t count, Lane lane) {
  for (uint32_t i = 0; i < count; ++i) {
    output[i] = count < 4 ? static_cast<float>(correctSine(input[i])) : lane(input[i]);
  }
}

inline void kxcalcSin_float(const float* input, float* output, uint32_t count) {
  mapElements(input, output, count, packedSin);
}

inline void kxcalcATan_float(const float* input, float* output, uint32_t count) {
  mapElements(input, output, count, packedATan);
}

}  // namespace reference

#endif
