// Moments of recordings, as exactly as files tell them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kxrecordings {

/// A date and a time of day on the recorder's clock.
struct TimeStamp {
  int64_t seconds = 0;            ///< since the beginning of 1970 on that clock
  uint32_t nanoseconds = 0;       ///< below 10^9
  int decimals = 6;               ///< of the second that the file tells, 0 to 9
  std::optional<int> utcMinutes;  ///< that the clock is ahead of UTC; none where the file does not tell

  /// The moment some seconds later, to the nanosecond.
  TimeStamp later(double seconds) const;

  /// As "2024-01-31 23:59:59.000000", with "UTC" or "UTC-05:30" behind it where that is known.
  std::string text() const;
};

/// Seconds from one moment to another.
double secondsBetween(const TimeStamp& from, const TimeStamp& to);

enum class DateOrder { dayFirst, monthFirst };

/// The moment of a date of two numbers in this order and a year ("31/01/2024", "01/31/24") and a time ("23:59:59.5");
/// nothing if they are none. Years of two digits are those from 1970 to 2069.
std::optional<TimeStamp> timeStampIn(std::string_view date, std::string_view time, DateOrder order);

/// Minutes of an offset as "-5h30", "+4", "0"; nothing if it is none.
std::optional<int> offsetMinutesIn(std::string_view text);

}  // namespace kxrecordings
