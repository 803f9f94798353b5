// What the benchmarks' tables say of given figures, and when two results agree.
#include "bench/support/tables.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

namespace kxcalc::bench {
namespace {

Row sine(std::size_t count = 1'000) {
  return {"kxcalcSin_float",
          "",
          count,
          {{"avx2", Role::kxcalc, sameBits(), 0.5},
           {"sse41", Role::kxcalc, sameBits(), 1.5},
           {"plain", Role::loop, sameBits(), 4},
           {"formula", Role::loop, sameBits("NaNs"), 1},
           {"SLEEF", Role::library, otherBits("the same \"approximation\"", 1e-5), 0.25},
           {"16-byte", Role::traffic, sameBits(), 0.2},
           {"widest", Role::traffic, sameBits(), 0.1},
           {"chain", Role::chain, sameBits(), 0.125}}};
}

std::string markdown(const std::vector<Row>& rows) {
  std::ostringstream text;
  writeMarkdown(text, rows, {"avx2", "sse41"});
  return text.str();
}

TEST(BenchTables, ARowHoldsEachLibraryTheBestPeersTheLimitAndTheRatios) {
  EXPECT_EQ(markdown({sine()}), R"(
## First-level cache: 1,000 elements

| job       | avx2  | sse41 | same bits    | any         | limit | / same | / any | / limit |
|-----------|-------|-------|--------------|-------------|-------|--------|-------|---------|
| Sin_float | 0.500 | 1.50  | 1.00 formula | 0.250 SLEEF | 0.125 | 0.50   | 2.00  | 4.00    |

Ahead or level: 1 of 1 where a peer gives the same bits, 0 of 1 where there is any.
)");
}

TEST(BenchTables, TheLimitIsTheLongerOfTheQuickestTrafficAndTheChain) {
  Row row = sine();
  EXPECT_EQ(row.limit(), 0.125);
  row.figures.pop_back();
  EXPECT_EQ(row.limit(), 0.1);
  row.figures.resize(5);
  EXPECT_EQ(row.limit(), std::nullopt);
}

TEST(BenchTables, WhatWasNotMeasuredStaysEmpty) {
  Row row = sine();
  row.figures.resize(1);
  EXPECT_NE(markdown({row}).find("| Sin_float | 0.500 |       |           |     |       |        |       |         |"),
            std::string::npos)
      << markdown({row});
  row.figures = {{"plain", Role::loop, sameBits(), 1}};
  EXPECT_EQ(markdown({row}), "");
  EXPECT_EQ(row.ours(), nullptr);
}

TEST(BenchTables, SizesHaveTablesOfTheirOwnAndOtherCountsAreNamed) {
  const std::string text = markdown({sine(50), sine(32'000), sine(5'000'000)});
  const auto first = text.find("## First"), second = text.find("## Second"), memory = text.find("## Memory");
  EXPECT_LT(first, text.find("| Sin_float (50) "));
  EXPECT_LT(text.find("| Sin_float (50) "), second);
  EXPECT_LT(second, text.find("| Sin_float |"));
  EXPECT_LT(text.find("| Sin_float |"), memory);
  EXPECT_LT(memory, text.find("| Sin_float (5000000) "));
}

TEST(BenchTables, TheVariantStandsBesideTheJob) {
  Row row = sine();
  row.job = "kxCalcCARunningVal";
  row.variant = "sliding";
  EXPECT_NE(markdown({row}).find("| CARunningVal, sliding |"), std::string::npos);
}

TEST(BenchTables, TheCsvFileHoldsEveryFigure) {
  std::ostringstream text;
  Row row = sine();
  row.variant = "angles";
  writeCsv(text, {row}, "2001-02-03", "A, B", "GNU 1");
  EXPECT_EQ(
      text.str(),
      R"(date,processor,compiler,job,variant,elements,who,kind,same_bits,does_not_promise,ns_per_element,time_by_ours
2001-02-03,"A, B","GNU 1",kxcalcSin_float,angles,1000,avx2,kxcalc,,"",0.5,1
2001-02-03,"A, B","GNU 1",kxcalcSin_float,angles,1000,sse41,kxcalc,,"",1.5,3
2001-02-03,"A, B","GNU 1",kxcalcSin_float,angles,1000,plain,loop,yes,"",4,8
2001-02-03,"A, B","GNU 1",kxcalcSin_float,angles,1000,formula,loop,yes,"NaNs",1,2
2001-02-03,"A, B","GNU 1",kxcalcSin_float,angles,1000,SLEEF,library,no,"the same ""approximation""",0.25,0.5
2001-02-03,"A, B","GNU 1",kxcalcSin_float,angles,1000,16-byte,traffic,,"",0.2,0.4
2001-02-03,"A, B","GNU 1",kxcalcSin_float,angles,1000,widest,traffic,,"",0.1,0.2
2001-02-03,"A, B","GNU 1",kxcalcSin_float,angles,1000,chain,chain,,"",0.125,0.25
)");
}

TEST(BenchAgreement, WithoutToleranceTheBitsDecide) {
  constexpr double quietNaN = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(disagreement({1.0, quietNaN, 0.0}, {1.0, -quietNaN, 0.0}, 0), "");
  EXPECT_EQ(disagreement({1.0, 2.0}, {1.0, 2.5}, 0), "its result 1 is 2.5 instead of 2");
  EXPECT_NE(disagreement({0.0}, {-0.0}, 0), "");
  EXPECT_NE(disagreement({1.0}, {quietNaN}, 0), "");
  EXPECT_NE(disagreement({quietNaN}, {1.0}, 0), "");
  EXPECT_NE(disagreement({1.0}, {1 + 0x1p-52}, 0), "");
}

TEST(BenchAgreement, ToleranceIsByTheScaleOfEachResult) {
  EXPECT_EQ(disagreement({100.0}, {101.0}, 0.01), "");
  EXPECT_NE(disagreement({100.0}, {101.5}, 0.01), "");
  EXPECT_EQ(disagreement({{100.0, 1000.0}}, {109.0}, 0.01), "");
  EXPECT_NE(disagreement({1.0}, {std::numeric_limits<double>::quiet_NaN()}, 0.01), "");
}

TEST(BenchAgreement, ElementsAreSpreadOverTheOutput) {
  const std::vector<float> output{1, 2, 3};
  EXPECT_EQ(elementsOf(output.data(), 0).size(), 0U);
  EXPECT_EQ(elementsOf(output.data(), 3).size(), 4U);
  EXPECT_EQ(elementsOf(output.data(), 3).back().value, 3);
  const std::vector<float> longer(10'000, 1.0F);
  EXPECT_LT(elementsOf(longer.data(), longer.size()).size(), 1'000U);
}

}  // namespace
}  // namespace kxcalc::bench
