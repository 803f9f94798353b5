#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

constexpr double samplingRate = 2000, startMarker = -9999999;

double angularStep(double frequency) {
  return 2 * std::numbers::pi * frequency / samplingRate;
}
double pole(double frequency) {
  return std::exp(-angularStep(frequency));
}

/// The arrays behind a state, with filters of a flickermeter's kind.
struct Filters {
  using Three = std::array<double, 3>;
  Three lowPassInput{}, lowPassInput1{}, lowPassInput2{}, lowPassOutput{}, lowPassOutput1{}, lowPassOutput2{};
  Three lowPassGain{}, lowPassA1{}, lowPassA2{}, highPass{};
  std::array<double, 12> weights{};
  Three weight1Output{}, weight1Input{}, weight2Input{}, weight2Output{};
  std::array<double, 2> squares{}, smoothed{}, highPassInput{startMarker, 0}, highPassOutput{};

  Filters() {
    constexpr Three qualities{0.5176, 0.7071, 1.9319};  // Butterworth
    const double corner = angularStep(35);
    for (size_t section = 0; section < 3; ++section) {
      const double width = std::sin(corner) / (2 * qualities[section]);
      lowPassGain[section] = (1 - std::cos(corner)) / 2 / (1 + width);
      lowPassA1[section] = -2 * std::cos(corner) / (1 + width);
      lowPassA2[section] = (1 - width) / (1 + width);
    }
    const double slow = pole(0.05);
    highPass = {(1 + slow) / 2, -(1 + slow) / 2, slow};
    const double centre = angularStep(8.8), width = std::sin(centre) / 2;
    const double p1 = pole(1.2), p2 = pole(22), zero = pole(2.3);
    const double gain = (1 - p1) * (1 - p2) / (1 - zero);
    const double smoothing = std::exp(-1 / (0.3 * samplingRate));
    weights = {width / (1 + width),
               -width / (1 + width),
               2 * std::cos(centre) / (1 + width),
               -(1 - width) / (1 + width),
               gain / 2,
               gain * (1 - zero) / 2,
               -gain * zero / 2,
               p1 + p2,
               -p1 * p2,
               (1 - smoothing) / 2,
               (1 - smoothing) / 2,
               smoothing};
  }

  FlickerState state() {
    return {lowPassInput.data(),   lowPassInput1.data(),  lowPassInput2.data(), lowPassOutput.data(),
            lowPassOutput1.data(), lowPassOutput2.data(), lowPassGain.data(),   lowPassA1.data(),
            lowPassA2.data(),      weights.data(),        highPass.data(),      weight1Output.data(),
            weight1Input.data(),   weight2Input.data(),   weight2Output.data(), squares.data(),
            smoothed.data(),       highPassInput.data(),  highPassOutput.data()};
  }
};

/// A stream of which each run filters one more block.
struct Stream {
  const float* input;
  float* sensation;
  size_t count;
  Filters filters;

  /// As exact as the largest.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(sensation, count);
    const auto largest = static_cast<double>(*std::max_element(sensation, sensation + count));
    for (Quantity& quantity : all) {
      quantity.scale = largest;
    }
    return all;
  }
};

float plainSample(const FlickerState& s, float sample) {
  auto x = static_cast<double>(sample * sample * 0.5F);
  for (size_t k = 0; k < 3; ++k) {
    s.lowPassInput[k] = x;
    const double y = (x + 2 * s.lowPassInput1[k] + s.lowPassInput2[k]) * s.lowPassGain[k] -
                     s.lowPassOutput1[k] * s.lowPassA1[k] - s.lowPassOutput2[k] * s.lowPassA2[k];
    s.lowPassInput2[k] = s.lowPassInput1[k];
    s.lowPassInput1[k] = x;
    s.lowPassOutput2[k] = s.lowPassOutput1[k];
    s.lowPassOutput[k] = s.lowPassOutput1[k] = y;
    x = y;
  }
  const auto low = static_cast<double>(static_cast<float>(x));
  const double before = s.highPassInput[0] == startMarker ? low : s.highPassInput[1];
  const double high = low * s.highPassCoefficients[0] + before * s.highPassCoefficients[1] +
                      s.highPassOutput[1] * s.highPassCoefficients[2];
  s.highPassInput[0] = s.highPassInput[1] = low;
  s.highPassOutput[0] = s.highPassOutput[1] = high;
  const double* const w = s.weightCoefficients;
  const auto shift = [](double* history, double value) {
    history[2] = history[1];
    history[0] = history[1] = value;
  };
  const auto t = static_cast<double>(static_cast<float>(high));
  const double o = t * w[0] + w[1] * s.weight1Input[2] + w[2] * s.weight1Output[1] + w[3] * s.weight1Output[2];
  shift(s.weight1Input, t);
  shift(s.weight1Output, o);
  const double p = o * w[4] + w[5] * s.weight2Input[1] + w[6] * s.weight2Input[2] + w[7] * s.weight2Output[1] +
                   w[8] * s.weight2Output[2];
  shift(s.weight2Input, o);
  shift(s.weight2Output, p);
  const auto single = static_cast<float>(p);
  const auto square = static_cast<double>(single * single);
  const double smoothed = square * w[9] + w[10] * s.squareHistory[1] + w[11] * s.smoothHistory[1];
  s.squareHistory[0] = s.squareHistory[1] = square;
  s.smoothHistory[0] = s.smoothHistory[1] = smoothed;
  return static_cast<float>(1238400 * smoothed);
}

void plain(Stream& w) {
  const FlickerState state = w.filters.state();
  for (size_t i = 0; i < w.count; ++i) {
    w.sensation[i] = plainSample(state, w.input[i]);
  }
}

void compareSignalPath() {
  Comparison comparison(
      "kxcalcPowerFlicker", "",
      [](size_t count) {
        return Stream{samples<float>(Signal::noise), scratch<float>(count), count, {}};
      },
      [](const Functions& functions, Stream& w) {
        const FlickerState state = w.filters.state();
        functions.kxcalcPowerFlicker(&state, w.input, w.sensation, static_cast<int32_t>(w.count));
      },
      {blockSizes[0]});
  comparison.limitedByChain(3);  // of a low-pass section: the product with a1, two differences

  comparison.plain(sameBits(), plain);
  comparison.reordered(otherBits("the rounding of each operation", otherRoundings), plain);
}

constexpr size_t classCount = 1000;

struct Classifier {
  std::vector<float> values;
  std::vector<uint32_t> classes = std::vector<uint32_t>(classCount);

  /// From 0.005 to 20, as many in each decade.
  explicit Classifier(size_t count) : values(count) {
    std::transform(samples<float>(Signal::noise), samples<float>(Signal::noise) + count, values.begin(),
                   [](float exponent) { return std::exp(4 * exponent - 2); });
  }

  /// Where a value is next to a class, roundings may count it there.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all;
    uint32_t countUpTo = 0;
    for (const uint32_t count : classes) {
      countUpTo += count;
      all.emplace_back(countUpTo, static_cast<double>(values.size()));
    }
    return all;
  }
};

void addOne(std::vector<uint32_t>& classes, double logarithm) {
  ++classes[static_cast<size_t>(std::clamp((logarithm + 4) * 100, 0.0, static_cast<double>(classCount - 1)))];
}

void plainClasses(Classifier& w) {
  for (const float value : w.values) {
    if (value > 0) {
      addOne(w.classes, std::log10(static_cast<double>(value)));
    } else {
      ++w.classes[0];
    }
  }
}

#if defined(KXCALC_BENCH_SLEEF)
#if defined(__AVX512F__)
using SleefVector = __m512d;
SleefVector sleefLog10(SleefVector x) {
  return Sleef_log10d8_u10(x);
}
#elif defined(__AVX__)
using SleefVector = __m256d;
SleefVector sleefLog10(SleefVector x) {
  return Sleef_log10d4_u10(x);
}
#else
using SleefVector = __m128d;
SleefVector sleefLog10(SleefVector x) {
  return Sleef_log10d2_u10(x);
}
#endif

void sleefClasses(Classifier& w) {
  constexpr size_t width = sizeof(SleefVector) / sizeof(double);
  for (size_t begin = 0; begin < w.values.size(); begin += width) {
    const size_t length = std::min(width, w.values.size() - begin);
    double logarithms[width]{};
    std::copy_n(w.values.begin() + static_cast<std::ptrdiff_t>(begin), length, logarithms);
    SleefVector x;
    std::memcpy(&x, logarithms, sizeof x);
    x = sleefLog10(x);
    std::memcpy(logarithms, &x, sizeof x);
    for (size_t k = 0; k < length; ++k) {
      addOne(w.classes, logarithms[k]);
    }
  }
}
#endif

void compareClasses() {
  Comparison comparison(
      "kxcalcPowerFlickerAddToClass", "", [](size_t count) { return Classifier(count); },
      [](const Functions& functions, Classifier& w) {
        functions.kxcalcPowerFlickerAddToClass(w.values.data(), static_cast<int32_t>(w.values.size()),
                                               w.classes.data());
      },
      {blockSizes[0], blockSizes[1]});

  const char* const below = "the class of values below 0.0001";
  comparison.plain(sameBits(below), plainClasses);
  comparison.reordered(otherBits(below, sumsInSingle), plainClasses);
#if defined(KXCALC_BENCH_SLEEF)
  comparison.library("SLEEF", otherBits("the class of values below 0.0001, correct logarithms", sumsInSingle),
                     sleefClasses);
#endif
}

const bool registered = [] {
  compareSignalPath();
  compareClasses();
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
