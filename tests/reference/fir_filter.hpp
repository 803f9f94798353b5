// One output of a filter whose delay line is a ring.
#ifndef KXCALC_TESTS_REFERENCE_FIR_FILTER_HPP
#define KXCALC_TESTS_REFERENCE_FIR_FILTER_HPP

#include <cstdint>

namespace reference {

inline float kxcalcFIRFilter_float(const float* ring, const float* coefficients, uint32_t length, uint32_t position) {
  float lanes[4] = {0, 0, 0, 0};
  float rest = 0;
  // From the position to the end of the ring.
  const uint32_t inFirst = length - position;
  for (uint32_t k = 0; k < inFirst; ++k) {
    const float product = ring[position + k] * coefficients[k];
    float& sum = k < inFirst / 4 * 4 ? lanes[k % 4] : rest;
    sum = sum + product;
  }
  // From the start of the ring to the position. Up to 3 products are no block; else blocks begin at the coefficients'
  // next 16-byte boundary.
  const uint32_t head = position <= 3 ? position : (4 - inFirst % 4) % 4;
  const uint32_t blocksEnd = position - (position - head) % 4;
  for (uint32_t i = 0; i < position; ++i) {
    const float product = ring[i] * coefficients[inFirst + i];
    float& sum = i >= head && i < blocksEnd ? lanes[(i - head) % 4] : rest;
    sum = sum + product;
  }
  return ((lanes[0] + lanes[1]) + (lanes[2] + lanes[3])) + rest;
}

}  // namespace reference

#endif
