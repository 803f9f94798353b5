// When a recording was taken, as far as the file tells.
#pragma once

#include <optional>
#include <string>

#include "host/reports/json.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// A line for people: the time of the first sample, that of the trigger and how far apart they are. Empty if there is none.
std::string timesText(const kxrecordings::Format& format);

/// Adds the times to what programs read, null where there are none.
void addTimes(Json& json, const kxrecordings::Format& format);

/// Time of day of a recording's first sample in s, by the recorder's clock; 0 where the file does not tell.
double clockOf(const kxrecordings::Format& format);

/// The number of the day in which a recording's second lies, that of the first sample being 0, and the second with which it
/// begins: midnight on the recorder's clock, of day 0 the first sample.
int numberOfDay(const kxrecordings::Format& format, double seconds);
double beginOfDay(const kxrecordings::Format& format, int number);

/// The moment some seconds after the first sample, for people and for programs; nothing, or null, where the file does not
/// tell when that was taken.
std::optional<std::string> momentText(const kxrecordings::Format& format, double seconds);
Json jsonMoment(const kxrecordings::Format& format, double seconds);

}  // namespace kxhost
