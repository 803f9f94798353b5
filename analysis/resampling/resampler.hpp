// A stream of one channel at another sample rate: an interpolator of the library, and what it asks of its host.
#pragma once

#include <memory>
#include <span>

#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

class Resampler {
public:
  /// Samples that are fed at a time. Fewer at high rates, so that memory stays the same. At least 2, which a stream
  /// must begin with (or end with sooner).
  static size_t blockLength(double inputRate, double outputRate);

  /// Throws if the library refuses the rates.
  Resampler(const Functions& functions, double inputRate, double outputRate);

  /// Feeds the next 1 to blockLength() samples; returns what they give, which stays until the next call.
  std::span<const float> feed(std::span<const float> samples);

  /// Ends the stream; returns what was still due.
  std::span<const float> finish();

private:
  const Functions* functions_;
  std::unique_ptr<CHSInterpolator, decltype(&kxcalcCHSInterpolator_Destroy)> interpolator_;
};

}  // namespace kxanalysis
