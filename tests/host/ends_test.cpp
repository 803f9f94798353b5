// How kxhost ends: by signals, in the middle of its work, and with outputs that cannot all be written.
#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <thread>

#include "host/kxhost_test.hpp"

namespace kxhost_test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Names = std::vector<std::string>;

/// Goes on as kxhost, in a process that was made for it.
void becomeKxhost(const std::vector<std::string>& arguments) {
  std::vector<char*> words;
  std::string program = KXHOST_PROGRAM;
  words.push_back(program.data());
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  execv(program.c_str(), words.data());
  _exit(127);
}

class EndsTest : public KxhostTest {
protected:
  EndsTest() { forces_ = false; }

  /// Puts a program called gnuplot on the PATH, a shell script. Returns the environment that finds it.
  std::string withGnuplot(const std::string& script) const {
    const fs::path folder = beside("bin");
    fs::create_directory(folder);
    std::ofstream(folder / "gnuplot") << "#!/bin/sh\n" << script;
    fs::permissions(folder / "gnuplot", fs::perms::owner_all);
    return "PATH=" + folder.string() + ":/usr/bin:/bin";
  }

  /// A path that filesPresent() does not see.
  fs::path beside(const std::string& name) const { return path("").substr(0, path("").size() - 1) + "-" + name; }

  ~EndsTest() override {
    fs::remove_all(beside("bin"));
    fs::remove(beside("pid"));
  }

  /// Starts kxhost in a process of its own.
  pid_t start(
      const std::vector<std::string>& arguments, const std::string& environment = "",
      const std::function<void()>& prepare = [] {}) const {
    const pid_t process = fork();
    if (process == 0) {
      const int nowhere = open("/dev/null", O_RDWR);
      dup2(nowhere, STDIN_FILENO);
      dup2(nowhere, STDOUT_FILENO);
      dup2(nowhere, STDERR_FILENO);
      if (!environment.empty()) {
        setenv(environment.substr(0, environment.find('=')).c_str(),
               environment.substr(environment.find('=') + 1).c_str(), 1);
      }
      prepare();
      becomeKxhost(arguments);
    }
    return process;
  }

  /// The code that a process ends with, -1 if a signal has ended it.
  static int endOf(pid_t process) {
    int status = 0;
    waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  static bool waitUntil(const std::function<bool()>& isTrue) {
    for (int i = 0; i < 6000 && !isTrue(); ++i) {
      std::this_thread::sleep_for(10ms);
    }
    return isTrue();
  }

  std::string shortRecording() const {
    return writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, as<float>(noise(20000, 32), 0x1p-31));
  }
};

constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

TEST_F(EndsTest, ASignalLeavesNothingWhileTheOutputIsWritten) {
  for (const int signal : signals) {
    for (const auto delay : {0ms, 3ms, 10ms, 30ms, 100ms}) {
      SCOPED_TRACE(signal);
      const pid_t process = start({"noise", "--white", "--seconds", "3600", "--rate", "384000", "-o", path("out.wav")});
      ASSERT_TRUE(waitUntil([&] { return !filesPresent().empty(); }));
      std::this_thread::sleep_for(delay);
      kill(process, signal);
      EXPECT_EQ(endOf(process), 128 + signal);
      EXPECT_EQ(filesPresent(), Names{});
    }
  }
}

TEST_F(EndsTest, ASignalAtAnyMomentLeavesNothing) {
  const std::string file = shortRecording();
  int ended = 0;
  for (int moment = 0; moment < 40; ++moment) {
    const pid_t process =
        start({"filter", file, "--lowpass", "1000", "-o", path("out.csv"), "--plot", path("out.svg")});
    std::this_thread::sleep_for(moment * 5ms);
    kill(process, SIGTERM);
    int status = 0;
    waitpid(process, &status, 0);
    const bool isBefore = WIFSIGNALED(status);  // its handler was not yet there
    const bool isComplete = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    EXPECT_TRUE(isBefore || isComplete || WEXITSTATUS(status) == 128 + SIGTERM);
    ended += isBefore || isComplete ? 0 : 1;
    const Names files = filesPresent();
    EXPECT_TRUE(files == Names{"a.wav"} || files == (Names{"a.wav", "out.csv", "out.svg"}))
        << testing::PrintToString(files);
    EXPECT_TRUE(!isComplete || files.size() == 3);
    fs::remove(path("out.csv"));
    fs::remove(path("out.svg"));
  }
  EXPECT_GT(ended, 0);
}

TEST_F(EndsTest, ASignalEndsGnuplotToo) {
  const std::string file = shortRecording(), pidFile = beside("pid").string();
  const std::string environment = withGnuplot("echo $$ >" + pidFile + "\nexec sleep 600\n");
  for (const int signal : signals) {
    SCOPED_TRACE(signal);
    fs::remove(pidFile);
    const pid_t process = start({"stats", file, "--plot", path("out.png")}, environment);
    ASSERT_TRUE(waitUntil([&] { return !read(pidFile).empty(); }));
    const pid_t gnuplot = std::stoi(read(pidFile));
    EXPECT_EQ(kill(gnuplot, 0), 0);
    kill(process, signal);
    EXPECT_EQ(endOf(process), 128 + signal);
    EXPECT_NE(kill(gnuplot, 0), 0);
    EXPECT_EQ(filesPresent(), Names{"a.wav"});
  }
}

TEST_F(EndsTest, AnIgnoredSignalStaysIgnored) {
  const std::string file = shortRecording();
  const std::string environment = withGnuplot("sleep 0.5\nexec /usr/bin/gnuplot \"$@\"\n");
  const pid_t process =
      start({"stats", file, "--plot", path("out.svg")}, environment, [] { std::signal(SIGHUP, SIG_IGN); });
  ASSERT_TRUE(waitUntil([&] { return filesPresent().size() > 1; }));
  kill(process, SIGHUP);
  EXPECT_EQ(endOf(process), 0);
  EXPECT_EQ(filesPresent(), (Names{"a.wav", "out.svg"}));
}

TEST_F(EndsTest, AReaderThatGoesEndsTheProgram) {
  const std::string file = shortRecording();
  const auto closed = [] {
    int ends[2];
    if (pipe(ends) == 0) {
      dup2(ends[1], STDOUT_FILENO);
      close(ends[0]);
      close(ends[1]);
    }
  };
  EXPECT_EQ(endOf(start({"stats", file}, "", closed)), 128 + SIGPIPE);
  EXPECT_EQ(endOf(start({"resample", file, "--rate", "8000", "-o", "-"}, "TMPDIR=" + path(""), closed)), 128 + SIGPIPE);
  EXPECT_EQ(filesPresent(), Names{"a.wav"});
}

TEST_F(EndsTest, AFileBeyondTheLimitIsNoOutput) {
  const std::string file = shortRecording();
  const std::string limited = "ulimit -f 8; ";  // units of 512 or 1024 bytes
  const Outcome outcome = run({"resample", file, "--rate", "44100", "-o", path("out.wav")}, limited);
  EXPECT_EQ(outcome.code, 128 + SIGXFSZ);
  EXPECT_EQ(filesPresent(), Names{"a.wav"});
}

TEST_F(EndsTest, FiguresArePrintedEvenWhereThePictureFails) {
  const std::string environment = withGnuplot("echo no colours >&2\nexit 1\n");
  const std::string file = shortRecording(), mains = path("mains.wav");
  ASSERT_EQ(run({"generate", "power", "-o", mains, "--seconds", "1"}).code, 0);
  const Names before = filesPresent();
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
      {{"stats", file, "--plot", path("o.png")}, "20000"},
      {{"filter", file, "--lowpass", "1000", "-o", path("o.wav"), "--plot", path("o.svg")}, "3.01 dB down"},
      {{"noise", "--pink", "--seconds", "3", "-o", path("o.wav"), "--plot", path("o.svg")}, "Largest deviation"},
      {{"combustion", "--simulate", "--cycles", "3", "-o", path("o.csv"), "--plot", path("o.png")}, "All cycles"},
      {{"power", mains, "--plot", path("o.png")}, "Frequency: 50"},
      {{"flicker", mains, "--settling", "0", "--period", "1", "--plot", path("o.png")}, "Pst"}};
  for (const auto& [arguments, figures] : cases) {
    SCOPED_TRACE(arguments[0]);
    const Outcome outcome = run(arguments, environment);
    EXPECT_EQ(outcome.code, 1);
    EXPECT_NE(outcome.out.find(figures), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.err.find("cannot be drawn: gnuplot failed: no colours"), std::string::npos) << outcome.err;
    EXPECT_EQ(filesPresent(), before);  // all outputs or none
  }
}

TEST_F(EndsTest, AnExistingFileIsReplacedWithForceOnly) {
  const std::string file = shortRecording(), out = writeText("out.wav", "old");
  const std::vector<std::string> arguments{"resample", file, "--rate", "8000", "-o", out};
  expectRefused(arguments, out, "exists already: --force replaces it");
  EXPECT_EQ(read(out), "old");
  std::vector<std::string> forced = arguments;
  forced.emplace_back("--force");
  EXPECT_EQ(run(forced).code, 0);
  EXPECT_NE(read(out), "old");
  const std::string picture = writeText("out.svg", "old");
  expectRefused({"stats", file, "--plot", picture}, picture, "exists already");
  EXPECT_EQ(run({"stats", "--force", file, "--plot", picture}).code, 0);
  EXPECT_NE(read(picture), "old");
}

TEST_F(EndsTest, AnInputIsNoOutputEvenWithForce) {
  const std::string file = shortRecording();
  const std::string before = read(file);
  fs::create_symlink(file, path("link.wav"));
  for (const std::string& out : {file, path("link.wav"), path("") + "./a.wav"}) {
    expectRefused({"resample", file, "--rate", "8000", "--force", "-o", out}, out, "it is an input, too");
  }
  const std::string engine = path("engine.csv");
  ASSERT_EQ(run({"combustion", "--simulate", "--cycles", "2", "-o", engine}).code, 0);
  expectRefused({"stats", "--raw", "int16", "--channels", "1", writeRaw("x.png", std::vector<int16_t>(9)), "--plot",
                 path("x.png"), "--force"},
                path("x.png"), "it is an input, too");
  EXPECT_EQ(read(file), before);
}

/// What the program says on a terminal whose user types an answer, and how it ends.
std::pair<std::string, int> onTerminal(const std::vector<std::string>& arguments, const std::string& answer) {
  int terminal = 0;
  const pid_t process = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (process == 0) {
    becomeKxhost(arguments);
  }
  std::string said;
  char piece[256];
  for (bool isAnswered = false; true;) {
    const ssize_t got = ::read(terminal, piece, sizeof piece);
    if (got <= 0) {
      break;
    }
    said.append(piece, static_cast<size_t>(got));
    if (!isAnswered && said.find("Replace it?") != std::string::npos) {
      isAnswered = write(terminal, answer.data(), answer.size()) > 0;
    }
  }
  int status = 0;
  waitpid(process, &status, 0);
  close(terminal);
  return {said, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

TEST_F(EndsTest, OnATerminalTheUserIsAsked) {
  const std::string file = shortRecording(), out = writeText("out.wav", "old");
  const std::vector<std::string> arguments{"resample", file, "--rate", "8000", "-o", out};
  for (const char* const answer : {"n\n", "\n", "\x04"}) {
    const auto [said, code] = onTerminal(arguments, answer);
    EXPECT_NE(said.find(out + " exists already. Replace it? [y/N] "), std::string::npos) << said;
    EXPECT_NE(said.find("exists already, and stays"), std::string::npos) << said;
    EXPECT_EQ(code, 1);
    EXPECT_EQ(read(out), "old");
  }
  const auto [said, code] = onTerminal(arguments, "\x03");  // the user interrupts
  EXPECT_EQ(code, 128 + SIGINT) << said;
  EXPECT_EQ(read(out), "old");
  EXPECT_EQ(onTerminal(arguments, "y\n").second, 0);
  EXPECT_NE(read(out), "old");
  EXPECT_EQ(onTerminal({"resample", file, "--rate", "8000", "-o", "-"}, "").second, 1);  // not shown there
}

TEST_F(EndsTest, AnOutputThatThereIsNoRoomForIsRefusedBeforeTheWork) {
  const std::string out = path("out.csv");
  expectRefused({"generate", "power", "--seconds", "86400", "--rate", "10000000", "-o", out}, out,
                "cannot be written: it takes 41.5 TB, and its folder has ");
  expectRefused({"generate", "power", "--seconds", "86400", "--rate", "10000000", "-o", path("out.wav")},
                path("out.wav"), "cannot be written: it takes 20.7 TB, and its folder has ");
  EXPECT_EQ(filesPresent(), Names{});
}

}  // namespace
}  // namespace kxhost_test
