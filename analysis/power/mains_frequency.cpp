#include "analysis/power/mains_frequency.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace kxanalysis {
namespace {

constexpr double leastShare = 0.25;   // of the fundamental in all alternating power
constexpr double mostChange = 0.015;  // of the fundamental's power from segment to segment
constexpr double whileSought = 1e-7;  // relative: so near must a frequency be to the one that it was measured by
constexpr double whileFollowed = 1e-4;

}  // namespace

Result<MainsFrequency> MainsFrequency::create(double rate, FrequencyRange range, double fallback) {
  if (!(range.lowest > 0 && range.lowest < range.highest)) {
    return unsuitable("lowest", range.lowest, "it is above 0 Hz and below the highest frequency");
  }
  if (!(rate >= 2.5 * range.highest && std::isfinite(rate))) {
    return unsuitable("rate", rate, "2.5 times the highest frequency is needed");
  }
  if (!(fallback > 0 && std::isfinite(fallback))) {
    return unsuitable("fallback", fallback, "it is above 0 Hz");
  }
  return MainsFrequency(rate, range, fallback);
}

MainsFrequency::MainsFrequency(double rate, FrequencyRange range, double fallback)
    : rate_(rate), range_(range), frequency_(fallback) {
  takeSegmentsOf(std::sqrt(range.lowest * range.highest));
}

/// Five cycles or six, of which the better ones fit the samples, or as many more as make up 64 samples.
void MainsFrequency::takeSegmentsOf(double frequency) {
  constexpr double five = 5, six = 6, leastSamples = 64;
  const auto misfit = [&](double cycles) {
    const double samples = cycles * rate_ / frequency;
    return std::abs(samples - std::round(samples));
  };
  constexpr double rounding = 1e-3;
  const double cycles =
      std::max(misfit(five) <= misfit(six) + rounding ? five : six, std::ceil(leastSamples * frequency / rate_));
  length_ = static_cast<size_t>(std::lround(cycles * rate_ / frequency));
  hop_ = length_ / 2;
  weights_.resize(length_);
  double sum = 0;
  for (size_t i = 0; i < length_; ++i) {
    const double sine = std::sin(std::numbers::pi * (static_cast<double>(i) + 0.5) / static_cast<double>(length_));
    weights_[i] = sine * sine * sine * sine;
    sum += weights_[i];
  }
  for (double& weight : weights_) {
    weight /= sum;
  }
  rotationFrequency_ = 0;
}

/// Prepares phasors that are seen from the middle of a segment.
void MainsFrequency::turnBy(double frequency) {
  if (frequency == rotationFrequency_) {
    return;
  }
  rotationFrequency_ = frequency;
  rotation_.resize(length_);
  rotationSum_ = 0;
  const double middle = (static_cast<double>(length_) - 1) / 2;
  for (size_t i = 0; i < length_; ++i) {
    rotation_[i] =
        std::polar(weights_[i], -2 * std::numbers::pi * frequency / rate_ * (static_cast<double>(i) - middle));
    rotationSum_ += rotation_[i];
  }
}

MainsFrequency::Content MainsFrequency::contentOf(std::span<const double> segment) const {
  double real = 0, imaginary = 0, mean = 0, square = 0;
  for (size_t i = 0; i < length_; ++i) {
    real += segment[i] * rotation_[i].real();
    imaginary += segment[i] * rotation_[i].imag();
    mean += segment[i] * weights_[i];
    square += segment[i] * segment[i] * weights_[i];
  }
  constexpr double rounding = 1e-10;
  const double power = square - mean * mean;
  return {Phasor(real, imaginary) - mean * rotationSum_, power <= rounding * square ? 0 : power};
}

/// The frequency from two segments, the first of which begins at a sample; nothing where the mains is not to be seen.
/// @param guess     less than a cycle between the segments away.
/// @param accuracy  how near the guess has to be in the end, relative.
std::optional<MainsFrequency::Reading> MainsFrequency::readingAt(size_t begin, double guess, double accuracy) {
  constexpr int mostRounds = 8;
  for (int round = 0; round < mostRounds; ++round) {
    turnBy(guess);
    Phasor product;
    double earlyPower = 0, latePower = 0, earlyTotal = 0, lateTotal = 0;
    for (const std::vector<double>& voltage : waiting_) {
      const auto early = std::span(voltage).subspan(begin - dropped_, length_);
      const auto late = std::span(voltage).subspan(begin - dropped_ + hop_, length_);
      const Content first = contentOf(early), second = contentOf(late);
      if (!std::isfinite(first.power + second.power)) {
        continue;  // samples are missing
      }
      product += second.fundamental * std::conj(first.fundamental);
      earlyPower += 2 * std::norm(first.fundamental);
      latePower += 2 * std::norm(second.fundamental);
      earlyTotal += first.power;
      lateTotal += second.power;
    }
    const bool isSeen =
        earlyTotal > 0 && lateTotal > 0 && earlyPower >= leastShare * earlyTotal && latePower >= leastShare * lateTotal;
    if (!isSeen) {
      return std::nullopt;
    }
    const double seconds = static_cast<double>(hop_) / rate_, turn = 2 * std::numbers::pi;
    const double frequency = guess + std::arg(product * std::polar(1.0, -turn * guess * seconds)) / (turn * seconds);
    constexpr double outside = 0.01;
    if (!(frequency >= (1 - outside) * range_.lowest && frequency <= (1 + outside) * range_.highest)) {
      return std::nullopt;
    }
    if (std::abs(frequency - guess) <= accuracy * guess) {
      return Reading{frequency, std::abs(latePower - earlyPower) <= mostChange * std::max(earlyPower, latePower)};
    }
    guess = frequency;
  }
  return std::nullopt;
}

/// Begins at the strongest of frequencies that lie half a bin apart.
std::optional<MainsFrequency::Reading> MainsFrequency::search(size_t begin) {
  const double step = rate_ / static_cast<double>(2 * length_);
  double strongest = 0, guess = range_.lowest;
  for (double frequency = range_.lowest; frequency < range_.highest + step; frequency += step) {
    turnBy(frequency);
    double power = 0;
    for (const std::vector<double>& voltage : waiting_) {
      const double part = std::norm(contentOf(std::span(voltage).subspan(begin - dropped_, length_)).fundamental);
      power += std::isfinite(part) ? part : 0;
    }
    if (power > strongest) {
      strongest = power;
      guess = frequency;
    }
  }
  return readingAt(begin, std::min(guess, range_.highest), whileSought);
}

double MainsFrequency::recentFrequency() const {
  return recent_.empty() ? frequency_
                         : std::accumulate(recent_.begin(), recent_.end(), 0.0) / static_cast<double>(recent_.size());
}

void MainsFrequency::stretchTo(double end, bool isSeen, bool isMeasured) {
  stretches_.push_back({end_, end, isMeasured ? frequency_ : recentFrequency(), isSeen, isMeasured});
  end_ = end;
  isMeasured_ = isMeasured;
}

/// Goes on by the two segments from a sample on. Returns false where the first frequency that was found changes their
/// length, so that they are to be taken again.
bool MainsFrequency::step(size_t begin) {
  const bool isTurned = std::abs(rotationFrequency_ - frequency_) <= whileFollowed * frequency_;
  std::optional<Reading> reading =
      isFollowed_ ? readingAt(begin, isTurned ? rotationFrequency_ : frequency_, whileFollowed) : std::nullopt;
  if (!reading) {
    reading = search(begin);
  }
  isFollowed_ = reading.has_value();
  if (reading && !isKnown_) {
    isKnown_ = true;
    isFollowed_ = false;  // with the new segments it is sought once more, for the sake of accuracy
    frequency_ = reading->frequency;
    takeSegmentsOf(frequency_);
    return false;
  }
  const bool isMeasured = reading && reading->isSteady;
  if (isMeasured) {
    constexpr size_t mostRecent = 4;
    frequency_ = reading->frequency;
    recent_.push_back(frequency_);
    if (recent_.size() > mostRecent) {
      recent_.erase(recent_.begin());
    }
  }
  stretchTo(static_cast<double>(begin + hop_) + static_cast<double>(length_) / 2, isFollowed_, isMeasured);
  return true;
}

std::span<const FrequencyStretch> MainsFrequency::feed(std::span<const std::vector<double>> voltages) {
  stretches_.clear();
  waiting_.resize(voltages.size());
  for (size_t i = 0; i < voltages.size(); ++i) {
    waiting_[i].insert(waiting_[i].end(), voltages[i].begin(), voltages[i].end());
  }
  while (begin_ + hop_ + length_ <= dropped_ + waiting_[0].size()) {
    if (step(begin_)) {
      begin_ += hop_;
    }
  }
  // The last two segments of all begin less than a hop before those that are still incomplete.
  forget(begin_ - std::min(begin_, hop_));
  return stretches_;
}

std::span<const FrequencyStretch> MainsFrequency::finish() {
  stretches_.clear();
  const size_t total = waiting_.empty() ? 0 : dropped_ + waiting_[0].size();
  if (isFollowed_ && begin_ + length_ < total) {
    step(total - hop_ - length_);
  }
  if (static_cast<double>(total) > end_) {
    stretchTo(static_cast<double>(total), isFollowed_, isMeasured_);
  }
  return stretches_;
}

void MainsFrequency::forget(size_t begin) {
  for (std::vector<double>& voltage : waiting_) {
    voltage.erase(voltage.begin(), voltage.begin() + static_cast<std::ptrdiff_t>(begin - dropped_));
  }
  dropped_ = begin;
}

}  // namespace kxanalysis
