// Sine and arctangent.
#include "python/bindings/arrays.hpp"
#include "python/bindings/module.hpp"

namespace kxpython {
namespace {

void define(nb::module_& kernels, const std::string& name, const std::string& text, auto kernel) {
  defineKernel(
      kernels, "def " + name + "(input: float32[], *, out: float32[] | None = None) -> float32[]",
      text +
          "\n\nParameters\n----------\n"
          "input\n    Shape (n,).\n"
          "out\n    Shape (n,), in radians where they are angles; apart from `input`.\n\n"
          "Returns\n-------\nout",
      [kernel](nb::handle values, nb::handle out) {
        const Input<float> input(values, "input");
        const Output<float> output = outputFor<float>(out, input.size(), "input");
        output.requireApartFrom(input);
        {
          const Unlocked unlocked(input.size());
          (functions().*kernel)(input.data(), output.data(), input.count());
        }
        return output.object();
      },
      "input"_a, nb::kw_only(), "out"_a = nb::none());
}

}  // namespace

void defineSines(nb::module_& kernels) {
  define(kernels, "Sin_float",
         "Sines of angles in radians.\n\n"
         "1 to 3 elements are computed in double, 4 or more by an approximation within 8e-8 up to a magnitude of 8192; "
         "from\n"
         "1.6e9 on results are meaningless.",
         &Functions::kxcalcSin_float);
  define(kernels, "ATan_float",
         "Arctangents, in radians: but of 1 to 3 elements their SINES.\n\n"
         "4 elements or more: within 1.1e-7. Fill shorter blocks up to 4 elements; `kxcalc.arctan` does.",
         &Functions::kxcalcATan_float);
}

}  // namespace kxpython
