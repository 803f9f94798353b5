// The members of the transcendental kit that take one vector, each beside the model of one of its lanes.
#ifndef KXCALC_TESTS_VMATH_MEMBERS_HPP
#define KXCALC_TESTS_VMATH_MEMBERS_HPP

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "frame/lanes.hpp"
#include "reference/transcendentals.hpp"
#include "support/bits.hpp"
#include "vmath/fast_log.hpp"
#include "vmath/transcendentals.hpp"

namespace vmath {

using kxcalc::f32x4;

struct PackedSin {
  static constexpr const char* name = "packedSin";
  template <class V>
  static V packed(V x) {
    return kxcalc::packedSin(x);
  }
  static float lane(float x) { return reference::packedSin(x); }
};

struct PackedCos {
  static constexpr const char* name = "packedCos";
  template <class V>
  static V packed(V x) {
    return kxcalc::packedCos(x);
  }
  static float lane(float x) { return reference::packedCos(x); }
};

struct SineOfPackedSinCos {
  static constexpr const char* name = "packedSinCos_sine";
  template <class V>
  static V packed(V x) {
    V sine, cosine;
    kxcalc::packedSinCos(x, &sine, &cosine);
    return sine;
  }
  static float lane(float x) {
    float sine, cosine;
    reference::packedSinCos(x, &sine, &cosine);
    return sine;
  }
};

struct CosineOfPackedSinCos {
  static constexpr const char* name = "packedSinCos_cosine";
  template <class V>
  static V packed(V x) {
    V sine, cosine;
    kxcalc::packedSinCos(x, &sine, &cosine);
    return cosine;
  }
  static float lane(float x) {
    float sine, cosine;
    reference::packedSinCos(x, &sine, &cosine);
    return cosine;
  }
};

struct PackedATan {
  static constexpr const char* name = "packedATan";
  template <class V>
  static V packed(V x) {
    return kxcalc::packedATan(x);
  }
  static float lane(float x) { return reference::packedATan(x); }
};

struct PackedLog {
  static constexpr const char* name = "packedLog";
  template <class V>
  static V packed(V x) {
    return kxcalc::packedLog(x);
  }
  static float lane(float x) { return reference::packedLog(x); }
};

struct PackedExp {
  static constexpr const char* name = "packedExp";
  template <class V>
  static V packed(V x) {
    return kxcalc::packedExp(x);
  }
  static float lane(float x) { return reference::packedExp(x); }
};

struct FastLog10 {
  static constexpr const char* name = "fastLog10";
  static f32x4 packed(f32x4 x) {
    return f32x4{kxcalc::fastLog10(x[0]), kxcalc::fastLog10(x[1]), kxcalc::fastLog10(x[2]), kxcalc::fastLog10(x[3])};
  }
  static float lane(float x) { return reference::fastLog10(x); }
};

struct FastLog10Packed {
  static constexpr const char* name = "fastLog10Packed";
  template <class V>
  static V packed(V x) {
    return kxcalc::fastLog10Packed(x);
  }
  static float lane(float x) { return reference::fastLog10PackedLane(x); }
};

struct Names {
  template <typename Member>
  static std::string GetName(int) {
    return Member::name;
  }
};

/// The bit patterns of four lanes.
using Patterns = std::array<uint32_t, 4>;

/// Through memory, so that a signalling NaN gets there as it is.
inline f32x4 lanesOf(const Patterns& patterns) {
  return std::bit_cast<f32x4>(patterns);
}

/// The member's one lane, as it comes out of a vector that holds the value four times.
template <typename Member>
float valueOf(float x) {
  return Member::packed(f32x4{x, x, x, x})[0];
}

/// Four lanes against the model, all NaNs being one. The first lane that differs, or 4.
template <typename Member>
std::size_t firstDifference(const Patterns& patterns) {
  const auto actual = std::bit_cast<std::array<float, 4>>(Member::packed(lanesOf(patterns)));
  bool differs = false;
  std::array<bool, 4> lanes;
  for (std::size_t i = 0; i < 4; ++i) {
    const float expected = Member::lane(std::bit_cast<float>(patterns[i]));
    lanes[i] = !support::isSame(actual[i], expected, support::NanRule::anyNan);
    differs = differs || lanes[i];
  }
  for (std::size_t i = 0; i < 4 && differs; ++i) {
    if (lanes[i]) {
      return i;
    }
  }
  return 4;
}

template <typename Member>
testing::AssertionResult equalsModel(const Patterns& patterns) {
  const std::size_t lane = firstDifference<Member>(patterns);
  if (lane == 4) {
    return testing::AssertionSuccess();
  }
  const auto x = std::bit_cast<float>(patterns[lane]);
  const float actual = Member::packed(lanesOf(patterns))[lane];
  return support::sameResult(actual, Member::lane(x)) << "; lane " << lane << " of " << support::describe(x);
}

/// Patterns of all exponents, in each lane of a wider vector what the vector of four singles gives.
template <typename Member, std::size_t bytes>
testing::AssertionResult widerVectorsEqualTheNarrow() {
  constexpr std::size_t count = bytes / sizeof(float);
  for (uint32_t pattern = 0; pattern < 0xFFFF0000; pattern += 4099 * count) {
    std::array<uint32_t, count> patterns;
    for (uint32_t lane = 0; lane < count; ++lane) {
      patterns[lane] = (pattern + 4099 * lane) ^ (lane << 29);
    }
    kxcalc::Lanes<float, bytes> x;
    std::memcpy(&x, &patterns, sizeof x);
    const auto together = Member::packed(x);
    for (std::size_t group = 0; group < count; group += 4) {
      Patterns four;
      std::copy_n(patterns.begin() + group, 4, four.begin());
      const f32x4 expected = Member::packed(lanesOf(four));
      for (std::size_t lane = 0; lane < 4; ++lane) {
        testing::AssertionResult result = support::sameResult(float{together[group + lane]}, float{expected[lane]});
        if (!result) {
          return result << "; lane " << group + lane << " of " << bytes << " bytes";
        }
      }
    }
  }
  return testing::AssertionSuccess();
}

/// The same at every width of the build above 16 bytes.
template <typename Member>
void checkWiderVectors() {
  if constexpr (kxcalc::widestBytes >= 32) {
    EXPECT_TRUE((widerVectorsEqualTheNarrow<Member, 32>()));
  }
  if constexpr (kxcalc::widestBytes >= 64) {
    EXPECT_TRUE((widerVectorsEqualTheNarrow<Member, 64>()));
  }
  if constexpr (kxcalc::widestBytes == 16) {
    GTEST_SKIP() << "this build has none";
  }
}

/// Every 4099th pattern, in lanes of different signs and exponents: a prime distance reaches every exponent.
template <typename Member>
testing::AssertionResult equalsModelOverAllExponents() {
  for (uint32_t pattern = 0; pattern < 0x40000000; pattern += 4099) {
    const testing::AssertionResult result =
        equalsModel<Member>({pattern, pattern + 0xC0000011, pattern + 0x40000008, pattern + 0x80000022});
    if (!result) {
      return result;
    }
  }
  return testing::AssertionSuccess();
}

/// Both signs and every exponent, zeros, denormals, infinities and NaNs among them, with the significands at their
/// ends.
template <typename Member>
testing::AssertionResult equalsModelAtEdgeSignificands() {
  std::vector<uint32_t> patterns;
  for (uint32_t top = 0; top < 512; ++top) {
    for (const uint32_t significand :
         {0U, 1U, 2U, 0x3504F2U, 0x3504F3U, 0x3504F4U, 0x3FFFFFU, 0x400000U, 0x400001U, 0x7FFFFEU, 0x7FFFFFU}) {
      patterns.push_back(top << 23 | significand);
    }
  }
  for (std::size_t i = 0; i < patterns.size(); ++i) {
    const auto at = [&](std::size_t index) { return patterns[index % patterns.size()]; };
    const testing::AssertionResult result = equalsModel<Member>({at(i), at(7 * i + 1), at(13 * i + 5), at(31 * i + 3)});
    if (!result) {
      return result;
    }
  }
  return testing::AssertionSuccess();
}

/// The singles around a value.
template <typename Member>
testing::AssertionResult equalsModelAround(float value, uint32_t distance) {
  const uint32_t middle = std::bit_cast<uint32_t>(value);
  for (uint32_t pattern = middle - distance; pattern - (middle - distance) <= 2 * distance; ++pattern) {
    const testing::AssertionResult result =
        equalsModel<Member>({pattern, pattern ^ 0x80000000, pattern + 1, (pattern - 1) ^ 0x80000000});
    if (!result) {
      return result;
    }
  }
  return testing::AssertionSuccess();
}

}  // namespace vmath

#endif
