#include "host/pictures/gnuplot.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "host/reports/floors.hpp"
#include "host/reports/print.hpp"
#include "recordings/clean_end.hpp"
#include "recordings/recording.hpp"
#include "recordings/shown_text.hpp"

namespace kxhost {
namespace {

/// Runs gnuplot on a script file. Returns what it had to say if it failed, else nothing.
std::string runGnuplot(const std::filesystem::path& script, const std::filesystem::path& messages) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, messages.c_str(), O_WRONLY | O_CREAT, 0600);
  std::string program = "gnuplot", argument = script.string();
  const std::array<char*, 3> arguments{program.data(), argument.data(), nullptr};
  const ProgramEnd end = runProgram(arguments.data(), actions);
  posix_spawn_file_actions_destroy(&actions);
  if (end.error != 0) {
    return "gnuplot cannot be started (is it installed?): " + std::generic_category().message(end.error);
  }
  if (WIFEXITED(end.status) && WEXITSTATUS(end.status) == 0) {
    return "";
  }
  std::ifstream said(messages);
  std::string line, last = "no message";
  while (std::getline(said, line)) {
    last = line.find_first_not_of(' ') != std::string::npos ? line : last;
  }
  return "gnuplot failed: " + last;
}

/// Bytes between double quotes. An octal number stands of each that could mean something, and of digits, which gnuplot would
/// take for more of such a number.
std::string quoted(const std::string& bytes) {
  std::string result = "\"";
  for (const char c : bytes) {
    const bool isPlain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == ' ';
    result += isPlain ? std::string(1, c) : fmt::format("\\{:03o}", static_cast<unsigned char>(c));
  }
  return result + '"';
}

}  // namespace

std::string gnuplotText(const std::string& text, size_t longest) {
  return quoted(shortened(shownText(text), longest));
}

void addRow(std::string& rows, const std::vector<double>& numbers) {
  for (const double number : numbers) {
    rows += std::isfinite(number) ? fmt::format("{:.9g} ", number) : "nan ";
  }
  rows.back() = '\n';
}

std::string dataBlock(const std::string& name, const std::string& rows) {
  return fmt::format("${} << END\n{}END\n", name, rows);
}

std::string lines(const std::string& colour, double width) {
  return fmt::format("with lines linecolor rgb '{}' linewidth {:.3g}", colour, width);
}

std::string Sheet::place(double x, double y) const {
  return fmt::format("screen {:.9g}, screen {:.9g}", x / width, 1 - y / height());
}

std::string Sheet::frame(const std::string& title) const {
  constexpr int titleRow = 22, characterWidth = 9;  // pixels of a wide one
  return fmt::format(
      "set label 1 {} at {} center font ',13'\n"
      "set lmargin at screen {:.9g}\n"
      "set rmargin at screen {:.9g}\n"
      "set style fill solid noborder\n"
      "set grid back linetype 1 linecolor rgb '#dddddd' linewidth 0.7\n"
      "set tics nomirror out\n"
      "set border 3\n",
      gnuplotText(title, static_cast<size_t>(width / characterWidth)), place(width / 2.0, titleRow),
      static_cast<double>(left) / width, 1 - static_cast<double>(right) / width);
}

std::string Sheet::pane(int index) const {
  return fmt::format("set tmargin at screen {:.9g}\nset bmargin at screen {:.9g}\n",
                     1 - static_cast<double>(paneTop(index)) / height(),
                     1 - static_cast<double>(paneTop(index) + paneHeight) / height());
}

std::string Sheet::key(int y) const {
  return fmt::format("set key at {} right center horizontal maxrows 1 samplen 3\n", place(width - right, y));
}

void drawScript(const OutputFile& picture, const std::string& script, const Sheet& sheet) {
  const auto scriptFile = picture.workplace() / Workplace::script;
  std::ofstream out(scriptFile);
  const bool isSvg = std::filesystem::path(picture.name()).extension() == ".svg";
  printTo(out,
          "set terminal {} size {},{} noenhanced font ',11' background rgb 'white'\n"
          "set encoding utf8\n"
          "set output {}\n"
          "{}set output\n",
          isSvg ? "svg" : "pngcairo", sheet.width, sheet.height(), quoted(picture.draft().string()), script);
  out.close();
  if (!out) {
    throw FileError(picture.name(), "cannot be written: no room for the gnuplot script");
  }
  const std::string failure = runGnuplot(scriptFile, picture.workplace() / Workplace::messages);
  if (!failure.empty()) {
    throw FileError(picture.name(), "cannot be drawn: " + failure);
  }
  picture.place();
}

}  // namespace kxhost
