#include "host/commands/command.hpp"

namespace kxhost {

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
}

}  // namespace kxhost
