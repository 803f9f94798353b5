// How far a measuring path strays over frequency, to be taken out of spectra.
#pragma once

#include <cstddef>
#include <vector>

#include "analysis/problem.hpp"

namespace kxanalysis {

/// What a spectrum is to be multiplied by at one frequency.
struct CorrectionPoint {
  double frequency;  ///< in Hz
  double gain;
  double phase;  ///< in degrees
};

/// Factors over frequency: gain and phase, each on straight lines between the points, and as at the outer points beyond
/// them.
class CorrectionCurve {
public:
  /// @param points  at least one, finite, by ascending frequency. Problems of a point are told as "point 1 ...".
  static Result<CorrectionCurve> create(std::vector<CorrectionPoint> points);

  CorrectionPoint at(double frequency) const;

  /// Real and imaginary part of the factors of bins 0 to binCount - 1, as kxcalcPowerCorrectFFT_U takes them. A bin that
  /// has no sine part, the first and the one at half the sample rate, is corrected in gain only.
  /// @param binWidth          in Hz.
  /// @param endsAtHalfTheRate  whether the last bin lies at half the sample rate.
  std::vector<float> factors(size_t binCount, double binWidth, bool endsAtHalfTheRate) const;

private:
  explicit CorrectionCurve(std::vector<CorrectionPoint> points);

  std::vector<CorrectionPoint> points_;
};

}  // namespace kxanalysis
