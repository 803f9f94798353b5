// Percentiles of streams of any length, exactly and in bounded memory.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "analysis/problem.hpp"

namespace kxanalysis {

constexpr size_t mostPercentiles = 20;

/// Percentiles of a stream of int16_t, int32_t, float or double that is fed several times: in the first pass the
/// samples are counted by the upper 16 bits of their order, in each further one those by the next 16 whose upper bits
/// are those of a wanted sample. So the result is exact, and memory does not grow with the stream: half a megabyte for
/// each of the two samples of a percentile at most. A percentile is interpolated linearly between the samples on both
/// sides of (count - 1) percent / 100 in their order. NaNs do not count.
template <class T>
class Percentiles {
public:
  /// How often the stream is to be fed.
  static constexpr int passes = sizeof(T) / sizeof(uint16_t);

  /// @param percents  each from 0 to 100, mostPercentiles of them at most.
  static Result<Percentiles> create(std::vector<double> percents) {
    for (const double percent : percents) {
      if (!(percent >= 0 && percent <= 100)) {
        return unsuitable("percentile", percent, "it lies from 0 to 100");
      }
    }
    if (percents.size() > mostPercentiles) {
      return unsuitable("number of percentiles", static_cast<double>(percents.size()), "there are 20 at most");
    }
    return Percentiles(std::move(percents));
  }

  /// Takes the next samples of a pass. Splitting it into blocks changes nothing.
  void feed(std::span<const T> samples) {
    for (const T sample : samples) {
      if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(sample)) {
          continue;
        }
      }
      const Key key = keyOf(sample);
      const auto bucket = std::ranges::lower_bound(buckets_, upperBits(key), {}, &Bucket::upper);
      if (bucket != buckets_.end() && bucket->upper == upperBits(key)) {
        ++bucket->counts[digitOf(key)];
      }
    }
  }

  /// Ends a pass: the stream is fed again, unless it was the last one.
  void finishPass() {
    if (pass_ == 0) {
      setRanks();
    }
    for (Wanted& wanted : wanted_) {
      narrow(wanted);
    }
    ++pass_;
    buckets_.clear();
    for (const Wanted& wanted : wanted_) {
      if (pass_ < passes && std::ranges::find(buckets_, wanted.upper, &Bucket::upper) == buckets_.end()) {
        buckets_.push_back({wanted.upper, std::vector<uint64_t>(digits)});
      }
    }
    std::ranges::sort(buckets_, {}, &Bucket::upper);
  }

  /// In the order of the percents, after all passes; NaN without samples.
  std::vector<double> values() const {
    std::vector<double> values(percents_.size(), std::numeric_limits<double>::quiet_NaN());
    for (size_t i = 0; i < wanted_.size(); i += 2) {
      const double below = sampleOf(wanted_[i].upper), above = sampleOf(wanted_[i + 1].upper);
      const double share = shareOf(percents_[i / 2]);
      values[i / 2] = below == above || share == 0 ? below : below + (above - below) * share;
    }
    return values;
  }

private:
  using Key = std::conditional_t<sizeof(T) == sizeof(uint16_t), uint16_t,
                                 std::conditional_t<sizeof(T) == sizeof(uint32_t), uint32_t, uint64_t>>;

  static constexpr int bits = 16 * passes;
  static constexpr size_t digits = 65536;
  static constexpr Key signBit = static_cast<Key>(Key{1} << (bits - 1));

  /// Samples whose order begins with these bits, counted by the next 16 of them.
  struct Bucket {
    Key upper;
    std::vector<uint64_t> counts;
  };

  /// The sample that has `rank` others before it among those whose order begins with `upper`.
  struct Wanted {
    Key upper;
    uint64_t rank;
  };

  explicit Percentiles(std::vector<double> percents)
      : percents_(std::move(percents)), buckets_{{0, std::vector<uint64_t>(digits)}} {}

  /// Unsigned numbers in the order of the samples. Of floating-point numbers, whose bits are a sign and a magnitude,
  /// the negative ones are turned round; -0 stands right before 0.
  static Key keyOf(T sample) {
    const Key bitsOf = std::bit_cast<Key>(sample);
    if constexpr (std::is_floating_point_v<T>) {
      return static_cast<Key>((bitsOf & signBit) != 0 ? ~bitsOf : bitsOf | signBit);
    } else {
      return static_cast<Key>(bitsOf ^ signBit);
    }
  }

  static double sampleOf(Key key) {
    if constexpr (std::is_floating_point_v<T>) {
      const bool isNegative = (key & signBit) == 0;
      return static_cast<double>(std::bit_cast<T>(static_cast<Key>(isNegative ? ~key : key ^ signBit))) + 0.0;
    } else {
      return static_cast<double>(std::bit_cast<T>(static_cast<Key>(key ^ signBit)));
    }
  }

  /// What the passes before have told of a key, and what this one does.
  Key upperBits(Key key) const { return pass_ == 0 ? Key{0} : static_cast<Key>(key >> (bits - 16 * pass_)); }
  size_t digitOf(Key key) const { return static_cast<size_t>(key >> (bits - 16 * (pass_ + 1))) % digits; }

  /// Where a percentile lies between two samples.
  double positionOf(double percent) const { return static_cast<double>(count_ - 1) * (percent / 100); }
  double shareOf(double percent) const { return positionOf(percent) - std::floor(positionOf(percent)); }

  void setRanks() {
    count_ = 0;
    for (const uint64_t number : buckets_.front().counts) {
      count_ += number;
    }
    for (size_t i = 0; count_ > 0 && i < percents_.size(); ++i) {
      const auto rank = std::min(static_cast<uint64_t>(positionOf(percents_[i])), count_ - 1);
      wanted_.push_back({0, rank});
      wanted_.push_back({0, std::min(rank + 1, count_ - 1)});
    }
  }

  /// Finds the wanted sample's next 16 bits.
  void narrow(Wanted& wanted) const {
    const Bucket& bucket = *std::ranges::find(buckets_, wanted.upper, &Bucket::upper);
    size_t digit = 0;
    while (wanted.rank >= bucket.counts[digit] && digit + 1 < digits) {  // beyond only if the stream has changed
      wanted.rank -= bucket.counts[digit];
      ++digit;
    }
    wanted.upper = static_cast<Key>((pass_ == 0 ? Key{0} : static_cast<Key>(wanted.upper << 16)) | digit);
  }

  std::vector<double> percents_;
  std::vector<Bucket> buckets_;  // in the order of their upper bits
  std::vector<Wanted> wanted_;   // two samples for each percentile
  uint64_t count_ = 0;
  int pass_ = 0;
};

}  // namespace kxanalysis
