// Vector arithmetic and sample widths.
#include "python/bindings/arrays.hpp"
#include "python/bindings/module.hpp"

namespace kxpython {
namespace {

template <class T>
void defineScaling(nb::module_& kernels, const std::string& suffix, auto kernel) {
  defineKernel(
      kernels, "def MultiplyVectorByScalar_" + suffix + "(data: " + typeName<T>() + "[], factor: float) -> None",
      "Scale a vector in place: data[i] = data[i] * factor.\n\n"
      "Parameters\n----------\n"
      "data\n    Shape (n,); overwritten.\n"
      "factor\n    In the precision of the data.",
      [kernel](nb::handle data, T factor) {
        const Output<T> vector(data, "data");
        const Unlocked unlocked(vector.size());
        (functions().*kernel)(vector.data(), vector.count(), factor);
      },
      "data"_a, "factor"_a);
}

template <class From, class To>
void defineWidth(nb::module_& kernels, const std::string& name, const std::string& summary, auto kernel) {
  defineKernel(
      kernels,
      "def " + name + "(source: " + typeName<From>() + "[], *, out: " + typeName<To>() + "[] | None = None) -> " +
          typeName<To>() + "[]",
      summary +
          "\n\nParameters\n----------\n"
          "source\n    Shape (n,).\n"
          "out\n    Shape (n,), apart from `source`.\n\n"
          "Returns\n-------\nout",
      [kernel](nb::handle from, nb::handle out) {
        const Input<From> source(from, "source");
        const Output<To> destination = outputFor<To>(out, source.size(), "source");
        destination.requireApartFrom(source);
        {
          const Unlocked unlocked(source.size());
          (functions().*kernel)(source.data(), destination.data(), source.count());
        }
        return destination.object();
      },
      "source"_a, nb::kw_only(), "out"_a = nb::none());
}

}  // namespace

void defineVector(nb::module_& kernels) {
  defineScaling<float>(kernels, "float", &Functions::kxcalcMultiplyVectorByScalar_float);
  defineScaling<double>(kernels, "double", &Functions::kxcalcMultiplyVectorByScalar_double);

  defineKernel(
      kernels, "def SumSquaredValues_float(data: float32[]) -> float",
      "Sum of the squares of a vector, in double, in ascending order.\n\n"
      "Parameters\n----------\ndata\n    Shape (n,).\n\n"
      "Returns\n-------\nThe sum, 0 of no elements. It is that of the plain loop, at every alignment.",
      [](nb::handle data) {
        const Input<float> vector(data, "data");
        const Unlocked unlocked(vector.size());
        return functions().kxcalcSumSquaredValues_float(vector.data(), vector.count());
      },
      "data"_a);
  defineKernel(
      kernels, "def MultiplyVectorsAndCalcSum_float(first: float32[], second: float32[]) -> float",
      "Dot product of two vectors, in double, in ascending order.\n\n"
      "Parameters\n----------\nfirst, second\n    Shape (n,) both.\n\n"
      "Returns\n-------\nThe sum, 0 of no elements. It is that of the plain loop, at every alignment.",
      [](nb::handle first, nb::handle second) {
        const Input<float> one(first, "first"), other(second, "second");
        other.requireSize(one.size(), "first");
        const Unlocked unlocked(one.size());
        return functions().kxcalcMultiplyVectorsAndCalcSum_float(one.data(), other.data(), one.count());
      },
      "first"_a, "second"_a);

  constexpr const char* operands = "first, second\n    Shape (n,) both.\n";
  constexpr const char* overlap =
      "out\n    Shape (n,). May be `first` or `second`, or overlap them: elements are computed in ascending order.\n\n"
      "Returns\n-------\nout";
  defineKernel(
      kernels,
      "def SubtractVectorsAndMultiplyByScalar_float(first: float32[], second: float32[], factor: float, *, out: "
      "float32[] | "
      "None = None) -> float32[]",
      "Scaled difference of two vectors: (first[i] - second[i]) * factor.\n\n"
      "Parameters\n----------\n" +
          std::string(operands) + "factor\n    Of the difference.\n" + overlap,
      [](nb::handle first, nb::handle second, float factor, nb::handle out) {
        const Input<float> one(first, "first"), other(second, "second");
        other.requireSize(one.size(), "first");
        const Output<float> output = outputFor<float>(out, one.size(), "first");
        {
          const Unlocked unlocked(one.size());
          functions().kxcalcSubtractVectorsAndMultiplyByScalar_float(output.data(), one.data(), other.data(),
                                                                     one.count(), factor);
        }
        return output.object();
      },
      "first"_a, "second"_a, "factor"_a, nb::kw_only(), "out"_a = nb::none());
  defineKernel(
      kernels,
      "def AddVectorsAndMultiplyByScalar_float(first: float32[], second: float32[], second_factor: float, sum_factor: "
      "float, *, "
      "out: float32[] | None = None) -> float32[]",
      "Scaled sum of a vector and a scaled vector: (second[i] * second_factor + first[i]) * sum_factor.\n\n"
      "Parameters\n----------\n" +
          std::string(operands) +
          "second_factor\n    Of `second`, before the addition.\nsum_factor\n    Of the sum.\n" + overlap,
      [](nb::handle first, nb::handle second, float secondFactor, float sumFactor, nb::handle out) {
        const Input<float> one(first, "first"), other(second, "second");
        other.requireSize(one.size(), "first");
        const Output<float> output = outputFor<float>(out, one.size(), "first");
        {
          const Unlocked unlocked(one.size());
          functions().kxcalcAddVectorsAndMultiplyByScalar_float(output.data(), one.data(), other.data(), one.count(),
                                                                secondFactor, sumFactor);
        }
        return output.object();
      },
      "first"_a, "second"_a, "second_factor"_a, "sum_factor"_a, nb::kw_only(), "out"_a = nb::none());

  defineWidth<int32_t, int16_t>(kernels, "ConvertInt32ToInt16",
                                "Narrow 32-bit samples to their low 16 bits: they wrap around, 70000 becomes 4464.",
                                &Functions::kxcalcConvertInt32ToInt16);
  defineWidth<int16_t, int32_t>(kernels, "ConvertInt16ToInt32", "Widen 16-bit samples to 32 bits.",
                                &Functions::kxcalcConvertInt16ToInt32);
}

}  // namespace kxpython
