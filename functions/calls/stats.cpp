// Minimum and maximum, statistics lines.
#include "functions/calls/describe.hpp"

namespace kxcalc::calls {
namespace {

/// Samples among which comparisons select.
constexpr How selected{.numbers = Numbers::selected, .nan = Nan::bits};
constexpr How selectedEverywhere{.numbers = Numbers::selected, .place = Place::everywhere, .nan = Nan::bits};
/// What is wide hides what is added to it.
constexpr How sums{.numbers = Numbers::ordinary};

template <class T>
using MinMax = void (*)(const T*, uint32_t, T*, T*);

template <class T>
void minMax(Call& call, MinMax<T> function) {
  const uint32_t count = call.count(1);
  const auto data = call.input<T>("data", count, selectedEverywhere);
  const auto minimum = call.output<T>("minimum", 1, {.nan = Nan::bits});
  const auto maximum = call.output<T>("maximum", 1, {.nan = Nan::bits});
  call.run(function, data, count, minimum, maximum);
}

/// What callers pass for the alternating part is about the average, negated.
template <class Offset, class T>
Offset rmsOffset(Call& call, std::span<T> data) {
  if (!data.empty() && call.rarely(4)) {
    return -static_cast<Offset>(
        data[call.between<std::size_t>("sample that rmsOffset takes away", 0, data.size() - 1)]);
  }
  return call.setting<Offset>("rmsOffset", {static_cast<Offset>(0.3), 0, -3});
}

template <class T, class Offset>
using MinMaxAveRms = void (*)(const T*, uint32_t, T*, T*, double*, double*, Offset);

template <class T, class Offset>
void minMaxAveRms(Call& call, MinMaxAveRms<T, Offset> function) {
  const uint32_t count = call.count();
  const auto data = call.input<T>("data", count, selectedEverywhere);
  const auto offset = rmsOffset<Offset>(call, data);
  const auto minimum = call.both<T>("minimum", 1, selected);
  const auto maximum = call.both<T>("maximum", 1, selected);
  const auto sum = call.both<double>("sum", 1, sums);
  const auto sumOfSquares = call.both<double>("sumOfSquares", 1, sums);
  call.run(function, data, count, minimum, maximum, sum, sumOfSquares, offset);
}

}  // namespace

void kxcalcGetMinMax_int32_t(Call& call, MinMax<int32_t> function) {
  minMax(call, function);
}
void kxcalcGetMinMax_int16_t(Call& call, MinMax<int16_t> function) {
  minMax(call, function);
}
void kxcalcGetMinMax_float(Call& call, MinMax<float> function) {
  minMax(call, function);
}
void kxcalcGetMinMax_double(Call& call, MinMax<double> function) {
  minMax(call, function);
}

void kxcalcGetMinMaxAveRMS_float(Call& call, MinMaxAveRms<float, float> function) {
  minMaxAveRms(call, function);
}
void kxcalcGetMinMaxAveRMS_double(Call& call, MinMaxAveRms<double, double> function) {
  minMaxAveRms(call, function);
}
void kxcalcGetMinMaxAveRMS_int16_t(Call& call, MinMaxAveRms<int16_t, float> function) {
  minMaxAveRms(call, function);
}
void kxcalcGetMinMaxAveRMS_int32_t(Call& call, MinMaxAveRms<int32_t, double> function) {
  minMaxAveRms(call, function);
}

void kxcalcMoveAndGetMinMaxAveRMS_int16_t(Call& call, void (*function)(int16_t*, const int16_t*, uint32_t, int16_t*,
                                                                       int16_t*, double*, double*, float, int32_t)) {
  // What is not walked may have any stride.
  const uint32_t count = call.count();
  const bool isAnyStride = count == 1 && call.rarely(2);
  const int32_t stride =
      isAnyStride ? call.number<int32_t>("stride") : call.setting<int32_t>("stride", {2, 1, 3, 4, 7, 8, 0, -2}, -3, 9);
  const bool isReadAsContiguous = count >= 8 && stride < 1;
  const int64_t walked = isReadAsContiguous ? 1 : stride;
  const std::size_t steps = count < 2 ? 0 : count - 1;
  const std::size_t length = count == 0 ? 0 : steps * static_cast<std::size_t>(walked < 0 ? -walked : walked) + 1;
  const auto source = call.input<int16_t>("source", length);
  const std::size_t first = walked < 0 && length > 0 ? length - 1 : 0;
  const auto destination = call.output<int16_t>("destination", count, {.place = Place::everywhere});
  const auto offset = rmsOffset<float>(call, source);
  const auto minimum = call.both<int16_t>("minimum", 1);
  const auto maximum = call.both<int16_t>("maximum", 1);
  const auto sum = call.both<double>("sum", 1, sums);
  const auto sumOfSquares = call.both<double>("sumOfSquares", 1, sums);
  call.run(function, destination, source.data() + first, count, minimum, maximum, sum, sumOfSquares, offset, stride);
}

}  // namespace kxcalc::calls
