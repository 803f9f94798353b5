#include "exercises.hpp"

#include <array>

namespace kxverify {

// An export without an exercise fails the link.
#define KXCALC_EXPORT(family, name) void name##Exercise(const Functions&, Digest&);
#include "functions/exports.inc"
#undef KXCALC_EXPORT

std::span<const Exercise> exercises() {
  static constexpr std::array all{
#define KXCALC_EXPORT(family, name) Exercise{#name, &name##Exercise},
#include "functions/exports.inc"
#undef KXCALC_EXPORT
  };
  return all;
}

}  // namespace kxverify
