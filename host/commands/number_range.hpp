#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "analysis/number_text.hpp"
#include "host/reports/floors.hpp"
#include "recordings/text_fields.hpp"

namespace kxhost {

/// A check of options that take a number from `least` to `most`. Unlike CLI11's own, it refuses NaN.
inline CLI::Validator between(double least, double most) {
  const std::string range = numberText(least, allDigits) + " to " + numberText(most, allDigits);
  return {[=](const std::string& text) {
            const auto number = numberIn(text);
            return number && *number >= least && *number <= most ? "" : text + " is not a number from " + range;
          },
          ""};
}

}  // namespace kxhost
