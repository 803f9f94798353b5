// `kxhost stats --plot`.
#include <cmath>
#include <limits>

#include "host/kxhost_test.hpp"

namespace kxhost_test {
namespace {

constexpr const char* pngMagic = "\x89PNG\r\n\x1a\n";

class PlotTest : public KxhostTest {
protected:
  std::string recording(const std::string& name = "a.wav") const {
    return writeAudio(name, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, as<int16_t>(noise(24000, 16)));
  }

  void expectPng(const std::string& file) const {
    const std::string bytes = read(file);
    EXPECT_TRUE(bytes.starts_with(pngMagic));
    EXPECT_GT(bytes.size(), 5000);
  }
};

TEST_F(PlotTest, APngPictureIsDrawn) {
  const Outcome outcome = run({"stats", "--plot", path("out.png"), recording()});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("wav int16"), std::string::npos);
  expectPng(path("out.png"));
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "out.png"}));
}

TEST_F(PlotTest, AnSvgPictureNamesRecordingChannelsAndAxes) {
  const Outcome outcome = run({"stats", "--plot", path("out.svg"), recording("it's <mine>_1.wav")});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  const std::string picture = read(path("out.svg"));
  EXPECT_TRUE(picture.starts_with("<?xml"));
  for (const char* text : {"it's &lt;mine>_1.wav (wav, int16, 48000 Hz)", "channel 1", "channel 2", "steps",
                           "time in seconds", "minimum to maximum", "RMS"}) {
    EXPECT_NE(picture.find(text), std::string::npos) << text;
  }
}

TEST_F(PlotTest, RecordingsOfEveryShapeCanBeDrawn) {
  const std::vector<float> nans(5000, std::numeric_limits<float>::quiet_NaN());
  const std::vector<float> infinities(5000, std::numeric_limits<float>::infinity());
  for (const std::string& file :
       {writeAudio("one.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>{5}),
        writeAudio("silence.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(999)),
        writeAudio("nan.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, nans),
        writeAudio("infinite.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, infinities),
        writeAudio("200.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 200, std::vector<int16_t>(20000, 7)),
        writeText("a.csv", "a,b\n1,2\n3,4\n")}) {
    SCOPED_TRACE(file);
    const Outcome outcome = run({"stats", "--plot", path("out.png"), file});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    expectPng(path("out.png"));
    std::filesystem::remove(path("out.png"));
  }
}

TEST_F(PlotTest, MoreChannelsThanAPictureHasRoomForAreRefused) {
  const std::string file = writeAudio("201.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 201, std::vector<int16_t>(201, 7));
  expectRefused({"stats", "--plot", path("out.png"), file}, file, "has 201 channels");
}

TEST_F(PlotTest, PicturesOfSeveralRecordingsAreNumbered) {
  const Outcome outcome = run({"stats", "--plot", path("out.png"), recording("a.wav"), recording("b.wav")});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  expectPng(path("out-1.png"));
  expectPng(path("out-2.png"));
  EXPECT_FALSE(std::filesystem::exists(path("out.png")));
}

TEST_F(PlotTest, APictureThatCannotBeWrittenIsNamed) {
  const std::string file = recording();
  const std::string there = path("nowhere/out.png");
  expectRefused({"stats", "--plot", there, file}, there, "cannot be written: No such file or directory");
  std::filesystem::create_directory(path("folder.png"));
  expectRefused({"stats", "--plot", path("folder.png"), file}, path("folder.png"), "is a directory");
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "folder.png"}));
}

TEST_F(PlotTest, NothingIsLeftAfterAFailure) {
  const std::string file = recording(), picture = path("out.png");
  const std::string broken = cut(file, "cut.wav", 1);
  const std::string empty = writeAudio("empty.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>{});
  const std::string badRow = writeText("bad.csv", "a\n1\nx\n");
  expectRefused({"stats", "--plot", picture, broken}, broken, "is truncated");
  expectRefused({"stats", "--plot", picture, badRow}, badRow, "not a number");
  expectRefused({"stats", "--plot", picture, empty}, empty, "holds no samples to draw");
  expectRefused({"stats", "--plot", picture, file}, picture, "gnuplot cannot be started", "PATH=/nowhere");
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "bad.csv", "cut.wav", "empty.wav"}));
}

TEST_F(PlotTest, AFailingGnuplotIsQuotedAndAnOlderPictureStays) {
  const std::string file = recording(), picture = writeText("out.png", "an older picture");
  std::filesystem::create_directory(path("bin"));
  const std::string gnuplot =
      writeText("bin/gnuplot", "#!/bin/sh\necho 'line 1: out of paint' >&2\necho >&2\nexit 1\n");
  std::filesystem::permissions(gnuplot, std::filesystem::perms::owner_all);
  expectRefused({"stats", "--plot", picture, file}, picture, "gnuplot failed: line 1: out of paint",
                "PATH='" + path("bin") + "'");
  EXPECT_EQ(read(picture), "an older picture");
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "bin", "out.png"}));
}

}  // namespace
}  // namespace kxhost_test
