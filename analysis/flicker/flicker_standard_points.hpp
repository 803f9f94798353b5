// The test points of IEC 61000-4-15, edition 2: voltage changes that a flickermeter must find to be of strength 1.
#pragma once

#include <string>
#include <vector>

#include "analysis/flicker/flickermeter.hpp"

namespace kxanalysis {

/// Shape of a voltage's change, and what is to be 1: the largest sensation, or the short-term severity.
enum class FlickerTest { sinusoidal, rectangular, severity };

struct FlickerTestPoint {
  FlickerTest test;
  Lamp lamp;
  double modulation;  ///< frequency in Hz; of severity points the number of changes in a minute
  double change;      ///< of the voltage, peak to peak, in percent

  /// Frequency of the change in Hz: there are two changes in a period.
  double frequency() const { return test == FlickerTest::severity ? modulation / 120 : modulation; }

  /// The deviation from 1 that the standard allows, in percent.
  double tolerance() const { return test == FlickerTest::severity ? 5 : 8; }
};

/// A lamp's test points.
std::vector<FlickerTestPoint> flickerTestPoints(FlickerTest test, Lamp lamp);

/// Feeds a flickermeter of that sample rate with each point's voltage; returns what it finds, 1 where it is without
/// fault. Several points are measured at a time.
std::vector<double> measureTestPoints(const Functions& functions, const std::vector<FlickerTestPoint>& points,
                                      double rate);

}  // namespace kxanalysis
