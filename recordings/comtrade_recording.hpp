// COMTRADE recordings in files (IEEE C37.111-1991, -1999 and -2013, IEC 60255-24).
#pragma once

#include "recordings/recording.hpp"

namespace kxrecordings {

/// Opens a COMTRADE recording by its .cfg file, with the .dat file under the same name beside it, in any letter case, or by its
/// .cff file. How it is read: see ComtradeReader.
std::unique_ptr<Recording> openComtrade(const std::string& file, const InputOptions& options);

}  // namespace kxrecordings
