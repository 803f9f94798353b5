#include "analysis/resampling/polyphase_filter.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "analysis/lanes.hpp"

namespace kxanalysis {
namespace {

/// Parabolas through coefficients that are 1 / 1200 of a cycle of the edge apart miss them by less than -160 dB: of a sine
/// whose phase moves by w from one to the next, by w^3 / 16 at most.
constexpr double rowsACycle = 1200;

/// Of vectors that are whole blocks.
double dotProduct(const double* samples, const double* coefficients, size_t count) {
  Lanes even{}, odd{};
  for (size_t i = 0; i < count; i += KaiserSinc::blockLength) {
    even += load(samples + i) * load(coefficients + i);
    odd += load(samples + i + laneCount) * load(coefficients + i + laneCount);
  }
  const Lanes sum = even + odd;
  return sum[0] + sum[1];
}

/// The sum of the dot products with three rows of coefficients, times their weights.
double weightedDotProduct(const double* samples, const double* rows, size_t count,
                          const std::array<double, 3>& weights) {
  const double *first = rows, *second = rows + count, *third = rows + 2 * count;
  Lanes a{}, b{}, c{};
  for (size_t i = 0; i < count; i += laneCount) {
    const Lanes pair = load(samples + i);
    a += pair * load(first + i);
    b += pair * load(second + i);
    c += pair * load(third + i);
  }
  const Lanes sum = weights[0] * a + weights[1] * b + weights[2] * c;
  return sum[0] + sum[1];
}

/// Weights of three values side by side, in Lagrange's parabola through them, at a place from -1 (the first) to 1 (the third).
std::array<double, 3> parabolaWeights(double x) {
  return {x * (x - 1) / 2, (1 - x) * (1 + x), x * (x + 1) / 2};
}

}  // namespace

PolyphaseFilter::PolyphaseFilter(RateRatio ratio, Transition transition) : next_(ratio) {
  const KaiserSinc sinc(transition);
  half_ = sinc.half();
  length_ = sinc.length();
  const auto outputs = static_cast<double>(ratio.outputs);
  isInterpolated_ = ratio.outputs > mostCoefficients / length_;
  const double phases = isInterpolated_ ? std::ceil(rowsACycle * transition.edge()) : outputs;
  rowsAPart_ = phases / outputs;
  const int behind = static_cast<int>(phases) + (isInterpolated_ ? 2 : 0);
  for (int row = isInterpolated_ ? -1 : 0; row < behind; ++row) {
    const std::vector<double> coefficients = sinc.coefficientsAt(row / phases);
    rows_.insert(rows_.end(), coefficients.begin(), coefficients.end());
  }
}

void PolyphaseFilter::feed(std::span<const double> samples, std::vector<double>& outputs) {
  if (samples.empty()) {
    return;
  }
  if (samples_ == 0) {
    window_.assign(half_ - 1, samples.front());
  }
  samples_ += samples.size();
  last_ = samples.back();
  window_.insert(window_.end(), samples.begin(), samples.end());
  for (; next_.input() + half_ < samples_; next_.advance()) {
    outputs.push_back(output());
  }
  const auto done = static_cast<size_t>(std::min<uint64_t>(next_.input() - begin_, window_.size()));
  window_.erase(window_.begin(), window_.begin() + static_cast<std::ptrdiff_t>(done));
  begin_ += done;
}

void PolyphaseFilter::finish(std::vector<double>& outputs) {
  if (samples_ == 0) {
    return;
  }
  bool isLast = false;
  for (; !isLast; next_.advance()) {
    isLast = next_.input() + 1 >= samples_;
    const auto needed = static_cast<size_t>(next_.input() - begin_ + length_);
    window_.resize(std::max(window_.size(), needed), last_);
    outputs.push_back(output());
  }
}

double PolyphaseFilter::output() const {
  const double* const samples = window_.data() + (next_.input() - begin_);
  if (!isInterpolated_) {
    return dotProduct(samples, rows_.data() + next_.fraction() * length_, length_);
  }
  const double place = static_cast<double>(next_.fraction()) * rowsAPart_ + 0.5;
  const auto nearest = static_cast<size_t>(place);  // row `nearest` of all is the one before it
  return weightedDotProduct(samples, rows_.data() + nearest * length_, length_,
                            parabolaWeights(place - 0.5 - static_cast<double>(nearest)));
}

}  // namespace kxanalysis
