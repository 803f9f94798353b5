// Smoothing of a cycle's pressure curve by the crank-angle filters.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

enum class Smoothing { none, savitzkyGolay, average };

class CycleSmoother {
public:
  /// @param width   samples that make a smoothed one, odd, at most `length`.
  /// @param length  samples of a cycle.
  CycleSmoother(const Functions& functions, Smoothing smoothing, uint16_t width, size_t length);

  /// Near a cycle's ends the weighted filter takes the outermost sample for those beyond it; the average stays as it
  /// is.
  void smooth(std::span<const float> cycle, std::span<float> smoothed);

private:
  /// What the kernels of double arrays need: 16 bytes, aligned as such.
  struct alignas(16) Doubles {
    double pair[2];
  };

  void smoothByWeights(std::span<const float> cycle, std::span<float> smoothed);
  void smoothByAverage(std::span<const float> cycle, std::span<float> smoothed);

  const Functions& functions_;
  Smoothing smoothing_;
  uint16_t width_;
  std::vector<float> weights_;
  std::vector<float> extended_;          // a cycle, with half a window more on either side
  std::vector<Doubles> input_, output_;  // singles at their start, on the way in and out
};

}  // namespace kxanalysis
