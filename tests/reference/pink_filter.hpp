// Pink noise out of white noise, one sample a call.
#ifndef KXCALC_TESTS_REFERENCE_PINK_FILTER_HPP
#define KXCALC_TESTS_REFERENCE_PINK_FILTER_HPP

#include <kxcalc.h>

namespace reference {

inline double kxcalcPinkFilter_double(PinkFilterState* state, double sample) {
  const double w = 0.2 * sample;
  state->b0 = state->b0 * 0.99886 + w * 0.0555179;
  state->b1 = state->b1 * 0.99332 + w * 0.0750759;
  state->b2 = state->b2 * 0.969 + w * 0.153852;
  state->b3 = state->b3 * 0.8665 + w * 0.3104856;
  state->b4 = state->b4 * 0.55 + w * 0.5329522;
  state->b5 = state->b5 * -0.7616 + w * -0.016898;
  state->b6 = 0.115926 * w;
  state->b7 = 0.5362 * w;
  const double evenSections = ((state->b0 + state->b2) + state->b4) + state->b6;
  const double oddSections = ((state->b1 + state->b3) + state->b5) + state->b7;
  return evenSections + oddSections;
}

}  // namespace reference

#endif
