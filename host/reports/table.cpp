#include "host/reports/table.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "analysis/number_text.hpp"
#include "host/reports/floors.hpp"

namespace kxhost {
namespace {

/// Characters in UTF-8 text.
size_t width(const std::string& text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string csvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string field = "\"";
  for (const char c : text) {
    field += c == '"' ? "\"\"" : std::string(1, c);
  }
  return field + '"';
}

}  // namespace

std::string cell(std::optional<double> number, int digits, const std::string& none) {
  return number ? numberText(*number, digits) : none;
}

Table::Column Table::text(std::string title) {
  Column column(std::move(title));
  column.isText = true;
  return column;
}

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {
  std::vector<std::string> titles;
  for (const Column& column : columns_) {
    titles.push_back(column.title);
  }
  rows_.push_back(std::move(titles));
}

void Table::add(std::vector<std::string> cells) {
  rows_.push_back(std::move(cells));
}

void Table::print(std::ostream& out) const {
  std::vector<size_t> widths(columns_.size());
  for (const auto& row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], width(row[i]));
    }
  }
  for (const auto& row : rows_) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string padding(widths[i] - width(row[i]), ' ');
      line += (i > 0 ? "  " : "") + (columns_[i].isText ? row[i] + padding : padding + row[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
}

void Table::printCsv(std::ostream& out) const {
  for (const auto& row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) {
      out << (i > 0 ? "," : "") << csvField(row[i]);
    }
    out << '\n';
  }
}

}  // namespace kxhost
