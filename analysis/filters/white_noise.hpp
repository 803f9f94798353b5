#pragma once

#include <cstdint>
#include <random>

namespace kxanalysis {

/// White noise, evenly distributed over [-1, 1): the upper 53 bits of each number of the Mersenne twister MT19937-64
/// (Matsumoto and Nishimura 1998, Nishimura 2000), as a multiple of 2^-52, less 1. A seed gives the same noise on
/// every machine.
class WhiteNoise {
public:
  /// Its mean square: the variance of that distribution.
  static constexpr double meanSquare = 1.0 / 3;

  explicit WhiteNoise(uint64_t seed) : random_(seed) {}

  double next() { return static_cast<double>(random_() >> 11) * 0x1p-52 - 1; }

private:
  std::mt19937_64 random_;
};

}  // namespace kxanalysis
