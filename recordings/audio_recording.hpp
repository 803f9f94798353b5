// Recordings that libsndfile reads: audio containers and raw interleaved samples.
#pragma once

#include "recordings/recording.hpp"

namespace kxrecordings {

/// WAV, FLAC, Ogg and the other containers of libsndfile.
std::unique_ptr<Recording> openAudio(const std::string& file, const InputOptions& options);

/// Raw interleaved samples, little-endian, of the type and channel count that the options name.
std::unique_ptr<Recording> openRaw(const std::string& file, const InputOptions& options);

}  // namespace kxrecordings
