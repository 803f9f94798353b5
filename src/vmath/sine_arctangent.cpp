// Sine and arctangent of a block of singles.
//
// From 4 elements on, each is the packed function of itself; what is left after whole vectors is the end of one more
// vector that overlaps them. Up to 3 elements both kernels, the arctangent too, give the platform's sine in double,
// rounded to single: a block too short for a vector has this one rule in both.
#include <cmath>

#include "kxcalc.h"
#include "vmath/transcendentals.hpp"

namespace kxcalc {
namespace {

template <class Function>
KXCALC_INLINE void mapBlock(const float* input, float* output, size_t count, Function function) {
  if (count < 4) {
    for (size_t i = 0; i < count; ++i) {
      output[i] = static_cast<float>(std::sin(static_cast<double>(input[i])));
    }
    return;
  }
  for (size_t i = 0; i + 4 <= count; i += 4) {
    store(output + i, function(load(input + i)));
  }
  store(output + count - 4, function(load(input + count - 4)));
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcSin_float(const float* input, float* output, uint32_t count) {
  kxcalc::mapBlock(input, output, count, kxcalc::packedSin);
}

extern "C" void kxcalcATan_float(const float* input, float* output, uint32_t count) {
  kxcalc::mapBlock(input, output, count, kxcalc::packedATan);
}
