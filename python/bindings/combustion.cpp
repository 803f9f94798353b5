// Combustion analysis.
#include "python/bindings/arrays.hpp"
#include "python/bindings/module.hpp"

namespace kxpython {
namespace {

template <class T>
void defineWeightedSum(nb::module_& kernels, const std::string& suffix, const std::string& least, auto kernel) {
  defineKernel(
      kernels, "def CACalcFilter_" + suffix + "(samples: " + typeName<T>() + "[], weights: float32[]) -> float",
      "Weighted sum of the latest samples, in single: of samples[n - 1 - k] * weights[k].\n\n"
      "Parameters\n----------\n"
      "samples\n    Shape (n,), the newest one last.\n"
      "weights\n    Shape (n,), of any stride from 0 to 4294967295; the newest sample's first.\n\n"
      "Returns\n-------\nThe sum, 0 of no samples.\n\n"
      "Notes\n-----\n"
      "From " +
          least +
          " samples on the last bits depend on the 16-byte alignment of `samples`, and infinities at the ends of the\n"
          "window may make the sum a NaN, for they are multiplied by 0 too.",
      [kernel](nb::handle object, nb::handle factors) {
        const Input<T> samples(object, "samples");
        const Input<float> weights(factors, "weights", Layout::strided);
        weights.requireSize(samples.size(), "samples");
        if (weights.stride() < 0 || weights.stride() > static_cast<ptrdiff_t>(UINT32_MAX)) {
          refuseValue("weights has a stride of " + std::to_string(weights.stride()) + ": 0 to 4294967295 is needed");
        }
        const Unlocked unlocked(samples.size());
        const T* const newest = samples.isEmpty() ? samples.data() : samples.data() + samples.size() - 1;
        return (functions().*kernel)(newest, samples.count(), weights.data(), static_cast<uint32_t>(weights.stride()));
      },
      "samples"_a, "weights"_a);
}

/// Coordinates of a diagram's axis.
template <class Call>
nb::object coordinates(nb::handle values, nb::handle out, Call call) {
  const Input<float> input(values, "input");
  const Output<int32_t> output = outputFor<int32_t>(out, input.size(), "input");
  output.requireApartFrom(input);
  {
    const Unlocked unlocked(input.size());
    call(input, output);
  }
  return output.object();
}

constexpr const char* axisParameters = "lower, upper\n    The least and the largest coordinate.\n";
constexpr const char* axisNotes =
    "\nReturns\n-------\nout\n\n"
    "Notes\n-----\n"
    "Up to 3 values halves are rounded away from zero, and `upper` wins where `lower` is above it; from 4 on to the "
    "even\n"
    "integer, and `lower` wins. What 32 bits do not hold, and a NaN, counts as -2147483648 before the limits.";

}  // namespace

void defineCombustion(nb::module_& kernels) {
  defineWeightedSum<int16_t>(kernels, "int16_t", "8", &Functions::kxcalcCACalcFilter_int16_t);
  defineWeightedSum<float>(kernels, "float", "4", &Functions::kxcalcCACalcFilter_float);
  defineWeightedSum<int32_t>(kernels, "int32_t", "4", &Functions::kxcalcCACalcFilter_int32_t);
  defineKernel(
      kernels, "def CACalcAveFilter_double(input: float64[], width: int, *, out: float64[] | None = None) -> float64[]",
      "Centred moving average.\n\n"
      "Parameters\n----------\n"
      "input\n    Shape (n,), n at least 1 and at least the width rounded up to odd.\n"
      "width\n    Samples to average, 0 to 65535; 0 counts as 1.\n"
      "out\n    Shape (n,), apart from `input`.\n\n"
      "Returns\n-------\nout\n    The first and last half width repeat the first and last mean.\n\n"
      "Notes\n-----\nEach mean is moved from the one before it, so that rounding errors carry along.",
      [](nb::handle values, uint16_t width, nb::handle out) {
        const Input<double> input(values, "input");
        input.requireAtLeast(width | size_t{1}, "width");
        const Output<double> output = outputFor<double>(out, input.size(), "input");
        output.requireApartFrom(input);
        {
          const Unlocked unlocked(input.size());
          functions().kxcalcCACalcAveFilter_double(input.data(), output.data(), width, input.count());
        }
        return output.object();
      },
      "input"_a, "width"_a, nb::kw_only(), "out"_a = nb::none());
  defineKernel(
      kernels,
      "def CACopyRawDataToChannels(raw: float32[], start: int, end: int, offset: float, *, out: float32[] | None = "
      "None) -> "
      "tuple[float32[], float, int]",
      "Copy raw samples less an offset into a channel, and find the peak.\n\n"
      "Parameters\n----------\n"
      "raw\n    Shape (n,).\n"
      "start, end\n    The samples to copy, from `start` to before `end`, at most n.\n"
      "offset\n    Subtracted from each.\n"
      "out\n    Shape (end - start,), apart from `raw`.\n\n"
      "Returns\n-------\nout, peak_value, peak_index\n    The peak's index in `raw`; 1.17549435e-38 and 4294967295 "
      "where no sample is above that.\n\n"
      "Notes\n-----\n"
      "From 4 samples on, which of equal peaks is reported depends on their place modulo four, and indexes are exact "
      "up to\n"
      "16777216.",
      [](nb::handle object, uint32_t start, uint32_t end, float offset, nb::handle out) {
        const Input<float> raw(object, "raw");
        if (start > end || end > raw.size()) {
          refuseValue("start and end are " + std::to_string(start) + " and " + std::to_string(end) + ": raw has " +
                      std::to_string(raw.size()) + " elements");
        }
        const Output<float> channel = outputFor<float>(out, end - start, "end - start");
        channel.requireApartFrom(raw);
        float peak = 0;
        uint32_t index = 0;
        {
          const Unlocked unlocked(channel.size());
          functions().kxCalcCACopyRawDataToChannels(raw.data(), channel.data(), start, end, offset, &peak, &index);
        }
        return nb::make_tuple(channel.object(), peak, index);
      },
      "raw"_a, "start"_a, "end"_a, "offset"_a, nb::kw_only(), "out"_a = nb::none());

  const auto defineInPlace = [&](const char* signature, const char* summary, auto convert) {
    defineKernel(
        kernels, signature,
        std::string(summary) + "\n\nParameters\n----------\nbuffer\n    Shape (n,), aligned to 16 bytes.\n",
        [convert](nb::handle object) {
          const Output<double> memory(object, "buffer");
          memory.requireAlignment(2 * sizeof(double));
          const Unlocked unlocked(memory.size());
          (functions().*convert)(memory.data(), memory.count());
        },
        "buffer"_a);
  };
  defineInPlace("def CADoubleArrToSingleArrInplace(buffer: float64[]) -> None",
                "Round doubles to singles, packed at the start of the same memory: `buffer.view(\"f4\")[:n]`.",
                &kxcalc::Functions::kxcalcCADoubleArrToSingleArrInplace);
  defineInPlace("def CASingleArrToDoubleArrInplace(buffer: float64[]) -> None",
                "Widen singles, `buffer.view(\"f4\")[:n]`, to doubles that fill the same memory.",
                &kxcalc::Functions::kxcalcCASingleArrToDoubleArrInplace);

  defineKernel(
      kernels,
      "def CAPV_lin(input: float32[], lower: int, upper: int, scale: float, offset: float, *, out: int32[] | None = "
      "None) -> int32[]",
      std::string(
          "Coordinates of one axis of a pressure-volume diagram: input * scale + offset, rounded and limited.\n\n"
          "Parameters\n----------\ninput\n    Shape (n,).\n") +
          axisParameters +
          "scale, offset\n    Coordinates per unit, and that of 0.\nout\n    Shape (n,), apart from `input`.\n" +
          axisNotes,
      [](nb::handle values, int32_t lower, int32_t upper, float scale, float offset, nb::handle out) {
        return coordinates(values, out, [&](const Input<float>& input, const Output<int32_t>& output) {
          functions().kxcalcCAPV_lin(input.data(), input.count(), output.data(), lower, upper, scale, offset);
        });
      },
      "input"_a, "lower"_a, "upper"_a, "scale"_a, "offset"_a, nb::kw_only(), "out"_a = nb::none());
  defineKernel(
      kernels,
      "def CAPV_log(input: float32[], lower: int, upper: int, scale: float, offset: float, reference: float, *, out: "
      "int32[] | None = "
      "None) -> int32[]",
      std::string("The same on a logarithmic axis: of log10(input / reference), to 1.23e-4.\n\n"
                  "Parameters\n----------\ninput\n    Shape (n,). A ratio below 1e-9 counts as that.\n") +
          axisParameters +
          "scale, offset\n    Coordinates per decade, and that of the reference.\nreference\n    Not 0.\nout\n    "
          "Shape (n,), apart from `input`.\n" +
          axisNotes + " A NaN\nratio counts as 1e-9 from 4 values on.",
      [](nb::handle values, int32_t lower, int32_t upper, float scale, float offset, float reference, nb::handle out) {
        if (reference == 0) {
          refuseValue("reference is 0: it divides");
        }
        return coordinates(values, out, [&](const Input<float>& input, const Output<int32_t>& output) {
          functions().kxcalcCAPV_log(input.data(), input.count(), output.data(), lower, upper, scale, offset,
                                     reference);
        });
      },
      "input"_a, "lower"_a, "upper"_a, "scale"_a, "offset"_a, "reference"_a, nb::kw_only(), "out"_a = nb::none());

  defineKernel(
      kernels, "def CAOverallPressure(new_cycle: float32[], average: float32[], cycles: int) -> float",
      "Fold a cycle into the average of all cycles so far, in place.\n\n"
      "Parameters\n----------\n"
      "new_cycle\n    Shape (n,).\n"
      "average\n    Shape (n,), apart from `new_cycle`; overwritten.\n"
      "cycles\n    How many were averaged before.\n\n"
      "Returns\n-------\nThe peak of the new average, at least 1.17549435e-38.\n\n"
      "Notes\n-----\nBlocks of four are computed in double, the up to 3 elements after them in single.",
      [](nb::handle cycle, nb::handle mean, uint64_t cycles) {
        const Input<float> newCycle(cycle, "new_cycle");
        const Output<float> average(mean, "average");
        average.requireSize(newCycle.size(), "new_cycle");
        average.requireApartFrom(newCycle);
        float peak = 0;
        const Unlocked unlocked(newCycle.size());
        functions().kxCalcCAOverallPressure(newCycle.data(), average.data(), 0, newCycle.count(), cycles, &peak);
        return peak;
      },
      "new_cycle"_a, "average"_a, "cycles"_a);
  defineKernel(
      kernels,
      "def CARunningVal(new_cycle: float32[], leaving_cycle: float32[] | None, sum: float32[], cycles: int, window: "
      "int, *, out: "
      "float32[] | None = None) -> float32[]",
      "Running average over the latest cycles.\n\n"
      "Parameters\n----------\n"
      "new_cycle\n    Shape (n,).\n"
      "leaving_cycle\n    Shape (n,): the cycle that leaves the window; needed where `cycles` is `window` or more.\n"
      "sum\n    Shape (n,): the cycles' sum, which changes.\n"
      "cycles\n    Seen before this one.\n"
      "window\n    In cycles, at least 1.\n"
      "out\n    Shape (n,). None of the four share memory.\n\n"
      "Returns\n-------\nout\n    The average.\n\n"
      "Notes\n-----\n"
      "While the window fills, averages are too large by (cycles + 1) / cycles, but in the up to 3 elements after the "
      "last\n"
      "block of four.",
      [](nb::handle cycle, nb::handle leaving, nb::handle total, uint64_t cycles, uint32_t window, nb::handle out) {
        const Input<float> newCycle(cycle, "new_cycle");
        const Output<float> sum(total, "sum");
        sum.requireSize(newCycle.size(), "new_cycle");
        sum.requireApartFrom(newCycle);
        const Output<float> average = outputFor<float>(out, newCycle.size(), "new_cycle");
        average.requireApartFrom(newCycle);
        average.requireApartFrom(sum);
        if (window == 0) {
          refuseValue("window is 0: at least 1 is needed");
        }
        std::optional<Input<float>> leavingCycle;
        if (!leaving.is_none()) {
          leavingCycle.emplace(leaving, "leaving_cycle");
          leavingCycle->requireSize(newCycle.size(), "new_cycle");
          sum.requireApartFrom(*leavingCycle);
          average.requireApartFrom(*leavingCycle);
        } else if (cycles >= window) {
          refuseValue("leaving_cycle is None: it is needed once cycles is window or more");
        }
        if (!newCycle.isEmpty()) {
          const Unlocked unlocked(newCycle.size());
          functions().kxCalcCARunningVal(newCycle.data(), leavingCycle ? leavingCycle->data() : nullptr, sum.data(),
                                         average.data(), 0, newCycle.count() - 1, cycles, window);
        }
        return average.object();
      },
      "new_cycle"_a, "leaving_cycle"_a, "sum"_a, "cycles"_a, "window"_a, nb::kw_only(), "out"_a = nb::none());
}

}  // namespace kxpython
