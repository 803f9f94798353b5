#include "recordings/text_rows.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "recordings/decimal_numbers.hpp"
#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

std::string fieldsText(size_t count) {
  return std::to_string(count) + (count == 1 ? " field" : " fields");
}

}  // namespace

TextRows::TextRows(const TextTable& table, std::vector<size_t> columns)
    : table_(&table),
      columns_(std::move(columns)),
      needed_(columns_.empty() ? 0 : *std::ranges::max_element(columns_) + 1),
      wanted_(needed_),
      isInOrder_(std::ranges::adjacent_find(columns_, std::ranges::greater_equal()) == columns_.end()),
      decimalMark_(table.decimalMark),
      row_(needed_) {
  for (const size_t column : columns_) {
    wanted_[column] = 1;
  }
}

Result<> TextRows::read(std::string_view line, std::span<double> values) {
  if (readUsual(line, values)) {
    return kxcalc::Done{};
  }
  return readAny(line, values);
}

bool TextRows::readUsual(std::string_view line, std::span<double> values) {
  const char separator = table_->separator, mark = decimalMark_.value_or('.');
  const bool isBlank = separator == ' ';
  const char *at = line.data(), *const end = at + line.size();
  const auto skipBlanks = [&] {
    while (at != end && (*at == ' ' || (*at == '\t' && separator != '\t'))) {
      ++at;
    }
  };
  const size_t fields = table_->columns.size();
  double* value = isInOrder_ ? values.data() : row_.data();
  for (size_t field = 0; field < fields; ++field) {
    skipBlanks();
    if (field < needed_ && wanted_[field] != 0) {
      const char* const begin = at;
      const NumberAt number = numberAt(begin, end, mark);
      if (number.end == begin) {
        return false;
      }
      at = number.end;
      if (!decimalMark_ && std::find(begin, at, '.') != at) {
        decimalMark_ = '.';
      }
      *value++ = number.value;
    } else {
      const char* const begin = at;
      while (at != end && *at != separator && !(isBlank && *at == '\t')) {
        if (*at == '"') {
          return false;
        }
        ++at;
      }
      if (at == begin ? isBlank : table_->columns[field].isEmpty) {
        return false;
      }
      value += isInOrder_ || field >= needed_ ? 0 : 1;
    }
    const char* const behind = at;
    skipBlanks();
    if (field + 1 == fields) {
      break;
    }
    if (isBlank ? at == behind : at == end || *at != separator) {
      return false;
    }
    at += isBlank ? 0 : 1;
  }
  if (at != end) {
    return false;
  }
  if (!isInOrder_) {
    for (size_t i = 0; i < columns_.size(); ++i) {
      values[i] = row_[columns_[i]];
    }
  }
  return true;
}

Result<> TextRows::readAny(std::string_view line, std::span<double> values) {
  line_ = line;
  if (!splitQuotedFields(line_, table_->separator, fields_)) {
    return Problem{"a quote is not closed"};
  }
  const size_t wanted = table_->columns.size();
  if (fields_.size() == wanted + 1 && fields_.back().empty()) {
    fields_.pop_back();
  }
  if (fields_.size() != wanted) {
    return Problem{"has " + fieldsText(fields_.size()) + ", " +
                   (table_->hasNames ? "the header row has " : "the first row has ") + std::to_string(wanted)};
  }
  for (size_t i = 0; i < wanted; ++i) {
    if (table_->columns[i].isEmpty && !fields_[i].empty()) {
      return Problem{"column " + std::to_string(i + 1) +
                     ": has something in it where the first lines have nothing: " + quoteOf(fields_[i])};
    }
  }
  for (size_t i = 0; i < columns_.size(); ++i) {
    const std::string_view field = fields_[columns_[i]];
    const auto number = isMissing(field) ? std::optional(std::numeric_limits<double>::quiet_NaN()) : numberOf(field);
    if (!number) {
      const bool isOtherMark = decimalMark_ == '.' && numberIn(field, ',');
      return Problem{"column " + quoteOf(table_->columns[columns_[i]].title(columns_[i])) +
                     ": not a number: " + quoteOf(field) + (isOtherMark ? " (--decimal , takes decimal commas)" : "")};
    }
    values[i] = *number;
  }
  return kxcalc::Done{};
}

/// The first number with a decimal mark tells which one it is.
std::optional<double> TextRows::numberOf(std::string_view field) {
  for (const char mark : {'.', ','}) {
    if (const auto number = decimalMark_.value_or(mark) == mark ? numberIn(field, mark) : std::nullopt) {
      if (field.find(mark) != std::string_view::npos) {
        decimalMark_ = mark;
      }
      return number;
    }
  }
  return std::nullopt;
}

std::optional<std::string_view> TextRows::field(std::string_view line, size_t column) {
  if (column == 0 && table_->separator != ' ' && line.find('"') == std::string_view::npos) {
    return trimmed(line.substr(0, line.find(table_->separator)));
  }
  line_ = line;
  const bool isCut = splitQuotedFields(line_, table_->separator, fields_);
  return isCut && column < fields_.size() ? std::optional(fields_[column]) : std::nullopt;
}

}  // namespace kxrecordings
