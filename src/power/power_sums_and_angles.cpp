// Active and reactive power of a voltage and a current spectrum, and the angles of harmonics.
#include <algorithm>

#include "frame/blocks.hpp"
#include "kxcalc.h"
#include "vmath/arctangent2.hpp"

namespace kxcalc {
namespace {

/// Active and reactive term of one bin or of two, in one vector: ur ir + ui ii, and ur ii - ui ir, each product and sum
/// rounded in double. What is taken away is added with the other sign.
template <class V>
KXCALC_INLINE V termsOf(V u, V i) {
  using Words = SameSize<int32_t, V>;
  const auto swapped = bitsAs<V>(fromEach16Bytes<2, 3, 0, 1>(bitsAs<Words>(i), bitsAs<Words>(i)));
  const auto straight = bitsAs<Words>(u * i), crossed = bitsAs<Words>(u * swapped);
  const auto first = bitsAs<V>(fromEach16Bytes<0, 1, 4, 5>(straight, crossed));  // ur ir, ur ii
  const Words second = fromEach16Bytes<2, 3, 6, 7>(straight, crossed);           // ui ii, ui ir
  return first + bitsAs<V>(second ^ fromEach16Bytes<0, 1, 2, 7>(Words{}, Words{} + INT32_MIN));
}
KXCALC_INLINE f64x2 termsOf(const float* voltage, const float* current) {
  return termsOf(loadAsDoubles(voltage), loadAsDoubles(current));
}

/// The real parts of two bins, or the imaginary ones.
template <int part>
KXCALC_INLINE f64x2 partsOf(const float* from) {
  const f32x4 both = load(from);
  return widenLow(__builtin_shufflevector(both, both, part, part + 2, part, part + 2));
}

/// Adds the terms of two bins, one after the other. Vectors of 16 bytes hold the same part of both: that takes fewer
/// rearrangements than a vector for each bin.
KXCALC_INLINE void addTwoBins(f64x2& sums, const float* voltage, const float* current) {
  if constexpr (widestBytes > 16) {
    const auto terms = termsOf(loadPackAsDoubles<4>(voltage), loadPackAsDoubles<4>(current));
    sums += lowPart(terms);
    sums += highPart(terms);
  } else {
    const f64x2 ur = partsOf<0>(voltage), ui = partsOf<1>(voltage), ir = partsOf<0>(current), ii = partsOf<1>(current);
    const f64x2 active = ur * ir + ui * ii, reactive = ur * ii - ui * ir;
    sums += __builtin_shufflevector(active, reactive, 0, 2);
    sums += __builtin_shufflevector(active, reactive, 1, 3);
  }
}

constexpr double degreesPerRadian = 57.2957763671875;  // 180/pi as a single, although it multiplies doubles

/// The bins around four orders: a pack holds the lower bins of all of them, then the upper ones.
constexpr int32_t ordersAtOnce = 4;
constexpr size_t binsAtOnce = 2 * ordersAtOnce;
using OfBins = PackOf<float, binsAtOnce>;

/// Angles in degrees, 0 to 360.
///
/// The result is the correctly rounded arctangent in double, times the factor, rounded to single. Rounding keeps the order of
/// numbers, so the quick arctangent is enough where both ends of what it may be off by, 2^-47 with the roundings of the
/// product and of its factors, give the same single: all but one of some millions.
KXCALC_INLINE OfBins anglesOf(OfBins y, OfBins x) {
  const auto arctangent = [](auto a, auto b) KXCALC_INLINE_LAMBDA { return quickArctangent2(a, b); };
  const auto quick = eachVector(arctangent, toDoubles(y), toDoubles(x));
  OfBins degrees = toSingles(quick * (degreesPerRadian * (1 - 0x1p-47)));
  const auto differ = [](auto a, auto b) KXCALC_INLINE_LAMBDA { return a != b; };
  const auto undecided = eachVector(differ, degrees, toSingles(quick * (degreesPerRadian * (1 + 0x1p-47))));
  if (anyBitSet(lowPart(undecided) | highPart(undecided))) [[unlikely]] {
    float ordinate[binsAtOnce], abscissa[binsAtOnce], angle[binsAtOnce];
    int32_t isUndecided[binsAtOnce];
    store(ordinate, y);
    store(abscissa, x);
    store(angle, degrees);
    store(isUndecided, undecided);
    for (size_t bin = 0; bin < binsAtOnce; ++bin) {
      if (isUndecided[bin] != 0) {
        angle[bin] = static_cast<float>(arctangent2(ordinate[bin], abscissa[bin]) * degreesPerRadian);
      }
    }
    degrees = loadPack<binsAtOnce>(angle);
  }
  const auto fromZero = [](auto v) KXCALC_INLINE_LAMBDA { return 0.0F > v ? v + 360.0F : v; };
  return eachVector(fromZero, degrees);
}

/// What is left of angles without their whole turns, with the angles' signs: 0 of whole turns, and of more than 2^23 or
/// infinitely many.
KXCALC_INLINE f32x4 withoutTurns(f32x4 angle) {
  constexpr float allWhole = 8388608.0F;  // 2^23: from here on there is no fraction
  const f32x4 turns = angle / 360.0F;
  const i32x4 sign = bitsAs<i32x4>(turns) & INT32_MIN;
  const i32x4 isWhole = bitsAs<f32x4>(bitsAs<i32x4>(turns) ^ sign) >= allWhole;
  const f32x4 fraction = turns - __builtin_convertvector(truncate(turns), f32x4);
  return bitsAs<f32x4>((bitsAs<i32x4>(fraction) & ~isWhole & INT32_MAX) | sign) * 360.0F;
}

/// The negated phase, brought near the range -180 to 180. A phase above 360 comes out with the other sign. Whole turns go
/// before a single one is added: from -360 on there are none, and a turn more than -180 and less is 180 at most.
KXCALC_INLINE f32x4 wrapped(f32x4 phase) {
  const f32x4 fraction = withoutTurns(-phase);
  const f32x4 turned = phase > 180.0F ? 360.0F - phase : -phase;
  const f32x4 x = phase > 360.0F ? -fraction : (-phase > 360.0F ? fraction : turned);
  return x > 180.0F ? x - 360.0F : x;
}

/// Between the two bins around each order's position, referred to a phase that grows with the order. From one bin to the
/// next the angle grows, by up to 360 degrees; equal angles count as 360.
KXCALC_INLINE f32x4 anglesOfOrders(const float* spectrum, f32x4 orders, float phasePerOrder, float binsPerOrder) {
  const f32x4 position = orders * binsPerOrder;
  const i32x4 bin = truncate(position);
  const auto binsAround = [&](size_t order)
                              KXCALC_INLINE_LAMBDA { return load(spectrum + 2 * static_cast<ptrdiff_t>(bin[order])); };
  const auto [y1, x1, y2, x2] = transposed(binsAround(0), binsAround(1), binsAround(2), binsAround(3));
  const OfBins angles = anglesOf(paired(y1, y2), paired(x1, x2));
  const f32x4 lower = lowPart(angles), upper = highPart(angles);
  const f32x4 step = upper > lower ? upper - lower : (upper - lower) + 360.0F;
  return wrapped((position - __builtin_convertvector(bin, f32x4)) * step + (lower - orders * phasePerOrder));
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcPowerPandQsum(const float* voltage, const float* current, int32_t binCount, double* activePower,
                                    double* reactivePower) {
  using namespace kxcalc;
  // First and last bin count half, those between in full. With two bins or less the last is bin 1, whatever the count.
  const size_t last = binCount > 2 ? static_cast<size_t>(binCount) - 1 : 1;
  f64x2 sums = termsOf(voltage, current) * 0.5;
  size_t bin = 1;
  const auto addTwo = [&](size_t at) KXCALC_INLINE_LAMBDA { addTwoBins(sums, voltage + 2 * at, current + 2 * at); };
  constexpr size_t line = 8;
  for (; last - bin >= line; bin += line) {
    prefetchAhead(voltage + 2 * bin);
    prefetchAhead(current + 2 * bin);
    unrolled<line / 2>([&](size_t k) KXCALC_INLINE_LAMBDA { addTwo(bin + 2 * k); });
  }
  for (; last - bin >= 2; bin += 2) {
    addTwo(bin);
  }
  if (bin < last) {
    sums += termsOf(voltage + 2 * bin, current + 2 * bin);
  }
  sums += termsOf(voltage + 2 * last, current + 2 * last) * 0.5;
  *activePower = sums[0];
  *reactivePower = sums[1];
}

extern "C" void kxcalcPowerAngles(const float* spectrum, float* angles, int32_t orderCount, float phasePerOrder,
                                  float binsPerOrder) {
  using namespace kxcalc;
  for (int64_t first = 1; first <= orderCount; first += ordersAtOnce) {
    // Past the last order it is taken once more: no other bins are read.
    const int32_t left = static_cast<int32_t>(std::min<int64_t>(orderCount - first, ordersAtOnce - 1));
    const i32x4 orders = static_cast<int32_t>(first) + lesser(i32x4{0, 1, 2, 3}, i32x4{} + left);
    const f32x4 results = anglesOfOrders(spectrum, toSingles(orders), phasePerOrder, binsPerOrder);
    if (left == ordersAtOnce - 1) {
      store(angles + first, results);
    } else {
      std::memcpy(angles + first, &results, static_cast<size_t>(left + 1) * sizeof(float));
    }
  }
}
