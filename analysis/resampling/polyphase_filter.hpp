// A low-pass whose outputs lie at any other rate than its inputs, for few coefficients.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "analysis/resampling/kaiser_sinc.hpp"
#include "analysis/resampling/rate_ratio.hpp"

namespace kxanalysis {

/// A Kaiser-windowed sinc at the outputs' positions: output k lies at the input position k * inputs / outputs. The first sample
/// also stands for those before it and the last one for those behind it; the last output is the first one that lies at the
/// last sample or behind it.
class PolyphaseFilter {
public:
  /// So many coefficients at most are kept: where outputs have more positions between two samples, the coefficients of
  /// each are interpolated, which takes twice as long.
  static constexpr size_t mostCoefficients = size_t{1} << 15;

  PolyphaseFilter(RateRatio ratio, Transition transition);

  /// Takes the stream's next samples and appends the outputs that are complete. Splitting a stream changes nothing.
  void feed(std::span<const double> samples, std::vector<double>& outputs);

  /// Ends the stream and appends the outputs that were still due.
  void finish(std::vector<double>& outputs);

private:
  double output() const;

  size_t half_, length_;  // of the coefficients of an output
  bool isInterpolated_;
  double rowsAPart_;          // rows for each of the places that outputs have between two samples
  std::vector<double> rows_;  // coefficients of each phase; if they are interpolated, also of one before and two behind
  std::vector<double> window_;  // what outputs still take, from `half_` - 1 before the sample at `begin_`
  uint64_t begin_ = 0;
  uint64_t samples_ = 0;  // so far,
  double last_ = 0;       // and the last one of them
  OutputPosition next_;
};

}  // namespace kxanalysis
