// Cascade of recursive sections, one sample a call.
#ifndef KXCALC_TESTS_REFERENCE_IIR_FILTER_HPP
#define KXCALC_TESTS_REFERENCE_IIR_FILTER_HPP

#include <kxcalc.h>

#include <cstdint>

namespace reference {

/// As it lies in the array of taps.
struct SectionTap {
  double x;
  double y;
  double b;
  double a;
};

inline SectionTap tapAt(const double* taps, int64_t index) {
  return {taps[4 * index], taps[4 * index + 1], taps[4 * index + 2], taps[4 * index + 3]};
}

inline void setTapInput(double* taps, int64_t index, double x) {
  taps[4 * index] = x;
}

inline void setTapOutput(double* taps, int64_t index, double y) {
  taps[4 * index + 1] = y;
}

/// The newest tap, at index order, keeps what it holds.
inline void shiftDelayLine(double* taps, int64_t order) {
  for (int64_t k = 0; k < order; ++k) {
    const SectionTap newer = tapAt(taps, k + 1);
    setTapInput(taps, k, newer.x);
    setTapOutput(taps, k, newer.y);
  }
}

/// One section of any order. A NaN stays.
inline double filterThroughSection(double* taps, int64_t order, double gain, double v) {
  shiftDelayLine(taps, order);
  v = v * gain;
  setTapInput(taps, order, v);
  double sum = 0;
  for (int64_t k = 0; k < order; ++k) {
    const SectionTap tap = tapAt(taps, k);
    const double difference = tap.x * tap.b - tap.y * tap.a;
    sum = sum + difference;
  }
  sum = sum + v * tapAt(taps, order).b;
  double output = sum;
  if (sum > 1e10) {
    output = 1e10;
  } else if (sum < -1e10) {
    output = -1e10;
  }
  setTapOutput(taps, order, output);
  return output;
}

/// One second-order section. A NaN becomes +1e10.
inline double filterThroughSecondOrderSection(double* taps, double gain, double v) {
  shiftDelayLine(taps, 2);
  v = v * gain;
  setTapInput(taps, 2, v);
  const SectionTap oldest = tapAt(taps, 0);
  const SectionTap older = tapAt(taps, 1);
  const double forward = oldest.x * oldest.b + older.x * older.b;
  const double backward = oldest.y * oldest.a + older.y * older.a;
  const double sum = (forward - backward) + v * tapAt(taps, 2).b;
  const double limited = sum < 1e10 ? sum : 1e10;
  const double output = limited < -1e10 ? -1e10 : limited;
  setTapOutput(taps, 2, output);
  return output;
}

inline double filterThroughCascade(const IIRFilterState& state, double sample) {
  const bool isSecondOrder = state.filterType == 3;
  // An order below 1 is that of a pure gain, of one tap.
  const int64_t generalOrder = state.sectionOrder < 1 ? 0 : state.sectionOrder;
  const int64_t tapsOfSection = isSecondOrder ? 3 : generalOrder + 1;
  double v = sample;
  for (int64_t section = 0; section < state.sectionCount; ++section) {
    double* const taps = state.sectionTaps + 4 * tapsOfSection * section;
    const double gain = state.sectionGains[section];
    v = isSecondOrder ? filterThroughSecondOrderSection(taps, gain, v)
                      : filterThroughSection(taps, generalOrder, gain, v);
  }
  return v;
}

inline double kxcalcIIRFilter_double(const IIRFilterState* state, double sample) {
  return filterThroughCascade(*state, sample);
}

/// Without sections the very value passed in comes back.
inline float kxcalcIIRFilter_float(const IIRFilterState* state, float sample) {
  if (state->sectionCount < 1) {
    return sample;
  }
  return static_cast<float>(filterThroughCascade(*state, static_cast<double>(sample)));
}

}  // namespace reference

#endif
