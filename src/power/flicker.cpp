// Signal path and classifier of a flickermeter in the manner of IEC 61000-4-15. The filters are in double; five
// roundings to single between them are part of the result.
//
// A section waits for the section before it and for its own previous sample, nothing else. So the sections run side by
// side, each on the sample behind that of the section before it, and the two first low-pass sections in the two lanes of
// one: each section still sees the same samples in the same order. What a block leaves half done is finished before the
// call returns.
#include <cstddef>

#include "frame/blocks.hpp"
#include "kxcalc.h"
#include "power/flicker_classes.hpp"

static_assert(offsetof(FlickerState, weightCoefficients) == 9 * sizeof(void*));
static_assert(sizeof(FlickerState) == 19 * sizeof(void*));

namespace kxcalc {
namespace {

constexpr double startMarker = -9999999.0;  // in the high-pass filter's current input before the first sample
constexpr double sensationScale = 1238400.0;

KXCALC_INLINE double roundedToSingle(double value) {
  return static_cast<double>(static_cast<float>(value));
}

/// Input and output of the two samples before, of a section of second order.
template <class V>
struct History {
  V x1, x2, y1, y2;

  KXCALC_INLINE void shift(V x, V y) {
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = y;
  }
};

/// Second-order low-pass section with the numerator 1, 2, 1: one, or two in two lanes. Feedback is subtracted here, added
/// in the other filters.
template <class V>
struct LowPass {
  History<V> history;
  V gain, a1, a2;

  KXCALC_INLINE V operator()(V x) {
    const auto [x1, x2, y1, y2] = history;
    const V y = ((x + (x1 + x1)) + x2) * gain - y1 * a1 - y2 * a2;
    history.shift(x, y);
    return y;
  }
};

/// Two sections, and both as lanes.
struct LowPassPair {
  LowPass<double> first, second;

  KXCALC_INLINE LowPass<f64x2> lanes() const {
    const auto both = [](double a, double b) { return f64x2{a, b}; };
    const History<double>&a = first.history, &b = second.history;
    return {{both(a.x1, b.x1), both(a.x2, b.x2), both(a.y1, b.y1), both(a.y2, b.y2)},
            both(first.gain, second.gain),
            both(first.a1, second.a1),
            both(first.a2, second.a2)};
  }
  KXCALC_INLINE void takeBack(const LowPass<f64x2>& lanes) {
    const auto [x1, x2, y1, y2] = lanes.history;
    first.history = {x1[0], x2[0], y1[0], y2[0]};
    second.history = {x1[1], x2[1], y1[1], y2[1]};
  }
};

/// First-order high-pass filter. An input that equals the start marker lets the next sample begin anew.
struct HighPass {
  double x1, y1, current;
  double h0, h1, h2;

  KXCALC_INLINE double operator()(double x) {
    if (current == startMarker) [[unlikely]] {
      x1 = x;
    }
    const double y = x * h0 + x1 * h1 + y1 * h2;
    current = x1 = x;
    y1 = y;
    return y;
  }
};

/// First weighting section: numerator 1, 0, -1.
struct Weighting1 {
  History<double> history;
  const double* w;

  KXCALC_INLINE double operator()(double x) {
    const double y = x * w[0] + w[1] * history.x2 + w[2] * history.y1 + w[3] * history.y2;
    history.shift(x, y);
    return y;
  }
};

struct Weighting2 {
  History<double> history;
  const double* w;

  KXCALC_INLINE double operator()(double x) {
    const double y = x * w[4] + w[5] * history.x1 + w[6] * history.x2 + w[7] * history.y1 + w[8] * history.y2;
    history.shift(x, y);
    return y;
  }
};

struct Smoothing {
  double x1, y1;
  const double* w;

  KXCALC_INLINE double operator()(double x) {
    y1 = x * w[9] + w[10] * x1 + w[11] * y1;
    x1 = x;
    return y1;
  }
};

/// The whole path. Copied from the caller's arrays before the samples and back after them.
struct SignalPath {
  LowPassPair low01;
  LowPass<double> low2;
  HighPass high;
  Weighting1 weighting1;
  Weighting2 weighting2;
  Smoothing smoothing;

  KXCALC_INLINE explicit SignalPath(const FlickerState& s)
      : low01{lowPass(s, 0), lowPass(s, 1)},
        low2(lowPass(s, 2)),
        high{s.highPassInput[1],        s.highPassOutput[1],       s.highPassInput[0],
             s.highPassCoefficients[0], s.highPassCoefficients[1], s.highPassCoefficients[2]},
        weighting1{{s.weight1Input[1], s.weight1Input[2], s.weight1Output[1], s.weight1Output[2]},
                   s.weightCoefficients},
        weighting2{{s.weight2Input[1], s.weight2Input[2], s.weight2Output[1], s.weight2Output[2]},
                   s.weightCoefficients},
        smoothing{s.squareHistory[1], s.smoothHistory[1], s.weightCoefficients} {}

  KXCALC_INLINE static LowPass<double> lowPass(const FlickerState& s, size_t section) {
    return {{s.lowPassInput1[section], s.lowPassInput2[section], s.lowPassOutput1[section], s.lowPassOutput2[section]},
            s.lowPassGain[section],
            s.lowPassA1[section],
            s.lowPassA2[section]};
  }

  /// After a sample the current values are those one sample back, too. The current inputs of the weighting sections,
  /// weight1Input[0] and weight2Input[0], are left as they are: nothing is stored there.
  KXCALC_INLINE void save(const FlickerState& s) const {
    saveLowPass(s, 0, low01.first.history);
    saveLowPass(s, 1, low01.second.history);
    saveLowPass(s, 2, low2.history);
    s.highPassInput[0] = s.highPassInput[1] = high.x1;
    s.highPassOutput[0] = s.highPassOutput[1] = high.y1;
    saveWeighting(s.weight1Input, s.weight1Output, weighting1.history);
    saveWeighting(s.weight2Input, s.weight2Output, weighting2.history);
    s.squareHistory[0] = s.squareHistory[1] = smoothing.x1;
    s.smoothHistory[0] = s.smoothHistory[1] = smoothing.y1;
  }

  KXCALC_INLINE static void saveLowPass(const FlickerState& s, size_t section, const History<double>& history) {
    s.lowPassInput[section] = s.lowPassInput1[section] = history.x1;
    s.lowPassInput2[section] = history.x2;
    s.lowPassOutput[section] = s.lowPassOutput1[section] = history.y1;
    s.lowPassOutput2[section] = history.y2;
  }
  KXCALC_INLINE static void saveWeighting(double* input, double* output, const History<double>& history) {
    input[1] = history.x1;
    input[2] = history.x2;
    output[0] = output[1] = history.y1;
    output[2] = history.y2;
  }
};

/// The sections as stages side by side. A stage's result waits here for the next stage, which is a sample behind.
struct Stages {
  SignalPath& path;
  const float* samples;
  float* sensation;
  double low0 = 0, low1 = 0, smoothed = 0, high = 0, weighted = 0, squared = 0;

  static constexpr size_t last = 6;

  KXCALC_INLINE double demodulated(size_t n) const { return static_cast<double>(samples[n] * samples[n] * 0.5F); }

  /// All stages from `newest`, which meets sample n - newest, to `oldest`, in descending order: each takes what the one
  /// before it left in the step before.
  template <size_t newest, size_t oldest>
  KXCALC_INLINE void step(size_t n) {
    if constexpr (oldest >= 6) {
      sensation[n - 6] = static_cast<float>(sensationScale * path.smoothing(squared));
    }
    if constexpr (newest <= 5 && oldest >= 5) {
      const auto single = static_cast<float>(path.weighting2(weighted));
      squared = static_cast<double>(single * single);
    }
    if constexpr (newest <= 4 && oldest >= 4) {
      weighted = path.weighting1(high);
    }
    if constexpr (newest <= 3 && oldest >= 3) {
      high = roundedToSingle(path.high(smoothed));
    }
    if constexpr (newest <= 2 && oldest >= 2) {
      smoothed = roundedToSingle(path.low2(low1));
    }
  }
  template <size_t newest, size_t oldest>
  KXCALC_INLINE void stepOneByOne(size_t n) {
    step<newest, oldest>(n);
    if constexpr (newest <= 1 && oldest >= 1) {
      low1 = path.low01.second(low0);
    }
    if constexpr (newest == 0) {
      low0 = path.low01.first(demodulated(n));
    }
  }

  KXCALC_INLINE void run(size_t count) {
    unrolled<last>([&](auto k) { stepOneByOne<0, k>(k); });
    LowPass<f64x2> lanes = path.low01.lanes();
    for (size_t n = last; n < count; ++n) {
      step<2, last>(n);
      const f64x2 results = lanes(f64x2{demodulated(n), low0});
      low0 = results[0];
      low1 = results[1];
    }
    path.low01.takeBack(lanes);
    unrolled<last>([&](auto k) { stepOneByOne<k + 1, last>(count + k); });
  }
  /// Blocks shorter than the stages: each sample through all of them.
  KXCALC_INLINE void runShort(size_t count) {
    for (size_t n = 0; n < count; ++n) {
      unrolled<last>([&](auto k) { stepOneByOne<k, k>(n + k); });
      stepOneByOne<last, last>(n + last);
    }
  }
};

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcPowerFlicker(const FlickerState* state, const float* samples, float* sensation, int32_t count) {
  if (count < 1) {
    return;
  }
  kxcalc::SignalPath path(*state);
  kxcalc::Stages stages{path, samples, sensation};
  const auto length = static_cast<size_t>(count);
  if (length > kxcalc::Stages::last) {
    stages.run(length);
  } else {
    stages.runShort(length);
  }
  path.save(*state);
}

extern "C" void kxcalcPowerFlickerAddToClass(const float* values, int32_t count, uint32_t* classes) {
  for (int32_t i = 0; i < count; ++i) {
    ++classes[kxcalc::flickerClasses.of(values[i])];
  }
}
