#include "functions/library.hpp"

#include "functions/processor.hpp"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace kxcalc {
namespace {

/// The interface version that this program needs; what adds functions to it counts in its minor version.
constexpr uint32_t supported = 2;

#if defined(_WIN32)
std::shared_ptr<void> load(const std::string& file) {
  return {LoadLibraryA(file.c_str()), [](void* handle) {
            if (handle != nullptr) {
              FreeLibrary(static_cast<HMODULE>(handle));
            }
          }};
}
std::string reason(const std::string& file) {
  return file + ": does not load (error " + std::to_string(GetLastError()) + ")";
}
void* address(void* handle, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}
#else
std::shared_ptr<void> load(const std::string& file) {
  return {dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL), [](void* handle) {
            if (handle != nullptr) {
              dlclose(handle);
            }
          }};
}
std::string reason(const std::string&) {
  return dlerror();  // it names the file
}
void* address(void* handle, const char* name) {
  return dlsym(handle, name);
}
#endif

/// The name of a build's file, which is looked up as the system's loader does.
std::string fileOf(std::string_view variant) {
#if defined(_WIN32)
  return "kxcalc-" + std::string(variant) + ".dll";
#else
  return "libkxcalc-" + std::string(variant) + ".so." + std::to_string(supported);
#endif
}

}  // namespace

Result<Library> Library::open(const std::string& file) {
  const Handle handle = load(file);
  if (!handle) {
    return Problem{reason(file)};
  }
  const char* lacking = nullptr;
  const auto required = [&](const char* name) {
    void* const found = address(handle.get(), name);
    if (found == nullptr && lacking == nullptr) {
      lacking = name;
    }
    return found;
  };
  const Functions functions{
#define KXCALC_EXPORT(family, name) reinterpret_cast<decltype(&::name)>(required(#name)),
#include "functions/exports.inc"
#undef KXCALC_EXPORT
  };
  uint32_t major = supported, minor = 0, flag = 0;
  if (functions.kxcalcGetVersion != nullptr) {
    functions.kxcalcGetVersion(&major, &minor, 0, &flag);
  }
  if (major != supported) {  // which explains what else is missing
    return Problem{file + ": has interface version " + std::to_string(major) + "." + std::to_string(minor) +
                   ", this program needs version " + std::to_string(supported)};
  }
  if (lacking != nullptr) {
    return Problem{file + ": lacks the export " + lacking};
  }
  return Library(file, handle, functions);
}

Result<Library> Library::openFastest() {
  std::string problems;
  for (const std::string_view variant : runnableVariants()) {
    auto library = open(fileOf(variant));
    if (library) {
      return library;
    }
    problems += (problems.empty() ? "" : "; ") + library.problem();
  }
  return Problem{problems};
}

}  // namespace kxcalc
