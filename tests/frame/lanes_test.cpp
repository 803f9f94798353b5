// The lane kit: every sentence of frame/lanes.hpp, bit for bit. Compiled once for each instruction set.
#include "frame/lanes.hpp"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "frame/blocks.hpp"
#include "frame/wide_integers.hpp"

namespace kxcalc {
namespace {

const float kInfinity = std::numeric_limits<float>::infinity();
const float kNaN = std::bit_cast<float>(0x7FC12345U);
const float kNegativeNaN = std::bit_cast<float>(0xFFC54321U);

template <class T>
auto bitsOf(T value) {
  if constexpr (sizeof(T) == 4) {
    return std::bit_cast<uint32_t>(value);
  } else {
    return std::bit_cast<uint64_t>(value);
  }
}

template <class T>
Lanes<T> lanesOf(const std::vector<T>& values) {
  return load(values.data());
}

template <class T>
std::vector<T> valuesOf(Lanes<T> lanes) {
  std::vector<T> values(laneCount<T>);
  store(values.data(), lanes);
  return values;
}

template <class T>
void expectSelection(T a, T b, T expectedLesser, T expectedGreater) {
  const std::vector<T> as(laneCount<T>, a), bs(laneCount<T>, b);
  for (const T lane : valuesOf<T>(lesser(lanesOf(as), lanesOf(bs)))) {
    EXPECT_EQ(bitsOf(lane), bitsOf(expectedLesser)) << "lesser(" << a << ", " << b << ")";
  }
  for (const T lane : valuesOf<T>(greater(lanesOf(as), lanesOf(bs)))) {
    EXPECT_EQ(bitsOf(lane), bitsOf(expectedGreater)) << "greater(" << a << ", " << b << ")";
  }
  EXPECT_EQ(bitsOf(lesser(a, b)), bitsOf(expectedLesser)) << "lesser(" << a << ", " << b << "), one element";
  EXPECT_EQ(bitsOf(greater(a, b)), bitsOf(expectedGreater)) << "greater(" << a << ", " << b << "), one element";
}

template <class T>
void expectSecondOperandWinsTiesAndNaNs(T nan, T otherNaN) {
  expectSelection<T>(1, 2, 1, 2);
  expectSelection<T>(2, 1, 1, 2);
  expectSelection<T>(0, -T{0}, -T{0}, -T{0});
  expectSelection<T>(-T{0}, 0, 0, 0);
  expectSelection<T>(nan, 3, 3, 3);
  expectSelection<T>(3, nan, nan, nan);
  expectSelection<T>(nan, otherNaN, otherNaN, otherNaN);
}

TEST(Lanes, SecondOperandOfLesserAndGreaterWinsTiesAndNaNsInSingle) {
  expectSecondOperandWinsTiesAndNaNs<float>(kNaN, kNegativeNaN);
}

TEST(Lanes, SecondOperandOfLesserAndGreaterWinsTiesAndNaNsInDouble) {
  expectSecondOperandWinsTiesAndNaNs<double>(std::bit_cast<double>(0x7FF8000000012345U),
                                             std::bit_cast<double>(0xFFF8000000054321U));
}

TEST(Lanes, LanesAreCombinedByHalvesLowerLaneFirst) {
  // 10 * a + b tells the order of every operand apart.
  const auto tell = [](auto a, auto b) { return static_cast<decltype(a)>(10 * a + b); };
  EXPECT_EQ(reduceByHalves<float>(f32x4{1, 2, 3, 4}, tell), 10.0F * (10 * 1 + 3) + (10 * 2 + 4));
  EXPECT_EQ(reduceByHalves<double>(f64x2{1, 2}, tell), 12.0);
  const auto minus = [](int16_t a, int16_t b) { return static_cast<int16_t>(3 * a - b); };
  // ((3a - e), ...) then halves of four, then of two.
  const auto [a, b, c, d] = std::array{3 * 1 - 5, 3 * 2 - 6, 3 * 3 - 7, 3 * 4 - 8};
  EXPECT_EQ(reduceByHalves<int16_t>(i16x8{1, 2, 3, 4, 5, 6, 7, 8}, minus), 3 * (3 * a - c) - (3 * b - d));
}

TEST(Lanes, LoadAndStoreTakeAnyElementAlignment) {
  alignas(16) std::array<int16_t, 24> from{}, to{};
  for (size_t i = 0; i < from.size(); ++i) {
    from[i] = static_cast<int16_t>(1000 + i);
  }
  for (size_t offset = 0; offset < 8; ++offset) {
    to.fill(-1);
    store(to.data() + offset, load(from.data() + 8 - offset));
    for (size_t i = 0; i < to.size(); ++i) {
      const bool written = i >= offset && i < offset + 8;
      EXPECT_EQ(to[i], written ? from[8 - offset + (i - offset)] : -1) << "offset " << offset << ", element " << i;
    }
  }
}

TEST(Lanes, AnyBitSetSeesEachBit) {
  EXPECT_FALSE(anyBitSet(i32x4{}));
  for (int lane = 0; lane < 4; ++lane) {
    for (int bit = 0; bit < 32; ++bit) {
      u32x4 one{};
      one[lane] = uint32_t{1} << bit;
      EXPECT_TRUE(anyBitSet(one)) << "lane " << lane << ", bit " << bit;
    }
  }
}

TEST(Lanes, UnorderedMarksEachLaneWithANaNInEitherOperand) {
  const i32x4 single = unordered(f32x4{kNaN, 1, 0, kInfinity}, f32x4{1, kNegativeNaN, -0.0F, -kInfinity});
  EXPECT_EQ(valuesOf<int32_t>(single), (std::vector<int32_t>{-1, -1, 0, 0}));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const i64x2 first = unordered(f64x2{nan, 1}, f64x2{1, 2}), second = unordered(f64x2{1, 1}, f64x2{1, nan});
  EXPECT_EQ(first[0], -1);
  EXPECT_EQ(first[1], 0);
  EXPECT_EQ(second[0], 0);
  EXPECT_EQ(second[1], -1);
}

TEST(Lanes, PairsAreLoadedAsTheirExactDoubles) {
  const std::array<float, 3> singles{-0.0F, 1.4e-45F, kInfinity};
  const std::array<int32_t, 3> words{INT32_MIN, INT32_MAX, -1};
  const std::array<int16_t, 3> shorts{INT16_MIN, INT16_MAX, -1};
  const std::array<double, 3> doubles{-0.0, 4.9e-324, 1e308};
  for (size_t i = 0; i < 2; ++i) {
    const f64x2 fromSingles = loadAsDoubles(&singles[i]), fromWords = loadAsDoubles(&words[i]);
    const f64x2 fromShorts = loadAsDoubles(&shorts[i]), fromDoubles = loadAsDoubles(&doubles[i]);
    for (size_t k = 0; k < 2; ++k) {
      EXPECT_EQ(bitsOf(fromSingles[k]), bitsOf(static_cast<double>(singles[i + k])));
      EXPECT_EQ(fromWords[k], static_cast<double>(words[i + k]));
      EXPECT_EQ(fromShorts[k], static_cast<double>(shorts[i + k]));
      EXPECT_EQ(bitsOf(fromDoubles[k]), bitsOf(doubles[i + k]));
    }
  }
}

template <class Raw>
void expectFourAsInt32(const std::array<Raw, 5>& from) {
  for (size_t i = 0; i < 2; ++i) {
    const i32x4 four = loadAsInt32(&from[i]);
    for (size_t k = 0; k < 4; ++k) {
      EXPECT_EQ(four[k], from[i + k]) << "from " << i << ", lane " << k;
    }
  }
}

TEST(Lanes, FourNarrowSamplesAreLoadedWithTheirValue) {
  expectFourAsInt32<int16_t>({INT16_MIN, INT16_MAX, -1, 0x1234, -2});
  expectFourAsInt32<uint16_t>({0, UINT16_MAX, 32768, 0x1234, 1});
  expectFourAsInt32<int8_t>({INT8_MIN, INT8_MAX, -1, 0x12, -2});
  expectFourAsInt32<uint8_t>({0, UINT8_MAX, 128, 0x12, 1});
}

TEST(Lanes, FourDoublesAreRoundedToTheNearestSingles) {
  const f32x4 four = toSingles(f64x2{1.0 + 0x1p-24, 1.0 + 0x1.8p-23}, f64x2{-1e300, -0.0});
  EXPECT_EQ(four[0], 1.0F);
  EXPECT_EQ(four[1], 1.0F + 0x1p-22F);
  EXPECT_EQ(four[2], -kInfinity);
  EXPECT_EQ(bitsOf(float{four[3]}), bitsOf(-0.0F));
}

TEST(Lanes, WideningKeepsTheSignAndNarrowingTheLowBits) {
  const i16x8 v{INT16_MIN, -1, 0, 1, INT16_MAX, -2, 255, 256};
  EXPECT_EQ(valuesOf<int32_t>(widenLow(v)), (std::vector<int32_t>{INT16_MIN, -1, 0, 1}));
  EXPECT_EQ(valuesOf<int32_t>(widenHigh(v)), (std::vector<int32_t>{INT16_MAX, -2, 255, 256}));
  EXPECT_EQ(valuesOf<int16_t>(narrow(i32x4{65535, 65536, -32769, INT32_MAX}, i32x4{70000, 32768, INT32_MIN, -5})),
            (std::vector<int16_t>{-1, 0, 32767, -1, 4464, -32768, 0, -5}));
}

TEST(Lanes, PairProductsAreExactUpToFourTimesTheLowestSample) {
  const i16x8 a{INT16_MIN, INT16_MIN, INT16_MIN, INT16_MAX, 3, -4, 0, 100};
  const i16x8 b{INT16_MIN, INT16_MIN, INT16_MAX, INT16_MIN, 5, 6, -7, -8};
  const u32x4 sums = sumsOfPairProducts(a, b);
  EXPECT_EQ(sums[0], 2147483648U);
  EXPECT_EQ(static_cast<int32_t>(sums[1]), 2 * (INT16_MIN * INT16_MAX));
  EXPECT_EQ(static_cast<int32_t>(sums[2]), 15 - 24);
  EXPECT_EQ(static_cast<int32_t>(sums[3]), -800);
}

TEST(Lanes, SquaresOfEvenLanesAreExact) {
  const i64x2 squares = squaresOfEvenLanes(i32x4{INT32_MIN, 7, INT32_MAX, 9});
  EXPECT_EQ(squares[0], int64_t{1} << 62);
  EXPECT_EQ(squares[1], int64_t{INT32_MAX} * INT32_MAX);
}

int32_t convertedOr(double integer) {
  const bool inRange = integer >= -2147483648.0 && integer < 2147483648.0;
  return inRange ? static_cast<int32_t>(integer) : INT32_MIN;
}

void expectConversions(float value) {
  const f32x4 lanes{value, value, value, value};
  const double exact = static_cast<double>(value);
  EXPECT_EQ(truncate(lanes)[2], convertedOr(std::trunc(exact))) << "truncate " << value;
  EXPECT_EQ(roundToNearest(lanes)[1], convertedOr(std::nearbyint(exact))) << "roundToNearest " << value;
}

TEST(Lanes, ConversionsToIntegersGiveTheLowestNumberOutOfRange) {
  for (const float value :
       {0.0F,          -0.0F,         0.5F,           1.5F,           2.5F,       -0.5F,       -1.5F,
        -2.5F,         0.49999997F,   8388607.5F,     8388608.0F,     8388609.0F, -8388607.5F, 16777216.0F,
        2147483520.0F, 2147483648.0F, -2147483648.0F, -2147483904.0F, 1e30F,      -1e30F,      kInfinity,
        -kInfinity,    kNaN,          kNegativeNaN,   1e-40F}) {
    expectConversions(value);
  }
  std::mt19937 random(20);  // the whole range of bit patterns
  for (int i = 0; i < 200000; ++i) {
    expectConversions(std::bit_cast<float>(static_cast<uint32_t>(random())));
  }
}

TEST(Lanes, PositiveDoublesAreCutToIntegers) {
  EXPECT_EQ(valuesOf<int32_t>(truncateBelow2To31(f64x2{0.0, 1.9999999999999998}, f64x2{2147483647.9999998, 7.0})),
            (std::vector<int32_t>{0, 1, INT32_MAX, 7}));
}

/// Both forms of a conversion: the one that this processor uses, and the one made of 32 bits.
template <typename Integer>
void expectWideConversions(Integer value) {
  const auto asDouble = static_cast<double>(value);
  const auto asSingle = static_cast<float>(value);
  EXPECT_EQ(toDouble(value), asDouble) << value;
  EXPECT_EQ(halves::toDouble(value), asDouble) << value;
  EXPECT_EQ(toSingle(value), asSingle) << value;
  EXPECT_EQ(halves::toSingle(value), asSingle) << value;
}

TEST(WideIntegers, AreRoundedOnce) {
  // Close to halfway between two singles, and between two doubles, where rounding twice goes wrong.
  for (const uint64_t value :
       {uint64_t{0}, uint64_t{1}, uint64_t{1} << 24, (uint64_t{1} << 24) + 1, uint64_t{1} << 53,
        (uint64_t{1} << 53) + 1, (uint64_t{1} << 53) + 3, (uint64_t{1} << 54) + (uint64_t{1} << 30) + 1,
        (uint64_t{1} << 62) + (uint64_t{1} << 38) + 1, (uint64_t{1} << 62) + (uint64_t{1} << 38),
        (uint64_t{1} << 62) + (uint64_t{1} << 38) - 1, (uint64_t{1} << 63) + 1025, uint64_t{INT64_MAX},
        (uint64_t{1} << 63) + (uint64_t{1} << 39) + 1, UINT64_MAX, uint64_t{UINT32_MAX}, uint64_t{UINT32_MAX} + 1}) {
    expectWideConversions(value);
    expectWideConversions(static_cast<int64_t>(value));
    expectWideConversions(static_cast<int64_t>(0 - value));
  }
  std::mt19937_64 random(21);
  for (int i = 0; i < 200000; ++i) {
    const uint64_t value = random() >> (random() % 64);
    expectWideConversions(value);
    expectWideConversions(static_cast<int64_t>(value));
    expectWideConversions(static_cast<int64_t>(0 - value));
  }
}

TEST(WideIntegers, LowWordsOfDoubles) {
  std::mt19937_64 random(22);
  const auto expectLowWord = [](double value) {
    const auto expected = static_cast<uint32_t>(static_cast<uint64_t>(value));
    EXPECT_EQ(lowWord(value), expected) << value;
    EXPECT_EQ(halves::lowWord(value), expected) << value;
  };
  for (const double value : {0.0, 0.9999999999999999, 2147483647.9999998, 2147483648.0, 4294967295.9999995,
                             4294967296.0, 9223372036854775808.0, 18446744073709549568.0, 8589934591.999999}) {
    expectLowWord(value);
  }
  for (int i = 0; i < 200000; ++i) {
    expectLowWord(std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 64) - 53));
  }
}

TEST(Lanes, DoublesOfSinglesAndTheirRoots) {
  EXPECT_EQ(valuesOf<double>(widenLow(f32x4{1.5F, -0.0F, 3, 4})), (std::vector<double>{1.5, -0.0}));
  EXPECT_EQ(valuesOf<double>(widenHigh(f32x4{1.5F, -0.0F, 3, -4})), (std::vector<double>{3, -4}));
  const f32x4 roots = squareRoot(f32x4{2, 0, kInfinity, -0.0F});
  EXPECT_EQ(valuesOf<float>(roots), (std::vector<float>{1.41421354F, 0, kInfinity, -0.0F}));
  EXPECT_TRUE(std::signbit(roots[3]));
  EXPECT_TRUE(std::isnan(squareRoot(f32x4{-1, kNaN, 1, 1})[0]));
}

TEST(Blocks, HeadIsTheNumberOfElementsUpToTheNextBoundary) {
  alignas(16) std::array<std::byte, 64> memory{};
  for (size_t element = 0; element < 8; ++element) {
    EXPECT_EQ(headLength(reinterpret_cast<int16_t*>(memory.data()) + element), (8 - element) % 8);
  }
  for (size_t element = 0; element < 4; ++element) {
    EXPECT_EQ(headLength(reinterpret_cast<float*>(memory.data()) + element), (4 - element) % 4);
  }
  for (size_t element = 0; element < 2; ++element) {
    EXPECT_EQ(headLength(reinterpret_cast<double*>(memory.data()) + element), (2 - element) % 2);
  }
}

}  // namespace
}  // namespace kxcalc
