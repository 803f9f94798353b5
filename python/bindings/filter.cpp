// Filters, which the library runs a sample a call: the loop over a block is here.
#include <cstring>

#include "python/bindings/arrays.hpp"
#include "python/bindings/module.hpp"

namespace kxpython {
namespace {

/// Values of a block through what takes one at a time; in place where both are the same array.
template <class T, class Next>
nb::object filtered(nb::handle values, nb::handle out, Next next) {
  const Input<T> samples(values, "samples");
  const Output<T> output = outputFor<T>(out, samples.size(), "samples");
  if (output.data() != samples.data()) {
    output.requireApartFrom(samples);
  }
  {
    constexpr size_t costOfACall = 8;  // of that of an element elsewhere
    const Unlocked unlocked(samples.size() * costOfACall);
    const T* const source = samples.data();
    T* const destination = output.data();
    for (size_t i = 0; i < samples.size(); ++i) {
      destination[i] = next(source[i]);
    }
  }
  return output.object();
}

template <class T>
void defineRecursiveFilter(nb::module_& kernels, const std::string& suffix, auto kernel) {
  const std::string array = typeName<T>() + std::string("[]");
  defineKernel(
      kernels,
      "def IIRFilter_" + suffix + "(samples: " + array +
          ", section_gains: float64[], section_taps: float64[], *, filter_type: int = 3, "
          "section_order: int = 2, out: " +
          array + " | None = None) -> " + array,
      "Samples through a cascade of recursive sections.\n\n"
      "Parameters\n----------\n"
      "samples\n    Shape (n,).\n"
      "section_gains\n    Shape (sections,).\n"
      "section_taps\n    Shape (sections * taps * 4,), aligned to 16 bytes, zeroed to start; it holds the history and "
      "changes. A\n"
      "    section has its taps from the oldest delay to the current sample, each of them x, y, b, a: input, output, "
      "the\n"
      "    coefficients of both. The a of the current one is not read.\n"
      "filter_type\n    3: sections of three taps; 0: of section_order + 1.\n"
      "section_order\n    0 or above.\n"
      "out\n    Shape (n,); `samples` itself, or apart from it.\n\n"
      "Returns\n-------\nout\n\n"
      "Notes\n-----\n"
      "All arithmetic is in double. Outputs of sections are limited to +-1e10; with `filter_type` 3 a NaN becomes "
      "+1e10.",
      [kernel](nb::handle samples, nb::handle sectionGains, nb::handle sectionTaps, int32_t filterType,
               int32_t sectionOrder, nb::handle out) {
        const Input<double> gains(sectionGains, "section_gains", Layout::contiguous, INT32_MAX);
        const Output<double> taps(sectionTaps, "section_taps");
        if (sectionOrder < 0) {
          refuseValue("section_order is " + std::to_string(sectionOrder) + ": 0 is the least");
        }
        constexpr size_t numbersATap = 4, tapsOfSecondOrder = 3;
        const size_t tapsASection =
            filterType == KXCALC_SECOND_ORDER_SECTIONS ? tapsOfSecondOrder : static_cast<size_t>(sectionOrder) + 1;
        taps.requireSize(gains.size() * tapsASection * numbersATap, "section_gains");
        taps.requireAlignment(2 * sizeof(double));
        taps.requireApartFrom(gains);
        const IIRFilterState state{filterType, static_cast<int32_t>(gains.size()), sectionOrder, 0, gains.data(),
                                   taps.data()};
        return filtered<T>(samples, out, [&, next = functions().*kernel](T sample) { return next(&state, sample); });
      },
      "samples"_a, "section_gains"_a, "section_taps"_a, nb::kw_only(), "filter_type"_a = 3, "section_order"_a = 2,
      "out"_a = nb::none());
}

}  // namespace

void defineFilter(nb::module_& kernels) {
  defineRecursiveFilter<float>(kernels, "float", &Functions::kxcalcIIRFilter_float);
  defineRecursiveFilter<double>(kernels, "double", &Functions::kxcalcIIRFilter_double);
  defineKernel(
      kernels,
      "def PinkFilter_double(samples: float64[], state: float64[], *, out: float64[] | None = None) -> float64[]",
      "White noise to pink noise, whose power falls by 3 dB an octave.\n\n"
      "Parameters\n----------\n"
      "samples\n    Shape (n,).\n"
      "state\n    Shape (8,), zeroed to start; it holds the history and changes.\n"
      "out\n    Shape (n,); `samples` itself, or apart from it.\n\n"
      "Returns\n-------\nout",
      [](nb::handle samples, nb::handle state, nb::handle out) {
        const Output<double> numbers(state, "state");
        numbers.requireSize(sizeof(PinkFilterState) / sizeof(double), "the filter");
        PinkFilterState kept;
        std::memcpy(&kept, numbers.data(), sizeof kept);
        nb::object result = filtered<double>(
            samples, out,
            [&, next = functions().kxcalcPinkFilter_double](double sample) { return next(&kept, sample); });
        std::memcpy(numbers.data(), &kept, sizeof kept);
        return result;
      },
      "samples"_a, "state"_a, nb::kw_only(), "out"_a = nb::none());
  defineKernel(
      kernels, "def FIRFilter_float(ring: float32[], coefficients: float32[], position: int) -> float",
      "One output of a finite filter whose delay line is a ring: the sum of coefficients[k] * ring[(position + k) % "
      "n].\n\n"
      "Parameters\n----------\n"
      "ring\n    Shape (n,), at most 2147483647 samples.\n"
      "coefficients\n    Shape (n,), aligned to 16 bytes.\n"
      "position\n    0 to n: the ring's sample that coefficient 0 weighs.\n\n"
      "Notes\n-----\nProducts are added in an order that depends on the position, all in single.",
      [](nb::handle ring, nb::handle coefficients, uint32_t position) {
        const Input<float> samples(ring, "ring", Layout::contiguous, INT32_MAX), weights(coefficients, "coefficients");
        weights.requireSize(samples.size(), "ring");
        weights.requireAlignment(4 * sizeof(float));
        if (position > samples.size()) {
          refuseValue("position is " + std::to_string(position) + ": " + std::to_string(samples.size()) +
                      " is the largest");
        }
        const Unlocked unlocked(samples.size());
        return functions().kxcalcFIRFilter_float(samples.data(), weights.data(), samples.count(), position);
      },
      "ring"_a, "coefficients"_a, "position"_a);
}

}  // namespace kxpython
