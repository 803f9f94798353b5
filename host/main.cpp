// kxhost: measures, shows, filters and analyses recordings with the kernel library.
#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "functions/library.hpp"
#include "host/commands/command.hpp"
#include "host/commands/outputs.hpp"
#include "host/reports/floors.hpp"
#include "host/reports/print.hpp"
#include "recordings/clean_end.hpp"

namespace {

constexpr int failed = 1;
constexpr int misused = 2;

/// The option takes any path to a file; a bare name only says the same to the system's loader if it names no file here.
std::string libraryPath(const std::string& file) {
  return std::filesystem::exists(file) ? std::filesystem::absolute(file).string() : file;
}

/// @param file  what the user named; without that, the fastest build is taken.
kxcalc::Library openLibrary(const std::string& file) {
  auto library = file.empty() ? kxcalc::Library::openFastest() : kxcalc::Library::open(libraryPath(file));
  if (!library) {
    throw std::runtime_error(library.problem());
  }
  return *library;
}

int run(int argumentCount, char** arguments) {
  CLI::App program("Measures, shows, filters and analyses recordings with the kernels of the kxcalc library.",
                   "kxhost");
  std::string library;
  kxhost::Action chosen;
  program
      .add_option(
          "--library", library,
          "The library to use: a file, or a name that the system's loader knows (default: the fastest build that "
          "the processor runs)")
      ->type_name("FILE");
  program.set_version_flag("--version",
                           [&library] { return "kxhost " KXHOST_VERSION ", " + openLibrary(library).file(); });
  program.require_subcommand(0, 1);
  program.fallthrough();
  kxhost::addStatsCommand(program, chosen);
  kxhost::addViewCommand(program, chosen);
  kxhost::addSpectrumCommand(program, chosen);
  kxhost::addResampleCommand(program, chosen);
  kxhost::addFilterCommand(program, chosen);
  kxhost::addNoiseCommand(program, chosen);
  kxhost::addCombustionCommand(program, chosen);
  kxhost::addPowerCommand(program, chosen);
  kxhost::addFlickerCommand(program, chosen);
  kxhost::addGenerateCommand(program, chosen);
  kxhost::addManCommand(program);
  kxhost::addCompletionCommand(program);
  bool force = false;
  kxhost::addForceOption(program, force);
  program.footer(
      "Exit code: 0 if all went well, 1 if an input could not be used or an output not be written, 2 if the command\n"
      "line is wrong, 128 and its number after a signal.\n"
      "\n"
      "Examples:\n"
      "  kxhost stats recording.wav\n"
      "  kxhost stats --plot overview.png recording.wav\n"
      "  kxhost view recording.wav -o curve.png --cursor 600,200\n"
      "  kxhost spectrum recording.wav --plot spectrum.png --tone\n"
      "  kxhost resample recording.wav --rate 48000 -o resampled.wav\n"
      "  kxhost filter recording.wav --lowpass 1000 -o filtered.wav --plot response.png\n"
      "  kxhost noise --pink --seconds 10 -o pink.wav --plot spectrum.png\n"
      "  kxhost combustion --simulate --plot engine.png\n"
      "  kxhost generate power -o mains.wav\n"
      "  kxhost power mains.wav --plot mains.png\n"
      "  kxhost flicker mains.wav --plot flicker.png\n"
      "  kxhost stats --help");

  try {
    program.parse(argumentCount, arguments);
    if (!chosen) {
      throw CLI::RequiredError("A subcommand");
    }
  } catch (const CLI::Success& success) {
    return program.exit(success);
  } catch (const CLI::ParseError& error) {
    std::string message = error.what();
    std::replace(message.begin(), message.end(), '\n', ' ');
    kxhost::printTo(std::cerr, "kxhost: {} (kxhost --help tells more)\n", message);
    return misused;
  }
  if (kxhost::writesToStandardOutput(program)) {
    std::cout.rdbuf(std::cerr.rdbuf());
  }
  const kxcalc::Library opened = openLibrary(library);
  kxrecordings::OutputRun outputs(kxhost::replacing(force));
  const int code = chosen(opened.functions());
  if (code == 0) {
    outputs.place();
  }
  if (!std::cout.flush()) {
    throw std::runtime_error("standard output cannot be written");
  }
  return code;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  kxrecordings::endCleanlyOnSignals();
  try {
    return run(argumentCount, arguments);
  } catch (const std::exception& error) {
    kxhost::printTo(std::cerr, "kxhost: {}\n", error.what());
    return failed;
  }
}
