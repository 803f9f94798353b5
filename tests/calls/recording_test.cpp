// What a comparison of two libraries' results finds.
#include "functions/calls/recording.hpp"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <limits>
#include <string>

namespace {

using kxcalc::calls::Comparison;
using kxcalc::calls::ConstElements;
using kxcalc::calls::Nan;
using kxcalc::calls::Recording;
using kxcalc::calls::Role;

struct Result {
  const char* name;
  ConstElements elements;
  Nan rule = Nan::any;
};

template <class... R>
std::string difference(const Result& expected, const R&... actual) {
  Recording recording;
  recording.take(expected.name, expected.elements, expected.rule, Role::output);
  Comparison comparison(recording);
  (comparison.take(actual.name, actual.elements, actual.rule, Role::output), ...);
  return comparison.difference();
}

template <class T>
ConstElements one(const T& number) {
  return std::span<const T>(&number, 1);
}

TEST(Recording, EqualResultsDoNotDiffer) {
  const std::array numbers{1.0F, -0.0F, std::numeric_limits<float>::quiet_NaN()};
  const Result result{"sum", std::span<const float>(numbers)};
  EXPECT_EQ(difference(result, result), "");
}

TEST(Recording, TheFirstDifferenceIsToldWithBothValues) {
  const std::array expected{1, 2, 3};
  const std::array actual{1, 5, 7};
  EXPECT_EQ(difference({"sums", std::span<const int32_t>(expected)}, Result{"sums", std::span<const int32_t>(actual)}),
            "sums, index 1: actual 5 (0x00000005), expected 2 (0x00000002)");
}

TEST(Recording, BitsOfNansCountWhereTheContractNamesThem) {
  const auto one32 = std::bit_cast<std::array<float, 1>>(0x7FC00000U);
  const auto other = std::bit_cast<std::array<float, 1>>(0xFFC00001U);
  EXPECT_EQ(difference({"peak", one(one32[0])}, Result{"peak", one(other[0])}), "");
  EXPECT_NE(difference({"peak", one(one32[0])}, Result{"peak", one(other[0]), Nan::bits}), "");
}

TEST(Recording, ZerosOfBothSignsDiffer) {
  const double positive = 0.0;
  const double negative = -0.0;
  EXPECT_NE(difference({"sum", one(positive)}, Result{"sum", one(negative)}), "");
}

TEST(Recording, MissingFurtherAndOtherResultsDiffer) {
  const int32_t number = 1;
  const uint32_t unsignedNumber = 1;
  const Result result{"sum", one(number)};
  EXPECT_EQ(difference(result), "sum: missing");
  EXPECT_EQ(difference(result, result, result), "sum: not expected");
  EXPECT_NE(difference(result, Result{"product", one(number)}), "");
  EXPECT_NE(difference(result, Result{"sum", one(unsignedNumber)}), "");
}

TEST(Recording, ChangedInputsAreToldAsSuch) {
  const int32_t before = 1;
  const int32_t after = 2;
  Recording recording;
  recording.take("data", one(before), Nan::bits, Role::input);
  Comparison comparison(recording);
  comparison.take("data", one(after), Nan::bits, Role::input);
  EXPECT_EQ(comparison.difference(), "data, an input, index 0: actual 2 (0x00000002), expected 1 (0x00000001)");
}

}  // namespace
