#include <algorithm>
#include <cmath>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

template <class T>
struct Statistics {
  using Offset = std::conditional_t<sizeof(T) == 8 || std::is_same_v<T, int32_t>, double, float>;

  const T* data;
  size_t count;
  Offset rmsOffset;
  T minimum, maximum;
  double sum, sumOfSquares;

  std::vector<Quantity> results() const {
    const double sumOfMagnitudes = std::sqrt(static_cast<double>(count) * sumOfSquares);  // or more, not less
    return {minimum, maximum, {sum, sumOfMagnitudes}, sumOfSquares};
  }
};

template <class T>
void plain(Statistics<T>& w) {
  T minimum = w.data[0];
  T maximum = w.data[0];
  double sum = 0;
  double sumOfSquares = 0;
  for (size_t i = 0; i < w.count; ++i) {
    const T sample = w.data[i];
    minimum = sample < minimum ? sample : minimum;
    maximum = sample > maximum ? sample : maximum;
    const double q = static_cast<double>(sample) + static_cast<double>(w.rmsOffset);
    sum += static_cast<double>(sample);
    sumOfSquares += q * q;
  }
  w.minimum = minimum;
  w.maximum = maximum;
  w.sum = sum;
  w.sumOfSquares = sumOfSquares;
}

#if defined(KXCALC_BENCH_EIGEN)
/// Four passes over each of blocks that stay in the first-level cache.
template <class T>
void eigen(Statistics<T>& w) {
  constexpr size_t blockLength = 2048;
  w.minimum = w.maximum = w.data[0];
  w.sum = w.sumOfSquares = 0;
  for (size_t i = 0; i < w.count; i += blockLength) {
    const auto block = eigenArray(w.data + i, std::min(blockLength, w.count - i));
    w.minimum = std::min(w.minimum, block.minCoeff());
    w.maximum = std::max(w.maximum, block.maxCoeff());
    w.sum += block.template cast<double>().sum();
    w.sumOfSquares += (block.template cast<double>() + static_cast<double>(w.rmsOffset)).square().sum();
  }
}
#endif

#if defined(KXCALC_BENCH_HIGHWAY)
/// Samples from `at` on as doubles.
template <class D>
auto loadAsDoubles(D doubles, const double* at) {
  return hn::LoadU(doubles, at);
}
template <class D>
auto loadAsDoubles(D doubles, const float* at) {
  return hn::PromoteTo(doubles, hn::LoadU(hn::Rebind<float, D>(), at));
}
template <class D>
auto loadAsDoubles(D doubles, const int32_t* at) {
  return hn::PromoteTo(doubles, hn::LoadU(hn::Rebind<int32_t, D>(), at));
}
template <class D>
auto loadAsDoubles(D doubles, const int16_t* at) {
  return hn::PromoteTo(doubles, hn::PromoteTo(hn::Rebind<int32_t, D>(), hn::LoadU(hn::Rebind<int16_t, D>(), at)));
}

template <class T>
void highway(Statistics<T>& w) {
  const hn::ScalableTag<double> doubles;
  const hn::Rebind<T, decltype(doubles)> samples;  // as many
  const size_t width = hn::Lanes(doubles);
  const auto offset = hn::Set(doubles, static_cast<double>(w.rmsOffset));
  auto minimum = hn::Set(samples, w.data[0]), maximum = minimum;
  auto sum0 = hn::Zero(doubles), sum1 = sum0, sum2 = sum0, sum3 = sum0;
  auto squares0 = sum0, squares1 = sum0, squares2 = sum0, squares3 = sum0;
  const auto fold = [&](size_t at, auto& sum, auto& squares) {
    const auto block = hn::LoadU(samples, w.data + at);
    minimum = hn::Min(minimum, block);
    maximum = hn::Max(maximum, block);
    const auto wide = loadAsDoubles(doubles, w.data + at);
    const auto q = hn::Add(wide, offset);
    sum = hn::Add(sum, wide);
    squares = hn::MulAdd(q, q, squares);
  };
  size_t i = forEachVector(0, w.count, 4 * width, [&](size_t at) {
    fold(at, sum0, squares0);
    fold(at + width, sum1, squares1);
    fold(at + 2 * width, sum2, squares2);
    fold(at + 3 * width, sum3, squares3);
  });
  i = forEachVector(i, w.count, width, [&](size_t at) { fold(at, sum0, squares0); });
  const auto total = [&](auto a, auto b, auto c, auto d) {
    return hn::GetLane(hn::SumOfLanes(doubles, hn::Add(hn::Add(a, b), hn::Add(c, d))));
  };
  w.sum = total(sum0, sum1, sum2, sum3);
  w.sumOfSquares = total(squares0, squares1, squares2, squares3);
  T least[hn::MaxLanes(samples)], greatest[hn::MaxLanes(samples)];
  hn::StoreU(minimum, samples, least);
  hn::StoreU(maximum, samples, greatest);
  w.minimum = *std::min_element(least, least + width);
  w.maximum = *std::max_element(greatest, greatest + width);
  for (; i < w.count; ++i) {
    w.minimum = std::min(w.minimum, w.data[i]);
    w.maximum = std::max(w.maximum, w.data[i]);
    const double q = static_cast<double>(w.data[i]) + static_cast<double>(w.rmsOffset);
    w.sum += static_cast<double>(w.data[i]);
    w.sumOfSquares += q * q;
  }
}
#endif

#if defined(KXCALC_BENCH_VOLK)
void volk(Statistics<float>& w) {
  const auto count = static_cast<uint32_t>(w.count);
  auto* const data = const_cast<float*>(w.data);
  uint32_t least = 0, greatest = 0;
  volk_32f_index_min_32u(&least, data, count);
  volk_32f_index_max_32u(&greatest, data, count);
  w.minimum = data[least];
  w.maximum = data[greatest];
  float deviation = 0, mean = 0;
  volk_32f_stddev_and_mean_32f_x2(&deviation, &mean, data, count);
  const double about = static_cast<double>(mean) + static_cast<double>(w.rmsOffset);
  w.sum = static_cast<double>(w.count) * static_cast<double>(mean);
  w.sumOfSquares =
      static_cast<double>(w.count) * (static_cast<double>(deviation) * static_cast<double>(deviation) + about * about);
}
#endif

#if defined(KXCALC_BENCH_OPENBLAS)
/// The squares about the offset, from those about 0.
template <class T>
void shiftSquares(Statistics<T>& w) {
  const auto offset = static_cast<double>(w.rmsOffset);
  w.sumOfSquares += offset * (2 * w.sum + offset * static_cast<double>(w.count));
}

void openblas(Statistics<float>& w) {
  const auto count = static_cast<blasint>(w.count);
  w.minimum = w.data[cblas_ismin(count, w.data, 1)];
  w.maximum = w.data[cblas_ismax(count, w.data, 1)];
  w.sum = static_cast<double>(cblas_ssum(count, w.data, 1));
  w.sumOfSquares = cblas_dsdot(count, w.data, 1, w.data, 1);
  shiftSquares(w);
}
void openblas(Statistics<double>& w) {
  const auto count = static_cast<blasint>(w.count);
  w.minimum = w.data[cblas_idmin(count, w.data, 1)];
  w.maximum = w.data[cblas_idmax(count, w.data, 1)];
  w.sum = cblas_dsum(count, w.data, 1);
  w.sumOfSquares = cblas_ddot(count, w.data, 1, w.data, 1);
  shiftSquares(w);
}
#endif

template <class T, class Export>
void compare(const char* name, const char* variant, Signal signal, typename Statistics<T>::Offset rmsOffset,
             Export kernel) {
  Comparison comparison(
      name, variant, [=](size_t count) { return Statistics<T>{samples<T>(signal), count, rmsOffset, {}, {}, 0, 0}; },
      [kernel](const Functions& functions, Statistics<T>& w) {
        w.sum = w.sumOfSquares = 0;
        (functions.*kernel)(w.data, static_cast<uint32_t>(w.count), &w.minimum, &w.maximum, &w.sum, &w.sumOfSquares,
                            w.rmsOffset);
      });
  comparison.template limitedByTraffic<Traffic{.first = sizeof(T)}>([](Statistics<T>& w) { return Streams{w.data}; });
  comparison.limitedByChain(0.5);  // two partial sums side by side

  const std::string order =
      std::is_floating_point_v<T> ? "the order of the sums, which NaN or zero wins" : "the order of the sums";
  const Contract otherOrder = otherBits(order, sumsInOtherOrder);
  const Contract fused = otherBits(order + ", the rounding of each operation", sumsInOtherOrder);
  comparison.plain(otherOrder, plain<T>);
  comparison.reordered(fused, plain<T>);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", otherOrder, eigen<T>);
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", fused, highway<T>);
#endif
#if defined(KXCALC_BENCH_VOLK)
  if constexpr (std::is_same_v<T, float>) {
    comparison.library("VOLK", otherBits(order + ", sums in double (mean and deviation in single)", sumsInSingle),
                       volk);
  }
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
  if constexpr (std::is_same_v<T, float>) {
    comparison.library(
        "OpenBLAS",
        otherBits(order + ", squares about the offset (about 0, and shifted), sums in double throughout", sumsInSingle),
        [](Statistics<T>& w) { openblas(w); });
  } else if constexpr (std::is_same_v<T, double>) {
    comparison.library("OpenBLAS",
                       otherBits(order + ", squares about the offset (about 0, and shifted)", sumsInOtherOrder),
                       [](Statistics<T>& w) { openblas(w); });
  }
#endif
}

const bool registered = [] {
  compare<float>("kxcalcGetMinMaxAveRMS_float", "", Signal::noise, 0, &Functions::kxcalcGetMinMaxAveRMS_float);
  compare<float>("kxcalcGetMinMaxAveRMS_float", "offset", Signal::noise, -0.24F,
                 &Functions::kxcalcGetMinMaxAveRMS_float);
  compare<double>("kxcalcGetMinMaxAveRMS_double", "", Signal::noise, 0, &Functions::kxcalcGetMinMaxAveRMS_double);
  compare<double>("kxcalcGetMinMaxAveRMS_double", "offset", Signal::noise, -0.24,
                  &Functions::kxcalcGetMinMaxAveRMS_double);
  compare<int16_t>("kxcalcGetMinMaxAveRMS_int16_t", "", Signal::noise, 0, &Functions::kxcalcGetMinMaxAveRMS_int16_t);
  compare<int16_t>("kxcalcGetMinMaxAveRMS_int16_t", "whole-offset", Signal::noise, -7,
                   &Functions::kxcalcGetMinMaxAveRMS_int16_t);
  compare<int16_t>("kxcalcGetMinMaxAveRMS_int16_t", "fractional-offset", Signal::noise, -7.3F,
                   &Functions::kxcalcGetMinMaxAveRMS_int16_t);
  compare<int32_t>("kxcalcGetMinMaxAveRMS_int32_t", "16-bit-data", Signal::range16, 0,
                   &Functions::kxcalcGetMinMaxAveRMS_int32_t);
  compare<int32_t>("kxcalcGetMinMaxAveRMS_int32_t", "24-bit-data", Signal::range24, 0,
                   &Functions::kxcalcGetMinMaxAveRMS_int32_t);
  compare<int32_t>("kxcalcGetMinMaxAveRMS_int32_t", "32-bit-data", Signal::noise, 0,
                   &Functions::kxcalcGetMinMaxAveRMS_int32_t);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
