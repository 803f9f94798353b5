#include "host/reports/notes.hpp"

#include <fmt/ostream.h>

#include <iostream>

namespace kxhost {

void printNotes(const std::string& file, const std::vector<std::string>& notes) {
  for (const std::string& note : notes) {
    fmt::print(std::cerr, "kxhost: {}: {}\n", file, note);
  }
}

}  // namespace kxhost
