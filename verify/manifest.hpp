// The manifest: a line for each export, its hash and its name.
#pragma once

#include <map>
#include <string>

namespace kxverify {

/// Hash by name.
using Manifest = std::map<std::string, std::string>;

/// Throws std::runtime_error with the line's number where a line is none of a manifest. Lines that begin with # are
/// comments.
Manifest parseManifest(const std::string& text);

/// Throws std::runtime_error if the file cannot be read.
std::string readFile(const std::string& file);

}  // namespace kxverify
