// A fuzz target: each input is one call (or one stream) of an export of a family, in every library that is built and in the plain
// models. KXCALC_FUZZED_LIBRARIES names the library files.
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <vector>

#include "functions/calls/recording.hpp"
#include "functions/library.hpp"
#include "fuzzed_source.hpp"
#include "reference/models.hpp"

/// What a target defines.
extern const char* const fuzzedFamily;

namespace {

using kxcalc::calls::Description;

struct FuzzedLibrary {
  const char* file;
  kxcalc::Library library;
};

const std::vector<FuzzedLibrary>& libraries() {
  static const std::vector<FuzzedLibrary> all = [] {
    std::vector<FuzzedLibrary> opened;
    for (const char* const file : {KXCALC_FUZZED_LIBRARIES}) {
      const auto library = kxcalc::Library::open(file);
      if (!library) {
        std::cerr << library.problem() << std::endl;
        std::exit(1);
      }
      opened.push_back({file, *library});
    }
    return opened;
  }();
  return all;
}

const std::vector<Description>& family() {
  static const std::vector<Description> all = [] {
    std::vector<Description> ofFamily;
    std::ranges::copy_if(
        kxcalc::calls::descriptions(), std::back_inserter(ofFamily),
        [](std::string_view name) { return name == fuzzedFamily; }, &Description::family);
    return ofFamily;
  }();
  return all;
}

/// What the sanitizers' reports name, too.
struct Current {
  const Description* description = nullptr;
  std::span<const uint8_t> bytes;
} current;

/// The arguments, from the plain model's run.
void tellCall() {
  std::cerr << "In a call of " << current.description->name << std::endl;
  fuzzing::TellingSource source(current.bytes);
  kxcalc::calls::Recording ignored;
  current.description->run(reference::functions, source, ignored);
}

}  // namespace

/// Called by the address sanitizer when it reports.
extern "C" void __asan_on_error() {
  if (current.description != nullptr) {
    tellCall();
  }
}

// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  libraries();
  return 0;
}

// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const Description& description = family()[data[0] % family().size()];
  current = {&description, {data + 1, size - 1}};
  kxcalc::calls::Recording expected;
  fuzzing::FuzzedSource modelsSource(current.bytes);
  description.run(reference::functions, modelsSource, expected);
  for (const FuzzedLibrary& fuzzed : libraries()) {
    kxcalc::calls::Comparison comparison(expected);
    fuzzing::FuzzedSource source(current.bytes);
    description.run(fuzzed.library.functions(), source, comparison);
    if (!comparison.difference().empty()) {
      std::cerr << "Kernel and model differ: " << fuzzed.file << ": " << comparison.difference() << std::endl;
      tellCall();
      std::abort();
    }
  }
  current.description = nullptr;
  return 0;
}
