// The 58 functions as a table: of a library that is opened by name, of one that is linked, or of wrappers around one.
#pragma once

#include <kxcalc.h>

namespace kxverify {

struct Functions {
// NOLINTNEXTLINE(bugprone-macro-parentheses): it declares a member of that name
#define KXVERIFY_FUNCTION(name) decltype(&::name) name;
#include "functions.inc"
#undef KXVERIFY_FUNCTION
};

}  // namespace kxverify
