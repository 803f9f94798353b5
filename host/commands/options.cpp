#include "host/commands/options.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "host/pictures/picture_file.hpp"
#include "recordings/text_fields.hpp"

namespace kxhost {

namespace {

/// A check of numbers; an empty text is none.
/// @param says  what is wrong with a text that isRight() does not find a number that may be.
CLI::Validator numberThat(const std::function<bool(double)>& isRight, const std::string& says) {
  return {[=](const std::string& text) {
            const auto number = numberIn(text);
            return number && isRight(*number) ? "" : fmt::format("{} {}", text.empty() ? "nothing" : text, says);
          },
          ""};
}

}  // namespace

CLI::Validator between(double least, double most, const std::string& what) {
  return numberThat([=](double number) { return number >= least && number <= most; },
                    fmt::format("is not a {} from {:.10g} to {:.10g}", what, least, most));
}

CLI::Validator aboveZero() {
  return numberThat([](double number) { return number > 0 && std::isfinite(number); }, "is not a number above 0");
}

CLI::Validator finite() {
  return numberThat([](double number) { return std::isfinite(number); }, "is not a finite number");
}

CLI::Validator wholeNumber(uint64_t least, uint64_t most) {
  return {[=](const std::string& text) {
            uint64_t number = 0;
            const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
            const bool isNumber = error == std::errc() && end == text.data() + text.size();
            return isNumber && number >= least && number <= most
                       ? ""
                       : fmt::format("{} is not a whole number from {} to {}", text.empty() ? "nothing" : text, least,
                                     most);
          },
          ""};
}

CLI::Validator endingIn(const std::vector<std::string>& endings) {
  return {[=](const std::string& file) {
            const bool isOne = std::ranges::any_of(endings, [&](const auto& ending) { return file.ends_with(ending); });
            return isOne ? "" : fmt::format("{} does not end in {}", file, fmt::join(endings, " or "));
          },
          ""};
}

CLI::Validator streamOrEndingIn(const std::vector<std::string>& endings) {
  return {[check = endingIn(endings)](const std::string& file) { return file == "-" ? std::string() : check(file); },
          ""};
}

namespace {

/// The numbers of a list as "1,3-5"; nothing if it is none, or longer than any table is wide.
std::vector<size_t> numbersIn(const std::string& text) {
  constexpr double most = 65536;
  std::vector<size_t> numbers;
  for (const std::string_view part : fieldsOf(text, ',')) {
    const auto ends = fieldsOf(part, '-');
    const auto first = numberIn(ends.front()), last = numberIn(ends.back());
    const bool isRange = ends.size() <= 2 && first && last && *first >= 1 && *first <= *last && *last <= most &&
                         std::floor(*first) == *first && std::floor(*last) == *last;
    if (!isRange || numbers.size() > static_cast<size_t>(most)) {
      return {};
    }
    for (auto number = static_cast<size_t>(*first); number <= static_cast<size_t>(*last); ++number) {
      numbers.push_back(number);
    }
  }
  return numbers;
}

}  // namespace

CLI::Option& addRecordingOption(CLI::App& command, std::string& file) {
  return *command
              .add_option("FILE", file,
                          "Recording: an audio file, a text file (.csv, .tsv, .txt, .dat), a COMTRADE file (.cfg or "
                          ".cff),\nraw samples (--raw), or - for standard input: text, audio or raw")
              ->type_name("");
}

void addInputOptions(CLI::App& command, InputOptions& options, const std::string& rateOption) {
  constexpr int mostChannels = 1024;  // of libsndfile
  auto* raw =
      command.add_option("--raw", options.raw, "Take files as raw interleaved little-endian samples of this type")
          ->type_name("TYPE")
          ->check(CLI::IsMember({"int16", "int32", "float", "double"}));
  auto* channels = command.add_option("--channels", options.channels, "Number of channels of raw files")
                       ->type_name("NUMBER")
                       ->check(wholeNumber(1, mostChannels))
                       ->needs(raw);
  raw->needs(channels);
  command.add_option(rateOption, options.rate, "Sample rate in Hz, for files that carry none, or instead of theirs")
      ->type_name("HZ")
      ->check(aboveZero());
  command
      .add_option("--column", options.columns, "Take this column of text files (may be repeated; default: all numeric)")
      ->type_name("NAME")
      ->allow_extra_args(false);
  addTextOptions(command, options.columnNumbers, options.decimalMark);
  command
      .add_option("--segment", options.segment,
                  "Take this segment of COMTRADE recordings that change their rate, from 1 (default: the longest)")
      ->type_name("NUMBER")
      ->check(wholeNumber(1, INT32_MAX));
  command.add_flag("--status", options.status,
                   "Also take the status channels of COMTRADE recordings, 0 and 1, behind the others");
  command.add_flag(
      "--strict", options.strict,
      "Refuse what is read with a note otherwise: truncated audio files, values that are not finite numbers");
}

void addTextOptions(CLI::App& command, std::vector<size_t>& columnNumbers, std::optional<char>& decimalMark) {
  command
      .add_option_function<std::string>(
          "--columns",
          [&columnNumbers](const std::string& text) {
            columnNumbers = numbersIn(text);
            if (columnNumbers.empty()) {
              throw CLI::ValidationError("--columns", "is not a list of numbers from 1 as 1,3-5: " + text);
            }
          },
          "Take these columns of text files by their numbers, from 1")
      ->type_name("N,N-M");
  command
      .add_option_function<std::string>(
          "--decimal",
          [&decimalMark](const std::string& text) { decimalMark = text == "," || text == "comma" ? ',' : '.'; },
          "Decimal mark of text files: point or comma (default: told from the file)")
      ->type_name("MARK")
      ->check(CLI::IsMember({".", ",", "point", "comma"}));
}

void addChannelOption(CLI::App& command, int& channel) {
  command.add_option("--channel", channel, "Which channel, counted from 1")
      ->type_name("NUMBER")
      ->check(wholeNumber(1, INT32_MAX))
      ->capture_default_str();
}

void addScaleOptions(CLI::App& command, AxisScale& xScale, AxisScale& yScale, const std::string& xAxis) {
  using Names = std::vector<std::pair<std::string, AxisScale>>;
  const char* const usual = yScale == AxisScale::decibel ? "db" : "lin";
  command.add_option("--x-axis", xScale, xAxis + ": lin or log (default: lin)")
      ->type_name("SCALE")
      ->transform(CLI::CheckedTransformer(Names{{"lin", AxisScale::linear}, {"log", AxisScale::logarithmic}}));
  command.add_option("--y-axis", yScale, fmt::format("Value axis: lin, log or db (default: {})", usual))
      ->type_name("SCALE")
      ->transform(CLI::CheckedTransformer(
          Names{{"lin", AxisScale::linear}, {"log", AxisScale::logarithmic}, {"db", AxisScale::decibel}}));
}

void addPictureOption(CLI::App& command, std::string& picture, const std::string& help) {
  command.add_option("--plot", picture, help)->type_name("OUT.png|OUT.svg")->check([](const std::string& file) {
    return canDraw(file) ? "" : file + " does not end in .png or .svg";
  });
}

}  // namespace kxhost
