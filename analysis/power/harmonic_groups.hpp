// Harmonics and what lies between them, in groups of bins: IEC 61000-4-7, 3.2 and 5.6.
#pragma once

#include <cmath>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace kxanalysis {

/// Groups of the bins of a window of 10 or 12 cycles, which lie 5 Hz apart: root sums of the squares of their rms values.
/// A component that fluctuates, or that lies beside a harmonic, is spread over several bins and found as a whole in one
/// group. Windows of other numbers of cycles are taken in the same way; of less than fewestCycles all is empty.
struct HarmonicGroups {
  static constexpr size_t fewestCycles = 4;

  /// Of orders 1, 2, ...: all bins that are nearer to the order than to another; those halfway count half.
  std::vector<double> harmonic;
  /// Of the same orders: the order's bin and its two neighbours.
  std::vector<double> harmonicSubgroups;
  /// All bins between two orders: below order 1, from 1 to 2, ...
  std::vector<double> interharmonic;
  /// The same without the neighbours of the orders.
  std::vector<double> interharmonicSubgroups;

  /// Drops what reaches beyond a frequency.
  /// @param orders  that frequency over the fundamental's.
  void keepBelow(double orders);
};

/// @param squares  of the bins' rms values, from bin 0 on, of all that count.
/// @param cycles   in the window: bins an order.
/// @param orders   how many, if there are bins for them.
HarmonicGroups groupsOf(std::span<const double> squares, size_t cycles, size_t orders);

/// A distortion: magnitudes of orders from 2 on over that of order 1, as a ratio; nothing without order 1.
template <class Number>
std::optional<double> distortionOf(const std::vector<Number>& magnitudes) {
  double squares = 0;
  for (size_t i = 1; i < magnitudes.size(); ++i) {
    squares += static_cast<double>(magnitudes[i]) * static_cast<double>(magnitudes[i]);
  }
  const double first = magnitudes.empty() ? 0 : static_cast<double>(magnitudes[0]);
  return first != 0 ? std::optional(std::sqrt(squares) / first) : std::nullopt;
}

}  // namespace kxanalysis
