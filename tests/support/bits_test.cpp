// The comparisons that other tests rely on see what they are there for.
#include "support/bits.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <span>
#include <string>

namespace {

using support::sameBits;
using support::sameResult;

TEST(Bits, ZerosOfDifferentSignAndNeighboursDiffer) {
  EXPECT_FALSE(sameBits(0.0, -0.0));
  EXPECT_FALSE(sameResult(0.0, -0.0));
  EXPECT_FALSE(sameResult(1.0F, std::nextafter(1.0F, 2.0F)));
  EXPECT_TRUE(sameResult(1.0F, 1.0F));
}

TEST(Bits, NansAreOneClassOnlyWhereTheyComeFromArithmetic) {
  float positive;
  float negative;
  support::setBits(positive, 0x7FC00001);
  support::setBits(negative, 0xFFC00002);
  EXPECT_TRUE(sameResult(positive, negative));
  EXPECT_FALSE(sameBits(positive, negative));
  EXPECT_TRUE(sameBits(positive, positive));
  EXPECT_FALSE(sameResult(positive, 1.0F));
  EXPECT_FALSE(sameResult(1.0F, positive));
}

TEST(Bits, ADifferenceIsToldByIndexAndPatterns) {
  const std::array<float, 3> actual{1, 2, 3};
  const std::array<float, 3> expected{1, 2, -3};
  const testing::AssertionResult result = sameBits(std::span(actual), std::span(expected));
  EXPECT_FALSE(result);
  EXPECT_EQ(std::string(result.message()),
            "first difference at index 2 of 3: actual 3 (0x40400000), expected -3 (0xc0400000)");
  EXPECT_FALSE(sameBits(std::span(actual), std::span(expected).first(2)));
}

}  // namespace
