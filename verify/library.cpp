#include "library.hpp"

#include <stdexcept>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace kxverify {
namespace {

#if defined(_WIN32)
using Handle = HMODULE;
Handle open(const char* file) {
  Handle handle = LoadLibraryA(file);
  if (handle == nullptr) {
    throw std::runtime_error(std::string(file) + ": does not load (error " + std::to_string(GetLastError()) + ")");
  }
  return handle;
}
void* find(Handle handle, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(handle, name));
}
#else
using Handle = void*;
Handle open(const char* file) {
  // Without a slash the loader would look in the system's folders instead of this one.
  const std::string path = std::string(file).find('/') == std::string::npos ? std::string("./") + file : file;
  Handle handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    throw std::runtime_error(dlerror());
  }
  return handle;
}
void* find(Handle handle, const char* name) {
  return dlsym(handle, name);
}
#endif

void* required(Handle handle, const char* file, const char* name) {
  void* const function = find(handle, name);
  if (function == nullptr) {
    throw std::runtime_error(std::string(file) + ": lacks the export " + name);
  }
  return function;
}

}  // namespace

Functions openLibrary(const char* file) {
  Handle handle = open(file);
  return {
#define KXVERIFY_FUNCTION(name) reinterpret_cast<decltype(&::name)>(required(handle, file, #name)),
#include "functions.inc"
#undef KXVERIFY_FUNCTION
  };
}

}  // namespace kxverify
