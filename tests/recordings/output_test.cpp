// Outputs: how they take their place, together, and what is refused before.
#include <stdexcept>

#include "recordings/clean_end.hpp"
#include "recordings/csv_output.hpp"
#include "recordings/files.hpp"
#include "recordings/frame_output.hpp"
#include "recordings/output_file.hpp"
#include "recordings/shown_text.hpp"

namespace kxrecordings_test {
namespace {

namespace fs = std::filesystem;

class OutputTest : public FilesTest {
protected:
  OutputTest() { fs::create_directory(path("folder")); }

  static void fill(const OutputFile& output, const std::string& text) { std::ofstream(output.draft()) << text; }

  static void complete(const OutputFile& output, const std::string& text) {
    fill(output, text);
    output.place();
  }

  /// Of a run that may replace what there is.
  static OutputRun::Permission anything() {
    return [](const std::string&) {};
  }
};

TEST_F(OutputTest, WithoutARunAFileAppearsAtOnce) {
  const OutputFile output(path("a"));
  EXPECT_TRUE(output.draft().is_absolute());
  complete(output, "text");
  EXPECT_EQ(read("a"), "text");
}

TEST_F(OutputTest, OutputsOfARunAppearTogether) {
  OutputRun run(anything());
  write("a", "old");
  {
    const OutputFile one(path("a")), other(path("folder/b"));
    complete(one, "new");
    complete(other, "text");
  }
  EXPECT_EQ(read("a"), "old");
  EXPECT_FALSE(fs::exists(path("folder/b")));
  placeOutputs();
  EXPECT_EQ(read("a"), "new");
  EXPECT_EQ(read("folder/b"), "text");
  placeOutputs();  // there is nothing left to do
  EXPECT_EQ(filesPresent(), 2U);
}

TEST_F(OutputTest, ARunThatEndsBeforeLeavesNothing) {
  write("a", "old");
  {
    OutputRun run(anything());
    complete(OutputFile(path("a")), "new");
    complete(OutputFile(path("b")), "new");
  }
  EXPECT_EQ(read("a"), "old");
  EXPECT_EQ(filesPresent(), 2U);
  placeOutputs();
  EXPECT_EQ(read("a"), "old");
}

TEST_F(OutputTest, WhereOneCannotTakeItsPlaceTheOthersAreTakenBack) {
  write("a", "old");
  OutputRun run(anything());
  complete(OutputFile(path("a")), "new");
  complete(OutputFile(path("b")), "new");
  complete(OutputFile(path("c")), "new");
  complete(OutputFile(path("d")), "new");
  fs::create_directory(path("c"));  // meanwhile
  EXPECT_NE(problemOf(path("c"), [] { placeOutputs(); }), "");
  EXPECT_EQ(read("a"), "old");
  EXPECT_FALSE(fs::exists(path("b")));
  EXPECT_FALSE(fs::exists(path("d")));
  EXPECT_EQ(filesPresent(), 3U);  // a, c and the folder
}

TEST_F(OutputTest, AFileThatHasAppearedMeanwhileStays) {
  OutputRun run(anything());
  complete(OutputFile(path("a")), "new");
  write("a", "another's");
  EXPECT_EQ(problemOf(path("a"), [] { placeOutputs(); }), "cannot be written: File exists");
  EXPECT_EQ(read("a"), "another's");
}

TEST_F(OutputTest, AnExistingFileIsReplacedWithPermissionOnly) {
  write("a", "old");
  std::vector<std::string> asked;
  OutputRun run([&](const std::string& file) {
    asked.push_back(file);
    throw FileError(file, "stays");
  });
  EXPECT_EQ(problemOf(path("a"), [&] { OutputFile output(path("a")); }), "stays");
  const OutputFile fresh(path("b"));
  EXPECT_EQ(asked, Names{path("a")});
  EXPECT_EQ(read("a"), "old");
}

TEST_F(OutputTest, LinksAreFollowed) {
  write("folder/real", "old");
  fs::permissions(path("folder/real"), fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink("folder/real", path("near"));
  fs::create_symlink(path("near"), path("link"));
  complete(OutputFile(path("link")), "new");
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_TRUE(fs::is_symlink(path("near")));
  EXPECT_EQ(read("folder/real"), "new");
  EXPECT_EQ(fs::status(path("folder/real")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink("folder/none", path("dangling"));
  complete(OutputFile(path("dangling")), "first");
  EXPECT_TRUE(fs::is_symlink(path("dangling")));
  EXPECT_EQ(read("folder/none"), "first");
  fs::create_symlink("circle", path("circle"));
  EXPECT_NE(problemOf(path("circle"), [&] { complete(OutputFile(path("circle")), "x"); }), "");
}

TEST_F(OutputTest, AnInputIsNoOutput) {
  OutputRun run(anything());
  write("in.csv", "a\n1\n");
  fs::create_symlink("in.csv", path("link.csv"));
  fs::create_hard_link(path("in.csv"), path("hard.csv"));
  openRecording(path("link.csv"), {});
  for (const std::string name : {"in.csv", "link.csv", "hard.csv", "folder/../in.csv"}) {
    EXPECT_EQ(problemOf(path(name), [&] { OutputFile output(path(name)); }), "cannot be written: it is an input, too");
  }
  const OutputFile early(path("late.csv"));
  write("late.csv", "a\n1\n");
  openRecording(path("late.csv"), {});
  complete(early, "x");
  EXPECT_EQ(problemOf(path("late.csv"), [] { placeOutputs(); }), "cannot be written: it is an input, too");
  EXPECT_EQ(read("late.csv"), "a\n1\n");
}

TEST_F(OutputTest, TwoOutputsDoNotGoToOneFile) {
  OutputRun run(anything());
  const OutputFile one(path("a"));
  EXPECT_EQ(problemOf(path("folder/../a"), [&] { OutputFile other(path("folder/../a")); }),
            "cannot be written: another output of this run goes there, too");
  { OutputFile abandoned(path("b")); }
  const OutputFile again(path("b"));
}

TEST_F(OutputTest, ThereMustBeRoom) {
  const OutputFile output(path("a"));
  output.requireRoom(1);
  EXPECT_TRUE(problemOf(path("a"), [&] {
                output.requireRoom(uint64_t{1} << 62);
              }).starts_with("cannot be written: it takes 4.61 EB, and its folder has "));
  const auto begin = [&](FrameFormat format) {
    return problemOf(path("b"), [&] { createFrames(path("b"), format, {{"1", "2"}, 8000, uint64_t{1} << 58}); });
  };
  EXPECT_TRUE(begin(FrameFormat::wav).starts_with("cannot be written: it takes 2.31 EB"));
  EXPECT_TRUE(begin(FrameFormat::csv).starts_with("cannot be written: it takes 4.61 EB"));
  EXPECT_EQ(filesPresent(), 2U);  // the folder and the workplace of a
}

TEST_F(OutputTest, NamesOfColumnsAreReadAgain) {
  const Names names{"1", "a,b", "say \"x\"", " blank ", "line\nend", "U;I", "Ua [V]"};
  const auto output = createFrames(path("a.csv"), FrameFormat::csv, {names, 8000, std::nullopt});
  output->write(std::vector<float>{1, 2, 3, 4, 5, 6, 7});
  EXPECT_EQ(output->frames(), 1U);
  output->finish();
  EXPECT_EQ(openRecording(path("a.csv"), {})->format().channels,
            (Names{"channel 1", "a,b", "say \"x\"", " blank ", "line end", "U;I", "Ua [V]"}));
}

TEST_F(OutputTest, AWorkplaceGoesWithAllThatIsInIt) {
  {
    const Workplace workplace(path("folder"));
    std::ofstream(workplace.path() / Workplace::draft) << "x";
    std::ofstream(workplace.path() / "more") << "x";
    EXPECT_EQ(fs::status(workplace.path()).permissions(), fs::perms::owner_all);
  }
  EXPECT_TRUE(fs::is_empty(path("folder")));
  EXPECT_THROW(Workplace none(path("none")), std::system_error);
}

TEST(ShownText, HoldsNoControlsAndNothingButUtf8) {
  EXPECT_EQ(shownText("plain ''`$ \xC3\xA9 \xE2\x82\xAC \xF0\x9D\x84\x9E"),
            "plain ''`$ \xC3\xA9 \xE2\x82\xAC \xF0\x9D\x84\x9E");
  EXPECT_EQ(shownText("a\nb\tc\x1B[0m\x7F\xC2\x85"), "a?b?c?[0m??");
  EXPECT_EQ(shownText(std::string("\0", 1)), "?");
  EXPECT_EQ(shownText("\xFF\xC3"), "??");                   // never a byte of UTF-8; cut short
  EXPECT_EQ(shownText("\xC1\xA1 \xE0\x9F\xBF"), "?? ???");  // longer than needed
  EXPECT_EQ(shownText("\xED\xA0\x80"), "???");              // a surrogate
  EXPECT_EQ(shownText("\xED\x9F\xBF\xEE\x80\x80"), "\xED\x9F\xBF\xEE\x80\x80");
  EXPECT_EQ(shownText("\xF4\x8F\xBF\xBF\xF4\x90\x80\x80"), "\xF4\x8F\xBF\xBF????");
  EXPECT_EQ(shownText("\xC2\xA0"), "\xC2\xA0");
}

TEST(ShownText, LongTextIsShortenedInItsMiddle) {
  EXPECT_EQ(shortened("0123456789", 10), "0123456789");
  EXPECT_EQ(shortened("0123456789a", 10), "01234\u2026789a");
  EXPECT_EQ(shortened("0123456789a", 9), "0123\u2026789a");
  EXPECT_EQ(shortened("\u00E9\u00E9\u00E9\u00E9\u00E9", 5), "\u00E9\u00E9\u00E9\u00E9\u00E9");
  EXPECT_EQ(shortened("\u00E9\u00E8\u00E9\u00E9\u00EA", 3), "\u00E9\u2026\u00EA");
}

}  // namespace
}  // namespace kxrecordings_test
