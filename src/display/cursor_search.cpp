// Finds the pixel nearest to a cursor whose value is not ignored.
//
// The contract goes over all rows in ascending order. In a row, blocks of four columns fold into four lanes, each
// keeping the pixel at the least squared distance, the later one of equals; then the lanes in ascending order, then the
// tail pixels, replace the best one so far where they are strictly nearer. So of all pixels at the least distance D the
// winner is the one
//   in the lowest row; there, in a block before the tail; there, in the lowest lane, and in it the highest column;
//   in a tail, the lowest column.
// For D is reached first in the lowest row that holds it; there the lanes that hold D hold it from this row (earlier
// rows were farther), the lowest of them replaces the best, and nothing at an equal distance replaces it later.
//
// The winner does not depend on pixels farther than D. So rows are visited in the order of their distance from the
// cursor until that alone exceeds the least distance found, and in each only the columns within reach are read. This
// needs row distances and column distances that do not wrap in 32 bits; cursors far outside the raster are given the
// plain order.
#include <algorithm>
#include <cstdlib>
#include <limits>

#include "frame/blocks.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

constexpr float farthest = std::numeric_limits<float>::max();

struct Raster {
  const uint32_t* image;
  ptrdiff_t pitch;  // in pixels, towards lower addresses
  int32_t width, height;
  const uint32_t* ignoreValues;
  int32_t ignoreCount;
  uint32_t cursorX, cursorY;
};

struct Candidate {
  float distance = farthest;
  int32_t row = 0;
  uint32_t value = 0, x = 0;

  /// Of one row, the candidate that was found later wins: it was found among more columns.
  KXCALC_INLINE bool beats(const Candidate& other) const {
    return distance < other.distance || (distance == other.distance && row <= other.row);
  }
};

/// The nearest pixel so far of each of four lanes.
struct CandidateLanes {
  f32x4 distance = f32x4{} + farthest;
  u32x4 value{}, x{};
};

KXCALC_INLINE f32x4 squared(i32x4 difference) {
  const f32x4 d = __builtin_convertvector(difference, f32x4);
  return d * d;
}

/// The difference of a coordinate of the cursor and a pixel's, in 32 bits, as a single.
KXCALC_INLINE float differenceOf(uint32_t cursor, int32_t pixel) {
  return static_cast<float>(static_cast<int32_t>(cursor - static_cast<uint32_t>(pixel)));
}

/// All bits set in the lanes of `count` blocks whose pixels are not to be ignored. Equal values are counted, not ORed: GCC
/// makes a blend of that.
template <size_t count>
KXCALC_INLINE void findCandidates(const Raster& raster, const u32x4 (&pixels)[count], i32x4 (&candidates)[count]) {
  i32x4 equalValues[count]{};
  for (int32_t i = 0; i < raster.ignoreCount; ++i) {
    const u32x4 value = u32x4{} + raster.ignoreValues[i];
    unrolled<count>([&](size_t k) { equalValues[k] += pixels[k] == value; });
  }
  unrolled<count>([&](size_t k) { candidates[k] = equalValues[k] == 0; });
}

/// Whether all pixels have the first value to ignore: most of a picture is background, which hosts name first.
template <size_t count>
KXCALC_INLINE bool areBackground(const Raster& raster, const u32x4 (&pixels)[count]) {
  if (raster.ignoreCount == 0) {
    return false;
  }
  const u32x4 background = u32x4{} + raster.ignoreValues[0];
  u32x4 differences{};
  unrolled<count>([&](size_t k) { differences |= pixels[k] ^ background; });
  return !anyBitSet(differences);
}

/// Folds the block of columns x0 to x0 + 3. To the right of the cursor the second and the fourth column count as one
/// farther away than they are: their differences come out of subtractions of pairs, with a borrow from the first and
/// the third.
KXCALC_INLINE void foldBlock(CandidateLanes& lanes, const Raster& raster, uint32_t x0, float dy2, u32x4 pixels,
                             i32x4 candidates) {
  const u32x4 x = x0 + u32x4{0, 1, 2, 3};
  const u32x4 borrow{0, raster.cursorX < x0, 0, raster.cursorX < x0 + 2};
  const f32x4 distance = squared(bitsAs<i32x4>(raster.cursorX - x - borrow)) + dy2;
  const i32x4 nearer = (distance <= lanes.distance) & candidates;
  lanes.distance = nearer ? distance : lanes.distance;
  lanes.value = nearer ? pixels : lanes.value;
  lanes.x = nearer ? x : lanes.x;
}

/// The winner of a row among the columns of its blocks from `begin` to `end` (multiples of four) and its tail.
Candidate searchRow(const Raster& raster, int32_t row, int32_t begin, int32_t end) {
  const uint32_t* pixels = raster.image - row * raster.pitch;
  const uint32_t rows = raster.cursorY - static_cast<uint32_t>(row);
  const auto dy2 = static_cast<float>(static_cast<int32_t>(rows * rows));

  CandidateLanes lanes;
  int32_t x = begin;
  const auto fold = [&]<size_t count>(std::integral_constant<size_t, count>) {
    u32x4 block[count];
    unrolled<count>(
        [&](size_t k) { block[k] = bitsAs<u32x4>(load(reinterpret_cast<const int32_t*>(pixels) + x + 4 * k)); });
    if (!areBackground(raster, block)) {
      i32x4 candidates[count];
      findCandidates(raster, block, candidates);
      i32x4 any{};
      unrolled<count>([&](size_t k) { any += candidates[k]; });
      if (anyBitSet(any)) {
        unrolled<count>([&](size_t k) {
          foldBlock(lanes, raster, static_cast<uint32_t>(x) + static_cast<uint32_t>(4 * k), dy2, block[k],
                    candidates[k]);
        });
      }
    }
    x += static_cast<int32_t>(4 * count);
  };
  while (end - x >= 16) {
    fold(std::integral_constant<size_t, 4>());
  }
  while (end - x >= 4) {
    fold(std::integral_constant<size_t, 1>());
  }

  Candidate best;
  best.row = row;
  for (int lane = 0; lane < 4; ++lane) {
    if (best.distance > lanes.distance[lane]) {
      best.distance = lanes.distance[lane];
      best.value = lanes.value[lane];
      best.x = lanes.x[lane];
    }
  }
  // The tail is measured, and reported, as if the row began with it. Rows of whole blocks have none.
  const uint32_t* tail = pixels + (raster.width & ~3);
  for (int32_t r = 0; r < (raster.width & 3); ++r) {
    const float dx = differenceOf(raster.cursorX, r), dy = differenceOf(raster.cursorY, row);
    const float distance = dy * dy + dx * dx;
    const auto* ignoreEnd = raster.ignoreValues + raster.ignoreCount;
    if (best.distance > distance && std::find(raster.ignoreValues, ignoreEnd, tail[r]) == ignoreEnd) {
      best.distance = distance;
      best.value = tail[r];
      best.x = static_cast<uint32_t>(r);
    }
  }
  return best;
}

/// Whether no difference of coordinates, and no square of a row difference, wraps in 32 bits.
KXCALC_INLINE bool isNear(const Raster& raster) {
  constexpr int32_t rows = 46340, columns = 1 << 28;  // 46340^2 < 2^31
  const auto x = static_cast<int32_t>(raster.cursorX), y = static_cast<int32_t>(raster.cursorY);
  return y <= rows && y >= raster.height - 1 - rows && x <= columns && x >= -columns && raster.width <= columns;
}

/// Takes the best of what lies within `radius` rows and columns of the cursor, and perhaps of more.
KXCALC_INLINE void searchAround(const Raster& raster, int32_t radius, Candidate& best) {
  const auto cursorX = static_cast<int32_t>(raster.cursorX), cursorY = static_cast<int32_t>(raster.cursorY);
  const int32_t blocks = raster.width & ~3;
  int32_t reach = std::min(radius, std::max(std::abs(cursorX), std::abs(cursorX - raster.width + 1)));
  const int32_t rows = std::min(radius, std::max(std::abs(cursorY), std::abs(cursorY - raster.height + 1)));
  for (int32_t dy = 0; dy <= rows; ++dy) {
    const auto dy2 = static_cast<float>(dy * dy);
    if (dy2 > best.distance) {
      return;
    }
    // Roundings keep order: all columns farther away than the reach, in this row and in those to come, are too far.
    while (static_cast<float>(reach) * static_cast<float>(reach) + dy2 > best.distance) {
      --reach;
    }
    const int32_t begin = std::clamp(cursorX - reach, 0, blocks) & ~3;
    const int32_t end = std::clamp((cursorX + reach + 4) & ~3, begin, blocks);
    for (const int32_t row : {cursorY - dy, cursorY + dy}) {
      if (row >= 0 && row < raster.height) {
        const Candidate candidate = searchRow(raster, row, begin, end);
        if (candidate.beats(best)) {
          best = candidate;
        }
      }
    }
  }
}

KXCALC_INLINE Candidate search(const Raster& raster) {
  Candidate best;
  if (!isNear(raster)) {
    for (int32_t row = 0; row < raster.height; ++row) {
      const Candidate candidate = searchRow(raster, row, 0, raster.width & ~3);
      if (candidate.beats(best)) {
        best = candidate;
      }
    }
    return best;
  }
  // Small squares around the cursor first, as long as they cost next to nothing: what lies outside of one is farther
  // away than its radius.
  for (const int32_t radius : {16, 64, 256}) {
    const int64_t side = 2 * radius + 1;
    if (16 * side * side > int64_t{raster.width} * raster.height) {
      break;
    }
    searchAround(raster, radius, best);
    if (best.distance <= static_cast<float>(radius * radius)) {
      return best;
    }
  }
  searchAround(raster, std::numeric_limits<int32_t>::max(), best);
  return best;
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxcalcFindCursorXY(const uint32_t* image, int32_t pitch, int32_t width, int32_t height,
                                   uint32_t cursorX, uint32_t cursorY, uint32_t* foundValue, uint32_t* foundX,
                                   uint32_t* foundY, const uint32_t* ignoreValues, int32_t ignoreCount) {
  if (width < 1 || height < 1 || ignoreCount < 0) {
    return;
  }
  const kxcalc::Candidate best =
      kxcalc::search({image, pitch / 4, width, height, ignoreValues, ignoreCount, cursorX, cursorY});
  if (best.distance < kxcalc::farthest) {
    *foundValue = best.value;
    *foundX = best.x;
    *foundY = static_cast<uint32_t>(best.row);
  }
}
