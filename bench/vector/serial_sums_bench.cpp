#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

/// first equals second where the squares of one vector are summed.
struct Products {
  const float* first;
  const float* second;
  size_t count;
  double sum;

  /// Terms of both signs may cancel; their magnitudes are of the order of 1.
  std::vector<Quantity> results() const { return {{sum, static_cast<double>(count)}}; }
};

template <bool squares>
void plain(Products& w) {
  double sum = 0;
  for (size_t i = 0; i < w.count; ++i) {
    const auto first = static_cast<double>(w.first[i]);
    const double second = squares ? first : static_cast<double>(w.second[i]);
    sum += first * second;
  }
  w.sum = sum;
}

#if defined(KXCALC_BENCH_EIGEN)
template <bool squares>
void eigen(Products& w) {
  const auto first = eigenArray(w.first, w.count).cast<double>();
  if constexpr (squares) {
    w.sum = first.square().sum();
  } else {
    w.sum = (first * eigenArray(w.second, w.count).cast<double>()).sum();
  }
}
#endif

#if defined(KXCALC_BENCH_HIGHWAY)
template <bool squares>
void highway(Products& w) {
  const hn::ScalableTag<double> doubles;
  const hn::Rebind<float, decltype(doubles)> singles;  // as many
  const size_t width = hn::Lanes(doubles);
  auto sum0 = hn::Zero(doubles), sum1 = sum0, sum2 = sum0, sum3 = sum0;
  const auto fold = [&](size_t at, auto& sum) {
    const auto first = hn::PromoteTo(doubles, hn::LoadU(singles, w.first + at));
    if constexpr (squares) {
      sum = hn::MulAdd(first, first, sum);
    } else {
      sum = hn::MulAdd(first, hn::PromoteTo(doubles, hn::LoadU(singles, w.second + at)), sum);
    }
  };
  size_t i = forEachVector(0, w.count, 4 * width, [&](size_t at) {
    fold(at, sum0);
    fold(at + width, sum1);
    fold(at + 2 * width, sum2);
    fold(at + 3 * width, sum3);
  });
  i = forEachVector(i, w.count, width, [&](size_t at) { fold(at, sum0); });
  w.sum = hn::GetLane(hn::SumOfLanes(doubles, hn::Add(hn::Add(sum0, sum1), hn::Add(sum2, sum3))));
  for (; i < w.count; ++i) {
    w.sum += static_cast<double>(w.first[i]) * static_cast<double>(w.second[i]);
  }
}
#endif

template <bool squares>
void compare(const char* name, const char* variant, Signal first, Signal second) {
  Comparison comparison(
      name, variant,
      [=](size_t count) {
        return Products{samples<float>(first), samples<float>(second), count, 0};
      },
      [](const Functions& functions, Products& w) {
        const auto count = static_cast<uint32_t>(w.count);
        w.sum = squares ? functions.kxcalcSumSquaredValues_float(w.first, count)
                        : functions.kxcalcMultiplyVectorsAndCalcSum_float(w.first, w.second, count);
      });
  comparison.template limitedByTraffic<Traffic{.first = 4, .second = squares ? 0 : 4}>([](Products& w) {
    return Streams{w.first, w.second};
  });
  comparison.limitedByChain(1);

  const Contract order = otherBits("the order of the sum", sumsInOtherOrder);
  comparison.plain(sameBits(), plain<squares>);
  comparison.reordered(order, plain<squares>);  // fused, but the products are exact
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", order, eigen<squares>);
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", order, highway<squares>);
#endif
#if defined(KXCALC_BENCH_VOLK)
  comparison.library("VOLK", otherBits("the order of the sum, a sum in double", sumsInSingle), [](Products& w) {
    float sum = 0;
    volk_32f_x2_dot_prod_32f(&sum, w.first, squares ? w.first : w.second, static_cast<unsigned>(w.count));
    w.sum = static_cast<double>(sum);
  });
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
  comparison.library("OpenBLAS", otherBits("the order of the sum, a sum in double throughout", sumsInSingle),
                     [](Products& w) {
                       w.sum = cblas_dsdot(static_cast<blasint>(w.count), w.first, 1, squares ? w.first : w.second, 1);
                     });
#endif
}

const bool registered = [] {
  compare<true>("kxcalcSumSquaredValues_float", "", Signal::noise, Signal::noise);
  compare<false>("kxcalcMultiplyVectorsAndCalcSum_float", "correlated", Signal::noise, Signal::correlated);
  compare<false>("kxcalcMultiplyVectorsAndCalcSum_float", "independent", Signal::noise, Signal::otherNoise);
  compare<false>("kxcalcMultiplyVectorsAndCalcSum_float", "one-sign", Signal::noise, Signal::noise);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
