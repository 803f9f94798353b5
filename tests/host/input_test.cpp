// Input that cannot be used: one clear line on standard error, and exit code 1.
#include <algorithm>

#include "host/kxhost_test.hpp"

namespace kxhost_test {
namespace {

class InputTest : public KxhostTest {
protected:
  void expectStatsRefused(const std::string& file, const std::string& reason,
                          std::vector<std::string> options = {}) const {
    options.insert(options.begin(), "stats");
    options.push_back(file);
    expectRefused(options, file, reason);
  }

  /// Expects a file to be read to its end with a note, and to be refused where only whole ones will do.
  void expectNoted(const std::string& file, const std::string& note, std::vector<std::string> options = {}) const {
    options.insert(options.begin(), "stats");
    options.push_back(file);
    const Outcome outcome = run(options);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_TRUE(outcome.err.starts_with("kxhost: " + file + ": ")) << outcome.err;
    EXPECT_NE(outcome.err.find(note), std::string::npos) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_NE(outcome.out, "");
    options.emplace_back("--strict");
    expectRefused(options, file, note);
  }
};

TEST_F(InputTest, AMissingFileIsNamed) {
  expectStatsRefused(path("none.wav"), "no such file");
}

TEST_F(InputTest, ADirectoryIsRefused) {
  expectStatsRefused(path(""), "is a directory");
}

TEST_F(InputTest, ADeviceIsRefused) {
  expectStatsRefused("/dev/null", "is not a regular file");
}

TEST_F(InputTest, AFileThatIsNoRecordingIsRefused) {
  expectStatsRefused(writeText("letter.wav", "Dear Sir or Madam,\n"), "is not a recording");
  expectStatsRefused(writeText("empty.wav", ""), "is not a recording");
}

TEST_F(InputTest, ACutFileIsNoticedInEveryContainer) {
  const auto samples = as<int16_t>(noise(20000, 16));
  for (const int container :
       std::initializer_list<int>{SF_FORMAT_WAV, SF_FORMAT_WAV | SF_ENDIAN_BIG, SF_FORMAT_WAVEX, SF_FORMAT_RF64,
                                  SF_FORMAT_W64, SF_FORMAT_AIFF, SF_FORMAT_AU, SF_FORMAT_CAF, SF_FORMAT_FLAC}) {
    const std::string name = std::to_string(container);
    const std::string file = writeAudio(name, container | SF_FORMAT_PCM_16, 2, samples);
    ASSERT_EQ(run({"stats", file}).code, 0) << name;
    for (const uintmax_t bytes : {1U, 3U, 4U, 4000U}) {
      SCOPED_TRACE("container " + name + ", " + std::to_string(bytes) + " bytes less");
      const std::string less = cut(file, name + "-" + std::to_string(bytes), bytes);
      expectNoted(less, "is truncated");
      const int frames = stats({less}).at(0).at("samples");
      EXPECT_LT(frames, 10000);
      EXPECT_GE(frames, container == SF_FORMAT_FLAC ? 4096 : 10000 - static_cast<int>(bytes + 3) / 4 - 2);
    }
  }
}

TEST_F(InputTest, ACutOggFileIsNoticed) {
  const auto samples = as<float>(noise(96000, 16), 0x1p-17);
  const std::string file = writeAudio("a.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 2, samples);
  expectNoted(cut(file, "cut.ogg", 5), "is truncated");
}

TEST_F(InputTest, ACutMp3FileIsNoticed) {
  SF_INFO mp3{};
  mp3.format = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
  mp3.channels = 1;
  mp3.samplerate = 48000;
  if (sf_format_check(&mp3) == 0) {
    GTEST_SKIP() << "libsndfile was built without MP3";
  }
  const std::string file = writeAudio("a.mp3", mp3.format, 1, as<float>(noise(96000, 16), 0x1p-17));
  ASSERT_EQ(stats({file}).at(0).at("container"), "mp3");
  expectNoted(cut(file, "cut.mp3", 100), "is truncated");
}

TEST_F(InputTest, AFlacFileOfOpenLengthIsReadToItsEndAndACutOneIsNoticed) {
  const std::string file = writeAudio("a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, as<int16_t>(noise(20000, 16)));
  std::string bytes = read(file);
  bytes[21] = static_cast<char>(bytes[21] & 0xF0);  // the number of samples: the last 36 of these 40 bits
  bytes.replace(22, 4, 4, '\0');
  const std::string streamed = writeText("streamed.flac", bytes);
  EXPECT_EQ(stats({streamed}).at(0).at("samples"), 20000);
  expectNoted(cut(streamed, "cut.flac", 3), "is truncated");
}

TEST_F(InputTest, AStreamedWavFileOfOpenLengthIsNotTakenForACutOne) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(1000, 7));
  std::string bytes = read(file);
  const size_t size = bytes.find("data") + 4;
  bytes.replace(4, 4, "\xFF\xFF\xFF\xFF");
  bytes.replace(size, 4, "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(stats({writeText("streamed.wav", bytes)}).at(0).at("samples"), 1000);
}

TEST_F(InputTest, ARawFileThatEndsWithinAFrameIsReadWithoutIt) {
  const std::string file = writeRaw("a.raw", std::vector<int16_t>(12, 1));
  const std::vector<std::string> options{"--raw", "int16", "--channels", "4"};
  expectNoted(cut(file, "cut.raw", 2), "22 bytes are not a multiple of the frame's 8", options);
}

TEST_F(InputTest, ARateMustBePositive) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(12, 1));
  for (const char* command : {"stats", "power", "flicker"}) {
    for (const std::string rate : {"0", "-48000", "nan", "inf"}) {
      expectMisuse({command, file, "--rate=" + rate}, rate + " is not a number above 0");
      expectMisuse({command, file, "--rate", rate}, rate + " is not a number above 0");
    }
    expectMisuse({command, file, "--rate="}, "--rate");
    expectMisuse({command, file, "--rate", ""}, "--rate");
  }
}

TEST_F(InputTest, RawFilesHaveOneChannelOrMoreButNotTooMany) {
  const std::string file = writeRaw("a.raw", std::vector<int16_t>(5000, 1));
  for (const char* channels : {"0", "-1", "1025"}) {
    expectMisuse({"stats", "--raw", "int16", "--channels", channels, file}, "is not a whole number from 1 to 1024");
  }
}

TEST_F(InputTest, ACsvFaultIsNamedWithItsLine) {
  expectStatsRefused(writeText("a.csv", "a,b\n1,2\n3,four\n"), "line 3, column b: not a number: four");
  expectStatsRefused(writeText("b.csv", "a,b\n1,2\n3,4 V\n"), "line 3, column b: not a number: 4 V");
  expectStatsRefused(writeText("d.csv", "a,b\n1,2\n3\n"), "line 3 has 1 field, the header row has 2");
  expectStatsRefused(writeText("e.csv", "a,b\n1,2\n3,4,5\n"), "line 3 has 3 fields, the header row has 2");
  expectStatsRefused(writeText("f.csv", "a,b\n1,\"2\n"), "line 2: a quote is not closed");
}

TEST_F(InputTest, ATextNeedsNumbers) {
  expectStatsRefused(writeText("a.csv", ""), "is empty");
  expectStatsRefused(writeText("b.txt", "a b\n"), "holds a header row alone, and no rows of numbers");
  expectStatsRefused(writeText("c.csv", "a,b\nx,y\n"), "no column holds numbers");
  expectStatsRefused(writeText("d.dat", std::string("\0\1\2\0\0\0", 6)), "is no text, its byte 1 is 0");
  expectStatsRefused(writeText("e.txt", std::string("\xFF\xFE"
                                                    "1\0\n\0",
                                                    6)),
                     "is text in UTF-16");
  expectStatsRefused(writeText("f.raw", ""), "is empty: it holds no samples", {"--raw", "int16", "--channels", "2"});
}

TEST_F(InputTest, TextsOfOtherProgramsAreRead) {
  const Outcome outcome = run({"stats", "--json", writeText("a.txt", "Zeit;U\ns;V\n0,000;1,5\n0,001;\n0,002;2,5\n")});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.err, "kxhost: " + path("a.txt") +
                             ": the sample rate, 1000 Hz, comes from column Zeit [s]\nkxhost: " + path("a.txt") +
                             ": 1 sample of channel U [V] is missing and taken as NaN, in line 4\n");
  const auto file = nlohmann::json::parse(outcome.out).at("files").at(0);
  EXPECT_EQ(file.at("sample_rate_hz"), 1000);
  EXPECT_EQ(file.at("samples"), 3);
  EXPECT_EQ(file.at("channels").at(0).at("nan_samples"), 1);
  const auto chosen = stats({writeText("b.dat", "1 2,5 x\n3 4,5 y\n"), "--columns", "2", "--decimal", "comma"});
  EXPECT_EQ(chosen.at(0).at("channels").at(0).at("average"), 3.5);
}

TEST_F(InputTest, AMissingColumnIsNamed) {
  expectStatsRefused(writeText("a.csv", "a,b\n1,2\n"), "has no column c", {"--column", "a", "--column", "c"});
  expectStatsRefused(writeText("text.csv", "a,b\n1,x\n"), "line 2, column b: not a number: x", {"--column", "b"});
  expectStatsRefused(writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(12, 1)),
                     "has no named columns", {"--column", "a"});
}

}  // namespace
}  // namespace kxhost_test
