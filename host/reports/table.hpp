#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace kxhost {

/// A figure in a table, with that many digits or allDigits; `none` where it does not exist.
std::string cell(std::optional<double> number, int digits, const std::string& none = "-");

/// Rows of text, printed as aligned columns for people or as CSV for programs.
class Table {
public:
  /// Of numbers, aligned to the right.
  struct Column {
    std::string title;
    bool isText = false;

    Column(std::string columnTitle) : title(std::move(columnTitle)) {}  // NOLINT(google-explicit-constructor)
    Column(const char* columnTitle) : title(columnTitle) {}             // NOLINT(google-explicit-constructor)
  };

  /// A column of text, aligned to the left.
  static Column text(std::string title);

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
