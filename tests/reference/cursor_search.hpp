// The pixel nearest to a cursor: every pixel of every row is looked at.
#ifndef KXCALC_TESTS_REFERENCE_CURSOR_SEARCH_HPP
#define KXCALC_TESTS_REFERENCE_CURSOR_SEARCH_HPP

#include <cstddef>
#include <cstdint>
#include <limits>

namespace reference {

/// No pixel counts at all where the list's length is negative.
inline bool isIgnored(uint32_t pixel, const uint32_t* ignoreValues, int32_t ignoreCount) {
  for (int32_t i = 0; i < ignoreCount; ++i) {
    if (pixel == ignoreValues[i]) {
      return true;
    }
  }
  return ignoreCount < 0;
}

inline float asSigned(uint32_t number) {
  return static_cast<float>(static_cast<int32_t>(number));
}

struct Candidate {
  float distance = std::numeric_limits<float>::max();
  uint32_t value = 0;
  uint32_t x = 0;
  uint32_t y = 0;
};

inline void kxcalcFindCursorXY(const uint32_t* image, int32_t pitch, int32_t width, int32_t height, uint32_t cursorX,
                               uint32_t cursorY, uint32_t* foundValue, uint32_t* foundX, uint32_t* foundY,
                               const uint32_t* ignoreValues, int32_t ignoreCount) {
  Candidate lanes[4];
  Candidate best;
  const auto keepNearer = [&](const Candidate& candidate) {
    if (best.distance > candidate.distance) {
      best = candidate;
      *foundValue = candidate.value;
      *foundX = candidate.x;
      *foundY = candidate.y;
    }
  };
  const uint32_t blocksEnd = width > 0 ? static_cast<uint32_t>(width / 4 * 4) : 0;
  const uint32_t tailLength = width > 0 ? static_cast<uint32_t>(width % 4) : 0;
  for (int32_t k = 0; k < height; ++k) {
    const uint32_t* row = image - static_cast<ptrdiff_t>(k) * (pitch / 4);
    const auto y = static_cast<uint32_t>(k);
    const uint32_t dy = cursorY - y;
    for (uint32_t x = 0; x < blocksEnd; ++x) {
      if (isIgnored(row[x], ignoreValues, ignoreCount)) {
        continue;
      }
      const uint32_t lane = x % 4;
      const uint32_t blockStart = x - lane;
      uint32_t dx = cursorX - x;
      if ((lane == 1 && cursorX < blockStart) || (lane == 3 && cursorX < blockStart + 2)) {
        dx = dx - 1;
      }
      const float distance = asSigned(dx) * asSigned(dx) + asSigned(dy * dy);
      if (distance <= lanes[lane].distance) {
        lanes[lane] = {distance, row[x], x, y};
      }
    }
    for (const Candidate& lane : lanes) {
      keepNearer(lane);
    }
    for (uint32_t r = 0; r < tailLength; ++r) {
      const uint32_t pixel = row[blocksEnd + r];
      if (!isIgnored(pixel, ignoreValues, ignoreCount)) {
        const float dyf = asSigned(dy);
        const float dxf = asSigned(cursorX - r);
        keepNearer({dyf * dyf + dxf * dxf, pixel, r, y});
      }
    }
  }
}

}  // namespace reference

#endif
