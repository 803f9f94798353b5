#include "analysis/resampling/resampler.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>
#include <utility>

namespace kxanalysis {

size_t Resampler::blockLength(double inputRate, double outputRate) {
  constexpr double longest = 4096, shortest = 2;  // with which a stream must begin, or end sooner
  return static_cast<size_t>(std::max(longest * std::min(inputRate / outputRate, 1.0), shortest));
}

Result<Resampler> Resampler::create(const Functions& functions, double inputRate, double outputRate) {
  for (const auto& [name, rate] : {std::pair("input rate", inputRate), {"output rate", outputRate}}) {
    if (!(rate > 0 && std::isfinite(rate))) {
      return unsuitable(name, rate, "it is above 0 Hz");
    }
  }
  if (!(outputRate / inputRate <= mostOutputs)) {
    return unsuitable("output rate", outputRate, "it is at most 1024 times the input rate");
  }
  const size_t block = blockLength(inputRate, outputRate);
  // The ring holds a power of two. After n samples the next output may lie just beyond sample n - 2, whose spline also
  // takes sample n - 3: a block must leave it and the two after it in the ring.
  const CHSInterpolatorParams params{inputRate, outputRate, std::bit_ceil(static_cast<uint32_t>(block) + 3)};
  CHSInterpolator* handle = nullptr;
  const uint32_t result = functions.kxcalcCHSInterpolator_Create(&handle, &params);
  if (result != KXCALC_SUCCESS) {
    return Problem{"the library makes no interpolator for these rates: result " + std::to_string(result)};
  }
  return Resampler(functions, Handle(handle, functions.kxcalcCHSInterpolator_Destroy), block);
}

Result<std::span<const float>> Resampler::feed(std::span<const float> samples) {
  if (isFinished_) {
    return Problem{"the stream has ended and takes no more samples"};
  }
  samples_ += samples.size();
  if (samples_ > mostSamples) {
    return Problem{"the stream is longer than the 2147483648 samples that can be resampled"};
  }
  outputs_.clear();
  while (!samples.empty()) {
    const auto part = samples.first(std::min(samples.size(), block_ - waiting_.size()));
    waiting_.insert(waiting_.end(), part.begin(), part.end());
    samples = samples.subspan(part.size());
    if (waiting_.size() == block_) {
      interpolate(waiting_);
      waiting_.clear();
    }
  }
  return std::span<const float>(outputs_);
}

Result<std::span<const float>> Resampler::finish() {
  if (isFinished_) {
    return Problem{"the stream has ended before"};
  }
  isFinished_ = true;
  outputs_.clear();
  if (!waiting_.empty()) {
    interpolate(waiting_);
  }
  const float* values = nullptr;
  uint32_t count = 0;
  functions_->kxcalcCHSInterpolator_Stop(interpolator_.get(), &values, &count);
  outputs_.insert(outputs_.end(), values, values + count);
  return std::span<const float>(outputs_);
}

/// It cannot fail: the block is not empty, it leaves the ring room, and the stream has not ended.
void Resampler::interpolate(std::span<const float> block) {
  const float* values = nullptr;
  uint32_t count = 0;
  functions_->kxcalcCHSInterpolator_InterpolateValues(interpolator_.get(), block.data(),
                                                      static_cast<uint32_t>(block.size()), &values, &count);
  outputs_.insert(outputs_.end(), values, values + count);
}

}  // namespace kxanalysis
