// Scaling, scaled differences and sums, sums of products, sample width.
#include <kxcalc.h>

#include "fuzzing.hpp"
#include "reference/scale_in_place.hpp"
#include "reference/scaled_vectors.hpp"
#include "reference/serial_sums.hpp"
#include "reference/width_conversion.hpp"

namespace {

using fuzzing::Buffer;
using fuzzing::Call;
using fuzzing::copyOf;
using fuzzing::Draw;
using fuzzing::Export;

template <typename Sample>
void checkScaleInPlace(Draw& draw, Export<void(Sample*, uint32_t, Sample)> scale) {
  const uint32_t count = draw.count();
  const Buffer<Sample> before = draw.buffer<Sample>(count);
  Buffer<Sample> actual = before;
  Buffer<Sample> expected = before;
  const auto factor = draw.value<Sample>();
  const Call call(scale.name, {{"data", before}, {"factor", factor}});
  scale.kernel(actual.data(), count, factor);
  scale.model(expected.data(), count, factor);
  call.same("data", actual, expected);
}

void checkSquares(Draw& draw) {
  const auto sum = KXCALC_FUZZED(kxcalcSumSquaredValues_float);
  const uint32_t count = draw.count();
  const Buffer<float> data = draw.buffer<float>(count);
  const auto before = copyOf(data);
  const Call call(sum.name, {{"data", before}});
  call.same("sum", sum.kernel(data.data(), count), sum.model(before.data(), count));
  call.unchanged("data", data, before);
}

/// Vectors of one length that begin anywhere in one buffer, so that they overlap in any way, or none.
struct Arena {
  Arena(Draw& draw, std::size_t vectors)
      : count(draw.count()),
        reach(draw.oneIn(2) ? draw.below<std::size_t>(20) : (vectors - 1) * count),
        elements(draw.buffer<float>(count + reach)) {}

  std::size_t place(Draw& draw) const { return draw.oneIn(4) ? reach : draw.between<std::size_t>(0, reach); }

  uint32_t count;
  std::size_t reach;
  Buffer<float> elements;
};

void checkDotProduct(Draw& draw) {
  const auto dot = KXCALC_FUZZED(kxcalcMultiplyVectorsAndCalcSum_float);
  const Arena arena(draw, 2);
  const Arena before = arena;
  const std::size_t first = arena.place(draw);
  const std::size_t second = arena.place(draw);
  const Call call(dot.name,
                  {{"buffer", before.elements}, {"first", first}, {"second", second}, {"count", arena.count}});
  const float* const actual = arena.elements.data();
  const float* const expected = before.elements.data();
  call.same("sum", dot.kernel(actual + first, actual + second, arena.count),
            dot.model(expected + first, expected + second, arena.count));
  call.unchanged("buffer", arena.elements, before.elements);
}

template <typename... Factor>
void checkScaledVectors(Draw& draw, Export<void(float*, const float*, const float*, uint32_t, Factor...)> combine) {
  const Arena before(draw, 3);
  Arena actual = before;
  Arena expected = before;
  const std::size_t output = before.place(draw);
  const std::size_t first = before.place(draw);
  const std::size_t second = before.place(draw);
  const float factors[] = {draw.value<float>(), draw.value<float>()};
  const Call call(combine.name, {{"buffer", before.elements},
                                 {"output", output},
                                 {"first", first},
                                 {"second", second},
                                 {"count", before.count},
                                 {"factor", factors[0]},
                                 {"factor of the sum", factors[1]}});
  const auto run = [&](auto* function, float* buffer) {
    if constexpr (sizeof...(Factor) == 1) {
      function(buffer + output, buffer + first, buffer + second, before.count, factors[0]);
    } else {
      function(buffer + output, buffer + first, buffer + second, before.count, factors[0], factors[1]);
    }
  };
  run(combine.kernel, actual.elements.data());
  run(combine.model, expected.elements.data());
  call.same("buffer", actual.elements, expected.elements);
}

template <typename Source, typename Destination>
void checkConversion(Draw& draw, Export<void(const Source*, Destination*, uint32_t)> convert) {
  const uint32_t count = draw.count();
  const Buffer<Source> source = draw.buffer<Source>(count);
  const auto before = copyOf(source);
  Buffer<Destination> actual = draw.room<Destination>(count);
  Buffer<Destination> expected = actual;
  const Call call(convert.name, {{"source", before}, {"destination", actual}});
  convert.kernel(source.data(), actual.data(), count);
  convert.model(before.data(), expected.data(), count);
  call.same("destination", actual, expected);
  call.unchanged("source", source, before);
}

constexpr fuzzing::Check allChecks[] = {
    [](Draw& draw) { checkScaleInPlace(draw, KXCALC_FUZZED(kxcalcMultiplyVectorByScalar_float)); },
    [](Draw& draw) { checkScaleInPlace(draw, KXCALC_FUZZED(kxcalcMultiplyVectorByScalar_double)); },
    checkSquares,
    checkDotProduct,
    [](Draw& draw) { checkScaledVectors(draw, KXCALC_FUZZED(kxcalcSubtractVectorsAndMultiplyByScalar_float)); },
    [](Draw& draw) { checkScaledVectors(draw, KXCALC_FUZZED(kxcalcAddVectorsAndMultiplyByScalar_float)); },
    [](Draw& draw) { checkConversion(draw, KXCALC_FUZZED(kxcalcConvertInt32ToInt16)); },
    [](Draw& draw) { checkConversion(draw, KXCALC_FUZZED(kxcalcConvertInt16ToInt32)); },
};

}  // namespace

std::span<const fuzzing::Check> fuzzing::checks() {
  return allChecks;
}
