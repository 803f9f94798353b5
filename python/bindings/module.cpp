// kxcalc._native and kxcalc.kernels: the library that the package opens, and what calls it.
#include "python/bindings/module.hpp"

#include <nanobind/stl/string.h>

#include <optional>

#include "functions/library.hpp"
#include "functions/processor.hpp"
#include "python/bindings/arrays.hpp"
#include "verify/input_sets.hpp"

namespace kxpython {
namespace {

/// It stays open until the process ends: objects of Python's that hold parts of it may live as long.
std::optional<kxcalc::Library>& library() {
  static std::optional<kxcalc::Library> opened;
  return opened;
}

constexpr const char* kernelsText =
    "The 58 functions of the library, one to one, under their names without the prefix.\n\n"
    "Arrays go in and results come back. Where a kernel writes an array, `out` is where it goes, a new one if there "
    "is\n"
    "none; what a kernel changes in place is an argument, and None is returned. Arrays are of one dimension, of "
    "exactly the\n"
    "type that is named, in the machine's byte order, at an address that is a multiple of the element's size, "
    "contiguous\n"
    "except where a function says so, and have at most 4294967295 elements. What does not fit is refused, never "
    "copied: with a\n"
    "TypeError for the type, a ValueError for the rest, which names the argument. Input and output do not share "
    "memory, except\n"
    "where a function says so.\n\n"
    "The functions keep all that the interface of the library has, its traps too: each is told at its function. The "
    "functions\n"
    "of `kxcalc` itself have none of them.";

}  // namespace

const Functions& functions() {
  if (!library()) {
    throw nb::import_error("kxcalc._native is opened by kxcalc alone: import kxcalc");
  }
  return library()->functions();
}

std::string nameIn(const std::string& signature) {
  constexpr size_t keyword = 4;  // "def "
  return signature.substr(keyword, signature.find('(') - keyword);
}

std::string typedSignature(std::string signature) {
  for (size_t end = signature.find("[]"); end != std::string::npos; end = signature.find("[]", end)) {
    const size_t begin = signature.find_last_of(" [", end - 1) + 1;
    const std::string typed = "numpy.typing.NDArray[numpy." + signature.substr(begin, end - begin) + "]";
    signature.replace(begin, end + 2 - begin, typed);
    end = begin + typed.size();
  }
  return signature;
}

}  // namespace kxpython

NB_MODULE(_native, module) {
  using namespace kxpython;
  module.doc() = "What the package stands on.";
  module.def(
      "runnable_variants",
      [] {
        nb::list names;
        for (const std::string_view variant : kxcalc::runnableVariants()) {
          names.append(nb::str(variant.data(), variant.size()));
        }
        return names;
      },
      nb::sig("def runnable_variants() -> list[str]"), "The builds that this processor runs, the fastest first.");
  module.def(
      "open_library",
      [](const std::string& file) {
        auto opened = kxcalc::Library::open(file);
        if (!opened) {
          throw nb::import_error(opened.problem().c_str());
        }
        library() = *opened;
      },
      "file"_a, "Open the library that all functions call from now on.");
  module.def(
      "hashes",
      [] {
        nb::dict hashes;
        for (const kxcalc::calls::Description& description : kxcalc::calls::descriptions()) {
          std::string hash;
          {
            const nb::gil_scoped_release unlocked;
            hash = kxverify::hashOf(description, functions());
          }
          hashes[description.name] = hash;
        }
        return hashes;
      },
      nb::sig("def hashes() -> dict[str, str]"),
      "The hash of each function's results on the input sets of the manifest.");

  auto kernels = nb::borrow<nb::module_>(PyImport_AddModule("kxcalc.kernels"));
  kernels.doc() = kernelsText;
  defineStats(kernels);
  defineVector(kernels);
  defineChannel(kernels);
  defineDisplay(kernels);
  defineFilter(kernels);
  defineCombustion(kernels);
  definePower(kernels);
  defineSpectra(kernels);
  defineSines(kernels);
  kernels.def(
      "GetVersion",
      [](int32_t value) {
        uint32_t major = 0, minor = 0, flag = 0;
        functions().kxcalcGetVersion(&major, &minor, value, &flag);
        return nb::make_tuple(major, minor, flag);
      },
      "value"_a = 0, nb::sig("def GetVersion(value: int = 0) -> tuple[int, int, int]"),
      "Version of the interface.\n\nReturns\n-------\nmajor, minor, flag\n    The flag is 1 if `value` is 10 or more, "
      "else 0.");
  defineReductions(module);
  defineElementwise(module);
}
