// Counts from 2^31 on: each export that takes one does all of its elements. A count that is cut to 31 bits would do the first 13,
// one that is read as signed none at all. Where the count is a signed number, its highest value. Inputs and outputs repeat one
// chunk, but for the first and the last one: there lies what the result depends on, or what is looked at afterwards.
// Most of the time goes to the pages of all these addresses.
#include <gtest/gtest.h>
#include <kxcalc.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/repeated_memory.hpp"

namespace {

using support::RepeatedBuffer;

constexpr uint32_t large = (1U << 31) + 13;
constexpr int32_t highest = std::numeric_limits<int32_t>::max();
constexpr double sumOfOnes = 2147483648.0 + 13;

template <class Sample>
void findsExtremesAtTheEnd(void (*kernel)(const Sample*, uint32_t, Sample*, Sample*)) {
  RepeatedBuffer<Sample> data(large);
  data.last() = 3;
  data[large - 2] = -2;
  Sample minimum = 0;
  Sample maximum = 0;
  kernel(data.data(), large, &minimum, &maximum);
  EXPECT_EQ(minimum, -2);
  EXPECT_EQ(maximum, 3);
}

TEST(LargeCounts, GetMinMax_int16_t) {
  findsExtremesAtTheEnd(kxcalcGetMinMax_int16_t);
}
TEST(LargeCounts, GetMinMax_int32_t) {
  findsExtremesAtTheEnd(kxcalcGetMinMax_int32_t);
}
TEST(LargeCounts, GetMinMax_float) {
  findsExtremesAtTheEnd(kxcalcGetMinMax_float);
}
TEST(LargeCounts, GetMinMax_double) {
  findsExtremesAtTheEnd(kxcalcGetMinMax_double);
}

template <class Sample, class Offset>
void sumsAll(void (*kernel)(const Sample*, uint32_t, Sample*, Sample*, double*, double*, Offset)) {
  RepeatedBuffer<Sample> data(large);
  data.fill(1);
  data.last() = 3;
  Sample minimum = 0;
  Sample maximum = 0;
  double sum = 0;
  double sumOfSquares = 0;
  kernel(data.data(), large, &minimum, &maximum, &sum, &sumOfSquares, 1);
  EXPECT_EQ(minimum, 1);
  EXPECT_EQ(maximum, 3);
  EXPECT_EQ(sum, sumOfOnes + 2);
  EXPECT_EQ(sumOfSquares, 4 * sumOfOnes + 12);
}

TEST(LargeCounts, GetMinMaxAveRMS_int16_t) {
  sumsAll(kxcalcGetMinMaxAveRMS_int16_t);
}
TEST(LargeCounts, GetMinMaxAveRMS_int32_t) {
  sumsAll(kxcalcGetMinMaxAveRMS_int32_t);
}
TEST(LargeCounts, GetMinMaxAveRMS_float) {
  sumsAll(kxcalcGetMinMaxAveRMS_float);
}
TEST(LargeCounts, GetMinMaxAveRMS_double) {
  sumsAll(kxcalcGetMinMaxAveRMS_double);
}

void movesAll(int32_t stride) {
  const std::size_t sources = std::size_t{large - 1} * static_cast<std::size_t>(stride) + 1;
  RepeatedBuffer<int16_t> source(sources);
  RepeatedBuffer<int16_t> destination(large);
  source.fill(1);
  source.last() = 3;
  int16_t minimum = 2;
  int16_t maximum = 2;
  double sum = 0;
  double sumOfSquares = 0;
  kxcalcMoveAndGetMinMaxAveRMS_int16_t(destination.data(), source.data(), large, &minimum, &maximum, &sum,
                                       &sumOfSquares, 1, stride);
  EXPECT_EQ(minimum, 1);
  EXPECT_EQ(maximum, 3);
  EXPECT_EQ(sum, sumOfOnes + 2);
  EXPECT_EQ(sumOfSquares, 4 * sumOfOnes + 12);
  EXPECT_EQ(destination.last(), 3);
  EXPECT_EQ(destination[large - 2], 1);
}

TEST(LargeCounts, MoveAndGetMinMaxAveRMS_int16_t) {
  movesAll(1);
}
TEST(LargeCounts, MoveAndGetMinMaxAveRMS_int16_t_OfTwoChannels) {
  movesAll(2);
}
TEST(LargeCounts, MoveAndGetMinMaxAveRMS_int16_t_OfThreeAndFourChannels) {
  movesAll(3);
  movesAll(4);
}

template <class Sample>
void scalesAll(void (*kernel)(Sample*, uint32_t, Sample)) {
  RepeatedBuffer<Sample> data(large);
  data[0] = 2;
  data.last() = 5;
  kernel(data.data(), large, -1);  // -1: the repeated chunk is scaled over and over
  EXPECT_EQ(data[0], -2);
  EXPECT_EQ(data.last(), -5);
}

TEST(LargeCounts, MultiplyVectorByScalar_float) {
  scalesAll(kxcalcMultiplyVectorByScalar_float);
}
TEST(LargeCounts, MultiplyVectorByScalar_double) {
  scalesAll(kxcalcMultiplyVectorByScalar_double);
}

/// Ones, and a 3 at the end.
class OnesAndAThree : public RepeatedBuffer<float> {
public:
  explicit OnesAndAThree(std::size_t count) : RepeatedBuffer(count) {
    fill(1);
    last() = 3;
  }
};

TEST(LargeCounts, SumSquaredValues_float) {
  EXPECT_EQ(kxcalcSumSquaredValues_float(OnesAndAThree(large).data(), large), sumOfOnes + 8);
}

TEST(LargeCounts, MultiplyVectorsAndCalcSum_float) {
  OnesAndAThree values(large);
  EXPECT_EQ(kxcalcMultiplyVectorsAndCalcSum_float(values.data(), values.data(), large), sumOfOnes + 8);
}

TEST(LargeCounts, PowerMultiplyAndSquareElementsAndSumVector_float) {
  // A count of the signed type that is read as unsigned.
  const double sum = kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(OnesAndAThree(large).data(),
                                                                            static_cast<int32_t>(large), 2);
  EXPECT_EQ(sum, 4 * (sumOfOnes + 8));
}

TEST(LargeCounts, SubtractVectorsAndMultiplyByScalar_float) {
  OnesAndAThree values(large);
  RepeatedBuffer<float> output(large);
  kxcalcSubtractVectorsAndMultiplyByScalar_float(output.data(), values.data(), values.data() + 1, large - 1, 2);
  EXPECT_EQ(output[large - 2], -4);
  EXPECT_EQ(output[large - 3], 0);
}

TEST(LargeCounts, AddVectorsAndMultiplyByScalar_float) {
  OnesAndAThree values(large);
  RepeatedBuffer<float> output(large);
  kxcalcAddVectorsAndMultiplyByScalar_float(output.data(), values.data(), values.data() + 1, large - 1, 2, 3);
  EXPECT_EQ(output[large - 2], 21);
  EXPECT_EQ(output[large - 3], 9);
}

template <class Source, class Destination>
void convertsAll(void (*kernel)(const Source*, Destination*, uint32_t)) {
  RepeatedBuffer<Source> source(large);
  RepeatedBuffer<Destination> destination(large);
  source.last() = 5;
  source[large - 2] = -7;
  kernel(source.data(), destination.data(), large);
  EXPECT_EQ(destination.last(), 5);
  EXPECT_EQ(destination[large - 2], -7);
}

TEST(LargeCounts, ConvertInt32ToInt16) {
  convertsAll(kxcalcConvertInt32ToInt16);
}
TEST(LargeCounts, ConvertInt16ToInt32) {
  convertsAll(kxcalcConvertInt16ToInt32);
}

template <class Params, class Value>
void scalesRawSamples(void (*kernel)(const Params*)) {
  RepeatedBuffer<uint8_t> source(highest);
  RepeatedBuffer<Value> output(highest);
  source.last() = 5;
  const Params params{source.data(), output.data(), 2, 1, highest, KXCALC_UINT8, 1};
  kernel(&params);
  EXPECT_EQ(output.last(), 11);
  EXPECT_EQ(output[highest - 2], 1);
}

TEST(LargeCounts, ChannelGetScaledValuesAtPos_float) {
  scalesRawSamples<ChannelScaledValuesParams_float, float>(kxcalcChannelGetScaledValuesAtPos_float);
}
TEST(LargeCounts, ChannelGetScaledValuesAtPos_float_aligned_output) {
  scalesRawSamples<ChannelScaledValuesParams_float, float>(kxcalcChannelGetScaledValuesAtPos_float_aligned_output);
}
TEST(LargeCounts, ChannelGetScaledValuesAtPos_double) {
  scalesRawSamples<ChannelScaledValuesParams_double, double>(kxcalcChannelGetScaledValuesAtPos_double);
}
TEST(LargeCounts, ChannelGetScaledValuesAtPos_double_aligned_output) {
  scalesRawSamples<ChannelScaledValuesParams_double, double>(kxcalcChannelGetScaledValuesAtPos_double_aligned_output);
}

/// Of a ring of so many samples, and an output for each `samples` of them.
class Interpolator {
public:
  Interpolator(uint32_t length, double samples) {
    const CHSInterpolatorParams params{samples, 1, length};
    kxcalcCHSInterpolator_Create(&handle_, &params);
  }
  Interpolator(const Interpolator&) = delete;
  Interpolator& operator=(const Interpolator&) = delete;
  ~Interpolator() { kxcalcCHSInterpolator_Destroy(handle_); }

  uint32_t feed(const float* samples, uint32_t count) {
    const float* values = nullptr;
    return kxcalcCHSInterpolator_InterpolateValues(handle_, samples, count, &values, &delivered);
  }

  uint32_t delivered = 99;

private:
  CHSInterpolator* handle_ = nullptr;
};

TEST(LargeCounts, CHSInterpolator_InterpolateValues_RefusesThem) {
  Interpolator interpolator(16, 1);
  const std::array<float, 14> samples{};
  for (const uint32_t count : {0x80000001U, 0x80000005U, 0xFFFFFFFFU}) {
    EXPECT_EQ(interpolator.feed(samples.data(), count), uint32_t{KXCALC_BLOCK_TOO_LONG}) << count;
  }
}

TEST(LargeCounts, CHSInterpolator_InterpolateValues_CountsTheSamplesOfARingOfOne) {
  // Output 1 lies at sample 2^30: it is due after this block, and not after 13 samples.
  Interpolator interpolator(1, 0x1p30);
  RepeatedBuffer<float> samples(large);
  EXPECT_EQ(interpolator.feed(samples.data(), large), uint32_t{KXCALC_SUCCESS});
  EXPECT_EQ(interpolator.delivered, 2U);
}

TEST(LargeCounts, GetXYValGraph2D_FindsTheValueOfALargeIndex) {
  RepeatedBuffer<double> xValues(large);
  xValues.last() = 0.5;
  const float sample = 0;
  int32_t x = 0;
  int32_t y = 0;
  int32_t valid = 0;
  XYValGraph2DParams params{};
  params.xSource = KXCALC_X_VALUES;
  params.yType = KXCALC_SINGLE;
  params.xAxisMode = KXCALC_AXIS_NORMALISED;
  params.xIndex = large - 1;
  params.right = 100;
  params.yMax = 1;
  params.yValue = &sample;
  params.xValues = xValues.data();
  params.pixelX = &x;
  params.pixelY = &y;
  params.valid = &valid;
  kxcalcGetXYValGraph2D(&params);
  EXPECT_EQ(x, 50);
}

TEST(LargeCounts, FindCursorXY_InAWideRow) {
  RepeatedBuffer<uint32_t> image(highest);
  constexpr int32_t width = highest - 3;  // no tail
  image[width - 1] = 7;
  uint32_t value = 99;
  uint32_t x = 99;
  uint32_t y = 99;
  const uint32_t ignored = 0;
  kxcalcFindCursorXY(image.data(), 0, width, 1, 0, 0, &value, &x, &y, &ignored, 1);
  EXPECT_EQ(value, 7U);
  EXPECT_EQ(x, static_cast<uint32_t>(width) - 1);
  EXPECT_EQ(y, 0U);
}

TEST(LargeCounts, FindCursorXY_WithManyValuesToIgnore) {
  RepeatedBuffer<uint32_t> ignored(highest);
  ignored.last() = 7;
  const std::array<uint32_t, 4> pixels{7, 7, 7, 7};
  uint32_t value = 99;
  uint32_t x = 99;
  uint32_t y = 99;
  kxcalcFindCursorXY(pixels.data(), 0, 4, 1, 0, 0, &value, &x, &y, ignored.data(), highest);
  EXPECT_EQ(value, 99U);
  kxcalcFindCursorXY(pixels.data(), 0, 4, 1, 0, 0, &value, &x, &y, ignored.data(), highest - 1);
  EXPECT_EQ(value, 7U);
}

// A section's taps, of four doubles each, take 96 bytes: the last ones lie beyond 2^32 doubles from the first.
TEST(LargeCounts, IIRFilter_OfManySections) {
  constexpr int32_t sections = (1 << 30) / 3 + 1;
  RepeatedBuffer<double> gains(sections);
  RepeatedBuffer<double> taps(std::size_t{12} * sections);
  gains.fill(0);
  taps.last() = 0;
  taps[std::size_t{12} * sections - 6] = 0.5;  // the last section: b1 of its input one back
  taps[std::size_t{12} * sections - 8] = 0;
  taps[std::size_t{12} * sections - 4] = 8;  // x0, which becomes x1
  const IIRFilterState state{KXCALC_SECOND_ORDER_SECTIONS, sections, 2, 0, gains.data(), taps.data()};
  EXPECT_EQ(kxcalcIIRFilter_double(&state, 1), 4);
}

TEST(LargeCounts, IIRFilter_OfAHighOrder) {
  constexpr int32_t order = (1 << 30) + 1;
  const double gain = 1;
  RepeatedBuffer<double> taps(std::size_t{4} * (order + 1));
  taps[std::size_t{4} * order - 4] = 0;
  taps[std::size_t{4} * order - 2] = 0.5;   // b1
  taps[std::size_t{4} * order] = 8;         // x0, which becomes x1
  taps[std::size_t{4} * order + 2] = 0.25;  // b0
  const IIRFilterState state{KXCALC_GENERAL_SECTIONS, 1, order, 0, &gain, taps.data()};
  EXPECT_EQ(kxcalcIIRFilter_float(&state, 4), 5);
}

TEST(LargeCounts, FIRFilter_float) {
  constexpr uint32_t length = static_cast<uint32_t>(highest);
  RepeatedBuffer<float> ring(length);
  RepeatedBuffer<float> coefficients(length);
  coefficients[0] = 1;
  coefficients.last() = 2;
  ring[0] = 3;
  ring.last() = 5;
  EXPECT_EQ(kxcalcFIRFilter_float(ring.data(), coefficients.data(), length, 0), 13);
  EXPECT_EQ(kxcalcFIRFilter_float(ring.data(), coefficients.data(), length, length - 1), 5);
}

template <class Sample>
void weighsTheOldest(float (*kernel)(const Sample*, uint32_t, const float*, uint32_t), uint32_t stride) {
  RepeatedBuffer<Sample> samples(large);
  RepeatedBuffer<float> weights(std::size_t{large - 1} * stride + 1);
  samples[0] = 2;
  samples.last() = 3;
  weights[0] = 16;
  weights.last() = 4;
  EXPECT_EQ(kernel(&samples.last(), large, weights.data(), stride), 56);
}

TEST(LargeCounts, CACalcFilter_int16_t) {
  weighsTheOldest(kxcalcCACalcFilter_int16_t, 1);
}
TEST(LargeCounts, CACalcFilter_float) {
  weighsTheOldest(kxcalcCACalcFilter_float, 1);
}
TEST(LargeCounts, CACalcFilter_int32_t) {
  weighsTheOldest(kxcalcCACalcFilter_int32_t, 1);
}
TEST(LargeCounts, CACalcFilter_WithWeightsFarApart) {
  RepeatedBuffer<float> weights(std::size_t{4} * large);
  const std::array<int16_t, 9> shorts{2, 0, 0, 0, 0, 0, 0, 0, 3};
  const std::array<float, 5> singles{2, 0, 0, 0, 3};
  const std::array<int32_t, 2> ints{2, 3};
  weights.separate(std::size_t{8} * (1U << 30));
  weights[0] = 16;
  weights[std::size_t{8} * (1U << 30)] = 4;
  EXPECT_EQ(kxcalcCACalcFilter_int16_t(&shorts.back(), 9, weights.data(), 1U << 30), 56);
  EXPECT_EQ(kxcalcCACalcFilter_float(&singles.back(), 5, weights.data(), 1U << 31), 56);
  weights.separate(large);
  weights[large] = 4;
  EXPECT_EQ(kxcalcCACalcFilter_int32_t(&ints.back(), 2, weights.data(), large), 56);
}

TEST(LargeCounts, CACalcAveFilter_double) {
  RepeatedBuffer<double> input(large);
  RepeatedBuffer<double> output(large);
  input.last() = 3;
  kxcalcCACalcAveFilter_double(input.data(), output.data(), 3, large);
  EXPECT_EQ(output.last(), 1);
  EXPECT_EQ(output[large - 2], 1);
  EXPECT_EQ(output[large - 3], 0);
}

TEST(LargeCounts, CACopyRawDataToChannels) {
  constexpr uint32_t start = 5;
  constexpr uint32_t end = start + large;
  RepeatedBuffer<float> raw(end);
  RepeatedBuffer<float> channel(large);
  raw.last() = 4;
  float peak = 0;
  uint32_t peakIndex = 0;
  kxCalcCACopyRawDataToChannels(raw.data(), channel.data(), start, end, 1, &peak, &peakIndex);
  EXPECT_EQ(channel.last(), 3);
  EXPECT_EQ(channel[large - 2], -1);
  EXPECT_EQ(peak, 3);
}

TEST(LargeCounts, CACopyRawDataToChannels_FromALargeStart) {
  RepeatedBuffer<float> raw(std::size_t{large} + 3);
  float channel[3] = {};
  raw[large] = 2;
  raw[large + 1] = 4;
  float peak = 0;
  uint32_t peakIndex = 0;
  kxCalcCACopyRawDataToChannels(raw.data(), channel, large, large + 3, 1, &peak, &peakIndex);
  EXPECT_EQ(channel[0], 1);
  EXPECT_EQ(channel[1], 3);
  EXPECT_EQ(channel[2], -1);
  EXPECT_EQ(peakIndex, large + 1);
}

TEST(LargeCounts, CADoubleArrToSingleArrInplace) {
  RepeatedBuffer<double> buffer(large);
  buffer.separate(large / 2);  // where the last single lands
  buffer.last() = 3;
  kxcalcCADoubleArrToSingleArrInplace(buffer.data(), large);
  EXPECT_EQ(reinterpret_cast<const float*>(buffer.data())[large - 1], 3);
}

TEST(LargeCounts, CASingleArrToDoubleArrInplace) {
  RepeatedBuffer<double> buffer(large);
  buffer.separate(large / 2);
  reinterpret_cast<float*>(buffer.data())[large - 1] = 3;
  kxcalcCASingleArrToDoubleArrInplace(buffer.data(), large);
  EXPECT_EQ(buffer.last(), 3);
}

TEST(LargeCounts, CAPV_lin) {
  RepeatedBuffer<float> input(large);
  RepeatedBuffer<int32_t> output(large);
  input.last() = 5;
  kxcalcCAPV_lin(input.data(), large, output.data(), -100, 100, 2, 1);
  EXPECT_EQ(output.last(), 11);
  EXPECT_EQ(output[large - 2], 1);
}

TEST(LargeCounts, CAPV_log) {
  RepeatedBuffer<float> input(large);
  RepeatedBuffer<int32_t> output(large);
  input.last() = 100;
  kxcalcCAPV_log(input.data(), large, output.data(), -1000, 1000, 10, 1, 1);
  EXPECT_EQ(output.last(), 21);
  EXPECT_EQ(output[large - 2], -89);
}

TEST(LargeCounts, CAOverallPressure) {
  RepeatedBuffer<float> newCycle(large);
  RepeatedBuffer<float> average(large);
  newCycle.last() = 4;
  float peak = 0;
  kxCalcCAOverallPressure(newCycle.data(), average.data(), 7, 7 + large, 1, &peak);
  EXPECT_EQ(average.last(), 2);
  EXPECT_EQ(peak, 2);
}

void averagesAll(uint64_t cycles, float expectedSum, float expectedAverage) {
  RepeatedBuffer<float> newCycle(large);
  RepeatedBuffer<float> leavingCycle(large);
  RepeatedBuffer<float> sum(large);
  RepeatedBuffer<float> average(large);
  newCycle.last() = 5;
  leavingCycle.last() = 1;
  sum.last() = 4;
  kxCalcCARunningVal(newCycle.data(), leavingCycle.data(), sum.data(), average.data(), 7, 6 + large, cycles, 4);
  EXPECT_EQ(sum.last(), expectedSum) << cycles;
  EXPECT_EQ(average.last(), expectedAverage) << cycles;
}

TEST(LargeCounts, CARunningVal) {
  averagesAll(0, 5, 5);
  averagesAll(2, 9, 3);
  averagesAll(4, 8, 2);
}

TEST(LargeCounts, PowerCalcFIR_float) {
  constexpr uint32_t row = (1U << 28) + 1;  // coefficients from 2^32 on
  RepeatedBuffer<float> ring(large);
  RepeatedBuffer<float> coefficients(std::size_t{16} * (row + 1));
  coefficients.last() = 2;
  ring.last() = 3;
  const PowerFirArgs args{ring.data(), coefficients.data(), large, row, large};
  EXPECT_EQ(kxcalcPowerCalcFIR_float(&args), 6);
}

TEST(LargeCounts, PowerSumVectorMultipliedWithScalar_double) {
  RepeatedBuffer<double> input(highest);
  RepeatedBuffer<float> output(highest);
  input.fill(-1);
  input.last() = -3;
  for (const uint32_t accumulate : {0U, 1U}) {
    output.last() = 99;
    PowerScaleArgs args{input.data(), output.data(), 0.5, 2, highest, accumulate};
    kxcalcPowerSumVectorMultipliedWithScalar_double(&args);
    EXPECT_EQ(output.last(), -6);
    EXPECT_EQ(args.sum, accumulate == 0 ? 0.5 : 2 * (highest + 2.0) + 0.5);
  }
}

TEST(LargeCounts, PowerCorrectFFT_U) {
  constexpr std::size_t elements = std::size_t{2} * highest;
  RepeatedBuffer<float> spectrum(elements);
  RepeatedBuffer<float> correction(elements);
  spectrum[elements - 2] = 3;
  spectrum.last() = 5;
  correction.last() = 1;  // i
  kxcalcPowerCorrectFFT_U(spectrum.data(), correction.data(), highest);
  EXPECT_EQ(spectrum[elements - 2], -5);
  EXPECT_EQ(spectrum.last(), 3);
}

TEST(LargeCounts, PowerNegateImag_float) {
  constexpr uint32_t elements = large + 1;
  RepeatedBuffer<float> spectrum(elements);
  spectrum[elements - 2] = 3;
  spectrum.last() = 5;
  kxcalcPowerNegateImag_float(spectrum.data(), elements);
  EXPECT_EQ(spectrum[elements - 2], 3);
  EXPECT_EQ(spectrum.last(), -5);
}

TEST(LargeCounts, PowerFindIndexOfMaxAmplitude) {
  EXPECT_EQ(kxcalcPowerFindIndexOfMaxAmplitude(OnesAndAThree(std::size_t{2} * large).data(), large), large - 1);
}

TEST(LargeCounts, PowerHarmonicZero) {
  EXPECT_EQ(kxcalcPowerHarmonicZero(OnesAndAThree(std::size_t{2} * large).data(), large), 2 * sumOfOnes + 8);
}

TEST(LargeCounts, PowerPandQsum) {
  OnesAndAThree spectrum(std::size_t{2} * highest);
  double active = 0;
  double reactive = 9;
  kxcalcPowerPandQsum(spectrum.data(), spectrum.data(), highest, &active, &reactive);
  EXPECT_EQ(active, 1 + 2 * (highest - 2.0) + 5);
  EXPECT_EQ(reactive, 0);
}

TEST(LargeCounts, PowerAngles) {
  // Positions from 0 on that come to 1 with the last order: all angles but its own lie between the first two bins.
  const std::array<float, 6> spectrum{0, 1, 1, 0, 0, -1};  // 0, 90 and 180 degrees
  RepeatedBuffer<float> angles(std::size_t{highest} + 1);
  kxcalcPowerAngles(spectrum.data(), angles.data(), highest, 0, 0x1p-31F);
  EXPECT_NEAR(angles[1], 0, 1e-6F);
  EXPECT_NEAR(angles.last(), -90, 1e-4F);
}

TEST(LargeCounts, PowerUnbalance) {
  RepeatedBuffer<float> magnitudes(large);
  RepeatedBuffer<float> angles(large);
  magnitudes.last() = 3;
  float sums[3] = {};
  float ratios[4] = {};
  const PowerUnbalanceArgs args{magnitudes.data(), magnitudes.data(), magnitudes.data(), angles.data(), angles.data(),
                                angles.data(),     &sums[0],          &sums[1],          &sums[2],      &ratios[0],
                                &ratios[1],        &ratios[2],        &ratios[3],        large};
  kxcalcPowerUnbalance(&args);
  EXPECT_EQ(sums[0], 3);
}

TEST(LargeCounts, PowerFlicker) {
  std::array<double, 3> coefficients{};
  std::array<double, 12> weights{};
  weights[0] = weights[4] = weights[9] = 1;
  const std::array<double, 3> ones{1, 1, 1};
  const std::array<double, 3> pass{1, 0, 0};
  std::array<std::array<double, 3>, 15> states{};
  const FlickerState state{states[0].data(),    states[1].data(),  states[2].data(), states[3].data(),
                           states[4].data(),    states[5].data(),  ones.data(),      coefficients.data(),
                           coefficients.data(), weights.data(),    pass.data(),      states[6].data(),
                           states[7].data(),    states[8].data(),  states[9].data(), states[10].data(),
                           states[11].data(),   states[12].data(), states[13].data()};
  RepeatedBuffer<float> samples(highest);
  RepeatedBuffer<float> sensation(highest);
  samples.last() = 2;  // squared and halved 2; through filters that pass on 2; squared 4
  kxcalcPowerFlicker(&state, samples.data(), sensation.data(), highest);
  EXPECT_EQ(sensation.last(), 4 * 1238400.0F);
  EXPECT_EQ(sensation[highest - 2], 0);
}

TEST(LargeCounts, PowerFlickerAddToClass) {
  RepeatedBuffer<float> values(highest);
  values.last() = 1e7F;
  std::vector<uint32_t> classes(1000);
  kxcalcPowerFlickerAddToClass(values.data(), highest, classes.data());
  EXPECT_EQ(classes[0], static_cast<uint32_t>(highest) - 1);
  EXPECT_EQ(classes[999], 1U);
}

void mapsAll(void (*kernel)(const float*, float*, uint32_t), float expected) {
  constexpr uint32_t count = large + 3;  // a multiple of four
  RepeatedBuffer<float> input(count);
  RepeatedBuffer<float> output(count);
  input.last() = 1;
  output[count - 2] = 9;
  kernel(input.data(), output.data(), count);
  EXPECT_NEAR(output.last(), expected, 1e-6);
  EXPECT_EQ(output[count - 2], 0);
}

TEST(LargeCounts, Sin_float) {
  mapsAll(kxcalcSin_float, 0.841470985F);
}
TEST(LargeCounts, ATan_float) {
  mapsAll(kxcalcATan_float, 0.785398163F);
}

}  // namespace
