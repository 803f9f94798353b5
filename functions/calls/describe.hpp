// What the files of descriptions define: for each export a function of its name, which is handed the call and the export. One that is
// missing, or takes an export of another signature, fails the link.
#pragma once

#include "functions/calls/call.hpp"

namespace kxcalc::calls {

#define KXCALC_EXPORT(family, name) void name(Call& call, decltype(&::name) function);
#include "functions/exports.inc"
#undef KXCALC_EXPORT

}  // namespace kxcalc::calls
