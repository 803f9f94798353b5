// The table of the library that a program is linked with.
#pragma once

#include "functions/functions.hpp"

namespace kxcalc {

inline constexpr Functions linkedFunctions{
#define KXCALC_EXPORT(family, name) &::name,
#include "functions/exports.inc"
#undef KXCALC_EXPORT
};

}  // namespace kxcalc
