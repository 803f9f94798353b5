#include "analysis/spectra/averaged_spectrum.hpp"

#include <algorithm>
#include <functional>
#include <numeric>
#include <utility>

namespace kxanalysis {

Result<AveragedSpectrum> AveragedSpectrum::create(const SpectrumSettings& settings) {
  const auto length = static_cast<double>(settings.length);
  if (settings.length < 2 || settings.length % 2 != 0) {
    return unsuitable("length", length, "segments have an even number of samples, at least 2");
  }
  if (settings.overlap >= settings.length) {
    return unsuitable("overlap", static_cast<double>(settings.overlap), "segments share fewer samples than they have");
  }
  auto transform = RealTransform::create(settings.length);
  if (!transform) {
    return Problem{transform.problem()};
  }
  return AveragedSpectrum(settings, std::move(*transform));
}

AveragedSpectrum::AveragedSpectrum(const SpectrumSettings& settings, RealTransform transform)
    : settings_(settings),
      transform_(std::move(transform)),
      window_(weightsOf(settings.window, settings.length)),
      segment_(settings.length),
      power_(transform_.binCount()) {}

void AveragedSpectrum::feed(std::span<const double> samples) {
  while (!samples.empty()) {
    const size_t room = window_.size() - waiting_.size();
    const auto part = samples.first(std::min(room, samples.size()));
    waiting_.insert(waiting_.end(), part.begin(), part.end());
    samples = samples.subspan(part.size());
    if (waiting_.size() == window_.size()) {
      addSegment();
      waiting_.erase(waiting_.begin(), waiting_.end() - static_cast<std::ptrdiff_t>(settings_.overlap));
    }
  }
}

void AveragedSpectrum::addSegment() {
  if (settings_.removesAverage) {
    const double sum = std::accumulate(waiting_.begin(), waiting_.end(), 0.0);
    const double average = sum / static_cast<double>(waiting_.size());
    std::ranges::transform(waiting_, window_, segment_.begin(),
                           [=](double sample, double weight) { return (sample - average) * weight; });
  } else {
    std::ranges::transform(waiting_, window_, segment_.begin(), std::multiplies());
  }
  const auto bins = transform_.transform(segment_);
  for (size_t i = 0; i < bins.size(); ++i) {
    power_[i] += std::norm(bins[i]);
  }
  ++segments_;
}

/// All bins but the first and the last one stand for two frequencies.
std::vector<double> AveragedSpectrum::powersTimes(double factor) const {
  std::vector<double> powers(power_);
  for (double& power : powers) {
    power *= 2 * factor / static_cast<double>(segments_);
  }
  powers.front() /= 2;
  powers.back() /= 2;
  return powers;
}

std::vector<double> AveragedSpectrum::density(double rate) const {
  const double windowPower = std::inner_product(window_.begin(), window_.end(), window_.begin(), 0.0);
  return powersTimes(1 / (windowPower * rate));
}

std::vector<double> AveragedSpectrum::meanSquares() const {
  const double gain = std::accumulate(window_.begin(), window_.end(), 0.0);
  return powersTimes(1 / (gain * gain));
}

}  // namespace kxanalysis
