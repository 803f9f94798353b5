// Average over the latest cycles, element by element: a sum of cycles, and the sum divided. All in single.
//
// Whole blocks of four and the up to three elements after them differ: while the window fills, blocks divide
// by the number of cycles before this one, the rest by one more; when it slides, blocks add the new cycle to the sum
// before they take the leaving one away, the rest adds the difference of both.
#include "frame/blocks.hpp"
#include "frame/wide_integers.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

struct Curves {
  const float* newCycle;
  const float* leavingCycle;
  float* sum;
  float* average;

  template <class At, class V>
  KXCALC_INLINE void store(At at, V newSum, V newAverage) const {
    at.store(sum, newSum);
    at.store(average, newAverage);
  }
};

/// rule(Pack) for the blocks from element 0 on, rule(One) for the elements after them.
template <class Rule>
KXCALC_INLINE void walkBlocksAndRest(Curves curves, size_t count, Rule rule) {
  for (size_t i = walkBlocks<4>(count, rule, curves.newCycle, curves.sum, curves.average); i < count; ++i) {
    rule(One{i});
  }
}

KXCALC_INLINE void copyFirst(Curves curves, size_t count) {
  walkBlocksAndRest(curves, count, [=](auto at) {
    const auto first = at.load(curves.newCycle);
    curves.store(at, first, first);
  });
}

struct Filling {
  Curves curves;
  float cycles;

  KXCALC_INLINE float divisor(One) const { return cycles + 1.0F; }
  template <size_t width>
  KXCALC_INLINE float divisor(Pack<width>) const {
    return cycles;
  }
  template <class At>
  KXCALC_INLINE void operator()(At at) const {
    const auto sum = at.load(curves.newCycle) + at.load(curves.sum);
    curves.store(at, sum, sum / divisor(at));
  }
};

struct Sliding {
  Curves curves;
  float window;

  KXCALC_INLINE float moved(float sum, float added, float leaving) const { return (added - leaving) + sum; }
  template <class V>
  KXCALC_INLINE V moved(V sum, V added, V leaving) const {
    return (sum + added) - leaving;
  }
  template <class At>
  KXCALC_INLINE void operator()(At at) const {
    const auto sum = moved(at.load(curves.sum), at.load(curves.newCycle), at.load(curves.leavingCycle));
    curves.store(at, sum, sum / window);
  }
};

}  // namespace
}  // namespace kxcalc

extern "C" void kxCalcCARunningVal(const float* newCycle, const float* leavingCycle, float* sum, float* average,
                                   uint32_t first, uint32_t last, uint64_t cycles, uint32_t window) {
  using namespace kxcalc;
  const Curves curves{newCycle, leavingCycle, sum, average};
  const uint32_t count = last - first + 1;
  if (cycles == 0) {
    copyFirst(curves, count);
  } else if (cycles < window) {
    walkBlocksAndRest(curves, count, Filling{curves, toSingle(cycles)});
  } else {
    walkBlocksAndRest(curves, count, Sliding{curves, toSingle(uint64_t{window})});
  }
}
