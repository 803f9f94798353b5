#include "recordings/power_channels.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "recordings/channel_units.hpp"

namespace kxrecordings {
namespace {

std::vector<size_t> numbered(const std::string& file, const Format& format, const std::vector<int>& numbers,
                             Quantity quantity) {
  std::vector<size_t> channels;
  for (const int number : numbers) {
    if (number < 1 || static_cast<size_t>(number) > format.channels.size()) {
      throw FileError(file, "has no channel " + std::to_string(number) + ", they are numbered 1 to " +
                                std::to_string(format.channels.size()));
    }
    const auto channel = static_cast<size_t>(number - 1);
    if (const auto unit = electricUnitOf(format.channels[channel]); unit && unit->quantity != quantity) {
      throw FileError(file, "channel " + std::to_string(number) + " is not a " +
                                (quantity == Quantity::voltage ? "voltage: " : "current: ") + format.channels[channel]);
    }
    channels.push_back(channel);
  }
  return channels;
}

struct Selection {
  PowerGroup group;
  bool isProposed = false;
};

/// The one group that units, names and phases tell, where the numbers of channels alone do not.
Selection onlyGroup(const std::string& file, const Format& format, const std::string& what) {
  auto groups = powerGroups(format);
  if (groups.size() != 1) {
    throw UnclearChannels(file, what + ": --voltage and --current must tell which ones to take", std::move(groups));
  }
  return {groups[0], true};
}

Selection selectionByName(const std::string& file, const Format& format) {
  if (hasElectricUnits(format)) {
    const PowerGroup all{voltagesOf(format), currentsOf(format)};
    const size_t voltages = all.voltages.size(), currents = all.currents.size();
    if (voltages == currents && voltages <= mostPhases) {
      return {all};
    }
    return onlyGroup(file, format,
                     "has " + std::to_string(voltages) + " channels in V and " + std::to_string(currents) + " in A");
  }
  const size_t channels = format.channels.size() - format.statusChannels;
  if (channels % 2 != 0 || channels > 2 * mostPhases) {
    return onlyGroup(file, format, "has " + std::to_string(channels) + " channels that name no units");
  }
  Selection halves;
  for (size_t i = 0; i < channels / 2; ++i) {
    halves.group.voltages.push_back(i);
    halves.group.currents.push_back(channels / 2 + i);
  }
  return halves;
}

/// The user's factor for each voltage, then for each current.
std::vector<double> factorsFor(const std::string& file, size_t phases, const std::vector<double>& scales) {
  for (const double scale : scales) {
    if (!std::isfinite(scale) || scale == 0) {
      throw FileError(file, fmt::format("a scale of {} is of no use", scale));
    }
  }
  if (scales.size() == 2 * phases) {
    return scales;
  }
  if (scales.size() != 2 && !scales.empty()) {
    throw FileError(file, std::to_string(scales.size()) + " scales are given, where 2 or " +
                              std::to_string(2 * phases) + " are needed: for voltages, then for currents");
  }
  std::vector<double> factors(phases, scales.empty() ? 1 : scales[0]);
  factors.resize(2 * phases, scales.empty() ? 1 : scales[1]);
  return factors;
}

}  // namespace

PowerChannels powerChannels(const std::string& file, const Format& format, const PowerChannelOptions& options) {
  const auto [group, isProposed] = options.voltages.empty()
                                       ? selectionByName(file, format)
                                       : Selection{{numbered(file, format, options.voltages, Quantity::voltage),
                                                    numbered(file, format, options.currents, Quantity::current)}};
  const size_t phases = group.voltages.size();
  const std::vector<double> factors = factorsFor(file, phases, options.scales);
  const auto physical = [&](size_t channel, double factor) {
    const auto unit = electricUnitOf(format.channels[channel]);
    return PhysicalChannel{channel, factor * (unit ? unit->factor : 1) / format.fullScale};
  };
  PowerChannels channels;
  channels.isProposed = isProposed;
  for (size_t i = 0; i < phases; ++i) {
    channels.voltages.push_back(physical(group.voltages[i], factors[i]));
    channels.currents.push_back(physical(group.currents[i], factors[phases + i]));
  }
  return channels;
}

}  // namespace kxrecordings
