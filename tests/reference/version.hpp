// The version query.
#ifndef KXCALC_TESTS_REFERENCE_VERSION_HPP
#define KXCALC_TESTS_REFERENCE_VERSION_HPP

#include <cstdint>

namespace reference {

inline void kxcalcGetVersion(uint32_t* major, uint32_t* minor, int32_t value, uint32_t* flag) {
  *major = 2;
  *minor = 17;
  *flag = value > 9 ? 1 : 0;
}

}  // namespace reference

#endif
