// What the first lines of a text tell about its table.
#include "recordings/text_dialect.hpp"

#include <utility>

#include "recordings/files.hpp"

namespace kxrecordings_test {
namespace {

std::vector<TextLine> linesOf(const std::string& text) {
  std::vector<TextLine> lines;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back({text.substr(begin, end - begin), lines.size() + 1, begin});
    begin = end + 1;
  }
  return lines;
}

/// Separator, decimal mark ('?' if not told), number of the first row's line, and the columns' titles.
std::string tableIn(const std::string& text, std::optional<char> mark = std::nullopt) {
  const auto lines = linesOf(text);
  const auto table = tableOf(lines, mark);
  if (!table) {
    return table.problem();
  }
  std::string told{table->separator, table->decimalMark.value_or('?')};
  told += std::to_string(lines[table->firstRow].number);
  for (size_t i = 0; i < table->columns.size(); ++i) {
    told += '|' + table->columns[i].title(i);
    told += table->columns[i].isText ? "(text)" : table->columns[i].isEmpty ? "(empty)" : "";
  }
  for (const std::string& note : table->notes) {
    told += "; " + note;
  }
  return told;
}

TEST(TextDialect, TheSeparatorCutsRowsAlike) {
  EXPECT_EQ(tableIn("a,b\n1,2\n"), ",.2|a|b");
  EXPECT_EQ(tableIn("a;b,x;c\n1;2;3\n"), ";?2|a|b,x|c");
  EXPECT_EQ(tableIn("a\tb;x\tc\n1\t2\t3\n"), "\t?2|a|b;x|c");
  EXPECT_EQ(tableIn("a b c\n 1  2\t3\n4 5 6\n"), " ?2|a|b|c");
  EXPECT_EQ(tableIn("  1  2\n -3  4\n"), " ?1|1|2");
  EXPECT_EQ(tableIn("a\n1\n2\n"), "\t?2|a");
  EXPECT_EQ(tableIn("a, b\n1, 2.5\n3, 4\n"), ",.2|a|b");
  EXPECT_EQ(tableIn("1,2\n"), ",.1|1|2; its commas are taken for separators; --decimal , takes them for decimal marks");
  EXPECT_EQ(tableIn("1,2\n", '.'), ",.1|1|2");
  EXPECT_EQ(tableIn("time,u (V; peak)\n1,2\n3,4\n"), ",.2|time|u (V; peak)");
  EXPECT_EQ(tableIn("\"a;b\";c\n1;2\n"), ";?2|a;b|c");
  EXPECT_EQ(tableIn("2024-01-02 10:00:00;1\n2024-01-02 10:00:01;2\n"), ";?1|1(text)|2");
}

TEST(TextDialect, CommasAreDecimalMarksWhereTheyCannotSeparate) {
  EXPECT_EQ(tableIn("t;u\n0,5;1\n"), ";,2|t|u");
  EXPECT_EQ(tableIn("t\tu\n0\t1,5\n"), "\t,2|t|u");
  EXPECT_EQ(tableIn("t u\n0,001 1,5\n0,002 -2,5e3\n"), " ,2|t|u");
  EXPECT_EQ(tableIn("0,001 1,5\n0,002 2,5\n"), " ,1|1|2");
  EXPECT_EQ(tableIn("u\n1,5\n2,5\n"), "\t,2|u");
  EXPECT_EQ(tableIn("1,5\n2,5\n", ','), "\t,1|1");
  EXPECT_EQ(tableIn("t;u\n0;1\n1;0.5\n"), ";.2|t|u");
  EXPECT_EQ(tableIn("t;u\n0;1\n"), ";?2|t|u");
  EXPECT_EQ(tableIn("t;u\n0;1,5\n", '.'), ";.2|t|u(text)");
}

TEST(TextDialect, NamesStandAboveTheFirstRow) {
  EXPECT_EQ(tableIn("1;2\n3;4\n"), ";?1|1|2");
  EXPECT_EQ(tableIn("1,b\n3,4\n"), ",.2|1|b");
  EXPECT_EQ(tableIn("time,u\nnoon,1\nlater,2\n"), ",.2|time(text)|u");
  EXPECT_EQ(tableIn("a;b\ns;V\n1;2\n"), ";?3|a [s]|b [V]");
  EXPECT_EQ(tableIn("a;b [mV]\n[ms];(V)\n1;2\n"), ";?3|a [ms]|b [mV]");
  EXPECT_EQ(tableIn("x,y\nSecond,Volt\n0,1\n"), ",.3|x [Second]|y [Volt]");
  EXPECT_EQ(tableIn("a;b;c\n;-;V\n1;2;3\n"), ";?3|a|b|c [V]");
  EXPECT_EQ(tableIn("s;V\n1;2\n"), ";?2|s|V");
  EXPECT_EQ(tableIn("# measured\n# t u\n1 2\n3 4\n"), " ?3|t|u");
  EXPECT_EQ(tableIn("# t u\n# s V\n1 2\n3 4\n"), " ?3|t [s]|u [V]");
  EXPECT_EQ(tableIn("# 2024 1\n1 2\n3 4\n"), " ?2|1|2");
  EXPECT_EQ(tableIn("% one comment of words\n// another\n1;2\n"), ";?3|1|2");
}

TEST(TextDialect, LinesAboveTheNamesAreLeftOutWithANote) {
  EXPECT_EQ(tableIn("Model,X1\nRecord Length,100\nSample Interval,4e-10\nTIME,CH1\n0,1.5\n1,2\n"),
            ",.5|TIME|CH1; lines 1 to 3 stand above the table and are left out");
  EXPECT_EQ(tableIn("A measurement\n\na;b\n1;2\n"),
            ";?4|a|b; line 1, A measurement, stands above the table and is left out");
  EXPECT_EQ(tableIn("Time (s) U (V)\n1 2\n3 4\n"),
            " ?2|1|2; line 1, Time (s) U (V), stands above the table and is left out");
  EXPECT_EQ(tableIn("a,b\n1,2,3\n4,5,6\n"), "line 2 has 3 fields, the header row has 2");
}

TEST(TextDialect, RowsThatDamageDoesNotHideAreRows) {
  // A row is never taken for a line above the table, whatever stands below it.
  EXPECT_EQ(tableIn("a,b\n1,2\n3,x\n"), ",.2|a|b");
  EXPECT_EQ(tableIn("a,b\n1,2\nx,3\n4,5\n"), ",.2|a|b");
  EXPECT_EQ(tableIn("a,b\n1,2\n3\n"), ",.2|a|b");
  EXPECT_EQ(tableIn("a,b\n,\nNaN,n/a\n1,2\n"), ",.2|a|b");
  EXPECT_EQ(tableIn("a,b\n,2\n1,\n"), ",.2|a|b");
  EXPECT_EQ(tableIn("a,b\nnan,nan\n,nan\n"), ",.2|a|b");
  EXPECT_EQ(tableIn("a;b;\n1;2;\n"), ";?2|a|b|3(empty)");
  EXPECT_EQ(tableIn("a;b\n1;2;\n3;4;\n"), ";?2|a|b");
  EXPECT_EQ(tableIn("a;b;\n1;2\n3;4\n"), ";?2|a|b");
}

TEST(TextDialect, WhatIsNoTableIsRefused) {
  EXPECT_EQ(tableIn(""), "is empty: it holds no rows");
  EXPECT_EQ(tableIn("\n \r\n# a\n\x1A"), "is empty: it holds no rows");
  EXPECT_EQ(tableIn("a,b\n"), "holds a header row alone, and no rows of numbers");
  EXPECT_EQ(tableIn("a,b\nx,y\n"), "no column holds numbers");
  EXPECT_EQ(tableIn("a,b\n1,\"2\n"), "line 2: a quote is not closed");
  EXPECT_EQ(tableIn(std::string(65536, ';') + "1\n"), "has 65537 columns, at most 65536 are read");
}

TEST(TextDialect, CommentsAndMissingSamples) {
  EXPECT_TRUE(isBesideTable("") && isBesideTable(" \t\r") && isBesideTable(" # a") && isBesideTable("%") &&
              isBesideTable("// 1"));
  EXPECT_FALSE(isBesideTable("/ 1") || isBesideTable("1 # 2") || isBesideTable("\t\t", '\t') ||
               isBesideTable("\x1A 1"));
  for (const char* const word : {"", "nan", "NaN", "-nan", "NA", "n/a", "#N/A", "null", "1.#QNAN", "-1.#IND"}) {
    EXPECT_TRUE(isMissing(word)) << word;
  }
  EXPECT_FALSE(isMissing("none") || isMissing("0") || isMissing("nano") || isMissing("not a number"));
}

}  // namespace
}  // namespace kxrecordings_test
