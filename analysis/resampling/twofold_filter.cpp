#include "analysis/resampling/twofold_filter.hpp"

namespace kxanalysis {
namespace {

/// A convolution takes the coefficients of the latest sample first.
std::vector<double> responseAt(const KaiserSinc& sinc, double phase) {
  const std::vector<double> coefficients = sinc.coefficientsAt(phase);
  return {coefficients.rbegin(), coefficients.rend()};
}

OverlapSave convolutionFor(RateStep step, const KaiserSinc& sinc) {
  return step == RateStep::twice ? OverlapSave({responseAt(sinc, 0), responseAt(sinc, 0.5)})
                                 : OverlapSave({responseAt(sinc, 0)}, 2);
}

}  // namespace

TwofoldFilter::TwofoldFilter(RateStep step, Transition transition)
    : step_(step), half_(KaiserSinc(transition).half()), convolution_(convolutionFor(step, KaiserSinc(transition))) {}

void TwofoldFilter::feed(std::span<const double> samples, std::vector<double>& outputs) {
  if (samples.empty()) {
    return;
  }
  if (isEmpty_) {
    repeat(samples.front(), half_ - 1, outputs);
    isEmpty_ = false;
  }
  convolution_.feed(samples, outputs);
  last_ = samples.back();
}

void TwofoldFilter::finish(std::vector<double>& outputs) {
  if (isEmpty_) {
    return;
  }
  const bool isHalf = step_ == RateStep::half;  // whose last output may lie behind the last sample
  repeat(last_, half_ + (isHalf ? 1 : 0), outputs);
  convolution_.finish(outputs);
  if (!isHalf) {  // the last one lies half a sample behind the last sample
    outputs.pop_back();
  }
}

void TwofoldFilter::repeat(double sample, size_t times, std::vector<double>& outputs) {
  const std::vector<double> samples(times, sample);
  convolution_.feed(std::span(samples), outputs);
}

}  // namespace kxanalysis
