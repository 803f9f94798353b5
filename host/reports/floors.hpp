// The floors below, whose names this program uses as its own.
#pragma once

#include "functions/functions.hpp"

namespace kxanalysis {}
namespace kxrecordings {}

namespace kxhost {

using namespace kxanalysis;    // NOLINT(google-build-using-namespace)
using namespace kxrecordings;  // NOLINT(google-build-using-namespace)
using kxcalc::Functions;

}  // namespace kxhost
