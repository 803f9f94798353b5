// The plain models as a table of functions: a library to compare others with.
#pragma once

#include "functions/functions.hpp"

namespace reference {

extern const kxcalc::Functions functions;

}  // namespace reference
