// Subcommands: each adds itself to the program's command line and tells what is to be done when the user chooses it.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "functions/functions.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {

/// What the chosen subcommand does with the library. Returns the program's exit code.
using Action = std::function<int(const Functions&)>;

/// Each of these adds a subcommand, which sets `chosen` when it is the one.
void addStatsCommand(CLI::App& program, Action& chosen);
void addViewCommand(CLI::App& program, Action& chosen);
void addSpectrumCommand(CLI::App& program, Action& chosen);
void addResampleCommand(CLI::App& program, Action& chosen);
void addFilterCommand(CLI::App& program, Action& chosen);
void addNoiseCommand(CLI::App& program, Action& chosen);
void addCombustionCommand(CLI::App& program, Action& chosen);
void addPowerCommand(CLI::App& program, Action& chosen);
void addFlickerCommand(CLI::App& program, Action& chosen);
void addGenerateCommand(CLI::App& program, Action& chosen);

/// These print what is made of the program's own options, and need no library.
void addManCommand(CLI::App& program);
void addCompletionCommand(CLI::App& program);

}  // namespace kxhost
