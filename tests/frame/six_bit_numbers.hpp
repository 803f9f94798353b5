// Floating-point numbers of six bits, three of exponent and three of significand, with subnormals, infinity and NaNs, for
// the engine of serial sums: so few that all cases can be gone through. Numbers are not negative; a pattern with a seventh
// bit is a NaN too, as a negative one is among doubles.
#ifndef KXCALC_TESTS_FRAME_SIX_BIT_NUMBERS_HPP
#define KXCALC_TESTS_FRAME_SIX_BIT_NUMBERS_HPP

#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/serial_sums.hpp"

namespace six_bits {

inline constexpr uint64_t infinity = 56, aNaN = 60, aNegativeNaN = 64 + 60, patternCount = 128;

/// In units of the smallest number.
constexpr uint64_t valueOf(uint64_t bits) {
  const uint64_t field = bits >> 3, significand = bits & 7;
  return field == 0 ? significand : (8 + significand) << (field - 1);
}

/// The nearest number, the even one of two; from half a unit above the largest on, infinity.
constexpr uint64_t rounded(uint64_t value) {
  uint64_t field = 1;
  while (value >> (field - 1) >= 16) {
    ++field;
  }
  const uint64_t unit = uint64_t{1} << (field - 1), below = value / unit, rest = value % unit;
  const bool up = 2 * rest > unit || (2 * rest == unit && below % 2 == 1);
  // Patterns count on from one binade to the next.
  const uint64_t bits = below + (field - 1) * 8 + (up ? 1 : 0);
  return bits < infinity ? bits : infinity;
}

constexpr uint64_t sumOf(uint64_t a, uint64_t b) {
  if (a > infinity || b > infinity) {
    return a > infinity ? a : b;
  }
  return a == infinity || b == infinity ? infinity : rounded(valueOf(a) + valueOf(b));
}

inline constexpr auto sums = [] {
  std::array<std::array<uint8_t, patternCount>, patternCount> table{};
  for (uint64_t a = 0; a < patternCount; ++a) {
    for (uint64_t b = 0; b < patternCount; ++b) {
      table[a][b] = static_cast<uint8_t>(sumOf(a, b));
    }
  }
  return table;
}();

struct Number {
  uint64_t bits = 0;
};
inline Number operator+(Number a, Number b) {
  return {sums[a.bits][b.bits]};
}

using Lanes = kxcalc::PackOf<uint64_t, kxcalc::runsSideBySide>;

struct Row {
  std::array<uint8_t, kxcalc::runsSideBySide> bits{};
};
inline Row operator+(Row a, const Row& b) {
  for (std::size_t lane = 0; lane < a.bits.size(); ++lane) {
    a.bits[lane] = sums[a.bits[lane]][b.bits[lane]];
  }
  return a;
}

/// What `kxcalc::Doubles` is for doubles.
struct Format {
  using Number = six_bits::Number;
  using Row = six_bits::Row;
  static constexpr int significandBits = 3;
  static constexpr uint64_t infinity = six_bits::infinity;

  static uint64_t bits(Number number) { return number.bits; }
  static Number number(uint64_t bits) { return {bits}; }
  static six_bits::Row row(Number number) {
    six_bits::Row row;
    row.bits.fill(static_cast<uint8_t>(number.bits));
    return row;
  }
  static Lanes bits(const six_bits::Row& row) {
    uint64_t lanes[kxcalc::runsSideBySide];
    for (std::size_t lane = 0; lane < row.bits.size(); ++lane) {
      lanes[lane] = row.bits[lane];
    }
    return kxcalc::loadPack<kxcalc::runsSideBySide>(lanes);
  }
};

/// Terms of the tests: all numbers, infinity, a NaN of either sign.
inline constexpr auto terms = [] {
  std::array<uint8_t, infinity + 3> all{};
  for (std::size_t i = 0; i <= infinity; ++i) {
    all[i] = static_cast<uint8_t>(i);
  }
  all[infinity + 1] = aNaN;
  all[infinity + 2] = aNegativeNaN;
  return all;
}();

/// Adds a block of so many terms in runs of `length` to every number in turn; whether each time the runs that leave the
/// sum in its binade are added, and no others. Runs that are left over hold zeros.
template <std::size_t length, std::size_t count>
bool addsWhatTheChainAdds(const std::array<uint8_t, count>& block) {
  static_assert(count % length == 0);
  std::array<Row, length> rows{};
  for (std::size_t i = 0; i < count; ++i) {
    rows[i % length].bits[kxcalc::runOfLane[i / length]] = block[i];
  }
  for (uint64_t start = 0; start < infinity; ++start) {
    const uint64_t lowerEnd = start / 8 * 8;
    uint64_t chain = start, expected = start, sum = start;
    std::size_t runs = kxcalc::runsSideBySide;
    for (std::size_t i = 0; i < count && runs == kxcalc::runsSideBySide; ++i) {
      chain = sums[chain][block[i]];
      if (chain >= lowerEnd + 8) {
        runs = i / length;
      } else if (i % length == length - 1) {
        expected = chain;
      }
    }
    kxcalc::Runs<Format> sideBySide(lowerEnd);
    for (const Row& row : rows) {
      sideBySide.add(row);
    }
    uint64_t sumOfFirst = start;
    const bool all = sideBySide.addAllTo(sum);
    if (all != (runs == kxcalc::runsSideBySide) || sideBySide.addFirstTo(sumOfFirst) != runs ||
        sumOfFirst != expected) {
      return false;
    }
    if (sum != (all ? expected : start)) {
      return false;
    }
  }
  return true;
}

}  // namespace six_bits

#endif
