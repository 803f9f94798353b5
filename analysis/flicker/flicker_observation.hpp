// Observation periods of flicker: where sensation becomes severity.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "analysis/flicker/flicker_severity.hpp"
#include "analysis/problem.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// The sensation of one observation period.
struct FlickerPeriod {
  double largest = 0;     ///< in units of the threshold of perception
  ClassCounts classes{};  ///< samples, which severityOf() makes the short-term severity of
};

/// Cuts a stream of sensation into observation periods of one length, after what is left out while the filters settle.
/// How it is cut into blocks does not matter.
class FlickerObservation {
public:
  /// @param functions  they outlive the observation.
  /// @param settling   samples to leave out at the beginning.
  /// @param length     samples of a period, 1 to 4294967295, which its counters hold.
  static Result<FlickerObservation> create(const Functions& functions, uint64_t settling, uint64_t length);

  /// Takes the next values of sensation; returns the periods that they complete, which stay until the next call.
  std::span<const FlickerPeriod> feed(std::span<const float> sensation);

private:
  FlickerObservation(const Functions& functions, uint64_t settling, uint64_t length)
      : functions_(&functions), settling_(settling), length_(length) {}

  const Functions* functions_;
  uint64_t settling_;
  uint64_t length_;
  FlickerPeriod current_;
  uint64_t observed_ = 0;  // samples of the current period
  std::vector<float> classified_;
  std::vector<FlickerPeriod> complete_;
};

}  // namespace kxanalysis
