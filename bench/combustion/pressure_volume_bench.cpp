#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

#if defined(KXCALC_BENCH_HIGHWAY)
#include <hwy/contrib/math/math-inl.h>
#endif

namespace kxcalc::bench {
namespace {

/// Other roundings, and other logarithms than one of an accuracy of 1.2e-4, may move a point to the next pixel.
constexpr double nextPixel = 1.001;

/// Runs take it by value: it could be what a write to output changes, for all that the compiler knows.
struct Axis {
  const float* input;
  int32_t* output;
  size_t count;
  int32_t lower, upper;
  float scale, offset, reference;
  float ratioFloor;  // a variable, or the compiler makes a branch of its own for it, and no vectors

  int32_t place(float value) const {
    return std::clamp(static_cast<int32_t>(std::rint(value * scale + offset)), lower, upper);
  }
  Axis rest(size_t begin) const {
    Axis w = *this;
    w.input += begin;
    w.output += begin;
    w.count -= begin;
    return w;
  }

  /// Pixels, not fractions of what they are.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(output, count);
    for (Quantity& quantity : all) {
      quantity.scale = 1;
    }
    return all;
  }
};

void plainLinear(Axis w) {
  for (size_t i = 0; i < w.count; ++i) {
    w.output[i] = w.place(w.input[i]);
  }
}

void plainLogarithmic(Axis w) {
  for (size_t i = 0; i < w.count; ++i) {
    w.output[i] = w.place(std::log10(std::max(w.input[i] / w.reference, w.ratioFloor)));
  }
}

/// The approximation of the kernel, an element at a time.
float quickLog10(float x) {
  const auto bits = std::bit_cast<uint32_t>(x);
  const auto exponent = static_cast<float>(static_cast<int32_t>(bits >> 23) - 127);
  const auto m = std::bit_cast<float>((bits & 0x007FFFFFU) | 0x3F800000U);
  const float cubic = ((m * -0.107254423F + 0.688243866F) * m - 1.75647175F) * m + 2.61761045F;
  return (exponent + cubic * (m - 1.0F)) / 3.32192802F;
}

[[maybe_unused]] void sameApproximation(Axis w) {
  for (size_t i = 0; i < w.count; ++i) {
    const float ratio = w.input[i] / w.reference;
    w.output[i] = w.place(quickLog10(ratio > w.ratioFloor ? ratio : w.ratioFloor));
  }
}

#if defined(KXCALC_BENCH_EIGEN)
void eigen(Axis w, const auto& values) {
  eigenArray(w.output, w.count) =
      (values * w.scale + w.offset).rint().template cast<int32_t>().min(w.upper).max(w.lower);
}
void eigenLinear(Axis w) {
  eigen(w, eigenArray(w.input, w.count));
}
void eigenLogarithmic(Axis w) {
  constexpr float perNaturalLogarithm = 0.434294482F;
  eigen(w, (eigenArray(w.input, w.count) / w.reference).max(w.ratioFloor).log() * perNaturalLogarithm);
}
#endif

#if defined(KXCALC_BENCH_HIGHWAY)
template <class Transform>
size_t highway(Axis w, Transform transform) {
  const hn::ScalableTag<float> lanes;
  const hn::RebindToSigned<decltype(lanes)> integers;
  const auto scale = hn::Set(lanes, w.scale), offset = hn::Set(lanes, w.offset);
  const auto lower = hn::Set(integers, w.lower), upper = hn::Set(integers, w.upper);
  return forEachVector(0, w.count, hn::Lanes(lanes), [&](size_t at) {
    const auto values = transform(lanes, hn::LoadU(lanes, w.input + at));
    const auto placed = hn::NearestInt(hn::Add(hn::Mul(values, scale), offset));
    hn::StoreU(hn::Max(hn::Min(placed, upper), lower), integers, w.output + at);
  });
}
void highwayLinear(Axis w) {
  plainLinear(w.rest(highway(w, [](auto, auto values) { return values; })));
}
void highwayLogarithmic(Axis w) {
  plainLogarithmic(w.rest(highway(w, [=](auto lanes, auto values) {
    const auto ratios = hn::Div(values, hn::Set(lanes, w.reference));
    return hn::Log10(lanes, hn::Max(ratios, hn::Set(lanes, w.ratioFloor)));
  })));
}
#endif

#if defined(KXCALC_BENCH_SLEEF)
#if defined(__AVX512F__)
using SleefVector = __m512;
SleefVector sleefLog10(SleefVector x) {
  return Sleef_log10f16_u10(x);
}
#elif defined(__AVX__)
using SleefVector = __m256;
SleefVector sleefLog10(SleefVector x) {
  return Sleef_log10f8_u10(x);
}
#else
using SleefVector = __m128;
SleefVector sleefLog10(SleefVector x) {
  return Sleef_log10f4_u10(x);
}
#endif

/// Its logarithms in blocks that stay in the first-level cache.
void sleef(Axis w) {
  constexpr size_t width = sizeof(SleefVector) / sizeof(float), blockLength = 1024;
  float logarithms[blockLength];
  size_t begin = 0;
  for (; w.count - begin >= width;) {
    const size_t length = std::min(blockLength, (w.count - begin) / width * width);
    for (size_t i = 0; i < length; i += width) {
      float ratios[width];
      for (size_t k = 0; k < width; ++k) {
        ratios[k] = std::max(w.input[begin + i + k] / w.reference, w.ratioFloor);
      }
      SleefVector x;
      std::memcpy(&x, ratios, sizeof x);
      x = sleefLog10(x);
      std::memcpy(logarithms + i, &x, sizeof x);
    }
    for (size_t i = 0; i < length; ++i) {
      w.output[begin + i] = w.place(logarithms[i]);
    }
    begin += length;
  }
  plainLogarithmic(w.rest(begin));
}
#endif

/// A diagram of 1080 pixels: values from -0.75 to 1.25, or three decades.
Axis axis(size_t count, float scale, float offset) {
  return {samples<float>(Signal::noise), scratch<int32_t>(count), count, 0, 1079, scale, offset, 0.5F, 1e-9F};
}

constexpr const char* range = "what 32 bits do not hold, NaNs";

void compareLinear() {
  Comparison comparison(
      "kxcalcCAPV_lin", "", [](size_t count) { return axis(count, 600, 400); },
      [](const Functions& functions, Axis& w) {
        functions.kxcalcCAPV_lin(w.input, static_cast<uint32_t>(w.count), w.output, w.lower, w.upper, w.scale,
                                 w.offset);
      });
  comparison.limitedByTraffic<Traffic{.first = 4, .output = 4}>([](Axis& w) {
    return Streams{w.input, nullptr, w.output};
  });
  comparison.plain(sameBits(range), plainLinear);
  comparison.reordered(otherBits("the rounding of each operation, what 32 bits do not hold, NaNs", nextPixel),
                       plainLinear);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", sameBits(range), eigenLinear);
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", sameBits(), highwayLinear);
#endif
}

void compareLogarithmic() {
  Comparison comparison(
      "kxcalcCAPV_log", "", [](size_t count) { return axis(count, 360, 900); },
      [](const Functions& functions, Axis& w) {
        functions.kxcalcCAPV_log(w.input, static_cast<uint32_t>(w.count), w.output, w.lower, w.upper, w.scale, w.offset,
                                 w.reference);
      });
  comparison.limitedByTraffic<Traffic{.first = 4, .output = 4}>([](Axis& w) {
    return Streams{w.input, nullptr, w.output};
  });
  const Contract other = otherBits("the same approximation", nextPixel);
  comparison.plain(other, plainLogarithmic);
  comparison.reordered(other, plainLogarithmic);
#if defined(KXCALC_BENCH_BUILD_BASE)
  comparison.library("formula", sameBits(), sameApproximation);
#elif defined(KXCALC_BENCH_BUILD_NATIVE)
  comparison.library("formula-native", sameBits(), sameApproximation);
#endif
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", other, eigenLogarithmic);
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", other, highwayLogarithmic);
#endif
#if defined(KXCALC_BENCH_SLEEF)
  comparison.library("SLEEF", other, sleef);
#endif
}

const bool registered = [] {
  compareLinear();
  compareLogarithmic();
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
