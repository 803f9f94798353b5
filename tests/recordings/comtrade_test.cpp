// COMTRADE recordings as the standard has them: types, editions, one file or two, segments, time stamps.
#include <cmath>
#include <limits>

#include "recordings/comtrade_files.hpp"

namespace kxrecordings_test {
namespace {

TEST_F(ComtradeTest, EachTypeOfEachEditionGivesScaledValuesFromTwoFilesAndFromOne) {
  const Doubles expected{4, -40, 14, 80, -26, 120};
  for (const int edition : {1991, 1999, 2013}) {
    for (const auto& [type, samples] : std::vector<std::pair<std::string, std::string>>{
             {"ASCII", "decimal"}, {"BINARY", "int16"}, {"BINARY32", "int32"}, {"FLOAT32", "float"}}) {
      for (const char* const lineEnd : {"\r\n", "\n"}) {
        ComtradeTake take;
        take.edition = edition;
        take.type = type;
        take.lineEnd = lineEnd;
        if (edition == 1991) {
          take.start = "01/31/24,23:59:59.999000";
          take.trigger = "02/01/24,00:00:00.000000";
        }
        for (const std::string& file : {writeTwo(take), write("a.cff", take.single())}) {
          SCOPED_TRACE(file + ", " + type + ", " + std::to_string(edition));
          const auto recording = openRecording(file, {});
          const Format& format = recording->format();
          EXPECT_EQ(format.container, "comtrade");
          EXPECT_EQ(format.samples, samples);
          EXPECT_EQ(format.type, SampleType::float64);
          EXPECT_EQ(format.channels, (Names{"UA [kV]", "IB [A]"}));
          EXPECT_EQ(*format.rate, 1000);
          EXPECT_EQ(*format.lineFrequency, 50);
          EXPECT_EQ(format.statusChannels, 0U);
          const std::string zone = edition == 2013 ? " UTC-05:30" : "";
          EXPECT_EQ(format.start->text(), "2024-01-31 23:59:59.999000" + zone);
          EXPECT_EQ(format.trigger->text(), "2024-02-01 00:00:00.000000" + zone);
          EXPECT_EQ(samplesOf<double>(*recording, 2), expected);
          EXPECT_EQ(recording->notes(), Names{});
        }
      }
    }
  }
}

TEST_F(ComtradeTest, ReadingGoesInBlocksOfAnySizeAndBeginsAnew) {
  ComtradeTake take;
  for (const char* const type : {"ASCII", "BINARY"}) {
    take.type = type;
    const auto recording = openRecording(writeTwo(take), {});
    for (const size_t frames : {1U, 2U, 3U, 9U}) {
      EXPECT_EQ(recording->position(), 0);
      EXPECT_EQ(samplesOf<double>(*recording, frames), (Doubles{4, -40, 14, 80, -26, 120}));
      EXPECT_EQ(recording->position(), 1);
      recording->rewind();
    }
    Doubles frame(2);
    recording->read(std::span(frame));
    EXPECT_EQ(recording->position(), 1 / 3.0);
    recording->rewind();
    EXPECT_EQ(recording->position(), 0);
    recording->read(std::span(frame));
    EXPECT_EQ(frame, (Doubles{4, -40}));
  }
}

TEST_F(ComtradeTest, LongRecordingsAreReadInPieces) {
  ComtradeTake take = takeOf(30'000);
  for (const char* const type : {"ASCII", "BINARY", "BINARY32", "FLOAT32"}) {
    take.type = type;
    const auto recording = openRecording(writeTwo(take), {});
    const Doubles values = samplesOf<double>(*recording, 4096);
    ASSERT_EQ(values.size(), 60'000U);
    for (size_t i = 0; i < take.samples.size(); ++i) {
      ASSERT_EQ(values[2 * i], 0.5 * take.samples[i][0] - 1) << i;
      ASSERT_EQ(values[2 * i + 1], 2 * take.samples[i][1]) << i;
    }
    EXPECT_EQ(recording->notes(), Names{});
  }
}

TEST_F(ComtradeTest, TheWholeRangeOfEachTypeIsRead) {
  ComtradeTake take;
  const auto read = [&](const std::string& type, double first, double second) {
    take.type = type;
    take.samples[0] = {first, second};
    Doubles values = samplesOf<double>(*openRecording(writeTwo(take), {}), 3);
    return std::pair((values[0] + 1) * 2, values[1] / 2);
  };
  using Pair = std::pair<double, double>;
  EXPECT_EQ(read("BINARY", -32767, 32767), Pair(-32767, 32767));
  EXPECT_EQ(read("BINARY32", -2147483647, 2147483647), Pair(-2147483647, 2147483647));
  EXPECT_EQ(read("FLOAT32", 0.375, -3.0e38F), Pair(0.375, -3.0e38F));
  EXPECT_EQ(read("ASCII", 0.375, -99999), Pair(0.375, -99999));
}

TEST_F(ComtradeTest, MissingValuesAreNansAndNoted) {
  const double missing = std::numeric_limits<double>::quiet_NaN();
  ComtradeTake take;
  take.samples[1] = {30, missing};
  for (const auto& [type, where] : std::vector<std::pair<std::string, std::string>>{
           {"ASCII", "line 2"}, {"BINARY", "record 2"}, {"BINARY32", "record 2"}, {"FLOAT32", "record 2"}}) {
    take.type = type;
    const auto recording = openRecording(writeTwo(take), {});
    EXPECT_EQ(recording->notes(), Names{});
    for (int turn = 0; turn < 2; ++turn) {
      const Doubles values = samplesOf<double>(*recording, 2);
      ASSERT_EQ(values.size(), 6U);
      EXPECT_TRUE(std::isnan(values[3]));
      EXPECT_EQ(values[2], 14);
      EXPECT_EQ(values[5], 120);
      EXPECT_EQ(recording->notes(),
                Names{"samples that are missing are taken as NaN, the first one in " + where + ", channel IB [A]"});
      recording->rewind();
    }
  }
  take.type = "FLOAT32";
  for (const double mark : {static_cast<double>(std::numeric_limits<float>::lowest()), double{INFINITY}}) {
    take.samples[1] = {30, mark};
    EXPECT_TRUE(std::isnan(samplesOf<double>(*openRecording(writeTwo(take), {}), 2)[3]));
  }
}

TEST_F(ComtradeTest, ANumberStandsForMissingValuesUnlessTheChannelGoesBeyond) {
  const auto values = [&](const std::string& largest, const std::string& value) {
    ComtradeTake take;
    write("a.cfg", with(take.configuration(), "-32767,32767", "-32767," + largest));
    write("a.dat", with(take.data(), ",10,", "," + value + ","));
    return samplesOf<double>(*openRecording(path("a.cfg"), {}), 3)[0];
  };
  for (const char* const largest : {"32767", "99998", "99999", "", "x"}) {
    EXPECT_TRUE(std::isnan(values(largest, "99999"))) << largest;
    EXPECT_TRUE(std::isnan(values(largest, "999999"))) << largest;
    EXPECT_EQ(values(largest, "99998"), 49998);
  }
  EXPECT_EQ(values("100000", "99999"), 49998.5);
  EXPECT_TRUE(std::isnan(values("100000", "999999")));
  EXPECT_EQ(values("1e6", "999999"), 499998.5);
}

TEST_F(ComtradeTest, StatusChannelsFollowTheAnalogOnesWhenTheyAreAskedFor) {
  ComtradeTake take;
  InputOptions options;
  options.status = true;
  for (const char* const type : {"ASCII", "BINARY", "FLOAT32"}) {
    take.type = type;
    const auto recording = openRecording(writeTwo(take), options);
    EXPECT_EQ(recording->format().channels, (Names{"UA [kV]", "IB [A]", "Trip", "Start"}));
    EXPECT_EQ(recording->format().statusChannels, 2U);
    EXPECT_EQ(samplesOf<double>(*recording, 2), (Doubles{4, -40, 0, 1, 14, 80, 1, 0, -26, 120, 1, 1}));
  }
}

TEST_F(ComtradeTest, StatusChannelsFillWordsOfSixteen) {
  InputOptions options;
  options.status = true;
  for (const size_t count : {0U, 1U, 15U, 16U, 17U, 33U}) {
    ComtradeTake take;
    take.type = "BINARY";
    take.status.assign(count, "S");
    for (auto& states : take.states) {
      states.assign(count, 0);
    }
    for (size_t i = 0; i < count; ++i) {
      take.states[1][i] = i % 3 == 0 ? 1 : 0;
    }
    const auto recording = openRecording(writeTwo(take), options);
    const Doubles values = samplesOf<double>(*recording, 2);
    ASSERT_EQ(values.size(), 3 * (2 + count));
    for (size_t i = 0; i < count; ++i) {
      EXPECT_EQ(values[2 + i], 0);
      EXPECT_EQ(values[2 + count + 2 + i], i % 3 == 0 ? 1 : 0);
    }
    EXPECT_EQ(samplesOf<double>(*openRecording(path("a.cfg"), {}), 2).size(), 6U);
  }
}

TEST_F(ComtradeTest, NamesUnitsAndPlacesComeThrough) {
  ComtradeTake take;
  take.analog = {{"", "L1", "Feeder 3", "V"}, {"Temp \xB0", "", "", ""}};
  take.status = {"", "x"};
  InputOptions options;
  options.status = true;
  const Format format = openRecording(writeTwo(take), options)->format();
  EXPECT_EQ(format.channels, (Names{"1 [V]", "Temp \xB0", "1", "x"}));
  ASSERT_EQ(format.places.size(), 4U);
  EXPECT_EQ(format.places[0].phase, "L1");
  EXPECT_EQ(format.places[0].circuit, "Feeder 3");
  EXPECT_EQ(format.places[1].phase + format.places[1].circuit + format.places[3].circuit, "");
  write("a.cfg", with(take.configuration(), "\r\n1,,,,0", "\r\n1,,B,Line,0"));
  const Format placed = openRecording(path("a.cfg"), options)->format();
  EXPECT_EQ(placed.places[2].phase, "B");
  EXPECT_EQ(placed.places[2].circuit, "Line");
  take.edition = 1991;
  EXPECT_EQ(openRecording(writeTwo(take), options)->format().places[2].phase, "");
}

TEST_F(ComtradeTest, OneOfSeveralSegmentsIsRead) {
  ComtradeTake take = takeOf(10);
  take.rates = {{"1000", 2}, {"4000", 7}, {"500", 10}};
  for (const char* const type : {"ASCII", "BINARY"}) {
    take.type = type;
    const std::string file = writeTwo(take);
    const auto expect = [&](std::optional<int> segment, double rate, size_t first, size_t count,
                            const std::string& start) {
      InputOptions options;
      options.segment = segment;
      const auto recording = openRecording(file, options);
      EXPECT_EQ(*recording->format().rate, rate);
      EXPECT_EQ(recording->format().start->text(), "2024-01-31 " + start);
      EXPECT_EQ(recording->format().trigger->text(), "2024-02-01 00:00:00.000000");
      for (const size_t frames : {1U, 3U, 20U}) {
        const Doubles values = samplesOf<double>(*recording, frames);
        ASSERT_EQ(values.size(), 2 * count);
        for (size_t i = 0; i < count; ++i) {
          EXPECT_EQ(values[2 * i], 0.5 * take.samples[first + i][0] - 1);
        }
        EXPECT_EQ(recording->position(), 1);
        recording->rewind();
      }
      EXPECT_EQ(recording->notes(),
                segment
                    ? Names{}
                    : Names{"holds 3 segments, not all of one sample rate; the longest is read, segment 2 of samples "
                            "3 to 7 at 4000 Hz"});
    };
    expect(std::nullopt, 4000, 2, 5, "23:59:59.001000");
    expect(1, 1000, 0, 2, "23:59:58.999000");
    expect(2, 4000, 2, 5, "23:59:59.001000");
    expect(3, 500, 7, 3, "23:59:59.002250");
  }
  InputOptions options;
  for (const int none : {0, 4, -1}) {
    options.segment = none;
    EXPECT_EQ(problem(path("a.cfg"), options), "has no segment " + std::to_string(none) + ", they are numbered 1 to 3");
  }
}

TEST_F(ComtradeTest, OfSegmentsOfOneLengthTheFirstIsRead) {
  ComtradeTake take = takeOf(6);
  take.rates = {{"1000", 2}, {"4000", 4}, {"500", 6}};
  EXPECT_EQ(*openRecording(writeTwo(take), {})->format().rate, 1000);
}

TEST_F(ComtradeTest, SegmentsOfOneRateAreReadAsAWhole) {
  ComtradeTake take = takeOf(6);
  take.rates = {{"1000", 2}, {"1000.0", 6}};
  const auto recording = openRecording(writeTwo(take), {});
  EXPECT_EQ(samplesOf<double>(*recording, 4).size(), 12U);
  EXPECT_EQ(*recording->format().rate, 1000);
  EXPECT_EQ(recording->notes(), Names{});
  InputOptions second;
  second.segment = 2;
  EXPECT_EQ(samplesOf<double>(*openRecording(path("a.cfg"), second), 4).size(), 8U);
}

TEST_F(ComtradeTest, EvenTimeStampsTellTheRate) {
  ComtradeTake take = takeOf(7);
  take.rates = {{"0", 7}};
  take.stamps = {0, 333, 667, 1000, 1333, 1667, 2000};
  for (const char* const type : {"ASCII", "BINARY32"}) {
    for (const bool hasRates : {false, true}) {
      take.type = type;
      take.hasRates = hasRates;
      const auto recording = openRecording(writeTwo(take), {});
      EXPECT_EQ(*recording->format().rate, 3000);
      EXPECT_EQ(recording->notes(), Names{"the sample rate, 3000 Hz, comes from the time stamps"});
      EXPECT_EQ(recording->position(), 0);
      EXPECT_EQ(samplesOf<double>(*recording, 4).size(), 14U);
    }
  }
  take.start += "000";  // nanoseconds
  EXPECT_EQ(*openRecording(writeTwo(take), {})->format().rate, 3e6);
  write("a.cfg", with(take.configuration(), "BINARY32\r\n1\r\n", "BINARY32\r\n1000\r\n"));
  EXPECT_EQ(*openRecording(path("a.cfg"), {})->format().rate, 3000);
  InputOptions told;
  told.rate = 5;
  const auto recording = openRecording(path("a.cfg"), told);
  EXPECT_EQ(*recording->format().rate, 5);
  EXPECT_EQ(recording->notes(), Names{});
}

TEST_F(ComtradeTest, UnevenOrMissingTimeStampsTellNoRate) {
  ComtradeTake take = takeOf(4);
  take.rates = {{"0", 4}};
  take.hasRates = false;
  const auto expectNone = [&](const std::vector<uint32_t>& stamps) {
    take.stamps = stamps;
    for (const char* const type : {"ASCII", "BINARY"}) {
      take.type = type;
      const auto recording = openRecording(writeTwo(take), {});
      EXPECT_FALSE(recording->format().rate);
      EXPECT_EQ(recording->notes(), Names{"the time stamps are not even and tell no sample rate"});
      EXPECT_EQ(samplesOf<double>(*recording, 4).size(), 8U);
    }
  };
  expectNone({0, 1000, 2000, 4000});
  expectNone({0, 1000, 2000, 3003});
  expectNone({0, 0, 0, 0});
  expectNone({3000, 2000, 1000, 0});
  take.type = "BINARY";
  take.stamps = {0, 1000, 2000, UINT32_MAX};
  EXPECT_FALSE(openRecording(writeTwo(take), {})->format().rate);
  take.type = "ASCII";
  take.stamps = {0, 1000, 2000, 3000};
  writeTwo(take);
  write("a.dat", with(take.data(), "3,2000,", "3,,"));
  EXPECT_FALSE(openRecording(path("a.cfg"), {})->format().rate);
}

TEST_F(ComtradeTest, ARecordingOfNoSamplesIsReadToItsEnd) {
  ComtradeTake take = takeOf(0);
  for (const char* const type : {"ASCII", "BINARY"}) {
    for (const char* const rate : {"1000", "0"}) {
      take.type = type;
      take.rates[0].first = rate;
      const auto recording = openRecording(writeTwo(take), {});
      EXPECT_EQ(recording->position(), 1);
      EXPECT_TRUE(samplesOf<double>(*recording, 4).empty());
      EXPECT_EQ(recording->notes(), Names{});
    }
  }
}

TEST_F(ComtradeTest, TheDataFileIsFoundInAnyLetterCaseTheOneOfTheConfigurationFirst) {
  const ComtradeTake take;
  write("B.CFG", take.configuration());
  EXPECT_EQ(problem(path("B.CFG")), "its data file B.DAT is missing");
  write("b.Dat", take.data());
  EXPECT_EQ(problem(path("B.CFG")), "");
  write("B.DAT", "");
  EXPECT_EQ(problemOf(path("B.DAT"), [&] { samplesOf<double>(*openRecording(path("B.CFG"), {}), 2); }),
            "is truncated: reading stopped after 0 of 3 samples");
  EXPECT_EQ(problem(write("c.cfg", take.configuration())), "its data file c.dat is missing");
  EXPECT_EQ(problem(write("c.CFF", upperCase(take.single()))), "");
}

TEST_F(ComtradeTest, OptionsOfComtradeAreRefusedForOtherFiles) {
  InputOptions options;
  options.segment = 1;
  EXPECT_EQ(problem(write("a.csv", "a\n1\n"), options), "has no segments: --segment is for COMTRADE recordings");
  options = {};
  options.status = true;
  EXPECT_EQ(problem(path("a.csv"), options), "has no status channels: --status is for COMTRADE recordings");
}

TEST_F(ComtradeTest, TheReaderTakesBytesFromMemoryAndTellsProblemsAsValues) {
  const ComtradeTake take;
  const std::string configuration = take.configuration(), data = take.data(), single = take.single();
  const auto bytes = [](const std::string& name, std::string_view text) {
    return std::make_unique<MemoryBytes>(name, text);
  };
  auto reader = ComtradeReader::open(bytes("cfg", configuration), bytes("dat", data), {});
  ASSERT_TRUE(reader) << reader.problem();
  Doubles values(6);
  EXPECT_EQ(*reader->read(values), 3U);
  EXPECT_EQ(values, (Doubles{4, -40, 14, 80, -26, 120}));
  EXPECT_EQ(*reader->read(values), 0U);
  auto one = ComtradeReader::open(bytes("cff", single), {});
  ASSERT_TRUE(one) << one.problem();
  EXPECT_EQ(*one->read(values), 3U);
  EXPECT_EQ(ComtradeReader::open(bytes("cfg", std::string_view(configuration).substr(0, 20)), bytes("dat", data), {})
                .problem(),
            "cfg: ends after line 1: numbers of channels is missing");
  auto cut = ComtradeReader::open(bytes("cfg", configuration), bytes("dat", std::string_view(data).substr(0, 10)), {});
  ASSERT_TRUE(cut);
  EXPECT_EQ(cut->read(values).problem(), "dat: line 1 has 4 fields, 6 are announced");
}

/// A source that ends in an error, as a file does on a disk that fails.
class FailingBytes final : public ByteSource {
public:
  FailingBytes(std::string bytes, uint64_t end) : ByteSource("bad"), bytes_(std::move(bytes)), end_(end) {}
  uint64_t size() const override { return bytes_.size(); }
  Result<> read(uint64_t offset, std::span<char> bytes) override {
    if (offset + bytes.size() > end_) {
      return problem("cannot be read");
    }
    bytes_.copy(bytes.data(), bytes.size(), offset);
    return Done{};
  }

private:
  std::string bytes_;
  uint64_t end_;
};

TEST_F(ComtradeTest, BytesThatCannotBeReadAreAProblem) {
  ComtradeTake take = takeOf(30'000);
  const std::string configuration = take.configuration();
  const auto memory = [&] { return std::make_unique<MemoryBytes>("cfg", configuration); };
  EXPECT_EQ(ComtradeReader::open(std::make_unique<FailingBytes>(configuration, 5), memory(), {}).problem(),
            "bad: cannot be read");
  EXPECT_EQ(ComtradeReader::open(std::make_unique<FailingBytes>(take.single(), 5), {}).problem(),
            "bad: cannot be read");
  for (const char* const type : {"ASCII", "BINARY"}) {
    take.type = type;
    const std::string text = take.configuration();
    for (const uint64_t end : {5U, 100'000U}) {
      auto reader = ComtradeReader::open(std::make_unique<MemoryBytes>("cfg", text),
                                         std::make_unique<FailingBytes>(take.data(), end), {});
      ASSERT_TRUE(reader) << reader.problem();
      Doubles values(60'000);
      EXPECT_EQ(reader->read(values).problem(), "bad: cannot be read");
      EXPECT_EQ(reader->read(values).problem(), "bad: cannot be read");
    }
    const std::string byStamps = with(text, "\r\n1000,", "\r\n0,");
    EXPECT_EQ(ComtradeReader::open(std::make_unique<MemoryBytes>("cfg", byStamps),
                                   std::make_unique<FailingBytes>(take.data(), 5), {})
                  .problem(),
              "bad: cannot be read");
    InputOptions second;
    second.segment = 2;
    const std::string parts = with(text, "\r\n1\r\n1000,", "\r\n2\r\n1000,1\r\n1000,");
    auto reader = ComtradeReader::open(std::make_unique<MemoryBytes>("cfg", parts),
                                       std::make_unique<FailingBytes>(take.data(), 5), second);
    ASSERT_TRUE(reader) << reader.problem();
    Doubles values(2);
    EXPECT_EQ(reader->read(values).problem(), "bad: cannot be read");
  }
}

}  // namespace
}  // namespace kxrecordings_test
