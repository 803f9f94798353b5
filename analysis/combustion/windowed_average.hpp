#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// The average of the last cycles.
class WindowedAverage {
public:
  /// @param functions  they outlive the average.
  /// @param length     samples of a cycle, at least 1.
  /// @param window     cycles in the average once there are as many, at least 1.
  WindowedAverage(const Functions& functions, size_t length, uint32_t window);

  /// Takes the next cycle, of that length.
  void feed(std::span<const float> cycle);

  std::span<const float> curve() const { return std::span(average_).first(length_); }

  /// Cycles in the average.
  size_t cycles() const { return history_.size(); }

private:
  const Functions* functions_;
  size_t length_;
  uint32_t window_;
  uint64_t cycles_ = 0;
  std::vector<float> sum_, average_;
  std::vector<std::vector<float>> history_;  // cycle c at c % window
};

}  // namespace kxanalysis
