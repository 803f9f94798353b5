// How far a measuring path strays over frequency, to be taken out of spectra.
#pragma once

#include <string>
#include <vector>

namespace kxanalysis {

/// Factors over frequency: gain and phase in degrees, each on straight lines between the points, and as at the outer
/// points beyond them.
class CorrectionCurve {
public:
  /// Reads a CSV file of three columns: frequency in Hz, ascending, gain, phase in degrees. Throws FileError.
  explicit CorrectionCurve(const std::string& file);

  /// Real and imaginary part of the factors of bins 0 to binCount - 1, as kxcalcPowerCorrectFFT_U takes them. A bin that
  /// has no sine part, the first and the one at half the sample rate, is corrected in gain only.
  std::vector<float> factors(size_t binCount, double binWidth, bool endsAtHalfTheRate) const;

private:
  struct Point {
    double frequency, gain, phase;
  };

  Point at(double frequency) const;

  std::vector<Point> points_;
};

}  // namespace kxanalysis
