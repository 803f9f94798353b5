// Classes of flicker sensation: hundredths of a decade from 1e-4 on.
//
// The class of a value above 0 is (log10(value) + 4) * 100, the logarithm correctly rounded to double, cut towards zero and
// seen as an unsigned number: what lies a class or more below class 0 is a large one, and counts in the top class, as does
// what lies above.
//
// None of these steps lets a larger value come before a smaller one, so the first single of each class says it all; and
// those steps' roundings are far smaller than the distance of singles, so that it is the first from a power of ten on. Singles
// are cut into stretches of 2^17 neighbours, 64 an octave, the widest of them 0.68 of a class: at most one class begins in
// each. A stretch's entry and what a value lies into it are added, and carry into the class from its first single on.
#pragma once

#include <algorithm>
#include <bit>

#include "frame/lanes.hpp"

namespace kxcalc {

class FlickerClasses {
public:
  constexpr FlickerClasses() : entries_{} {
    double begins[perDecade]{1};  // of the classes of a decade
    for (uint32_t i = 1; i < perDecade; ++i) {
      begins[i] = begins[i - 1] * 1.0232929922807541;  // 10^(1/100)
    }
    entries_[0] = 0;
    uint32_t begun = 0;
    uint32_t next = firstFrom(begins[perDecade - 1] / 1e5);
    double decade = 1;
    for (uint32_t i = 1; i < size; ++i) {
      const uint32_t stretch = (firstStretch + i - 1) << stretchBits;
      entries_[i] = begun << stretchBits;
      if (begun < classes && next - stretch < stretchLength) {
        entries_[i] += stretchLength - (next - stretch);
        ++begun;
        decade = begun % perDecade == 0 ? decade * 10 : decade;
        next = firstFrom(begins[begun % perDecade] * decade / 1e4);
      }
    }
  }

  /// Class 0 of what is not above 0, NaNs among them.
  KXCALC_INLINE size_t of(float value) const {
    constexpr uint32_t infinity = 0x7F800000;
    const auto bits = bitsAs<uint32_t>(value);
    const auto stretch = static_cast<int32_t>(bits >> stretchBits) - static_cast<int32_t>(firstStretch) + 1;
    const uint32_t entry = entries_[std::clamp(stretch, 0, static_cast<int32_t>(size) - 1)];
    const uint32_t begun = (entry + bits % stretchLength) >> stretchBits;
    return bits - 1 < infinity ? std::min(begun - 1, classes - 1) : 0;
  }

private:
  static constexpr uint32_t classes = 1000, perDecade = 100;
  static constexpr uint32_t stretchBits = 17, stretchLength = 1U << stretchBits;
  static constexpr uint32_t firstStretch = std::bit_cast<uint32_t>(9.7e-5F) >> stretchBits;
  static constexpr uint32_t lastStretch = std::bit_cast<uint32_t>(1e6F) >> stretchBits;
  static constexpr uint32_t size = lastStretch - firstStretch + 2;  // and one for all that lies before

  /// Bits of the first single that is not below a number above 0.
  static constexpr uint32_t firstFrom(double number) {
    const auto single = static_cast<float>(number);
    return std::bit_cast<uint32_t>(single) + (static_cast<double>(single) < number ? 1 : 0);
  }

  /// The number of classes that have begun before a stretch, class 0 a hundredth of a decade early, in the upper bits; in
  /// the lower ones how long a stretch is from where a class begins in it.
  uint32_t entries_[size];
};
inline constexpr FlickerClasses flickerClasses;

}  // namespace kxcalc
