// What an analysis says of settings that are of no use to it. Nothing here throws: what can be set wrongly is made by
// create(), which returns the object, or one sentence that begins with the setting's name.
#pragma once

#include <string_view>

#include "functions/result.hpp"

namespace kxanalysis {

using kxcalc::Done;
using kxcalc::Problem;
using kxcalc::Result;

/// "<setting> is <value>: <what is needed>".
Problem unsuitable(std::string_view setting, double value, std::string_view needed);

}  // namespace kxanalysis
