#include "host/reports/recording_times.hpp"

#include <fmt/format.h>

#include <cmath>

#include "host/reports/floors.hpp"

namespace kxhost {

std::string timesText(const Format& format) {
  const auto& [start, trigger] = std::pair(format.start, format.trigger);
  if (!start) {
    return trigger ? "trigger " + trigger->text() : "";
  }
  std::string text = "first sample " + start->text();
  if (trigger) {
    const double seconds = secondsBetween(*start, *trigger);
    text +=
        fmt::format(", trigger {}, {:.9g} s {}", trigger->text(), std::abs(seconds), seconds < 0 ? "earlier" : "later");
  }
  return text;
}

void addTimes(Json& json, const Format& format) {
  const auto textOf = [](const std::optional<TimeStamp>& time) { return time ? Json(time->text()) : Json(); };
  json["first_sample_time"] = textOf(format.start);
  json["trigger_time"] = textOf(format.trigger);
}

}  // namespace kxhost
