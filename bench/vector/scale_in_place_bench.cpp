#include <algorithm>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

/// Runs take it by value: the factor in it could be what a write to data changes, for all that the compiler knows.
template <class T>
struct Scale {
  T* data;
  size_t count;
  T factor;

  std::vector<Quantity> results() const { return elementsOf(data, count); }
};

template <class T>
void plain(Scale<T> w) {
  for (size_t i = 0; i < w.count; ++i) {
    w.data[i] *= w.factor;
  }
}

#if defined(KXCALC_BENCH_EIGEN)
template <class T>
void eigen(Scale<T> w) {
  eigenArray(w.data, w.count) *= w.factor;
}
#endif

#if defined(KXCALC_BENCH_HIGHWAY)
template <class T>
void highway(Scale<T> w) {
  const hn::ScalableTag<T> lanes;
  const size_t width = hn::Lanes(lanes);
  const auto factor = hn::Set(lanes, w.factor);
  const auto scale = [&](size_t at) { hn::StoreU(hn::Mul(hn::LoadU(lanes, w.data + at), factor), lanes, w.data + at); };
  size_t i = forEachVector(0, w.count, 4 * width, [&](size_t at) {
    scale(at);
    scale(at + width);
    scale(at + 2 * width);
    scale(at + 3 * width);
  });
  i = forEachVector(i, w.count, width, scale);
  for (; i < w.count; ++i) {
    w.data[i] *= w.factor;
  }
}
#endif

template <class T, class Export>
void compare(const char* name, Export kernel) {
  Comparison comparison(
      name, "",
      [](size_t count) {
        // A factor of -1 keeps the data in its range, however often it is applied.
        Scale<T> w{scratch<T>(count), count, -1};
        std::copy_n(samples<T>(Signal::noise), count, w.data);
        return w;
      },
      [kernel](const Functions& functions, Scale<T>& w) {
        (functions.*kernel)(w.data, static_cast<uint32_t>(w.count), w.factor);
      });
  comparison.template limitedByTraffic<Traffic{.first = sizeof(T), .output = sizeof(T), .inPlace = true}>(
      [](Scale<T>& w) {
        return Streams{w.data, nullptr, w.data};
      });

  comparison.plain(sameBits(), plain<T>);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", sameBits(), eigen<T>);
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", sameBits(), highway<T>);
#endif
#if defined(KXCALC_BENCH_VOLK)
  if constexpr (std::is_same_v<T, float>) {
    comparison.library("VOLK", sameBits(), [](Scale<T>& w) {
      volk_32f_s32f_multiply_32f(w.data, w.data, w.factor, static_cast<unsigned>(w.count));
    });
  }
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
  comparison.library("OpenBLAS", sameBits("what a factor of 0 makes of NaNs and infinities"), [](Scale<T>& w) {
    if constexpr (std::is_same_v<T, float>) {
      cblas_sscal(static_cast<blasint>(w.count), w.factor, w.data, 1);
    } else {
      cblas_dscal(static_cast<blasint>(w.count), w.factor, w.data, 1);
    }
  });
#endif
}

const bool registered = [] {
  compare<float>("kxcalcMultiplyVectorByScalar_float", &Functions::kxcalcMultiplyVectorByScalar_float);
  compare<double>("kxcalcMultiplyVectorByScalar_double", &Functions::kxcalcMultiplyVectorByScalar_double);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
