#include "recordings/power_channels.hpp"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <optional>
#include <string_view>

#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

enum class Quantity { voltage, current };

struct Unit {
  std::string_view name;
  Quantity quantity;
  double factor;  // to V or A
};

constexpr std::array<Unit, 11> units{{{"V", Quantity::voltage, 1},
                                      {"uV", Quantity::voltage, 1e-6},
                                      {"mV", Quantity::voltage, 1e-3},
                                      {"kV", Quantity::voltage, 1e3},
                                      {"KV", Quantity::voltage, 1e3},
                                      {"MV", Quantity::voltage, 1e6},
                                      {"A", Quantity::current, 1},
                                      {"uA", Quantity::current, 1e-6},
                                      {"mA", Quantity::current, 1e-3},
                                      {"kA", Quantity::current, 1e3},
                                      {"KA", Quantity::current, 1e3}}};

/// What stands in brackets at the end of a name, or after its last slash or " in ".
std::string_view unitText(std::string_view name) {
  name = trimmed(name);
  const std::string_view closing = "])";
  if (!name.empty() && closing.find(name.back()) != std::string_view::npos) {
    const size_t open = name.rfind(name.back() == ']' ? '[' : '(');
    return open == std::string_view::npos ? "" : trimmed(name.substr(open + 1, name.size() - open - 2));
  }
  for (const std::string_view mark : {"/", " in "}) {
    if (const size_t at = name.rfind(mark); at != std::string_view::npos) {
      return trimmed(name.substr(at + mark.size()));
    }
  }
  return "";
}

std::optional<Unit> unitOf(std::string_view name) {
  const std::string_view text = unitText(name);
  for (const Unit& unit : units) {
    if (unit.name == text) {
      return unit;
    }
  }
  return std::nullopt;
}

std::vector<size_t> channelsOf(const Format& format, Quantity quantity) {
  std::vector<size_t> channels;
  for (size_t i = 0; i < format.channels.size(); ++i) {
    if (const auto unit = unitOf(format.channels[i]); unit && unit->quantity == quantity) {
      channels.push_back(i);
    }
  }
  return channels;
}

std::vector<size_t> numbered(const std::string& file, const Format& format, const std::vector<int>& numbers,
                             Quantity quantity) {
  std::vector<size_t> channels;
  for (const int number : numbers) {
    if (number < 1 || static_cast<size_t>(number) > format.channels.size()) {
      throw FileError(file, "has no channel " + std::to_string(number) + ", they are numbered 1 to " +
                                std::to_string(format.channels.size()));
    }
    const auto channel = static_cast<size_t>(number - 1);
    if (const auto unit = unitOf(format.channels[channel]); unit && unit->quantity != quantity) {
      throw FileError(file, "channel " + std::to_string(number) + " is not a " +
                                (quantity == Quantity::voltage ? "voltage: " : "current: ") + format.channels[channel]);
    }
    channels.push_back(channel);
  }
  return channels;
}

struct Selection {
  std::vector<size_t> voltages, currents;
};

Selection selectionByName(const std::string& file, const Format& format) {
  constexpr const char* remedy = ": --voltage and --current must tell which ones to take";
  Selection selection{channelsOf(format, Quantity::voltage), channelsOf(format, Quantity::current)};
  const size_t voltages = selection.voltages.size(), currents = selection.currents.size();
  if (voltages + currents > 0) {
    if (voltages != currents || voltages > mostPhases) {
      throw FileError(file, "has " + std::to_string(voltages) + " channels in V and " + std::to_string(currents) +
                                " in A" + remedy);
    }
    return selection;
  }
  const size_t channels = format.channels.size();
  if (channels % 2 != 0 || channels > 2 * mostPhases) {
    throw FileError(file, "has " + std::to_string(channels) + " channels that name no units" + remedy);
  }
  for (size_t i = 0; i < channels / 2; ++i) {
    selection.voltages.push_back(i);
    selection.currents.push_back(channels / 2 + i);
  }
  return selection;
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
  const Selection selection = options.voltages.empty()
                                  ? selectionByName(file, format)
                                  : Selection{numbered(file, format, options.voltages, Quantity::voltage),
                                              numbered(file, format, options.currents, Quantity::current)};
  const size_t phases = selection.voltages.size();
  const std::vector<double> factors = factorsFor(file, phases, options.scales);
  const auto physical = [&](size_t channel, double factor) {
    const auto unit = unitOf(format.channels[channel]);
    return PhysicalChannel{channel, factor * (unit ? unit->factor : 1) / format.fullScale};
  };
  PowerChannels channels;
  for (size_t i = 0; i < phases; ++i) {
    channels.voltages.push_back(physical(selection.voltages[i], factors[i]));
    channels.currents.push_back(physical(selection.currents[i], factors[phases + i]));
  }
  return channels;
}

}  // namespace kxrecordings
