// `kxhost view`: its pictures are read back, pixel by pixel.
#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numbers>
#include <regex>
#include <sstream>

#include "host/kxhost_test.hpp"
#include "host/png_image.hpp"
#include "recordings/recording.hpp"

namespace kxhost_test {
namespace {

constexpr uint32_t curveColour = 0xFF1F5FA8;

// The pane of a picture of the standard size.
constexpr int left = 100, top = 48, right = 1167, bottom = 417;

class Image : public PngImage {
public:
  using PngImage::PngImage;

  bool isCurve(int x, int y) const { return pixel(x, y) == curveColour; }

  /// Rows of the curve in a column of the pane.
  std::vector<int> curveIn(int x) const {
    std::vector<int> rows;
    for (int y = top; y <= height() - 63; ++y) {
      if (isCurve(x, y)) {
        rows.push_back(y);
      }
    }
    return rows;
  }
};

/// What the line about the cursor says.
struct CursorLine {
  int x, y;
  uint64_t frame;
  double time, value;
};

class ViewTest : public KxhostTest {
protected:
  std::string picture() const { return path("out.png"); }

  /// Draws a picture and returns what is said.
  std::string draw(const std::string& file, std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"view", file, "-o", picture()});
    const Outcome outcome = run(options);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return outcome.out;
  }

  CursorLine cursor(const std::string& file, int x, int y, std::vector<std::string> options = {}) const {
    options.push_back("--cursor=" + std::to_string(x) + ',' + std::to_string(y));
    const std::string said = draw(file, options);
    const std::regex line(
        "cursor at (\\d+),(\\d+): curve at (\\d+),(\\d+), sample (\\d+) at (\\S+) s, value (\\S+).*\n");
    std::smatch parts;
    if (!std::regex_search(said, parts, line)) {
      ADD_FAILURE() << said;
      return {};
    }
    EXPECT_EQ(std::stoi(parts[1]), x);
    EXPECT_EQ(std::stoi(parts[2]), y);
    return {std::stoi(parts[3]), std::stoi(parts[4]), std::stoull(parts[5]), std::stod(parts[6]), std::stod(parts[7])};
  }

  template <class T>
  std::string writeFloats(const std::string& name, const std::vector<T>& samples, int rate = 48000) const {
    return writeAudio(name, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, samples, rate);
  }

  void expectViewRefused(const std::string& file, const std::string& reason,
                         std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"view", file, "-o", picture()});
    expectRefused(options, file, reason);
    EXPECT_FALSE(std::filesystem::exists(picture()));
  }
};

std::vector<float> sine(size_t count, double cycles) {
  std::vector<float> samples;
  for (size_t i = 0; i < count; ++i) {
    samples.push_back(static_cast<float>(
        std::sin(2 * std::numbers::pi * cycles * static_cast<double>(i) / static_cast<double>(count))));
  }
  return samples;
}

/// A linear axis gets 6 % of air on both sides.
int rowOf(double value, double minimum, double maximum) {
  const double air = 0.06 * (maximum - minimum);
  const double share = (value - minimum + air) / (maximum - minimum + 2 * air);
  return bottom - static_cast<int>((bottom - top) * share + 0.5);
}

TEST_F(ViewTest, ThePictureHasTheSizeAskedForAndNothingElseIsLeft) {
  const std::string file = writeFloats("a.wav", sine(5000, 3));
  EXPECT_EQ(draw(file), picture() + ": 5000 samples from 0 s to 0.1041666667 s\n");
  const Image standard(picture());
  EXPECT_EQ(standard.width(), 1200);
  EXPECT_EQ(standard.height(), 480);
  EXPECT_TRUE(standard.isCurve(left, rowOf(0, -1, 1)));
  draw(file, {"--width", "331", "--height", "240"});
  const Image small(picture());
  EXPECT_EQ(small.width(), 331);
  EXPECT_EQ(small.height(), 240);
  EXPECT_TRUE(small.isCurve(left, (top + 240 - 63) / 2));
  EXPECT_EQ(filesPresent(), (std::vector<std::string>{"a.wav", "out.png"}));
}

TEST_F(ViewTest, EachColumnIsCoveredFromItsMinimumToItsMaximumAndNoFurther) {
  // The second of three channels, of a full-scale integer file.
  const auto samples = as<int16_t>(noise(3 * 40000, 16));
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 3, samples);
  draw(file, {"--channel", "2"});
  std::vector<double> values;
  for (size_t i = 1; i < samples.size(); i += 3) {
    values.push_back(samples[i] / 32768.0);
  }
  const auto [minimum, maximum] = std::minmax_element(values.begin(), values.end());
  std::vector<int> lowest(right - left + 1, 0), highest(right - left + 1, 1000);
  for (size_t i = 0; i < values.size(); ++i) {
    const auto column = static_cast<size_t>((right - left) * (static_cast<double>(i) / 40000.0) + 0.5);
    const int row = rowOf(values[i], *minimum, *maximum);
    lowest[column] = std::max(lowest[column], row);
    highest[column] = std::min(highest[column], row);
  }
  const Image image(picture());
  for (size_t column = 0; column < lowest.size(); ++column) {
    const auto rows = image.curveIn(left + static_cast<int>(column));
    ASSERT_FALSE(rows.empty()) << column;
    // The lines from and to the columns beside it stay between the values that they join.
    const size_t before = column > 0 ? column - 1 : column, after = std::min(column + 1, lowest.size() - 1);
    EXPECT_LE(rows.front(), highest[column]) << column;
    EXPECT_GE(rows.back(), lowest[column]) << column;
    EXPECT_GE(rows.front(), std::min({highest[before], highest[column], highest[after]})) << column;
    EXPECT_LE(rows.back(), std::max({lowest[before], lowest[column], lowest[after]})) << column;
    EXPECT_EQ(rows.size(), static_cast<size_t>(rows.back() - rows.front() + 1)) << column;
  }
}

TEST_F(ViewTest, ALineLeadsFromTheLastSampleOfAColumnToTheFirstOfTheNext) {
  // The step lies within a column, and where one block that is read ends and the next begins.
  std::vector<float> samples(40000);
  std::fill(samples.begin() + kxrecordings::blockFrames, samples.end(), 1.0F);
  draw(writeFloats("a.wav", samples));
  const int x = left + static_cast<int>((right - left) * (kxrecordings::blockFrames / 40000.0) + 0.5);
  const Image image(picture());
  EXPECT_EQ(image.curveIn(x - 1), std::vector<int>{rowOf(0, 0, 1)});
  EXPECT_EQ(image.curveIn(x).size(), static_cast<size_t>(rowOf(0, 0, 1) - rowOf(1, 0, 1) + 1));
  EXPECT_EQ(image.curveIn(x + 1), std::vector<int>{rowOf(1, 0, 1)});
}

TEST_F(ViewTest, ASpikeInTenMillionSamplesIsSeenAndFound) {
  constexpr size_t spike = 7'654'321, count = 10'000'000;
  std::vector<int16_t> samples(count);
  samples[spike] = 30000;
  const std::string file = writeRaw("a.raw", samples);
  const int x = left + static_cast<int>((right - left) * (static_cast<double>(spike) / count) + 0.5);
  const int y = rowOf(1, 0, 1);
  const CursorLine found = cursor(file, x - 20, y + 5, {"--raw", "int16", "--channels", "1", "--rate", "48000"});
  EXPECT_EQ(found.x, x);
  EXPECT_EQ(found.frame, spike);
  EXPECT_NEAR(found.time, spike / 48000.0, 1e-6);
  EXPECT_EQ(found.value, 0.915527344);
  const Image image(picture());
  for (const int column : {x - 30, x + 30}) {
    EXPECT_EQ(image.curveIn(column), std::vector<int>{rowOf(0, 0, 1)});
  }
  draw(file, {"--raw", "int16", "--channels", "1", "--rate", "48000"});
  EXPECT_EQ(Image(picture()).curveIn(x).front(), y);
}

TEST_F(ViewTest, TheCursorFindsTheNearestPixelOfTheCurveAndNeverTextAxesOrGrid) {
  const std::vector<float> samples = sine(20000, 2.5);
  const std::string file = writeFloats("a.wav", samples);
  draw(file);
  const Image plain(picture());
  // In the middle, on grid lines, at the plot's edges and corners, on titles, tick labels and axes.
  for (const auto& [x, y] : std::vector<std::pair<int, int>>{{600, 230},
                                                             {100, 48},
                                                             {1167, 417},
                                                             {1167, 48},
                                                             {120, 22},
                                                             {633, 462},
                                                             {16, 232},
                                                             {85, 232},
                                                             {99, 300},
                                                             {600, 418},
                                                             {0, 0},
                                                             {1199, 479},
                                                             {300, 233},
                                                             {411, 60},
                                                             {412, 60},
                                                             {413, 60},
                                                             {414, 60},
                                                             {901, 400}}) {
    SCOPED_TRACE(std::to_string(x) + ',' + std::to_string(y));
    const CursorLine found = cursor(file, x, y);
    EXPECT_TRUE(plain.isCurve(found.x, found.y));
    double least = std::numeric_limits<double>::infinity();
    for (int column = left; column <= right; ++column) {
      for (const int row : plain.curveIn(column)) {
        least = std::min(least, std::hypot(column - x, row - y));
      }
    }
    EXPECT_LE(std::hypot(found.x - x, found.y - y), least + 1);  // odd columns count as one farther to the right
    ASSERT_LT(found.frame, samples.size());
    EXPECT_NEAR(found.time, static_cast<double>(found.frame) / 48000, 1e-9);
    EXPECT_NEAR(found.value, static_cast<double>(samples[found.frame]), 1e-8);
    const auto column = static_cast<int>((right - left) * (static_cast<double>(found.frame) / 20000) + 0.5);
    EXPECT_NEAR(left + column, found.x, 1);
    EXPECT_NEAR(rowOf(found.value, -1, 1), found.y, 3);
  }
}

TEST_F(ViewTest, BetweenSamplesFarApartTheCursorReadsTheNearerOne) {
  const std::string file = writeFloats("a.wav", std::vector<float>{0, 1, 0}, 10);
  const CursorLine found = cursor(file, 300, 240);
  EXPECT_GT(found.x, left);
  EXPECT_LT(found.x, left + 1067 / 3);
  EXPECT_LE(found.frame, 1U);
  EXPECT_EQ(cursor(file, left + 1067 / 3 - 40, top).frame, 1U);
  EXPECT_EQ(cursor(file, left + 40, bottom).frame, 0U);
}

TEST_F(ViewTest, FromAndToSelectSamplesAndTheAxis) {
  std::vector<float> samples(1000);
  samples[500] = 1;
  const std::string file = writeFloats("a.wav", samples, 1000);
  EXPECT_EQ(draw(file, {"--from", "0.4", "--to", "0.6"}), picture() + ": 200 samples from 0.4 s to 0.6 s\n");
  const auto rows = Image(picture()).curveIn((left + right + 1) / 2);
  ASSERT_FALSE(rows.empty());
  EXPECT_EQ(rows.front(), rowOf(1, 0, 1));
  EXPECT_EQ(draw(file, {"--from", "0.501"}), picture() + ": 499 samples from 0.501 s to 1 s\n");
  EXPECT_EQ(draw(file, {"--to", "0.5"}), picture() + ": 500 samples from 0 s to 0.5 s\n");
  EXPECT_EQ(draw(file, {"--from", "0.0001", "--to", "0.9999"}), picture() + ": 1000 samples from 0 s to 1 s\n");
  EXPECT_EQ(cursor(file, left, 300, {"--from", "0.4", "--to", "0.6"}).frame, 400U);
}

TEST_F(ViewTest, SelectionsThatLieOutsideOrHoldNothingAreRefused) {
  const std::string file = writeFloats("a.wav", std::vector<float>(1000, 0.5F), 1000);
  for (const char* time : {"nan", "inf", ""}) {
    expectMisuse({"view", file, "-o", picture(), "--from", time}, "is not a finite number");
    expectMisuse({"view", file, "-o", picture(), "--scale", time}, "is not a finite number");
  }
  for (const char* time : {"-0.1", "1.1", "1e300"}) {
    expectViewRefused(file, "lies outside of the recording, which goes from 0 to 1", {"--from", time});
    expectViewRefused(file, "lies outside of the recording, which goes from 0 to 1", {"--to", time});
  }
  expectViewRefused(file, "nothing is selected", {"--from", "1"});
  expectViewRefused(file, "nothing is selected", {"--to", "0"});
  expectViewRefused(file, "nothing is selected", {"--from", "0.5", "--to", "0.5"});
  expectViewRefused(file, "nothing is selected", {"--from", "0.6", "--to", "0.4"});
  expectViewRefused(file, "nothing is selected", {"--from", "0.5001", "--to", "0.5004"});
  expectViewRefused(file, "begins after time 0", {"--to", "0.001", "--x-axis", "log"});
  expectViewRefused(file, "too short for a logarithmic time axis", {"--from", "0.9", "--x-axis", "log"});
  expectViewRefused(writeFloats("empty.wav", std::vector<float>{}), "holds no samples to draw");
}

TEST_F(ViewTest, ChannelsThatAreNotThereAreRefused) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, std::vector<float>(20, 1));
  expectViewRefused(file, "has no channel 3, they are numbered 1 to 2", {"--channel", "3"});
  for (const char* channel : {"0", "-1", "1.5", ""}) {
    expectMisuse({"view", file, "-o", picture(), "--channel", channel}, "is not a whole number from 1 to 2147483647");
  }
}

TEST_F(ViewTest, ValuesAreScaledAsTold) {
  const int wav = SF_FORMAT_WAV;
  const std::string eight = writeAudio("8.wav", wav | SF_FORMAT_PCM_U8, 1, std::vector<int16_t>(9, 64 * 256));
  const std::string sixteen = writeAudio("16.wav", wav | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(9, -8192));
  const std::string twentyFour = writeAudio("24.wav", wav | SF_FORMAT_PCM_24, 1, std::vector<int32_t>(9, 3 << 28));
  const std::string thirtyTwo = writeAudio("32.wav", wav | SF_FORMAT_PCM_32, 1, std::vector<int32_t>(9, 5 << 28));
  const std::string single = writeFloats("float.wav", std::vector<float>(9, 1.5F));
  const std::string twice = writeAudio("double.wav", wav | SF_FORMAT_DOUBLE, 1, std::vector<double>(9, 2.5));
  EXPECT_EQ(cursor(eight, 600, 200).value, 0.5);
  EXPECT_EQ(cursor(sixteen, 600, 200).value, -0.25);
  EXPECT_EQ(cursor(twentyFour, 600, 200).value, 0.375);
  EXPECT_EQ(cursor(thirtyTwo, 600, 200).value, 0.625);
  EXPECT_EQ(cursor(single, 600, 200).value, 1.5);
  EXPECT_EQ(cursor(twice, 600, 200).value, 2.5);
  EXPECT_EQ(cursor(sixteen, 600, 200, {"--scale", "0.5"}).value, -4096);
  EXPECT_EQ(cursor(sixteen, 600, 200, {"--offset", "-8"}).value, -8200);
  EXPECT_EQ(cursor(twice, 600, 200, {"--scale", "10", "--offset", "-5"}).value, 20);
  EXPECT_NE(draw(single, {"--unit", "mV", "--cursor", "600,200"}).find(", value 1.5 mV\n"), std::string::npos);
}

TEST_F(ViewTest, LogarithmicAndDecibelAxesShowMagnitudes) {
  std::vector<float> samples(3000, 1);
  std::fill(samples.begin() + 1000, samples.begin() + 2000, -0.1F);
  std::fill(samples.begin() + 2000, samples.end(), 0.01F);
  const std::string file = writeFloats("a.wav", samples);
  for (const char* scale : {"log", "db"}) {
    SCOPED_TRACE(scale);
    draw(file, {"--y-axis", scale});
    const Image image(picture());
    EXPECT_EQ(image.curveIn(250), std::vector<int>{top});
    const auto middle = image.curveIn(630);
    ASSERT_EQ(middle.size(), 1U);
    EXPECT_NEAR(middle[0], (top + bottom) / 2, 1);
    const auto low = image.curveIn(1000);
    ASSERT_EQ(low.size(), 1U);
    EXPECT_NEAR(low[0], bottom, 1);
    EXPECT_NEAR(cursor(file, 630, 300, {"--y-axis", scale}).value, -0.1, 1e-8);
  }
  EXPECT_NE(draw(file, {"--y-axis", "db", "--cursor", "630,300"}).find("value -0.100000001 (-20 dB)"),
            std::string::npos);
}

TEST_F(ViewTest, LogarithmicAndDecibelAxesCoverSixDecadesAndZerosLieAtTheirLowerEnd) {
  std::vector<float> samples(3000, 1);
  std::fill(samples.begin() + 1000, samples.begin() + 2000, 0.0F);
  std::fill(samples.begin() + 2600, samples.end(), 0.001F);
  samples[2500] = 1e-30F;
  const std::string file = writeFloats("a.wav", samples);
  for (const char* scale : {"log", "db"}) {
    SCOPED_TRACE(scale);
    draw(file, {"--y-axis", scale});
    const Image image(picture());
    EXPECT_EQ(image.curveIn(250), std::vector<int>{top});
    EXPECT_EQ(image.curveIn(630), std::vector<int>{bottom});
    const auto middle = image.curveIn(1100);
    ASSERT_EQ(middle.size(), 1U);
    EXPECT_NEAR(middle[0], (top + bottom) / 2, 1);
    EXPECT_EQ(image.curveIn(left + static_cast<int>(1067 * 2500 / 3000.0 + 0.5)).back(), bottom);
  }
}

TEST_F(ViewTest, ALogarithmicTimeAxisBeginsAfterTimeZero) {
  // Four decades: 1 ms to 10 s. The step lies in the middle.
  std::vector<float> samples(10000, 1);
  std::fill(samples.begin(), samples.begin() + 100, 0.0F);
  samples[0] = -7;  // has no place
  const std::string file = writeFloats("a.wav", samples, 1000);
  EXPECT_EQ(draw(file, {"--x-axis", "log"}), picture() + ": 9999 samples from 0.001 s to 10 s\n");
  const Image image(picture());
  const int step = (left + right + 1) / 2;
  EXPECT_EQ(image.curveIn(step - 10), std::vector<int>{rowOf(0, 0, 1)});
  EXPECT_EQ(image.curveIn(step + 10), std::vector<int>{rowOf(1, 0, 1)});
  // 10 ms: a decade after the beginning.
  const CursorLine found = cursor(file, left + 1067 / 4, rowOf(0, 0, 1), {"--x-axis", "log"});
  EXPECT_NEAR(found.x, left + 1067 / 4, 2);
  EXPECT_EQ(found.frame, 10U);
  EXPECT_EQ(found.time, 0.01);
  const std::string both = draw(file, {"--x-axis", "log", "--y-axis", "log"});
  EXPECT_EQ(Image(picture()).curveIn(step + 10), std::vector<int>{top});
}

TEST_F(ViewTest, NansAreGapsAndInfinitiesLieAtTheEnds) {
  std::vector<float> samples = sine(3000, 3);
  std::fill(samples.begin() + 1000, samples.begin() + 1500, std::numeric_limits<float>::quiet_NaN());
  samples[2500] = std::numeric_limits<float>::infinity();
  samples[2600] = -std::numeric_limits<float>::infinity();
  for (size_t i = 2001; i < 2200; i += 2) {
    samples[i] = std::numeric_limits<float>::quiet_NaN();
  }
  const std::string file = writeFloats("a.wav", samples);
  draw(file);
  const Image image(picture());
  const auto columnOf = [](double frame) { return left + static_cast<int>((right - left) * frame / 3000 + 0.5); };
  for (int x = left; x <= right; ++x) {
    EXPECT_EQ(image.curveIn(x).empty(), x > columnOf(999) && x < columnOf(1500)) << x;
  }
  EXPECT_EQ(image.curveIn(columnOf(2500)).front(), top);
  EXPECT_FALSE(image.isCurve(columnOf(2500), top - 1));
  EXPECT_EQ(image.curveIn(columnOf(2600)).back(), bottom);
  EXPECT_TRUE(image.isCurve(columnOf(250), rowOf(std::sin(std::numbers::pi / 2), -1, 1)));
  const CursorLine found = cursor(file, columnOf(1200), 233);
  EXPECT_EQ(found.frame, 999U);
}

TEST_F(ViewTest, WithoutACurveTheCursorSaysSo) {
  const std::string file = writeFloats("a.wav", std::vector<float>(99, std::numeric_limits<float>::quiet_NaN()));
  EXPECT_NE(draw(file, {"--cursor", "600,200"}).find("\ncursor at 600,200: no curve\n"), std::string::npos);
}

TEST_F(ViewTest, RecordingsOfEveryShapeCanBeDrawn) {
  struct Shape {
    std::string file;
    int column;
    std::map<std::string, double> heights;  // of the curve there, by the scale: 0 at the bottom, 1 at the top
  };
  const auto onLinearAxis = [](double share) { return (share + 0.06) / 1.12; };  // between the extremes
  const int quarter = left + (right - left) / 4;
  const float infinity = std::numeric_limits<float>::infinity();
  const std::string csv = writeText("a.csv", "name,a,b\nx,1,2\ny,3,1e308\nz,-1,-1e308\n");
  for (const Shape& shape : {
           // 5 on axes from 1 to 10 and from 0 dB to 20 dB
           Shape{writeFloats("one.wav", std::vector<float>{5}),
                 left,
                 {{"lin", 0.5}, {"log", std::log10(5)}, {"db", std::log10(5)}}},
           {writeFloats("two.wav", std::vector<float>{5, 6}),
            left,
            {{"lin", onLinearAxis(0)}, {"log", std::log10(5)}, {"db", std::log10(5)}}},
           {writeFloats("silence.wav", std::vector<float>(999)), quarter, {{"lin", 0.5}, {"log", 0}, {"db", 0}}},
           {writeFloats("tiny.wav", std::vector<float>{1e-45F, 0}),
            left,
            {{"lin", onLinearAxis(1)}, {"log", 0}, {"db", 0}}},
           {writeFloats("infinite.wav", std::vector<float>(9, infinity)), quarter, {{"lin", 1}, {"log", 1}, {"db", 1}}},
           {writeFloats("not utf-8 \xFF\n.wav", sine(100, 1)),
            quarter,
            {{"lin", onLinearAxis(1)}, {"log", 1}, {"db", 1}}},
           // 1 on axes from 1 to 10 and from -10 dB to 10 dB
           {csv, left, {{"lin", 0.5}, {"log", 0}, {"db", 0.5}}},
       }) {
    for (const auto& [scale, height] : shape.heights) {
      SCOPED_TRACE(shape.file + ' ' + scale);
      draw(shape.file, {"--y-axis", scale});
      const Place place{static_cast<double>(shape.column), bottom - height * (bottom - top)};
      EXPECT_TRUE(PngImage(picture()).isNear(place, "rgb(31,95,168)"));
      std::filesystem::remove(picture());
    }
  }
  const Outcome outcome = run({"view", csv, "-o", picture(), "--column", "b", "--cursor", "110,400"});
  EXPECT_EQ(outcome.out, picture() +
                             ": 3 samples from 0 to 3\n"
                             "cursor at 110,400: curve at 102,234, sample 0, value 2\n");
  const Outcome noted = run({"view", csv, "-o", picture(), "--channel", "2"});
  EXPECT_EQ(noted.code, 0);
  EXPECT_EQ(noted.err, "kxhost: " + csv + ": column name holds text and is left out\n");
}

TEST_F(ViewTest, EveryLibraryDrawsTheSamePicture) {
  const std::string file = writeFloats("a.wav", sine(30000, 40));
  for (const char* scale : {"lin", "log", "db"}) {
    draw(file, {"--y-axis", scale, "--cursor", "600,200"});
    const std::string standard = read(picture());
    std::istringstream libraries(KXHOST_LIBRARIES);
    for (std::string library; std::getline(libraries, library, ':');) {
      draw(file, {"--y-axis", scale, "--cursor", "600,200", "--library", library});
      EXPECT_TRUE(read(picture()) == standard) << library << ' ' << scale;
    }
  }
}

TEST_F(ViewTest, NothingIsLeftAfterAFailureAndAnOlderPictureStays) {
  const std::string file = writeFloats("a.wav", sine(5000, 3));
  const std::string broken = cut(file, "cut.wav", 1);
  const std::string badRow = writeText("bad.csv", "a\n1\nx\n");
  expectViewRefused(path("none.wav"), "no such file");
  expectViewRefused(broken, "is truncated", {"--strict"});
  expectViewRefused(badRow, "not a number");
  expectRefused({"view", file, "-o", path("nowhere/out.png")}, path("nowhere/out.png"),
                "cannot be written: No such file or directory");
  std::filesystem::create_directory(path("folder.png"));
  expectRefused({"view", file, "-o", path("folder.png")}, path("folder.png"), "is a directory");
  std::filesystem::create_symlink("/dev/null", path("null.png"));
  expectRefused({"view", file, "-o", path("null.png")}, path("null.png"), "is not a regular file");
  const std::string older = writeText("older.png", "an older picture");
  expectRefused({"view", badRow, "-o", older}, badRow, "not a number");
  EXPECT_EQ(read(older), "an older picture");
  EXPECT_EQ(filesPresent(),
            (std::vector<std::string>{"a.wav", "bad.csv", "cut.wav", "folder.png", "null.png", "older.png"}));
}

}  // namespace
}  // namespace kxhost_test
