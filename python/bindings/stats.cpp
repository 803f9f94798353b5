// Minimum and maximum, statistics lines.
#include "python/bindings/arrays.hpp"
#include "python/bindings/module.hpp"

namespace kxpython {
namespace {

template <class T>
void defineMinMax(nb::module_& kernels, const std::string& suffix, const std::string& number, auto kernel) {
  defineKernel(
      kernels, "def GetMinMax_" + suffix + "(data: " + typeName<T>() + "[]) -> tuple[" + number + ", " + number + "]",
      "Smallest and largest of a block.\n\n"
      "Parameters\n----------\n"
      "data\n    Shape (n,), at least 1 sample.\n\n"
      "Returns\n-------\n"
      "minimum, maximum\n\n"
      "Notes\n-----\n"
      "Of floating-point numbers a NaN may hide the samples before it, and does not show in the results for sure; "
      "with\n"
      "NaNs, or zeros of both signs, the result depends on the 16-byte alignment of `data`. `kxcalc.minmax` has no "
      "such\n"
      "traps.",
      [kernel](nb::handle data) {
        const Input<T> samples(data, "data");
        samples.requireAtLeast(1, "a minimum");
        T minimum{}, maximum{};
        {
          const Unlocked unlocked(samples.size());
          (functions().*kernel)(samples.data(), samples.count(), &minimum, &maximum);
        }
        return nb::make_tuple(minimum, maximum);
      },
      "data"_a);
}

constexpr const char* lineParameters =
    "minimum, maximum\n    Merged with those of a short block, overwritten by those of a longer one: see Notes.\n"
    "sum, sum_of_squares\n    What the block's sums are added to.\n"
    "rms_offset\n    Added to each sample before it is squared.\n";

template <class T, class Offset>
void defineStatisticsLine(nb::module_& kernels, const std::string& suffix, const std::string& number,
                          const std::string& merged, auto kernel) {
  const std::string name = "GetMinMaxAveRMS_" + suffix;
  defineKernel(
      kernels,
      "def " + name + "(data: " + typeName<T>() + "[], minimum: " + number + ", maximum: " + number +
          ", sum: float = 0.0, sum_of_squares: float = 0.0, rms_offset: float = 0.0) -> tuple[" + number + ", " +
          number + ", float, float]",
      "Statistics line of a block: extremes, sum, and sum of squares about an offset.\n\n"
      "The caller divides: mean = sum / n, rms = sqrt(sum_of_squares / n). Sums are added onto those passed in, so "
      "that\n"
      "a line may span many blocks.\n\n"
      "Parameters\n----------\n"
      "data\n    Shape (n,). Of no samples everything stays as it is.\n" +
          std::string(lineParameters) +
          "\nReturns\n-------\nminimum, maximum, sum, sum_of_squares\n\n"
          "Notes\n-----\n"
          "A block of " +
          merged +
          " is merged with the extremes passed in; the extremes of a longer one overwrite them.\n"
          "The first sample of the block as both makes no difference between the two. The last bits of the sums depend "
          "on\n"
          "the 16-byte alignment of `data`: `data[1:]` may differ from its copy. `kxcalc.statistics` has no such "
          "traps.",
      [kernel](nb::handle data, T minimum, T maximum, double sum, double sumOfSquares, Offset rmsOffset) {
        const Input<T> samples(data, "data");
        {
          const Unlocked unlocked(samples.size());
          (functions().*kernel)(samples.data(), samples.count(), &minimum, &maximum, &sum, &sumOfSquares, rmsOffset);
        }
        return nb::make_tuple(minimum, maximum, sum, sumOfSquares);
      },
      "data"_a, "minimum"_a, "maximum"_a, "sum"_a = 0.0, "sum_of_squares"_a = 0.0, "rms_offset"_a = Offset{0});
}

/// A short block is read with any stride; a longer one is read as contiguous where the stride is not above 1.
void requireStrideThatIsKept(const Input<int16_t>& source) {
  constexpr size_t wholeBlock = 8;
  if (source.size() >= wholeBlock && source.stride() < 1) {
    refuseValue("source has a stride of " + std::to_string(source.stride()) + ": from 8 samples on, 1 is the least");
  }
  if (source.stride() > INT32_MAX || source.stride() < INT32_MIN) {
    refuseValue("source has a stride of " + std::to_string(source.stride()) + ": 32 bits do not hold it");
  }
}

}  // namespace

void defineStats(nb::module_& kernels) {
  defineMinMax<int32_t>(kernels, "int32_t", "int", &Functions::kxcalcGetMinMax_int32_t);
  defineMinMax<int16_t>(kernels, "int16_t", "int", &Functions::kxcalcGetMinMax_int16_t);
  defineMinMax<float>(kernels, "float", "float", &Functions::kxcalcGetMinMax_float);
  defineMinMax<double>(kernels, "double", "float", &Functions::kxcalcGetMinMax_double);
  defineStatisticsLine<float, float>(kernels, "float", "float", "1 to 3 samples",
                                     &Functions::kxcalcGetMinMaxAveRMS_float);
  defineStatisticsLine<double, double>(kernels, "double", "float", "1 sample",
                                       &Functions::kxcalcGetMinMaxAveRMS_double);
  defineStatisticsLine<int16_t, float>(kernels, "int16_t", "int", "1 to 7 samples",
                                       &Functions::kxcalcGetMinMaxAveRMS_int16_t);
  defineStatisticsLine<int32_t, double>(kernels, "int32_t", "int", "1 to 3 samples",
                                        &Functions::kxcalcGetMinMaxAveRMS_int32_t);

  defineKernel(
      kernels,
      "def MoveAndGetMinMaxAveRMS_int16_t(source: int16[], minimum: int, maximum: int, sum: float = 0.0, "
      "sum_of_squares: float = 0.0, rms_offset: float = 0.0, *, out: int16[] | None = None) -> tuple[int16[], int, "
      "int, "
      "float, float]",
      std::string("Copy one channel out of interleaved samples, and gather its statistics line on the way.\n\n"
                  "Parameters\n----------\n"
                  "source\n    Shape (n,), of any stride: `frames[:, 1]` is the second channel. From 8 samples on, the "
                  "stride is at\n"
                  "    least 1.\n") +
          lineParameters +
          "out\n    Shape (n,): where the copy goes, apart from `source`.\n\n"
          "Returns\n-------\nout, minimum, maximum, sum, sum_of_squares\n\n"
          "Notes\n-----\n"
          "The extremes passed in are merged, but overwritten where 8 samples or more have a stride of 1. The last "
          "bits of\n"
          "`sum_of_squares` depend on the 16-byte alignment of `out`, with a stride of 1 on that of `source`.",
      [](nb::handle data, int16_t minimum, int16_t maximum, double sum, double sumOfSquares, float rmsOffset,
         nb::handle out) {
        const Input<int16_t> source(data, "source", Layout::strided);
        requireStrideThatIsKept(source);
        const Output<int16_t> copy = outputFor<int16_t>(out, source.size(), "source");
        copy.requireApartFrom(source);
        {
          const Unlocked unlocked(source.size());
          functions().kxcalcMoveAndGetMinMaxAveRMS_int16_t(copy.data(), source.data(), source.count(), &minimum,
                                                           &maximum, &sum, &sumOfSquares, rmsOffset,
                                                           static_cast<int32_t>(source.stride()));
        }
        return nb::make_tuple(copy.object(), minimum, maximum, sum, sumOfSquares);
      },
      "source"_a, "minimum"_a, "maximum"_a, "sum"_a = 0.0, "sum_of_squares"_a = 0.0, "rms_offset"_a = 0.0F,
      nb::kw_only(), "out"_a = nb::none());
}

}  // namespace kxpython
