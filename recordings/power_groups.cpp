#include "recordings/power_groups.hpp"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "recordings/channel_units.hpp"
#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

constexpr size_t phaseCount = 3, anotherPhase = phaseCount;

struct Channel {
  size_t index;
  std::string name;  // without the unit
  std::string circuit;
  std::optional<size_t> phase;  // 0 to 2, or another one; none where the file does not tell
};

/// Three of them, or one.
struct Group {
  std::vector<size_t> indices;
  std::string stem;  // the name without the phase
  std::string circuit;
  std::optional<size_t> phase;  // of a single one
};

/// "A", "L1", "R" and "1" are the first phase, "AN" is, too; "AB" and "N" are other ones.
std::optional<size_t> phaseIn(std::string_view text) {
  std::string phase = upperCase(trimmed(text));
  if (phase.empty()) {
    return std::nullopt;
  }
  phase.erase(phase.find_last_not_of("N-") + 1);
  if (phase.starts_with('L')) {
    phase.erase(0, 1);
  }
  constexpr std::array<std::string_view, phaseCount> letters{"AR1", "BS2", "CT3"};
  for (size_t i = 0; i < phaseCount; ++i) {
    if (phase.size() == 1 && letters[i].find(phase[0]) != std::string_view::npos) {
      return i;
    }
  }
  return anotherPhase;
}

/// By the first word of a name: one letter for the quantity and two more characters at most.
std::optional<Quantity> quantityByName(std::string_view name) {
  constexpr std::string_view ends = " _-.:";
  constexpr size_t longest = 3;
  const std::string word = upperCase(name.substr(0, name.find_first_of(ends)));
  if (word.empty() || word.size() > longest) {
    return std::nullopt;
  }
  return word[0] == 'U' || word[0] == 'V' ? std::optional(Quantity::voltage)
         : word[0] == 'I'                 ? std::optional(Quantity::current)
                                          : std::nullopt;
}

std::vector<size_t> channelsOf(const Format& format, Quantity quantity) {
  const bool byUnit = hasElectricUnits(format);
  std::vector<size_t> channels;
  for (size_t i = 0; i < format.channels.size() - format.statusChannels; ++i) {
    const auto unit = electricUnitOf(format.channels[i]);
    const auto found = !byUnit ? quantityByName(format.channels[i])
                       : unit  ? std::optional(unit->quantity)
                               : std::nullopt;
    if (found == quantity) {
      channels.push_back(i);
    }
  }
  return channels;
}

std::vector<Channel> describedChannels(const Format& format, const std::vector<size_t>& indices) {
  std::vector<Channel> channels;
  for (const size_t i : indices) {
    const bool hasPlace = i < format.places.size();
    channels.push_back({i, std::string(splitUnit(format.channels[i]).name), hasPlace ? format.places[i].circuit : "",
                        hasPlace ? phaseIn(format.places[i].phase) : std::nullopt});
  }
  return channels;
}

/// Takes three phases out of the channels, until there are no more.
class PhaseFinder {
public:
  explicit PhaseFinder(std::vector<Channel> channels) : channels_(std::move(channels)) {}

  std::vector<Group> groups() {
    constexpr std::array<std::string_view, 5> alphabets{"ABC", "RST", "abc", "rst", "123"};
    for (const std::string_view alphabet : alphabets) {
      for (size_t i = 0; i < channels_.size(); ++i) {
        takeByName(i, alphabet);
      }
    }
    for (size_t i = 0; i < channels_.size(); ++i) {
      takeByPlace(i);
    }
    std::sort(groups_.begin(), groups_.end(), [](const Group& a, const Group& b) { return a.indices < b.indices; });
    return std::move(groups_);
  }

private:
  void take(const std::array<size_t, phaseCount>& members, std::string stem) {
    Group group{{}, std::move(stem), channels_[members[0]].circuit, std::nullopt};
    for (const size_t member : members) {
      isTaken_[member] = true;
      group.indices.push_back(channels_[member].index);
      if (channels_[member].circuit != group.circuit) {
        group.circuit.clear();
      }
    }
    groups_.push_back(std::move(group));
  }

  /// The channel of this name and phase, of the same circuit if there are several.
  std::optional<size_t> find(const std::string& name, const std::string& circuit, size_t phase) const {
    std::vector<size_t> found, ofCircuit;
    for (size_t i = 0; i < channels_.size(); ++i) {
      const Channel& channel = channels_[i];
      if (!isTaken_[i] && channel.name == name && channel.phase.value_or(phase) == phase) {
        found.push_back(i);
        if (channel.circuit == circuit) {
          ofCircuit.push_back(i);
        }
      }
    }
    if (!ofCircuit.empty()) {
      return ofCircuit[0];
    }
    return found.size() == 1 ? std::optional(found[0]) : std::nullopt;
  }

  void takeByName(size_t first, std::string_view alphabet) {
    const Channel& channel = channels_[first];
    for (size_t at = channel.name.size(); at-- > 0;) {
      if (isTaken_[first] || channel.name[at] != alphabet[0] || channel.phase.value_or(0) != 0) {
        continue;
      }
      std::string name = channel.name;
      name[at] = alphabet[1];
      const auto second = find(name, channel.circuit, 1);
      name[at] = alphabet[2];
      const auto third = find(name, channel.circuit, 2);
      if (second && third) {
        take({first, *second, *third}, name.erase(at, 1));
      }
    }
  }

  void takeByPlace(size_t first) {
    const Channel& channel = channels_[first];
    if (isTaken_[first] || channel.phase != 0U) {
      return;
    }
    std::array<size_t, phaseCount> members{first};
    for (size_t phase = 1; phase < phaseCount; ++phase) {
      const auto match = std::find_if(channels_.begin(), channels_.end(), [&](const Channel& other) {
        return !isTaken_[static_cast<size_t>(&other - channels_.data())] && other.phase == phase &&
               other.name == channel.name && other.circuit == channel.circuit;
      });
      if (match == channels_.end()) {
        return;
      }
      members[phase] = static_cast<size_t>(match - channels_.begin());
    }
    take(members, channel.name);
  }

  std::vector<Channel> channels_;
  std::vector<bool> isTaken_ = std::vector<bool>(channels_.size());
  std::vector<Group> groups_;
};

std::vector<Group> singles(const std::vector<Channel>& channels) {
  std::vector<Group> groups;
  for (const Channel& channel : channels) {
    groups.push_back({{channel.index}, channel.name, "", channel.phase});
  }
  return groups;
}

/// A name with each one of its letters for the quantity left out, and the word for it, too.
std::vector<std::string> withoutQuantity(const std::string& stem, std::string_view letters, std::string_view word) {
  const std::string name = upperCase(stem);
  std::vector<std::string> names{name};
  for (size_t i = 0; i < name.size(); ++i) {
    if (letters.find(name[i]) != std::string_view::npos) {
      names.push_back(name.substr(0, i) + name.substr(i + 1));
    }
  }
  if (const size_t at = name.find(word); at != std::string::npos) {
    names.push_back(name.substr(0, at) + name.substr(at + word.size()));
  }
  return names;
}

bool areOfOneCircuit(const Group& voltage, const Group& current) {
  return !voltage.circuit.empty() && voltage.circuit == current.circuit;
}

bool areOfOneName(const Group& voltage, const Group& current) {
  if (voltage.phase && current.phase && voltage.phase != current.phase) {
    return false;
  }
  const auto names = withoutQuantity(voltage.stem, "UVE", "VOLTAGE");
  const auto others = withoutQuantity(current.stem, "I", "CURRENT");
  return std::find_first_of(names.begin(), names.end(), others.begin(), others.end()) != names.end();
}

bool areAny(const Group&, const Group&) {
  return true;
}

template <class Rule>
std::vector<PowerGroup> partnersOf(const Group& voltage, const std::vector<Group>& currents, Rule belongTogether) {
  std::vector<PowerGroup> partners;
  for (const Group& current : currents) {
    if (belongTogether(voltage, current)) {
      partners.push_back({voltage.indices, current.indices});
    }
  }
  return partners;
}

std::vector<PowerGroup> eachWithEach(const std::vector<Group>& voltages, const std::vector<Group>& currents) {
  std::vector<PowerGroup> pairs;
  for (const Group& voltage : voltages) {
    const auto partners = partnersOf(voltage, currents, areAny);
    pairs.insert(pairs.end(), partners.begin(), partners.end());
  }
  return pairs;
}

/// Where no circuit tells, names do; the only voltages go with all currents.
std::vector<PowerGroup> pairsOf(const std::vector<Group>& voltages, const std::vector<Group>& currents) {
  if (voltages.size() == 1) {
    return eachWithEach(voltages, currents);
  }
  std::vector<PowerGroup> pairs;
  for (const Group& voltage : voltages) {
    auto partners = partnersOf(voltage, currents, areOfOneCircuit);
    if (partners.empty()) {
      partners = partnersOf(voltage, currents, areOfOneName);
    }
    pairs.insert(pairs.end(), partners.begin(), partners.end());
  }
  return pairs;
}

/// Pairs of single channels in one group, if they are few enough and share none.
std::vector<PowerGroup> joined(const std::vector<PowerGroup>& pairs) {
  PowerGroup all;
  for (const PowerGroup& pair : pairs) {
    const auto isThere = [](const std::vector<size_t>& channels, size_t channel) {
      return std::find(channels.begin(), channels.end(), channel) != channels.end();
    };
    if (isThere(all.voltages, pair.voltages[0]) || isThere(all.currents, pair.currents[0])) {
      return pairs;
    }
    all.voltages.push_back(pair.voltages[0]);
    all.currents.push_back(pair.currents[0]);
  }
  return pairs.empty() || pairs.size() > phaseCount ? pairs : std::vector{all};
}

}  // namespace

bool hasElectricUnits(const Format& format) {
  return std::any_of(format.channels.begin(),
                     format.channels.end() - static_cast<std::ptrdiff_t>(format.statusChannels),
                     [](const std::string& name) { return electricUnitOf(name).has_value(); });
}

std::vector<size_t> voltagesOf(const Format& format) {
  return channelsOf(format, Quantity::voltage);
}

std::vector<size_t> currentsOf(const Format& format) {
  return channelsOf(format, Quantity::current);
}

std::vector<PowerGroup> powerGroups(const Format& format) {
  const auto voltages = describedChannels(format, voltagesOf(format));
  const auto currents = describedChannels(format, currentsOf(format));
  const auto voltageGroups = PhaseFinder(voltages).groups(), currentGroups = PhaseFinder(currents).groups();
  if (!voltageGroups.empty() && !currentGroups.empty()) {
    const auto pairs = pairsOf(voltageGroups, currentGroups);
    return pairs.empty() ? eachWithEach(voltageGroups, currentGroups) : pairs;
  }
  return joined(pairsOf(singles(voltages), singles(currents)));
}

}  // namespace kxrecordings
