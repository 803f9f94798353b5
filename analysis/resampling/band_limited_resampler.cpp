// Between rates that are far apart, a stage beside the lower one has the steep transition, and the others take out only what
// would come to lie in the band, which needs few coefficients (Crochiere and Rabiner, Multirate Digital Signal Processing,
// section 5.3).
#include "analysis/resampling/band_limited_resampler.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kxanalysis {
namespace {

using Stage = std::variant<PolyphaseFilter, TwofoldFilter>;

/// Exact where the rates are whole numbers; if not, to a part in 2^30 of the lower one or better.
RateRatio ratioOf(double inputRate, double outputRate) {
  int exponent = 0;
  std::frexp(std::max(inputRate, outputRate), &exponent);
  const auto scaled = [exponent](double rate) { return static_cast<uint64_t>(std::ldexp(rate, 61 - exponent)); };
  return RateRatio::of(scaled(inputRate), scaled(outputRate));
}

/// Rates far above the last one are divided by eight first. Then there is one steep stage, between the lower rate and twice
/// that, and one from or to any other rate.
std::vector<Stage> stagesFor(RateRatio ratio) {
  constexpr double pass = BandLimitedResampler::passEdge, stop = BandLimitedResampler::stopEdge;
  std::vector<Stage> stages;
  // The lower one of both rates, in cycles a sample that the next stage takes.
  double lower = std::min(1.0, static_cast<double>(ratio.outputs) / static_cast<double>(ratio.inputs));
  const auto addSteep = [&](RateStep step) { stages.emplace_back(TwofoldFilter(step, {pass * lower, stop * lower})); };
  // At a rate of `imagesAt` the band and what lies above that rate less the band are the same.
  const auto addWide = [&](RateRatio part, double imagesAt) {
    if (part.inputs != part.outputs) {
      stages.emplace_back(PolyphaseFilter(part, {pass * lower, imagesAt - stop * lower}));
    }
  };
  for (; ratio.inputs / 32 >= ratio.outputs; ratio = RateRatio::of(ratio.inputs, 8 * ratio.outputs)) {
    addWide({8, 1}, 1.0 / 8);
    lower *= 8;
  }
  if (ratio.inputs >= 2 * ratio.outputs) {
    addWide(RateRatio::of(ratio.inputs, 2 * ratio.outputs), 2 * lower);
    lower = 0.5;
    addSteep(RateStep::half);
  } else if (ratio.inputs != ratio.outputs) {
    addSteep(RateStep::twice);
    lower /= 2;
    addWide(RateRatio::of(2 * ratio.inputs, ratio.outputs), 1);
  }
  return stages;
}

}  // namespace

Result<BandLimitedResampler> BandLimitedResampler::create(double inputRate, double outputRate) {
  for (const auto& [name, rate] : {std::pair("input rate", inputRate), {"output rate", outputRate}}) {
    if (!(rate > 0 && std::isfinite(rate))) {
      return unsuitable(name, rate, "it is above 0 Hz");
    }
  }
  if (!(outputRate / inputRate <= mostOutputs)) {
    return unsuitable("output rate", outputRate, "it is at most 1024 times the input rate");
  }
  if (!(inputRate / outputRate <= mostInputs)) {
    return unsuitable("input rate", inputRate, "it is at most 2147483648 times the output rate");
  }
  const RateRatio ratio = ratioOf(inputRate, outputRate);
  return BandLimitedResampler(ratio, stagesFor(ratio));
}

Result<std::span<const float>> BandLimitedResampler::feed(std::span<const float> samples) {
  if (isFinished_) {
    return Problem{"the stream has ended and takes no more samples"};
  }
  samples_ += samples.size();
  return through(samples);
}

Result<std::span<const float>> BandLimitedResampler::finish() {
  if (isFinished_) {
    return Problem{"the stream has ended before"};
  }
  isFinished_ = true;
  return through({});
}

std::span<const float> BandLimitedResampler::through(std::span<const float> samples) {
  values_.assign(samples.begin(), samples.end());
  for (Stage& stage : stages_) {
    staged_.clear();
    std::visit(
        [this](auto& filter) {
          filter.feed(values_, staged_);
          if (isFinished_) {
            filter.finish(staged_);
          }
        },
        stage);
    std::swap(values_, staged_);
  }
  outputs_.clear();
  for (auto value = values_.begin(); value != values_.end() && !next_.isBehind(samples_ - 1);
       ++value, next_.advance()) {
    outputs_.push_back(static_cast<float>(*value));
  }
  return outputs_;
}

}  // namespace kxanalysis
