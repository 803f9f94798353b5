// COMTRADE recordings of fault recorders and power analysers (IEEE C37.111-1999 and -2013, IEC 60255-24).
#pragma once

#include "recordings/recording.hpp"

namespace kxrecordings {

/// Opens a COMTRADE recording by its .cfg file; the .dat file lies beside it under the same name. The channels are the
/// analog ones, named with their unit as "UA [kV]"; their values are a * sample + b with the channel's own factors.
/// Data files are read in ASCII and in BINARY (16 bits), at one sample rate. Left aside are status channels, time stamps,
/// skews, and the transformer ratios with their mark of primary or secondary values. Missing samples are NaNs.
std::unique_ptr<Recording> openComtrade(const std::string& file, const InputOptions& options);

}  // namespace kxrecordings
