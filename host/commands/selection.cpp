#include "host/commands/selection.hpp"

#include <fmt/format.h>

#include <cmath>
#include <numeric>

#include "host/commands/input_files.hpp"
#include "host/commands/options.hpp"
#include "recordings/channel_units.hpp"

namespace kxhost {
namespace {

/// The frame nearest to a time on the axis, if there is one or if it is the end.
uint64_t frameAt(const std::string& file, const char* option, double time, double rate, uint64_t frames) {
  const double frame = std::round(time * rate);
  if (!(frame >= 0 && frame <= static_cast<double>(frames))) {
    throw FileError(file, fmt::format("{} {:.10g} lies outside of the recording, which goes from 0 to {:.10g}", option,
                                      time, static_cast<double>(frames) / rate));
  }
  return static_cast<uint64_t>(frame);
}

}  // namespace

void addTimeRangeOptions(CLI::App& command, TimeRange& range) {
  command.add_option("--from", range.from, "Begin at this time, in seconds (in samples where no rate is known)")
      ->type_name("TIME")
      ->check(finite());
  command.add_option("--to", range.to, "End before this time")->type_name("TIME")->check(finite());
}

FrameRange framesIn(const TimeRange& range, const std::string& file, const Format& format, uint64_t frames) {
  const double rate = format.rate.value_or(1);
  return {range.from ? frameAt(file, "--from", *range.from, rate, frames) : 0,
          range.to ? frameAt(file, "--to", *range.to, rate, frames) : frames};
}

FrameRange someFramesIn(const TimeRange& range, const std::string& file, const Format& format, uint64_t frames) {
  const FrameRange found = framesIn(range, file, format, frames);
  if (frames > 0 && found.begin >= found.end) {
    throw FileError(file, "nothing is selected: no sample lies between --from and --to");
  }
  return found;
}

std::string timeText(const Format& format, uint64_t frame) {
  return format.rate ? fmt::format("{:.10g} s", static_cast<double>(frame) / *format.rate) : std::to_string(frame);
}

void addValueOptions(CLI::App& command, ValueOptions& values) {
  command.add_option("--scale", values.scale, "Value of one step of the file")->type_name("NUMBER")->check(finite());
  command.add_option("--offset", values.offset, "Value of step 0")->type_name("NUMBER")->check(finite());
  command.add_option("--unit", values.unit, "Unit of the values (default: the one that a channel's name ends in)")
      ->type_name("TEXT");
}

Scaling scalingOf(const ValueOptions& values, const Format& format) {
  return {values.scale.value_or(values.isScaled() ? 1 : 1 / format.fullScale), values.offset.value_or(0)};
}

bool isFullScaleOne(const ValueOptions& values, const Format& format) {
  return !values.isScaled() && values.unit.empty() && !format.unit.empty();
}

std::string unitOf(const ValueOptions& values, const Format& format, size_t channel) {
  const std::string& name = format.channels[channel];
  const bool isTold = name.ends_with(']') || name.ends_with(')') || electricUnitOf(name);
  return values.unit.empty() && isTold && !values.isScaled() ? std::string(splitUnit(name).unit) : values.unit;
}

void addChannelsOption(CLI::App& command, std::vector<int>& channels, const std::string& ifNone) {
  command.add_option("--channel", channels, fmt::format("Which channels, counted from 1: 1,3 (default: {})", ifNone))
      ->type_name("NUMBERS")
      ->delimiter(',')
      ->check(wholeNumber(1, INT32_MAX))
      ->allow_extra_args(false);
}

std::vector<size_t> channelIndices(const std::string& file, const Format& format, const std::vector<int>& channels) {
  std::vector<size_t> indices;
  indices.reserve(channels.size());
  for (const int channel : channels) {
    indices.push_back(channelIndex(file, format, channel));
  }
  if (channels.empty()) {
    indices.resize(format.channels.size());
    std::iota(indices.begin(), indices.end(), size_t{0});
  }
  return indices;
}

}  // namespace kxhost
