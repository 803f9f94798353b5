#include <algorithm>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

/// Runs take it by value: the factors in it could be what the output overwrites, for all that the compiler knows.
struct Combine {
  float* output;
  const float* first;
  const float* second;
  size_t count;
  float factor, secondFactor;

  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(output, count);
    for (Quantity& quantity : all) {
      quantity.scale = 1;  // differences may cancel
    }
    return all;
  }
};

struct Subtract {
  static constexpr const char* name = "kxcalcSubtractVectorsAndMultiplyByScalar_float";

  static void kernel(const Functions& functions, Combine w) {
    functions.kxcalcSubtractVectorsAndMultiplyByScalar_float(w.output, w.first, w.second,
                                                             static_cast<uint32_t>(w.count), w.factor);
  }
  template <class V>
  static V rule(V first, V second, V factor, V) {
    return (first - second) * factor;
  }
#if defined(KXCALC_BENCH_HIGHWAY)
  template <class V>
  static HWY_INLINE V highwayRule(V first, V second, V factor, V) {
    return hn::Mul(hn::Sub(first, second), factor);
  }
#endif
#if defined(KXCALC_BENCH_VOLK)
  static void volk(Combine w) {
    const auto count = static_cast<unsigned>(w.count);
    volk_32f_x2_subtract_32f(w.output, w.first, w.second, count);
    volk_32f_s32f_multiply_32f(w.output, w.output, w.factor, count);
  }
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
  static void openblas(Combine w) {
    const auto count = static_cast<blasint>(w.count);
    if (w.output != w.first) {
      cblas_scopy(count, w.first, 1, w.output, 1);
    }
    cblas_saxpby(count, -w.factor, w.second, 1, w.factor, w.output, 1);
  }
#endif
};

struct Add {
  static constexpr const char* name = "kxcalcAddVectorsAndMultiplyByScalar_float";

  static void kernel(const Functions& functions, Combine w) {
    functions.kxcalcAddVectorsAndMultiplyByScalar_float(w.output, w.first, w.second, static_cast<uint32_t>(w.count),
                                                        w.secondFactor, w.factor);
  }
  template <class V>
  static V rule(V first, V second, V factor, V secondFactor) {
    return (second * secondFactor + first) * factor;
  }
#if defined(KXCALC_BENCH_HIGHWAY)
  template <class V>
  static HWY_INLINE V highwayRule(V first, V second, V factor, V secondFactor) {
    return hn::Mul(hn::Add(hn::Mul(second, secondFactor), first), factor);
  }
#endif
#if defined(KXCALC_BENCH_VOLK)
  static void volk(Combine w) {
    const auto count = static_cast<unsigned>(w.count);
    volk_32f_s32f_multiply_32f(w.output, w.second, w.secondFactor, count);
    volk_32f_x2_add_32f(w.output, w.output, w.first, count);
    volk_32f_s32f_multiply_32f(w.output, w.output, w.factor, count);
  }
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
  static void openblas(Combine w) {
    const auto count = static_cast<blasint>(w.count);
    if (w.output != w.first) {
      cblas_scopy(count, w.first, 1, w.output, 1);
    }
    cblas_saxpby(count, w.secondFactor * w.factor, w.second, 1, w.factor, w.output, 1);
  }
#endif
};

template <class Job>
void plain(Combine w) {
  for (size_t i = 0; i < w.count; ++i) {
    w.output[i] = Job::rule(w.first[i], w.second[i], w.factor, w.secondFactor);
  }
}

#if defined(KXCALC_BENCH_EIGEN)
template <class Job>
void eigen(Combine w) {
  const auto first = eigenArray(w.first, w.count);
  const auto second = eigenArray(w.second, w.count);
  if constexpr (std::is_same_v<Job, Subtract>) {
    eigenArray(w.output, w.count) = (first - second) * w.factor;
  } else {
    eigenArray(w.output, w.count) = (second * w.secondFactor + first) * w.factor;
  }
}
#endif

#if defined(KXCALC_BENCH_HIGHWAY)
template <class Job>
void highway(Combine w) {
  const hn::ScalableTag<float> lanes;
  const size_t width = hn::Lanes(lanes);
  const auto factor = hn::Set(lanes, w.factor), secondFactor = hn::Set(lanes, w.secondFactor);
  const auto combine = [&](size_t at) {
    const auto first = hn::LoadU(lanes, w.first + at), second = hn::LoadU(lanes, w.second + at);
    hn::StoreU(Job::highwayRule(first, second, factor, secondFactor), lanes, w.output + at);
  };
  size_t i = forEachVector(0, w.count, 4 * width, [&](size_t at) {
    combine(at);
    combine(at + width);
    combine(at + 2 * width);
    combine(at + 3 * width);
  });
  i = forEachVector(i, w.count, width, combine);
  for (; i < w.count; ++i) {
    w.output[i] = Job::rule(w.first[i], w.second[i], w.factor, w.secondFactor);
  }
}
#endif

template <class Job, bool inPlace>
void compare() {
  Comparison comparison(
      Job::name, inPlace ? "in-place" : "",
      [](size_t count) {
        const float* const noise = samples<float>(Signal::noise);
        // The factor keeps an output that is its own input in its range, however often it is applied.
        Combine w{scratch<float>(count), noise, samples<float>(Signal::otherNoise), count, 0.5F, 0.75F};
        if (inPlace) {
          w.first = std::copy_n(noise, count, w.output) - count;
        }
        return w;
      },
      Job::kernel);
  comparison.template limitedByTraffic<Traffic{.first = 4, .second = 4, .output = 4, .inPlace = inPlace}>(
      [](Combine& w) {
        return Streams{w.first, w.second, w.output};
      });

  comparison.plain(sameBits(), plain<Job>);
  comparison.reordered(otherBits("the rounding of each operation", otherRoundings), plain<Job>);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", sameBits(), eigen<Job>);
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", sameBits(), highway<Job>);
#endif
#if defined(KXCALC_BENCH_VOLK)
  if constexpr (std::is_same_v<Job, Subtract> || !inPlace) {
    comparison.library("VOLK", sameBits(), Job::volk);
  }
#endif
#if defined(KXCALC_BENCH_OPENBLAS)
  comparison.library("OpenBLAS", otherBits("the rounding of each operation", otherRoundings), Job::openblas);
#endif
}

const bool registered = [] {
  compare<Subtract, false>();
  compare<Subtract, true>();
  compare<Add, false>();
  compare<Add, true>();
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
