// Long convolutions of streams, by Fourier transforms of blocks.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace kxanalysis {

/// Responses as long as each other to one stream, computed in double. Output n of a response is the sum over k of
/// response[k] * value[n + length - 1 - k]: there is none before the stream has as many values as the response.
/// How the stream is cut into blocks does not matter.
///
/// Copies share what the responses take.
class OverlapSave {
public:
  /// @param responses  one or more, all of the same length, which is at least 1.
  /// @param step       1 or 2: all outputs, or every second one from the first one on.
  explicit OverlapSave(const std::vector<std::vector<double>>& responses, size_t step = 1);

  /// Values before the one that completes the first output.
  size_t past() const;

  /// Takes the stream's next values, and appends the outputs that are complete: of each response the first one, of each
  /// the next one, and so on. They come a block at a time. A value that is not finite spoils the block that it is in, and the
  /// next one if its outputs take that value.
  template <class T>
  void feed(std::span<const T> values, std::vector<double>& outputs);

  /// Appends the outputs that were still due.
  void finish(std::vector<double>& outputs);

private:
  struct Responses;

  void convolve(std::vector<double>& outputs);

  std::shared_ptr<const Responses> responses_;
  size_t filled_ = 0;           // so much of the window
  std::vector<double> window_;  // what two transforms take: its last value, which no output takes, may stay 0
  std::vector<double> real_, imaginary_;
  std::vector<double> productReal_, productImaginary_;
};

extern template void OverlapSave::feed(std::span<const float> values, std::vector<double>& outputs);
extern template void OverlapSave::feed(std::span<const double> values, std::vector<double>& outputs);

}  // namespace kxanalysis
