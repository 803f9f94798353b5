#include "analysis/spectra/averaged_spectrum.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <utility>

namespace kxanalysis {

Result<AveragedSpectrum> AveragedSpectrum::create(size_t length) {
  if (length < 2 || length % 2 != 0) {
    return unsuitable("length", static_cast<double>(length), "segments have an even number of samples, at least 2");
  }
  auto transform = RealTransform::create(length);
  if (!transform) {
    return Problem{transform.problem()};
  }
  return AveragedSpectrum(std::move(*transform));
}

AveragedSpectrum::AveragedSpectrum(RealTransform transform)
    : transform_(std::move(transform)),
      window_(transform_.length()),
      segment_(transform_.length()),
      power_(transform_.binCount()) {
  for (size_t i = 0; i < window_.size(); ++i) {
    const double turn = static_cast<double>(i) / static_cast<double>(window_.size());
    window_[i] = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * turn);
  }
}

void AveragedSpectrum::feed(std::span<const double> samples) {
  while (!samples.empty()) {
    const size_t room = window_.size() - waiting_.size();
    const auto part = samples.first(std::min(room, samples.size()));
    waiting_.insert(waiting_.end(), part.begin(), part.end());
    samples = samples.subspan(part.size());
    if (waiting_.size() == window_.size()) {
      addSegment();
      waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(window_.size() / 2));
    }
  }
}

void AveragedSpectrum::addSegment() {
  std::ranges::transform(waiting_, window_, segment_.begin(), std::multiplies());
  const auto bins = transform_.transform(segment_);
  for (size_t i = 0; i < bins.size(); ++i) {
    power_[i] += std::norm(bins[i]);
  }
  ++segments_;
}

std::vector<double> AveragedSpectrum::density(double rate) const {
  double windowPower = 0;
  for (const double weight : window_) {
    windowPower += weight * weight;
  }
  std::vector<double> density(power_);
  for (double& value : density) {
    value *= 2 / (windowPower * rate * static_cast<double>(segments_));
  }
  return density;
}

}  // namespace kxanalysis
