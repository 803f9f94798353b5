#include <algorithm>
#include <limits>
#include <tuple>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

struct Fold {
  const float* newCycle;
  float* average;
  size_t count;
  uint64_t cycles;
  float peak = 0;

  /// Where an average is near 0, roundings are relative to the pressures.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(average, count);
    for (Quantity& quantity : all) {
      quantity.scale = 1;
    }
    all.emplace_back(peak);
    return all;
  }
};

template <class Working>
void plain(Fold& w) {
  const auto [newCycle, average, count] = std::tuple(w.newCycle, w.average, w.count);
  const auto cycles = static_cast<Working>(w.cycles);
  float peak = std::numeric_limits<float>::min();
  for (size_t i = 0; i < count; ++i) {
    average[i] = static_cast<float>((static_cast<Working>(newCycle[i]) + static_cast<Working>(average[i]) * cycles) /
                                    (cycles + 1));
    peak = average[i] > peak ? average[i] : peak;
  }
  w.peak = peak;
}

#if defined(KXCALC_BENCH_EIGEN)
void eigen(Fold& w) {
  constexpr size_t blockLength = 2048;
  const auto cycles = static_cast<double>(w.cycles);
  w.peak = std::numeric_limits<float>::min();
  for (size_t i = 0; i < w.count; i += blockLength) {
    const size_t length = std::min(blockLength, w.count - i);
    auto average = eigenArray(w.average + i, length);
    const auto newCycle = eigenArray(w.newCycle + i, length);
    average = ((newCycle.cast<double>() + average.cast<double>() * cycles) / (cycles + 1)).cast<float>();
    w.peak = std::max(w.peak, average.maxCoeff());
  }
}
#endif

void compare(const char* variant, uint64_t cycles) {
  Comparison comparison(
      "kxCalcCAOverallPressure", variant,
      [cycles](size_t count) {
        Fold w{samples<float>(Signal::otherNoise), scratch<float>(count), count, cycles};
        std::copy_n(samples<float>(Signal::noise), count, w.average);
        return w;
      },
      [](Fold& w) {
        kxCalcCAOverallPressure(w.newCycle, w.average, 0, static_cast<uint32_t>(w.count), w.cycles, &w.peak);
      });
  comparison.limitedByTraffic<Traffic{.first = 4, .second = 4, .output = 4, .inPlace = true}>([](Fold& w) {
    return Streams{w.average, w.newCycle, w.average};
  });

  comparison.plain("", plain<double>, otherRoundings);
  comparison.reordered("the rounding of each operation", plain<double>);
#if defined(KXCALC_BENCH_BUILD_REORDERED)
  comparison.library("single", "arithmetic in double", plain<float>, otherRoundings);
#endif
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", "", eigen, otherRoundings);
#endif
}

/// A power of two divides without a rounding, and many cycles give few quotients that are hard to round.
const bool registered = [] {
  compare("", 99);
  compare("divisor 8", 7);
  compare("divisor 1000", 999);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
