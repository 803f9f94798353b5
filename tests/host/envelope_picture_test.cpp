// The pictures of `kxhost stats --plot`.
#include <algorithm>
#include <cmath>
#include <limits>

#include "host/kxhost_test.hpp"
#include "host/png_image.hpp"
#include "host/svg_picture.hpp"

namespace kxhost_test {
namespace {

constexpr size_t columns = 1000;

/// What one column of a picture shows of a channel.
struct Column {
  double time, minimum, maximum, rms;
};

std::vector<Column> columnsOf(const std::vector<int16_t>& samples, size_t channel, size_t channels, double rate) {
  const size_t length = samples.size() / channels / columns;
  std::vector<Column> result;
  for (size_t begin = 0; begin < samples.size() / channels; begin += length) {
    Column column{(static_cast<double>(begin) + static_cast<double>(length) / 2) / rate, 1e9, -1e9, 0};
    for (size_t frame = begin; frame < begin + length; ++frame) {
      const double value = samples[frame * channels + channel];
      column.minimum = std::min(column.minimum, value);
      column.maximum = std::max(column.maximum, value);
      column.rms += value * value / static_cast<double>(length);
    }
    column.rms = std::sqrt(column.rms);
    result.push_back(column);
  }
  return result;
}

class EnvelopePictureTest : public KxhostTest {
protected:
  std::string recording(const std::string& name = "a.wav") const {
    return writeAudio(name, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, as<int16_t>(noise(24000, 16)));
  }

  std::vector<SvgPane> drawn(const std::string& file) const {
    const Outcome outcome = run({"stats", "--plot", path("out.svg"), file});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return readSvg(read(path("out.svg")));
  }

  /// Expects a pane to hold all four curves, each a level line from end to end.
  static void expectLevel(const SvgPane& pane, double value) {
    ASSERT_EQ(pane.curves.size(), 4U);
    for (const SvgCurve& curve : pane.curves) {
      for (const double x : {pane.left + 8, pane.right - 8}) {
        EXPECT_LE(curve.distanceOf({x, pane.y.pixelOf(value, AxisKind::linear)}), 0.6) << curve.colour;
      }
    }
  }
};

TEST_F(EnvelopePictureTest, EachColumnHasItsExtremesAndItsRms) {
  // 24 frames in each column. The channels differ, and each grows.
  std::vector<int16_t> samples = as<int16_t>(noise(48000, 16));
  for (size_t i = 0; i < samples.size(); ++i) {
    const double share = static_cast<double>(i) / static_cast<double>(samples.size());
    samples[i] = static_cast<int16_t>(i % 2 == 0 ? samples[i] * share : 1000 + samples[i] * share * share / 10);
  }
  const std::string file = writeAudio("it's <mine>_1.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, samples);
  const std::vector<SvgPane> panes = drawn(file);
  ASSERT_EQ(panes.size(), 2U);
  for (size_t channel = 0; channel < 2; ++channel) {
    SvgPane pane = panes[channel];
    pane.x = panes[1].x;  // the lowest pane's axis has the labels
    EXPECT_NEAR(pane.x.pixelOf(0, AxisKind::linear), pane.left, 0.1);
    EXPECT_NEAR(pane.x.pixelOf(0.5, AxisKind::linear), pane.right, 0.1);
    ASSERT_EQ(pane.curves.size(), 4U);
    std::vector<Place> minima, maxima, rms;
    for (const Column& column : columnsOf(samples, channel, 2, 48000)) {
      minima.push_back({column.time, column.minimum});
      maxima.push_back({column.time, column.maximum});
      rms.push_back({column.time, column.rms});
    }
    expectThrough(pane, pane.curves[0], minima);
    expectThrough(pane, pane.curves[0], maxima);
    expectThrough(pane, pane.curves[1], minima);
    expectThrough(pane, pane.curves[2], maxima);
    expectThrough(pane, pane.curves[3], rms);
    EXPECT_EQ(pane.curves[3].colour, "rgb(192,48,32)");
  }
  EXPECT_EQ(panes[0].curves[0].title, "minimum to maximum");
  EXPECT_EQ(panes[0].curves[3].title, "RMS");
  const std::string picture = read(path("out.svg"));
  for (const char* text :
       {"it's &lt;mine>_1.wav (wav, int16, 48000 Hz)", "channel 1", "channel 2", "steps", "time in seconds"}) {
    EXPECT_NE(picture.find(text), std::string::npos) << text;
  }
}

TEST_F(EnvelopePictureTest, APngPictureShowsTheSame) {
  std::vector<int16_t> samples;
  for (int i = 0; i < 24000; ++i) {
    samples.push_back(static_cast<int16_t>(20000 * std::sin(i / 700.0)));
    samples.push_back(static_cast<int16_t>(i));
  }
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, samples);
  const Outcome outcome = run({"stats", "--plot", path("out.png"), file});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("wav int16"), std::string::npos);
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "out.png"}));
  const PngImage image(path("out.png"));
  EXPECT_EQ(image.width(), 1200);
  EXPECT_EQ(image.height(), 534);
  for (const SvgPane& pane : drawn(file)) {
    expectShows(image, pane.curves.at(3));
  }
}

TEST_F(EnvelopePictureTest, RecordingsOfEveryShapeCanBeDrawn) {
  const int wav = SF_FORMAT_WAV;
  const std::vector<float> nans(5000, std::numeric_limits<float>::quiet_NaN());
  const std::vector<float> infinities(5000, std::numeric_limits<float>::infinity());
  const auto one = drawn(writeAudio("one.wav", wav | SF_FORMAT_PCM_16, 1, std::vector<int16_t>{5}));
  ASSERT_EQ(one.size(), 1U);  // no line leads from a single sample; it lies in the middle of the axis
  EXPECT_NEAR(one[0].y.pixelOf(5, AxisKind::linear), (one[0].top + one[0].bottom) / 2, 0.6);
  expectLevel(drawn(writeAudio("silence.wav", wav | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(999))).at(0), 0);
  for (const auto& samples : {nans, infinities}) {
    const auto panes = drawn(writeAudio("nothing.wav", wav | SF_FORMAT_FLOAT, 1, samples));
    ASSERT_EQ(panes.size(), 1U);
    EXPECT_NEAR(panes[0].y.pixelOf(1, AxisKind::linear), panes[0].top, 0.6);
    for (const SvgCurve& curve : panes[0].curves) {
      EXPECT_TRUE(curve.lines.empty() && curve.areas.empty()) << curve.colour;
    }
  }
  const auto many = drawn(writeAudio("200.wav", wav | SF_FORMAT_PCM_16, 200, std::vector<int16_t>(20000, 7)));
  ASSERT_EQ(many.size(), 200U);
  for (const SvgPane& pane : many) {
    expectLevel(pane, 7);
  }
  auto table = drawn(writeText("a.csv", "a,b\n1,2\n3,4\n"));
  ASSERT_EQ(table.size(), 2U);
  for (size_t i = 0; i < 2; ++i) {
    table[i].x = table[1].x;
    const double first = 1 + static_cast<double>(i);
    expectThrough(table[i], table[i].curves.at(3), {{0.5, first}, {1.5, first + 2}});
  }
}

TEST_F(EnvelopePictureTest, MoreChannelsThanAPictureHasRoomForAreRefused) {
  const std::string file = writeAudio("201.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 201, std::vector<int16_t>(201, 7));
  expectRefused({"stats", "--plot", path("out.png"), file}, file, "has 201 channels");
}

TEST_F(EnvelopePictureTest, PicturesOfSeveralRecordingsAreNumbered) {
  const auto write = [&](const std::string& name, int16_t value) {
    return writeAudio(name, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(5000, value));
  };
  const Outcome outcome = run({"stats", "--plot", path("out.svg"), write("a.wav", 300), write("b.wav", -20)});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  for (const auto& [name, value, rms] : {std::tuple("out-1.svg", 300.0, 300.0), {"out-2.svg", -20.0, 20.0}}) {
    const std::vector<SvgPane> panes = readSvg(read(path(name)));
    ASSERT_EQ(panes.size(), 1U);
    expectThrough(panes[0], panes[0].curve("minimum to maximum"), {{0.001, value}, {0.1, value}});
    expectThrough(panes[0], panes[0].curve("RMS"), {{0.001, rms}, {0.1, rms}});
  }
  EXPECT_FALSE(std::filesystem::exists(path("out.svg")));
}

TEST_F(EnvelopePictureTest, APictureThatCannotBeWrittenIsNamed) {
  const std::string file = recording();
  const std::string there = path("nowhere/out.png");
  expectRefused({"stats", "--plot", there, file}, there, "cannot be written: No such file or directory");
  std::filesystem::create_directory(path("folder.png"));
  expectRefused({"stats", "--plot", path("folder.png"), file}, path("folder.png"), "is a directory");
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "folder.png"}));
}

TEST_F(EnvelopePictureTest, NothingIsLeftAfterAFailure) {
  const std::string file = recording(), picture = path("out.png");
  const std::string broken = cut(file, "cut.wav", 1);
  const std::string empty = writeAudio("empty.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>{});
  const std::string badRow = writeText("bad.csv", "a\n1\nx\n");
  expectRefused({"stats", "--strict", "--plot", picture, broken}, broken, "is truncated");
  expectRefused({"stats", "--plot", picture, badRow}, badRow, "not a number");
  expectUndrawn({"stats", "--plot", picture, empty}, empty, "holds no samples to draw");
  expectUndrawn({"stats", "--plot", picture, file}, picture, "gnuplot cannot be started", "PATH=/nowhere");
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "bad.csv", "cut.wav", "empty.wav"}));
}

TEST_F(EnvelopePictureTest, AFailingGnuplotIsQuotedAndAnOlderPictureStays) {
  const std::string file = recording(), picture = writeText("out.png", "an older picture");
  std::filesystem::create_directory(path("bin"));
  const std::string gnuplot =
      writeText("bin/gnuplot", "#!/bin/sh\necho 'line 1: out of paint' >&2\necho >&2\nexit 1\n");
  std::filesystem::permissions(gnuplot, std::filesystem::perms::owner_all);
  expectUndrawn({"stats", "--plot", picture, file}, picture, "gnuplot failed: line 1: out of paint",
                "PATH='" + path("bin") + "'");
  EXPECT_EQ(read(picture), "an older picture");
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "bin", "out.png"}));
}

}  // namespace
}  // namespace kxhost_test
