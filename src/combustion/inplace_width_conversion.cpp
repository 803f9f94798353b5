// Precision of an array changed inside its own buffer. Element i of either precision starts at its own size times i, so
// narrowing goes forward and widening backward: each block is read whole before its results are written, and these
// cover nothing that is still to be read.
#include "frame/blocks.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

/// One element; the buffer holds both precisions at once, so that it has the type of neither.
template <class To, class From>
KXCALC_INLINE void convertOne(void* buffer, size_t i) {
  From from;
  std::memcpy(&from, static_cast<From*>(buffer) + i, sizeof from);
  const To to = static_cast<To>(from);
  std::memcpy(static_cast<To*>(buffer) + i, &to, sizeof to);
}

KXCALC_INLINE void narrowArray(void* buffer, size_t count) {
  auto* const doubles = static_cast<double*>(buffer);
  auto* const singles = static_cast<float*>(buffer);
  const auto narrow = [=](auto at) KXCALC_INLINE_LAMBDA { at.store(singles, toSingles(at.load(doubles))); };
  for (size_t i = walkBlocks<4>(count, narrow, doubles); i < count; ++i) {
    convertOne<float, double>(buffer, i);
  }
}

KXCALC_INLINE void widenArray(void* buffer, size_t count) {
  auto* const doubles = static_cast<double*>(buffer);
  auto* const singles = static_cast<float*>(buffer);
  size_t i = count;
  while (i % 4 != 0) {
    convertOne<double, float>(buffer, --i);
  }
  walkBlocksDown<4>(i, [=](auto at) KXCALC_INLINE_LAMBDA { at.store(doubles, at.loadAsDoubles(singles)); });
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcCADoubleArrToSingleArrInplace(void* buffer, uint32_t count) {
  kxcalc::narrowArray(buffer, count);
}

extern "C" void kxcalcCASingleArrToDoubleArrInplace(void* buffer, uint32_t count) {
  kxcalc::widenArray(buffer, count);
}
