// Smallest and largest of a block.
#ifndef KXCALC_TESTS_REFERENCE_MIN_MAX_HPP
#define KXCALC_TESTS_REFERENCE_MIN_MAX_HPP

#include <cstdint>

#include "reference/block_walk.hpp"

namespace reference {

/// The second operand wins ties and NaNs. References, so that the bits of a NaN pass through unchanged.
template <typename Sample>
const Sample& lesser(const Sample& a, const Sample& b) {
  return a < b ? a : b;
}

template <typename Sample>
const Sample& greater(const Sample& a, const Sample& b) {
  return a > b ? a : b;
}

/// At least W samples, in W lanes: first W samples, aligned blocks, last W samples, then halves onto halves.
template <typename Sample>
void getMinMaxOfLanes(const Sample* data, uint32_t count, Sample* minimum, Sample* maximum) {
  constexpr uint32_t width = blockWidth<Sample>;
  Sample least[width];
  Sample most[width];
  for (uint32_t lane = 0; lane < width; ++lane) {
    least[lane] = data[lane];
    most[lane] = data[lane];
  }
  const auto fold = [&](const Sample* block) {
    for (uint32_t lane = 0; lane < width; ++lane) {
      least[lane] = lesser(least[lane], block[lane]);
      most[lane] = greater(most[lane], block[lane]);
    }
  };
  const uint32_t head = headLength(data);
  for (uint32_t block = 0; block < (count - head) / width; ++block) {
    fold(data + head + block * width);
  }
  fold(data + (count - width));
  for (uint32_t half = width / 2; half > 0; half /= 2) {
    for (uint32_t lane = 0; lane < half; ++lane) {
      least[lane] = lesser(least[lane], least[lane + half]);
      most[lane] = greater(most[lane], most[lane + half]);
    }
  }
  *minimum = least[0];
  *maximum = most[0];
}

template <typename Sample>
void getMinMax(const Sample* data, uint32_t count, Sample* minimum, Sample* maximum) {
  if (count >= blockWidth<Sample>) {
    getMinMaxOfLanes(data, count, minimum, maximum);
    return;
  }
  *maximum = data[0];
  *minimum = data[0];
  for (uint32_t i = 1; i < count; ++i) {
    if (data[i] < *minimum) {
      *minimum = data[i];
    }
    if (data[i] > *maximum) {
      *maximum = data[i];
    }
  }
}

inline void kxcalcGetMinMax_int32_t(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum) {
  getMinMax(data, count, minimum, maximum);
}

inline void kxcalcGetMinMax_int16_t(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum) {
  getMinMax(data, count, minimum, maximum);
}

inline void kxcalcGetMinMax_float(const float* data, uint32_t count, float* minimum, float* maximum) {
  getMinMax(data, count, minimum, maximum);
}

inline void kxcalcGetMinMax_double(const double* data, uint32_t count, double* minimum, double* maximum) {
  getMinMax(data, count, minimum, maximum);
}

}  // namespace reference

#endif
