// What several commands ask of the recording that they open.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "host/reports/floors.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// A recording's sample rate. Throws FileError if it carries none.
/// @param option  which gives it then.
double rateOf(const std::string& file, const Format& format, const std::string& option = "--rate");

/// Index from 0 of a channel that the user counts from 1. Throws FileError if there is no such one.
size_t channelIndex(const std::string& file, const Format& format, int channel);

/// Throws FileError if a value of a channel is not finite: "cannot be <done>: sample <number> is not a finite number".
/// @param firstFrame  of the recording, where the values begin.
void requireFinite(const std::string& file, const std::string& done, std::span<const float> values,
                   uint64_t firstFrame);

}  // namespace kxhost
