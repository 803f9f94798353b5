// Copies raw samples into a channel, less an offset, and finds the peak: the largest difference above the smallest
// normal single, and its index. Which of equal maxima is reported differs between the two forms:
// - up to three samples: the first;
// - four and more, in blocks of four from the start: of each lane the first, of the lanes the lowest, even where
//   another lane holds an earlier index. A lane begins with its first sample, and one that begins with a NaN keeps it.
//   Indexes of lanes are singles that grow by 4 a block, with the rounding that they have from 16777216 on.
#include <algorithm>
#include <limits>

#include "frame/blocks.hpp"
#include "frame/wide_integers.hpp"
#include "kxcalc.h"

namespace kxcalc {
namespace {

constexpr float noPeak = std::numeric_limits<float>::min();

struct Peak {
  float value = noPeak;
  uint32_t index = 0xFFFFFFFFU;  // none found

  KXCALC_INLINE void offer(float candidate, uint32_t at) {
    if (candidate > value) {
      value = candidate;
      index = at;
    }
  }
};

/// Four maxima, and of each the place where it was found.
template <class Places>
struct LanePeaks {
  f32x4 values;
  Places places;

  KXCALC_INLINE void fold(f32x4 block, Places at) {
    const i32x4 larger = block > values;
    values = larger ? block : values;
    places = larger ? at : places;
  }
};

/// The tail: up to three samples from `i` on, the first of them with an index that is given.
KXCALC_INLINE void copyRest(const float* from, float* channel, size_t i, size_t count, float offset, uint32_t index,
                            Peak& peak) {
  for (; i < count; ++i, ++index) {
    channel[i] = from[i] - offset;
    peak.offer(channel[i], index);
  }
}

/// Where no index comes to 16777216, singles hold them exactly. A lane that does not begin with a NaN then ends with its
/// largest sample, which is found chunk by chunk and in any order within them, and with the index of the first sample that
/// equals it: that lies in the first chunk that raised the lane so high, and is looked for there in the end.
KXCALC_INLINE Peak copyInChunks(const float* from, float* channel, uint32_t start, size_t count, float offset) {
  using Widest = Lanes<float, widestBytes>;
  constexpr size_t chunk = 128;
  LanePeaks<i32x4> lanes{load(from) - offset, i32x4{0, 1, 2, 3}};
  size_t i = 0;
  while (count - i >= 4) {
    const size_t length = std::min(count - i, chunk);
    Widest largest = splat<Widest>(noPeak);
    const auto copyPack = [&](auto at) KXCALC_INLINE_LAMBDA {
      const auto samples = at.load(from + i) - offset;
      at.store(channel + i, samples);
      largest = greater(repeatedTo<widestBytes>(samples), largest);  // a NaN is none
    };
    const size_t copied = walkBlocks<4>(length, copyPack, from + i, channel + i);
    lanes.fold(foldedTo<16>(largest, greater), static_cast<int32_t>(i) + i32x4{0, 1, 2, 3});
    i += copied;
  }
  Peak peak;
  unrolled<4>([&](size_t lane) { peak.offer(lanes.values[lane], static_cast<uint32_t>(lanes.places[lane])); });
  if (peak.value > noPeak) {
    while (channel[peak.index] != peak.value) {
      peak.index += 4;
    }
    peak.index += start;
  }
  copyRest(from, channel, i, count, offset, start + static_cast<uint32_t>(i), peak);
  return peak;
}

KXCALC_INLINE uint32_t toIndex(float lane) {
  return lowWord(static_cast<double>(lane));
}

KXCALC_INLINE Peak copyInBlocks(const float* from, float* channel, uint32_t start, size_t count, float offset) {
  const f32x4 first = load(from) - offset;
  store(channel, first);
  const f32x4 indexes = toSingle(uint64_t{start}) + f32x4{0, 1, 2, 3};
  LanePeaks<f32x4> lanes{first, indexes};
  f32x4 next = indexes + 4.0F;
  const size_t tail = walkBody(from, 4, count, [&](const float* at) KXCALC_INLINE_LAMBDA {
    const f32x4 block = load(at) - offset;
    store(channel + (at - from), block);
    lanes.fold(block, next);
    next += 4.0F;
  });
  Peak peak;
  unrolled<4>([&](size_t lane) { peak.offer(lanes.values[lane], toIndex(lanes.places[lane])); });
  copyRest(from, channel, tail, count, offset, toIndex(next[0]), peak);
  return peak;
}

KXCALC_INLINE Peak copyRaw(const float* from, float* channel, uint32_t start, size_t count, float offset) {
  constexpr size_t exactIndexes = size_t{1} << 24, manySamples = 32;
  if (count < 4) {
    Peak peak;
    copyRest(from, channel, 0, count, offset, start, peak);
    return peak;
  }
  return count >= manySamples && count <= exactIndexes && start <= exactIndexes - count
             ? copyInChunks(from, channel, start, count, offset)
             : copyInBlocks(from, channel, start, count, offset);
}

}  // namespace
}  // namespace kxcalc

extern "C" void kxCalcCACopyRawDataToChannels(const float* raw, float* channel, uint32_t start, uint32_t end,
                                              float offset, float* peakValue, uint32_t* peakIndex) {
  const auto [value, index] = kxcalc::copyRaw(raw + start, channel, start, end - start, offset);
  *peakValue = value;
  *peakIndex = index;
}
