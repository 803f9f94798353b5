#include "host/reports/manual_page.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>

namespace kxhost {
namespace {

/// Text that roff shows as it is: hyphens that can be typed again, and no line that begins with a control character.
std::string plain(const std::string& text) {
  std::string shown;
  for (const char c : text) {
    if (c == '\\') {
      shown += "\\e";
    } else if (c == '-') {
      shown += "\\-";
    } else {
      shown += shown.empty() && (c == '.' || c == '\'') ? "\\&" : "";
      shown += c;
    }
  }
  return shown;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines(1);
  for (const char c : text) {
    if (c == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  return lines;
}

std::string bold(const std::string& text) {
  return "\\fB" + plain(text) + "\\fR";
}

std::string italic(const std::string& text) {
  return "\\fI" + plain(text) + "\\fR";
}

/// Filled paragraphs, which empty lines part.
std::string paragraphs(const std::string& text) {
  std::string page;
  bool begins = true;
  for (const std::string& line : linesOf(text)) {
    if (line.empty()) {
      begins = true;
      continue;
    }
    page += (begins ? ".PP\n" : "") + plain(line) + '\n';
    begins = false;
  }
  return page;
}

/// Lines as they are.
std::string examples(const std::string& text) {
  std::string page = ".SH EXAMPLES\n.nf\n";
  for (const std::string& line : linesOf(text)) {
    const size_t first = line.find_first_not_of(' ');
    page += first == std::string::npos ? "" : plain(line.substr(first)) + '\n';
  }
  return page + ".fi\n";
}

std::string entryOf(const OptionWords& option) {
  std::string names;
  for (const std::string& name : option.names) {
    names += (names.empty() ? "" : ", ") + (name.starts_with('-') ? bold(name) : italic(name));
  }
  std::vector<std::string> sentences;
  if (!option.choices.empty()) {
    sentences.push_back(fmt::format("One of: {}.", fmt::join(option.choices, ", ")));
  }
  if (!option.usual.empty()) {
    sentences.push_back(fmt::format("Default: {}.", option.usual));
  }
  if (option.isRequired && option.names.front().starts_with('-')) {
    sentences.emplace_back("Required.");
  }
  std::string help;
  for (const std::string& line : linesOf(option.help + (sentences.empty() ? "" : "."))) {
    help += plain(line) + '\n';
  }
  for (const std::string& sentence : sentences) {
    help += plain(sentence) + '\n';
  }
  return fmt::format(".TP\n{}{}\n{}", names, option.argument.empty() ? "" : ' ' + italic(option.argument), help);
}

std::string synopsis(const CommandWords& command) {
  std::string text = ".SH SYNOPSIS\n" + bold(command.name(' ')) + "\n[options]";
  for (const OptionWords& positional : command.positionals) {
    const std::string name = italic(positional.names.front()) + (positional.isRepeated ? " ..." : "");
    text += ' ' + (positional.isRequired ? name : '[' + name + ']');
  }
  return text + (command.commands.empty() ? "" : " \\fIcommand\\fR ...") + '\n';
}

std::string upperCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

}  // namespace

std::string manualPage(const CommandWords& command, const std::string& version) {
  const std::string name = command.name('-'), mark = "Examples:\n";
  const size_t end = std::min(command.footer.find(mark), command.footer.size());
  std::string page = fmt::format(".TH {} 1 \"\" \"kxhost {}\" \"kxhost manual\"\n.SH NAME\n{} \\- {}\n",
                                 upperCase(plain(name)), version, plain(name), plain(command.description));
  page += synopsis(command);
  if (end > 0) {
    page += ".SH DESCRIPTION\n" + paragraphs(command.footer.substr(0, end));
  }
  if (!command.commands.empty()) {
    page += ".SH COMMANDS\n";
    for (const CommandWords& inner : command.commands) {
      page += fmt::format(".TP\n{}\n{}\n", bold(inner.path.back()), plain(inner.description));
    }
  }
  page += ".SH OPTIONS\n";
  for (const auto* options : {&command.positionals, &command.options}) {
    for (const OptionWords& option : *options) {
      page += entryOf(option);
    }
  }
  if (end < command.footer.size()) {
    page += examples(command.footer.substr(end + mark.size()));
  }
  std::vector<std::string> others;
  for (const CommandWords& inner : command.commands) {
    others.push_back(bold(inner.name('-')) + "(1)");
  }
  if (command.path.size() > 1) {
    others.push_back(bold(command.path.front()) + "(1)");
  }
  return others.empty() ? page : page + fmt::format(".SH SEE ALSO\n{}\n", fmt::join(others, ",\n"));
}

}  // namespace kxhost
