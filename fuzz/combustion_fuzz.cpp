// Crank-angle filters, raw data to channels, width conversion in place, pressure-volume coordinates, averages of cycles.
#include <kxcalc.h>

#include <algorithm>

#include "fuzzing.hpp"
#include "reference/inplace_width_conversion.hpp"
#include "reference/overall_pressure.hpp"
#include "reference/pressure_volume.hpp"
#include "reference/raw_data_to_channels.hpp"
#include "reference/running_value.hpp"
#include "reference/sample_filters.hpp"

namespace {

using fuzzing::Buffer;
using fuzzing::Call;
using fuzzing::copyOf;
using fuzzing::Draw;
using fuzzing::Export;
using fuzzing::NanRule;

template <typename Sample>
void checkWeightedSum(Draw& draw, Export<float(const Sample*, uint32_t, const float*, uint32_t)> filter) {
  const uint32_t count = draw.count();
  const uint32_t stride = count < 2 ? draw.value<uint32_t>() : draw.between<uint32_t>(0, 5);
  const Buffer<Sample> window = draw.buffer<Sample>(count);
  const auto windowBefore = copyOf(window);
  const Buffer<float> weights = draw.buffer<float>(count < 2 ? count : std::size_t{count - 1} * stride + 1);
  const auto weightsBefore = copyOf(weights);
  const Call call(filter.name, {{"window", windowBefore}, {"weights", weightsBefore}, {"stride", stride}});
  const std::size_t newest = count == 0 ? 0 : count - 1;
  call.same("sum", filter.kernel(window.data() + newest, count, weights.data(), stride),
            filter.model(windowBefore.data() + newest, count, weightsBefore.data(), stride));
  call.unchanged("window", window, windowBefore);
  call.unchanged("weights", weights, weightsBefore);
}

void checkMovingAverage(Draw& draw) {
  const auto filter = KXCALC_FUZZED(kxcalcCACalcAveFilter_double);
  const auto width = draw.oneIn(8) ? draw.below<uint16_t>(2000) : draw.below<uint16_t>(40);
  const uint32_t window = width | 1U;
  const uint32_t count = window / 2 + draw.count(1);
  const Buffer<double> input = draw.buffer<double>(std::max(count, window));
  const auto before = copyOf(input);
  Buffer<double> actual = draw.room<double>(count);
  Buffer<double> expected = actual;
  const Call call(filter.name, {{"input", before}, {"output", actual}, {"width", width}, {"count", count}});
  filter.kernel(input.data(), actual.data(), width, count);
  filter.model(before.data(), expected.data(), width, count);
  call.same("output", actual, expected);
  call.unchanged("input", input, before);
}

/// The pointer whose element `start` is the buffer's first one: it may lie far before the buffer.
const float* beginningOf(const Buffer<float>& buffer, uint32_t start) {
  return reinterpret_cast<const float*>(reinterpret_cast<uintptr_t>(buffer.data()) - uintptr_t{start} * sizeof(float));
}

void checkRawData(Draw& draw) {
  const auto copy = KXCALC_FUZZED(kxCalcCACopyRawDataToChannels);
  const uint32_t count = draw.count();
  // Indexes are carried as singles, whose steps widen at the powers of two from 2^24 on.
  const uint32_t power = uint32_t{1} << draw.between<uint32_t>(24, 31);
  const uint32_t start = draw.oneIn(3) ? power - draw.below<uint32_t>(200) : draw.below<uint32_t>(100);
  const Buffer<float> raw = draw.buffer<float>(count);
  const auto before = copyOf(raw);
  const auto offset = draw.value<float>();
  Buffer<float> actual = draw.room<float>(count);
  Buffer<float> expected = actual;
  Buffer<float> actualPeak = draw.room<float>(1);
  Buffer<float> expectedPeak = actualPeak;
  Buffer<uint32_t> actualIndex = draw.room<uint32_t>(1);
  Buffer<uint32_t> expectedIndex = actualIndex;
  const Call call(copy.name, {{"raw[start] on", before}, {"channel", actual}, {"start", start}, {"offset", offset}});
  copy.kernel(beginningOf(raw, start), actual.data(), start, start + count, offset, actualPeak.data(),
              actualIndex.data());
  copy.model(beginningOf(before, start), expected.data(), start, start + count, offset, expectedPeak.data(),
             expectedIndex.data());
  call.same("channel", actual, expected);
  call.same("peak value", actualPeak, expectedPeak, NanRule::sameBits);
  call.same("peak index", actualIndex, expectedIndex);
  call.unchanged("raw", raw, before);
}

void checkNarrowing(Draw& draw) {
  const auto narrow = KXCALC_FUZZED(kxcalcCADoubleArrToSingleArrInplace);
  const uint32_t count = draw.count();
  const Buffer<double> before = draw.alignedBuffer<double>(count);
  Buffer<double> actual = before;
  Buffer<double> expected = before;
  const Call call(narrow.name, {{"buffer", before}});
  narrow.kernel(actual.data(), count);
  narrow.model(expected.data(), count);
  const auto singlesOf = [](const Buffer<double>& buffer) {
    return std::span(reinterpret_cast<const float*>(buffer.data()), 2 * buffer.size());
  };
  call.same("singles", singlesOf(actual).first(count), singlesOf(expected).first(count));
  call.same("what lies behind them", singlesOf(actual).subspan(count), singlesOf(expected).subspan(count),
            NanRule::sameBits);
}

void checkWidening(Draw& draw) {
  const auto widen = KXCALC_FUZZED(kxcalcCASingleArrToDoubleArrInplace);
  const uint32_t count = draw.count();
  const Buffer<float> before = draw.alignedBuffer<float>(std::size_t{2} * count);
  Buffer<float> actual = before;
  Buffer<float> expected = before;
  const Call call(widen.name, {{"buffer", before}, {"count", count}});
  widen.kernel(actual.data(), count);
  widen.model(expected.data(), count);
  const auto doublesOf = [count](const Buffer<float>& buffer) {
    return std::span(reinterpret_cast<const double*>(reinterpret_cast<const std::byte*>(buffer.data())), count);
  };
  call.same("doubles", doublesOf(actual), doublesOf(expected));
}

template <typename... Reference>
void checkCoordinates(
    Draw& draw, Export<void(const float*, uint32_t, int32_t*, int32_t, int32_t, float, float, Reference...)> place) {
  const uint32_t count = draw.count();
  const Buffer<float> input = draw.buffer<float>(count);
  const auto before = copyOf(input);
  const auto lower = draw.value<int32_t>();
  const auto upper = draw.value<int32_t>();
  const auto scale = draw.value<float>();
  const auto offset = draw.value<float>();
  float reference = draw.value<float>();
  reference = reference == 0 ? 1 : reference;
  Buffer<int32_t> actual = draw.room<int32_t>(count);
  Buffer<int32_t> expected = actual;
  const Call call(place.name, {{"input", before},
                               {"output", actual},
                               {"lower", lower},
                               {"upper", upper},
                               {"scale", scale},
                               {"offset", offset},
                               {"reference (logarithmic axis)", reference}});
  const auto run = [&](auto* function, const Buffer<float>& from, Buffer<int32_t>& to) {
    if constexpr (sizeof...(Reference) == 0) {
      function(from.data(), count, to.data(), lower, upper, scale, offset);
    } else {
      function(from.data(), count, to.data(), lower, upper, scale, offset, reference);
    }
  };
  run(place.kernel, input, actual);
  run(place.model, before, expected);
  call.same("output", actual, expected);
  call.unchanged("input", input, before);
}

/// Mostly small, as cycles are counted; now and then beyond what singles and doubles hold.
uint64_t drawCycles(Draw& draw) {
  return draw.oneIn(4) ? draw.between<uint64_t>(0, UINT64_MAX) : draw.below<uint64_t>(12);
}

void checkOverallPressure(Draw& draw) {
  const auto fold = KXCALC_FUZZED(kxCalcCAOverallPressure);
  const uint32_t count = draw.count();
  const uint32_t start = draw.oneIn(2) ? 0 : draw.between<uint32_t>(0, UINT32_MAX - count);
  const uint64_t cycles = drawCycles(draw);
  const Buffer<float> newCycle = draw.buffer<float>(count);
  const auto newBefore = copyOf(newCycle);
  const Buffer<float> before = draw.buffer<float>(count);
  Buffer<float> actual = before;
  Buffer<float> expected = before;
  Buffer<float> actualPeak = draw.room<float>(1);
  Buffer<float> expectedPeak = actualPeak;
  const Call call(fold.name, {{"newCycle", newBefore}, {"average", before}, {"start", start}, {"cycles", cycles}});
  fold.kernel(newCycle.data(), actual.data(), start, start + count, cycles, actualPeak.data());
  fold.model(newBefore.data(), expected.data(), start, start + count, cycles, expectedPeak.data());
  call.same("average", actual, expected);
  call.same("peak", actualPeak, expectedPeak);
  call.unchanged("newCycle", newCycle, newBefore);
}

void checkRunningValue(Draw& draw) {
  const auto run = KXCALC_FUZZED(kxCalcCARunningVal);
  const uint32_t count = draw.count();
  const uint32_t first = draw.oneIn(2) ? 0 : draw.between<uint32_t>(0, UINT32_MAX - count);
  const uint32_t last = first + count - 1;  // of no elements it is one less than the first, which wraps at 0
  const uint64_t cycles = drawCycles(draw);
  const uint32_t window = draw.oneIn(4) ? draw.value<uint32_t>() : draw.below<uint32_t>(12);
  const bool readsLeaving = cycles > 0 && cycles >= window;
  const Buffer<float> newCycle = draw.buffer<float>(count);
  const auto newBefore = copyOf(newCycle);
  const Buffer<float> leaving = draw.buffer<float>(readsLeaving ? count : 0);
  const auto leavingBefore = copyOf(leaving);
  const Buffer<float> before = draw.buffer<float>(count);
  Buffer<float> actualSum = before;
  Buffer<float> expectedSum = before;
  Buffer<float> actual = draw.room<float>(count);
  Buffer<float> expected = actual;
  const Call call(run.name, {{"newCycle", newBefore},
                             {"leavingCycle", leavingBefore},
                             {"sum", before},
                             {"average", actual},
                             {"first", first},
                             {"last", last},
                             {"cycles", cycles},
                             {"window", window}});
  run.kernel(newCycle.data(), leaving.data(), actualSum.data(), actual.data(), first, last, cycles, window);
  run.model(newBefore.data(), leavingBefore.data(), expectedSum.data(), expected.data(), first, last, cycles, window);
  const NanRule rule = cycles == 0 ? NanRule::sameBits : NanRule::anyNan;
  call.same("sum", actualSum, expectedSum, rule);
  call.same("average", actual, expected, rule);
  call.unchanged("newCycle", newCycle, newBefore);
  call.unchanged("leavingCycle", leaving, leavingBefore);
}

constexpr fuzzing::Check allChecks[] = {
    [](Draw& draw) { checkWeightedSum(draw, KXCALC_FUZZED(kxcalcCACalcFilter_int16_t)); },
    [](Draw& draw) { checkWeightedSum(draw, KXCALC_FUZZED(kxcalcCACalcFilter_float)); },
    [](Draw& draw) { checkWeightedSum(draw, KXCALC_FUZZED(kxcalcCACalcFilter_int32_t)); },
    checkMovingAverage,
    checkRawData,
    checkNarrowing,
    checkWidening,
    [](Draw& draw) { checkCoordinates(draw, KXCALC_FUZZED(kxcalcCAPV_lin)); },
    [](Draw& draw) { checkCoordinates(draw, KXCALC_FUZZED(kxcalcCAPV_log)); },
    checkOverallPressure,
    checkRunningValue,
};

}  // namespace

std::span<const fuzzing::Check> fuzzing::checks() {
  return allChecks;
}
