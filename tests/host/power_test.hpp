// Recordings of voltages and currents for the tests of `kxhost power`.
#pragma once

#include "host/kxhost_test.hpp"

namespace kxhost_test {

/// A component of a signal: order of the mains frequency, rms, sine phase in degrees.
struct Harmonic {
  double order, rms, degrees;
};

using Signal = std::vector<Harmonic>;

class PowerTest : public KxhostTest {
public:
  /// Samples of each signal at a rate, as many as fill that many cycles of the mains frequency.
  /// @param start  phase of order 1 at the first sample, in degrees.
  static std::vector<std::vector<double>> sample(const std::vector<Signal>& signals, double rate, double frequency,
                                                 double cycles, double start = 0);

protected:
  /// Writes a CSV file of channels with these names.
  std::string writeCsv(const std::string& name, const std::vector<std::string>& columns,
                       const std::vector<std::vector<double>>& channels) const;

  /// Runs `kxhost power --json` with these arguments, expects success and returns what it printed.
  nlohmann::json power(std::vector<std::string> arguments) const;

  /// Expects `kxhost power` to refuse a file.
  void expectPowerRefused(const std::string& file, const std::string& reason,
                          std::vector<std::string> options = {}) const;
};

/// Expects a number within a part in a million of the value, or of the scale that goes with it.
void expectClose(const nlohmann::json& number, double value, double scale = 0);

}  // namespace kxhost_test
