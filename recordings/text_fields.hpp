// Fields of text files: cut out, trimmed, and read as numbers at any locale.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kxrecordings {

/// Without the blanks and the line end around it.
std::string_view trimmed(std::string_view text);

/// The number that a field holds, if it is one and nothing else.
std::optional<double> numberIn(std::string_view field, char decimalMark = '.');

/// The trimmed fields of a line, which must live on.
std::vector<std::string_view> fieldsOf(std::string_view line, char separator);

/// The same in a vector that is there already.
void splitFields(std::string_view line, char separator, std::vector<std::string_view>& fields);

/// The same where fields may stand in quotes, with doubled quotes for those in them, or at the separator ' ' any run of blanks parts
/// them. False if a quote is not closed.
/// @param line  is written again in place where quotes are taken off: fields only get shorter.
bool splitQuotedFields(std::string& line, char separator, std::vector<std::string_view>& fields);

/// How a sentence quotes what a file holds, whatever that is: the first characters, without those that are not printed.
std::string quoteOf(std::string_view text);

/// ASCII letters in upper case, the rest as it is.
std::string upperCase(std::string_view text);

}  // namespace kxrecordings
