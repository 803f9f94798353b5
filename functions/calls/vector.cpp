// Scaling, scaled differences and sums, sums of products, sample width.
#include "functions/calls/describe.hpp"

namespace kxcalc::calls {
namespace {

template <class T>
using ScaleInPlace = void (*)(T*, uint32_t, T);

template <class T>
void scaleInPlace(Call& call, ScaleInPlace<T> function) {
  const uint32_t count = call.count();
  const auto data = call.both<T>("data", count, {.place = Place::everywhere});
  const auto factor = call.number<T>("factor");
  call.run(function, data, count, factor);
}

enum class Layout { apart, overlapping };

Layout drawLayout(Call& call) {
  return call.oneOf("layout", {Layout::apart, Layout::overlapping});
}

/// Vectors of one length that begin anywhere in one buffer, so that they overlap in any way, or none.
class Arena {
public:
  Arena(Call& call, uint32_t count, std::size_t vectors)
      : count_(count),
        reach_(call.rarely(2) ? (vectors - 1) * count : call.between<std::size_t>("reach", 0, 19)),
        elements_(call.both<float>("buffer", count + reach_)) {}

  std::span<float> vector(Call& call, const char* name) const {
    return elements_.subspan(call.rarely(4) ? reach_ : call.between<std::size_t>(name, 0, reach_), count_);
  }

private:
  uint32_t count_;
  std::size_t reach_;
  std::span<float> elements_;
};

template <class... Factor>
using Combination = void (*)(float*, const float*, const float*, uint32_t, Factor...);

template <class... Factor>
void combination(Call& call, Combination<Factor...> function) {
  const Layout layout = drawLayout(call);
  const uint32_t count = call.count();
  std::span<float> output, first, second;
  if (layout == Layout::apart) {
    output = call.output<float>("output", count, {.place = Place::everywhere});
    first = call.input<float>("first", count);
    second = call.input<float>("second", count);
  } else {
    const Arena arena(call, count, 3);
    output = arena.vector(call, "place of output");
    first = arena.vector(call, "place of first");
    second = arena.vector(call, "place of second");
  }
  const std::array factors{call.number<Factor>("factor", Numbers::ordinary)...};
  std::apply([&](auto... factor) { call.run(function, output, first, second, count, factor...); }, factors);
}

template <class From, class To>
using Conversion = void (*)(const From*, To*, uint32_t);

template <class From, class To>
void conversion(Call& call, Conversion<From, To> function) {
  const uint32_t count = call.count();
  const auto source = call.input<From>("source", count, {.place = Place::everywhere});
  const auto destination = call.output<To>("destination", count);
  call.run(function, source, destination, count);
}

}  // namespace

void kxcalcMultiplyVectorByScalar_float(Call& call, ScaleInPlace<float> function) {
  scaleInPlace(call, function);
}
void kxcalcMultiplyVectorByScalar_double(Call& call, ScaleInPlace<double> function) {
  scaleInPlace(call, function);
}

void kxcalcSumSquaredValues_float(Call& call, double (*function)(const float*, uint32_t)) {
  // Long enough, too, for everything that is done side by side.
  const uint32_t count = call.takesExamples() && call.oneOf("long", {false, true}) ? 100000 : call.count();
  const auto data = call.input<float>("data", count, {.place = Place::everywhere});
  call.result("sum", call.run(function, data, count));
}

void kxcalcMultiplyVectorsAndCalcSum_float(Call& call, double (*function)(const float*, const float*, uint32_t)) {
  const Layout layout = drawLayout(call);
  const uint32_t count = call.count();
  std::span<float> first, second;
  if (layout == Layout::apart) {
    first = call.input<float>("first", count, {.place = Place::everywhere});
    second = call.input<float>("second", count);
  } else {
    const Arena arena(call, count, 2);
    first = arena.vector(call, "place of first");
    second = arena.vector(call, "place of second");
  }
  call.result("sum", call.run(function, first, second, count));
}

void kxcalcSubtractVectorsAndMultiplyByScalar_float(Call& call, Combination<float> function) {
  combination(call, function);
}
void kxcalcAddVectorsAndMultiplyByScalar_float(Call& call, Combination<float, float> function) {
  combination(call, function);
}

void kxcalcConvertInt32ToInt16(Call& call, Conversion<int32_t, int16_t> function) {
  conversion(call, function);
}
void kxcalcConvertInt16ToInt32(Call& call, Conversion<int16_t, int32_t> function) {
  conversion(call, function);
}

}  // namespace kxcalc::calls
