// What the options of several commands have in common.
#pragma once

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "analysis/display/axis.hpp"
#include "host/reports/floors.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// A check of options that take a number from `least` to `most`. Unlike CLI11's own, it refuses NaN.
/// @param what  the option takes.
CLI::Validator between(double least, double most, const std::string& what = "number");

/// A check of options that take a number above 0.
CLI::Validator aboveZero();

/// A check of options that take a number, which NaN and infinity are not.
CLI::Validator finite();

/// A check of options that take a whole number from `least` to `most`.
CLI::Validator wholeNumber(uint64_t least, uint64_t most);

/// A check of options that take a file whose name ends in one of these.
CLI::Validator endingIn(const std::vector<std::string>& endings);

/// The same, of outputs that may also go to standard output, "-", or inputs that may come from standard input.
CLI::Validator streamOrEndingIn(const std::vector<std::string>& endings);

/// The numbers of an option that takes "A,B"; nothing if a text is anything else.
template <class Number>
std::optional<std::pair<Number, Number>> pairIn(const std::string& text) {
  std::pair<Number, Number> pair;
  const char* const end = text.data() + text.size();
  const auto [comma, firstError] = std::from_chars(text.data(), end, pair.first);
  if (firstError != std::errc() || comma == end || *comma != ',') {
    return std::nullopt;
  }
  const auto [rest, secondError] = std::from_chars(comma + 1, end, pair.second);
  return secondError == std::errc() && rest == end ? std::optional(pair) : std::nullopt;
}

/// Adds the recording that a command takes.
CLI::Option& addRecordingOption(CLI::App& command, std::string& file);

/// Adds the options about how recordings are to be taken.
/// @param rateOption  what the one for the files' sample rate is called.
void addInputOptions(CLI::App& command, InputOptions& options, const std::string& rateOption = "--rate");

/// Adds those of them about text files that do not take names.
void addTextOptions(CLI::App& command, std::vector<size_t>& columnNumbers, std::optional<char>& decimalMark);

/// Adds the number of the one channel that a command takes.
void addChannelOption(CLI::App& command, int& channel);

/// Adds the scales of a picture's axes: linear or logarithmic, the values' also in decibels.
/// @param xAxis  what the help calls the X axis.
void addScaleOptions(CLI::App& command, AxisScale& xScale, AxisScale& yScale, const std::string& xAxis);

/// Adds the picture that a command draws when asked to.
void addPictureOption(CLI::App& command, std::string& picture, const std::string& help);

}  // namespace kxhost
