#include <algorithm>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

const Contract otherOrder = otherBits("the order of the sum", otherRoundings);

/// A window that moves on by a sample for each output.
template <class Sample>
struct Window {
  const Sample* input;
  float* output;
  size_t count;
  size_t length, stride;
  const float* weights;
  std::vector<float> oldestFirst;  // the same weights side by side, for peers

  Window(size_t outputs, size_t samplesInWindow, size_t strideOfWeights)
      : input(samples<Sample>(Signal::noise)),
        output(scratch<float>(outputs)),
        count(outputs),
        length(samplesInWindow),
        stride(strideOfWeights),
        weights(samples<float>(Signal::otherNoise)),
        oldestFirst(samplesInWindow) {
    for (size_t k = 0; k < length; ++k) {
      oldestFirst[length - 1 - k] = weights[k * stride];
    }
  }

  /// sum(oldest sample)
  template <class Sum>
  void filter(Sum sum) {
    for (size_t i = 0; i < count; ++i) {
      output[i] = sum(input + i);
    }
  }

  /// Terms of both signs may cancel.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(output, count);
    const double range = std::is_integral_v<Sample> ? static_cast<double>(std::numeric_limits<Sample>::max()) : 1;
    for (Quantity& quantity : all) {
      quantity.scale = range * static_cast<double>(length);
    }
    return all;
  }
};

template <class Sample>
void plain(Window<Sample>& w) {
  const size_t length = w.length, stride = w.stride;
  const float* const weights = w.weights;
  w.filter([=](const Sample* oldest) {
    const Sample* const newest = oldest + length - 1;
    float sum = 0;
    if (stride == 1) {  // worth a loop of its own
      for (size_t k = 0; k < length; ++k) {
        sum += static_cast<float>(*(newest - k)) * weights[k];
      }
    } else {
      for (size_t k = 0; k < length; ++k) {
        sum += static_cast<float>(*(newest - k)) * weights[k * stride];
      }
    }
    return sum;
  });
}

template <class Sample, class Export>
void compareWeightedSum(const char* name, size_t length, size_t stride, Export kernel) {
  using Workload = Window<Sample>;
  Comparison comparison(
      name, std::to_string(length) + "-stride-" + std::to_string(stride),
      [=](size_t count) { return Workload(count, length, stride); },
      [kernel](const Functions& functions, Workload& w) {
        w.filter([&, kernel](const Sample* oldest) {
          return (functions.*kernel)(oldest + w.length - 1, static_cast<uint32_t>(w.length), w.weights,
                                     static_cast<uint32_t>(w.stride));
        });
      },
      {blockSizes[0]});
  comparison.limitedByChain(static_cast<double>(length) / 4);  // four lanes; an addition in single takes as long

  comparison.plain(otherOrder, plain<Sample>);
  comparison.reordered(otherOrder, plain<Sample>);
  [[maybe_unused]] const Contract packed = otherBits("the order of the sum, weights at a stride", otherRoundings);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", packed, [](Workload& w) {
    w.filter([&](const Sample* oldest) {
      return (eigenArray(oldest, w.length).template cast<float>() *
              eigenArray(std::as_const(w).oldestFirst.data(), w.length))
          .sum();
    });
  });
#endif
#if defined(KXCALC_BENCH_VOLK)
  if constexpr (std::is_same_v<Sample, float>) {
    comparison.library("VOLK", packed, [](Workload& w) {
      w.filter([&](const float* oldest) {
        float sum = 0;
        volk_32f_x2_dot_prod_32f(&sum, oldest, w.oldestFirst.data(), static_cast<unsigned>(w.length));
        return sum;
      });
    });
  }
#endif
}

template <class Sample, class Export>
void compareType(const char* name, Export kernel) {
  for (const size_t length : {size_t{16}, size_t{64}, size_t{256}}) {
    compareWeightedSum<Sample>(name, length, 1, kernel);
    compareWeightedSum<Sample>(name, length, 3, kernel);
  }
}

/// Runs take it by value: it could be what a write to output changes, for all that the compiler knows.
struct Smoothing {
  const double* input;
  double* output;
  size_t count;
  size_t width;

  /// Where a mean is near 0, roundings are relative to the samples.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(output, count);
    for (Quantity& quantity : all) {
      quantity.scale = 1;
    }
    return all;
  }
};

void plainAverage(Smoothing w) {
  const size_t half = w.width / 2;
  double mean = 0;
  for (size_t i = 0; i < w.width; ++i) {
    mean = (mean * static_cast<double>(i) + w.input[i]) / static_cast<double>(i + 1);
  }
  std::fill_n(w.output, half + 1, mean);
  const auto divisor = static_cast<double>(w.width);
  for (size_t i = half + 1; i < w.count - half; ++i) {
    mean = (mean * divisor + w.input[i + half] - w.input[i - half - 1]) / divisor;
    w.output[i] = mean;
  }
  std::fill_n(w.output + w.count - half, half, mean);
}

void compareAverage() {
  constexpr uint16_t width = 51;
  Comparison comparison(
      "kxcalcCACalcAveFilter_double", "",
      [](size_t count) {
        return Smoothing{samples<double>(Signal::noise), scratch<double>(count), count, width};
      },
      [](const Functions& functions, Smoothing& w) {
        functions.kxcalcCACalcAveFilter_double(w.input, w.output, width, static_cast<uint32_t>(w.count));
      });
  comparison.limitedByTraffic<Traffic{.first = 8, .output = 8}>([](Smoothing& w) {
    return Streams{w.input, nullptr, w.output};
  });
  comparison.limitedByChainOf(
      [](double mean, double operand) { return ((mean * operand + operand) - operand) / operand; });

  comparison.plain(sameBits(), plainAverage);
  comparison.reordered(otherBits("the rounding of each operation", sumsInOtherOrder), plainAverage);
}

const bool registered = [] {
  compareType<int16_t>("kxcalcCACalcFilter_int16_t", &Functions::kxcalcCACalcFilter_int16_t);
  compareType<float>("kxcalcCACalcFilter_float", &Functions::kxcalcCACalcFilter_float);
  compareType<int32_t>("kxcalcCACalcFilter_int32_t", &Functions::kxcalcCACalcFilter_int32_t);
  compareAverage();
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
