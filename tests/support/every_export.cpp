#include "support/every_export.hpp"

#include <kxcalc.h>

#include <algorithm>
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
      mapBlock("kxcalcSin_float", &kxcalcSin_float, inputs),
      mapBlock("kxcalcATan_float", &kxcalcATan_float, inputs),
  };
}

}  // namespace support
