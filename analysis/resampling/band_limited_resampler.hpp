// A stream of one channel at another sample rate, without what the lower one of the two rates cannot hold.
#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <variant>
#include <vector>

#include "analysis/problem.hpp"
#include "analysis/resampling/polyphase_filter.hpp"
#include "analysis/resampling/twofold_filter.hpp"

namespace kxanalysis {

/// Frequencies up to 0.45 of the lower rate pass, those from half of it on are taken out: what would come back as another
/// frequency when the rate goes down, and what would be added to the signal when it goes up. Output k lies at the input
/// position k * inputRate / outputRate, from the first sample to the last, which stand for those beyond them.
///
/// At the same rate the samples come out as they are. A value that is not finite spoils many outputs around it.
class BandLimitedResampler {
public:
  /// Of the lower rate; and what a test holds the outputs against, in dB.
  static constexpr double passEdge = 0.45, stopEdge = 0.5;
  static constexpr double ripple = 0.1, rejection = 100;

  /// One rate is at most so many times the other.
  static constexpr double mostOutputs = 1024, mostInputs = 0x1p31;

  /// @param inputRate, outputRate  in Hz, above 0; from 2^-31 to 1024 times the input rate.
  static Result<BandLimitedResampler> create(double inputRate, double outputRate);

  /// Takes the stream's next samples, any number of them; returns the outputs that are complete, which stay until the
  /// next call. Splitting a stream changes nothing. Samples after finish() are refused.
  Result<std::span<const float>> feed(std::span<const float> samples);

  /// Ends the stream; returns what was still due, which stays as long as the resampler. To be called once.
  Result<std::span<const float>> finish();

private:
  using Stage = std::variant<PolyphaseFilter, TwofoldFilter>;

  BandLimitedResampler(RateRatio ratio, std::vector<Stage> stages) : stages_(std::move(stages)), next_(ratio) {}

  std::span<const float> through(std::span<const float> samples);

  std::vector<Stage> stages_;
  uint64_t samples_ = 0;
  OutputPosition next_;
  bool isFinished_ = false;
  std::vector<double> values_, staged_;
  std::vector<float> outputs_;
};

}  // namespace kxanalysis
