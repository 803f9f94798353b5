// Lines, quotes and moments that readers take from texts.
#include <cmath>

#include "recordings/even_stamps.hpp"
#include "recordings/files.hpp"
#include "recordings/line_reader.hpp"
#include "recordings/text_fields.hpp"

namespace kxrecordings_test {
namespace {

struct Line {
  std::string text;
  bool isWhole;
  uint64_t number, next;

  bool operator==(const Line&) const = default;
};

std::vector<Line> linesOf(const std::string& text, ByteRange range, size_t longest, LineReader::EndMark endMark,
                          uint64_t before = 0) {
  MemoryBytes bytes("text", text);
  LineReader reader(bytes, range, longest, endMark, before);
  std::vector<Line> lines;
  while (*reader.next()) {
    lines.push_back({std::string(reader.line()), reader.isWhole(), reader.number(), reader.offset()});
  }
  EXPECT_FALSE(*reader.next());
  EXPECT_EQ(reader.line(), "");
  return lines;
}

TEST(LineReader, LinesEndInLineFeedsWithOrWithoutCarriageReturns) {
  using Lines = std::vector<Line>;
  constexpr auto ends = LineReader::EndMark::endsText, isText = LineReader::EndMark::isText;
  EXPECT_EQ(linesOf("a\r\nbc\n\nd", {0, 8}, 9, ends),
            (Lines{{"a", true, 1, 3}, {"bc", true, 2, 6}, {"", true, 3, 7}, {"d", true, 4, 8}}));
  EXPECT_EQ(linesOf("a\r\nbc\n\nd", {3, 7}, 9, ends, 5), (Lines{{"bc", true, 6, 6}, {"", true, 7, 7}}));
  EXPECT_EQ(linesOf("", {0, 0}, 9, ends), Lines{});
  EXPECT_EQ(linesOf("ab\x1A\ncd", {0, 6}, 9, ends), (Lines{{"ab", true, 1, 2}}));
  EXPECT_EQ(linesOf("ab\n\x1A", {0, 4}, 9, ends), (Lines{{"ab", true, 1, 3}}));
  EXPECT_EQ(linesOf("\x1A", {0, 1}, 9, ends), Lines{});
  EXPECT_EQ(linesOf("ab\x1A\ncd", {0, 6}, 9, isText), (Lines{{"ab\x1A", true, 1, 4}, {"cd", true, 2, 6}}));
  EXPECT_EQ(linesOf("abc\nabcd\nabc\n", {0, 13}, 3, ends),
            (Lines{{"abc", true, 1, 4}, {"abc", false, 2, 9}, {"abc", true, 3, 13}}));
}

TEST(LineReader, CarriageReturnsAloneMayEndLines) {
  const std::string text = "a\rbc\r\rd";
  MemoryBytes bytes("text", text);
  LineReader reader(bytes, {0, text.size()}, 9, LineReader::EndMark::isText, 0, '\r');
  std::string all;
  while (*reader.next()) {
    all += std::to_string(reader.number()) + std::string(reader.line()) + ' ';
  }
  EXPECT_EQ(all, "1a 2bc 3 4d ");
}

TEST(LineReader, LinesGoOnFromPieceToPiece) {
  for (const size_t length : {65535U, 65536U, 65537U, 200000U}) {
    const std::string text = std::string(length, 'a') + "\nb\x1A";
    const auto lines = linesOf(text, {0, text.size()}, 300000, LineReader::EndMark::endsText);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], (Line{std::string(length, 'a'), true, 1, length + 1}));
    EXPECT_EQ(lines[1], (Line{"b", true, 2, length + 2}));
    EXPECT_EQ(linesOf(text, {0, text.size()}, 2, LineReader::EndMark::endsText)[0], (Line{"aa", false, 1, length + 1}));
  }
}

TEST(Quotes, AreShortAndPrintable) {
  EXPECT_EQ(quoteOf("a\tb\x1B\x7F \xB5"), "a?b?? \xB5");
  EXPECT_EQ(quoteOf(std::string(40, 'x')), std::string(40, 'x'));
  EXPECT_EQ(quoteOf(std::string(41, 'x')), std::string(40, 'x') + "...");
  EXPECT_EQ(upperCase("azAZ`{\xE4 9"), "AZAZ`{\xE4 9");
}

std::string moment(const std::string& date, const std::string& time, DateOrder order = DateOrder::dayFirst) {
  const auto stamp = timeStampIn(date, time, order);
  return stamp ? stamp->text() : "none";
}

TEST(TimeStamps, AreReadAsExactlyAsTheyAreWritten) {
  EXPECT_EQ(moment("31/01/2024", "23:59:59.123456"), "2024-01-31 23:59:59.123456");
  EXPECT_EQ(moment("01/31/24", "0:0:0", DateOrder::monthFirst), "2024-01-31 00:00:00");
  EXPECT_EQ(moment(" 1 / 2 / 69", " 1 : 2 : 3.5 "), "2069-02-01 01:02:03.5");
  EXPECT_EQ(moment("1/2/70", "1:2:3.123456789"), "1970-02-01 01:02:03.123456789");
  EXPECT_EQ(moment("1/2/1969", "1:2:3.1234567899"), "1969-02-01 01:02:03.123456789");
  EXPECT_EQ(moment("29/02/2024", "23:59:60"), "2024-03-01 00:00:00");
  EXPECT_EQ(moment("31/12/9999", "23:59:59."), "9999-12-31 23:59:59");
  EXPECT_EQ(moment("31/12/1969", "23:59:59"), "1969-12-31 23:59:59");
  for (const char* const date : {"", "1/2", "1/2/3/4", "0/1/2000", "1/0/2000", "32/1/2000", "1/13/2000", "29/2/2023",
                                 "-1/2/2000", "+1/2/2000", "a/2/2000", "1/2/10000", "1/2/99999999999999999999"}) {
    EXPECT_EQ(moment(date, "1:2:3"), "none") << date;
  }
  for (const char* const time :
       {"", "1:2", "1:2:3:4", "24:0:0", "0:60:0", "0:0:61", "-1:0:0", "0:0:0.x", "0:0:.5", "1:2:3.-5"}) {
    EXPECT_EQ(moment("1/2/2000", time), "none") << time;
  }
}

TEST(TimeStamps, CarryTheirZoneAndMoveOn) {
  TimeStamp stamp = *timeStampIn("31/12/1999", "23:59:59.999", DateOrder::dayFirst);
  EXPECT_EQ(stamp.later(0).text(), "1999-12-31 23:59:59.999");
  EXPECT_EQ(stamp.later(0.001).text(), "2000-01-01 00:00:00.000");
  EXPECT_EQ(stamp.later(86400.9995).text(), "2000-01-02 00:00:00.998");
  EXPECT_EQ(stamp.later(-0.999).text(), "1999-12-31 23:59:59.000");
  EXPECT_EQ(secondsBetween(stamp, stamp.later(12.25)), 12.25);
  EXPECT_EQ(secondsBetween(stamp.later(12.25), stamp), -12.25);
  const auto zoned = [&](int minutes) {
    stamp.utcMinutes = minutes;
    return stamp.text().substr(23);
  };
  EXPECT_EQ(zoned(0), " UTC");
  EXPECT_EQ(zoned(-330), " UTC-05:30");
  EXPECT_EQ(zoned(840), " UTC+14:00");
  EXPECT_EQ(*offsetMinutesIn("-5h30"), -330);
  EXPECT_EQ(*offsetMinutesIn("+10H3"), 603);
  EXPECT_EQ(*offsetMinutesIn("4"), 240);
  EXPECT_EQ(*offsetMinutesIn("0"), 0);
  EXPECT_EQ(*offsetMinutesIn("-0h15"), -15);
  for (const char* const none : {"", "x", "-", "15", "5h", "5h60", "h30", "--5", "5h30x", "+-5"}) {
    EXPECT_FALSE(offsetMinutesIn(none)) << none;
  }
}

std::optional<double> rateOf(const std::vector<double>& stamps, double unit = 1e-6) {
  EvenStamps even;
  for (const double stamp : stamps) {
    even.add(stamp);
  }
  return even.rate(unit);
}

TEST(EvenStampsTest, OneStepExplainsThemAll) {
  EXPECT_EQ(rateOf({0, 250}), 4000);
  EXPECT_EQ(rateOf({7, 257, 507, 757}), 4000);
  EXPECT_EQ(rateOf({0, 333, 667, 1000}), 3000);
  EXPECT_EQ(rateOf({0, 1, 1, 2, 2}), 2e6);
  EXPECT_EQ(rateOf({0, 250, 500}, 1e-3), 4);
  EXPECT_NEAR(*rateOf({0, 300, 600}, 1e-3), 10 / 3.0, 1e-15);
  EXPECT_NEAR(*rateOf({0, 1e6, 3e6 - 1e6}, 1), 1e-6, 1e-20);
  EXPECT_FALSE(rateOf({}) || rateOf({5}) || rateOf({5, 5}) || rateOf({5, 4}) || rateOf({0, 250, 500, 753}) ||
               rateOf({0, 250, 500, 747}) || rateOf({0, 250, 503, 750}));
  EXPECT_FALSE(rateOf({0, INFINITY}) || rateOf({0, NAN, 2}) || rateOf({0, 1}, 1e-320));
  EvenStamps lacking;
  lacking.add(0);
  lacking.add(std::nullopt);
  lacking.add(500);
  EXPECT_FALSE(lacking.rate(1));
}

}  // namespace
}  // namespace kxrecordings_test
