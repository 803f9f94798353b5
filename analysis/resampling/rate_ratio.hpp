// Where the outputs of another rate lie among the inputs.
#pragma once

#include <cstdint>
#include <numeric>

namespace kxanalysis {

/// A number of inputs that last as long as a number of outputs, without a common factor; both below 2^63.
struct RateRatio {
  uint64_t inputs, outputs;

  static RateRatio of(uint64_t inputs, uint64_t outputs) {
    const uint64_t common = std::gcd(inputs, outputs);
    return {inputs / common, outputs / common};
  }
};

/// The position k * inputs / outputs of output k, from 0 on: exact, however long the stream.
class OutputPosition {
public:
  explicit OutputPosition(RateRatio ratio)
      : outputs_(ratio.outputs), stride_(ratio.inputs / ratio.outputs), rest_(ratio.inputs % ratio.outputs) {}

  /// The input at or before the output, and how far behind it this is, in parts of 1 / outputs.
  uint64_t input() const { return input_; }
  uint64_t fraction() const { return fraction_; }

  bool isBehind(uint64_t input) const { return input_ > input || (input_ == input && fraction_ > 0); }

  void advance() {
    input_ += stride_;
    fraction_ += rest_;
    if (fraction_ >= outputs_) {
      fraction_ -= outputs_;
      ++input_;
    }
  }

private:
  uint64_t outputs_, stride_, rest_;
  uint64_t input_ = 0, fraction_ = 0;
};

}  // namespace kxanalysis
