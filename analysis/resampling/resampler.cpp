#include "analysis/resampling/resampler.hpp"

#include <algorithm>
#include <bit>
#include <stdexcept>
#include <string>

#include "recordings/recording.hpp"

namespace kxanalysis {
using namespace kxrecordings;
namespace {

void requireSuccess(uint32_t result, const char* task) {
  if (result != KXCALC_SUCCESS) {
    throw std::runtime_error(std::string("the interpolator cannot ") + task + ": result " + std::to_string(result));
  }
}

}  // namespace

size_t Resampler::blockLength(double inputRate, double outputRate) {
  const double length = static_cast<double>(blockFrames) * std::min(inputRate / outputRate, 1.0);
  return std::max(static_cast<size_t>(length), size_t{2});
}

Resampler::Resampler(const Functions& functions, double inputRate, double outputRate)
    : functions_(&functions), interpolator_(nullptr, functions.kxcalcCHSInterpolator_Destroy) {
  // The ring holds a power of two, and a block must leave two of its samples alone.
  const auto ring = std::bit_ceil(static_cast<uint32_t>(blockLength(inputRate, outputRate)) + 2);
  const CHSInterpolatorParams params{inputRate, outputRate, ring};
  CHSInterpolator* handle = nullptr;
  requireSuccess(functions.kxcalcCHSInterpolator_Create(&handle, &params), "be created");
  interpolator_.reset(handle);
}

std::span<const float> Resampler::feed(std::span<const float> samples) {
  const float* values = nullptr;
  uint32_t count = 0;
  requireSuccess(functions_->kxcalcCHSInterpolator_InterpolateValues(
                     interpolator_.get(), samples.data(), static_cast<uint32_t>(samples.size()), &values, &count),
                 "take a block");
  return {values, count};
}

std::span<const float> Resampler::finish() {
  const float* values = nullptr;
  uint32_t count = 0;
  requireSuccess(functions_->kxcalcCHSInterpolator_Stop(interpolator_.get(), &values, &count), "finish");
  return {values, count};
}

}  // namespace kxanalysis
