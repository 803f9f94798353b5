// A channel of known length as a row of columns, for overviews.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include "analysis/statistics/statistics.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

/// Minimum, maximum and RMS of one column of a picture, in the unit of the samples.
struct EnvelopeColumn {
  double position;  ///< of its middle, in frames
  double minimum;
  double maximum;
  double rms;
};

/// Each column is over its share of the samples, which may be int16_t, int32_t, float or double.
template <class T>
class Envelope {
public:
  /// @param functions  they outlive the envelope.
  /// @param frames     of the channel; those beyond do not count.
  /// @param columns    wanted; there are no more than frames.
  Envelope(const Functions& functions, uint64_t frames, uint64_t columns)
      : functions_(&functions), frames_(frames), columns_(std::min(frames, columns)), column_(functions) {}

  /// Takes the channel's next samples. Splitting it into blocks changes nothing.
  void feed(std::span<const T> samples) {
    while (!samples.empty() && finished_.size() < columns_) {
      const uint64_t end = border(finished_.size() + 1);
      const auto part = samples.first(static_cast<size_t>(std::min<uint64_t>(samples.size(), end - position_)));
      column_.feed(part);
      samples = samples.subspan(part.size());
      position_ += part.size();
      if (position_ == end) {
        finishColumn();
      }
    }
  }

  /// Those that are complete.
  const std::vector<EnvelopeColumn>& columns() const { return finished_; }

private:
  /// First frame of a column.
  uint64_t border(uint64_t column) const {
    return frames_ / columns_ * column + frames_ % columns_ * column / columns_;
  }

  void finishColumn() {
    const double middle = static_cast<double>(position_) - static_cast<double>(column_.samples()) / 2;
    finished_.push_back({middle, column_.minimum(), column_.maximum(), std::sqrt(column_.meanSquare())});
    column_ = Statistics<T>(*functions_);
  }

  const Functions* functions_;
  uint64_t frames_;
  uint64_t columns_;
  uint64_t position_ = 0;
  Statistics<T> column_;
  std::vector<EnvelopeColumn> finished_;
};

}  // namespace kxanalysis
