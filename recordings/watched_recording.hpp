// What all recordings have in common, whatever their format.
#pragma once

#include <memory>
#include <string>

#include "recordings/recording.hpp"

namespace kxrecordings {

/// A recording whose values are looked at while they are read: those that are not finite numbers are noted, with line
/// and channel, or, where the options ask for it, refused.
/// @param path   of the file that was opened.
/// @param shown  what it is called in what is said of it.
std::unique_ptr<Recording> watched(std::unique_ptr<Recording> recording, const InputOptions& options,
                                   const std::string& path, const std::string& shown);

/// The same, to begin with: what is wrong with a file that is opened is told of `shown`.
std::unique_ptr<Recording> openShown(const std::string& path, const std::string& shown, const InputOptions& options,
                                     std::unique_ptr<Recording> (*open)(const std::string&, const InputOptions&));

}  // namespace kxrecordings
