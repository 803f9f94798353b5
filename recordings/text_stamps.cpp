#include "recordings/text_stamps.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "recordings/channel_units.hpp"
#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

constexpr double secondsOfDay = 86400;

/// What a 1 in the last digit of a number stands for.
double lastDigitOf(std::string_view number) {
  const size_t exponentMark = number.find_first_of("eE");
  const std::string_view digits = number.substr(0, exponentMark);
  const size_t mark = digits.find_first_of(".,");
  const double decimals = mark == std::string_view::npos ? 0 : static_cast<double>(digits.size() - mark - 1);
  const auto exponent =
      exponentMark == std::string_view::npos ? std::optional(0.0) : numberIn(number.substr(exponentMark + 1));
  return std::pow(10, exponent.value_or(0) - decimals);
}

struct Zone {
  std::string_view time;
  std::optional<int> utcMinutes;
};

/// What is behind the time of day, if that is a zone.
Zone zoneOf(std::string_view time) {
  if (time.ends_with('Z')) {
    return {time.substr(0, time.size() - 1), 0};
  }
  constexpr size_t offset = 6;  // "+01:00"
  if (time.size() > offset && (time[time.size() - offset] == '+' || time[time.size() - offset] == '-')) {
    std::string hours(time.substr(time.size() - offset));
    std::replace(hours.begin(), hours.end(), ':', 'h');
    return {time.substr(0, time.size() - offset), offsetMinutesIn(hours)};
  }
  return {time, std::nullopt};
}

/// A date in the order of day, month and year, with slashes.
std::string dayFirst(std::string_view date) {
  for (const char mark : {'-', '/', '.'}) {
    const auto fields = fieldsOf(date, mark);
    if (fields.size() != 3) {
      continue;
    }
    const bool isYearFirst = fields[0].size() == 4;
    if (isYearFirst == (mark == '.')) {  // of 31/01/2024 nobody can say which is the month
      return "";
    }
    const std::string_view year = fields[isYearFirst ? 0 : 2], day = fields[isYearFirst ? 2 : 0];
    return std::string(day) + '/' + std::string(fields[1]) + '/' + std::string(year);
  }
  return "";
}

/// The number of the fewest digits, at most nine, that is near another one and between two; the other one if there is none.
double roundest(double number, double least, double most) {
  constexpr int mostDigits = 9;
  double digit = std::pow(10, std::floor(std::log10(number)));
  for (int i = 0; i < mostDigits; ++i, digit /= 10) {
    const double round =
        digit < 1 ? std::round(number / digit) / std::round(1 / digit) : std::round(number / digit) * digit;
    if (least <= round && round <= most) {
      return round;
    }
  }
  return number;
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
  return lower;
}

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c & 0x80) != 0;
}

std::optional<double> unitInSeconds(std::string_view unit) {
  struct TimeUnit {
    std::string_view name;
    double seconds;
  };
  constexpr std::array<TimeUnit, 20> units{
      {{"s", 1},        {"sec", 1},          {"secs", 1},         {"second", 1},   {"seconds", 1},
       {"sek", 1},      {"ms", 1e-3},        {"msec", 1e-3},      {"us", 1e-6},    {"usec", 1e-6},
       {"\xB5s", 1e-6}, {"\xC2\xB5s", 1e-6}, {"\xCE\xBCs", 1e-6}, {"ns", 1e-9},    {"nsec", 1e-9},
       {"min", 60},     {"minutes", 60},     {"h", 3600},         {"hours", 3600}, {"sekunden", 1}}};
  const std::string lower = lowerCase(unit);
  const auto found = std::ranges::find(units, lower, &TimeUnit::name);
  return found == units.end() ? std::nullopt : std::optional(found->seconds);
}

/// Names that mean a time; a word that goes on behind one of the first with something else than a letter is one, too.
bool isTimeName(const std::string& lower) {
  for (const std::string_view begin : {"time", "zeit", "timestamp", "zeitstempel", "uhrzeit"}) {
    if (lower.starts_with(begin) && (lower.size() == begin.size() || !isLetter(lower[begin.size()]))) {
      return true;
    }
  }
  constexpr std::array<std::string_view, 9> names{"temps",      "tiempo", "tempo",     "datetime",    "date time",
                                                  "datum zeit", "utc",    "date/time", "elapsed time"};
  return std::ranges::find(names, lower) != names.end() || unitInSeconds(lower) > 0;
}

}  // namespace

std::optional<TextStamp> stampOfNumber(std::string_view field, std::optional<char> decimalMark, double unit) {
  auto number = numberIn(field, decimalMark.value_or('.'));
  if (!number && !decimalMark) {
    number = numberIn(field, ',');
  }
  constexpr double most = 1e15;
  if (!number || !(std::abs(*number * unit) < most)) {
    return std::nullopt;
  }
  const double seconds = *number * unit, whole = std::floor(seconds);
  const bool isBareZero = *number == 0 && field.find_first_of(".,eE") == std::string_view::npos;  // tells no digits
  const double lastDigit = isBareZero ? std::numeric_limits<double>::infinity() : lastDigitOf(field) * unit;
  const double resolution = std::max(lastDigit, std::abs(seconds) * 2 * std::numeric_limits<double>::epsilon());
  constexpr size_t mark = 1, fixedDigits = 3;  // "-1.000e-03": fewer may have lost zeros at the end
  const size_t exponent = field.find_first_of("eE"), point = field.find_first_of(".,");
  const bool hasExponent =
      exponent != std::string_view::npos && point < exponent && exponent - point - mark >= fixedDigits;
  return TextStamp{static_cast<int64_t>(whole), seconds - whole, resolution, hasExponent};
}

std::optional<TextStamp> stampOfText(std::string_view field) {
  const size_t border = field.find_first_of(" T");
  const bool hasDate = border != std::string_view::npos;
  const auto [clock, utcMinutes] = zoneOf(trimmed(hasDate ? field.substr(border + 1) : field));
  std::string time(clock);
  std::replace(time.begin(), time.end(), ',', '.');
  auto moment = timeStampIn(hasDate ? dayFirst(field.substr(0, border)) : "1/1/1970", time, DateOrder::dayFirst);
  if (!moment) {
    return std::nullopt;
  }
  moment->utcMinutes = utcMinutes;
  constexpr double nano = 1e-9;
  TextStamp stamp{moment->seconds, moment->nanoseconds * nano, std::pow(10, -moment->decimals), false, !hasDate};
  if (hasDate) {
    stamp.moment = *moment;
  }
  return stamp;
}

std::optional<double> timeUnitOf(const TextColumn& column, bool isFirst) {
  const NameAndUnit split = splitUnit(column.name);
  std::string name = lowerCase(split.name);
  std::string_view unit = column.unit.empty() ? split.unit : std::string_view(column.unit);
  if (unit.empty()) {
    const size_t mark = name.rfind('_');  // as "time_ms"
    if (const auto seconds = mark == std::string::npos ? std::nullopt : unitInSeconds(name.substr(mark + 1))) {
      return isTimeName(name.substr(0, mark)) || (isFirst && name.substr(0, mark) == "t") ? seconds : std::nullopt;
    }
  }
  const auto seconds = unitInSeconds(unit);
  if (isFirst && (seconds || (unit.empty() && split.name == "t"))) {
    return seconds.value_or(1);
  }
  if (!isTimeName(name) && !isTimeName(lowerCase(column.name))) {
    return std::nullopt;
  }
  return unit.empty() ? unitInSeconds(name).value_or(1) : seconds;
}

void TextStampRate::Steps::add(double elapsed, double steps, double off) {
  least = std::max(least, (elapsed - off) / steps);
  most = std::min(most, (elapsed + off) / steps);
}

void TextStampRate::add(const std::optional<TextStamp>& stamp) {
  if (!stamp) {
    isLacking_ = true;
    return;
  }
  if (!stamp->hasExponent) {
    finest_ = std::min(finest_, stamp->resolution);
  }
  if (count_++ == 0) {
    first_ = *stamp;
    return;
  }
  double elapsed = static_cast<double>(stamp->seconds - first_.seconds) + (stamp->fraction - first_.fraction);
  if (stamp->isTimeOfDay) {
    elapsed += secondsOfDay * std::round((last_ - elapsed) / secondsOfDay);
  }
  last_ = elapsed;
  const auto steps = static_cast<double>(count_ - 1);
  if (step_ == 0 && elapsed > 0) {
    step_ = elapsed / steps;
  }
  // Where stamps tell the samples apart, rounding is not to hide that one is missing.
  constexpr double noise = 1e-9, scatter = 0.1, mostRounded = 0.3;
  const double off = std::max({roundedOff(first_), roundedOff(*stamp), noise * elapsed});
  if (off == 0) {
    return;  // zeros that tell no digits
  }
  rounded_.add(elapsed, steps, off > step_ ? off : std::min(off, mostRounded * step_));
  scattered_.add(elapsed, steps, scatter * step_);
}

std::optional<double> TextStampRate::rate() const {
  if (!areEven() || count_ < 2 || !(last_ > 0)) {
    return std::nullopt;
  }
  const double mean = last_ / static_cast<double>(count_ - 1);
  if (rounded_.areThere()) {
    const double step = std::clamp(mean, rounded_.least, rounded_.most);
    return step < 1 ? roundest(1 / step, 1 / rounded_.most, 1 / rounded_.least)
                    : 1 / roundest(step, rounded_.least, rounded_.most);
  }
  // A clock that is no more off than quartzes are means the rate of three digits.
  constexpr double quartz = 1e-4, digits = 100;
  const double digit = std::pow(10, std::floor(-std::log10(mean))) / digits;
  const double nominal = std::round(1 / mean / digit) * digit;
  return std::abs(nominal * mean - 1) <= quartz ? nominal : 1 / mean;
}

}  // namespace kxrecordings
