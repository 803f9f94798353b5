#include "host/commands/outputs.hpp"

#include <unistd.h>

#include <exception>
#include <iostream>
#include <utility>
#include <vector>

#include "host/commands/options.hpp"
#include "host/reports/print.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

void addForceOption(CLI::App& program, bool& force) {
  for (CLI::App* const command : program.get_subcommands([](CLI::App* /*any*/) { return true; })) {
    if (command->get_option_no_throw("--output") != nullptr || command->get_option_no_throw("--plot") != nullptr) {
      command->add_flag("--force", force, "Replace files that exist; without it, a terminal's user is asked");
    }
    addForceOption(*command, force);
  }
}

OutputRun::Permission replacing(const bool& force) {
  return [&force](const std::string& file) {
    if (force) {
      return;
    }
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
      throw FileError(file, "exists already: --force replaces it");
    }
    printTo(std::cerr, "kxhost: {} exists already. Replace it? [y/N] ", file);
    std::cerr.flush();
    std::string answer;
    std::getline(std::cin, answer);
    if (!answer.starts_with('y') && !answer.starts_with('Y')) {
      throw FileError(file, "exists already, and stays");
    }
  };
}

bool writesToStandardOutput(const CLI::App& program) {
  for (const CLI::App* const command : program.get_subcommands()) {
    const CLI::Option* const output = command->get_option_no_throw("--output");
    if ((output != nullptr && output->count() > 0 && output->as<std::string>() == "-") ||
        writesToStandardOutput(*command)) {
      return true;
    }
  }
  return false;
}

int finishOutputs(const std::function<void()>& finish) {
  try {
    finish();
    placeOutputs();
    return 0;
  } catch (const std::exception& error) {
    printTo(std::cerr, "kxhost: {}\n", error.what());
    return 1;
  }
}

FrameFormat RecordingOutput::kind() const {
  return format.value_or(file.ends_with(".csv") ? FrameFormat::csv : FrameFormat::wav);
}

CLI::Option& addRecordingOutput(CLI::App& command, RecordingOutput& output, const std::string& help) {
  auto& file =
      *command.add_option("-o,--output", output.file, help + ": WAV of 32-bit floats, or CSV; - is standard output")
           ->type_name("OUT.wav|OUT.csv|-")
           ->check([check = endingIn({".wav", ".csv"})](const std::string& name) {
             return name == "-" ? std::string() : check(name);
           });
  command.add_option("--format", output.format, "Format of what goes to standard output: wav (default) or csv")
      ->type_name("NAME")
      ->transform(CLI::CheckedTransformer(
          std::vector<std::pair<std::string, FrameFormat>>{{"wav", FrameFormat::wav}, {"csv", FrameFormat::csv}}))
      ->needs(&file);
  command.parse_complete_callback([&output] {
    if (output.format && output.file != "-") {
      throw CLI::ValidationError("--format", "is for standard output (-o -): a file has the format of its ending");
    }
  });
  return file;
}

std::unique_ptr<FrameOutput> beginRecording(const RecordingOutput& output, const FrameContents& contents) {
  if (output.file == "-" && output.kind() == FrameFormat::wav && isatty(STDOUT_FILENO) != 0) {
    throw FileError("standard output", "is a terminal, which cannot show WAV: --format csv can be read there");
  }
  return createFrames(output.file, output.kind(), contents);
}

}  // namespace kxhost
