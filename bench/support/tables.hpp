// The figures of a run on paper: a Markdown table for each size, which is what docs/performance.md shows, and
// everything in a CSV file.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "support/figures.hpp"

namespace kxcalc::bench {

/// variants: of the libraries, a column each.
void writeMarkdown(std::ostream& out, const std::vector<Row>& rows, const std::vector<std::string>& variants);

/// what was measured where, and with which compiler, as three fields.
void writeCsv(std::ostream& out, const std::vector<Row>& rows, const std::string& date, const std::string& processor,
              const std::string& compiler);

}  // namespace kxcalc::bench
