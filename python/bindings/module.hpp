// The parts of the extension module.
#pragma once

#include <nanobind/nanobind.h>

#include <string>

#include "functions/functions.hpp"

namespace kxpython {

namespace nb = nanobind;
using namespace nb::literals;
using kxcalc::Functions;

/// Of the library that the package opened.
const Functions& functions();

/// A function of kxcalc.kernels: its name and arguments as Python's typing writes them, what it does, and its arguments.
/// "float32[]" and its siblings stand for arrays of that type.
template <class Function, class... Arguments>
void defineKernel(nb::module_& kernels, const std::string& signature, const std::string& text, Function function,
                  const Arguments&... arguments);

/// An argument that Python passes on whatever it is, None too: what refuses it names it.
template <class Annotation>
auto whatever(const Annotation& annotation) {
  if constexpr (
      requires { annotation.none(); } && !requires { annotation.value; }) {
    return annotation.none();
  } else {
    return annotation;
  }
}

std::string nameIn(const std::string& signature);
std::string typedSignature(std::string signature);

template <class Function, class... Arguments>
void defineKernel(nb::module_& kernels, const std::string& signature, const std::string& text, Function function,
                  const Arguments&... arguments) {
  const std::string name = nameIn(signature), typed = typedSignature(signature);
  kernels.def(name.c_str(), function, nb::sig(typed.c_str()), text.c_str(), whatever(arguments)...);
}

void defineStats(nb::module_& kernels);
void defineVector(nb::module_& kernels);
void defineChannel(nb::module_& kernels);
void defineDisplay(nb::module_& kernels);
void defineFilter(nb::module_& kernels);
void defineCombustion(nb::module_& kernels);
void definePower(nb::module_& kernels);
void defineSpectra(nb::module_& kernels);
void defineSines(nb::module_& kernels);

/// What the functions of several dimensions stand on.
void defineReductions(nb::module_& module);
void defineElementwise(nb::module_& module);

}  // namespace kxpython
