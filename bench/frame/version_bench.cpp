#include "kxcalc.h"
#include "support/comparison.hpp"

namespace kxcalc::bench {
namespace {

struct Version {
  uint32_t major, minor, flag;
  int32_t value;

  std::vector<Quantity> results() const { return {major, minor, flag}; }
};

const bool registered = [] {
  Comparison(
      "kxcalcGetVersion", "",
      [](size_t) {
        return Version{0, 0, 0, 10};
      },
      [](const Functions& functions, Version& w) { functions.kxcalcGetVersion(&w.major, &w.minor, w.value, &w.flag); },
      {1});
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
