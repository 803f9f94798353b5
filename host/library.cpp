#include "library.hpp"

#include <dlfcn.h>

#include <stdexcept>

namespace kxhost {

SharedObject::SharedObject(const std::string& file)
    : file_(file), handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) {
    throw std::runtime_error(dlerror());
  }
}

SharedObject::~SharedObject() {
  dlclose(handle_);
}

void* SharedObject::address(const char* name) const {
  void* const found = dlsym(handle_, name);
  if (found == nullptr) {
    throw std::runtime_error(file_ + ": lacks the export " + name);
  }
  return found;
}

Library::Library(const std::string& file) : object_(file) {
  constexpr uint32_t supported = 2;
  uint32_t major = 0, minor = 0, flag = 0;
  kxcalcGetVersion(&major, &minor, 0, &flag);
  if (major != supported) {
    throw std::runtime_error(file + ": has interface version " + std::to_string(major) + "." + std::to_string(minor) +
                             ", this program needs version " + std::to_string(supported));
  }
}

}  // namespace kxhost
