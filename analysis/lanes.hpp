// Two doubles side by side, as the compiler's vector type: one instruction for both wherever processors have such.
#pragma once

#include <cstddef>
#include <cstring>

namespace kxanalysis {

typedef double Lanes __attribute__((vector_size(16)));
constexpr size_t laneCount = 2;

/// From, or to, any address of a double.
inline Lanes load(const double* from) {
  Lanes lanes;
  std::memcpy(&lanes, from, sizeof lanes);
  return lanes;
}
inline void store(double* to, Lanes lanes) {
  std::memcpy(to, &lanes, sizeof lanes);
}

}  // namespace kxanalysis
