// The numbers of a text table's rows.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "functions/result.hpp"
#include "recordings/text_dialect.hpp"

namespace kxrecordings {

class TextRows {
public:
  /// @param table    outlives the rows.
  /// @param columns  of the table, whose numbers are read, in this order.
  TextRows(const TextTable& table, std::vector<size_t> columns);

  /// Reads the columns' numbers of a row; missing ones are NaNs. What is wrong is told without the line.
  kxcalc::Result<> read(std::string_view line, std::span<double> values);

  /// One field of a row as it stands there, without quotes; nothing if the row has none. It stays until the next call.
  std::optional<std::string_view> field(std::string_view line, size_t column);

private:
  /// The usual row: numbers where they are wanted, no quotes, each field there. False if the row is of another kind.
  bool readUsual(std::string_view line, std::span<double> values);
  kxcalc::Result<> readAny(std::string_view line, std::span<double> values);
  std::optional<double> numberOf(std::string_view field);

  const TextTable* table_;
  std::vector<size_t> columns_;
  size_t needed_;                // fields up to the last one that is wanted
  std::vector<uint8_t> wanted_;  // for each of these
  bool isInOrder_;               // the columns come as in the file, each once
  std::optional<char> decimalMark_;
  std::vector<double> row_;  // of the fields needed
  std::string line_;
  std::vector<std::string_view> fields_;
};

}  // namespace kxrecordings
