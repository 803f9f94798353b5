// Sine and arctangent.
#include "functions/calls/describe.hpp"

namespace kxcalc::calls {
namespace {

using Map = void (*)(const float*, float*, uint32_t);

/// Angles of which a sine in double that is off by one in the last place makes another single.
float hardAngle(Call& call) {
  return call.oneOf("hard angle", {0x1.33333p+13F, 0x1.95f654p+44F, 0x1.524856p+80F, 0x1.487e0cp+103F});
}

/// Blocks of one to three elements have rules of their own.
void map(Call& call, Map function) {
  const uint32_t count = call.count();
  const auto numbers = call.oneOf("numbers", {Numbers::angles, Numbers::any});
  const auto input = call.input<float>("input", count, {.numbers = numbers, .place = Place::everywhere});
  if (count == 1) {
    call.repeat(100);
    if (call.oneOf("hard", {false, true})) {
      input[0] = hardAngle(call);
    }
  }
  const auto output = call.output<float>("output", count);
  call.run(function, input, output, count);
}

}  // namespace

void kxcalcSin_float(Call& call, Map function) {
  map(call, function);
}
void kxcalcATan_float(Call& call, Map function) {
  map(call, function);
}

}  // namespace kxcalc::calls
