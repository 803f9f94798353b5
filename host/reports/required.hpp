// What a check found wrong becomes the error that ends the program.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "functions/result.hpp"
#include "recordings/recording.hpp"

namespace kxhost {

/// The value. Throws FileError with the file and the problem if there is none.
template <class T>
T required(kxcalc::Result<T> result, const std::string& file) {
  if (!result) {
    throw kxrecordings::FileError(file, result.problem());
  }
  return std::move(*result);
}

/// The same where no file is to blame.
template <class T>
T required(kxcalc::Result<T> result) {
  if (!result) {
    throw std::runtime_error(result.problem());
  }
  return std::move(*result);
}

}  // namespace kxhost
