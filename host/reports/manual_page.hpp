// Manual pages of commands.
#pragma once

#include <string>

#include "host/reports/command_words.hpp"

namespace kxhost {

/// A page of section 1 for roff's macros "man".
/// @param version  of the program.
std::string manualPage(const CommandWords& command, const std::string& version);

}  // namespace kxhost
