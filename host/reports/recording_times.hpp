// When a recording was taken, as far as the file tells.
#pragma once

#include <string>

#include "host/reports/json.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// A line for people: the time of the first sample, that of the trigger and how far apart they are. Empty if there is none.
std::string timesText(const kxrecordings::Format& format);

/// Adds the times to what programs read, null where there are none.
void addTimes(Json& json, const kxrecordings::Format& format);

}  // namespace kxhost
