// Raw samples less an offset into a channel, and their peak.
#ifndef KXCALC_TESTS_REFERENCE_RAW_DATA_TO_CHANNELS_HPP
#define KXCALC_TESTS_REFERENCE_RAW_DATA_TO_CHANNELS_HPP

#include <cstdint>

namespace reference {

/// A value and its index, which a lane carries as a single.
template <typename Index>
struct RawDataPeak {
  float value;
  Index index;

  void offer(float otherValue, Index otherIndex) {
    if (otherValue > value) {
      value = otherValue;
      index = otherIndex;
    }
  }
};

/// What was carried as a single is a whole number.
inline uint32_t indexOfCarried(float carried) {
  return static_cast<uint32_t>(static_cast<uint64_t>(carried));
}

inline void kxCalcCACopyRawDataToChannels(const float* raw, float* channel, uint32_t start, uint32_t end, float offset,
                                          float* peakValue, uint32_t* peakIndex) {
  const uint32_t count = end - start;
  for (uint32_t i = 0; i < count; ++i) {
    channel[i] = raw[start + i] - offset;
  }
  RawDataPeak<uint32_t> peak{1.17549435e-38F, 0xFFFFFFFF};
  const uint32_t inBlocks = count / 4 * 4;
  uint32_t restIndex = start;
  if (inBlocks > 0) {
    RawDataPeak<float> lanes[4];
    float carried[4];
    for (uint32_t lane = 0; lane < 4; ++lane) {
      carried[lane] = static_cast<float>(start) + static_cast<float>(lane);
      lanes[lane] = {channel[lane], carried[lane]};
    }
    for (uint32_t i = 4; i < inBlocks; ++i) {
      carried[i % 4] = carried[i % 4] + 4;
      lanes[i % 4].offer(channel[i], carried[i % 4]);
    }
    for (const RawDataPeak<float>& lane : lanes) {
      peak.offer(lane.value, indexOfCarried(lane.index));
    }
    restIndex = indexOfCarried(carried[0] + 4);
  }
  for (uint32_t i = inBlocks; i < count; ++i) {
    peak.offer(channel[i], restIndex + (i - inBlocks));
  }
  *peakValue = peak.value;
  *peakIndex = peak.index;
}

}  // namespace reference

#endif
