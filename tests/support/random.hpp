// Random numbers of the tests. A failing test prints the line that repeats it.
#ifndef KXCALC_TESTS_SUPPORT_RANDOM_HPP
#define KXCALC_TESTS_SUPPORT_RANDOM_HPP

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>

namespace support {

/// Uniform numbers. The distributions of the standard library differ from one library to the next; these do not.
class Random {
public:
  explicit Random(uint64_t seed) : engine_(seed) {}

  uint64_t bits() { return engine_(); }
  /// 0 to bound - 1.
  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(engine_() % bound); }
  /// lowest to highest, both included.
  int between(int lowest, int highest) {
    return lowest + static_cast<int>(below(static_cast<std::size_t>(highest - lowest) + 1));
  }
  bool oneIn(std::size_t chances) { return below(chances) == 0; }
  /// From 0 to below 1.
  double unit() { return std::ldexp(static_cast<double>(engine_() >> 11), -53); }
  double sign() { return oneIn(2) ? -1 : 1; }

  /// An element of an array, a vector or a span.
  template <typename Values>
  const auto& oneOf(const Values& values) {
    return values[below(std::size(values))];
  }

private:
  std::mt19937_64 engine_;
};

/// The seed of the environment's KXCALC_TEST_SEED, else a fixed one.
uint64_t testSeed();

/// The random numbers of a test. While it lives, every failure of the test tells how to repeat it.
class TestRandom : public Random {
public:
  TestRandom();

private:
  testing::ScopedTrace trace_;
};

}  // namespace support

#endif
