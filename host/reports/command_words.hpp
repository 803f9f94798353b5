// What a command line may hold, as manual pages and shells' completions need it.
#pragma once

#include <string>
#include <vector>

namespace kxhost {

struct OptionWords {
  std::vector<std::string> names;  ///< "-o", "--output"; of a positional its one name, "FILE"
  std::string argument;            ///< "HZ"; empty of flags and positionals
  std::string help;
  std::string usual;                 ///< the default; may be empty
  std::vector<std::string> choices;  ///< what the argument may be; empty if that is open
  bool takesFile = false;
  bool isRequired = false;
  bool isRepeated = false;  ///< whether it may be given several times
};

struct CommandWords {
  std::vector<std::string> path;  ///< "kxhost", "generate", "power"
  std::string description;
  std::string footer;  ///< paragraphs, then "Examples:" and lines that begin with two blanks
  std::vector<OptionWords> options, positionals;
  std::vector<CommandWords> commands;

  /// "kxhost generate power", "kxhost-generate-power".
  std::string name(char separator) const {
    std::string name;
    for (const std::string& word : path) {
      name += (name.empty() ? "" : std::string(1, separator)) + word;
    }
    return name;
  }
};

}  // namespace kxhost
