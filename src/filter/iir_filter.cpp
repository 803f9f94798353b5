// Cascades of recursive (IIR) sections, one sample a call, everything in double.
//
// The recurrence sets the pace. Of a second-order section it is y1 * a1, the sum of both feedback products, the
// difference from the feed-forward sum, the current term: a multiplication and three additions from one output to the
// next. Sections of consecutive calls overlap, because a section waits for nothing but its own history and its input;
// and the limit is a comparison whose branch is predicted, which takes no part in the chain.
#include <cmath>

#include "frame/blocks.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

/// Type of a record that selects second-order sections of three taps, whatever its order says.
constexpr int32_t secondOrderSections = 3;

/// A tap is four doubles: x and y of its delay, then their coefficients b and a. Each pair is read and written whole.
constexpr size_t tapSize = 4;
KXCALC_INLINE f64x2 signal(const double* tap) {
  return load(tap);
}
KXCALC_INLINE f64x2 coefficients(const double* tap) {
  return load(tap + 2);
}

/// Keeps a section that is unstable, or badly designed, from running off.
constexpr double limit = 1e10;

/// General sections: a NaN goes on.
KXCALC_INLINE double limitedOrNan(double y) {
  if (!(std::abs(y) <= limit)) [[unlikely]] {
    y = y > limit ? limit : (y < -limit ? -limit : y);
  }
  return y;
}

/// Second-order sections: a NaN becomes the upper limit.
KXCALC_INLINE double limitedNanToUpper(double y) {
  if (!(std::abs(y) <= limit)) [[unlikely]] {
    y = y < -limit ? -limit : limit;
  }
  return y;
}

/// A section of any order N: taps from the oldest delay to the current sample. Each tap's difference x b - y a is
/// formed first, then added, the oldest first.
KXCALC_INLINE double generalSection(double* taps, size_t order, double x) {
  double* const current = taps + order * tapSize;
  double sum = 0;
  for (double* tap = taps; tap < current; tap += tapSize) {
    const f64x2 delayed = signal(tap + tapSize);
    store(tap, delayed);
    const f64x2 products = delayed * coefficients(tap);
    sum += products[0] - products[1];
  }
  sum += x * coefficients(current)[0];
  const double y = limitedOrNan(sum);
  store(current, f64x2{x, y});
  return y;
}

/// A section of order 2: both feed-forward products summed, both feedback products summed, their difference, then the
/// current term. It rounds otherwise than a general section with the same coefficients.
KXCALC_INLINE double secondOrderSection(double* taps, double x) {
  double* const current = taps + 2 * tapSize;
  const f64x2 twoBack = signal(taps + tapSize);
  const f64x2 oneBack = signal(current);
  store(taps, twoBack);
  store(taps + tapSize, oneBack);
  const f64x2 sums = twoBack * coefficients(taps) + oneBack * coefficients(taps + tapSize);
  const double y = limitedNanToUpper((sums[0] - sums[1]) + x * coefficients(current)[0]);
  store(current, f64x2{x, y});
  return y;
}

template <class Sample>
KXCALC_INLINE Sample filtered(const IIRFilterState& state, Sample sample) {
  if (state.sectionCount < 1) {
    return sample;
  }
  const auto sections = static_cast<size_t>(state.sectionCount);
  const double* const gains = state.sectionGains;
  double* taps = state.sectionTaps;
  auto v = static_cast<double>(sample);
  if (state.filterType == secondOrderSections) {
    for (size_t section = 0; section < sections; ++section) {
      v = secondOrderSection(taps, v * gains[section]);
      taps += 3 * tapSize;
    }
  } else {
    const size_t order = state.sectionOrder < 0 ? 0 : static_cast<size_t>(state.sectionOrder);
    for (size_t section = 0; section < sections; ++section) {
      v = generalSection(taps, order, v * gains[section]);
      taps += (order + 1) * tapSize;
    }
  }
  return static_cast<Sample>(v);
}

}  // namespace
}  // namespace kxcalc

extern "C" float kxcalcIIRFilter_float(const IIRFilterState* state, float sample) {
  return kxcalc::filtered(*state, sample);
}

extern "C" double kxcalcIIRFilter_double(const IIRFilterState* state, double sample) {
  return kxcalc::filtered(*state, sample);
}
