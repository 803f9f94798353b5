#include "host/commands/options.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "host/pictures/picture_file.hpp"
#include "recordings/text_fields.hpp"

namespace kxhost {

CLI::Validator between(double least, double most, const std::string& what) {
  return {[=](const std::string& text) {
            const auto number = numberIn(text);
            return number && *number >= least && *number <= most
                       ? ""
                       : fmt::format("{} is not a {} from {:.10g} to {:.10g}", text, what, least, most);
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

CLI::Option& addRecordingOption(CLI::App& command, std::string& file) {
  return *command
              .add_option("FILE", file,
                          "Recording: an audio file, a CSV file with a header row, a COMTRADE file (.cfg or .cff), "
                          "raw\nsamples (--raw)")
              ->type_name("");
}

void addInputOptions(CLI::App& command, InputOptions& options, const std::string& rateOption) {
  auto* raw =
      command.add_option("--raw", options.raw, "Take files as raw interleaved little-endian samples of this type")
          ->type_name("TYPE")
          ->check(CLI::IsMember({"int16", "int32", "float", "double"}));
  auto* channels = command.add_option("--channels", options.channels, "Number of channels of raw files")
                       ->type_name("NUMBER")
                       ->needs(raw);
  raw->needs(channels);
  command.add_option(rateOption, options.rate, "Sample rate in Hz, for files that carry none, or instead of theirs")
      ->type_name("HZ");
  command
      .add_option("--column", options.columns, "Take this column of CSV files (may be repeated; default: all numeric)")
      ->type_name("NAME")
      ->allow_extra_args(false);
  command
      .add_option("--segment", options.segment,
                  "Take this segment of COMTRADE recordings that change their rate, from 1 (default: the longest)")
      ->type_name("NUMBER");
  command.add_flag("--status", options.status,
                   "Also take the status channels of COMTRADE recordings, 0 and 1, behind the others");
}

void addChannelOption(CLI::App& command, int& channel) {
  command.add_option("--channel", channel, "Which channel, counted from 1")->type_name("NUMBER")->capture_default_str();
}

CLI::Option& addAudioOutputOption(CLI::App& command, std::string& file, const std::string& help) {
  return *command.add_option("-o,--output", file, help)->type_name("OUT.wav")->check(endingIn({".wav"}));
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
