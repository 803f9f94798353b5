// Copies raw samples into a channel, less an offset, and finds the peak: the largest difference above the smallest
// normal single, and its index. Which of equal maxima is reported differs between the two forms:
// - up to three samples: the first;
// - four and more, in blocks of four from the start: of each lane the first, of the lanes the lowest, even where
//   another lane holds an earlier index. A lane begins with its first sample, and one that begins with a NaN keeps it.
//   Indexes of lanes are singles that grow by 4 a block, with the rounding that they have from 16777216 on.
#include <limits>

#include "frame/blocks.hpp"
#include "frame/wide_integers.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

struct Peak {
  float value = std::numeric_limits<float>::min();
  uint32_t index = 0xFFFFFFFFU;  // none found

  KXCALC_INLINE void offer(float candidate, uint32_t at) {
    if (candidate > value) {
      value = candidate;
      index = at;
    }
  }
};

/// Four maxima and their indexes, and the indexes of the block that is next.
struct LanePeaks {
  f32x4 values, indexes, next;

  KXCALC_INLINE void fold(f32x4 block) {
    const i32x4 larger = block > values;
    values = larger ? block : values;
    indexes = larger ? next : indexes;
    next += 4.0F;
  }
};

/// Singles hold all whole numbers up to here: below, four blocks may count 16 at once.
constexpr float exactIndexes = 16777216;

KXCALC_INLINE uint32_t toIndex(float lane) {
  return lowWord(static_cast<double>(lane));
}

KXCALC_INLINE Peak copyInBlocks(const float* from, float* channel, uint32_t start, size_t count, float offset) {
  const f32x4 first = load(from) - offset;
  store(channel, first);
  const f32x4 indexes = toSingle(uint64_t{start}) + f32x4{0, 1, 2, 3};
  LanePeaks lanes{first, indexes, indexes + 4.0F};
  size_t i = 4;
  for (; count - i >= 16 && lanes.next[3] < exactIndexes - 16; i += 16) {
    prefetchAhead(from + i);
    prefetchAhead(channel + i);
    f32x4 blocks[4];
    i32x4 larger{};
    unrolled<4>([&](size_t k) {
      blocks[k] = load(from + i + 4 * k) - offset;
      store(channel + i + 4 * k, blocks[k]);
      larger |= blocks[k] > lanes.values;
    });
    if (anyBitSet(larger)) {
      unrolled<4>([&](size_t k) { lanes.fold(blocks[k]); });
    } else {
      lanes.next += 16.0F;
    }
  }
  for (; count - i >= 4; i += 4) {
    const f32x4 block = load(from + i) - offset;
    store(channel + i, block);
    lanes.fold(block);
  }
  Peak peak;
  unrolled<4>([&](size_t lane) { peak.offer(lanes.values[lane], toIndex(lanes.indexes[lane])); });
  const uint32_t tail = toIndex(lanes.next[0]);
  for (size_t k = 0; i + k < count; ++k) {
    channel[i + k] = from[i + k] - offset;
    peak.offer(channel[i + k], tail + static_cast<uint32_t>(k));
  }
  return peak;
}

KXCALC_INLINE Peak copyOneByOne(const float* from, float* channel, uint32_t start, size_t count, float offset) {
  Peak peak;
  for (size_t i = 0; i < count; ++i) {
    channel[i] = from[i] - offset;
    peak.offer(channel[i], start + static_cast<uint32_t>(i));
  }
  return peak;
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxCalcCACopyRawDataToChannels(const float* raw, float* channel, uint32_t start, uint32_t end,
                                              float offset, float* peakValue, uint32_t* peakIndex) {
  using namespace kxcalc;
  const uint32_t count = end - start;
  const Peak peak = count < 4 ? copyOneByOne(raw + start, channel, start, count, offset)
                              : copyInBlocks(raw + start, channel, start, count, offset);
  *peakValue = peak.value;
  *peakIndex = peak.index;
}
