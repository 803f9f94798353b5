#include "recordings/text_dialect.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "recordings/channel_units.hpp"
#include "recordings/text_fields.hpp"

namespace kxrecordings {
namespace {

constexpr size_t mostColumns = 65536;
constexpr std::array<char, 4> separators{'\t', ';', ',', ' '};

/// What a field holds. One that may be a number with a point and one with a comma is whole.
enum class Kind { missing, whole, point, comma, text };

bool isNumber(Kind kind) {
  return kind == Kind::whole || kind == Kind::point || kind == Kind::comma;
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// A number with a comma that has digits on both sides, as no separator has.
bool hasDecimalComma(std::string_view field) {
  const size_t comma = field.find(',');
  return comma != std::string_view::npos && comma > 0 && comma + 1 < field.size() && isDigit(field[comma - 1]) &&
         isDigit(field[comma + 1]) && numberIn(field, ',');
}

Kind kindOf(std::string_view field, std::optional<char> decimalMark) {
  if (isMissing(field)) {
    return Kind::missing;
  }
  const bool isPoint = decimalMark != ',' && numberIn(field, '.');
  const bool isComma = decimalMark != '.' && numberIn(field, ',');
  if (isPoint && (isComma || field.find('.') == std::string_view::npos)) {
    return Kind::whole;
  }
  if (isPoint) {
    return Kind::point;
  }
  return !isComma ? Kind::text : field.find(',') == std::string_view::npos ? Kind::whole : Kind::comma;
}

/// A line in the cut of one separator.
struct CutLine {
  size_t index;  // of the lines
  std::vector<std::string> fields;
  std::vector<Kind> kinds;
  bool isOpen = false;  // a quote does not close

  size_t size() const { return fields.size(); }

  bool hasNumberIn(size_t column) const { return column < kinds.size() && isNumber(kinds[column]); }
  bool isMissingIn(size_t column) const { return column < kinds.size() && kinds[column] == Kind::missing; }
  bool hasNumber() const { return std::ranges::any_of(kinds, isNumber); }
  bool isAllMissing() const {
    return std::ranges::all_of(kinds, [](Kind kind) { return kind == Kind::missing; });
  }

  /// In words: empty fields alone may be anything.
  bool saysAllMissing() const {
    return isAllMissing() && std::ranges::any_of(fields, [](const std::string& field) { return !field.empty(); });
  }

  /// Numbers wherever another line has them.
  bool covers(const CutLine& other) const {
    for (size_t i = 0; i < other.size(); ++i) {
      if (other.hasNumberIn(i) && !hasNumberIn(i)) {
        return false;
      }
    }
    return true;
  }

  /// The same, or nothing there.
  bool goesOn(const CutLine& other) const {
    for (size_t i = 0; i < other.size(); ++i) {
      if (other.hasNumberIn(i) && !hasNumberIn(i) && !isMissingIn(i)) {
        return false;
      }
    }
    return true;
  }
};

/// As many fields, but for an empty one behind the last separator.
bool isAsLong(const CutLine& one, const CutLine& other) {
  const CutLine &shorter = one.size() < other.size() ? one : other, &longer = one.size() < other.size() ? other : one;
  return shorter.size() == longer.size() || (shorter.size() + 1 == longer.size() && longer.fields.back().empty());
}

using Cut = std::vector<CutLine>;

/// All lines but comments and blank ones; a line whose quotes do not close is one field.
Cut cutLines(std::span<const TextLine> lines, char separator, std::optional<char> decimalMark) {
  Cut cut;
  std::vector<std::string_view> fields;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (isBesideTable(lines[i].text, separator)) {
      continue;
    }
    std::string text = lines[i].text;
    CutLine line{i, {}, {}, false};
    if (splitQuotedFields(text, separator, fields)) {
      line.fields.assign(fields.begin(), fields.end());
    } else {
      line.fields.push_back(lines[i].text);
      line.isOpen = true;
    }
    for (const std::string& field : line.fields) {
      line.kinds.push_back(kindOf(field, decimalMark));
    }
    cut.push_back(std::move(line));
  }
  return cut;
}

/// Whether the file's first line has a text above numbers alone: a name beside others that are numbers.
bool hasName(const Cut& cut) {
  for (size_t i = 0; i < cut[0].size() && cut.size() > 1; ++i) {
    if (cut[0].kinds[i] == Kind::text &&
        std::all_of(cut.begin() + 1, cut.end(), [&](const CutLine& line) { return line.hasNumberIn(i); })) {
      return true;
    }
  }
  return false;
}

bool beginsRows(const Cut& cut, size_t at) {
  const CutLine& first = cut[at];
  const auto below = cut.begin() + static_cast<std::ptrdiff_t>(at);
  return !(at == 0 && hasName(cut)) && first.hasNumber() &&
         std::all_of(below, cut.end(), [&](const CutLine& line) { return line.goesOn(first); }) &&
         std::none_of(cut.begin(), below, [&](const CutLine& line) { return line.covers(first); });
}

/// The first row of samples; nothing where no line has a number or says that all are missing. A row that misses all samples is one, too.
std::optional<size_t> firstRowOf(const Cut& cut) {
  size_t first = 0;
  while (first < cut.size() && !beginsRows(cut, first)) {
    ++first;
  }
  if (first == cut.size()) {
    auto any = std::ranges::find_if(cut, &CutLine::hasNumber);
    if (any == cut.end()) {
      any = std::ranges::find_if(cut, &CutLine::saysAllMissing);
    }
    if (any == cut.end()) {
      return std::nullopt;
    }
    first = static_cast<size_t>(any - cut.begin());
  }
  while (first > 0 && cut[first - 1].size() == cut[first].size() && cut[first - 1].isAllMissing()) {
    --first;
  }
  return first;
}

bool isCutBy(const Cut& cut, size_t first) {
  const bool isBelow = first + 1 < cut.size() && isAsLong(cut[first], cut[first + 1]);
  const bool isAbove = first > 0 && isAsLong(cut[first - 1], cut[first]);
  return cut[first].size() > 1 && (isBelow || isAbove || cut.size() == 1);
}

/// Whether the commas of lines that nothing but commas and blanks can cut are decimal marks.
bool areCommasDecimal(std::span<const TextLine> lines) {
  const Cut cut = cutLines(lines, ' ', std::nullopt);
  const auto row = std::ranges::find_if(cut, [](const CutLine& line) {
    return std::ranges::all_of(line.fields, [](std::string_view field) { return numberIn(field, ',').has_value(); });
  });
  if (row == cut.end()) {
    return false;
  }
  const bool isAll = std::ranges::all_of(row->fields, [](std::string_view field) {
    return hasDecimalComma(field) || field.find(',') == std::string_view::npos;
  });
  const bool isAny = std::ranges::any_of(row->fields, hasDecimalComma);
  const bool isNamed = row != cut.begin() && lines[(row - 1)->index].text.find(',') == std::string::npos;
  return isAll && isAny && (row->size() > 1 || isNamed);
}

struct Chosen {
  char separator;
  Cut cut;
  std::optional<size_t> firstRow;
};

Chosen chooseSeparator(std::span<const TextLine> lines, std::optional<char> decimalMark) {
  const bool mayCommasSeparate = decimalMark != ',' && !areCommasDecimal(lines);
  std::optional<Chosen> most;
  for (const char separator : separators) {
    if (separator == ',' && !mayCommasSeparate) {
      continue;
    }
    const auto mark = separator == ',' && !decimalMark ? std::optional('.') : decimalMark;
    Cut cut = cutLines(lines, separator, mark);
    const auto first = firstRowOf(cut);
    if (first && isCutBy(cut, *first)) {
      return {separator, std::move(cut), first};
    }
    const auto fields = [](const Cut& some) { return some.empty() ? 0 : some.front().size(); };
    if (separator != ' ' && (!most || fields(cut) > fields(most->cut))) {
      most = Chosen{separator, std::move(cut), first};
    }
  }
  return std::move(*most);
}

constexpr std::array<std::string_view, 56> knownUnits{
    "s",       "ms",  "us",   "\xC2\xB5s", "\xCE\xBCs", "\xB5s", "ns",    "min", "h",    "sec", "second", "seconds",
    "V",       "mV",  "kV",   "uV",        "MV",        "volt",  "volts", "A",   "mA",   "kA",  "uA",     "ampere",
    "amps",    "W",   "kW",   "MW",        "VA",        "kVA",   "var",   "Hz",  "kHz",  "MHz", "rpm",    "deg",
    "degrees", "bar", "mbar", "Pa",        "kPa",       "MPa",   "psi",   "C",   "degC", "K",   "N",      "kN",
    "Nm",      "m",   "mm",   "m/s",       "g",         "m/s2",  "%",     "Ohm"};

/// The unit that a field holds, without its brackets; nothing if it is none.
std::optional<std::string_view> unitIn(std::string_view field) {
  const bool isBracketed = field.size() > 1 && ((field.front() == '[' && field.back() == ']') ||
                                                (field.front() == '(' && field.back() == ')'));
  if (isBracketed) {
    return trimmed(field.substr(1, field.size() - 2));
  }
  const std::string upper = upperCase(field);
  const bool isKnown = std::ranges::any_of(knownUnits, [&](std::string_view unit) {
    return unit == field || (unit.size() > 3 && upperCase(unit) == upper);
  });
  if (isKnown) {
    return field;
  }
  return field.empty() || field == "-" || field == "1" ? std::optional<std::string_view>("") : std::nullopt;
}

/// Units alone, and one at least.
bool isUnits(const std::vector<std::string>& fields) {
  bool isAny = false;
  for (const std::string& field : fields) {
    const auto unit = unitIn(field);
    if (!unit) {
      return false;
    }
    isAny = isAny || !unit->empty();
  }
  return isAny;
}

void takeNames(TextTable& table, const std::vector<std::string>& names) {
  table.hasNames = true;
  for (size_t i = 0; i < std::min(names.size(), table.columns.size()); ++i) {
    table.columns[i].name = names[i];
  }
}

void takeUnits(TextTable& table, const std::vector<std::string>& units) {
  for (size_t i = 0; i < std::min(units.size(), table.columns.size()); ++i) {
    table.columns[i].unit = unitIn(units[i]).value_or("");
  }
}

std::string linesText(const TextLine& first, const TextLine& last) {
  const std::string from = std::to_string(first.number);
  return first.number == last.number
             ? "line " + from + ", " + quoteOf(trimmed(first.text)) + ", stands above the table and is left out"
             : "lines " + from + " to " + std::to_string(last.number) + " stand above the table and are left out";
}

/// Names and units out of the lines above the first row.
Result<TextTable> withLinesAbove(TextTable table, std::span<const TextLine> lines, const Cut& cut, size_t first) {
  size_t above = first;  // lines that are not taken yet
  if (above > 1 && isUnits(cut[above - 1].fields) && isAsLong(cut[above - 1], cut[first]) &&
      isAsLong(cut[above - 2], cut[first])) {
    takeUnits(table, cut[--above].fields);
  }
  if (above > 0) {
    const CutLine& names = cut[above - 1];
    if (isAsLong(names, cut[first])) {
      takeNames(table, names.fields);
      --above;
    } else if (names.size() > 1 && table.separator != ' ') {
      return Problem{"line " + std::to_string(lines[cut[first].index].number) + " has " +
                     std::to_string(cut[first].size()) + " fields, the header row has " + std::to_string(names.size())};
    }
  }
  if (above > 0) {
    table.notes.push_back(linesText(lines[cut[0].index], lines[cut[above - 1].index]));
  }
  return table;
}

/// Without the mark of a comment.
std::string uncommented(std::string_view line) {
  line = trimmed(line);
  const size_t text = line.find_first_not_of("#%/");
  return std::string(text == std::string_view::npos ? "" : line.substr(text));
}

/// The last comment above the first row, and the one above it if that one holds units.
void takeNamesOfComments(TextTable& table, std::span<const TextLine> lines, size_t firstRow) {
  std::vector<std::string_view> fields;
  bool hasUnits = false;
  for (size_t i = firstRow; i > 0; --i) {
    std::string text = uncommented(lines[i - 1].text);
    if (trimmed(text).empty()) {
      continue;
    }
    if (!splitQuotedFields(text, table.separator, fields) || fields.size() != table.columns.size()) {
      return;
    }
    const std::vector<std::string> names(fields.begin(), fields.end());
    if (!hasUnits && isUnits(names)) {
      takeUnits(table, names);
      hasUnits = true;
      continue;
    }
    if (std::ranges::none_of(names, [](const std::string& name) { return isNumber(kindOf(name, std::nullopt)); })) {
      takeNames(table, names);
    }
    return;
  }
}

void describeColumns(TextTable& table, const Cut& cut, size_t first) {
  for (size_t column = 0; column < table.columns.size(); ++column) {
    bool hasNumber = false, hasText = false;
    for (size_t i = first; i < cut.size(); ++i) {
      hasNumber = hasNumber || cut[i].hasNumberIn(column);
      hasText = hasText || (column < cut[i].size() && cut[i].kinds[column] == Kind::text);
    }
    table.columns[column].isText = hasText && !hasNumber;
    table.columns[column].isEmpty = !hasText && !hasNumber && table.columns[column].name.empty();
  }
}

std::optional<char> decimalMarkOf(const Cut& cut, size_t first) {
  std::optional<char> mark;
  for (size_t i = first; i < cut.size(); ++i) {
    for (const Kind kind : cut[i].kinds) {
      if (kind == Kind::comma) {
        return ',';
      }
      mark = kind == Kind::point ? '.' : mark;
    }
  }
  return mark;
}

/// Two columns of whole numbers without names and with commas between may be one column of others.
bool isAmbiguous(const TextTable& table, const Cut& cut) {
  return table.separator == ',' && !table.hasNames && table.columns.size() == 2 &&
         std::ranges::all_of(cut, [](const CutLine& line) {
           return std::ranges::all_of(line.fields, [](std::string_view field) {
             return !field.empty() && field.find_first_not_of("+-0123456789") == std::string_view::npos;
           });
         });
}

}  // namespace

std::string TextColumn::title(size_t index) const {
  const std::string base = name.empty() ? std::to_string(index + 1) : name;
  return unit.empty() || !splitUnit(base).unit.empty() ? base : base + " [" + unit + "]";
}

bool isBesideTable(std::string_view line, char separator) {
  const size_t text = line.find_first_not_of(separator == '\t' ? " \r" : " \t\r");
  if (text == std::string_view::npos) {
    return true;
  }
  const char first = line[text];
  const bool isEndMark = first == '\x1A' && text + 1 == line.size();  // ends the text files of older systems
  return first == '#' || first == '%' || (first == '/' && line.substr(text).starts_with("//")) || isEndMark;
}

bool isMissing(std::string_view field) {
  constexpr std::array<std::string_view, 9> words{"NAN",  "-NAN", "+NAN",    "NA",     "N/A",
                                                  "#N/A", "NULL", "1.#QNAN", "-1.#IND"};
  constexpr size_t longest = 7;
  return field.empty() || (field.size() <= longest && std::ranges::find(words, upperCase(field)) != words.end());
}

Result<TextTable> tableOf(std::span<const TextLine> lines, std::optional<char> decimalMark) {
  const auto [separator, cut, firstRow] = chooseSeparator(lines, decimalMark);
  if (cut.empty()) {
    return Problem{"is empty: it holds no rows"};
  }
  if (!firstRow) {
    if (const auto open = std::ranges::find_if(cut, &CutLine::isOpen); open != cut.end()) {
      return Problem{"line " + std::to_string(lines[open->index].number) + ": a quote is not closed"};
    }
    return Problem{cut.size() == 1 ? "holds a header row alone, and no rows of numbers" : "no column holds numbers"};
  }
  const CutLine& row = cut[*firstRow];
  const bool isLastBeyond =
      row.size() > 1 && row.fields.back().empty() && *firstRow > 0 && cut[*firstRow - 1].size() + 1 == row.size();
  if (row.size() > mostColumns) {
    return Problem{"has " + std::to_string(row.size()) + " columns, at most " + std::to_string(mostColumns) +
                   " are read"};
  }
  TextTable table;
  table.separator = separator;
  table.columns.resize(row.size() - (isLastBeyond ? 1 : 0));
  table.firstRow = row.index;
  auto complete = withLinesAbove(std::move(table), lines, cut, *firstRow);
  if (!complete) {
    return complete;
  }
  if (!complete->hasNames) {
    takeNamesOfComments(*complete, lines, row.index);
  }
  describeColumns(*complete, cut, *firstRow);
  complete->decimalMark = decimalMark ? decimalMark : separator == ',' ? '.' : decimalMarkOf(cut, *firstRow);
  if (!decimalMark && isAmbiguous(*complete, cut)) {
    complete->notes.push_back("its commas are taken for separators; --decimal , takes them for decimal marks");
  }
  return complete;
}

}  // namespace kxrecordings
