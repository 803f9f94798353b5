// Sample width conversion: narrowing keeps the low 16 bits of each value, widening extends the sign. The head is taken
// on the 32-bit side, whose accesses are twice as many.
#include "frame/blocks.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

using Twin32 = Pack<8>::Twin<int32_t>;

KXCALC_INLINE int16_t narrowed(int32_t value) {
  return static_cast<int16_t>(value);
}
KXCALC_INLINE i16x8 narrowed(Twin32 values) {
  return narrow(values.low, values.high);
}

KXCALC_INLINE int32_t widened(int16_t value) {
  return value;
}
KXCALC_INLINE Twin32 widened(i16x8 values) {
  return {widenLow(values), widenHigh(values)};
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcConvertInt32ToInt16(const int32_t* source, int16_t* destination, uint32_t count) {
  kxcalc::walkElements<8>(kxcalc::headLength(source), count,
                          [=](auto at) { at.store(destination, kxcalc::narrowed(at.load(source))); });
}

extern "C" void kxcalcConvertInt16ToInt32(const int16_t* source, int32_t* destination, uint32_t count) {
  kxcalc::walkElements<8>(kxcalc::headLength(destination), count,
                          [=](auto at) { at.store(destination, kxcalc::widened(at.load(source))); });
}
