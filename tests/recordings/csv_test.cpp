#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <limits>

#include "recordings/csv_output.hpp"
#include "recordings/files.hpp"
#include "recordings/pressure_table.hpp"
#include "recordings/text_fields.hpp"

namespace kxrecordings_test {
namespace {

class CsvTest : public FilesTest {
protected:
  Doubles values(const std::string& text, const InputOptions& options = {}) const {
    return samplesOf<double>(*openRecording(write("a.csv", text), options), 2);
  }
  std::string refusal(const std::string& text, const InputOptions& options = {}) const {
    return problem(write("a.csv", text), options);
  }
};

TEST_F(CsvTest, AFileHasTheFormatOfDecimals) {
  InputOptions options;
  options.rate = 100;
  const Format format = openRecording(write("a.CSV", "a,b\n1,2\n"), options)->format();
  EXPECT_EQ(format.container, "csv");
  EXPECT_EQ(format.samples, "decimal");
  EXPECT_EQ(format.type, SampleType::float64);
  EXPECT_EQ(format.fullScale, 1);
  EXPECT_EQ(*format.rate, 100);
  EXPECT_EQ(titleOf("/x/a.csv", format), "a.csv (csv, decimal, 100 Hz)");
  EXPECT_EQ(titleOf("a.csv", openRecording(path("a.CSV"), {})->format()), "a.csv (csv, decimal)");
  EXPECT_EQ(timeAxisTitle(format), "time in seconds");
  EXPECT_EQ(timeAxisTitle({}), "time in samples");
}

TEST_F(CsvTest, FieldsMayBeQuotedBlankLinesAreSkippedAndReadingBeginsAnew) {
  const auto recording =
      openRecording(write("a.csv",
                          "\xEF\xBB\xBF"
                          "a, b ,\"c \"\"d\"\"\",\n\n1,2.5, \"3\",4\r\n  \n-1e3,+.5,\"7\" ,8\n9,10,11,12"),
                    {});
  EXPECT_EQ(recording->format().channels, (Names{"a", "b", "c \"d\"", "4"}));
  EXPECT_FALSE(recording->format().rate);
  EXPECT_TRUE(recording->notes().empty());
  const Doubles expected{1, 2.5, 3, 4, -1000, 0.5, 7, 8, 9, 10, 11, 12};
  for (const size_t frames : {1U, 2U, 3U, 4U}) {
    EXPECT_EQ(samplesOf<double>(*recording, frames), expected);
    EXPECT_GE(recording->position(), 1);
    recording->rewind();
    EXPECT_LT(recording->position(), 0.5);
  }
  std::vector<double> frame(4);
  recording->read(std::span(frame));
  EXPECT_EQ(recording->position(), 35 / 64.0);  // bytes of the first three lines
}

TEST_F(CsvTest, TextsOfAnyEndingAreTables) {
  for (const std::string name : {"a.tsv", "a.txt", "a.DAT", "a.csv"}) {
    const auto recording = openRecording(write(name, "a\tb\n1,5\t2\n"), {});
    EXPECT_EQ(samplesOf<double>(*recording, 3), (Doubles{1.5, 2})) << name;
    EXPECT_EQ(recording->format().container, name[2] == 't' && name[3] == 'x' ? "text"
                                             : name[2] == 'D'                 ? "text"
                                                                              : "csv");
  }
  EXPECT_EQ(problem(write("b.dat", std::string(100, '\0'))),
            "is no text, its byte 1 is 0: raw samples are read with --raw and --channels");
  write("a.cfg", "");
  EXPECT_EQ(problem(write("a.dat", "1 2\n")), "is opened by the .cfg file beside it, or with --raw");
}

TEST_F(CsvTest, OptionsOfTextsAreForTexts) {
  InputOptions options;
  options.columnNumbers = {2, 1};
  EXPECT_EQ(values("1;2,5\n3;4\n", options), (Doubles{2.5, 1, 4, 3}));
  options.raw = "int16";
  options.channels = 1;
  EXPECT_EQ(refusal("1234", options), "has no named columns: --column and --columns are for text files");
  options.columnNumbers.clear();
  EXPECT_EQ(refusal("", options), "is empty: it holds no samples");
}

TEST_F(CsvTest, MissingSamplesAreNotedOnce) {
  const auto recording = openRecording(write("a.csv", "u\n1\nnan\n\"\"\n2\n"), {});
  samplesOf<double>(*recording, 2);
  recording->rewind();
  samplesOf<double>(*recording, 3);
  EXPECT_EQ(recording->notes(), Names{"2 samples of channel u are missing and taken as NaN, the first one in line 3"});
}

TEST_F(CsvTest, ColumnsOfTextAreLeftOutAndNamedOnesTaken) {
  const auto recording = openRecording(write("a.csv", "time,u,i\nnoon,1,2\nlater,3,4\n"), {});
  EXPECT_EQ(recording->notes(), Names{"column time holds text and is left out"});
  EXPECT_EQ(recording->format().channels, (Names{"u", "i"}));
  EXPECT_EQ(samplesOf<double>(*recording, 1), (Doubles{1, 2, 3, 4}));
  InputOptions options;
  options.columns = {"i", "u", "i"};
  EXPECT_EQ(values("time,u,i\nnoon,1,2\nlater,3,4\n", options), (Doubles{2, 1, 2, 4, 3, 4}));
  options.columns = {"time"};
  EXPECT_EQ(refusal("time,u\nnoon,1\n", options), "line 2, column time: not a number: noon");
  options.columns = {"x"};
  EXPECT_EQ(refusal("time,u\nnoon,1\n", options), "has no column x");
}

TEST_F(CsvTest, WhatCannotBeReadIsNamed) {
  EXPECT_EQ(refusal(""), "is empty: it holds no rows");
  EXPECT_EQ(refusal("a,b\n1,2\n3,4x\n"), "line 3, column b: not a number: 4x");
}

TEST_F(CsvTest, FieldsAndNumbers) {
  EXPECT_EQ(trimmed(" \t a b\r "), "a b");
  EXPECT_EQ(trimmed(" \t\r"), "");
  EXPECT_EQ(*numberIn("+1.5e2"), 150);
  EXPECT_EQ(*numberIn("-0.25"), -0.25);
  EXPECT_FALSE(numberIn("") || numberIn("1 ") || numberIn("x") || numberIn("++1") || numberIn("1e999"));
  EXPECT_EQ(*numberIn("1,5", ','), 1.5);
  EXPECT_FALSE(numberIn("1,5") || numberIn("1.5", ',') || numberIn("+-1") || numberIn("-") || numberIn("infinit"));
  EXPECT_EQ(*numberIn("-INF"), -INFINITY);
  EXPECT_EQ(*numberIn("1e-400"), 0);
  EXPECT_EQ(fieldsOf("a; b ;;", ';'), (std::vector<std::string_view>{"a", "b", "", ""}));
  EXPECT_EQ(fieldsOf("", ';'), (std::vector<std::string_view>{""}));
}

TEST_F(CsvTest, QuotedFields) {
  const auto split = [](std::string line, char separator) {
    std::vector<std::string_view> fields;
    const bool isClosed = splitQuotedFields(line, separator, fields);
    return isClosed ? Names(fields.begin(), fields.end()) : Names{"open"};
  };
  EXPECT_EQ(split("a, \"b,\"\"c\" ,\" d \"", ','), (Names{"a", "b,\"c", " d "}));
  EXPECT_EQ(split("\"a\"b,c", ','), (Names{"\"a\"b", "c"}));
  EXPECT_EQ(split("", ','), Names{""});
  EXPECT_EQ(split(",", ','), (Names{"", ""}));
  EXPECT_EQ(split("a\t \tb", '\t'), (Names{"a", "", "b"}));
  EXPECT_EQ(split(" \t", '\t'), (Names{"", ""}));
  EXPECT_EQ(split("  a \t b\t", ' '), (Names{"a", "b"}));
  EXPECT_EQ(split(" \"a b\" c", ' '), (Names{"a b", "c"}));
  EXPECT_EQ(split("  ", ' '), Names{});
  EXPECT_EQ(split("a,\"b", ','), Names{"open"});
  EXPECT_EQ(split("a,\"b\"\"", ','), Names{"open"});
  EXPECT_EQ(split("a,\"", ','), Names{"open"});
}

TEST_F(CsvTest, WrittenFilesAreComplete) {
  {
    CsvOutput output(path("out.csv"), {"a", "b"});
    output.write(std::vector<float>{0.1F, -2});
    output.write(std::vector<float>{1e10F, 16777216, 5, 6});
    EXPECT_FALSE(std::filesystem::exists(path("out.csv")));
    output.finish();
    EXPECT_EQ(read("out.csv").size(), 38U);
  }
  EXPECT_EQ(read("out.csv"), "a,b\n0.100000001,-2\n1e+10,16777216\n5,6\n");
  EXPECT_EQ(filesPresent(), 1U);
  { CsvOutput abandoned(path("out.csv"), {"x"}); }
  EXPECT_EQ(read("out.csv").substr(0, 4), "a,b\n");
  EXPECT_EQ(filesPresent(), 1U);
}

TEST_F(CsvTest, AFileThatThereIsNoRoomForIsNotPutInPlace) {
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &none);
  EXPECT_EQ(problemOf(path("out.csv"),
                      [&] {
                        CsvOutput output(path("out.csv"), {"a"});
                        output.write(std::vector<float>(1000, 1));
                        output.finish();
                      }),
            "cannot be written: writing failed");
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(filesPresent(), 0U);
}

TEST_F(CsvTest, OutputsThatCannotBeAreNamed) {
  const auto refused = [](const std::string& file) { return problemOf(file, [&] { OutputFile output(file); }); };
  EXPECT_EQ(refused(path("")), "is a directory");
  EXPECT_EQ(refused(path("none/out.csv")), "cannot be written: No such file or directory");
  EXPECT_EQ(refused("/dev/null"), "cannot be written: it is not a regular file, and only those can be replaced");
  const OutputFile output(path("out"));
  EXPECT_EQ(output.name(), path("out"));
  EXPECT_EQ(problemOf(path("out"), [&] { output.place(); }), "cannot be written: No such file or directory");
}

TEST_F(CsvTest, PressuresOverTheCrankAngle) {
  const std::vector<double> angles{-1.5, 0, 1.25};
  const std::vector<float> samples{1, 2, 3, 0.1F, 0.2F, 0.3F};
  writePressureTable(OutputFile(path("p.csv")), angles, samples);
  EXPECT_EQ(read("p.csv"), "angle,cycle 1,cycle 2\n-1.5,1,0.100000001\n0,2,0.200000003\n1.25,3,0.300000012\n");
  const PressureTable table = readPressureTable(path("p.csv"), {}, 6);
  EXPECT_EQ(table.angles, angles);
  EXPECT_EQ(table.columns, 2U);
  EXPECT_EQ(table.pressures, (std::vector<float>{1, 0.1F, 2, 0.2F, 3, 0.3F}));
  InputOptions chosen;
  chosen.columns = {"angle", "cycle 2"};
  const PressureTable one = readPressureTable(path("p.csv"), chosen, 6);
  EXPECT_EQ(one.pressures, (std::vector<float>{0.1F, 0.2F, 0.3F}));
  std::string many = "a,p\n";
  for (int i = 0; i < 5000; ++i) {
    many += std::to_string(i) + "," + std::to_string(i) + "\n";
  }
  EXPECT_EQ(readPressureTable(write("many.csv", many), {}, 5000).angles.size(), 5000U);
  EXPECT_EQ(readPressureTable(path("many.csv"), {}, 5000).pressures.back(), 4999);
  std::string names = "a", row = "0";
  for (int i = 1; i <= 100; ++i) {
    names.append(",p").append(std::to_string(i));
    row.append(",").append(std::to_string(i));
  }
  EXPECT_EQ(readPressureTable(write("wide.csv", names + "\n" + row + "\n"), {}, 100).pressures.size(), 100U);
}

TEST_F(CsvTest, PressuresThatCannotBeAreNamed) {
  const auto refused = [&](const std::string& text, size_t rows, size_t most = 100) {
    const std::string file = write("p.csv", text);
    const PressureTable table = readPressureTable(file, {}, most);
    EXPECT_EQ(table.angles.size(), rows);
    EXPECT_EQ(table.pressures.size() / table.columns, rows);
    return table.problem.substr(std::min(table.problem.size(), file.size() + 2));
  };
  const std::string file = write("one.csv", "a\n1\n");
  EXPECT_EQ(problemOf(file, [&] { readPressureTable(file, {}, 9); }),
            "has one column: a crank angle and at least one pressure are needed");
  EXPECT_EQ(refused("a,p\n1,2\n1e10,3\n", 1), "data row 2: column a: 1e+10 is no crank angle");
  EXPECT_EQ(refused("a,p\n1,2\nnan,3\n", 1), "line 3, channel a: nan is not a finite number");
  EXPECT_EQ(refused("a,p,q\n1,2,3\n2,3,-1e10\n", 1), "data row 2: column q: -1e+10 is no pressure");
  EXPECT_EQ(refused("a,p,q\n1,inf,3\n", 0), "line 2, channel p: inf is not a finite number");
  EXPECT_EQ(refused("a,p\n1,2\n3,x\n", 1), "line 3, column p: not a number: x");
  EXPECT_EQ(refused("a,p\n1e9,-1e9\n", 1), "");
  EXPECT_EQ(refused("a,p,q\n1,2,3\n2,3,4\n", 2, 3), "holds more than 3 samples");
  EXPECT_EQ(refused("a,p,q\n1,2,3\n2,3,4\n", 2, 4), "");
}

TEST_F(CsvTest, PressuresNeedNoHeader) {
  InputOptions input;
  const PressureTable table = readPressureTable(write("p.txt", "% bench 3\n-1,5 2,25 3\n0,0 4 5\n"), input, 9);
  EXPECT_EQ(table.angles, (Doubles{-1.5, 0}));
  EXPECT_EQ(table.pressures, (std::vector<float>{2.25F, 3, 4, 5}));
  EXPECT_TRUE(table.notes.empty() && table.problem.empty());
  EXPECT_EQ(readPressureTable(write("t.csv", "t,p,state\n0,1,on\n1,2,off\n"), input, 9).notes,
            Names{"column state holds text and is left out"});
}

}  // namespace
}  // namespace kxrecordings_test
