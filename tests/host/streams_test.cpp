// Standard input and output in place of files, and the two formats that recordings are written in.
#include <cstdlib>

#include "host/audio_file.hpp"
#include "host/kxhost_test.hpp"

namespace kxhost_test {
namespace {

class StreamsTest : public KxhostTest {
protected:
  /// Runs a shell command in which KX stands for the program; returns its exit code.
  static int shell(const std::string& command) {
    const int status = std::system(("KX='" KXHOST_PROGRAM "'; " + command).c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string quoted(const std::string& name) const { return "'" + path(name) + "'"; }

  nlohmann::json statsFrom(const std::string& file, const std::string& options = "") const {
    EXPECT_EQ(shell("cat '" + file + "' | $KX stats --json - " + options + " >" + quoted("stats.json")), 0);
    return nlohmann::json::parse(read(path("stats.json"))).at("files").at(0);
  }

  /// What is found is the same, whichever way it came.
  void expectAlike(const std::string& file, const std::vector<std::string>& options = {}) const {
    std::string words;
    for (const std::string& option : options) {
      words += option + ' ';
    }
    std::vector<std::string> arguments = options;
    arguments.push_back(file);
    nlohmann::json expected = stats(arguments).at(0), found = statsFrom(file, words);
    EXPECT_EQ(found.at("file"), "-");
    found["file"] = expected.at("file");
    EXPECT_EQ(found, expected);
  }
};

TEST_F(StreamsTest, StandardInputIsReadAsWhatItHolds) {
  const auto samples = as<float>(noise(20000, 24), 0x1p-23);
  expectAlike(writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, samples));
  expectAlike(writeAudio("a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, samples));
  expectAlike(writeText("a.csv", "a;b\n1;2\n3;5\n"), {"--rate", "8", "--column", "b"});
  expectAlike(writeRaw("a.bin", std::vector<int16_t>{1, 2, 3, 4, 5, 6}), {"--raw", "int16", "--channels", "2"});
}

TEST_F(StreamsTest, WhatIsWrongWithStandardInputIsToldOfIt) {
  const auto told = [&](const std::string& text, const std::string& options = "stats -") {
    writeText("in", text);
    EXPECT_EQ(shell("$KX " + options + " <" + quoted("in") + " >" + quoted("out") + " 2>" + quoted("err")), 1);
    EXPECT_EQ(read(path("out")), "");
    return read(path("err"));
  };
  EXPECT_EQ(told(""), "kxhost: standard input: is empty\n");
  EXPECT_EQ(told("a,b\n1,2\n3,x\n"), "kxhost: standard input: line 3, column b: not a number: x\n");
  EXPECT_EQ(told("a\n1\n", "filter - --lowpass 5 -o -"),
            "kxhost: standard input: carries no sample rate: --rate is needed\n");
  EXPECT_EQ(told("a\n1\nnan\n", "stats --strict -"),
            "kxhost: standard input: line 3, channel a: nan is not a finite number\n");
  EXPECT_NE(told(std::string("RIFF\0\0", 6)).find("kxhost: standard input: is not a recording"), std::string::npos);
  EXPECT_EQ(shell("$KX stats " + quoted("in") + " - - <" + quoted("in") + " >/dev/null 2>&1"), 1);
}

TEST_F(StreamsTest, StandardOutputGetsTheFileAndStandardErrorTheReport) {
  const std::string noise = " noise --pink --seconds 0.5 --seed 3 -o ";
  ASSERT_EQ(shell("$KX" + noise + quoted("file.wav") + " >" + quoted("said")), 0);
  ASSERT_EQ(shell("$KX" + noise + quoted("file.csv") + " >/dev/null"), 0);
  ASSERT_EQ(shell("$KX" + noise + "- >" + quoted("out.wav") + " 2>" + quoted("err")), 0);
  ASSERT_EQ(shell("$KX" + noise + "- --format csv 2>/dev/null | cat >" + quoted("out.csv")), 0);
  EXPECT_TRUE(read(path("out.wav")) == read(path("file.wav")));
  EXPECT_TRUE(read(path("out.csv")) == read(path("file.csv")));
  EXPECT_EQ(read(path("err")), "standard output" + read(path("said")).substr(path("file.wav").size()));
  ASSERT_EQ(shell("$KX" + noise +
                  "- 2>/dev/null | $KX filter - --lowpass 1000 -o - 2>/dev/null | "
                  "$KX resample - --rate 8000 -o - --format csv 2>/dev/null | $KX stats - --json >" +
                  quoted("chain")),
            0);
  EXPECT_EQ(nlohmann::json::parse(read(path("chain"))).at("files").at(0).at("samples"), 4000);
  ASSERT_EQ(shell("$KX view " + quoted("file.wav") + " -o - 2>/dev/null >" + quoted("curve.png")), 0);
  EXPECT_EQ(read(path("curve.png")).substr(1, 3), "PNG");
  expectMisuse({"noise", "--pink", "--seconds", "1", "-o", path("x.wav"), "--format", "csv"}, "is for standard output");
  EXPECT_EQ(shell("$KX" + noise + "- >/dev/full 2>/dev/null"), 1);
}

TEST_F(StreamsTest, FiltersAndResamplersWriteCsv) {
  const std::string file = writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, as<int16_t>(noise(6000, 16)), 8000);
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"filter", file, "--highpass", "100"}, {"resample", file, "--rate", "5000"}}) {
    std::vector<std::string> wav = command, csv = command;
    wav.insert(wav.end(), {"-o", path("o.wav"), "--force"});
    csv.insert(csv.end(), {"-o", path("o.csv"), "--force"});
    ASSERT_EQ(run(wav).code, 0);
    ASSERT_EQ(run(csv).code, 0);
    nlohmann::json expected = stats({path("o.wav")}).at(0), found = stats({path("o.csv")}).at(0);
    EXPECT_EQ(found.at("samples"), expected.at("samples"));
    for (size_t i = 0; i < 2; ++i) {
      const nlohmann::json &one = found.at("channels").at(i), &other = expected.at("channels").at(i);
      EXPECT_EQ(one.at("name"), "channel " + std::to_string(i + 1));
      for (const char* const figure : {"minimum", "maximum", "rms"}) {
        EXPECT_NEAR(one.at(figure).get<double>(), other.at(figure).get<double>(), 1e-7) << figure;
      }
    }
  }
  const std::string uneven = writeText("u.csv", "\"U [V]\"\n1\n2\n3\n");
  EXPECT_EQ(run({"filter", uneven, "--lowpass", "1", "--rate", "2.5", "-o", path("u-out.csv")}).code, 0);
  EXPECT_EQ(read(path("u-out.csv")).substr(0, 6), "U [V]\n");
}

TEST_F(StreamsTest, ValuesThatAreNoFiniteNumbersAreTreatedAlike) {
  std::string rows = "Ua [V],Ia [A]\n";
  for (int i = 0; i < 40000; ++i) {
    rows += i == 1234 ? "1,nan\n" : std::to_string(i % 80) + "," + std::to_string((i + 7) % 80) + "\n";
  }
  const std::string file = writeText("a.csv", rows);
  const std::string note =
      "kxhost: " + file + ": 1 sample of channel Ia [A] is missing and taken as NaN, in line 1236\n";
  const std::string refusal = "line 1236, channel Ia [A]: nan is not a finite number";
  for (const std::vector<std::string>& command : {std::vector<std::string>{"stats", file},
                                                  {"view", file, "-o", path("o.png")},
                                                  {"power", file, "--rate", "4000"}}) {
    std::vector<std::string> strict = command;
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.code, 0) << command[0];
    EXPECT_NE(outcome.err.find(note), std::string::npos) << command[0] << outcome.err;
    strict.insert(strict.end(), {"--strict"});
    std::filesystem::remove(path("o.png"));
    expectRefused(strict, file, refusal);
  }
  expectRefused({"filter", file, "--rate", "4000", "--lowpass", "9", "-o", path("o.wav")}, file, refusal);
  expectRefused({"resample", file, "--input-rate", "4000", "--rate", "9", "-o", path("o.wav")}, file, refusal);
  expectRefused({"flicker", file, "--rate", "4000", "--channel", "2"}, file, refusal);
  EXPECT_EQ(run({"flicker", file, "--rate", "4000", "--settling", "0", "--period", "5"}).code, 0);
  const std::string engine = writeText("engine.csv", "angle,p1\n-180,1\n-179,nan\n");
  expectRefused({"combustion", engine}, engine, "line 3, channel p1: nan is not a finite number");
}

}  // namespace
}  // namespace kxhost_test
