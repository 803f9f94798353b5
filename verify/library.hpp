// A library file with this interface, opened at run time.
#pragma once

#include "functions.hpp"

namespace kxverify {

/// The functions of a library file. It stays open until the program ends. Throws std::runtime_error if the file does not
/// load or lacks one of them.
Functions openLibrary(const char* file);

}  // namespace kxverify
