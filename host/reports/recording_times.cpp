#include "host/reports/recording_times.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "host/reports/floors.hpp"

namespace kxhost {
namespace {

constexpr double secondsOfDay = 86400;

}  // namespace

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

double clockOf(const Format& format) {
  constexpr auto day = static_cast<int64_t>(secondsOfDay);
  constexpr double nano = 1e-9;
  if (!format.start) {
    return 0;
  }
  const int64_t seconds = (format.start->seconds % day + day) % day;  // a date before 1970 counts backwards
  return static_cast<double>(seconds) + format.start->nanoseconds * nano;
}

int numberOfDay(const Format& format, double seconds) {
  return static_cast<int>(std::floor((clockOf(format) + seconds) / secondsOfDay));
}

double beginOfDay(const Format& format, int number) {
  return std::max(0.0, number * secondsOfDay - clockOf(format));
}

std::optional<std::string> momentText(const Format& format, double seconds) {
  return format.start ? std::optional(format.start->later(seconds).text()) : std::nullopt;
}

Json jsonMoment(const Format& format, double seconds) {
  const auto text = momentText(format, seconds);
  return text ? Json(*text) : Json();
}

}  // namespace kxhost
