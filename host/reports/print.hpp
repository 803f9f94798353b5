// Sentences on standard output and standard error.
#pragma once

#include <fmt/format.h>

#include <ostream>

namespace kxhost {

/// As fmt::print of <fmt/ostream.h>, which compiles its formatter into every source that calls it; this one calls the library's.
template <class... Arguments>
void printTo(std::ostream& out, fmt::format_string<Arguments...> text, const Arguments&... arguments) {
  out << fmt::vformat(text, fmt::make_format_args(arguments...));
}

}  // namespace kxhost
