// Text from files and their names, which reaches pictures as it is and means nothing to what draws them.
#include "host/kxhost_test.hpp"

namespace kxhost_test {
namespace {

/// All that gnuplot, a shell or SVG could take for something else.
const std::string wicked = "a''b'c\"d`touch x`$(touch y)@f%g{h}_i^j~k\\n#l;m&n<o>";

std::string asXml(const std::string& text) {
  std::string result;
  for (const char c : text) {
    result += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '"' ? "&quot;" : c == '\'' ? "&apos;" : std::string(1, c);
  }
  return result;
}

class TextInPicturesTest : public KxhostTest {
protected:
  /// A picture's text with all its characters written one way.
  std::string textOf(const std::string& picture) const {
    std::string text = read(path(picture));
    for (const auto& [from, to] : {std::pair<std::string, std::string>{"\"", "&quot;"}, {"'", "&apos;"}}) {
      for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
      }
    }
    return text;
  }

  void expectShown(const std::string& picture, const std::string& text) const {
    EXPECT_NE(textOf(picture).find(asXml(text)), std::string::npos) << text;
  }
};

TEST_F(TextInPicturesTest, NamesOfFilesAndChannelsAreDataOnly) {
  const std::string file =
      writeText(wicked + ".csv", "\"" + std::string("U '' ` $(touch z) \"\"q\"\" @v") + "\"\n1\n2\n1\n");
  const Outcome outcome = run({"stats", file, "--plot", path("out.svg")});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_NE(outcome.out, "");
  expectShown("out.svg", wicked + ".csv (csv, decimal)");
  expectShown("out.svg", "channel U '' ` $(touch z) \"q\" @v");
  EXPECT_EQ(filesPresent().size(), 2U);
  EXPECT_FALSE(std::filesystem::exists("x") || std::filesystem::exists("y") || std::filesystem::exists("z"));
}

TEST_F(TextInPicturesTest, SoAreTheNamesOfFolders) {
  const std::string file = writeText("a.csv", "a\n1\n2\n1\n");
  for (const std::string folder : {"|touch x", "it''s `touch x`", "\xFF", "~"}) {
    std::filesystem::create_directory(path(folder));
    const std::string command = "cd '" + path("") + "'; ";
    std::string name = folder;
    const Outcome outcome = run({"stats", file, "--plot", name + "/out.svg"}, command);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_TRUE(std::filesystem::exists(path(folder + "/out.svg"))) << folder;
    std::filesystem::remove_all(path(folder));
    EXPECT_EQ(filesPresent(), std::vector<std::string>{"a.csv"});
  }
}

TEST_F(TextInPicturesTest, ControlCharactersAndWhatIsNoUtf8AreQuestionMarks) {
  const std::string file = writeText("a\nb\xFF\x1B.csv", "U\xE9\n1\n2\n1\n");
  EXPECT_EQ(run({"stats", file, "--plot", path("out.svg")}).code, 0);
  expectShown("out.svg", "a?b??.csv (csv, decimal)");
  expectShown("out.svg", "channel U?");
}

TEST_F(TextInPicturesTest, LongNamesAreShortenedInTitles) {
  const std::string file = writeText(std::string(100, 'x') + "-end.csv", std::string(300, 'y') + "\n1\n2\n1\n");
  EXPECT_EQ(run({"stats", file, "--plot", path("out.svg")}).code, 0);
  expectShown("out.svg", std::string(30, 'x') + "\u2026" + std::string(21, 'x') + "-end.csv (csv, decimal)");
  const std::string text = textOf("out.svg");
  EXPECT_EQ(text.find(std::string(120, 'y')), std::string::npos);
  EXPECT_NE(text.find("channel " + std::string(20, 'y')), std::string::npos);
}

}  // namespace
}  // namespace kxhost_test
