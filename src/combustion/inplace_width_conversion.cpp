// Precision of an array changed inside its own buffer. Element i of either precision starts at its own size times i, so
// narrowing goes forward and widening backward: each block is read whole before its results are written, and these
// cover nothing that is still to be read.
#include "frame/blocks.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

template <class T>
KXCALC_INLINE T readAt(const unsigned char* buffer, size_t index) {
  T value;
  std::memcpy(&value, buffer + index * sizeof(T), sizeof value);
  return value;
}
template <class T>
KXCALC_INLINE void writeAt(unsigned char* buffer, size_t index, T value) {
  std::memcpy(buffer + index * sizeof(T), &value, sizeof value);
}

KXCALC_INLINE void narrowOne(unsigned char* buffer, size_t i) {
  writeAt(buffer, i, static_cast<float>(readAt<double>(buffer, i)));
}
KXCALC_INLINE void narrowFour(unsigned char* buffer, size_t i) {
  const auto low = readAt<f64x2>(buffer, i / 2);
  const auto high = readAt<f64x2>(buffer, i / 2 + 1);
  writeAt(buffer, i / 4, toSingles(low, high));
}

KXCALC_INLINE void widenOne(unsigned char* buffer, size_t i) {
  writeAt(buffer, i, static_cast<double>(readAt<float>(buffer, i)));
}
KXCALC_INLINE void widenFour(unsigned char* buffer, size_t i) {
  const auto singles = readAt<f32x4>(buffer, i / 4);
  writeAt(buffer, i / 2, widenLow(singles));
  writeAt(buffer, i / 2 + 1, widenHigh(singles));
}

constexpr size_t line = 16;

KXCALC_INLINE void narrowArray(unsigned char* buffer, size_t count) {
  size_t i = 0;
  for (; count - i >= line; i += line) {
    prefetchAhead(buffer + i * sizeof(double));
    prefetchAhead(buffer + (i + line / 2) * sizeof(double));
    unrolled<line / 4>([&](size_t k) { narrowFour(buffer, i + 4 * k); });
  }
  for (; count - i >= 4; i += 4) {
    narrowFour(buffer, i);
  }
  for (; i < count; ++i) {
    narrowOne(buffer, i);
  }
}

KXCALC_INLINE void widenArray(unsigned char* buffer, size_t count) {
  size_t i = count;
  while (i % 4 != 0) {
    widenOne(buffer, --i);
  }
  while (i % line != 0) {
    widenFour(buffer, i -= 4);
  }
  while (i != 0) {
    i -= line;
    unrolled<line / 4>([&](size_t k) { widenFour(buffer, i + line - 4 - 4 * k); });
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcCADoubleArrToSingleArrInplace(void* buffer, uint32_t count) {
  kxcalc::narrowArray(static_cast<unsigned char*>(buffer), count);
}

extern "C" void kxcalcCASingleArrToDoubleArrInplace(void* buffer, uint32_t count) {
  kxcalc::widenArray(static_cast<unsigned char*>(buffer), count);
}
