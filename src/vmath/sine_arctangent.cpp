// Sine and arctangent of a block of singles.
//
// From 4 elements on, each is the packed function of itself; what is left after whole vectors is the end of one more
// vector that overlaps them. Up to 3 elements both kernels, the arctangent too, give the sine, correctly rounded to double
// and then to single: a block too short for a vector has this one rule in both.
#include "frame/blocks.hpp"
#include "kxcalc.h"
#include "vmath/sine_cosine.hpp"
#include "vmath/transcendentals.hpp"

namespace kxcalc {
namespace {

template <class Function>
KXCALC_INLINE void mapBlock(const float* input, float* output, size_t count, Function function) {
  if (count < 4) {
    for (size_t i = 0; i < count; ++i) {
      output[i] = sineInSingle(input[i]);
    }
    return;
  }
  const auto mapPack = [=](auto at) KXCALC_INLINE_LAMBDA { at.store(output, function(at.load(input))); };
  walkBlocks<4>(count, mapPack, input, output);
  mapPack(Pack<4>{count - 4});
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcSin_float(const float* input, float* output, uint32_t count) {
  kxcalc::mapBlock(input, output, count, [](auto x) KXCALC_INLINE_LAMBDA { return kxcalc::packedSin(x); });
}

extern "C" void kxcalcATan_float(const float* input, float* output, uint32_t count) {
  kxcalc::mapBlock(input, output, count, [](auto x) KXCALC_INLINE_LAMBDA { return kxcalc::packedATan(x); });
}
