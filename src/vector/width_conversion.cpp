// Sample width conversion: narrowing keeps the low 16 bits of each value, widening extends the sign. The head is taken
// on the 32-bit side, whose accesses are twice as many.
#include "frame/blocks.hpp"
#include "kxcalc.h"

extern "C" void kxcalcConvertInt32ToInt16(const int32_t* source, int16_t* destination, uint32_t count) {
  kxcalc::walkElements<8>(source, count, [=](auto at) { at.store(destination, kxcalc::narrow(at.load(source))); });
}

extern "C" void kxcalcConvertInt16ToInt32(const int16_t* source, int32_t* destination, uint32_t count) {
  kxcalc::walkElements<8>(destination, count, [=](auto at) { at.store(destination, at.loadAsInt32(source)); });
}
