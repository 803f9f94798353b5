#include "recordings/clean_end.hpp"

#include <poll.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <system_error>

namespace kxrecordings {
namespace {

constexpr std::array endingSignals{SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXCPU, SIGXFSZ};

// What a signal takes along. It changes while signals are held, so the handler finds it complete: in its own thread the
// signal waits, in another thread the handler does.
Workplace* workplaces = nullptr;
std::atomic<pid_t> child = 0;
std::atomic<int> holders = 0;
std::atomic<bool> isEnding = false;
thread_local int depth = 0;  // of holding, in this thread
static_assert(std::atomic<pid_t>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

sigset_t setOfEndingSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : endingSignals) {
    sigaddset(&set, signal);
  }
  return set;
}

void waitABit() {
  poll(nullptr, 0, 1);
}

/// Removes a folder and what may lie in it. What another thread puts there meanwhile is met in the next round.
void removeFolder(const char* folder) {
  constexpr int rounds = 1000;
  std::array<char, PATH_MAX> file;
  const size_t length = strlen(folder);
  for (int round = 0; round < rounds; ++round) {
    for (const char* const name : {Workplace::draft, Workplace::former, Workplace::script, Workplace::messages}) {
      if (length + 1 + strlen(name) < file.size()) {
        memcpy(file.data(), folder, length);
        file[length] = '/';
        memcpy(file.data() + length + 1, name, strlen(name) + 1);
        unlink(file.data());
      }
    }
    if (rmdir(folder) == 0 || errno == ENOENT) {
      return;
    }
    waitABit();
  }
}

}  // namespace

void removeWorkplaces() {
  for (const Workplace* each = workplaces; each != nullptr; each = each->next_) {
    removeFolder(each->path_.c_str());
  }
}

namespace {

/// Calls nothing but what is safe in a signal handler.
void endNow(int signal) {
  isEnding = true;
  while (holders > 0) {
    waitABit();
  }
  if (const pid_t process = child; process != 0) {
    kill(process, SIGKILL);
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  removeWorkplaces();
  constexpr int signalled = 128;
  _exit(signalled + signal);
}

}  // namespace

void endCleanlyOnSignals() {
  struct sigaction action {};
  action.sa_handler = endNow;
  action.sa_mask = setOfEndingSignals();
  for (const int signal : endingSignals) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) {
      sigaction(signal, &action, nullptr);
    }
  }
}

SignalsHeld::SignalsHeld() {
  const sigset_t set = setOfEndingSignals();
  pthread_sigmask(SIG_BLOCK, &set, &before_);
  if (depth++ > 0) {
    return;
  }
  ++holders;
  if (isEnding) {  // in another thread: it ends this one, too
    --holders;
    while (true) {
      waitABit();
    }
  }
}

SignalsHeld::~SignalsHeld() {
  if (--depth == 0) {
    --holders;
  }
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

Workplace::Workplace(const std::filesystem::path& folder) {
  std::string pattern = (folder / ".kxhost-XXXXXX").string();
  const SignalsHeld held;
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category());
  }
  path_ = std::move(pattern);
  next_ = workplaces;
  if (next_ != nullptr) {
    next_->previous_ = this;
  }
  workplaces = this;
}

Workplace::~Workplace() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
  const SignalsHeld held;
  (previous_ != nullptr ? previous_->next_ : workplaces) = next_;
  if (next_ != nullptr) {
    next_->previous_ = previous_;
  }
}

ProgramEnd runProgram(char* const* arguments, const posix_spawn_file_actions_t& actions) {
  ProgramEnd end;
  pid_t process = 0;
  {
    const SignalsHeld held;
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &held.before());
    end.error = posix_spawnp(&process, arguments[0], &actions, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    if (end.error != 0) {
      return end;
    }
    child = process;
  }
  siginfo_t ended;
  while (waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
  }
  const SignalsHeld held;  // its number may be another's as soon as it has been asked for
  child = 0;
  while (waitpid(process, &end.status, 0) < 0 && errno == EINTR) {
  }
  return end;
}

}  // namespace kxrecordings
