// What an export delivers, as one hash: little-endian bytes of numbers, whatever the machine.
#pragma once

#include <bit>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

#include "buffer.hpp"
#include "sha256.hpp"

namespace kxverify {

class Digest {
public:
  /// A result of arithmetic: all NaNs are one.
  template <std::floating_point T>
  void add(T number) {
    addBits(std::isnan(number) ? std::numeric_limits<T>::quiet_NaN() : number);
  }
  void add(bool flag) { add(static_cast<uint8_t>(flag)); }
  template <std::integral T>
  void add(T number) {
    addBytes(static_cast<std::make_unsigned_t<T>>(number));
  }
  /// A result whose bits the contract names, a NaN's too.
  template <std::floating_point T>
  void addBits(const T& number) {
    addBytes(std::bit_cast<std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>>(number));
  }

  template <class T>
  void add(const Buffer<T>& buffer) {
    for (const T& element : buffer.withSurroundings()) {
      add(element);
    }
  }
  template <class T>
  void addBits(const Buffer<T>& buffer) {
    for (const T& element : buffer.withSurroundings()) {
      addBits(element);
    }
  }

  std::string hexadecimal() { return hash_.hexadecimal(); }

private:
  template <std::unsigned_integral U>
  void addBytes(U number) {
    unsigned char bytes[sizeof(U)];
    for (std::size_t i = 0; i < sizeof(U); ++i) {
      bytes[i] = static_cast<unsigned char>(static_cast<uint64_t>(number) >> (8 * i));
    }
    hash_.add(bytes, sizeof bytes);
  }

  Sha256 hash_;
};

}  // namespace kxverify
