// Scaled difference and scaled sum of two vectors, each step rounded to single.
//
// The output may overlap the inputs; elements are then those of the plain loop in ascending order. Whole vectors give the
// same, except where the output starts less than the widest of them ahead of an input: there an element is an input of
// the same vector, and the loop runs element by element. (An output equal to an input, or behind it, overwrites only what
// has been read.)
#include "frame/blocks.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

template <class Rule>
KXCALC_INLINE void combineVectors(float* output, const float* first, const float* second, size_t count, Rule rule) {
  const auto step = [=](auto at) { at.store(output, rule(at.load(first), at.load(second))); };
  if (feedsOwnVector(output, first) || feedsOwnVector(output, second)) {
    for (size_t i = 0; i < count; ++i) {
      step(One{i});
    }
  } else {
    walkElements<4>(first, count, step);
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcSubtractVectorsAndMultiplyByScalar_float(float* output, const float* first, const float* second,
                                                               uint32_t count, float factor) {
  kxcalc::combineVectors(output, first, second, count, [=](auto a, auto b) { return (a - b) * factor; });
}

extern "C" void kxcalcAddVectorsAndMultiplyByScalar_float(float* output, const float* first, const float* second,
                                                          uint32_t count, float secondFactor, float sumFactor) {
  kxcalc::combineVectors(output, first, second, count,
                         [=](auto a, auto b) { return (b * secondFactor + a) * sumFactor; });
}
