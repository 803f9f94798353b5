// A low-pass with twice as many outputs as inputs, or half as many, for many coefficients.
#pragma once

#include <span>
#include <vector>

#include "analysis/filters/overlap_save.hpp"
#include "analysis/resampling/kaiser_sinc.hpp"

namespace kxanalysis {

enum class RateStep { twice, half };

/// What PolyphaseFilter computes for one input and two outputs, or for two inputs and one output, by transforms of blocks.
class TwofoldFilter {
public:
  TwofoldFilter(RateStep step, Transition transition);

  /// Takes the stream's next samples, which are finite, and appends the outputs that are complete. Splitting a stream changes
  /// nothing.
  void feed(std::span<const double> samples, std::vector<double>& outputs);

  /// Ends the stream and appends the outputs that were still due.
  void finish(std::vector<double>& outputs);

private:
  void repeat(double sample, size_t times, std::vector<double>& outputs);

  RateStep step_;
  size_t half_;  // of the coefficients of an output
  OverlapSave convolution_;
  bool isEmpty_ = true;
  double last_ = 0;
};

}  // namespace kxanalysis
