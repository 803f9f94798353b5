// The records of a COMTRADE recording, one a sample of all channels: a .dat file or that section of a .cff file.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "recordings/comtrade_configuration.hpp"

namespace kxrecordings {

class ComtradeRecords {
public:
  virtual ~ComtradeRecords() = default;

  /// What stands in a record beside the values, where it does.
  struct Mark {
    std::optional<double> number, stamp;
  };

  /// Makes the record after that many others the next one.
  virtual Result<> goTo(uint64_t record) = 0;

  /// Reads the next record: the values of the analog channels, then those of as many status channels as there is room
  /// for, 0 or 1. Values that are missing, and such that are no finite numbers, are NaNs. False at the end, which may come
  /// one record before or after the announced one; where it does not, that is a problem.
  virtual Result<bool> next(std::span<double> values) = 0;

  /// Of the record that was read last.
  const Mark& mark() const { return mark_; }

  /// Where that record stands, for sentences: "line 7" or "record 7".
  virtual std::string where() const = 0;

  /// What is odd about the records that have been read, a sentence each.
  const std::vector<std::string>& notes() const { return notes_; }

protected:
  void noteOnce(const std::string& note);

  Mark mark_;
  std::vector<std::string> notes_;
};

/// What a part of a source holds.
/// @param source, configuration  outlive the records.
/// @param linesBefore            lines before the range in the source, as far as it is text.
Result<std::unique_ptr<ComtradeRecords>> openComtradeRecords(ByteSource& source, ByteRange range, uint64_t linesBefore,
                                                             const ComtradeConfiguration& configuration);

}  // namespace kxrecordings
