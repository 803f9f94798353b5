#include "host/reports/notes.hpp"

#include <iostream>

#include "host/reports/print.hpp"

namespace kxhost {

void printNotes(const std::string& file, const std::vector<std::string>& notes) {
  for (const std::string& note : notes) {
    printTo(std::cerr, "kxhost: {}: {}\n", file, note);
  }
}

}  // namespace kxhost
