#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

template <class T>
struct MinMax {
  const T* data;
  size_t count;
  T minimum, maximum;

  std::vector<Quantity> results() const { return {minimum, maximum}; }
};

template <class T>
void plain(MinMax<T>& w) {
  T minimum = w.data[0];
  T maximum = w.data[0];
  for (size_t i = 1; i < w.count; ++i) {
    const T sample = w.data[i];
    minimum = sample < minimum ? sample : minimum;
    maximum = sample > maximum ? sample : maximum;
  }
  w.minimum = minimum;
  w.maximum = maximum;
}

#if defined(KXCALC_BENCH_EIGEN)
template <class T>
void eigen(MinMax<T>& w) {
  const auto data = eigenArray(w.data, w.count);
  w.minimum = data.minCoeff();
  w.maximum = data.maxCoeff();
}
#endif

#if defined(KXCALC_BENCH_HIGHWAY)
template <class T>
void highway(MinMax<T>& w) {
  const hn::ScalableTag<T> lanes;
  const size_t width = hn::Lanes(lanes);
  auto minimum0 = hn::Set(lanes, w.data[0]), maximum0 = minimum0;
  auto minimum1 = minimum0, maximum1 = minimum0, minimum2 = minimum0, maximum2 = minimum0;
  auto minimum3 = minimum0, maximum3 = minimum0;
  const auto fold = [&](size_t at, auto& minimum, auto& maximum) {
    const auto samples = hn::LoadU(lanes, w.data + at);
    minimum = hn::Min(minimum, samples);
    maximum = hn::Max(maximum, samples);
  };
  size_t i = forEachVector(0, w.count, 4 * width, [&](size_t at) {
    fold(at, minimum0, maximum0);
    fold(at + width, minimum1, maximum1);
    fold(at + 2 * width, minimum2, maximum2);
    fold(at + 3 * width, minimum3, maximum3);
  });
  i = forEachVector(i, w.count, width, [&](size_t at) { fold(at, minimum0, maximum0); });
  minimum0 = hn::Min(hn::Min(minimum0, minimum1), hn::Min(minimum2, minimum3));
  maximum0 = hn::Max(hn::Max(maximum0, maximum1), hn::Max(maximum2, maximum3));
  // Not MinOfLanes, which not every lane type has.
  T least[hn::MaxLanes(lanes)], greatest[hn::MaxLanes(lanes)];
  hn::StoreU(minimum0, lanes, least);
  hn::StoreU(maximum0, lanes, greatest);
  for (size_t k = 0; k < width; ++k) {
    w.minimum = k == 0 || least[k] < w.minimum ? least[k] : w.minimum;
    w.maximum = k == 0 || greatest[k] > w.maximum ? greatest[k] : w.maximum;
  }
  for (; i < w.count; ++i) {
    w.minimum = w.data[i] < w.minimum ? w.data[i] : w.minimum;
    w.maximum = w.data[i] > w.maximum ? w.data[i] : w.maximum;
  }
}
#endif

template <class T, class Export>
void compare(const char* name, const char* variant, Signal signal, Export kernel) {
  Comparison comparison(
      name, variant,
      [signal](size_t count) {
        return MinMax<T>{samples<T>(signal), count, {}, {}};
      },
      [kernel](const Functions& functions, MinMax<T>& w) {
        (functions.*kernel)(w.data, static_cast<uint32_t>(w.count), &w.minimum, &w.maximum);
      });
  comparison.template limitedByTraffic<Traffic{.first = sizeof(T)}>([](MinMax<T>& w) { return Streams{w.data}; });

  // Peers choose otherwise among NaNs and zeros: where the data is made of them, their job is another.
  const bool isOrdinary = signal != Signal::silence && signal != Signal::oneNaN;
  const char* const rule = std::is_floating_point_v<T> ? "which NaN or zero wins" : "";
  const Contract nanRule = isOrdinary ? sameBits(rule) : otherBits(rule, sumsInOtherOrder);
  comparison.plain(nanRule, plain<T>);
  if constexpr (std::is_floating_point_v<T>) {
    comparison.reordered(nanRule, plain<T>);
  }
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", nanRule, eigen<T>);
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", nanRule, highway<T>);
#endif
#if defined(KXCALC_BENCH_VOLK)
  if constexpr (std::is_same_v<T, float>) {
    comparison.library("VOLK", nanRule, [](MinMax<T>& w) {
      uint32_t least = 0, greatest = 0;
      volk_32f_index_min_32u(&least, const_cast<float*>(w.data), static_cast<uint32_t>(w.count));
      volk_32f_index_max_32u(&greatest, const_cast<float*>(w.data), static_cast<uint32_t>(w.count));
      w.minimum = w.data[least];
      w.maximum = w.data[greatest];
    });
  }
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
  if constexpr (std::is_same_v<T, float>) {
    comparison.library("OpenBLAS", nanRule, [](MinMax<T>& w) {
      w.minimum = w.data[cblas_ismin(static_cast<blasint>(w.count), w.data, 1)];
      w.maximum = w.data[cblas_ismax(static_cast<blasint>(w.count), w.data, 1)];
    });
  } else if constexpr (std::is_same_v<T, double>) {
    comparison.library("OpenBLAS", nanRule, [](MinMax<T>& w) {
      w.minimum = w.data[cblas_idmin(static_cast<blasint>(w.count), w.data, 1)];
      w.maximum = w.data[cblas_idmax(static_cast<blasint>(w.count), w.data, 1)];
    });
  }
#endif
}

const bool registered = [] {
  compare<int32_t>("kxcalcGetMinMax_int32_t", "", Signal::noise, &Functions::kxcalcGetMinMax_int32_t);
  compare<int16_t>("kxcalcGetMinMax_int16_t", "", Signal::noise, &Functions::kxcalcGetMinMax_int16_t);
  compare<float>("kxcalcGetMinMax_float", "", Signal::noise, &Functions::kxcalcGetMinMax_float);
  compare<float>("kxcalcGetMinMax_float", "silence", Signal::silence, &Functions::kxcalcGetMinMax_float);
  compare<float>("kxcalcGetMinMax_float", "one-NaN", Signal::oneNaN, &Functions::kxcalcGetMinMax_float);
  compare<double>("kxcalcGetMinMax_double", "", Signal::noise, &Functions::kxcalcGetMinMax_double);
  compare<double>("kxcalcGetMinMax_double", "silence", Signal::silence, &Functions::kxcalcGetMinMax_double);
  compare<double>("kxcalcGetMinMax_double", "one-NaN", Signal::oneNaN, &Functions::kxcalcGetMinMax_double);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
