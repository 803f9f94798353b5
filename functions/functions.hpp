// The functions as a table: of a library that is opened by name, of the one that a program is linked with, or of wrappers
// around either. All that stands above the kernels calls them through it.
#pragma once

#include <kxcalc.h>

namespace kxcalc {

struct Functions {
// NOLINTNEXTLINE(bugprone-macro-parentheses): it declares a member of that name
#define KXCALC_EXPORT(family, name) decltype(&::name) name;
#include "functions/exports.inc"
#undef KXCALC_EXPORT
};

}  // namespace kxcalc
