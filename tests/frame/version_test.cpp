#include "reference/version.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <cstdint>
#include <limits>

#include "support/fenced_buffer.hpp"

namespace {

TEST(GetVersion, Is2Point17AndFlagsValuesFrom10On) {
  constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
  constexpr int32_t highest = std::numeric_limits<int32_t>::max();
  const struct {
    int32_t value;
    uint32_t flag;
  } cases[] = {{lowest, 0}, {-2147483639, 0}, {-10, 0}, {-5, 0}, {0, 0},
               {8, 0},      {9, 0},           {10, 1},  {11, 1}, {highest, 1}};
  for (const auto& [value, expectedFlag] : cases) {
    uint32_t major = 99;
    uint32_t minor = 99;
    uint32_t flag = 99;
    kxcalcGetVersion(&major, &minor, value, &flag);
    EXPECT_EQ(major, 2U);
    EXPECT_EQ(minor, 17U);
    EXPECT_EQ(flag, expectedFlag) << "value " << value;
  }
}

TEST(GetVersion, EqualsTheModelForEverySmallValue) {
  for (int32_t value = -1000; value <= 1000; ++value) {
    uint32_t actual[3] = {99, 99, 99};
    uint32_t expected[3] = {};
    kxcalcGetVersion(&actual[0], &actual[1], value, &actual[2]);
    reference::kxcalcGetVersion(&expected[0], &expected[1], value, &expected[2]);
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(actual[i], expected[i]) << "result " << i << " of value " << value;
    }
  }
}

TEST(GetVersion, WritesMajorThenMinorThenFlag) {
  uint32_t majorAndMinor = 99;
  uint32_t flag = 99;
  kxcalcGetVersion(&majorAndMinor, &majorAndMinor, 0, &flag);
  EXPECT_EQ(majorAndMinor, 17U);
  uint32_t all = 99;
  kxcalcGetVersion(&all, &all, 10, &all);
  EXPECT_EQ(all, 1U);
}

TEST(GetVersion, WritesOneNumberEach) {
  for (const support::Placement& placement : {support::endsAtFence, support::beginsAtFence, support::pastBoundary(1)}) {
    support::FencedBuffer<uint32_t> major(1);
    support::FencedBuffer<uint32_t> minor(1);
    support::FencedBuffer<uint32_t> flag(1);
    kxcalcGetVersion(major.place(1, placement).data(), minor.place(1, placement).data(), 10,
                     flag.place(1, placement).data());
    EXPECT_TRUE(major.surroundingsIntact()) << placement;
    EXPECT_TRUE(minor.surroundingsIntact()) << placement;
    EXPECT_TRUE(flag.surroundingsIntact()) << placement;
  }
}

}  // namespace
