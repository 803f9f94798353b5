#include <algorithm>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

constexpr size_t longBlock = 5'000'000;
constexpr uint32_t window = 100;

/// Runs take it by value: it could be what a write to sum changes, for all that the compiler knows.
struct Curves {
  const float* newCycle;
  const float* leavingCycle;
  float* sum;
  float* average;
  size_t count;

  /// The second of each pair lies behind the first, so that the memory accesses alone can take both as one stream.
  explicit Curves(size_t elements)
      : newCycle(samples<float>(Signal::noise)),
        leavingCycle(newCycle + elements),
        sum(scratch<float>(2 * elements)),
        average(sum + elements),
        count(elements) {
    std::copy_n(samples<float>(Signal::otherNoise), count, sum);
  }

  /// Where a sum is near 0, roundings are relative to its terms.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(sum, 2 * count);
    for (Quantity& quantity : all) {
      quantity.scale = 1;
    }
    return all;
  }
};

struct FirstCycle {
  static constexpr const char* name = "first-cycle";
  static constexpr uint64_t cycles = 0;
  static constexpr const char* waives = "";

  static void plain(Curves w) {
    for (size_t i = 0; i < w.count; ++i) {
      w.sum[i] = w.newCycle[i];
      w.average[i] = w.newCycle[i];
    }
  }
#if defined(KXCALC_BENCH_EIGEN)
  static void eigen(Curves w) {
    eigenArray(w.sum, w.count) = eigenArray(w.newCycle, w.count);
    eigenArray(w.average, w.count) = eigenArray(w.newCycle, w.count);
  }
#endif
};

struct Filling {
  static constexpr const char* name = "filling";
  static constexpr uint64_t cycles = 50;
  static constexpr const char* waives = "what becomes of the elements after the last block of four";

  static void plain(Curves w) {
    for (size_t i = 0; i < w.count; ++i) {
      w.sum[i] += w.newCycle[i];
      w.average[i] = w.sum[i] / cycles;
    }
  }
#if defined(KXCALC_BENCH_EIGEN)
  static void eigen(Curves w) {
    auto sum = eigenArray(w.sum, w.count);
    sum += eigenArray(w.newCycle, w.count);
    eigenArray(w.average, w.count) = sum / static_cast<float>(cycles);
  }
#endif
};

struct Sliding {
  static constexpr const char* name = "sliding";
  static constexpr uint64_t cycles = 500;
  static constexpr const char* waives = "what becomes of the elements after the last block of four";

  static void plain(Curves w) {
    for (size_t i = 0; i < w.count; ++i) {
      w.sum[i] = w.sum[i] + w.newCycle[i] - w.leavingCycle[i];
      w.average[i] = w.sum[i] / window;
    }
  }
#if defined(KXCALC_BENCH_EIGEN)
  static void eigen(Curves w) {
    auto sum = eigenArray(w.sum, w.count);
    sum = sum + eigenArray(w.newCycle, w.count) - eigenArray(w.leavingCycle, w.count);
    eigenArray(w.average, w.count) = sum / static_cast<float>(window);
  }
#endif
};

/// The averages' memory is read, too, before it is written.
template <class State>
void compare() {
  Comparison comparison(
      "kxCalcCARunningVal", State::name, [](size_t count) { return Curves(count); },
      [](const Functions& functions, Curves& w) {
        functions.kxCalcCARunningVal(w.newCycle, w.leavingCycle, w.sum, w.average, 0,
                                     static_cast<uint32_t>(w.count - 1), State::cycles, window);
      },
      {blockSizes[0], blockSizes[1], longBlock});
  const auto streams = [](Curves& w) { return Streams{w.sum, w.newCycle, w.sum}; };
  if constexpr (State::cycles == 0) {
    comparison.template limitedByTraffic<Traffic{.first = 4, .output = 8}>([](Curves& w) {
      return Streams{w.newCycle, nullptr, w.sum};
    });
  } else if constexpr (State::cycles < window) {
    comparison.template limitedByTraffic<Traffic{.first = 8, .second = 4, .output = 8, .inPlace = true}>(streams);
  } else {
    comparison.template limitedByTraffic<Traffic{.first = 8, .second = 8, .output = 8, .inPlace = true}>(streams);
  }

  comparison.plain(sameBits(State::waives), State::plain);
  comparison.reordered(otherBits("the rounding of each operation", otherRoundings), State::plain);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", sameBits(State::waives), State::eigen);
#endif
}

const bool registered = [] {
  compare<FirstCycle>();
  compare<Filling>();
  compare<Sliding>();
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
