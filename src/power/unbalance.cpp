// Symmetrical components of a three-phase system (C. L. Fortescue, 1918): magnitudes of the zero, positive and negative
// sequence of each entry, summed, and their ratios to the positive one.
//
// Entries in whole blocks of four are computed in single, with the packed sine and cosine, and divided by 3; the up to
// three after them in double, with correctly rounded ones, and multiplied by a third. The two differ in their last bits, so the seam
// stays at multiples of four from entry 0. Entry 0 is evaluated once more in double, also where there is none.
#include <cmath>
#include <cstddef>

#include "frame/blocks.hpp"
#include "kxcalc.h"
#include "vmath/sine_cosine.hpp"
#include "vmath/transcendentals.hpp"

static_assert(offsetof(PowerUnbalanceArgs, zeroSequence) == 6 * sizeof(void*));
static_assert(offsetof(PowerUnbalanceArgs, count) == 13 * sizeof(void*));

namespace kxcalc {
namespace {

constexpr auto radiansPerDegree = std::bit_cast<float>(0x3C8EFA35U);  // 0.0174532924
constexpr double third = 0.3333333432674408;                          // 1/3 as a single

/// The degrees by which phases 2 and 3 are turned before the three phasors are added.
struct Rotation {
  float phase2, phase3;
};
constexpr Rotation zeroSequence{0, 0}, positiveSequence{-120, -240}, negativeSequence{-240, -120};

/// One value for each sequence.
template <class V>
struct Sequences {
  V zero, positive, negative;
};

template <class V>
struct Phasor {
  V real, imaginary;

  KXCALC_INLINE Phasor operator+(Phasor other) const { return {real + other.real, imaginary + other.imaginary}; }
  KXCALC_INLINE V squaredLength() const { return real * real + imaginary * imaginary; }
};

KXCALC_INLINE Phasor<f32x4> phasor(f32x4 magnitude, f32x4 degrees) {
  f32x4 sine, cosine;
  packedSinCos(degrees * radiansPerDegree, &sine, &cosine);
  return {magnitude * cosine, magnitude * sine};
}

template <class V>
struct TwoPhasors {
  V first, second;
};

KXCALC_INLINE TwoPhasors<Phasor<f32x4>> phasors(f32x4 magnitude1, f32x4 degrees1, f32x4 magnitude2, f32x4 degrees2) {
  return {phasor(magnitude1, degrees1), phasor(magnitude2, degrees2)};
}
KXCALC_INLINE TwoPhasors<Phasor<double>> phasors(float magnitude1, float degrees1, float magnitude2, float degrees2) {
  const auto [sines, cosines] = sinesAndCosines(degrees1 * radiansPerDegree, degrees2 * radiansPerDegree);
  const f64x2 magnitudes{static_cast<double>(magnitude1), static_cast<double>(magnitude2)};
  const f64x2 reals = magnitudes * cosines, imaginaries = magnitudes * sines;
  return {{reals[0], imaginaries[0]}, {reals[1], imaginaries[1]}};
}
KXCALC_INLINE Phasor<double> phasor(float magnitude, float degrees) {
  return phasors(magnitude, degrees, magnitude, degrees).first;
}

/// Squares of the lengths of an entry's three sequences, entry One{i} in double or Pack<4>{i} in single.
template <class At>
KXCALC_INLINE auto squaredLengths(const PowerUnbalanceArgs& args, At at) {
  const auto phase1 = phasor(at.load(args.magnitudeL1), at.load(args.angleL1));
  const auto magnitude2 = at.load(args.magnitudeL2), angle2 = at.load(args.angleL2);
  const auto magnitude3 = at.load(args.magnitudeL3), angle3 = at.load(args.angleL3);
  const auto squared = [&](Rotation rotation) {
    const auto [phase2, phase3] = phasors(magnitude2, angle2 + rotation.phase2, magnitude3, angle3 + rotation.phase3);
    return (phase1 + phase2 + phase3).squaredLength();
  };
  return Sequences<decltype(phase1.real)>{squared(zeroSequence), squared(positiveSequence), squared(negativeSequence)};
}

/// Whole blocks of four.
KXCALC_INLINE Sequences<float> sumBlocks(const PowerUnbalanceArgs& args, size_t end) {
  f32x4 zeros{}, positives{}, negatives{};
  for (size_t i = 0; i < end; i += 4) {
    const auto squares = squaredLengths(args, Pack<4>{i});
    zeros += squareRoot(squares.zero) / 3.0F;
    positives += squareRoot(squares.positive) / 3.0F;
    negatives += squareRoot(squares.negative) / 3.0F;
  }
  const auto total = [](f32x4 lanes) { return (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]); };
  return {total(zeros), total(positives), total(negatives)};
}

/// Added in double, and the sum rounded to single, entry by entry.
KXCALC_INLINE float increased(float sum, double squaredLength) {
  return static_cast<float>(static_cast<double>(sum) + squareRoot(squaredLength) * third);
}

KXCALC_INLINE float timesThird(double squaredLength) {
  return static_cast<float>(squareRoot(squaredLength) * third);
}

/// Both ratios in percent, divided first; not written where the positive sequence is not above 0.
KXCALC_INLINE void writeRatios(Sequences<float> sequences, float* negativeRatio, float* zeroRatio) {
  if (sequences.positive > 0) {
    *negativeRatio = sequences.negative / sequences.positive * 100.0F;
    *zeroRatio = sequences.zero / sequences.positive * 100.0F;
  }
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcPowerUnbalance(const PowerUnbalanceArgs* args) {
  using namespace kxcalc;
  const size_t count = args->count, blocksEnd = count - count % 4;
  Sequences<float> sums = sumBlocks(*args, blocksEnd);
  for (size_t i = blocksEnd; i < count; ++i) {
    const auto squares = squaredLengths(*args, One{i});
    sums = {increased(sums.zero, squares.zero), increased(sums.positive, squares.positive),
            increased(sums.negative, squares.negative)};
  }
  *args->zeroSequence = sums.zero;
  *args->positiveSequence = sums.positive;
  *args->negativeSequence = sums.negative;
  const auto first = squaredLengths(*args, One{0});
  writeRatios({timesThird(first.zero), timesThird(first.positive), timesThird(first.negative)},
              args->negativeRatioFirst, args->zeroRatioFirst);
  writeRatios(sums, args->negativeRatio, args->zeroRatio);
}
