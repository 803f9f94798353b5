// Input sets: the same on every machine, made with integers and exact conversions alone.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>
#include <type_traits>

#include "buffer.hpp"

namespace kxverify {

enum class Kind {
  signal,   // a slow triangle with noise, within -1 and 1 (integers: within half of their range)
  wide,     // every sign, exponent and significand, no NaNs and infinities (integers: every bit pattern)
  specials  // zeros, infinities, quiet NaNs, denormals, extremes, ones (integers: the ends of the range)
};
constexpr std::array kinds{Kind::signal, Kind::wide, Kind::specials};

/// A sequence of numbers that a name starts (splitmix64, S. Vigna).
class Source {
public:
  explicit Source(std::string_view name) {
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
  /// 0 to bound - 1.
  uint32_t below(uint32_t bound) { return static_cast<uint32_t>((bits() >> 32) % bound); }
  /// -1 to below 1, of 24 significant bits: exact as a single.
  double unit() { return static_cast<double>(static_cast<int32_t>(bits() >> 40) - 0x800000) / 0x800000; }
  template <class T, std::size_t count>
  T oneOf(const std::array<T, count>& values) {
    return values[below(count)];
  }

  template <class T>
  T sample(Kind kind) {
    ++count_;
    if constexpr (std::is_floating_point_v<T>) {
      return kind == Kind::signal ? static_cast<T>(signal()) : kind == Kind::wide ? wide<T>() : special<T>();
    } else {
      const auto pattern = static_cast<T>(bits());
      if (kind == Kind::specials) {
        const std::array<T, 6> ends{
            std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), 0, 1, static_cast<T>(-1), pattern};
        return oneOf(ends);
      }
      return kind == Kind::signal ? static_cast<T>(pattern / 2) : pattern;
    }
  }

  template <class T>
  void fill(Buffer<T>& buffer, Kind kind) {
    for (T& element : buffer.elements()) {
      element = sample<T>(kind);
    }
  }

private:
  double signal() {
    constexpr uint32_t period = 64;
    const auto phase = static_cast<int32_t>(count_ % period);
    const int32_t triangle = phase < 32 ? phase - 16 : 48 - phase;  // -16 to 16
    return static_cast<double>(triangle) / 32 + unit() / 4;
  }

  template <class T>
  T wide() {
    using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
    constexpr int mantissa = std::numeric_limits<T>::digits - 1;
    constexpr Bits exponents = (Bits{1} << (sizeof(T) * 8 - 1 - mantissa)) - 1;
    const auto pattern = static_cast<Bits>(bits());
    const bool finite = (pattern >> mantissa & exponents) != exponents;
    return std::bit_cast<T>(finite ? pattern : static_cast<Bits>(pattern ^ (Bits{1} << mantissa)));
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
    return below(2) == 0 ? value : -value;
  }

  uint64_t state_ = 0xCBF29CE484222325U;
  uint64_t count_ = 0;
};

}  // namespace kxverify
