// Version query, extremes, statistics lines.
#include <kxcalc.h>

#include "fuzzing.hpp"
#include "reference/min_max.hpp"
#include "reference/min_max_ave_rms.hpp"
#include "reference/move_with_statistics.hpp"
#include "reference/version.hpp"

namespace {

using fuzzing::Buffer;
using fuzzing::Call;
using fuzzing::copyOf;
using fuzzing::Draw;
using fuzzing::Export;
using fuzzing::NanRule;

void checkVersion(Draw& draw) {
  const auto version = KXCALC_FUZZED(kxcalcGetVersion);
  const auto value = draw.value<int32_t>();
  Buffer<uint32_t> actual = draw.room<uint32_t>(3);
  Buffer<uint32_t> expected = actual;
  const Call call(version.name, {{"value", value}});
  version.kernel(&actual[0], &actual[1], value, &actual[2]);
  version.model(&expected[0], &expected[1], value, &expected[2]);
  call.same("major, minor, flag", actual, expected);
}

template <typename Sample>
void checkMinMax(Draw& draw, Export<void(const Sample*, uint32_t, Sample*, Sample*)> minMax) {
  const uint32_t count = draw.count(1);
  const Buffer<Sample> data = draw.buffer<Sample>(count);
  const auto before = copyOf(data);
  Buffer<Sample> actual = draw.room<Sample>(2);
  Buffer<Sample> expected = actual;
  const Call call(minMax.name, {{"data", before}});
  minMax.kernel(data.data(), count, &actual[0], &actual[1]);
  minMax.model(before.data(), count, &expected[0], &expected[1]);
  call.same("minimum, maximum", actual, expected, NanRule::sameBits);
  call.unchanged("data", data, before);
}

/// What a statistics line holds before the call, or after it.
template <typename Sample>
struct Line {
  explicit Line(Draw& draw) : extremes(draw.buffer<Sample>(2)), sums(draw.buffer<double>(2)) {}

  Buffer<Sample> extremes;
  Buffer<double> sums;
};

template <typename Sample>
void compare(const Call& call, const Line<Sample>& actual, const Line<Sample>& expected) {
  call.same("minimum, maximum", actual.extremes, expected.extremes, NanRule::sameBits);
  call.same("sum, sum of squares", actual.sums, expected.sums);
}

/// Often the one that callers pass for the alternating part: about the average, negated.
template <typename Offset, typename Sample>
Offset drawOffset(Draw& draw, const Buffer<Sample>& data) {
  if (data.size() > 0 && draw.oneIn(4)) {
    return -static_cast<Offset>(data[draw.below(data.size())]);
  }
  return draw.value<Offset>();
}

template <typename Sample, typename Offset>
void checkMinMaxAveRms(Draw& draw,
                       Export<void(const Sample*, uint32_t, Sample*, Sample*, double*, double*, Offset)> statistics) {
  const uint32_t count = draw.count();
  const Buffer<Sample> data = draw.buffer<Sample>(count);
  const auto before = copyOf(data);
  const auto rmsOffset = drawOffset<Offset>(draw, data);
  const Line<Sample> initial(draw);
  Line<Sample> actual = initial;
  Line<Sample> expected = initial;
  const Call call(statistics.name, {{"data", before},
                                    {"minimum, maximum", initial.extremes},
                                    {"sum, sum of squares", initial.sums},
                                    {"rmsOffset", rmsOffset}});
  statistics.kernel(data.data(), count, &actual.extremes[0], &actual.extremes[1], &actual.sums[0], &actual.sums[1],
                    rmsOffset);
  statistics.model(before.data(), count, &expected.extremes[0], &expected.extremes[1], &expected.sums[0],
                   &expected.sums[1], rmsOffset);
  compare(call, actual, expected);
  call.unchanged("data", data, before);
}

void checkMove(Draw& draw) {
  const auto move = KXCALC_FUZZED(kxcalcMoveAndGetMinMaxAveRMS_int16_t);
  const uint32_t count = draw.count();
  const bool isContiguous = count >= 8;
  // What is not walked may have any stride.
  const int32_t stride = count == 1 ? draw.value<int32_t>() : draw.between<int32_t>(-3, 9);
  const int32_t walked = isContiguous && stride < 1 ? 1 : stride;
  const std::size_t steps = count < 2 ? 0 : count - 1;
  const std::size_t length =
      count == 0 ? 0 : steps * static_cast<std::size_t>(walked < 0 ? -int64_t{walked} : walked) + 1;
  const Buffer<int16_t> source = draw.buffer<int16_t>(length);
  const auto before = copyOf(source);
  const std::size_t first = walked < 0 && length > 0 ? length - 1 : 0;
  const auto rmsOffset = drawOffset<float>(draw, source);
  Buffer<int16_t> actualCopy = draw.room<int16_t>(count);
  Buffer<int16_t> expectedCopy = actualCopy;
  const Line<int16_t> initial(draw);
  Line<int16_t> actual = initial;
  Line<int16_t> expected = initial;
  const Call call(move.name, {{"destination", actualCopy},
                              {"source", before},
                              {"count", count},
                              {"minimum, maximum", initial.extremes},
                              {"sum, sum of squares", initial.sums},
                              {"rmsOffset", rmsOffset},
                              {"stride", stride}});
  move.kernel(actualCopy.data(), source.data() + first, count, &actual.extremes[0], &actual.extremes[1],
              &actual.sums[0], &actual.sums[1], rmsOffset, stride);
  move.model(expectedCopy.data(), before.data() + first, count, &expected.extremes[0], &expected.extremes[1],
             &expected.sums[0], &expected.sums[1], rmsOffset, stride);
  call.same("destination", actualCopy, expectedCopy);
  compare(call, actual, expected);
  call.unchanged("source", source, before);
}

constexpr fuzzing::Check allChecks[] = {
    checkVersion,
    [](Draw& draw) { checkMinMax(draw, KXCALC_FUZZED(kxcalcGetMinMax_int32_t)); },
    [](Draw& draw) { checkMinMax(draw, KXCALC_FUZZED(kxcalcGetMinMax_int16_t)); },
    [](Draw& draw) { checkMinMax(draw, KXCALC_FUZZED(kxcalcGetMinMax_float)); },
    [](Draw& draw) { checkMinMax(draw, KXCALC_FUZZED(kxcalcGetMinMax_double)); },
    [](Draw& draw) { checkMinMaxAveRms(draw, KXCALC_FUZZED(kxcalcGetMinMaxAveRMS_float)); },
    [](Draw& draw) { checkMinMaxAveRms(draw, KXCALC_FUZZED(kxcalcGetMinMaxAveRMS_double)); },
    [](Draw& draw) { checkMinMaxAveRms(draw, KXCALC_FUZZED(kxcalcGetMinMaxAveRMS_int16_t)); },
    [](Draw& draw) { checkMinMaxAveRms(draw, KXCALC_FUZZED(kxcalcGetMinMaxAveRMS_int32_t)); },
    checkMove,
};

}  // namespace

std::span<const fuzzing::Check> fuzzing::checks() {
  return allChecks;
}
