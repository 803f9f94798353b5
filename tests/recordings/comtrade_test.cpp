#include <cmath>
#include <limits>

#include "recordings/files.hpp"

namespace kxrecordings_test {
namespace {

const Names lines{"Station,Device,1999",
                  "4,2A,2D",
                  "1,UA,A,,kV,0.5,-1,0,-32767,32767,1,1,P",
                  "2, ,A,,,2,0,0,-32767,32767,1,1,P",
                  "1,S1,,,0",
                  "2,S2,,,0",
                  "50",
                  "1",
                  "1000,3",
                  "01/01/2024,00:00:00.000000",
                  "01/01/2024,00:00:00.000000",
                  "ascii"};

class ComtradeTest : public FilesTest {
protected:
  /// A configuration with one line (from 1) changed, or left out with all after it.
  std::string configuration(size_t line = 0, const std::string& text = "") const {
    std::string all;
    for (size_t i = 1; i <= lines.size(); ++i) {
      all += (i == line ? text : lines[i - 1]) + "\r\n";
    }
    return write("a.cfg", all);
  }

  std::string refusal(size_t line, const std::string& text) const { return problem(configuration(line, text)); }

  void writeData(const std::string& text) const { write("a.dat", text); }

  void writeBinary(size_t frames) const {
    std::string bytes;
    for (size_t i = 0; i < frames; ++i) {
      bytes += std::string("\1\0\0\0\2\0\0\0", 8) + std::string("\x03\x01\xfe\xff", 4) + std::string("\1\0", 2);
    }
    writeData(bytes);
  }
};

TEST_F(ComtradeTest, AnAsciiFileGivesScaledValues) {
  writeData("1,0,10,-20,0,1\r\n2,1000,99999, ,0,1\r\n3,2000, +7 ,1.5,0,1\r\n\x1A");
  const auto recording = openRecording(configuration(), {});
  EXPECT_EQ(recording->format().container, "comtrade");
  EXPECT_EQ(recording->format().samples, "decimal");
  EXPECT_EQ(recording->format().channels, (Names{"UA [kV]", "2"}));
  EXPECT_EQ(*recording->format().rate, 1000);
  EXPECT_TRUE(recording->notes().empty());
  for (const size_t frames : {1U, 2U, 3U, 9U}) {
    EXPECT_EQ(recording->position(), 0);
    const auto values = samplesOf<double>(*recording, frames);
    ASSERT_EQ(values.size(), 6U);
    EXPECT_EQ(values[0], 4);
    EXPECT_EQ(values[1], -40);
    EXPECT_TRUE(std::isnan(values[2]) && std::isnan(values[3]));
    EXPECT_EQ(values[4], 2.5);
    EXPECT_EQ(values[5], 3);
    EXPECT_EQ(recording->position(), 1);
    recording->rewind();
  }
  std::vector<double> frame(2);
  recording->read(std::span(frame));
  EXPECT_EQ(recording->position(), 1 / 3.0);
  EXPECT_EQ(recording->notes(), Names{"samples that are marked as missing are taken as NaN"});
  InputOptions options;
  options.rate = 5;
  EXPECT_EQ(*openRecording(path("a.cfg"), options)->format().rate, 5);
}

TEST_F(ComtradeTest, ABinaryFileGivesScaledValues) {
  writeBinary(3);
  const auto recording = openRecording(configuration(12, "Binary"), {});
  EXPECT_EQ(recording->format().samples, "int16");
  EXPECT_EQ(recording->format().type, SampleType::float64);
  EXPECT_EQ(samplesOf<double>(*recording, 2), (Doubles{128.5, -4, 128.5, -4, 128.5, -4}));
  recording->rewind();
  EXPECT_EQ(samplesOf<double>(*recording, 4).size(), 6U);
  writeData(read("a.dat").substr(14) + std::string("\1\0\0\0\2\0\0\0\0\x80\x01\x80\0\0", 14));
  const auto missing = openRecording(path("a.cfg"), {});
  const auto values = samplesOf<double>(*missing, 3);
  EXPECT_TRUE(std::isnan(values[4]));
  EXPECT_EQ(values[5], -65534);
  EXPECT_EQ(missing->notes().size(), 1U);
  writeBinary(2);
  EXPECT_EQ(problemOf(path("a.dat"), [&] { openRecording(path("a.cfg"), {}); }),
            "is truncated or of another shape: its .cfg file announces 3 samples of 14 bytes, there are 28 bytes");
}

TEST_F(ComtradeTest, StatusChannelsFillWordsOfSixteen) {
  for (const size_t count : {0U, 1U, 16U, 17U}) {
    std::string text = "S,D\n" + std::to_string(count + 1) + ",1A," + std::to_string(count) + "D\n1,U,,,,1,0,0,0,0\n";
    for (size_t i = 1; i <= count; ++i) {
      text += std::to_string(i) + ",S,0\n";
    }
    write("s.cfg", text + "50\n0\n0,2\n0\n0\nBINARY\n");
    write("s.dat", std::string(2 * (10 + 2 * ((count + 15) / 16)), '\0'));
    const auto recording = openRecording(path("s.cfg"), {});
    EXPECT_FALSE(recording->format().rate);  // only the time stamps tell
    EXPECT_EQ(samplesOf<double>(*recording, 5), (Doubles{0, 0}));
  }
}

TEST_F(ComtradeTest, ARecordingOfNoSamplesIsReadToItsEnd) {
  writeData("");
  const auto recording = openRecording(configuration(9, "1000,0"), {});
  EXPECT_EQ(recording->position(), 1);
  EXPECT_TRUE(samplesOf<double>(*recording, 4).empty());
}

TEST_F(ComtradeTest, ARecordingOfOneSampleIsNotReadBefore) {
  writeData("1,0,1,1,0,0\n");
  const auto recording = openRecording(configuration(9, "1000,1"), {});
  EXPECT_EQ(recording->position(), 0);
  EXPECT_EQ(samplesOf<double>(*recording, 4).size(), 2U);
  EXPECT_EQ(recording->position(), 1);
}

TEST_F(ComtradeTest, TheDataFileHasTheLetterCaseOfTheConfiguration) {
  std::filesystem::rename(configuration(), path("B.CFG"));
  EXPECT_EQ(problem(path("B.CFG")), "its data file B.DAT is missing");
  write("B.DAT", "1,0,1,1,0,0\n2,0,1,1,0,0\n3,0,1,1,0,0\n");
  EXPECT_EQ(problem(path("B.CFG")), "");
  EXPECT_EQ(problem(configuration()), "its data file a.dat is missing");
}

TEST_F(ComtradeTest, DataThatCannotBeIsNamed) {
  const auto refused = [&](const std::string& data) {
    writeData(data);
    const std::string configured = configuration();
    return problemOf(path("a.dat"), [&] { samplesOf<double>(*openRecording(configured, {}), 2); });
  };
  const std::string row = "1,0,1,1,0,0\n";
  EXPECT_EQ(refused(row + row + row + "whatever\n"), "");
  EXPECT_EQ(refused(row + row), "is truncated: reading stopped after 2 of 3 samples");
  EXPECT_EQ(refused(row + "\x1A\n"), "is truncated: reading stopped after 1 of 3 samples");
  EXPECT_EQ(refused(row + "\n" + row + row), "is truncated: reading stopped after 1 of 3 samples");
  EXPECT_EQ(refused(row + row + "1,2,3\n"), "line 3 has 3 fields, the .cfg file announces 6");
  EXPECT_EQ(refused(row + "1,0,1,x,0,0\n" + row), "sample 2, channel 2: not a number: x");
  EXPECT_EQ(refused(row + "1,0,inf,1,0,0\n" + row), "sample 2, channel UA [kV]: not a number: inf");
}

TEST_F(ComtradeTest, ConfigurationsThatCannotBeAreNamed) {
  writeData("1,0,1,1,0,0\n2,0,1,1,0,0\n3,0,1,1,0,0\n");
  EXPECT_EQ(refusal(0, ""), "");
  EXPECT_EQ(refusal(1, "Station"), "line 1: station name and device: 2 fields are needed, there are 1");
  EXPECT_EQ(refusal(2, "4,2A"), "line 2: numbers of channels: 3 fields are needed, there are 2");
  EXPECT_EQ(refusal(2, "x,2A,2D"), "line 2: number of channels is not a number: x");
  EXPECT_EQ(refusal(2, "1.5,2A,2D"), "line 2: number of channels is not a whole number up to 1999998: 1.5");
  EXPECT_EQ(refusal(2, "-1,2A,2D"), "line 2: number of channels is not a whole number up to 1999998: -1");
  EXPECT_EQ(refusal(2, "1999999,2A,2D"), "line 2: number of channels is not a whole number up to 1999998: 1999999");
  EXPECT_EQ(refusal(2, "1999998,2A,2D"), "line 2: 1999998 channels are not 2A and 2D");
  EXPECT_EQ(refusal(2, "inf,2A,2D"), "line 2: number of channels is not a number: inf");
  EXPECT_EQ(refusal(2, "4,2B,2D"), "line 2: number of channels of kind A is missing: 2B");
  EXPECT_EQ(refusal(2, "4,,2D"), "line 2: number of channels of kind A is missing: ");
  EXPECT_EQ(refusal(2, "4,2A,1000000D"),
            "line 2: number of channels of kind D is not a whole number up to 999999: 1000000");
  EXPECT_EQ(refusal(2, "5,2a,2d"), "line 2: 5 channels are not 2a and 2d");
  EXPECT_EQ(refusal(2, "2,0A,2D"), "line 2: there is no analog channel");
  EXPECT_EQ(refusal(3, "1,UA,A,,kV,0.5,-1,0,-32767"), "line 3: analog channel 1: 10 fields are needed, there are 9");
  EXPECT_EQ(refusal(4, "1,UB,A,,kV,0.5,-1,0,-32767,32767"), "line 4: analog channel 2 is expected, not 1");
  EXPECT_EQ(refusal(3, "1,UA,A,,kV,x,-1,0,-32767,32767"), "line 3: channel factor a is not a number: x");
  EXPECT_EQ(refusal(3, "1,UA,A,,kV,1,y,0,-32767,32767"), "line 3: channel offset b is not a number: y");
  EXPECT_EQ(refusal(5, "1,S1"), "line 5: status channel 1: 3 fields are needed, there are 2");
  EXPECT_EQ(refusal(6, "3,S1,0"), "line 6: status channel 2 is expected, not 3");
  EXPECT_EQ(refusal(8, "2"), "line 8: there are 2 sample rates, and only recordings of one are read");
  EXPECT_EQ(refusal(8, "1000"), "line 8: number of sample rates is not a whole number up to 999: 1000");
  EXPECT_EQ(refusal(8, "999"), "line 8: there are 999 sample rates, and only recordings of one are read");
  EXPECT_EQ(refusal(9, "1000"), "line 9: sample rate and last sample: 2 fields are needed, there are 1");
  EXPECT_EQ(refusal(9, "0,3"), "line 9: the sample rate must be above 0");
  EXPECT_EQ(refusal(9, "x,3"), "line 9: sample rate is not a number: x");
  EXPECT_EQ(refusal(9, "1,10000000000"),
            "line 9: number of the last sample is not a whole number up to 9999999999: 10000000000");
  EXPECT_EQ(refusal(12, "FLOAT32"), "line 12: data files of type FLOAT32 are not read, only ASCII and BINARY");
  EXPECT_EQ(problem(write("c.cfg", "S,D\n")), "ends after line 1: numbers of channels is missing");
  EXPECT_EQ(problem(write("c.cfg", "S,D\n1,1A,0D\n1,U,,,,1,0,0,0,0\n50\n0\n0,2\n0\n0")),
            "ends after line 8: data file type is missing");
}

}  // namespace
}  // namespace kxrecordings_test
