#include "recordings/time_stamp.hpp"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

constexpr int64_t secondsOfDay = 86400;
constexpr double nano = 1e-9;

/// A number of digits alone; nothing if it is above `most`.
std::optional<unsigned> digitsIn(std::string_view text, unsigned most) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = error == std::errc() && end == text.data() + text.size() && number <= most;
  return isNumber ? std::optional(number) : std::nullopt;
}

std::optional<int64_t> daysIn(std::string_view date, DateOrder order) {
  const auto fields = fieldsOf(date, '/');
  if (fields.size() != 3) {
    return std::nullopt;
  }
  constexpr unsigned lastYear = 9999;
  const auto first = digitsIn(fields[0], 31), second = digitsIn(fields[1], 31), year = digitsIn(fields[2], lastYear);
  if (!first || !second || !year) {
    return std::nullopt;
  }
  const unsigned day = order == DateOrder::dayFirst ? *first : *second;
  const unsigned month = order == DateOrder::dayFirst ? *second : *first;
  const unsigned century = fields[2].size() > 2 ? 0 : *year < 70 ? 2000 : 1900;
  const auto calendar =
      std::chrono::year(static_cast<int>(century + *year)) / static_cast<int>(month) / static_cast<int>(day);
  if (!calendar.ok()) {
    return std::nullopt;
  }
  return std::chrono::sys_days(calendar).time_since_epoch().count();
}

}  // namespace

std::optional<TimeStamp> timeStampIn(std::string_view date, std::string_view time, DateOrder order) {
  const auto days = daysIn(date, order);
  const auto fields = fieldsOf(time, ':');
  if (!days || fields.size() != 3) {
    return std::nullopt;
  }
  const size_t point = fields[2].find('.');
  const std::string_view fraction = point == std::string_view::npos ? "" : fields[2].substr(point + 1);
  const auto hours = digitsIn(fields[0], 23), minutes = digitsIn(fields[1], 59);
  const auto seconds = digitsIn(fields[2].substr(0, point), 60);  // 60 is a leap second
  constexpr size_t mostDecimals = 9;
  std::string decimals(fraction.substr(0, mostDecimals));
  const int count = static_cast<int>(decimals.size());
  decimals.resize(mostDecimals, '0');
  const auto nanoseconds = digitsIn(decimals, 999'999'999);
  if (!hours || !minutes || !seconds || !nanoseconds) {
    return std::nullopt;
  }
  return TimeStamp{*days * secondsOfDay + *hours * 3600 + *minutes * 60 + *seconds, *nanoseconds, count, std::nullopt};
}

std::optional<int> offsetMinutesIn(std::string_view text) {
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  const size_t mark = text.find_first_of("hH");
  const auto hours = digitsIn(text.substr(0, mark), 14);
  const auto minutes = mark == std::string_view::npos ? std::optional(0U) : digitsIn(text.substr(mark + 1), 59);
  if (!hours || !minutes) {
    return std::nullopt;
  }
  const int offset = static_cast<int>(*hours * 60 + *minutes);
  return isNegative ? -offset : offset;
}

TimeStamp TimeStamp::later(double duration) const {
  TimeStamp moment = *this;
  const double whole = std::floor(duration);
  moment.seconds += static_cast<int64_t>(whole);
  const auto sum = static_cast<int64_t>(nanoseconds) + std::llround((duration - whole) / nano);
  moment.seconds += sum / 1'000'000'000;
  moment.nanoseconds = static_cast<uint32_t>(sum % 1'000'000'000);
  return moment;
}

std::string TimeStamp::text() const {
  const int64_t day = seconds >= 0 ? seconds / secondsOfDay : -((secondsOfDay - 1 - seconds) / secondsOfDay);
  const auto time = static_cast<int>(seconds - day * secondsOfDay);
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(day))};
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), time / 3600, time / 60 % 60,
                time % 60);
  std::string text = buffer;
  if (decimals > 0) {
    std::snprintf(buffer, sizeof buffer, ".%09u", nanoseconds);
    text.append(buffer, static_cast<size_t>(decimals) + 1);
  }
  if (utcMinutes) {
    const int minutes = std::abs(*utcMinutes);
    std::snprintf(buffer, sizeof buffer, "%c%02d:%02d", *utcMinutes < 0 ? '-' : '+', minutes / 60, minutes % 60);
    text += " UTC" + (minutes == 0 ? "" : std::string(buffer));
  }
  return text;
}

double secondsBetween(const TimeStamp& from, const TimeStamp& to) {
  return static_cast<double>(to.seconds - from.seconds) +
         nano * (static_cast<double>(to.nanoseconds) - static_cast<double>(from.nanoseconds));
}

}  // namespace kxrecordings
