#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

constexpr float radiansPerDegree = std::numbers::pi_v<float> / 180;

struct Phases {
  const float* magnitudes[3];
  const float* angles[3];
  size_t count;
  float zero = 0, positive = 0, negative = 0;
  float negativeRatio = 0, zeroRatio = 0, negativeRatioFirst = 0, zeroRatioFirst = 0;

  explicit Phases(size_t entries) : magnitudes{}, angles{}, count(entries) {
    for (size_t phase = 0; phase < 3; ++phase) {
      magnitudes[phase] = samples<float>(Signal::noise) + phase * count;
      angles[phase] = samples<float>(Signal::angles) + phase * count;
    }
  }

  std::vector<Quantity> results() const {
    return {zero, positive, negative, negativeRatio, zeroRatio, negativeRatioFirst, zeroRatioFirst};
  }

  /// The squares of an entry's sequences.
  struct Entry {
    float zero, positive, negative;
  };
  void set(Entry first) {
    negativeRatio = negative / positive * 100;
    zeroRatio = zero / positive * 100;
    negativeRatioFirst = first.negative / first.positive * 100;
    zeroRatioFirst = first.zero / first.positive * 100;
  }
};

/// As textbooks have it: three phasors, turned by a third of a circle.
Phases::Entry sequences(const std::complex<float> (&v)[3]) {
  constexpr float half = 0.5F, sine = std::numbers::sqrt3_v<float> / 2;
  const auto turned = [](std::complex<float> u, float direction) {
    return std::complex<float>(-half * u.real() - direction * sine * u.imag(),
                               direction * sine * u.real() - half * u.imag());
  };
  return {std::sqrt(std::norm(v[0] + v[1] + v[2])) / 3,
          std::sqrt(std::norm(v[0] + turned(v[1], -1) + turned(v[2], 1))) / 3,
          std::sqrt(std::norm(v[0] + turned(v[1], 1) + turned(v[2], -1))) / 3};
}

void plain(Phases& w) {
  w.zero = w.positive = w.negative = 0;
  Phases::Entry first{};
  for (size_t i = 0; i < w.count; ++i) {
    std::complex<float> phasors[3];
    for (size_t phase = 0; phase < 3; ++phase) {
      const float angle = w.angles[phase][i] * radiansPerDegree;
      phasors[phase] = {w.magnitudes[phase][i] * std::cos(angle), w.magnitudes[phase][i] * std::sin(angle)};
    }
    const Phases::Entry entry = sequences(phasors);
    first = i == 0 ? entry : first;
    w.zero += entry.zero;
    w.positive += entry.positive;
    w.negative += entry.negative;
  }
  w.set(first);
}

#if defined(KXCALC_BENCH_SLEEF)
#if defined(__AVX__)
using SleefVector = __m256;
auto sleefSineAndCosine(SleefVector x) {
  return Sleef_sincosf8_u35(x);
}
#else
using SleefVector = __m128;
auto sleefSineAndCosine(SleefVector x) {
  return Sleef_sincosf4_u35(x);
}
#endif

/// Sines and cosines a vector of entries at a time, the rest as the compiler makes vectors of it.
void sleef(Phases& w) {
  constexpr size_t width = sizeof(SleefVector) / sizeof(float);
  float zeros[width]{}, positives[width]{}, negatives[width]{};
  Phases::Entry first{};
  for (size_t begin = 0; begin < w.count; begin += width) {
    const size_t length = std::min(width, w.count - begin);
    float reals[3][width]{}, imaginaries[3][width]{};
    for (size_t phase = 0; phase < 3; ++phase) {
      float radians[width]{}, magnitudes[width]{};
      std::memcpy(magnitudes, w.magnitudes[phase] + begin, length * sizeof(float));
      std::memcpy(radians, w.angles[phase] + begin, length * sizeof(float));
      SleefVector angle;
      std::memcpy(&angle, radians, sizeof angle);
      const auto both = sleefSineAndCosine(angle * radiansPerDegree);
      SleefVector magnitude;
      std::memcpy(&magnitude, magnitudes, sizeof magnitude);
      const SleefVector real = both.y * magnitude, imaginary = both.x * magnitude;
      std::memcpy(reals[phase], &real, sizeof real);
      std::memcpy(imaginaries[phase], &imaginary, sizeof imaginary);
    }
    for (size_t k = 0; k < width; ++k) {
      const Phases::Entry entry = sequences(
          {{reals[0][k], imaginaries[0][k]}, {reals[1][k], imaginaries[1][k]}, {reals[2][k], imaginaries[2][k]}});
      zeros[k] += entry.zero;
      positives[k] += entry.positive;
      negatives[k] += entry.negative;
    }
    if (begin == 0) {
      first = {zeros[0], positives[0], negatives[0]};
    }
  }
  w.zero = w.positive = w.negative = 0;
  for (size_t k = 0; k < width; ++k) {
    w.zero += zeros[k];
    w.positive += positives[k];
    w.negative += negatives[k];
  }
  w.set(first);
}
#endif

void compare(size_t entries) {
  Comparison comparison(
      "kxcalcPowerUnbalance", "", [](size_t count) { return Phases(count); },
      [](const Functions& functions, Phases& w) {
        const PowerUnbalanceArgs args{w.magnitudes[0],   w.magnitudes[1],
                                      w.magnitudes[2],   w.angles[0],
                                      w.angles[1],       w.angles[2],
                                      &w.zero,           &w.positive,
                                      &w.negative,       &w.negativeRatio,
                                      &w.zeroRatio,      &w.negativeRatioFirst,
                                      &w.zeroRatioFirst, static_cast<uint32_t>(w.count)};
        functions.kxcalcPowerUnbalance(&args);
      },
      {entries});

  const Contract other = otherBits("the same sines and cosines, the order of the sums", otherRoundings);
  comparison.plain(other, plain);
  comparison.reordered(other, plain);
#if defined(KXCALC_BENCH_SLEEF)
  comparison.library("SLEEF", other, sleef);
#endif
}

const bool registered = [] {
  compare(40);
  compare(43);  // three entries after the last block of four
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
