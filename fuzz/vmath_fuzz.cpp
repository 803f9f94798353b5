// Sine and arctangent.
#include <kxcalc.h>

#include "fuzzing.hpp"
#include "reference/sine_arctangent.hpp"

namespace {

using fuzzing::Buffer;
using fuzzing::Call;
using fuzzing::copyOf;
using fuzzing::Draw;
using fuzzing::Export;

void checkMap(Draw& draw, Export<void(const float*, float*, uint32_t)> map) {
  const uint32_t count = draw.count();
  const Buffer<float> input = draw.buffer<float>(count);
  const auto before = copyOf(input);
  Buffer<float> actual = draw.room<float>(count);
  Buffer<float> expected = actual;
  const Call call(map.name, {{"input", before}, {"output", actual}});
  map.kernel(input.data(), actual.data(), count);
  map.model(before.data(), expected.data(), count);
  call.same("output", actual, expected);
  call.unchanged("input", input, before);
}

constexpr fuzzing::Check allChecks[] = {
    [](Draw& draw) { checkMap(draw, KXCALC_FUZZED(kxcalcSin_float)); },
    [](Draw& draw) { checkMap(draw, KXCALC_FUZZED(kxcalcATan_float)); },
};

}  // namespace

std::span<const fuzzing::Check> fuzzing::checks() {
  return allChecks;
}
