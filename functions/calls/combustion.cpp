// Crank-angle filters, raw data to channels, width conversion in place, pressure-volume coordinates, averages of cycles.
#include <algorithm>

#include "functions/calls/describe.hpp"

namespace kxcalc::calls {
namespace {

template <class Sample>
using WeightedSum = float (*)(const Sample*, uint32_t, const float*, uint32_t);

template <class Sample>
void weightedSum(Call& call, WeightedSum<Sample> function) {
  const uint32_t count = call.count();
  const uint32_t stride = count < 2 && call.rarely(2) ? call.number<uint32_t>("stride")
                                                      : call.setting<uint32_t>("stride", {2, 1, 5, 0}, 0, 5);
  const auto window = call.input<Sample>("window", count, {.place = Place::everywhere});
  const auto weights = call.input<float>("weights", count < 2 ? count : std::size_t{count - 1} * stride + 1,
                                         {.numbers = Numbers::moderate});
  const Sample* const newest = window.data() + (count == 0 ? 0 : count - 1);
  call.result("sum", call.run(function, newest, count, weights, stride));
}

/// The pointer whose element `start` is the first one of a block: it may lie far before the block.
const float* beginningOf(std::span<const float> block, uint32_t start) {
  return reinterpret_cast<const float*>(reinterpret_cast<uintptr_t>(block.data()) - uintptr_t{start} * sizeof(float));
}

template <class... Reference>
using Coordinates = void (*)(const float*, uint32_t, int32_t*, int32_t, int32_t, float, float, Reference...);

/// Half numbers make halfway cases among the coordinates.
float drawHalves(Call& call, const char* name, uint32_t highest) {
  return call.rarely(2) ? call.number<float>(name) : 0.5F * static_cast<float>(call.between(name, 0U, highest));
}

/// What the logarithms are divided by: not 0.
float drawReference(Call& call) {
  const float reference = call.rarely(2) ? call.number<float>("reference")
                                         : static_cast<float>(call.between<uint32_t>("reference, eighths", 1, 64)) / 8;
  return reference == 0 ? 1 : reference;
}

template <class... Reference>
void coordinates(Call& call, Coordinates<Reference...> function, Reference... reference) {
  struct Limits {
    int32_t lower, upper;
  };
  constexpr std::array usual{Limits{-1000, 1000}, Limits{10, 5}, Limits{INT32_MIN, INT32_MAX}};
  const uint32_t count = call.count();
  const auto input = call.input<float>("input", count, {.place = Place::everywhere});
  const auto output = call.output<int32_t>("output", count);
  const auto limits = call.setting(std::span<const Limits>(usual), [&] {
    const auto lower = call.number<int32_t>("lower");
    return Limits{lower, call.number<int32_t>("upper")};
  });
  const float scale = drawHalves(call, "scale", 2000);
  const float offset = drawHalves(call, "offset", 100);
  call.run(function, input, count, output, limits.lower, limits.upper, scale, offset, reference...);
}

}  // namespace

void kxcalcCACalcFilter_int16_t(Call& call, WeightedSum<int16_t> function) {
  weightedSum(call, function);
}
void kxcalcCACalcFilter_float(Call& call, WeightedSum<float> function) {
  weightedSum(call, function);
}
void kxcalcCACalcFilter_int32_t(Call& call, WeightedSum<int32_t> function) {
  weightedSum(call, function);
}

void kxcalcCACalcAveFilter_double(Call& call, void (*function)(const double*, double*, uint16_t, uint32_t)) {
  const auto width = call.rarely(8) ? call.between<uint16_t>("width", 0, 1999)
                                    : call.setting<uint16_t>("width", {8, 0, 1, 2, 3, 4, 5, 9, 33}, 0, 39);
  const uint32_t window = width | 1U;
  const uint32_t count = window / 2 + call.count(1);
  const auto input = call.input<double>("input", std::max(count, window));
  const auto output = call.output<double>("output", count);
  call.run(function, input, output, width, count);
}

void kxCalcCACopyRawDataToChannels(Call& call, void (*function)(const float*, float*, uint32_t, uint32_t, float, float*,
                                                                uint32_t*)) {
  // Indexes are carried as singles, whose steps widen at the powers of two from 2^24 on.
  const auto start = call.rarely(3) ? (uint32_t{1} << call.between<uint32_t>("power of two", 24, 31)) -
                                          call.between<uint32_t>("start before it", 0, 199)
                                    : call.setting<uint32_t>("start", {5, 0, 16777210}, 0, 99);
  const uint32_t count = call.count();
  const auto raw =
      call.input<float>("raw[start] on", count, {.numbers = Numbers::selected, .place = Place::everywhere});
  const auto channel = call.output<float>("channel", count);
  const auto offset = call.number<float>("offset", Numbers::ordinary);
  const auto peak = call.output<float>("peakValue", 1, {.nan = Nan::bits});
  const auto index = call.output<uint32_t>("peakIndex", 1);
  call.tell("start", start);
  call.run(function, beginningOf(raw, start), channel, start, start + count, offset, peak, index);
}

void kxcalcCADoubleArrToSingleArrInplace(Call& call, void (*function)(void*, uint32_t)) {
  const uint32_t count = call.count();
  const auto buffer = call.workspace<double>("buffer", count, {.place = Place::aligned});
  call.run(function, buffer, count);
  const std::span singles(reinterpret_cast<const float*>(buffer.data()), 2 * buffer.size());
  call.result("singles", singles.first(count));
  call.result("what lies behind them", singles.subspan(count), Nan::bits);
}

void kxcalcCASingleArrToDoubleArrInplace(Call& call, void (*function)(void*, uint32_t)) {
  const uint32_t count = call.count();
  const auto buffer = call.workspace<float>("buffer", std::size_t{2} * count, {.place = Place::aligned});
  call.run(function, buffer, count);
  const auto* const doubles = reinterpret_cast<const double*>(reinterpret_cast<const std::byte*>(buffer.data()));
  call.result("doubles", std::span(doubles, count));
}

void kxcalcCAPV_lin(Call& call, Coordinates<> function) {
  coordinates(call, function);
}
void kxcalcCAPV_log(Call& call, Coordinates<float> function) {
  coordinates(call, function, drawReference(call));
}

void kxCalcCAOverallPressure(Call& call, void (*function)(const float*, float*, uint32_t, uint32_t, uint64_t, float*)) {
  // Mostly small, as cycles are counted; now and then beyond what singles and doubles hold.
  const auto cycles = call.rarely(4)
                          ? call.number<uint64_t>("cycles")
                          : call.setting<uint64_t>("cycles",
                                                   {7, 0, 1, 16777217, uint64_t{1} << 32, (uint64_t{1} << 53) + 1,
                                                    uint64_t{1} << 63, (uint64_t{1} << 63) + 1025, UINT64_MAX},
                                                   0, 11);
  const uint32_t count = call.count();
  const uint32_t start = call.rarely(2) ? call.between<uint32_t>("start", 0, UINT32_MAX - count) : 3;
  const auto newCycle = call.input<float>("newCycle", count, {.place = Place::everywhere});
  const auto average = call.both<float>("average", count);
  const auto peak = call.output<float>("peak", 1);
  call.run(function, newCycle, average, start, start + count, cycles, peak);
}

void kxCalcCARunningVal(Call& call, void (*function)(const float*, const float*, float*, float*, uint32_t, uint32_t,
                                                     uint64_t, uint32_t)) {
  struct Progress {
    uint64_t cycles;
    uint32_t window;
  };
  constexpr uint32_t longest = 4000000000;
  constexpr std::array usual{
      Progress{5, 5}, Progress{0, 5}, Progress{1, 5},       Progress{4, 5},
      Progress{9, 5}, Progress{2, 0}, Progress{3, longest}, Progress{uint64_t{1} << 32, longest}};
  const auto progress = call.setting(std::span<const Progress>(usual), [&] {
    const auto cycles = call.rarely(4) ? call.number<uint64_t>("cycles") : call.between<uint64_t>("cycles", 0, 11);
    const auto window = call.rarely(4) ? call.number<uint32_t>("window") : call.between<uint32_t>("window", 0, 11);
    return Progress{cycles, window};
  });
  const uint32_t count = call.count();
  const uint32_t first = call.rarely(2) ? call.between<uint32_t>("first", 0, UINT32_MAX - count)
                                        : call.setting<uint32_t>("first", {1, 0}, 0, 1);
  const uint32_t last = first + count - 1;  // of no elements it is one less than the first, which wraps at 0
  const bool readsLeaving = progress.cycles > 0 && progress.cycles >= progress.window;
  const How result{.nan = progress.cycles == 0 ? Nan::bits : Nan::any};
  const auto newCycle = call.input<float>("newCycle", count, {.place = Place::everywhere});
  const auto leaving = call.input<float>("leavingCycle", readsLeaving ? count : 0);
  const auto sum = call.both<float>("sum", count, result);
  const auto average = call.output<float>("average", count, result);
  call.run(function, newCycle, leaving, sum, average, first, last, progress.cycles, progress.window);
}

}  // namespace kxcalc::calls
