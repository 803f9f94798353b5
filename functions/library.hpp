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

  /// Opens the fastest build that this processor runs and that the system's loader finds.
  static Result<Library> openFastest();

  const Functions& functions() const { return functions_; }

  /// As it was opened.
  const std::string& file() const { return file_; }

private:
  using Handle = std::shared_ptr<void>;

  Library(std::string file, Handle handle, const Functions& functions)
      : file_(std::move(file)), handle_(std::move(handle)), functions_(functions) {}

  std::string file_;
  Handle handle_;
  Functions functions_;
};

}  // namespace kxcalc
