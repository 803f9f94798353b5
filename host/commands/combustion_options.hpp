#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "analysis/combustion/cycle_analysis.hpp"
#include "analysis/combustion/engine.hpp"
#include "analysis/combustion/engine_simulation.hpp"
#include "host/reports/floors.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// The command line of `kxhost combustion`.
struct CombustionOptions {
  std::string file;
  InputOptions input;
  double topDeadCentre = 0;  // in the file's angles
  bool simulate = false;
  bool json = false;
  std::string picture;
  std::string output;
  Engine engine;
  AnalysisOptions analysis;
  Simulation simulation;

  /// What messages call the cycles' origin.
  std::string source() const { return simulate ? "simulation" : file; }

  /// Throws CLI::ValidationError if the options contradict each other.
  void requireSense() const;
};

/// @param options  lives as long as the command.
void addCombustionOptions(CLI::App& command, CombustionOptions& options);

}  // namespace kxhost
