#include <bit>
#include <cmath>
#include <cstring>
#include <numbers>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

#if defined(KXCALC_BENCH_HIGHWAY)
#include <hwy/contrib/math/math-inl.h>
#endif

namespace kxcalc::bench {
namespace {

[[maybe_unused]] constexpr double coarseApproximation = 1e-3;

/// Runs take it by value: it could be what a write to output changes, for all that the compiler knows.
struct Map {
  const float* input;
  float* output;
  size_t count;

  /// Errors are relative to the functions' range.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(output, count);
    for (Quantity& quantity : all) {
      quantity.scale = 1;
    }
    return all;
  }
};

#if defined(KXCALC_BENCH_SLEEF)
#if defined(__AVX512F__)
using SleefVector = __m512;
SleefVector sleefSine(SleefVector x) {
  return Sleef_sinf16_u35(x);
}
SleefVector sleefArctangent(SleefVector x) {
  return Sleef_atanf16_u35(x);
}
#elif defined(__AVX__)
using SleefVector = __m256;
SleefVector sleefSine(SleefVector x) {
  return Sleef_sinf8_u35(x);
}
SleefVector sleefArctangent(SleefVector x) {
  return Sleef_atanf8_u35(x);
}
#else
using SleefVector = __m128;
SleefVector sleefSine(SleefVector x) {
  return Sleef_sinf4_u35(x);
}
SleefVector sleefArctangent(SleefVector x) {
  return Sleef_atanf4_u35(x);
}
#endif
#endif

struct Sine {
  static constexpr const char* name = "kxcalcSin_float";
  static constexpr Signal signal = Signal::angles;
  static constexpr auto kernel = &Functions::kxcalcSin_float;

  static float libm(float x) { return std::sin(x); }

  /// The approximation of the kernel, an element at a time.
  static float sameApproximation(float x) {
    const float magnitude = std::abs(x);
    const auto octant = static_cast<int32_t>(magnitude * (4 / std::numbers::pi_v<float>));
    const uint32_t even = (static_cast<uint32_t>(octant) + 1) & ~1U;
    const auto octants = static_cast<float>(static_cast<int32_t>(even));
    const float r = magnitude - octants * 0.78515625F - octants * 2.41875648e-4F - octants * 3.77489506e-8F;
    const float z = r * r;
    const float sine = ((-1.9515295891e-4F * z + 8.3321608736e-3F) * z - 1.6666654611e-1F) * z * r + r;
    const float cosine =
        ((2.443315711809948e-5F * z - 1.388731625493765e-3F) * z + 4.166664568298827e-2F) * z * z - 0.5F * z + 1.0F;
    const uint32_t sign = (std::bit_cast<uint32_t>(x) & 0x80000000U) ^ ((even & 4) << 29);
    return std::bit_cast<float>(std::bit_cast<uint32_t>((even & 2) == 0 ? sine : cosine) ^ sign);
  }

#if defined(KXCALC_BENCH_EIGEN)
  static auto eigen(const auto& x) {
    return x.sin();
  }
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  template <class D, class V>
  static V highway(D d, V x) {
    return hn::Sin(d, x);
  }
#endif
#if defined(KXCALC_BENCH_SLEEF)
  static SleefVector sleef(SleefVector x) {
    return sleefSine(x);
  }
#endif
#if defined(KXCALC_BENCH_VOLK)
  static void volk(float* output, const float* input, unsigned count) {
    volk_32f_sin_32f(output, input, count);
  }
#endif
};

struct Arctangent {
  static constexpr const char* name = "kxcalcATan_float";
  static constexpr Signal signal = Signal::angles;
  static constexpr auto kernel = &Functions::kxcalcATan_float;

  static float libm(float x) { return std::atan(x); }

  static float sameApproximation(float x) {
    const float magnitude = std::abs(x);
    const bool steep = magnitude > 2.41421356F;
    const bool middle = magnitude > 0.66F && !steep;
    const float numerator = steep ? -1.0F : (middle ? magnitude - 1.0F : magnitude);
    const float denominator = steep ? magnitude : (middle ? magnitude + 1.0F : 1.0F);
    const float t = numerator / denominator;
    const float z = t * t;
    const float p = ((((-0.875060856F * z - 16.1575375F) * z - 75.0085602F) * z - 122.886665F) * z - 64.8502197F) * z;
    const float q = ((((z + 24.8584652F) * z + 165.027008F) * z + 432.881073F) * z + 485.390411F) * z + 194.550659F;
    constexpr float right = std::numbers::pi_v<float> / 2;
    constexpr float excess = 4e-8F;  // of `right` over pi / 2
    const float offset = steep ? right : (middle ? right / 2 : 0.0F);
    const float correction = steep ? -excess : (middle ? -excess / 2 : 0.0F);
    return std::copysign(offset + (t + t * (p / q) + correction), x);
  }

#if defined(KXCALC_BENCH_EIGEN)
  static auto eigen(const auto& x) {
    return x.atan();
  }
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  template <class D, class V>
  static V highway(D d, V x) {
    return hn::Atan(d, x);
  }
#endif
#if defined(KXCALC_BENCH_SLEEF)
  static SleefVector sleef(SleefVector x) {
    return sleefArctangent(x);
  }
#endif
#if defined(KXCALC_BENCH_VOLK)
  static void volk(float* output, const float* input, unsigned count) {
    volk_32f_atan_32f(output, input, count);
  }
#endif
};

template <class Function>
void plain(Map w) {
  for (size_t i = 0; i < w.count; ++i) {
    w.output[i] = Function::libm(w.input[i]);
  }
}

template <class Function>
[[maybe_unused]] void sameApproximation(Map w) {
  for (size_t i = 0; i < w.count; ++i) {
    w.output[i] = Function::sameApproximation(w.input[i]);
  }
}

#if defined(KXCALC_BENCH_HIGHWAY)
template <class Function>
void highway(Map w) {
  const hn::ScalableTag<float> lanes;
  const size_t i = forEachVector(0, w.count, hn::Lanes(lanes), [&](size_t at) {
    hn::StoreU(Function::highway(lanes, hn::LoadU(lanes, w.input + at)), lanes, w.output + at);
  });
  plain<Function>({w.input + i, w.output + i, w.count - i});
}
#endif

#if defined(KXCALC_BENCH_SLEEF)
template <class Function>
void sleef(Map w) {
  constexpr size_t width = sizeof(SleefVector) / sizeof(float);
  size_t i = 0;
  for (; i + width <= w.count; i += width) {
    SleefVector x;
    std::memcpy(&x, w.input + i, sizeof x);
    x = Function::sleef(x);
    std::memcpy(w.output + i, &x, sizeof x);
  }
  plain<Function>({w.input + i, w.output + i, w.count - i});
}
#endif

template <class Function>
void compare() {
  Comparison comparison(
      Function::name, "",
      [](size_t count) {
        return Map{samples<float>(Function::signal), scratch<float>(count), count};
      },
      [](const Functions& functions, Map& w) {
        (functions.*Function::kernel)(w.input, w.output, static_cast<uint32_t>(w.count));
      });
  comparison.template limitedByTraffic<Traffic{.first = 4, .output = 4}>([](Map& w) {
    return Streams{w.input, nullptr, w.output};
  });

  const Contract other = otherBits("the same approximation", otherRoundings);
  comparison.plain(other, plain<Function>);
  comparison.reordered(other, plain<Function>);
  // The scalar loop of the kernel's approximation, as the compiler makes vectors of it.
#if defined(KXCALC_BENCH_BUILD_BASE)
  comparison.library("formula", sameBits(), sameApproximation<Function>);
#elif defined(KXCALC_BENCH_BUILD_NATIVE)
  comparison.library("formula-native", sameBits(), sameApproximation<Function>);
#endif
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", other,
                     [](Map w) { eigenArray(w.output, w.count) = Function::eigen(eigenArray(w.input, w.count)); });
#endif
#if defined(KXCALC_BENCH_HIGHWAY)
  comparison.library("Highway", other, highway<Function>);
#endif
#if defined(KXCALC_BENCH_SLEEF)
  comparison.library("SLEEF", other, sleef<Function>);
#endif
#if defined(KXCALC_BENCH_VOLK)
  comparison.library("VOLK", otherBits("the same approximation", coarseApproximation),
                     [](Map w) { Function::volk(w.output, w.input, static_cast<unsigned>(w.count)); });
#endif
}

const bool registered = [] {
  compare<Sine>();
  compare<Arctangent>();
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
