// The channels that a user may choose from.
#pragma once

#include <ostream>
#include <vector>

#include "recordings/power_groups.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// Each channel with its number, name, unit, phase and circuit, then the options that take one of these groups.
void printChannels(std::ostream& out, const kxrecordings::Format& format,
                   const std::vector<kxrecordings::PowerGroup>& groups);

/// The options that take a group: "--voltage 1,2,3 --current 4,5,6".
std::string optionsFor(const kxrecordings::PowerGroup& group);

}  // namespace kxhost
