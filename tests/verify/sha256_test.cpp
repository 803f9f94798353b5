#include "verify/sha256.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

std::string hashOf(std::string_view text, std::size_t piece) {
  kxverify::Sha256 hash;
  for (std::size_t i = 0; i < text.size(); i += piece) {
    const std::string_view part = text.substr(i, piece);
    hash.add(reinterpret_cast<const unsigned char*>(part.data()), part.size());
  }
  return hash.hexadecimal();
}

// The examples of FIPS 180-2, appendix B, and the empty message.
TEST(Sha256, PublishedExamples) {
  const std::string million(1000000, 'a');
  const std::string_view two = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
  for (const std::size_t piece : {1U, 55U, 64U, 1000U}) {
    EXPECT_EQ(hashOf("", piece), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hashOf("abc", piece), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(hashOf(two, piece), "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(hashOf(million, piece), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  }
}

}  // namespace
