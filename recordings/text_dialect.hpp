// How a text file writes its table, told from its first lines. Pure functions over text.
//
// Comments     Lines that begin with #, % or // are none of the table, and neither are blank ones.
// Separator    The first of tab, semicolon, comma and blanks that cuts the first row of samples into two fields or more, and the row
//              below or above it into as many. Where blanks cut the first row into numbers that have a comma between digits, and
//              where a single name stands above a single such number, commas are decimal marks. A table that nothing cuts has one
//              column. Blanks count once however many there are; each other separator begins a field.
// Fields       may stand in double quotes, with those within them doubled. What is behind a row's last separator counts as a field only if
//              something is there in the row or above it.
// Decimal mark The comma if a number of the first lines has one, else the point if one has that; told by a later line otherwise.
// First row    The first line with a number, below which every line has numbers in the same columns and above which none has; not the
//              file's first one where it has a text above numbers alone. What lines
//              above the names hold, as some instruments write, is left out with a note.
// Names        The line above the first row; if it holds units alone and there is one above it, that one. Without any, the last
//              comment above the first row if it has as many fields, else the columns' numbers.
// Samples      Empty fields and those that say so (NaN, NA, N/A, null) are missing samples.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "functions/result.hpp"

namespace kxrecordings {

using kxcalc::Problem;
using kxcalc::Result;

struct TextLine {
  std::string text;
  uint64_t number;  ///< from 1
  uint64_t offset;  ///< of its first byte in the source
};

struct TextColumn {
  std::string name;      ///< as the file has it; empty if it has none
  std::string unit;      ///< from a row of units; empty if it tells none
  bool isText = false;   ///< texts, and no number, in the first lines
  bool isEmpty = false;  ///< neither a name nor anything in the first lines

  /// With the unit behind it as "U [V]"; the column's number, from 1, in place of a name.
  std::string title(size_t index) const;
};

/// A table of columns that the file has, and where its samples begin.
struct TextTable {
  char separator = ',';             ///< ' ' for blanks
  std::optional<char> decimalMark;  ///< nothing while no line has told
  bool hasNames = false;
  std::vector<TextColumn> columns;
  size_t firstRow = 0;             ///< of the lines
  std::vector<std::string> notes;  ///< about what is left out
};

/// A line that is no row wherever it stands: a comment, or blank. A line of tabs is a row where they separate.
bool isBesideTable(std::string_view line, char separator = ' ');

/// Whether a field says that its sample is missing.
bool isMissing(std::string_view field);

/// @param lines        the first ones of the file.
/// @param decimalMark  '.' or ',' where the user says so.
Result<TextTable> tableOf(std::span<const TextLine> lines, std::optional<char> decimalMark);

}  // namespace kxrecordings
