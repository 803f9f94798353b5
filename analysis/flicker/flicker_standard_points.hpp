// The test points of IEC 61000-4-15, edition 2: voltage changes that a flickermeter must find to be of strength 1.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "analysis/flicker/flickermeter.hpp"
#include "analysis/problem.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// Shape of a voltage's change, and what is to be 1: the largest sensation (of sinusoidal and of rectangular changes), or
/// the short-term severity (of rectangular ones).
enum class FlickerSeries { sinusoidal, rectangular, severity };

struct FlickerStandardPoint {
  FlickerSeries series;
  Lamp lamp;
  double modulation;  ///< frequency in Hz; of severity points the number of changes in a minute
  double change;      ///< of the voltage, peak to peak, in percent

  /// Frequency of the change in Hz: there are two changes in a period.
  double frequency() const { return series == FlickerSeries::severity ? modulation / 120 : modulation; }

  /// The deviation from 1 that the standard allows, in percent.
  double tolerance() const { return series == FlickerSeries::severity ? 5 : 8; }
};

/// A lamp's points.
std::vector<FlickerStandardPoint> flickerStandardPoints(FlickerSeries series, Lamp lamp);

/// The voltage of a point, from time 0 on.
class StandardVoltage {
public:
  /// @param rate  in Hz, above 0.
  StandardVoltage(const FlickerStandardPoint& point, double rate) : point_(point), rate_(rate) {}

  /// Fills in the next samples, in V.
  void next(std::span<float> voltage);

private:
  FlickerStandardPoint point_;
  double rate_;
  uint64_t position_ = 0;
};

/// Feeds a flickermeter with a point's voltage; returns what it finds, 1 where it is without fault. Points of severity
/// take eleven minutes of voltage, the others 25 seconds.
/// @param rate  of the meter in Hz, at least leastFlickerRate.
Result<double> measureStandardPoint(const Functions& functions, const FlickerStandardPoint& point, double rate);

}  // namespace kxanalysis
