// Times that a text file has for its samples.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

#include "recordings/text_dialect.hpp"
#include "recordings/time_stamp.hpp"

namespace kxrecordings {

/// A time as exactly as a field tells it.
struct TextStamp {
  int64_t seconds;           ///< whole ones
  double fraction;           ///< of a second
  double resolution;         ///< in seconds, of the last digit; infinite where a 0 tells none
  bool hasExponent = false;  ///< and as many digits always, the last of which is another one in larger numbers
  bool isTimeOfDay = false;  ///< begins anew at midnight
  std::optional<TimeStamp> moment = {};  ///< of a stamp with a date
};

/// Seconds, or what another unit makes of them, from a number.
/// @param unit  in seconds.
std::optional<TextStamp> stampOfNumber(std::string_view field, std::optional<char> decimalMark, double unit);

/// "2024-01-31 23:59:59.5", with a T between, slashes for the dashes, a Z or an offset of minutes behind or not; "31.01.2024 23:59:59";
/// "23:59:59.5". Fractions may have a comma.
std::optional<TextStamp> stampOfText(std::string_view field);

/// The unit of times that a column's name and unit tell, in seconds: 1 where they tell a time and no unit; nothing if it holds none.
/// @param isFirst  whether it is the first column, which a unit of time alone makes one of times.
std::optional<double> timeUnitOf(const TextColumn& column, bool isFirst);

/// Whether stamps that may be rounded to their last digit are even, and how many a second there are.
class TextStampRate {
public:
  /// The stamp of the next sample; nothing where it has none.
  void add(const std::optional<TextStamp>& stamp);

  /// So far: one step explains them all, with what was rounded away, or with less than a tenth of the step.
  bool areEven() const { return !isLacking_ && (rounded_.areThere() || scattered_.areThere()); }

  /// With less than a tenth of the step.
  bool areClose() const { return !isLacking_ && scattered_.areThere(); }

  /// Stamps a second. Of the rates that explain rounded stamps (below 1, of the times between them) the one of the fewest digits;
  /// the mean of stamps that scatter, or the rate of three digits within 100 parts in a million of it. Nothing where they are not
  /// even, or do not rise.
  std::optional<double> rate() const;

private:
  /// Steps that explain all stamps, of which each is only that much away from its place.
  struct Steps {
    double least = 0, most = std::numeric_limits<double>::infinity();

    void add(double elapsed, double steps, double off);
    bool areThere() const { return least <= most; }
  };

  double roundedOff(const TextStamp& stamp) const {
    return stamp.hasExponent ? stamp.resolution : std::isfinite(finest_) ? finest_ : 0;
  }

  uint64_t count_ = 0;
  bool isLacking_ = false;
  TextStamp first_{};
  double finest_ =
      std::numeric_limits<double>::infinity();  // of the resolutions: zeros at the end may have been left out
  double last_ = 0;                             // in seconds from the first
  double step_ = 0;                             // from the first stamps that differ
  Steps rounded_, scattered_;
};

}  // namespace kxrecordings
