#include "verify/manifest.hpp"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kxverify {

Manifest parseManifest(const std::string& text) {
  Manifest manifest;
  std::istringstream lines(text);
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    if (line.empty() || line.front() == '#') {
      continue;
    }
    std::istringstream fields(line);
    std::string hash, name, more;
    fields >> hash >> name;
    if (hash.size() != 64 || name.empty() || fields >> more || !manifest.emplace(name, hash).second) {
      throw std::runtime_error("line " + std::to_string(number) +
                               " of the manifest is not a hash and an export's name");
    }
  }
  return manifest;
}

std::string readFile(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  if (!stream) {
    throw std::runtime_error(file + ": cannot be read");
  }
  return text.str();
}

}  // namespace kxverify
