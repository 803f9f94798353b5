#include <algorithm>
#include <cmath>
#include <memory>
#include <tuple>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

constexpr size_t taps = 16, rows = 8;

#if defined(KXCALC_BENCH_LIQUID)
struct Destroy {
  void operator()(firpfb_rrrf bank) const { firpfb_rrrf_destroy(bank); }
};
using LiquidBank = std::unique_ptr<firpfb_rrrf_s, Destroy>;

/// Its first coefficient of a row belongs to the newest sample, ours to the oldest; it takes the rows interleaved.
LiquidBank createLiquid(const float* coefficients) {
  std::vector<float> interleaved(rows * taps);
  for (size_t i = 0; i < interleaved.size(); ++i) {
    interleaved[i] = coefficients[i % rows * taps + (taps - 1 - i / rows)];
  }
  return LiquidBank(firpfb_rrrf_create(rows, interleaved.data(), static_cast<unsigned>(interleaved.size())));
}
#endif

/// A bank of filters: each new sample gives one output with the next row. It enters the ring just before, or the ring
/// has been filled for a while.
struct Bank {
  const float* input;
  float* output;
  size_t count;
  const float* coefficients = samples<float>(Signal::otherNoise);
  std::vector<float> ring;
  size_t position = 0;  // where the newest sample stands
  bool fills;
#if defined(KXCALC_BENCH_LIQUID)
  LiquidBank liquid = createLiquid(coefficients);
#endif

  Bank(size_t outputs, size_t length, bool oneByOne)
      : input(samples<float>(Signal::noise)),
        output(scratch<float>(outputs)),
        count(outputs),
        ring(length),
        fills(oneByOne) {
    if (!fills) {
      std::copy_n(input, length, ring.begin());
    }
  }

  /// sum(row, index of the next sample)
  template <class Sum>
  void filter(Sum sum) {
    for (size_t i = 0; i < count; ++i) {
      position = position + 1 == ring.size() ? 0 : position + 1;
      if (fills) {
        ring[position] = input[i];
      }
      output[i] = sum(i % rows, position + 1);
    }
  }

  /// The sum of products where the samples are side by side, else one after the other.
  template <class Product>
  void filterWith(Product product) {
    filter([&, product](size_t row, size_t next) {
      const float* const weights = coefficients + row * taps;
      if (next >= taps) {
        return product(ring.data() + next - taps, weights);
      }
      float sum = 0;
      size_t at = next + ring.size() - taps;
      for (size_t k = 0; k < taps; ++k) {
        sum += weights[k] * ring[at];
        at = at + 1 == ring.size() ? 0 : at + 1;
      }
      return sum;
    });
  }

  /// Terms of both signs may cancel; their magnitudes are of the order of 1.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(output, count);
    for (Quantity& quantity : all) {
      quantity.scale = static_cast<double>(taps);
    }
    return all;
  }
};

float plainProduct(const float* a, const float* b) {
  float sum = 0;
  for (size_t k = 0; k < taps; ++k) {
    sum += a[k] * b[k];
  }
  return sum;
}

#if defined(KXCALC_BENCH_EIGEN)
float eigenProduct(const float* a, const float* b) {
  using Taps = Eigen::Map<const Eigen::Array<float, taps, 1>>;
  return (Taps(a) * Taps(b)).sum();
}
#endif

#if defined(KXCALC_BENCH_VOLK)
float volkProduct(const float* a, const float* b) {
  float sum = 0;
  volk_32f_x2_dot_prod_32f(&sum, a, b, taps);
  return sum;
}
#endif

void compareBank(const char* variant, size_t length, bool fills) {
  Comparison comparison(
      "kxcalcPowerCalcFIR_float", variant, [=](size_t count) { return Bank(count, length, fills); },
      [](const Functions& functions, Bank& w) {
        PowerFirArgs args{w.ring.data(), w.coefficients, 0, 0, static_cast<uint32_t>(w.ring.size())};
        w.filter([&](size_t row, size_t next) {
          args.row = static_cast<uint32_t>(row);
          args.position = static_cast<uint32_t>(next);
          return functions.kxcalcPowerCalcFIR_float(&args);
        });
      },
      {blockSizes[0]});

  const Contract order = otherBits("the order of the sum", otherRoundings);
  const auto loop = [](Bank& w) { w.filterWith(plainProduct); };
  comparison.plain(order, loop);
  comparison.reordered(order, loop);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", order, [](Bank& w) { w.filterWith(eigenProduct); });
#endif
#if defined(KXCALC_BENCH_VOLK)
  comparison.library("VOLK", order, [](Bank& w) { w.filterWith(volkProduct); });
#endif
#if defined(KXCALC_BENCH_LIQUID)
  if (fills) {
    comparison.library("liquid", order, [](Bank& w) {
      for (size_t i = 0; i < w.count; ++i) {
        firpfb_rrrf_push(w.liquid.get(), w.input[i]);
        firpfb_rrrf_execute(w.liquid.get(), static_cast<unsigned>(i % rows), w.output + i);
      }
    });
  }
#endif
}

struct Scale {
  const double* input;
  float* output;
  size_t count;
  float factor;
  double sum = 0;

  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(output, count);
    all.emplace_back(sum);
    return all;
  }
};

template <bool accumulate>
void plainScale(Scale& w) {
  const auto [input, output, count] = std::tuple(w.input, w.output, w.count);
  const auto factor = static_cast<double>(w.factor);
  double sum = 0;
  for (size_t i = 0; i < count; ++i) {
    output[i] = static_cast<float>(factor * input[i]);
    if constexpr (accumulate) {
      sum += static_cast<double>(std::abs(output[i]));
    }
  }
  w.sum = sum;
}

#if defined(KXCALC_BENCH_EIGEN)
template <bool accumulate>
void eigenScale(Scale& w) {
  constexpr size_t blockLength = 2048;
  w.sum = 0;
  for (size_t i = 0; i < w.count; i += blockLength) {
    const size_t length = std::min(blockLength, w.count - i);
    auto block = eigenArray(w.output + i, length);
    block = (eigenArray(w.input + i, length) * static_cast<double>(w.factor)).template cast<float>();
    if constexpr (accumulate) {
      w.sum += block.abs().template cast<double>().sum();
    }
  }
}
#endif

template <bool accumulate>
void compareScale(const char* variant) {
  Comparison comparison(
      "kxcalcPowerSumVectorMultipliedWithScalar_double", variant,
      [](size_t count) {
        return Scale{samples<double>(Signal::noise), scratch<float>(count), count, 0.7F};
      },
      [](const Functions& functions, Scale& w) {
        PowerScaleArgs args{w.input, w.output, 0, w.factor, static_cast<int32_t>(w.count), accumulate};
        functions.kxcalcPowerSumVectorMultipliedWithScalar_double(&args);
        w.sum = args.sum;
      });
  comparison.template limitedByTraffic<Traffic{.first = 8, .output = 4}>([](Scale& w) {
    return Streams{w.input, nullptr, w.output};
  });
  if constexpr (accumulate) {
    comparison.limitedByChain(1);
  }

  const Contract order = otherBits("the order of the sum", sumsInOtherOrder);
  comparison.plain(sameBits(), plainScale<accumulate>);
  comparison.reordered(accumulate ? order : sameBits(), plainScale<accumulate>);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", accumulate ? order : sameBits(), eigenScale<accumulate>);
#endif
#if defined(KXCALC_BENCH_VOLK)
  if constexpr (!accumulate) {
    comparison.library("VOLK", otherBits("a product in double", otherRoundings), [](Scale& w) {
      const auto count = static_cast<unsigned>(w.count);
      volk_64f_convert_32f(w.output, w.input, count);
      volk_32f_s32f_multiply_32f(w.output, w.output, w.factor, count);
    });
  }
#endif
}

struct Squares {
  const float* values;
  size_t count;
  float factor;
  double sum;

  std::vector<Quantity> results() const { return {sum}; }
};

void plainSquares(Squares& w) {
  double sum = 0;
  for (size_t i = 0; i < w.count; ++i) {
    const auto scaled = static_cast<double>(w.values[i] * w.factor);
    sum += scaled * scaled;
  }
  w.sum = sum;
}

#if defined(KXCALC_BENCH_EIGEN)
void eigenSquares(Squares& w) {
  w.sum = (eigenArray(w.values, w.count) * w.factor).cast<double>().square().sum();
}
#endif

void compareSquares() {
  Comparison comparison(
      "kxcalcPowerMultiplyAndSquareElementsAndSumVector_float", "",
      [](size_t count) {
        return Squares{samples<float>(Signal::noise), count, 0.7F, 0};
      },
      [](const Functions& functions, Squares& w) {
        w.sum = functions.kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(
            w.values, static_cast<int32_t>(w.count), w.factor);
      });
  comparison.limitedByTraffic<Traffic{.first = 4}>([](Squares& w) { return Streams{w.values}; });
  comparison.limitedByChain(1);

  const Contract order = otherBits("the order of the sum", sumsInOtherOrder);
  comparison.plain(sameBits(), plainSquares);
  comparison.reordered(order, plainSquares);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", order, eigenSquares);
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
  comparison.library("OpenBLAS", otherBits("the order of the sum, the rounding of each product", sumsInSingle),
                     [](Squares& w) {
                       const double square = static_cast<double>(w.factor) * static_cast<double>(w.factor);
                       w.sum = square * cblas_dsdot(static_cast<blasint>(w.count), w.values, 1, w.values, 1);
                     });
#endif
}

const bool registered = [] {
  compareBank("filled", 4096, false);
  compareBank("one-by-one", 4096, true);
  compareBank("one-by-one-wrapped", taps, true);  // all but one in sixteen over the ring's end
  compareScale<false>("");
  compareScale<true>("accumulate");
  compareSquares();
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
