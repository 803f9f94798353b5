/* A library that loads but cannot be used: of another interface version, or with the version query alone.
 * The version is looked at first: another one explains what else is missing. */
#include <stdint.h>

void kxcalcGetVersion(uint32_t* major, uint32_t* minor, int32_t value, uint32_t* flag);

void kxcalcGetVersion(uint32_t* major, uint32_t* minor, int32_t value, uint32_t* flag) {
  *major = STUB_MAJOR;
  *minor = 1;
  *flag = value > 9;
}
