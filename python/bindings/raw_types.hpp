// The types of raw samples that channels have.
#pragma once

#include <algorithm>
#include <iterator>

#include "kxcalc.h"
#include "python/bindings/arrays.hpp"

namespace kxpython {

/// The library's code of an array's type; all other types are refused.
inline uint32_t rawTypeOf(const Buffer& buffer) {
  struct RawType {
    const char* name;
    uint32_t code;
  };
  static constexpr RawType rawTypes[] = {
      {"uint8", KXCALC_UINT8},   {"int8", KXCALC_INT8},      {"int16", KXCALC_INT16},
      {"uint16", KXCALC_UINT16}, {"int32", KXCALC_INT32},    {"float32", KXCALC_SINGLE},
      {"int64", KXCALC_INT64},   {"float64", KXCALC_DOUBLE}, {"uint32", KXCALC_UINT32}};
  const std::string type = buffer.type();
  const auto* const found = std::ranges::find_if(rawTypes, [&](const RawType& raw) { return type == raw.name; });
  if (found == std::end(rawTypes)) {
    buffer.refuseType("an integer type of 8 to 32 bits, int64, float32 or float64");
  }
  return found->code;
}

}  // namespace kxpython
