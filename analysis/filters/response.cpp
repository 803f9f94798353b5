#include "analysis/filters/response.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "analysis/filters/white_noise.hpp"
#include "analysis/spectra/real_transform.hpp"

namespace kxanalysis {
namespace {

constexpr int noises = 4;
constexpr int periodsToSettle = 2;

/// Adds the power in each bin of a signal's spectrum.
void addPower(RealTransform& transform, std::span<const double> samples, std::vector<double>& power) {
  const auto bins = transform.transform(samples);
  for (size_t i = 0; i < bins.size(); ++i) {
    power[i] += std::norm(bins[i]);
  }
}

void append(std::vector<double>& all, std::span<const double> part) {
  all.insert(all.end(), part.begin(), part.end());
}

/// Calls found(left, right) for the neighbouring points between which a curve passes a level.
template <class Found>
void forEachCrossing(std::span<const LevelPoint> curve, double level, Found found) {
  for (size_t i = 1; i < curve.size(); ++i) {
    if ((curve[i - 1].decibels < level) != (curve[i].decibels < level)) {
      found(curve[i - 1], curve[i]);
    }
  }
}

}  // namespace

Result<std::vector<LevelPoint>> measuredResponse(FilteredStream& filter, size_t period, double rate) {
  if (period < 2) {
    return unsuitable("period", static_cast<double>(period), "at least 2 samples are needed");
  }
  if (!(rate > 0 && std::isfinite(rate))) {
    return unsuitable("rate", rate, "it is above 0 Hz");
  }
  auto transform = RealTransform::create(period);
  if (!transform) {
    return Problem{transform.problem()};
  }
  std::vector<double> sent(transform->binCount()), received(transform->binCount());
  std::vector<double> noise(period), output;
  WhiteNoise source(1);
  for (int i = 0; i < noises; ++i) {
    std::ranges::generate(noise, [&] { return source.next(); });
    output.clear();
    for (int repetition = 0; repetition <= periodsToSettle; ++repetition) {
      append(output, filter.feed(std::span(std::as_const(noise))));
    }
    append(output, filter.finish());
    addPower(*transform, noise, sent);
    addPower(*transform, std::span(output).last(period), received);
  }
  std::vector<LevelPoint> curve;
  for (size_t i = 1; i < sent.size(); ++i) {
    curve.push_back(
        {static_cast<double>(i) * rate / static_cast<double>(period), 10 * std::log10(received[i] / sent[i])});
  }
  return curve;
}

std::optional<size_t> periodFor(const FilterDesign& design, const PassBand& band) {
  constexpr size_t shortest = size_t{1} << 14, longest = size_t{1} << 20;
  if (const auto* coefficients = std::get_if<std::vector<float>>(&design)) {
    return std::bit_ceil(std::clamp(8 * coefficients->size(), shortest, longest));
  }
  // Many bins below the lowest edge and across the band, which is also the time that it takes to settle.
  double finest = band.high - band.low;
  for (const double edge : {band.low, band.high}) {
    finest = edge > 0 ? std::min(finest, edge) : finest;
  }
  constexpr double wanted = 128, needed = 16;  // bins
  if (finest * static_cast<double>(longest) < needed) {
    return std::nullopt;
  }
  const double samples = std::min(wanted / finest, static_cast<double>(longest));
  return std::bit_ceil(std::max(static_cast<size_t>(samples), shortest));
}

std::vector<double> crossings(std::span<const LevelPoint> curve, double level) {
  std::vector<double> found;
  forEachCrossing(curve, level, [&](const LevelPoint& left, const LevelPoint& right) {
    const double share = (level - left.decibels) / (right.decibels - left.decibels);
    found.push_back(left.frequency * std::pow(right.frequency / left.frequency, share));
  });
  return found;
}

std::vector<double> crossings(std::span<const LevelPoint> curve, double level,
                              const std::function<double(double)>& gain) {
  std::vector<double> found;
  forEachCrossing(curve, level, [&](const LevelPoint& left, const LevelPoint& right) {
    double low = left.frequency, high = right.frequency;
    const bool isBelowAtLow = left.decibels < level;
    for (int step = 0; step < 60; ++step) {
      const double middle = (low + high) / 2;
      (gain(middle) < level) == isBelowAtLow ? low = middle : high = middle;
    }
    found.push_back((low + high) / 2);
  });
  return found;
}

}  // namespace kxanalysis
