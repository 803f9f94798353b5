// The version query: interface 2.17.
#include "kxcalc.h"

extern "C" void kxcalcGetVersion(uint32_t* major, uint32_t* minor, int32_t value, uint32_t* flag) {
  *major = 2;
  *minor = 17;
  *flag = value > 9 ? 1 : 0;  // The fixed limit is part of the interface, whatever the version.
}
