// Recursive cascades, pink noise, a filter whose delay line is a ring.
#include <kxcalc.h>

#include <algorithm>

#include "fuzzing.hpp"
#include "reference/fir_filter.hpp"
#include "reference/iir_filter.hpp"
#include "reference/pink_filter.hpp"

namespace {

using fuzzing::Buffer;
using fuzzing::Call;
using fuzzing::copyOf;
using fuzzing::Draw;
using fuzzing::Export;
using fuzzing::NanRule;

/// The coefficients keep their bits: b and a are the last two of the four numbers of a tap.
void compareTaps(const Call& call, const Buffer<double>& actual, const Buffer<double>& expected) {
  call.same("taps", actual, expected);
  for (std::size_t i = 0; i < actual.size(); i += 4) {
    call.same("coefficients", actual.span().subspan(i + 2, 2), expected.span().subspan(i + 2, 2), NanRule::sameBits);
  }
}

template <typename Sample>
void checkIir(Draw& draw, Export<Sample(const IIRFilterState*, Sample)> filter) {
  IIRFilterState state;
  std::memset(&state, 0, sizeof state);
  state.filterType = draw.oneIn(2) ? 3 : draw.value<int32_t>();
  state.sectionCount = draw.oneIn(16) ? draw.between<int32_t>(INT32_MIN, 0) : draw.between<int32_t>(0, 8);
  state.sectionOrder = draw.oneIn(8) ? draw.value<int32_t>() : draw.between<int32_t>(-1, 7);
  if (state.filterType != 3) {
    state.sectionOrder = std::min(state.sectionOrder, 12);
  }
  draw.setTo(state.reserved);
  const int32_t taps = state.filterType == 3 ? 3 : std::max(state.sectionOrder, 0) + 1;
  const auto sections = static_cast<std::size_t>(std::max(state.sectionCount, 0));
  const Buffer<double> gains = draw.buffer<double>(sections);
  const auto gainsBefore = copyOf(gains);
  const Buffer<double> initial = draw.alignedBuffer<double>(sections * static_cast<std::size_t>(taps) * 4);
  Buffer<double> actual = initial;
  Buffer<double> expected = initial;
  const uint32_t samples = draw.between<uint32_t>(1, 4);
  for (uint32_t i = 0; i < samples; ++i) {
    const auto before = copyOf(expected);
    const auto sample = draw.value<Sample>();
    const Call call(filter.name, {{"filterType", state.filterType},
                                  {"sectionCount", state.sectionCount},
                                  {"sectionOrder", state.sectionOrder},
                                  {"sectionGains", gainsBefore},
                                  {"sectionTaps", before},
                                  {"sample", sample}});
    const auto run = [&](auto* function, const double* sectionGains, Buffer<double>& sectionTaps) {
      state.sectionGains = sectionGains;
      state.sectionTaps = sectionTaps.data();
      const IIRFilterState stateBefore = state;
      const Sample result = function(&state, sample);
      call.unchangedRecord(state, stateBefore);
      return result;
    };
    const Sample result = run(filter.kernel, gains.data(), actual);
    call.same("result", result, run(filter.model, gainsBefore.data(), expected));
    compareTaps(call, actual, expected);
    call.unchanged("sectionGains", gains, gainsBefore);
  }
}

void checkPink(Draw& draw) {
  const auto filter = KXCALC_FUZZED(kxcalcPinkFilter_double);
  Buffer<double> actual = draw.buffer<double>(8);
  Buffer<double> expected = actual;
  const uint32_t samples = draw.between<uint32_t>(1, 8);
  for (uint32_t i = 0; i < samples; ++i) {
    const auto before = copyOf(expected);
    const auto sample = draw.value<double>();
    const Call call(filter.name, {{"b0 to b7", before}, {"sample", sample}});
    const double result = filter.kernel(reinterpret_cast<PinkFilterState*>(actual.data()), sample);
    call.same("result", result, filter.model(reinterpret_cast<PinkFilterState*>(expected.data()), sample));
    call.same("b0 to b7", actual, expected);
  }
}

void checkFir(Draw& draw) {
  const auto filter = KXCALC_FUZZED(kxcalcFIRFilter_float);
  const uint32_t length = draw.count();
  const uint32_t position = draw.between<uint32_t>(0, length);
  const Buffer<float> ring = draw.buffer<float>(length);
  const auto ringBefore = copyOf(ring);
  const Buffer<float> coefficients = draw.alignedBuffer<float>(length);
  const auto coefficientsBefore = copyOf(coefficients);
  const Call call(filter.name, {{"ring", ringBefore}, {"coefficients", coefficientsBefore}, {"position", position}});
  call.same("result", filter.kernel(ring.data(), coefficients.data(), length, position),
            filter.model(ringBefore.data(), coefficientsBefore.data(), length, position));
  call.unchanged("ring", ring, ringBefore);
  call.unchanged("coefficients", coefficients, coefficientsBefore);
}

constexpr fuzzing::Check allChecks[] = {
    [](Draw& draw) { checkIir(draw, KXCALC_FUZZED(kxcalcIIRFilter_float)); },
    [](Draw& draw) { checkIir(draw, KXCALC_FUZZED(kxcalcIIRFilter_double)); },
    checkPink,
    checkFir,
};

}  // namespace

std::span<const fuzzing::Check> fuzzing::checks() {
  return allChecks;
}
