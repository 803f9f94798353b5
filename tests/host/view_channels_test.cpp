// `kxhost view` of several channels, two cursors, prefixed units and the cycles of the mains.
#include <array>
#include <cmath>
#include <numbers>
#include <regex>

#include "host/kxhost_test.hpp"
#include "host/png_image.hpp"

namespace kxhost_test {
namespace {

constexpr std::array<uint32_t, 3> colours{0xFF1F5FA8, 0xFFE08A1E, 0xFF2E7D32};
constexpr int left = 100, top = 48, right = 1167, bottom = 417;  // of a picture's only pane
constexpr int upperBottom = 225, lowerTop = 240;                 // of two panes

class ViewChannelsTest : public KxhostTest {
protected:
  std::string picture() const { return path("out.png"); }

  std::string draw(const std::string& file, std::vector<std::string> options) const {
    options.insert(options.begin(), {"view", file, "-o", picture()});
    const Outcome outcome = run(options);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return outcome.out;
  }

  /// A recording of constants, a channel each.
  std::string levels(const std::vector<float>& values) const {
    std::vector<float> samples;
    for (int frame = 0; frame < 2000; ++frame) {
      samples.insert(samples.end(), values.begin(), values.end());
    }
    return writeAudio("levels.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, static_cast<int>(values.size()), samples, 1000);
  }
};

/// Rows of a colour in a column of pixels.
std::vector<int> rowsOf(const PngImage& image, uint32_t colour, int x) {
  std::vector<int> rows;
  for (int y = top; y <= bottom; ++y) {
    if (image.pixel(x, y) == colour) {
      rows.push_back(y);
    }
  }
  return rows;
}

/// A linear axis gets 6 % of air on both sides.
int rowIn(int high, int low, double value, double minimum, double maximum) {
  const double air = 0.06 * (maximum - minimum);
  return low - static_cast<int>((low - high) * (value - minimum + air) / (maximum - minimum + 2 * air) + 0.5);
}

TEST_F(ViewChannelsTest, ChannelsLieOverOneAnotherOnOneAxisInTheirColours) {
  const std::string file = levels({0, 1, 4, 9});
  draw(file, {"--channel", "3,1,2"});
  const PngImage image(picture());
  for (const int x : {left, 500, right - 1}) {
    EXPECT_EQ(rowsOf(image, colours[0], x), std::vector<int>{rowIn(top, bottom, 4, 0, 4)});
    EXPECT_EQ(rowsOf(image, colours[1], x), std::vector<int>{rowIn(top, bottom, 0, 0, 4)});
    EXPECT_EQ(rowsOf(image, colours[2], x), std::vector<int>{rowIn(top, bottom, 1, 0, 4)});
  }
  // Each has its key right above the pane.
  for (const uint32_t colour : colours) {
    int found = 0;
    for (int x = left; x <= right; ++x) {
      found += image.pixel(x, 39) == colour ? 1 : 0;
    }
    EXPECT_EQ(found, 19);
  }
}

TEST_F(ViewChannelsTest, StackedChannelsHavePanesOfTheirOwn) {
  std::vector<float> samples;
  for (int frame = 0; frame < 2000; ++frame) {
    samples.push_back(frame < 1000 ? 0.0F : 2.0F);
    samples.push_back(frame < 1000 ? 500.0F : 100.0F);
  }
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, samples, 1000);
  draw(file, {"--channel", "1,2", "--stacked"});
  const PngImage image(picture());
  for (const auto& [x, first, second] : {std::array{300, 0, 500}, std::array{900, 2, 100}}) {
    EXPECT_EQ(rowsOf(image, colours[0], x), std::vector<int>{rowIn(top, upperBottom, first, 0, 2)});
    EXPECT_EQ(rowsOf(image, colours[1], x), std::vector<int>{rowIn(lowerTop, bottom, second, 100, 500)});
  }
}

TEST_F(ViewChannelsTest, ACursorReadsTheChannelThatItFinds) {
  const std::string file = levels({0, 1, 4});
  const std::vector<std::string> all{"--channel", "1,2,3"};
  for (const auto& [row, channel, value] : {std::tuple{60, "3", "4"}, {330, "2", "1"}, {400, "1", "0"}}) {
    const std::string said = draw(file, {"--channel", "1,2,3", "--cursor", "600," + std::to_string(row)});
    EXPECT_NE(said.find(std::string(", value ") + value + ", channel " + channel + "\n"), std::string::npos) << said;
  }
  for (const auto& [row, channel] : {std::pair{200, "1"}, {231, "1"}, {234, "2"}, {400, "2"}}) {
    const std::string said = draw(file, {"--channel", "1,2", "--stacked", "--cursor", "600," + std::to_string(row)});
    EXPECT_NE(said.find(std::string(", channel ") + channel + "\n"), std::string::npos) << row << said;
  }
}

TEST_F(ViewChannelsTest, TwoCursorsTellTheTimeAndTheValueBetweenThem) {
  std::vector<float> samples;
  for (int frame = 0; frame < 1000; ++frame) {
    samples.push_back(frame < 500 ? 0.25F : 1.75F);
  }
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, samples, 1000);
  const std::string said = draw(file, {"--unit", "V", "--cursor", "300,400", "--cursor", "900,60"});
  const std::regex expected(
      "cursor at 300,400: curve at 300,\\d+, sample (\\d+) at \\S+ s, value 0.25 V\n"
      "cursor at 900,60: curve at 900,\\d+, sample (\\d+) at \\S+ s, value 1.75 V\n"
      "between the cursors: \u0394t (\\S+) s, 1/\u0394t (\\S+) Hz, \u0394 value (\\S+) V\n");
  std::smatch parts;
  ASSERT_TRUE(std::regex_search(said, parts, expected)) << said;
  const double seconds = (std::stod(parts[2]) - std::stod(parts[1])) / 1000;
  EXPECT_NEAR(seconds, 600.0 / (right - left), 0.002);
  EXPECT_NEAR(std::stod(parts[3]), seconds, 1e-9);
  EXPECT_NEAR(std::stod(parts[4]), 1 / seconds, 1e-6);
  EXPECT_EQ(std::stod(parts[5]), 1.5);
  // Crosshairs through both.
  const PngImage image(picture());
  EXPECT_EQ(image.pixel(300, 100), 0xFFC03020);
  EXPECT_EQ(image.pixel(900, 300), 0xFFC03020);

  const std::string back = draw(file, {"--y-axis", "db", "--cursor", "900,60", "--cursor", "300,400"});
  EXPECT_NE(back.find("\u0394t -0."), std::string::npos) << back;
  EXPECT_NE(back.find("\u0394 value -1.5 (-16.902 dB)\n"), std::string::npos) << back;
  const std::string same = draw(file, {"--cursor", "300,400", "--cursor", "300,400"});
  EXPECT_NE(same.find("between the cursors: \u0394t 0 s, \u0394 value 0\n"), std::string::npos) << same;
  EXPECT_EQ(draw(file, {"--cursor", "300,400"}).find("between"), std::string::npos);
}

TEST_F(ViewChannelsTest, DifferentUnitsHaveNoDifferenceAndSamplesNoFrequency) {
  const std::string file = writeText("a.csv", "Ua [V],Ia [A]\n1,2\n1,2\n1,2\n");
  const std::string said = draw(file, {"--channel", "1,2", "--cursor", "300,400", "--cursor", "1100,60"});
  EXPECT_NE(said.find("value 1 V, channel Ua [V]\n"), std::string::npos) << said;
  EXPECT_NE(said.find("value 2 A, channel Ia [A]\n"), std::string::npos) << said;
  const size_t between = said.find("between the cursors: \u0394t ");
  ASSERT_NE(between, std::string::npos) << said;
  EXPECT_TRUE(said.substr(between).ends_with(" samples\n")) << said;
}

/// 0.05 V are drawn, ticks, labels and titles, as 50 mV are.
TEST_F(ViewChannelsTest, AxesTakePrefixes) {
  std::vector<double> volts, millivolts;
  for (int i = 0; i < 4000; ++i) {
    millivolts.push_back(50 * std::sin(2 * std::numbers::pi * i / 1000));
    volts.push_back(millivolts.back() / 1000);
  }
  const auto drawn = [&](const std::vector<double>& samples, const char* unit) {
    draw(writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, samples, 8000), {"--unit", unit});
    return read(picture());
  };
  EXPECT_TRUE(drawn(volts, "V") == drawn(millivolts, "mV"));
  EXPECT_FALSE(drawn(volts, "V") == drawn(volts, "parts"));
}

TEST_F(ViewChannelsTest, TheCyclesOfTheMainsHaveTheirRms) {
  std::vector<double> samples;
  for (int i = 0; i < 10000; ++i) {
    const double size = i < 5000 ? 325 : 200;
    samples.push_back(size * std::sin(2 * std::numbers::pi * std::fmod(50 * i / 10000.0, 1)));
    samples.push_back(1);
  }
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, samples, 10000);
  const std::string said = draw(file, {"--channel", "1,2", "--stacked", "--unit", "V", "--cycle-rms"});
  std::smatch parts;
  ASSERT_TRUE(std::regex_search(
      said, parts,
      std::regex("channel 1: (\\d+) cycles of (\\S+) Hz on the average, rms per cycle from (\\S+) V to (\\S+) V\n"
                 "channel 2: no mains is to be seen\n")))
      << said;
  EXPECT_NEAR(std::stod(parts[1]), 49, 1);
  EXPECT_NEAR(std::stod(parts[2]), 50, 0.01);
  EXPECT_NEAR(std::stod(parts[3]), 200 / std::sqrt(2.0), 0.2);
  EXPECT_NEAR(std::stod(parts[4]), 325 / std::sqrt(2.0), 0.3);
  const PngImage image(picture());
  constexpr uint32_t darkBlue = 0xFF0F2F54;
  for (const auto& [x, rms] : {std::pair{350, 325 / std::sqrt(2.0)}, {900, 200 / std::sqrt(2.0)}}) {
    const auto rows = rowsOf(image, darkBlue, x);
    ASSERT_EQ(rows.size(), 2U) << x;
    EXPECT_NEAR(rows.front(), rowIn(top, upperBottom, rms, -325, 325), 1) << x;
  }
  expectRefused({"view", writeText("a.csv", "a\n1\n2\n"), "-o", picture(), "--cycle-rms"}, path("a.csv"), "--rate");
}

TEST_F(ViewChannelsTest, MoreChannelsThanThereIsRoomForAreRefused) {
  const std::string file = levels({1, 2, 3, 4, 5, 6, 7, 8, 9});
  expectRefused({"view", file, "-o", picture(), "--channel", "1,2,3,4,5,6,7,8,9"}, file,
                "a picture of 480 pixels has room for 8 channels, not for 9");
  expectRefused({"view", file, "-o", picture(), "--height", "240", "--stacked", "--channel", "1,2,3"}, file,
                "a picture of 240 pixels has room for 2 channels, not for 3");
  draw(file, {"--channel", "1,2,3,4,5,6,7,8"});
  draw(file, {"--channel", "1,2,3,4,5,6", "--stacked"});
  expectMisuse({"view", file, "-o", picture(), "--cursor", "1,1", "--cursor", "2,2", "--cursor", "3,3"}, "two at most");
}

}  // namespace
}  // namespace kxhost_test
