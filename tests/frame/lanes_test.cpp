// The lane kit: every sentence of frame/lanes.hpp, frame/twins.hpp, frame/conversions.hpp and frame/blocks.hpp, bit for
// bit, at each width that the build has. Compiled once for each instruction set.
#include "frame/lanes.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
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

/// Runs test(width) for vectors of 16 bytes and for the wider ones of the build; the width is a constant of its own type.
template <class Test>
void atEachWidth(Test test) {
  test(std::integral_constant<size_t, 16>());
  if constexpr (widestBytes >= 32) {
    test(std::integral_constant<size_t, 32>());
  }
  if constexpr (widestBytes >= 64) {
    test(std::integral_constant<size_t, 64>());
  }
}

/// Runs test(count) for packs of 4 to 64 elements.
template <class Test>
void atEachCount(Test test) {
  test(std::integral_constant<size_t, 4>());
  test(std::integral_constant<size_t, 8>());
  test(std::integral_constant<size_t, 16>());
  test(std::integral_constant<size_t, 32>());
  test(std::integral_constant<size_t, 64>());
}

/// The elements of a vector or a pack, in order.
template <class X>
auto valuesOf(X x) {
  std::vector<Element<X>> values(elementsIn<X>);
  store(values.data(), x);
  return values;
}

/// `count` elements that repeat the given ones.
template <class T>
std::vector<T> repeated(const std::vector<T>& values, size_t count) {
  std::vector<T> all(count);
  for (size_t i = 0; i < count; ++i) {
    all[i] = values[i % values.size()];
  }
  return all;
}

template <class T>
void expectSelection(T a, T b, T expectedLesser, T expectedGreater) {
  atEachWidth([=](auto bytes) {
    using V = Lanes<T, bytes>;
    for (const T lane : valuesOf(lesser(splat<V>(a), splat<V>(b)))) {
      EXPECT_EQ(bitsOf(lane), bitsOf(expectedLesser)) << "lesser(" << a << ", " << b << "), " << bytes << " bytes";
    }
    for (const T lane : valuesOf(greater(splat<V>(a), splat<V>(b)))) {
      EXPECT_EQ(bitsOf(lane), bitsOf(expectedGreater)) << "greater(" << a << ", " << b << "), " << bytes << " bytes";
    }
  });
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
  atEachWidth([&](auto bytes) {
    using V = Lanes<double, bytes>;
    std::vector<double> lanes(elementsIn<V>);
    std::iota(lanes.begin(), lanes.end(), 1.0);
    const double reduced =
        reduceByHalves<double>(load<bytes>(lanes.data()), [](auto x, auto y) { return 10.0 * x + y; });
    for (size_t half = lanes.size() / 2; half > 0; half /= 2) {
      for (size_t j = 0; j < half; ++j) {
        lanes[j] = 10 * lanes[j] + lanes[j + half];
      }
    }
    EXPECT_EQ(reduced, lanes[0]) << bytes << " bytes";
  });
}

TEST(Lanes, SplatKeepsTheSignOfAZero) {
  atEachWidth([](auto bytes) {
    for (const float lane : valuesOf(splat<Lanes<float, bytes>>(-0.0F))) {
      EXPECT_EQ(bitsOf(lane), 0x80000000U);
    }
    for (const int16_t lane : valuesOf(splat<Lanes<int16_t, bytes>>(-7))) {
      EXPECT_EQ(lane, -7);
    }
  });
}

TEST(Lanes, HalvesAreTakenApartAndJoined) {
  atEachWidth([](auto bytes) {
    if constexpr (bytes > 16) {
      std::vector<int16_t> lanes(bytes / 2);
      std::iota(lanes.begin(), lanes.end(), int16_t{1});
      const auto v = load<bytes>(lanes.data());
      const auto middle = lanes.begin() + bytes / 4;
      EXPECT_EQ(valuesOf(lowHalf(v)), std::vector<int16_t>(lanes.begin(), middle));
      EXPECT_EQ(valuesOf(highHalf(v)), std::vector<int16_t>(middle, lanes.end()));
      EXPECT_EQ(valuesOf(joined(lowHalf(v), highHalf(v))), lanes);
    }
  });
}

TEST(Lanes, PairsOfLanesAreDoubledAndSwapped) {
  atEachWidth([](auto bytes) {
    std::vector<float> lanes(bytes / sizeof(float));
    std::iota(lanes.begin(), lanes.end(), 1.0F);
    const auto v = load<bytes>(lanes.data());
    for (size_t k = 0; k < lanes.size(); k += 2) {
      EXPECT_EQ(evenLanesTwice(v)[k], lanes[k]);
      EXPECT_EQ(evenLanesTwice(v)[k + 1], lanes[k]);
      EXPECT_EQ(oddLanesTwice(v)[k], lanes[k + 1]);
      EXPECT_EQ(oddLanesTwice(v)[k + 1], lanes[k + 1]);
      EXPECT_EQ(swappedPairs(v)[k], lanes[k + 1]);
      EXPECT_EQ(swappedPairs(v)[k + 1], lanes[k]);
    }
  });
}

TEST(Lanes, LanesAtEvenAndAtOddPlacesAreTakenFromTwoVectors) {
  atEachWidth([](auto bytes) {
    std::vector<float> first(bytes / sizeof(float)), second(first.size());
    std::iota(first.begin(), first.end(), 1.0F);
    std::iota(second.begin(), second.end(), 101.0F);
    const auto a = load<bytes>(first.data()), b = load<bytes>(second.data());
    for (size_t k = 0; k < first.size(); k += 4) {
      EXPECT_EQ(valuesOf(evenLanes(a, b))[k], first[k]);
      EXPECT_EQ(valuesOf(evenLanes(a, b))[k + 1], first[k + 2]);
      EXPECT_EQ(valuesOf(evenLanes(a, b))[k + 2], second[k]);
      EXPECT_EQ(valuesOf(evenLanes(a, b))[k + 3], second[k + 2]);
      EXPECT_EQ(valuesOf(oddLanes(a, b))[k], first[k + 1]);
      EXPECT_EQ(valuesOf(oddLanes(a, b))[k + 1], first[k + 3]);
      EXPECT_EQ(valuesOf(oddLanes(a, b))[k + 2], second[k + 1]);
      EXPECT_EQ(valuesOf(oddLanes(a, b))[k + 3], second[k + 3]);
    }
  });
}

TEST(Lanes, SubtractionAtEvenAndAdditionAtOddPlaces) {
  const std::vector<float> numbers{1, 0, -0.0F, 3.5F, kInfinity, 0x1p24F, 0x1p-149F, -2.25F, 0x1.fffffep127F};
  for (const float x : numbers) {
    for (const float y : numbers) {
      atEachWidth([=](auto bytes) {
        using V = Lanes<float, bytes>;
        const auto lanes = valuesOf(subtractedAndAdded(splat<V>(x), splat<V>(y)));
        for (size_t k = 0; k < lanes.size(); ++k) {
          const float expected = k % 2 == 0 ? x - y : x + y;
          if (std::isnan(expected)) {
            EXPECT_TRUE(std::isnan(lanes[k])) << x << ", " << y;
          } else {
            EXPECT_EQ(bitsOf(lanes[k]), bitsOf(expected)) << x << ", " << y << ", lane " << k;
          }
        }
      });
    }
  }
}

TEST(Lanes, VectorsAreRepeatedUpToAWidthAndFoldedDownToOne) {
  const auto tell = [](auto a, auto b) { return 10.0F * a + b; };
  const f32x4 v{1, 2, 3, 4};
  atEachWidth([&](auto bytes) {
    EXPECT_EQ(valuesOf(repeatedTo<bytes>(v)), repeated<float>({1, 2, 3, 4}, bytes / 4));
    std::vector<float> lanes(bytes / 4);
    std::iota(lanes.begin(), lanes.end(), 1.0F);
    const auto folded = foldedTo<16>(load<bytes>(lanes.data()), tell);
    for (size_t half = lanes.size() / 2; half >= 4; half /= 2) {
      for (size_t k = 0; k < half; ++k) {
        lanes[k] = 10 * lanes[k] + lanes[k + half];
      }
    }
    lanes.resize(4);
    EXPECT_EQ(valuesOf(folded), lanes);
  });
}

TEST(Lanes, LoadAndStoreTakeAnyElementAlignment) {
  atEachWidth([](auto bytes) {
    constexpr size_t count = laneCount<int16_t, bytes>;
    alignas(64) std::array<int16_t, 3 * count> from{}, to{};
    std::iota(from.begin(), from.end(), int16_t{1000});
    for (size_t offset = 0; offset < count; ++offset) {
      to.fill(-1);
      store(to.data() + offset, load<bytes>(from.data() + count - offset));
      for (size_t i = 0; i < to.size(); ++i) {
        const bool written = i >= offset && i < offset + count;
        EXPECT_EQ(to[i], written ? from[count - offset + (i - offset)] : -1)
            << "offset " << offset << ", element " << i;
      }
    }
  });
}

TEST(Lanes, AnyBitSetSeesEachBit) {
  atEachWidth([](auto bytes) {
    using V = Lanes<uint32_t, bytes>;
    EXPECT_FALSE(anyBitSet(V{}));
    for (size_t lane = 0; lane < elementsIn<V>; ++lane) {
      for (int bit = 0; bit < 32; ++bit) {
        V one{};
        one[lane] = uint32_t{1} << bit;
        EXPECT_TRUE(anyBitSet(one)) << "lane " << lane << ", bit " << bit;
      }
    }
  });
}

template <class T>
void expectUnorderedMarks(T nan, T otherNaN) {
  atEachWidth([=](auto bytes) {
    const T infinity = std::numeric_limits<T>::infinity();
    const std::vector<T> ordinary{1, 0, -T{0}, infinity, -infinity};
    constexpr size_t count = laneCount<T, bytes>;
    for (size_t lane = 0; lane < count; ++lane) {
      for (const auto& [first, second] : {std::pair{nan, T{1}}, {T{1}, otherNaN}, {nan, otherNaN}}) {
        std::vector<T> a = repeated(ordinary, count), b = repeated<T>({infinity, -T{0}, 2}, count);
        a[lane] = first;
        b[lane] = second;
        const auto marks = valuesOf(unordered(load<bytes>(a.data()), load<bytes>(b.data())));
        for (size_t k = 0; k < count; ++k) {
          EXPECT_EQ(marks[k], k == lane ? -1 : 0) << "lane " << k << ", " << bytes << " bytes";
        }
      }
    }
  });
}

TEST(Lanes, UnorderedMarksEachLaneWithANaNInEitherOperand) {
  expectUnorderedMarks<float>(kNaN, kNegativeNaN);
  expectUnorderedMarks<double>(std::bit_cast<double>(0x7FF8000000012345U), std::bit_cast<double>(0xFFF8000000054321U));
}

template <class T>
void expectTheWatchSees(T nan) {
  atEachWidth([=](auto bytes) {
    using V = Lanes<T, bytes>;
    constexpr size_t count = laneCount<T, bytes>;
    const T infinity = std::numeric_limits<T>::infinity();
    const V quiet = load<bytes>(repeated<T>({1, 0, -T{0}, infinity, -infinity}, count).data());
    NaNWatch<V> none;
    none.note(quiet, quiet);
    none.note(quiet, quiet, quiet, quiet);
    EXPECT_FALSE(none.sawNaN()) << bytes << " bytes";
    for (size_t lane = 0; lane < count; ++lane) {
      V loud = quiet;
      loud[lane] = nan;
      for (int place = 0; place < 6; ++place) {
        const auto at = [&](int k) { return k == place ? loud : quiet; };
        NaNWatch<V> watch;
        watch.note(at(0), at(1));
        watch.note(at(2), at(3), at(4), at(5));
        watch.note(quiet, quiet);
        watch.note(quiet, quiet, quiet, quiet);
        EXPECT_TRUE(watch.sawNaN()) << "lane " << lane << " of vector " << place << ", " << bytes << " bytes";
      }
    }
  });
}

TEST(Lanes, AWatchSeesANaNAnywhereAndDoesNotForgetIt) {
  expectTheWatchSees<float>(kNaN);
  expectTheWatchSees<double>(std::bit_cast<double>(0xFFF8000000054321U));
}

TEST(Lanes, WhatIsLoadedOnceIsWhatIsLoaded) {
  atEachWidth([](auto bytes) {
    const auto from = repeated<float>({1.5F, -0.0F, kNaN, kInfinity, 1.4e-45F}, laneCount<float, bytes> + 1);
    const auto lanes = valuesOf(loadOnce<bytes>(&from[1]));
    for (size_t k = 0; k < lanes.size(); ++k) {
      EXPECT_EQ(bitsOf(lanes[k]), bitsOf(from[k + 1])) << "lane " << k << ", " << bytes << " bytes";
    }
  });
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
void expectPacksAreLoaded(const std::vector<Raw>& values) {
  atEachCount([&](auto count) {
    const std::vector<Raw> from = repeated(values, count + 1);
    for (size_t i = 0; i < 2; ++i) {
      const auto doubles = valuesOf(loadPackAsDoubles<count>(&from[i]));
      for (size_t k = 0; k < count; ++k) {
        EXPECT_EQ(bitsOf(doubles[k]), bitsOf(static_cast<double>(from[i + k]))) << "from " << i << ", lane " << k;
      }
      if constexpr (std::is_integral_v<Raw>) {
        const auto integers = valuesOf(loadPackAsInt32<count>(&from[i]));
        for (size_t k = 0; k < count; ++k) {
          EXPECT_EQ(integers[k], from[i + k]) << "from " << i << ", lane " << k;
        }
      }
    }
  });
}

TEST(Lanes, PacksAreLoadedWithTheirValue) {
  expectPacksAreLoaded<int16_t>({INT16_MIN, INT16_MAX, -1, 0x1234, -2});
  expectPacksAreLoaded<uint16_t>({0, UINT16_MAX, 32768, 0x1234, 1});
  expectPacksAreLoaded<int8_t>({INT8_MIN, INT8_MAX, -1, 0x12, -2});
  expectPacksAreLoaded<uint8_t>({0, UINT8_MAX, 128, 0x12, 1});
  expectPacksAreLoaded<int32_t>({INT32_MIN, INT32_MAX, -1, 0x12345678, -2});
  expectPacksAreLoaded<float>({-0.0F, 1.4e-45F, kInfinity, -kInfinity, 3.4e38F});
  expectPacksAreLoaded<double>({-0.0, 4.9e-324, 1e308, -1, 7});
}

TEST(Lanes, PacksAreConvertedElementByElement) {
  atEachCount([](auto count) {
    const auto doubles = repeated<double>({1.0 + 0x1p-24, 1.0 + 0x1.8p-23, -1e300, -0.0, 1e-46}, count);
    const auto words = repeated<int32_t>({16777217, INT32_MIN, -3, 33554435, 0}, count);
    const auto wide = repeated<int32_t>({65535, 65536, -32769, INT32_MAX, 70000, 32768, INT32_MIN}, count);
    const auto singles = repeated<float>({1.5F, -0.0F, 1.4e-45F, kInfinity, -2.0F}, count);
    // 2^24 + 1 and 2^31 + 128 lie halfway between two singles, 2^31 + 129 just above.
    const auto unsignedWords =
        repeated<uint32_t>({0, 16777217, 2147483776, 2147483777, UINT32_MAX, 4294967167, 65535}, count);
    const auto longs = repeated<int64_t>({0, (int64_t{1} << 53) + 1, (int64_t{1} << 53) + 3, INT64_MAX, INT64_MIN, -1,
                                          (int64_t{1} << 60) + (int64_t{1} << 36) + 1},
                                         count);
    const auto fromDoubles = valuesOf(toSingles(loadPack<count>(doubles.data())));
    const auto fromWords = valuesOf(toSingles(loadPack<count>(words.data())));
    const auto wordsAsDoubles = valuesOf(toDoubles(loadPack<count>(words.data())));
    const auto singlesAsDoubles = valuesOf(toDoubles(loadPack<count>(singles.data())));
    const auto fromUnsigned = valuesOf(toSingles(loadPack<count>(unsignedWords.data())));
    const auto unsignedAsDoubles = valuesOf(toDoubles(loadPack<count>(unsignedWords.data())));
    for (size_t k = 0; k < count; ++k) {
      EXPECT_EQ(bitsOf(fromDoubles[k]), bitsOf(static_cast<float>(doubles[k]))) << "lane " << k;
      EXPECT_EQ(bitsOf(fromWords[k]), bitsOf(static_cast<float>(words[k]))) << "lane " << k;
      EXPECT_EQ(wordsAsDoubles[k], static_cast<double>(words[k])) << "lane " << k;
      EXPECT_EQ(bitsOf(singlesAsDoubles[k]), bitsOf(static_cast<double>(singles[k]))) << "lane " << k;
      EXPECT_EQ(bitsOf(fromUnsigned[k]), bitsOf(toSingle(uint64_t{unsignedWords[k]}))) << "lane " << k;
      EXPECT_EQ(bitsOf(unsignedAsDoubles[k]), bitsOf(toDouble(uint64_t{unsignedWords[k]}))) << "lane " << k;
    }
    if constexpr (convertsLongs) {
      const auto fromLongs = valuesOf(toSingles(loadPack<count>(longs.data())));
      const auto longsAsDoubles = valuesOf(toDoubles(loadPack<count>(longs.data())));
      for (size_t k = 0; k < count; ++k) {
        EXPECT_EQ(bitsOf(fromLongs[k]), bitsOf(toSingle(longs[k]))) << "lane " << k;
        EXPECT_EQ(bitsOf(longsAsDoubles[k]), bitsOf(toDouble(longs[k]))) << "lane " << k;
      }
    }
    if constexpr (count >= 8) {
      const auto narrowed = valuesOf(narrow(loadPack<count>(wide.data())));
      for (size_t k = 0; k < count; ++k) {
        EXPECT_EQ(narrowed[k], static_cast<int16_t>(wide[k])) << "lane " << k;
      }
    }
  });
}

TEST(Lanes, PairsOfPacksTakePartInArithmetic) {
  atEachCount([](auto count) {
    std::vector<double> a(count), b(count);
    std::iota(a.begin(), a.end(), 1.5);
    std::iota(b.begin(), b.end(), -20.25);
    const auto x = loadPack<count>(a.data()), y = loadPack<count>(b.data());
    const auto results = valuesOf(((x * 3.0 - y) / (y + 0.125)) * (2.0 + x));
    for (size_t k = 0; k < count; ++k) {
      EXPECT_EQ(results[k], ((a[k] * 3.0 - b[k]) / (b[k] + 0.125)) * (2.0 + a[k])) << "element " << k;
    }
    EXPECT_EQ(valuesOf(paired(x, y)).at(count), b[0]);
    EXPECT_EQ(valuesOf(paired(x, y)).at(count - 1), a[count - 1]);
  });
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
  EXPECT_EQ(valuesOf(widenLow(v)), (std::vector<int32_t>{INT16_MIN, -1, 0, 1}));
  EXPECT_EQ(valuesOf(narrow(i32x4{65535, 65536, -32769, INT32_MAX}, i32x4{70000, 32768, INT32_MIN, -5})),
            (std::vector<int16_t>{-1, 0, 32767, -1, 4464, -32768, 0, -5}));
}

TEST(Lanes, PairProductsAreExactUpToFourTimesTheLowestSample) {
  atEachWidth([](auto bytes) {
    constexpr size_t count = laneCount<int16_t, bytes>;
    const auto a = repeated<int16_t>({INT16_MIN, INT16_MIN, INT16_MIN, INT16_MAX, 3, -4, 0, 100}, count);
    const auto b = repeated<int16_t>({INT16_MIN, INT16_MIN, INT16_MAX, INT16_MIN, 5, 6, -7, -8}, count);
    const auto sums = valuesOf(sumsOfPairProducts(load<bytes>(a.data()), load<bytes>(b.data())));
    for (size_t k = 0; k < sums.size(); k += 4) {
      EXPECT_EQ(sums[k], 2147483648U);
      EXPECT_EQ(static_cast<int32_t>(sums[k + 1]), 2 * (INT16_MIN * INT16_MAX));
      EXPECT_EQ(static_cast<int32_t>(sums[k + 2]), 15 - 24);
      EXPECT_EQ(static_cast<int32_t>(sums[k + 3]), -800);
    }
  });
}

TEST(Lanes, SquaresOfEvenLanesAreExact) {
  atEachWidth([](auto bytes) {
    const auto values = repeated<int32_t>({INT32_MIN, 7, INT32_MAX, 9}, laneCount<int32_t, bytes>);
    const auto squares = valuesOf(squaresOfEvenLanes(load<bytes>(values.data())));
    for (size_t k = 0; k < squares.size(); k += 2) {
      EXPECT_EQ(squares[k], int64_t{1} << 62);
      EXPECT_EQ(squares[k + 1], int64_t{INT32_MAX} * INT32_MAX);
    }
  });
}

int32_t convertedOr(double integer) {
  const bool inRange = integer >= -2147483648.0 && integer < 2147483648.0;
  return inRange ? static_cast<int32_t>(integer) : INT32_MIN;
}

void expectConversions(float value) {
  atEachWidth([=](auto bytes) {
    using V = Lanes<float, bytes>;
    const double exact = static_cast<double>(value);
    const size_t last = elementsIn<V> - 1;
    const auto cut = truncate(splat<V>(value)), rounded = roundToNearest(splat<V>(value));
    EXPECT_EQ(cut[2], convertedOr(std::trunc(exact))) << "truncate " << value;
    EXPECT_EQ(cut[last], convertedOr(std::trunc(exact))) << "truncate " << value;
    EXPECT_EQ(rounded[1], convertedOr(std::nearbyint(exact))) << "roundToNearest " << value;
    EXPECT_EQ(rounded[last], convertedOr(std::nearbyint(exact))) << "roundToNearest " << value;
  });
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

TEST(Lanes, ADoubleOutOfRangeGivesTheLowestNumber) {
  for (const double value :
       {0.0, -0.0, 0.9999999999999999, -0.9999999999999999, 1.5, -2.5, 2147483647.0, 2147483647.9999998, 2147483648.0,
        4294967297.0, -2147483648.0, -2147483648.9999995, -2147483649.0, 1e300, -1e300, static_cast<double>(kInfinity),
        -static_cast<double>(kInfinity), static_cast<double>(kNaN), 4.9e-324}) {
    EXPECT_EQ(truncate(value), convertedOr(std::trunc(value))) << value;
  }
}

TEST(Lanes, PositiveDoublesAreCutToIntegers) {
  atEachCount([](auto count) {
    const auto doubles = repeated<double>({0.0, 1.9999999999999998, 2147483647.9999998, 7.0, 65536.5}, count);
    const auto cut = valuesOf(truncateBelow2To31(loadPack<count>(doubles.data())));
    for (size_t k = 0; k < count; ++k) {
      EXPECT_EQ(cut[k], static_cast<int32_t>(doubles[k])) << "lane " << k;
    }
  });
}

TEST(Lanes, RowsOfFourBecomeColumns) {
  atEachCount([](auto count) {
    std::array<float, 4 * count> numbers;  // row by row, as many rows as a pack has elements
    std::iota(numbers.begin(), numbers.end(), 0.0F);
    std::array<std::array<float, count>, 4> packs;
    for (size_t row = 0; row < count; ++row) {
      std::copy_n(numbers.data() + 4 * row, 4, packs[row % 4].data() + row / 4 * 4);
    }
    const auto [first, second, third, fourth] =
        transposed(loadPack<count>(packs[0].data()), loadPack<count>(packs[1].data()), loadPack<count>(packs[2].data()),
                   loadPack<count>(packs[3].data()));
    const std::array columns{valuesOf(first), valuesOf(second), valuesOf(third), valuesOf(fourth)};
    for (size_t column = 0; column < 4; ++column) {
      for (size_t row = 0; row < count; ++row) {
        EXPECT_EQ(columns[column][row], numbers[4 * row + column]) << "row " << row << ", column " << column;
      }
    }
  });
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
  EXPECT_EQ(valuesOf(widenLow(f32x4{1.5F, -0.0F, 3, 4})), (std::vector<double>{1.5, -0.0}));
  EXPECT_EQ(valuesOf(widenHigh(f32x4{1.5F, -0.0F, 3, -4})), (std::vector<double>{3, -4}));
  atEachWidth([](auto bytes) {
    const auto values = repeated<float>({2, 0, kInfinity, -0.0F, -1, kNaN, 9, 1e-40F}, laneCount<float, bytes>);
    const auto roots = squareRoot(load<bytes>(values.data()));
    for (size_t k = 0; k < values.size(); ++k) {
      if (values[k] >= 0) {
        EXPECT_EQ(bitsOf(float{roots[k]}), bitsOf(std::sqrt(values[k]))) << "lane " << k;
      } else {
        EXPECT_TRUE(std::isnan(roots[k])) << "lane " << k;
      }
    }
  });
}

TEST(Blocks, HeadIsTheNumberOfElementsUpToTheNextBoundary) {
  alignas(64) std::array<std::byte, 128> memory{};
  for (size_t element = 0; element < 8; ++element) {
    EXPECT_EQ(headLength(reinterpret_cast<int16_t*>(memory.data()) + element), (8 - element) % 8);
  }
  for (size_t element = 0; element < 4; ++element) {
    EXPECT_EQ(headLength(reinterpret_cast<float*>(memory.data()) + element), (4 - element) % 4);
  }
  for (size_t element = 0; element < 16; ++element) {
    EXPECT_EQ(headLength<64>(reinterpret_cast<float*>(memory.data()) + element), (16 - element) % 16);
  }
  for (size_t element = 0; element < 2; ++element) {
    EXPECT_EQ(headLength(reinterpret_cast<double*>(memory.data()) + element), (2 - element) % 2);
  }
}

TEST(Blocks, AnOutputFeedsItsOwnVectorUpToTheWidestOneAhead) {
  alignas(64) const std::array<float, 64> memory{};
  const float* const input = memory.data() + 20;
  EXPECT_FALSE(feedsOwnVector(input, input));
  EXPECT_FALSE(feedsOwnVector(input - 1, input));
  EXPECT_TRUE(feedsOwnVector(input + 1, input));
  EXPECT_TRUE(feedsOwnVector(input + widestBytes / 4 - 1, input));
  EXPECT_FALSE(feedsOwnVector(input + widestBytes / 4, input));
}

/// What a walk does: how many elements each step takes, checked to follow one another.
struct Steps {
  size_t next = 0;
  std::vector<size_t> sizes;

  void take(size_t index, size_t size) {
    EXPECT_EQ(index, next);
    next = index + size;
    sizes.push_back(size);
  }
  void operator()(One at) { take(at.index, 1); }
  template <size_t width>
  void operator()(Pack<width> at) {
    take(at.index, width);
  }
};

template <size_t width, class T>
void expectElementWalk(const T* buffer, size_t count) {
  Steps steps;
  walkElements<width>(buffer, count, [&](auto at) { steps(at); });
  EXPECT_EQ(steps.next, count);
  const size_t head = std::min(headLength(buffer), count);
  for (size_t i = 0, k = 0; k < steps.sizes.size(); i += steps.sizes[k++]) {
    EXPECT_EQ(steps.sizes[k] > 1, i >= head && (steps.sizes[k] > 1)) << "step " << k;
    EXPECT_TRUE(steps.sizes[k] == 1 || steps.sizes[k] == width || steps.sizes[k] == widening * width);
  }
  EXPECT_LT(std::count(steps.sizes.begin(), steps.sizes.end(), size_t{1}), static_cast<ptrdiff_t>(head + 2 * width))
      << "single elements of " << count;
}

TEST(Blocks, TheElementWalkTakesEachElementOnceInAscendingOrder) {
  alignas(64) std::array<float, 16> singles{};
  alignas(64) std::array<double, 8> doubles{};
  alignas(64) std::array<int16_t, 32> shorts{};
  for (size_t count = 0; count < 400; ++count) {
    for (size_t at = 0; at < singles.size(); ++at) {
      expectElementWalk<4>(singles.data() + at, count);
      expectElementWalk<8>(singles.data() + at, count);
    }
    for (size_t at = 0; at < doubles.size(); ++at) {
      expectElementWalk<2>(doubles.data() + at, count);
      expectElementWalk<4>(doubles.data() + at, count);
    }
    for (size_t at = 0; at < shorts.size(); ++at) {
      expectElementWalk<8>(shorts.data() + at, count);
    }
  }
}

TEST(Blocks, TheWalkDownwardsTakesEachBlockOnceInDescendingOrder) {
  for (size_t blocks = 0; blocks < 100; ++blocks) {
    size_t end = 4 * blocks;
    walkBlocksDown<4>(4 * blocks, [&]<size_t width>(Pack<width> at) {
      EXPECT_TRUE(width == 4 || width == 4 * widening);
      EXPECT_EQ(at.index + width, end) << blocks << " blocks";
      EXPECT_EQ(at.index % width, 0U) << blocks << " blocks";
      end = at.index;
    });
    EXPECT_EQ(end, 0U) << blocks << " blocks";
  }
}

TEST(Blocks, TheBlockWalkTakesWholeBlocksFromElement0On) {
  const std::array<float, 1> buffer{};
  for (size_t count = 0; count < 400; ++count) {
    Steps steps;
    const size_t rest = walkBlocks<4>(
        count, [&](auto at) { steps(at); }, buffer.data());
    EXPECT_EQ(rest, count - count % 4);
    EXPECT_EQ(steps.next, rest);
    for (const size_t size : steps.sizes) {
      EXPECT_TRUE(size == 4 || size == widening * 4);
    }
    Steps narrowSteps;
    EXPECT_EQ((walkBlocks<4, 4>(
                  count, [&](auto at) { narrowSteps(at); }, buffer.data())),
              rest);
    EXPECT_EQ(narrowSteps.sizes, std::vector<size_t>(count / 4, 4));
  }
}

}  // namespace
}  // namespace kxcalc
