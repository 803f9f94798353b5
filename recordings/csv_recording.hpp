// CSV files: a header row with the columns' names, then a row a frame. Numeric columns are the channels.
#pragma once

#include "recordings/recording.hpp"

namespace kxrecordings {

/// Opens a CSV file. The separator is the one of comma, semicolon and tab that the header row holds most of. A column
/// whose first value is text (a time stamp, say) is left out with a note; text in a later row is an error. An empty
/// field is one, too.
std::unique_ptr<Recording> openCsv(const std::string& file, const InputOptions& options);

}  // namespace kxrecordings
