#include "host/reports/completion_script.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace kxhost {
namespace {

/// Calls use(command) for the program and all of its commands.
template <class Use>
void forEach(const CommandWords& command, Use use) {
  use(command);
  for (const CommandWords& inner : command.commands) {
    forEach(inner, use);
  }
}

/// The words behind the program's name: "generate power".
std::string pathOf(const CommandWords& command) {
  const std::string name = command.name(' ');
  return name.substr(std::min(command.path.front().size() + 1, name.size()));
}

/// Between quotation marks, as a shell takes it literally.
/// @param mark  how the shell writes one within them.
std::string quoted(const std::string& text, const std::string& mark) {
  std::string result = "'";
  for (const char c : text) {
    result += c == '\'' ? mark : std::string(1, c == '\n' ? ' ' : c);
  }
  return result + '\'';
}

/// The first sentence of a help text, or what stands before a remark in brackets.
std::string briefly(const std::string& help) {
  return help.substr(0, std::min(help.find(" ("), help.find('\n')));
}

std::vector<std::string> firstWords(const CommandWords& command) {
  std::vector<std::string> words;
  for (const CommandWords& inner : command.commands) {
    words.push_back(inner.path.back());
  }
  for (const OptionWords& option : command.options) {
    words.insert(words.end(), option.names.begin(), option.names.end());
  }
  for (const OptionWords& positional : command.positionals) {
    words.insert(words.end(), positional.choices.begin(), positional.choices.end());
  }
  return words;
}

}  // namespace

/// Bash parts words at an equals sign, so that one may stand between an option and what it is given.
std::string bashCompletion(const CommandWords& program) {
  std::string commands, words, arguments;
  forEach(program, [&](const CommandWords& command) {
    const std::string path = pathOf(command);
    for (const CommandWords& inner : command.commands) {
      commands += fmt::format("      \"{} {}\") command=\"{}\" ;;\n", path, inner.path.back(), pathOf(inner));
    }
    words += fmt::format("    \"{}\") words=\"{}\" ;;\n", path, fmt::join(firstWords(command), " "));
    for (const OptionWords& option : command.options) {
      if (!option.argument.empty()) {
        std::vector<std::string> patterns;
        for (const std::string& name : option.names) {
          patterns.push_back(fmt::format("\"{} {}\"", path, name));
        }
        arguments += fmt::format("    {}) words=\"{}\" files={} ;;\n", fmt::join(patterns, "|"),
                                 fmt::join(option.choices, " "), option.takesFile ? "yes" : "no");
      }
    }
  });
  return fmt::format(
      R"(# Completion of {program}'s command line for Bash.
_{program}() {{
  local kept= current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD-1]}} command= words= files=yes word i
  if [[ $current == "=" ]]; then
    current=
  elif [[ $previous == "=" ]]; then
    previous=${{COMP_WORDS[COMP_CWORD-2]}}
  fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case "$command ${{COMP_WORDS[i]}}" in
{commands}    esac
  done
  case "$command" in
{words}  esac
  if [[ $current != -* ]]; then  # options only where one is begun: files are wanted more often
    for word in $words; do
      [[ $word == -* ]] || kept+="$word "
    done
    words=$kept
  fi
  case "$command $previous" in
{arguments}  esac
  COMPREPLY=($(compgen -W "$words" -- "$current"))
  if [[ $files == no ]]; then
    compopt +o default
  fi
}}
complete -o default -F _{program} {program}
)",
      fmt::arg("program", program.path.front()), fmt::arg("commands", commands), fmt::arg("words", words),
      fmt::arg("arguments", arguments));
}

std::string zshCompletion(const CommandWords& program) {
  const auto functionOf = [](const CommandWords& command) { return '_' + command.name('_'); };
  // In what zsh is told of an option, brackets and colons stand for something.
  const auto escaped = [](const std::string& text) {
    std::string result;
    for (const char c : text) {
      result += (c == '[' || c == ']' || c == ':' || c == '\\' ? "\\" : "") + std::string(1, c);
    }
    return result;
  };
  const auto argumentOf = [&](const OptionWords& option, const std::string& name) {
    const std::string action = !option.choices.empty() ? fmt::format("({})", fmt::join(option.choices, " "))
                               : option.takesFile      ? "_files"
                                                       : " ";
    return fmt::format(":{}:{}", escaped(name), action);
  };
  std::string script = fmt::format("#compdef {}\n# Completion of its command line for Zsh.\n", program.path.front());
  forEach(program, [&](const CommandWords& command) {
    std::string specifications;
    for (const OptionWords& option : command.options) {
      for (const std::string& name : option.names) {
        const std::string argument = option.argument.empty() ? "" : argumentOf(option, option.argument);
        specifications += fmt::format(
            " \\\n    {}", quoted(fmt::format("*{}[{}]{}", name, escaped(briefly(option.help)), argument), R"('\'')"));
      }
    }
    for (const OptionWords& positional : command.positionals) {
      specifications += fmt::format(
          " \\\n    {}",
          quoted((positional.isRepeated ? "*" : "") + argumentOf(positional, positional.names.front()), R"('\'')"));
    }
    if (command.commands.empty()) {
      script += fmt::format("\n{}() {{\n  _arguments{}\n}}\n", functionOf(command), specifications);
      return;
    }
    std::string described, calls;
    for (const CommandWords& inner : command.commands) {
      described +=
          fmt::format(" \\\n        {}", quoted(inner.path.back() + ':' + escaped(inner.description), R"('\'')"));
      calls += fmt::format("        {}) {} ;;\n", inner.path.back(), functionOf(inner));
    }
    script += fmt::format(
        R"(
{function}() {{
  local line state
  _arguments -C{specifications} \
    '1: :->command' '*:: :->rest'
  case $state in
    command)
      local -a commands=({described})
      _describe command commands ;;
    rest)
      case $line[1] in
{calls}      esac ;;
  esac
}}
)",
        fmt::arg("function", functionOf(command)), fmt::arg("specifications", specifications),
        fmt::arg("described", described), fmt::arg("calls", calls));
  });
  return script + fmt::format("\ncompdef {} {}\n", functionOf(program), program.path.front());
}

std::string fishCompletion(const CommandWords& program) {
  std::string script = fmt::format("# Completion of {}'s command line for Fish.\n", program.path.front());
  const std::string mark = R"(\')";
  forEach(program, [&](const CommandWords& command) {
    // Of the program itself there is none yet; of the others the last word is there.
    const std::string where =
        command.path.size() == 1 ? "__fish_use_subcommand" : "__fish_seen_subcommand_from " + command.path.back();
    const std::string begin = fmt::format("complete -c {} -n {}", program.path.front(), quoted(where, mark));
    for (const CommandWords& inner : command.commands) {
      script += fmt::format("{} -f -a {} -d {}\n", begin, inner.path.back(), quoted(inner.description, mark));
    }
    for (const OptionWords& positional : command.positionals) {
      if (!positional.choices.empty()) {
        script += fmt::format("{} -f -a '{}'\n", begin, fmt::join(positional.choices, " "));
      }
    }
    for (const OptionWords& option : command.options) {
      std::string names;
      for (const std::string& name : option.names) {
        names += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
      }
      const std::string argument = option.argument.empty() ? ""
                                   : !option.choices.empty()
                                       ? fmt::format(" -x -a '{}'", fmt::join(option.choices, " "))
                                   : option.takesFile ? " -r -F"
                                                      : " -x";
      script += fmt::format("{}{}{} -d {}\n", begin, names, argument, quoted(briefly(option.help), mark));
    }
  });
  return script;
}

}  // namespace kxhost
