// Digital filters: results and whole states.
#include "common.hpp"

namespace kxverify {
namespace {

/// Cascades of every kind, fed with ordinary samples and then with what upsets them.
template <class Sample>
void cascades(const char* name, Sample (*kernel)(const IIRFilterState*, Sample), Digest& digest) {
  Source source(name);
  for (const int32_t type : {3, 0, 1}) {
    for (int32_t sections = -1; sections <= 6; ++sections) {
      for (const int32_t order : {-1, 0, 1, 2, 3, 7, 8, 9, 17}) {
        const std::size_t tapCount = type == 3 ? 3 : static_cast<std::size_t>(order < 0 ? 0 : order) + 1;
        const std::size_t count = sections < 1 ? 0 : static_cast<std::size_t>(sections);
        auto gains = placed<double>(source, Kind::signal, count);
        Buffer<double> taps(count * tapCount * 4);
        for (std::size_t i = 0; i < taps.size(); ++i) {
          taps[i] = i % 4 < 2 ? 0 : source.unit();  // the coefficients of some run off, and are limited
        }
        const IIRFilterState state{type, sections, order, 1234, gains.data(), taps.data()};
        for (int i = 0; i < 60; ++i) {
          digest.add(kernel(&state, source.sample<Sample>(i < 40 ? Kind::signal : kinds[source.below(3)])));
        }
        digest.add(taps);
        digest.add(state.reserved);
      }
    }
  }
}

}  // namespace

void kxcalcIIRFilter_floatExercise(const Functions& functions, Digest& digest) {
  cascades("kxcalcIIRFilter_float", functions.kxcalcIIRFilter_float, digest);
}
void kxcalcIIRFilter_doubleExercise(const Functions& functions, Digest& digest) {
  cascades("kxcalcIIRFilter_double", functions.kxcalcIIRFilter_double, digest);
}

void kxcalcPinkFilter_doubleExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcPinkFilter_double");
  for (const Kind kind : kinds) {
    PinkFilterState state{};
    for (int i = 0; i < 2000; ++i) {
      digest.add(
          functions.kxcalcPinkFilter_double(&state, i % 500 == 499 ? source.sample<double>(kind) : source.unit()));
    }
    for (const double number : {state.b0, state.b1, state.b2, state.b3, state.b4, state.b5, state.b6, state.b7}) {
      digest.add(number);
    }
  }
}

void kxcalcFIRFilter_floatExercise(const Functions& functions, Digest& digest) {
  Source source("kxcalcFIRFilter_float");
  for (const Kind kind : kinds) {
    for (uint32_t length = 0; length <= longestShort; ++length) {
      const auto ring = placed<float>(source, kind, length);
      Buffer<float> coefficients(length);
      source.fill(coefficients, Kind::signal);
      for (uint32_t position = 0; position <= length; ++position) {
        digest.add(functions.kxcalcFIRFilter_float(ring.data(), coefficients.data(), length, position));
      }
    }
  }
}

}  // namespace kxverify
