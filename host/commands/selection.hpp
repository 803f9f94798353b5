// Which part of a recording a command takes, and what its values are.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "analysis/channel_values/channel_values.hpp"
#include "host/commands/frame_reader.hpp"
#include "host/reports/floors.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// In seconds, in samples where no rate is known.
struct TimeRange {
  std::optional<double> from, to;

  bool isWhole() const { return !from && !to; }
};

void addTimeRangeOptions(CLI::App& command, TimeRange& range);

/// The frames nearest to the times, of a recording with that many. Throws FileError if one lies outside.
FrameRange framesIn(const TimeRange& range, const std::string& file, const Format& format, uint64_t frames);

/// The same, of a range that holds something. Throws FileError.
FrameRange someFramesIn(const TimeRange& range, const std::string& file, const Format& format, uint64_t frames);

/// A place on the time axis: a time, or a frame's number where no rate is known.
std::string timeText(const Format& format, uint64_t frame);

/// What the samples stand for.
struct ValueOptions {
  std::optional<double> scale, offset;
  std::string unit;

  bool isScaled() const { return scale || offset; }
};

void addValueOptions(CLI::App& command, ValueOptions& values);

/// Without a scale and an offset, integer files have a full scale of 1.
Scaling scalingOf(const ValueOptions& values, const Format& format);

/// The values' unit: what the user says, what the channel's name tells ("Ua [kV]"), nothing if it is not known.
/// @param channel  from 0.
std::string unitOf(const ValueOptions& values, const Format& format, size_t channel);

/// Whether the values are fractions of an audio file's full scale.
bool isFullScaleOne(const ValueOptions& values, const Format& format);

/// Adds the numbers of the channels that a command takes.
void addChannelsOption(CLI::App& command, std::vector<int>& channels, const std::string& ifNone);

/// Indices from 0 of channels that the user counts from 1, of all if there is none. Throws FileError if one is not
/// there.
std::vector<size_t> channelIndices(const std::string& file, const Format& format, const std::vector<int>& channels);

}  // namespace kxhost
