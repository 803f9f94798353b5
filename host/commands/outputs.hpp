// What commands have in common that write files.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/reports/floors.hpp"
#include "recordings/frame_output.hpp"
#include "recordings/output_file.hpp"

namespace kxhost {

/// Adds --force to the commands, and those below them, that write files.
void addForceOption(CLI::App& program, bool& force);

/// Existing files are replaced with --force, or when the user says so on a terminal.
/// @param force  outlives the run.
OutputRun::Permission replacing(const bool& force);

/// Whether the commands that were chosen write to standard output what else would be a file: all they say has to go
/// elsewhere then.
bool writesToStandardOutput(const CLI::App& program);

/// Calls finish(), which draws and completes the outputs of a run, and puts them in place. What goes wrong with that is
/// told, and then none of them appears; the figures of the run can be printed all the same. Returns the exit code.
int finishOutputs(const std::function<void()>& finish);

/// A recording that a command writes: in the format of its ending, or of an option for standard output, "-".
struct RecordingOutput {
  std::string file;
  std::optional<FrameFormat> format;

  bool isWanted() const { return !file.empty(); }
  std::string name() const { return file == "-" ? "standard output" : file; }
  FrameFormat kind() const;
};

/// Adds its options.
CLI::Option& addRecordingOutput(CLI::App& command, RecordingOutput& output, const std::string& help);

/// Begins it. Throws FileError if nothing can be written there.
std::unique_ptr<FrameOutput> beginRecording(const RecordingOutput& output, const FrameContents& contents);

}  // namespace kxhost
