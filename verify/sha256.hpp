// SHA-256 after FIPS 180-4. Here so that the program depends on nothing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kxverify {

class Sha256 {
public:
  void add(const unsigned char* bytes, std::size_t count);
  /// The hash of all bytes added, in hexadecimal. Nothing can be added afterwards.
  std::string hexadecimal();

private:
  void addBlock(const unsigned char* block);

  std::array<uint32_t, 8> state_{0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                                 0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};
  std::array<unsigned char, 64> pending_{};
  uint64_t total_ = 0;
};

}  // namespace kxverify
