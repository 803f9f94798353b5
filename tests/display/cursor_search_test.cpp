#include "reference/cursor_search.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <ostream>
#include <span>
#include <vector>

#include "support/bits.hpp"
#include "support/fenced_buffer.hpp"
#include "support/random.hpp"

namespace {

constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
constexpr int32_t highest = std::numeric_limits<int32_t>::max();

struct Cursor {
  uint32_t x;
  uint32_t y;
};

struct Found {
  uint32_t value;
  uint32_t x;
  uint32_t y;

  friend bool operator==(const Found&, const Found&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const Found& found) {
    return stream << "value " << found.value << " at (" << found.x << ", " << found.y << ')';
  }
};

constexpr Found preset{0xDEADBEEF, 0xFFFFFFFF, 0x80000000};

/// A raster whose row 0 comes first, as its pixels are written in a test.
using Rows = std::vector<std::vector<uint32_t>>;

/// Rows at ascending addresses, so of a negative pitch, without a gap.
Found find(const Rows& rows, const Cursor& cursor, const std::vector<uint32_t>& ignored = {0}) {
  std::vector<uint32_t> image;
  for (const std::vector<uint32_t>& row : rows) {
    image.insert(image.end(), row.begin(), row.end());
  }
  const auto width = static_cast<int32_t>(rows[0].size());
  Found found = preset;
  kxcalcFindCursorXY(image.data(), -4 * width, width, static_cast<int32_t>(rows.size()), cursor.x, cursor.y,
                     &found.value, &found.x, &found.y, ignored.data(), static_cast<int32_t>(ignored.size()));
  return found;
}

/// A raster of zeros, but for some pixels: column, row and value.
Rows sparse(std::size_t width, std::size_t height, std::initializer_list<std::array<uint32_t, 3>> pixels) {
  Rows rows(height, std::vector<uint32_t>(width, 0));
  for (const auto& [x, y, value] : pixels) {
    rows[y][x] = value;
  }
  return rows;
}

TEST(FindCursorXY, NothingIsWrittenWhereEveryPixelIsIgnored) {
  for (const std::size_t width : {1U, 3U, 4U, 5U, 8U, 19U}) {
    EXPECT_EQ(find(sparse(width, 3, {}), {1, 1}), preset);
    EXPECT_EQ(find(Rows(2, std::vector<uint32_t>(width, 9)), {0, 0}, {1, 0xFFFFFFFF, 9}), preset);
  }
}

TEST(FindCursorXY, NothingIsReadOrWrittenWhereThereAreNoRowsOrNoColumns) {
  support::FencedBuffer<uint32_t> memory(1);
  const uint32_t* const none = memory.place(0, support::endsAtFence).data();
  for (const int32_t size : {0, -1, -3, -4, -5, lowest}) {
    for (const int32_t ignoreCount : {0, -1}) {
      for (const auto& [width, height] : {std::pair(size, 5), std::pair(5, size), std::pair(size, size)}) {
        Found found = preset;
        kxcalcFindCursorXY(none, 32, width, height, 0, 0, &found.value, &found.x, &found.y, none, ignoreCount);
        EXPECT_EQ(found, preset) << width << " by " << height;
      }
    }
  }
}

TEST(FindCursorXY, OnePixelInABlock) {
  EXPECT_EQ(find({{0, 7, 0, 0}}, {0, 0}), (Found{7, 1, 0}));
  EXPECT_EQ(find({{0, 0, 0, 0}, {0, 0, 5, 0}}, {0, 0}), (Found{5, 2, 1}));
  EXPECT_EQ(find({{7, 8, 9, 10}}, {2, 0}), (Found{9, 2, 0}));
}

TEST(FindCursorXY, RowsDescendFromTheImageWithAPositivePitch) {
  const std::array<uint32_t, 12> memory{31, 32, 33, 34, 21, 22, 23, 24, 11, 12, 13, 14};
  for (const int32_t pitch : {16, 17, 18, 19}) {
    for (uint32_t row = 0; row < 3; ++row) {
      Found found = preset;
      const uint32_t ignored = 0;
      kxcalcFindCursorXY(&memory[8], pitch, 4, 3, 2, row, &found.value, &found.x, &found.y, &ignored, 1);
      EXPECT_EQ(found, (Found{10 * (row + 1) + 3, 2, row})) << pitch;
      kxcalcFindCursorXY(&memory[0], -pitch, 4, 3, 2, row, &found.value, &found.x, &found.y, &ignored, 1);
      EXPECT_EQ(found, (Found{10 * (3 - row) + 3, 2, row})) << -pitch;
    }
  }
}

TEST(FindCursorXY, TheSecondColumnOfABlockToTheRightOfTheCursorIsOneFurtherAway) {
  // Columns 5 and 6 both count as 6 away from column 0; column 5 is merged first.
  EXPECT_EQ(find(sparse(8, 1, {{5, 0, 50}, {6, 0, 60}}), {0, 0}), (Found{50, 5, 0}));
  // 36 is further than 5 * 5 + 1 * 1 and than 5 * 5 + 3 * 3, and as far as 6 * 6.
  EXPECT_EQ(find(sparse(8, 4, {{5, 0, 50}, {1, 3, 60}}), {0, 0}), (Found{60, 1, 3}));
  EXPECT_EQ(find(sparse(8, 4, {{5, 0, 50}, {4, 3, 60}}), {0, 0}), (Found{60, 4, 3}));
  EXPECT_EQ(find(sparse(8, 7, {{5, 0, 50}, {0, 6, 60}}), {0, 0}), (Found{50, 5, 0}));
  EXPECT_EQ(find(sparse(8, 7, {{0, 0, 50}, {5, 6, 60}}), {0, 6}), (Found{50, 0, 0}));
  // Not where the cursor stands in the block itself.
  EXPECT_EQ(find(sparse(8, 2, {{5, 0, 50}, {4, 1, 60}}), {4, 0}), (Found{50, 5, 0}));
  EXPECT_EQ(find(sparse(8, 2, {{5, 1, 50}, {6, 0, 60}}), {4, 1}), (Found{50, 5, 1}));
}

TEST(FindCursorXY, TheFourthColumnOfABlockIsOneFurtherAwayFromTheSecondColumnOn) {
  // Cursor in column 5: column 7 counts as 3 away. In column 6: 1 away.
  EXPECT_EQ(find(sparse(8, 3, {{7, 0, 70}, {5, 2, 60}}), {5, 0}), (Found{60, 5, 2}));
  EXPECT_EQ(find(sparse(8, 4, {{7, 0, 70}, {5, 3, 60}}), {5, 0}), (Found{70, 7, 0}));
  EXPECT_EQ(find(sparse(8, 3, {{7, 0, 70}, {6, 2, 60}}), {6, 0}), (Found{70, 7, 0}));
  // The third column is where it is.
  EXPECT_EQ(find(sparse(8, 3, {{6, 0, 70}, {4, 2, 60}}), {4, 0}), (Found{70, 6, 0}));
}

TEST(FindCursorXY, TheTailIsMeasuredAndReportedFromItsStart) {
  EXPECT_EQ(find(sparse(6, 1, {{5, 0, 50}}), {5, 0}), (Found{50, 1, 0}));
  // Column 5 counts as column 1: next to a cursor in column 0.
  EXPECT_EQ(find(sparse(6, 1, {{5, 0, 50}, {2, 0, 20}}), {0, 0}), (Found{50, 1, 0}));
  EXPECT_EQ(find(sparse(6, 1, {{5, 0, 50}, {3, 0, 30}}), {5, 0}), (Found{30, 3, 0}));
  EXPECT_EQ(find(sparse(3, 1, {{2, 0, 50}}), {0, 0}), (Found{50, 2, 0}));
}

TEST(FindCursorXY, TheTailMeasuresTheTrueColumnDistance) {
  // Unlike in a block, column 1 to the right of the cursor is 1 away. The tail of a width of 7 holds columns 4 to 6.
  EXPECT_EQ(find(sparse(7, 3, {{5, 0, 50}, {0, 2, 20}}), {0, 0}), (Found{50, 1, 0}));
}

TEST(FindCursorXY, AtOneDistanceTheLowestRowThenBlocksBeforeTheTailWin) {
  EXPECT_EQ(find(sparse(4, 3, {{1, 0, 10}, {1, 2, 20}}), {1, 1}), (Found{10, 1, 0}));
  EXPECT_EQ(find(sparse(4, 3, {{2, 1, 10}, {1, 2, 20}, {0, 1, 30}}), {1, 1}), (Found{30, 0, 1}));
  EXPECT_EQ(find(sparse(6, 1, {{1, 0, 10}, {5, 0, 50}}), {1, 0}), (Found{10, 1, 0}));
  EXPECT_EQ(find(sparse(7, 1, {{4, 0, 40}, {6, 0, 60}}), {1, 0}), (Found{40, 0, 0}));
}

TEST(FindCursorXY, AtOneDistanceTheLowestColumnModuloFourThenTheHighestColumnWins) {
  // Cursor in column 6: columns 2 and 10 are 4 away, in one lane.
  EXPECT_EQ(find(sparse(12, 1, {{2, 0, 20}, {10, 0, 100}}), {6, 0}), (Found{100, 10, 0}));
  // Columns 4 and 6 around column 5: lane 0 before lane 2. Columns 7 and 4, cursor 6 and 5: lanes.
  EXPECT_EQ(find(sparse(12, 1, {{4, 0, 40}, {6, 0, 60}}), {5, 0}), (Found{40, 4, 0}));
  EXPECT_EQ(find(sparse(12, 1, {{7, 0, 70}, {8, 0, 80}}), {7, 5}), (Found{70, 7, 0}));
  EXPECT_EQ(find(sparse(12, 1, {{3, 0, 30}, {8, 0, 80}}), {6, 0}), (Found{80, 8, 0}));
}

TEST(FindCursorXY, ALaneMayHoldALaterPixelAtItsDistanceThatIsNotReported) {
  // Rows 0 and 2 are 1 away: the lane takes that of row 2, the result stays.
  EXPECT_EQ(find(sparse(4, 3, {{1, 0, 10}, {1, 2, 20}}), {1, 1}), (Found{10, 1, 0}));
  EXPECT_EQ(find(sparse(6, 3, {{1, 0, 10}, {5, 0, 30}, {1, 2, 20}, {5, 2, 40}}), {1, 1}), (Found{10, 1, 0}));
}

TEST(FindCursorXY, AnEmptyListIgnoresNothingAndANegativeOneEverything) {
  support::FencedBuffer<uint32_t> memory(1);
  const uint32_t* const none = memory.place(0, support::endsAtFence).data();
  for (const int32_t width : {1, 3, 4, 7, 8, 13}) {
    const std::vector<uint32_t> image(static_cast<std::size_t>(width), 0);
    Found found = preset;
    kxcalcFindCursorXY(image.data(), 0, width, 1, 0, 0, &found.value, &found.x, &found.y, none, 0);
    EXPECT_EQ(found, (Found{0, 0, 0})) << width;
    for (const int32_t count : {-1, -2, -100, lowest}) {
      found = preset;
      kxcalcFindCursorXY(image.data(), 0, width, 1, 0, 0, &found.value, &found.x, &found.y, none, count);
      EXPECT_EQ(found, preset) << width << ", " << count;
    }
  }
}

TEST(FindCursorXY, EveryBitOfAPixelCounts) {
  for (const std::size_t width : {1U, 4U, 6U}) {
    for (uint32_t bit = 0; bit < 32; ++bit) {
      const uint32_t background = 0x12345678;
      const uint32_t other = background ^ 1U << bit;
      EXPECT_EQ(find({std::vector<uint32_t>(width, other)}, {0, 0}, {background}), (Found{other, 0, 0}));
      EXPECT_EQ(find({std::vector<uint32_t>(width, background)}, {0, 0}, {other, background}), preset);
    }
  }
}

TEST(FindCursorXY, EachEntryOfALongListIsIgnored) {
  for (const std::size_t width : {3U, 4U}) {
    for (uint32_t count = 1; count <= 40; ++count) {
      std::vector<uint32_t> ignored;
      for (uint32_t i = 0; i < count; ++i) {
        ignored.push_back(1000 + i);
      }
      for (uint32_t i = 0; i < count; ++i) {
        ASSERT_EQ(find({std::vector<uint32_t>(width, 1000 + i)}, {0, 0}, ignored), preset) << i << " of " << count;
      }
      ASSERT_EQ(find({std::vector<uint32_t>(width, 1000 + count)}, {0, 0}, ignored), (Found{1000 + count, 0, 0}));
    }
  }
}

TEST(FindCursorXY, ProductsOfRowDistancesWrapInBlocksAndNotInTheTail) {
  // 46341 rows away the square is above 2^31 and counts as negative, so that row wins over one that is nearer.
  EXPECT_EQ(find(sparse(4, 2, {{0, 0, 10}, {0, 1, 20}}), {0, 46341}), (Found{10, 0, 0}));
  EXPECT_EQ(find(sparse(3, 2, {{0, 0, 10}, {0, 1, 20}}), {0, 46341}), (Found{20, 0, 1}));
  EXPECT_EQ(find(sparse(4, 3, {{0, 0, 10}, {0, 2, 20}}), {0, 46342}), (Found{10, 0, 0}));
  // From 65536 rows away the square is 0: a block wins over a tail that is nearer, and over a block in its own row.
  EXPECT_EQ(find(sparse(5, 1, {{0, 0, 10}, {4, 0, 20}}), {0, 65536}), (Found{10, 0, 0}));
  EXPECT_EQ(find(sparse(5, 3, {{0, 0, 10}, {4, 2, 20}}), {100, 65536}), (Found{10, 0, 0}));
  EXPECT_EQ(find(sparse(8, 1, {{0, 0, 10}, {4, 0, 20}}), {4, 65536}), (Found{20, 4, 0}));
  EXPECT_EQ(find(sparse(4, 2, {{0, 0, 10}, {0, 1, 20}}), {0, 65535}), (Found{20, 0, 1}));
}

TEST(FindCursorXY, ATailNeverWinsOverABlockAtItsDistanceHoweverLargeTheRaster) {
  const struct {
    std::size_t width;
    std::size_t height;
    uint32_t row;
    Cursor cursor;
  } cases[] = {
      {226, 163, 127, {0xFFFEFF80, 143}}, {186, 160, 55, {0xFFFF0120, 66}}, {281, 125, 6, {0xFFFF0020, 4}},
      {119, 147, 71, {8349, 70}},         {115, 157, 103, {6301, 116}},     {5, 4, 2, {8349, 1}},
  };
  for (const auto& [width, height, row, cursor] : cases) {
    const auto tail = static_cast<uint32_t>(width / 4 * 4);
    EXPECT_EQ(find(sparse(width, height, {{0, row, 10}, {tail, row, 20}}), cursor), (Found{10, 0, row})) << width;
  }
}

struct Task {
  int32_t pitch = 0;
  int32_t width = 0;
  int32_t height = 0;
  Cursor cursor{};
  std::vector<uint32_t> ignored;
  int32_t ignoreCount = 0;
};

std::ostream& operator<<(std::ostream& stream, const Task& task) {
  return stream << task.width << " by " << task.height << ", pitch " << task.pitch << ", cursor (" << task.cursor.x
                << ", " << task.cursor.y << "), " << task.ignoreCount << " values ignored";
}

/// Fenced memory for the raster, the list and each result.
class Subject {
public:
  /// The memory of a raster, from its lowest address to its highest.
  std::span<uint32_t> place(const Task& task, const support::Placement& placement) {
    const ptrdiff_t step = task.pitch / 4;
    const ptrdiff_t reach = task.width > 0 && task.height > 0 ? step * (task.height - 1) : 0;
    const ptrdiff_t size = task.width > 0 && task.height > 0 ? std::abs(reach) + task.width : 0;
    raster_ = rasterMemory_.place(static_cast<std::size_t>(size), placement);
    image_ = raster_.data() + std::max<ptrdiff_t>(reach, 0);
    return raster_;
  }

  testing::AssertionResult equalsModel(const Task& task, const support::Placement& listPlacement) {
    const std::span<uint32_t> ignored = listMemory_.place(task.ignored.size(), listPlacement);
    std::ranges::copy(task.ignored, ignored.begin());
    const std::vector<uint32_t> before(raster_.begin(), raster_.end());
    uint32_t* const value = value_.place(1, support::endsAtFence).data();
    uint32_t* const x = x_.place(1, support::beginsAtFence).data();
    uint32_t* const y = y_.place(1, support::endsAtFence).data();
    *value = preset.value;
    *x = preset.x;
    *y = preset.y;
    kxcalcFindCursorXY(image_, task.pitch, task.width, task.height, task.cursor.x, task.cursor.y, value, x, y,
                       ignored.data(), task.ignoreCount);
    Found expected = preset;
    reference::kxcalcFindCursorXY(image_, task.pitch, task.width, task.height, task.cursor.x, task.cursor.y,
                                  &expected.value, &expected.x, &expected.y, ignored.data(), task.ignoreCount);
    const Found actual{*value, *x, *y};
    if (actual != expected) {
      return testing::AssertionFailure() << "actual " << actual << ", expected " << expected << "; " << task;
    }
    if (!value_.surroundingsIntact() || !x_.surroundingsIntact() || !y_.surroundingsIntact() ||
        !rasterMemory_.surroundingsIntact() || !std::ranges::equal(raster_, before)) {
      return testing::AssertionFailure() << "something else was written; " << task;
    }
    return testing::AssertionSuccess();
  }

private:
  support::FencedBuffer<uint32_t> rasterMemory_{200000};
  support::FencedBuffer<uint32_t> listMemory_{128};
  support::FencedBuffer<uint32_t> value_{1};
  support::FencedBuffer<uint32_t> x_{1};
  support::FencedBuffer<uint32_t> y_{1};
  std::span<uint32_t> raster_;
  uint32_t* image_ = nullptr;
};

/// Inside, next to the raster, far away, and where products and differences of 32 bits wrap.
uint32_t anyCursor(int32_t extent, support::Random& random) {
  constexpr uint32_t edges[] = {46340,      46341,      65536,      92681,      131072,     16777216,  3037000,
                                0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFF0000, 0xFFFF4AFC, 4096,      8000,
                                0x55555555, 0xC0000000, 0x40000000, 0x00030000, 1000000,    0xFFF00000};
  switch (random.below(8)) {
    case 0:
      return static_cast<uint32_t>(random.bits());
    case 1:
      return static_cast<uint32_t>(random.between(-30, extent + 30));
    case 2:
    case 3:
      return random.oneOf(edges) + static_cast<uint32_t>(random.between(-extent - 3, extent + 3));
    default:
      return static_cast<uint32_t>(random.between(0, std::max(extent - 1, 0)));
  }
}

int32_t anyPitch(int32_t width, support::Random& random) {
  switch (random.below(6)) {
    case 0:
      return random.between(-4 * width - 20, 4 * width + 20);
    case 1:
      return 4 * (width + random.between(0, 9)) * (random.oneIn(2) ? 1 : -1);
    default:
      return (4 * width + random.between(0, 7)) * (random.oneIn(2) ? 1 : -1);
  }
}

Task anyTask(int32_t largestWidth, int32_t largestHeight, support::Random& random) {
  Task task;
  task.width = random.between(0, largestWidth);
  task.height = random.between(0, largestHeight);
  task.pitch = anyPitch(task.width, random);
  task.cursor = {anyCursor(task.width, random), anyCursor(task.height, random)};
  task.ignored.resize(random.below(random.oneIn(20) ? 70 : 13));
  for (uint32_t& value : task.ignored) {
    value = static_cast<uint32_t>(random.oneIn(3) ? random.below(4) : random.bits());
  }
  task.ignoreCount = static_cast<int32_t>(task.ignored.size());
  if (random.oneIn(50)) {
    task.ignoreCount = -random.between(1, 1000);
  }
  return task;
}

/// Mostly ignored pixels, where there are any, and few, some or many others; gaps between rows hold others.
void fillRaster(std::span<uint32_t> raster, const Task& task, support::Random& random) {
  constexpr std::size_t chances[] = {1, 2, 5, 20, 100, 1000, 100000};
  const std::size_t chance = random.oneOf(chances);
  const uint64_t step = static_cast<uint64_t>(std::abs(task.pitch / 4));
  uint32_t number = 0x01000000;
  for (std::size_t i = 0; i < raster.size(); ++i) {
    const bool isGap = step > 0 && i % step >= static_cast<uint64_t>(task.width);
    ++number;
    raster[i] = isGap || task.ignored.empty() || random.oneIn(chance) ? number : random.oneOf(task.ignored);
  }
}

testing::AssertionResult randomTasksEqualModel(int tasks, int32_t largestWidth, int32_t largestHeight) {
  support::TestRandom random;
  Subject subject;
  const std::vector<support::Placement> placements = support::allPlacements<uint32_t>();
  for (int i = 0; i < tasks; ++i) {
    Task task = anyTask(largestWidth, largestHeight, random);
    fillRaster(subject.place(task, random.oneOf(placements)), task, random);
    for (int cursor = 0; cursor < 3; ++cursor) {
      const testing::AssertionResult result = subject.equalsModel(task, random.oneOf(placements));
      if (!result) {
        return result;
      }
      task.cursor = {anyCursor(task.width, random), anyCursor(task.height, random)};
    }
  }
  return testing::AssertionSuccess();
}

TEST(FindCursorXY, EqualsTheModelForSmallRasters) {
  EXPECT_TRUE(randomTasksEqualModel(100000, 40, 20));
}

TEST(FindCursorXY, EqualsTheModelForLargeRasters) {
  EXPECT_TRUE(randomTasksEqualModel(600, 400, 200));
}

TEST(FindCursorXY, EqualsTheModelForWideAndForHighRasters) {
  EXPECT_TRUE(randomTasksEqualModel(2000, 2500, 3));
  EXPECT_TRUE(randomTasksEqualModel(2000, 9, 1500));
}

TEST(FindCursorXY, EqualsTheModelForEveryCursorOfAFullRaster) {
  // Every pixel may win: each cursor's nearest, by the rule of the columns, is tried in every width.
  support::TestRandom random;
  Subject subject;
  for (int32_t width = 1; width <= 19; ++width) {
    for (const std::size_t chance : {1U, 3U, 30U}) {
      Task task;
      task.width = width;
      task.height = 7;
      task.pitch = -4 * width;
      task.ignored = {0};
      task.ignoreCount = 1;
      const std::span<uint32_t> raster = subject.place(task, support::endsAtFence);
      for (std::size_t i = 0; i < raster.size(); ++i) {
        raster[i] = random.oneIn(chance) ? static_cast<uint32_t>(i + 1) : 0;
      }
      for (int32_t y = -3; y < 10; ++y) {
        for (int32_t x = -6; x < width + 6; ++x) {
          task.cursor = {static_cast<uint32_t>(x), static_cast<uint32_t>(y)};
          ASSERT_TRUE(subject.equalsModel(task, support::beginsAtFence));
        }
      }
    }
  }
}

TEST(FindCursorXY, EqualsTheModelForEveryPairOfPixels) {
  // Which of two pixels wins decides every tie and every threshold of the rule.
  Subject subject;
  for (const int32_t width : {8, 11}) {
    Task task;
    task.width = width;
    task.height = 3;
    task.pitch = 4 * width;
    task.ignored = {0};
    task.ignoreCount = 1;
    const std::span<uint32_t> raster = subject.place(task, support::beginsAtFence);
    for (std::size_t first = 0; first < raster.size(); ++first) {
      for (std::size_t second = first; second < raster.size(); ++second) {
        std::ranges::fill(raster, 0U);
        raster[first] = 1;
        raster[second] = 2;
        for (uint32_t y = 0; y < 4; ++y) {
          for (uint32_t x = 0; x < 13; ++x) {
            task.cursor = {x - 1, y - 1};
            ASSERT_TRUE(subject.equalsModel(task, support::endsAtFence));
          }
        }
      }
    }
  }
}

TEST(FindCursorXY, ReadsNothingNextToItsRows) {
  // Every row ends, then begins, at an inaccessible page.
  const std::size_t page = support::PageMapping::pageSize();
  const auto pitch = static_cast<int32_t>(2 * page);
  constexpr uint32_t height = 5;
  const uint32_t ignored = 0;
  for (const std::size_t width : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 9U, 15U, 16U, 17U, 31U, 33U, 64U, 67U}) {
    for (const std::size_t offsetInPage : {std::size_t{0}, page - width * sizeof(uint32_t)}) {
      support::PageMapping mapping(2 * page * (height + 1));
      const auto rowAt = [&](std::size_t i) {
        return reinterpret_cast<uint32_t*>(mapping.data() + 2 * page * i + page + offsetInPage);
      };
      for (std::size_t i = 0; i < height; ++i) {
        mapping.open(2 * page * i + page, page);
      }
      for (const uint32_t only : {0U, static_cast<uint32_t>(width) - 1, 1000U}) {
        for (std::size_t i = 0; i < height; ++i) {
          std::fill_n(rowAt(i), width, 0U);
          if (only < width) {
            rowAt(i)[only] = static_cast<uint32_t>(i) + 7;
          }
        }
        for (uint32_t y = 0; y < height; ++y) {
          const uint32_t reported = only < width / 4 * 4 ? only : only - static_cast<uint32_t>(width / 4 * 4);
          const auto expectedAt = [&](uint32_t value) { return only < width ? Found{value, reported, y} : preset; };
          Found found = preset;
          kxcalcFindCursorXY(rowAt(0), -pitch, static_cast<int32_t>(width), height, only, y, &found.value, &found.x,
                             &found.y, &ignored, 1);
          ASSERT_EQ(found, expectedAt(y + 7)) << width;
          found = preset;
          kxcalcFindCursorXY(rowAt(height - 1), pitch, static_cast<int32_t>(width), height, only, y, &found.value,
                             &found.x, &found.y, &ignored, 1);
          ASSERT_EQ(found, expectedAt(height - 1 - y + 7)) << width;
        }
      }
    }
  }
}

TEST(FindCursorXY, RowsMayLieFurtherApartThanThe32BitRange) {
  const std::size_t page = support::PageMapping::pageSize();
  constexpr uint32_t height = 4;
  const uint64_t bytes = uint64_t{height} * 0x80000000 + 2 * page;
  if (bytes > std::numeric_limits<std::size_t>::max() / 2) {
    GTEST_SKIP() << "the address space is too small";
  }
  support::PageMapping mapping(static_cast<std::size_t>(bytes));
  const uint32_t ignored = 0;
  for (const int32_t pitch : {lowest, highest}) {
    const ptrdiff_t step = pitch / 4;
    uint32_t* const image =
        reinterpret_cast<uint32_t*>(mapping.data()) + (step > 0 ? step * static_cast<ptrdiff_t>(height - 1) : 0);
    for (uint32_t y = 0; y < height; ++y) {
      uint32_t* const row = image - static_cast<ptrdiff_t>(y) * step;
      mapping.open(static_cast<std::size_t>(reinterpret_cast<std::byte*>(row) - mapping.data()), 6 * sizeof(uint32_t));
      std::fill_n(row, 6, y + 1);
    }
    for (uint32_t y = 0; y < height; ++y) {
      Found found = preset;
      kxcalcFindCursorXY(image, pitch, 6, height, 2, y, &found.value, &found.x, &found.y, &ignored, 1);
      EXPECT_EQ(found, (Found{y + 1, 2, y})) << pitch;
    }
  }
}

}  // namespace
