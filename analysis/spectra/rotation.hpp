#pragma once

#include <complex>
#include <cstdint>
#include <numbers>

namespace kxanalysis {

/// exp(-2 pi i turns / whole), by the angle that is nearest to 0.
inline std::complex<double> rotation(uint64_t turns, uint64_t whole) {
  const uint64_t rest = turns % whole;
  const double left = rest > whole / 2 ? -static_cast<double>(whole - rest) : static_cast<double>(rest);
  return std::polar(1.0, -2 * std::numbers::pi * left / static_cast<double>(whole));
}

}  // namespace kxanalysis
