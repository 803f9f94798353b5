// White noise to pink: six first-order low-pass sections and two direct terms, summed. The even sections lie in one
// lane, the odd ones in the other, and so do the two partial sums that make up the result.
//
// The direct term b6 belongs to the same sample, where the filter is usually written with one sample of delay. The
// record keeps b6 and b7 as the last values only.
#include "frame/lanes.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

constexpr f64x2 poles01{0.99886, 0.99332}, gains01{0.0555179, 0.0750759};
constexpr f64x2 poles23{0.969, 0.8665}, gains23{0.153852, 0.3104856};
constexpr f64x2 poles45{0.55, -0.7616}, gains45{0.5329522, -0.016898};
constexpr f64x2 gains67{0.115926, 0.5362};

KXCALC_INLINE f64x2 advance(double* states, f64x2 poles, f64x2 drive) {
  const f64x2 advanced = load(states) * poles + drive;
  store(states, advanced);
  return advanced;
}

}  // namespace
}  // namespace kxcalc

extern "C" double kxcalcPinkFilter_double(PinkFilterState* state, double sample) {
  using namespace kxcalc;
  const double white = 0.2 * sample;
  const f64x2 direct = white * gains67;
  f64x2 sums = advance(&state->b0, poles01, white * gains01);
  sums += advance(&state->b2, poles23, white * gains23);
  sums += advance(&state->b4, poles45, white * gains45);
  sums += direct;
  store(&state->b6, direct);
  return sums[0] + sums[1];
}
