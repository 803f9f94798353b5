// Reductions, spectra, powers and angles, unbalance, flicker.
#include <kxcalc.h>

#include <algorithm>
#include <array>

#include "fuzzing.hpp"
#include "reference/flicker.hpp"
#include "reference/power_sums_and_angles.hpp"
#include "reference/spectrum.hpp"
#include "reference/unbalance.hpp"
#include "reference/vector_reductions.hpp"

namespace {

using fuzzing::Buffer;
using fuzzing::Call;
using fuzzing::copyOf;
using fuzzing::Draw;
using fuzzing::Export;
using fuzzing::NanRule;

void checkRingFilter(Draw& draw) {
  const auto filter = KXCALC_FUZZED(kxcalcPowerCalcFIR_float);
  const uint32_t length = draw.between<uint32_t>(16, 60);
  const uint32_t rows = draw.between<uint32_t>(1, 4);
  const Buffer<float> ring = draw.buffer<float>(length);
  const auto ringBefore = copyOf(ring);
  const Buffer<float> coefficients = draw.alignedBuffer<float>(std::size_t{16} * rows);
  const auto coefficientsBefore = copyOf(coefficients);
  PowerFirArgs args{};
  args.position = draw.between<uint32_t>(0, length);
  args.row = draw.below(rows);
  args.length = length;
  const Call call(
      filter.name,
      {{"ring", ringBefore}, {"coefficients", coefficientsBefore}, {"position", args.position}, {"row", args.row}});
  const auto run = [&](auto* function, const Buffer<float>& samples, const Buffer<float>& taps) {
    args.ring = samples.data();
    args.coefficients = taps.data();
    const PowerFirArgs before = args;
    const float result = function(&args);
    call.unchangedRecord(args, before);
    return result;
  };
  const float actual = run(filter.kernel, ring, coefficients);
  call.same("result", actual, run(filter.model, ringBefore, coefficientsBefore));
  call.unchanged("ring", ring, ringBefore);
  call.unchanged("coefficients", coefficients, coefficientsBefore);
}

void checkScaling(Draw& draw) {
  const auto scale = KXCALC_FUZZED(kxcalcPowerSumVectorMultipliedWithScalar_double);
  const auto count = draw.oneIn(16) ? draw.between<int32_t>(INT32_MIN, 0) : static_cast<int32_t>(draw.count());
  const auto values = static_cast<std::size_t>(std::max(count, 0));
  const Buffer<double> input = draw.buffer<double>(values);
  const auto inputBefore = copyOf(input);
  Buffer<float> actualOutput = draw.room<float>(values);
  Buffer<float> expectedOutput = actualOutput;
  PowerScaleArgs args;
  std::memset(&args, 0, sizeof args);
  draw.setTo(args.sum);
  draw.setTo(args.scale);
  args.count = count;
  args.accumulate = draw.oneIn(2) ? 0 : draw.value<uint32_t>();
  const PowerScaleArgs initial = args;
  const Call call(scale.name, {{"input", inputBefore},
                               {"output", actualOutput},
                               {"sum", initial.sum},
                               {"scale", initial.scale},
                               {"count", initial.count},
                               {"accumulate", initial.accumulate}});
  const auto run = [&](auto* function, const Buffer<double>& from, Buffer<float>& to) {
    args = initial;
    args.input = from.data();
    args.output = to.data();
    PowerScaleArgs after = args;
    function(&after);
    args.sum = after.sum;
    call.unchangedRecord(after, args);
    return double{after.sum};
  };
  const double actual = run(scale.kernel, input, actualOutput);
  const double expected = run(scale.model, inputBefore, expectedOutput);
  call.same("sum", actual, expected, initial.accumulate == 0 ? NanRule::sameBits : NanRule::anyNan);
  call.same("output", actualOutput, expectedOutput);
  call.unchanged("input", input, inputBefore);
}

void checkScaledSquares(Draw& draw) {
  const auto sum = KXCALC_FUZZED(kxcalcPowerMultiplyAndSquareElementsAndSumVector_float);
  const uint32_t count = draw.count();
  const Buffer<float> values = draw.buffer<float>(count);
  const auto before = copyOf(values);
  const auto scale = draw.value<float>();
  const Call call(sum.name, {{"values", before}, {"scale", scale}});
  call.same("sum", sum.kernel(values.data(), static_cast<int32_t>(count), scale),
            sum.model(before.data(), static_cast<int32_t>(count), scale));
  call.unchanged("values", values, before);
}

/// Spectrum and correction begin anywhere in one buffer, so that they overlap in any way, or none.
void checkCorrection(Draw& draw) {
  const auto correct = KXCALC_FUZZED(kxcalcPowerCorrectFFT_U);
  const auto binCount = draw.oneIn(16) ? draw.between<int32_t>(INT32_MIN, 0) : static_cast<int32_t>(draw.count());
  const std::size_t elements = 2 * static_cast<std::size_t>(std::max(binCount, 0));
  const std::size_t reach = draw.oneIn(2) ? draw.below<std::size_t>(20) : elements;
  const Buffer<float> before = draw.buffer<float>(elements + reach);
  Buffer<float> actual = before;
  Buffer<float> expected = before;
  const auto spectrum = draw.between<std::size_t>(0, reach);
  const auto correction = draw.oneIn(2) ? reach - spectrum : draw.between<std::size_t>(0, reach);
  const Call call(correct.name,
                  {{"buffer", before}, {"spectrum", spectrum}, {"correction", correction}, {"binCount", binCount}});
  correct.kernel(actual.data() + spectrum, actual.data() + correction, binCount);
  correct.model(expected.data() + spectrum, expected.data() + correction, binCount);
  call.same("buffer", actual, expected);
}

void checkConjugation(Draw& draw) {
  const auto negate = KXCALC_FUZZED(kxcalcPowerNegateImag_float);
  const uint32_t elements = draw.count();
  const Buffer<float> before = draw.buffer<float>(elements);
  Buffer<float> actual = before;
  Buffer<float> expected = before;
  const Call call(negate.name, {{"spectrum", before}});
  negate.kernel(actual.data(), elements);
  negate.model(expected.data(), elements);
  call.same("spectrum", actual, expected, NanRule::sameBits);
}

template <typename Result>
void checkSearchOrSum(Draw& draw, Export<Result(const float*, uint32_t)> reduce) {
  const uint32_t binCount = draw.count();
  const Buffer<float> spectrum = draw.buffer<float>(std::size_t{2} * binCount);
  const auto before = copyOf(spectrum);
  const Call call(reduce.name, {{"spectrum", before}});
  call.same("result", reduce.kernel(spectrum.data(), binCount), reduce.model(before.data(), binCount));
  call.unchanged("spectrum", spectrum, before);
}

void checkPowers(Draw& draw) {
  const auto sum = KXCALC_FUZZED(kxcalcPowerPandQsum);
  const auto binCount = draw.oneIn(16) ? draw.between<int32_t>(INT32_MIN, 2) : static_cast<int32_t>(draw.count());
  const std::size_t elements = 2 * static_cast<std::size_t>(std::max(binCount, 2));
  const Buffer<float> voltage = draw.buffer<float>(elements);
  const auto voltageBefore = copyOf(voltage);
  const Buffer<float> current = draw.buffer<float>(elements);
  const auto currentBefore = copyOf(current);
  Buffer<double> actual = draw.room<double>(2);
  Buffer<double> expected = actual;
  const Call call(sum.name, {{"voltage", voltageBefore}, {"current", currentBefore}, {"binCount", binCount}});
  sum.kernel(voltage.data(), current.data(), binCount, &actual[0], &actual[1]);
  sum.model(voltageBefore.data(), currentBefore.data(), binCount, &expected[0], &expected[1]);
  call.same("active, reactive", actual, expected);
  call.unchanged("voltage", voltage, voltageBefore);
  call.unchanged("current", current, currentBefore);
}

void checkAngles(Draw& draw) {
  const auto angles = KXCALC_FUZZED(kxcalcPowerAngles);
  const auto orderCount = draw.oneIn(16) ? draw.between<int32_t>(INT32_MIN, 0) : draw.between<int32_t>(0, 50);
  const auto phasePerOrder =
      draw.oneIn(4) ? draw.value<float>() : static_cast<float>(draw.between<int32_t>(-4000, 4000)) / 4;
  const auto sixteenths = static_cast<float>(draw.between<uint32_t>(1, 400)) / 16;
  const float binsPerOrder = draw.oneIn(4) ? sixteenths * 0.3F : sixteenths;
  const auto orders = static_cast<std::size_t>(std::max(orderCount, 0));
  const std::size_t bins =
      orders == 0 ? 0 : static_cast<std::size_t>(static_cast<float>(orderCount) * binsPerOrder) + 2;
  const Buffer<float> spectrum = draw.buffer<float>(2 * bins);
  const auto before = copyOf(spectrum);
  Buffer<float> actual = draw.room<float>(orders + 1);
  Buffer<float> expected = actual;
  const Call call(angles.name, {{"spectrum", before},
                                {"angles", actual},
                                {"orderCount", orderCount},
                                {"phasePerOrder", phasePerOrder},
                                {"binsPerOrder", binsPerOrder}});
  angles.kernel(spectrum.data(), actual.data(), orderCount, phasePerOrder, binsPerOrder);
  angles.model(before.data(), expected.data(), orderCount, phasePerOrder, binsPerOrder);
  call.same("angles", actual, expected);
  call.unchanged("spectrum", spectrum, before);
}

void checkUnbalance(Draw& draw) {
  const auto unbalance = KXCALC_FUZZED(kxcalcPowerUnbalance);
  const uint32_t count = draw.count();
  const auto drawEntries = [&] { return draw.buffer<float>(std::max(count, 1U)); };
  const std::array<Buffer<float>, 6> inputs{drawEntries(), drawEntries(), drawEntries(),
                                            drawEntries(), drawEntries(), drawEntries()};
  const auto before = copyOf(inputs);
  const Buffer<float> initial = draw.buffer<float>(7);
  Buffer<float> actual = initial;
  Buffer<float> expected = initial;
  const Call call(unbalance.name, {{"magnitudeL1", before[0]},
                                   {"magnitudeL2", before[1]},
                                   {"magnitudeL3", before[2]},
                                   {"angleL1", before[3]},
                                   {"angleL2", before[4]},
                                   {"angleL3", before[5]},
                                   {"results", initial},
                                   {"count", count}});
  const auto run = [&](auto* function, const std::array<Buffer<float>, 6>& from, Buffer<float>& to) {
    PowerUnbalanceArgs args;
    std::memset(&args, 0, sizeof args);
    args.magnitudeL1 = from[0].data();
    args.magnitudeL2 = from[1].data();
    args.magnitudeL3 = from[2].data();
    args.angleL1 = from[3].data();
    args.angleL2 = from[4].data();
    args.angleL3 = from[5].data();
    args.zeroSequence = &to[0];
    args.positiveSequence = &to[1];
    args.negativeSequence = &to[2];
    args.negativeRatio = &to[3];
    args.zeroRatio = &to[4];
    args.negativeRatioFirst = &to[5];
    args.zeroRatioFirst = &to[6];
    args.count = count;
    const PowerUnbalanceArgs argsBefore = args;
    function(&args);
    call.unchangedRecord(args, argsBefore);
  };
  run(unbalance.kernel, inputs, actual);
  run(unbalance.model, before, expected);
  call.same("zero, positive, negative; ratios", actual, expected);
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    call.unchanged("input", inputs[i], before[i]);
  }
}

/// The arrays of a flickermeter, in the order of its record.
class Meter {
public:
  explicit Meter(Draw& draw) {
    constexpr std::array<std::size_t, 19> lengths{3, 3, 3, 3, 3, 3, 3, 3, 3, 12, 3, 3, 3, 3, 3, 2, 2, 2, 2};
    for (const std::size_t length : lengths) {
      arrays_.push_back(draw.buffer<double>(length));
    }
    if (draw.oneIn(2)) {
      arrays_[17][0] = -9999999;  // the start marker, in highPassInput
    }
  }

  FlickerState state() {
    std::vector<Buffer<double>>& a = arrays_;
    return {a[0].data(),  a[1].data(),  a[2].data(),  a[3].data(),  a[4].data(),  a[5].data(),  a[6].data(),
            a[7].data(),  a[8].data(),  a[9].data(),  a[10].data(), a[11].data(), a[12].data(), a[13].data(),
            a[14].data(), a[15].data(), a[16].data(), a[17].data(), a[18].data()};
  }

  static constexpr bool isCoefficients(std::size_t array) { return array >= 6 && array < 11; }
  std::span<const Buffer<double>> arrays() const { return arrays_; }

private:
  std::vector<Buffer<double>> arrays_;
};

void checkFlicker(Draw& draw) {
  const auto flicker = KXCALC_FUZZED(kxcalcPowerFlicker);
  const auto count = draw.oneIn(16) ? draw.between<int32_t>(INT32_MIN, 0) : static_cast<int32_t>(draw.count());
  const auto values = static_cast<std::size_t>(std::max(count, 0));
  const Buffer<float> samples = draw.buffer<float>(values);
  const auto samplesBefore = copyOf(samples);
  Buffer<float> actual = draw.room<float>(values);
  Buffer<float> expected = actual;
  const Meter initial(draw);
  Meter actualMeter = initial;
  Meter expectedMeter = initial;
  std::vector<fuzzing::Argument> arguments{{"count", count}, {"samples", samplesBefore}, {"sensation", actual}};
  for (const Buffer<double>& array : initial.arrays()) {
    arguments.emplace_back("array of the record", array);
  }
  const Call call(flicker.name, arguments);
  const auto run = [&](auto* function, Meter& meter, const Buffer<float>& from, Buffer<float>& to) {
    const FlickerState state = meter.state();
    const FlickerState before = state;
    function(&state, from.data(), to.data(), count);
    call.unchangedRecord(state, before);
  };
  run(flicker.kernel, actualMeter, samples, actual);
  run(flicker.model, expectedMeter, samplesBefore, expected);
  call.same("sensation", actual, expected);
  for (std::size_t i = 0; i < initial.arrays().size(); ++i) {
    call.same("array of the record", actualMeter.arrays()[i], expectedMeter.arrays()[i]);
    if (Meter::isCoefficients(i)) {
      call.unchanged("coefficients", actualMeter.arrays()[i], initial.arrays()[i]);
    }
  }
  call.unchanged("samples", samples, samplesBefore);
}

void checkClasses(Draw& draw) {
  const auto classify = KXCALC_FUZZED(kxcalcPowerFlickerAddToClass);
  const auto count = draw.oneIn(16) ? draw.between<int32_t>(INT32_MIN, 0) : static_cast<int32_t>(draw.count());
  const Buffer<float> values = draw.buffer<float>(static_cast<std::size_t>(std::max(count, 0)));
  const auto before = copyOf(values);
  Buffer<uint32_t> actual = draw.room<uint32_t>(1000);
  std::ranges::fill(actual.span(), draw.oneIn(2) ? 0 : UINT32_MAX);
  Buffer<uint32_t> expected = actual;
  const Call call(classify.name, {{"values", before}, {"count", count}});
  classify.kernel(values.data(), count, actual.data());
  classify.model(before.data(), count, expected.data());
  call.same("classes", actual, expected);
  call.unchanged("values", values, before);
}

constexpr fuzzing::Check allChecks[] = {
    checkRingFilter,
    checkScaling,
    checkScaledSquares,
    checkCorrection,
    checkConjugation,
    [](Draw& draw) { checkSearchOrSum(draw, KXCALC_FUZZED(kxcalcPowerFindIndexOfMaxAmplitude)); },
    [](Draw& draw) { checkSearchOrSum(draw, KXCALC_FUZZED(kxcalcPowerHarmonicZero)); },
    checkPowers,
    checkAngles,
    checkUnbalance,
    checkFlicker,
    checkClasses,
};

}  // namespace

std::span<const fuzzing::Check> fuzzing::checks() {
  return allChecks;
}
