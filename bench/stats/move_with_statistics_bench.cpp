#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

struct Move {
  int16_t* destination;
  const int16_t* source;
  size_t count;
  size_t stride;
  int16_t minimum, maximum;
  double sum, sumOfSquares;

  /// The extremes are merged with the caller's where the stride is above 1.
  void clear() {
    minimum = std::numeric_limits<int16_t>::max();
    maximum = std::numeric_limits<int16_t>::min();
    sum = sumOfSquares = 0;
  }

  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(destination, count);
    all.insert(all.end(),
               {minimum, maximum, {sum, std::sqrt(static_cast<double>(count) * sumOfSquares)}, sumOfSquares});
    return all;
  }
};

template <size_t stride>
void plain(Move& w) {
  int16_t minimum = w.source[0];
  int16_t maximum = w.source[0];
  double sum = 0;
  double sumOfSquares = 0;
  for (size_t i = 0; i < w.count; ++i) {
    // A stride of 1 is worth a loop of its own; a caller does not know the others before it runs.
    const int16_t sample = w.source[i * (stride == 1 ? 1 : w.stride)];
    w.destination[i] = sample;
    minimum = sample < minimum ? sample : minimum;
    maximum = sample > maximum ? sample : maximum;
    const double value = sample;
    sum += value;
    sumOfSquares += value * value;
  }
  w.minimum = minimum;
  w.maximum = maximum;
  w.sum = sum;
  w.sumOfSquares = sumOfSquares;
}

#if defined(KXCALC_BENCH_EIGEN)
void eigen(Move& w) {
  using Strided = Eigen::Map<const Eigen::Array<int16_t, Eigen::Dynamic, 1>, 0, Eigen::InnerStride<>>;
  constexpr size_t blockLength = 2048;
  w.clear();
  for (size_t i = 0; i < w.count; i += blockLength) {
    auto block = eigenArray(w.destination + i, std::min(blockLength, w.count - i));
    block = Strided(w.source + i * w.stride, block.size(), Eigen::InnerStride<>(static_cast<Eigen::Index>(w.stride)));
    w.minimum = std::min(w.minimum, block.minCoeff());
    w.maximum = std::max(w.maximum, block.maxCoeff());
    w.sum += block.cast<double>().sum();
    w.sumOfSquares += block.cast<double>().square().sum();
  }
}
#endif

#if defined(KXCALC_BENCH_HIGHWAY)
/// One vector of samples that stand `stride` apart.
template <size_t stride, class D>
auto loadStrided(D samples, const int16_t* from) {
  [[maybe_unused]] hn::Vec<D> first, second, third, fourth;
  if constexpr (stride == 1) {
    first = hn::LoadU(samples, from);
  } else if constexpr (stride == 2) {
    hn::LoadInterleaved2(samples, from, first, second);
  } else {
    static_assert(stride == 4);
    hn::LoadInterleaved4(samples, from, first, second, third, fourth);
  }
  return first;
}

/// Sums of products in 32 bits would overflow; the halves are widened and summed in double.
template <size_t stride>
void highway(Move& w) {
  const hn::ScalableTag<int16_t> samples;
  const hn::Half<decltype(samples)> half;
  const hn::ScalableTag<int32_t> wide;
  const hn::Half<decltype(wide)> halfWide;
  const hn::ScalableTag<double> doubles;
  auto minimum = hn::Set(samples, w.source[0]), maximum = minimum;
  std::array sums{hn::Zero(doubles), hn::Zero(doubles), hn::Zero(doubles), hn::Zero(doubles)};
  std::array squares = sums;
  int16_t* const destination = w.destination;  // a write there could change w, for all that the compiler knows
  const int16_t* const source = w.source;
  const size_t last = w.count - hn::Lanes(samples);  // a vector's other channels end behind the last sample
  size_t i = forEachVector(0, last, hn::Lanes(samples), [&](size_t at) {
    const auto block = loadStrided<stride>(samples, source + at * stride);
    hn::StoreU(block, samples, destination + at);
    minimum = hn::Min(minimum, block);
    maximum = hn::Max(maximum, block);
    const auto low = hn::PromoteTo(wide, hn::LowerHalf(half, block));
    const auto high = hn::PromoteTo(wide, hn::UpperHalf(half, block));
    const std::array quarters{hn::LowerHalf(halfWide, low), hn::UpperHalf(halfWide, low), hn::LowerHalf(halfWide, high),
                              hn::UpperHalf(halfWide, high)};
    for (size_t k = 0; k < 4; ++k) {
      const auto values = hn::PromoteTo(doubles, quarters[k]);
      sums[k] = hn::Add(sums[k], values);
      squares[k] = hn::MulAdd(values, values, squares[k]);
    }
  });
  const auto total = [&](const auto& parts) {
    return hn::GetLane(hn::SumOfLanes(doubles, hn::Add(hn::Add(parts[0], parts[1]), hn::Add(parts[2], parts[3]))));
  };
  w.sum = total(sums);
  w.sumOfSquares = total(squares);
  int16_t least[hn::MaxLanes(samples)], greatest[hn::MaxLanes(samples)];
  hn::StoreU(minimum, samples, least);
  hn::StoreU(maximum, samples, greatest);
  w.minimum = *std::min_element(least, least + hn::Lanes(samples));
  w.maximum = *std::max_element(greatest, greatest + hn::Lanes(samples));
  for (; i < w.count; ++i) {
    const int16_t sample = w.destination[i] = w.source[i * stride];
    w.minimum = std::min(w.minimum, sample);
    w.maximum = std::max(w.maximum, sample);
    w.sum += sample;
    w.sumOfSquares += static_cast<double>(sample) * sample;
  }
}
#endif

template <size_t stride>
void compare(const char* variant) {
  Comparison comparison(
      "kxcalcMoveAndGetMinMaxAveRMS_int16_t", variant,
      [](size_t count) { return Move{scratch<int16_t>(count), interleavedSamples(), count, stride, 0, 0, 0, 0}; },
      [](const Functions& functions, Move& w) {
        w.clear();
        functions.kxcalcMoveAndGetMinMaxAveRMS_int16_t(w.destination, w.source, static_cast<uint32_t>(w.count),
                                                       &w.minimum, &w.maximum, &w.sum, &w.sumOfSquares, 0,
                                                       static_cast<int32_t>(w.stride));
      });
  comparison.template limitedByTraffic<Traffic{.first = 2 * stride, .output = 2}>([](Move& w) {
    return Streams{w.source, nullptr, w.destination};
  });
  comparison.limitedByChain(0.5);  // two partial sums side by side

  const Contract order = otherBits("the order of the sums", sumsInOtherOrder);
  const Contract fused = otherBits("the order of the sums, the rounding of each operation", sumsInOtherOrder);
  comparison.plain(order, plain<stride>);
  comparison.reordered(fused, plain<stride>);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", order, eigen);
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  if constexpr (stride <= 4) {
    comparison.library("Highway", fused, highway<stride>);
  }
#endif
}

const bool registered = [] {
  static_assert(largestStride == 32);
  compare<1>("stride-1");
  compare<2>("stride-2");
  compare<4>("stride-4");
  compare<32>("stride-32");
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
