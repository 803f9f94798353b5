#include "analysis/power/cycle_windows.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace kxanalysis {
namespace {

constexpr double usualNominal = 50;
constexpr double mostMovement = 0.002;   // of the frequency in a window, relative
constexpr double isTheSample = 1e-6;     // so near to a sample, in samples, is at it
constexpr double enoughOfASample = 0.5;  // that may lack at the end

double toSample(double position) {
  const double nearest = std::round(position);
  return std::abs(position - nearest) <= isTheSample ? nearest : position;
}

/// The least even number from one on without prime factors above 5: transforms of such lengths are the quick ones.
size_t quickLength(size_t least) {
  for (size_t length = least + least % 2;; length += 2) {
    size_t rest = length;
    for (const size_t factor : {2U, 3U, 5U}) {
      while (rest % factor == 0) {
        rest /= factor;
      }
    }
    if (rest == 1) {
      return length;
    }
  }
}

/// In four sums: additions that wait for each other would take most of the time.
/// @param weights  of an even reach, so that they come in fours.
double weightedSum(std::span<const double> weights, const double* samples) {
  constexpr size_t lanes = 4;
  std::array<double, lanes> sums{};
  for (size_t k = 0; k < weights.size(); k += lanes) {
    for (size_t lane = 0; lane < lanes; ++lane) {
      sums[lane] += weights[k + lane] * samples[k + lane];
    }
  }
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

}  // namespace

Result<CycleWindows> CycleWindows::create(const CycleSettings& settings, size_t voltages) {
  const double nominal = settings.nominal.value_or(usualNominal);
  if (!(settings.rate > 0 && std::isfinite(settings.rate))) {
    return unsuitable("rate", settings.rate, "it is above 0 Hz");
  }
  if (!(nominal > 0 && std::isfinite(nominal))) {
    return unsuitable("frequency", nominal, "it is above 0 Hz");
  }
  if (settings.cycles.value_or(1) < 1) {
    return unsuitable("cycles", *settings.cycles, "a window has at least 1");
  }
  const FrequencyRange range = settings.nominal ? rangeAround(nominal) : mainsRange;
  const int cycles = settings.cycles.value_or(usualCycles(nominal));
  if (cycles * settings.rate / range.lowest > longestWindow) {
    return unsuitable("cycles", cycles, "a window would have more than 16777216 samples");
  }
  auto frequency = MainsFrequency::create(settings.rate, range, nominal);
  return CycleWindows(settings, voltages, frequency ? std::optional(std::move(*frequency)) : std::nullopt);
}

CycleWindows::CycleWindows(const CycleSettings& settings, size_t voltages, std::optional<MainsFrequency> frequency)
    : rate_(settings.rate),
      nominal_(settings.nominal.value_or(usualNominal)),
      cycles_(settings.cycles.value_or(usualCycles(nominal_))),
      isNominalSet_(settings.nominal.has_value()),
      areCyclesSet_(settings.cycles.has_value()),
      voltages_(voltages),
      frequency_(std::move(frequency)) {}

std::span<const CycleWindow> CycleWindows::feed(std::span<const std::vector<double>> channels) {
  windows_.clear();
  added_.clear();
  waiting_.resize(channels.size());
  for (size_t i = 0; i < channels.size(); ++i) {
    waiting_[i].insert(waiting_[i].end(), channels[i].begin(), channels[i].end());
  }
  total_ += channels[0].size();
  if (frequency_) {
    follow(frequency_->feed(channels.first(voltages_)));
  } else {
    const auto end = static_cast<double>(total_);
    follow(std::array{FrequencyStretch{end - static_cast<double>(channels[0].size()), end, nominal_, false, false}});
  }
  cutAll();
  return windows_;
}

std::span<const CycleWindow> CycleWindows::finish() {
  windows_.clear();
  added_.clear();
  isEnding_ = true;
  if (frequency_) {
    follow(frequency_->finish());
  }
  if (!stretches_.empty()) {
    stretches_.back().end += enoughOfASample;
  }
  cutAll();
  return windows_;
}

void CycleWindows::follow(std::span<const FrequencyStretch> stretches) {
  added_.assign(stretches.begin(), stretches.end());
  stretches_.insert(stretches_.end(), stretches.begin(), stretches.end());
  if (begin_ == 0 && !stretches_.empty()) {
    settle();
  }
}

/// The first stretch tells what is not set.
void CycleWindows::settle() {
  constexpr double mains50 = 50, mains60 = 60;
  const FrequencyStretch& first = stretches_.front();
  if (!isNominalSet_) {
    nominal_ = usualCycles(first.frequency) == usualCycles(mains50) ? mains50 : mains60;
  }
  if (!areCyclesSet_) {
    cycles_ = usualCycles(nominal_);
  }
}

void CycleWindows::cutAll() {
  for (auto window = nextWindow(); window; window = nextWindow()) {
    takeReachFor(window->frequency);
    const double needed = window->begin + window->length + static_cast<double>(between_.reach());
    if (!isEnding_ && needed > static_cast<double>(total_)) {
      return;
    }
    fill(*window);
    begin_ = toSample(window->begin + window->length);
    windows_.push_back(std::move(*window));
    forget();
  }
}

/// Where the next window lies, if the frequency is known to its end.
std::optional<CycleWindow> CycleWindows::nextWindow() const {
  constexpr double aSample = 1;
  CycleWindow window;
  window.begin = begin_;
  double left = cycles_, lowest = std::numeric_limits<double>::infinity(), highest = 0;
  bool isSeen = true, isAnySeen = false;
  for (const FrequencyStretch& stretch : stretches_) {
    const double begin = std::max(begin_, stretch.begin), cyclesASample = stretch.frequency / rate_;
    const double samples = std::min(stretch.end - begin, left / cyclesASample);
    if (samples >= aSample) {
      lowest = std::min(lowest, stretch.frequency);
      highest = std::max(highest, stretch.frequency);
      isSeen = isSeen && stretch.isSeen;
      isAnySeen = isAnySeen || stretch.isSeen;
    }
    left -= samples * cyclesASample;
    if (stretch.end - begin > samples || left <= 0) {
      window.length = toSample(begin + samples - begin_);
      window.frequency = cycles_ * rate_ / window.length;
      window.isSeen = isSeen;
      window.hasMoved = highest - lowest > mostMovement * lowest;
      if (!isAnySeen) {
        keepToSamples(window);
      }
      return window;
    }
  }
  return std::nullopt;
}

void CycleWindows::keepToSamples(CycleWindow& window) const {
  window.begin = std::round(window.begin);
  window.length = std::round(window.length);
}

/// Reaches so far that the highest order below half of the sample rate is kept, up to the 51st, where the groups of 50
/// orders end; and takes no fewer samples than a window has in the stream.
void CycleWindows::takeReachFor(double frequency) {
  constexpr double mostOrders = 51, leastReach = 32, mostReach = 512, change = 0.005;
  constexpr size_t leastCount = 2;
  if (std::abs(reachFrequency_ / frequency - 1) <= change) {
    return;
  }
  reachFrequency_ = frequency;
  count_ = quickLength(std::max(leastCount, static_cast<size_t>(std::lround(cycles_ * rate_ / frequency))));
  const double order = frequency / rate_, highest = BetweenSamples::highestFrequency(mostReach);
  const double kept = order * std::clamp(std::floor(highest / order), 1.0, mostOrders);
  const double needed = BetweenSamples::reachFor(std::min(kept, highest));
  const double reach = std::clamp(2 * std::ceil(needed / 2), leastReach, mostReach);  // even
  between_ = BetweenSamples(static_cast<size_t>(reach));
  highestFrequency_ = rate_ * BetweenSamples::highestFrequency(reach);
}

void CycleWindows::fill(CycleWindow& window) {
  const bool isOfSamples = window.begin == std::round(window.begin) && window.length == std::round(window.length);
  const size_t count = isOfSamples ? static_cast<size_t>(window.length) : count_;
  const size_t reach = isOfSamples ? 0 : between_.reach();
  window.highestFrequency = isOfSamples ? rate_ / 2 : highestFrequency_;
  std::vector<std::vector<double>> around;
  for (const std::vector<double>& channel : waiting_) {
    around.push_back(surroundings(channel, window, reach));
    window.samples.emplace_back(count);
  }
  const double first = std::floor(window.begin), step = window.length / static_cast<double>(count);
  for (size_t i = 0; i < count; ++i) {
    if (isOfSamples) {
      for (size_t channel = 0; channel < around.size(); ++channel) {
        window.samples[channel][i] = around[channel][i];
      }
      continue;
    }
    const double position = window.begin - first + step * static_cast<double>(i), before = std::floor(position);
    const std::span<const double> weights = between_.weightsAt(position - before);
    for (size_t channel = 0; channel < around.size(); ++channel) {
      const double* const samples = around[channel].data() + static_cast<size_t>(before) + 1;
      window.samples[channel][i] = weightedSum(weights, samples);
    }
  }
}

/// A window's samples from `reach` before its first one to as many behind its last one. Beyond the ends of the stream the
/// window repeats itself.
std::vector<double> CycleWindows::surroundings(const std::vector<double>& channel, const CycleWindow& window,
                                               size_t reach) const {
  const auto first = static_cast<std::ptrdiff_t>(std::floor(window.begin));
  const auto margin = static_cast<std::ptrdiff_t>(reach), end = static_cast<std::ptrdiff_t>(total_);
  const std::ptrdiff_t period = std::min(static_cast<std::ptrdiff_t>(std::lround(window.length)), end);
  std::vector<double> samples;
  const auto last = first + static_cast<std::ptrdiff_t>(std::ceil(window.length)) + 1;
  for (std::ptrdiff_t i = first - margin; i < last + margin; ++i) {
    std::ptrdiff_t from = i;
    while (from < 0) {
      from += period;
    }
    while (from >= end) {
      from -= period;
    }
    samples.push_back(channel[static_cast<size_t>(from) - dropped_]);
  }
  return samples;
}

/// What lies so far before the next window that it is no neighbour of its samples.
void CycleWindows::forget() {
  while (!stretches_.empty() && stretches_.front().end <= begin_) {
    stretches_.pop_front();
  }
  constexpr size_t farthest = 512;
  const auto begin = static_cast<size_t>(begin_);
  const size_t kept = begin - std::min(begin, farthest);
  for (std::vector<double>& channel : waiting_) {
    channel.erase(channel.begin(), channel.begin() + static_cast<std::ptrdiff_t>(kept - dropped_));
  }
  dropped_ = kept;
}

}  // namespace kxanalysis
