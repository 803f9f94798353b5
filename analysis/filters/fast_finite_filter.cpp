#include "analysis/filters/fast_finite_filter.hpp"

#include <utility>

namespace kxanalysis {

Result<FastFiniteFilter> FastFiniteFilter::create(std::span<const float> coefficients) {
  if (coefficients.empty() || coefficients.size() > most) {
    return unsuitable("number of coefficients", static_cast<double>(coefficients.size()), "it is from 1 to 4194304");
  }
  return FastFiniteFilter(OverlapSave({std::vector<double>(coefficients.begin(), coefficients.end())}));
}

FastFiniteFilter::FastFiniteFilter(OverlapSave convolution) : convolution_(std::move(convolution)) {
  precedeWithSilence();
}

std::span<const double> FastFiniteFilter::finish() {
  outputs_.clear();
  convolution_.finish(outputs_);
  precedeWithSilence();
  return outputs_;
}

/// It completes no output.
void FastFiniteFilter::precedeWithSilence() {
  const std::vector<double> silence(convolution_.past());
  std::vector<double> none;
  convolution_.feed(std::span(silence), none);
}

}  // namespace kxanalysis
