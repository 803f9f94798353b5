// kxhost man and kxhost completion: manual pages and shells' completions, made of the options that the program takes.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/commands/command.hpp"
#include "host/reports/command_words.hpp"
#include "host/reports/completion_script.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/manual_page.hpp"
#include "recordings/output_file.hpp"
#include "recordings/recording.hpp"

namespace kxhost {
namespace {

/// What stands between the first braces of an option's type: "SCALE:value in {lin->0,log->1} OR {0,1}" takes lin and
/// log.
std::vector<std::string> choicesIn(const std::string& type) {
  std::vector<std::string> choices;
  const size_t open = type.find('{'), close = type.find('}');
  for (size_t begin = open; begin != std::string::npos && begin < close;) {
    const size_t end = std::min(type.find(',', begin + 1), close);
    const std::string choice = type.substr(begin + 1, end - begin - 1);
    if (!choice.empty()) {  // of a comma nothing is left
      choices.push_back(choice.substr(0, choice.find("->")));
    }
    begin = end;
  }
  return choices;
}

OptionWords wordsOf(const CLI::Option& option) {
  OptionWords words;
  if (option.get_positional()) {
    words.names.push_back(option.get_name(true));
  }
  for (const std::string& name : option.get_snames()) {
    words.names.push_back('-' + name);
  }
  for (const std::string& name : option.get_lnames()) {
    words.names.push_back("--" + name);
  }
  const std::string type = option.get_type_name();
  const bool isFlag = option.get_items_expected_max() == 0;
  words.argument = isFlag || option.get_positional() ? "" : type.substr(0, type.find(':'));
  words.help = option.get_description();
  words.usual = isFlag ? "" : option.get_default_str();
  words.choices = choicesIn(type);
  words.takesFile =
      words.argument.find('.') != std::string::npos || words.argument.starts_with("FILE") || words.argument == "FOLDER";
  words.isRequired = option.get_required();
  words.isRepeated = option.get_items_expected_max() > 1;
  return words;
}

/// Options of groups are the command's own, but for each group's own --help. What is in no group is not shown in the help
/// either.
void addOptions(const CLI::App& app, CommandWords& words) {
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_group().empty() && (option != app.get_help_ptr() || !app.get_name().empty())) {
      (option->get_positional() ? words.positionals : words.options).push_back(wordsOf(*option));
    }
  }
  for (const CLI::App* group : app.get_subcommands([](const CLI::App* inner) { return inner->get_name().empty(); })) {
    addOptions(*group, words);
  }
}

CommandWords wordsOf(const CLI::App& app, std::vector<std::string> path) {
  path.push_back(app.get_name());
  CommandWords words{path, app.get_description(), app.get_footer(), {}, {}, {}};
  addOptions(app, words);
  for (const CLI::App* inner : app.get_subcommands([](const CLI::App* any) { return !any->get_name().empty(); })) {
    words.commands.push_back(wordsOf(*inner, path));
  }
  return words;
}

/// The command that these words name, if there is one.
const CommandWords* commandOf(const CommandWords& program, std::span<const std::string> names) {
  const CommandWords* command = &program;
  for (const std::string& name : names) {
    const auto found = std::ranges::find(command->commands, name, [](const auto& inner) { return inner.path.back(); });
    if (found == command->commands.end()) {
      return nullptr;
    }
    command = &*found;
  }
  return command;
}

/// Writes the page of a command and those of all within it.
void writePages(const CommandWords& command, const std::string& folder) {
  const OutputFile file(folder + '/' + command.name('-') + ".1");
  std::ofstream page(file.draft());
  page << manualPage(command, KXHOST_VERSION);
  if (!page.flush()) {
    throw FileError(file.name(), "cannot be written");
  }
  file.place();
  for (const CommandWords& inner : command.commands) {
    writePages(inner, folder);
  }
}

/// Ends the program with what it was asked for: no library is needed.
[[noreturn]] void finish(const std::string& text) {
  if (!(std::cout << text).flush()) {
    throw std::runtime_error("standard output cannot be written");
  }
  throw CLI::Success();
}

}  // namespace

void addManCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand("man", "Manual page of the program or of a command");
  const auto names = std::make_shared<std::vector<std::string>>();
  const auto folder = std::make_shared<std::string>();
  auto* words =
      command.add_option("COMMAND", *names, "The command: view, generate power (default: the program)")->type_name("");
  command.add_option("--directory", *folder, "Write the pages of the program and of all commands into this folder")
      ->type_name("FOLDER")
      ->check(CLI::ExistingDirectory)
      ->excludes(words);
  command.footer(
      "The page is for roff's macros: kxhost man view | man -l -\n"
      "\n"
      "Examples:\n"
      "  kxhost man view | man -l -\n"
      "  kxhost man --directory share/man/man1");
  command.callback([&program, names, folder] {
    const CommandWords all = wordsOf(program, {});
    if (!folder->empty()) {
      writePages(all, *folder);
      finish("");
    }
    const CommandWords* const asked = commandOf(all, *names);
    if (asked == nullptr) {
      throw CLI::ValidationError("COMMAND", "there is no such command: " + names->back());
    }
    finish(manualPage(*asked, KXHOST_VERSION));
  });
}

void addCompletionCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand("completion", "Script by which a shell completes the command line");
  const auto shell = std::make_shared<std::string>();
  command.add_option("SHELL", *shell, "bash, zsh or fish")
      ->required()
      ->type_name("")
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  command.footer(
      "Examples:\n"
      "  source <(kxhost completion bash)\n"
      "  kxhost completion zsh > \"${fpath[1]}/_kxhost\"\n"
      "  kxhost completion fish > ~/.config/fish/completions/kxhost.fish");
  command.callback([&program, shell] {
    const CommandWords all = wordsOf(program, {});
    finish(*shell == "bash" ? bashCompletion(all) : *shell == "zsh" ? zshCompletion(all) : fishCompletion(all));
  });
}

}  // namespace kxhost
