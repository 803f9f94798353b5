#include "support/every_export.hpp"

#include <kxcalc.h>

#include <algorithm>
#include <array>
#include <memory>
#include <span>
#include <utility>

#include "support/random.hpp"
#include "support/samples.hpp"

namespace support {
namespace {

using Bytes = std::vector<std::byte>;

constexpr uint32_t count = 301;
constexpr std::size_t misalignment = 1;  // elements, so that there is a head

/// Inputs that all threads read.
struct Inputs {
  Inputs() {
    Random random(1);
    fill(std::span(shorts), SampleClass::signal, random);
    fill(std::span(ints), SampleClass::signal, random);
    fill(std::span(singles), SampleClass::signal, random);
    fill(std::span(doubles), SampleClass::signal, random);
  }

  std::vector<int16_t> shorts = std::vector<int16_t>(std::size_t{2} * count + misalignment);
  std::vector<int32_t> ints = std::vector<int32_t>(count + misalignment);
  std::vector<float> singles = std::vector<float>(std::size_t{2} * count + misalignment);
  std::vector<double> doubles = std::vector<double>(count + misalignment);
};

void append(Bytes& bytes, std::span<const std::byte> more) {
  bytes.resize(bytes.size() + more.size());
  std::ranges::copy(more, bytes.end() - static_cast<ptrdiff_t>(more.size()));
}

template <typename... Numbers>
Bytes bytesOf(const Numbers&... numbers) {
  Bytes bytes;
  (append(bytes, std::as_bytes(std::span(&numbers, 1))), ...);
  return bytes;
}

template <typename T>
Bytes bytesOf(const std::vector<T>& elements) {
  Bytes bytes;
  append(bytes, std::as_bytes(std::span(elements)));
  return bytes;
}

template <typename Sample>
ExportCall minMax(std::string name, void (*kernel)(const Sample*, uint32_t, Sample*, Sample*),
                  const std::shared_ptr<const Inputs>& inputs, std::vector<Sample> Inputs::*data) {
  return {std::move(name), [=] {
            Sample minimum = 0;
            Sample maximum = 0;
            kernel(((*inputs).*data).data() + misalignment, count, &minimum, &maximum);
            return bytesOf(minimum, maximum);
          }};
}

template <typename Sample, typename Offset>
ExportCall minMaxAveRms(std::string name,
                        void (*kernel)(const Sample*, uint32_t, Sample*, Sample*, double*, double*, Offset),
                        const std::shared_ptr<const Inputs>& inputs, std::vector<Sample> Inputs::*data) {
  return {std::move(name), [=] {
            Sample minimum = 0;
            Sample maximum = 0;
            double sum = 0.5;
            double sumOfSquares = 0.5;
            kernel(((*inputs).*data).data() + misalignment, count, &minimum, &maximum, &sum, &sumOfSquares,
                   static_cast<Offset>(0.1));
            return bytesOf(minimum, maximum, sum, sumOfSquares);
          }};
}

template <typename Sample>
ExportCall scaleInPlace(std::string name, void (*kernel)(Sample*, uint32_t, Sample),
                        const std::shared_ptr<const Inputs>& inputs, std::vector<Sample> Inputs::*data) {
  return {std::move(name), [=] {
            std::vector<Sample> samples = (*inputs).*data;
            kernel(samples.data() + misalignment, count, static_cast<Sample>(0.3));
            return bytesOf(samples);
          }};
}

template <typename Source, typename Destination>
ExportCall convert(std::string name, void (*kernel)(const Source*, Destination*, uint32_t),
                   const std::shared_ptr<const Inputs>& inputs, std::vector<Source> Inputs::*data) {
  return {std::move(name), [=] {
            std::vector<Destination> destination(count);
            kernel(((*inputs).*data).data() + misalignment, destination.data(), count);
            return bytesOf(destination);
          }};
}

template <typename Params, typename Value>
ExportCall scaledValues(std::string name, void (*kernel)(const Params*), const std::shared_ptr<const Inputs>& inputs,
                        Value scale) {
  return {std::move(name), [=] {
            // The vector's memory is aligned for any of the variants.
            std::vector<Value> output(count);
            const Params params{inputs->shorts.data(), output.data(), scale, 1, count, KXCALC_INT16, 2};
            kernel(&params);
            return bytesOf(output);
          }};
}

ExportCall mapBlock(std::string name, void (*kernel)(const float*, float*, uint32_t),
                    const std::shared_ptr<const Inputs>& inputs) {
  return {std::move(name), [=] {
            std::vector<float> output(count);
            kernel(inputs->singles.data() + misalignment, output.data(), count);
            return bytesOf(output);
          }};
}

/// A whole stream: created, fed, stopped, reset, fed again, destroyed.
Bytes interpolatedStream(const Inputs& inputs) {
  const CHSInterpolatorParams params{3, 4, 512};
  CHSInterpolator* stream = nullptr;
  Bytes bytes;
  const float* values = nullptr;
  uint32_t produced = 0;
  const auto take = [&](uint32_t result) {
    append(bytes, bytesOf(result));
    append(bytes, std::as_bytes(std::span(values, produced)));
  };
  append(bytes, bytesOf(kxcalcCHSInterpolator_Create(&stream, &params)));
  take(kxcalcCHSInterpolator_InterpolateValues(stream, inputs.singles.data(), count, &values, &produced));
  take(kxcalcCHSInterpolator_Stop(stream, &values, &produced));
  append(bytes, bytesOf(kxcalcCHSInterpolator_Reset(stream)));
  take(kxcalcCHSInterpolator_InterpolateValues(stream, inputs.singles.data(), 2, &values, &produced));
  append(bytes, bytesOf(kxcalcCHSInterpolator_Destroy(stream)));
  return bytes;
}

Bytes graphPoint(const Inputs& inputs) {
  int32_t pixelX = 0;
  int32_t pixelY = 0;
  int32_t valid = 0;
  XYValGraph2DParams params{};
  params.xAxisMode = 1;
  params.xIndex = 77;
  params.yAxisMode = 2;
  params.right = 1000;
  params.bottom = 700;
  params.yScale = 1;
  params.xLogMax = 3;
  params.yMax = 100;
  params.dbReference = 0.001;
  params.yValue = inputs.doubles.data();
  params.pixelX = &pixelX;
  params.pixelY = &pixelY;
  params.valid = &valid;
  kxcalcGetXYValGraph2D(&params);
  return bytesOf(pixelX, pixelY, valid);
}

Bytes nearestPixel() {
  std::vector<uint32_t> image(std::size_t{40} * 30);
  image[std::size_t{7} * 40 + 3] = 5;
  image[std::size_t{20} * 40 + 30] = 6;
  const uint32_t background = 0;
  uint32_t value = 0;
  uint32_t x = 0;
  uint32_t y = 0;
  kxcalcFindCursorXY(image.data(), -160, 40, 30, 12, 12, &value, &x, &y, &background, 1);
  return bytesOf(value, x, y);
}

template <typename Sample>
ExportCall filteredSamples(std::string name, Sample (*kernel)(const IIRFilterState*, Sample),
                           const std::shared_ptr<const Inputs>& inputs, std::vector<Sample> Inputs::*data) {
  return {std::move(name), [=] {
            struct alignas(16) Tap {
              double x, y, b, a;
            };
            std::vector<Tap> taps{{0, 0, 0.1, 0.4}, {0, 0, 0.2, -0.7}, {0, 0, 0.1, 0}};
            taps.insert(taps.end(), taps.begin(), taps.end());
            const std::array gains{0.5, 1.5};
            Bytes bytes;
            for (const int32_t type : {3, 0}) {
              const IIRFilterState state{type, 2, 2, 0, gains.data(), &taps.front().x};
              for (uint32_t i = 0; i < count; ++i) {
                append(bytes, bytesOf(kernel(&state, ((*inputs).*data)[i])));
              }
            }
            append(bytes, bytesOf(taps));
            return bytes;
          }};
}

Bytes pinkSamples(const Inputs& inputs) {
  PinkFilterState state{};
  Bytes bytes;
  for (uint32_t i = 0; i < count; ++i) {
    append(bytes, bytesOf(kxcalcPinkFilter_double(&state, inputs.doubles[i])));
  }
  append(bytes, bytesOf(state));
  return bytes;
}

/// Coefficients of the ring filters, which are aligned to 16 bytes.
struct alignas(16) Coefficients {
  explicit Coefficients(const Inputs& inputs) { std::copy_n(inputs.singles.begin(), values.size(), values.begin()); }

  std::array<float, 160> values;
};

Bytes ringSums(const Inputs& inputs) {
  const Coefficients coefficients(inputs);
  Bytes bytes;
  for (const uint32_t position : {0U, 3U, 61U, 150U}) {
    append(bytes, bytesOf(kxcalcFIRFilter_float(inputs.singles.data() + misalignment, coefficients.values.data(), 150,
                                                position)));
  }
  return bytes;
}

template <typename Sample>
ExportCall weightedSum(std::string name, float (*kernel)(const Sample*, uint32_t, const float*, uint32_t),
                       const std::shared_ptr<const Inputs>& inputs, std::vector<Sample> Inputs::*data) {
  return {std::move(name),
          [=] { return bytesOf(kernel(((*inputs).*data).data() + count, count, inputs->singles.data(), 2)); }};
}

template <typename... Limits>
Bytes coordinates(void (*kernel)(const float*, uint32_t, int32_t*, int32_t, int32_t, float, float, Limits...),
                  const Inputs& inputs, Limits... more) {
  std::vector<int32_t> output(count);
  kernel(inputs.singles.data() + misalignment, count, output.data(), 3, 600, 300.0F, 300.0F, more...);
  return bytesOf(output);
}

Bytes copiedCycle(const Inputs& inputs) {
  std::vector<float> channel(count);
  float peak = 0;
  uint32_t index = 0;
  kxCalcCACopyRawDataToChannels(inputs.singles.data(), channel.data(), 1, count + 1, 0.1F, &peak, &index);
  Bytes bytes = bytesOf(peak, index);
  append(bytes, bytesOf(channel));
  return bytes;
}

template <typename Element>
Bytes convertedInPlace(const std::vector<Element>& elements, void (*kernel)(void*, uint32_t)) {
  std::vector<double> buffer(count);  // the vector's memory is aligned to 16 bytes
  std::ranges::copy(std::as_bytes(std::span(elements).first(count)), std::as_writable_bytes(std::span(buffer)).begin());
  kernel(buffer.data(), count);
  return bytesOf(buffer);
}

Bytes cycleAverages(const Inputs& inputs) {
  std::vector<float> average(inputs.singles.begin() + count, inputs.singles.begin() + 2 * count);
  float peak = 0;
  kxCalcCAOverallPressure(inputs.singles.data(), average.data(), 0, count, 7, &peak);
  Bytes bytes = bytesOf(peak);
  append(bytes, bytesOf(average));
  return bytes;
}

Bytes runningAverages(const Inputs& inputs) {
  std::vector<float> sum(inputs.singles.begin(), inputs.singles.begin() + count);
  std::vector<float> average(count);
  Bytes bytes;
  for (const uint64_t cycles : {0U, 2U, 5U}) {
    kxCalcCARunningVal(inputs.singles.data() + 1, inputs.singles.data() + count, sum.data(), average.data(), 0,
                       count - 1, cycles, 5);
    append(bytes, bytesOf(sum));
    append(bytes, bytesOf(average));
  }
  return bytes;
}

Bytes bankSums(const Inputs& inputs) {
  const Coefficients coefficients(inputs);
  PowerFirArgs args{inputs.singles.data() + misalignment, coefficients.values.data(), 100, 7, 110};
  const float contiguous = kxcalcPowerCalcFIR_float(&args);
  args.position = 5;
  return bytesOf(contiguous, kxcalcPowerCalcFIR_float(&args));
}

Bytes scaledToSingles(const Inputs& inputs) {
  std::vector<float> output(count);
  PowerScaleArgs args{inputs.doubles.data() + misalignment, output.data(), 0.5, 0.3F, count, 1};
  kxcalcPowerSumVectorMultipliedWithScalar_double(&args);
  Bytes bytes = bytesOf(args.sum);
  append(bytes, bytesOf(output));
  return bytes;
}

constexpr int32_t binCount = count;

Bytes correctedSpectrum(const Inputs& inputs) {
  std::vector<float> spectrum = inputs.singles;
  kxcalcPowerCorrectFFT_U(spectrum.data() + misalignment, inputs.singles.data(), binCount);
  return bytesOf(spectrum);
}

Bytes conjugatedSpectrum(const Inputs& inputs) {
  std::vector<float> spectrum = inputs.singles;
  kxcalcPowerNegateImag_float(spectrum.data() + misalignment, 2 * count);
  return bytesOf(spectrum);
}

Bytes powerSums(const Inputs& inputs) {
  double active = 0;
  double reactive = 0;
  kxcalcPowerPandQsum(inputs.singles.data(), inputs.singles.data() + 1, binCount, &active, &reactive);
  return bytesOf(active, reactive);
}

Bytes harmonicAngles(const Inputs& inputs) {
  std::vector<float> angles(51);
  kxcalcPowerAngles(inputs.singles.data(), angles.data(), 50, 11.5F, 5.75F);
  return bytesOf(angles);
}

Bytes symmetricalComponents(const Inputs& inputs) {
  const float* const data = inputs.singles.data();
  std::array<float, 7> results{};
  float* const out = results.data();
  const PowerUnbalanceArgs args{data,    data + 43, data + 86, data + 129, data + 172, data + 215, out,
                                out + 1, out + 2,   out + 3,   out + 4,    out + 5,    out + 6,    43};
  kxcalcPowerUnbalance(&args);
  return bytesOf(results);
}

Bytes flickerSensation(const Inputs& inputs) {
  const std::array gain{0.1, 0.2, 0.3};
  const std::array a1{-0.6, -0.5, -0.4};
  const std::array a2{0.1, 0.2, 0.3};
  const std::array weights{0.1, -0.1, 0.8, -0.2, 0.3, -0.2, 0.1, 0.5, 0.1, 0.2, 0.2, 0.6};
  const std::array highPass{0.9, -0.9, 0.8};
  std::array<std::array<double, 3>, 14> states{};
  std::array<double, 2> highPassInput{-9999999.0, 0};
  const auto array = [&](std::size_t k) { return states[k].data(); };
  const FlickerState state{array(0),    array(1),  array(2),  array(3),       array(4),        array(5),
                           gain.data(), a1.data(), a2.data(), weights.data(), highPass.data(), array(6),
                           array(7),    array(8),  array(9),  array(10),      array(11),       highPassInput.data(),
                           array(12)};
  std::vector<float> sensation(count);
  kxcalcPowerFlicker(&state, inputs.singles.data() + misalignment, sensation.data(), binCount);
  Bytes bytes = bytesOf(states, highPassInput);
  append(bytes, bytesOf(sensation));
  return bytes;
}

Bytes sensationClasses(const Inputs& inputs) {
  std::vector<uint32_t> classes(1000);
  kxcalcPowerFlickerAddToClass(inputs.singles.data(), binCount, classes.data());
  return bytesOf(classes);
}

}  // namespace

std::vector<ExportCall> everyExport() {
  const auto inputs = std::make_shared<const Inputs>();
  const auto singles = [inputs] { return inputs->singles.data() + misalignment; };
  return {
      {"kxcalcGetVersion",
       [] {
         uint32_t major = 0;
         uint32_t minor = 0;
         uint32_t flag = 0;
         kxcalcGetVersion(&major, &minor, 10, &flag);
         return bytesOf(major, minor, flag);
       }},
      minMax("kxcalcGetMinMax_int32_t", &kxcalcGetMinMax_int32_t, inputs, &Inputs::ints),
      minMax("kxcalcGetMinMax_int16_t", &kxcalcGetMinMax_int16_t, inputs, &Inputs::shorts),
      minMax("kxcalcGetMinMax_float", &kxcalcGetMinMax_float, inputs, &Inputs::singles),
      minMax("kxcalcGetMinMax_double", &kxcalcGetMinMax_double, inputs, &Inputs::doubles),
      minMaxAveRms("kxcalcGetMinMaxAveRMS_float", &kxcalcGetMinMaxAveRMS_float, inputs, &Inputs::singles),
      minMaxAveRms("kxcalcGetMinMaxAveRMS_double", &kxcalcGetMinMaxAveRMS_double, inputs, &Inputs::doubles),
      minMaxAveRms("kxcalcGetMinMaxAveRMS_int16_t", &kxcalcGetMinMaxAveRMS_int16_t, inputs, &Inputs::shorts),
      minMaxAveRms("kxcalcGetMinMaxAveRMS_int32_t", &kxcalcGetMinMaxAveRMS_int32_t, inputs, &Inputs::ints),
      {"kxcalcMoveAndGetMinMaxAveRMS_int16_t",
       [inputs] {
         std::vector<int16_t> destination(count);
         int16_t minimum = 0;
         int16_t maximum = 0;
         double sum = 0.5;
         double sumOfSquares = 0.5;
         kxcalcMoveAndGetMinMaxAveRMS_int16_t(destination.data(), inputs->shorts.data(), count, &minimum, &maximum,
                                              &sum, &sumOfSquares, 0.1F, 2);
         Bytes bytes = bytesOf(minimum, maximum, sum, sumOfSquares);
         append(bytes, bytesOf(destination));
         return bytes;
       }},
      scaleInPlace("kxcalcMultiplyVectorByScalar_float", &kxcalcMultiplyVectorByScalar_float, inputs, &Inputs::singles),
      scaleInPlace("kxcalcMultiplyVectorByScalar_double", &kxcalcMultiplyVectorByScalar_double, inputs,
                   &Inputs::doubles),
      {"kxcalcSumSquaredValues_float", [=] { return bytesOf(kxcalcSumSquaredValues_float(singles(), count)); }},
      {"kxcalcMultiplyVectorsAndCalcSum_float",
       [=] { return bytesOf(kxcalcMultiplyVectorsAndCalcSum_float(singles(), singles() + count, count)); }},
      {"kxcalcSubtractVectorsAndMultiplyByScalar_float",
       [=] {
         std::vector<float> output(count);
         kxcalcSubtractVectorsAndMultiplyByScalar_float(output.data(), singles(), singles() + count, count, 0.3F);
         return bytesOf(output);
       }},
      {"kxcalcAddVectorsAndMultiplyByScalar_float",
       [=] {
         std::vector<float> output(count);
         kxcalcAddVectorsAndMultiplyByScalar_float(output.data(), singles(), singles() + count, count, 0.3F, 0.7F);
         return bytesOf(output);
       }},
      convert("kxcalcConvertInt32ToInt16", &kxcalcConvertInt32ToInt16, inputs, &Inputs::ints),
      convert("kxcalcConvertInt16ToInt32", &kxcalcConvertInt16ToInt32, inputs, &Inputs::shorts),
      scaledValues("kxcalcChannelGetScaledValuesAtPos_float", &kxcalcChannelGetScaledValuesAtPos_float, inputs, 0.3F),
      scaledValues("kxcalcChannelGetScaledValuesAtPos_float_aligned_output",
                   &kxcalcChannelGetScaledValuesAtPos_float_aligned_output, inputs, 0.3F),
      scaledValues("kxcalcChannelGetScaledValuesAtPos_double", &kxcalcChannelGetScaledValuesAtPos_double, inputs, 0.3),
      scaledValues("kxcalcChannelGetScaledValuesAtPos_double_aligned_output",
                   &kxcalcChannelGetScaledValuesAtPos_double_aligned_output, inputs, 0.3),
      {"kxcalcCHSInterpolator_Create, kxcalcCHSInterpolator_InterpolateValues, kxcalcCHSInterpolator_Stop, "
       "kxcalcCHSInterpolator_Reset, kxcalcCHSInterpolator_Destroy",
       [inputs] { return interpolatedStream(*inputs); }},
      {"kxcalcGetXYValGraph2D", [inputs] { return graphPoint(*inputs); }},
      {"kxcalcFindCursorXY", [] { return nearestPixel(); }},
      filteredSamples("kxcalcIIRFilter_float", &kxcalcIIRFilter_float, inputs, &Inputs::singles),
      filteredSamples("kxcalcIIRFilter_double", &kxcalcIIRFilter_double, inputs, &Inputs::doubles),
      {"kxcalcPinkFilter_double", [inputs] { return pinkSamples(*inputs); }},
      {"kxcalcFIRFilter_float", [inputs] { return ringSums(*inputs); }},
      weightedSum("kxcalcCACalcFilter_int16_t", &kxcalcCACalcFilter_int16_t, inputs, &Inputs::shorts),
      weightedSum("kxcalcCACalcFilter_float", &kxcalcCACalcFilter_float, inputs, &Inputs::singles),
      weightedSum("kxcalcCACalcFilter_int32_t", &kxcalcCACalcFilter_int32_t, inputs, &Inputs::ints),
      {"kxcalcCACalcAveFilter_double",
       [inputs] {
         std::vector<double> output(count);
         kxcalcCACalcAveFilter_double(inputs->doubles.data() + misalignment, output.data(), 8, count);
         return bytesOf(output);
       }},
      {"kxCalcCACopyRawDataToChannels", [inputs] { return copiedCycle(*inputs); }},
      {"kxcalcCADoubleArrToSingleArrInplace",
       [inputs] { return convertedInPlace(inputs->doubles, &kxcalcCADoubleArrToSingleArrInplace); }},
      {"kxcalcCASingleArrToDoubleArrInplace",
       [inputs] { return convertedInPlace(inputs->singles, &kxcalcCASingleArrToDoubleArrInplace); }},
      {"kxcalcCAPV_lin", [inputs] { return coordinates(&kxcalcCAPV_lin, *inputs); }},
      {"kxcalcCAPV_log", [inputs] { return coordinates(&kxcalcCAPV_log, *inputs, 0.001F); }},
      {"kxCalcCAOverallPressure", [inputs] { return cycleAverages(*inputs); }},
      {"kxCalcCARunningVal", [inputs] { return runningAverages(*inputs); }},
      {"kxcalcPowerCalcFIR_float", [inputs] { return bankSums(*inputs); }},
      {"kxcalcPowerSumVectorMultipliedWithScalar_double", [inputs] { return scaledToSingles(*inputs); }},
      {"kxcalcPowerMultiplyAndSquareElementsAndSumVector_float",
       [=] { return bytesOf(kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(singles(), binCount, 0.3F)); }},
      {"kxcalcPowerCorrectFFT_U", [inputs] { return correctedSpectrum(*inputs); }},
      {"kxcalcPowerNegateImag_float", [inputs] { return conjugatedSpectrum(*inputs); }},
      {"kxcalcPowerFindIndexOfMaxAmplitude",
       [=] { return bytesOf(kxcalcPowerFindIndexOfMaxAmplitude(singles(), count)); }},
      {"kxcalcPowerHarmonicZero", [=] { return bytesOf(kxcalcPowerHarmonicZero(singles(), count)); }},
      {"kxcalcPowerPandQsum", [inputs] { return powerSums(*inputs); }},
      {"kxcalcPowerAngles", [inputs] { return harmonicAngles(*inputs); }},
      {"kxcalcPowerUnbalance", [inputs] { return symmetricalComponents(*inputs); }},
      {"kxcalcPowerFlicker", [inputs] { return flickerSensation(*inputs); }},
      {"kxcalcPowerFlickerAddToClass", [inputs] { return sensationClasses(*inputs); }},
      mapBlock("kxcalcSin_float", &kxcalcSin_float, inputs),
      mapBlock("kxcalcATan_float", &kxcalcATan_float, inputs),
  };
}

}  // namespace support
