#include "host/pictures/gnuplot.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "host/reports/floors.hpp"
#include "recordings/recording.hpp"

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
  std::array<char*, 3> arguments{program.data(), argument.data(), nullptr};
  pid_t process = 0;
  const int error = posix_spawnp(&process, program.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    return "gnuplot cannot be started (is it installed?): " + std::generic_category().message(error);
  }
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    return "";
  }
  std::ifstream said(messages);
  std::string line, last = "no message";
  while (std::getline(said, line)) {
    last = line.find_first_not_of(' ') != std::string::npos ? line : last;
  }
  return "gnuplot failed: " + last;
}

}  // namespace

std::string gnuplotText(const std::string& text) {
  std::string result = "'";
  for (const char c : text) {
    if (c == '\'') {
      result += "''";
    } else {
      result += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    }
  }
  return result + '\'';
}

void drawScript(const OutputFile& picture, const std::string& script, int width, int height) {
  const auto scriptFile = picture.workplace() / "script";
  std::ofstream out(scriptFile);
  const bool isSvg = std::filesystem::path(picture.name()).extension() == ".svg";
  out << "set terminal " << (isSvg ? "svg" : "pngcairo") << " size " << width << ',' << height
      << " noenhanced font ',11' background rgb 'white'\n"
      << "set encoding utf8\nset output " << gnuplotText(picture.draft().string()) << '\n'
      << script << "set output\n";
  out.close();
  if (!out) {
    throw FileError(picture.name(), "cannot be written: no room for the gnuplot script");
  }
  const std::string failure = runGnuplot(scriptFile, picture.workplace() / "messages");
  if (!failure.empty()) {
    throw FileError(picture.name(), "cannot be drawn: " + failure);
  }
  picture.place();
}

}  // namespace kxhost
