// Standard input as a file that can be read more than once.
#pragma once

#include <memory>

#include "recordings/recording.hpp"

namespace kxrecordings {

/// What standard input is called in what is said of it.
constexpr const char* standardInputName = "standard input";

/// The recording that comes in there: raw samples if the options say so, else CSV if it is text, else an audio file.
std::unique_ptr<Recording> openStandardInput(const InputOptions& options);

}  // namespace kxrecordings
