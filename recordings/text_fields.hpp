// Fields of text files: cut out, trimmed, and read as numbers at any locale.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kxrecordings {

/// Without the blanks and the line end around it.
std::string_view trimmed(std::string_view text);

/// The number that a field holds, if it is one and nothing else.
std::optional<double> numberIn(std::string_view field);

/// The trimmed fields of a line, which must live on.
std::vector<std::string_view> fieldsOf(std::string_view line, char separator);

}  // namespace kxrecordings
