// The command line, and the library that it names.
#include <sstream>

#include "functions/processor.hpp"
#include "host/kxhost_test.hpp"

namespace kxhost_test {
namespace {

class CommandLineTest : public KxhostTest {
protected:
  std::string recording() const {
    return writeAudio("a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, as<float>(noise(40002, 32), 0x1p-31));
  }
};

TEST_F(CommandLineTest, HelpAndVersionAreAnswers) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--help"}, {"stats", "--help"}, {"view", "--help"}, {"resample", "--help"}}) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_NE(outcome.out.find("Examples:"), std::string::npos);
  }
  const Outcome version = run({"--version"});
  EXPECT_EQ(version.code, 0);
  std::string expected = "kxhost 2.17, libkxcalc-";
  expected.append(kxcalc::runnableVariants().front()).append(".so.2\n");
  EXPECT_EQ(version.out, expected);
  const Outcome named = run({"--library", KXHOST_STUB_LACKING, "--version"});
  EXPECT_EQ(named.code, 1);
  EXPECT_NE(named.err.find("lacks the export"), std::string::npos);
}

TEST_F(CommandLineTest, MisuseIsExplainedInOneLine) {
  const std::string file = recording();
  expectMisuse({}, "subcommand");
  expectMisuse({"juggle"}, "juggle");
  expectMisuse({"stats"}, "FILE");
  expectMisuse({"stats", "--loud", file}, "--loud");
  expectMisuse({"stats", "--json", "--csv", file}, "--json");
  expectMisuse({"stats", "--raw", "int16", file}, "--channels");
  expectMisuse({"stats", "--channels", "2", file}, "--raw");
  expectMisuse({"stats", "--raw", "int17", "--channels", "2", file}, "int17");
  expectMisuse({"stats", "--raw", "int16", "--channels", "two", file}, "two");
  expectMisuse({"stats", "--rate", "fast", file}, "fast");
  expectMisuse({"stats", "--plot", path("out.bmp"), file}, ".png");
  expectMisuse({"view", file}, "--output");
  expectMisuse({"view", file, "-o", path("out.svg")}, "does not end in .png");
  expectMisuse({"view", file, "-o", path("out.png"), "--channel", "left"}, "left");
  expectMisuse({"view", file, "-o", path("out.png"), "--from", "soon"}, "soon");
  expectMisuse({"view", file, "-o", path("out.png"), "--x-axis", "db"}, "db");
  expectMisuse({"view", file, "-o", path("out.png"), "--y-axis", "cubic"}, "cubic");
  expectMisuse({"view", file, "-o", path("out.png"), "--width", "319"}, "319");
  expectMisuse({"view", file, "-o", path("out.png"), "--height", "16001"}, "16001");
  for (const char* cursor : {"5", "5,", ",5", "5,x", "5,5,5", "5;5"}) {
    expectMisuse({"view", file, "-o", path("out.png"), "--cursor", cursor}, "is not two whole numbers X,Y");
  }
  for (const char* cursor : {"1200,5", "5,480", "-1,5", "5,-1"}) {
    expectMisuse({"view", file, "-o", path("out.png"), std::string("--cursor=") + cursor}, "outside of the picture");
  }
  expectMisuse({"resample", file, "-o", path("out.wav")}, "--rate");
  expectMisuse({"resample", file, "--rate", "8000"}, "--output");
  expectMisuse({"resample", file, "--rate", "fast", "-o", path("out.wav")}, "fast");
  expectMisuse({"resample", file, "--rate", "8000", "-o", path("out.mp3")}, "does not end in .wav");
  EXPECT_EQ(filesPresent(), std::vector<std::string>{"a.wav"});
}

TEST_F(CommandLineTest, ALibraryThatIsNotThereIsNamed) {
  expectRefused({"stats", "--library", path("none.so"), recording()}, path("none.so"), "No such file");
}

TEST_F(CommandLineTest, ALibraryThatIsNoneIsNamed) {
  const std::string file = writeText("text.so", "not a library");
  expectRefused({"--library", file, "stats", recording()}, file, "");
}

TEST_F(CommandLineTest, AMissingExportIsNamed) {
  expectRefused({"stats", "--library", KXHOST_STUB_LACKING, recording()}, KXHOST_STUB_LACKING,
                "lacks the export kxcalcGetMinMax_int32_t");
}

TEST_F(CommandLineTest, AnotherInterfaceVersionIsRefused) {
  expectRefused({"stats", "--library", KXHOST_STUB_NEWER, recording()}, KXHOST_STUB_NEWER, "interface version 3.1");
}

TEST_F(CommandLineTest, EveryLibraryGivesTheSameOutput) {
  const std::string file = recording();
  const Outcome standard = run({"stats", "--json", file});
  ASSERT_EQ(standard.code, 0) << standard.err;
  std::istringstream libraries(KXHOST_LIBRARIES);
  for (std::string library; std::getline(libraries, library, ':');) {
    const Outcome outcome = run({"stats", "--json", "--library", library, file});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_EQ(outcome.out, standard.out) << library;
  }
}

TEST_F(CommandLineTest, OutputThatCannotBeWrittenIsAFailure) {
  const std::string command =
      std::string("'") + KXHOST_PROGRAM + "' stats '" + recording() + "' >/dev/full 2>/dev/null";
  EXPECT_NE(std::system(command.c_str()), 0);
}

}  // namespace
}  // namespace kxhost_test
