// Tables of numbers in text files: CSV and its relatives.
#pragma once

#include "recordings/recording.hpp"

namespace kxrecordings {

/// Opens a text file. How it is read: see TextReader.
std::unique_ptr<Recording> openCsv(const std::string& file, const InputOptions& options);

}  // namespace kxrecordings
