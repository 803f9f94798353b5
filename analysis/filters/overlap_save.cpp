// The textbook's method (Oppenheim and Schafer, Discrete-Time Signal Processing, section 8.7.3): of a circular convolution of
// a block and of the values before it that its outputs take, those outputs are the linear convolution's. Responses are real,
// so that two blocks go through one transform, as real and as imaginary part, and stay apart.
#include "analysis/filters/overlap_save.hpp"

#include <algorithm>
#include <bit>

#include "analysis/lanes.hpp"
#include "analysis/spectra/convolution_transform.hpp"

namespace kxanalysis {
namespace {

/// Four times as long as the response or more: the transforms take n log n steps for n + 1 less its length outputs. Below
/// the shortest, blocks cost more than their transforms do.
size_t transformLength(size_t response) {
  constexpr size_t shortest = 2048;
  return std::max(shortest, std::bit_ceil(4 * response));
}

struct Spectrum {
  std::vector<double> real, imaginary;
};

void multiply(const Spectrum& spectrum, const double* real, const double* imaginary, double* productReal,
              double* productImaginary) {
  for (size_t i = 0; i < spectrum.real.size(); i += laneCount) {
    const Lanes a = load(real + i), b = load(imaginary + i);
    const Lanes c = load(spectrum.real.data() + i), d = load(spectrum.imaginary.data() + i);
    store(productReal + i, a * c - b * d);
    store(productImaginary + i, a * d + b * c);
  }
}

}  // namespace

struct OverlapSave::Responses {
  Responses(const std::vector<std::vector<double>>& responses, size_t everyOf)
      : transform(transformLength(responses.front().size())), past(responses.front().size() - 1), step(everyOf) {
    const size_t length = transform.length();
    block = (length - past) / 2 * 2;
    full = past + 2 * block;
    for (const std::vector<double>& response : responses) {
      Spectrum& spectrum = spectra.emplace_back(Spectrum{response, std::vector<double>(length)});
      spectrum.real.resize(length);
      for (double& coefficient : spectrum.real) {
        coefficient /= static_cast<double>(length);  // by which the way back multiplies
      }
      transform.forward(spectrum.real.data(), spectrum.imaginary.data());
    }
  }

  ConvolutionTransform transform;
  size_t past, step;
  size_t block;  // outputs that a transform gives; even, so that each begins with an output that is wanted
  size_t full;   // of the window: two blocks, and what precedes them
  std::vector<Spectrum> spectra;
};

OverlapSave::OverlapSave(const std::vector<std::vector<double>>& responses, size_t step)
    : responses_(std::make_shared<const Responses>(responses, step)),
      window_(responses_->block + responses_->transform.length()),
      real_(responses_->transform.length()),
      imaginary_(real_.size()),
      productReal_(real_.size()),
      productImaginary_(real_.size()) {}

size_t OverlapSave::past() const {
  return responses_->past;
}

template <class T>
void OverlapSave::feed(std::span<const T> values, std::vector<double>& outputs) {
  while (!values.empty()) {
    const auto part = values.first(std::min(values.size(), responses_->full - filled_));
    std::ranges::copy(part, window_.begin() + static_cast<std::ptrdiff_t>(filled_));
    filled_ += part.size();
    values = values.subspan(part.size());
    if (filled_ == responses_->full) {
      convolve(outputs);
      std::copy_n(window_.begin() + static_cast<std::ptrdiff_t>(filled_ - past()), past(), window_.begin());
      filled_ = past();
    }
  }
}

template void OverlapSave::feed(std::span<const float> values, std::vector<double>& outputs);
template void OverlapSave::feed(std::span<const double> values, std::vector<double>& outputs);

void OverlapSave::finish(std::vector<double>& outputs) {
  std::fill(window_.begin() + static_cast<std::ptrdiff_t>(filled_), window_.end(), 0);
  if (filled_ > past()) {
    convolve(outputs);
  }
  filled_ = 0;
}

void OverlapSave::convolve(std::vector<double>& outputs) {
  const auto& [transform, past, step, block, full, spectra] = *responses_;
  std::copy_n(window_.begin(), real_.size(), real_.begin());
  std::copy_n(window_.begin() + static_cast<std::ptrdiff_t>(block), real_.size(), imaginary_.begin());
  transform.forward(real_.data(), imaginary_.data());
  const size_t count = filled_ - past;
  const size_t begin = outputs.size(), stride = spectra.size();
  outputs.resize(begin + (count + step - 1) / step * stride);
  for (size_t i = 0; i < stride; ++i) {
    multiply(spectra[i], real_.data(), imaginary_.data(), productReal_.data(), productImaginary_.data());
    transform.backward(productReal_.data(), productImaginary_.data());
    double* output = outputs.data() + begin + i;
    for (size_t k = 0; k < count; k += step, output += stride) {
      *output = k < block ? productReal_[past + k] : productImaginary_[past + k - block];
    }
  }
}

}  // namespace kxanalysis
