// Version.
#include "functions/calls/describe.hpp"

namespace kxcalc::calls {

void kxcalcGetVersion(Call& call, void (*function)(uint32_t*, uint32_t*, int32_t, uint32_t*)) {
  const auto value = call.setting<int32_t>("value", {10, -5, 0, 9, INT32_MAX, INT32_MIN});
  const auto major = call.output<uint32_t>("major", 1);
  const auto minor = call.output<uint32_t>("minor", 1);
  const auto flag = call.output<uint32_t>("flag", 1);
  call.run(function, major, minor, value, flag);
}

}  // namespace kxcalc::calls
