// Exercises: each runs one export on its fixed input sets and adds all that it delivers to a digest.
#pragma once

#include <span>

#include "digest.hpp"
#include "functions/functions.hpp"

namespace kxverify {

using kxcalc::Functions;

struct Exercise {
  const char* name;  // of the export
  void (*run)(const Functions& functions, Digest& digest);
};

/// One for each export, in the header's order.
std::span<const Exercise> exercises();

/// The hash of what an exercise's export delivers.
inline std::string hashOf(const Exercise& exercise, const Functions& functions) {
  Digest digest;
  exercise.run(functions, digest);
  return digest.hexadecimal();
}

}  // namespace kxverify
