#include <algorithm>
#include <bit>
#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

/// The slow signal is the same to all filters, whatever their delay of a few samples.
[[maybe_unused]] constexpr double otherFilter = 2e-2;

struct Rates {
  double input, output;

  double ratio() const { return output / input; }
  /// Input samples that a stream needs to deliver so many outputs.
  size_t inputsFor(size_t outputs) const {
    return 2 + static_cast<size_t>(std::ceil(static_cast<double>(outputs - 1) / ratio()));
  }
};

uint32_t ringFor(size_t inputs) {
  return static_cast<uint32_t>(std::bit_ceil(inputs + 2));
}

/// The same resampler as a user would write it: the last samples of the stream stand before each block.
class PlainSpline {
public:
  PlainSpline(Rates rates, size_t longestBlock)
      : ratio_(rates.ratio()),
        window_(history + longestBlock + 1),
        output_(static_cast<size_t>(ratio_ * static_cast<double>(longestBlock + 1)) + 2) {}

  void reset() {
    written_ = 0;
    produced_ = 0;
  }

  void interpolate(const float* input, size_t count, const float** valuesOut, uint32_t* countOut) {
    if (written_ == 0) {
      std::fill_n(window_.begin(), history, input[0]);
    }
    std::copy_n(input, count, window_.begin() + history);
    const auto windowBegin = static_cast<double>(written_) - static_cast<double>(history);
    written_ += count;
    const auto due = static_cast<size_t>(static_cast<double>(written_ - 2) * ratio_ + 1) - produced_;
    const double begin = static_cast<double>(produced_) / ratio_ - windowBegin;
    for (size_t i = 0; i < due; ++i) {
      const double position = static_cast<double>(i) / ratio_ + begin;
      const auto segment = static_cast<size_t>(position);
      output_[i] = valueAt(&window_[segment], static_cast<float>(position - static_cast<double>(segment)));
    }
    produced_ += due;
    *valuesOut = output_.data();
    *countOut = static_cast<uint32_t>(due);
    std::copy_n(window_.begin() + static_cast<std::ptrdiff_t>(count), history, window_.begin());
  }

  void stop(const float** valuesOut, uint32_t* countOut) {
    const float last = window_[history - 1];
    interpolate(&last, 1, valuesOut, countOut);
  }

private:
  // A block's first output lies up to two samples before it and needs one more; roundings may take another.
  static constexpr size_t history = 4;

  double ratio_;
  size_t written_ = 0, produced_ = 0;
  std::vector<float> window_, output_;

  static float valueAt(const float* p, float f) {
    const float c0 = 2 * p[0];
    const float c1 = p[1] - p[-1];
    const float c2 = (2 * p[-1] - 5 * p[0]) + (4 * p[1] - p[2]);
    const float c3 = (3 * p[0] - p[-1]) + (p[2] - 3 * p[1]);
    const float square = f * f;
    return 0.5F * ((c0 + c1 * f) + (c2 * square + c3 * (square * f)));
  }
};

/// Of the library that made it.
struct Destroy {
  const Functions* functions;

  void operator()(CHSInterpolator* interpolator) const { functions->kxcalcCHSInterpolator_Destroy(interpolator); }
};
using Interpolator = std::unique_ptr<CHSInterpolator, Destroy>;

Interpolator create(const Functions& functions, Rates rates, size_t longestBlock) {
  const CHSInterpolatorParams params{rates.input, rates.output, ringFor(longestBlock)};
  CHSInterpolator* handle = nullptr;
  functions.kxcalcCHSInterpolator_Create(&handle, &params);
  return Interpolator(handle, {&functions});
}

#if defined(KXCALC_BENCH_LIBSAMPLERATE)
struct Delete {
  void operator()(SRC_STATE* converter) const { src_delete(converter); }
};
using Converter = std::unique_ptr<SRC_STATE, Delete>;

Converter createConverter(int filter) {
  int error = 0;
  return Converter(src_new(filter, 1, &error));
}
#endif

/// A stream of one block, from its beginning.
struct Stream {
  Rates rates;
  std::vector<float> input;
  Interpolator interpolator{nullptr, {}};
  PlainSpline plain;
  const float* values = nullptr;
  uint32_t count = 0;
#if defined(KXCALC_BENCH_LIBSAMPLERATE)
  Converter linear = createConverter(SRC_LINEAR), sinc = createConverter(SRC_SINC_FASTEST);
  std::vector<float> room =
      std::vector<float>(2 + static_cast<size_t>(rates.ratio() * static_cast<double>(input.size())));
#endif

  Stream(Rates ofStream, size_t inputs) : rates(ofStream), input(inputs), plain(rates, inputs) {
    for (size_t i = 0; i < inputs; ++i) {  // from 0 to 1 and back to 0
      const double angle = 2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(inputs);
      input[i] = static_cast<float>(0.5 - 0.5 * std::cos(angle));
    }
  }

  /// A library's interpolator, at the beginning of the stream.
  CHSInterpolator* restart(const Functions& functions) {
    if (!interpolator) {
      interpolator = create(functions, rates, input.size());
    }
    functions.kxcalcCHSInterpolator_Reset(interpolator.get());
    return interpolator.get();
  }

  /// Small values are as exact as large ones.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(values, count);
    for (Quantity& quantity : all) {
      quantity.scale = 1;
    }
    return all;
  }
};

#if defined(KXCALC_BENCH_LIBSAMPLERATE)
void resample(Stream& w, SRC_STATE* converter) {
  src_reset(converter);
  SRC_DATA data{};
  data.data_in = w.input.data();
  data.data_out = w.room.data();
  data.input_frames = static_cast<long>(w.input.size());
  data.output_frames = static_cast<long>(w.room.size());
  data.end_of_input = 1;
  data.src_ratio = w.rates.ratio();
  src_process(converter, &data);
  w.values = w.room.data();
  w.count = static_cast<uint32_t>(static_cast<double>(w.input.size() - 2) * w.rates.ratio() + 1);  // the spline's
}
#endif

void compareInterpolation(const char* variant, Rates rates) {
  Comparison comparison(
      "kxcalcCHSInterpolator_InterpolateValues", variant,
      [=](size_t outputs) { return Stream(rates, rates.inputsFor(outputs)); },
      [](const Functions& functions, Stream& w) {
        CHSInterpolator* const interpolator = w.restart(functions);
        functions.kxcalcCHSInterpolator_InterpolateValues(interpolator, w.input.data(),
                                                          static_cast<uint32_t>(w.input.size()), &w.values, &w.count);
      },
      {blockSizes[0], blockSizes[1]});
  const auto plain = [](Stream& w) {
    w.plain.reset();
    w.plain.interpolate(w.input.data(), w.input.size(), &w.values, &w.count);
  };
  comparison.plain(sameBits(), plain);
  comparison.reordered(otherBits("the rounding of each operation", otherRoundings), plain);
#if defined(KXCALC_BENCH_LIBSAMPLERATE)
  comparison.library("SRC-lin", otherBits("a cubic: straight lines", otherFilter),
                     [](Stream& w) { resample(w, w.linear.get()); });
  comparison.library("SRC-sinc", otherBits("a cubic: a windowed sinc, the costlier and better filter", otherFilter),
                     [](Stream& w) { resample(w, w.sinc.get()); });
#endif
}

constexpr Rates soundCards{44'100, 48'000};

/// Streams that are over after one block: what is measured is all of that, for each output.
void compareStop() {
  Comparison comparison(
      "kxcalcCHSInterpolator_Stop", "whole-stream",
      [](size_t outputs) { return Stream(soundCards, soundCards.inputsFor(outputs)); },
      [](const Functions& functions, Stream& w) {
        CHSInterpolator* const interpolator = w.restart(functions);
        functions.kxcalcCHSInterpolator_InterpolateValues(interpolator, w.input.data(),
                                                          static_cast<uint32_t>(w.input.size()), &w.values, &w.count);
        functions.kxcalcCHSInterpolator_Stop(interpolator, &w.values, &w.count);
      },
      {100, blockSizes[0]});
  const auto plain = [](Stream& w) {
    w.plain.reset();
    w.plain.interpolate(w.input.data(), w.input.size(), &w.values, &w.count);
    w.plain.stop(&w.values, &w.count);
  };
  comparison.plain(sameBits(), plain);
}

void compareReset() {
  Comparison comparison(
      "kxcalcCHSInterpolator_Reset", "", [](size_t) { return Stream(soundCards, 100); },
      [](const Functions& functions, Stream& w) { w.restart(functions); }, {1});
}

/// Interpolators that are open at the same time.
struct Lifetimes {
  std::vector<Interpolator> interpolators;
  std::vector<std::unique_ptr<PlainSpline>> plain;

  explicit Lifetimes(size_t count) : plain(count) {
    for (size_t i = 0; i < count; ++i) {
      interpolators.emplace_back(nullptr, Destroy{});
    }
  }

  std::vector<Quantity> results() const { return {}; }
};

void compareLifetimes(const char* name, const char* variant, size_t count) {
  Comparison comparison(
      name, variant, [](size_t each) { return Lifetimes(each); },
      [](const Functions& functions, Lifetimes& w) {
        for (Interpolator& interpolator : w.interpolators) {
          interpolator = create(functions, soundCards, blockSizes[0]);
        }
        for (Interpolator& interpolator : w.interpolators) {
          interpolator.reset();
        }
      },
      {count});
  comparison.plain(sameBits(), [](Lifetimes& w) {
    for (auto& plain : w.plain) {
      plain = std::make_unique<PlainSpline>(soundCards, blockSizes[0]);
    }
    for (auto& plain : w.plain) {
      plain.reset();
    }
  });
}

const bool registered = [] {
  compareInterpolation("doubled", {1, 2});
  compareInterpolation("44100-to-48000", soundCards);
  compareInterpolation("halved", {2, 1});
  compareStop();
  compareReset();
  compareLifetimes("kxcalcCHSInterpolator_Create", "and-Destroy", 1);
  compareLifetimes("kxcalcCHSInterpolator_Destroy", "1000-open-at-once", 1'000);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
