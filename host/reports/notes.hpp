#pragma once

#include <string>
#include <vector>

namespace kxhost {

/// Tells on standard error what the user should know about a file, a line each.
void printNotes(const std::string& file, const std::vector<std::string>& notes);

}  // namespace kxhost
