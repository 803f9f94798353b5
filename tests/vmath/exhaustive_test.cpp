// Every single there is, through every member of the kit that takes one vector. Minutes, not seconds.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <thread>

#include "vmath/members.hpp"

namespace {

using kxcalc::f32x4;

constexpr uint32_t quarter = 0x40000000;  // of all bit patterns
constexpr uint32_t threadCount = 2;

/// part(first, end) on every thread, over the whole range in between them.
template <typename Part>
void inParallel(uint32_t end, Part part) {
  std::array<std::thread, threadCount> threads;
  for (uint32_t i = 0; i < threadCount; ++i) {
    threads[i] = std::thread(part, end / threadCount * i, i + 1 == threadCount ? end : end / threadCount * (i + 1));
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

template <typename Member>
class EverySingle : public testing::Test {};

using Members = testing::Types<vmath::PackedSin, vmath::PackedCos, vmath::PackedATan, vmath::PackedLog,
                               vmath::PackedExp, vmath::FastLog10, vmath::FastLog10Packed>;
TYPED_TEST_SUITE(EverySingle, Members, vmath::Names);

/// Patterns that the compiler may run the model over several at a time.
constexpr uint32_t blockSize = 1024;

uint32_t bitsOrNan(uint32_t pattern) {
  return (pattern & 0x7FFFFFFF) > 0x7F800000 ? 0x7FC00000 : pattern;
}

/// A block of patterns from one on, in lanes of different signs and exponents.
template <typename Member>
bool blockEqualsModel(uint32_t first) {
  alignas(16) std::array<uint32_t, 4 * blockSize> patterns;
  alignas(16) std::array<uint32_t, 4 * blockSize> actual;
  alignas(16) std::array<uint32_t, 4 * blockSize> expected;
  for (uint32_t i = 0; i < 4 * blockSize; ++i) {
    patterns[i] = first + i / 4 + quarter * (i % 4);
  }
  for (uint32_t i = 0; i < 4 * blockSize; i += 4) {
    vmath::Patterns lanes;
    std::memcpy(&lanes, &patterns[i], sizeof lanes);
    const f32x4 results = Member::packed(vmath::lanesOf(lanes));
    std::memcpy(&actual[i], &results, sizeof results);
  }
  for (uint32_t i = 0; i < 4 * blockSize; ++i) {
    expected[i] = std::bit_cast<uint32_t>(Member::lane(std::bit_cast<float>(patterns[i])));
  }
  uint32_t difference = 0;
  for (uint32_t i = 0; i < 4 * blockSize; ++i) {
    difference |= bitsOrNan(actual[i]) ^ bitsOrNan(expected[i]);
  }
  return difference == 0;
}

TYPED_TEST(EverySingle, EqualsTheModel) {
  constexpr uint64_t none = std::numeric_limits<uint64_t>::max();
  std::atomic<uint64_t> differing = none;
  inParallel(quarter / blockSize, [&](uint32_t firstBlock, uint32_t endBlock) {
    for (uint32_t block = firstBlock; block < endBlock && differing == none; ++block) {
      if (!blockEqualsModel<TypeParam>(block * blockSize)) {
        differing = block * blockSize;
      }
    }
  });
  for (uint32_t i = 0; differing != none && i < blockSize; ++i) {
    const uint32_t pattern = static_cast<uint32_t>(differing) + i;
    ASSERT_TRUE(
        vmath::equalsModel<TypeParam>({pattern, pattern + quarter, pattern + 2 * quarter, pattern + 3 * quarter}));
  }
}

/// The largest error seen, and where.
struct Largest {
  double error = 0;
  float at = 0;

  void merge(double candidate, float x) {
    if (candidate > error) {
      error = candidate;
      at = x;
    }
  }
};

struct LargestErrors {
  Largest absolute;
  Largest inUlps;

  void merge(const LargestErrors& other) {
    absolute.merge(other.absolute.error, other.absolute.at);
    inUlps.merge(other.inUlps.error, other.inUlps.at);
  }
};

/// The distance of singles at a value.
double ulpAt(double value) {
  constexpr int lowestExponent = std::numeric_limits<float>::min_exponent - 1;
  const int exponent = std::max(static_cast<int>(std::bit_cast<uint64_t>(value) >> 52 & 2047) - 1023, lowestExponent);
  return std::bit_cast<double>(static_cast<uint64_t>(exponent - 23 + 1023) << 52);
}

/// Over all singles from lowest to highest, both of one sign.
template <typename Member>
LargestErrors errorsBetween(float lowest, float highest, double (*exact)(double)) {
  const uint32_t start = std::bit_cast<uint32_t>(lowest);
  const uint32_t size = std::bit_cast<uint32_t>(highest) - start + 1;
  std::array<LargestErrors, threadCount> perThread;
  inParallel(size, [&](uint32_t first, uint32_t end) {
    LargestErrors largest;
    for (uint32_t i = first; i < end; i += 4) {
      vmath::Patterns patterns;
      for (uint32_t lane = 0; lane < 4; ++lane) {
        patterns[lane] = start + std::min(i + lane, end - 1);
      }
      const auto results = std::bit_cast<std::array<float, 4>>(Member::packed(vmath::lanesOf(patterns)));
      for (std::size_t lane = 0; lane < 4; ++lane) {
        const auto x = std::bit_cast<float>(patterns[lane]);
        const double truth = exact(static_cast<double>(x));
        const double error = std::abs(static_cast<double>(results[lane]) - truth);
        largest.absolute.merge(error, x);
        largest.inUlps.merge(error / ulpAt(truth), x);
      }
    }
    perThread[first == 0 ? 0 : 1] = largest;
  });
  LargestErrors all;
  for (const LargestErrors& largest : perThread) {
    all.merge(largest);
  }
  return all;
}

void print(const char* member, const char* domain, const LargestErrors& largest) {
  std::printf("%s, %s: largest error %.4g (of %.9g), %.4g ulp (of %.9g)\n", member, domain, largest.absolute.error,
              static_cast<double>(largest.absolute.at), largest.inUlps.error, static_cast<double>(largest.inUlps.at));
}

constexpr float smallestNormal = std::numeric_limits<float>::min();
constexpr float largestFinite = std::numeric_limits<float>::max();

// Sines and arctangents of negative numbers are those of positive ones with their sign.
TEST(LargestError, PackedSin) {
  print("packedSin", "0 to pi/4", errorsBetween<vmath::PackedSin>(0, 0.785398185F, std::sin));
  const LargestErrors errors = errorsBetween<vmath::PackedSin>(0, 8192, std::sin);
  print("packedSin", "0 to 8192", errors);
  EXPECT_LT(errors.absolute.error, 1.2e-7);
}

TEST(LargestError, PackedCos) {
  print("packedCos", "0 to pi/4", errorsBetween<vmath::PackedCos>(0, 0.785398185F, std::cos));
  const LargestErrors errors = errorsBetween<vmath::PackedCos>(0, 8192, std::cos);
  print("packedCos", "0 to 8192", errors);
  EXPECT_LT(errors.absolute.error, 1.2e-7);
}

TEST(LargestError, PackedATan) {
  print("packedATan", "0 to infinity",
        errorsBetween<vmath::PackedATan>(0, std::numeric_limits<float>::infinity(), std::atan));
}

TEST(LargestError, PackedLog) {
  print("packedLog", "normals", errorsBetween<vmath::PackedLog>(smallestNormal, largestFinite, std::log));
}

TEST(LargestError, PackedExp) {
  LargestErrors errors = errorsBetween<vmath::PackedExp>(0, 88, std::exp);
  errors.merge(errorsBetween<vmath::PackedExp>(-0.0F, -87, std::exp));
  print("packedExp", "-87 to 88", errors);
}

/// The cubic alone, and with what the rounding of large results adds to it.
template <typename Member>
void expectFastLogarithmsWithinTheirBounds() {
  const LargestErrors octave = errorsBetween<Member>(1, 1.99999988F, std::log10);
  print(Member::name, "1 to 2", octave);
  EXPECT_LT(octave.absolute.error, 1.2e-4);
  const LargestErrors all = errorsBetween<Member>(smallestNormal, largestFinite, std::log10);
  print(Member::name, "normals", all);
  EXPECT_LT(all.absolute.error, 1.23e-4);
}

TEST(LargestError, FastLog10) {
  expectFastLogarithmsWithinTheirBounds<vmath::FastLog10>();
}

TEST(LargestError, FastLog10Packed) {
  expectFastLogarithmsWithinTheirBounds<vmath::FastLog10Packed>();
}

}  // namespace
