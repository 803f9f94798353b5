// A library file with this interface, opened at run time: which build suits the processor is the host's decision.
#pragma once

#include <memory>
#include <string>

#include "functions/functions.hpp"
#include "functions/result.hpp"

namespace kxcalc {

/// The functions of a library file, open as long as this object or a copy of it lives.
class Library {
public:
  /// Opens a library and checks that it has all functions and the interface version of the header.
  /// @param file  a path; a name without a slash is looked up as the system's loader does, along the program's run path
  ///              among others.
  static Result<Library> open(const std::string& file);

  const Functions& functions() const { return functions_; }

private:
  using Handle = std::shared_ptr<void>;

  Library(Handle handle, const Functions& functions) : handle_(std::move(handle)), functions_(functions) {}

  Handle handle_;
  Functions functions_;
};

}  // namespace kxcalc
