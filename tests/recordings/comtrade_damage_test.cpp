// COMTRADE recordings that are odd or damaged: read with a note where their meaning is beyond doubt, else refused with a
// sentence that names the place.
#include <sys/resource.h>

#include <cmath>

#include "recordings/comtrade_files.hpp"

namespace kxrecordings_test {
namespace {

class ComtradeDamageTest : public ComtradeTest {
protected:
  struct Reading {
    Doubles values;
    Names notes;
  };

  static Reading readingOf(const std::string& file, const InputOptions& options = {}) {
    const auto recording = openRecording(file, options);
    Reading reading{samplesOf<double>(*recording, 2), {}};
    recording->rewind();
    EXPECT_EQ(samplesOf<double>(*recording, 3).size(), reading.values.size());
    reading.notes = recording->notes();
    return reading;
  }

  /// Of a recording whose data are these.
  Reading readingOf(const ComtradeTake& take, const std::string& data) const {
    writeTwo(take);
    write("a.dat", data);
    return readingOf(path("a.cfg"));
  }

  std::string refusalOf(const ComtradeTake& take, const std::string& data) const {
    writeTwo(take);
    write("a.dat", data);
    return problemOf(path("a.dat"), [&] { samplesOf<double>(*openRecording(path("a.cfg"), {}), 2); });
  }

  /// A configuration with one line (from 1) changed.
  std::string configurationWith(size_t line, const std::string& text, const ComtradeTake& take = {}) const {
    writeTwo(take);
    std::string all = take.configuration();
    size_t begin = 0;
    for (size_t i = 1; i < line; ++i) {
      begin = all.find('\n', begin) + 1;
    }
    return write("a.cfg", all.replace(begin, all.find("\r\n", begin) - begin, text));
  }

  std::string refusal(size_t line, const std::string& text) const { return problem(configurationWith(line, text)); }

  const Doubles whole_{4, -40, 14, 80, -26, 120};
};

TEST_F(ComtradeDamageTest, OneSampleFewerOrMoreIsRead) {
  for (const char* const type : {"ASCII", "BINARY", "BINARY32"}) {
    ComtradeTake take;
    take.type = type;
    take.rates[0].second = 4;
    EXPECT_EQ(readingOf(take, take.data()).values, whole_);
    EXPECT_EQ(readingOf(take, take.data()).notes, Names{"holds one sample fewer than the 4 announced"});
    take.rates[0].second = 2;
    EXPECT_EQ(readingOf(take, take.data()).values, whole_);
    EXPECT_EQ(readingOf(take, take.data()).notes,
              Names{"holds one sample more than the 2 announced, which is read, too"});
    take.rates = {{"500", 1}, {"1000", 2}};
    InputOptions options;
    options.segment = 2;
    EXPECT_EQ(readingOf(writeTwo(take), options).values, (Doubles{14, 80, -26, 120}));
    options.segment = 1;
    EXPECT_EQ(readingOf(writeTwo(take), options).values, (Doubles{4, -40}));
  }
}

TEST_F(ComtradeDamageTest, MoreThanOneSampleFewerIsRefused) {
  ComtradeTake take;
  take.rates[0].second = 5;
  EXPECT_EQ(refusalOf(take, take.data()), "is truncated: reading stopped after 3 of 5 samples");
  take.rates = {{"1000", 5}, {"500", 9}};
  EXPECT_EQ(refusalOf(take, take.data()), "is truncated: reading stopped after 3 of 9 samples");
  take.rates = {{"1000", 5}, {"500", 19}};
  EXPECT_EQ(refusalOf(take, take.data()), "is truncated: reading stopped after 3 of 19 samples");
  take.type = "BINARY";
  take.rates = {{"1000", 5}};
  EXPECT_EQ(refusalOf(take, take.data()),
            "is truncated or of another shape: 5 samples of 14 bytes are announced, there are 42 bytes");
}

TEST_F(ComtradeDamageTest, BytesThatFillNoRecordAreRefused) {
  ComtradeTake take;
  take.type = "BINARY";
  const std::string data = take.data();
  const auto shape = [](size_t bytes) {
    return "is truncated or of another shape: 3 samples of 14 bytes are announced, there are " + std::to_string(bytes) +
           " bytes";
  };
  EXPECT_EQ(refusalOf(take, ""), shape(0));
  EXPECT_EQ(refusalOf(take, data.substr(0, 41)), shape(41));
  EXPECT_EQ(refusalOf(take, data.substr(0, 27)), shape(27));
  EXPECT_EQ(refusalOf(take, data + "x"), shape(43));
  EXPECT_EQ(refusalOf(take, data + "\x1A\x1A"), shape(44));
  EXPECT_EQ(refusalOf(take, data + data), shape(84));
  take.rates[0].second = 1;
  EXPECT_EQ(refusalOf(take, data),
            "is truncated or of another shape: 1 sample of 14 bytes are announced, there are 42 bytes");
}

TEST_F(ComtradeDamageTest, AsciiDataThatGoOnAreCutWithANote) {
  ComtradeTake take;
  const std::string data = take.data(), cut = "holds more than the 3 samples announced; what follows is left out";
  for (const std::string& more : {data, std::string("whatever\n"), std::string("x,0,1,1,0,0"),
                                  std::string("4,0,1,1,0\n"), "4,0,1,1,0,0" + std::string(10'000, ' ') + ",\n"}) {
    EXPECT_EQ(readingOf(take, data + more).values, whole_) << more;
    EXPECT_EQ(readingOf(take, data + more).notes, Names{cut});
  }
  EXPECT_EQ(readingOf(take, data + "\r\n\n  \n").notes, Names{});
  EXPECT_EQ(refusalOf(take, data + "4,0,1,x,0,0\n"), "line 4, channel IB [A]: not a number: x");
}

TEST_F(ComtradeDamageTest, AByte1AEndsTexts) {
  ComtradeTake take;
  for (const char* const end : {"\x1A", "\x1A\r\n", "\r\n\x1Awhatever,1,2,3"}) {
    EXPECT_EQ(readingOf(take, take.data() + end).values, whole_);
    EXPECT_EQ(readingOf(take, take.data() + end).notes, Names{});
    writeTwo(take);
    write("a.cfg", take.configuration() + end);
    EXPECT_EQ(readingOf(path("a.cfg")).values, whole_);
  }
  const std::string data = take.data();
  EXPECT_EQ(readingOf(take, data.substr(0, data.size() - 2) + "\x1A").values, whole_);
  EXPECT_EQ(refusalOf(take, "1,0,1,1,0,0\n\x1A\n" + data), "is truncated: reading stopped after 1 of 3 samples");
  take.type = "BINARY";
  EXPECT_EQ(readingOf(take, take.data() + "\x1A").values, whole_);
  EXPECT_EQ(readingOf(take, take.data() + "\x1A").notes,
            Names{"ends in a byte 0x1A, as texts do, which belongs to no sample"});
  take.rates[0].second = 4;
  EXPECT_EQ(readingOf(take, take.data() + "\x1A").notes.size(), 2U);
}

TEST_F(ComtradeDamageTest, SampleNumbersThatJumpAreNoted) {
  ComtradeTake take = takeOf(4);
  take.numbers = {7, 8, 11, 2};
  const auto note = [](const std::string& where) {
    return Names{"the sample numbers jump, first in " + where +
                 " from 8 to 11; the samples are taken one after the other"};
  };
  EXPECT_EQ(readingOf(writeTwo(take)).notes, note("line 3"));
  EXPECT_EQ(readingOf(path("a.cfg")).values, (Doubles{-1, 14, -0.5, 12, 0, 10, 0.5, 8}));
  EXPECT_EQ(readingOf(write("a.cff", take.single())).notes, note("line 22"));
  take.type = "BINARY";
  EXPECT_EQ(readingOf(writeTwo(take)).notes, note("record 3"));
  take.numbers = {3, 2, 3, 4};
  EXPECT_EQ(readingOf(writeTwo(take)).notes,
            Names{"the sample numbers jump, first in record 2 from 3 to 2; the samples are taken one after the other"});
  take.numbers = {0, 1, 2, 3};
  EXPECT_EQ(readingOf(writeTwo(take)).notes, Names{});
  take.type = "ASCII";
  EXPECT_EQ(readingOf(take, with(take.data(), "\r\n2,", "\r\n,")).notes, Names{});
}

TEST_F(ComtradeDamageTest, StatusChannelsMayBeNumberedOn) {
  ComtradeTake take;
  take.statusOffset = 2;
  EXPECT_EQ(readingOf(writeTwo(take)).values, whole_);
  EXPECT_EQ(readingOf(writeTwo(take)).notes,
            Names{"line 5: status channels are numbered on from the analog ones, from 3"});
  EXPECT_EQ(problem(configurationWith(6, "5,Start,,,0", take)), "line 6: status channel 4 is expected, not 5");
  EXPECT_EQ(problem(configurationWith(6, "2,Start,,,0", take)), "line 6: status channel 4 is expected, not 2");
}

TEST_F(ComtradeDamageTest, LetterCaseBlankLinesAndTrailingCommasDoNotMatter) {
  ComtradeTake take;
  EXPECT_EQ(readingOf(configurationWith(2, "4,2a,2d")).values, whole_);
  EXPECT_EQ(readingOf(configurationWith(2, " 4 , 2 A , 2 D ")).values, whole_);
  EXPECT_EQ(readingOf(configurationWith(12, "ascii")).values, whole_);
  EXPECT_EQ(readingOf(configurationWith(1, "\xEF\xBB\xBFStation,Device,1999")).values, whole_);
  take.type = "Binary";
  take.samples.clear();
  ComtradeTake binary;
  binary.type = "BINARY";
  EXPECT_EQ(readingOf(take, binary.data()).values, whole_);
  take = {};
  take.lineEnd = "\n\n";
  EXPECT_EQ(readingOf(ComtradeTake(), take.data()).values, whole_);
  take.lineEnd = ",\r\r\n";
  EXPECT_EQ(readingOf(ComtradeTake(), take.data()).values, whole_);
  EXPECT_EQ(readingOf(ComtradeTake(), take.data()).notes, Names{});
}

TEST_F(ComtradeDamageTest, TimesThatCannotBeReadAreLeftOpenWithANote) {
  const auto format = openRecording(configurationWith(10, "00/00/0000,00:00:00.000000"), {})->format();
  EXPECT_FALSE(format.start);
  EXPECT_TRUE(format.trigger);
  EXPECT_EQ(readingOf(path("a.cfg")).notes,
            Names{"line 10: time of the first sample is no date and time: 00/00/0000,00:00:00.000000"});
  EXPECT_EQ(readingOf(configurationWith(11, "noon")).notes,
            Names{"line 11: time of the trigger is no date and time: noon"});
  EXPECT_EQ(readingOf(configurationWith(11, "")).notes, Names{});
  EXPECT_EQ(readingOf(configurationWith(11, ",")).notes, Names{});
  EXPECT_EQ(readingOf(configurationWith(11, "01/31/2024,00:00:00.5")).notes,
            Names{"line 11: the date 01/31/2024 has its month first, unlike edition 1999 of the standard"});
  EXPECT_EQ(openRecording(path("a.cfg"), {})->format().trigger->text(), "2024-01-31 00:00:00.5");
  ComtradeTake old;
  old.edition = 1991;
  EXPECT_EQ(readingOf(writeTwo(old)).notes,
            Names{"line 10: the date 31/01/2024 has its day first, unlike edition 1991 of the standard"});
}

TEST_F(ComtradeDamageTest, AFarAwaySegmentHasNoTime) {
  ComtradeTake take;
  take.rates = {{"1e-12", 1}, {"1000", 3}};
  EXPECT_FALSE(openRecording(writeTwo(take), {})->format().start);
  take.rates[0].first = "1e-9";
  EXPECT_TRUE(openRecording(writeTwo(take), {})->format().start);
  ComtradeTake none = takeOf(0);
  none.rates[0].first = "0";
  EXPECT_TRUE(openRecording(writeTwo(none), {})->format().start);
}

TEST_F(ComtradeDamageTest, TheFactorOfTimeStampsMattersOnlyWhereTheyTellTheRate) {
  EXPECT_EQ(readingOf(configurationWith(13, "x")).values, whole_);
  EXPECT_EQ(readingOf(configurationWith(13, "")).values, whole_);
  ComtradeTake take;
  take.rates[0].first = "0";
  for (const char* const factor : {"x", "0", "-1", "nan", "inf"}) {
    EXPECT_EQ(problem(configurationWith(13, factor, take)),
              std::string("line 13: factor of the time stamps is not a number above 0: ") + factor);
  }
  EXPECT_EQ(*openRecording(configurationWith(13, "", take), {})->format().rate, 1000);
}

TEST_F(ComtradeDamageTest, OddLineFrequenciesAreLeftOpen) {
  for (const char* const frequency : {"", "x", "0", "-50", "inf"}) {
    EXPECT_FALSE(openRecording(configurationWith(7, frequency), {})->format().lineFrequency) << frequency;
  }
  EXPECT_EQ(*openRecording(configurationWith(7, "60.000000000"), {})->format().lineFrequency, 60);
}

TEST_F(ComtradeDamageTest, SectionsOfOneFileMayBeOddButMustBeThere) {
  ComtradeTake take;
  const std::string text = take.single();
  const auto read = [&](const std::string& from, const std::string& to) {
    return readingOf(write("a.cff", with(text, from, to))).values;
  };
  EXPECT_EQ(read("--- file type: CFG ---", "---File Type:CFG---"), whole_);
  EXPECT_EQ(read("--- file type: CFG ---", "junk\n--- FILE TYPE: cfg ---"), whole_);
  EXPECT_EQ(read("--- file type: DAT ASCII ---", "--- file type: DAT ---"), whole_);
  EXPECT_EQ(read("--- file type: INF ---", "\x1A\n--- file type: INF ---"), whole_);
  EXPECT_EQ(read("Anything", "---" + std::string(100'000, '-') + "\x1A\n--- file type ---\n---\n------Anything"),
            whole_);
  take.type = "BINARY";
  const std::string binary = take.single();
  EXPECT_EQ(readingOf(write("a.cff", binary)).values, whole_);
  EXPECT_EQ(readingOf(write("a.cff", with(binary, ": 42", ""))).values, whole_);
  EXPECT_EQ(readingOf(write("a.cff", with(binary, ": 42", ":42"))).values, whole_);
  EXPECT_EQ(readingOf(write("a.cff", with(binary, ": 42", ": 1e99"))).values, whole_);
  EXPECT_EQ(readingOf(write("a.cff", with(binary, ": 42", ": -1"))).values, whole_);
  EXPECT_EQ(readingOf(write("a.cff", binary + "\r\nwhatever")).values, whole_);

  const auto refused = [&](const std::string& bytes) { return problem(write("a.cff", bytes)); };
  EXPECT_EQ(refused(""), "has no section of the configuration");
  EXPECT_EQ(refused(take.configuration()), "has no section of the configuration");
  EXPECT_EQ(refused(text.substr(0, text.find("--- file type: DAT"))), "has no section of data");
  EXPECT_EQ(refused(with(text, "CFG", "INF")), "has no section of the configuration before the data");
  EXPECT_EQ(refused(with(text, "DAT ASCII", "DAT BINARY")),
            "line 19: the data are of another type than the configuration says");
  EXPECT_EQ(refused(with(text, "DAT ASCII", "DAT BINARY64")),
            "line 19: data of type BINARY64 are not read, only ASCII, BINARY, BINARY32 and FLOAT32");
  EXPECT_EQ(refused(with(text, "4,2A", "5,2A")), "line 3: 5 channels are not 2A and 2D");
  EXPECT_EQ(refused(with(text, "\n2,1000,30", "\n2,1000,x")), "line 21, channel UA [kV]: not a number: x");
  EXPECT_EQ(refused(binary.substr(0, binary.size() - 3)),
            "is truncated or of another shape: 3 samples of 14 bytes are announced, there are 39 bytes");
  EXPECT_EQ(refused(with(binary, ": 42", ": 41")),
            "is truncated or of another shape: 3 samples of 14 bytes are announced, there are 41 bytes");
}

TEST_F(ComtradeDamageTest, DataThatCannotBeAreNamed) {
  const ComtradeTake take;
  const std::string row = "1,0,1,1,0,0\n";
  EXPECT_EQ(refusalOf(take, row + row + "1,2,3\n"), "line 3 has 3 fields, 6 are announced");
  EXPECT_EQ(refusalOf(take, row + "1,0,1,1,0,0,1\n" + row), "line 2 has 7 fields, 6 are announced");
  EXPECT_EQ(refusalOf(take, row + "1,0,1,x,0,0\n" + row), "line 2, channel IB [A]: not a number: x");
  EXPECT_EQ(refusalOf(take, row + "\n1,0,inf,1,0,0\n" + row), "line 3, channel UA [kV]: not a number: inf");
  EXPECT_EQ(refusalOf(take, row + "1,0,nan,1,0,0\n" + row), "line 2, channel UA [kV]: not a number: nan");
  EXPECT_EQ(refusalOf(take, row + "1,0,1,\x1B[31m" + std::string(60, 'x') + ",0,0\n" + row),
            "line 2, channel IB [A]: not a number: ?[31m" + std::string(35, 'x') + "...");
  InputOptions options;
  options.status = true;
  const auto withStatus = [&](const std::string& states) {
    writeTwo(take);
    write("a.dat", row + "2,0,1,1," + states + "\n" + row);
    return problemOf(path("a.dat"), [&] { samplesOf<double>(*openRecording(path("a.cfg"), options), 2); });
  };
  EXPECT_EQ(withStatus("2,0"), "line 2, status channel Trip: not 0 or 1: 2");
  EXPECT_EQ(withStatus("0,x"), "line 2, status channel Start: not 0 or 1: x");
  EXPECT_EQ(withStatus(",1"), "");
  options.status = false;
  EXPECT_EQ(withStatus("2,x"), "");
}

TEST_F(ComtradeDamageTest, AProblemStaysHoweverOftenItIsReadOver) {
  const ComtradeTake take;
  const std::string configuration = take.configuration();
  for (const char* const bad : {",10,", ",30,", ",-50,"}) {
    const std::string data = with(take.data(), bad, ",x,");
    auto reader = ComtradeReader::open(std::make_unique<MemoryBytes>("cfg", configuration),
                                       std::make_unique<MemoryBytes>("dat", data), {});
    Doubles values(6);
    const std::string problem = reader->read(values).problem();
    EXPECT_TRUE(problem.ends_with("channel UA [kV]: not a number: x")) << problem;
    EXPECT_EQ(reader->read(values).problem(), problem);
    reader->rewind();
    EXPECT_EQ(reader->read(values).problem(), problem);
  }
}

TEST_F(ComtradeDamageTest, ConfigurationsThatCannotBeAreNamed) {
  EXPECT_EQ(refusal(1, "Station"), "line 1: station name and device: 2 fields are needed, there are 1");
  EXPECT_EQ(refusal(2, "4,2A"), "line 2: numbers of channels: 3 fields are needed, there are 2");
  EXPECT_EQ(refusal(2, "x,2A,2D"), "line 2: number of channels is not a number: x");
  EXPECT_EQ(refusal(2, "1.5,2A,2D"), "line 2: number of channels is not a whole number up to 10000: 1.5");
  EXPECT_EQ(refusal(2, "-1,2A,2D"), "line 2: number of channels is not a whole number up to 10000: -1");
  EXPECT_EQ(refusal(2, "1000000000,1000000000A,0D"),
            "line 2: number of channels is not a whole number up to 10000: 1000000000");
  EXPECT_EQ(refusal(2, "10000,2A,2D"), "line 2: 10000 channels are not 2A and 2D");
  EXPECT_EQ(refusal(2, "inf,2A,2D"), "line 2: number of channels is not a number: inf");
  EXPECT_EQ(refusal(2, "4,2B,2D"), "line 2: number of channels of kind A is missing: 2B");
  EXPECT_EQ(refusal(2, "4,,2D"), "line 2: number of channels of kind A is missing: ");
  EXPECT_EQ(refusal(2, "4,2A,-2D"), "line 2: number of channels of kind D is not a whole number up to 10000: -2");
  EXPECT_EQ(refusal(2, "5,2a,2d"), "line 2: 5 channels are not 2a and 2d");
  EXPECT_EQ(refusal(2, "2,0A,2D"), "line 2: there is no analog channel");
  EXPECT_EQ(refusal(3, "1,UA,A,,kV,0.5,-1,0,-32767"), "line 3: analog channel 1: 10 fields are needed, there are 9");
  EXPECT_EQ(refusal(4, "1,UB,A,,kV,0.5,-1,0,-32767,32767"), "line 4: analog channel 2 is expected, not 1");
  EXPECT_EQ(refusal(3, "1,UA,A,,kV,x,-1,0,-32767,32767"), "line 3: channel factor a is not a number: x");
  EXPECT_EQ(refusal(3, "1,UA,A,,kV,1,y,0,-32767,32767"), "line 3: channel offset b is not a number: y");
  EXPECT_EQ(refusal(3, "1,UA,A,,kV,nan,0,0,-32767,32767"), "line 3: channel factor a is not a number: nan");
  EXPECT_EQ(refusal(5, "1,S1"), "line 5: status channel 1: 3 fields are needed, there are 2");
  EXPECT_EQ(refusal(5, "2,S1,0"), "line 5: status channel 1 is expected, not 2");
  EXPECT_EQ(refusal(8, "1000"), "line 8: number of sample rates is not a whole number up to 999: 1000");
  EXPECT_EQ(refusal(8, "-1"), "line 8: number of sample rates is not a whole number up to 999: -1");
  EXPECT_EQ(refusal(9, "1000"), "line 9: sample rate and last sample: 2 fields are needed, there are 1");
  EXPECT_EQ(refusal(9, "-1,3"), "line 9: the sample rate must be above 0");
  EXPECT_EQ(refusal(9, "x,3"), "line 9: sample rate is not a number: x");
  EXPECT_EQ(refusal(9, "1,-3"), "line 9: number of the last sample is not a whole number up to 9999999999: -3");
  EXPECT_EQ(refusal(9, "1,10000000000"),
            "line 9: number of the last sample is not a whole number up to 9999999999: 10000000000");
  EXPECT_EQ(refusal(12, "FLOAT64"),
            "line 12: data files of type FLOAT64 are not read, only ASCII, BINARY, BINARY32 and FLOAT32");
  EXPECT_EQ(refusal(12, ""), "line 12: data files of type  are not read, only ASCII, BINARY, BINARY32 and FLOAT32");
  ComtradeTake take;
  take.rates = {{"1000", 2}, {"0", 3}};
  EXPECT_EQ(problem(writeTwo(take)), "line 10: the sample rate must be above 0");
  take.rates = {{"1000", 2}, {"500", 2}};
  EXPECT_EQ(problem(writeTwo(take)),
            "line 10: the last sample of segment 2, 2, does not lie behind that of the segment before it, 2");
  take.rates = {{"1000", 2}, {"500", 1}};
  EXPECT_EQ(problem(writeTwo(take)),
            "line 10: the last sample of segment 2, 1, does not lie behind that of the segment before it, 2");
}

TEST_F(ComtradeDamageTest, ConfigurationsThatEndEarlyAreNamed) {
  const ComtradeTake take;
  const Names missing{"station name and device",  "numbers of channels",    "analog channel 1",
                      "analog channel 2",         "status channel 1",       "status channel 2",
                      "line frequency",           "number of sample rates", "sample rate and last sample",
                      "time of the first sample", "time of the trigger",    "data file type"};
  const std::string text = take.configuration();
  writeTwo(take);
  size_t end = 0;
  for (size_t line = 0; line < missing.size(); ++line) {
    EXPECT_EQ(problem(write("a.cfg", text.substr(0, end))),
              "ends after line " + std::to_string(line) + ": " + missing[line] + " is missing");
    end = text.find('\n', end) + 1;
  }
  EXPECT_EQ(problem(write("a.cfg", text.substr(0, end - 2))), "");
}

/// The most memory that the process has taken so far, in kilobytes.
long mostMemory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST_F(ComtradeDamageTest, MemoryDoesNotGrowWithWhatAFileHoldsOrAnnounces) {
  const ComtradeTake take;
  write("a.cff", "");
  std::filesystem::resize_file(path("a.cff"), 100'000'000);  // a line of zeros
  write("b.cfg", "Station,");
  std::filesystem::resize_file(path("b.cfg"), 100'000'000);
  write("c.cfg", take.configuration());
  write("c.dat", take.data().substr(0, 20));
  std::filesystem::resize_file(path("c.dat"), 100'000'000);
  write("d.cfg", with(take.configuration(), "1000,3", "0,9999999999"));
  write("d.dat", take.data());
  const long before = mostMemory();
  EXPECT_EQ(problem(path("a.cff")), "has no section of the configuration");
  write("b.dat", "");
  EXPECT_EQ(problem(path("b.cfg")), "line 1: is longer than 4096 characters");
  EXPECT_EQ(problemOf(path("c.dat"), [&] { samplesOf<double>(*openRecording(path("c.cfg"), {}), 2); }),
            "line 2 is longer than 6 numbers are");
  EXPECT_EQ(problemOf(path("d.dat"), [&] { openRecording(path("d.cfg"), {}); }),
            "is truncated: reading stopped after 3 of 9999999999 samples");
  EXPECT_LT(mostMemory() - before, 20'000);
}

TEST_F(ComtradeDamageTest, HugeFactorsGiveMissingValuesInsteadOfInfinities) {
  const auto reading = readingOf(configurationWith(3, "1,UA,A,Bus,kV,1e308,-1,0,-32767,32767,1,1,P"));
  EXPECT_TRUE(std::isnan(reading.values[0]) && std::isnan(reading.values[4]));
  EXPECT_EQ(reading.values[1], -40);
  EXPECT_EQ(reading.notes,
            Names{"samples that are missing are taken as NaN, the first one in line 1, channel UA [kV]"});
}

TEST_F(ComtradeDamageTest, AnyCutIsReadOrRefusedInOneSentence) {
  for (const char* const type : {"ASCII", "BINARY", "FLOAT32"}) {
    ComtradeTake take;
    take.type = type;
    take.edition = 2013;
    const std::string bytes = take.single();
    for (size_t size = 0; size < bytes.size(); ++size) {
      const std::string said = [&]() -> std::string {
        auto reader =
            ComtradeReader::open(std::make_unique<MemoryBytes>("cut", std::string_view(bytes).substr(0, size)), {});
        if (!reader) {
          return reader.problem();
        }
        Doubles values(8);
        const auto read = reader->read(values);
        return read ? "" : read.problem();
      }();
      EXPECT_TRUE(said.empty() || (said.starts_with("cut: ") && said.find('\n') == std::string::npos)) << said;
    }
  }
}

}  // namespace
}  // namespace kxrecordings_test
