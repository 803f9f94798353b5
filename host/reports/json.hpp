// JSON for programs that read what kxhost prints.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>

namespace kxhost {

using Json = nlohmann::ordered_json;

/// null for figures that do not exist; the JSON library writes null for NaN and infinity, too.
Json jsonNumber(std::optional<double> number);

/// Prints to standard output. In names of files and channels, bytes that are not UTF-8 are replaced.
void printJson(const Json& json);

}  // namespace kxhost
