// Tables of numbers in text: channels, times, missing samples, and files that are none.
#include "recordings/text_reader.hpp"

#include <cmath>
#include <limits>

#include "recordings/files.hpp"
#include "support/hostile_texts.hpp"

namespace kxrecordings_test {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

Result<TextReader> opened(const std::string& text, const InputOptions& options = {}) {
  return TextReader::open(std::make_unique<MemoryBytes>("text", text), options);
}

struct Table {
  Names channels;
  std::optional<double> rate;
  Doubles values;
  Names notes;
  std::string problem;
};

/// Everything, read some frames at a time, and once more after rewinding.
Table tableIn(const std::string& text, const InputOptions& options = {}, size_t frames = 2) {
  auto reader = opened(text, options);
  if (!reader) {
    return {{}, {}, {}, {}, reader.problem()};
  }
  Table table{reader->format().channels, reader->format().rate, {}, {}, ""};
  for (int pass = 0; pass < 2; ++pass) {
    Doubles values, block(frames * table.channels.size());
    for (size_t count = frames; count == frames;) {
      const auto read = reader->read(block);
      if (!read) {
        table.problem = read.problem();
        break;
      }
      count = *read;
      values.insert(values.end(), block.begin(),
                    block.begin() + static_cast<std::ptrdiff_t>(count * table.channels.size()));
    }
    if (pass == 1) {
      EXPECT_EQ(values.size(), table.values.size());
    }
    table.values = values;
    reader->rewind();
  }
  table.notes = reader->notes();
  return table;
}

void expectValues(const Doubles& found, const Doubles& expected) {
  ASSERT_EQ(found.size(), expected.size());
  for (size_t i = 0; i < found.size(); ++i) {
    EXPECT_TRUE(found[i] == expected[i] || (std::isnan(found[i]) && std::isnan(expected[i]))) << i << ": " << found[i];
  }
}

TEST(TextReader, EverySeparatorAndDecimalMarkGivesTheSameNumbers) {
  const Doubles expected{-1.5, 20, 0.25, 3e-5};
  for (const std::string text :
       {"u,i\n-1.5,20\n0.25,3e-5\n", "u;i\r\n-1,5;20\r\n0,25;3E-5\r\n", "u\ti\n-1,5\t+20\n,25\t0,3e-4",
        "u i\n -1.5  20\n.25\t3e-5 \n", "# table\nu i\n-1,5 2e1\n# between\n0,25 3e-05\n\n",
        "\xEF\xBB\xBFu;i\n\"-1,5\" ; \"20\"\n0,25;3e-5;\n", "u;i\r-1.5;20\r0.25;3e-5\r",
        "u,i,\n-1.5,20.,\n0.25,0.00003,\n", "u;i\n-1.5;2.0E+01\n0.250;3e-5\n\x1A"}) {
    for (const size_t frames : {1U, 2U, 3U}) {
      const Table table = tableIn(text, {}, frames);
      EXPECT_EQ(table.problem, "") << text;
      EXPECT_EQ(table.channels, (Names{"u", "i"})) << text;
      EXPECT_EQ(table.values, expected) << text;
      EXPECT_TRUE(table.notes.empty()) << text << table.notes.front();
      EXPECT_FALSE(table.rate);
    }
  }
}

TEST(TextReader, TheDecimalMarkMayBeToldLateOrByTheUser) {
  std::string text = "u;i\n";
  for (int i = 0; i < 5000; ++i) {
    text += "1;2\n";
  }
  Table table = tableIn(text + "1,5;2\n3;4\n");
  EXPECT_EQ(table.problem, "");
  EXPECT_EQ(table.values[10000], 1.5);
  EXPECT_EQ(tableIn(text + "1.5;2\n3;4,5\n").problem,
            "text: line 5003, column i: not a number: 4,5 (--decimal , takes decimal commas)");
  EXPECT_EQ(tableIn(text + "1,5;2\n3;4.5\n").problem, "text: line 5003, column i: not a number: 4.5");
  EXPECT_EQ(tableIn("u;i\n1;2\n1.234,5;2\n").problem, "text: line 3, column u: not a number: 1.234,5");
  InputOptions options;
  options.decimalMark = ',';
  EXPECT_EQ(tableIn("1,5\n2,5\n", options).values, (Doubles{1.5, 2.5}));
  EXPECT_EQ(tableIn("1,5\n2,5\n").values, (Doubles{1, 5, 2, 5}));
  EXPECT_EQ(tableIn("1,5\n2,5\n").notes.size(), 1U);
  EXPECT_EQ(tableIn("u;i\n1;2\n1.5;2\n", options).problem, "text: line 3, column u: not a number: 1.5");
}

TEST(TextReader, MissingSamplesAreNaNsAndCounted) {
  const std::string text = "u,i\n1,\nNaN,2\n\n,nan\n3,4\n";
  const Table table = tableIn(text, {}, 1);
  expectValues(table.values, {1, nan, nan, 2, nan, nan, 3, 4});
  EXPECT_EQ(table.notes, (Names{"2 samples of channel u are missing and taken as NaN, the first one in line 3",
                                "2 samples of channel i are missing and taken as NaN, the first one in line 2"}));
  auto reader = opened(text);
  Doubles all(8);
  ASSERT_TRUE(reader->read(all));
  EXPECT_EQ(reader->missing()[0].count, 2U);
  EXPECT_EQ(reader->missing()[1].firstLine, 2U);
  EXPECT_EQ(tableIn("u\ti\n1\t2\n\t\n3\t\n").values.size(), 6U);  // tabs alone are a row where they separate
  EXPECT_EQ(tableIn("u\ti\n1\t2\n\t\n3\t\n").notes[0], "1 sample of channel u is missing and taken as NaN, in line 3");
  std::string names = "a0", row = "1", empty;
  for (int i = 1; i < 9; ++i) {
    names += ",a" + std::to_string(i);
    row += ",1";
    empty += ",";
  }
  EXPECT_EQ(tableIn(names + "\n" + row + "\n" + empty + "\n").notes.size(), 6U);
  EXPECT_EQ(tableIn(names + "\n" + row + "\n" + empty + "\n").notes[5],
            "samples of 4 more channels are missing and taken as NaN");
}

TEST(TextReader, ColumnsOfTimesGiveTheRateAndAreNoChannels) {
  const auto expectRate = [](const std::string& text, std::optional<double> rate, const std::string& name) {
    const Table table = tableIn(text);
    EXPECT_EQ(table.problem, "") << text;
    EXPECT_EQ(table.rate, rate) << text;
    EXPECT_EQ(table.channels.size(), 1U) << text;
    ASSERT_EQ(table.notes.size(), 1U) << text;
    EXPECT_EQ(table.notes[0].substr(table.notes[0].find("column ")), "column " + name) << text;
  };
  expectRate("t,u\n0,5\n0.001,6\n0.002,7\n", 1000, "t");
  expectRate("Time [ms];u\n10;5\n10,5;6\n11;7\n", 2000, "Time [ms]");
  expectRate("time_us\tu\n0\t5\n250\t6\n", 4000, "time_us");
  expectRate("Zeit in s;u\n-0,5;5\n0;6\n", 2, "Zeit in s");
  expectRate("u,Elapsed Time (s)\n5,0\n6,0.1\n", 10, "Elapsed Time (s)");
  expectRate("x-axis,1\nsecond,Volt\n-1.0e-03,1\n-5.0e-04,2\n0,3\n5.0e-04,3\n", 2000, "x-axis [second]");
  expectRate("X,u\n0,5\n0.02,6\n0.04,7\n", 50, "X");
  expectRate("0;5\n0,02;6\n0,04;7\n", 50, "1");
  expectRate("Time_UTC,u\n2020-02-24 18:15:21.499998208,5\n2020-02-24 18:15:21.500018208,6\n", 50000, "Time_UTC");
  expectRate("when;u\n31.12.2023 23:59:59,5;5\n01.01.2024 00:00:00,0;6\n", 2, "when");
  expectRate("clock u\n23:59:59.9 5\n00:00:00.0 6\n00:00:00.1 7\n", 10, "clock");
  // Rounded stamps: a whole rate if one explains them, else the mean.
  expectRate("t,u\n0,1\n0.00033,1\n0.00067,1\n0.00100,1\n", 3000, "t");
  expectRate("t,u\n0,1\n0,1\n0,1\n0.001,1\n0.001,1\n0.001,1\n0.002,1\n", 3000, "t");
  expectRate("t,u\n0,1\n0.1001,1\n0.1999,1\n0.3,1\n", 10, "t");
  expectRate("t,u\n0,1\n10,1\n20,1\n", 0.1, "t");
  expectRate("t,u\n0,1\n3,1\n6,1\n", 1 / 3.0, "t");
  expectRate("t,u\n0,1\n0.000208,1\n", 4800, "t");
  expectRate("t,u\n0,1\n0.0204081,1\n0.0408163,1\n0.0612244,1\n", 49, "t");
  expectRate("t,u\n0,1\n0.00011,1\n0.00019,1\n0.0003,1\n", 10000, "t");
  expectRate("t,u\n0,1\n1e-05,1\n2e-05,1\n1e-04,1\n", std::nullopt,
             "t are not even, first in line 5, and tell no sample rate");
  expectRate("t,u\n0,1\n", std::nullopt, "t tell no sample rate");
  expectRate("t,u\n0,1\n0.1,1\n0.2,1\n0.4,1\n", std::nullopt,
             "t are not even, first in line 5, and tell no sample rate");
  expectRate("t,u\n0,1\n0.1,1\n,1\n0.3,1\n", std::nullopt, "t are not even, first in line 4, and tell no sample rate");
}

TEST(TextReader, TimesAreEvenOrNotOverAllOfTheFile) {
  std::string text = "t,u\n";
  for (int i = 0; i < 20000; ++i) {
    text += std::to_string(i * 1e-4 + (i >= 15000 ? 0.5 : 0)).substr(0, 6) + ",1\n";
  }
  EXPECT_EQ(tableIn(text).notes,
            Names{"the times in column t are not even, first in line 15002, and tell no sample rate"});
  text = "t,u\n";
  for (int i = 0; i < 20000;
       ++i) {  // of 4999.6 Hz in steps of 10 us: only far apart are they told from those of 5000 Hz
    text += std::to_string(std::round(i / 4999.6 * 1e5) * 1e-5).substr(0, 7) + ",1\n";
  }
  EXPECT_EQ(*tableIn(text).rate, 4999.6);
}

/// A clock that is a few parts in 100000 off, with stamps in doubles since 1970.
TEST(TextReader, ScatteredTimesTellTheRoundRate) {
  std::string text = "UTC;u\n";
  for (int i = 0; i < 8000; ++i) {
    const int nanoseconds = i * 20000 + static_cast<int>(i * 0.22) + (i % 7) * 100;
    const std::string digits = std::to_string(nanoseconds);
    text += "2020-02-24 18:15:21." + std::string(9 - digits.size(), '0') + digits + ";1\n";
  }
  EXPECT_EQ(tableIn(text).rate, 50000);
  text = "t;u\n";
  for (int i = 0; i < 1000; ++i) {
    text += std::to_string(i / 49.61 + (i % 2) * 1e-4) + ";1\n";
  }
  EXPECT_NEAR(*tableIn(text).rate, 49.61, 1e-3);
}

TEST(TextReader, OtherColumnsAreNoTimes) {
  const auto channels = [](const std::string& text) { return tableIn(text).channels.size(); };
  EXPECT_EQ(channels("angle,p\n-1,5\n-0.5,6\n0,7\n"), 2U);
  EXPECT_EQ(channels("0;5\n1;6\n2;7\n"), 2U);  // may number the rows
  EXPECT_EQ(channels("0;5\n0,3;6\n0,4;7\n"), 2U);
  EXPECT_EQ(channels("0.5;5\n1;6\n"), 2U);  // two are always even
  EXPECT_EQ(channels("T,u\n20,5\n21,6\n22,7\n"), 2U);
  EXPECT_EQ(channels("u,t\n20,5\n21,6\n22,7\n"), 2U);
  EXPECT_EQ(channels("timer,u\n20,5\n21,6\n"), 2U);
  EXPECT_EQ(channels("time,u\n20,5\n19,6\n"), 2U);  // falls
  EXPECT_EQ(channels("time [samples],u\n20,5\n21,6\n"), 2U);
  EXPECT_EQ(channels("0.1\n0.2\n0.3\n"), 1U);
  InputOptions options;
  options.timesAreValues = true;
  EXPECT_EQ(tableIn("t,u\n0,1\n1,2\n", options).channels, (Names{"t", "u"}));
}

TEST(TextReader, TheUsersRateAndColumnsGoFirst) {
  InputOptions options;
  options.rate = 7;
  Table table = tableIn("t,u\n0,1\n1,2\n", options);
  EXPECT_EQ(table.rate, 7);
  EXPECT_EQ(table.notes, Names{"column t holds the times and is left out"});
  options.rate.reset();
  options.columns = {"u", "t"};
  table = tableIn("t,u\n0,1\n1,2\n", options);
  EXPECT_EQ(table.channels, options.columns);
  EXPECT_EQ(table.values, (Doubles{1, 0, 2, 1}));
  EXPECT_EQ(table.rate, 1);
  options.columns.clear();
  options.columnNumbers = {3, 1, 3};
  EXPECT_EQ(tableIn("1;2;3\n4;5;6\n", options).values, (Doubles{3, 1, 3, 6, 4, 6}));
  EXPECT_EQ(tableIn("1;2;3\n4;\"5\";6\n", options).values, (Doubles{3, 1, 3, 6, 4, 6}));
  EXPECT_EQ(tableIn("1;2\n4;5\n", options).problem, "text: has no column 3, they are numbered 1 to 2");
  options.columnNumbers.clear();
  options.columns = {"2"};
  EXPECT_EQ(tableIn("1;2;3\n4;5;6\n", options).values, (Doubles{2, 5}));
  options.columns = {"u [V]"};
  EXPECT_EQ(tableIn("u;u\nV;A\n1;2\n", options).values, (Doubles{1}));
  options.columns = {"u"};
  EXPECT_EQ(tableIn("u;u\n1;2\n", options).problem, "text: has 2 columns u: --columns takes them by their numbers");
  EXPECT_EQ(tableIn("u;v;w\n\"a;b\";2;3\n", options).problem, "text: line 2, column u: not a number: a;b");
  options.columns = {"v"};
  EXPECT_EQ(tableIn("u;v;w\n\"1;2\";3;4\nx;5;y\n", options).values, (Doubles{3, 5}));
  EXPECT_EQ(tableIn("u v w\na 5 b\n\"a b\" 6 c\n", options).values, (Doubles{5, 6}));
}

TEST(TextReader, ColumnsOfTextAreNamedAndLeftOut) {
  EXPECT_EQ(tableIn("a,b,c\nx,1,y\nz,2,\n").notes, Names{"columns a, c hold text and are left out"});
  std::string names = "u", row = "1";
  for (int i = 0; i < 32; ++i) {
    names += ",a";
    row += ",x";
  }
  const Table table = tableIn(names + "\n" + row + "\n");
  ASSERT_EQ(table.notes.size(), 1U);
  EXPECT_TRUE(table.notes[0].ends_with(", a, a and 2 more hold text and are left out")) << table.notes[0];
}

TEST(TextReader, MomentsBeginTheRecording) {
  const auto reader = opened("Time,u\n2024-01-31T23:59:59.250Z,1\n2024-01-31T23:59:59.500Z,2\n");
  ASSERT_TRUE(reader->format().start);
  EXPECT_EQ(reader->format().start->text(), "2024-01-31 23:59:59.250 UTC");
  EXPECT_EQ(reader->format().rate, 4);
  EXPECT_FALSE(opened("Time,u\n23:59:59,1\n23:59:59.5,2\n")->format().start);
  EXPECT_EQ(opened("t,u\n2024/01/31 10:00:00+01:30,1\n2024/01/31 10:00:01+01:30,2\n")->format().start->text(),
            "2024-01-31 10:00:00 UTC+01:30");
  EXPECT_EQ(tableIn("t,u\n01/02/2024 10:00:00,1\n01/02/2024 10:00:01,2\n").notes,
            Names{"column t holds text and is left out"});
}

TEST(TextReader, WhatCannotBeReadIsNamed) {
  const auto problem = [](const std::string& text) { return tableIn(text).problem; };
  EXPECT_EQ(problem(""), "text: is empty: it holds no rows");
  EXPECT_EQ(problem("u,i\n"), "text: holds a header row alone, and no rows of numbers");
  EXPECT_EQ(problem("t,u\n0,x\n"), "text: no column holds numbers besides the times");
  EXPECT_EQ(problem("a,b\n1,2\n\n3\n"), "text: line 4 has 1 field, the header row has 2");
  EXPECT_EQ(problem("1;2\n3;4;5\n1;2\n"), "text: line 2 has 3 fields, the first row has 2");
  EXPECT_EQ(problem("1 2\n3 4\n5\n"), "text: line 3 has 1 field, the first row has 2");
  EXPECT_EQ(problem("a,b\n1,2\n3,4x\n"), "text: line 3, column b: not a number: 4x");
  EXPECT_EQ(problem("a,b\n1,2\n3,\"4\"5\n"), "text: line 3, column b: not a number: \"4\"5");
  EXPECT_EQ(problem("a,b\n1,2\n3,1e999\n"), "text: line 3, column b: not a number: 1e999");
  EXPECT_EQ(problem("a,b\n1,2\n3,0x10\n"), "text: line 3, column b: not a number: 0x10");
  EXPECT_EQ(problem("a,b\n1,2\n3,\"4\n"), "text: line 3: a quote is not closed");
  EXPECT_EQ(problem("a,b\n1,2\n3,\"4\"\"\n"), "text: line 3: a quote is not closed");
  std::string rows = "a;b;\n";
  for (int i = 0; i < 300; ++i) {
    rows += "1;2;\n";
  }
  EXPECT_EQ(problem(rows), "");
  EXPECT_EQ(problem(rows + "3;4;5\n"),
            "text: line 302, column 3: has something in it where the first lines have nothing: 5");
  EXPECT_EQ(problem(std::string("\xFF\xFE"
                                "a\0\n\0",
                                6)),
            "text: is text in UTF-16, which is not read: save it as UTF-8");
  EXPECT_EQ(problem(std::string("\0a\0,\0b\0\n", 8)), "text: is text in UTF-16, which is not read: save it as UTF-8");
  EXPECT_EQ(problem(std::string("a,b\n1,\0\n", 8)),
            "text: is no text, its byte 7 is 0: raw samples are read with --raw and --channels");
  EXPECT_EQ(problem("a\n" + std::string(5000000, '1')), "text: line 2 is longer than 4194304 characters");
  EXPECT_EQ(problem("a,b\n1,2\n" + std::string(300, '\n') + "3," + std::string(5000000, '1')),
            "text: line 303 is longer than 4194304 characters");
}

TEST(TextReader, HostileTextsAreReadOrRefusedAlikeHoweverTheyAreRead) {
  size_t refused = 0;
  for (const std::string_view hostile : support::hostileTexts) {
    for (size_t length = 0; length <= hostile.size(); ++length) {
      const std::string text(hostile.substr(0, length));
      SCOPED_TRACE(text);
      const Table whole = tableIn(text, {}, 100), single = tableIn(text, {}, 1);
      EXPECT_EQ(whole.problem, single.problem);
      EXPECT_TRUE(whole.problem.empty() || whole.problem.starts_with("text: "));
      if (whole.problem.empty()) {
        expectValues(whole.values, single.values);
        EXPECT_FALSE(whole.values.empty());
        EXPECT_EQ(whole.notes, single.notes);
      }
      refused += whole.problem.empty() ? 0U : 1U;
    }
  }
  EXPECT_GT(refused, 100U);
}

TEST(TextReader, NumbersAreTheNearestDoubles) {
  for (const char* const text :
       {"0.1", "123456789012345678901234567890", "9007199254740993", "2.2250738585072011e-308", "5e-324", "1e-400",
        "1.7976931348623157e308", "-0", "10652.76449584961", "4.35", "1e23", "8.5e-20"}) {
    const Table table = tableIn("u\n" + std::string(text) + "\n");
    ASSERT_EQ(table.values.size(), 1U) << text << table.problem;
    EXPECT_EQ(table.values[0], std::strtod(text, nullptr)) << text;
    EXPECT_EQ(std::signbit(table.values[0]), text[0] == '-');
  }
  EXPECT_EQ(tableIn("u\ninf\n-inf\n").values, (Doubles{INFINITY, -INFINITY}));
}

}  // namespace
}  // namespace kxrecordings_test
