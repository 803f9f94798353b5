// What a container's header promises.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>

namespace kxrecordings {

/// The least size in bytes of a file that holds all the sample data its header announces. Nothing for containers other
/// than WAV, RF64, W64, AIFF, AU and CAF, and where the length was left open, as programs do that write into a pipe.
std::optional<uint64_t> promisedSize(std::istream& file);

}  // namespace kxrecordings
