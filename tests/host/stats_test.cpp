// The figures of `kxhost stats`, against values computed here one sample at a time in extended precision.
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <sstream>

#include "host/kxhost_test.hpp"
#include "recordings/recording.hpp"

namespace kxhost_test {
namespace {

using kxrecordings::blockFrames;

struct Figures {
  double minimum, maximum, average, rms, acRms;
};

template <class T>
Figures figuresOf(const std::vector<T>& interleaved, size_t channel, size_t channels) {
  Figures figures{std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(), 0, 0, 0};
  long double sum = 0, squares = 0, alternating = 0, count = 0;
  for (size_t i = channel; i < interleaved.size(); i += channels, ++count) {
    figures.minimum = std::min(figures.minimum, static_cast<double>(interleaved[i]));
    figures.maximum = std::max(figures.maximum, static_cast<double>(interleaved[i]));
    sum += static_cast<long double>(interleaved[i]);
    squares += static_cast<long double>(interleaved[i]) * static_cast<long double>(interleaved[i]);
  }
  for (size_t i = channel; i < interleaved.size(); i += channels) {
    const long double distance = static_cast<long double>(interleaved[i]) - sum / count;
    alternating += distance * distance;
  }
  figures.average = static_cast<double>(sum / count);
  figures.rms = static_cast<double>(std::sqrt(squares / count));
  figures.acRms = static_cast<double>(std::sqrt(alternating / count));
  return figures;
}

/// @param tolerance  of the sums, relative to the RMS.
template <class T>
void expectFigures(const nlohmann::json& file, const std::vector<T>& interleaved, double tolerance) {
  const auto& channels = file.at("channels");
  ASSERT_EQ(file.at("samples"), interleaved.size() / channels.size());
  for (size_t i = 0; i < channels.size(); ++i) {
    SCOPED_TRACE("channel " + std::to_string(i + 1));
    const Figures expected = figuresOf(interleaved, i, channels.size());
    EXPECT_EQ(channels[i].at("minimum"), expected.minimum);
    EXPECT_EQ(channels[i].at("maximum"), expected.maximum);
    EXPECT_NEAR(channels[i].at("average"), expected.average, tolerance * expected.rms);
    EXPECT_NEAR(channels[i].at("rms"), expected.rms, tolerance * expected.rms);
    EXPECT_NEAR(channels[i].at("ac_rms"), expected.acRms, tolerance * expected.rms);
    const double peak = std::max(std::abs(expected.minimum), std::abs(expected.maximum));
    EXPECT_NEAR(channels[i].at("crest_factor"), peak / expected.rms, tolerance * peak / expected.rms);
    EXPECT_EQ(channels[i].at("nan_samples"), 0);
  }
}

constexpr double exactSums = 1e-14;    // all that is left is the rounding of quotients and roots
constexpr double doubleSums = 1e-12;   // of sums in double
constexpr double singleOffset = 1e-6;  // of an offset added in single precision

class StatsTest : public KxhostTest {};

TEST_F(StatsTest, FiguresAreRightAtEveryLengthAroundBlockBorders) {
  const int wav = SF_FORMAT_WAV;
  for (const size_t frames :
       {size_t{1}, size_t{2}, size_t{3}, size_t{4}, size_t{7}, size_t{8}, size_t{9}, blockFrames - 1, blockFrames,
        blockFrames + 1, blockFrames + 2, blockFrames + 3, blockFrames + 4, blockFrames + 7, blockFrames + 8,
        2 * blockFrames - 1, 2 * blockFrames + 5}) {
    for (const int channels : {1, 2}) {
      SCOPED_TRACE(std::to_string(frames) + " frames, " + std::to_string(channels) + " channels");
      const size_t count = frames * static_cast<size_t>(channels);
      const auto shorts = as<int16_t>(noise(count, 16));
      const auto longs = noise(count, 32);
      const auto floats = as<float>(noise(count, 32), 0x1p-31);
      const auto doubles = as<double>(noise(count, 32), 0x1p-31);
      const auto results = stats({writeAudio("int16.wav", wav | SF_FORMAT_PCM_16, channels, shorts),
                                  writeAudio("int32.wav", wav | SF_FORMAT_PCM_32, channels, longs),
                                  writeAudio("float.wav", wav | SF_FORMAT_FLOAT, channels, floats),
                                  writeAudio("double.wav", wav | SF_FORMAT_DOUBLE, channels, doubles)});
      expectFigures(results.at(0), shorts, exactSums);
      expectFigures(results.at(1), longs, doubleSums);
      expectFigures(results.at(2), floats, singleOffset);
      expectFigures(results.at(3), doubles, doubleSums);
    }
  }
}

TEST_F(StatsTest, ExtremesCountWhereverTheyStand) {
  const size_t frames = 2 * blockFrames + 5;
  for (const size_t peak : {size_t{0}, size_t{1}, blockFrames - 1, blockFrames, 2 * blockFrames - 1, 2 * blockFrames,
                            2 * blockFrames + 4}) {
    SCOPED_TRACE("peaks at frame " + std::to_string(peak));
    std::vector<int16_t> samples(2 * frames, 100);
    samples[2 * peak] = 32767;
    samples[2 * peak + 1] = -32768;
    const auto results = stats({writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, samples),
                                writeAudio("b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, samples)});
    expectFigures(results.at(0), samples, exactSums);
    expectFigures(results.at(1), samples, exactSums);
  }
}

TEST_F(StatsTest, ThirtyTwoChannelsStayApart) {
  std::vector<int16_t> samples;
  for (int frame = 0; frame < 5000; ++frame) {
    for (int channel = 0; channel < 32; ++channel) {
      samples.push_back(static_cast<int16_t>(channel * 1000 - 16000 + frame % (channel + 2)));
    }
  }
  const auto results = stats({writeAudio("32.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, 32, samples)});
  ASSERT_EQ(results.at(0).at("channels").size(), 32);
  EXPECT_EQ(results.at(0).at("channels").at(31).at("name"), "32");
  expectFigures(results.at(0), samples, exactSums);
}

TEST_F(StatsTest, AnEmptyRecordingHasARowWithoutFigures) {
  const std::string file = writeAudio("empty.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, std::vector<int16_t>{});
  const auto results = stats({file});
  EXPECT_EQ(results.at(0).at("samples"), 0);
  EXPECT_EQ(results.at(0).at("duration_s"), 0);
  ASSERT_EQ(results.at(0).at("channels").size(), 2);
  for (const char* figure : {"minimum", "maximum", "average", "rms", "ac_rms", "crest_factor"}) {
    EXPECT_TRUE(results.at(0).at("channels").at(1).at(figure).is_null()) << figure;
  }
  const Outcome table = run({"stats", file});
  EXPECT_NE(table.out.find(" - "), std::string::npos) << table.out;
  EXPECT_EQ(table.out.find("nan"), std::string::npos) << table.out;
}

TEST_F(StatsTest, NarrowIntegersAreMeasuredInTheirOwnSteps) {
  const auto steps24 = noise(3000, 24), steps8 = noise(3000, 8);
  const auto justified24 = as<int32_t>(steps24, 256), justified8 = as<int32_t>(steps8, 0x1p24);
  const auto results = stats({writeAudio("24.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, justified24),
                              writeAudio("24.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 2, justified24),
                              writeAudio("u8.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 2, justified8),
                              writeAudio("s8.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, 2, justified8)});
  EXPECT_EQ(results.at(0).at("sample_format"), "int24");
  EXPECT_EQ(results.at(1).at("container"), "flac");
  EXPECT_EQ(results.at(2).at("sample_format"), "uint8");
  expectFigures(results.at(0), steps24, doubleSums);
  expectFigures(results.at(1), steps24, doubleSums);
  expectFigures(results.at(2), steps8, exactSums);
  expectFigures(results.at(3), steps8, exactSums);
}

TEST_F(StatsTest, AllContainersOfTheSameSamplesGiveTheSameFigures) {
  const auto samples = as<int16_t>(noise(20000, 16));
  std::vector<std::string> files;
  for (const int container : {SF_FORMAT_WAV, SF_FORMAT_WAVEX, SF_FORMAT_RF64, SF_FORMAT_W64, SF_FORMAT_AIFF,
                              SF_FORMAT_AU, SF_FORMAT_CAF, SF_FORMAT_FLAC}) {
    files.push_back(writeAudio(std::to_string(container) + ".audio", container | SF_FORMAT_PCM_16, 2, samples));
  }
  for (const auto& result : stats(files)) {
    expectFigures(result, samples, exactSums);
    EXPECT_EQ(result.at("sample_rate_hz"), 48000);
    EXPECT_EQ(result.at("duration_s"), 10000 / 48000.);
  }
}

TEST_F(StatsTest, CompressedRecordingsAreMeasuredAsDecoded) {
  std::vector<float> sine;
  for (int i = 0; i < 48000; ++i) {
    sine.push_back(0.5F * static_cast<float>(std::sin(2 * std::numbers::pi * 440 * i / 48000)));
  }
  for (const auto& result : stats({writeAudio("a.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 1, sine),
                                   writeAudio("a.opus", SF_FORMAT_OGG | SF_FORMAT_OPUS, 1, sine)})) {
    EXPECT_EQ(result.at("samples"), 48000);
    EXPECT_EQ(result.at("unit"), "full scale = 1");
    EXPECT_NEAR(result.at("channels").at(0).at("rms"), 0.5 / std::numbers::sqrt2, 0.01);
  }
}

TEST_F(StatsTest, CodecsThatCannotSeekAreReadTwiceAllTheSame) {
  const auto samples = as<int16_t>(noise(10 * 320, 12));  // whole blocks of the codec
  const auto result = stats({writeAudio("gsm.wav", SF_FORMAT_WAV | SF_FORMAT_GSM610, 1, samples, 8000)}).at(0);
  EXPECT_EQ(result.at("samples"), samples.size());
  const auto& channel = result.at("channels").at(0);
  EXPECT_NEAR(std::hypot(channel.at("ac_rms").get<double>(), channel.at("average").get<double>()), channel.at("rms"),
              1e-9);
}

TEST_F(StatsTest, ASineHasItsTextbookFigures) {
  std::vector<double> samples;
  for (int i = 0; i < 48000; ++i) {
    samples.push_back(3 + 10 * std::sin(2 * std::numbers::pi * 50 * i / 48000));
    samples.push_back(10 * std::cos(2 * std::numbers::pi * 50 * i / 48000));
  }
  const auto channels =
      stats({writeAudio("sine.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 2, samples)}).at(0).at("channels");
  EXPECT_NEAR(channels.at(0).at("average"), 3, 1e-12);
  EXPECT_NEAR(channels.at(0).at("rms"), std::sqrt(9 + 50.), 1e-12);
  EXPECT_NEAR(channels.at(0).at("ac_rms"), std::sqrt(50.), 1e-12);
  EXPECT_NEAR(channels.at(1).at("rms"), 10 / std::numbers::sqrt2, 1e-12);
  EXPECT_NEAR(channels.at(1).at("crest_factor"), std::numbers::sqrt2, 1e-12);
}

TEST_F(StatsTest, ASmallAlternatingPartOnALargeOffsetIsFound) {
  std::vector<int16_t> shorts;
  std::vector<float> floats;
  for (int i = 0; i < 30000; ++i) {
    shorts.push_back(static_cast<int16_t>(32000 + (i % 3 == 0 ? 1 : 0)));
    floats.push_back(i % 2 == 0 ? 1000000.F : 1000000.125F);
  }
  const auto results = stats({writeAudio("shorts.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, shorts),
                              writeAudio("floats.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, floats)});
  EXPECT_NEAR(results.at(0).at("channels").at(0).at("ac_rms"), std::sqrt(2.) / 3, 1e-12);
  EXPECT_NEAR(results.at(1).at("channels").at(0).at("ac_rms"), 0.0625, 1e-9);
}

TEST_F(StatsTest, SilenceHasNoCrestFactor) {
  const std::string file =
      writeAudio("silence.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(10000, 0));
  const auto channel = stats({file}).at(0).at("channels").at(0);
  EXPECT_EQ(channel.at("rms"), 0);
  EXPECT_EQ(channel.at("ac_rms"), 0);
  EXPECT_TRUE(channel.at("crest_factor").is_null());
}

TEST_F(StatsTest, NaNsAreCountedAndNoFigureHidesThem) {
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  for (const size_t frames : {size_t{3}, size_t{100}, 2 * blockFrames + 3}) {
    for (const size_t at : {size_t{0}, size_t{1}, frames - 1}) {
      SCOPED_TRACE(std::to_string(frames) + " frames, NaN at " + std::to_string(at));
      std::vector<float> samples(2 * frames, 0.5F);
      samples[2 * at] = nan;
      const std::string file = writeAudio("nan.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, samples);
      const auto channels = stats({file}).at(0).at("channels");
      EXPECT_EQ(channels.at(0).at("nan_samples"), 1);
      for (const char* figure : {"minimum", "maximum", "average", "rms", "ac_rms", "crest_factor"}) {
        EXPECT_TRUE(channels.at(0).at(figure).is_null()) << figure;
      }
      EXPECT_EQ(channels.at(1).at("nan_samples"), 0);
      EXPECT_EQ(channels.at(1).at("rms"), 0.5);
      EXPECT_NE(run({"stats", file}).out.find(" nan "), std::string::npos);
    }
  }
}

TEST_F(StatsTest, InfinitiesAreNotTakenForNumbers) {
  std::vector<double> samples(1000, 1);
  samples[10] = std::numeric_limits<double>::infinity();
  const auto channel =
      stats({writeAudio("infinite.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, samples)}).at(0).at("channels").at(0);
  EXPECT_EQ(channel.at("minimum"), 1);
  EXPECT_TRUE(channel.at("maximum").is_null());
  EXPECT_TRUE(channel.at("rms").is_null());
  EXPECT_EQ(channel.at("nan_samples"), 0);
}

TEST_F(StatsTest, RawFilesOfEveryTypeAreRead) {
  const auto shorts = as<int16_t>(noise(30000, 16));
  const auto longs = noise(30000, 32);
  const auto floats = as<float>(noise(30000, 32), 0x1p-31);
  const auto doubles = as<double>(noise(30000, 32), 0x1p-31);
  const auto rawStats = [&](const char* type, const std::string& file) {
    return stats({"--raw", type, "--channels", "3", "--rate", "12.5", file}).at(0);
  };
  const auto result = rawStats("int16", writeRaw("int16.raw", shorts));
  EXPECT_EQ(result.at("container"), "raw");
  EXPECT_EQ(result.at("sample_rate_hz"), 12.5);
  EXPECT_EQ(result.at("duration_s"), 800);
  expectFigures(result, shorts, exactSums);
  expectFigures(rawStats("int32", writeRaw("int32.raw", longs)), longs, doubleSums);
  expectFigures(rawStats("float", writeRaw("float.raw", floats)), floats, singleOffset);
  expectFigures(rawStats("double", writeRaw("double.raw", doubles)), doubles, doubleSums);
}

TEST_F(StatsTest, ARateOnTheCommandLineReplacesTheFilesOwn) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(1000, 1));
  EXPECT_EQ(stats({"--rate", "2000", file}).at(0).at("duration_s"), 0.5);
}

TEST_F(StatsTest, WithoutARateThereIsNoDuration) {
  const std::string file = writeRaw("a.raw", std::vector<int16_t>(1000, 1));
  const auto result = stats({"--raw", "int16", "--channels", "1", file}).at(0);
  EXPECT_TRUE(result.at("sample_rate_hz").is_null());
  EXPECT_TRUE(result.at("duration_s").is_null());
}

TEST_F(StatsTest, NumericColumnsOfACsvFileAreItsChannels) {
  std::string text = "Time,Va,Ia\n";
  std::vector<double> samples;
  const auto values = as<double>(noise(2 * (blockFrames + 3), 32), 1e-3);
  for (size_t i = 0; i < values.size(); i += 2) {
    std::ostringstream row;
    row.precision(17);
    row << "12:00:" << i << ',' << values[i] << ',' << values[i + 1] << '\n';
    text += row.str();
  }
  const std::string file = writeText("mains.csv", text);
  const auto result = stats({"--rate", "50000", file}).at(0);
  EXPECT_EQ(result.at("channels").at(0).at("name"), "Va");
  EXPECT_EQ(result.at("channels").at(1).at("name"), "Ia");
  expectFigures(result, values, doubleSums);
  EXPECT_EQ(run({"stats", file}).err, "kxhost: " + file + ": column Time holds text and is left out\n");
}

TEST_F(StatsTest, CsvColumnsCanBeChosen) {
  const std::string file = writeText("abc.csv", "a,b,c\n1,2,3\n4,5,6\n");
  const auto channels = stats({"--column", "c", "--column", "a", file}).at(0).at("channels");
  ASSERT_EQ(channels.size(), 2);
  EXPECT_EQ(channels.at(0).at("name"), "c");
  EXPECT_EQ(channels.at(0).at("maximum"), 6);
  EXPECT_EQ(channels.at(1).at("maximum"), 4);
}

TEST_F(StatsTest, CsvFilesMayBeWrittenInManyWays) {
  for (const char* text : {"a,b\n1,-2.5e0\n+3,4\n", "a;b\r\n1;-2.5\r\n3;4\r\n", "a\tb\n1\t-2.5\n3\t4",
                           "\xEF\xBB\xBF"
                           "a,b\n1,-2.5\n\n3,4\n\n",
                           "\"a\" , \"b\"\n\"1\", -2.5\n 3 ,\"4\"\n"}) {
    SCOPED_TRACE(text);
    const auto result = stats({writeText("a.csv", text)}).at(0);
    EXPECT_EQ(result.at("samples"), 2);
    EXPECT_EQ(result.at("channels").at(0).at("name"), "a");
    EXPECT_EQ(result.at("channels").at(0).at("average"), 2);
    EXPECT_EQ(result.at("channels").at(1).at("name"), "b");
    EXPECT_EQ(result.at("channels").at(1).at("minimum"), -2.5);
  }
  const auto quoted = stats({writeText("b.csv", "\"a, \"\"first\"\"\",b\n1,2\n")}).at(0);
  EXPECT_EQ(quoted.at("channels").at(0).at("name"), "a, \"first\"");
}

std::vector<std::vector<std::string>> cellsOf(const std::string& table) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    rows.emplace_back();
    for (size_t begin = 0; begin < line.size();) {
      const size_t end = std::min(line.find("  ", begin), line.size());
      rows.back().push_back(line.substr(begin, end - begin));
      begin = std::min(line.find_first_not_of(' ', end), line.size());
    }
  }
  return rows;
}

TEST_F(StatsTest, TableAndCsvSayWhatTheJsonSays) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32, 2, noise(2468, 32));
  const auto result = stats({file}).at(0);
  const auto table = cellsOf(run({"stats", file}).out);
  const auto csv = run({"stats", "--csv", file}).out;
  ASSERT_EQ(table.size(), 3);
  const std::vector<std::string> titles{"File",    "Format",  "Channel", "Samples", "Duration/s", "Minimum",
                                        "Maximum", "Average", "RMS",     "AC RMS",  "Crest",      "NaNs"};
  EXPECT_EQ(table[0], titles);
  std::istringstream csvLines(csv);
  std::string line;
  std::getline(csvLines, line);
  EXPECT_EQ(line, "File,Format,Channel,Samples,Duration/s,Minimum,Maximum,Average,RMS,AC RMS,Crest,NaNs");
  for (size_t i = 0; i < 2; ++i) {
    const auto& channel = result.at("channels").at(i);
    std::getline(csvLines, line);
    std::vector<std::string> csvCells;
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, ',');) {
      csvCells.push_back(cell);
    }
    ASSERT_EQ(csvCells.size(), titles.size());
    for (const auto& [row, tolerance] : {std::pair(table[i + 1], 1e-6), std::pair(csvCells, 0.)}) {
      ASSERT_EQ(row.size(), titles.size());
      EXPECT_EQ(row[0], file);
      EXPECT_EQ(row[1], "wav int32");
      EXPECT_EQ(row[2], std::to_string(i + 1));
      EXPECT_EQ(row[3], "1234");
      EXPECT_NEAR(std::stod(row[4]), result.at("duration_s"), tolerance);
      EXPECT_EQ(std::stod(row[5]), channel.at("minimum"));
      EXPECT_EQ(std::stod(row[6]), channel.at("maximum"));
      size_t column = 7;
      for (const char* figure : {"average", "rms", "ac_rms", "crest_factor"}) {
        const double value = channel.at(figure);
        EXPECT_NEAR(std::stod(row[column++]), value, tolerance * std::abs(value)) << figure;
      }
    }
  }
}

TEST_F(StatsTest, TheTableAlignsTextLeftAndNumbersRight) {
  const auto samples = as<int16_t>(noise(100, 16));
  const std::string shorter = writeAudio("\u00e4.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, samples);
  const std::string longer = writeAudio("longer.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(5, 7));
  std::istringstream lines(run({"stats", shorter, longer}).out);
  std::string titles, first, second;
  std::getline(lines, titles);
  std::getline(lines, first);
  std::getline(lines, second);
  EXPECT_EQ(titles.find("Format"), second.find("wav int16"));
  EXPECT_EQ(first.find("wav int16"), second.find("wav int16") + 1);  // one character of two bytes before it
  EXPECT_EQ(titles.size(), second.size());
  EXPECT_EQ(first.size(), second.size() + 1);
  EXPECT_EQ(titles.find("Samples") + 7, second.find(" 5 ") + 2);
}

TEST_F(StatsTest, ABadFileDoesNotKeepTheOthersFromBeingMeasured) {
  const std::string good = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, std::vector<int16_t>(10, 1));
  const Outcome outcome = run({"stats", "--json", path("none.wav"), good});
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.err, "kxhost: " + path("none.wav") + ": no such file\n");
  EXPECT_EQ(nlohmann::json::parse(outcome.out).at("files").at(0).at("file"), good);
}

}  // namespace
}  // namespace kxhost_test
