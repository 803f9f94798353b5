// Numbers that are the same on every machine, made with integers and exact conversions alone.
#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>

namespace kxverify {

enum class Kind {
  signal,    // a slow triangle with noise, within -1 and 1 (integers: within half of their range)
  wide,      // every sign, exponent and significand, no NaNs and infinities (integers: every bit pattern)
  specials,  // zeros, infinities, quiet NaNs, denormals, extremes, ones (integers: the ends of the range)
  ties,      // 0, 1 and 2
  nans       // every fourth or so a NaN of any sign and payload, signalling ones too; else a signal
};

/// A sequence of numbers that a name starts (splitmix64, S. Vigna).
class Generator {
public:
  explicit Generator(std::string_view name) {
    for (const char letter : name) {
      state_ = (state_ ^ static_cast<unsigned char>(letter)) * 0x100000001B3U;
    }
  }

  uint64_t bits() {
    state_ += 0x9E3779B97F4A7C15U;
    uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
  }
  /// 0 to highest.
  uint64_t upTo(uint64_t highest) { return highest == UINT64_MAX ? bits() : (bits() >> 16) % (highest + 1); }

  template <class T>
  void set(T& number, Kind kind) {
    ++count_;
    if (kind == Kind::ties) {
      number = static_cast<T>(upTo(2));
    } else if constexpr (std::floating_point<T>) {
      if (kind == Kind::nans && upTo(3) == 0) {
        setToNan(number);
      } else {
        number = kind == Kind::wide ? wide<T>() : kind == Kind::specials ? special<T>() : static_cast<T>(signal());
      }
    } else {
      const auto pattern = static_cast<T>(bits());
      const std::array<T, 6> ends{
          std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), 0, 1, static_cast<T>(-1), pattern};
      number = kind == Kind::specials ? oneOf(ends) : kind == Kind::wide ? pattern : static_cast<T>(pattern / 2);
    }
  }

private:
  template <class T, std::size_t count>
  T oneOf(const std::array<T, count>& values) {
    return values[upTo(count - 1)];
  }
  /// -1 to below 1, of 24 significant bits: exact as a single.
  double unit() { return static_cast<double>(static_cast<int32_t>(bits() >> 40) - 0x800000) / 0x800000; }

  double signal() {
    constexpr uint32_t period = 64;
    const auto phase = static_cast<int32_t>(count_ % period);
    const int32_t triangle = phase < 32 ? phase - 16 : 48 - phase;  // -16 to 16
    return static_cast<double>(triangle) / 32 + unit() / 4;
  }

  template <class T>
  using BitsOf = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;

  template <class T>
  T wide() {
    constexpr int mantissa = std::numeric_limits<T>::digits - 1;
    constexpr auto exponents = static_cast<BitsOf<T>>((BitsOf<T>{1} << (sizeof(T) * 8 - 1 - mantissa)) - 1);
    const auto pattern = static_cast<BitsOf<T>>(bits());
    const bool finite = (pattern >> mantissa & exponents) != exponents;
    return std::bit_cast<T>(finite ? pattern : static_cast<BitsOf<T>>(pattern ^ (BitsOf<T>{1} << mantissa)));
  }

  /// As bytes: a floating-point register may quieten it.
  template <class T>
  void setToNan(T& number) {
    const auto infinity = std::bit_cast<BitsOf<T>>(std::numeric_limits<T>::infinity());
    const auto nan = static_cast<BitsOf<T>>(static_cast<BitsOf<T>>(bits()) | infinity | 1);
    std::memcpy(&number, &nan, sizeof number);
  }

  template <class T>
  T special() {
    using Limits = std::numeric_limits<T>;
    const T ordinary = static_cast<T>(unit());
    const std::array<T, 12> values{T(0),
                                   ordinary,
                                   Limits::infinity(),
                                   Limits::quiet_NaN(),
                                   Limits::min(),
                                   Limits::max(),
                                   Limits::denorm_min(),
                                   T(1),
                                   T(0.5),
                                   T(16777217.0),
                                   ordinary,
                                   Limits::min() / 3};
    const T value = oneOf(values);
    return upTo(1) == 0 ? value : -value;
  }

  uint64_t state_ = 0xCBF29CE484222325U;
  uint64_t count_ = 0;
};

}  // namespace kxverify
