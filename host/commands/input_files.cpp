#include "host/commands/input_files.hpp"

#include <fmt/format.h>

namespace kxhost {

double rateOf(const std::string& file, const Format& format, const std::string& option) {
  if (!format.rate) {
    throw FileError(file, fmt::format("carries no sample rate: {} is needed", option));
  }
  return *format.rate;
}

size_t channelIndex(const std::string& file, const Format& format, int channel) {
  if (channel < 1 || static_cast<size_t>(channel) > format.channels.size()) {
    throw FileError(file, fmt::format("has no channel {}, they are numbered 1 to {}", channel, format.channels.size()));
  }
  return static_cast<size_t>(channel - 1);
}

}  // namespace kxhost
