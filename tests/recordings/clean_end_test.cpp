// What a signal that ends a program takes along. The programs are copies of this one.
#include "recordings/clean_end.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <thread>

#include "recordings/files.hpp"

namespace kxrecordings_test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class CleanEndTest : public FilesTest {
protected:
  /// Runs work() in a copy of this program, which it may not leave, and sends a signal when `isTime`. Returns the exit code,
  /// -1 of one that the signal has ended by itself.
  static int endOf(int signal, const std::function<void()>& work, const std::function<bool()>& isTime) {
    const pid_t process = fork();
    if (process == 0) {
      alarm(60);
      endCleanlyOnSignals();
      work();
      _exit(0);
    }
    for (int i = 0; i < 5000 && !isTime(); ++i) {
      std::this_thread::sleep_for(2ms);
    }
    kill(process, signal);
    int ending = 0;
    waitpid(process, &ending, 0);
    return WIFEXITED(ending) ? WEXITSTATUS(ending) : -1;
  }

  [[noreturn]] void makeAndRemoveWorkplaces() const {
    write("ready", "");
    while (true) {
      const Workplace workplace(path("")), other(path(""));
      std::ofstream(workplace.path() / Workplace::draft) << "x";
    }
  }

  /// Interrupts that work some moments after it has begun with it; only the file that told so may stay.
  void expectCleanEnd(const std::function<void()>& work, int moment) const {
    int looked = 0;
    EXPECT_EQ(endOf(SIGTERM, work, [&] { return fs::exists(path("ready")) && ++looked > moment / 10; }), 128 + SIGTERM);
    EXPECT_EQ(filesPresent(), 1U);
    fs::remove(path("ready"));
  }

  static void runShell(const std::string& script) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    std::string program = "sh", option = "-c", text = script;
    const std::array<char*, 4> arguments{program.data(), option.data(), text.data(), nullptr};
    status = runProgram(arguments.data(), actions);
    posix_spawn_file_actions_destroy(&actions);
  }

  static inline ProgramEnd status;
};

TEST_F(CleanEndTest, ASignalRemovesAllWorkplaces) {
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXCPU, SIGXFSZ}) {
    const auto work = [&] {
      const Workplace first(path("")), second(path(""));
      auto third = std::make_unique<Workplace>(path(""));
      const Workplace fourth(path(""));
      third.reset();
      for (const char* const name : {Workplace::draft, Workplace::former, Workplace::script, Workplace::messages}) {
        std::ofstream(first.path() / name) << "x";
      }
      std::ofstream(second.path() / Workplace::draft) << "x";
      write("ready", "");
      pause();
    };
    EXPECT_EQ(endOf(signal, work, [&] { return fs::exists(path("ready")); }), 128 + signal);
    EXPECT_EQ(filesPresent(), 1U);
    fs::remove(path("ready"));
  }
}

TEST_F(CleanEndTest, AtEachMomentOfTheirLives) {
  for (int moment = 0; moment < 60; ++moment) {
    const auto work = [&] {
      const Workplace stays(path(""));
      makeAndRemoveWorkplaces();
    };
    expectCleanEnd(work, moment);
  }
}

TEST_F(CleanEndTest, WhichThreadEverIsInterrupted) {
  for (int moment = 0; moment < 60; ++moment) {
    const auto work = [&] {
      sigset_t signal;
      sigemptyset(&signal);
      sigaddset(&signal, SIGTERM);
      std::thread waiting([] { pause(); });  // takes the signal, as the other one does not
      pthread_sigmask(SIG_BLOCK, &signal, nullptr);
      makeAndRemoveWorkplaces();
    };
    expectCleanEnd(work, moment);
  }
}

TEST_F(CleanEndTest, ASignalEndsTheProgramThatIsWaitedFor) {
  const auto work = [&] {
    runShell("echo $$ >" + path("pid") + ".new; mv " + path("pid") + ".new " + path("pid") + "; exec sleep 50");
  };
  EXPECT_EQ(endOf(SIGINT, work, [&] { return fs::exists(path("pid")); }), 128 + SIGINT);
  EXPECT_NE(kill(std::stoi(read("pid")), 0), 0);
}

TEST_F(CleanEndTest, IgnoredSignalsStayIgnored) {
  const auto handler = std::signal(SIGHUP, SIG_IGN);
  const auto work = [&] {
    write("ready", "");
    std::this_thread::sleep_for(50ms);
  };
  EXPECT_EQ(endOf(SIGHUP, work, [&] { return fs::exists(path("ready")); }), 0);
  std::signal(SIGHUP, handler);
}

TEST_F(CleanEndTest, HeldSignalsWait) {
  const auto work = [&] {
    {
      const SignalsHeld held;
      { const SignalsHeld again; }
      raise(SIGTERM);
      write("through", "");
    }
    write("beyond", "");
  };
  EXPECT_EQ(endOf(0, work, [] { return true; }), 128 + SIGTERM);
  EXPECT_TRUE(fs::exists(path("through")));
  EXPECT_FALSE(fs::exists(path("beyond")));
}

TEST_F(CleanEndTest, AProgramBeginsWithoutHeldSignalsAndTellsHowItEnded) {
  runShell("exit 7");
  EXPECT_EQ(status.error, 0);
  EXPECT_EQ(WEXITSTATUS(status.status), 7);
  runShell("kill -TERM $$; exit 7");
  EXPECT_TRUE(WIFSIGNALED(status.status));
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  std::string program = "no-such-program";
  const std::array<char*, 2> arguments{program.data(), nullptr};
  EXPECT_EQ(runProgram(arguments.data(), actions).error, ENOENT);
  posix_spawn_file_actions_destroy(&actions);
}

}  // namespace
}  // namespace kxrecordings_test
