// Statistics lines over recordings of any length: how a host calls the statistics kernels block by block.
#pragma once

#include <algorithm>
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

/// Minimum, maximum, sum and sum of squares of any number of blocks of one channel.
template <class T>
class Statistics {
public:
  /// @param rmsOffset  added to each sample before it is squared.
  explicit Statistics(RmsOffset<T> rmsOffset = 0) : rmsOffset_(rmsOffset) {}

  /// Adds a block of samples, which may be empty.
  void add(const Functions& functions, std::span<const T> samples) {
    if (samples.empty()) {
      return;
    }
    // The kernels merge the extremes of a short block with the values they are passed, but overwrite those with the
    // extremes of a longer one. With the block's own first sample as start value either way gives the extremes of this
    // block alone. The sums need no such care: they are always added to.
    Extremes block{samples.front(), samples.front()};
    kernel(functions)(samples.data(), static_cast<uint32_t>(samples.size()), &block.minimum, &block.maximum, &sum_,
                      &sumOfSquares_, rmsOffset_);
    merge(block, samples);
  }

  /// Adds one channel of a block of interleaved samples, and leaves its samples one after the other in `channel`.
  /// @param first     the channel's sample in the first frame.
  /// @param channels  number of channels.
  void addInterleaved(const Functions& functions, const T* first, size_t channels, std::span<T> channel) {
    if constexpr (std::is_same_v<T, int16_t>) {
      if (channel.empty()) {
        return;
      }
      // One kernel does both. It merges the extremes where it gathers (several channels) and overwrites them where it
      // reads contiguously (one channel, from 8 samples on); again the block's first sample makes no difference of
      // that.
      Extremes block{*first, *first};
      functions.kxcalcMoveAndGetMinMaxAveRMS_int16_t(channel.data(), first, static_cast<uint32_t>(channel.size()),
                                                     &block.minimum, &block.maximum, &sum_, &sumOfSquares_, rmsOffset_,
                                                     static_cast<int32_t>(channels));
      merge(block, channel);
    } else {
      for (T& sample : channel) {
        sample = *first;
        first += channels;
      }
      add(functions, channel);
    }
  }

  uint64_t samples() const { return samples_; }

  uint64_t nanSamples() const { return nanSamples_; }

  /// Extremes, NaN without samples, and with any NaN among them: a NaN hides other samples of its block from the
  /// kernels.
  double minimum() const { return extreme(total_.minimum); }
  double maximum() const { return extreme(total_.maximum); }

  /// Mean of the samples, NaN without samples.
  double average() const { return sum_ / static_cast<double>(samples_); }

  /// Mean of (sample + rmsOffset) squared, NaN without samples.
  double meanSquare() const { return sumOfSquares_ / static_cast<double>(samples_); }

private:
  struct Extremes {
    T minimum;
    T maximum;
  };

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

  void merge(const Extremes& block, std::span<const T> samples) {
    total_.minimum = samples_ == 0 ? block.minimum : std::min(total_.minimum, block.minimum);
    total_.maximum = samples_ == 0 ? block.maximum : std::max(total_.maximum, block.maximum);
    samples_ += samples.size();
    if constexpr (std::is_floating_point_v<T>) {
      nanSamples_ += static_cast<uint64_t>(
          std::count_if(samples.begin(), samples.end(), [](T sample) { return std::isnan(sample); }));
    }
  }

  double extreme(T value) const {
    return samples_ == 0 || nanSamples_ > 0 ? std::numeric_limits<double>::quiet_NaN() : static_cast<double>(value);
  }

  RmsOffset<T> rmsOffset_;
  Extremes total_{};
  double sum_ = 0;
  double sumOfSquares_ = 0;
  uint64_t samples_ = 0;
  uint64_t nanSamples_ = 0;
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

/// Minimum, maximum and RMS of one column of a picture.
struct EnvelopeColumn {
  double position;  ///< of its middle, in frames
  double minimum;
  double maximum;
  double rms;
};

/// A channel of known length as a row of columns, each over its share of the samples.
template <class T>
class Envelope {
public:
  Envelope(uint64_t frames, uint64_t columns) : frames_(frames), columns_(std::min(frames, columns)) {
    finished_.reserve(columns_);
  }

  void add(const Functions& functions, std::span<const T> samples) {
    while (!samples.empty() && finished_.size() < columns_) {
      const uint64_t end = border(finished_.size() + 1);
      const auto part = samples.first(std::min<uint64_t>(samples.size(), end - position_));
      column_.add(functions, part);
      samples = samples.subspan(part.size());
      position_ += part.size();
      if (position_ == end) {
        finish();
      }
    }
  }

  const std::vector<EnvelopeColumn>& columns() const { return finished_; }

private:
  /// First frame of a column.
  uint64_t border(uint64_t column) const {
    return frames_ / columns_ * column + frames_ % columns_ * column / columns_;
  }

  void finish() {
    const double middle = static_cast<double>(position_) - static_cast<double>(column_.samples()) / 2;
    finished_.push_back({middle, column_.minimum(), column_.maximum(), std::sqrt(column_.meanSquare())});
    column_ = Statistics<T>();
  }

  uint64_t frames_;
  uint64_t columns_;
  uint64_t position_ = 0;
  Statistics<T> column_;
  std::vector<EnvelopeColumn> finished_;
};

}  // namespace kxanalysis
