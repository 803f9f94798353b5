// Text from files and the command line, made fit to be shown.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kxrecordings {

/// The same without control characters and bytes that are not UTF-8, of each of which a question mark stands.
std::string shownText(std::string_view text);

/// UTF-8 of no more characters than `most`: an ellipsis takes the place of what is in the middle of longer text, so that
/// the beginning and the end are seen.
std::string shortened(const std::string& text, size_t most);

}  // namespace kxrecordings
