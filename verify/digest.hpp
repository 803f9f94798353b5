// What an export delivers, as one hash: little-endian bytes of numbers, whatever the machine.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <type_traits>
#include <variant>

#include "functions/calls/call.hpp"
#include "verify/sha256.hpp"

namespace kxverify {

class Digest : public kxcalc::calls::Sink {
public:
  /// Results are hashed, inputs are not. Of numbers whose bits no contract names all NaNs are one.
  void take(const char* /*name*/, kxcalc::calls::ConstElements elements, kxcalc::calls::Nan rule,
            kxcalc::calls::Role role) override {
    if (role != kxcalc::calls::Role::input) {
      std::visit([&](auto numbers) { add(numbers, rule); }, elements);
    }
  }

  std::string hexadecimal() { return hash_.hexadecimal(); }

private:
  template <class T>
  void add(std::span<const T> numbers, kxcalc::calls::Nan rule) {
    for (const T& number : numbers) {
      if constexpr (std::floating_point<T>) {
        const bool isAnyNan = rule == kxcalc::calls::Nan::any && number != number;
        addBits(isAnyNan ? std::bit_cast<BitsOf<T>>(std::numeric_limits<T>::quiet_NaN()) : bitsOf(number));
      } else {
        addBits(static_cast<std::make_unsigned_t<T>>(number));
      }
    }
  }

  template <class T>
  using BitsOf = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;

  /// Through memory: a signalling NaN keeps its bits.
  template <class T>
  static BitsOf<T> bitsOf(const T& number) {
    BitsOf<T> bits;
    std::memcpy(&bits, &number, sizeof bits);
    return bits;
  }

  template <std::unsigned_integral U>
  void addBits(U number) {
    unsigned char bytes[sizeof(U)];
    for (std::size_t i = 0; i < sizeof(U); ++i) {
      bytes[i] = static_cast<unsigned char>(static_cast<uint64_t>(number) >> (8 * i));
    }
    hash_.add(bytes, sizeof bytes);
  }

  Sha256 hash_;
};

}  // namespace kxverify
