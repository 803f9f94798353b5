// Scripts by which shells complete a program's command line.
#pragma once

#include <string>

#include "host/reports/command_words.hpp"

namespace kxhost {

std::string bashCompletion(const CommandWords& program);
std::string zshCompletion(const CommandWords& program);
std::string fishCompletion(const CommandWords& program);

}  // namespace kxhost
