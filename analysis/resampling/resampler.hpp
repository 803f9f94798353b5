// A stream of one channel at another sample rate: an interpolator of the library, and what it asks of its host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "analysis/problem.hpp"
#include "functions/functions.hpp"

namespace kxanalysis {

using kxcalc::Functions;

/// A cubic spline that meets all samples, with Catmull-Rom tangents. Output k lies at the input position
/// k * inputRate / outputRate, from the first sample to the last; before the first and after the last the spline takes
/// those again. There is no low-pass: what lies above half of the new rate comes back below it.
///
/// The interpolator forms the positions of its outputs anew for each block, so that their last bits depend on how a
/// stream is split. Here it gets blocks of one length, whatever the blocks that the stream comes in: splitting a stream
/// changes nothing.
class Resampler {
public:
  /// Samples in a stream at most: positions are counted to fractions of 2^-32 of a sample, from a 32-bit number of it.
  static constexpr uint64_t mostSamples = uint64_t{1} << 31;

  /// Outputs for a sample at most.
  static constexpr double mostOutputs = 1024;

  /// Samples after which outputs come, 2 to 4096: fewer at high output rates, so that memory stays the same.
  static size_t blockLength(double inputRate, double outputRate);

  /// @param functions              they outlive the resampler.
  /// @param inputRate, outputRate  in Hz, above 0; the output rate at most mostOutputs times the input rate.
  static Result<Resampler> create(const Functions& functions, double inputRate, double outputRate);

  /// Takes the stream's next samples, any number of them; returns the outputs that are complete, which stay until the
  /// next call. More than mostSamples, and samples after finish(), are refused.
  Result<std::span<const float>> feed(std::span<const float> samples);

  /// Ends the stream; returns what was still due, which stays as long as the resampler. To be called once.
  Result<std::span<const float>> finish();

private:
  using Handle = std::unique_ptr<CHSInterpolator, decltype(&kxcalcCHSInterpolator_Destroy)>;

  Resampler(const Functions& functions, Handle interpolator, size_t block)
      : functions_(&functions), interpolator_(std::move(interpolator)), block_(block) {}

  void interpolate(std::span<const float> block);

  const Functions* functions_;
  Handle interpolator_;
  size_t block_;
  uint64_t samples_ = 0;
  bool isFinished_ = false;
  std::vector<float> waiting_, outputs_;
};

}  // namespace kxanalysis
