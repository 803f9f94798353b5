// Power analysis: complex spectra.
#include <cmath>

#include "python/bindings/arrays.hpp"
#include "python/bindings/module.hpp"

namespace kxpython {
namespace {

using Bin = std::complex<float>;

const float* partsOf(const Input<Bin>& spectrum) {
  return reinterpret_cast<const float*>(spectrum.data());  // an array of complex numbers is one of their parts
}
float* partsOf(const Output<Bin>& spectrum) {
  return reinterpret_cast<float*>(spectrum.data());
}

}  // namespace

void defineSpectra(nb::module_& kernels) {
  defineKernel(
      kernels, "def PowerCorrectFFT_U(spectrum: complex64[], correction: complex64[]) -> None",
      "Multiply a spectrum by a correction, bin by bin, in place.\n\n"
      "Parameters\n----------\n"
      "spectrum\n    Shape (n,), at most 2147483647 bins; overwritten.\n"
      "correction\n    Shape (n,). May overlap `spectrum`: bins are computed in ascending order.",
      [](nb::handle object, nb::handle factors) {
        const Output<Bin> spectrum(object, "spectrum", INT32_MAX);
        const Input<Bin> correction(factors, "correction");
        correction.requireSize(spectrum.size(), "spectrum");
        const Unlocked unlocked(spectrum.size());
        functions().kxcalcPowerCorrectFFT_U(partsOf(spectrum), partsOf(correction),
                                            static_cast<int32_t>(spectrum.size()));
      },
      "spectrum"_a, "correction"_a);
  defineKernel(
      kernels, "def PowerNegateImag_float(spectrum: complex64[]) -> None",
      "Conjugate a spectrum in place.\n\n"
      "Parameters\n----------\nspectrum\n    Shape (n,), at most 2147483647 bins; the sign of the imaginary parts is "
      "flipped, of zeros and NaNs too.",
      [](nb::handle object) {
        const Output<Bin> spectrum(object, "spectrum", INT32_MAX);
        const Unlocked unlocked(spectrum.size());
        functions().kxcalcPowerNegateImag_float(partsOf(spectrum), 2 * spectrum.count());
      },
      "spectrum"_a);
  defineKernel(
      kernels, "def PowerFindIndexOfMaxAmplitude(spectrum: complex64[]) -> int",
      "Index of the strongest bin, bin 0 apart.\n\n"
      "Parameters\n----------\nspectrum\n    Shape (n,).\n\n"
      "Returns\n-------\nThe lowest index of the largest magnitude; 0 where all from bin 1 on are zero, or there are "
      "none. NaNs never win.",
      [](nb::handle object) {
        const Input<Bin> spectrum(object, "spectrum");
        const Unlocked unlocked(spectrum.size());
        return functions().kxcalcPowerFindIndexOfMaxAmplitude(partsOf(spectrum), spectrum.count());
      },
      "spectrum"_a);
  defineKernel(
      kernels, "def PowerHarmonicZero(spectrum: complex64[]) -> float",
      "Sum of the squared magnitudes of bins, in double.\n\nParameters\n----------\nspectrum\n    Shape (n,).",
      [](nb::handle object) {
        const Input<Bin> spectrum(object, "spectrum");
        const Unlocked unlocked(spectrum.size());
        return functions().kxcalcPowerHarmonicZero(partsOf(spectrum), spectrum.count());
      },
      "spectrum"_a);
  defineKernel(
      kernels, "def PowerPandQsum(voltage: complex64[], current: complex64[]) -> tuple[float, float]",
      "Active and reactive power of a voltage and a current spectrum; the first and the last bin count half.\n\n"
      "Parameters\n----------\nvoltage, current\n    Shape (n,) both, 2 to 2147483647 bins scaled to rms values.\n\n"
      "Returns\n-------\nactive, reactive\n    The latter is positive for a leading current.",
      [](nb::handle volts, nb::handle amperes) {
        const Input<Bin> voltage(volts, "voltage", Layout::contiguous, INT32_MAX), current(amperes, "current");
        voltage.requireAtLeast(2, "the sum");
        current.requireSize(voltage.size(), "voltage");
        double active = 0, reactive = 0;
        {
          const Unlocked unlocked(voltage.size());
          functions().kxcalcPowerPandQsum(partsOf(voltage), partsOf(current), static_cast<int32_t>(voltage.size()),
                                          &active, &reactive);
        }
        return nb::make_tuple(active, reactive);
      },
      "voltage"_a, "current"_a);
  defineKernel(
      kernels,
      "def PowerAngles(spectrum: complex64[], order_count: int, phase_per_order: float, bins_per_order: float, *, out: "
      "float32[] | "
      "None = None) -> float32[]",
      "Phase angles of harmonic orders in degrees, between the two bins around each order's position.\n\n"
      "Parameters\n----------\n"
      "spectrum\n    Shape (n,): bins up to the one above order_count * bins_per_order.\n"
      "order_count\n    0 or above.\n"
      "phase_per_order\n    Reference phase, in degrees.\n"
      "bins_per_order\n    Position of order 1 in bins, above 0.\n"
      "out\n    Shape (order_count + 1,), apart from `spectrum`.\n\n"
      "Returns\n-------\nout\n    Element 0 is not written; it is 0 in a new array.\n\n"
      "Notes\n-----\nAn angle is negated and brought towards -180 to 180; from a phase above 360 it comes out with the "
      "other sign.",
      [](nb::handle object, int32_t orderCount, float phasePerOrder, float binsPerOrder, nb::handle out) {
        const Input<Bin> spectrum(object, "spectrum");
        if (orderCount < 0) {
          refuseValue("order_count is " + std::to_string(orderCount) + ": 0 is the least");
        }
        if (!(binsPerOrder > 0) || !std::isfinite(binsPerOrder)) {
          refuseValue("bins_per_order is " + std::to_string(binsPerOrder) + ": a number above 0 is needed");
        }
        const float last = static_cast<float>(orderCount) * binsPerOrder;  // as the kernel places it
        if (orderCount > 0 && !(std::trunc(static_cast<double>(last)) + 2 <= static_cast<double>(spectrum.size()))) {
          refuseValue("spectrum has " + std::to_string(spectrum.size()) +
                      " elements: order_count and bins_per_order ask for more");
        }
        const auto size = static_cast<size_t>(orderCount) + 1;
        const Output<float> angles = outputFor<float>(out, size, "order_count + 1");
        angles.requireApartFrom(spectrum);
        if (out.is_none()) {
          angles.data()[0] = 0;
        }
        {
          const Unlocked unlocked(size);
          functions().kxcalcPowerAngles(partsOf(spectrum), angles.data(), orderCount, phasePerOrder, binsPerOrder);
        }
        return angles.object();
      },
      "spectrum"_a, "order_count"_a, "phase_per_order"_a, "bins_per_order"_a, nb::kw_only(), "out"_a = nb::none());
}

}  // namespace kxpython
