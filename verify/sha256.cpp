#include "verify/sha256.hpp"

#include <algorithm>
#include <bit>

namespace kxverify {
namespace {

constexpr std::array<uint32_t, 64> constants{
    0x428A2F98, 0x71374491, 0xB5C0FBCF, 0xE9B5DBA5, 0x3956C25B, 0x59F111F1, 0x923F82A4, 0xAB1C5ED5,
    0xD807AA98, 0x12835B01, 0x243185BE, 0x550C7DC3, 0x72BE5D74, 0x80DEB1FE, 0x9BDC06A7, 0xC19BF174,
    0xE49B69C1, 0xEFBE4786, 0x0FC19DC6, 0x240CA1CC, 0x2DE92C6F, 0x4A7484AA, 0x5CB0A9DC, 0x76F988DA,
    0x983E5152, 0xA831C66D, 0xB00327C8, 0xBF597FC7, 0xC6E00BF3, 0xD5A79147, 0x06CA6351, 0x14292967,
    0x27B70A85, 0x2E1B2138, 0x4D2C6DFC, 0x53380D13, 0x650A7354, 0x766A0ABB, 0x81C2C92E, 0x92722C85,
    0xA2BFE8A1, 0xA81A664B, 0xC24B8B70, 0xC76C51A3, 0xD192E819, 0xD6990624, 0xF40E3585, 0x106AA070,
    0x19A4C116, 0x1E376C08, 0x2748774C, 0x34B0BCB5, 0x391C0CB3, 0x4ED8AA4A, 0x5B9CCA4F, 0x682E6FF3,
    0x748F82EE, 0x78A5636F, 0x84C87814, 0x8CC70208, 0x90BEFFFA, 0xA4506CEB, 0xBEF9A3F7, 0xC67178F2};

uint32_t bigEndian(const unsigned char* bytes) {
  return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
         static_cast<uint32_t>(bytes[2]) << 8 | static_cast<uint32_t>(bytes[3]);
}

}  // namespace

void Sha256::addBlock(const unsigned char* block) {
  std::array<uint32_t, 64> w;
  for (std::size_t t = 0; t < 16; ++t) {
    w[t] = bigEndian(block + 4 * t);
  }
  for (std::size_t t = 16; t < 64; ++t) {
    const uint32_t s0 = std::rotr(w[t - 15], 7) ^ std::rotr(w[t - 15], 18) ^ (w[t - 15] >> 3);
    const uint32_t s1 = std::rotr(w[t - 2], 17) ^ std::rotr(w[t - 2], 19) ^ (w[t - 2] >> 10);
    w[t] = w[t - 16] + s0 + w[t - 7] + s1;
  }
  auto [a, b, c, d, e, f, g, h] = state_;
  for (std::size_t t = 0; t < 64; ++t) {
    const uint32_t s1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
    const uint32_t t1 = h + s1 + ((e & f) ^ (~e & g)) + constants[t] + w[t];
    const uint32_t s0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
    const uint32_t t2 = s0 + ((a & b) ^ (a & c) ^ (b & c));
    h = g;
    g = f;
    f = e;
    e = d + t1;
    d = c;
    c = b;
    b = a;
    a = t1 + t2;
  }
  const std::array<uint32_t, 8> sums{a, b, c, d, e, f, g, h};
  for (std::size_t i = 0; i < sums.size(); ++i) {
    state_[i] += sums[i];
  }
}

void Sha256::add(const unsigned char* bytes, std::size_t count) {
  while (count > 0) {
    const auto filled = static_cast<std::size_t>(total_ % pending_.size());
    const std::size_t taken = std::min(count, pending_.size() - filled);
    std::copy_n(bytes, taken, pending_.begin() + static_cast<std::ptrdiff_t>(filled));
    total_ += taken;
    bytes += taken;
    count -= taken;
    if (total_ % pending_.size() == 0) {
      addBlock(pending_.data());
    }
  }
}

std::string Sha256::hexadecimal() {
  const uint64_t bits = total_ * 8;
  const unsigned char one = 0x80;
  const unsigned char zero = 0;
  add(&one, 1);
  while (total_ % pending_.size() != 56) {
    add(&zero, 1);
  }
  for (int shift = 56; shift >= 0; shift -= 8) {
    const auto byte = static_cast<unsigned char>(bits >> shift);
    add(&byte, 1);
  }
  std::string text;
  for (const uint32_t word : state_) {
    for (int shift = 28; shift >= 0; shift -= 4) {
      text += "0123456789abcdef"[word >> shift & 15U];
    }
  }
  return text;
}

}  // namespace kxverify
