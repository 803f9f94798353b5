#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace kxhost {

/// Rows of text, printed as aligned columns for people or as CSV for programs.
class Table {
public:
  struct Column {
    std::string title;
    bool isNumeric;  ///< aligned to the right
  };

  explicit Table(std::vector<Column> columns);

  /// @param cells  one for each column.
  void add(std::vector<std::string> cells);

  void print(std::ostream& out) const;
  void printCsv(std::ostream& out) const;

private:
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace kxhost
