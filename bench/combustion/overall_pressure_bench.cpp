#include <algorithm>
#include <limits>
#include <string>
#include <tuple>
#include <utility>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

/// Two cycles come in turn: an average of one alone would come to rest.
struct Fold {
  const float* newCycle;
  const float* nextCycle;
  float* average;
  size_t count;
  uint64_t cycles;
  float peak = 0;

  void finish(float peakOfAverage) {
    peak = peakOfAverage;
    std::swap(newCycle, nextCycle);
  }

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
  w.finish(peak);
}

#if defined(KXCALC_BENCH_EIGEN)
void eigen(Fold& w) {
  constexpr size_t blockLength = 2048;
  const auto cycles = static_cast<double>(w.cycles);
  float peak = std::numeric_limits<float>::min();
  for (size_t i = 0; i < w.count; i += blockLength) {
    const size_t length = std::min(blockLength, w.count - i);
    auto average = eigenArray(w.average + i, length);
    const auto newCycle = eigenArray(w.newCycle + i, length);
    average = ((newCycle.cast<double>() + average.cast<double>() * cycles) / (cycles + 1)).cast<float>();
    peak = std::max(peak, average.maxCoeff());
  }
  w.finish(peak);
}
#endif

/// A divisor that is a power of two makes ties of quotients, and exact reciprocals; any other makes neither. Many cycles give fewer
/// quotients that are hard to round.
void compare(uint64_t divisor) {
  Comparison comparison(
      "kxCalcCAOverallPressure", "divisor-" + std::to_string(divisor),
      [=](size_t count) {
        const float* const noise = samples<float>(Signal::noise);
        Fold w{samples<float>(Signal::otherNoise), noise, scratch<float>(count), count, divisor - 1};
        std::copy_n(noise, count, w.average);
        return w;
      },
      [](const Functions& functions, Fold& w) {
        float peak = 0;
        functions.kxCalcCAOverallPressure(w.newCycle, w.average, 0, static_cast<uint32_t>(w.count), w.cycles, &peak);
        w.finish(peak);
      });
  comparison.limitedByTraffic<Traffic{.first = 4, .second = 4, .output = 4, .inPlace = true}>([](Fold& w) {
    return Streams{w.average, w.newCycle, w.average};
  });

  comparison.plain(sameBits("which NaN wins"), plain<double>);
  comparison.reordered(otherBits("the rounding of each operation", otherRoundings), plain<double>);
#if defined(KXCALC_BENCH_BUILD_REORDERED)
  comparison.library("single", otherBits("arithmetic in double", otherRoundings), plain<float>);
#endif
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", sameBits("which NaN wins"), eigen);
#endif
}

const bool registered = [] {
  compare(8);
  compare(100);
  compare(1000);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
