// How a signal ends the program: with it go the drafts of its outputs and the program that it waits for, at any moment.
#pragma once

#include <spawn.h>

#include <csignal>
#include <filesystem>
#include <string>

namespace kxrecordings {

/// From now on, an interrupt, a hang-up, a broken pipe, a limit of the system and the like end the program with nothing left
/// behind and the exit code of a shell: 128 and the signal's number. Signals that were ignored before stay so.
void endCleanlyOnSignals();

/// Holds these signals back while something comes into being or goes that they take along.
class SignalsHeld {
public:
  SignalsHeld();
  ~SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

  /// The signals that were held before, which is what a program started meanwhile is to begin with.
  const sigset_t& before() const { return before_; }

private:
  sigset_t before_;
};

/// A folder of its own for what is needed on the way to a file. It goes when it is no longer needed, and when a signal ends
/// the program.
class Workplace {
public:
  /// What may lie in it: a signal handler cannot list a folder.
  static constexpr const char *draft = "draft", *former = "former", *script = "script", *messages = "messages";

  /// Makes one in `folder`. Throws std::system_error if that cannot be.
  explicit Workplace(const std::filesystem::path& folder);
  ~Workplace();
  Workplace(const Workplace&) = delete;
  Workplace& operator=(const Workplace&) = delete;

  const std::filesystem::path& path() const { return path_; }

private:
  friend void removeWorkplaces();

  std::filesystem::path path_;
  Workplace *previous_ = nullptr, *next_ = nullptr;  // of all that there are
};

/// How a program has ended.
struct ProgramEnd {
  int error = 0;   ///< why it could not be started
  int status = 0;  ///< as waitpid() has it
};

/// Starts a program, looked for on the PATH, and waits for it. A signal that ends this one ends that one, too.
/// @param arguments  the program's name first, a null pointer last.
ProgramEnd runProgram(char* const* arguments, const posix_spawn_file_actions_t& actions);

}  // namespace kxrecordings
