// Power analysis: filters, sums, unbalance, flicker.
#include <limits>

#include "python/bindings/arrays.hpp"
#include "python/bindings/module.hpp"

namespace kxpython {
namespace {

/// The arrays of a FlickerState one after another, in the record's order.
constexpr size_t flickerNumbers = 62;

FlickerState flickerState(double* numbers) {
  FlickerState state{};
  const auto take = [&](auto& field, size_t length) {
    field = numbers;
    numbers += length;
  };
  take(state.lowPassInput, 3);
  take(state.lowPassInput1, 3);
  take(state.lowPassInput2, 3);
  take(state.lowPassOutput, 3);
  take(state.lowPassOutput1, 3);
  take(state.lowPassOutput2, 3);
  take(state.lowPassGain, 3);
  take(state.lowPassA1, 3);
  take(state.lowPassA2, 3);
  take(state.weightCoefficients, 12);
  take(state.highPassCoefficients, 3);
  take(state.weight1Output, 3);
  take(state.weight1Input, 3);
  take(state.weight2Input, 3);
  take(state.weight2Output, 3);
  take(state.squareHistory, 2);
  take(state.smoothHistory, 2);
  take(state.highPassInput, 2);
  take(state.highPassOutput, 2);
  return state;
}

void defineUnbalance(nb::module_& kernels) {
  defineKernel(
      kernels,
      "def PowerUnbalance(magnitude_l1: float32[], magnitude_l2: float32[], magnitude_l3: float32[], angle_l1: "
      "float32[], "
      "angle_l2: float32[], angle_l3: float32[]) -> tuple[float, float, float, float, float, float, float]",
      "Symmetrical components of a three-phase system, summed over entries such as harmonic orders.\n\n"
      "Parameters\n----------\n"
      "magnitude_l1, magnitude_l2, magnitude_l3\n    Shape (n,), at least 1 entry.\n"
      "angle_l1, angle_l2, angle_l3\n    Shape (n,), in degrees: a balanced system has 0, 120 and 240.\n\n"
      "Returns\n-------\n"
      "zero, positive, negative, negative_ratio, zero_ratio, negative_ratio_first, zero_ratio_first\n"
      "    Sums of the sequences' magnitudes, and the ratios to the positive one in percent, of all entries and of the "
      "first;\n"
      "    NaN where the positive sequence is not above 0.\n\n"
      "Notes\n-----\nEntries in whole blocks of four are computed in single, the rest in double.",
      [](nb::handle m1, nb::handle m2, nb::handle m3, nb::handle a1, nb::handle a2, nb::handle a3) {
        const Input<float> inputs[] = {{m1, "magnitude_l1"}, {m2, "magnitude_l2"}, {m3, "magnitude_l3"},
                                       {a1, "angle_l1"},     {a2, "angle_l2"},     {a3, "angle_l3"}};
        inputs[0].requireAtLeast(1, "an entry");
        for (const Input<float>& input : inputs) {
          input.requireSize(inputs[0].size(), "magnitude_l1");
        }
        constexpr float none = std::numeric_limits<float>::quiet_NaN();
        float zero = 0, positive = 0, negative = 0, negativeRatio = none, zeroRatio = none, negativeFirst = none,
              zeroFirst = none;
        const PowerUnbalanceArgs args{inputs[0].data(),
                                      inputs[1].data(),
                                      inputs[2].data(),
                                      inputs[3].data(),
                                      inputs[4].data(),
                                      inputs[5].data(),
                                      &zero,
                                      &positive,
                                      &negative,
                                      &negativeRatio,
                                      &zeroRatio,
                                      &negativeFirst,
                                      &zeroFirst,
                                      inputs[0].count()};
        {
          const Unlocked unlocked(inputs[0].size());
          functions().kxcalcPowerUnbalance(&args);
        }
        return nb::make_tuple(zero, positive, negative, negativeRatio, zeroRatio, negativeFirst, zeroFirst);
      },
      "magnitude_l1"_a, "magnitude_l2"_a, "magnitude_l3"_a, "angle_l1"_a, "angle_l2"_a, "angle_l3"_a);
}

void defineFlicker(nb::module_& kernels) {
  defineKernel(
      kernels, "def PowerFlicker(state: float64[], samples: float32[], *, out: float32[] | None = None) -> float32[]",
      "Instantaneous flicker sensation of voltage samples, after IEC 61000-4-15.\n\n"
      "Parameters\n----------\n"
      "state\n    Shape (62,): the nineteen arrays of the record FlickerState one after another, in its order. It "
      "holds the history\n"
      "    and changes. To start, all but the coefficients are 0, and state[58], the latest input of the high-pass, is "
      "-9999999.\n"
      "samples\n    Shape (n,), at most 2147483647.\n"
      "out\n    Shape (n,), apart from `samples`.\n\n"
      "Returns\n-------\nout",
      [](nb::handle numbers, nb::handle object, nb::handle out) {
        const Output<double> state(numbers, "state");
        state.requireSize(flickerNumbers, "the record");
        const Input<float> samples(object, "samples", Layout::contiguous, INT32_MAX);
        const Output<float> sensation = outputFor<float>(out, samples.size(), "samples");
        sensation.requireApartFrom(samples);
        sensation.requireApartFrom(state);
        const FlickerState record = flickerState(state.data());
        {
          constexpr size_t costOfASample = 16;
          const Unlocked unlocked(costOfASample * samples.size());
          functions().kxcalcPowerFlicker(&record, samples.data(), sensation.data(),
                                         static_cast<int32_t>(samples.size()));
        }
        return sensation.object();
      },
      "state"_a, "samples"_a, nb::kw_only(), "out"_a = nb::none());
  defineKernel(
      kernels, "def PowerFlickerAddToClass(values: float32[], classes: uint32[]) -> None",
      "Count sensation values into classes, 100 a decade from 1e-4 to 1e6.\n\n"
      "Parameters\n----------\n"
      "values\n    Shape (n,), at most 2147483647.\n"
      "classes\n    Shape (1000,), apart from `values`: added to, modulo 2^32.\n\n"
      "Notes\n-----\n"
      "0, negative values and NaNs count in class 0. What is above 0 and below 0.977e-4 counts in class 999: set it to "
      "0 first.",
      [](nb::handle object, nb::handle counters) {
        const Input<float> values(object, "values", Layout::contiguous, INT32_MAX);
        const Output<uint32_t> classes(counters, "classes");
        constexpr size_t classCount = 1000;
        classes.requireSize(classCount, "the classification");
        classes.requireApartFrom(values);
        const Unlocked unlocked(values.size());
        functions().kxcalcPowerFlickerAddToClass(values.data(), static_cast<int32_t>(values.size()), classes.data());
      },
      "values"_a, "classes"_a);
}

}  // namespace

void definePower(nb::module_& kernels) {
  defineKernel(
      kernels, "def PowerCalcFIR_float(ring: float32[], coefficients: float32[], position: int, row: int) -> float",
      "One output of a filter of 16 taps over the latest samples of a ring, in single.\n\n"
      "Parameters\n----------\n"
      "ring\n    Shape (n,), at least 16 samples.\n"
      "coefficients\n    Shape (rows * 16,), aligned to 16 bytes; the last of a row weighs the newest sample.\n"
      "position\n    0 to n: one past the newest sample.\n"
      "row\n    Which row of coefficients is used.\n\n"
      "Notes\n-----\nSamples that wrap around the ring's end are added in another order than those that lie in a row.",
      [](nb::handle object, nb::handle weights, uint32_t position, uint32_t row) {
        constexpr size_t taps = 16;
        const Input<float> ring(object, "ring"), coefficients(weights, "coefficients");
        ring.requireAtLeast(taps, "the filter");
        coefficients.requireAlignment(4 * sizeof(float));
        coefficients.requireAtLeast((size_t{row} + 1) * taps, "row");
        if (position > ring.size()) {
          refuseValue("position is " + std::to_string(position) + ": " + std::to_string(ring.size()) +
                      " is the largest");
        }
        const PowerFirArgs args{ring.data(), coefficients.data(), position, row, ring.count()};
        return functions().kxcalcPowerCalcFIR_float(&args);
      },
      "ring"_a, "coefficients"_a, "position"_a, "row"_a);
  defineKernel(
      kernels,
      "def PowerSumVectorMultipliedWithScalar_double(input: float64[], scale: float, sum: float = 0.0, *, accumulate: "
      "bool = True, "
      "out: float32[] | None = None) -> tuple[float32[], float]",
      "Scale doubles to singles, and add up the magnitudes of these.\n\n"
      "Parameters\n----------\n"
      "input\n    Shape (n,), at most 2147483647.\n"
      "scale\n    A single.\n"
      "sum\n    What the sum of the magnitudes is added to.\n"
      "accumulate\n    Whether to add them.\n"
      "out\n    Shape (n,), apart from `input`.\n\n"
      "Returns\n-------\nout, sum",
      [](nb::handle object, float scale, double sum, bool accumulate, nb::handle out) {
        const Input<double> input(object, "input", Layout::contiguous, INT32_MAX);
        const Output<float> output = outputFor<float>(out, input.size(), "input");
        output.requireApartFrom(input);
        PowerScaleArgs args{};
        args.input = input.data();
        args.output = output.data();
        args.sum = sum;
        args.scale = scale;
        args.count = static_cast<int32_t>(input.size());
        args.accumulate = accumulate ? 1 : 0;
        {
          const Unlocked unlocked(input.size());
          functions().kxcalcPowerSumVectorMultipliedWithScalar_double(&args);
        }
        return nb::make_tuple(output.object(), static_cast<double>(args.sum));
      },
      "input"_a, "scale"_a, "sum"_a = 0.0, nb::kw_only(), "accumulate"_a = true, "out"_a = nb::none());
  defineKernel(
      kernels, "def PowerMultiplyAndSquareElementsAndSumVector_float(values: float32[], scale: float) -> float",
      "Sum of the squares of scaled singles: products in single, squares and sum in double.\n\n"
      "Parameters\n----------\nvalues\n    Shape (n,).\nscale\n    A single.",
      [](nb::handle object, float scale) {
        const Input<float> values(object, "values");
        const Unlocked unlocked(values.size());
        // The kernel reads the count as an unsigned number.
        return functions().kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(
            values.data(), static_cast<int32_t>(values.count()), scale);
      },
      "values"_a, "scale"_a);
  defineUnbalance(kernels);
  defineFlicker(kernels);
}

}  // namespace kxpython
