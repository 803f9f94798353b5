// Statistics lines over streams of any length: how a host calls the statistics kernels block by block.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <vector>

#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// What the kernels take as rmsOffset for samples of type T.
template <class T>
using RmsOffset = std::conditional_t<std::is_same_v<T, int32_t> || std::is_same_v<T, double>, double, float>;

/// Minimum, maximum, mean and mean square of one channel, of int16_t, int32_t, float or double.
///
/// The kernels add up four or two samples at a time, counted from a boundary of 16 bytes, so that the last bits of their
/// sums depend on where a call begins. Here they get blocks of one length from aligned memory, whatever the blocks that
/// the stream comes in: splitting a stream changes nothing.
template <class T>
class Statistics {
public:
  static constexpr size_t usualBlock = 4096;

  /// @param functions  they outlive this object.
  /// @param rmsOffset  added to each sample before it is squared.
  /// @param block      samples that the kernel gets at a time, at least 1.
  explicit Statistics(const Functions& functions, RmsOffset<T> rmsOffset = 0, size_t block = usualBlock)
      : functions_(&functions), rmsOffset_(rmsOffset), block_(block) {}

  /// Takes the stream's next samples, any number of them.
  void feed(std::span<const T> samples) {
    while (!samples.empty()) {
      if (waitingCount_ == 0 && samples.size() >= block_ && isAligned(samples.data())) {
        total_ = with(total_, samples.first(block_));
        samples = samples.subspan(block_);
        continue;
      }
      const auto part = samples.first(std::min(samples.size(), block_ - waitingCount_));
      waiting_.resize((block_ * sizeof(T) + sizeof(Aligned) - 1) / sizeof(Aligned));
      std::copy(part.begin(), part.end(), waitingSamples() + waitingCount_);
      waitingCount_ += part.size();
      samples = samples.subspan(part.size());
      if (waitingCount_ == block_) {
        total_ = with(total_, {waitingSamples(), block_});
        waitingCount_ = 0;
      }
    }
  }

  /// Takes the next samples of one channel of interleaved frames, and leaves them one after the other in `channel`.
  /// @param first     the channel's sample in the first frame.
  /// @param channels  number of channels.
  /// @param channel   as long as there are frames.
  void feedInterleaved(const T* first, size_t channels, std::span<T> channel) {
    if constexpr (std::is_same_v<T, int16_t>) {
      // One kernel does both: it adds up as the other one does from the destination's boundaries on.
      while (channels > 1 && waitingCount_ == 0 && channel.size() >= block_ && isAligned(channel.data())) {
        total_ = with(total_, channel.first(block_), *first, [&](auto... results) {
          functions_->kxcalcMoveAndGetMinMaxAveRMS_int16_t(channel.data(), first, static_cast<uint32_t>(block_),
                                                           results..., rmsOffset_, static_cast<int32_t>(channels));
        });
        first += channels * block_;
        channel = channel.subspan(block_);
      }
    }
    for (T& sample : channel) {
      sample = *first;
      first += channels;
    }
    feed(channel);
  }

  uint64_t samples() const { return total_.samples + waitingCount_; }

  uint64_t nanSamples() const { return total().nanSamples; }

  /// Extremes, NaN without samples, and with any NaN among them: a NaN hides other samples of its block from the
  /// kernels.
  double minimum() const { return total().extreme(&Total::minimum); }
  double maximum() const { return total().extreme(&Total::maximum); }

  /// Mean of the samples, NaN without samples.
  double average() const { return total().sum / static_cast<double>(samples()); }

  /// Mean of (sample + rmsOffset) squared, NaN without samples.
  double meanSquare() const { return total().sumOfSquares / static_cast<double>(samples()); }

private:
  struct Total {
    T minimum{};
    T maximum{};
    double sum = 0;
    double sumOfSquares = 0;
    uint64_t samples = 0;
    uint64_t nanSamples = 0;

    double extreme(T Total::*value) const {
      return samples == 0 || nanSamples > 0 ? std::numeric_limits<double>::quiet_NaN()
                                            : static_cast<double>(this->*value);
    }
  };

  struct alignas(16) Aligned {
    std::array<T, 16 / sizeof(T)> samples;
  };

  static bool isAligned(const T* samples) { return reinterpret_cast<std::uintptr_t>(samples) % alignof(Aligned) == 0; }

  static auto kernel(const Functions& functions) {
    if constexpr (std::is_same_v<T, int16_t>) {
      return functions.kxcalcGetMinMaxAveRMS_int16_t;
    } else if constexpr (std::is_same_v<T, int32_t>) {
      return functions.kxcalcGetMinMaxAveRMS_int32_t;
    } else if constexpr (std::is_same_v<T, float>) {
      return functions.kxcalcGetMinMaxAveRMS_float;
    } else {
      return functions.kxcalcGetMinMaxAveRMS_double;
    }
  }

  T* waitingSamples() { return waiting_.front().samples.data(); }

  /// Of all samples so far.
  Total total() const {
    return waitingCount_ == 0 ? total_ : with(total_, {waiting_.front().samples.data(), waitingCount_});
  }

  Total with(const Total& total, std::span<const T> block) const {
    return with(total, block, block.front(), [&](auto... results) {
      kernel (*functions_)(block.data(), static_cast<uint32_t>(block.size()), results..., rmsOffset_);
    });
  }

  /// The kernels merge the extremes of some blocks with the values they are passed, but overwrite those with the
  /// extremes of others. With the block's own first sample as start value either way gives the extremes of this block
  /// alone. The sums need no such care: they are always added to.
  template <class Kernel>
  static Total with(Total total, std::span<const T> block, T first, Kernel kernel) {
    T minimum = first, maximum = first;
    kernel(&minimum, &maximum, &total.sum, &total.sumOfSquares);
    total.minimum = total.samples == 0 ? minimum : std::min(total.minimum, minimum);
    total.maximum = total.samples == 0 ? maximum : std::max(total.maximum, maximum);
    total.samples += block.size();
    if constexpr (std::is_floating_point_v<T>) {
      total.nanSamples +=
          static_cast<uint64_t>(std::count_if(block.begin(), block.end(), [](T sample) { return std::isnan(sample); }));
    }
    return total;
  }

  const Functions* functions_;
  RmsOffset<T> rmsOffset_;
  size_t block_;
  Total total_;  // of the complete blocks
  std::vector<Aligned> waiting_;
  size_t waitingCount_ = 0;
};

/// The rmsOffset for the RMS of the alternating part: minus the average, for 16-bit samples to the nearest whole
/// number, with which the kernels are fastest and the sums exact.
template <class T>
RmsOffset<T> alternatingOffset(double average) {
  return static_cast<RmsOffset<T>>(-(std::is_same_v<T, int16_t> ? std::round(average) : average));
}

/// RMS of the alternating part from statistics about an offset near -average: the mean square about any point is the
/// one about the average plus the square of the distance, which takes the offset's rounding out again.
template <class T>
double alternatingRms(const Statistics<T>& aboutOffset, RmsOffset<T> offset) {
  const double distance = aboutOffset.average() + static_cast<double>(offset);
  const double meanSquare = aboutOffset.meanSquare() - distance * distance;
  return meanSquare < 0 ? 0 : std::sqrt(meanSquare);
}

}  // namespace kxanalysis
