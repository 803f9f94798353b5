// Smoothing of a cycle's pressure curve by the crank-angle filters.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "analysis/problem.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// By a least-squares parabola around each sample, or by the average around it.
enum class Smoothing { none, savitzkyGolay, average };

class CycleSmoother {
public:
  /// @param functions  they outlive the smoother.
  /// @param width      samples that make a smoothed one, odd, at most `length`. Without smoothing it is not looked at.
  /// @param length     samples of a cycle, at least 1.
  static Result<CycleSmoother> create(const Functions& functions, Smoothing smoothing, uint16_t width, size_t length);

  /// Near a cycle's ends the weighted filter takes the outermost sample for those beyond it; the average leaves the
  /// samples there as they are.
  /// @param cycle, smoothed  of that length, not overlapping.
  void smooth(std::span<const float> cycle, std::span<float> smoothed);

private:
  /// What the kernels of double arrays need: 16 bytes, aligned as such.
  struct alignas(16) Doubles {
    double pair[2];
  };

  CycleSmoother(const Functions& functions, Smoothing smoothing, uint16_t width, size_t length);

  void smoothByWeights(std::span<const float> cycle, std::span<float> smoothed);
  void smoothByAverage(std::span<const float> cycle, std::span<float> smoothed);

  const Functions* functions_;
  Smoothing smoothing_;
  uint16_t width_;
  std::vector<float> weights_;
  std::vector<float> extended_;          // a cycle, with half a window more on either side
  std::vector<Doubles> input_, output_;  // singles at their start, on the way in and out
};

}  // namespace kxanalysis
