// Which voltages and currents of a recording belong together, as far as units, names, phases and circuits tell.
#pragma once

#include <cstddef>
#include <vector>

#include "recordings/recording.hpp"

namespace kxrecordings {

/// Channels, counted from 0, of one to three phases: a current for each voltage.
struct PowerGroup {
  std::vector<size_t> voltages, currents;

  bool operator==(const PowerGroup&) const = default;
};

/// Whether a channel names a unit of voltages or currents.
bool hasElectricUnits(const Format& format);

/// Channels in V and in A; if no channel has such a unit, those whose names begin with a word as "U1", "VB" or "IL3".
std::vector<size_t> voltagesOf(const Format& format);
std::vector<size_t> currentsOf(const Format& format);

/// Three phases are names that differ in one letter alone, which is A, B and C, R, S and T or 1, 2 and 3 (the last such place
/// of the name counts), or channels of one name and one circuit with these phases. Three voltages and three currents
/// belong together if they are of one circuit, if their names differ only by U or V and I, or if there are no other
/// voltages; where all of this does not tell, each may belong to each. Without three phases of both, single voltages and
/// currents are paired by the same rules.
std::vector<PowerGroup> powerGroups(const Format& format);

}  // namespace kxrecordings
