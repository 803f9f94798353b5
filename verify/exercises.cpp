#include "exercises.hpp"

#include <array>

namespace kxverify {

// An export without an exercise fails the link.
#define KXVERIFY_FUNCTION(name) void name##Exercise(const Functions&, Digest&);
#include "functions.inc"
#undef KXVERIFY_FUNCTION

std::span<const Exercise> exercises() {
  static constexpr std::array all{
#define KXVERIFY_FUNCTION(name) Exercise{#name, &name##Exercise},
#include "functions.inc"
#undef KXVERIFY_FUNCTION
  };
  return all;
}

}  // namespace kxverify
