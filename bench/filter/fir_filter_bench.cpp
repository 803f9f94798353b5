#include <algorithm>
#include <memory>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

#if defined(KXCALC_BENCH_LIQUID)
struct Destroy {
  void operator()(firfilt_rrrf filter) const { firfilt_rrrf_destroy(filter); }
};
using LiquidFilter = std::unique_ptr<firfilt_rrrf_s, Destroy>;

/// Its first coefficient belongs to the newest sample, ours to the oldest.
LiquidFilter createLiquid(const float* coefficients, size_t taps) {
  std::vector<float> newestFirst(taps);
  std::reverse_copy(coefficients, coefficients + taps, newestFirst.begin());
  return LiquidFilter(firfilt_rrrf_create(newestFirst.data(), static_cast<unsigned>(taps)));
}
#endif

/// Each new sample replaces the oldest in the ring, and gives one output.
struct Stream {
  const float* input;
  float* output;
  size_t count;
  const float* coefficients = samples<float>(Signal::otherNoise);
  std::vector<float> ring;
  size_t position = 0;
#if defined(KXCALC_BENCH_LIQUID)
  LiquidFilter liquid;
#endif

  Stream(size_t outputs, size_t taps)
      : input(samples<float>(Signal::noise)), output(scratch<float>(outputs)), count(outputs), ring(taps) {
#if defined(KXCALC_BENCH_LIQUID)
    liquid = createLiquid(coefficients, taps);
#endif
  }

  template <class Sum>
  void filter(Sum sum) {
    for (size_t i = 0; i < count; ++i) {
      ring[position] = input[i];
      position = position + 1 == ring.size() ? 0 : position + 1;
      output[i] = sum(ring.data(), coefficients, ring.size(), position);
    }
  }

  /// The sum of products for each of the ring's two segments.
  template <class Product>
  void filterBySegments(Product product) {
    filter([product](const float* samples, const float* weights, size_t taps, size_t begin) {
      const size_t first = taps - begin;
      return product(samples + begin, weights, first) + product(samples, weights + first, begin);
    });
  }

  /// Terms of both signs may cancel; their magnitudes are of the order of 1.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(output, count);
    for (Quantity& quantity : all) {
      quantity.scale = static_cast<double>(ring.size());
    }
    return all;
  }
};

float plain(const float* a, const float* b, size_t count) {
  float sum = 0;
  for (size_t i = 0; i < count; ++i) {
    sum += a[i] * b[i];
  }
  return sum;
}

#if defined(KXCALC_BENCH_EIGEN)
float eigen(const float* a, const float* b, size_t count) {
  return (eigenArray(a, count) * eigenArray(b, count)).sum();
}
#endif

#if defined(KXCALC_BENCH_VOLK)
float volk(const float* a, const float* b, size_t count) {
  float sum = 0;
  volk_32f_x2_dot_prod_32f(&sum, a, b, static_cast<unsigned>(count));
  return sum;
}
#endif

void compare(const char* variant, size_t taps) {
  Comparison comparison(
      "kxcalcFIRFilter_float", variant, [=](size_t count) { return Stream(count, taps); },
      [](const Functions& functions, Stream& w) {
        w.filter([&](const float* ring, const float* coefficients, size_t length, size_t position) {
          return functions.kxcalcFIRFilter_float(ring, coefficients, static_cast<uint32_t>(length),
                                                 static_cast<uint32_t>(position));
        });
      },
      {blockSizes[0]});
  comparison.limitedByChain(static_cast<double>(taps) / 4);  // four lanes; an addition in single takes as long

  const Contract order = otherBits("the order of the sum", otherRoundings);
  const auto loop = [](Stream& w) { w.filterBySegments(plain); };
  comparison.plain(order, loop);
  comparison.reordered(order, loop);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", order, [](Stream& w) { w.filterBySegments(eigen); });
#endif
#if defined(KXCALC_BENCH_VOLK)
  comparison.library("VOLK", order, [](Stream& w) { w.filterBySegments(volk); });
#endif
#if defined(KXCALC_BENCH_LIQUID)
  comparison.library("liquid", order, [](Stream& w) {
    for (size_t i = 0; i < w.count; ++i) {
      firfilt_rrrf_push(w.liquid.get(), w.input[i]);
      firfilt_rrrf_execute(w.liquid.get(), w.output + i);
    }
  });
#endif
}

const bool registered = [] {
  compare("64-taps", 64);
  compare("256-taps", 256);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
