// The sections of a COMTRADE recording in one file (.cff).
#pragma once

#include <optional>

#include "recordings/comtrade_configuration.hpp"

namespace kxrecordings {

struct ComtradeSections {
  struct Section {
    ByteRange range;
    uint64_t linesBefore;  ///< in the file
  };

  Section configuration, data;
  std::optional<ComtradeType> type;  ///< of the data, where their separator tells
};

/// Finds them by their separators: "--- file type: CFG ---", "--- file type: DAT BINARY: 702 ---" and so on, in any letter
/// case.
Result<ComtradeSections> findComtradeSections(ByteSource& source);

}  // namespace kxrecordings
