// What the manifest's hashes can tell apart, and what they must not.
#include "verify/digest.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <string>

namespace {

using kxcalc::calls::Nan;
using kxcalc::calls::Role;

template <class T>
std::string hashOf(const T& number, Nan rule = Nan::any, Role role = Role::output) {
  kxverify::Digest digest;
  digest.take("number", std::span<const T>(&number, 1), rule, role);
  return digest.hexadecimal();
}

TEST(Digest, NansOfArithmeticAreOne) {
  const float quiet = std::numeric_limits<float>::quiet_NaN();
  const auto other = std::bit_cast<float>(0xFFC01234U);
  EXPECT_EQ(hashOf(quiet), hashOf(other));
  EXPECT_NE(hashOf(quiet, Nan::bits), hashOf(other, Nan::bits));
}

TEST(Digest, TellsTheLastBitAndTheSignOfZeroApart) {
  EXPECT_NE(hashOf(1.0F), hashOf(std::bit_cast<float>(0x3F800001U)));
  EXPECT_NE(hashOf(1.0), hashOf(std::bit_cast<double>(0x3FF0000000000001U)));
  EXPECT_NE(hashOf(0.0F), hashOf(-0.0F));
}

TEST(Digest, InputsDoNotCount) {
  EXPECT_EQ(hashOf(1.0F, Nan::any, Role::input), hashOf(2.0F, Nan::any, Role::input));
}

}  // namespace
