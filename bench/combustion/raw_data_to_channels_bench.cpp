#include <algorithm>
#include <limits>
#include <tuple>
#include <vector>

#include "kxcalc.h"
#include "support/comparison.hpp"
#include "support/peers.hpp"

namespace kxcalc::bench {
namespace {

struct Copy {
  const float* raw;
  float* channel;
  size_t count;
  float offset;
  std::vector<float> own;  // where the samples are not those of a signal
  float peak = 0;
  uint32_t peakIndex = 0;

  /// Of several equal peaks, which is found does not matter here.
  std::vector<Quantity> results() const {
    std::vector<Quantity> all = elementsOf(channel, count);
    all.insert(all.end(), {peak, raw[peakIndex]});
    return all;
  }
};

Copy noise(size_t count) {
  return {samples<float>(Signal::noise), scratch<float>(count), count, 0.125F, {}};
}

/// A pressure that rises up to the middle of the cycle: until then each sample is a new peak.
Copy cycle(size_t count) {
  Copy w{nullptr, scratch<float>(count), count, 0.125F, std::vector<float>(count)};
  for (size_t i = 0; i < count; ++i) {
    w.own[i] = static_cast<float>(std::min(i, count - i));
  }
  w.raw = w.own.data();
  return w;
}

void plain(Copy& w) {
  const auto [raw, channel, offset, count] = std::tuple(w.raw, w.channel, w.offset, w.count);
  float peak = std::numeric_limits<float>::min();
  uint32_t peakIndex = std::numeric_limits<uint32_t>::max();
  for (size_t i = 0; i < count; ++i) {
    const float value = raw[i] - offset;
    channel[i] = value;
    if (value > peak) {
      peak = value;
      peakIndex = static_cast<uint32_t>(i);
    }
  }
  w.peak = peak;
  w.peakIndex = peakIndex;
}

#if defined(KXCALC_BENCH_EIGEN)
void eigen(Copy& w) {
  constexpr size_t blockLength = 2048;
  w.peak = std::numeric_limits<float>::min();
  for (size_t i = 0; i < w.count; i += blockLength) {
    auto block = eigenArray(w.channel + i, std::min(blockLength, w.count - i));
    block = eigenArray(w.raw + i, std::min(blockLength, w.count - i)) - w.offset;
    const float peak = block.maxCoeff();
    if (peak > w.peak) {
      Eigen::Index index = 0;
      w.peak = block.maxCoeff(&index);
      w.peakIndex = static_cast<uint32_t>(i) + static_cast<uint32_t>(index);
    }
  }
}
#endif

#if defined(KXCALC_BENCH_VOLK)
void volk(Copy& w) {
  const auto count = static_cast<unsigned>(w.count);
  volk_32f_s32f_add_32f(w.channel, w.raw, -w.offset, count);
  volk_32f_index_max_32u(&w.peakIndex, w.channel, count);
  w.peak = w.channel[w.peakIndex];
}
#endif

template <class Make>
void compare(const char* variant, Make make) {
  Comparison comparison("kxCalcCACopyRawDataToChannels", variant, make, [](const Functions& functions, Copy& w) {
    functions.kxCalcCACopyRawDataToChannels(w.raw, w.channel, 0, static_cast<uint32_t>(w.count), w.offset, &w.peak,
                                            &w.peakIndex);
  });
  comparison.template limitedByTraffic<Traffic{.first = 4, .output = 4}>([](Copy& w) {
    return Streams{w.raw, nullptr, w.channel};
  });

  const Contract ties = sameBits("which of equal peaks is found");
  comparison.plain(ties, plain);
  comparison.reordered(ties, plain);
#if defined(KXCALC_BENCH_EIGEN)
  comparison.library("Eigen", ties, eigen);
#endif
#if defined(KXCALC_BENCH_VOLK)
  comparison.library("VOLK", ties, volk);
#endif
}

const bool registered = [] {
  compare("noise", noise);
  compare("cycle", cycle);
  return true;
}();

}  // namespace
}  // namespace kxcalc::bench
