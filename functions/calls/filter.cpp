// Recursive cascades, pink noise, a filter whose delay line is a ring: some samples of a stream.
#include <algorithm>

#include "functions/calls/describe.hpp"

namespace kxcalc::calls {
namespace {

template <class Sample>
void cascade(Call& call, Sample (*function)(const IIRFilterState*, Sample)) {
  constexpr int32_t highestOrder = 17;
  IIRFilterState state;
  std::memset(&state, 0, sizeof state);
  state.filterType =
      call.rarely(4) ? call.number<int32_t>("filterType") : call.setting<int32_t>("filterType", {3, 0, 1}, 2, 3);
  state.sectionCount = call.rarely(16) ? call.between<int32_t>("sectionCount", INT32_MIN, 0)
                                       : call.setting<int32_t>("sectionCount", {2, -1, 0, 1, 3, 4, 5, 6}, 0, 8);
  state.sectionOrder = call.rarely(8)
                           ? call.number<int32_t>("sectionOrder")
                           : call.setting<int32_t>("sectionOrder", {2, -1, 0, 1, 3, 7, 8, 9, highestOrder}, -1, 7);
  if (state.filterType != 3) {
    state.sectionOrder = std::min(state.sectionOrder, highestOrder);
  }
  call.setNumber("reserved", state.reserved);
  const int32_t taps = state.filterType == 3 ? 3 : std::max(state.sectionOrder, 0) + 1;
  const auto sections = static_cast<std::size_t>(std::max(state.sectionCount, 0));
  state.sectionGains = call.input<double>("sectionGains", sections, {.numbers = Numbers::ordinary}).data();
  // The coefficients of some run off, and are limited.
  const auto numbers = call.both<double>("sectionTaps", sections * static_cast<std::size_t>(taps) * 4,
                                         {.numbers = Numbers::ordinary, .place = Place::aligned});
  state.sectionTaps = numbers.data();
  const auto samples = call.setting<uint32_t>("samples", {60}, 1, 4);
  for (uint32_t i = 0; i < samples; ++i) {
    const auto sample = call.number<Sample>("sample", i < 40 ? Numbers::ordinary : Numbers::any);
    call.result("sample", call.runWithRecord(function, state, sample));
  }
  for (std::size_t i = 0; i < numbers.size(); i += 4) {  // a tap's x, y, b, a
    call.result("coefficients", std::span<const double>(numbers).subspan(i + 2, 2), Nan::bits);
  }
}

}  // namespace

void kxcalcIIRFilter_float(Call& call, float (*function)(const IIRFilterState*, float)) {
  cascade(call, function);
}
void kxcalcIIRFilter_double(Call& call, double (*function)(const IIRFilterState*, double)) {
  cascade(call, function);
}

void kxcalcPinkFilter_double(Call& call, double (*function)(PinkFilterState*, double)) {
  static_assert(sizeof(PinkFilterState) == 8 * sizeof(double));
  const auto numbers = call.both<double>("b0 to b7", 8, {.numbers = Numbers::ordinary});
  auto* const state = reinterpret_cast<PinkFilterState*>(numbers.data());
  const auto samples = call.setting<uint32_t>("samples", {1000}, 1, 8);
  for (uint32_t i = 0; i < samples; ++i) {
    const auto sample = call.number<double>("sample", i % 500 == 499 ? Numbers::any : Numbers::ordinary);
    call.result("sample", call.run(function, state, sample));
  }
}

void kxcalcFIRFilter_float(Call& call, float (*function)(const float*, const float*, uint32_t, uint32_t)) {
  const uint32_t length = call.count();
  const uint32_t position =
      length < 100 ? call.each<uint32_t>("position", 0, length) : call.between<uint32_t>("position", 0, length);
  const auto ring = call.input<float>("ring", length);
  const auto coefficients =
      call.input<float>("coefficients", length, {.numbers = Numbers::ordinary, .place = Place::aligned});
  call.result("sample", call.run(function, ring, coefficients, length, position));
}

}  // namespace kxcalc::calls
