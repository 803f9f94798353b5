// What the manifest's hashes can tell apart, and what they must not.
#include "digest.hpp"

#include <gtest/gtest.h>
#include <kxcalc.h>

#include <bit>
#include <limits>
#include <string>

#include "exercises.hpp"

namespace {

using kxverify::Buffer;
using kxverify::Digest;

template <class T>
std::string hashOf(T number) {
  Digest digest;
  digest.add(number);
  return digest.hexadecimal();
}

template <class T>
std::string bitsHashOf(T number) {
  Digest digest;
  digest.addBits(number);
  return digest.hexadecimal();
}

TEST(Digest, NansOfArithmeticAreOne) {
  const auto other = std::bit_cast<float>(0xFFC01234U);
  EXPECT_EQ(hashOf(std::numeric_limits<float>::quiet_NaN()), hashOf(other));
  EXPECT_NE(bitsHashOf(std::numeric_limits<float>::quiet_NaN()), bitsHashOf(other));
}

TEST(Digest, TellsTheLastBitAndTheSignOfZeroApart) {
  EXPECT_NE(hashOf(1.0F), hashOf(std::bit_cast<float>(0x3F800001U)));
  EXPECT_NE(hashOf(1.0), hashOf(std::bit_cast<double>(0x3FF0000000000001U)));
  EXPECT_NE(hashOf(0.0F), hashOf(-0.0F));
}

TEST(Digest, BuffersCountWithTheirSurroundings) {
  Buffer<float> clean(5, 1);
  Buffer<float> beyond(5, 1);
  beyond.data()[5] = 1;
  Buffer<float> before(5, 1);
  before.data()[-1] = 1;
  const auto hash = [](const Buffer<float>& buffer) {
    Digest digest;
    digest.add(buffer);
    return digest.hexadecimal();
  };
  EXPECT_NE(hash(clean), hash(beyond));
  EXPECT_NE(hash(clean), hash(before));
}

TEST(Buffer, LiesWhereItShallAndSoDoItsCopies) {
  for (std::size_t offset = 0; offset < 16; ++offset) {
    const Buffer<int16_t> buffer(3, offset);
    const Buffer<int16_t> copy(buffer);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.data()) % 64, 2 * offset);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(copy.data()) % 64, 2 * offset);
  }
}

}  // namespace
